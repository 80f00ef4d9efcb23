// LY_TEST_LABELS: threading
#include <atomic>
#include <cfenv>
#include <cmath>
#include <functional>
#include <memory>
#include <thread>

#include "LyAVUtils.h"
#include "format/LyColorTables.h"
#include "format/LyPackedKernels.h"
#include "test_support.h"

using lytest::TestImage;
namespace packed = ly::packed;

namespace {

// ------------------------------------------------------------ differential harness

struct Sides {
    int srcBpp;
    int dstBpp;
    int alphaBpp;  // 0: no alpha plane
};

using Convert = std::function<int(const TestImage& src, TestImage& dst, TestImage* alpha)>;

// Runs `convert` on random images of widths 1..67, heights 15..17, every
// start alignment within 16 bytes and both pitch directions, under every
// instruction set, and compares with the scalar result on a one-thread pool.
// Pools of 4 and 16 (which band heights 16 and 17) rerun one layout per width
// and height. Nothing outside the destination images may change.
void ExpectFormsAgree(const Sides& sides, const Convert& convert) {
    struct Case {
        std::unique_ptr<TestImage> src, dst, alpha;
        std::vector<unsigned char> dst0, alpha0, refDst, refAlpha;
        bool pooled;
    };
    std::vector<Case> cases;
    {
        lytest::ScopedPoolThreads pool(1);
        lytest::ScopedIsa scalar(ly::Isa::Scalar);
        for (int w : lytest::TestWidths())
            for (int h : {15, 16, 17})
                for (int k = 0; k < 4; ++k) {
                    const int i = (w + 4 * k + h) % 16;
                    Case c;
                    c.pooled = k == 0;
                    c.src = std::make_unique<TestImage>(lytest::LayoutsFor(w, h, sides.srcBpp)[i]);
                    c.dst = std::make_unique<TestImage>(lytest::LayoutsFor(w, h, sides.dstBpp)[(i * 7 + 3) % 16]);
                    c.src->FillRandomWithExtremes();
                    c.dst->FillRandom();
                    c.dst0 = c.dst->Pixels();
                    if (sides.alphaBpp) {
                        c.alpha = std::make_unique<TestImage>(lytest::LayoutsFor(w, h, sides.alphaBpp)[(i * 5 + 1) % 16]);
                        c.alpha->FillRandom();
                        c.alpha0 = c.alpha->Pixels();
                    }
                    EXPECT_EQ(convert(*c.src, *c.dst, c.alpha.get()), 1);
                    c.refDst = c.dst->Pixels();
                    if (c.alpha) c.refAlpha = c.alpha->Pixels();
                    cases.push_back(std::move(c));
                }
    }
    for (int pool : lytest::PoolSizes()) {
        lytest::ScopedPoolThreads scopedPool(pool);
        for (ly::Isa isa : lytest::AvailableIsas()) {
            if (pool == 1 && isa == ly::Isa::Scalar) continue;
            lytest::ScopedIsa scopedIsa(isa);
            for (auto& c : cases) {
                if (pool > 1 && !c.pooled) continue;
                SetPixels(*c.dst, c.dst0);
                if (c.alpha) SetPixels(*c.alpha, c.alpha0);
                const auto srcBefore = c.src->Snapshot();
                const auto dstBefore = c.dst->Snapshot();
                const auto alphaBefore = c.alpha ? c.alpha->Snapshot() : std::vector<unsigned char>{};
                ASSERT_EQ(convert(*c.src, *c.dst, c.alpha.get()), 1);
                const std::string where = std::string(lytest::IsaName(isa)) + " pool " + std::to_string(pool) +
                                          " src " + c.src->Describe() + " dst " + c.dst->Describe();
                ASSERT_TRUE(lytest::SameBytes(c.refDst, c.dst->Pixels())) << where;
                ASSERT_TRUE(c.dst->OutsideUnchanged(dstBefore)) << where;
                ASSERT_TRUE(c.src->Snapshot() == srcBefore) << where;
                if (c.alpha) {
                    ASSERT_TRUE(lytest::SameBytes(c.refAlpha, c.alpha->Pixels())) << where;
                    ASSERT_TRUE(c.alpha->OutsideUnchanged(alphaBefore)) << where;
                }
            }
        }
    }
}

constexpr ELyColorimetry kColorimetries[] = {Colorimetry_BT601, Colorimetry_BT709};
constexpr unsigned char kDepths[] = {8, 16};

// ------------------------------------------------------------ small-image helpers

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

TEST(PackedConvert, ArithmeticFormsReproduceTheTables) {
    // If this fails the AVX2 forms are silently never chosen, so the
    // differential tests below would not exercise them.
    EXPECT_TRUE(packed::ArithmeticFormsExact());
}

TEST(PackedConvert, BgraToUyvyFormsAgree) {
    for (auto cs : kColorimetries)
        for (auto depth : kDepths) {
            SCOPED_TRACE(testing::Message() << "colorimetry " << cs << " depth " << int(depth));
            ExpectFormsAgree({4, depth == 16 ? 4 : 2, 0}, [&](const TestImage& s, TestImage& d, TestImage*) {
                return LyFormatUtils::BGRA4444ToUYVY422(s.data(), s.pitch(), d.data(), d.pitch(), depth, cs,
                                                        s.width(), s.height());
            });
        }
}

TEST(PackedConvert, UyvyToBgraFormsAgree) {
    for (auto cs : kColorimetries)
        for (auto depth : kDepths) {
            SCOPED_TRACE(testing::Message() << "colorimetry " << cs << " depth " << int(depth));
            ExpectFormsAgree({depth == 16 ? 4 : 2, 4, 0}, [&](const TestImage& s, TestImage& d, TestImage*) {
                return LyFormatUtils::UYVY422ToBGRA4444(s.data(), s.pitch(), depth, cs, d.data(), d.pitch(),
                                                        s.width(), s.height());
            });
        }
}

TEST(PackedConvert, UyvyToVuyaFormsAgree) {
    for (auto depth : kDepths) {
        SCOPED_TRACE(testing::Message() << "depth " << int(depth));
        ExpectFormsAgree({depth == 16 ? 4 : 2, 4, 0}, [&](const TestImage& s, TestImage& d, TestImage*) {
            return LyFormatUtils::UYVY422ToVUYA4444(s.data(), s.pitch(), depth, d.data(), d.pitch(), s.width(),
                                                    s.height(), 7);
        });
    }
}

TEST(PackedConvert, VuyaToUyvyFormsAgree) {
    for (auto depth : kDepths) {
        SCOPED_TRACE(testing::Message() << "depth " << int(depth));
        ExpectFormsAgree({4, depth == 16 ? 4 : 2, 0}, [&](const TestImage& s, TestImage& d, TestImage*) {
            return LyFormatUtils::VUYA4444ToUYVY422(s.data(), s.pitch(), d.data(), d.pitch(), depth, s.width(),
                                                    s.height());
        });
    }
}

TEST(PackedConvert, BgraVuyaFormsAgree) {
    for (auto cs : kColorimetries) {
        SCOPED_TRACE(testing::Message() << "colorimetry " << cs);
        ExpectFormsAgree({4, 4, 0}, [&](const TestImage& s, TestImage& d, TestImage*) {
            return LyFormatUtils::BGRA4444ToVUYA4444(s.data(), s.pitch(), d.data(), d.pitch(), 8, cs, s.width(),
                                                     s.height());
        });
        ExpectFormsAgree({4, 4, 0}, [&](const TestImage& s, TestImage& d, TestImage*) {
            return LyFormatUtils::VUYA4444ToBGRA4444(s.data(), s.pitch(), d.data(), d.pitch(), 8, cs, s.width(),
                                                     s.height());
        });
    }
}

TEST(PackedConvert, YuyvaFormsAgree) {
    for (auto depth : kDepths) {
        const int packedBpp = depth == 16 ? 4 : 2;
        for (auto cs : kColorimetries) {
            SCOPED_TRACE(testing::Message() << "BGRA colorimetry " << cs << " depth " << int(depth));
            ExpectFormsAgree({4, packedBpp, 2}, [&](const TestImage& s, TestImage& d, TestImage* a) {
                return LyFormatUtils::BGRA4444ToYUYVA422(s.data(), s.pitch(), d.data(), d.pitch(), a->data(),
                                                         a->pitch(), depth, cs, s.width(), s.height());
            });
        }
        SCOPED_TRACE(testing::Message() << "VUYA depth " << int(depth));
        ExpectFormsAgree({4, packedBpp, 2}, [&](const TestImage& s, TestImage& d, TestImage* a) {
            return LyFormatUtils::VUYA4444ToYUYVA422(s.data(), s.pitch(), d.data(), d.pitch(), a->data(),
                                                     a->pitch(), depth, s.width(), s.height());
        });
    }
}

// The AVX2 forms compute in single precision; under another rounding mode
// the converters must fall back rather than produce different bytes.
TEST(PackedConvert, NonDefaultRoundingModeGivesTheSameBytes) {
    TestImage src(67, 3, 4, 3);
    src.FillRandomWithExtremes();
    std::vector<unsigned char> ref(67 * 3 * 2), out(67 * 3 * 2), refBack(67 * 3 * 4), back(67 * 3 * 4);
    {
        lytest::ScopedIsa scalar(ly::Isa::Scalar);
        LyFormatUtils::BGRA4444ToUYVY422(src.data(), src.pitch(), ref.data(), 134, 8, Colorimetry_BT709, 67, 3);
        LyFormatUtils::UYVY422ToBGRA4444(ref.data(), 134, 8, Colorimetry_BT709, refBack.data(), 268, 67, 3);
    }
    const int previous = std::fegetround();
    for (int mode : {FE_TOWARDZERO, FE_UPWARD, FE_DOWNWARD}) {
        ASSERT_EQ(std::fesetround(mode), 0);
        LyFormatUtils::BGRA4444ToUYVY422(src.data(), src.pitch(), out.data(), 134, 8, Colorimetry_BT709, 67, 3);
        LyFormatUtils::UYVY422ToBGRA4444(out.data(), 134, 8, Colorimetry_BT709, back.data(), 268, 67, 3);
        std::fesetround(previous);
        EXPECT_TRUE(lytest::SameBytes(ref, out)) << "mode " << mode;
        EXPECT_TRUE(lytest::SameBytes(refBack, back)) << "mode " << mode;
    }
}

// ============================================================ known values

TEST(PackedConvert, WhiteBlackAndPrimariesThroughEveryConverter) {
    struct Known {
        ELyColorimetry cs;
        int r, g, b;
        int y, u, v;  // what the fixed-point tables give
    };
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
            SCOPED_TRACE(testing::Message() << lytest::IsaName(isa) << " cs " << k.cs << " rgb " << k.r << ","
                                            << k.g << "," << k.b);
            // Independent check of the expectation: within one step of the
            // double-precision conversion.
            unsigned char c0 = static_cast<unsigned char>(k.r), c1 = static_cast<unsigned char>(k.g),
                          c2 = static_cast<unsigned char>(k.b);
            LyFormatUtils::RGBColorToYUVColor(c0, c1, c2, k.cs);
            EXPECT_LE(std::abs(c0 - k.y), 1);
            EXPECT_LE(std::abs(c1 - k.u), 1);
            EXPECT_LE(std::abs(c2 - k.v), 1);

            // 18 equal pixels, so every form's vector blocks and tails see it.
            std::vector<unsigned char> bgra;
            for (int i = 0; i < 18; ++i)
                bgra.insert(bgra.end(), {static_cast<unsigned char>(k.b), static_cast<unsigned char>(k.g),
                                         static_cast<unsigned char>(k.r), 0x5A});
            const auto uyvy = ToUyvy(bgra, k.cs, 8);
            const auto uyvy16 = ToUyvy(bgra, k.cs, 16);
            for (int p = 0; p < 9; ++p) {
                const unsigned char want[4] = {static_cast<unsigned char>(k.u), static_cast<unsigned char>(k.y),
                                               static_cast<unsigned char>(k.v), static_cast<unsigned char>(k.y)};
                for (int c = 0; c < 4; ++c) {
                    ASSERT_EQ(uyvy[4 * p + c], want[c]) << "pair " << p;
                    ASSERT_EQ(Sample16(uyvy16, 4 * p + c), want[c] * 4) << "pair " << p;
                }
            }
            std::vector<unsigned char> vuya(bgra.size());
            LyFormatUtils::BGRA4444ToVUYA4444(bgra.data(), 0, vuya.data(), 0, 8, k.cs, 18, 1);
            for (int p = 0; p < 18; ++p) {
                ASSERT_EQ(vuya[4 * p], k.v);
                ASSERT_EQ(vuya[4 * p + 1], k.u);
                ASSERT_EQ(vuya[4 * p + 2], k.y);
                ASSERT_EQ(vuya[4 * p + 3], 0x5A);  // alpha travels through
            }
            // And back: within two steps of the input colour, alpha 255 from 4:2:2
            // and kept from VUYA.
            const auto back = UyvyToBgra(uyvy, k.cs, 8, 18);
            const auto back16 = UyvyToBgra(uyvy16, k.cs, 16, 18);
            std::vector<unsigned char> backVuya(bgra.size());
            LyFormatUtils::VUYA4444ToBGRA4444(vuya.data(), 0, backVuya.data(), 0, 8, k.cs, 18, 1);
            EXPECT_TRUE(lytest::SameBytes(back, back16));
            for (int p = 0; p < 18; ++p) {
                for (int c = 0; c < 3; ++c) {
                    ASSERT_LE(std::abs(back[4 * p + c] - bgra[4 * p + c]), 2) << "pixel " << p << " channel " << c;
                    ASSERT_EQ(backVuya[4 * p + c], back[4 * p + c]);
                }
                ASSERT_EQ(back[4 * p + 3], 255);
                ASSERT_EQ(backVuya[4 * p + 3], 0x5A);
            }
        }
    }
}

