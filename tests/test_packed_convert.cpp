// LY_TEST_LABELS: threading
#include <cfenv>
#include <cmath>
#include <functional>

#include "LyAVUtils.h"
#include "format/LyColorTables.h"
#include "format/LyPackedKernels.h"
#include "test_support.h"

using lytest::TestImage;
namespace packed = ly::packed;

namespace {

constexpr ELyColorimetry kColorimetries[] = {Colorimetry_BT601, Colorimetry_BT709};
constexpr unsigned char kDepths[] = {8, 16};

std::vector<unsigned char> ToUyvy(const std::vector<unsigned char>& bgra, ELyColorimetry cs, unsigned char depth,
                                  unsigned char fill = 0xEE) {
    const int w = static_cast<int>(bgra.size() / 4);
    std::vector<unsigned char> out(static_cast<size_t>(w) * (depth == 16 ? 4 : 2), fill);
    EXPECT_EQ(LyFormatUtils::BGRA4444ToUYVY422(bgra.data(), w * 4, out.data(), 0, depth, cs, w, 1), 1);
    return out;
}

std::vector<unsigned char> UyvyToBgra(const std::vector<unsigned char>& uyvy, ELyColorimetry cs,
                                      unsigned char depth, int w) {
    std::vector<unsigned char> out(static_cast<size_t>(w) * 4, 0xEE);
    EXPECT_EQ(LyFormatUtils::UYVY422ToBGRA4444(uyvy.data(), 0, depth, cs, out.data(), 0, w, 1), 1);
    return out;
}

uint16_t Sample16(const std::vector<unsigned char>& v, size_t i) {
    return static_cast<uint16_t>(v[2 * i] | (v[2 * i + 1] << 8));
}

}  // namespace

// ============================================================ vector forms agree with the scalar form

// Every converter at each colorimetry and depth it takes, through the shared
// sweep (source, destination and alpha plane each at its own layout).
TEST(PackedConvert, EveryFormAgreesWithScalar) {
    using Convert = std::function<int(const TestImage& s, TestImage& d, TestImage* a)>;
    struct Form { std::string name; int srcBpp, dstBpp; bool alpha; Convert convert; };
    std::vector<Form> forms;
    for (auto depth : kDepths) {
        const int pb = depth == 16 ? 4 : 2;
        const std::string at = " depth " + std::to_string(depth);
        for (auto cs : kColorimetries) {
            const std::string as = at + " colorimetry " + std::to_string(cs);
            forms.push_back({"BGRA->UYVY" + as, 4, pb, false, [=](const TestImage& s, TestImage& d, TestImage*) {
                return LyFormatUtils::BGRA4444ToUYVY422(s.data(), s.pitch(), d.data(), d.pitch(), depth, cs,
                                                        s.width(), s.height());
            }});
            forms.push_back({"UYVY->BGRA" + as, pb, 4, false, [=](const TestImage& s, TestImage& d, TestImage*) {
                return LyFormatUtils::UYVY422ToBGRA4444(s.data(), s.pitch(), depth, cs, d.data(), d.pitch(),
                                                        s.width(), s.height());
            }});
            forms.push_back({"BGRA->YUYVA" + as, 4, pb, true, [=](const TestImage& s, TestImage& d, TestImage* a) {
                return LyFormatUtils::BGRA4444ToYUYVA422(s.data(), s.pitch(), d.data(), d.pitch(), a->data(),
                                                         a->pitch(), depth, cs, s.width(), s.height());
            }});
            if (depth != 8) continue;  // the 4:4:4 pair has no 4:2:2 side
            forms.push_back({"BGRA->VUYA" + as, 4, 4, false, [=](const TestImage& s, TestImage& d, TestImage*) {
                return LyFormatUtils::BGRA4444ToVUYA4444(s.data(), s.pitch(), d.data(), d.pitch(), 8, cs, s.width(),
                                                         s.height());
            }});
            forms.push_back({"VUYA->BGRA" + as, 4, 4, false, [=](const TestImage& s, TestImage& d, TestImage*) {
                return LyFormatUtils::VUYA4444ToBGRA4444(s.data(), s.pitch(), d.data(), d.pitch(), 8, cs, s.width(),
                                                         s.height());
            }});
        }
        forms.push_back({"UYVY->VUYA" + at, pb, 4, false, [=](const TestImage& s, TestImage& d, TestImage*) {
            return LyFormatUtils::UYVY422ToVUYA4444(s.data(), s.pitch(), depth, d.data(), d.pitch(), s.width(),
                                                    s.height(), 7);
        }});
        forms.push_back({"VUYA->UYVY" + at, 4, pb, false, [=](const TestImage& s, TestImage& d, TestImage*) {
            return LyFormatUtils::VUYA4444ToUYVY422(s.data(), s.pitch(), d.data(), d.pitch(), depth, s.width(),
                                                    s.height());
        }});
        forms.push_back({"VUYA->YUYVA" + at, 4, pb, true, [=](const TestImage& s, TestImage& d, TestImage* a) {
            return LyFormatUtils::VUYA4444ToYUYVA422(s.data(), s.pitch(), d.data(), d.pitch(), a->data(), a->pitch(),
                                                     depth, s.width(), s.height());
        }});
    }
    for (const Form& f : forms) {
        SCOPED_TRACE(f.name);
        lytest::ExpectAllPathsAgree(
            [&](int w, int h, int l) {
                std::vector<lytest::SweepPlane> planes{{lytest::SweepLayout(w, h, f.srcBpp, l, 0), false},
                                                       {lytest::SweepLayout(w, h, f.dstBpp, l, 1), true}};
                if (f.alpha) planes.push_back({lytest::SweepLayout(w, h, 2, l, 2), true});
                return planes;
            },
            [&](lytest::SweepImages& im) {
                ASSERT_EQ(f.convert(*im[0], *im[1], f.alpha ? im[2].get() : nullptr), 1);
            });
    }
}

