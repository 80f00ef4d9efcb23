// Fades and gradient fades: factor rounding and wrapping, the ramps, the
// band-dependent start of the vertical ramp, every kernel against its scalar
// twin, and several callers at once.
// LY_TEST_LABELS: threading

#include <climits>
#include <functional>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

#include "LyPixelUtils.h"
#include "test_support.h"

using namespace LyPixelUtils;
using lytest::TestImage;

namespace {

using Images = lytest::SweepImages;

// `count` 32-bit images, then `count` 16-bit planes, each at its own layout.
lytest::MakeSweepPlanes ImagesThenPlanes(int count) {
    return [count](int w, int h, int l) {
        std::vector<lytest::SweepPlane> planes;
        for (int k = 0; k < 2 * count; ++k)
            planes.push_back({lytest::SweepLayout(w, h, k < count ? 4 : 2, l, k), true});
        return planes;
    };
}

// Alpha of a pixel that was opaque: (255 * f + 255) >> 8 == f for every
// factor 0..255, so an opaque image shows the factor itself. Alphas of
// column x (row < 0) or of row y.
std::vector<int> Alphas(TestImage& image, int x, int y) {
    std::vector<int> out;
    for (int i = 0; i < (y < 0 ? image.height() : image.width()); ++i)
        out.push_back((y < 0 ? image.pixel(x, i) : image.pixel(i, y))[3]);
    return out;
}

// ------------------------------------------------------------ differential

// 8-bit: 150.7% wraps to a factor of 128, -20% to 205. 16-bit: 200% gives a
// factor of 510, past a byte; -3% wraps to 65528.
TEST(FadePaths, UniformFades) {
    static constexpr float kPercents[2][4] = {{37.3f, 0.0f, 150.7f, -20.0f}, {37.3f, 100.0f, 200.0f, -3.0f}};
    lytest::ExpectAllPathsAgree(ImagesThenPlanes(4), [](Images& im) {
        for (int k = 0; k < 4; ++k) {
            FadeImage(im[k]->data(), im[k]->pitch(), im[k]->width(), im[k]->height(), kPercents[0][k]);
            Fade16bitAlpha(im[k + 4]->data(), im[k + 4]->pitch(), im[k]->width(), im[k]->height(), kPercents[1][k]);
        }
    });
}

// Ramps that cross 100% and 0%, where the factor wraps.
TEST(FadePaths, VerticalRamps) {
    lytest::ExpectAllPathsAgree(
        ImagesThenPlanes(2),
        [](Images& im) {
            const int w = im[0]->width(), h = im[0]->height();
            GradientVerFadeImage(im[0]->data(), im[0]->pitch(), w, h, 91.3f, 0.73f);
            GradientVerFadeImage(im[1]->data(), im[1]->pitch(), w, h, 4.0f, -0.61f);
            GradientVerFade16bitAlpha(im[2]->data(), im[2]->pitch(), w, h, 91.3f, 0.73f);
            GradientVerFade16bitAlpha(im[3]->data(), im[3]->pitch(), w, h, 4.0f, -0.61f);
        },
        true);
}

// A ramp from below 0% to above 100% across 67 columns.
TEST(FadePaths, HorizontalRamps) {
    lytest::ExpectAllPathsAgree(ImagesThenPlanes(1), [](Images& im) {
        const int w = im[0]->width(), h = im[0]->height();
        GradientHorFadeImage(im[0]->data(), im[0]->pitch(), w, h, -10.0f, 3.3f);
        GradientHorFade16bitAlpha(im[1]->data(), im[1]->pitch(), w, h, -10.0f, 3.3f);
    });
}

// ------------------------------------------------------------ uniform fades

TEST(FadeImage, FactorRoundsHalfAwayFromZeroAndKeepsItsLowByte) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    const struct {
        float percent;
        int factor;  // what opaque alpha becomes
    } cases[] = {
        {100.0f, 255}, {50.0f, 128},  {0.0f, 0},      {-50.0f, 128},  // -127.5 -> -128, low byte 128
        {101.0f, 2},   {-10.0f, 230}, {0.2f, 1},      {0.19f, 0},     // 0.51 and 0.4845
        {200.0f, 254}, {nan, 0},      {inf, 0},       {-inf, 0},      // no integer factor: low bits zero
        {1e12f, 0},
    };
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        for (const auto& c : cases) {
            TestImage image(29, 3, 4, 12, 3, true);
            image.FillRandom();
            for (int y = 0; y < 3; ++y)
                for (int x = 0; x < 29; ++x) image.pixel(x, y)[3] = 255;
            auto expected = image.Pixels();
            for (size_t i = 3; i < expected.size(); i += 4) expected[i] = static_cast<unsigned char>(c.factor);
            FadeImage(image.data(), image.pitch(), 29, 3, c.percent);
            ASSERT_TRUE(lytest::SameBytes(expected, image.Pixels()))
                << lytest::IsaName(isa) << " percent " << c.percent;
        }
    }
}

