// Display aspect, pixel aspect and square-pixel rectangles.

#include <climits>
#include <numeric>

#include "LyVideoUtils.h"
#include "test_support.h"

namespace {

using namespace LyVideoUtils;

const ELyAspectRatio kUnknown = static_cast<ELyAspectRatio>(9);
const int kFrames[][2] = {{720, 576}, {720, 480}, {1440, 1080}, {1920, 1080}, {1280, 720}};
const struct {
    ELyAspectRatio aspect;
    int x, y;
} kBroadcastAspects[] = {{AspectRatio_4_3, 4, 3}, {AspectRatio_16_9, 16, 9}};

SLyVideoResolution Resolution(int w, int h, ELyAspectRatio aspect, int cx = 0) {
    SLyVideoResolution r{};
    r.width = static_cast<uint16_t>(w);
    r.height = static_cast<uint16_t>(h);
    r.aspectRatio = aspect;
    r.frameSize = {cx, h};
    return r;
}

SLySurfaceDescription Surface(int w, int h, ELyPolarity polarity, ELyAspectRatio aspect, int cx = 0, int cy = 0) {
    SLySurfaceDescription d{};
    d.width = w;
    d.height = h;
    d.polarity = polarity;
    d.aspectRatio = aspect;
    d.customAspectX = cx;
    d.customAspectY = cy;
    return d;
}

::testing::AssertionResult RectIs(const RECT& r, RECT e) {
    if (r.left == e.left && r.top == e.top && r.right == e.right && r.bottom == e.bottom)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << r.left << " " << r.top << " " << r.right << " " << r.bottom;
}

// Pixel aspect from its meaning: display ratio over storage ratio.
double FromDisplay(int w, int h, int x, int y) { return (double(x) / y) / (double(w) / h); }

TEST(AspectRatioValue, EachFormTreatsSquareCustomAndUnknownItsOwnWay) {
    const struct {
        ELyAspectRatio aspect;
        int sizedX, sizedY, bareX, bareY;  // bare form starts from (-7, -8)
    } cases[] = {{AspectRatio_4_3, 4, 3, 4, 3},          {AspectRatio_16_9, 16, 9, 16, 9},
                 {AspectRatio_27_20, 27, 20, 27, 20},    {AspectRatio_9_5, 9, 5, 9, 5},
                 {AspectRatio_Square, 720, 576, 1, 1},   {AspectRatio_Custom, 720, 576, 1, 1},
                 {kUnknown, 720, 576, -7, -8},           {static_cast<ELyAspectRatio>(-1), 720, 576, -7, -8}};
    for (const auto& c : cases) {
        int x = 0, y = 0;
        GetAspectRatioValue(720, 576, c.aspect, x, y);
        EXPECT_EQ(c.sizedX, x) << c.aspect;
        EXPECT_EQ(c.sizedY, y) << c.aspect;
        x = -7, y = -8;
        GetAspectRatioValue(c.aspect, x, y);
        EXPECT_EQ(c.bareX, x) << c.aspect;
        EXPECT_EQ(c.bareY, y) << c.aspect;
    }
}

TEST(AspectRatioClass, ClassifiesAndLeavesTheOutputWithoutAHeight) {
    const struct {
        int w, h;
        ELyAspectRatio expected;
    } cases[] = {{720, 576, AspectRatio_Custom},     {1920, 1080, AspectRatio_16_9},    {1440, 1080, AspectRatio_4_3},
                 {1080, 800, AspectRatio_27_20},     {1296, 720, AspectRatio_9_5},      {853, 480, AspectRatio_Custom},
                 {17778, 10000, AspectRatio_16_9},   {13335, 10000, AspectRatio_Custom}, {18001, 10000, AspectRatio_9_5},
                 {18002, 10000, AspectRatio_Custom}, {-1920, -1080, AspectRatio_16_9}};
    for (const auto& c : cases) {
        ELyAspectRatio a = kUnknown;
        GetAspectRatioClass(c.w, c.h, a);
        EXPECT_EQ(c.expected, a) << c.w << "x" << c.h;
    }
    ELyAspectRatio a = AspectRatio_9_5;
    GetAspectRatioClass(1920, 0, a);
    EXPECT_EQ(AspectRatio_9_5, a);
}

TEST(AspectRatioWidthHeight, RoundHalfAwayFromZeroAndRefuseZeroDivisors) {
    EXPECT_EQ(1024, GetAspectRatioWidth(576, 16, 9));
    EXPECT_EQ(853, GetAspectRatioWidth(480, 16, 9));
    EXPECT_EQ(2, GetAspectRatioWidth(3, 1, 2));    // 1.5
    EXPECT_EQ(-2, GetAspectRatioWidth(-3, 1, 2));  // -1.5
    EXPECT_EQ(405, GetAspectRatioHeight(720, 16, 9));
    EXPECT_EQ(3, GetAspectRatioHeight(5, 2, 1));  // 2.5
    EXPECT_EQ(0, GetAspectRatioWidth(576, 16, 0));
    EXPECT_EQ(0, GetAspectRatioHeight(576, 0, 9));
    EXPECT_EQ(INT_MIN, GetAspectRatioWidth(INT_MAX, 16, 9));  // the processor's out-of-range value
}

TEST(PixelAspectRatio, BroadcastFramesInEveryFormAgreeWithDisplayOverStorage) {
    for (const auto& f : kFrames)
        for (const auto& a : kBroadcastAspects) {
            const double e = FromDisplay(f[0], f[1], a.x, a.y);
            EXPECT_NEAR(e, GetPixelAspectRatio(f[0], f[1], a.aspect), 1e-12) << f[0] << "x" << f[1];
            EXPECT_NEAR(e, GetPixelAspectRatio(f[0], f[1], a.x, a.y), 1e-12);
            EXPECT_NEAR(e, GetPixelAspectRatio(Surface(f[0], f[1], Polarity_Frame, a.aspect)), 1e-12);
            // A field holds half the rows of the same frame.
            EXPECT_NEAR(e, GetPixelAspectRatio(Surface(f[0], f[1] / 2, Polarity_Second, a.aspect)), 1e-12);
            EXPECT_NEAR(e, GetPixelAspectRatio(Surface(f[0], f[1] / 2, Polarity_First, AspectRatio_Custom, a.x, a.y)),
                        1e-12);
        }
    EXPECT_NEAR(1024.0 / 720, GetPixelAspectRatio(Resolution(1024, 576, AspectRatio_16_9, 720)), 1e-15);
    EXPECT_NEAR(1.0, GetPixelAspectRatio(70000, 70000, 70000, 70000), 1e-15);  // no 32-bit wrap
}

// A field of INT_MIN rows doubles to -2^32; with a ratio or width of INT_MIN
// the product is +2^63, one past the 64-bit range, and must keep its sign.
TEST(PixelAspectRatio, DoubledFieldHeightAtTheIntLimits) {
    EXPECT_EQ(0x1p63, GetPixelAspectRatio(Surface(1, INT_MIN, Polarity_First, AspectRatio_Custom, INT_MIN, 1)));
    EXPECT_EQ(-0x1p63, GetPixelAspectRatio(Surface(-1, INT_MIN, Polarity_Second, AspectRatio_Custom, INT_MIN, 1)));
    EXPECT_EQ(1.0, GetPixelAspectRatio(Surface(INT_MIN, INT_MIN, Polarity_Second, kUnknown)));
    EXPECT_DOUBLE_EQ(32.0 / 9, GetPixelAspectRatio(Surface(INT_MIN, INT_MIN, Polarity_First, AspectRatio_16_9)));
}

TEST(PixelAspectRatio, SquareByDefaultAndForMissingDivisors) {
    // The enum form treats custom as square; the description form uses its ratio (above).
    EXPECT_EQ(1.0, GetPixelAspectRatio(720, 576, AspectRatio_Custom));
    for (ELyAspectRatio a : {AspectRatio_Square, kUnknown}) {
        EXPECT_EQ(1.0, GetPixelAspectRatio(720, 576, a));
        EXPECT_EQ(1.0, GetPixelAspectRatio(Surface(720, 288, Polarity_First, a)));
    }
    EXPECT_EQ(1.0, GetPixelAspectRatio(0, 576, 16, 9));
    EXPECT_EQ(1.0, GetPixelAspectRatio(720, 576, 16, 0));
    EXPECT_EQ(1.0, GetPixelAspectRatio(0, 576, AspectRatio_16_9));
    EXPECT_EQ(1.0, GetPixelAspectRatio(720, 0, AspectRatio_Square));
    EXPECT_EQ(1.0, GetPixelAspectRatio(Surface(0, 576, Polarity_Frame, AspectRatio_4_3)));
    EXPECT_EQ(1.0, GetPixelAspectRatio(Surface(720, 576, Polarity_Frame, AspectRatio_Custom, 16, 0)));
    EXPECT_EQ(1.0, GetPixelAspectRatio(Resolution(1024, 576, AspectRatio_16_9, 0)));
}

TEST(SqualPixelRect, WidensToTheSquarePixelWidthAndScalesTheLeftEdge) {
    // A frame h rows high shown at x:y is h * x / y square pixels wide, whatever its stored width.
    for (const auto& f : kFrames)
        for (const auto& a : kBroadcastAspects) {
            RECT r{0, 0, f[0], f[1]};
            ASSERT_EQ(1, GetSqualPixelRect(a.aspect, r));
            EXPECT_TRUE(RectIs(r, {0, 0, static_cast<int>(double(f[1]) * a.x / a.y + 0.5), f[1]}));
        }
    RECT r{100, 7, 820, 583};  // k = 1024 / 720
    EXPECT_EQ(1, GetSqualPixelRect(16, 9, r));
    EXPECT_TRUE(RectIs(r, {142, 7, 1166, 583}));
    r = {720, 576, 0, 0};  // edges in either order
    EXPECT_EQ(1, GetSqualPixelRect(16, 9, r));
    EXPECT_TRUE(RectIs(r, {1024, 576, 2048, 0}));
    // Edges in single precision: 16777217 and 33554434 become 16777216 and
    // 33554432, so k is exactly 1 and the left edge stays.
    r = {16777217, 0, 33554434, 16777216};
    EXPECT_EQ(1, GetSqualPixelRect(1, 1, r));
    EXPECT_TRUE(RectIs(r, {16777217, 0, 33554433, 16777216}));
}

TEST(SqualPixelRect, EmptiesWithoutWidthOrYAndLeavesCustom) {
    RECT r{10, 20, 10, 40};
    EXPECT_EQ(0, GetSqualPixelRect(16, 9, r));
    EXPECT_TRUE(RectIs(r, {0, 0, 0, 0}));
    r = {10, 20, 30, 40};
    EXPECT_EQ(0, GetSqualPixelRect(16, 0, r));
    EXPECT_TRUE(RectIs(r, {0, 0, 0, 0}));
    r = {10, 20, 30, 40};
    EXPECT_EQ(0, GetSqualPixelRect(AspectRatio_Custom, r));
    EXPECT_TRUE(RectIs(r, {10, 20, 30, 40}));
    for (ELyAspectRatio a : {AspectRatio_Square, kUnknown}) {  // the rectangle's own shape
        r = {10, 20, 730, 596};
        EXPECT_EQ(1, GetSqualPixelRect(a, r));
        EXPECT_TRUE(RectIs(r, {10, 20, 730, 596}));
    }
    r = {5, 5, 5, 5};
    EXPECT_EQ(1, GetSqualPixelRect(Resolution(720, 576, AspectRatio_16_9), r));
    EXPECT_TRUE(RectIs(r, {0, 0, 1024, 576}));
    r = {5, 5, 5, 5};
    EXPECT_EQ(0, GetSqualPixelRect(Resolution(720, 576, AspectRatio_Custom), r));
    EXPECT_TRUE(RectIs(r, {0, 0, 720, 576}));
}

TEST(AspectConvertType, ComparesDisplayRatios) {
    auto type = [](SLyVideoResolution a, SLyVideoResolution b) { return GetAspectConvertType(a, b); };
    EXPECT_EQ(AspectConvert_ToWider, type(Resolution(720, 576, AspectRatio_4_3), Resolution(720, 576, AspectRatio_16_9)));
    EXPECT_EQ(AspectConvert_ToNarrower,
              type(Resolution(720, 576, AspectRatio_16_9), Resolution(720, 576, AspectRatio_4_3)));
    EXPECT_EQ(AspectConvert_Same, type(Resolution(1920, 1080, AspectRatio_Square), Resolution(1, 1, AspectRatio_16_9)));
    EXPECT_EQ(AspectConvert_Same, type(Resolution(17778, 10000, kUnknown), Resolution(1, 1, AspectRatio_16_9)));
    EXPECT_EQ(AspectConvert_ToWider, type(Resolution(1, 1, AspectRatio_27_20), Resolution(1, 1, AspectRatio_9_5)));
    // A named ratio needs no height; a size ratio without one has no ratio at all.
    EXPECT_EQ(AspectConvert_ToWider, type(Resolution(720, 0, AspectRatio_4_3), Resolution(720, 0, AspectRatio_16_9)));
    EXPECT_EQ(AspectConvert_Same, type(Resolution(720, 0, AspectRatio_Square), Resolution(720, 576, AspectRatio_16_9)));
}

TEST(ConvertAspectRatio, ReexpressesTheAspectOrRefusesZeroProducts) {
    // 16 * 100000 * 50000 and 9 * 70000 * 90000 both wrap in 32 bits.
    const uint32_t wx = uint32_t{16} * 100000u * 50000u, wy = uint32_t{9} * 70000u * 90000u;
    const uint32_t g = std::gcd(wx, wy);
    const struct {
        ELyAspectRatio aspect;
        unsigned ow, nw, oh, nh, x, y;
        ELyAspectRatio expected;
        unsigned ex, ey;
    } cases[] = {
        {AspectRatio_16_9, 1920, 1440, 1080, 1080, 77, 55, AspectRatio_Custom, 4, 3},
        {AspectRatio_Square, 1920, 1440, 1080, 1080, 77, 55, AspectRatio_Custom, 4, 3},  // from the old size
        {AspectRatio_Custom, 720, 1440, 576, 576, 5, 4, AspectRatio_Custom, 5, 2},     // the caller's ratio
        {kUnknown, 100, 100, 100, 100, 6, 4, AspectRatio_Custom, 3, 2},
        {AspectRatio_27_20, 1000, 1000, 1000, 1000, 77, 55, AspectRatio_Custom, 27, 20},
        {AspectRatio_16_9, 70000, 100000, 50000, 90000, 77, 55, AspectRatio_Custom, wx / g, wy / g},
        // Refused, nothing changes: a zero size, a zero ratio term, products wrapping to 0.
        {AspectRatio_16_9, 1920, 0, 1080, 1080, 77, 55, AspectRatio_16_9, 77, 55},
        {AspectRatio_16_9, 1920, 1440, 1080, 0, 77, 55, AspectRatio_16_9, 77, 55},
        {AspectRatio_Custom, 1920, 1440, 1080, 1080, 16, 0, AspectRatio_Custom, 16, 0},
        {AspectRatio_Custom, 1920, 1440, 1080, 1080, 0, 9, AspectRatio_Custom, 0, 9},
        {AspectRatio_16_9, 65536, 65536, 65536, 65536, 77, 55, AspectRatio_16_9, 77, 55},
    };
    for (const auto& c : cases) {
        ELyAspectRatio aspect = c.aspect;
        unsigned x = c.x, y = c.y;
        ConvertAspectRatio(aspect, c.ow, c.nw, c.oh, c.nh, x, y);
        EXPECT_EQ(c.expected, aspect) << c.ow << "->" << c.nw;
        EXPECT_EQ(c.ex, x) << c.ow << "->" << c.nw;
        EXPECT_EQ(c.ey, y) << c.ow << "->" << c.nw;
    }
}

}  // namespace
