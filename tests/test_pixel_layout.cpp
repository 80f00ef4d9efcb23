// Buffer size and address helpers for every format and depth.

#include <climits>
#include <cstdint>

#include "LyVideoUtils.h"
#include "test_support.h"

using namespace LyVideoUtils;

namespace {

const ELyPixelFormat kBGRA = PixelFormat_BGRA4444, kVUYA = PixelFormat_VUYA4444, kUYVY = PixelFormat_UYVY422,
                     k411 = PixelFormat_YUV411Planar, k420 = PixelFormat_YUV420Planar,
                     k422 = PixelFormat_YUV422Planar, kYUYVA = PixelFormat_YUYVA422;

}  // namespace

TEST(PixelBytes, PackedFormatsByDepth) {
    EXPECT_EQ(GetPixelBytes(kBGRA, 8, 1920, 1080), 1920u * 1080 * 4);
    EXPECT_EQ(GetPixelBytes(kBGRA, 16, 3, 5), 60u);  // 32-bit formats ignore the depth
    EXPECT_EQ(GetPixelBytes(kVUYA, 10, 3, 5), 60u);
    EXPECT_EQ(GetPixelBytes(kUYVY, 8, 8, 2), 32u);
    EXPECT_EQ(GetPixelBytes(kUYVY, 16, 8, 2), 64u);
    EXPECT_EQ(GetPixelBytes(kUYVY, 10, 8, 2), 32u);  // unknown depth counts as 8
    EXPECT_EQ(GetPixelBytes(kYUYVA, 8, 720, 576), 720u * 576 * 2);  // alpha area not included
    EXPECT_EQ(GetPixelBytes(kYUYVA, 16, 7, 3), 84u);
}

TEST(PixelBytes, PlanarFormatsSumTheirPlanes) {
    EXPECT_EQ(GetPixelBytes(k420, 8, 5, 5), 33u);  // 25 + 2 x (2 x 2)
    EXPECT_EQ(GetPixelBytes(k420, 16, 8, 8), 96u);
    EXPECT_EQ(GetPixelBytes(k422, 8, 7, 3), 21u + 2 * 9);
    EXPECT_EQ(GetPixelBytes(k411, 8, 9, 2), 18u + 2 * 4);
}

TEST(PixelBytes, UnknownFormatsGiveZero) {
    for (int f : {0, 8, 9, -1, 1000}) {
        const auto fmt = static_cast<ELyPixelFormat>(f);
        EXPECT_EQ(GetPixelBytes(fmt, 8, 64, 64), 0u);
        EXPECT_EQ(GetPixelBytesWithPitch(fmt, 8, 64, 64), 0u);
        EXPECT_EQ(GetPixelLineBytes(fmt, 8, 64), 0u);
        EXPECT_EQ(GetPixelLineBytesWithPitch(fmt, 8, 64), 0u);
        tagSIZE y{}, u{}, v{};
        GetYUVWidthHeight(fmt, 10, 6, y, u, v);
        EXPECT_EQ(u.cx, 10);  // full-size planes
        EXPECT_EQ(v.cy, 6);
    }
}

TEST(PixelBytesWithPitch, PacksPadPixelsPlanarPadBytes) {
    EXPECT_EQ(GetPixelBytesWithPitch(kBGRA, 8, 1, 1), 64u);  // 16 pixels x 4
    EXPECT_EQ(GetPixelBytesWithPitch(kBGRA, 8, 16, 2), 128u);
    EXPECT_EQ(GetPixelBytesWithPitch(kBGRA, 8, 17, 2), 256u);
    EXPECT_EQ(GetPixelBytesWithPitch(kUYVY, 8, 720, 1), 1440u);
    EXPECT_EQ(GetPixelBytesWithPitch(kUYVY, 16, 721, 1), 736u * 4);
    // 4:2:0 of 5x5: Y 5 -> 16 bytes x 5 rows, U and V 2 -> 16 x 2 rows.
    EXPECT_EQ(GetPixelBytesWithPitch(k420, 8, 5, 5), 16u * 5 + 2 * 16 * 2);
    EXPECT_EQ(GetPixelBytesWithPitch(k411, 8, 64, 1), 64u + 16 + 16);
}

TEST(PixelLineBytes, HalfOfTwoLines) {
    EXPECT_EQ(GetPixelLineBytes(k420, 8, 8), 12u);  // (16 + 4 + 4) / 2
    EXPECT_EQ(GetPixelLineBytes(kUYVY, 8, 5), 10u);
    EXPECT_EQ(GetPixelLineBytes(kBGRA, 8, 3), 12u);
    EXPECT_EQ(GetPixelLineBytesWithPitch(kBGRA, 8, 3), 64u);
    EXPECT_EQ(GetPixelLineBytesWithPitch(k420, 8, 8), (2u * 16 + 16 + 16) / 2);  // Y two padded rows, U and V one
}

