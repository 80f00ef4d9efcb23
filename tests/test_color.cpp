// Colour tables, alpha tables and single-colour conversion.

#include <cmath>

#include "LyFormatUtils.h"
#include "format/LyColorTables.h"
#include "test_support.h"

namespace {

struct Rgb {
    int r, g, b;
};

Rgb ToRgb(int y, int u, int v, ELyColorimetry c) {
    unsigned char c0 = static_cast<unsigned char>(y), c1 = static_cast<unsigned char>(u),
                  c2 = static_cast<unsigned char>(v);
    LyFormatUtils::YUVColorToRGBColor(c0, c1, c2, c);
    return {c0, c1, c2};
}

Rgb ToYuv(int r, int g, int b, ELyColorimetry c) {
    unsigned char c0 = static_cast<unsigned char>(r), c1 = static_cast<unsigned char>(g),
                  c2 = static_cast<unsigned char>(b);
    LyFormatUtils::RGBColorToYUVColor(c0, c1, c2, c);
    return {c0, c1, c2};
}

bool operator==(const Rgb& a, const Rgb& b) { return a.r == b.r && a.g == b.g && a.b == b.b; }
std::ostream& operator<<(std::ostream& o, const Rgb& c) { return o << "(" << c.r << "," << c.g << "," << c.b << ")"; }

}  // namespace

// The offset entries are the studio offsets (16 for luma, 128 for chroma) in
// six fractional bits, in the order of each layout's output bytes.
TEST(ColorTables, OffsetEntriesAreTheStudioOffsets) {
    constexpr int kLuma = 16 << 6, kChroma = 128 << 6;
    static_assert(kLuma == 1024 && kChroma == 8192);
    for (int c = 0; c < 2; ++c) {
        const auto& s = ly::ColorTables(c);
        EXPECT_EQ(std::vector<int>(s.off1, s.off1 + 4), (std::vector<int>{kLuma, 0, kChroma, kChroma}));
        EXPECT_EQ(std::vector<int>(s.off2, s.off2 + 4), (std::vector<int>{kChroma, kLuma, kChroma, 0}));
        EXPECT_EQ(std::vector<int>(s.off3, s.off3 + 4), (std::vector<int>{kChroma, kChroma, kLuma, 0}));
    }
}

TEST(ColorTables, SpotValuesBT601) {
    const auto& t = ly::ColorTables(Colorimetry_BT601);
    // 255 * round-to-float(0.2568 * 64) = 4190.976 -> 4191, and so on (float products,
    // halves away from zero).
    const int16_t* r255 = t.fwd1[ly::kTabR][255];
    EXPECT_EQ(r255[0], 4191);
    EXPECT_EQ(r255[1], 0);
    EXPECT_EQ(r255[2], -2419);
    EXPECT_EQ(r255[3], 7168);
    // The same contributions, reordered, in the UYVY and VUYA layouts.
    EXPECT_EQ(t.fwd2[ly::kTabR][255][0], -2419);
    EXPECT_EQ(t.fwd2[ly::kTabR][255][1], 4191);
    EXPECT_EQ(t.fwd2[ly::kTabR][255][2], 7168);
    EXPECT_EQ(t.fwd2[ly::kTabR][255][3], 0);
    EXPECT_EQ(t.fwd3[ly::kTabR][255][0], 7168);
    EXPECT_EQ(t.fwd3[ly::kTabR][255][1], -2419);
    EXPECT_EQ(t.fwd3[ly::kTabR][255][2], 4191);
    EXPECT_EQ(t.fwd3[ly::kTabR][255][3], 0);
    EXPECT_EQ(t.fwd1[ly::kTabG][128][0], 4130);
    EXPECT_EQ(t.fwd1[ly::kTabG][128][2], -2384);
    EXPECT_EQ(t.fwd1[ly::kTabG][128][3], -3013);
    EXPECT_EQ(t.fwd1[ly::kTabB][1][0], 6);
    EXPECT_EQ(t.fwd1[ly::kTabB][1][2], 28);
    EXPECT_EQ(t.fwd1[ly::kTabB][1][3], -5);
    for (int c = 0; c < 3; ++c)
        for (int w = 0; w < 4; ++w) EXPECT_EQ(t.fwd1[c][0][w], 0);
    // Inverse tables hold the contribution of (Y - 16) and (U|V - 128), in B, G, R order.
    EXPECT_EQ(t.inv[ly::kTabY][235][0], 16320);
    EXPECT_EQ(t.inv[ly::kTabY][235][1], 16320);
    EXPECT_EQ(t.inv[ly::kTabY][235][2], 16320);
    EXPECT_EQ(t.inv[ly::kTabY][16][0], 0);
    EXPECT_EQ(t.inv[ly::kTabY][0][0], -1192);
    EXPECT_EQ(t.inv[ly::kTabU][0][0], -16525);
    EXPECT_EQ(t.inv[ly::kTabU][0][1], 3210);
    EXPECT_EQ(t.inv[ly::kTabU][0][2], 0);
    EXPECT_EQ(t.inv[ly::kTabV][255][0], 0);
    EXPECT_EQ(t.inv[ly::kTabV][255][1], -6608);
    EXPECT_EQ(t.inv[ly::kTabV][255][2], 12972);
    EXPECT_EQ(t.inv[ly::kTabU][128][0], 0);
    EXPECT_EQ(t.inv[ly::kTabV][128][2], 0);
}

