// LY_TEST_LABELS: threading

#include <cmath>
#include <thread>

#include "LyPixelUtils.h"
#include "test_support.h"

using namespace lytest;

namespace {

// Images A and B are filled with the constants 0xAAAAAAAA and 0xBBBBBBBB so
// that the source of every destination pixel can be read off.
struct Wipe {
    TestImage a, b, pattern, dst;
    Wipe(int w, int h) : a(w, h, 4, 1, 3), b(w, h, 4, 6, 0, true), pattern(w, h, 4, 11, 9), dst(w, h, 4, 4, 2) {
        a.Fill(0xAA);
        b.Fill(0xBB);
    }
    void Run(unsigned char progress, bool withPattern) {
        LyPixelUtils::WipePatternImage(a.data(), a.pitch(), b.data(), b.pitch(),
                                       withPattern ? pattern.data() : nullptr, pattern.pitch(), dst.data(),
                                       dst.pitch(), dst.width(), dst.height(), progress);
    }
    // 'A' or 'B' per pixel, a row string per row.
    std::string Row(int y) {
        std::string s;
        for (int x = 0; x < dst.width(); ++x) {
            const unsigned char v = dst.pixel(x, y)[0];
            s += v == 0xAA ? 'A' : v == 0xBB ? 'B' : '?';
        }
        return s;
    }
};

std::string Edge(int fromA, int width) { return std::string(fromA, 'A') + std::string(width - fromA, 'B'); }

}  // namespace

TEST(WipeEdge, SplitFollowsProgress) {
    Wipe w(100, 3);
    const struct {
        unsigned char progress;
        int fromA;
    } cases[] = {{0, 0}, {1, 0}, {3, 1}, {128, 50}, {254, 99}, {255, 100}};
    for (const auto& c : cases) {
        w.Run(c.progress, false);
        for (int y = 0; y < 3; ++y) EXPECT_EQ(w.Row(y), Edge(c.fromA, 100)) << int(c.progress);
    }
}

TEST(WipeEdge, EveryWidthLayoutAndPool) {
    // The edge position on small widths, where the split truncates to the
    // first or last pixel, and the row stepping on bottom-up and banded images.
    for (int pool : PoolSizes()) {
        ScopedPoolThreads scopedPool(pool);
        for (int h : TestHeights()) {
            if (pool > 1 && h < 16) continue;
            for (int width : TestWidths())
                for (const ImageLayout& layout : LayoutsFor(width, h, 4)) {
                    TestImage a(layout), b(width, h, 4, 7, 1, !layout.bottomUp), dst(width, h, 4, 13, 2);
                    a.FillRandom();
                    b.FillRandom();
                    const auto before = dst.Snapshot();
                    const auto progress = static_cast<unsigned char>(Rng()());
                    LyPixelUtils::WipePatternImage(a.data(), a.pitch(), b.data(), b.pitch(), nullptr, 0, dst.data(),
                                                   dst.pitch(), width, h, progress);
                    ASSERT_TRUE(dst.OutsideUnchanged(before));
                    const int split = static_cast<int>(std::trunc(progress / 255.0 * width));
                    for (int y = 0; y < h; ++y)
                        for (int x = 0; x < width; ++x)
                            ASSERT_EQ(0, std::memcmp(dst.pixel(x, y), (x < split ? a : b).pixel(x, y), 4))
                                << x << "," << y << " progress " << int(progress) << " " << a.Describe();
                }
        }
    }
}

TEST(WipePattern, StrictComparisonOnFirstByte) {
    Wipe w(21, 2);
    // Level 128 in byte 0; the other bytes disagree so that reading any of
    // them instead would show.
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 21; ++x) {
            const unsigned char px[4] = {128, 0, 255, 0};
            std::memcpy(w.pattern.pixel(x, y), px, 4);
        }
    const std::string allA(21, 'A'), allB(21, 'B');
    w.Run(127, true);
    EXPECT_EQ(w.Row(0), allB);
    w.Run(128, true);
    EXPECT_EQ(w.Row(1), allA);
    w.Run(0, true);
    EXPECT_EQ(w.Row(0), allB);
    w.Run(255, true);
    EXPECT_EQ(w.Row(1), allA);
    // Level 0 never exceeds any progress.
    w.pattern.Fill(0);
    w.Run(0, true);
    EXPECT_EQ(w.Row(0), allA);
}

TEST(WipePattern, ShapedEdge) {
    // A horizontal ramp: levels 0, 12, 24, ... so the edge moves with progress.
    Wipe w(22, 17);
    for (int y = 0; y < 17; ++y)
        for (int x = 0; x < 22; ++x) w.pattern.pixel(x, y)[0] = static_cast<unsigned char>(12 * x);
    w.Run(60, true);  // levels above 60 from x = 6
    for (int y = 0; y < 17; ++y) EXPECT_EQ(w.Row(y), Edge(6, 22));
}