TEST(PlaneForms, EachOutputFromItsOwnPlane) {
    uint32_t y = 0, u = 0, v = 0;
    GetPixelBytes(10, 4, 5, 4, 5, 2, y, u, v);
    EXPECT_EQ(y, 40u);
    EXPECT_EQ(u, 20u);
    EXPECT_EQ(v, 10u);
    GetPixelBytesWithPitch(10, 4, 17, 4, 0, 2, y, u, v);
    EXPECT_EQ(y, 64u);
    EXPECT_EQ(u, 128u);
    EXPECT_EQ(v, 0u);
    GetPixelLineBytes(10, -1, 0x80000005, y, u, v);
    EXPECT_EQ(y, 10u);
    EXPECT_EQ(u, 0x7FFFFFFFu);  // the top bit is dropped
    EXPECT_EQ(v, 5u);
    GetPixelLineBytesWithPitch(1, 16, 33, y, u, v);
    EXPECT_EQ(y, 16u);
    EXPECT_EQ(u, 16u);
    EXPECT_EQ(v, 48u);
}

TEST(YUVWidthHeight, ChromaPlanesPerFormat) {
    tagSIZE y{}, u{}, v{};
    GetYUVWidthHeight(kUYVY, 7, 5, y, u, v);
    EXPECT_EQ(y.cx, 7);
    EXPECT_EQ(y.cy, 5);
    EXPECT_EQ(u.cx, 3);  // odd widths lose their last chroma column
    EXPECT_EQ(u.cy, 5);
    GetYUVWidthHeight(k411, 9, 5, y, u, v);
    EXPECT_EQ(v.cx, 2);
    EXPECT_EQ(v.cy, 5);
    GetYUVWidthHeight(k420, 9, 5, y, u, v);
    EXPECT_EQ(u.cx, 4);
    EXPECT_EQ(u.cy, 2);
    GetYUVWidthHeight(kBGRA, 9, 5, y, u, v);
    EXPECT_EQ(u.cx, 9);
    GetYUVWidthHeight(kYUYVA, -3, 5, y, u, v);
    EXPECT_EQ(u.cx, -1);  // signed division truncates toward zero
}

TEST(PlanarBuffer, PlaneAddresses) {
    unsigned char buf[1024];
    unsigned char *py = nullptr, *pu = nullptr, *pv = nullptr;
    const tagSIZE ys{10, 4}, us{5, 2}, vs{5, 2};
    GetYUVPlanerBuffer(buf, ys, us, vs, &py, &pu, &pv);
    EXPECT_EQ(py, buf);
    EXPECT_EQ(pu, buf + 40);
    EXPECT_EQ(pv, buf + 50);
    GetYUVPlanerBufferWithPitch(buf, ys, us, vs, &py, &pu, &pv);
    EXPECT_EQ(pu, buf + 64);
    EXPECT_EQ(pv, buf + 64 + 32);
    GetYUVPlanerBuffer(buf, ys, us, vs, nullptr, nullptr, &pv);  // null outputs are skipped
    EXPECT_EQ(pv, buf + 50);
}

// Widths near INT_MAX round up to 2^31 instead of wrapping negative; only the
// addresses are computed, nothing is touched.
TEST(PlanarBuffer, PaddedWidthNearIntMaxDoesNotWrap) {
    unsigned char buf[1];
    unsigned char *pu = nullptr, *pv = nullptr;
    const tagSIZE ys{INT_MAX, 1}, us{INT_MAX - 3, 2}, vs{1, 1};
    GetYUVPlanerBufferWithPitch(buf, ys, us, vs, nullptr, &pu, &pv);
    const uintptr_t base = reinterpret_cast<uintptr_t>(buf);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(pu) - base, uintptr_t{1} << 31);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(pv) - base, (uintptr_t{1} << 31) * 3);
}

TEST(YUYVABuffer, AlphaAreaFollowsThePackedImage) {
    unsigned char buf[4096];
    unsigned char *packed = nullptr, *alpha = nullptr;
    GetYUYVABufferPos(buf, tagSIZE{16, 8}, 48, &packed, &alpha);
    EXPECT_EQ(packed, buf);
    EXPECT_EQ(alpha, buf + 8 * 48);
    alpha = nullptr;
    GetYUYVABufferPos(buf, tagSIZE{16, 8}, 48, nullptr, &alpha);
    EXPECT_EQ(alpha, buf + 384);
    GetYUYVABufferPos(buf, tagSIZE{16, 8}, 48, &packed, nullptr);
}

TEST(VideoSurfaceSize, PaddedSizeDoubledForTheAlphaFormat) {
    SLySurfaceCreateDesc d{};
    d.width = 720;
    d.height = 576;
    d.bitDepth = 8;
    d.pixelFormat = kYUYVA;
    EXPECT_EQ(GetVideoSurfaceSize(d), 1658880u);
    d.pixelFormat = kBGRA;
    d.width = 17;
    d.height = 3;
    EXPECT_EQ(GetVideoSurfaceSize(d), 32u * 4 * 3);
    d.pixelFormat = static_cast<ELyPixelFormat>(0);
    EXPECT_EQ(GetVideoSurfaceSize(d), 0u);
}
