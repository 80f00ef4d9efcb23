// LY_TEST_LABELS: threading

#include <cstring>
#include <functional>
#include <map>
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

using Op = std::function<void(TestImage& src, TestImage& dst)>;

// Every instruction set against the scalar form on random data: widths 1..67,
// heights 1, 2, 15, 16, 17, every row-start alignment within 16 bytes (source
// and destination misaligned differently, pitch directions mixed), pool sizes
// 1, 4 and 16, where the banded result must also equal the one-thread result.
// Nothing outside the destination image may change. dstBpp 0 means in place.
void ExpectSameOnEveryIsa(int srcBpp, int dstBpp, const Op& op) {
    std::map<std::tuple<int, int, size_t>, std::vector<unsigned char>> oneThread;
    for (int pool : PoolSizes()) {
        ScopedPoolThreads scopedPool(pool);
        for (int h : TestHeights()) {
            for (int w : TestWidths()) {
                const auto layouts = LayoutsFor(w, h, srcBpp);
                for (size_t li = 0; li < layouts.size(); ++li) {
                    // Under 16 rows there is one band whatever the pool, and
                    // banding does not care about alignment: pooled runs take
                    // every 4th layout.
                    const bool banded = h >= 16 && li % 4 == 1;
                    if (pool > 1 && !banded) continue;
                    std::mt19937 rng(static_cast<uint32_t>(w * 131 + h * 17 + li));
                    TestImage src(layouts[li]);
                    src.FillRandomWithExtremes(rng);
                    ImageLayout dstLayout = layouts[(li + 7) % layouts.size()];
                    dstLayout.bytesPerPixel = dstBpp == 0 ? srcBpp : dstBpp;
                    std::vector<unsigned char> expected;
                    for (ly::Isa isa : AvailableIsas()) {
                        ScopedIsa cap(isa);
                        TestImage work(src.layout()), dst(dstLayout);
                        work.CopyPixelsFrom(src);
                        TestImage& out = dstBpp == 0 ? work : dst;
                        const auto before = out.Snapshot();
                        op(work, dst);
                        ASSERT_TRUE(out.OutsideUnchanged(before)) << IsaName(isa) << " " << out.Describe();
                        if (isa == ly::Isa::Scalar) expected = out.Pixels();
                        ASSERT_TRUE(SameBytes(expected, out.Pixels()))
                            << IsaName(isa) << " pool " << pool << " src " << src.Describe();
                    }
                    if (pool == 1 && banded) oneThread[{w, h, li}] = expected;
                    if (pool > 1) {
                        ASSERT_TRUE(SameBytes(oneThread.at({w, h, li}), expected)) << "pool " << pool;
                    }
                }
            }
        }
    }
}

}  // namespace

TEST(Channel, KnownValues) {
    // Red, green, blue, white, opaque black, cyan (178.75 truncates), a
    // transparent red (alpha 0 must survive the in-place grey) and grey 0x40
    // (a grey keeps its level; 0x40 comes back as the word 0xFF404040).
    const uint32_t words[] = {0x00FF0000u, 0x0000FF00u, 0x000000FFu, 0xFFFFFFFFu,
                              0xFF000000u, 0x0000FFFFu, 0x00FF0000u, 0x80404040u};
    const unsigned char luma[] = {76, 149, 29, 255, 0, 178, 76, 0x40};
    TestImage src(8, 1, 4), y8(8, 1, 1), back(8, 1, 4);
    std::memcpy(src.data(), words, sizeof words);
    LyPixelUtils::Convert32bitTo8bitImage(src.data(), src.pitch(), y8.data(), y8.pitch(), 8, 1);
    LyPixelUtils::Convert8bitTo32bitImage(y8.data(), y8.pitch(), back.data(), back.pitch(), 8, 1);
    LyPixelUtils::Convert32bitToGrayImage(src.data(), src.pitch(), 8, 1);
    for (int x = 0; x < 8; ++x) {
        EXPECT_EQ(y8.data()[x], luma[x]) << x;
        EXPECT_EQ(WordAt(back.pixel(x, 0)), 0xFF000000u | luma[x] * 0x010101u) << x;
        EXPECT_EQ(WordAt(src.pixel(x, 0)), (words[x] & 0xFF000000u) | luma[x] * 0x010101u) << x;
    }
}

TEST(Channel, ChannelIndexIsClamped) {
    TestImage src(5, 1, 4), dst(5, 1, 1);
    for (int x = 0; x < 5; ++x) {
        const uint32_t word = 0x44332211u + 0x01010101u * x;  // B 0x11, G 0x22, R 0x33, A 0x44
        std::memcpy(src.pixel(x, 0), &word, 4);
    }
    for (auto [channel, first] : std::vector<std::pair<int, int>>{
             {-1, 0x11}, {INT32_MIN, 0x11}, {1, 0x22}, {2, 0x33}, {3, 0x44}, {7, 0x44}, {INT32_MAX, 0x44}}) {
        LyPixelUtils::Get32bitImage8bitChannel(src.data(), src.pitch(), dst.data(), dst.pitch(), 5, 1, channel);
        for (int x = 0; x < 5; ++x) EXPECT_EQ(dst.data()[x], first + x) << "channel " << channel;
    }
    LyPixelUtils::Get32bitImage8bitAlpha(src.data(), src.pitch(), dst.data(), dst.pitch(), 5, 1);
    EXPECT_EQ(dst.data()[4], 0x48);
}

