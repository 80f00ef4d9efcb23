// Fades and gradient fades: factor rounding and wrapping, the ramps, the
// band-dependent start of the vertical ramp, every kernel against its scalar
// twin, and several callers at once.
// LY_TEST_LABELS: threading

#include <climits>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include "LyPixelUtils.h"
#include "test_support.h"

using namespace LyPixelUtils;
using lytest::ImageLayout;
using lytest::TestImage;

namespace {

// ------------------------------------------------------------ harness

using Images = lytest::SweepImages;
using lytest::ExpectAllPathsAgree;
using lytest::SetPixels;

// One image per parameter set, each at its own layout.
lytest::MakeSweepPlanes Copies(int count, int bytesPerPixel) {
    return [count, bytesPerPixel](int w, int h, int l) {
        std::vector<lytest::SweepPlane> planes;
        for (int k = 0; k < count; ++k) planes.push_back({lytest::SweepLayout(w, h, bytesPerPixel, l, k), true});
        return planes;
    };
}

// Alpha of a pixel that was opaque: (255 * f + 255) >> 8 == f for every
// factor 0..255, so an opaque image shows the factor itself.
std::vector<int> AlphaColumn(TestImage& image, int x) {
    std::vector<int> out;
    for (int y = 0; y < image.height(); ++y) out.push_back(image.pixel(x, y)[3]);
    return out;
}

std::vector<int> AlphaRow(TestImage& image, int y) {
    std::vector<int> out;
    for (int x = 0; x < image.width(); ++x) out.push_back(image.pixel(x, y)[3]);
    return out;
}

// ------------------------------------------------------------ differential

TEST(FadePaths, FadeImage) {
    // 150.7% wraps to a factor of 128, -20% to 205.
    static constexpr float kPercents[] = {37.3f, 0.0f, 150.7f, -20.0f};
    ExpectAllPathsAgree(Copies(4, 4), [](Images& im) {
        for (int k = 0; k < 4; ++k)
            FadeImage(im[k]->data(), im[k]->pitch(), im[k]->width(), im[k]->height(), kPercents[k]);
    });
}

TEST(FadePaths, Fade16bitAlpha) {
    // 200% gives a factor of 510, past a byte; -3% wraps to 65528.
    static constexpr float kPercents[] = {37.3f, 100.0f, 200.0f, -3.0f};
    ExpectAllPathsAgree(Copies(4, 2), [](Images& im) {
        for (int k = 0; k < 4; ++k)
            Fade16bitAlpha(im[k]->data(), im[k]->pitch(), im[k]->width(), im[k]->height(), kPercents[k]);
    });
}

// Ramps that cross 100% and 0%, where the factor wraps.
TEST(FadePaths, GradientVerFadeImage) {
    ExpectAllPathsAgree(
        Copies(2, 4),
        [](Images& im) {
            GradientVerFadeImage(im[0]->data(), im[0]->pitch(), im[0]->width(), im[0]->height(), 91.3f, 0.73f);
            GradientVerFadeImage(im[1]->data(), im[1]->pitch(), im[1]->width(), im[1]->height(), 4.0f, -0.61f);
        },
        true);
}

TEST(FadePaths, GradientVerFade16bitAlpha) {
    ExpectAllPathsAgree(
        Copies(2, 2),
        [](Images& im) {
            GradientVerFade16bitAlpha(im[0]->data(), im[0]->pitch(), im[0]->width(), im[0]->height(), 91.3f, 0.73f);
            GradientVerFade16bitAlpha(im[1]->data(), im[1]->pitch(), im[1]->width(), im[1]->height(), 4.0f, -0.61f);
        },
        true);
}

// A ramp from below 0% to above 100% across 67 columns.
TEST(FadePaths, GradientHorFadeImage) {
    ExpectAllPathsAgree(Copies(1, 4), [](Images& im) {
        GradientHorFadeImage(im[0]->data(), im[0]->pitch(), im[0]->width(), im[0]->height(), -10.0f, 3.3f);
    });
}

TEST(FadePaths, GradientHorFade16bitAlpha) {
    ExpectAllPathsAgree(Copies(1, 2), [](Images& im) {
        GradientHorFade16bitAlpha(im[0]->data(), im[0]->pitch(), im[0]->width(), im[0]->height(), -10.0f, 3.3f);
    });
}

// ------------------------------------------------------------ uniform fades

TEST(FadeImage, FactorRoundsHalfAwayFromZeroAndKeepsItsLowByte) {
    struct Case {
        float percent;
        int factor;  // what opaque alpha becomes
    };
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    const Case cases[] = {
        {100.0f, 255}, {50.0f, 128},  {0.0f, 0},      {-50.0f, 128},  // -127.5 -> -128, low byte 128
        {101.0f, 2},   {-10.0f, 230}, {0.2f, 1},      {0.19f, 0},     // 0.51 and 0.4845
        {200.0f, 254}, {nan, 0},      {inf, 0},       {-inf, 0},      // no integer factor: low bits zero
        {1e12f, 0},
    };
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        for (const Case& c : cases) {
            TestImage image(29, 3, 4, 12, 3, true);
            image.FillRandom();
            for (int y = 0; y < 3; ++y)
                for (int x = 0; x < 29; ++x) image.pixel(x, y)[3] = 255;
            const auto before = image.Pixels();
            FadeImage(image.data(), image.pitch(), 29, 3, c.percent);
            const auto after = image.Pixels();
            for (size_t i = 0; i < after.size(); ++i)
                ASSERT_EQ(after[i], i % 4 == 3 ? c.factor : before[i])
                    << lytest::IsaName(isa) << " percent " << c.percent << " byte " << i;
        }
    }
}

