#include <map>

#include "LyPixelUtils.h"
#include "test_support.h"

using namespace lytest;

namespace {

constexpr ELyDeflickerQuality kQualities[] = {DeflickerQuality_Low, DeflickerQuality_Medium, DeflickerQuality_High};

int Deflicker(const TestImage& src, TestImage& dst, int q) {
    return LyPixelUtils::DefickerImage(src.data(), src.pitch(), dst.data(), dst.pitch(), src.width(), src.height(),
                                       static_cast<ELyDeflickerQuality>(q));
}

// The outer ring of pixels, which is never written.
std::vector<unsigned char> Border(TestImage& img) {
    std::vector<unsigned char> out;
    for (int y = 0; y < img.height(); ++y)
        for (int x = 0; x < img.width(); ++x)
            if (y == 0 || x == 0 || y == img.height() - 1 || x == img.width() - 1)
                out.insert(out.end(), img.pixel(x, y), img.pixel(x, y) + 4);
    return out;
}

// Black 7 x 7 image with the listed pixels white, filtered at `q`: byte 0 of
// the 5 x 5 interior, row by row (all four bytes must agree).
std::vector<int> Response(int q, const std::vector<std::pair<int, int>>& lit) {
    TestImage src(7, 7, 4), dst(7, 7, 4);
    src.Fill(0);
    for (auto [x, y] : lit) std::memset(src.pixel(x, y), 255, 4);
    EXPECT_EQ(Deflicker(src, dst, q), 1);
    std::vector<int> out;
    for (int y = 1; y < 6; ++y)
        for (int x = 1; x < 6; ++x) {
            for (int c = 1; c < 4; ++c) EXPECT_EQ(dst.pixel(x, y)[c], dst.pixel(x, y)[0]);
            out.push_back(dst.pixel(x, y)[0]);
        }
    return out;
}

std::vector<int> Rows(std::initializer_list<int> perRow) {
    std::vector<int> out;
    for (int v : perRow) out.insert(out.end(), 5, v);
    return out;
}

}  // namespace

TEST(Deflicker, KnownResponses) {
    std::vector<std::pair<int, int>> line, column;
    for (int i = 0; i < 7; ++i) {
        line.push_back({i, 3});
        column.push_back({3, i});
    }
    // 0 / 255 / 0 down a column: 31, 191, 31 at low; 63, 127, 63 at medium;
    // the binomial gives (4 * 255) >> 4 and (8 * 255) >> 4 on a full line.
    EXPECT_EQ(Response(1, line), Rows({0, 31, 191, 31, 0}));
    EXPECT_EQ(Response(2, line), Rows({0, 63, 127, 63, 0}));
    EXPECT_EQ(Response(3, line), Rows({0, 63, 127, 63, 0}));
    // The vertical filters leave a vertical line alone.
    std::vector<int> columnOut(25, 0);
    for (int y = 0; y < 5; ++y) columnOut[y * 5 + 2] = 255;
    EXPECT_EQ(Response(2, column), columnOut);
    // One lit pixel spreads as 1 2 1 / 2 4 2 / 1 2 1 sixteenths, truncated.
    const std::vector<int> impulse = {0, 0,  0,  0,  0,  //
                                      0, 15, 31, 15, 0,  //
                                      0, 31, 63, 31, 0,  //
                                      0, 15, 31, 15, 0,  //
                                      0, 0,  0,  0,  0};
    EXPECT_EQ(Response(3, {{3, 3}}), impulse);
}

// Weights sum to exactly 128 or 16: a flat image, white included (the widest
// sums), stays flat under every instruction set.
TEST(Deflicker, UniformStaysUniform) {
    for (ly::Isa isa : AvailableIsas()) {
        ScopedIsa cap(isa);
        for (int q : {1, 2, 3})
            for (int value : {0, 1, 128, 255}) {
                TestImage src(41, 9, 4, 3, 4, true), dst(41, 9, 4, 9, 1);
                src.Fill(static_cast<unsigned char>(value));
                ASSERT_EQ(Deflicker(src, dst, q), 1);
                for (int y = 1; y < 8; ++y)
                    for (int x = 4; x < 4 * 40; ++x) ASSERT_EQ(dst.row(y)[x], value) << IsaName(isa) << " q" << q;
            }
    }
}

