// Mask and alpha-plane operations: every kernel against its scalar twin on
// every layout, the rounding quirks that depend on the row address, and the
// refusals.

#include <climits>
#include <cstring>
#include <functional>
#include <tuple>
#include <vector>

#include "LyPixelUtils.h"
#include "test_support.h"

using namespace LyPixelUtils;
using lytest::TestImage;

namespace {

using Images = lytest::SweepImages;

// Planes of the given bytes per pixel, each at its own layout; the first
// `readOnly` of them are inputs, the rest are written.
lytest::MakeSweepPlanes Planes(std::vector<int> bytesPerPixel, size_t readOnly) {
    return [bytesPerPixel, readOnly](int w, int h, int l) {
        std::vector<lytest::SweepPlane> planes;
        for (size_t k = 0; k < bytesPerPixel.size(); ++k)
            planes.push_back({lytest::SweepLayout(w, h, bytesPerPixel[k], l, static_cast<int>(k)), k >= readOnly});
        return planes;
    };
}

// Calls `op` with arguments that must be refused and checks that nothing,
// anywhere in the buffer, changed.
void ExpectUntouched(TestImage& image, const std::function<void()>& op) {
    const auto before = image.Snapshot();
    op();
    EXPECT_EQ(before, image.Snapshot());
}

// ------------------------------------------------------------ differential

TEST(MaskPaths, EveryKernelAgreesWithScalar) {
    // The thresholds at both ends of the vector compare and one in the middle.
    static constexpr int kThresholds[] = {0, 127, 254};
    const struct {
        const char* name;
        lytest::MakeSweepPlanes planes;
        std::function<void(Images&)> run;
    } kernels[] = {
        {"MaskImage", Planes({1, 4}, 1),
         [](Images& im) {
             MaskImage(im[1]->data(), im[1]->pitch(), im[0]->data(), im[0]->pitch(), im[0]->width(), im[0]->height());
         }},
        {"Mask16bitAlpha", Planes({1, 2}, 1),
         [](Images& im) {
             Mask16bitAlpha(im[1]->data(), im[1]->pitch(), im[0]->data(), im[0]->pitch(), im[0]->width(),
                            im[0]->height());
         }},
        // One source and four destinations, one per rule.
        {"MaskOperator", Planes({1, 1, 1, 1, 1}, 1),
         [](Images& im) {
             for (int op = 0; op < 4; ++op)
                 MaskOperator(im[0]->data(), im[0]->pitch(), im[op + 1]->data(), im[op + 1]->pitch(), im[0]->width(),
                              im[0]->height(), static_cast<ELyMaskOperator>(op));
         }},
        {"Mask32bitTo8bit", Planes({4, 1}, 1),
         [](Images& im) {
             Mask32bitTo8bit(im[0]->data(), im[0]->pitch(), im[1]->data(), im[1]->pitch(), im[0]->width(),
                             im[0]->height());
         }},
        // Output: width / 2 bytes, (height + 1) / 2 rows; a one-byte source
        // gets a one-byte output that must stay untouched.
        {"MaskDownScale2X",
         [](int w, int h, int l) {
             const int outWidth = w / 2 > 0 ? w / 2 : 1;
             return std::vector<lytest::SweepPlane>{{lytest::SweepLayout(w, h, 1, l, 0), false},
                                                    {lytest::SweepLayout(outWidth, (h + 1) / 2, 1, l, 1), true}};
         },
         [](Images& im) {
             MaskDownScale2X(im[0]->data(), im[0]->pitch(), im[1]->data(), im[1]->pitch(), im[0]->width(),
                             im[0]->height());
         }},
        {"Extract8BitMask", Planes({1, 1, 1}, 2),
         [](Images& im) {
             Extract8BitMask(im[0]->data(), im[0]->pitch(), im[1]->data(), im[1]->pitch(), im[2]->data(),
                             im[2]->pitch(), im[0]->width(), im[0]->height());
         }},
        {"Invert8bitImage", Planes({1}, 0),
         [](Images& im) { Invert8bitImage(im[0]->data(), im[0]->pitch(), im[0]->width(), im[0]->height()); }},
        {"Binary8bitImage", Planes({1, 1, 1}, 0),
         [](Images& im) {
             for (int k = 0; k < 3; ++k)
                 Binary8bitImage(im[k]->data(), im[k]->pitch(), im[k]->width(), im[k]->height(), kThresholds[k]);
         }},
    };
    for (const auto& kernel : kernels) {
        SCOPED_TRACE(kernel.name);
        lytest::ExpectAllPathsAgree(kernel.planes, kernel.run);
    }
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
            TestImage image(kWidth, 2, 4, align), mask(kWidth, 2, 1, 15 - align);
            image.FillRandom();
            auto expected = image.Pixels();  // colour bytes kept
            for (int y = 0; y < 2; ++y)
                for (int x = 0; x < kWidth; ++x) {
                    const Case& c = cases[(x + y) % 10];
                    mask.row(y)[x] = c.mask;
                    image.pixel(x, y)[3] = c.alpha;
                    expected[4 * (static_cast<size_t>(y) * kWidth + x) + 3] = c.expected;
                }
            MaskImage(image.data(), image.pitch(), mask.data(), mask.pitch(), kWidth, 2);
            ASSERT_TRUE(lytest::SameBytes(expected, image.Pixels())) << lytest::IsaName(isa) << " align " << align;
        }
    }
}

