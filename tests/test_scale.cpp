// Placement geometry and the 32-bit resampler.
// LY_TEST_LABELS: threading

#include <sanitizer/asan_interface.h>  // the poisoning macros do nothing without AddressSanitizer

#include <algorithm>
#include <array>
#include <cfenv>
#include <cstdlib>
#include <cstring>
#include <numeric>

#include "LyVideoUtils.h"
#include "test_support.h"

namespace {

using lytest::TestImage;

// ------------------------------------------------------------------ reference resampler

struct Picture {  // packed 4-byte pixels
    int width, height;
    std::vector<unsigned char> bytes;
    unsigned char* at(int x, int y) { return bytes.data() + 4 * (size_t(y) * width + x); }
};

// One pass of the sample-centre walk as it is described: an output position
// stepping by 2n/g, an input boundary stepping by 2m/g, one division per byte.
template <class In, class Out>
void WalkPass(uint32_t n, uint32_t m, In in, Out out) {
    const int64_t g = n % m == 0 ? m : std::gcd(m, n % m);
    const int64_t inLength = 2 * int64_t{m} / g, outLength = 2 * int64_t{n} / g;
    int64_t position = -int64_t{n} / g, boundary = int64_t{m} / g, k = -1;
    for (uint32_t j = 0; j < m; ++j) {
        position += outLength;
        while (position >= boundary) {
            boundary += inLength;
            ++k;
        }
        unsigned char* o = out(j);
        if (k < 0 || k >= int64_t{n} - 1) {
            std::memcpy(o, in(k < 0 ? 0 : n - 1), 4);
            continue;
        }
        const int64_t fromLower = position - (boundary - inLength), toUpper = boundary - position;
        for (int c = 0; c < 4; ++c)
            o[c] = static_cast<unsigned char>(std::min<int64_t>(
                (int64_t{in(k + 1)[c]} * fromLower + int64_t{in(k)[c]} * toUpper) / inLength, 255));
    }
}

// Vertically into sourceWidth x destinationHeight, then horizontally.
Picture ReferenceScale(Picture src, int dw, int dh) {
    Picture mid{src.width, dh, std::vector<unsigned char>(size_t{4} * src.width * dh)};
    for (int x = 0; x < src.width; ++x)
        WalkPass(src.height, dh, [&](int64_t i) { return src.at(x, int(i)); }, [&](uint32_t j) { return mid.at(x, int(j)); });
    Picture out{dw, dh, std::vector<unsigned char>(size_t{4} * dw * dh)};
    for (int y = 0; y < dh; ++y)
        WalkPass(src.width, dw, [&](int64_t i) { return mid.at(int(i), y); }, [&](uint32_t j) { return out.at(int(j), y); });
    return out;
}

// Under AddressSanitizer, makes the bytes around a picture (32 guard bytes
// either side and the slack between rows) unreadable, or readable again, so
// that any access outside the picture's own bytes is reported.
void Poison(TestImage& image, bool on) {
    const int h = image.height();
    const size_t rowBytes = static_cast<size_t>(image.rowBytes()), stride = static_cast<size_t>(std::abs(image.pitch()));
    unsigned char* low = image.pitch() < 0 ? image.row(h - 1) : image.row(0);
    auto region = [on](unsigned char* p, size_t n) { on ? ASAN_POISON_MEMORY_REGION(p, n) : ASAN_UNPOISON_MEMORY_REGION(p, n); };
    region(low - 32, 32);
    for (int r = 0; r + 1 < h; ++r) region(low + stride * r + rowBytes, stride - rowBytes);
    region(low + stride * (h - 1) + rowBytes, 32);
}

void Scale(TestImage& dst, TestImage& src) {
    LyVideoUtils::ScaleImage4x8bits(dst.data(), dst.width(), dst.height(), static_cast<unsigned>(dst.pitch()),
                                    src.data(), src.width(), src.height(), static_cast<unsigned>(src.pitch()));
}

// ------------------------------------------------------------------ resampler

struct ScaleCase { int sw, sh, dw, dh; };

// Scales a random picture under every instruction set, source and
// destination in sweep layout `layout` (alignment, slack, pitch direction),
// and compares with the walk; nothing outside the destination's rows may
// change, and under AddressSanitizer nothing outside either picture may be
// read.
::testing::AssertionResult MatchesWalk(const ScaleCase& c, int layout) {
    TestImage src(lytest::SweepLayout(c.sw, c.sh, 4, layout, 0));
    src.FillRandomWithExtremes();
    const Picture expected = ReferenceScale({c.sw, c.sh, src.Pixels()}, c.dw, c.dh);
    if (c.sw == c.dw && c.sh == c.dh && expected.bytes != src.Pixels())
        return ::testing::AssertionFailure() << "equal sizes must copy";
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        TestImage dst(lytest::SweepLayout(c.dw, c.dh, 4, layout, 1));
        dst.FillRandom();
        const auto before = dst.Snapshot();
        Poison(src, true), Poison(dst, true);
        Scale(dst, src);
        Poison(src, false), Poison(dst, false);
        if (!dst.OutsideUnchanged(before)) return ::testing::AssertionFailure() << "wrote outside " << dst.Describe();
        auto same = lytest::SameBytes(expected.bytes, dst.Pixels());
        if (!same) return same << " " << lytest::IsaName(isa) << " " << src.Describe() << " -> " << dst.Describe();
    }
    return ::testing::AssertionSuccess();
}

