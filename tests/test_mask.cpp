// Mask and alpha-plane operations: every kernel against its scalar twin on
// every layout, the rounding quirks that depend on the row address, and the
// refusals.

#include <climits>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <vector>

#include "LyPixelUtils.h"
#include "test_support.h"

using namespace LyPixelUtils;
using lytest::ImageLayout;
using lytest::TestImage;

namespace {

// ------------------------------------------------------------ harness

using Plane = lytest::SweepPlane;
using Images = lytest::SweepImages;
using lytest::ExpectAllPathsAgree;

ImageLayout LayoutOf(int width, int height, int bytesPerPixel, int layoutIndex, int plane) {
    return lytest::SweepLayout(width, height, bytesPerPixel, layoutIndex, plane);
}

// Calls `op` with arguments that must be refused and checks that nothing,
// anywhere in the buffer, changed.
void ExpectUntouched(TestImage& image, const std::function<void()>& op) {
    const auto before = image.Snapshot();
    op();
    EXPECT_EQ(before, image.Snapshot());
}

// ------------------------------------------------------------ differential

TEST(MaskPaths, MaskImage) {
    ExpectAllPathsAgree(
        [](int w, int h, int l) {
            return std::vector<Plane>{{LayoutOf(w, h, 1, l, 1), false}, {LayoutOf(w, h, 4, l, 0), true}};
        },
        [](Images& im) { MaskImage(im[1]->data(), im[1]->pitch(), im[0]->data(), im[0]->pitch(), im[1]->width(), im[1]->height()); });
}

TEST(MaskPaths, Mask16bitAlpha) {
    ExpectAllPathsAgree(
        [](int w, int h, int l) {
            return std::vector<Plane>{{LayoutOf(w, h, 1, l, 1), false}, {LayoutOf(w, h, 2, l, 0), true}};
        },
        [](Images& im) {
            Mask16bitAlpha(im[1]->data(), im[1]->pitch(), im[0]->data(), im[0]->pitch(), im[1]->width(), im[1]->height());
        });
}

// One source and four destinations, one per rule, each at its own layout.
TEST(MaskPaths, MaskOperatorEveryRule) {
    ExpectAllPathsAgree(
        [](int w, int h, int l) {
            std::vector<Plane> planes{{LayoutOf(w, h, 1, l, 0), false}};
            for (int op = 0; op < 4; ++op) planes.push_back({LayoutOf(w, h, 1, l, op + 1), true});
            return planes;
        },
        [](Images& im) {
            for (int op = 0; op < 4; ++op)
                MaskOperator(im[0]->data(), im[0]->pitch(), im[op + 1]->data(), im[op + 1]->pitch(), im[0]->width(),
                             im[0]->height(), static_cast<ELyMaskOperator>(op));
        });
}

TEST(MaskPaths, Mask32bitTo8bit) {
    ExpectAllPathsAgree(
        [](int w, int h, int l) {
            return std::vector<Plane>{{LayoutOf(w, h, 4, l, 1), false}, {LayoutOf(w, h, 1, l, 0), true}};
        },
        [](Images& im) { Mask32bitTo8bit(im[0]->data(), im[0]->pitch(), im[1]->data(), im[1]->pitch(), im[0]->width(), im[0]->height()); });
}

TEST(MaskPaths, MaskDownScale2X) {
    ExpectAllPathsAgree(
        [](int w, int h, int l) {
            // Output: width / 2 bytes, (height + 1) / 2 rows; a one-byte source
            // gets a one-byte output that must stay untouched.
            const int ow = w / 2 > 0 ? w / 2 : 1;
            return std::vector<Plane>{{LayoutOf(w, h, 1, l, 1), false}, {LayoutOf(ow, (h + 1) / 2, 1, l, 0), true}};
        },
        [](Images& im) {
            MaskDownScale2X(im[0]->data(), im[0]->pitch(), im[1]->data(), im[1]->pitch(), im[0]->width(), im[0]->height());
        });
}

TEST(MaskPaths, Extract8BitMask) {
    ExpectAllPathsAgree(
        [](int w, int h, int l) {
            return std::vector<Plane>{{LayoutOf(w, h, 1, l, 1), false},
                                      {LayoutOf(w, h, 1, l, 2), false},
                                      {LayoutOf(w, h, 1, l, 0), true}};
        },
        [](Images& im) {
            Extract8BitMask(im[0]->data(), im[0]->pitch(), im[1]->data(), im[1]->pitch(), im[2]->data(), im[2]->pitch(),
                            im[2]->width(), im[2]->height());
        });
}

TEST(MaskPaths, Invert8bitImage) {
    ExpectAllPathsAgree([](int w, int h, int l) { return std::vector<Plane>{{LayoutOf(w, h, 1, l, 0), true}}; },
                        [](Images& im) { Invert8bitImage(im[0]->data(), im[0]->pitch(), im[0]->width(), im[0]->height()); });
}

// The thresholds at both ends of the vector compare and one in the middle;
// negative thresholds fill the rows and are checked with the known values.
TEST(MaskPaths, Binary8bitImage) {
    static constexpr int kThresholds[] = {0, 127, 254};
    ExpectAllPathsAgree(
        [](int w, int h, int l) {
            std::vector<Plane> planes;
            for (int k = 0; k < 3; ++k) planes.push_back({LayoutOf(w, h, 1, l, k), true});
            return planes;
        },
        [](Images& im) {
            for (int k = 0; k < 3; ++k)
                Binary8bitImage(im[k]->data(), im[k]->pitch(), im[k]->width(), im[k]->height(), kThresholds[k]);
        });
}

// ------------------------------------------------------------ known values

// Mask and alpha pairs laid out along a 37-pixel row, so that each lands in a
// head, a vector middle or a tail depending on the alignment.
TEST(MaskImage, ScalesOnlyAlphaWithUpwardRounding) {
    struct Case {
        unsigned char mask, alpha, expected;
    };
    const Case cases[] = {{255, 0, 0},  {255, 77, 77},  {255, 255, 255}, {0, 255, 0},   {0, 1, 0},
                          {128, 255, 128}, {1, 255, 1}, {128, 128, 64}, {254, 255, 254}, {2, 1, 1}};
    constexpr int kWidth = 37;
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        for (int align = 0; align < 16; ++align) {
            TestImage image(kWidth, 2, 4, align);
            TestImage mask(kWidth, 2, 1, 15 - align);
            image.FillRandom();
            const auto colours = image.Pixels();
            for (int y = 0; y < 2; ++y)
                for (int x = 0; x < kWidth; ++x) {
                    const Case& c = cases[(x + y) % 10];
                    mask.row(y)[x] = c.mask;
                    image.pixel(x, y)[3] = c.alpha;
                }
            MaskImage(image.data(), image.pitch(), mask.data(), mask.pitch(), kWidth, 2);
            for (int y = 0; y < 2; ++y)
                for (int x = 0; x < kWidth; ++x) {
                    const Case& c = cases[(x + y) % 10];
                    ASSERT_EQ(image.pixel(x, y)[3], c.expected)
                        << lytest::IsaName(isa) << " align " << align << " x " << x << " mask " << int(c.mask);
                    const size_t at = static_cast<size_t>(y) * kWidth * 4 + static_cast<size_t>(x) * 4;
                    ASSERT_EQ(0, std::memcmp(image.pixel(x, y), colours.data() + at, 3));
                }
        }
    }
}

