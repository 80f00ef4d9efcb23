// Frame rates, timecode labelling and the time strings.

#include <array>
#include <cmath>
#include <limits>
#include <string>
#include <tuple>

#include "LyVideoUtils.h"
#include "test_support.h"

using namespace LyVideoUtils;

namespace {

using TC = std::array<unsigned char, 4>;

TC Label(int rate, uint32_t frame, int dropFrame, int fieldBased) {
    TC tc{0xEE, 0xEE, 0xEE, 0xEE};
    EXPECT_EQ(GetFrameTimeCode(ELyFrameRate(rate), frame, tc.data(), dropFrame, fieldBased), 1);
    return tc;
}

TC Make(uint32_t h, uint32_t m, uint32_t s, uint32_t f) { return {uint8_t(h), uint8_t(m), uint8_t(s), uint8_t(f)}; }

}  // namespace

TEST(Timecode, DropFrameOverWholeDays) {
    // Counted forward like a timecode generator: entering a minute that is
    // not a multiple of ten skips labels 0 and 1. 59.94 labels picture pairs.
    unsigned h = 0, m = 0, s = 0, f = 0;
    for (uint32_t n = 0; n <= 24u * 107892u; ++n) {
        ASSERT_EQ(Label(3, n, 1, 0), Make(h, m, s, f)) << n;
        for (uint32_t k : {2 * n, 2 * n + 1}) {
            ASSERT_EQ(Label(6, k, 1, 0), Make(h, m, s, f)) << k;
            ASSERT_EQ(Label(6, k, 1, 1), Make(h, m, s, f)) << k;
        }
        if (++f == 30) f = 0, ++s;
        if (s == 60) s = 0, ++m;
        if (m == 60) m = 0, ++h;
        if (f == 0 && s == 0 && m % 10 != 0) f = 2;
    }
    EXPECT_EQ(Label(3, 17982, 1, 0), Make(0, 10, 0, 0));
    EXPECT_EQ(Label(3, 107892, 1, 0), Make(1, 0, 0, 0));
    EXPECT_EQ(Label(3, 107892u * 256u + 1800, 1, 0), Make(0, 1, 0, 2));  // hours wrap at the byte only
}

TEST(Timecode, NonDropCountsNominalFramesAtEveryRate) {
    // {rate, fieldBased, dropFrame, labels per second, frames per label}
    const uint32_t cases[][5] = {{0, 0, 1, 24, 1}, {1, 0, 0, 24, 1}, {2, 0, 1, 25, 1}, {3, 0, 0, 30, 1},
                                 {3, 1, 2, 30, 1}, {4, 0, 1, 30, 1}, {5, 0, 0, 50, 1}, {6, 0, 2, 60, 1},
                                 {7, 0, 1, 60, 1}, {5, 1, 1, 25, 2}, {6, 1, 0, 30, 2}, {7, 1, 1, 30, 2}};
    std::uniform_int_distribution<uint32_t> any;
    for (const auto& c : cases) {
        for (uint32_t i = 0; i < 30000; ++i) {
            const uint32_t n = i < 20000 ? i : (i == 20000 ? 0xFFFFFFFFu : any(lytest::Rng()));
            const uint32_t label = n / c[4], sec = label / c[3];
            TC want = Make(sec / 3600, sec / 60 % 60, sec % 60, label % c[3]);
            ASSERT_EQ(Label(c[0], n, c[2], c[1]), want) << c[0] << " fb " << c[1] << " n " << n;
            uint32_t back = 0;  // the non-drop reading inverts it below 256 hours
            if (c[1] || n >= 255u * 3600u * c[3]) continue;
            ASSERT_EQ(TimeCode2Frame(ELyFrameRate(c[0]), want.data(), 0, 0, back), 1);
            ASSERT_EQ(back, n);
        }
    }
}

TEST(Timecode, Strings) {
    std::wstring s;
    EXPECT_EQ(Frame2String(FrameRate_29_97, 1, 0, 1800, s) + 1, 2);
    EXPECT_EQ(s, L"00:01:00;02");
    EXPECT_EQ(Frame2String(FrameRate_25, 1, 0, 90000 + 25 * 61 + 7, s) + 1, 2);
    EXPECT_EQ(s, L"01:01:01:07");  // colons at 25 whatever the flag
    EXPECT_EQ(Frame2String(FrameRate_59_94, 2, 1, 3600, s) + 1, 2);
    EXPECT_EQ(s, L"00:01:00;00");  // a semicolon over non-drop numbers
    EXPECT_EQ(FrameToTime(FrameRate_25, 1, s) + 1, 2);
    EXPECT_EQ(s, L"00:00:00,039");  // the fraction passes through float: 39.99.. ms
    EXPECT_EQ(FrameToTime(FrameRate_50, 18000025, s) + 1, 2);
    EXPECT_EQ(s, L"100:00:00,500");

    // {text, result, bytes afterwards starting from 7,7,7,7}
    const std::tuple<std::wstring, int, TC> parse[] = {
        {L"01:02:03;04", 1, {1, 2, 3, 4}},
        {L"99:99:99:99", 1, {99, 99, 99, 99}},
        {L"01:02:03:x7", 1, {1, 2, 3, 0}},
        {L"01:02:03:-1", 1, {1, 2, 3, 255}},  // frames: no digit test
        {L"01;02:03:04", 0, {7, 7, 7, 7}},
        {L"01:02;03:04", 0, {1, 7, 7, 7}},  // earlier bytes stay stored
        {L"01:02:03.04", 0, {1, 2, 7, 7}},
        {L"01:+2:03:04", 0, {1, 7, 7, 7}},
        {L"1:02:03:04", 0, {7, 7, 7, 7}},
        {L"01:02:03:04 ", 0, {7, 7, 7, 7}},
        {L"\uFF10\uFF11:02:03:04", 0, {7, 7, 7, 7}},  // full-width digits are not decimal digits here
    };
    for (const auto& [text, result, bytes] : parse) {
        TC tc{7, 7, 7, 7};
        EXPECT_EQ(String2TimeCode(text, tc.data()), result) << text.size();
        EXPECT_EQ(tc, bytes) << text.size();
    }
    EXPECT_EQ(String2TimeCode(L"01:02:03:04", nullptr), 0);
}