// The head and tail round (a * m + 255) >> 8, the aligned middle
// ((a >> 4) * m + 255) >> 4: a = 4080 gives 4065 and 4080 under a full mask,
// 0 and 15 under a zero mask.
TEST(Mask16bitAlpha, RoundingFollowsTheRowAddress) {
    constexpr int kWidth = 64;
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        for (const auto& [m, middleValue, edgeValue] : {std::tuple{255, 4080, 4065}, std::tuple{0, 15, 0}}) {
            const std::vector<unsigned char> mask(kWidth, static_cast<unsigned char>(m));
            for (int align = 0; align < 16; ++align) {
                TestImage plane(kWidth, 1, 2, align);
                lytest::FillSamples16(plane, 4080);
                Mask16bitAlpha(plane.data(), plane.pitch(), mask.data(), 0, kWidth, 1);
                // Samples from the first 16-byte boundary on, in whole groups of
                // eight, use the vector rule; an odd start never reaches a boundary.
                const int head = align % 2 ? kWidth : ((16 - align) % 16) / 2;
                const int middleEnd = head + (kWidth - head) / 8 * 8;
                for (int x = 0; x < kWidth; ++x)
                    ASSERT_EQ(lytest::Sample16(plane, x, 0), x >= head && x < middleEnd ? middleValue : edgeValue)
                        << lytest::IsaName(isa) << " mask " << m << " align " << align << " sample " << x;
            }
        }
    }
}

TEST(MaskOperator, EachRule) {
    const struct {
        ELyMaskOperator op;
        unsigned char d, s, expected;
    } cases[] = {
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
        for (const auto& c : cases) {
            TestImage src(kWidth, 1, 1, 5), dst(kWidth, 1, 1, 9);
            src.Fill(c.s);
            dst.Fill(c.d);
            MaskOperator(src.data(), src.pitch(), dst.data(), dst.pitch(), kWidth, 1, c.op);
            for (const unsigned char v : dst.Pixels())
                ASSERT_EQ(v, c.expected) << lytest::IsaName(isa) << " op " << c.op << " d " << int(c.d) << " s "
                                         << int(c.s);
        }
    }
}

// Rows 0 and 1 hold 0 1 / 1 1: the two 16-byte groups average down and across
// rounding up (1), the tail takes one truncating four-sample average (0).
// Row 2, the odd last one, pairs with itself: 14j and 14j + 7 give 14j + 4 in
// the groups and 227 (not 228) in the tail. Byte 34 has no partner.
TEST(MaskDownScale2X, GroupsAndTailRoundDifferentlyAndAnOddLastRowPairsWithItself) {
    constexpr int kWidth = 35;
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        TestImage src(kWidth, 3, 1, 3), dst(kWidth / 2, 2, 1, 6);
        for (int x = 0; x < kWidth; ++x) {
            src.row(0)[x] = static_cast<unsigned char>(x & 1);
            src.row(1)[x] = 1;
            src.row(2)[x] = static_cast<unsigned char>(x * 7);
        }
        const auto before = dst.Snapshot();
        MaskDownScale2X(src.data(), src.pitch(), dst.data(), dst.pitch(), kWidth, 3);
        EXPECT_TRUE(dst.OutsideUnchanged(before));
        for (int j = 0; j < kWidth / 2; ++j) {
            ASSERT_EQ(dst.row(0)[j], j < 16 ? 1 : 0) << lytest::IsaName(isa) << " " << j;
            ASSERT_EQ(dst.row(1)[j], j < 16 ? 14 * j + 4 : 227) << lytest::IsaName(isa) << " " << j;
        }
    }
}