// The vector forms use integer arithmetic only: the caller's rounding mode
// must not change a byte.
TEST(PackedConvert, NonDefaultRoundingModeGivesTheSameBytes) {
    TestImage src(67, 3, 4, 3);
    src.FillRandomWithExtremes();
    auto convert = [&] {  // the UYVY bytes, then the BGRA bytes read back from them
        std::vector<unsigned char> out(67 * 3 * 6);
        LyFormatUtils::BGRA4444ToUYVY422(src.data(), src.pitch(), out.data(), 134, 8, Colorimetry_BT709, 67, 3);
        LyFormatUtils::UYVY422ToBGRA4444(out.data(), 134, 8, Colorimetry_BT709, out.data() + 67 * 3 * 2, 268, 67, 3);
        return out;
    };
    std::vector<unsigned char> ref;
    {
        lytest::ScopedIsa scalar(ly::Isa::Scalar);
        ref = convert();
    }
    const int previous = std::fegetround();
    for (int mode : {FE_TOWARDZERO, FE_UPWARD, FE_DOWNWARD}) {
        ASSERT_EQ(std::fesetround(mode), 0);
        const auto out = convert();
        std::fesetround(previous);
        EXPECT_TRUE(lytest::SameBytes(ref, out)) << "mode " << mode;
    }
}

// ============================================================ known values

