// Frame rates, timecode labelling and the time strings.
// LY_TEST_LABELS: threading

#include <array>
#include <atomic>
#include <cmath>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "LyVideoUtils.h"
#include "test_support.h"

using namespace LyVideoUtils;

namespace {

using TC = std::array<unsigned char, 4>;

TC Label(ELyFrameRate rate, uint32_t frame, int dropFrame, int fieldBased) {
    TC tc{0xEE, 0xEE, 0xEE, 0xEE};
    EXPECT_EQ(GetFrameTimeCode(rate, frame, tc.data(), dropFrame, fieldBased), 1);
    return tc;
}

// A drop-frame label counted forward one frame at a time, the way a
// timecode generator does it: after the count rolls into a new minute that
// is not a multiple of ten, labels 0 and 1 are skipped.
struct DropFrameCounter {
    unsigned h = 0, m = 0, s = 0, f = 0;
    void Advance() {
        if (++f == 30) {
            f = 0;
            if (++s == 60) {
                s = 0;
                if (++m == 60) {
                    m = 0;
                    ++h;
                }
            }
        }
        if (f == 0 && s == 0 && m % 10 != 0) f = 2;
    }
    TC Bytes() const {
        return {static_cast<unsigned char>(h), static_cast<unsigned char>(m), static_cast<unsigned char>(s),
                static_cast<unsigned char>(f)};
    }
};

// The frame a drop-frame label stands for, by the usual inverse count.
uint64_t DropFrameNumber(const TC& tc) {
    const uint64_t minutes = tc[0] * 60ull + tc[1];
    return (minutes * 60 + tc[2]) * 30 + tc[3] - 2 * (minutes - minutes / 10);
}

const ELyFrameRate kAllRates[] = {FrameRate_23_98, FrameRate_24, FrameRate_25, FrameRate_29_97,
                                  FrameRate_30,    FrameRate_50, FrameRate_59_94, FrameRate_60};

}  // namespace

// ------------------------------------------------------------ drop-frame labels

TEST(DropFrame, WholeDayAt2997MatchesCounter) {
    DropFrameCounter counter;
    const uint32_t day = 24u * 107892u;
    for (uint32_t n = 0; n <= day; ++n) {
        const TC got = Label(FrameRate_29_97, n, 1, 0);
        ASSERT_EQ(got, counter.Bytes()) << "frame " << n;
        counter.Advance();
    }
}

TEST(DropFrame, WholeDayAt5994PairsShareLabels) {
    DropFrameCounter counter;
    const uint32_t day = 24u * 107892u;
    for (uint32_t k = 0; k <= day; ++k) {
        const TC expected = counter.Bytes();
        for (int fieldBased : {0, 1}) {
            ASSERT_EQ(Label(FrameRate_59_94, 2 * k, 1, fieldBased), expected) << k << " fb " << fieldBased;
            ASSERT_EQ(Label(FrameRate_59_94, 2 * k + 1, 1, fieldBased), expected) << k << " fb " << fieldBased;
        }
        counter.Advance();
    }
}

TEST(DropFrame, DocumentedLabels) {
    EXPECT_EQ(Label(FrameRate_29_97, 17982, 1, 0), (TC{0, 10, 0, 0}));
    EXPECT_EQ(Label(FrameRate_29_97, 1800, 1, 0), (TC{0, 1, 0, 2}));
    EXPECT_EQ(Label(FrameRate_29_97, 1799, 1, 0), (TC{0, 0, 59, 29}));
    EXPECT_EQ(Label(FrameRate_29_97, 3598, 1, 0), (TC{0, 2, 0, 2}));
    EXPECT_EQ(Label(FrameRate_29_97, 107892, 1, 0), (TC{1, 0, 0, 0}));
    EXPECT_EQ(Label(FrameRate_29_97, 107891, 1, 0), (TC{0, 59, 59, 29}));
}

