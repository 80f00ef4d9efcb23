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
// Only the image's own bytes are written (plus the alpha plane of
// PixelFormat_YUYVA422 where stated). A width or height below 1 writes
// nothing. When rows share bytes (|pitch| smaller than a row) the copies run
// top to bottom with memmove semantics; a pitch of 0 leaves one row.

// Stores the packed word of a named colour (caller's alpha in the top byte).
// Returns 0 when format is neither PixelFormat_BGRA4444 nor PixelFormat_VUYA4444.
// An unknown colour (2, 4, outside 1..7) or, for VUYA, an unknown colorimetry
// returns 1 and leaves `packed` untouched. Low 24 bits of the words:
//            BGRA      VUYA BT.601   VUYA BT.709
//   black    000000    108080        108080
//   white    FFFFFF    EB8080        EB8080
//   red      FF0000    525AF0        3F66F0
//   green    00FF00    913622        AD2A1A
//   blue     0000FF    29F06E        20F076
// The YUV words are studio-range constants, not computed.
LYAVUTILS_API int GetFixedColor(ELyPixelFormat format, ELyColorimetry colorimetry, ELyFixedColor color,
                                uint32_t& packed, unsigned char alpha);

// Fills with a named colour: PixelFormat_BGRA4444 and PixelFormat_VUYA4444
// look the word up in their own format, PixelFormat_UYVY422 and
// PixelFormat_YUYVA422 as VUYA; any other format returns 0 at once. A colour
// (or colorimetry) that yields no word fills with 0. Otherwise returns what
// FillBlockColor returns for the word.
LYAVUTILS_API int FillFixedColor(unsigned char* buffer, int pitch, int width, int height, ELyPixelFormat format,
                                 unsigned char bitDepth, ELyColorimetry colorimetry, ELyFixedColor color,
                                 unsigned char alpha);

// Fills with one packed word: A<<24 | R<<16 | G<<8 | B for BGRA, A<<24 |
// Y<<16 | Cb<<8 | Cr (the VUYA word) for the YUV formats. Returns 0 for a
// null buffer or a format other than 1, 2, 3 or 7 (nothing written), else 1.
// colorimetry is not used.
//  * BGRA, VUYA: the word in every pixel, at any depth.
//  * PixelFormat_UYVY422, depth 8: bytes Cb, Y, Cr, Y per pixel pair; depth
//    16: 16-bit samples Cb<<2, Y<<2, Cr<<2, Y<<2. Any other depth writes
//    nothing into row 0 but still copies row 0's first width * 2 bytes into
//    the rows below.
//  * PixelFormat_YUYVA422: bytes Y, Cb, Y, Cr per pair at depth 8 only. At
//    any other depth row 0 is not written (unlike UYVY at depth 16) and is
//    still copied into the rows below (width * 4 bytes at depth 16). The
//    alpha plane, `height` rows starting at buffer + pitch * height with the
//    same pitch, gets A * 16 in the 16-bit samples of the first width / 2
//    pixel pairs of each row; it is skipped when that address is null.
//  * In the 4:2:2 formats an odd last pixel is not written in row 0 (its
//    bytes there are copied downwards as they are) and its alpha sample is
//    left as it was.
LYAVUTILS_API int FillBlockColor(unsigned char* buffer, int pitch, int width, int height, ELyPixelFormat format,
                                 unsigned char bitDepth, ELyColorimetry colorimetry, uint32_t packed);

// Two-colour checkerboard of 32-bit pixels: cells of cell.cx by cell.cy
// pixels, color1 in the top-left cell, cells cut at the right and bottom
// edges. When a cell dimension is below 1 (there is no grid to divide by), or
// the image is narrower or shorter than one cell, the image is filled with
// color1 alone: its own rows only, width words each (not a count of
// pitch * height * 4 words). Builds its two lines in the image itself (no
// allocation). Returns 0 for a null buffer (nothing written), else 1.
LYAVUTILS_API int FillGridColor(unsigned char* buffer, int pitch, int width, int height, uint32_t color1,
                                uint32_t color2, tagSIZE cell);

// Eight vertical bars, left to right white, yellow, cyan, green, magenta,
// red, blue, black, all opaque. fullLevel non-zero: colours at 255; zero: the
// coloured bars at 191 (0xBF) while white stays at 255. Bars 0..6 are
// width / 8 pixels wide, bar 7 takes the rest. PixelFormat_BGRA4444 writes
// the BGRA words; PixelFormat_VUYA4444 converts bars 0..6 with
// RGBColorToYUVColor (a colorimetry other than BT.601 / BT.709 leaves them
// BGRA words) and writes the black bar as the unconverted word 0xFF000000.
// Other formats, a null buffer or a width below 8 write nothing. bitDepth is
// not used.
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