TEST(PackedConvert, WhiteBlackAndPrimariesThroughEveryConverter) {
    struct Known { ELyColorimetry cs; unsigned char r, g, b, y, u, v; };  // y, u, v: what the fixed-point tables give
    // Luma floors the sum of rounded terms, so it can sit one below the
    // double-precision single-colour result (green: 144, not 145).
    const Known known[] = {
        {Colorimetry_BT601, 255, 255, 255, 235, 128, 128}, {Colorimetry_BT601, 0, 0, 0, 16, 128, 128},
        {Colorimetry_BT601, 255, 0, 0, 81, 90, 240},       {Colorimetry_BT601, 0, 255, 0, 144, 53, 34},
        {Colorimetry_BT601, 0, 0, 255, 40, 240, 109},      {Colorimetry_BT709, 255, 255, 255, 235, 128, 128},
        {Colorimetry_BT709, 0, 0, 0, 16, 128, 128},        {Colorimetry_BT709, 255, 0, 0, 62, 102, 240},
        {Colorimetry_BT709, 0, 255, 0, 172, 41, 26},       {Colorimetry_BT709, 0, 0, 255, 31, 240, 117},
    };
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa scoped(isa);
        for (const Known& k : known) {
            SCOPED_TRACE(testing::Message() << lytest::IsaName(isa) << " cs " << k.cs << " rgb " << int(k.r) << ","
                                            << int(k.g) << "," << int(k.b));
            // 18 equal pixels, so every form's vector blocks and tails see it.
            std::vector<unsigned char> bgra, vuya(18 * 4), backVuya(18 * 4);
            for (int i = 0; i < 18; ++i) bgra.insert(bgra.end(), {k.b, k.g, k.r, 0x5A});
            const auto uyvy = ToUyvy(bgra, k.cs, 8), uyvy16 = ToUyvy(bgra, k.cs, 16);
            LyFormatUtils::BGRA4444ToVUYA4444(bgra.data(), 0, vuya.data(), 0, 8, k.cs, 18, 1);
            const unsigned char wantUyvy[4] = {k.u, k.y, k.v, k.y};
            const unsigned char wantVuya[4] = {k.v, k.u, k.y, 0x5A};  // alpha travels through
            for (int i = 0; i < 36; ++i) {
                ASSERT_EQ(uyvy[i], wantUyvy[i % 4]) << "byte " << i;
                ASSERT_EQ(Sample16(uyvy16, i), wantUyvy[i % 4] * 4) << "sample " << i;
            }
            for (int i = 0; i < 72; ++i) ASSERT_EQ(vuya[i], wantVuya[i % 4]) << "byte " << i;
            // And back: within two steps of the input colour, alpha 255 from
            // 4:2:2 and kept from VUYA.
            const auto back = UyvyToBgra(uyvy, k.cs, 8, 18);
            EXPECT_TRUE(lytest::SameBytes(back, UyvyToBgra(uyvy16, k.cs, 16, 18)));
            LyFormatUtils::VUYA4444ToBGRA4444(vuya.data(), 0, backVuya.data(), 0, 8, k.cs, 18, 1);
            for (int i = 0; i < 72; ++i) {
                const bool alpha = i % 4 == 3;
                ASSERT_LE(std::abs(back[i] - (alpha ? 255 : bgra[i])), alpha ? 0 : 2) << "byte " << i;
                ASSERT_EQ(backVuya[i], alpha ? 0x5A : back[i]) << "byte " << i;
            }
        }
    }
}

// Out-of-range YUV (below black, above white, extreme chroma) must clamp, not
// wrap, on the way back to RGB, including where a 16-bit sum saturates.
TEST(PackedConvert, ExtremeYuvClampsToTheByteRange) {
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa scoped(isa);
        for (auto cs : kColorimetries)
            for (int corner = 0; corner < 8; ++corner) {
                const unsigned char y = (corner & 1) ? 255 : 0, u = (corner & 2) ? 255 : 0, v = (corner & 4) ? 255 : 0;
                SCOPED_TRACE(testing::Message() << lytest::IsaName(isa) << " cs " << cs << " yuv " << int(y) << ","
                                                << int(u) << "," << int(v));
                std::vector<unsigned char> uyvy, vuya, fromVuya(32 * 4);
                for (int i = 0; i < 32; ++i) vuya.insert(vuya.end(), {v, u, y, 9});
                for (int i = 0; i < 16; ++i) uyvy.insert(uyvy.end(), {u, y, v, y});
                const auto fromUyvy = UyvyToBgra(uyvy, cs, 8, 32);
                LyFormatUtils::VUYA4444ToBGRA4444(vuya.data(), 0, fromVuya.data(), 0, 8, cs, 32, 1);
                const auto& m = ly::kColorMatrices[cs].yuvToRgb;
                for (int i = 0; i < 32 * 4; ++i) {
                    const int c = i % 4, got = fromUyvy[i], row = 2 - c;  // B, G, R bytes; matrix rows R, G, B
                    const double exact = c == 3 ? 255 : m[row][0] * (y - 16) + m[row][1] * (u - 128) + m[row][2] * (v - 128);
                    if (exact > 256.0 || exact < -1.0) ASSERT_EQ(got, exact > 0 ? 255 : 0) << "channel " << c;
                    else ASSERT_LE(std::abs(got - exact), 1.5) << "channel " << c;
                    ASSERT_EQ(fromVuya[i], c == 3 ? 9 : got);
                }
            }
    }
}