// The head and tail round (a * m + 255) >> 8, the aligned middle
// ((a >> 4) * m + 255) >> 4: a = 4080, m = 255 gives 4065 and 4080.
TEST(Mask16bitAlpha, RoundingFollowsTheRowAddress) {
    constexpr int kWidth = 64;
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        for (int align = 0; align < 16; ++align) {
            TestImage plane(kWidth, 1, 2, align);
            TestImage mask(kWidth, 1, 1, 3);
            lytest::FillSamples16(plane, 4080);
            mask.Fill(255);
            Mask16bitAlpha(plane.data(), plane.pitch(), mask.data(), mask.pitch(), kWidth, 1);
            // Samples from the first 16-byte boundary on, in whole groups of
            // eight, use the vector rule; an odd start never reaches a boundary.
            const int head = align % 2 ? kWidth : ((16 - align) % 16) / 2;
            const int middleEnd = head + (kWidth - head) / 8 * 8;
            for (int x = 0; x < kWidth; ++x) {
                const bool middle = x >= head && x < middleEnd;
                ASSERT_EQ(lytest::Sample16(plane, x, 0), middle ? 4080 : 4065)
                    << lytest::IsaName(isa) << " align " << align << " sample " << x;
            }
        }
    }
}

// A zero mask clears the head and tail but leaves 255 >> 4 = 15 in the vector
// middle.
TEST(Mask16bitAlpha, ZeroMaskLeaves15InTheMiddle) {
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        const unsigned char none[24] = {};
        TestImage plane(24, 1, 2, 4);  // head 6, two groups, tail 2
        lytest::FillSamples16(plane, 4080);
        Mask16bitAlpha(plane.data(), plane.pitch(), none, 0, 24, 1);
        for (int x = 0; x < 24; ++x)
            ASSERT_EQ(lytest::Sample16(plane, x, 0), x >= 6 && x < 22 ? 15 : 0) << lytest::IsaName(isa) << " " << x;
    }
}

