#include <cmath>

#include "LyPixelUtils.h"
#include "test_support.h"

using namespace lytest;

namespace {

// A is all 0xAA, B all 0xBB, so every destination pixel shows its source.
struct Wipe {
    TestImage a, b, pattern, dst;
    Wipe(int w, int h) : a(w, h, 4, 1, 3), b(w, h, 4, 6, 0, true), pattern(w, h, 4, 11, 9), dst(w, h, 4, 4, 2) {
        a.Fill(0xAA);
        b.Fill(0xBB);
    }
    void Run(int progress, bool withPattern) {
        LyPixelUtils::WipePatternImage(a.data(), a.pitch(), b.data(), b.pitch(),
                                       withPattern ? pattern.data() : nullptr, pattern.pitch(), dst.data(),
                                       dst.pitch(), dst.width(), dst.height(), static_cast<unsigned char>(progress));
    }
    std::string Row(int y) {  // 'A' or 'B' per pixel
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

TEST(Wipe, EdgeFollowsProgress) {
    Wipe w(100, 3);
    const std::vector<std::pair<int, int>> cases = {{0, 0}, {1, 0}, {3, 1}, {128, 50}, {254, 99}, {255, 100}};
    for (auto [progress, fromA] : cases) {
        w.Run(progress, false);
        for (int y = 0; y < 3; ++y) EXPECT_EQ(w.Row(y), Edge(fromA, 100)) << progress;
    }
}

TEST(Wipe, PatternComparesFirstByteStrictly) {
    Wipe w(22, 17);
    // Level 128 in byte 0; the other bytes disagree, so reading them would show.
    for (int y = 0; y < 17; ++y)
        for (int x = 0; x < 22; ++x) std::memcpy(w.pattern.pixel(x, y), "\x80\x00\xFF\x00", 4);
    for (auto [progress, all] : std::vector<std::pair<int, char>>{{0, 'B'}, {127, 'B'}, {128, 'A'}, {255, 'A'}}) {
        w.Run(progress, true);
        EXPECT_EQ(w.Row(16), std::string(22, all)) << progress;
    }
    // A horizontal ramp 0, 12, 24, ...: levels above 60 start at x = 6.
    for (int y = 0; y < 17; ++y)
        for (int x = 0; x < 22; ++x) w.pattern.pixel(x, y)[0] = static_cast<unsigned char>(12 * x);
    w.Run(60, true);
    for (int y = 0; y < 17; ++y) EXPECT_EQ(w.Row(y), Edge(6, 22));
}

// Random images over widths 1..67, every alignment, both pitch directions,
// pools 1, 4, 16 and every instruction set, against the definitions: the
// straight edge, and the pattern select on random patterns (sources mixed
// within a vector) and smooth ones (whole vectors from one source). Nothing
// outside the destination may change.
TEST(Wipe, EveryWidthLayoutPoolAndIsa) {
    for (int pool : PoolSizes()) {
        ScopedPoolThreads scopedPool(pool);
        for (int h : TestHeights()) {
            if (pool > 1 && h < 16) continue;  // one band whatever the pool
            for (int width : TestWidths()) {
                const auto layouts = LayoutsFor(width, h, 4);
                for (size_t li = pool > 1 ? 1 : 0; li < layouts.size(); li += pool > 1 ? 4 : 1) {
                    TestImage a(layouts[li]), b(layouts[(li + 3) % 16]), pattern(layouts[(li + 9) % 16]);
                    a.FillRandom();
                    b.FillRandom();
                    pattern.FillRandomWithExtremes();
                    if (li % 2 == 0)
                        for (int y = 0; y < h; ++y)
                            for (int x = 0; x < width; ++x)
                                pattern.pixel(x, y)[0] = static_cast<unsigned char>(x * 255 / width);
                    const auto progress = static_cast<unsigned char>(Rng()());
                    const auto wipe = [&](TestImage& dst, bool withPattern) {
                        const auto before = dst.Snapshot();
                        LyPixelUtils::WipePatternImage(a.data(), a.pitch(), b.data(), b.pitch(),
                                                       withPattern ? pattern.data() : nullptr, pattern.pitch(),
                                                       dst.data(), dst.pitch(), width, h, progress);
                        ASSERT_TRUE(dst.OutsideUnchanged(before)) << dst.Describe();
                    };

                    const int split = static_cast<int>(std::trunc(progress / 255.0 * width));
                    for (ly::Isa isa : AvailableIsas()) {
                        ScopedIsa cap(isa);
                        TestImage edge(layouts[(li + 6) % 16]), shaped(layouts[(li + 6) % 16]);
                        wipe(edge, false);
                        wipe(shaped, true);
                        for (int y = 0; y < h; ++y)
                            for (int x = 0; x < width; ++x) {
                                ASSERT_EQ(0, std::memcmp(edge.pixel(x, y), (x < split ? a : b).pixel(x, y), 4))
                                    << x << "," << y << " progress " << int(progress) << " pool " << pool;
                                const bool fromB = pattern.pixel(x, y)[0] > progress;
                                ASSERT_EQ(0, std::memcmp(shaped.pixel(x, y), (fromB ? b : a).pixel(x, y), 4))
                                    << x << "," << y << " " << IsaName(isa) << " pool " << pool;
                            }
                    }
                }
            }
        }
    }
}

TEST(Wipe, RefusalsWriteNothing) {
    Wipe w(8, 4);
    const auto before = w.dst.Snapshot();
    for (auto [width, height] : std::vector<std::pair<int, int>>{{0, 4}, {8, 0}, {-8, 4}, {8, INT32_MIN}})
        for (bool withPattern : {false, true})
            LyPixelUtils::WipePatternImage(w.a.data(), w.a.pitch(), w.b.data(), w.b.pitch(),
                                           withPattern ? w.pattern.data() : nullptr, w.pattern.pitch(), w.dst.data(),
                                           w.dst.pitch(), width, height, 128);
    LyPixelUtils::WipePatternImage(nullptr, 0, w.b.data(), w.b.pitch(), nullptr, 0, w.dst.data(), w.dst.pitch(), 8,
                                   4, 128);
    LyPixelUtils::WipePatternImage(w.a.data(), w.a.pitch(), nullptr, 0, w.pattern.data(), w.pattern.pitch(),
                                   w.dst.data(), w.dst.pitch(), 8, 4, 128);
    EXPECT_EQ(w.dst.Snapshot(), before);
}