TEST(PackedConvert, ChromaOfAPairAveragesRoundingUp) {
    // Two pixels whose U (and V) differ by an odd amount: the pair takes the
    // upper middle value.
    std::vector<unsigned char> vuya = {100, 50, 70, 255, 101, 53, 80, 255};
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa scoped(isa);
        std::vector<unsigned char> out(4), out16(8);
        ASSERT_EQ(LyFormatUtils::VUYA4444ToUYVY422(vuya.data(), 8, out.data(), 4, 8, 2, 1), 1);
        EXPECT_TRUE(lytest::SameBytes({52, 70, 101, 80}, out));
        ASSERT_EQ(LyFormatUtils::VUYA4444ToUYVY422(vuya.data(), 8, out16.data(), 8, 16, 2, 1), 1);
        for (int i = 0; i < 4; ++i) EXPECT_EQ(Sample16(out16, i), out[i] * 4);
    }
}

// ============================================================ relationships between converters

TEST(PackedConvert, UyvyVuyaRoundTripIsExact) {
    // UYVY -> VUYA repeats the pair's chroma, VUYA -> UYVY averages it back.
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa scoped(isa);
        for (auto depth : kDepths) {
            const int w = 66, bpp = depth == 16 ? 4 : 2;
            std::vector<unsigned char> uyvy(static_cast<size_t>(w) * bpp), vuya(w * 4), back(uyvy.size());
            lytest::FillRandom(uyvy.data(), uyvy.size());
            for (size_t i = 0; depth == 16 && i < uyvy.size(); i += 2) {  // valid samples: 8-bit values x 4
                const unsigned sample = uyvy[i] * 4u;
                uyvy[i] = static_cast<unsigned char>(sample);
                uyvy[i + 1] = static_cast<unsigned char>(sample >> 8);
            }
            ASSERT_EQ(LyFormatUtils::UYVY422ToVUYA4444(uyvy.data(), 0, depth, vuya.data(), 0, w, 1, 0), 1);
            for (int p = 0; p < w; ++p) ASSERT_EQ(vuya[4 * p + 3], 255);  // the alpha argument is not used
            ASSERT_EQ(LyFormatUtils::VUYA4444ToUYVY422(vuya.data(), 0, back.data(), 0, depth, w, 1), 1);
            EXPECT_TRUE(lytest::SameBytes(uyvy, back)) << lytest::IsaName(isa) << " depth " << int(depth);
        }
    }
}

TEST(PackedConvert, SixteenBitSamplesRoundToEightBits) {
    // U, Y0, V, Y1 samples just off multiples of 4 (true 10-bit values), and
    // samples beyond 10 bits, with the 8-bit pair they must read as.
    struct Case { uint16_t in16[4]; unsigned char as8[4]; };
    const Case cases[] = {
        {{4 * 90 + 1, 4 * 81 + 2, 4 * 240 - 1, 4 * 100 + 3}, {90, 82, 240, 101}},
        {{1023, 1022, 1021, 1020}, {255, 255, 255, 255}},
        {{0xFFFF, 0x8000, 1024, 0}, {255, 255, 255, 0}},
    };
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa scoped(isa);
        for (const Case& c : cases) {
            // Repeat the pair so vector blocks see it too.
            std::vector<unsigned char> in16(40 * 4), in8(40 * 2), a(160), b(160);
            for (int i = 0; i < 20; ++i) {
                std::memcpy(&in16[8 * i], c.in16, 8);  // little-endian samples
                std::memcpy(&in8[4 * i], c.as8, 4);
            }
            LyFormatUtils::UYVY422ToVUYA4444(in8.data(), 0, 8, a.data(), 0, 40, 1, 255);
            LyFormatUtils::UYVY422ToVUYA4444(in16.data(), 0, 16, b.data(), 0, 40, 1, 255);
            EXPECT_TRUE(lytest::SameBytes(a, b) && lytest::SameBytes(UyvyToBgra(in8, Colorimetry_BT601, 8, 40),
                                                                     UyvyToBgra(in16, Colorimetry_BT601, 16, 40)))
                << lytest::IsaName(isa);
        }
    }
}

