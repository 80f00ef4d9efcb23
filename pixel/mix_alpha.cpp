// Straight-alpha compositing of 32-bit images: the over rule (one pixel, row,
// row with a mask) and the two alpha punch-outs.
//
// Two over rules coexist on purpose. The lone-pixel rule takes the output
// alpha from the union table and short-cuts the extremes; the row rule (every
// pixel of the row's leading pairs) computes the alpha with a shift by 8 and a
// clamp. They can differ by one in alpha for the same inputs, and which one a
// pixel gets depends only on its position in the row (the odd last pixel, or
// a width-1 row, gets the lone rule). Vector and scalar paths reproduce the
// same split, so bytes never depend on the instruction set.

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "LyPixelUtils.h"
#include "format/LyColorTables.h"
#include "memory/LyCpu.h"
#include "memory/LyUnaligned.h"
#include "pixel/LyPixelVector.h"
#include "threading/LyBandFrame.h"

namespace {

using ly::kAlphaBits;
using ly::kColourBits;
using ly::Load32;
using ly::Store32;

// ---------------------------------------------------------------- scalar rules

// B, G, R move from d towards s by w/128, floored (arithmetic shift of the
// signed difference). w <= 128 keeps the result between d and s, but the
// clamp is part of the rule and costs nothing next to the table reads.
LY_ALWAYS_INLINE uint32_t MoveColour(uint32_t s, uint32_t d, int w) {
    uint32_t out = 0;
    for (int shift = 0; shift < 24; shift += 8) {
        const int sc = static_cast<int>((s >> shift) & 0xFFu);
        const int dc = static_cast<int>((d >> shift) & 0xFFu);
        int v = dc + (((sc - dc) * w) >> 7);
        v = v < 0 ? 0 : (v > 255 ? 255 : v);
        out |= static_cast<uint32_t>(v) << shift;
    }
    return out;
}

// The lone-pixel rule (MixTwoColor, width-1 rows, the odd last pixel).
LY_ALWAYS_INLINE uint32_t MixLone(uint32_t s, uint32_t d) {
    const unsigned sA = s >> 24;
    const unsigned dA = d >> 24;
    if (sA == 0) return d;
    if (dA == 0 || sA == 255) return s;
    const unsigned outA = ly::AlphaUnion(dA, sA);
    const int w = ly::AlphaQuotient(sA, outA);
    return MoveColour(s, d, w) | (outA << 24);
}

// The row rule for a pixel of a pair. It has no special cases; the two early
// returns give exactly what the arithmetic gives (w = 0 keeps d whole, and
// sA = 255 yields w = 128 and alpha 255, i.e. s itself).
LY_ALWAYS_INLINE uint32_t MixPaired(uint32_t s, uint32_t d) {
    const unsigned sA = s >> 24;
    if (sA == 0) return d;
    if (sA == 255) return s;
    const unsigned dA = d >> 24;
    unsigned outA = dA + sA - ((dA * sA) >> 8);
    if (outA > 255) outA = 255;
    const int w = ly::AlphaQuotient(sA, outA);
    return MoveColour(s, d, w) | (outA << 24);
}

// Source alpha scaled by a mask byte: (sA * m + 255) >> 8, so only 255 * 255
// stays 255 and a zero on either side gives 0.
LY_ALWAYS_INLINE uint32_t MaskedSource(uint32_t s, unsigned m) {
    const unsigned a = ((s >> 24) * m + 255u) >> 8;
    return (s & kColourBits) | (a << 24);
}

LY_ALWAYS_INLINE uint32_t SubtractAlpha(uint32_t d, unsigned amount) {
    const unsigned dA = d >> 24;
    const unsigned a = dA > amount ? dA - amount : 0u;
    return (d & kColourBits) | (a << 24);
}

void PairedPixelsScalar(const unsigned char* s, unsigned char* d, size_t from, size_t to) {
    for (size_t x = from; x < to; ++x) Store32(d + 4 * x, MixPaired(Load32(s + 4 * x), Load32(d + 4 * x)));
}

void MaskedPairedPixelsScalar(const unsigned char* s, const unsigned char* m, unsigned char* d, size_t from,
                              size_t to) {
    for (size_t x = from; x < to; ++x)
        Store32(d + 4 * x, MixPaired(MaskedSource(Load32(s + 4 * x), m[x]), Load32(d + 4 * x)));
}

void SubtractAlphaScalar(const unsigned char* s, unsigned char* d, size_t from, size_t to) {
    for (size_t x = from; x < to; ++x) Store32(d + 4 * x, SubtractAlpha(Load32(d + 4 * x), s[4 * x + 3]));
}

void SubtractMaskScalar(unsigned char* image, const unsigned char* m, size_t from, size_t to) {
    for (size_t x = from; x < to; ++x) Store32(image + 4 * x, SubtractAlpha(Load32(image + 4 * x), m[x]));
}

// ---------------------------------------------------------------- SSE2 / AVX2
//
// The pair rule four (SSE2) or eight (AVX2) pixels at a time.
//
// Output alpha, computed where it lives (the top byte of each pixel) with no
// shifts: a high 16-bit multiply of the two alpha bytes leaves sA * dA in the
// upper half of the pixel, whose high byte is then floor(sA * dA / 256) in the
// alpha position. dA minus that is never negative, and a saturating byte add
// of sA performs the clamp at 255.
//
// Weight: floor(128 * sA / outA) is the quotient table's entry; here it is a
// single-precision division instead of one table read per pixel (vector code
// has no cheap byte gather). The division is exact for this purpose: both
// operands are exact integers, a non-integral quotient n/r with r <= 255 lies
// at least 1/255 from any integer while the float error is below 2^-16 for
// quotients up to 128, and an integral one is represented exactly, so
// truncation gives the floor under any rounding mode. sA <= outA always holds,
// so the table's wrap above 255 is never involved. outA = 0 only with sA = 0,
// where dividing by 1 gives the table's 0.
//
// Colour: d + floor((s - d) * w / 128) in 16-bit lanes, where w <= 128 keeps
// every product within a signed lane.

#if LY_X86

LY_ALWAYS_INLINE __m128i OutAlphaSse2(__m128i s, __m128i d) {
    const __m128i am = _mm_set1_epi32(static_cast<int>(kAlphaBits));
    const __m128i sAm = _mm_and_si128(s, am);
    const __m128i dAm = _mm_and_si128(d, am);
    const __m128i shifted = _mm_and_si128(_mm_mulhi_epu16(sAm, dAm), am);
    return _mm_adds_epu8(sAm, _mm_sub_epi8(dAm, shifted));
}

// Weight per 32-bit lane from the alpha bytes of s and the output alpha.
// (sA << 24) >> 17 is 128 * sA directly.
LY_ALWAYS_INLINE __m128i WeightSse2(__m128i s, __m128i outAm) {
    const __m128 num =
        _mm_cvtepi32_ps(_mm_srli_epi32(_mm_and_si128(s, _mm_set1_epi32(static_cast<int>(kAlphaBits))), 17));
    const __m128 den = _mm_max_ps(_mm_cvtepi32_ps(_mm_srli_epi32(outAm, 24)), _mm_set1_ps(1.0f));
    return _mm_cvttps_epi32(_mm_div_ps(num, den));
}

// B, G, R of the pair rule for a weight per 32-bit lane; the alpha byte of
// the result is left to the caller.
LY_ALWAYS_INLINE __m128i MoveColourSse2(__m128i s, __m128i d, __m128i w) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i w2 = _mm_or_si128(w, _mm_slli_epi32(w, 16));
    const __m128i wLo = _mm_unpacklo_epi32(w2, w2);
    const __m128i wHi = _mm_unpackhi_epi32(w2, w2);
    const __m128i dLo = _mm_unpacklo_epi8(d, zero);
    const __m128i dHi = _mm_unpackhi_epi8(d, zero);
    const __m128i diffLo = _mm_sub_epi16(_mm_unpacklo_epi8(s, zero), dLo);
    const __m128i diffHi = _mm_sub_epi16(_mm_unpackhi_epi8(s, zero), dHi);
    const __m128i rLo = _mm_add_epi16(dLo, _mm_srai_epi16(_mm_mullo_epi16(diffLo, wLo), 7));
    const __m128i rHi = _mm_add_epi16(dHi, _mm_srai_epi16(_mm_mullo_epi16(diffHi, wHi), 7));
    return _mm_packus_epi16(rLo, rHi);
}

