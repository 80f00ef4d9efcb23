#ifndef LYAVUTILS_PIXELUTILS_H
#define LYAVUTILS_PIXELUTILS_H

#include "LyAVUtilsTypes.h"

// Pixel operations on whole images. Unless a function says otherwise, images
// follow the convention of LyAVUtilsTypes.h and the rows are split into bands
// that run on the library's thread pool (images under 16 rows, or a one-thread
// pool, run on the calling thread). Every function returns only when all of
// its rows are done.
namespace LyPixelUtils {

// ============================================================ fills and test patterns
// These run on the calling thread: they compute row 0 and copy it downwards.

// Stores the packed word of a named colour (caller's alpha in the top byte).
// Returns 0 when format is neither PixelFormat_BGRA4444 nor PixelFormat_VUYA4444.
// An unknown colour (2, 4, outside 1..7) or, for VUYA, an unknown colorimetry
// returns 1 and leaves `packed` untouched.
LYAVUTILS_API int GetFixedColor(ELyPixelFormat format, ELyColorimetry colorimetry, ELyFixedColor color,
                                uint32_t& packed, unsigned char alpha);

LYAVUTILS_API int FillFixedColor(unsigned char* buffer, int pitch, int width, int height, ELyPixelFormat format,
                                 unsigned char bitDepth, ELyColorimetry colorimetry, ELyFixedColor color,
                                 unsigned char alpha);

LYAVUTILS_API int FillBlockColor(unsigned char* buffer, int pitch, int width, int height, ELyPixelFormat format,
                                 unsigned char bitDepth, ELyColorimetry colorimetry, uint32_t packed);

LYAVUTILS_API int FillGridColor(unsigned char* buffer, int pitch, int width, int height, uint32_t color1,
                                uint32_t color2, tagSIZE cell);

LYAVUTILS_API void FillColorBar(unsigned char* buffer, int pitch, int width, int height, ELyPixelFormat format,
                                unsigned char bitDepth, ELyColorimetry colorimetry, int fullLevel);

// ============================================================ fades
// Opacity in percent (100 = unchanged). Only alpha changes: the alpha byte
// (byte 3) of 32-bit pixels, or the samples of a 16-bit alpha plane (alpha x 16,
// 0..4080). A null buffer, width < 1 or height < 1 does nothing.
//
// The factor: f = percent / 100.0 * 255.0 in double, rounded half away from
// zero (50% gives 128, -50% gives -128). Values outside 0..100% are not
// clamped by the uniform and vertical fades: they keep the factor's low bits
// (the two's-complement bits for negative factors: -10% gives -26, a byte of
// 230). A percentage whose rounded factor does not fit a 32-bit int (NaN, the
// infinities, beyond about +-8.4e8 %) gives the factor -2^31, whose low 16
// bits are zero: such a fade behaves as 0%.
//
// 16-bit planes round differently in the middle of a row: see Mask16bitAlpha.

// alpha = (alpha * (f & 0xFF) + 255) >> 8. A factor whose low byte is 255
// (100%) returns without writing anything.
LYAVUTILS_API void FadeImage(unsigned char* buffer, int pitch, int width, int height, float percent);

// Scales the plane by f & 0xFFFF (so 200% uses 510, and 25800% wraps to 254)
// with Mask16bitAlpha's head / middle / tail rule: (a * f + 255) >> 8 kept to
// 16 bits in the head and tail, ((a >> 4) * f + 255) >> 4 with the product
// and the sum wrapping at 16 bits in the middle. 100% is therefore not a
// no-op: 4080 becomes 4065 in the head and tail.
LYAVUTILS_API void Fade16bitAlpha(unsigned char* buffer, int pitch, int width, int height, float percent);

// One factor per row, kept to its low byte (101% gives 258, used as 2): the
// ramp wraps rather than clamps. Percentages are float: each band of rows
// starts at startPercent + firstRowOfBand * stepPercent and adds stepPercent
// row by row. The bands are the pool's (one band under 16 rows or with a
// one-thread pool, else one per worker of height / workers rows, the last
// taking the remainder), so a row whose factor sits on a rounding edge can get
// a different factor with a different pool size; for a given pool size the
// result is deterministic. Rows whose factor is 255 are not written.
LYAVUTILS_API void GradientVerFadeImage(unsigned char* buffer, int pitch, int width, int height,
                                        float startPercent, float stepPercent);
// The same ramp on a 16-bit plane: each row's factor is its low byte, applied
// with Mask16bitAlpha's head / middle / tail rule.
LYAVUTILS_API void GradientVerFade16bitAlpha(unsigned char* buffer, int pitch, int width, int height,
                                             float startPercent, float stepPercent);

// One factor per column: the percentage starts at startPercent and adds
// stepPercent per column (float, on the calling thread); each factor is
// clamped to 0..255 (a factor that does not fit an int counts as below 0).
// The ramp is then applied to every row as a mask of pitch 0, by MaskImage or
// Mask16bitAlpha, with their rounding. Up to 256 columns the ramp lives on the
// stack; wider images allocate `width` bytes per call, and if that allocation
// fails nothing is changed.
LYAVUTILS_API void GradientHorFadeImage(unsigned char* buffer, int pitch, int width, int height,
                                        float startPercent, float stepPercent);
LYAVUTILS_API void GradientHorFade16bitAlpha(unsigned char* buffer, int pitch, int width, int height,
                                             float startPercent, float stepPercent);

// ============================================================ masks and alpha planes
// 8-bit masks: one byte per pixel, 0 transparent, 255 opaque, with their own
// pitch (any sign, or 0 to use one row for every row of the image). A null
// pointer, width < 1 or height < 1 does nothing. Only the image's own bytes are
// read and written: no row needs slack past its width.

// Image alpha = (mask * alpha + 255) >> 8; colour bytes are kept. The result
// does not depend on the buffer's address. A mask byte of 255 leaves alpha as
// it is; the vector paths skip such runs without writing them.
LYAVUTILS_API void MaskImage(unsigned char* image, int imagePitch, const unsigned char* mask, int maskPitch,
                             int width, int height);

// Scales a 16-bit alpha plane by the mask, with two roundings chosen by the
// address of each sample, for every row on its own:
//  - head: the samples before the first 16-byte-aligned sample address, and
//    tail: the samples after the last whole group of eight: (a * m + 255) >> 8;
//  - middle: whole groups of eight samples from that aligned address:
//    ((a >> 4) * m + 255) >> 4 in 16-bit arithmetic.
// For a = 4080 and m = 255 that is 4065 in the head and tail and 4080 in the
// middle; m = 0 gives 0 in the head and tail but 15 in the middle. A row that
// starts at an odd address has no sample on a 16-byte boundary: all of it
// takes the head rule. With an odd pitch the rows alternate between the two
// cases. The result is the same whatever instruction set runs it.
LYAVUTILS_API void Mask16bitAlpha(unsigned char* alpha16, int alphaPitch, const unsigned char* mask, int maskPitch,
                                  int width, int height);

// dst = op(dst, src) per byte: Add min(d + s, 255), Subtract max(d - s, 0),
// Difference |d - s|, Min min(d, s). An op outside 0..3 does nothing (it is
// checked before it selects a kernel). src may be the same buffer as dst.
LYAVUTILS_API void MaskOperator(const unsigned char* src, int srcPitch, unsigned char* dst, int dstPitch, int width,
                                int height, ELyMaskOperator op);

// mask[i] = alpha (byte 3) of pixel i. Exactly `width` mask bytes are written
// per row: the mask rows need no slack up to a multiple of eight.
LYAVUTILS_API void Mask32bitTo8bit(const unsigned char* image, int imagePitch, unsigned char* mask, int maskPitch,
                                   int width, int height);

// Halves a mask in both directions. `width` is the source width in bytes;
// output rows have width / 2 bytes and there are (height + 1) / 2 of them,
// from source rows 2k and 2k + 1. In each row pair the first whole groups of
// 16 source bytes average rounding up twice (down the pair, then across
// neighbours); the remaining width % 16 bytes take one truncating average of
// the four samples (an odd last byte is not used). So 0 1 / 1 1 gives 1 in a
// group and 0 in the tail. With an odd height the last source row pairs with
// itself: the row below the image is never read. A source narrower than two
// bytes does nothing. Each output row is written once, by the band that holds
// its top source row, so the result does not depend on the pool size. The
// source and destination must not overlap.
LYAVUTILS_API void MaskDownScale2X(const unsigned char* src, int srcPitch, unsigned char* dst, int dstPitch,
                                   int width, int height);

// dst = max(mask1 + mask2 - 255, 0): the intersection of two masks. Exactly
// `width` bytes are written per row (no slack up to a multiple of 16 needed).
// dst may be the same buffer as either mask.
LYAVUTILS_API void Extract8BitMask(const unsigned char* mask1, int pitch1, const unsigned char* mask2, int pitch2,
                                   unsigned char* dst, int dstPitch, int width, int height);

// mask = 255 - mask.
LYAVUTILS_API void Invert8bitImage(unsigned char* mask, int pitch, int width, int height);

// One-sided threshold: a byte (0..255, compared as an int) above `threshold`
// becomes 255; bytes at or below it keep their value. A negative threshold
// makes every byte 255; a threshold of 255 or more returns without writing.
LYAVUTILS_API void Binary8bitImage(unsigned char* mask, int pitch, int width, int height, int threshold);

// ============================================================ channels and bit depth

LYAVUTILS_API void Convert32bitTo8bitImage(const unsigned char* src32, int srcPitch, unsigned char* dst8,
                                           int dstPitch, int width, int height);
LYAVUTILS_API void Convert8bitTo32bitImage(const unsigned char* src8, int srcPitch, unsigned char* dst32,
                                           int dstPitch, int width, int height);
LYAVUTILS_API void Convert32bitToGrayImage(unsigned char* image, int pitch, int width, int height);
LYAVUTILS_API void Get32bitImage8bitChannel(const unsigned char* src32, int srcPitch, unsigned char* dst8,
                                            int dstPitch, int width, int height, int channel);
LYAVUTILS_API void Get32bitImage8bitAlpha(const unsigned char* src32, int srcPitch, unsigned char* dst8,
                                          int dstPitch, int width, int height);

// ============================================================ deflicker

LYAVUTILS_API int DefickerImage(const unsigned char* src, int srcPitch, unsigned char* dst, int dstPitch, int width,
                                int height, ELyDeflickerQuality quality);

// ============================================================ wipe

LYAVUTILS_API void WipePatternImage(const unsigned char* imageA, int pitchA, const unsigned char* imageB, int pitchB,
                                    const unsigned char* pattern, int patternPitch, unsigned char* dst,
                                    int dstPitch, int width, int height, unsigned char progress);

// ============================================================ alpha mixing (straight alpha, in place)

LYAVUTILS_API void MixTwoColor(uint32_t& source, uint32_t& destination);
LYAVUTILS_API void MixColor(const unsigned char* source, int sourcePitch, unsigned char* destination,
                            int destinationPitch, int width, int height);
LYAVUTILS_API void MixColor(const unsigned char* first, int firstPitch, const unsigned char* second, int secondPitch,
                            const unsigned char* third, int thirdPitch, int width, int height);
LYAVUTILS_API void MixColorWithMaskAlpha(const unsigned char* source, int sourcePitch, const unsigned char* mask,
                                         int maskPitch, unsigned char* destination, int destinationPitch, int width,
                                         int height);
LYAVUTILS_API void OverlayColor(const unsigned char* source, int sourcePitch, unsigned char* destination,
                                int destinationPitch, int width, int height);
LYAVUTILS_API void SubtractImageWithMaskAlpha(unsigned char* image, int imagePitch, const unsigned char* mask,
                                              int maskPitch, int width, int height);

// ============================================================ opacity mixing (flatten to opaque)

LYAVUTILS_API void MixWithOpacityBuffer(const unsigned char* source, int sourcePitch, unsigned char* destination,
                                        int destinationPitch, int width, int height);
// Note the argument order of the in-place forms: width and height before pitch.
LYAVUTILS_API void MixWithOpacityColor(unsigned char* image, int width, int height, int pitch, uint32_t color);
LYAVUTILS_API void MixWithOpacityBlack(unsigned char* image, int width, int height, int pitch);
LYAVUTILS_API void MixWithOpacityBlack(const unsigned char* source, int sourcePitch, unsigned char* destination,
                                       int destinationPitch, int width, int height);

// ============================================================ cross-format mixing

LYAVUTILS_API void MixBGRA4444WithVUYA4444(const unsigned char* overlay, int overlayPitch, unsigned char* destination,
                                           int destinationPitch, ELyColorimetry colorimetry, int modeFlag, int width,
                                           int height);
LYAVUTILS_API void MixVUYA4444WithBGRA4444(unsigned char* first, int firstPitch, ELyColorimetry colorimetry,
                                           unsigned char* second, int secondPitch, int modeFlag, int width,
                                           int height);
LYAVUTILS_API void MixVUYA4444WithUYVY422(const unsigned char* overlay, int overlayPitch, unsigned char* destination,
                                          int destinationPitch, unsigned char bitDepth, int pairStart, int width,
                                          int height);
LYAVUTILS_API void MixBGRA4444WithUYVY422(const unsigned char* overlay, int overlayPitch, unsigned char* destination,
                                          int destinationPitch, unsigned char bitDepth, ELyColorimetry colorimetry,
                                          int pairStart, int width, int height);

// ============================================================ blend modes and float accumulation

LYAVUTILS_API void BlendingImages(const unsigned char* first, int firstPitch, const unsigned char* second,
                                  int secondPitch, unsigned char* output, int outputPitch, ELyPixelFormat format,
                                  unsigned char depth, double opacity, int width, int height, ELyBlendingMode mode);
LYAVUTILS_API void BlendingImages(const unsigned char* image, int imagePitch, ELyPixelFormat format,
                                  unsigned char depth, float* accumulator, int accumulatorPitch, float opacity,
                                  int width, int height, ELyBlendingMode mode);
LYAVUTILS_API void ConvertFloatImage(const float* source, int sourcePitch, unsigned char* output, int outputPitch,
                                     ELyPixelFormat format, unsigned char depth, int width, int height);

}  // namespace LyPixelUtils

#endif
