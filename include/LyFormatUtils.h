#ifndef LYAVUTILS_FORMATUTILS_H
#define LYAVUTILS_FORMATUTILS_H

#include "LyAVUtilsTypes.h"

// Pool jobs of your own: a banded operation that uses the pool (16 rows or
// more, two or more workers) queues its bands on the calling thread's one
// pool queue (LyThreadPool.h) and waits for that whole queue. A thread with
// LyThreadPool::Run jobs still pending therefore waits inside the operation
// for them too (their exception comes out of the operation), and its own Wait
// then returns at once. Call LyThreadPool::Wait before an image operation, or
// submit your jobs from another thread.

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
//
// Rules shared by the converters:
//  * Refusal (0, nothing written, no pool work): a null source or destination
//    pointer, width or height below 1, a colorimetry other than
//    Colorimetry_BT601 / Colorimetry_BT709 where one is taken, a depth other
//    than 8 or 16 where one is used. BGRA4444ToVUYA4444 and
//    VUYA4444ToBGRA4444 are the exception: they refuse nothing (see there).
//  * Layouts: PixelFormat_UYVY422 stores U, Y0, V, Y1 per pixel pair; the
//    packed image of PixelFormat_YUYVA422 stores Y0, U, Y1, V. At depth 16
//    every sample is a little-endian 16-bit word holding the 8-bit value
//    times 4 (the same samples the fills write). A 16-bit sample s is read as
//    min(255, (s + 2) >> 2): values written here come back exactly, true
//    10-bit values round to the nearest 8-bit value, larger values saturate.
//  * RGB and YUV meet through the library's fixed-point colour tables (six
//    fractional bits): per pixel the table words of B, G and R (or of the
//    Y, U and V bytes) are summed with signed 16-bit saturation and shifted
//    right by 6 (rounding down), then clamped to 0..255 where a result can
//    leave that range. Two pixels of a pair share the average of their U
//    (and V) values, rounded up: (a + b + 1) >> 1.
//  * Results are bit-identical on every processor, instruction set, thread
//    count and floating-point rounding mode.
//  * A one-pixel row contains no whole pair: the 4:2:2 converters write
//    nothing for it (and still return 1).
//  * Rows are split into bands on the library's thread pool. BGRA4444ToUYVY422,
//    UYVY422ToBGRA4444 and UYVY422ToVUYA4444 submit through the exported
//    LyThreadPool entry points, the others through the pool directly.

// Alpha is dropped. An odd last pixel is not converted: its destination
// bytes are left as they were.
LYAVUTILS_API int BGRA4444ToUYVY422(const unsigned char* source, int sourcePitch, unsigned char* destination,
                                    int destinationPitch, unsigned char depth, ELyColorimetry colorimetry,
                                    int width, int height);

// Every pixel: V, U, Y from the tables, alpha copied. Checks nothing and
// always returns 1; depth is ignored. With a null pointer, a width or height
// below 1, or a colorimetry other than BT.601 / BT.709 nothing is written.
LYAVUTILS_API int BGRA4444ToVUYA4444(const unsigned char* source, int sourcePitch, unsigned char* destination,
                                     int destinationPitch, unsigned char depth, ELyColorimetry colorimetry,
                                     int width, int height);

// Every pixel: B, G, R clamped to 0..255, alpha copied. Checks nothing and
// always returns 1, with the same silent cases as BGRA4444ToVUYA4444.
LYAVUTILS_API int VUYA4444ToBGRA4444(const unsigned char* source, int sourcePitch, unsigned char* destination,
                                     int destinationPitch, unsigned char depth, ELyColorimetry colorimetry,
                                     int width, int height);

// Both pixels of a pair take the pair's chroma; every pixel gets alpha 255.
// An odd last pixel (width 3 or more) has only its U and Y in the row: it is
// converted with the V of the pair on its left. Width 1 writes nothing.
LYAVUTILS_API int UYVY422ToBGRA4444(const unsigned char* source, int sourcePitch, unsigned char depth,
                                    ELyColorimetry colorimetry, unsigned char* destination, int destinationPitch,
                                    int width, int height);