// Sizes that reach every path: enlarging and shrinking by non-integer factors
// on each axis, single pixels, equal sizes, equal widths (rows go straight to
// the destination), equal heights, shrinks beyond 2:1, the three division
// regimes (16-bit multiply, float, integer), periodic and whole-row weights.
TEST(ScaleImage4x8bits, MatchesTheWalkOnEveryPath) {
    const ScaleCase cases[] = {
        {9, 7, 24, 13},     {24, 13, 9, 7},     {9, 20, 24, 6},     {30, 5, 11, 17},    {1, 1, 7, 5},
        {7, 5, 1, 1},       {1, 9, 13, 1},      {13, 1, 1, 9},      {2, 2, 67, 3},      {3, 2, 2, 3},
        {100, 3, 7, 3},     {16, 15, 16, 17},   {720, 4, 1920, 6},  {1440, 2, 1920, 3}, {1920, 3, 1280, 2},
        {576, 3, 1080, 2},  {3, 100, 3, 129},   {200, 2, 129, 2},   {3000, 2, 2999, 2}, {5000, 2, 100, 2},
        {8192, 1, 8193, 2}, {1030, 2, 1029, 3}, {4, 2, 9, 2},       {9, 2, 4, 2},       {33, 17, 33, 17},
        {1, 1, 1, 1}};
    int layout = 0;
    for (const ScaleCase& c : cases)
        for (int k = 0; k < 2; ++k) ASSERT_TRUE(MatchesWalk(c, layout++));  // alternating pitch directions and alignments
}

// Destination widths 1..67 against related source widths (including equal
// widths), heights 15/16/17, every row alignment within 16 bytes, both pitch
// directions, pool sizes 1, 4 and 16.
TEST(ScaleImage4x8bits, DifferentialOverWidthsLayoutsAndPools) {
    const std::pair<int, int> heights[] = {{15, 17}, {17, 16}, {16, 16}, {16, 15}};
    for (int pool : lytest::PoolSizes()) {
        lytest::ScopedPoolThreads threads(pool);
        for (int dw : lytest::TestWidths()) {
            const int sources[] = {1, 4, dw * 3 / 7 + 1, dw, dw + 5, 2 * dw + 3};
            for (int si = 0; si < 6; ++si) {
                const auto [sh, dh] = heights[(dw + si) % 4];
                ASSERT_TRUE(MatchesWalk({sources[si], sh, dw, dh}, dw * 5 + si)) << "pool " << pool;
            }
        }
    }
}