// Out-of-range YUV (below black, above white, extreme chroma) must clamp, not
// wrap, on the way back to RGB, including where a 16-bit sum saturates.
TEST(PackedConvert, ExtremeYuvClampsToTheByteRange) {
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa scoped(isa);
        for (auto cs : kColorimetries) {
            const auto& m = ly::kColorMatrices[cs].yuvToRgb;
            for (int corner = 0; corner < 8; ++corner) {
                const int y = (corner & 1) ? 255 : 0, u = (corner & 2) ? 255 : 0, v = (corner & 4) ? 255 : 0;
                SCOPED_TRACE(testing::Message() << lytest::IsaName(isa) << " cs " << cs << " yuv " << y << "," << u
                                                << "," << v);
                std::vector<unsigned char> uyvy, vuya;
                for (int i = 0; i < 16; ++i) {
                    uyvy.insert(uyvy.end(), {static_cast<unsigned char>(u), static_cast<unsigned char>(y),
                                             static_cast<unsigned char>(v), static_cast<unsigned char>(y)});
                    for (int k = 0; k < 2; ++k)
                        vuya.insert(vuya.end(), {static_cast<unsigned char>(v), static_cast<unsigned char>(u),
                                                 static_cast<unsigned char>(y), 9});
                }
                const auto fromUyvy = UyvyToBgra(uyvy, cs, 8, 32);
                std::vector<unsigned char> fromVuya(vuya.size());
                LyFormatUtils::VUYA4444ToBGRA4444(vuya.data(), 0, fromVuya.data(), 0, 8, cs, 32, 1);
                for (int c = 0; c < 3; ++c) {
                    const int row = 2 - c;  // B, G, R bytes; matrix rows R, G, B
                    const double exact = m[row][0] * (y - 16) + m[row][1] * (u - 128) + m[row][2] * (v - 128);
                    for (int p = 0; p < 32; ++p) {
                        const int got = fromUyvy[4 * p + c];
                        if (exact > 256.0)
                            ASSERT_EQ(got, 255) << "channel " << c;
                        else if (exact < -1.0)
                            ASSERT_EQ(got, 0) << "channel " << c;
                        else
                            ASSERT_LE(std::abs(got - exact), 1.5) << "channel " << c;
                        ASSERT_EQ(fromVuya[4 * p + c], got);
                    }
                }
                for (int p = 0; p < 32; ++p) {
                    ASSERT_EQ(fromUyvy[4 * p + 3], 255);
                    ASSERT_EQ(fromVuya[4 * p + 3], 9);
                }
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
        std::vector<unsigned char> out(4);
        ASSERT_EQ(LyFormatUtils::VUYA4444ToUYVY422(vuya.data(), 8, out.data(), 4, 8, 2, 1), 1);
        EXPECT_TRUE(lytest::SameBytes({52, 70, 101, 80}, out));
        std::vector<unsigned char> out16(8);
        ASSERT_EQ(LyFormatUtils::VUYA4444ToUYVY422(vuya.data(), 8, out16.data(), 8, 16, 2, 1), 1);
        for (int i = 0; i < 4; ++i) EXPECT_EQ(Sample16(out16, i), out[i] * 4);
    }
}

// ============================================================ relationships between converters

TEST(PackedConvert, RoundTripThroughUyvyStaysClose) {
    // Pairs of equal colour lose nothing to subsampling, so the only error is
    // quantisation. Both directions floor their fixed-point sums: blue can
    // lose one step of U (x 2.11 in BT.709), one of Y (x 1.16) and one more
    // on the way back, hence 4.
    std::vector<unsigned char> bgra(64 * 4 * 8);
    lytest::FillRandom(bgra.data(), bgra.size());
    for (size_t p = 0; p < bgra.size(); p += 8) std::memcpy(&bgra[p + 4], &bgra[p], 4);
    for (auto cs : kColorimetries)
        for (auto depth : kDepths) {
            const auto back = UyvyToBgra(ToUyvy(bgra, cs, depth), cs, depth, 64 * 8);
            int worst = 0;
            for (size_t i = 0; i < bgra.size(); ++i)
                if (i % 4 != 3) worst = std::max(worst, std::abs(back[i] - bgra[i]));
            EXPECT_LE(worst, 4) << "cs " << cs << " depth " << int(depth);
        }
}

TEST(PackedConvert, UyvyVuyaRoundTripIsExact) {
    // UYVY -> VUYA repeats the pair's chroma, VUYA -> UYVY averages it back.
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa scoped(isa);
        for (auto depth : kDepths) {
            const int w = 66, bpp = depth == 16 ? 4 : 2;
            std::vector<unsigned char> uyvy(static_cast<size_t>(w) * bpp);
            lytest::FillRandom(uyvy.data(), uyvy.size());
            if (depth == 16)
                for (size_t i = 0; i < uyvy.size(); i += 2) {  // valid samples: 8-bit values x 4
                    const unsigned sample = uyvy[i] * 4u;
                    uyvy[i] = static_cast<unsigned char>(sample);
                    uyvy[i + 1] = static_cast<unsigned char>(sample >> 8);
                }
            std::vector<unsigned char> vuya(static_cast<size_t>(w) * 4), back(uyvy.size());
            ASSERT_EQ(LyFormatUtils::UYVY422ToVUYA4444(uyvy.data(), 0, depth, vuya.data(), 0, w, 1, 0), 1);
            for (int p = 0; p < w; ++p) ASSERT_EQ(vuya[4 * p + 3], 255);  // the alpha argument is not used
            ASSERT_EQ(LyFormatUtils::VUYA4444ToUYVY422(vuya.data(), 0, back.data(), 0, depth, w, 1), 1);
            EXPECT_TRUE(lytest::SameBytes(uyvy, back)) << lytest::IsaName(isa) << " depth " << int(depth);
        }
    }
}

