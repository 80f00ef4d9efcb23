#ifndef LYAVUTILS_VIDEO_LYVIDEOMATH_H
#define LYAVUTILS_VIDEO_LYVIDEOMATH_H

// Internal: the ratio tolerance and the double/float-to-int conversions shared
// by the aspect and scaling geometry.

#include <cstdint>

namespace ly::video {

// Two ratios closer than this are the same ratio.
inline constexpr double kRatioTolerance = 0.0001;

// The truncating conversion of the x86 processor: a value outside the int
// range (or NaN) gives 0x80000000 instead of undefined behaviour.
inline int32_t TruncToInt(double v) {
    if (!(v > -2147483649.0 && v < 2147483648.0)) return INT32_MIN;
    return static_cast<int32_t>(v);
}

// Half away from zero, then truncate.
inline int32_t RoundToInt(double v) { return TruncToInt(v > 0 ? v + 0.5 : v - 0.5); }

// Single-precision rounding: the half is added in float.
inline int32_t RoundToIntF(float v) { return TruncToInt(v > 0 ? v + 0.5f : v - 0.5f); }

}  // namespace ly::video

#endif