LY_ALWAYS_INLINE __m128i MixPairedSse2(__m128i s, __m128i d) {
    const __m128i outAm = OutAlphaSse2(s, d);
    const __m128i colour = _mm_and_si128(MoveColourSse2(s, d, WeightSse2(s, outAm)),
                                         _mm_set1_epi32(static_cast<int>(kColourBits)));
    return _mm_or_si128(colour, outAm);
}

// Over an opaque destination (the title-over-video case) the output alpha is
// 255 whatever the source, and the weight floor(128 * sA / 255) needs no
// division: floor(x / 255) = (x * 0x8081) >> 23 for every x below 2^16.
LY_ALWAYS_INLINE __m128i OverOpaqueWeightSse2(__m128i s) {
    const __m128i x = _mm_srli_epi32(_mm_and_si128(s, _mm_set1_epi32(static_cast<int>(kAlphaBits))), 17);
    return _mm_srli_epi32(_mm_mulhi_epu16(x, _mm_set1_epi32(0x8081)), 7);
}

LY_ALWAYS_INLINE __m128i MixOverOpaqueSse2(__m128i s, __m128i d) {
    return _mm_or_si128(MoveColourSse2(s, d, OverOpaqueWeightSse2(s)),
                        _mm_set1_epi32(static_cast<int>(kAlphaBits)));
}