TEST(DropFrame, AnyFrameInverseAndValidLabel) {
    // Across the whole 32-bit range hours wrap at the byte, nowhere else.
    std::uniform_int_distribution<uint32_t> any(0, std::numeric_limits<uint32_t>::max());
    std::vector<uint32_t> frames = {0, 1, 2, 17981, 17983, 107892u * 255u, 107892u * 256u - 1, 107892u * 256u,
                                    0xFFFFFFFFu, 0xFFFFFFFEu};
    for (int i = 0; i < 20000; ++i) frames.push_back(any(lytest::Rng()));
    for (uint32_t n : frames) {
        const TC tc = Label(FrameRate_29_97, n, 1, 0);
        ASSERT_LT(tc[1], 60);
        ASSERT_LT(tc[2], 60);
        ASSERT_LT(tc[3], 30);
        if (tc[2] == 0 && tc[1] % 10 != 0) {
            ASSERT_GE(tc[3], 2) << n;
        }
        const uint64_t hoursLost = (n / 107892u) / 256u * 256u;  // what the hours byte dropped
        ASSERT_EQ(DropFrameNumber(tc) + hoursLost * 107892u, n);
    }
}

TEST(DropFrame, OnlyTheValueOneSelectsDropFrame) {
    // dropFrame 2 or -1 is non-drop: frame 1800 is exactly one minute at 30.
    for (int flag : {0, 2, -1}) {
        EXPECT_EQ(Label(FrameRate_29_97, 1800, flag, 0), (TC{0, 1, 0, 0})) << flag;
        EXPECT_EQ(Label(FrameRate_29_97, 30, flag, 0), (TC{0, 0, 1, 0})) << flag;
        EXPECT_EQ(Label(FrameRate_59_94, 60, flag, 0), (TC{0, 0, 1, 0})) << flag;
    }
    // 23.98 has no drop-frame form.
    EXPECT_EQ(Label(FrameRate_23_98, 1440, 1, 0), (TC{0, 1, 0, 0}));
}

// ------------------------------------------------------------ non-drop labels

TEST(NonDrop, EveryRateCountsItsNominalFrames) {
    struct Case {
        ELyFrameRate rate;
        int fieldBased;
        uint32_t nominal;  // labels per second
        uint32_t perLabel; // frames per label
    };
    const Case cases[] = {
        {FrameRate_23_98, 0, 24, 1}, {FrameRate_24, 0, 24, 1},    {FrameRate_25, 0, 25, 1},
        {FrameRate_29_97, 0, 30, 1}, {FrameRate_30, 0, 30, 1},    {FrameRate_50, 0, 50, 1},
        {FrameRate_59_94, 0, 60, 1}, {FrameRate_60, 0, 60, 1},    {FrameRate_50, 1, 25, 2},
        {FrameRate_59_94, 1, 30, 2}, {FrameRate_60, 1, 30, 2},    {FrameRate_24, 1, 24, 1},
        {FrameRate_23_98, 1, 24, 1}, {FrameRate_25, 1, 25, 1},    {FrameRate_29_97, 1, 30, 1},
    };
    std::uniform_int_distribution<uint32_t> any(0, std::numeric_limits<uint32_t>::max());
    for (const Case& c : cases) {
        std::vector<uint32_t> frames;
        for (uint32_t n = 0; n < 20000; ++n) frames.push_back(n);
        for (int i = 0; i < 5000; ++i) frames.push_back(any(lytest::Rng()));
        frames.push_back(0xFFFFFFFFu);
        for (uint32_t n : frames) {
            const uint32_t label = n / c.perLabel;
            const uint32_t seconds = label / c.nominal;
            const TC expected = {static_cast<unsigned char>(seconds / 3600),
                                 static_cast<unsigned char>(seconds / 60 % 60),
                                 static_cast<unsigned char>(seconds % 60),
                                 static_cast<unsigned char>(label % c.nominal)};
            ASSERT_EQ(Label(c.rate, n, 0, c.fieldBased), expected)
                << "rate " << c.rate << " fb " << c.fieldBased << " frame " << n;
        }
    }
}