TEST(MaskOperator, EachRule) {
    struct Case {
        int op;
        unsigned char d, s, expected;
    };
    const Case cases[] = {
        {MaskOperator_Add, 200, 100, 255},       {MaskOperator_Add, 100, 54, 154},
        {MaskOperator_Add, 255, 0, 255},         {MaskOperator_Subtract, 10, 200, 0},
        {MaskOperator_Subtract, 200, 10, 190},   {MaskOperator_Subtract, 7, 7, 0},
        {MaskOperator_Difference, 10, 200, 190}, {MaskOperator_Difference, 200, 10, 190},
        {MaskOperator_Difference, 0, 255, 255},  {MaskOperator_Min, 10, 200, 10},
        {MaskOperator_Min, 200, 10, 10},         {MaskOperator_Min, 255, 255, 255},
    };
    constexpr int kWidth = 50;  // a 32-byte, a 16-byte group and a byte tail
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        for (const Case& c : cases) {
            TestImage src(kWidth, 1, 1, 5), dst(kWidth, 1, 1, 9);
            src.Fill(c.s);
            dst.Fill(c.d);
            MaskOperator(src.data(), src.pitch(), dst.data(), dst.pitch(), kWidth, 1, static_cast<ELyMaskOperator>(c.op));
            for (int x = 0; x < kWidth; ++x)
                ASSERT_EQ(dst.row(0)[x], c.expected)
                    << lytest::IsaName(isa) << " op " << c.op << " d " << int(c.d) << " s " << int(c.s) << " x " << x;
        }
    }
}

TEST(MaskOperator, UnknownOperatorDoesNothing) {
    TestImage src(40, 17, 1), dst(40, 17, 1, 3);
    src.FillRandom();
    dst.FillRandom();
    lytest::ScopedPoolThreads pool(4);
    for (int op : {-1, 4, 5, 255, 256, INT_MAX, INT_MIN}) {
        SCOPED_TRACE(op);
        ExpectUntouched(dst, [&] {
            MaskOperator(src.data(), src.pitch(), dst.data(), dst.pitch(), 40, 17, static_cast<ELyMaskOperator>(op));
        });
    }
}

TEST(Mask32bitTo8bit, TakesByteThreeOfEachPixel) {
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        TestImage image(61, 3, 4, 7, 4, true);
        TestImage mask(61, 3, 1, 1);
        image.FillRandom();
        Mask32bitTo8bit(image.data(), image.pitch(), mask.data(), mask.pitch(), 61, 3);
        for (int y = 0; y < 3; ++y)
            for (int x = 0; x < 61; ++x) ASSERT_EQ(mask.row(y)[x], image.pixel(x, y)[3]) << x << "," << y;
    }
}

// 0 1 / 1 1: the vector groups average down and across rounding up (1), the
// tail bytes take one truncating four-sample average (0).
TEST(MaskDownScale2X, VectorGroupsAndTailRoundDifferently) {
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        constexpr int kWidth = 20;  // one 16-byte group, a 4-byte tail
        TestImage src(kWidth, 2, 1, 3), dst(kWidth / 2, 1, 1, 6);
        for (int x = 0; x < kWidth; x += 2) {
            src.row(0)[x] = 0;
            src.row(0)[x + 1] = 1;
            src.row(1)[x] = 1;
            src.row(1)[x + 1] = 1;
        }
        MaskDownScale2X(src.data(), src.pitch(), dst.data(), dst.pitch(), kWidth, 2);
        for (int x = 0; x < kWidth / 2; ++x) ASSERT_EQ(dst.row(0)[x], x < 8 ? 1 : 0) << lytest::IsaName(isa) << " " << x;
    }
}