// Both pixels of a pair get the pair's U and V unchanged (repeated, not
// interpolated), so VUYA4444ToUYVY422 gives the 4:2:2 row back exactly. The
// alpha byte is always 255: the alpha argument is accepted and ignored. An
// odd last pixel takes its own U and Y and the V on its left, as in
// UYVY422ToBGRA4444. A depth other than 8 or 16 is refused.
LYAVUTILS_API int UYVY422ToVUYA4444(const unsigned char* source, int sourcePitch, unsigned char depth,
                                    unsigned char* destination, int destinationPitch, int width, int height,
                                    unsigned char alpha);

// Pair chroma averaged rounding up, each Y kept, alpha dropped. An odd last
// pixel writes its own U and Y (two bytes) at depth 8 and nothing at depth 16.
LYAVUTILS_API int VUYA4444ToUYVY422(const unsigned char* source, int sourcePitch, unsigned char* destination,
                                    int destinationPitch, unsigned char depth, int width, int height);

// The packed image gets exactly the values of BGRA4444ToUYVY422 in Y0, U, Y1,
// V order. The alpha plane gets one 16-bit sample per pixel, alpha * 16
// (0..4080), at both depths (at depth 16 it fills the first width * 2 bytes of
// each alpha row). A pixel whose packed bytes are not written (an odd last
// pixel) gets no alpha sample either. A null alpha destination is refused.
// For a surface, pass alphaDestination = destination + destinationPitch *
// height and alphaPitch = destinationPitch.
LYAVUTILS_API int BGRA4444ToYUYVA422(const unsigned char* source, int sourcePitch, unsigned char* destination,
                                     int destinationPitch, unsigned char* alphaDestination, int alphaPitch,
                                     unsigned char depth, ELyColorimetry colorimetry, int width, int height);

// The packed image gets exactly the values of VUYA4444ToUYVY422 in Y0, U, Y1,
// V order; the alpha plane as for BGRA4444ToYUYVA422. At depth 8 an odd last
// pixel writes its Y and U and its alpha sample; at depth 16 neither.
LYAVUTILS_API int VUYA4444ToYUYVA422(const unsigned char* source, int sourcePitch, unsigned char* destination,
                                     int destinationPitch, unsigned char* alphaDestination, int alphaPitch,
                                     unsigned char depth, int width, int height);