TEST(ColorTables, SpotValuesBT709) {
    const auto& t = ly::ColorTables(Colorimetry_BT709);
    EXPECT_EQ(t.fwd2[ly::kTabR][255][1], 2980);
    EXPECT_EQ(t.fwd2[ly::kTabR][255][0], -1642);
    EXPECT_EQ(t.fwd2[ly::kTabR][255][2], 7168);
    EXPECT_EQ(t.inv[ly::kTabU][255][0], 17170);
    EXPECT_EQ(t.inv[ly::kTabU][255][1], -1733);
    EXPECT_EQ(t.inv[ly::kTabV][0][1], 4366);
    EXPECT_EQ(t.inv[ly::kTabV][0][2], -14686);
}

// Every entry of the first layout against the BT.601 studio-range matrix as
// the standard defines it (Y = 16 + (65.481 R + 128.553 G + 24.966 B) / 255,
// chroma scaled to 224 levels), not as the tables are built: within one unit
// of i * coefficient * 64 (the tables use four-digit coefficients), and for
// white the luma row sums to 219 levels and the chroma rows to zero.
TEST(ColorTables, EveryEntryFollowsTheStudioRangeMatrix) {
    const double kr = 0.299, kb = 0.114, kg = 1.0 - kr - kb;
    const double m[3][3] = {{219 * kr, 219 * kg, 219 * kb},
                            {-112 * kr / (1 - kb), -112 * kg / (1 - kb), 112.0},
                            {112.0, -112 * kg / (1 - kr), -112 * kb / (1 - kr)}};
    const auto& t = ly::ColorTables(Colorimetry_BT601);
    auto entry = [&](int c, int i, int row) { return row == 0 ? t.fwd1[c][i][0] : row == 1 ? t.fwd1[c][i][2] : t.fwd1[c][i][3]; };
    for (int row = 0; row < 3; ++row) {
        for (int c = 0; c < 3; ++c)  // table c holds R, G, B in this order of the matrix columns
            for (int i = 0; i < 256; ++i)
                ASSERT_NEAR(entry(c, i, row), i * m[row][c] / 255.0 * 64.0, 1.0) << "c " << c << " i " << i << " row " << row;
        const int white = entry(0, 255, row) + entry(1, 255, row) + entry(2, 255, row);
        EXPECT_NEAR(white, row == 0 ? 219 * 64 : 0, 2) << row;
    }
}