TEST(NonDrop, FieldBasedDropFrameAt5994HalvesBeforeLabelling) {
    // Pairs of pictures: frame 3600 is picture pair 1800, one minute and two.
    EXPECT_EQ(Label(FrameRate_59_94, 3600, 1, 1), (TC{0, 1, 0, 2}));
    EXPECT_EQ(Label(FrameRate_59_94, 3601, 1, 1), (TC{0, 1, 0, 2}));
    // At 50 and 60 drop-frame is meaningless: the field-based count is 25/30.
    EXPECT_EQ(Label(FrameRate_50, 51, 1, 1), (TC{0, 0, 1, 0}));
    EXPECT_EQ(Label(FrameRate_60, 3601, 1, 1), (TC{0, 1, 0, 0}));
}

TEST(NonDrop, RoundTripThroughTimeCode2Frame) {
    const uint32_t nominal[8] = {24, 24, 25, 30, 30, 50, 60, 60};
    for (ELyFrameRate rate : kAllRates) {
        // Below 256 hours, where the hours byte does not wrap.
        std::uniform_int_distribution<uint32_t> frames(0, 256u * 3600u * nominal[rate] - 1);
        for (int i = 0; i < 3000; ++i) {
            const uint32_t n = frames(lytest::Rng());
            TC tc = Label(rate, n, 0, 0);
            uint32_t back = 0xDEADBEEF;
            ASSERT_EQ(TimeCode2Frame(rate, tc.data(), 0, 0, back), 1);
            ASSERT_EQ(back, n) << "rate " << rate;
        }
    }
}

// ------------------------------------------------------------ strings

TEST(TimeStrings, Frame2StringSeparators) {
    std::wstring s;
    ASSERT_EQ(Frame2String(FrameRate_29_97, 1, 0, 1800, s), 1);
    EXPECT_EQ(s, L"00:01:00;02");
    ASSERT_EQ(Frame2String(FrameRate_25, 1, 0, 90000 + 25 * 61 + 7, s), 1);
    EXPECT_EQ(s, L"01:01:01:07");
    // Semicolon for any nonzero flag, numbers non-drop unless the flag is 1.
    ASSERT_EQ(Frame2String(FrameRate_29_97, 2, 0, 1800, s), 1);
    EXPECT_EQ(s, L"00:01:00;00");
    ASSERT_EQ(Frame2String(FrameRate_59_94, -5, 1, 3600, s), 1);
    EXPECT_EQ(s, L"00:01:00;00");
    ASSERT_EQ(Frame2String(FrameRate_59_94, 0, 0, 61, s), 1);
    EXPECT_EQ(s, L"00:00:01:01");
    // Hours beyond two digits print in full; the byte wraps at 256.
    ASSERT_EQ(Frame2String(FrameRate_25, 0, 0, 255u * 90000u, s), 1);
    EXPECT_EQ(s, L"255:00:00:00");
    ASSERT_EQ(Frame2String(FrameRate_25, 0, 0, 256u * 90000u + 3, s), 1);
    EXPECT_EQ(s, L"00:00:00:03");
}

TEST(TimeStrings, FrameToTimeMilliseconds) {
    std::wstring s;
    ASSERT_EQ(FrameToTime(FrameRate_24, 12, s), 1);
    EXPECT_EQ(s, L"00:00:00,500");
    // The fraction goes through float: 0.04 s becomes 39.99.. ms, truncated.
    ASSERT_EQ(FrameToTime(FrameRate_25, 1, s), 1);
    EXPECT_EQ(s, L"00:00:00,039");
    ASSERT_EQ(FrameToTime(FrameRate_25, 90000, s), 1);
    EXPECT_EQ(s, L"01:00:00,000");
    ASSERT_EQ(FrameToTime(FrameRate_50, 50u * 3600u * 100u + 25, s), 1);
    EXPECT_EQ(s, L"100:00:00,500");
    // The exact rate: 30000 frames at 29.97 take 1001 s.
    ASSERT_EQ(FrameToTime(FrameRate_29_97, 30000 * 4, s), 1);
    EXPECT_EQ(s, L"01:06:44,000");
}

