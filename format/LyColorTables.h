#ifndef LYAVUTILS_FORMAT_LYCOLORTABLES_H
#define LYAVUTILS_FORMAT_LYCOLORTABLES_H

// Internal: the fixed-point colour tables and the alpha tables. All are
// computed at compile time, so they exist before any code can read them and
// are read without locks.

#include <array>
#include <cstdint>

#include "LyAVUtilsTypes.h"

namespace ly {

// Matrices, single precision, rows are outputs. RGB to YUV: rows Y, U, V,
// columns R, G, B. YUV to RGB: rows R, G, B, columns (Y-16), (U-128), (V-128).
struct SLyColorMatrix {
    float rgbToYuv[3][3];
    float yuvToRgb[3][3];
};
extern const SLyColorMatrix kColorMatrices[2];

// One colour table set (24600 bytes), six fractional bits (scale 64).
//   fwd1[c][i] = (Y, 0, U, V) contribution of component value i, c = R, G, B
//   fwd2[c][i] = (U, Y, V, 0)   -- the order of UYVY
//   fwd3[c][i] = (V, U, Y, 0)   -- the order of VUYA
//   inv[c][i]  = (B, G, R, 0) contribution of (i - 16) for c = Y and of
//                (i - 128) for c = U, V -- the order of BGRA
struct SLyColorTableSet {
    int16_t fwd1[3][256][4];
    int16_t off1[4];   // 1024, 0, 8192, 8192
    int16_t fwd2[3][256][4];
    int16_t off2[4];   // 8192, 1024, 8192, 0
    int16_t fwd3[3][256][4];
    int16_t off3[4];   // 8192, 8192, 1024, 0
    int16_t inv[3][256][4];
};
static_assert(sizeof(SLyColorTableSet) == 24600, "colour table set layout");

enum : int { kTabR = 0, kTabG = 1, kTabB = 2 };
enum : int { kTabY = 0, kTabU = 1, kTabV = 2 };

// Indexed by ELyColorimetry (0 or 1); callers validate the colorimetry first.
extern const SLyColorTableSet kColorTableSets[2];

inline const SLyColorTableSet& ColorTables(int colorimetry) { return kColorTableSets[colorimetry]; }

// The table conversion, the one arithmetic every converter and cross-format
// mixer uses (scalar forms; the vector forms add the same words with the same
// saturating 16-bit adds). Sums saturate to 16 bits after each addition.
inline int SatAdd16(int a, int b) {
    const int s = a + b;
    return s < -32768 ? -32768 : (s > 32767 ? 32767 : s);
}

inline unsigned char ClampByte(int v) { return static_cast<unsigned char>(v < 0 ? 0 : (v > 255 ? 255 : v)); }

// Forward word k of the pixel with bytes b, g, r: B, + G, + R, + offset (one
// of the three forward layouts with its own offsets). Callers shift by 6:
// arithmetically and clamped where the word is a byte value, logically where
// the layout keeps every word within 16..240.
inline int ForwardSum(const int16_t (&fwd)[3][256][4], const int16_t (&off)[4], unsigned b, unsigned g, unsigned r,
                      int k) {
    const int s = SatAdd16(SatAdd16(fwd[kTabB][b][k], fwd[kTabG][g][k]), fwd[kTabR][r][k]);
    return SatAdd16(s, off[k]);
}

// Inverse byte k (B, G, R) of Y, U, V: U + V, + Y, arithmetic shift, clamp.
inline unsigned char InverseByte(const SLyColorTableSet& t, unsigned y, unsigned u, unsigned v, int k) {
    const int c = SatAdd16(t.inv[kTabU][u][k], t.inv[kTabV][v][k]);
    return ClampByte(SatAdd16(c, t.inv[kTabY][y][k]) >> 6);
}

// Alpha tables, 256 x 256 bytes, index row * 256 + column:
//   union:    [b][a] = a + b - floor(a * b / 255)     (symmetric)
//   quotient: [k][a] = floor(128 * k / a) mod 256, column 0 zero
extern const std::array<uint8_t, 65536> kAlphaUnion;
extern const std::array<uint8_t, 65536> kAlphaQuotient;

inline uint8_t AlphaUnion(unsigned b, unsigned a) { return kAlphaUnion[(b << 8) | a]; }
inline uint8_t AlphaQuotient(unsigned k, unsigned a) { return kAlphaQuotient[(k << 8) | a]; }

}  // namespace ly

#endif