TEST(Fade16bitAlpha, HeadAndTailRoundDifferentlyFromTheMiddle) {
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        // Two bytes past a boundary: 7 head samples, 7 groups of 8, 1 tail sample.
        TestImage plane(64, 2, 2, 2, 0);
        lytest::FillSamples16(plane, 4080);
        Fade16bitAlpha(plane.data(), plane.pitch(), 64, 1, 100.0f);
        for (int x = 0; x < 64; ++x)
            ASSERT_EQ(lytest::Sample16(plane, x, 0), x >= 7 && x < 63 ? 4080 : 4065) << lytest::IsaName(isa) << " " << x;

        // 200%: the factor 510 is used whole, not as a byte.
        lytest::FillSamples16(plane, 4080);
        Fade16bitAlpha(plane.data(), plane.pitch(), 64, 1, 200.0f);
        for (int x = 0; x < 64; ++x)
            ASSERT_EQ(lytest::Sample16(plane, x, 0), x >= 7 && x < 63 ? 4048 : 8129) << lytest::IsaName(isa) << " " << x;
    }
}

// 25800% gives the factor 65790, whose low 16 bits are 254, the factor of 99.6%.
TEST(Fade16bitAlpha, FactorKeepsItsLow16Bits) {
    TestImage wrapped(40, 2, 2, 6), plain(40, 2, 2, 6);
    wrapped.FillRandom();
    plain.CopyPixelsFrom(wrapped);
    Fade16bitAlpha(wrapped.data(), wrapped.pitch(), 40, 2, 25800.0f);
    Fade16bitAlpha(plain.data(), plain.pitch(), 40, 2, 99.6f);
    EXPECT_EQ(wrapped.Pixels(), plain.Pixels());
}

// ------------------------------------------------------------ vertical ramps

TEST(GradientVerFadeImage, RampWrapsPastAByte) {
    TestImage image(9, 3, 4, 1);
    image.Fill(255);
    GradientVerFadeImage(image.data(), image.pitch(), 9, 3, 100.0f, 1.0f);
    // 100% -> 255; 101% -> 258 -> 2; 102% -> 260 -> 4.
    EXPECT_EQ(AlphaColumn(image, 0), (std::vector<int>{255, 2, 4}));
    EXPECT_EQ(AlphaColumn(image, 8), (std::vector<int>{255, 2, 4}));
}