TEST(MaskDownScale2X, OddHeightPairsTheLastRowWithItself) {
    constexpr int kWidth = 35;  // two groups and an odd tail whose last byte has no partner
    TestImage src(kWidth, 3, 1, 0), dst(kWidth / 2, 2, 1, 0);
    src.Fill(0);
    for (int x = 0; x < kWidth; ++x) src.row(2)[x] = static_cast<unsigned char>(x * 7);
    const auto before = dst.Snapshot();
    MaskDownScale2X(src.data(), src.pitch(), dst.data(), dst.pitch(), kWidth, 3);
    EXPECT_TRUE(dst.OutsideUnchanged(before));
    for (int j = 0; j < kWidth / 2; ++j) {
        EXPECT_EQ(dst.row(0)[j], 0) << j;
        // Same row twice: both rounding rules reduce to a two-sample average.
        const int a = 14 * j, b = 14 * j + 7;
        const int expected = j < 16 ? (a + b + 1) >> 1 : (2 * a + 2 * b) >> 2;
        EXPECT_EQ(dst.row(1)[j], expected) << j;
    }
}

TEST(Extract8BitMask, IntersectsTwoMasks) {
    struct Case {
        unsigned char m1, m2, expected;
    };
    const Case cases[] = {{200, 100, 45}, {100, 100, 0}, {255, 77, 77}, {77, 255, 77}, {0, 255, 0}, {128, 128, 1}};
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        for (const Case& c : cases) {
            TestImage a(19, 2, 1, 1), b(19, 2, 1, 2), d(19, 2, 1, 3, 0, true);
            a.Fill(c.m1);
            b.Fill(c.m2);
            Extract8BitMask(a.data(), a.pitch(), b.data(), b.pitch(), d.data(), d.pitch(), 19, 2);
            for (const unsigned char v : d.Pixels()) ASSERT_EQ(v, c.expected) << int(c.m1) << " " << int(c.m2);
        }
    }
}

TEST(Invert8bitImage, TwiceRestoresAndOnceComplements) {
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        TestImage mask(83, 3, 1, 5, 2, true);  // 64 + 16 + 3: every stretch of the row
        mask.FillRandom();
        const auto original = mask.Pixels();
        Invert8bitImage(mask.data(), mask.pitch(), 83, 3);
        const auto inverted = mask.Pixels();
        for (size_t i = 0; i < original.size(); ++i) ASSERT_EQ(inverted[i], 255 - original[i]) << i;
        Invert8bitImage(mask.data(), mask.pitch(), 83, 3);
        EXPECT_EQ(mask.Pixels(), original);
    }
}

TEST(Binary8bitImage, OneSidedThreshold) {
    struct Case {
        int threshold;
        unsigned char in, out;
    };
    const Case cases[] = {{100, 100, 100}, {100, 101, 255}, {100, 0, 0},     {100, 99, 99},  {0, 0, 0},
                          {0, 1, 255},     {-1, 0, 255},    {INT_MIN, 0, 255}, {254, 254, 254}, {254, 255, 255},
                          {255, 255, 255}, {255, 254, 254}, {INT_MAX, 200, 200}, {128, 129, 255}, {127, 128, 255}};
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        for (const Case& c : cases) {
            TestImage mask(21, 1, 1, 7);
            mask.Fill(c.in);
            Binary8bitImage(mask.data(), mask.pitch(), 21, 1, c.threshold);
            for (const unsigned char v : mask.Pixels())
                ASSERT_EQ(v, c.out) << lytest::IsaName(isa) << " threshold " << c.threshold << " in " << int(c.in);
        }
    }
}

