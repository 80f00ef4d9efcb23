// Display aspect, pixel aspect and square-pixel rectangles.

#include <climits>
#include <cstring>
#include <numeric>

#include "LyVideoUtils.h"
#include "test_support.h"

namespace {

using namespace LyVideoUtils;

const ELyAspectRatio kUnknownAspect = static_cast<ELyAspectRatio>(9);

SLyVideoResolution Resolution(int w, int h, ELyAspectRatio aspect, int cx = 0) {
    SLyVideoResolution r{};
    r.width = static_cast<uint16_t>(w);
    r.height = static_cast<uint16_t>(h);
    r.aspectRatio = aspect;
    r.frameSize = {cx, h};
    return r;
}

SLySurfaceDescription Description(int w, int h, ELyPolarity polarity, ELyAspectRatio aspect, int cx = 0,
                                  int cy = 0) {
    SLySurfaceDescription d{};
    d.width = w;
    d.height = h;
    d.polarity = polarity;
    d.aspectRatio = aspect;
    d.customAspectX = cx;
    d.customAspectY = cy;
    return d;
}

::testing::AssertionResult RectIs(const RECT& r, int l, int t, int rt, int b) {
    if (r.left == l && r.top == t && r.right == rt && r.bottom == b) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "(" << r.left << ", " << r.top << ", " << r.right << ", " << r.bottom
                                         << ")";
}

// ------------------------------------------------------------------ ratios and classes

TEST(AspectRatioValue, EachFormTreatsSquareCustomAndUnknownItsOwnWay) {
    const struct {
        ELyAspectRatio aspect;
        int x, y;
    } named[] = {{AspectRatio_4_3, 4, 3}, {AspectRatio_16_9, 16, 9}, {AspectRatio_27_20, 27, 20}, {AspectRatio_9_5, 9, 5}};
    for (const auto& n : named) {
        int x = -1, y = -1;
        GetAspectRatioValue(720, 576, n.aspect, x, y);
        EXPECT_EQ(n.x, x);
        EXPECT_EQ(n.y, y);
        x = y = -1;
        GetAspectRatioValue(n.aspect, x, y);
        EXPECT_EQ(n.x, x);
        EXPECT_EQ(n.y, y);
    }
    for (ELyAspectRatio a : {AspectRatio_Square, AspectRatio_Custom, kUnknownAspect}) {
        int x = -1, y = -1;
        GetAspectRatioValue(720, 576, a, x, y);
        EXPECT_EQ(720, x);
        EXPECT_EQ(576, y);
    }
    for (ELyAspectRatio a : {AspectRatio_Square, AspectRatio_Custom}) {
        int x = -1, y = -1;
        GetAspectRatioValue(a, x, y);
        EXPECT_EQ(1, x);
        EXPECT_EQ(1, y);
    }
    int x = -7, y = -8;
    GetAspectRatioValue(kUnknownAspect, x, y);
    GetAspectRatioValue(static_cast<ELyAspectRatio>(-1), x, y);
    EXPECT_EQ(-7, x);
    EXPECT_EQ(-8, y);
}

TEST(AspectRatioClass, ClassifiesWithInclusiveTolerance) {
    const struct {
        int w, h;
        ELyAspectRatio expected;
    } cases[] = {
        {720, 576, AspectRatio_Custom},   {1920, 1080, AspectRatio_16_9}, {1440, 1080, AspectRatio_4_3},
        {1280, 720, AspectRatio_16_9},    {640, 480, AspectRatio_4_3},    {1080, 800, AspectRatio_27_20},
        {1296, 720, AspectRatio_9_5},     {853, 480, AspectRatio_Custom}, {17778, 10000, AspectRatio_16_9},
        {13334, 10000, AspectRatio_4_3},  {13335, 10000, AspectRatio_Custom},
        {18001, 10000, AspectRatio_9_5},  // 0.0001 away: still inside
        {18002, 10000, AspectRatio_Custom}, {-1920, -1080, AspectRatio_16_9}, {0, 5, AspectRatio_Custom},
    };
    for (const auto& c : cases) {
        ELyAspectRatio a = kUnknownAspect;
        GetAspectRatioClass(c.w, c.h, a);
        EXPECT_EQ(c.expected, a) << c.w << "x" << c.h;
    }
    ELyAspectRatio a = AspectRatio_9_5;
    GetAspectRatioClass(1920, 0, a);
    EXPECT_EQ(AspectRatio_9_5, a);
    GetAspectRatioClass(0, 0, a);
    EXPECT_EQ(AspectRatio_9_5, a);
}

TEST(AspectRatioWidthHeight, RoundHalfAwayFromZeroAndRefuseZeroDivisors) {
    EXPECT_EQ(1024, GetAspectRatioWidth(576, 16, 9));
    EXPECT_EQ(853, GetAspectRatioWidth(480, 16, 9));  // 853.33
    EXPECT_EQ(640, GetAspectRatioWidth(480, 4, 3));
    EXPECT_EQ(2, GetAspectRatioWidth(3, 1, 2));    // 1.5
    EXPECT_EQ(-2, GetAspectRatioWidth(-3, 1, 2));  // -1.5
    EXPECT_EQ(-1, GetAspectRatioWidth(-3, 1, 3));
    EXPECT_EQ(576, GetAspectRatioHeight(1024, 16, 9));
    EXPECT_EQ(405, GetAspectRatioHeight(720, 16, 9));
    EXPECT_EQ(3, GetAspectRatioHeight(5, 2, 1));  // 2.5
    EXPECT_EQ(0, GetAspectRatioWidth(576, 16, 0));
    EXPECT_EQ(0, GetAspectRatioHeight(576, 0, 9));
    // Beyond the int range the result is the processor's out-of-range value.
    EXPECT_EQ(INT_MIN, GetAspectRatioWidth(INT_MAX, 16, 9));
}

// ------------------------------------------------------------------ pixel aspect

// Pixel aspect derived from its meaning: the display ratio divided by the
// storage ratio.
double PixelAspectFromDisplay(int w, int h, int x, int y) { return (double(x) / y) / (double(w) / h); }

TEST(PixelAspectRatio, BroadcastFramesAgreeWithDisplayOverStorage) {
    const int frames[][2] = {{720, 576}, {720, 480}, {1440, 1080}, {1920, 1080}, {1280, 720}};
    const struct {
        ELyAspectRatio aspect;
        int x, y;
    } aspects[] = {{AspectRatio_4_3, 4, 3}, {AspectRatio_16_9, 16, 9}};
    for (const auto& f : frames)
        for (const auto& a : aspects) {
            const double expected = PixelAspectFromDisplay(f[0], f[1], a.x, a.y);
            EXPECT_NEAR(expected, GetPixelAspectRatio(f[0], f[1], a.aspect), 1e-12) << f[0] << "x" << f[1];
            EXPECT_NEAR(expected, GetPixelAspectRatio(f[0], f[1], a.x, a.y), 1e-12);
            EXPECT_NEAR(expected, GetPixelAspectRatio(Description(f[0], f[1], Polarity_Frame, a.aspect)), 1e-12);
            // A field surface holds half the rows of the same frame.
            EXPECT_NEAR(expected, GetPixelAspectRatio(Description(f[0], f[1] / 2, Polarity_First, a.aspect)), 1e-12);
            EXPECT_NEAR(expected, GetPixelAspectRatio(Description(f[0], f[1] / 2, Polarity_Second, a.aspect)), 1e-12);
        }
    EXPECT_NEAR(16.0 / 15.0, GetPixelAspectRatio(720, 576, AspectRatio_4_3), 1e-15);
    EXPECT_NEAR(480.0 * 16 / (9 * 720), GetPixelAspectRatio(720, 480, AspectRatio_16_9), 1e-15);
}

TEST(PixelAspectRatio, CustomIsSquareForTheEnumButNotForTheDescription) {
    EXPECT_EQ(1.0, GetPixelAspectRatio(720, 576, AspectRatio_Custom));
    EXPECT_NEAR(PixelAspectFromDisplay(720, 576, 16, 9),
                GetPixelAspectRatio(Description(720, 576, Polarity_Frame, AspectRatio_Custom, 16, 9)), 1e-12);
    EXPECT_NEAR(PixelAspectFromDisplay(720, 576, 16, 9),
                GetPixelAspectRatio(Description(720, 288, Polarity_Second, AspectRatio_Custom, 16, 9)), 1e-12);
    // Square and unknown values mean square pixels in every form.
    for (ELyAspectRatio a : {AspectRatio_Square, kUnknownAspect}) {
        EXPECT_EQ(1.0, GetPixelAspectRatio(720, 576, a));
        EXPECT_EQ(1.0, GetPixelAspectRatio(Description(720, 288, Polarity_First, a)));
        EXPECT_EQ(1.0, GetPixelAspectRatio(Description(720, 576, Polarity_FrameAlternate, a)));
    }
}

TEST(PixelAspectRatio, ZeroDivisorsGiveSquarePixels) {
    EXPECT_EQ(1.0, GetPixelAspectRatio(0, 576, 16, 9));
    EXPECT_EQ(1.0, GetPixelAspectRatio(720, 576, 16, 0));
    EXPECT_EQ(1.0, GetPixelAspectRatio(0, 576, AspectRatio_16_9));
    EXPECT_EQ(1.0, GetPixelAspectRatio(720, 0, AspectRatio_Square));
    EXPECT_EQ(1.0, GetPixelAspectRatio(Description(0, 576, Polarity_Frame, AspectRatio_4_3)));
    EXPECT_EQ(1.0, GetPixelAspectRatio(Description(720, 576, Polarity_Frame, AspectRatio_Custom, 16, 0)));
    EXPECT_EQ(1.0, GetPixelAspectRatio(Resolution(1024, 576, AspectRatio_16_9, 0)));
    EXPECT_NEAR(1024.0 / 720, GetPixelAspectRatio(Resolution(1024, 576, AspectRatio_16_9, 720)), 1e-15);
    // Products that would overflow 32 bits stay exact.
    EXPECT_NEAR(1.0, GetPixelAspectRatio(70000, 70000, 70000, 70000), 1e-15);
}

// ------------------------------------------------------------------ square-pixel rectangles

TEST(SqualPixelRect, BroadcastFramesGetTheirSquarePixelWidth) {
    // The square-pixel width of a frame h rows high shown at x:y is h * x / y,
    // whatever its stored width.
    const int frames[][2] = {{720, 576}, {720, 480}, {1440, 1080}, {1920, 1080}, {1280, 720}};
    const struct {
        ELyAspectRatio aspect;
        int x, y;
    } aspects[] = {{AspectRatio_4_3, 4, 3}, {AspectRatio_16_9, 16, 9}};
    for (const auto& f : frames)
        for (const auto& a : aspects) {
            RECT r{0, 0, f[0], f[1]};
            ASSERT_EQ(1, GetSqualPixelRect(a.aspect, r));
            const int expected = static_cast<int>(double(f[1]) * a.x / a.y + 0.5);
            EXPECT_TRUE(RectIs(r, 0, 0, expected, f[1])) << f[0] << "x" << f[1] << " " << a.x << ":" << a.y;
        }
    RECT r{0, 0, 720, 576};
    EXPECT_EQ(1, GetSqualPixelRect(AspectRatio_16_9, r));
    EXPECT_TRUE(RectIs(r, 0, 0, 1024, 576));
}

TEST(SqualPixelRect, ScalesTheLeftEdgeAndKeepsRows) {
    RECT r{100, 7, 820, 583};  // 720 x 576 at 16:9: k = 1024 / 720
    EXPECT_EQ(1, GetSqualPixelRect(16, 9, r));
    EXPECT_TRUE(RectIs(r, 142, 7, 1166, 583));
    RECT reversed{720, 576, 0, 0};  // width and height are magnitudes
    EXPECT_EQ(1, GetSqualPixelRect(16, 9, reversed));
    EXPECT_TRUE(RectIs(reversed, 1024, 576, 2048, 0));
    // Edges taken in single precision: 16777217 and 33554434 are 16777216 and
    // 33554432 as floats, so the width is 16777216, k is exactly 1 and the
    // left edge stays (an exact width would give k < 1 and move it).
    RECT big{16777217, 0, 33554434, 16777216};
    EXPECT_EQ(1, GetSqualPixelRect(1, 1, big));
    EXPECT_TRUE(RectIs(big, 16777217, 0, 33554433, 16777216));
}

TEST(SqualPixelRect, EmptiesOnZeroAndLeavesCustom) {
    RECT r{10, 20, 10, 40};
    EXPECT_EQ(0, GetSqualPixelRect(16, 9, r));
    EXPECT_TRUE(RectIs(r, 0, 0, 0, 0));
    r = {10, 20, 30, 40};
    EXPECT_EQ(0, GetSqualPixelRect(16, 0, r));
    EXPECT_TRUE(RectIs(r, 0, 0, 0, 0));
    r = {10, 20, 30, 40};
    EXPECT_EQ(0, GetSqualPixelRect(AspectRatio_Custom, r));
    EXPECT_TRUE(RectIs(r, 10, 20, 30, 40));
    // Square and unknown values keep the rectangle's own shape.
    for (ELyAspectRatio a : {AspectRatio_Square, kUnknownAspect}) {
        r = {10, 20, 730, 596};
        EXPECT_EQ(1, GetSqualPixelRect(a, r));
        EXPECT_TRUE(RectIs(r, 10, 20, 730, 596));
    }
    r = {10, 20, 730, 20};  // no height: no ratio
    EXPECT_EQ(0, GetSqualPixelRect(AspectRatio_Square, r));
    EXPECT_TRUE(RectIs(r, 0, 0, 0, 0));
}

TEST(SqualPixelRect, ResolutionFormStartsFromTheDisplaySize) {
    RECT r{5, 5, 5, 5};
    EXPECT_EQ(1, GetSqualPixelRect(Resolution(720, 576, AspectRatio_16_9), r));
    EXPECT_TRUE(RectIs(r, 0, 0, 1024, 576));
    r = {5, 5, 5, 5};
    EXPECT_EQ(0, GetSqualPixelRect(Resolution(720, 576, AspectRatio_Custom), r));
    EXPECT_TRUE(RectIs(r, 0, 0, 720, 576));
}

// ------------------------------------------------------------------ comparing and converting

TEST(AspectConvertType, ComparesDisplayRatios) {
    EXPECT_EQ(AspectConvert_ToWider,
              GetAspectConvertType(Resolution(720, 576, AspectRatio_4_3), Resolution(720, 576, AspectRatio_16_9)));
    EXPECT_EQ(AspectConvert_ToNarrower,
              GetAspectConvertType(Resolution(720, 576, AspectRatio_16_9), Resolution(720, 576, AspectRatio_4_3)));
    EXPECT_EQ(AspectConvert_Same,
              GetAspectConvertType(Resolution(1920, 1080, AspectRatio_Square), Resolution(720, 576, AspectRatio_16_9)));
    EXPECT_EQ(AspectConvert_Same,
              GetAspectConvertType(Resolution(17778, 10000, AspectRatio_Custom), Resolution(1, 1, AspectRatio_16_9)));
    EXPECT_EQ(AspectConvert_ToNarrower, GetAspectConvertType(Resolution(1920, 1080, AspectRatio_Custom),
                                                             Resolution(1, 1, AspectRatio_27_20)));
    EXPECT_EQ(AspectConvert_ToWider, GetAspectConvertType(Resolution(1, 1, AspectRatio_27_20),
                                                          Resolution(1, 1, AspectRatio_9_5)));
    // A named ratio ignores a zero height; a size ratio without height has none.
    EXPECT_EQ(AspectConvert_ToWider,
              GetAspectConvertType(Resolution(720, 0, AspectRatio_4_3), Resolution(720, 0, AspectRatio_16_9)));
    EXPECT_EQ(AspectConvert_Same,
              GetAspectConvertType(Resolution(720, 0, AspectRatio_Square), Resolution(720, 576, AspectRatio_16_9)));
    EXPECT_EQ(AspectConvert_Same,
              GetAspectConvertType(Resolution(720, 576, AspectRatio_4_3), Resolution(720, 0, kUnknownAspect)));
}

struct Converted {
    ELyAspectRatio aspect;
    unsigned x, y;
};

Converted Convert(ELyAspectRatio aspect, unsigned ow, unsigned nw, unsigned oh, unsigned nh, unsigned x = 77,
                  unsigned y = 55) {
    Converted c{aspect, x, y};
    ConvertAspectRatio(c.aspect, ow, nw, oh, nh, c.x, c.y);
    return c;
}

TEST(ConvertAspectRatio, ReexpressesTheAspectOfAStretchedFrame) {
    Converted c = Convert(AspectRatio_16_9, 1920, 1440, 1080, 1080);
    EXPECT_EQ(AspectRatio_Custom, c.aspect);
    EXPECT_EQ(4u, c.x);
    EXPECT_EQ(3u, c.y);
    c = Convert(AspectRatio_4_3, 720, 720, 576, 576);  // unchanged frame, ratio reduced
    EXPECT_EQ(4u, c.x);
    EXPECT_EQ(3u, c.y);
    c = Convert(AspectRatio_Square, 1920, 1440, 1080, 1080);  // square pixels start from the old size
    EXPECT_EQ(4u, c.x);
    EXPECT_EQ(3u, c.y);
    c = Convert(AspectRatio_Custom, 720, 1440, 576, 576, 5, 4);  // the caller's ratio, doubled in width
    EXPECT_EQ(5u, c.x);
    EXPECT_EQ(2u, c.y);
    c = Convert(kUnknownAspect, 100, 100, 100, 100, 6, 4);
    EXPECT_EQ(AspectRatio_Custom, c.aspect);
    EXPECT_EQ(3u, c.x);
    EXPECT_EQ(2u, c.y);
    c = Convert(AspectRatio_27_20, 1000, 1000, 1000, 1000);
    EXPECT_EQ(27u, c.x);
    EXPECT_EQ(20u, c.y);
}

TEST(ConvertAspectRatio, ProductsWrapIn32Bits) {
    // 16 * 100000 * 50000 and 9 * 70000 * 90000 both exceed 32 bits.
    const uint32_t wx = uint32_t{16} * 100000u * 50000u, wy = uint32_t{9} * 70000u * 90000u;
    const uint32_t g = std::gcd(wx, wy);
    const Converted c = Convert(AspectRatio_16_9, 70000, 100000, 50000, 90000);
    EXPECT_EQ(AspectRatio_Custom, c.aspect);
    EXPECT_EQ(wx / g, c.x);
    EXPECT_EQ(wy / g, c.y);
}

TEST(ConvertAspectRatio, ZeroProductsAreRefusedUnchanged) {
    const struct {
        ELyAspectRatio aspect;
        unsigned ow, nw, oh, nh, x, y;
    } cases[] = {
        {AspectRatio_16_9, 1920, 0, 1080, 1080, 77, 55},   {AspectRatio_16_9, 0, 1440, 1080, 1080, 77, 55},
        {AspectRatio_16_9, 1920, 1440, 1080, 0, 77, 55},   {AspectRatio_Custom, 1920, 1440, 1080, 1080, 0, 9},
        {AspectRatio_Custom, 1920, 1440, 1080, 1080, 16, 0},
        {AspectRatio_16_9, 65536, 65536, 65536, 65536, 77, 55},  // both products wrap to 0
    };
    for (const auto& t : cases) {
        const Converted c = Convert(t.aspect, t.ow, t.nw, t.oh, t.nh, t.x, t.y);
        EXPECT_EQ(t.aspect, c.aspect);
        EXPECT_EQ(t.x, c.x);
        EXPECT_EQ(t.y, c.y);
    }
}

}  // namespace
