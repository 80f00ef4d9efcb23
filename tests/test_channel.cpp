// LY_TEST_LABELS: threading

#include <cstring>
#include <functional>
#include <thread>

#include "LyPixelUtils.h"
#include "test_support.h"

using namespace lytest;

namespace {

uint32_t WordAt(const unsigned char* p) {
    uint32_t v;
    std::memcpy(&v, p, 4);
    return v;
}

void SetWord(unsigned char* p, uint32_t v) { std::memcpy(p, &v, 4); }

// 32-bit image whose only pixel is `bgra` (little-endian word).
unsigned char LumaOfWord(uint32_t bgra) {
    TestImage src(1, 1, 4);
    TestImage dst(1, 1, 1);
    SetWord(src.data(), bgra);
    LyPixelUtils::Convert32bitTo8bitImage(src.data(), src.pitch(), dst.data(), dst.pitch(), 1, 1);
    return dst.data()[0];
}

using Op = std::function<void(TestImage& src, TestImage& dst)>;

// Every instruction set against the scalar form on random data, over widths
// 1..67, heights 1, 2, 15, 16, 17, every row-start alignment within 16 bytes
// (source and destination misaligned differently, pitch directions mixed) and
// pool sizes 1, 4 and 16. Bytes outside the destination image stay as they
// were. `dstBpp` 0 means in place (the destination is the source).
void ExpectSameOnEveryIsa(int srcBpp, int dstBpp, const Op& op) {
    for (int pool : PoolSizes()) {
        ScopedPoolThreads scopedPool(pool);
        for (int h : TestHeights()) {
            // Under 16 rows there is one band whatever the pool; the banding
            // itself does not care about alignment, so pooled runs take a
            // quarter of the layouts (both pitch directions among them).
            if (pool > 1 && h < 16) continue;
            for (int w : TestWidths()) {
                const auto layouts = LayoutsFor(w, h, srcBpp);
                for (size_t li = pool > 1 ? 1 : 0; li < layouts.size(); li += pool > 1 ? 4 : 1) {
                    TestImage src(layouts[li]);
                    src.FillRandomWithExtremes();
                    ImageLayout dstLayout = layouts[(li + 7) % layouts.size()];
                    dstLayout.bytesPerPixel = dstBpp == 0 ? srcBpp : dstBpp;
                    std::vector<unsigned char> expected;
                    for (ly::Isa isa : AvailableIsas()) {
                        ScopedIsa cap(isa);
                        TestImage work(src.layout());
                        work.CopyPixelsFrom(src);
                        TestImage dst(dstLayout);
                        TestImage& out = dstBpp == 0 ? work : dst;
                        const auto before = out.Snapshot();
                        op(work, dst);
                        ASSERT_TRUE(out.OutsideUnchanged(before)) << IsaName(isa) << " " << out.Describe();
                        if (isa == ly::Isa::Scalar) {
                            expected = out.Pixels();
                        } else {
                            ASSERT_TRUE(SameBytes(expected, out.Pixels()))
                                << IsaName(isa) << " pool " << pool << " src " << src.Describe() << " dst "
                                << out.Describe();
                        }
                    }
                }
            }
        }
    }
}

}  // namespace

TEST(ChannelKnownValues, LumaOfPrimariesAndMixtures) {
    EXPECT_EQ(LumaOfWord(0x00FF0000u), 76);   // red
    EXPECT_EQ(LumaOfWord(0x0000FF00u), 149);  // green
    EXPECT_EQ(LumaOfWord(0x000000FFu), 29);   // blue
    EXPECT_EQ(LumaOfWord(0x00FFFFFFu), 255);  // white, whatever the alpha
    EXPECT_EQ(LumaOfWord(0xFFFFFFFFu), 255);
    EXPECT_EQ(LumaOfWord(0xFF000000u), 0);    // alpha carries no weight
    // Truncation, not rounding: (9617 + 1868) * 255 / 16384 = 178.75.
    EXPECT_EQ(LumaOfWord(0x0000FFFFu), 178);
}

TEST(ChannelKnownValues, GreyToBgraIsOpaqueGrey) {
    TestImage src(3, 1, 1);
    TestImage dst(3, 1, 4);
    src.data()[0] = 0x40;
    src.data()[1] = 0x00;
    src.data()[2] = 0xFF;
    LyPixelUtils::Convert8bitTo32bitImage(src.data(), src.pitch(), dst.data(), dst.pitch(), 3, 1);
    EXPECT_EQ(WordAt(dst.pixel(0, 0)), 0xFF404040u);
    EXPECT_EQ(WordAt(dst.pixel(1, 0)), 0xFF000000u);
    EXPECT_EQ(WordAt(dst.pixel(2, 0)), 0xFFFFFFFFu);
}