TEST(PackedConvert, SixteenBitFormsAreTheEightBitValuesTimesFour) {
    std::vector<unsigned char> bgra(37 * 4), vuya(37 * 4);
    lytest::FillRandom(bgra.data(), bgra.size());
    lytest::FillRandom(vuya.data(), vuya.size());
    for (auto cs : kColorimetries) {
        const auto u8 = ToUyvy(bgra, cs, 8);
        const auto u16 = ToUyvy(bgra, cs, 16);
        for (int i = 0; i < 36 * 2; ++i) ASSERT_EQ(Sample16(u16, i), u8[i] * 4) << i;
        // ...and reading them back gives the 8-bit result.
        EXPECT_TRUE(lytest::SameBytes(UyvyToBgra(u8, cs, 8, 36), UyvyToBgra(u16, cs, 16, 36)));
    }
    std::vector<unsigned char> v8(37 * 2, 0), v16(37 * 4, 0);
    LyFormatUtils::VUYA4444ToUYVY422(vuya.data(), 0, v8.data(), 0, 8, 37, 1);
    LyFormatUtils::VUYA4444ToUYVY422(vuya.data(), 0, v16.data(), 0, 16, 37, 1);
    for (int i = 0; i < 36 * 2; ++i) ASSERT_EQ(Sample16(v16, i), v8[i] * 4) << i;
}