TEST(TimeStrings, String2TimeCodeAcceptsPattern) {
    TC tc{9, 9, 9, 9};
    EXPECT_EQ(String2TimeCode(L"01:02:03;04", tc.data()), 1);
    EXPECT_EQ(tc, (TC{1, 2, 3, 4}));
    EXPECT_EQ(String2TimeCode(L"99:99:99:99", tc.data()), 1);
    EXPECT_EQ(tc, (TC{99, 99, 99, 99}));
    // The frames field is parsed without a digit check.
    EXPECT_EQ(String2TimeCode(L"01:02:03:7x", tc.data()), 1);
    EXPECT_EQ(tc[3], 7);
    EXPECT_EQ(String2TimeCode(L"01:02:03:x7", tc.data()), 1);
    EXPECT_EQ(tc[3], 0);
    EXPECT_EQ(String2TimeCode(L"01:02:03: 8", tc.data()), 1);
    EXPECT_EQ(tc[3], 8);
    EXPECT_EQ(String2TimeCode(L"01:02:03:-1", tc.data()), 1);
    EXPECT_EQ(tc[3], 255);
}

TEST(TimeStrings, String2TimeCodeRejections) {
    const TC untouched{7, 7, 7, 7};
    struct Case {
        const wchar_t* text;
        TC expected;  // what is left after the refusal
    };
    const Case cases[] = {
        {L"01;02:03:04", untouched},           // semicolon only allowed last
        {L"01:02;03:04", {1, 7, 7, 7}},        // first field already stored
        {L"1:02:03:04", untouched},            // ten characters
        {L"01:02:03:04 ", untouched},          // twelve characters
        {L"", untouched},
        {L"01:02:03.04", {1, 2, 7, 7}},
        {L"0x:02:03:04", untouched},
        {L"01:+2:03:04", {1, 7, 7, 7}},
        {L"01:02: 3:04", {1, 2, 7, 7}},
        {L"01:02:03:04\n", untouched},
        {L"\uFF10\uFF11:02:03:04", untouched},  // full-width digits are not decimal digits here
        {L"001:02:03:4", untouched},            // right length, separators misplaced
    };
    for (const Case& c : cases) {
        TC tc = untouched;
        EXPECT_EQ(String2TimeCode(c.text, tc.data()), 0) << std::wstring(c.text).size();
        EXPECT_EQ(tc, c.expected);
    }
    // A string with an embedded NUL still has eleven characters.
    TC tc = untouched;
    EXPECT_EQ(String2TimeCode(std::wstring(L"01:02:03:0\0", 11), tc.data()), 1);
    EXPECT_EQ(tc, (TC{1, 2, 3, 0}));
    EXPECT_EQ(String2TimeCode(L"01:02:03:04", nullptr), 0);
}

// ------------------------------------------------------------ seconds and frames

TEST(TimeArithmetic, TimeToFrame) {
    uint32_t f = 0;
    ASSERT_EQ(TimeToFrame(FrameRate_29_97, 1, 0, 0, 0, f), 1);
    EXPECT_EQ(f, 107892u);  // 107892.107892
    ASSERT_EQ(TimeToFrame(FrameRate_25, 0, 0, 0, 500, f), 1);
    EXPECT_EQ(f, 13u);  // 12.5 rounds away from zero
    ASSERT_EQ(TimeToFrame(FrameRate_25, 0, 0, 0, -500, f), 1);
    EXPECT_EQ(f, static_cast<uint32_t>(-13));
    ASSERT_EQ(TimeToFrame(FrameRate_25, -1, 0, 0, 0, f), 1);
    EXPECT_EQ(f, static_cast<uint32_t>(-90000));
    ASSERT_EQ(TimeToFrame(FrameRate_60, 2, 3, 4, 0, f), 1);
    EXPECT_EQ(f, (2u * 3600u + 3u * 60u + 4u) * 60u);
    // 596524 hours overflow 32 bits: the total wraps to -2147480896 s.
    ASSERT_EQ(TimeToFrame(FrameRate_25, 596524, 0, 0, 0, f), 1);
    EXPECT_EQ(f, 2147552448u);
    ASSERT_EQ(TimeToFrame(FrameRate_30, std::numeric_limits<int>::max(), std::numeric_limits<int>::min(),
                          std::numeric_limits<int>::max(), std::numeric_limits<int>::min(), f),
              1);  // only needs to be defined
}

