// Sub-pixel shifts: every form against its scalar twin, whole-pixel shifts
// as copies, flat and ramp pictures, the alpha-weighted title edge, refusals.

#include <algorithm>
#include <cstring>
#include <vector>

#include "LyPixelUtils.h"
#include "test_support.h"

using namespace LyPixelUtils;
using lytest::TestImage;

namespace {

using Images = lytest::SweepImages;

// A weight that changes from case to case and meets 0 and 128 on the way.
int WeightFor(int width) { return (width * 37) % 130 > 128 ? 128 : (width * 37) % 130; }

lytest::MakeSweepPlanes SourceAndDestination(int bytesPerPixel, int extraColumns, int extraRows) {
    return [=](int w, int h, int l) {
        return std::vector<lytest::SweepPlane>{
            {lytest::SweepLayout(w + extraColumns, h + extraRows, bytesPerPixel, l, 0), false},
            {lytest::SweepLayout(w, h, bytesPerPixel, l, 1), true}};
    };
}

// Each row of `src` through a row function into `dst`.
template <class RowFn>
void EachRow(Images& im, RowFn fn) {
    for (int y = 0; y < im[1]->height(); ++y) fn(im[0]->row(y), im[1]->row(y), im[1]->width(), WeightFor(im[1]->width()));
}

TEST(SubPixelPaths, EveryFormAgreesWithScalar) {
    const struct {
        const char* name;
        lytest::MakeSweepPlanes planes;
        std::function<void(Images&)> run;
    } kernels[] = {
        {"X_OneLine", SourceAndDestination(4, 1, 0), [](Images& im) { EachRow(im, DoSubPixel_X_OneLine); }},
        {"X_LastPixel", SourceAndDestination(4, 0, 0), [](Images& im) { EachRow(im, DoSubPixel_X_LastPixel); }},
        {"X_OneLine in place",
         [](int w, int h, int l) {
             return std::vector<lytest::SweepPlane>{{lytest::SweepLayout(w + 1, h, 4, l, 0), true}};
         },
         [](Images& im) {
             const int w = im[0]->width() - 1;
             for (int y = 0; y < im[0]->height(); ++y) DoSubPixel_X_OneLine(im[0]->row(y), im[0]->row(y), w, WeightFor(w));
         }},
        {"Y_OneLine_Image", SourceAndDestination(4, 0, 0), [](Images& im) { EachRow(im, DoSubPixel_Y_OneLine_Image); }},
        {"Y_OneLine_16Alpha", SourceAndDestination(2, 0, 0),
         [](Images& im) { EachRow(im, DoSubPixel_Y_OneLine_16Alpha); }},
        {"Y_TwoLine_Image", SourceAndDestination(4, 0, 1),
         [](Images& im) {
             DoSubPixel_Y_TwoLine_Image(im[0]->data(), im[0]->pitch(), im[1]->data(), im[1]->pitch(), im[1]->width(),
                                        im[1]->height(), WeightFor(im[1]->width()));
         }},
        {"Y_TwoLine_16Alpha", SourceAndDestination(2, 0, 1),
         [](Images& im) {
             DoSubPixel_Y_TwoLine_16Alpha(im[0]->data(), im[0]->pitch(), im[1]->data(), im[1]->pitch(),
                                          im[1]->width(), im[1]->height(), WeightFor(im[1]->width()));
         }},
    };
    for (const auto& kernel : kernels) {
        SCOPED_TRACE(kernel.name);
        lytest::ExpectAllPathsAgree(kernel.planes, kernel.run);
    }
}

// ------------------------------------------------------------ whole pixels, flat pictures, ramps

uint32_t Pixel(const TestImage& im, int x, int y) {
    uint32_t v;
    std::memcpy(&v, im.row(y) + 4 * x, 4);
    return v;
}

// Rows flat in alpha with a lone odd pixel: the vector forms test alpha once
// per run of blocks, so a single differing alpha anywhere in a run, at a run's
// edges or in the tail, must send just that run the slow way. In place too.
TEST(SubPixelPaths, FlatAlphaRunsWithOneOddPixelAgreeWithScalar) {
    for (int width : {31, 32, 33, 40, 63, 64, 65, 97, 130}) {
        for (int odd = -1; odd <= width; odd += (odd < 2 || odd > width - 3) ? 1 : 7) {
            std::vector<unsigned char> src(4 * static_cast<size_t>(width + 1));
            lytest::FillRandom(src.data(), src.size());
            for (int x = 0; x <= width; ++x) src[4 * x + 3] = x == odd ? 254 : 255;
            for (int w : {1, 45, 64, 127}) {
                std::vector<unsigned char> want(4 * static_cast<size_t>(width));
                {
                    lytest::ScopedIsa cap(ly::Isa::Scalar);
                    DoSubPixel_X_OneLine(src.data(), want.data(), width, w);
                }
                for (ly::Isa isa : lytest::AvailableIsas()) {
                    lytest::ScopedIsa cap(isa);
                    std::vector<unsigned char> got(want.size()), inPlace(src);
                    DoSubPixel_X_OneLine(src.data(), got.data(), width, w);
                    DoSubPixel_X_OneLine(inPlace.data(), inPlace.data(), width, w);
                    ASSERT_EQ(want, got) << "width " << width << " odd " << odd << " w " << w;
                    ASSERT_TRUE(std::equal(want.begin(), want.end(), inPlace.begin()))
                        << "in place, width " << width << " odd " << odd << " w " << w;
                }
            }
        }
    }
}

TEST(SubPixel, WholePixelShiftsAreCopies) {
    constexpr int kWidth = 45, kHeight = 17;
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        TestImage src(kWidth + 1, kHeight + 1, 4, 3), dst(kWidth, kHeight, 4, 7);
        src.FillRandomWithExtremes();
        for (int y = 0; y < kHeight; ++y) {
            DoSubPixel_X_OneLine(src.row(y), dst.row(y), kWidth, 0);
            for (int x = 0; x < kWidth; ++x) ASSERT_EQ(Pixel(src, x, y), Pixel(dst, x, y));
            DoSubPixel_X_OneLine(src.row(y), dst.row(y), kWidth, 128);
            for (int x = 0; x < kWidth; ++x) ASSERT_EQ(Pixel(src, x + 1, y), Pixel(dst, x, y));
            DoSubPixel_X_LastPixel(src.row(y), dst.row(y), kWidth, 128);
            ASSERT_EQ(Pixel(src, kWidth - 1, y) & 0x00FFFFFFu, Pixel(dst, kWidth - 1, y));  // transparent, same colour
            DoSubPixel_X_LastPixel(src.row(y), dst.row(y), kWidth, 0);
            for (int x = 0; x < kWidth; ++x) ASSERT_EQ(Pixel(src, x, y), Pixel(dst, x, y));
        }
        DoSubPixel_Y_TwoLine_Image(src.data(), src.pitch(), dst.data(), dst.pitch(), kWidth, kHeight, 0);
        for (int y = 0; y < kHeight; ++y) ASSERT_EQ(0, std::memcmp(src.row(y), dst.row(y), 4 * kWidth));
        DoSubPixel_Y_TwoLine_Image(src.data(), src.pitch(), dst.data(), dst.pitch(), kWidth, kHeight, 128);
        for (int y = 0; y < kHeight; ++y) ASSERT_EQ(0, std::memcmp(src.row(y + 1), dst.row(y), 4 * kWidth));

        TestImage a16(kWidth, kHeight + 1, 2, 1), d16(kWidth, kHeight, 2, 6);
        a16.FillRandom();
        DoSubPixel_Y_TwoLine_16Alpha(a16.data(), a16.pitch(), d16.data(), d16.pitch(), kWidth, kHeight, 0);
        for (int y = 0; y < kHeight; ++y) ASSERT_EQ(0, std::memcmp(a16.row(y), d16.row(y), 2 * kWidth));
        DoSubPixel_Y_TwoLine_16Alpha(a16.data(), a16.pitch(), d16.data(), d16.pitch(), kWidth, kHeight, 128);
        for (int y = 0; y < kHeight; ++y) ASSERT_EQ(0, std::memcmp(a16.row(y + 1), d16.row(y), 2 * kWidth));
        DoSubPixel_Y_OneLine_16Alpha(a16.row(0), d16.row(0), kWidth, 0);
        ASSERT_EQ(0, std::memcmp(a16.row(0), d16.row(0), 2 * kWidth));
        DoSubPixel_Y_OneLine_16Alpha(a16.row(0), d16.row(0), kWidth, 128);
        for (int x = 0; x < kWidth; ++x) ASSERT_EQ(0, lytest::Sample16(d16, x, 0));
    }
}