TEST(PackedConvert, SixteenBitSamplesRoundToEightBits) {
    // U, Y0, V, Y1 samples just off multiples of 4 (true 10-bit values), and
    // samples beyond 10 bits.
    auto pair16 = [](uint16_t u, uint16_t y0, uint16_t v, uint16_t y1) {
        const uint16_t samples[4] = {u, y0, v, y1};
        std::vector<unsigned char> s(8);
        std::memcpy(s.data(), samples, 8);  // little-endian samples
        return s;
    };
    auto pair8 = [](int u, int y0, int v, int y1) {
        return std::vector<unsigned char>{static_cast<unsigned char>(u), static_cast<unsigned char>(y0),
                                          static_cast<unsigned char>(v), static_cast<unsigned char>(y1)};
    };
    struct Case {
        std::vector<unsigned char> in16, as8;
    };
    const Case cases[] = {
        {pair16(4 * 90 + 1, 4 * 81 + 2, 4 * 240 - 1, 4 * 100 + 3), pair8(90, 82, 240, 101)},
        {pair16(1023, 1022, 1021, 1020), pair8(255, 255, 255, 255)},
        {pair16(0xFFFF, 0x8000, 1024, 0), pair8(255, 255, 255, 0)},
    };
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa scoped(isa);
        for (const Case& c : cases) {
            // Repeat the pair so vector blocks see it too.
            std::vector<unsigned char> in16, in8;
            for (int i = 0; i < 20; ++i) {
                in16.insert(in16.end(), c.in16.begin(), c.in16.end());
                in8.insert(in8.end(), c.as8.begin(), c.as8.end());
            }
            EXPECT_TRUE(lytest::SameBytes(UyvyToBgra(in8, Colorimetry_BT601, 8, 40),
                                          UyvyToBgra(in16, Colorimetry_BT601, 16, 40)))
                << lytest::IsaName(isa);
            std::vector<unsigned char> a(160), b(160);
            LyFormatUtils::UYVY422ToVUYA4444(in8.data(), 0, 8, a.data(), 0, 40, 1, 255);
            LyFormatUtils::UYVY422ToVUYA4444(in16.data(), 0, 16, b.data(), 0, 40, 1, 255);
            EXPECT_TRUE(lytest::SameBytes(a, b)) << lytest::IsaName(isa);
        }
    }
}