TEST(PackedConvert, YuyvaIsUyvyWithSwappedBytesPlusAlphaTimesSixteen) {
    const int w = 35, h = 2;
    std::vector<unsigned char> src(w * h * 4);
    lytest::FillRandomWithExtremes(src.data(), src.size());
    for (auto depth : kDepths)
        for (bool fromVuya : {false, true}) {
            SCOPED_TRACE(testing::Message() << "depth " << int(depth) << (fromVuya ? " from VUYA" : " from BGRA"));
            const int bpp = depth == 16 ? 4 : 2, sb = bpp / 2;
            std::vector<unsigned char> uyvy(w * h * bpp, 0xAB), yuyv(uyvy), alpha(w * h * 2, 0xAB);
            const auto cs = Colorimetry_BT709;
            if (fromVuya) LyFormatUtils::VUYA4444ToUYVY422(src.data(), w * 4, uyvy.data(), w * bpp, depth, w, h);
            else LyFormatUtils::BGRA4444ToUYVY422(src.data(), w * 4, uyvy.data(), w * bpp, depth, cs, w, h);
            ASSERT_EQ(fromVuya ? LyFormatUtils::VUYA4444ToYUYVA422(src.data(), w * 4, yuyv.data(), w * bpp, alpha.data(),
                                                                   w * 2, depth, w, h)
                               : LyFormatUtils::BGRA4444ToYUYVA422(src.data(), w * 4, yuyv.data(), w * bpp, alpha.data(),
                                                                   w * 2, depth, cs, w, h), 1);
            for (size_t i = 0; i < uyvy.size(); ++i) ASSERT_EQ(yuyv[i], uyvy[i ^ sb]) << i;  // sample pairs swapped
            // The odd last pixel gets an alpha sample exactly when its packed
            // bytes are written (8-bit VUYA source only).
            const bool lastConverted = fromVuya && depth == 8;
            for (int p = 0; p < w * h; ++p)
                ASSERT_EQ(Sample16(alpha, p), p % w < w - 1 || lastConverted ? src[4 * p + 3] * 16 : 0xABAB) << p;
        }
}

// ============================================================ edges: odd pixels, one-pixel rows, pair start

TEST(PackedConvert, OddLastPixelOfAFivePixelRow) {
    std::vector<unsigned char> src(5 * 4);
    lytest::FillRandom(src.data(), src.size());
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa scoped(isa);
        for (auto depth : kDepths) {
            const int bpp = depth == 16 ? 4 : 2;
            const std::vector<unsigned char> untouched(bpp, 0xC3);
            std::vector<unsigned char> out, alpha(10, 0xC3);
            auto last = [&] { return std::vector<unsigned char>(out.end() - bpp, out.end()); };
            out.assign(5 * bpp, 0xC3);
            LyFormatUtils::BGRA4444ToUYVY422(src.data(), 20, out.data(), 0, depth, Colorimetry_BT601, 5, 1);
            EXPECT_TRUE(lytest::SameBytes(untouched, last())) << "BGRA->UYVY";
            out.assign(5 * bpp, 0xC3);
            LyFormatUtils::BGRA4444ToYUYVA422(src.data(), 20, out.data(), 0, alpha.data(), 0, depth, Colorimetry_BT601, 5, 1);
            EXPECT_TRUE(lytest::SameBytes(untouched, last()) && Sample16(alpha, 4) == 0xC3C3) << "BGRA->YUYVA";
            out.assign(5 * bpp, 0xC3);
            LyFormatUtils::VUYA4444ToUYVY422(src.data(), 20, out.data(), 0, depth, 5, 1);
            // 8-bit: its own U and Y; 16-bit: not converted.
            EXPECT_TRUE(lytest::SameBytes(depth == 8 ? std::vector<unsigned char>{src[17], src[18]} : untouched, last()))
                << "VUYA->UYVY";
        }
    }
}

