#ifndef LYAVUTILS_FORMATUTILS_H
#define LYAVUTILS_FORMATUTILS_H

#include "LyAVUtilsTypes.h"

namespace LyFormatUtils {

// ------------------------------------------------------------ single colours
//
// A colorimetry other than Colorimetry_BT601 or Colorimetry_BT709 leaves every
// colour unchanged.

// In: c0 = Y, c1 = U, c2 = V. Out: c0 = R, c1 = G, c2 = B, each clamped to 0..255.
// Single precision, rounded half away from zero.
LYAVUTILS_API void YUVColorToRGBColor(unsigned char& c0, unsigned char& c1, unsigned char& c2,
                                      ELyColorimetry colorimetry);

// In: c0 = R, c1 = G, c2 = B. Out: c0 = Y, c1 = U, c2 = V. Double precision,
// rounded half away from zero, offsets added modulo 256 (no clamp).
LYAVUTILS_API void RGBColorToYUVColor(unsigned char& c0, unsigned char& c1, unsigned char& c2,
                                      ELyColorimetry colorimetry);

// A VUYA word (byte 0 = V, 1 = U, 2 = Y, 3 = A) becomes a BGRA word; alpha kept.
LYAVUTILS_API void YUVColorToRGBColor(uint32_t& color, ELyColorimetry colorimetry);

// A BGRA word becomes a VUYA word; alpha kept.
LYAVUTILS_API void RGBColorToYUVColor(uint32_t& color, ELyColorimetry colorimetry);

// Equal formats: nothing (whatever the colorimetries). Source format
// PixelFormat_BGRA4444: RGB to YUV with the destination colorimetry. Source
// format PixelFormat_VUYA4444: YUV to RGB with the source colorimetry. Any other
// source format: nothing. The destination format is only compared, so every
// YUV destination gets the VUYA byte order.
LYAVUTILS_API void YUVRGBColorConvert(uint32_t& color, ELyPixelFormat sourceFormat,
                                      ELyColorimetry sourceColorimetry, ELyPixelFormat destinationFormat,
                                      ELyColorimetry destinationColorimetry);

// ------------------------------------------------------------ packed converters
//
// All return 1 when done and 0 when refused (nothing written). The depth
// argument is the bit depth (8 or 16) of the 4:2:2 side.

LYAVUTILS_API int BGRA4444ToUYVY422(const unsigned char* source, int sourcePitch, unsigned char* destination,
                                    int destinationPitch, unsigned char depth, ELyColorimetry colorimetry,
                                    int width, int height);

LYAVUTILS_API int BGRA4444ToVUYA4444(const unsigned char* source, int sourcePitch, unsigned char* destination,
                                     int destinationPitch, unsigned char depth, ELyColorimetry colorimetry,
                                     int width, int height);

LYAVUTILS_API int VUYA4444ToBGRA4444(const unsigned char* source, int sourcePitch, unsigned char* destination,
                                     int destinationPitch, unsigned char depth, ELyColorimetry colorimetry,
                                     int width, int height);

LYAVUTILS_API int UYVY422ToBGRA4444(const unsigned char* source, int sourcePitch, unsigned char depth,
                                    ELyColorimetry colorimetry, unsigned char* destination, int destinationPitch,
                                    int width, int height);

LYAVUTILS_API int UYVY422ToVUYA4444(const unsigned char* source, int sourcePitch, unsigned char depth,
                                    unsigned char* destination, int destinationPitch, int width, int height,
                                    unsigned char alpha);

LYAVUTILS_API int VUYA4444ToUYVY422(const unsigned char* source, int sourcePitch, unsigned char* destination,
                                    int destinationPitch, unsigned char depth, int width, int height);

LYAVUTILS_API int BGRA4444ToYUYVA422(const unsigned char* source, int sourcePitch, unsigned char* destination,
                                     int destinationPitch, unsigned char* alphaDestination, int alphaPitch,
                                     unsigned char depth, ELyColorimetry colorimetry, int width, int height);

LYAVUTILS_API int VUYA4444ToYUYVA422(const unsigned char* source, int sourcePitch, unsigned char* destination,
                                     int destinationPitch, unsigned char* alphaDestination, int alphaPitch,
                                     unsigned char depth, int width, int height);

}  // namespace LyFormatUtils

#endif