TEST(ChannelKnownValues, ChannelIndexIsClamped) {
    TestImage src(5, 1, 4);
    for (int x = 0; x < 5; ++x) SetWord(src.pixel(x, 0), 0x44332211u + 0x01010101u * x);
    const struct {
        int channel;
        unsigned char first;
    } cases[] = {{-1, 0x11}, {INT32_MIN, 0x11}, {0, 0x11}, {1, 0x22}, {2, 0x33}, {3, 0x44}, {7, 0x44},
                 {INT32_MAX, 0x44}};
    for (const auto& c : cases) {
        TestImage dst(5, 1, 1);
        LyPixelUtils::Get32bitImage8bitChannel(src.data(), src.pitch(), dst.data(), dst.pitch(), 5, 1, c.channel);
        for (int x = 0; x < 5; ++x) EXPECT_EQ(dst.data()[x], c.first + x) << "channel " << c.channel;
    }
    TestImage alpha(5, 1, 1);
    LyPixelUtils::Get32bitImage8bitAlpha(src.data(), src.pitch(), alpha.data(), alpha.pitch(), 5, 1);
    EXPECT_EQ(alpha.data()[4], 0x48);
}

TEST(ChannelKnownValues, GreyKeepsAlphaAndIsStable) {
    TestImage img(4, 1, 4);
    SetWord(img.pixel(0, 0), 0x00FF0000u);  // transparent red
    SetWord(img.pixel(1, 0), 0x800000FFu);
    SetWord(img.pixel(2, 0), 0xFF123456u);
    SetWord(img.pixel(3, 0), 0x07777777u);  // already grey
    LyPixelUtils::Convert32bitToGrayImage(img.data(), img.pitch(), 4, 1);
    EXPECT_EQ(WordAt(img.pixel(0, 0)), 0x004C4C4Cu);
    EXPECT_EQ(WordAt(img.pixel(1, 0)), 0x801D1D1Du);
    EXPECT_EQ(WordAt(img.pixel(3, 0)), 0x07777777u);
    const uint32_t once = WordAt(img.pixel(2, 0));
    LyPixelUtils::Convert32bitToGrayImage(img.data(), img.pitch(), 4, 1);
    EXPECT_EQ(WordAt(img.pixel(2, 0)), once);
}

// Luma then back to 32 bits is the in-place grey with alpha forced opaque: the
// three operations must agree on every pixel, whichever kernel runs.
TEST(ChannelConsistency, LumaRoundTripMatchesGrey) {
    for (ly::Isa isa : AvailableIsas()) {
        ScopedIsa cap(isa);
        TestImage src(61, 17, 4, 3, 9, true);
        src.FillRandomWithExtremes();
        TestImage luma(61, 17, 1, 5);
        TestImage back(61, 17, 4, 11);
        LyPixelUtils::Convert32bitTo8bitImage(src.data(), src.pitch(), luma.data(), luma.pitch(), 61, 17);
        LyPixelUtils::Convert8bitTo32bitImage(luma.data(), luma.pitch(), back.data(), back.pitch(), 61, 17);
        LyPixelUtils::Convert32bitToGrayImage(src.data(), src.pitch(), 61, 17);
        for (int y = 0; y < 17; ++y)
            for (int x = 0; x < 61; ++x)
                ASSERT_EQ(WordAt(back.pixel(x, y)), WordAt(src.pixel(x, y)) | 0xFF000000u)
                    << IsaName(isa) << " " << x << "," << y;
    }
}

TEST(ChannelDifferential, Convert32bitTo8bitImage) {
    ExpectSameOnEveryIsa(4, 1, [](TestImage& s, TestImage& d) {
        LyPixelUtils::Convert32bitTo8bitImage(s.data(), s.pitch(), d.data(), d.pitch(), s.width(), s.height());
    });
}

TEST(ChannelDifferential, Convert8bitTo32bitImage) {
    ExpectSameOnEveryIsa(1, 4, [](TestImage& s, TestImage& d) {
        LyPixelUtils::Convert8bitTo32bitImage(s.data(), s.pitch(), d.data(), d.pitch(), s.width(), s.height());
    });
}