TEST(TimeArithmetic, SecondsAndFrames) {
    EXPECT_EQ(SecondToFrames(-1.0f, FrameRate_25, 0), static_cast<uint32_t>(-25));
    EXPECT_EQ(SecondToFrames(0.5f, FrameRate_25, 0), 13u);
    EXPECT_EQ(SecondToFrames(-0.5f, FrameRate_25, 0), static_cast<uint32_t>(-13));
    EXPECT_EQ(SecondToFrames(1001.0f, FrameRate_29_97, 7), 30000u);
    EXPECT_EQ(SecondToFrames(0.0f, FrameRate_60, 0), 0u);
    // 0.02f is a little under 0.02, so 25 fps gives just under half a frame.
    EXPECT_EQ(SecondToFrames(0.02f, FrameRate_25, 0), 0u);
    // Beyond 64 bits and NaN have a defined answer.
    EXPECT_EQ(SecondToFrames(1e30f, FrameRate_25, 0), 0u);
    EXPECT_EQ(SecondToFrames(std::numeric_limits<float>::quiet_NaN(), FrameRate_25, 0), 0u);
    EXPECT_EQ(SecondToFrames(std::numeric_limits<float>::infinity(), FrameRate_25, 0), 0u);
    // Beyond 32 bits keeps the low half: 2^28 s at 25 fps is 6710886400.
    EXPECT_EQ(SecondToFrames(268435456.0f, FrameRate_25, 0), 6710886400u - 4294967296u);

    EXPECT_EQ(FramesToSecond(25, FrameRate_25, 0), 1.0f);
    EXPECT_EQ(FramesToSecond(30000, FrameRate_29_97, 0), 1001.0f);
    EXPECT_EQ(FramesToSecond(0xFFFFFFFFu, FrameRate_60, 0), static_cast<float>(4294967295.0 / 60.0));
}

TEST(TimeArithmetic, TimeCode2Frame) {
    uint32_t f = 0;
    TC tc{1, 0, 0, 0};
    ASSERT_EQ(TimeCode2Frame(FrameRate_29_97, tc.data(), 0, 0, f), 1);
    EXPECT_EQ(f, 108000u);  // non-drop counts 30 per second
    ASSERT_EQ(TimeCode2Frame(FrameRate_29_97, tc.data(), 1, 0, f), 1);
    EXPECT_EQ(f, 107892u);  // elapsed real time
    tc = {0, 10, 0, 0};
    ASSERT_EQ(TimeCode2Frame(FrameRate_29_97, tc.data(), 3, 0, f), 1);
    EXPECT_EQ(f, 17982u);
    // Not the inverse of the labelling: 00:01:59;29 labels frame 3597, but
    // the elapsed-time reading is round(119 * 29.97..) + 29 = 3566 + 29.
    tc = {0, 1, 59, 29};
    ASSERT_EQ(TimeCode2Frame(FrameRate_29_97, tc.data(), 1, 0, f), 1);
    EXPECT_EQ(f, 3595u);
    EXPECT_EQ(DropFrameNumber(tc), 3597u);
    // Field-based adds the frames byte again at 50, 59.94, 60 only.
    tc = {0, 0, 1, 10};
    ASSERT_EQ(TimeCode2Frame(FrameRate_59_94, tc.data(), 1, 1, f), 1);
    EXPECT_EQ(f, 80u);
    ASSERT_EQ(TimeCode2Frame(FrameRate_50, tc.data(), 1, 1, f), 1);
    EXPECT_EQ(f, 70u);
    ASSERT_EQ(TimeCode2Frame(FrameRate_29_97, tc.data(), 1, 1, f), 1);
    EXPECT_EQ(f, 40u);
    ASSERT_EQ(TimeCode2Frame(FrameRate_50, tc.data(), 0, 1, f), 1);
    EXPECT_EQ(f, 60u);  // non-drop ignores fieldBased
    // Largest timecode in 32 bits.
    tc = {255, 255, 255, 255};
    ASSERT_EQ(TimeCode2Frame(FrameRate_60, tc.data(), 0, 0, f), 1);
    EXPECT_EQ(f, (255u * 3600u + 255u * 60u + 255u) * 60u + 255u);
}