TEST(PackedConvert, YuyvaIsUyvyWithSwappedBytesPlusAlphaTimesSixteen) {
    const int w = 35, h = 2;
    std::vector<unsigned char> src(w * h * 4);
    lytest::FillRandomWithExtremes(src.data(), src.size());
    for (auto depth : kDepths) {
        const int bpp = depth == 16 ? 4 : 2;
        for (int fromVuya = 0; fromVuya < 2; ++fromVuya) {
            SCOPED_TRACE(testing::Message() << "depth " << int(depth) << (fromVuya ? " from VUYA" : " from BGRA"));
            std::vector<unsigned char> uyvy(w * h * bpp, 0xAB), yuyv(w * h * bpp, 0xAB), alpha(w * h * 2, 0xAB);
            if (fromVuya) {
                LyFormatUtils::VUYA4444ToUYVY422(src.data(), w * 4, uyvy.data(), w * bpp, depth, w, h);
                ASSERT_EQ(LyFormatUtils::VUYA4444ToYUYVA422(src.data(), w * 4, yuyv.data(), w * bpp, alpha.data(),
                                                            w * 2, depth, w, h),
                          1);
            } else {
                LyFormatUtils::BGRA4444ToUYVY422(src.data(), w * 4, uyvy.data(), w * bpp, depth, Colorimetry_BT709, w,
                                                 h);
                ASSERT_EQ(LyFormatUtils::BGRA4444ToYUYVA422(src.data(), w * 4, yuyv.data(), w * bpp, alpha.data(),
                                                            w * 2, depth, Colorimetry_BT709, w, h),
                          1);
            }
            const int sampleBytes = depth == 16 ? 2 : 1;
            for (size_t i = 0; i < uyvy.size(); i += 2 * sampleBytes)
                for (int b = 0; b < sampleBytes; ++b) {
                    ASSERT_EQ(yuyv[i + b], uyvy[i + sampleBytes + b]) << i;
                    ASSERT_EQ(yuyv[i + sampleBytes + b], uyvy[i + b]) << i;
                }
            // The odd last pixel gets an alpha sample exactly when its packed
            // bytes are written (8-bit VUYA source only).
            const bool lastConverted = fromVuya && depth == 8;
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x) {
                    const uint16_t a = Sample16(alpha, y * w + x);
                    if (x < w - 1 || lastConverted)
                        ASSERT_EQ(a, src[(y * w + x) * 4 + 3] * 16) << x << "," << y;
                    else
                        ASSERT_EQ(a, 0xABAB) << y;
                }
        }
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
            std::vector<unsigned char> out(5 * bpp, 0xC3), alpha(10, 0xC3);
            ASSERT_EQ(LyFormatUtils::BGRA4444ToUYVY422(src.data(), 20, out.data(), 0, depth, Colorimetry_BT601, 5, 1), 1);
            for (int b = 4 * bpp; b < 5 * bpp; ++b) EXPECT_EQ(out[b], 0xC3) << "BGRA->UYVY untouched";
            std::fill(out.begin(), out.end(), 0xC3);
            ASSERT_EQ(LyFormatUtils::BGRA4444ToYUYVA422(src.data(), 20, out.data(), 0, alpha.data(), 0, depth,
                                                        Colorimetry_BT601, 5, 1),
                      1);
            for (int b = 4 * bpp; b < 5 * bpp; ++b) EXPECT_EQ(out[b], 0xC3) << "BGRA->YUYVA untouched";
            EXPECT_EQ(Sample16(alpha, 4), 0xC3C3);

            std::fill(out.begin(), out.end(), 0xC3);
            ASSERT_EQ(LyFormatUtils::VUYA4444ToUYVY422(src.data(), 20, out.data(), 0, depth, 5, 1), 1);
            if (depth == 8) {  // its own U and Y
                EXPECT_EQ(out[8], src[17]);
                EXPECT_EQ(out[9], src[18]);
            } else {
                for (int b = 16; b < 20; ++b) EXPECT_EQ(out[b], 0xC3) << "16-bit: not converted";
            }
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
    // The 4:4:4 converters have no pairs: one pixel converts.
    EXPECT_EQ(LyFormatUtils::VUYA4444ToBGRA4444(src.data(), 4, out.data(), 4, 8, Colorimetry_BT601, 1, 1), 1);
    EXPECT_NE(out[0], 0x11);
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
                for (auto cs : kColorimetries) {
                    std::vector<unsigned char> full(w * 4), part(w * 4, 0x55);
                    packed::UyvyToBgraRow(ly::Isa::Scalar, cs, depth, uyvy.data(), 1, full.data(), w);
                    packed::UyvyToBgraRow(isa, cs, depth, uyvy.data() + 2 * sb, 0, part.data() + 4, w - 1);
                    ASSERT_TRUE(lytest::SameBytes({full.begin() + 4, full.end()}, {part.begin() + 4, part.end()}))
                        << lytest::IsaName(isa) << " depth " << int(depth) << " width " << w - 1;
                    ASSERT_EQ(part[0], 0x55);
                }
                std::vector<unsigned char> full(w * 4), part(w * 4, 0x55);
                packed::UyvyToVuyaRow(ly::Isa::Scalar, depth, uyvy.data(), 1, full.data(), w);
                packed::UyvyToVuyaRow(isa, depth, uyvy.data() + 2 * sb, 0, part.data() + 4, w - 1);
                ASSERT_TRUE(lytest::SameBytes({full.begin() + 4, full.end()}, {part.begin() + 4, part.end()}));
            }
}