TEST(ChannelDifferential, Convert32bitToGrayImage) {
    ExpectSameOnEveryIsa(4, 0, [](TestImage& s, TestImage&) {
        LyPixelUtils::Convert32bitToGrayImage(s.data(), s.pitch(), s.width(), s.height());
    });
}

TEST(ChannelDifferential, Get32bitImage8bitChannel) {
    // The channel turns with width and alignment, so every channel meets
    // every tail length and alignment somewhere in the sweep.
    ExpectSameOnEveryIsa(4, 1, [](TestImage& s, TestImage& d) {
        const int channel = (s.width() + s.layout().alignOffset) % 4;
        LyPixelUtils::Get32bitImage8bitChannel(s.data(), s.pitch(), d.data(), d.pitch(), s.width(), s.height(),
                                               channel);
    });
}

TEST(ChannelRefusals, EmptyOrNullWritesNothing) {
    TestImage src(8, 4, 4);
    src.FillRandom();
    TestImage dst8(8, 4, 1);
    TestImage dst32(8, 4, 4);
    const auto src0 = src.Snapshot();
    const auto d80 = dst8.Snapshot();
    const auto d320 = dst32.Snapshot();
    for (auto [w, h] : std::vector<std::pair<int, int>>{{0, 4}, {8, 0}, {-1, 4}, {8, -3}, {INT32_MIN, INT32_MIN}}) {
        LyPixelUtils::Convert32bitTo8bitImage(src.data(), src.pitch(), dst8.data(), dst8.pitch(), w, h);
        LyPixelUtils::Get32bitImage8bitChannel(src.data(), src.pitch(), dst8.data(), dst8.pitch(), w, h, 1);
        LyPixelUtils::Get32bitImage8bitAlpha(src.data(), src.pitch(), dst8.data(), dst8.pitch(), w, h);
        LyPixelUtils::Convert8bitTo32bitImage(dst8.data(), dst8.pitch(), dst32.data(), dst32.pitch(), w, h);
        LyPixelUtils::Convert32bitToGrayImage(src.data(), src.pitch(), w, h);
    }
    LyPixelUtils::Convert32bitTo8bitImage(nullptr, src.pitch(), dst8.data(), dst8.pitch(), 8, 4);
    LyPixelUtils::Convert32bitTo8bitImage(src.data(), src.pitch(), nullptr, dst8.pitch(), 8, 4);
    LyPixelUtils::Get32bitImage8bitAlpha(nullptr, src.pitch(), dst8.data(), dst8.pitch(), 8, 4);
    LyPixelUtils::Convert8bitTo32bitImage(nullptr, 8, dst32.data(), dst32.pitch(), 8, 4);
    LyPixelUtils::Convert32bitToGrayImage(nullptr, src.pitch(), 8, 4);
    EXPECT_EQ(src.Snapshot(), src0);
    EXPECT_EQ(dst8.Snapshot(), d80);
    EXPECT_EQ(dst32.Snapshot(), d320);
}

// Several host threads converting at once on a shared pool: each gets its
// own result, as if it had been alone.
TEST(ChannelConcurrency, CallersDoNotMix) {
    ScopedPoolThreads pool(4);
    constexpr int kCallers = 4;
    constexpr int kW = 37, kH = 64;
    std::vector<TestImage> src, expected, out;
    for (int i = 0; i < kCallers; ++i) {
        src.emplace_back(kW, kH, 4, i, 3, i % 2 == 1);
        src.back().FillRandom();
        expected.emplace_back(kW, kH, 1);
        out.emplace_back(kW, kH, 1, i + 1);
        LyPixelUtils::Get32bitImage8bitChannel(src[i].data(), src[i].pitch(), expected[i].data(),
                                               expected[i].pitch(), kW, kH, i);
    }
    std::vector<std::thread> threads;
    for (int i = 0; i < kCallers; ++i) {
        threads.emplace_back([&, i] {
            for (int round = 0; round < 20; ++round)
                LyPixelUtils::Get32bitImage8bitChannel(src[i].data(), src[i].pitch(), out[i].data(), out[i].pitch(),
                                                       kW, kH, i);
        });
    }
    for (auto& t : threads) t.join();
    for (int i = 0; i < kCallers; ++i) EXPECT_TRUE(SameBytes(expected[i].Pixels(), out[i].Pixels())) << i;
}