TEST(SubPixel, FlatPicturesStayFlatAndRampsStayMonotonic) {
    constexpr int kWidth = 67;
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        for (int w = 0; w <= 128; ++w) {
            // A flat, partly transparent colour.
            TestImage flat(kWidth + 1, 2, 4, 5), out(kWidth, 1, 4, 9);
            for (int x = 0; x <= kWidth; ++x)
                for (int y = 0; y < 2; ++y) std::memcpy(flat.pixel(x, y), "\x12\x9a\xfe\x6b", 4);
            DoSubPixel_X_OneLine(flat.data(), out.data(), kWidth, w);
            for (int x = 0; x < kWidth; ++x) ASSERT_EQ(Pixel(flat, 0, 0), Pixel(out, x, 0)) << "w " << w;
            DoSubPixel_Y_TwoLine_Image(flat.data(), flat.pitch(), out.data(), out.pitch(), kWidth, 1, w);
            for (int x = 0; x < kWidth; ++x) ASSERT_EQ(Pixel(flat, 0, 0), Pixel(out, x, 0)) << "w " << w;

            // An opaque ramp across the row, each channel rising at its own pace.
            TestImage ramp(kWidth + 1, 1, 4, 2);
            for (int x = 0; x <= kWidth; ++x) {
                const unsigned char p[4] = {static_cast<unsigned char>(3 * x), static_cast<unsigned char>(x),
                                            static_cast<unsigned char>(255 - 2 * x), 255};
                std::memcpy(ramp.pixel(x, 0), p, 4);
            }
            DoSubPixel_X_OneLine(ramp.data(), out.data(), kWidth, w);
            for (int x = 0; x + 1 < kWidth; ++x) {
                ASSERT_LE(out.pixel(x, 0)[0], out.pixel(x + 1, 0)[0]) << "w " << w << " x " << x;
                ASSERT_LE(out.pixel(x, 0)[1], out.pixel(x + 1, 0)[1]);
                ASSERT_GE(out.pixel(x, 0)[2], out.pixel(x + 1, 0)[2]);
                ASSERT_EQ(255, out.pixel(x, 0)[3]);
                // Each output lies between the two pixels it came from.
                for (int c = 0; c < 3; ++c) {
                    const int lo = std::min(ramp.pixel(x, 0)[c], ramp.pixel(x + 1, 0)[c]);
                    const int hi = std::max(ramp.pixel(x, 0)[c], ramp.pixel(x + 1, 0)[c]);
                    ASSERT_GE(out.pixel(x, 0)[c], lo);
                    ASSERT_LE(out.pixel(x, 0)[c], hi);
                }
            }

            // A 16-bit alpha ramp down the rows, and a flat plane.
            TestImage plane(9, 5, 2, 1), outPlane(9, 4, 2, 0);
            for (int y = 0; y < 5; ++y)
                for (int x = 0; x < 9; ++x) {
                    const uint16_t s = static_cast<uint16_t>(y * 1000 + 80);
                    std::memcpy(plane.row(y) + 2 * x, &s, 2);
                }
            DoSubPixel_Y_TwoLine_16Alpha(plane.data(), plane.pitch(), outPlane.data(), outPlane.pitch(), 9, 4, w);
            for (int y = 0; y < 4; ++y) {
                ASSERT_GE(lytest::Sample16(outPlane, 0, y), lytest::Sample16(plane, 0, y));
                ASSERT_LE(lytest::Sample16(outPlane, 0, y), lytest::Sample16(plane, 0, y + 1));
                if (y > 0) {
                    ASSERT_LT(lytest::Sample16(outPlane, 8, y - 1), lytest::Sample16(outPlane, 8, y));
                }
            }
            lytest::FillSamples16(plane, 4080);
            DoSubPixel_Y_TwoLine_16Alpha(plane.data(), plane.pitch(), outPlane.data(), outPlane.pitch(), 9, 4, w);
            for (int y = 0; y < 4; ++y)
                for (int x = 0; x < 9; ++x) ASSERT_EQ(4080, lytest::Sample16(outPlane, x, y));
        }
    }
}