TEST(Deflicker, RefusalsReturnZeroAndWriteNothing) {
    TestImage src(9, 9, 4), dst(9, 9, 4);
    src.FillRandom();
    const auto before = dst.Snapshot();
    for (int q : {0, 4, -1, 1000}) EXPECT_EQ(Deflicker(src, dst, q), 0) << q;
    EXPECT_EQ(LyPixelUtils::DefickerImage(nullptr, 36, dst.data(), dst.pitch(), 9, 9, DeflickerQuality_High), 0);
    EXPECT_EQ(LyPixelUtils::DefickerImage(src.data(), src.pitch(), nullptr, 36, 9, 9, DeflickerQuality_Low), 0);
    const std::vector<std::pair<int, int>> tooSmall = {{2, 9}, {9, 2}, {1, 1}, {0, 9}, {9, 0}, {-5, 9}, {INT32_MIN, 3}};
    for (auto [w, h] : tooSmall)
        for (auto q : kQualities)
            EXPECT_EQ(LyPixelUtils::DefickerImage(src.data(), src.pitch(), dst.data(), dst.pitch(), w, h, q), 0);
    EXPECT_EQ(dst.Snapshot(), before);
}

// Every instruction set against the scalar form on random data: widths 3..67
// (1 and 2 are refused), heights around the banding threshold (16 and 17 have
// fewer interior rows than a pool of 16 has workers) and over several row
// blocks, every row-start alignment, mixed pitch directions, pools 1, 4, 16,
// where the banded result must also equal the one-thread result.
TEST(Deflicker, VectorFormsMatchScalar) {
    std::map<std::tuple<int, int, size_t, int>, std::vector<unsigned char>> oneThread;
    for (int pool : PoolSizes()) {
        ScopedPoolThreads scopedPool(pool);
        for (int h : {3, 4, 15, 16, 17, 18, 35}) {
            for (int w = 3; w <= 67; ++w) {
                const auto layouts = LayoutsFor(w, h, 4);
                for (size_t li = 0; li < layouts.size(); ++li) {
                    const bool banded = h >= 16 && li % 3 == 2;  // under 16 rows: one band whatever the pool
                    if (pool > 1 && !banded) continue;
                    std::mt19937 rng(static_cast<uint32_t>(w * 131 + h * 17 + li));
                    TestImage src(layouts[li]), initial(layouts[(li + 5) % layouts.size()]);
                    src.FillRandomWithExtremes(rng);
                    initial.FillRandom(rng);
                    for (int q : {1, 2, 3}) {
                        std::vector<unsigned char> expected;
                        for (ly::Isa isa : AvailableIsas()) {
                            ScopedIsa cap(isa);
                            TestImage dst(initial.layout());
                            dst.CopyPixelsFrom(initial);
                            const auto before = dst.Snapshot();
                            ASSERT_EQ(Deflicker(src, dst, q), 1);
                            ASSERT_TRUE(dst.OutsideUnchanged(before)) << dst.Describe();
                            ASSERT_EQ(Border(dst), Border(initial)) << IsaName(isa) << " q" << q << dst.Describe();
                            if (isa == ly::Isa::Scalar) expected = dst.Pixels();
                            ASSERT_TRUE(SameBytes(expected, dst.Pixels()))
                                << IsaName(isa) << " q" << q << " pool " << pool << " src " << src.Describe();
                        }
                        if (pool == 1 && banded) oneThread[{w, h, li, q}] = expected;
                        if (pool > 1) {
                            ASSERT_TRUE(SameBytes(oneThread.at({w, h, li, q}), expected)) << "pool " << pool;
                        }
                    }
                }
            }
        }
    }
}
