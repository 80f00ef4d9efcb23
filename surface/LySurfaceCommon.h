#ifndef LYAVUTILS_SURFACE_SURFACECOMMON_H
#define LYAVUTILS_SURFACE_SURFACECOMMON_H

// Plumbing shared by the surface operations: frame rectangles, their
// intersection, the move into a surface's own coordinates, sub-picture
// addresses and the un-premultiply row.
//
// Rectangles are built and shifted in 64-bit arithmetic and clamped back to
// 32 bits, so a host that reports a position near the int limits gets an
// empty or clipped rectangle instead of a wrapped one.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "LyAVUtilsTypes.h"
#include "LyVideoUtils.h"

namespace ly {

inline int32_t ClampToInt32(int64_t v) {
    return static_cast<int32_t>(std::clamp<int64_t>(v, std::numeric_limits<int32_t>::min(),
                                                    std::numeric_limits<int32_t>::max()));
}

// (left, top, left + width, top + height) of a description.
inline RECT FrameRect(const SLySurfaceDescription& d) {
    return RECT{d.left, d.top, ClampToInt32(int64_t{d.left} + d.width), ClampToInt32(int64_t{d.top} + d.height)};
}

inline int64_t RectWidth(const RECT& r) { return int64_t{r.right} - r.left; }
inline int64_t RectHeight(const RECT& r) { return int64_t{r.bottom} - r.top; }

// True when `r` covers at least one whole pixel in both directions.
inline bool HasArea(const RECT& r) { return RectWidth(r) >= 1 && RectHeight(r) >= 1; }

// The common part of a and b. Returns false (and an all-zero rectangle) when
// it is less than one pixel wide or high, which every operation treats as
// "nothing to do, lock nothing".
inline bool IntersectFrameRects(const RECT& a, const RECT& b, RECT& out) {
    RECT r{std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right), std::min(a.bottom, b.bottom)};
    if (!HasArea(r)) {
        out = RECT{0, 0, 0, 0};
        return false;
    }
    out = r;
    return true;
}

// `r` moved by minus (left, top): frame coordinates into an object's own.
inline RECT ShiftRect(const RECT& r, int left, int top) {
    return RECT{ClampToInt32(int64_t{r.left} - left), ClampToInt32(int64_t{r.top} - top),
                ClampToInt32(int64_t{r.right} - left), ClampToInt32(int64_t{r.bottom} - top)};
}

// Byte offset of column `left` in a row of the format: half the bytes of a
// two-row strip `left` pixels wide. The same number as GetPixelLineBytes.
inline uint32_t ColumnBytes(ELyPixelFormat format, unsigned char bitDepth, int left) {
    return LyVideoUtils::GetPixelBytes(format, bitDepth, left, 2) / 2;
}

// Address of pixel (left, top) of a picture whose row 0 is `bits`.
inline unsigned char* SubPicture(unsigned char* bits, int pitch, ELyPixelFormat format, unsigned char bitDepth,
                                 int left, int top) {
    return bits + static_cast<ptrdiff_t>(pitch) * top + ColumnBytes(format, bitDepth, left);
}

// Turns `width` premultiplied B, G, R, A pixels into straight colour in
// place: each colour byte becomes byte * 255 / A (truncating) and the pixel
// is rebuilt as ((R' | A << 8) << 8 | G') << 8 | B' in 32 bits with no
// clamping, so a colour larger than its alpha carries into the byte above.
// Pixels with A = 0 are left as they are.
void UnpremultiplyRow(unsigned char* row, int width);

}  // namespace ly

#endif