// Masked source for four pixels; `m4` holds the four mask bytes in its low
// 32 bits.
LY_ALWAYS_INLINE __m128i MaskedSourceSse2(__m128i s, __m128i m4) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i m = _mm_unpacklo_epi16(_mm_unpacklo_epi8(m4, zero), zero);
    const __m128i sa = _mm_srli_epi32(s, 24);
    // sA * m + 255 <= 65280: exact in the low 16-bit half, then a 32-bit add.
    const __m128i a = _mm_srli_epi32(_mm_add_epi32(_mm_mullo_epi16(sa, m), _mm_set1_epi32(255)), 8);
    return _mm_or_si128(_mm_and_si128(s, _mm_set1_epi32(static_cast<int>(kColourBits))), _mm_slli_epi32(a, 24));
}

using ly::FullAlphaSse2;
using ly::LoadSse2;
using ly::NoAlphaSse2;
using ly::StoreSse2;

// Over a transparent destination the pair rule gives the source pixel itself
// (outA = sA, w = 128), except that a transparent source leaves the
// destination as it was (w = 0).
LY_ALWAYS_INLINE __m128i MixOverClearSse2(__m128i s, __m128i d) {
    const __m128i keep = _mm_cmpeq_epi32(_mm_and_si128(s, _mm_set1_epi32(static_cast<int>(kAlphaBits))),
                                         _mm_setzero_si128());
    return _mm_or_si128(_mm_and_si128(keep, d), _mm_andnot_si128(keep, s));
}

// Sixteen source pixels over the destination block at dp. Opaque and
// transparent destination blocks (video, an empty canvas) take the
// division-free forms.
LY_ALWAYS_INLINE void MixBlockSse2(const __m128i v[4], unsigned char* dp) {
    const __m128i d[4] = {LoadSse2(dp), LoadSse2(dp + 16), LoadSse2(dp + 32), LoadSse2(dp + 48)};
    if (FullAlphaSse2(ly::And4(d))) {
        for (int k = 0; k < 4; ++k) StoreSse2(dp + 16 * k, MixOverOpaqueSse2(v[k], d[k]));
    } else if (NoAlphaSse2(ly::Or4(d))) {
        for (int k = 0; k < 4; ++k) StoreSse2(dp + 16 * k, MixOverClearSse2(v[k], d[k]));
    } else {
        for (int k = 0; k < 4; ++k) StoreSse2(dp + 16 * k, MixPairedSse2(v[k], d[k]));
    }
}

