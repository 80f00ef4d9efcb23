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
// Opacity in percent (100 = unchanged). Only alpha changes.

LYAVUTILS_API void FadeImage(unsigned char* buffer, int pitch, int width, int height, float percent);
LYAVUTILS_API void Fade16bitAlpha(unsigned char* buffer, int pitch, int width, int height, float percent);
LYAVUTILS_API void GradientVerFadeImage(unsigned char* buffer, int pitch, int width, int height,
                                        float startPercent, float stepPercent);
LYAVUTILS_API void GradientVerFade16bitAlpha(unsigned char* buffer, int pitch, int width, int height,
                                             float startPercent, float stepPercent);
LYAVUTILS_API void GradientHorFadeImage(unsigned char* buffer, int pitch, int width, int height,
                                        float startPercent, float stepPercent);
LYAVUTILS_API void GradientHorFade16bitAlpha(unsigned char* buffer, int pitch, int width, int height,
                                             float startPercent, float stepPercent);

// ============================================================ masks and alpha planes

LYAVUTILS_API void MaskImage(unsigned char* image, int imagePitch, const unsigned char* mask, int maskPitch,
                             int width, int height);
LYAVUTILS_API void Mask16bitAlpha(unsigned char* alpha16, int alphaPitch, const unsigned char* mask, int maskPitch,
                                  int width, int height);
LYAVUTILS_API void MaskOperator(const unsigned char* src, int srcPitch, unsigned char* dst, int dstPitch, int width,
                                int height, ELyMaskOperator op);
LYAVUTILS_API void Mask32bitTo8bit(const unsigned char* image, int imagePitch, unsigned char* mask, int maskPitch,
                                   int width, int height);
LYAVUTILS_API void MaskDownScale2X(const unsigned char* src, int srcPitch, unsigned char* dst, int dstPitch,
                                   int width, int height);
LYAVUTILS_API void Extract8BitMask(const unsigned char* mask1, int pitch1, const unsigned char* mask2, int pitch2,
                                   unsigned char* dst, int dstPitch, int width, int height);
LYAVUTILS_API void Invert8bitImage(unsigned char* mask, int pitch, int width, int height);
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
// 32-bit pixels B, G, R, A with straight (not premultiplied) alpha; the same
// arithmetic serves V, U, Y, A. The source, mask and destination each have
// their own pitch (negative pitches walk bottom-up storage) and share width
// and height. Only the destination's own pixels are written; sources and
// masks are only read. Nothing is allocated.
//
// Two over rules exist and are kept apart on purpose:
//  * lone-pixel rule (MixTwoColor, a width-1 row, the odd last pixel of a
//    row): source alpha 0 leaves the destination word untouched; destination
//    alpha 0 or source alpha 255 copies the source word whole; otherwise
//    outA = sA + dA - floor(sA * dA / 255) and w = floor(128 * sA / outA).
//  * pair rule (every other pixel of a row): outA = min(sA + dA -
//    floor(sA * dA / 256), 255), w = floor(128 * sA / outA) (0 when both
//    alphas are 0), with no special cases.
// Both then set each of B, G, R to d + floor((s - d) * w / 128) (the floor
// rounds toward minus infinity: -1 at w = 64 gives -1) and the alpha to outA.
// The two alphas can differ by one for the same inputs (dA = 3, sA = 85: 88
// by the pair rule, 87 alone); which rule a pixel gets depends only on its
// column, never on the instruction set or the pool size.
//
// Refusals: a width or height below 1, or a null pointer among the buffers,
// does nothing (nothing is read or written, no job is queued). Overlapping
// source and destination rows other than the very same rows are not
// supported.
//
// Images of 16 rows or more are split into bands on the thread pool (one per
// worker); smaller ones, or a one-thread pool, run on the calling thread.

// dst := src over dst for one pixel word (A in bits 24-31), by the lone-pixel
// rule. `source` is not changed.
LYAVUTILS_API void MixTwoColor(uint32_t& source, uint32_t& destination);

// Every pixel: dst := src over dst. Per row, the first width & ~1 pixels take
// the pair rule and an odd last pixel the lone-pixel rule.
LYAVUTILS_API void MixColor(const unsigned char* source, int sourcePitch, unsigned char* destination,
                            int destinationPitch, int width, int height);