// Between equal neighbours the numerator is an exact multiple of the
// divisor, where an inexact division replacement comes out one low. Lines
// made constant, with four channels of 64 lines covering every byte value,
// are resampled along themselves at divisors of all three regimes (142 ->
// 141, 165 -> 164 and 210 -> 209 have float reciprocals that round low).
// Equal sizes must copy.
TEST(ScaleImage4x8bits, CopiesAndKeepsExactMultiplesExact) {
    const std::pair<int, int> sizes[] = {{3, 5},     {5, 3},     {720, 1920}, {576, 1080},  {130, 129}, {142, 141},
                                         {165, 164}, {210, 209}, {999, 998},  {1000, 4097}, {3, 8191},  {8192, 8193},
                                         {33, 33}};
    auto value = [](int line, int c) { return static_cast<unsigned char>(4 * line + c); };
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        for (const auto& [n, m] : sizes) {
            TestImage rows(n, 64, 4, 3, 5, true), cols(64, n, 4, 7, 2), wide(m, 64, 4), tall(64, m, 4, 1, 0, true);
            for (int line = 0; line < 64; ++line)
                for (int i = 0; i < n; ++i)
                    for (int c = 0; c < 4; ++c) rows.pixel(i, line)[c] = cols.pixel(line, i)[c] = value(line, c);
            Scale(wide, rows);
            Scale(tall, cols);
            for (int line = 0; line < 64; ++line)
                for (int i = 0; i < m; ++i)
                    for (int c = 0; c < 4; ++c) {
                        ASSERT_TRUE(value(line, c) == wide.pixel(i, line)[c] && value(line, c) == tall.pixel(line, i)[c])
                            << lytest::IsaName(isa) << " " << n << "->" << m;
                    }
        }
    }
}

TEST(ScaleImage4x8bits, RefusesNullZeroAndOversizedArguments) {
    TestImage src(8, 8, 4), dst(8, 8, 4);
    dst.FillRandom();
    const auto before = dst.Snapshot();
    unsigned char *d = dst.data(), *s = src.data();
    const unsigned dp = static_cast<unsigned>(dst.pitch()), sp = static_cast<unsigned>(src.pitch()), big = (1u << 28) + 1;
    LyVideoUtils::ScaleImage4x8bits(nullptr, 8, 8, dp, s, 8, 8, sp);
    LyVideoUtils::ScaleImage4x8bits(d, 8, 8, dp, nullptr, 8, 8, sp);
    for (const ScaleCase& c : {ScaleCase{0, 8, 8, 8}, ScaleCase{8, 0, 8, 8}, ScaleCase{8, 8, 0, 8}, ScaleCase{8, 8, 8, 0},
                               ScaleCase{int(big), 8, 8, 8}, ScaleCase{8, 8, int(big), 8}, ScaleCase{8, -1, 8, 8}})
        LyVideoUtils::ScaleImage4x8bits(d, unsigned(c.dw), unsigned(c.dh), dp, s, unsigned(c.sw), unsigned(c.sh), sp);
    EXPECT_EQ(before, dst.Snapshot());
}