TEST(GradientVerFadeImage, RampFromZeroReachesOpaqueAtRow100) {
    for (int pool : {1, 4}) {
        lytest::ScopedPoolThreads scoped(pool);
        TestImage image(3, 101, 4, 0, 1, true);
        image.Fill(255);
        GradientVerFadeImage(image.data(), image.pitch(), 3, 101, 0.0f, 1.0f);
        const auto alpha = AlphaColumn(image, 2);
        EXPECT_EQ(alpha[0], 0);
        EXPECT_EQ(alpha[1], 3);    // 2.55
        EXPECT_EQ(alpha[2], 5);    // 5.1
        EXPECT_EQ(alpha[50], 128); // 127.5
        EXPECT_EQ(alpha[99], 252); // 252.45
        EXPECT_EQ(alpha[100], 255);
    }
}

// Each band starts from start + firstRow * step; within a band the step is
// added row by row. At 16 rows and 4 workers the bands start at rows 0, 4, 8
// and 12, and for this ramp the product and the running sum round to
// different factors at row 4.
TEST(GradientVerFadeImage, EachBandStartsFromItsOwnFirstRow) {
    constexpr float kStart = 72.2f, kStep = -0.55f;
    constexpr int kHeight = 16, kBands = 4;
    auto factor = [](float percent) {
        const double v = static_cast<double>(percent) / 100.0 * 255.0;
        return static_cast<int>(static_cast<int64_t>(v > 0 ? v + 0.5 : v - 0.5) & 0xFF);
    };
    std::vector<int> banded, running;
    float sum = kStart;
    for (int band = 0; band < kBands; ++band) {
        const int first = band * (kHeight / kBands);
        float percent = kStart + static_cast<float>(first) * kStep;
        for (int r = 0; r < kHeight / kBands; ++r, percent += kStep, sum += kStep) {
            banded.push_back(factor(percent));
            running.push_back(factor(sum));
        }
    }
    ASSERT_NE(banded, running) << "the ramp no longer tells the two apart";

    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        for (const auto& [pool, expected] : {std::pair{4, banded}, std::pair{1, running}}) {
            lytest::ScopedPoolThreads scoped(pool);
            TestImage image(21, kHeight, 4, 3);
            image.Fill(255);
            GradientVerFadeImage(image.data(), image.pitch(), 21, kHeight, kStart, kStep);
            EXPECT_EQ(AlphaColumn(image, 20), expected) << lytest::IsaName(isa) << " pool " << pool;
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
    for (int width : {256, 257}) {  // the widest stack ramp and the first allocated one
        SCOPED_TRACE(width);
        TestImage image(width, 17, 4, 8, 0, true);
        image.Fill(255);
        lytest::ScopedPoolThreads pool(4);
        GradientHorFadeImage(image.data(), image.pitch(), width, 17, 0.0f, 1.0f);
        for (int y : {0, 16}) {
            const auto alpha = AlphaRow(image, y);
            EXPECT_EQ(alpha[0], 0);
            EXPECT_EQ(alpha[1], 3);
            EXPECT_EQ(alpha[50], 128);
            EXPECT_EQ(alpha[99], 252);
            for (int x = 100; x < width; ++x) ASSERT_EQ(alpha[x], 255) << x;  // would wrap to 2 at 101
        }

        image.Fill(255);
        GradientHorFadeImage(image.data(), image.pitch(), width, 17, -50.0f, 1.0f);
        const auto alpha = AlphaRow(image, 5);
        for (int x = 0; x <= 50; ++x) ASSERT_EQ(alpha[x], 0) << x;
        EXPECT_EQ(alpha[51], 3);
        EXPECT_EQ(alpha[width - 1], 255);
    }
}

// The 16-bit ramp is applied like a mask of pitch 0, so it inherits the
// address-dependent rounding of Mask16bitAlpha.
TEST(GradientHorFade16bitAlpha, MatchesTheSameRampAppliedAsAMask) {
    for (int width : {67, 256, 257, 1000}) {
        for (int align : {0, 1, 6}) {
            SCOPED_TRACE(std::to_string(width) + " align " + std::to_string(align));
            TestImage faded(width, 3, 2, align, 2), masked(width, 3, 2, align, 2);
            faded.FillRandom();
            masked.CopyPixelsFrom(faded);
            std::vector<unsigned char> ramp(static_cast<size_t>(width));
            float percent = 12.5f;
            for (int x = 0; x < width; ++x, percent += 0.25f) {
                const double v = static_cast<double>(percent) / 100.0 * 255.0 + 0.5;
                ramp[x] = static_cast<unsigned char>(v > 255.0 ? 255 : static_cast<int>(v));
            }
            GradientHorFade16bitAlpha(faded.data(), faded.pitch(), width, 3, 12.5f, 0.25f);
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
    const auto imageBefore = image.Snapshot();
    const auto planeBefore = plane.Snapshot();
    for (const auto& [w, h] : std::vector<std::pair<int, int>>{{0, 16}, {16, 0}, {-1, 16}, {16, -3}, {INT_MIN, 2}}) {
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

// Host threads fading and masking their own images at once on a shared pool
// of four: each gets exactly what it gets alone.
TEST(FadeConcurrency, CallersOnOneSharedPoolGetTheirOwnResults) {
    lytest::ScopedPoolThreads pool(4);
    constexpr int kCallers = 4, kWidth = 45, kHeight = 37, kRounds = 12;
    auto work = [](TestImage& image, TestImage& plane, const TestImage& mask, int caller) {
        const float p = 20.0f + 15.0f * static_cast<float>(caller);
        FadeImage(image.data(), image.pitch(), kWidth, kHeight, p);
        GradientVerFadeImage(image.data(), image.pitch(), kWidth, kHeight, p, 1.7f);
        GradientHorFadeImage(image.data(), image.pitch(), kWidth, kHeight, 110.0f - p, -2.1f);
        MaskImage(image.data(), image.pitch(), mask.data(), mask.pitch(), kWidth, kHeight);
        Fade16bitAlpha(plane.data(), plane.pitch(), kWidth, kHeight, p);
        GradientVerFade16bitAlpha(plane.data(), plane.pitch(), kWidth, kHeight, p, -0.9f);
        Mask16bitAlpha(plane.data(), plane.pitch(), mask.data(), mask.pitch(), kWidth, kHeight);
    };
    struct Caller {
        TestImage image{kWidth, kHeight, 4, 0}, plane{kWidth, kHeight, 2, 2}, mask{kWidth, kHeight, 1, 5};
        std::vector<unsigned char> image0, plane0, imageExpected, planeExpected;
        bool ok = true;
    };
    std::vector<std::unique_ptr<Caller>> callers;
    for (int c = 0; c < kCallers; ++c) {
        auto caller = std::make_unique<Caller>();
        caller->image.FillRandom();
        caller->plane.FillRandom();
        caller->mask.FillRandom();
        caller->image0 = caller->image.Pixels();
        caller->plane0 = caller->plane.Pixels();
        work(caller->image, caller->plane, caller->mask, c);
        caller->imageExpected = caller->image.Pixels();
        caller->planeExpected = caller->plane.Pixels();
        callers.push_back(std::move(caller));
    }
    std::vector<std::thread> threads;
    for (int c = 0; c < kCallers; ++c) {
        threads.emplace_back([&, c] {
            Caller& me = *callers[c];
            for (int round = 0; round < kRounds; ++round) {
                SetPixels(me.image, me.image0);
                SetPixels(me.plane, me.plane0);
                work(me.image, me.plane, me.mask, c);
                if (me.image.Pixels() != me.imageExpected || me.plane.Pixels() != me.planeExpected) me.ok = false;
            }
        });
    }
    for (auto& t : threads) t.join();
    for (int c = 0; c < kCallers; ++c) EXPECT_TRUE(callers[c]->ok) << "caller " << c;
}

}  // namespace