// Does nothing, whatever its arguments (null pointers and any sizes
// included): it never reads or writes any of the three buffers. This form has
// never combined anything, so callers must not rely on it to mix; as there is
// no work, none is queued on the pool either.
LYAVUTILS_API void MixColor(const unsigned char* first, int firstPitch, const unsigned char* second, int secondPitch,
                            const unsigned char* third, int thirdPitch, int width, int height);

// Every pixel: dst := (src with alpha scaled by the mask) over dst. The scaled
// alpha is floor((sA * m + 255) / 256), so a mask of 0 leaves the destination
// as it is and 255 gives exactly MixColor. The rules are those of MixColor:
// pair pixels use the scaled alpha directly; a lone pixel (width 1, or the odd
// last one) is first made into a pixel of the source colour and the scaled
// alpha, which the lone-pixel rule then mixes in.
LYAVUTILS_API void MixColorWithMaskAlpha(const unsigned char* source, int sourcePitch, const unsigned char* mask,
                                         int maskPitch, unsigned char* destination, int destinationPitch, int width,
                                         int height);

// Alpha punch-out (despite the name): every destination alpha becomes
// max(dA - sA, 0); the destination colour bytes are kept and the source
// colour plays no part.
LYAVUTILS_API void OverlayColor(const unsigned char* source, int sourcePitch, unsigned char* destination,
                                int destinationPitch, int width, int height);

// Every pixel's alpha becomes max(alpha - m, 0) with m its mask byte; colour
// bytes are kept.
LYAVUTILS_API void SubtractImageWithMaskAlpha(unsigned char* image, int imagePitch, const unsigned char* mask,
                                              int maskPitch, int width, int height);

// ============================================================ opacity mixing (flatten to opaque)
// Straight-alpha 32-bit images laid onto an opaque background (another image,
// a solid colour, black). Bands as for the alpha mixing; MixWithOpacityBuffer,
// MixWithOpacityColor and the in-place MixWithOpacityBlack submit them through
// the exported LyThreadPool entry points, the two-buffer MixWithOpacityBlack
// through the pool directly (the results are the same either way). Only the
// destination's (or image's) own pixels are written; nothing is allocated.
// The three rules round differently on purpose.

// Every pixel: with sA the source alpha, sA = 255 copies the source word;
// otherwise each of B, G, R becomes d + sign(s - d) * floor(|s - d| * sA / 256)
// (the scaled difference truncated toward zero: s = 0, d = 255, sA = 128 gives
// 128) and the alpha 255, so a transparent source keeps the destination
// colour and makes it opaque.
// Does nothing when width, height, sourcePitch or destinationPitch is below 1
// (bottom-up images are therefore refused), or when a pointer is null.
// Like every row, a width-1 row reads only its own pixel in each buffer,
// never the bytes before it.
LYAVUTILS_API void MixWithOpacityBuffer(const unsigned char* source, int sourcePitch, unsigned char* destination,
                                        int destinationPitch, int width, int height);

// Note the argument order of the in-place forms: width and height before pitch.

// In place onto the colour word `color` (B, G, R, A as a pixel): a pixel of
// alpha 0 becomes `color` exactly, its alpha included (0x80FF0000 stays
// 0x80FF0000); alpha 255 is kept; otherwise each of B, G, R becomes
// c + floor((p - c) * a / 256) (toward minus infinity) and the alpha 255.
// Does nothing when width, height or pitch is below 1 (bottom-up images are
// therefore refused), when `color` is 0 (transparent black means "no colour"
// here), or when `image` is null.
// Runs of identical pixels skip the arithmetic through a one-entry cache per
// row (the result is the same).
LYAVUTILS_API void MixWithOpacityColor(unsigned char* image, int width, int height, int pitch, uint32_t color);

// In place onto black: alpha 0 gives 0xFF000000, alpha 255 keeps the pixel,
// otherwise each of B, G, R becomes floor(p * a / 256) and the alpha 255
// (0x80FFFFFF gives 0xFF7F7F7F). Does nothing when width, height or pitch is
// below 1 (bottom-up images are therefore refused) or `image` is null. Runs of
// identical pixels skip the arithmetic through a one-entry cache per row.
LYAVUTILS_API void MixWithOpacityBlack(unsigned char* image, int width, int height, int pitch);

// The same rule from `source` into `destination`. Negative pitches are
// accepted here; only a width or height below 1, or a null pointer, does
// nothing. Source and destination must be the same rows or not overlap.
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