// Sixteen pixels per test: a transparent block is skipped (the destination
// neither read nor written), an opaque one copied, and any other block takes
// the arithmetic, which also gives the right bytes for the transparent and
// opaque pixels within it. Title layers are mostly made of the first two
// kinds; testing wide blocks keeps those runs to a couple of instructions per
// pixel group (a loop that branches per 16 bytes is held back by the taken
// branches alone).
size_t PairedPixelsSse2(const unsigned char* s, unsigned char* d, size_t n) {
    size_t x = 0;
    for (; x + 16 <= n; x += 16) {
        const unsigned char* sp = s + 4 * x;
        unsigned char* dp = d + 4 * x;
        const __m128i v[4] = {LoadSse2(sp), LoadSse2(sp + 16), LoadSse2(sp + 32), LoadSse2(sp + 48)};
        if (NoAlphaSse2(_mm_or_si128(_mm_or_si128(v[0], v[1]), _mm_or_si128(v[2], v[3])))) continue;
        if (FullAlphaSse2(_mm_and_si128(_mm_and_si128(v[0], v[1]), _mm_and_si128(v[2], v[3])))) {
            for (int k = 0; k < 4; ++k) StoreSse2(dp + 16 * k, v[k]);
            continue;
        }
        MixBlockSse2(v, dp);
    }
    for (; x + 4 <= n; x += 4) {
        const __m128i v = LoadSse2(s + 4 * x);
        if (NoAlphaSse2(v)) continue;
        StoreSse2(d + 4 * x, FullAlphaSse2(v) ? v : MixPairedSse2(v, LoadSse2(d + 4 * x)));
    }
    return x;
}

LY_ALWAYS_INLINE __m128i MaskedGroupSse2(const unsigned char* s, const unsigned char* m) {
    int m4;
    std::memcpy(&m4, m, 4);
    return MaskedSourceSse2(LoadSse2(s), _mm_cvtsi32_si128(m4));
}

// As above; a block whose sixteen mask bytes are all zero is skipped before
// the source is even read.
size_t MaskedPairedPixelsSse2(const unsigned char* s, const unsigned char* m, unsigned char* d, size_t n) {
    size_t x = 0;
    for (; x + 16 <= n; x += 16) {
        const __m128i mv = LoadSse2(m + x);
        if (_mm_movemask_epi8(_mm_cmpeq_epi8(mv, _mm_setzero_si128())) == 0xFFFF) continue;
        const unsigned char* sp = s + 4 * x;
        unsigned char* dp = d + 4 * x;
        __m128i v[4];
        for (int k = 0; k < 4; ++k) v[k] = MaskedGroupSse2(sp + 16 * k, m + x + 4 * k);
        if (NoAlphaSse2(_mm_or_si128(_mm_or_si128(v[0], v[1]), _mm_or_si128(v[2], v[3])))) continue;
        if (FullAlphaSse2(_mm_and_si128(_mm_and_si128(v[0], v[1]), _mm_and_si128(v[2], v[3])))) {
            for (int k = 0; k < 4; ++k) StoreSse2(dp + 16 * k, v[k]);
            continue;
        }
        MixBlockSse2(v, dp);
    }
    for (; x + 4 <= n; x += 4) {
        const __m128i v = MaskedGroupSse2(s + 4 * x, m + x);
        if (NoAlphaSse2(v)) continue;
        StoreSse2(d + 4 * x, FullAlphaSse2(v) ? v : MixPairedSse2(v, LoadSse2(d + 4 * x)));
    }
    return x;
}