TEST(AlphaTables, UnionAndQuotientIncludingTheWrap) {
    EXPECT_EQ(ly::AlphaUnion(128, 128), 192);
    EXPECT_EQ(ly::AlphaUnion(0, 77), 77);
    EXPECT_EQ(ly::AlphaUnion(255, 3), 255);
    EXPECT_EQ(ly::AlphaQuotient(128, 192), 85);
    EXPECT_EQ(ly::AlphaQuotient(255, 255), 128);
    EXPECT_EQ(ly::AlphaQuotient(255, 1), 128);  // 32640 mod 256
    EXPECT_EQ(ly::AlphaQuotient(3, 2), 192);
    for (unsigned k = 0; k < 256; ++k) EXPECT_EQ(ly::AlphaQuotient(k, 0), 0);
    for (unsigned a = 0; a < 256; ++a)
        for (unsigned b = 0; b < 256; ++b) {
            ASSERT_EQ(ly::AlphaUnion(b, a), ly::AlphaUnion(a, b));
            ASSERT_GE(ly::AlphaUnion(b, a), std::max(a, b));
        }
}

TEST(SingleColor, BlackWhiteAndPrimariesBT601) {
    EXPECT_EQ(ToYuv(255, 255, 255, Colorimetry_BT601), (Rgb{235, 128, 128}));
    EXPECT_EQ(ToYuv(0, 0, 0, Colorimetry_BT601), (Rgb{16, 128, 128}));
    EXPECT_EQ(ToYuv(255, 0, 0, Colorimetry_BT601), (Rgb{81, 90, 240}));
    EXPECT_EQ(ToYuv(0, 255, 0, Colorimetry_BT601), (Rgb{145, 54, 34}));
    EXPECT_EQ(ToYuv(0, 0, 255, Colorimetry_BT601), (Rgb{41, 240, 110}));
    EXPECT_EQ(ToRgb(16, 128, 128, Colorimetry_BT601), (Rgb{0, 0, 0}));
    EXPECT_EQ(ToRgb(235, 128, 128, Colorimetry_BT601), (Rgb{255, 255, 255}));
    EXPECT_EQ(ToRgb(81, 90, 240, Colorimetry_BT601), (Rgb{254, 0, 0}));
}

TEST(SingleColor, BlackWhiteAndPrimariesBT709) {
    EXPECT_EQ(ToYuv(255, 255, 255, Colorimetry_BT709), (Rgb{235, 128, 128}));
    EXPECT_EQ(ToYuv(255, 0, 0, Colorimetry_BT709), (Rgb{63, 102, 240}));
    EXPECT_EQ(ToYuv(0, 255, 0, Colorimetry_BT709), (Rgb{173, 42, 26}));
    EXPECT_EQ(ToYuv(0, 0, 255, Colorimetry_BT709), (Rgb{32, 240, 118}));
    EXPECT_EQ(ToRgb(16, 128, 128, Colorimetry_BT709), (Rgb{0, 0, 0}));
    EXPECT_EQ(ToRgb(235, 128, 128, Colorimetry_BT709), (Rgb{255, 255, 255}));
}

