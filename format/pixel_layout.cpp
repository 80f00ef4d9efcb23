#include "LyVideoUtils.h"

namespace {

inline uint32_t U(int v) { return static_cast<uint32_t>(v); }

bool IsPlanar(ELyPixelFormat f) {
    return f == PixelFormat_YUV411Planar || f == PixelFormat_YUV420Planar || f == PixelFormat_YUV422Planar;
}

// ((n + 15) >> 4) * 16: the count rounded up to a multiple of 16, unsigned.
inline uint32_t Pad16(uint32_t n) { return ((n + 15u) >> 4) * 16u; }

// Address arithmetic that stays defined for a null start (the helpers only
// compute addresses; they never dereference).
inline unsigned char* Advance(unsigned char* p, ptrdiff_t bytes) {
    return reinterpret_cast<unsigned char*>(reinterpret_cast<uintptr_t>(p) + static_cast<uintptr_t>(bytes));
}

}  // namespace

namespace LyVideoUtils {

void GetYUVWidthHeight(ELyPixelFormat format, int width, int height, tagSIZE& ySize, tagSIZE& uSize,
                       tagSIZE& vSize) {
    ySize = {width, height};
    tagSIZE c{width, height};
    switch (format) {
    case PixelFormat_UYVY422:
    case PixelFormat_YUV422Planar:
    case PixelFormat_YUYVA422:
        c = {width / 2, height};
        break;
    case PixelFormat_YUV411Planar:
        c = {width / 4, height};
        break;
    case PixelFormat_YUV420Planar:
        c = {width / 2, height / 2};
        break;
    default:
        break;
    }
    uSize = c;
    vSize = c;
}

uint32_t GetPixelBytes(ELyPixelFormat format, unsigned char bitDepth, int width, int height) {
    switch (format) {
    case PixelFormat_BGRA4444:
    case PixelFormat_VUYA4444:
        return U(width) * U(height) * 4u;
    case PixelFormat_UYVY422:
    case PixelFormat_YUYVA422:
        return U(width) * U(height) * (bitDepth == 16 ? 4u : 2u);
    case PixelFormat_YUV411Planar:
    case PixelFormat_YUV420Planar:
    case PixelFormat_YUV422Planar: {
        tagSIZE y, u, v;
        GetYUVWidthHeight(format, width, height, y, u, v);
        return U(y.cx) * U(y.cy) + U(u.cx) * U(u.cy) + U(v.cx) * U(v.cy);
    }
    default:
        return 0;
    }
}

uint32_t GetPixelBytesWithPitch(ELyPixelFormat format, unsigned char bitDepth, int width, int height) {
    if (IsPlanar(format)) {
        tagSIZE y, u, v;
        GetYUVWidthHeight(format, width, height, y, u, v);
        return (((U(y.cx) + 15u) >> 4) * U(y.cy) + ((U(u.cx) + 15u) >> 4) * U(u.cy) +
                ((U(v.cx) + 15u) >> 4) * U(v.cy)) * 16u;
    }
    return GetPixelBytes(format, bitDepth, static_cast<int>((U(width) + 15u) & ~15u), height);
}

uint32_t GetPixelLineBytes(ELyPixelFormat format, unsigned char bitDepth, int width) {
    return GetPixelBytes(format, bitDepth, width, 2) >> 1;
}

uint32_t GetPixelLineBytesWithPitch(ELyPixelFormat format, unsigned char bitDepth, int width) {
    return GetPixelBytesWithPitch(format, bitDepth, width, 2) >> 1;
}

void GetPixelBytes(int yWidth, int yHeight, int uWidth, int uHeight, int vWidth, int vHeight, uint32_t& yBytes,
                   uint32_t& uBytes, uint32_t& vBytes) {
    yBytes = U(yWidth) * U(yHeight);
    uBytes = U(uWidth) * U(uHeight);
    vBytes = U(vWidth) * U(vHeight);
}

void GetPixelBytesWithPitch(int yWidth, int yHeight, int uWidth, int uHeight, int vWidth, int vHeight,
                            uint32_t& yBytes, uint32_t& uBytes, uint32_t& vBytes) {
    yBytes = Pad16(U(yWidth)) * U(yHeight);
    uBytes = Pad16(U(uWidth)) * U(uHeight);
    vBytes = Pad16(U(vWidth)) * U(vHeight);
}

void GetPixelLineBytes(int yWidth, int uWidth, int vWidth, uint32_t& yBytes, uint32_t& uBytes, uint32_t& vBytes) {
    yBytes = (U(yWidth) * 2u) >> 1;
    uBytes = (U(uWidth) * 2u) >> 1;
    vBytes = (U(vWidth) * 2u) >> 1;
}

void GetPixelLineBytesWithPitch(int yWidth, int uWidth, int vWidth, uint32_t& yBytes, uint32_t& uBytes,
                                uint32_t& vBytes) {
    yBytes = Pad16(U(yWidth));
    uBytes = Pad16(U(uWidth));
    vBytes = Pad16(U(vWidth));
}

void GetYUVPlanerBuffer(unsigned char* buffer, const tagSIZE& ySize, const tagSIZE& uSize, const tagSIZE& /*vSize*/,
                        unsigned char** yPlane, unsigned char** uPlane, unsigned char** vPlane) {
    unsigned char* u = Advance(buffer, static_cast<ptrdiff_t>(ySize.cx) * ySize.cy);
    unsigned char* v = Advance(u, static_cast<ptrdiff_t>(uSize.cx) * uSize.cy);
    if (yPlane) *yPlane = buffer;
    if (uPlane) *uPlane = u;
    if (vPlane) *vPlane = v;
}

void GetYUVPlanerBufferWithPitch(unsigned char* buffer, const tagSIZE& ySize, const tagSIZE& uSize,
                                 const tagSIZE& /*vSize*/, unsigned char** yPlane, unsigned char** uPlane,
                                 unsigned char** vPlane) {
    // Rounded up in 64 bits: a width near INT_MAX must not wrap before the shift.
    auto paddedBytes = [](const tagSIZE& s) {
        return static_cast<ptrdiff_t>(((int64_t{s.cx} + 15) >> 4) * 16 * int64_t{s.cy});
    };
    unsigned char* u = Advance(buffer, paddedBytes(ySize));
    unsigned char* v = Advance(u, paddedBytes(uSize));
    if (yPlane) *yPlane = buffer;
    if (uPlane) *uPlane = u;
    if (vPlane) *vPlane = v;
}

void GetYUYVABufferPos(unsigned char* buffer, const tagSIZE& size, int pitch, unsigned char** packed,
                       unsigned char** alpha) {
    if (packed) *packed = buffer;
    if (alpha) *alpha = Advance(buffer, static_cast<ptrdiff_t>(size.cy) * pitch);
}

uint32_t GetVideoSurfaceSize(const SLySurfaceCreateDesc& d) {
    const uint32_t bytes = GetPixelBytesWithPitch(d.pixelFormat, d.bitDepth, d.width, d.height);
    return d.pixelFormat == PixelFormat_YUYVA422 ? bytes * 2u : bytes;
}

}  // namespace LyVideoUtils