// Saturating byte subtraction of the source with its colour bytes cleared
// takes the alpha down and leaves B, G, R alone. Blocks of transparent
// sources are skipped.
size_t SubtractAlphaSse2(const unsigned char* s, unsigned char* d, size_t n) {
    const __m128i am = _mm_set1_epi32(static_cast<int>(kAlphaBits));
    size_t x = 0;
    for (; x + 16 <= n; x += 16) {
        const unsigned char* sp = s + 4 * x;
        unsigned char* dp = d + 4 * x;
        const __m128i v[4] = {LoadSse2(sp), LoadSse2(sp + 16), LoadSse2(sp + 32), LoadSse2(sp + 48)};
        if (NoAlphaSse2(_mm_or_si128(_mm_or_si128(v[0], v[1]), _mm_or_si128(v[2], v[3])))) continue;
        for (int k = 0; k < 4; ++k)
            StoreSse2(dp + 16 * k, _mm_subs_epu8(LoadSse2(dp + 16 * k), _mm_and_si128(v[k], am)));
    }
    for (; x + 4 <= n; x += 4)
        StoreSse2(d + 4 * x, _mm_subs_epu8(LoadSse2(d + 4 * x), _mm_and_si128(LoadSse2(s + 4 * x), am)));
    return x;
}

size_t SubtractMaskSse2(unsigned char* image, const unsigned char* m, size_t n) {
    const __m128i zero = _mm_setzero_si128();
    size_t x = 0;
    for (; x + 16 <= n; x += 16) {
        const __m128i mv = LoadSse2(m + x);
        if (_mm_movemask_epi8(_mm_cmpeq_epi8(mv, zero)) == 0xFFFF) continue;
        // Each mask byte lands in the alpha byte of its pixel.
        const __m128i lo = _mm_unpacklo_epi8(zero, mv);
        const __m128i hi = _mm_unpackhi_epi8(zero, mv);
        const __m128i parts[4] = {_mm_unpacklo_epi16(zero, lo), _mm_unpackhi_epi16(zero, lo),
                                  _mm_unpacklo_epi16(zero, hi), _mm_unpackhi_epi16(zero, hi)};
        for (int k = 0; k < 4; ++k) {
            unsigned char* p = image + 4 * (x + 4 * static_cast<size_t>(k));
            StoreSse2(p, _mm_subs_epu8(LoadSse2(p), parts[k]));
        }
    }
    for (; x + 4 <= n; x += 4) {
        int m4;
        std::memcpy(&m4, m + x, 4);
        const __m128i spread = _mm_unpacklo_epi16(zero, _mm_unpacklo_epi8(zero, _mm_cvtsi32_si128(m4)));
        StoreSse2(image + 4 * x, _mm_subs_epu8(LoadSse2(image + 4 * x), spread));
    }
    return x;
}

#if LY_HAVE_AVX2_KERNELS

// B, G, R of the pair rule for a weight per 32-bit lane (at most 128, so one
// byte); the alpha byte of the result is left to the caller.
LY_TARGET_AVX2 LY_ALWAYS_INLINE __m256i MoveColourAvx2(__m256i s, __m256i d, __m256i w) {
    const __m256i zero = _mm256_setzero_si256();
    // Each pixel's weight into its four 16-bit channel lanes, matching the
    // unpacks below (both stay within 128-bit halves).
    const __m256i spreadLo = _mm256_setr_epi8(0, -1, 0, -1, 0, -1, 0, -1, 4, -1, 4, -1, 4, -1, 4, -1,  //
                                              0, -1, 0, -1, 0, -1, 0, -1, 4, -1, 4, -1, 4, -1, 4, -1);
    const __m256i spreadHi = _mm256_setr_epi8(8, -1, 8, -1, 8, -1, 8, -1, 12, -1, 12, -1, 12, -1, 12, -1,  //
                                              8, -1, 8, -1, 8, -1, 8, -1, 12, -1, 12, -1, 12, -1, 12, -1);
    const __m256i wLo = _mm256_shuffle_epi8(w, spreadLo);
    const __m256i wHi = _mm256_shuffle_epi8(w, spreadHi);
    const __m256i dLo = _mm256_unpacklo_epi8(d, zero);
    const __m256i dHi = _mm256_unpackhi_epi8(d, zero);
    const __m256i diffLo = _mm256_sub_epi16(_mm256_unpacklo_epi8(s, zero), dLo);
    const __m256i diffHi = _mm256_sub_epi16(_mm256_unpackhi_epi8(s, zero), dHi);
    const __m256i rLo = _mm256_add_epi16(dLo, _mm256_srai_epi16(_mm256_mullo_epi16(diffLo, wLo), 7));
    const __m256i rHi = _mm256_add_epi16(dHi, _mm256_srai_epi16(_mm256_mullo_epi16(diffHi, wHi), 7));
    return _mm256_packus_epi16(rLo, rHi);
}