TEST(SingleColor, YuvToRgbClampsEveryChannel) {
    // (255, 0, 255): R = 278.3 + 202.7 clamps to 255, G = 225.19, B = 20.09.
    EXPECT_EQ(ToRgb(255, 0, 255, Colorimetry_BT601), (Rgb{255, 225, 20}));
    // (0, 255, 0): R = -18.6 - 204.3 clamps to 0, G = 35.67, B = 237.55.
    EXPECT_EQ(ToRgb(0, 255, 0, Colorimetry_BT601), (Rgb{0, 36, 238}));
    EXPECT_EQ(ToRgb(255, 255, 255, Colorimetry_BT601).r, 255);
    EXPECT_EQ(ToRgb(0, 0, 0, Colorimetry_BT601), (Rgb{0, 136, 0}));  // G = 135.58
    for (int y = 0; y < 256; y += 17)
        for (int u = 0; u < 256; u += 15)
            for (int v = 0; v < 256; v += 15) {
                // Agrees with a double-precision evaluation except where a float
                // rounding lands exactly on a half.
                const Rgb got = ToRgb(y, u, v, Colorimetry_BT601);
                const double r = 1.1644 * (y - 16) + 1.5960 * (v - 128);
                const double b = 1.1644 * (y - 16) + 2.0172 * (u - 128);
                auto clamp = [](double x) { return std::min(255.0, std::max(0.0, x)); };
                ASSERT_NEAR(got.r, clamp(r), 0.51);
                ASSERT_NEAR(got.b, clamp(b), 0.51);
            }
}

TEST(SingleColor, WordFormsKeepAlphaAndUseTheirByteOrders) {
    uint32_t c = 0x7FFF0000;  // BGRA word: A 0x7F, R 255
    LyFormatUtils::RGBColorToYUVColor(c, Colorimetry_BT601);
    EXPECT_EQ(c, 0x7F515AF0u);  // VUYA word: Y 81, U 90, V 240
    LyFormatUtils::YUVColorToRGBColor(c, Colorimetry_BT601);
    EXPECT_EQ(c, 0x7FFE0000u);
    uint32_t w = 0x00EB8080;
    LyFormatUtils::YUVColorToRGBColor(w, Colorimetry_BT709);
    EXPECT_EQ(w, 0x00FFFFFFu);
}

TEST(SingleColor, UnknownColorimetryLeavesColoursUnchanged) {
    unsigned char a = 10, b = 20, c = 30;
    LyFormatUtils::RGBColorToYUVColor(a, b, c, static_cast<ELyColorimetry>(2));
    LyFormatUtils::YUVColorToRGBColor(a, b, c, static_cast<ELyColorimetry>(-1));
    EXPECT_EQ(a, 10);
    EXPECT_EQ(b, 20);
    EXPECT_EQ(c, 30);
    uint32_t w = 0x12345678;
    LyFormatUtils::RGBColorToYUVColor(w, static_cast<ELyColorimetry>(2));
    LyFormatUtils::YUVColorToRGBColor(w, static_cast<ELyColorimetry>(7));
    EXPECT_EQ(w, 0x12345678u);
}

TEST(SingleColor, ConvertChoosesDirectionBySourceFormat) {
    uint32_t c = 0xFFFFFFFF;
    LyFormatUtils::YUVRGBColorConvert(c, PixelFormat_BGRA4444, Colorimetry_BT601, PixelFormat_BGRA4444,
                                      Colorimetry_BT709);
    EXPECT_EQ(c, 0xFFFFFFFFu) << "same format: nothing, even with different colorimetries";
    LyFormatUtils::YUVRGBColorConvert(c, PixelFormat_BGRA4444, static_cast<ELyColorimetry>(5), PixelFormat_UYVY422,
                                      Colorimetry_BT709);
    EXPECT_EQ(c, 0xFFEB8080u) << "RGB source: destination colorimetry, VUYA order for any YUV destination";
    c = 0x40515AF0;  // Y 81, U 90, V 240
    LyFormatUtils::YUVRGBColorConvert(c, PixelFormat_VUYA4444, Colorimetry_BT601, PixelFormat_BGRA4444,
                                      static_cast<ELyColorimetry>(9));
    EXPECT_EQ(c, 0x40FE0000u) << "YUV source: source colorimetry";
    const uint32_t before = 0x01020304;
    c = before;
    LyFormatUtils::YUVRGBColorConvert(c, PixelFormat_UYVY422, Colorimetry_BT601, PixelFormat_BGRA4444,
                                      Colorimetry_BT601);
    EXPECT_EQ(c, before) << "other source formats: nothing";
}