// An opaque white title on transparent black, moved by half a pixel: the edge
// pixel keeps the title's white and only loses alpha, so laid over a grey
// background it is never darker than the background. Mixing the colour by the
// plain weight would have made it mid-grey: a dark fringe.
TEST(SubPixel, MovingTitleEdgeGainsNoDarkFringe) {
    constexpr int kWidth = 24;
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        TestImage title(kWidth + 1, 1, 4, 1), moved(kWidth, 1, 4, 3);
        for (int x = 0; x <= kWidth; ++x)
            std::memcpy(title.pixel(x, 0), x >= 9 && x < 17 ? "\xff\xff\xff\xff" : "\x00\x00\x00\x00", 4);
        DoSubPixel_X_OneLine(title.data(), moved.data(), kWidth, 64);
        EXPECT_EQ(0x7FFFFFFFu, Pixel(moved, 8, 0));   // entering edge: white at half alpha
        EXPECT_EQ(0xFFFFFFFFu, Pixel(moved, 9, 0));
        EXPECT_EQ(0x7FFFFFFFu, Pixel(moved, 16, 0));  // leaving edge
        EXPECT_EQ(0u, Pixel(moved, 17, 0) >> 24);

        TestImage background(kWidth, 1, 4, 0);
        for (int x = 0; x < kWidth; ++x) std::memcpy(background.pixel(x, 0), "\x80\x80\x80\xff", 4);
        MixColor(moved.data(), moved.pitch(), background.data(), background.pitch(), kWidth, 1);
        for (int x = 0; x < kWidth; ++x)
            for (int c = 0; c < 3; ++c) ASSERT_GE(background.pixel(x, 0)[c], 0x80) << "x " << x;

        // The same holds down a column: a roll's bottom edge.
        TestImage rows(3, 3, 4, 2), rolled(3, 2, 4, 4);
        for (int x = 0; x < 3; ++x) {
            std::memcpy(rows.pixel(x, 0), "\x00\x00\x00\x00", 4);
            std::memcpy(rows.pixel(x, 1), "\x20\xd0\xff\xff", 4);
            std::memcpy(rows.pixel(x, 2), "\x00\x00\x00\x00", 4);
        }
        DoSubPixel_Y_TwoLine_Image(rows.data(), rows.pitch(), rolled.data(), rolled.pitch(), 3, 2, 32);
        EXPECT_EQ(0x3FFFD020u, Pixel(rolled, 0, 0));  // alpha 255 * 32 >> 7, colour of the row below
        EXPECT_EQ(0xBFFFD020u, Pixel(rolled, 1, 1));
        DoSubPixel_Y_OneLine_Image(rows.row(1), rolled.row(0), 3, 32);
        EXPECT_EQ(0xBFFFD020u, Pixel(rolled, 2, 0));
    }
}

