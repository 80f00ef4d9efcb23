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

// Alpha tables, 256 x 256 bytes, index row * 256 + column:
//   union:    [b][a] = a + b - floor(a * b / 255)     (symmetric)
//   quotient: [k][a] = floor(128 * k / a) mod 256, column 0 zero
extern const std::array<uint8_t, 65536> kAlphaUnion;
extern const std::array<uint8_t, 65536> kAlphaQuotient;

inline uint8_t AlphaUnion(unsigned b, unsigned a) { return kAlphaUnion[(b << 8) | a]; }
inline uint8_t AlphaQuotient(unsigned k, unsigned a) { return kAlphaQuotient[(k << 8) | a]; }

}  // namespace ly

#endif