TEST(PackedConvert, OddLastPixelOfUyvyBorrowsTheVOnItsLeft) {
    // Width 3: pair (U0 Y0 V0 Y1) then the last pixel's U2 Y2. It converts
    // like a pixel with U2, Y2 and V0.
    const std::vector<unsigned char> row = {60, 100, 200, 110, 180, 150};
    const std::vector<unsigned char> alone = {180, 150, 200, 150};
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa scoped(isa);
        for (auto cs : kColorimetries) {
            const auto got = UyvyToBgra(row, cs, 8, 3);
            const auto want = UyvyToBgra(alone, cs, 8, 2);
            EXPECT_TRUE(lytest::SameBytes({want.begin(), want.begin() + 4}, {got.begin() + 8, got.end()}));
            std::vector<unsigned char> vuya(12);
            LyFormatUtils::UYVY422ToVUYA4444(row.data(), 0, 8, vuya.data(), 0, 3, 1, 0);
            EXPECT_TRUE(lytest::SameBytes({200, 180, 150, 255}, {vuya.begin() + 8, vuya.end()}));
        }
    }
}

TEST(PackedConvert, OnePixelRowsOfPairConvertersWriteNothing) {
    std::vector<unsigned char> src(8, 0x77), out(8, 0x11), alpha(4, 0x11);
    for (auto depth : kDepths) {
        EXPECT_EQ(LyFormatUtils::VUYA4444ToUYVY422(src.data(), 4, out.data(), 4, depth, 1, 2), 1);
        EXPECT_EQ(LyFormatUtils::BGRA4444ToUYVY422(src.data(), 4, out.data(), 4, depth, Colorimetry_BT601, 1, 2), 1);
        EXPECT_EQ(LyFormatUtils::UYVY422ToBGRA4444(src.data(), 4, depth, Colorimetry_BT601, out.data(), 4, 1, 2), 1);
        EXPECT_EQ(LyFormatUtils::UYVY422ToVUYA4444(src.data(), 4, depth, out.data(), 4, 1, 2, 0), 1);
        EXPECT_EQ(LyFormatUtils::VUYA4444ToYUYVA422(src.data(), 4, out.data(), 4, alpha.data(), 2, depth, 1, 2), 1);
        EXPECT_EQ(LyFormatUtils::BGRA4444ToYUYVA422(src.data(), 4, out.data(), 4, alpha.data(), 2, depth,
                                                    Colorimetry_BT709, 1, 2),
                  1);
    }
    EXPECT_TRUE(lytest::SameBytes(std::vector<unsigned char>(8, 0x11), out));
    EXPECT_TRUE(lytest::SameBytes(std::vector<unsigned char>(4, 0x11), alpha));
    // The 4:4:4 converters have no pairs: one pixel converts, alpha copied.
    EXPECT_EQ(LyFormatUtils::VUYA4444ToBGRA4444(src.data(), 4, out.data(), 4, 8, Colorimetry_BT601, 1, 1), 1);
    EXPECT_TRUE(out[0] != 0x11 && out[3] == 0x77);
}

