#ifndef LYAVUTILS_VIDEO_LYFRAMERATES_H
#define LYAVUTILS_VIDEO_LYFRAMERATES_H

// Internal: the exact frame-rate table shared by the timing functions and the
// audio cadence, and the double-to-integer conversions they all round with.

#include <cstdint>

#include "LyAVUtilsTypes.h"

namespace ly {

struct FrameRateRatio {
    uint32_t numerator;
    uint32_t denominator;
};

// Indexed by ELyFrameRate 0..7.
inline constexpr FrameRateRatio kFrameRates[8] = {
    {24000, 1001}, {24, 1}, {25, 1}, {30000, 1001}, {30, 1}, {50, 1}, {60000, 1001}, {60, 1},
};

// The enum is open, so every caller checks before indexing the table.
constexpr bool IsKnownFrameRate(ELyFrameRate rate) { return static_cast<int>(rate) >= 0 && static_cast<int>(rate) < 8; }

// Only valid after IsKnownFrameRate.
inline double FrameRateValue(ELyFrameRate rate) {
    const FrameRateRatio& r = kFrameRates[rate];
    return static_cast<double>(r.numerator) / static_cast<double>(r.denominator);
}

// Conversion of a double to a 64-bit integer toward zero. A plain cast is
// undefined outside the int64 range; the x86 conversion instruction answers
// such values (and NaN) with the "integer indefinite" 0x8000000000000000, and
// that is the value given here, so every input has one defined result.
inline int64_t TruncateToInt64(double v) {
    if (v >= -9223372036854775808.0 && v < 9223372036854775808.0) return static_cast<int64_t>(v);
    return INT64_MIN;
}

// Truncation keeping the low 32 bits: negative values wrap modulo 2^32, and
// out-of-range values and NaN give 0.
inline uint32_t TruncateToLow32(double v) { return static_cast<uint32_t>(static_cast<uint64_t>(TruncateToInt64(v))); }

// Half away from zero: +0.5 above zero, -0.5 at or below, then truncate.
inline double AddRoundingHalf(double v) { return v > 0.0 ? v + 0.5 : v - 0.5; }

inline uint32_t RoundToLow32(double v) { return TruncateToLow32(AddRoundingHalf(v)); }
inline int64_t RoundToInt64(double v) { return TruncateToInt64(AddRoundingHalf(v)); }

}  // namespace ly

#endif