// Every byte must be the truncating division whatever rounding mode the
// caller (or the pool thread that takes a band) runs under. Two channels
// alternate between neighbouring values (254/255, 127/128), which puts
// numerators one below a multiple of the divisor next to an input centre,
// where a division done in floating point under upward rounding comes out
// one high (3 -> 6554 did, at byte 21844); the others mix 0, 1, 127, 128,
// 254 and 255. The sizes reach every division regime on both axes, including
// vertical divisors 128..257 (16-bit multiply on 16-bit lanes) and periodic
// rows that wrap their period with a shifted multiply.
TEST(ScaleImage4x8bits, EveryRoundingModePoolSizeAndPathGivesTheWalk) {
    const ScaleCase cases[] = {{3, 4, 6554, 4}, {4, 3, 5, 6554}, {3, 6, 4096, 2}, {2, 3, 4095, 3}, {5, 2, 129, 7},
                               {16, 3, 24, 64}, {16, 3, 20, 100}, {12, 5, 9, 199}, {100, 3, 60, 2}, {1920, 2, 1152, 3},
                               {1000, 2, 4097, 2}};
    const unsigned char levels[] = {0, 1, 127, 128, 254, 255};
    const int modes[] = {FE_TONEAREST, FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO};
    for (const ScaleCase& c : cases) {
        TestImage src(c.sw, c.sh, 4, 1, 3);
        unsigned k = 0;
        for (int y = 0; y < c.sh; ++y)
            for (int x = 0; x < c.sw; ++x, ++k)
                for (int ch = 0; ch < 4; ++ch)
                    src.pixel(x, y)[ch] = ch < 2 ? static_cast<unsigned char>((ch ? 128 : 255) - (x + y) % 2)
                                                 : levels[(k * 4 + ch) * 7 % 6 ^ (k / 6 % 2)];
        const Picture expected = ReferenceScale({c.sw, c.sh, src.Pixels()}, c.dw, c.dh);
        for (int pool : lytest::PoolSizes())
            for (ly::Isa isa : lytest::AvailableIsas())
                for (int mode : modes) {
                    lytest::ScopedPoolThreads threads(pool);
                    lytest::ScopedIsa cap(isa);
                    TestImage dst(c.dw, c.dh, 4, 2, 1, true);
                    ASSERT_EQ(0, std::fesetround(mode));
                    Scale(dst, src);
                    std::fesetround(FE_TONEAREST);
                    ASSERT_TRUE(lytest::SameBytes(expected.bytes, dst.Pixels()))
                        << c.sw << "x" << c.sh << " -> " << c.dw << "x" << c.dh << " " << lytest::IsaName(isa)
                        << " pool " << pool << " mode " << mode;
                }
    }
}

TEST(ScaleImage4x8bits, ConcurrentCallersGetTheirOwnResults) {
    lytest::ScopedPoolThreads threads(4);
    TestImage small(72, 57, 4), large(192, 108, 4);
    small.FillRandom(), large.FillRandom();
    lytest::ExpectConcurrentCallersMatchSolo(
        TestImage(192, 108, 4, 1, 3), [&](TestImage& d) { Scale(d, small); },  // enlarging
        TestImage(72, 57, 4, 2, 3, true), [&](TestImage& d) { Scale(d, large); });  // shrinking
}

// ------------------------------------------------------------------ placement

::testing::AssertionResult Placed(SLyVideoScaleSourceParam s, SLyVideoScaleSourceParam d, ELyVideoScaleType type,
                                  std::array<int, 8> e) {
    SLyVideoScaleResultData r;
    std::memset(&r, 0x5A, sizeof r);
    LyVideoUtils::CalculateVideoScaleData(s, d, type, r);
    const std::array<int, 8> got = {r.srcX, r.srcY, r.srcWidth, r.srcHeight, r.dstX, r.dstY, r.dstWidth, r.dstHeight};
    return ::testing::AssertionResult(got == e) << "got " << ::testing::PrintToString(got);
}