LY_TARGET_AVX2 LY_ALWAYS_INLINE __m256i MixPairedAvx2(__m256i s, __m256i d) {
    const __m256i am = _mm256_set1_epi32(static_cast<int>(kAlphaBits));
    const __m256i sAm = _mm256_and_si256(s, am);
    const __m256i dAm = _mm256_and_si256(d, am);
    const __m256i shifted = _mm256_and_si256(_mm256_mulhi_epu16(sAm, dAm), am);
    const __m256i outAm = _mm256_adds_epu8(sAm, _mm256_sub_epi8(dAm, shifted));
    const __m256 num = _mm256_cvtepi32_ps(_mm256_srli_epi32(sAm, 17));
    const __m256 den = _mm256_max_ps(_mm256_cvtepi32_ps(_mm256_srli_epi32(outAm, 24)), _mm256_set1_ps(1.0f));
    const __m256i w = _mm256_cvttps_epi32(_mm256_div_ps(num, den));
    return _mm256_blendv_epi8(MoveColourAvx2(s, d, w), outAm, am);
}

LY_TARGET_AVX2 LY_ALWAYS_INLINE __m256i MixOverOpaqueAvx2(__m256i s, __m256i d) {
    const __m256i am = _mm256_set1_epi32(static_cast<int>(kAlphaBits));
    const __m256i x = _mm256_srli_epi32(_mm256_and_si256(s, am), 17);
    const __m256i w = _mm256_srli_epi32(_mm256_mulhi_epu16(x, _mm256_set1_epi32(0x8081)), 7);
    return _mm256_or_si256(MoveColourAvx2(s, d, w), am);
}

LY_TARGET_AVX2 LY_ALWAYS_INLINE __m256i MixOverClearAvx2(__m256i s, __m256i d) {
    const __m256i am = _mm256_set1_epi32(static_cast<int>(kAlphaBits));
    return _mm256_blendv_epi8(s, d, _mm256_cmpeq_epi32(_mm256_and_si256(s, am), _mm256_setzero_si256()));
}

// Sixteen source pixels over the destination block at dp.
LY_TARGET_AVX2 LY_ALWAYS_INLINE void MixBlockAvx2(__m256i s0, __m256i s1, unsigned char* dp) {
    const __m256i am = _mm256_set1_epi32(static_cast<int>(kAlphaBits));
    const __m256i d0 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(dp));
    const __m256i d1 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(dp + 32));
    if (_mm256_testc_si256(_mm256_and_si256(d0, d1), am)) {
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dp), MixOverOpaqueAvx2(s0, d0));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dp + 32), MixOverOpaqueAvx2(s1, d1));
    } else if (_mm256_testz_si256(_mm256_or_si256(d0, d1), am)) {
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dp), MixOverClearAvx2(s0, d0));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dp + 32), MixOverClearAvx2(s1, d1));
    } else {
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dp), MixPairedAvx2(s0, d0));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dp + 32), MixPairedAvx2(s1, d1));
    }
}

LY_TARGET_AVX2 LY_ALWAYS_INLINE __m256i MaskedSourceAvx2(__m256i s, __m128i m8) {
    const __m256i m = _mm256_cvtepu8_epi32(m8);
    const __m256i sa = _mm256_srli_epi32(s, 24);
    const __m256i a = _mm256_srli_epi32(_mm256_add_epi32(_mm256_mullo_epi16(sa, m), _mm256_set1_epi32(255)), 8);
    return _mm256_or_si256(_mm256_and_si256(s, _mm256_set1_epi32(static_cast<int>(kColourBits))),
                           _mm256_slli_epi32(a, 24));
}

using ly::LoadAvx2;
using ly::StoreAvx2;