// ============================================================ refusals

TEST(PackedConvert, BadArgumentsReturnZeroAndWriteNothing) {
    TestImage src(8, 4, 4, 1), dst(8, 4, 4, 2), alpha(8, 4, 2, 3);
    src.FillRandom();
    dst.FillRandom();
    alpha.FillRandom();
    const auto dstBefore = dst.Snapshot();
    const auto alphaBefore = alpha.Snapshot();
    const unsigned char* s = src.data();
    unsigned char* d = dst.data();
    unsigned char* a = alpha.data();
    const int sp = src.pitch(), dp = dst.pitch(), ap = alpha.pitch();
    const auto bad601 = static_cast<ELyColorimetry>(2);
    const auto badNeg = static_cast<ELyColorimetry>(-1);
    struct Args {
        const unsigned char* s;
        unsigned char* d;
        unsigned char* a;
        unsigned char depth;
        ELyColorimetry cs;
        int w, h;
    };
    std::vector<Args> bad = {
        {nullptr, d, a, 8, Colorimetry_BT601, 8, 4}, {s, nullptr, a, 8, Colorimetry_BT601, 8, 4},
        {s, d, a, 8, Colorimetry_BT601, 0, 4},       {s, d, a, 8, Colorimetry_BT601, 8, 0},
        {s, d, a, 8, Colorimetry_BT601, -3, 4},      {s, d, a, 8, Colorimetry_BT601, 8, -1},
        {s, d, a, 10, Colorimetry_BT601, 8, 4},      {s, d, a, 0, Colorimetry_BT601, 8, 4},
        {s, d, a, 8, bad601, 8, 4},                  {s, d, a, 16, badNeg, 8, 4},
    };
    for (size_t i = 0; i < bad.size(); ++i) {
        const Args& x = bad[i];
        const bool csMatters = x.cs != Colorimetry_BT601;
        SCOPED_TRACE(testing::Message() << "case " << i);
        EXPECT_EQ(LyFormatUtils::BGRA4444ToUYVY422(x.s, sp, x.d, dp, x.depth, x.cs, x.w, x.h), 0);
        EXPECT_EQ(LyFormatUtils::UYVY422ToBGRA4444(x.s, sp, x.depth, x.cs, x.d, dp, x.w, x.h), 0);
        EXPECT_EQ(LyFormatUtils::BGRA4444ToYUYVA422(x.s, sp, x.d, dp, x.a, ap, x.depth, x.cs, x.w, x.h), 0);
        if (!csMatters) {
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
    EXPECT_EQ(LyFormatUtils::BGRA4444ToYUYVA422(s, sp, d, dp, nullptr, ap, 8, Colorimetry_BT601, 8, 4), 0);
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
        const int bpp = depth == 16 ? 4 : 2;
        TestImage surface(w, 2 * h, bpp, 9, 6, true);
        surface.FillRandom();
        const auto before = surface.Snapshot();
        const auto pixelsBefore = surface.Pixels();
        unsigned char* alpha = surface.row(h);
        ASSERT_EQ(LyFormatUtils::VUYA4444ToYUYVA422(src.data(), src.pitch(), surface.data(), surface.pitch(), alpha,
                                                    surface.pitch(), depth, w, h),
                  1);
        EXPECT_TRUE(surface.OutsideUnchanged(before));
        const int written = depth == 8 ? w : w - 1;
        for (int y = 0; y < h; ++y) {
            const unsigned char* row = surface.row(h + y);
            for (int x = 0; x < written; ++x) {
                uint16_t a;
                std::memcpy(&a, row + 2 * x, 2);
                ASSERT_EQ(a, src.row(y)[4 * x + 3] * 16) << x << "," << y;
            }
            // The rest of each alpha row is not part of the plane.
            const size_t rowStart = static_cast<size_t>(h + y) * surface.rowBytes();
            for (int i = written * 2; i < surface.rowBytes(); ++i)
                ASSERT_EQ(row[i], pixelsBefore[rowStart + i]) << i << "," << y;
        }
    }
}

TEST(PackedConvert, ConcurrentCallersGetTheirOwnResults) {
    lytest::ScopedPoolThreads pool(4);
    const int w = 67, h = 45;
    std::vector<unsigned char> bgra(w * h * 4);
    lytest::FillRandom(bgra.data(), bgra.size());
    std::vector<unsigned char> refUyvy(w * h * 2), refBack(w * h * 4), refVuya(w * h * 4), refUyvy2(w * h * 2);
    {
        lytest::ScopedIsa scalar(ly::Isa::Scalar);
        LyFormatUtils::BGRA4444ToUYVY422(bgra.data(), w * 4, refUyvy.data(), w * 2, 8, Colorimetry_BT709, w, h);
        LyFormatUtils::UYVY422ToBGRA4444(refUyvy.data(), w * 2, 8, Colorimetry_BT709, refBack.data(), w * 4, w, h);
        LyFormatUtils::BGRA4444ToVUYA4444(bgra.data(), w * 4, refVuya.data(), w * 4, 8, Colorimetry_BT709, w, h);
        LyFormatUtils::VUYA4444ToUYVY422(refVuya.data(), w * 4, refUyvy2.data(), w * 2, 8, w, h);
    }
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            std::vector<unsigned char> uyvy(w * h * 2), back(w * h * 4), vuya(w * h * 4);
            for (int i = 0; i < 20; ++i) {
                if (t % 2 == 0) {
                    LyFormatUtils::BGRA4444ToUYVY422(bgra.data(), w * 4, uyvy.data(), w * 2, 8, Colorimetry_BT709, w, h);
                    LyFormatUtils::UYVY422ToBGRA4444(uyvy.data(), w * 2, 8, Colorimetry_BT709, back.data(), w * 4, w, h);
                    if (uyvy != refUyvy || back != refBack) failures++;
                } else {  // the internal route at the same time
                    LyFormatUtils::BGRA4444ToVUYA4444(bgra.data(), w * 4, vuya.data(), w * 4, 8, Colorimetry_BT709, w, h);
                    LyFormatUtils::VUYA4444ToUYVY422(vuya.data(), w * 4, uyvy.data(), w * 2, 8, w, h);
                    if (vuya != refVuya || uyvy != refUyvy2) failures++;
                }
            }
        });
    for (auto& th : threads) th.join();
    EXPECT_EQ(failures.load(), 0);
}