TEST(Binary8bitImage, ThresholdAtOrAbove255WritesNothing) {
    TestImage mask(33, 17, 1, 3);
    mask.FillRandom();
    for (int threshold : {255, 256, INT_MAX})
        ExpectUntouched(mask, [&] { Binary8bitImage(mask.data(), mask.pitch(), 33, 17, threshold); });
}

// ------------------------------------------------------------ refusals

TEST(MaskRefusals, EmptySizesAndNullPointersWriteNothing) {
    TestImage image(16, 16, 4), plane(16, 16, 2), a(16, 16, 1), b(16, 16, 1, 1), d(16, 16, 1, 2);
    image.FillRandom();
    plane.FillRandom();
    a.FillRandom();
    b.FillRandom();
    d.FillRandom();
    lytest::ScopedPoolThreads pool(4);
    for (const auto& size : std::vector<std::pair<int, int>>{{0, 16}, {16, 0}, {-1, 16}, {16, -1}, {INT_MIN, INT_MIN}}) {
        const int w = size.first, h = size.second;
        SCOPED_TRACE(std::to_string(w) + "x" + std::to_string(h));
        ExpectUntouched(image, [&] { MaskImage(image.data(), image.pitch(), a.data(), a.pitch(), w, h); });
        ExpectUntouched(plane, [&] { Mask16bitAlpha(plane.data(), plane.pitch(), a.data(), a.pitch(), w, h); });
        ExpectUntouched(d, [&] { MaskOperator(a.data(), a.pitch(), d.data(), d.pitch(), w, h, MaskOperator_Add); });
        ExpectUntouched(d, [&] { Mask32bitTo8bit(image.data(), image.pitch(), d.data(), d.pitch(), w, h); });
        ExpectUntouched(d, [&] { MaskDownScale2X(a.data(), a.pitch(), d.data(), d.pitch(), w, h); });
        ExpectUntouched(d, [&] { Extract8BitMask(a.data(), a.pitch(), b.data(), b.pitch(), d.data(), d.pitch(), w, h); });
        ExpectUntouched(d, [&] { Invert8bitImage(d.data(), d.pitch(), w, h); });
        ExpectUntouched(d, [&] { Binary8bitImage(d.data(), d.pitch(), w, h, -1); });
    }
    // A one-byte-wide source has nothing to average.
    ExpectUntouched(d, [&] { MaskDownScale2X(a.data(), a.pitch(), d.data(), d.pitch(), 1, 16); });
    // A null partner leaves the written buffer alone.
    ExpectUntouched(image, [&] { MaskImage(image.data(), image.pitch(), nullptr, 16, 16, 16); });
    ExpectUntouched(plane, [&] { Mask16bitAlpha(plane.data(), plane.pitch(), nullptr, 16, 16, 16); });
    ExpectUntouched(d, [&] { MaskOperator(nullptr, 16, d.data(), d.pitch(), 16, 16, MaskOperator_Add); });
    ExpectUntouched(d, [&] { Mask32bitTo8bit(nullptr, 64, d.data(), d.pitch(), 16, 16); });
    ExpectUntouched(d, [&] { MaskDownScale2X(nullptr, 16, d.data(), d.pitch(), 16, 16); });
    ExpectUntouched(d, [&] { Extract8BitMask(a.data(), a.pitch(), nullptr, 16, d.data(), d.pitch(), 16, 16); });
    ExpectUntouched(d, [&] { Extract8BitMask(nullptr, 16, b.data(), b.pitch(), d.data(), d.pitch(), 16, 16); });
    // And null destinations are refused without a fault.
    MaskImage(nullptr, 64, a.data(), a.pitch(), 16, 16);
    Mask16bitAlpha(nullptr, 32, a.data(), a.pitch(), 16, 16);
    MaskOperator(a.data(), a.pitch(), nullptr, 16, 16, 16, MaskOperator_Min);
    Mask32bitTo8bit(image.data(), image.pitch(), nullptr, 16, 16, 16);
    MaskDownScale2X(a.data(), a.pitch(), nullptr, 8, 16, 16);
    Extract8BitMask(a.data(), a.pitch(), b.data(), b.pitch(), nullptr, 16, 16, 16);
    Invert8bitImage(nullptr, 16, 16, 16);
    Binary8bitImage(nullptr, 16, 16, 16, 0);
}

}  // namespace