TEST(Channel, VectorFormsMatchScalar) {
    ExpectSameOnEveryIsa(4, 1, [](TestImage& s, TestImage& d) {
        LyPixelUtils::Convert32bitTo8bitImage(s.data(), s.pitch(), d.data(), d.pitch(), s.width(), s.height());
    });
    ExpectSameOnEveryIsa(1, 4, [](TestImage& s, TestImage& d) {
        LyPixelUtils::Convert8bitTo32bitImage(s.data(), s.pitch(), d.data(), d.pitch(), s.width(), s.height());
    });
    ExpectSameOnEveryIsa(4, 0, [](TestImage& s, TestImage&) {
        LyPixelUtils::Convert32bitToGrayImage(s.data(), s.pitch(), s.width(), s.height());
    });
    // The channel turns with width and alignment, so every channel meets every
    // tail length and alignment somewhere in the sweep.
    ExpectSameOnEveryIsa(4, 1, [](TestImage& s, TestImage& d) {
        LyPixelUtils::Get32bitImage8bitChannel(s.data(), s.pitch(), d.data(), d.pitch(), s.width(), s.height(),
                                               (s.width() + s.layout().alignOffset) % 4);
    });
}

TEST(Channel, RefusalsWriteNothing) {
    TestImage src(8, 4, 4), dst8(8, 4, 1), dst32(8, 4, 4);
    src.FillRandom();
    const auto s0 = src.Snapshot(), d80 = dst8.Snapshot(), d320 = dst32.Snapshot();
    for (auto [w, h] : std::vector<std::pair<int, int>>{{0, 4}, {8, 0}, {-1, 4}, {8, -3}, {INT32_MIN, INT32_MIN}}) {
        LyPixelUtils::Convert32bitTo8bitImage(src.data(), src.pitch(), dst8.data(), dst8.pitch(), w, h);
        LyPixelUtils::Get32bitImage8bitChannel(src.data(), src.pitch(), dst8.data(), dst8.pitch(), w, h, 1);
        LyPixelUtils::Convert8bitTo32bitImage(src.data(), 8, dst32.data(), dst32.pitch(), w, h);
        LyPixelUtils::Convert32bitToGrayImage(src.data(), src.pitch(), w, h);
    }
    LyPixelUtils::Convert32bitTo8bitImage(nullptr, src.pitch(), dst8.data(), dst8.pitch(), 8, 4);
    LyPixelUtils::Get32bitImage8bitAlpha(src.data(), src.pitch(), nullptr, dst8.pitch(), 8, 4);
    LyPixelUtils::Convert8bitTo32bitImage(nullptr, 8, dst32.data(), dst32.pitch(), 8, 4);
    LyPixelUtils::Convert32bitToGrayImage(nullptr, src.pitch(), 8, 4);
    EXPECT_EQ(src.Snapshot(), s0);
    EXPECT_EQ(dst8.Snapshot(), d80);
    EXPECT_EQ(dst32.Snapshot(), d320);
}

// Host threads running the three families at once on one pool: each caller's
// result is the one it gets when alone.
TEST(ConcurrentCallers, ChannelDeflickerAndWipeShareThePool) {
    ScopedPoolThreads pool(4);
    TestImage src(45, 40, 4, 3, 7, true), other(45, 40, 4, 5);
    src.FillRandom();
    other.FillRandom();
    const std::vector<std::function<void(TestImage&)>> ops = {
        [&](TestImage& d) {
            LyPixelUtils::Get32bitImage8bitAlpha(src.data(), src.pitch(), d.data(), d.pitch(), 45, 40);
        },
        [&](TestImage& d) {
            LyPixelUtils::DefickerImage(src.data(), src.pitch(), d.data(), d.pitch(), 45, 40, DeflickerQuality_High);
        },
        [&](TestImage& d) {
            LyPixelUtils::WipePatternImage(src.data(), src.pitch(), other.data(), other.pitch(), src.data(),
                                           src.pitch(), d.data(), d.pitch(), 45, 40, 100);
        }};
    const int bpp[] = {1, 4, 4};
    std::vector<TestImage> expected, out;
    for (int i = 0; i < 3; ++i) {
        expected.emplace_back(45, 40, bpp[i]);
        out.emplace_back(45, 40, bpp[i], i + 1, 2, i == 1);
        expected[i].CopyPixelsFrom(out[i]);  // the deflicker border is never written
        ops[i](expected[i]);
    }
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i)
        threads.emplace_back([&, i] {
            for (int round = 0; round < 20; ++round) ops[i](out[i]);
        });
    for (auto& t : threads) t.join();
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(SameBytes(expected[i].Pixels(), out[i].Pixels())) << i;
}
