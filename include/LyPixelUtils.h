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
// 32-bit images hold the bytes B, G, R, A per pixel, 8-bit images one byte per
// pixel; the two images of a call share width and height and each has its own
// pitch. Luma is Y = (9617 * G + 4899 * R + 1868 * B) >> 14 in unsigned
// integers, truncated: the BT.601 weights in units of 1/16384, which add up to
// exactly 16384, so white stays 255 and a grey pixel keeps its level.
// Width or height below 1, or a null buffer, does nothing (the null check is
// this library's own; nothing is read or written then).

// dst8 = Y(src32).
LYAVUTILS_API void Convert32bitTo8bitImage(const unsigned char* src32, int srcPitch, unsigned char* dst8,
                                           int dstPitch, int width, int height);
// Each byte v becomes the opaque grey pixel B = G = R = v, A = 255 (the pixel
// word 0xFFvvvvvv).
LYAVUTILS_API void Convert8bitTo32bitImage(const unsigned char* src8, int srcPitch, unsigned char* dst32,
                                           int dstPitch, int width, int height);
// In place: B, G and R become Y; alpha is kept as it is (transparent pixels
// stay transparent).
LYAVUTILS_API void Convert32bitToGrayImage(unsigned char* image, int pitch, int width, int height);
// dst8 = byte `channel` of each pixel (0 B, 1 G, 2 R, 3 A). The channel is
// clamped first: a negative value reads blue, 4 or more reads alpha.
LYAVUTILS_API void Get32bitImage8bitChannel(const unsigned char* src32, int srcPitch, unsigned char* dst8,
                                            int dstPitch, int width, int height, int channel);
// Get32bitImage8bitChannel with channel 3.
LYAVUTILS_API void Get32bitImage8bitAlpha(const unsigned char* src32, int srcPitch, unsigned char* dst8,
                                          int dstPitch, int width, int height);

// ============================================================ deflicker

// Softens a 32-bit image vertically, so that thin horizontal detail does not
// flicker on an interlaced display, writing the separate image dst (same width
// and height, its own pitch). All four bytes of a pixel, alpha included, are
// filtered alike and independently; every filter truncates:
//   DeflickerQuality_Low     (16 * above + 96 * centre + 16 * below) >> 7
//   DeflickerQuality_Medium  (32 * above + 64 * centre + 32 * below) >> 7
//   DeflickerQuality_High    3 x 3 binomial 1 2 1 / 2 4 2 / 1 2 1, sum >> 4
// Only the interior is written: rows 1 .. height - 2, pixels 1 .. width - 2.
// The outermost rows and columns of dst keep whatever they held; copy them
// from the source first if you need them.
// Returns 1 when done. Returns 0, with nothing written, when src or dst is
// null, when quality is not 1, 2 or 3, or when the image is narrower or lower
// than 3 pixels: such an image has no interior, and filtering it would read
// rows and pixels outside the image, so this library refuses it.
// src and dst must not overlap: rows of the source above and below each
// output row are read while other bands write theirs.
// Banding: images under 16 rows, or a one-thread pool, run on the calling
// thread; otherwise the height - 2 interior rows are cut into bands of
// (height - 2) / threads rows, the last band taking the rest (bands that come
// out empty because there are more workers than interior rows are not queued).
LYAVUTILS_API int DefickerImage(const unsigned char* src, int srcPitch, unsigned char* dst, int dstPitch, int width,
                                int height, ELyDeflickerQuality quality);

// ============================================================ wipe

// One frame of a wipe from image A to image B, written to dst. A, B, the
// pattern and dst are 32-bit images of the same width and height, each with
// its own pitch; whole 4-byte pixels are copied.
//  * With a pattern: a pixel comes from B when the first byte of its pattern
//    pixel (the blue byte of a BGRA pattern, the level of a grey one) is
//    strictly greater than progress, otherwise from A; the other three bytes
//    of a pattern pixel do not matter. Progress 255 shows A everywhere;
//    progress 0 shows B wherever the level is not 0.
//  * Without a pattern (null): a left-to-right edge. The first
//    split = trunc(progress / 255.0 * width) pixels of each row (computed in
//    double) come from A, the remaining ones from B at the same positions. So
//    progress 0, and any progress below 255 / width, gives all B, and 255 gives
//    all A; width 100 at progress 128 takes pixels 0-49 from A. The two copies
//    are made with LyMemCpy and so follow its processor-level variants.
// Width or height below 1, or a null imageA, imageB or dst, does nothing (the
// null checks are this library's own). dst must not overlap the other images.
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