// Two bytes past a boundary: 7 head samples, 7 groups of 8, 1 tail sample.
// 200% uses the factor 510 whole, not as a byte; 25800% gives 65790, whose
// low 16 bits are 254.
TEST(Fade16bitAlpha, HeadAndTailRoundDifferentlyFromTheMiddle) {
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        for (const auto& [percent, middle, edge] :
             {std::tuple{100.0f, 4080, 4065}, std::tuple{200.0f, 4048, 8129}, std::tuple{25800.0f, 4064, 4049}}) {
            TestImage plane(64, 2, 2, 2, 0);
            lytest::FillSamples16(plane, 4080);
            Fade16bitAlpha(plane.data(), plane.pitch(), 64, 1, percent);
            for (int x = 0; x < 64; ++x)
                ASSERT_EQ(lytest::Sample16(plane, x, 0), x >= 7 && x < 63 ? middle : edge)
                    << lytest::IsaName(isa) << " " << percent << "% sample " << x;
        }
    }
}

// ------------------------------------------------------------ vertical ramps

// 100% -> 255 at row 100; 101% -> 258 -> 2; 102% -> 260 -> 4.
TEST(GradientVerFadeImage, RampFromZeroReachesOpaqueAtRow100AndThenWraps) {
    for (int pool : {1, 4}) {
        lytest::ScopedPoolThreads scoped(pool);
        TestImage image(9, 103, 4, 1, 1, true);
        image.Fill(255);
        GradientVerFadeImage(image.data(), image.pitch(), 9, 103, 0.0f, 1.0f);
        for (int x : {0, 8}) {
            const auto a = Alphas(image, x, -1);
            EXPECT_EQ((std::vector<int>{a[0], a[1], a[2], a[50], a[99], a[100], a[101], a[102]}),
                      (std::vector<int>{0, 3, 5, 128, 252, 255, 2, 4}))
                << "pool " << pool << " column " << x;
        }
    }
}

// Each band starts from start + firstRow * step; within a band the step is
// added row by row. At 16 rows and 4 workers the bands start at rows 0, 4, 8
// and 12, and for this ramp (72.2%, -0.55% a row) the product gives factor
// 179 at row 4 where the running sum of one band gives 178.
TEST(GradientVerFadeImage, EachBandStartsFromItsOwnFirstRow) {
    const std::vector<int> running = {184, 183, 181, 180, 178, 177, 176, 174, 173, 171, 170, 169, 167, 166, 164, 163};
    std::vector<int> banded = running;
    banded[4] = 179;
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        for (const auto& [pool, expected] : {std::pair{4, banded}, std::pair{1, running}}) {
            lytest::ScopedPoolThreads scoped(pool);
            TestImage image(21, 16, 4, 3);
            image.Fill(255);
            GradientVerFadeImage(image.data(), image.pitch(), 21, 16, 72.2f, -0.55f);
            EXPECT_EQ(Alphas(image, 20, -1), expected) << lytest::IsaName(isa) << " pool " << pool;
        }
    }
}

TEST(GradientVerFade16bitAlpha, RowFactorIsAByteAndRoundingFollowsTheAddress) {
    TestImage plane(24, 3, 2, 4, 16);  // rows 64 bytes apart: head 6, two groups, tail 2
    lytest::FillSamples16(plane, 4080);
    GradientVerFade16bitAlpha(plane.data(), plane.pitch(), 24, 3, 100.0f, 1.0f);
    for (int x = 0; x < 24; ++x) {
        const bool middle = x >= 6 && x < 22;
        EXPECT_EQ(lytest::Sample16(plane, x, 0), middle ? 4080 : 4065) << x;
        // 101% wraps to factor 2: (4080 * 2 + 255) >> 8 and (255 * 2 + 255) >> 4.
        EXPECT_EQ(lytest::Sample16(plane, x, 1), middle ? 47 : 32) << x;
        EXPECT_EQ(lytest::Sample16(plane, x, 2), middle ? 79 : 64) << x;
    }
}

// ------------------------------------------------------------ horizontal ramps

TEST(GradientHorFadeImage, RampClampsAtBothEnds) {
    lytest::ScopedPoolThreads pool(4);
    for (int width : {256, 257}) {  // the widest stack ramp and the first allocated one
        SCOPED_TRACE(width);
        TestImage image(width, 17, 4, 8, 0, true);
        image.Fill(255);
        GradientHorFadeImage(image.data(), image.pitch(), width, 17, 0.0f, 1.0f);
        for (int y : {0, 16}) {
            const auto alpha = Alphas(image, 0, y);
            EXPECT_EQ((std::vector<int>{alpha[0], alpha[1], alpha[50], alpha[99]}), (std::vector<int>{0, 3, 128, 252}));
            for (int x = 100; x < width; ++x) ASSERT_EQ(alpha[x], 255) << x;  // would wrap to 2 at 101
        }
        image.Fill(255);
        GradientHorFadeImage(image.data(), image.pitch(), width, 17, -50.0f, 1.0f);
        const auto alpha = Alphas(image, 0, 5);
        for (int x = 0; x <= 50; ++x) ASSERT_EQ(alpha[x], 0) << x;
        EXPECT_EQ(alpha[51], 3);
        EXPECT_EQ(alpha[width - 1], 255);
    }
}