// The SSE2 loops eight pixels wide, sixteen per test. vptest answers the
// block questions straight from the pixels: ZF when no alpha bit is set, CF
// when all are.
LY_TARGET_AVX2 size_t PairedPixelsAvx2(const unsigned char* s, unsigned char* d, size_t n) {
    const __m256i am = _mm256_set1_epi32(static_cast<int>(kAlphaBits));
    size_t x = 0;
    for (; x + 16 <= n; x += 16) {
        const __m256i s0 = LoadAvx2(s + 4 * x);
        const __m256i s1 = LoadAvx2(s + 4 * x + 32);
        if (_mm256_testz_si256(_mm256_or_si256(s0, s1), am)) continue;
        unsigned char* dp = d + 4 * x;
        if (_mm256_testc_si256(_mm256_and_si256(s0, s1), am)) {
            StoreAvx2(dp, s0);
            StoreAvx2(dp + 32, s1);
            continue;
        }
        MixBlockAvx2(s0, s1, dp);
    }
    return x + PairedPixelsSse2(s + 4 * x, d + 4 * x, n - x);
}

LY_TARGET_AVX2 size_t MaskedPairedPixelsAvx2(const unsigned char* s, const unsigned char* m, unsigned char* d,
                                             size_t n) {
    const __m256i am = _mm256_set1_epi32(static_cast<int>(kAlphaBits));
    size_t x = 0;
    for (; x + 16 <= n; x += 16) {
        const __m128i mv = _mm_loadu_si128(reinterpret_cast<const __m128i*>(m + x));
        if (_mm_testz_si128(mv, mv)) continue;
        const __m256i s0 = MaskedSourceAvx2(LoadAvx2(s + 4 * x), mv);
        const __m256i s1 = MaskedSourceAvx2(LoadAvx2(s + 4 * x + 32), _mm_unpackhi_epi64(mv, mv));
        if (_mm256_testz_si256(_mm256_or_si256(s0, s1), am)) continue;
        unsigned char* dp = d + 4 * x;
        if (_mm256_testc_si256(_mm256_and_si256(s0, s1), am)) {
            StoreAvx2(dp, s0);
            StoreAvx2(dp + 32, s1);
            continue;
        }
        MixBlockAvx2(s0, s1, dp);
    }
    return x + MaskedPairedPixelsSse2(s + 4 * x, m + x, d + 4 * x, n - x);
}

LY_TARGET_AVX2 size_t SubtractAlphaAvx2(const unsigned char* s, unsigned char* d, size_t n) {
    const __m256i am = _mm256_set1_epi32(static_cast<int>(kAlphaBits));
    size_t x = 0;
    for (; x + 16 <= n; x += 16) {
        const __m256i s0 = LoadAvx2(s + 4 * x);
        const __m256i s1 = LoadAvx2(s + 4 * x + 32);
        if (_mm256_testz_si256(_mm256_or_si256(s0, s1), am)) continue;
        unsigned char* dp = d + 4 * x;
        StoreAvx2(dp, _mm256_subs_epu8(LoadAvx2(dp), _mm256_and_si256(s0, am)));
        StoreAvx2(dp + 32, _mm256_subs_epu8(LoadAvx2(dp + 32), _mm256_and_si256(s1, am)));
    }
    return x + SubtractAlphaSse2(s + 4 * x, d + 4 * x, n - x);
}

#endif  // LY_HAVE_AVX2_KERNELS
#endif  // LY_X86

// ---------------------------------------------------------------- row kernels

// The pairs of a row: width / 2 of them, i.e. the first (width & ~1) pixels.
size_t PairedPixels(ly::Isa isa, const unsigned char* s, unsigned char* d, size_t n) {
    const size_t done = LY_WIDEST_FORM(isa, PairedPixelsAvx2(s, d, n), PairedPixelsSse2(s, d, n), size_t{0});
    PairedPixelsScalar(s, d, done, n);
    return n;
}

void MixColorRow(ly::Isa isa, const unsigned char* s, unsigned char* d, int width) {
    if (width <= 0) return;
    const size_t n = static_cast<size_t>(width);
    const size_t paired = PairedPixels(isa, s, d, n & ~static_cast<size_t>(1));
    if (paired != n) Store32(d + 4 * paired, MixLone(Load32(s + 4 * paired), Load32(d + 4 * paired)));
}