TEST(Extract8BitMask, IntersectsTwoMasks) {
    const struct {
        unsigned char m1, m2, expected;
    } cases[] = {{200, 100, 45}, {100, 100, 0}, {255, 77, 77}, {77, 255, 77}, {0, 255, 0}, {128, 128, 1}};
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        for (const auto& c : cases) {
            TestImage a(19, 2, 1, 1), b(19, 2, 1, 2), d(19, 2, 1, 3, 0, true);
            a.Fill(c.m1);
            b.Fill(c.m2);
            Extract8BitMask(a.data(), a.pitch(), b.data(), b.pitch(), d.data(), d.pitch(), 19, 2);
            for (const unsigned char v : d.Pixels()) ASSERT_EQ(v, c.expected) << int(c.m1) << " " << int(c.m2);
        }
    }
}

// 64 + 16 + 3 pixels: every stretch of the row, from a bottom-up image.
TEST(MaskPlanes, AlphaExtractionAndInversion) {
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        TestImage image(83, 3, 4, 7, 4, true), mask(83, 3, 1, 5, 2, true);
        image.FillRandom();
        Mask32bitTo8bit(image.data(), image.pitch(), mask.data(), mask.pitch(), 83, 3);
        Invert8bitImage(mask.data(), mask.pitch(), 83, 3);
        for (int y = 0; y < 3; ++y)
            for (int x = 0; x < 83; ++x) ASSERT_EQ(mask.row(y)[x], 255 - image.pixel(x, y)[3]) << x << "," << y;
    }
}

// Thresholds of 255 and above return without writing: the whole buffer,
// guards included, must come back as it was.
TEST(Binary8bitImage, OneSidedThreshold) {
    const struct {
        int threshold;
        unsigned char in, out;
    } cases[] = {{100, 100, 100}, {100, 101, 255}, {100, 0, 0},       {100, 99, 99},      {0, 0, 0},
                 {0, 1, 255},     {-1, 0, 255},    {INT_MIN, 0, 255}, {254, 254, 254},    {254, 255, 255},
                 {255, 255, 255}, {255, 254, 254}, {256, 255, 255},   {INT_MAX, 200, 200}, {128, 129, 255},
                 {127, 128, 255}};
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        for (const auto& c : cases) {
            TestImage mask(33, 17, 1, 7);
            mask.Fill(c.in);
            const auto before = mask.Snapshot();
            Binary8bitImage(mask.data(), mask.pitch(), 33, 17, c.threshold);
            EXPECT_TRUE(mask.OutsideUnchanged(before));
            for (const unsigned char v : mask.Pixels())
                ASSERT_EQ(v, c.out) << lytest::IsaName(isa) << " threshold " << c.threshold << " in " << int(c.in);
        }
    }
}

// ------------------------------------------------------------ refusals

TEST(MaskRefusals, EmptySizesNullPointersAndUnknownOperatorsWriteNothing) {
    TestImage image(16, 16, 4), plane(16, 16, 2), a(16, 16, 1), b(16, 16, 1, 1), d(16, 16, 1, 2);
    for (TestImage* t : {&image, &plane, &a, &b, &d}) t->FillRandom();
    lytest::ScopedPoolThreads pool(4);
    for (const auto& size : {std::pair{0, 16}, {16, 0}, {-1, 16}, {16, -1}, {INT_MIN, INT_MIN}}) {
        const int w = size.first, h = size.second;  // lambdas cannot capture structured bindings in C++20
        SCOPED_TRACE(std::to_string(w) + "x" + std::to_string(h));
        ExpectUntouched(image, [&] { MaskImage(image.data(), image.pitch(), a.data(), a.pitch(), w, h); });
        ExpectUntouched(plane, [&] { Mask16bitAlpha(plane.data(), plane.pitch(), a.data(), a.pitch(), w, h); });
        ExpectUntouched(d, [&] { MaskOperator(a.data(), a.pitch(), d.data(), d.pitch(), w, h, MaskOperator_Add); });
        ExpectUntouched(d, [&] { Mask32bitTo8bit(image.data(), image.pitch(), d.data(), d.pitch(), w, h); });
        ExpectUntouched(d, [&] { MaskDownScale2X(a.data(), a.pitch(), d.data(), d.pitch(), w, h); });
        ExpectUntouched(d, [&] {
            Extract8BitMask(a.data(), a.pitch(), b.data(), b.pitch(), d.data(), d.pitch(), w, h);
        });
        ExpectUntouched(d, [&] { Invert8bitImage(d.data(), d.pitch(), w, h); });
        ExpectUntouched(d, [&] { Binary8bitImage(d.data(), d.pitch(), w, h, -1); });
    }
    for (int op : {-1, 4, 5, 255, 256, INT_MAX, INT_MIN}) {
        SCOPED_TRACE(op);
        ExpectUntouched(d, [&] {
            MaskOperator(a.data(), a.pitch(), d.data(), d.pitch(), 16, 16, static_cast<ELyMaskOperator>(op));
        });
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