// The 16-bit ramp is the 8-bit one (the alphas of an opaque row) applied as a
// mask of pitch 0, so it inherits the address-dependent rounding of
// Mask16bitAlpha. This ramp is clamped at both ends.
TEST(GradientHorFade16bitAlpha, AppliesThe8BitRampAsAMask) {
    for (int width : {67, 256, 257, 1000}) {
        for (int align : {0, 1, 6}) {
            SCOPED_TRACE(std::to_string(width) + " align " + std::to_string(align));
            TestImage opaque(width, 1, 4), ramp(width, 1, 1);
            TestImage faded(width, 3, 2, align, 2), masked(width, 3, 2, align, 2);
            opaque.Fill(255);
            GradientHorFadeImage(opaque.data(), opaque.pitch(), width, 1, -12.5f, 0.25f);
            Mask32bitTo8bit(opaque.data(), opaque.pitch(), ramp.data(), ramp.pitch(), width, 1);
            faded.FillRandom();
            masked.CopyPixelsFrom(faded);
            GradientHorFade16bitAlpha(faded.data(), faded.pitch(), width, 3, -12.5f, 0.25f);
            Mask16bitAlpha(masked.data(), masked.pitch(), ramp.data(), 0, width, 3);
            EXPECT_EQ(faded.Pixels(), masked.Pixels());
        }
    }
}

// ------------------------------------------------------------ refusals

TEST(FadeRefusals, EmptySizesAndNullBuffersWriteNothing) {
    TestImage image(16, 16, 4), plane(16, 16, 2);
    image.FillRandom();
    plane.FillRandom();
    lytest::ScopedPoolThreads pool(4);
    const auto imageBefore = image.Snapshot(), planeBefore = plane.Snapshot();
    for (const auto& [w, h] : {std::pair{0, 16}, {16, 0}, {-1, 16}, {16, -3}, {INT_MIN, 2}}) {
        FadeImage(image.data(), image.pitch(), w, h, 10.0f);
        GradientVerFadeImage(image.data(), image.pitch(), w, h, 10.0f, 1.0f);
        GradientHorFadeImage(image.data(), image.pitch(), w, h, 10.0f, 1.0f);
        Fade16bitAlpha(plane.data(), plane.pitch(), w, h, 10.0f);
        GradientVerFade16bitAlpha(plane.data(), plane.pitch(), w, h, 10.0f, 1.0f);
        GradientHorFade16bitAlpha(plane.data(), plane.pitch(), w, h, 10.0f, 1.0f);
    }
    EXPECT_EQ(image.Snapshot(), imageBefore);
    EXPECT_EQ(plane.Snapshot(), planeBefore);
    FadeImage(nullptr, 64, 16, 16, 10.0f);
    Fade16bitAlpha(nullptr, 32, 16, 16, 10.0f);
    GradientVerFadeImage(nullptr, 64, 16, 16, 10.0f, 1.0f);
    GradientVerFade16bitAlpha(nullptr, 32, 16, 16, 10.0f, 1.0f);
    GradientHorFadeImage(nullptr, 64, 300, 16, 10.0f, 1.0f);
    GradientHorFade16bitAlpha(nullptr, 32, 300, 16, 10.0f, 1.0f);
}

// ------------------------------------------------------------ several callers

// Host threads fading and masking their own image and plane at once on a
// shared pool of four: each gets exactly what it gets alone.
TEST(FadeConcurrency, CallersOnOneSharedPoolGetTheirOwnResults) {
    lytest::ScopedPoolThreads pool(4);
    constexpr int kWidth = 45, kHeight = 37;
    TestImage image(kWidth, kHeight, 4, 0), plane(kWidth, kHeight, 2, 2), mask(kWidth, kHeight, 1, 5);
    for (TestImage* t : {&image, &plane, &mask}) t->FillRandom();
    const auto fadeImage = [&](TestImage& d) {
        FadeImage(d.data(), d.pitch(), kWidth, kHeight, 35.0f);
        GradientVerFadeImage(d.data(), d.pitch(), kWidth, kHeight, 35.0f, 1.7f);
        GradientHorFadeImage(d.data(), d.pitch(), kWidth, kHeight, 75.0f, -2.1f);
        MaskImage(d.data(), d.pitch(), mask.data(), mask.pitch(), kWidth, kHeight);
    };
    const auto fadePlane = [&](TestImage& d) {
        Fade16bitAlpha(d.data(), d.pitch(), kWidth, kHeight, 50.0f);
        GradientVerFade16bitAlpha(d.data(), d.pitch(), kWidth, kHeight, 50.0f, -0.9f);
        GradientHorFade16bitAlpha(d.data(), d.pitch(), kWidth, kHeight, 20.0f, 2.3f);
        Mask16bitAlpha(d.data(), d.pitch(), mask.data(), mask.pitch(), kWidth, kHeight);
    };
    lytest::ExpectConcurrentCallersMatchSolo(image, fadeImage, plane, fadePlane);
}

}  // namespace