TEST(CalculateVideoScaleData, ExamplesOddSizesAndRefusals) {
    const SLyVideoScaleSourceParam sd{720, 576, 4, 3}, hd{1920, 1080, 16, 9};
    EXPECT_TRUE(Placed(sd, hd, VideoScale_Stretch, {0, 0, 720, 576, 0, 0, 1920, 1080}));  // fit and fill: below
    EXPECT_TRUE(Placed(sd, hd, static_cast<ELyVideoScaleType>(7), {0, 0, 0, 0, 0, 0, 0, 0}));
    // 700 * 9 / 16 = 393.75 -> 394 rows, offset 65 -> 64; 1000 * (4/3) / (16/9) = 750, offset 125 -> 124.
    EXPECT_TRUE(Placed({1920, 1080, 16, 9}, {700, 525, 4, 3}, VideoScale_Fit, {0, 0, 1920, 1080, 0, 64, 700, 394}));
    EXPECT_TRUE(Placed({640, 480, 4, 3}, {1000, 563, 16, 9}, VideoScale_Fit, {0, 0, 640, 480, 124, 0, 750, 563}));
    for (const SLyVideoScaleSourceParam& bad : {SLyVideoScaleSourceParam{0, 576, 4, 3}, {720, 0, 4, 3}, {720, 576, 0, 3},
                                                {720, 576, 4, 0}}) {
        EXPECT_TRUE(Placed(bad, sd, VideoScale_Stretch, {0, 0, 0, 0, 0, 0, 0, 0}));
        EXPECT_TRUE(Placed(sd, bad, VideoScale_Fit, {0, 0, 0, 0, 0, 0, 0, 0}));
    }
}

// Broadcast frames into each other, against display geometry rather than
// pixel aspects: a picture of display aspect A fitted into a frame of aspect
// B > A uses the share A / B of the frame's width whatever either frame's
// storage; for A > B the share B / A of its height; a fill keeps that share
// of the source instead.
TEST(CalculateVideoScaleData, BroadcastFramesAgainstDisplayGeometry) {
    const int frames[][2] = {{720, 576}, {720, 480}, {1440, 1080}, {1920, 1080}, {1280, 720}};
    const int aspects[][2] = {{4, 3}, {16, 9}};
    auto even = [](double v) { return (int(v + 0.5) / 2) * 2; };
    auto centre = [](int avail, int size) { return ((avail - size) / 4) * 2; };
    for (const auto& s : frames)
        for (const auto& sa : aspects)
            for (const auto& d : frames)
                for (const auto& da : aspects) {
                    const SLyVideoScaleSourceParam sp{s[0], s[1], sa[0], sa[1]}, dp{d[0], d[1], da[0], da[1]};
                    const double a = double(sa[0]) / sa[1], b = double(da[0]) / da[1];
                    if (a == b) {
                        EXPECT_TRUE(Placed(sp, dp, VideoScale_Fit, {0, 0, s[0], s[1], 0, 0, d[0], d[1]}));
                    } else if (a < b) {
                        const int w = even(d[0] * a / b), h = even(s[1] * a / b);
                        EXPECT_TRUE(Placed(sp, dp, VideoScale_Fit, {0, 0, s[0], s[1], centre(d[0], w), 0, w, d[1]}));
                        EXPECT_TRUE(Placed(sp, dp, VideoScale_Fill, {0, centre(s[1], h), s[0], h, 0, 0, d[0], d[1]}));
                    } else {
                        const int h = even(d[1] * b / a), w = even(s[0] * b / a);
                        EXPECT_TRUE(Placed(sp, dp, VideoScale_Fit, {0, 0, s[0], s[1], 0, centre(d[1], h), d[0], h}));
                        EXPECT_TRUE(Placed(sp, dp, VideoScale_Fill, {centre(s[0], w), 0, w, s[1], 0, 0, d[0], d[1]}));
                    }
                }
}