// Partly transparent neighbours: the colour follows the alpha shares.
TEST(SubPixel, ColourFollowsAlphaShares) {
    TestImage src(2, 1, 4, 0), dst(1, 1, 4, 0);
    std::memcpy(src.pixel(0, 0), "\x00\x00\x00\x40", 4);  // black, alpha 64
    std::memcpy(src.pixel(1, 0), "\xc8\xc8\xc8\xc0", 4);  // 200 grey, alpha 192
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        DoSubPixel_X_OneLine(src.data(), dst.data(), 1, 64);
        // alpha (64 * 64 + 192 * 64) >> 7 = 128; weight 128 * 12288 / 16384 = 96;
        // colour (200 * 96) >> 7 = 150.
        EXPECT_EQ(0x80969696u, Pixel(dst, 0, 0)) << lytest::IsaName(isa);
    }
}

TEST(SubPixel, RefusalsWriteNothing) {
    TestImage src(8, 3, 4, 0), dst(8, 2, 4, 0);
    src.FillRandom();
    dst.FillRandom();
    const auto before = dst.Snapshot();
    for (int weight : {-1, 129, 1000}) {
        DoSubPixel_X_OneLine(src.data(), dst.data(), 7, weight);
        DoSubPixel_X_LastPixel(src.data(), dst.data(), 8, weight);
        DoSubPixel_Y_OneLine_Image(src.data(), dst.data(), 8, weight);
        DoSubPixel_Y_TwoLine_Image(src.data(), src.pitch(), dst.data(), dst.pitch(), 8, 2, weight);
        DoSubPixel_Y_OneLine_16Alpha(src.data(), dst.data(), 8, weight);
        DoSubPixel_Y_TwoLine_16Alpha(src.data(), src.pitch(), dst.data(), dst.pitch(), 8, 2, weight);
    }
    DoSubPixel_X_OneLine(nullptr, dst.data(), 7, 3);
    DoSubPixel_X_LastPixel(src.data(), nullptr, 8, 3);
    DoSubPixel_X_OneLine(src.data(), dst.data(), 0, 3);
    DoSubPixel_Y_OneLine_Image(src.data(), dst.data(), -4, 3);
    DoSubPixel_Y_TwoLine_Image(src.data(), src.pitch(), dst.data(), dst.pitch(), 8, 0, 3);
    DoSubPixel_Y_TwoLine_16Alpha(src.data(), src.pitch(), nullptr, dst.pitch(), 8, 2, 3);
    DoSubPixel_Y_OneLine_16Alpha(src.data(), dst.data(), 0, 3);
    EXPECT_EQ(before, dst.Snapshot());
}

}  // namespace