void MixColorRowWithMask(ly::Isa isa, const unsigned char* s, const unsigned char* m, unsigned char* d, int width) {
    if (width <= 0) return;
    const size_t n = static_cast<size_t>(width);
    const size_t paired = n & ~static_cast<size_t>(1);
    const size_t done = LY_WIDEST_FORM(isa, MaskedPairedPixelsAvx2(s, m, d, paired),
                                            MaskedPairedPixelsSse2(s, m, d, paired), size_t{0});
    MaskedPairedPixelsScalar(s, m, d, done, paired);
    if (paired != n) {
        // The lone pixel is mixed from a temporary carrying the scaled alpha.
        const uint32_t temp = MaskedSource(Load32(s + 4 * paired), m[paired]);
        Store32(d + 4 * paired, MixLone(temp, Load32(d + 4 * paired)));
    }
}

void SubtractAlphaRow(ly::Isa isa, const unsigned char* s, unsigned char* d, int width) {
    if (width <= 0) return;
    const size_t n = static_cast<size_t>(width);
    const size_t done = LY_WIDEST_FORM(isa, SubtractAlphaAvx2(s, d, n), SubtractAlphaSse2(s, d, n), size_t{0});
    SubtractAlphaScalar(s, d, done, n);
}

void SubtractMaskRow(ly::Isa isa, unsigned char* image, const unsigned char* m, int width) {
    if (width <= 0) return;
    const size_t n = static_cast<size_t>(width);
    const size_t done = LY_WIDEST_FORM(isa, SubtractMaskSse2(image, m, n), SubtractMaskSse2(image, m, n), size_t{0});
    SubtractMaskScalar(image, m, done, n);
}

}  // namespace

namespace LyPixelUtils {

void MixTwoColor(uint32_t& source, uint32_t& destination) { destination = MixLone(source, destination); }

void MixColor(const unsigned char* source, int sourcePitch, unsigned char* destination, int destinationPitch, int width,
              int height) {
    if (source == nullptr || destination == nullptr || width < 1 || height < 1) return;
    const ly::Isa isa = ly::ActiveIsa();
    ly::ParallelEachRow(height, [&](int r) {
        MixColorRow(isa, ly::RowAt(source, sourcePitch, r), ly::RowAt(destination, destinationPitch, r), width);
    });
}

void MixColor(const unsigned char*, int, const unsigned char*, int, const unsigned char*, int, int, int) {
    // Deliberately empty (see the header): there is no pixel work, so there
    // is nothing to hand to the pool either.
}

void MixColorWithMaskAlpha(const unsigned char* source, int sourcePitch, const unsigned char* mask, int maskPitch,
                           unsigned char* destination, int destinationPitch, int width, int height) {
    if (source == nullptr || mask == nullptr || destination == nullptr || width < 1 || height < 1) return;
    const ly::Isa isa = ly::ActiveIsa();
    ly::ParallelEachRow(height, [&](int r) {
        MixColorRowWithMask(isa, ly::RowAt(source, sourcePitch, r), ly::RowAt(mask, maskPitch, r),
                            ly::RowAt(destination, destinationPitch, r), width);
    });
}

void OverlayColor(const unsigned char* source, int sourcePitch, unsigned char* destination, int destinationPitch,
                  int width, int height) {
    if (source == nullptr || destination == nullptr || width < 1 || height < 1) return;
    const ly::Isa isa = ly::ActiveIsa();
    ly::ParallelEachRow(height, [&](int r) {
        SubtractAlphaRow(isa, ly::RowAt(source, sourcePitch, r), ly::RowAt(destination, destinationPitch, r), width);
    });
}

void SubtractImageWithMaskAlpha(unsigned char* image, int imagePitch, const unsigned char* mask, int maskPitch,
                                int width, int height) {
    if (image == nullptr || mask == nullptr || width < 1 || height < 1) return;
    const ly::Isa isa = ly::ActiveIsa();
    ly::ParallelEachRow(height,
                        [&](int r) { SubtractMaskRow(isa, ly::RowAt(image, imagePitch, r), ly::RowAt(mask, maskPitch, r), width); });
}

}  // namespace LyPixelUtils
