#include <array>

#include "format/LyColorArith.h"
#include "format/LyColorTables.h"

namespace ly {
namespace {

constexpr SLyColorMatrix kBT601 = {
    {{0.2568f, 0.5041f, 0.0979f}, {-0.1482f, -0.2910f, 0.4392f}, {0.4392f, -0.3678f, -0.0714f}},
    {{1.1644f, 0.0f, 1.5960f}, {1.1644f, -0.3918f, -0.8130f}, {1.1644f, 2.0172f, 0.0f}},
};

constexpr SLyColorMatrix kBT709 = {
    {{0.1826f, 0.6142f, 0.0620f}, {-0.1006f, -0.3386f, 0.4392f}, {0.4392f, -0.3989f, -0.0403f}},
    {{1.1644f, 0.0f, 1.7927f}, {1.1644f, -0.2132f, -0.5329f}, {1.1644f, 2.1124f, 0.0f}},
};

// Product of the float input and the float coefficient * 64, rounded half
// away from zero, all in single precision.
constexpr int16_t TableWord(float input, float coefficient) {
    const float scaled = coefficient * 64.0f;
    const float product = input * scaled;
    const float rounded = product > 0.0f ? product + 0.5f : product - 0.5f;
    return static_cast<int16_t>(static_cast<int>(rounded));
}

constexpr SLyColorTableSet BuildTableSet(const SLyColorMatrix& m) {
    SLyColorTableSet t{};
    constexpr int kY = 0, kU = 1, kV = 2;
    for (int c = 0; c < 3; ++c) {       // input component R, G, B
        for (int i = 0; i < 256; ++i) {
            const float x = static_cast<float>(i);
            const int16_t y = TableWord(x, m.rgbToYuv[kY][c]);
            const int16_t u = TableWord(x, m.rgbToYuv[kU][c]);
            const int16_t v = TableWord(x, m.rgbToYuv[kV][c]);
            t.fwd1[c][i][0] = y; t.fwd1[c][i][1] = 0; t.fwd1[c][i][2] = u; t.fwd1[c][i][3] = v;
            t.fwd2[c][i][0] = u; t.fwd2[c][i][1] = y; t.fwd2[c][i][2] = v; t.fwd2[c][i][3] = 0;
            t.fwd3[c][i][0] = v; t.fwd3[c][i][1] = u; t.fwd3[c][i][2] = y; t.fwd3[c][i][3] = 0;
        }
    }
    t.off1[0] = 1024; t.off1[1] = 0;    t.off1[2] = 8192; t.off1[3] = 8192;
    t.off2[0] = 8192; t.off2[1] = 1024; t.off2[2] = 8192; t.off2[3] = 0;
    t.off3[0] = 8192; t.off3[1] = 8192; t.off3[2] = 1024; t.off3[3] = 0;
    constexpr int kR = 0, kG = 1, kB = 2;
    for (int c = 0; c < 3; ++c) {       // input component Y, U, V
        const int bias = c == 0 ? 16 : 128;
        for (int i = 0; i < 256; ++i) {
            const float x = static_cast<float>(i - bias);
            t.inv[c][i][0] = TableWord(x, m.yuvToRgb[kB][c]);
            t.inv[c][i][1] = TableWord(x, m.yuvToRgb[kG][c]);
            t.inv[c][i][2] = TableWord(x, m.yuvToRgb[kR][c]);
            t.inv[c][i][3] = 0;
        }
    }
    return t;
}

constexpr std::array<uint8_t, 65536> BuildUnion() {
    std::array<uint8_t, 65536> t{};
    for (unsigned b = 0; b < 256; ++b)
        for (unsigned a = 0; a < 256; ++a) t[b * 256 + a] = static_cast<uint8_t>(a + b - a * b / 255);
    return t;
}

constexpr std::array<uint8_t, 65536> BuildQuotient() {
    std::array<uint8_t, 65536> t{};
    for (unsigned k = 0; k < 256; ++k)
        for (unsigned a = 1; a < 256; ++a) t[k * 256 + a] = static_cast<uint8_t>((128 * k / a) & 0xFF);
    return t;
}

}  // namespace

constexpr SLyColorMatrix kColorMatrices[2] = {kBT601, kBT709};
constexpr SLyColorTableSet kColorTableSets[2] = {BuildTableSet(kBT601), BuildTableSet(kBT709)};
static_assert(TableBoundsHold(kColorTableSets[0]) && TableBoundsHold(kColorTableSets[1]),
              "the vector converters' saturation shortcuts need these table bounds");
static_assert(FormsExact(kColorTableSets[0], kWordForms[0]) && FormsExact(kColorTableSets[1], kWordForms[1]),
              "the AVX2 converters' 16-bit forms must reproduce every table word");
static_assert(KernelShapeHolds(kWordForms[0]) && KernelShapeHolds(kWordForms[1]),
              "the AVX2 converters' shapes rely on these properties of their constants");
constexpr std::array<uint8_t, 65536> kAlphaUnion = BuildUnion();
constexpr std::array<uint8_t, 65536> kAlphaQuotient = BuildQuotient();

}  // namespace ly