TEST(Timecode, Arithmetic) {
    uint32_t f = 0;
    const int imax = std::numeric_limits<int>::max(), imin = std::numeric_limits<int>::min();
    // {rate, h, m, s, ms} -> frame
    const std::pair<std::array<int, 5>, uint32_t> times[] = {
        {{3, 1, 0, 0, 0}, 107892u},          {{2, 0, 0, 0, 500}, 13u},             // 12.5 rounds away from zero
        {{2, 0, 0, 0, -500}, uint32_t(-13)}, {{2, 596524, 0, 0, 0}, 2147552448u},  // seconds wrap in 32 bits
        {{4, imax, imin, imax, imin}, 0},                                          // only needs to be defined
    };
    for (const auto& [a, want] : times) {
        ASSERT_EQ(TimeToFrame(ELyFrameRate(a[0]), a[1], a[2], a[3], a[4], f), 1);
        if (a[1] != imax) {
            EXPECT_EQ(f, want);
        }
    }
    EXPECT_EQ(SecondToFrames(-1.0f, FrameRate_25, 0), uint32_t(-25));
    EXPECT_EQ(SecondToFrames(0.02f, FrameRate_25, 0), 0u);                              // 0.02f is just under 0.02
    EXPECT_EQ(SecondToFrames(268435456.0f, FrameRate_25, 0), uint32_t(6710886400ull));  // low 32 bits
    EXPECT_EQ(SecondToFrames(1e30f, FrameRate_25, 0) + SecondToFrames(NAN, FrameRate_25, 0), 0u);

    // {rate, dropFrame, fieldBased, h, m, s, f, frame}
    const uint32_t reads[][8] = {
        {3, 0, 0, 1, 0, 0, 0, 108000}, {3, 3, 0, 1, 0, 0, 0, 107892},
        {3, 1, 0, 0, 1, 59, 29, 3595},  // elapsed time, not the labelled frame 3597
        {6, 1, 1, 0, 0, 1, 10, 80},    {3, 1, 1, 0, 0, 1, 10, 40},
        {5, 0, 1, 0, 0, 1, 10, 60},
    };
    for (const auto& r : reads) {
        TC tc = Make(r[3], r[4], r[5], r[6]);
        ASSERT_EQ(TimeCode2Frame(ELyFrameRate(r[0]), tc.data(), int(r[1]), int(r[2]), f), 1);
        EXPECT_EQ(f, r[7]) << r[0] << " " << r[3] << ":" << r[4] << ":" << r[5] << ":" << r[6];
    }

    const std::array<uint32_t, 3> classes[] = {
        {30000, 1001, 3},
        {2997, 100, 3},
        {15, 1, uint32_t(-1)},
        {24000, 1001, 0},
        {48, 2, 1},
        {5994, 100, 6},
        {60, 1, 7},
        {240000999, 10000000, 1},
        {250001001, 10000000, uint32_t(-1)},  // just inside, just outside
        {30, 0, 42},                          // refused
    };
    for (const auto& c : classes) {
        ELyFrameRate r = ELyFrameRate(42);
        GetFrameRateClass(c[0], c[1], r);
        EXPECT_EQ(uint32_t(r), c[2]) << c[0] << "/" << c[1];
    }
    EXPECT_EQ(FrameRateFramesConvert(24000, FrameRate_24, FrameRate_23_98), 23976u);
    EXPECT_EQ(FrameRateFramesConvert(15, FrameRate_29_97, FrameRate_29_97), 15u);  // the formula would give 14
    uint32_t a = 11, b = 22;
    ConvertTrimInOut(10, 20, 0, 5, a, b);  // refused
    EXPECT_EQ(a + b, 33u);
    ConvertTrimInOut(999, 1000, 1000, 1, a, b);  // divide first, then truncate
    EXPECT_EQ(a * 10 + b, 1u);
}

TEST(Timecode, RatesOutsideTheTableAreRefused) {
    for (int bad : {-1, 8, std::numeric_limits<int>::min()}) {
        const ELyFrameRate r = ELyFrameRate(bad);
        TC tc{1, 2, 3, 4};
        std::wstring s = L"keep";
        uint32_t f = 123;
        EXPECT_EQ(GetFrameTimeCode(r, 100, tc.data(), 1, 1) + Frame2String(r, 1, 0, 100, s) + FrameToTime(r, 100, s) +
                      TimeToFrame(r, 1, 2, 3, 4, f) + TimeCode2Frame(r, tc.data(), 1, 1, f) +
                      TimeCode2Frame(r, tc.data(), 0, 0, f) + int(SecondToFrames(1.0f, r, 0)) +
                      int(FramesToSecond(100, r, 0)) + int(FrameRateFramesConvert(7, r, FrameRate_25)),
                  0);
        EXPECT_EQ(tc, Make(1, 2, 3, 4));
        EXPECT_EQ(s + std::to_wstring(f), L"keep123");
    }
    EXPECT_EQ(FrameRateFramesConvert(77, ELyFrameRate(9), ELyFrameRate(9)), 77u);  // nothing looked up
}