// Every instruction set against the scalar form on random patterns (which
// mix the two sources within a vector) and on smooth ones (whole vectors from
// one source), at widths 1..67, every alignment, both pitch directions and
// pool sizes 1, 4, 16.
TEST(WipePattern, EveryIsaMatchesScalar) {
    for (int pool : PoolSizes()) {
        ScopedPoolThreads scopedPool(pool);
        for (int h : TestHeights()) {
            if (pool > 1 && h < 16) continue;
            for (int width : TestWidths()) {
                const auto layouts = LayoutsFor(width, h, 4);
                for (size_t li = pool > 1 ? 1 : 0; li < layouts.size(); li += pool > 1 ? 4 : 1) {
                    const ImageLayout& layout = layouts[li];
                    TestImage a(layout), b(layouts[(li + 3) % 16]), pattern(layouts[(li + 9) % 16]);
                    a.FillRandom();
                    b.FillRandom();
                    const bool smooth = li % 2 == 0;
                    if (smooth) {
                        for (int y = 0; y < h; ++y)
                            for (int x = 0; x < width; ++x)
                                pattern.pixel(x, y)[0] = static_cast<unsigned char>((x * 255) / width);
                    } else {
                        pattern.FillRandomWithExtremes();
                    }
                    const auto progress = static_cast<unsigned char>(Rng()());
                    std::vector<unsigned char> expected;
                    for (ly::Isa isa : AvailableIsas()) {
                        ScopedIsa cap(isa);
                        TestImage dst(layouts[(li + 6) % 16]);
                        const auto before = dst.Snapshot();
                        LyPixelUtils::WipePatternImage(a.data(), a.pitch(), b.data(), b.pitch(), pattern.data(),
                                                       pattern.pitch(), dst.data(), dst.pitch(), width, h, progress);
                        ASSERT_TRUE(dst.OutsideUnchanged(before)) << IsaName(isa);
                        if (isa == ly::Isa::Scalar)
                            expected = dst.Pixels();
                        else
                            ASSERT_TRUE(SameBytes(expected, dst.Pixels()))
                                << IsaName(isa) << " pool " << pool << " " << dst.Describe();
                    }
                }
            }
        }
    }
}

TEST(WipeRefusals, NothingWritten) {
    Wipe w(8, 4);
    const auto before = w.dst.Snapshot();
    for (auto [width, height] : std::vector<std::pair<int, int>>{{0, 4}, {8, 0}, {-8, 4}, {8, INT32_MIN}}) {
        LyPixelUtils::WipePatternImage(w.a.data(), w.a.pitch(), w.b.data(), w.b.pitch(), nullptr, 0, w.dst.data(),
                                       w.dst.pitch(), width, height, 128);
        LyPixelUtils::WipePatternImage(w.a.data(), w.a.pitch(), w.b.data(), w.b.pitch(), w.pattern.data(),
                                       w.pattern.pitch(), w.dst.data(), w.dst.pitch(), width, height, 128);
    }
    LyPixelUtils::WipePatternImage(nullptr, 0, w.b.data(), w.b.pitch(), nullptr, 0, w.dst.data(), w.dst.pitch(), 8,
                                   4, 128);
    LyPixelUtils::WipePatternImage(w.a.data(), w.a.pitch(), nullptr, 0, w.pattern.data(), w.pattern.pitch(),
                                   w.dst.data(), w.dst.pitch(), 8, 4, 128);
    LyPixelUtils::WipePatternImage(w.a.data(), w.a.pitch(), w.b.data(), w.b.pitch(), nullptr, 0, nullptr, 0, 8, 4,
                                   128);
    EXPECT_EQ(w.dst.Snapshot(), before);
}

TEST(WipeConcurrency, CallersDoNotMix) {
    ScopedPoolThreads pool(4);
    constexpr int kCallers = 4;
    std::vector<Wipe> wipes;
    for (int i = 0; i < kCallers; ++i) {
        wipes.emplace_back(50 + i, 33);
        wipes.back().pattern.FillRandom();
    }
    std::vector<std::thread> threads;
    for (int i = 0; i < kCallers; ++i)
        threads.emplace_back([&, i] {
            for (int round = 0; round < 20; ++round) wipes[i].Run(static_cast<unsigned char>(40 * i), i % 2 == 0);
        });
    for (auto& t : threads) t.join();
    for (int i = 0; i < kCallers; ++i) {
        Wipe& w = wipes[i];
        const int width = 50 + i;
        const auto progress = static_cast<unsigned char>(40 * i);
        for (int y = 0; y < 33; ++y) {
            std::string expected;
            for (int x = 0; x < width; ++x) {
                const bool fromB = i % 2 == 0 ? w.pattern.pixel(x, y)[0] > progress
                                              : x >= static_cast<int>(progress / 255.0 * width);
                expected += fromB ? 'B' : 'A';
            }
            ASSERT_EQ(w.Row(y), expected) << i << " row " << y;
        }
    }
}
