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
//  * Float (D <= 8192): trunc((float(N) + 0.5f) * float(1 / D)). The exact
//    value v = (N + 0.5) / D lies at least 1 / (2D) >= 2^-14 inside
//    (q, q + 1), and v < 255.5. float(N) and N + 0.5 < 2^22 are exact; the
//    two roundings left (reciprocal and product) each move a value by less
//    than 2^-23 of itself in every rounding mode, so together by less than
//    255.5 * (2^-22 + 2^-46) < 2^-14, and truncation still gives q. Neither
//    the caller's rounding mode nor the one a pool worker runs under can
//    change a byte.
//
// Larger divisors (outputs beyond 4096 samples whose size shares almost no
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
        if (d <= 8192) {
            s.mode = Float;
            s.reciprocal = 1.0f / static_cast<float>(d);
        }
        return s;
    }

    // The scalar forms of what the vector kernels compute, for the bytes a
    // vector leaves over.
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