// A row may start on the second pixel of a pair (an interior pointer): that
// pixel takes the chroma of the pair that starts two samples earlier, and the
// rest continues pair by pair, exactly as in the full row.
TEST(PackedConvert, PairStartFlagZeroMatchesTheFullRow) {
    for (ly::Isa isa : lytest::AvailableIsas())
        for (auto depth : kDepths)
            for (int pairs = 1; pairs <= 34; ++pairs) {
                const int w = 2 * pairs, sb = depth == 16 ? 2 : 1;
                std::vector<unsigned char> uyvy(static_cast<size_t>(w) * 2 * sb);
                lytest::FillRandom(uyvy.data(), uyvy.size());
                for (int form = 0; form < 3; ++form) {  // to BGRA in either colorimetry, then to VUYA
                    auto convert = [&](ly::Isa i, const unsigned char* s, int pairStart, unsigned char* d, int n) {
                        if (form < 2)
                            packed::UyvyToBgraRow(i, kColorimetries[form], depth, s, pairStart, d, n);
                        else
                            packed::UyvyToVuyaRow(i, depth, s, pairStart, d, n);
                    };
                    std::vector<unsigned char> full(w * 4), part(w * 4, 0x55);
                    convert(ly::Isa::Scalar, uyvy.data(), 1, full.data(), w);
                    convert(isa, uyvy.data() + 2 * sb, 0, part.data() + 4, w - 1);
                    ASSERT_TRUE(lytest::SameBytes({full.begin() + 4, full.end()}, {part.begin() + 4, part.end()}))
                        << lytest::IsaName(isa) << " depth " << int(depth) << " width " << w - 1 << " form " << form;
                    ASSERT_EQ(part[0], 0x55);
                }
            }
}

// ============================================================ refusals

TEST(PackedConvert, BadArgumentsReturnZeroAndWriteNothing) {
    TestImage src(8, 4, 4, 1), dst(8, 4, 4, 2), alpha(8, 4, 2, 3);
    for (TestImage* i : {&src, &dst, &alpha}) i->FillRandom();
    const auto dstBefore = dst.Snapshot(), alphaBefore = alpha.Snapshot();
    const unsigned char* s = src.data();
    unsigned char *d = dst.data(), *a = alpha.data();
    const int sp = src.pitch(), dp = dst.pitch(), ap = alpha.pitch();
    const auto bt601 = Colorimetry_BT601, bad2 = static_cast<ELyColorimetry>(2), badNeg = static_cast<ELyColorimetry>(-1);
    struct Args { const unsigned char* s; unsigned char *d, *a; unsigned char depth; ELyColorimetry cs; int w, h; };
    const Args bad[] = {
        {nullptr, d, a, 8, bt601, 8, 4}, {s, nullptr, a, 8, bt601, 8, 4}, {s, d, a, 8, bt601, 0, 4},
        {s, d, a, 8, bt601, 8, 0},       {s, d, a, 8, bt601, -3, 4},      {s, d, a, 8, bt601, 8, -1},
        {s, d, a, 10, bt601, 8, 4},      {s, d, a, 0, bt601, 8, 4},       {s, d, a, 8, bad2, 8, 4},
        {s, d, a, 16, badNeg, 8, 4},
    };
    for (const Args& x : bad) {
        SCOPED_TRACE(testing::Message() << "case " << (&x - bad));
        EXPECT_EQ(LyFormatUtils::BGRA4444ToUYVY422(x.s, sp, x.d, dp, x.depth, x.cs, x.w, x.h), 0);
        EXPECT_EQ(LyFormatUtils::UYVY422ToBGRA4444(x.s, sp, x.depth, x.cs, x.d, dp, x.w, x.h), 0);
        EXPECT_EQ(LyFormatUtils::BGRA4444ToYUYVA422(x.s, sp, x.d, dp, x.a, ap, x.depth, x.cs, x.w, x.h), 0);
        if (x.cs == bt601) {  // the others take no colorimetry
            EXPECT_EQ(LyFormatUtils::UYVY422ToVUYA4444(x.s, sp, x.depth, x.d, dp, x.w, x.h, 255), 0);
            EXPECT_EQ(LyFormatUtils::VUYA4444ToUYVY422(x.s, sp, x.d, dp, x.depth, x.w, x.h), 0);
            EXPECT_EQ(LyFormatUtils::VUYA4444ToYUYVA422(x.s, sp, x.d, dp, x.a, ap, x.depth, x.w, x.h), 0);
        }
        // These two check nothing and always report success, writing nothing
        // when there is nothing they can do.
        if (x.depth == 8) {
            EXPECT_EQ(LyFormatUtils::BGRA4444ToVUYA4444(x.s, sp, x.d, dp, x.depth, x.cs, x.w, x.h), 1);
            EXPECT_EQ(LyFormatUtils::VUYA4444ToBGRA4444(x.s, sp, x.d, dp, x.depth, x.cs, x.w, x.h), 1);
        }
    }
    // A missing alpha plane is refused too.
    EXPECT_EQ(LyFormatUtils::BGRA4444ToYUYVA422(s, sp, d, dp, nullptr, ap, 8, bt601, 8, 4), 0);
    EXPECT_EQ(LyFormatUtils::VUYA4444ToYUYVA422(s, sp, d, dp, nullptr, ap, 8, 8, 4), 0);
    EXPECT_TRUE(dst.Snapshot() == dstBefore);
    EXPECT_TRUE(alpha.Snapshot() == alphaBefore);
}

