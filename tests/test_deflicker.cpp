// LY_TEST_LABELS: threading

#include <thread>

#include "LyPixelUtils.h"
#include "test_support.h"

using namespace lytest;

namespace {

constexpr ELyDeflickerQuality kQualities[] = {DeflickerQuality_Low, DeflickerQuality_Medium, DeflickerQuality_High};

int Deflicker(const TestImage& src, TestImage& dst, ELyDeflickerQuality q) {
    return LyPixelUtils::DefickerImage(src.data(), src.pitch(), dst.data(), dst.pitch(), src.width(), src.height(),
                                       q);
}

// The outer ring of pixels, which the filter must never write.
std::vector<unsigned char> Border(TestImage& img) {
    std::vector<unsigned char> out;
    for (int y = 0; y < img.height(); ++y)
        for (int x = 0; x < img.width(); ++x)
            if (y == 0 || x == 0 || y == img.height() - 1 || x == img.width() - 1)
                out.insert(out.end(), img.pixel(x, y), img.pixel(x, y) + 4);
    return out;
}

// 7 x 7 black image with the given pixels set to 255 in every byte, filtered
// at `q`; returns the byte-0 values of the 5 x 5 interior.
std::vector<int> Response(ELyDeflickerQuality q, std::initializer_list<std::pair<int, int>> lit) {
    TestImage src(7, 7, 4);
    TestImage dst(7, 7, 4);
    src.Fill(0);
    for (auto [x, y] : lit) std::memset(src.pixel(x, y), 255, 4);
    EXPECT_EQ(Deflicker(src, dst, q), 1);
    std::vector<int> out;
    for (int y = 1; y < 6; ++y)
        for (int x = 1; x < 6; ++x) {
            for (int c = 1; c < 4; ++c) EXPECT_EQ(dst.pixel(x, y)[c], dst.pixel(x, y)[0]) << "channels differ";
            out.push_back(dst.pixel(x, y)[0]);
        }
    return out;
}

}  // namespace

TEST(DeflickerKnownValues, HorizontalLine) {
    std::initializer_list<std::pair<int, int>> line = {{0, 3}, {1, 3}, {2, 3}, {3, 3}, {4, 3}, {5, 3}, {6, 3}};
    // Rows 1..5 of the interior; the line is on image row 3.
    const std::vector<int> low = Response(DeflickerQuality_Low, line);
    const std::vector<int> medium = Response(DeflickerQuality_Medium, line);
    const std::vector<int> high = Response(DeflickerQuality_High, line);
    const int lowRows[] = {0, 31, 191, 31, 0};
    const int mediumRows[] = {0, 63, 127, 63, 0};
    const int highRows[] = {0, 63, 127, 63, 0};  // (4 * 255) >> 4, (8 * 255) >> 4
    for (int r = 0; r < 5; ++r)
        for (int x = 0; x < 5; ++x) {
            EXPECT_EQ(low[r * 5 + x], lowRows[r]) << r << "," << x;
            EXPECT_EQ(medium[r * 5 + x], mediumRows[r]) << r << "," << x;
            EXPECT_EQ(high[r * 5 + x], highRows[r]) << r << "," << x;
        }
}

TEST(DeflickerKnownValues, VerticalQualitiesIgnoreNeighbourColumns) {
    // A vertical line only changes the column it is in.
    const std::vector<int> v =
        Response(DeflickerQuality_Medium, {{3, 0}, {3, 1}, {3, 2}, {3, 3}, {3, 4}, {3, 5}, {3, 6}});
    for (int r = 0; r < 5; ++r)
        for (int x = 0; x < 5; ++x) EXPECT_EQ(v[r * 5 + x], x == 2 ? 255 : 0);
}

TEST(DeflickerKnownValues, HighQualityImpulseIsBinomial) {
    // One lit pixel spreads as 1 2 1 / 2 4 2 / 1 2 1 sixteenths of 255, truncated.
    const std::vector<int> v = Response(DeflickerQuality_High, {{3, 3}});
    const int expected[25] = {0, 0,  0,  0,  0,  //
                              0, 15, 31, 15, 0,  //
                              0, 31, 63, 31, 0,  //
                              0, 15, 31, 15, 0,  //
                              0, 0,  0,  0,  0};
    for (int i = 0; i < 25; ++i) EXPECT_EQ(v[i], expected[i]) << i;
}

TEST(DeflickerKnownValues, UniformStaysUniformAndBorderIsKept) {
    for (ly::Isa isa : AvailableIsas()) {
        ScopedIsa cap(isa);
        for (auto q : kQualities)
            for (int value : {0, 1, 127, 128, 255}) {
                TestImage src(41, 9, 4, 3, 4, true);
                TestImage dst(41, 9, 4, 9, 1);
                src.Fill(static_cast<unsigned char>(value));
                dst.FillRandom();
                const auto border = Border(dst);
                const auto before = dst.Snapshot();
                ASSERT_EQ(Deflicker(src, dst, q), 1);
                EXPECT_TRUE(dst.OutsideUnchanged(before));
                EXPECT_EQ(Border(dst), border);
                for (int y = 1; y < 8; ++y)
                    for (int x = 4; x < 4 * 40; ++x)
                        ASSERT_EQ(dst.row(y)[x], value) << IsaName(isa) << " q" << q << " " << x << "," << y;
            }
    }
}

