#ifndef LYAVUTILS_VIDEO_LYSCALEDIVIDE_H
#define LYAVUTILS_VIDEO_LYSCALEDIVIDE_H

// Internal: exact replacements for the truncating division of the resampler.
//
// Every interpolated byte is floor(N / D) with N = a * wA + b * wB, a and b
// bytes, wA + wB = D, so 0 <= N <= 255 * D. D is fixed for a whole pass, which
// lets the vector kernels trade the division for a multiplication chosen once
// per call. Both replacements are exact for every N in that range:
//
//  * Mul16 (D <= 257, so N fits 16 bits): floor(N * M / 2^(16+t)) with
//    M = ceil(2^(16+t) / D) <= 65535 and e = M * D - 2^(16+t). Writing
//    N = qD + r gives N * M / 2^(16+t) = q + (r + N e / 2^(16+t)) / D, which
//    stays below q + 1 when N e < 2^(16+t); For() only accepts (M, t) with
//    255 * D * e < 2^(16+t). This is pmulhuw followed by a shift.
//  * Float (D <= 16384): trunc((float(N) + 0.5f) * float(1 / D)). The exact
//    value (N + 0.5) / D lies at least 1 / (2D) >= 2^-15 inside (q, q + 1);
//    N + 0.5 < 2^23 is exact in float and the two roundings (reciprocal and
//    product) move a value below 256 by less than 256 * 2^-23 * (1 + 2^-24)
//    < 2^-15, so truncation still gives q.
//
// Larger divisors (outputs beyond 8192 samples whose size shares almost no
// factor with the input's) fall back to integer division.

#include <cstdint>

namespace ly {

struct ScaleDivider {
    enum Mode : int { Scalar = 0, Mul16 = 1, Float = 2 };

    int64_t divisor = 1;
    Mode mode = Scalar;
    uint16_t magic = 0;  // Mul16
    int shift = 0;       // Mul16: t
    float reciprocal = 0;  // Float

    static ScaleDivider For(int64_t d) {
        ScaleDivider s;
        s.divisor = d;
        if (d <= 257) {
            // The smallest shift that works: power-of-two divisors then need none.
            for (int t = 0; t <= 15; ++t) {
                const int64_t p = int64_t{1} << (16 + t);
                const int64_t m = (p + d - 1) / d;
                if (m > 65535) continue;
                const int64_t e = m * d - p;
                if (255 * d * e < p) {
                    s.mode = Mul16;
                    s.magic = static_cast<uint16_t>(m);
                    s.shift = t;
                    return s;
                }
            }
        }
        if (d <= 16384) {
            s.mode = Float;
            s.reciprocal = 1.0f / static_cast<float>(d);
        }
        return s;
    }

    // The scalar forms of what the vector kernels compute, for the tests.
    uint32_t DivideLikeVector(uint32_t n) const {
        switch (mode) {
        case Mul16: return ((n * uint32_t{magic}) >> 16) >> shift;
        case Float: return static_cast<uint32_t>((static_cast<float>(n) + 0.5f) * reciprocal);
        default: return static_cast<uint32_t>(n / divisor);
        }
    }
};

}  // namespace ly

#endif