TEST(CoordConvertFromRectToRect, MapsCentredPercentagesAndKeepsDegenerateAxes) {
    auto convert = [](PointF p, RECT from, RECT to) { return LyVideoUtils::CoordConvertFromRectToRect(p, from, to); };
    auto is = [](PointF p, float x, float y) { return p.x == x && p.y == y; };
    const RECT r{100, 500, 300, 100}, whole{0, 200, 400, 0}, leftHalf{0, 200, 200, 0};  // y grows upwards
    EXPECT_TRUE(is(convert({0, 0}, r, r), 0, 0));
    EXPECT_TRUE(is(convert({50, 50}, r, r), 50, 50));
    // The right edge of the left half is the whole's centre, and back.
    EXPECT_TRUE(is(convert({50, -50}, leftHalf, whole), 0, -50));
    EXPECT_TRUE(is(convert({-50, 50}, leftHalf, whole), -50, 50));
    EXPECT_TRUE(is(convert({0, 10}, whole, leftHalf), 50, 10));
    // A target without width (height) keeps that coordinate; the other axis still maps.
    const RECT unit{0, 100, 100, 0};
    EXPECT_TRUE(is(convert({12.5f, -7}, unit, RECT{40, 100, 40, 0}), 12.5f, -7));
    EXPECT_TRUE(is(convert({12.5f, -7}, unit, RECT{0, 30, 100, 30}), 12.5f, -7));
    EXPECT_TRUE(is(convert({12.5f, -7}, unit, RECT{0, 30, 50, 30}), 75, -7));
}

TEST(GetScaledTgtPos, FitFillPanAndRefusals) {
    auto target = [](ELyAspectConvertMode mode, int pan, uint32_t w, uint32_t h, RectF box) {
        RectF r{-1, -1, -1, -1};
        LyVideoUtils::GetScaledTgtPos(mode, pan, w, h, box, r);
        return std::array<float, 4>{r.x, r.y, r.width, r.height};
    };
    using A = std::array<float, 4>;
    const RectF square{0, 0, 100, 100}, wide{10, 20, 160, 90};
    EXPECT_EQ(A({-39, 0, 178, 100}), target(AspectConvertMode_Fill, 50, 1920, 1080, square));
    EXPECT_EQ(A({0, 21.875f, 100, 56.25f}), target(AspectConvertMode_Fit, 50, 1920, 1080, square));
    EXPECT_EQ(A({0, 0, 100, 100}), target(AspectConvertMode_Stretch, 50, 1920, 1080, square));
    EXPECT_EQ(A({0, 0, 178, 100}), target(AspectConvertMode_Fill, -20, 1920, 1080, square));   // pan clamped to 0
    EXPECT_EQ(A({-78, 0, 178, 100}), target(AspectConvertMode_Fill, 250, 1920, 1080, square));  // and to 100
    // 4:3 into 16:9: fit 120 wide and centred; fill 120 rows, panned upwards.
    EXPECT_EQ(A({30, 20, 120, 90}), target(AspectConvertMode_Fit, 0, 720, 540, wide));
    EXPECT_EQ(A({10, 20, 160, 120}), target(AspectConvertMode_Fill, 0, 720, 540, wide));
    EXPECT_EQ(A({10, 5, 160, 120}), target(AspectConvertMode_Fill, 50, 720, 540, wide));
    EXPECT_EQ(A({10, -10, 160, 120}), target(AspectConvertMode_Fill, 100, 720, 540, wide));
    EXPECT_EQ(A({10, 20, 160, 90}), target(static_cast<ELyAspectConvertMode>(9), 30, 1600, 900, wide));  // same aspect
    const A untouched{-1, -1, -1, -1};
    EXPECT_EQ(untouched, target(static_cast<ELyAspectConvertMode>(3), 0, 1920, 1080, square));
    EXPECT_EQ(untouched, target(AspectConvertMode_Fill, 0, 1920, 0, square));
    EXPECT_EQ(untouched, target(AspectConvertMode_Fit, 0, 0, 1080, square));
    EXPECT_EQ(untouched, target(AspectConvertMode_Fill, 0, 1920, 1080, RectF{0, 0, 100, 0}));
    EXPECT_EQ(A({1, 2, 3, 0}), target(AspectConvertMode_Stretch, 0, 0, 0, RectF{1, 2, 3, 0}));
}

}  // namespace