TEST(DeflickerRefusals, BadArgumentsReturnZeroAndWriteNothing) {
    TestImage src(9, 9, 4);
    src.FillRandom();
    TestImage dst(9, 9, 4);
    const auto before = dst.Snapshot();
    const auto check = [&](int result, const char* what) {
        EXPECT_EQ(result, 0) << what;
        EXPECT_EQ(dst.Snapshot(), before) << what;
    };
    for (int q : {0, 4, -1, 1000}) check(Deflicker(src, dst, static_cast<ELyDeflickerQuality>(q)), "quality");
    check(LyPixelUtils::DefickerImage(nullptr, src.pitch(), dst.data(), dst.pitch(), 9, 9, DeflickerQuality_High),
          "null source");
    check(LyPixelUtils::DefickerImage(src.data(), src.pitch(), nullptr, dst.pitch(), 9, 9, DeflickerQuality_Low),
          "null destination");
    const std::vector<std::pair<int, int>> tooSmall = {{2, 9}, {9, 2}, {1, 1}, {0, 9}, {9, 0}, {-5, 9}, {INT32_MIN, 3}};
    for (auto [w, h] : tooSmall)
        for (auto q : kQualities)
            check(LyPixelUtils::DefickerImage(src.data(), src.pitch(), dst.data(), dst.pitch(), w, h, q), "size");
}

// Every instruction set against the scalar form on random data: widths 3..67
// (1 and 2 are refused), heights around the banding threshold (16 and 17
// leave 14 and 15 interior rows, fewer than 16 workers), every row-start
// alignment within 16 bytes, mixed pitch directions, pool sizes 1, 4, 16.
TEST(DeflickerDifferential, EveryIsaMatchesScalar) {
    for (int pool : PoolSizes()) {
        ScopedPoolThreads scopedPool(pool);
        for (int h : {3, 4, 15, 16, 17, 18, 35}) {
            if (pool > 1 && h < 16) continue;  // one band whatever the pool
            for (int w = 3; w <= 67; ++w) {
                const auto layouts = LayoutsFor(w, h, 4);
                for (size_t li = pool > 1 ? 2 : 0; li < layouts.size(); li += pool > 1 ? 3 : 1) {
                    TestImage src(layouts[li]);
                    src.FillRandomWithExtremes();
                    TestImage initial(layouts[(li + 5) % layouts.size()]);
                    initial.FillRandom();
                    for (auto q : kQualities) {
                        std::vector<unsigned char> expected;
                        for (ly::Isa isa : AvailableIsas()) {
                            ScopedIsa cap(isa);
                            TestImage dst(initial.layout());
                            dst.CopyPixelsFrom(initial);
                            const auto border = Border(dst);
                            const auto before = dst.Snapshot();
                            ASSERT_EQ(Deflicker(src, dst, q), 1);
                            ASSERT_TRUE(dst.OutsideUnchanged(before)) << dst.Describe();
                            ASSERT_EQ(Border(dst), border) << IsaName(isa) << " q" << q << " " << dst.Describe();
                            if (isa == ly::Isa::Scalar) {
                                expected = dst.Pixels();
                            } else {
                                ASSERT_TRUE(SameBytes(expected, dst.Pixels()))
                                    << IsaName(isa) << " q" << q << " pool " << pool << " src " << src.Describe();
                            }
                        }
                    }
                }
            }
        }
    }
}

TEST(DeflickerConcurrency, CallersDoNotMix) {
    ScopedPoolThreads pool(4);
    constexpr int kCallers = 3;
    std::vector<TestImage> src, expected, out;
    for (int i = 0; i < kCallers; ++i) {
        src.emplace_back(45, 40 + i, 4, i, 7, i == 1);
        src.back().FillRandom();
        expected.emplace_back(45, 40 + i, 4);
        out.emplace_back(45, 40 + i, 4, 3 * i, 1, i == 2);
        Deflicker(src[i], expected[i], kQualities[i]);
    }
    std::vector<std::thread> threads;
    for (int i = 0; i < kCallers; ++i)
        threads.emplace_back([&, i] {
            for (int round = 0; round < 20; ++round) Deflicker(src[i], out[i], kQualities[i]);
        });
    for (auto& t : threads) t.join();
    // Compare the interiors only; the borders were never written on either side.
    for (int i = 0; i < kCallers; ++i)
        for (int y = 1; y < out[i].height() - 1; ++y)
            ASSERT_EQ(0, std::memcmp(expected[i].pixel(1, y), out[i].pixel(1, y), 4 * 43)) << i << " row " << y;
}