// ------------------------------------------------------------ planar converters
//
// Between the 8-bit planar formats PixelFormat_YUV422Planar, _YUV420Planar and
// _YUV411Planar and 8-bit PixelFormat_UYVY422 (U, Y0, V, Y1 per pixel pair).
// Each plane has its own pointer and pitch (any sign), so separate decoder
// planes and one contiguous buffer both work. For a contiguous buffer:
//     tagSIZE ys, us, vs;
//     LyVideoUtils::GetYUVWidthHeight(format, width, height, ys, us, vs);
//     unsigned char *y, *u, *v;
//     LyVideoUtils::GetYUVPlanerBuffer(buffer, ys, us, vs, &y, &u, &v);
//     // pitches ys.cx, us.cx, vs.cx (lines end to end), or with
//     // GetYUVPlanerBufferWithPitch: ((cx + 15) >> 4) * 16 for each plane
// `width` and `height` are the luma (and UYVY) size in pixels. The chroma
// planes have exactly the sizes GetYUVWidthHeight gives: width / 2 columns
// (width / 4 for 4:1:1) and full height (height / 2 rows for 4:2:0), so an
// odd width, or a 4:1:1 width that is not a multiple of 4, has pixels on the
// right without a chroma column of their own, and an odd 4:2:0 height a last
// row without a chroma row of its own: those pixels take the chroma of the
// last column / row (edge repeat) going to UYVY, and add nothing to the planes
// coming back.
//
// Siting, as the formats are used in broadcast practice:
//  * UYVY 4:2:2, 4:2:2 planar and 4:1:1 planar: chroma co-sited with the
//    first (even / every fourth) luma sample of its group.
//  * 4:2:0: horizontally co-sited with even luma columns, as 4:2:2 is (the
//    MPEG-2 / H.264 default), and vertically half-way between luma rows 2j
//    and 2j + 1. Because both sides are co-sited horizontally, the 4:2:0
//    converters never filter across columns: they only resample rows, so a
//    4:2:0 chroma column passes to the UYVY column above it unchanged in
//    horizontal position.
//
// Rules per format; chroma means U and V alike, c[k] the planar sample, p the
// UYVY pair chroma. Indices outside a plane are clamped to its first or last
// sample (edge repeat). Nearest and filtered differ only where the sampling
// differs, so 4:2:2 planar <-> UYVY is a plain repacking in both modes.
//   planar -> UYVY (pair n at luma column 2n, row y):
//    4:2:2     p = c[n]
//    4:1:1     nearest  p = c[n / 2]
//              filtered p = c[n / 2] for even n, (c[k] + c[k + 1] + 1) >> 1
//                       for odd n (k = n / 2: the pair half-way between)
//    4:2:0     nearest  row y takes chroma row y / 2
//              filtered row y takes (3 * near + far + 2) >> 2, near = row
//                       y / 2, far = the chroma row on y's other side (row
//                       y / 2 - 1 for even y, y / 2 + 1 for odd y): the 3:1
//                       weights of a chroma row a quarter of a row away.
//   UYVY -> planar:
//    4:2:2     c[k] = p of pair k
//    4:1:1     nearest  c[k] = p of pair 2k
//              filtered c[k] = (p[2k - 1] + 2 * p[2k] + p[2k + 1] + 2) >> 2
//                       (centred on pair 2k, so the siting stays put)
//    4:2:0     nearest  chroma row j = the chroma of UYVY row 2j
//              filtered chroma row j = (row 2j + row 2j + 1 + 1) >> 1
// Luma is always copied unchanged. So UYVY -> planar -> UYVY gives the
// UYVY image back exactly for 4:2:2, and planar -> UYVY -> planar gives the
// planes back exactly for 4:2:2 (both modes) and for nearest 4:1:1 and 4:2:0.
// An odd last UYVY pixel is two bytes, its U and Y (as VUYA4444ToUYVY422
// writes them): going to UYVY it gets the U of the pair it would start, going
// to planar its U is not used.
//
// Returns 1 when done, 0 when refused with nothing written: a null plane or
// image pointer, width or height below 1, a planar format other than the
// three, a mode other than the two, or an image whose chroma planes would be
// empty (width below 2, below 4 for 4:1:1, or a 4:2:0 height below 2).
// Planes must not overlap one another or the image. Results do not depend
// on the instruction set or the pool size; rows are split into bands on the
// library's thread pool (4:2:0 chroma rows are written by the band holding
// their top luma row).
LYAVUTILS_API int YUVPlanerToUYVY422(const unsigned char* yPlane, int yPitch, const unsigned char* uPlane,
                                     int uPitch, const unsigned char* vPlane, int vPitch, unsigned char* destination,
                                     int destinationPitch, int width, int height, ELyPixelFormat planarFormat,
                                     ELyChromaMode mode);

LYAVUTILS_API int UYVY422ToYUVPlaner(const unsigned char* source, int sourcePitch, unsigned char* yPlane, int yPitch,
                                     unsigned char* uPlane, int uPitch, unsigned char* vPlane, int vPitch, int width,
                                     int height, ELyPixelFormat planarFormat, ELyChromaMode mode);

}  // namespace LyFormatUtils

#endif