TEST(TimeArithmetic, FrameRateClass) {
    auto cls = [](uint32_t n, uint32_t d) {
        ELyFrameRate r = static_cast<ELyFrameRate>(42);
        GetFrameRateClass(n, d, r);
        return static_cast<int>(r);
    };
    EXPECT_EQ(cls(30000, 1001), 3);
    EXPECT_EQ(cls(2997, 100), 3);
    EXPECT_EQ(cls(15, 1), -1);
    EXPECT_EQ(cls(24000, 1001), 0);
    EXPECT_EQ(cls(24, 1), 1);
    EXPECT_EQ(cls(48, 2), 1);
    EXPECT_EQ(cls(25, 1), 2);
    EXPECT_EQ(cls(30, 1), 4);
    EXPECT_EQ(cls(50, 1), 5);
    EXPECT_EQ(cls(60000, 1001), 6);
    EXPECT_EQ(cls(5994, 100), 6);
    EXPECT_EQ(cls(60, 1), 7);
    EXPECT_EQ(cls(2400005, 100000), 1);   // 24.00005: inside the tolerance
    EXPECT_EQ(cls(2400011, 100000), -1);  // 24.00011: outside
    EXPECT_EQ(cls(4800019, 200000), 1);   // 24.000095
    EXPECT_EQ(cls(240000999, 10000000), 1);  // 24.0000999: just inside
    EXPECT_EQ(cls(250001001, 10000000), -1);  // 25.0001001: just outside
    EXPECT_EQ(cls(0, 1), -1);
    EXPECT_EQ(cls(0xFFFFFFFFu, 1), -1);
    EXPECT_EQ(cls(30, 0), 42);  // refused, left as it was
    EXPECT_EQ(cls(0, 0), 42);
}

TEST(TimeArithmetic, FrameRateFramesConvert) {
    EXPECT_EQ(FrameRateFramesConvert(1000, FrameRate_25, FrameRate_50), 2000u);
    EXPECT_EQ(FrameRateFramesConvert(51, FrameRate_50, FrameRate_25), 25u);
    EXPECT_EQ(FrameRateFramesConvert(24000, FrameRate_24, FrameRate_23_98), 23976u);
    // 4294967295 / 25 * 60 = 10307921508 keeps its low 32 bits.
    EXPECT_EQ(FrameRateFramesConvert(0xFFFFFFFFu, FrameRate_25, FrameRate_60),
              static_cast<uint32_t>(10307921508ull & 0xFFFFFFFFu));
    // Same rate: unchanged, even where the arithmetic would lose a frame
    // (15 frames at 29.97 through the formula truncate to 14).
    for (ELyFrameRate r : kAllRates) {
        for (uint32_t n : {0u, 15u, 30u, 65u, 121u, 0xFFFFFFFFu}) EXPECT_EQ(FrameRateFramesConvert(n, r, r), n);
    }
    EXPECT_EQ(FrameRateFramesConvert(77, static_cast<ELyFrameRate>(9), static_cast<ELyFrameRate>(9)), 77u);
    EXPECT_EQ(FrameRateFramesConvert(77, static_cast<ELyFrameRate>(8), FrameRate_25), 0u);
    EXPECT_EQ(FrameRateFramesConvert(77, FrameRate_25, FrameRate_Unknown), 0u);
}