// ============================================================ surface-style layout and concurrency

TEST(PackedConvert, AlphaPlaneBelowThePackedImageWithNegativePitch) {
    // As the surface conversion calls it: the alpha plane starts `height`
    // rows below the packed image, same pitch, here walking upwards.
    const int w = 21, h = 17;
    TestImage src(w, h, 4, 7, 3, true);
    src.FillRandom();
    for (auto depth : kDepths) {
        TestImage surface(w, 2 * h, depth == 16 ? 4 : 2, 9, 6, true);
        surface.FillRandom();
        const auto before = surface.Snapshot();
        const auto pixelsBefore = surface.Pixels();
        ASSERT_EQ(LyFormatUtils::VUYA4444ToYUYVA422(src.data(), src.pitch(), surface.data(), surface.pitch(), surface.row(h),
                                                    surface.pitch(), depth, w, h), 1);
        EXPECT_TRUE(surface.OutsideUnchanged(before));
        const int written = depth == 8 ? w : w - 1;
        for (int y = 0; y < h; ++y) {
            for (int x = 0; x < written; ++x)
                ASSERT_EQ(lytest::Sample16(surface, x, h + y), src.row(y)[4 * x + 3] * 16) << x << "," << y;
            // The rest of each alpha row is not part of the plane.
            const size_t rowStart = static_cast<size_t>(h + y) * surface.rowBytes();
            for (int i = written * 2; i < surface.rowBytes(); ++i)
                ASSERT_EQ(surface.row(h + y)[i], pixelsBefore[rowStart + i]) << i << "," << y;
        }
    }
}

// BGRA <-> UYVY submit through the exported pool entry points, BGRA -> VUYA
// -> UYVY through the pool directly: both at once on a pool of four.
TEST(PackedConvert, ConcurrentCallersGetTheirOwnResults) {
    lytest::ScopedPoolThreads pool(4);
    const int w = 67, h = 45;
    TestImage start(w, h, 4);
    start.FillRandom();
    lytest::ExpectConcurrentCallersMatchSolo(
        start,
        [&](TestImage& d) {
            std::vector<unsigned char> uyvy(w * h * 2);
            LyFormatUtils::BGRA4444ToUYVY422(d.data(), d.pitch(), uyvy.data(), w * 2, 8, Colorimetry_BT709, w, h);
            LyFormatUtils::UYVY422ToBGRA4444(uyvy.data(), w * 2, 8, Colorimetry_BT709, d.data(), d.pitch(), w, h);
        },
        start,
        [&](TestImage& d) {  // the UYVY rows land in the first half of each BGRA row
            std::vector<unsigned char> vuya(w * h * 4);
            LyFormatUtils::BGRA4444ToVUYA4444(d.data(), d.pitch(), vuya.data(), w * 4, 8, Colorimetry_BT709, w, h);
            LyFormatUtils::VUYA4444ToUYVY422(vuya.data(), w * 4, d.data(), d.pitch(), 8, w, h);
        });
}