TEST(TimeArithmetic, ConvertTrimInOut) {
    uint32_t a = 1, b = 2;
    ConvertTrimInOut(100, 200, 1000, 2000, a, b);
    EXPECT_EQ(a, 200u);
    EXPECT_EQ(b, 400u);
    ConvertTrimInOut(1, 2, 3, 3, a, b);  // 1/3*3 stays 1 in double
    EXPECT_EQ(a, 1u);
    EXPECT_EQ(b, 2u);
    ConvertTrimInOut(999, 1000, 1000, 1, a, b);  // divide first, then truncate
    EXPECT_EQ(a, 0u);
    EXPECT_EQ(b, 1u);
    ConvertTrimInOut(0xFFFFFFFFu, 5, 1, 1, a, b);
    EXPECT_EQ(a, 0xFFFFFFFFu);
    ConvertTrimInOut(10, 20, 7, 0, a, b);
    EXPECT_EQ(a, 0u);
    EXPECT_EQ(b, 0u);
    a = 11;
    b = 22;
    ConvertTrimInOut(10, 20, 0, 5, a, b);  // refused
    EXPECT_EQ(a, 11u);
    EXPECT_EQ(b, 22u);
}

// ------------------------------------------------------------ refusals

TEST(TimeRefusals, RatesOutsideTheTable) {
    for (int bad : {-1, 8, 9, 1000, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        const ELyFrameRate r = static_cast<ELyFrameRate>(bad);
        TC tc{1, 2, 3, 4};
        EXPECT_EQ(GetFrameTimeCode(r, 100, tc.data(), 1, 1), 0);
        EXPECT_EQ(tc, (TC{1, 2, 3, 4}));
        std::wstring s = L"keep";
        EXPECT_EQ(Frame2String(r, 1, 0, 100, s), 0);
        EXPECT_EQ(FrameToTime(r, 100, s), 0);
        EXPECT_EQ(s, L"keep");
        uint32_t f = 123;
        EXPECT_EQ(TimeToFrame(r, 1, 2, 3, 4, f), 0);
        EXPECT_EQ(TimeCode2Frame(r, tc.data(), 1, 1, f), 0);
        EXPECT_EQ(TimeCode2Frame(r, tc.data(), 0, 0, f), 0);
        EXPECT_EQ(f, 123u);
        EXPECT_EQ(SecondToFrames(1.0f, r, 0), 0u);
        EXPECT_EQ(FramesToSecond(100, r, 0), 0.0f);
    }
    uint32_t f = 5;
    EXPECT_EQ(GetFrameTimeCode(FrameRate_25, 1, nullptr, 0, 0), 0);
    EXPECT_EQ(TimeCode2Frame(FrameRate_25, nullptr, 0, 0, f), 0);
    EXPECT_EQ(f, 5u);
}

// ------------------------------------------------------------ callers on many threads

TEST(TimeThreads, ConcurrentCallersGetTheirOwnResults) {
    // Nothing here may keep state between calls: eight threads format and
    // parse different frames at once and each must read back its own.
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([t, &failures] {
            for (uint32_t i = 0; i < 3000; ++i) {
                const uint32_t frame = i * 37u + static_cast<uint32_t>(t) * 100003u;
                std::wstring s;
                TC tc{};
                TC back{};
                if (Frame2String(FrameRate_29_97, 1, 0, frame, s) != 1 ||
                    GetFrameTimeCode(FrameRate_29_97, frame, tc.data(), 1, 0) != 1) {
                    failures++;
                    continue;
                }
                if (String2TimeCode(s, back.data()) != 1 || back != tc) failures++;
                std::wstring clock;
                if (FrameToTime(FrameRate_25, frame, clock) != 1 || clock.size() < 12) failures++;
            }
        });
    }
    for (auto& th : threads) th.join();
    EXPECT_EQ(failures.load(), 0);
}
