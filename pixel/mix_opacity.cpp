// Flattening a straight-alpha 32-bit image onto an opaque background: another
// image, a solid colour or black. Every result pixel is opaque except where a
// fully transparent pixel takes a solid colour's own alpha.
//
// The three rules round differently on purpose: the buffer form truncates the
// scaled difference toward zero (sign and magnitude), the colour form floors
// it toward minus infinity, and the black form has no difference at all.
//
// Each rule is a function of the pixel alone (and the colour). The colour and
// black forms keep a one-entry cache per row (last input, last output) so that
// flat areas skip the arithmetic; the cache starts each row in a state that
// agrees with the rule for the pixel 0, so it never changes a result, only
// the work done. The vector paths keep the same cache for whole groups.

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "LyPixelUtils.h"
#include "memory/LyCpu.h"
#include "memory/LyUnaligned.h"
#include "pixel/LyPixelVector.h"
#include "threading/LyBandFrame.h"

namespace {

using ly::kAlphaBits;
constexpr uint32_t kOpaqueBlack = 0xFF000000u;

using ly::Load32;
using ly::Store32;

// ---------------------------------------------------------------- scalar rules

LY_ALWAYS_INLINE uint32_t OverBuffer(uint32_t s, uint32_t d) {
    const unsigned a = s >> 24;
    if (a == 255) return s;
    uint32_t out = kAlphaBits;
    for (int shift = 0; shift < 24; shift += 8) {
        const int sc = static_cast<int>((s >> shift) & 0xFFu);
        const int dc = static_cast<int>((d >> shift) & 0xFFu);
        const int diff = sc - dc;
        const int magnitude = ((diff < 0 ? -diff : diff) * static_cast<int>(a)) >> 8;
        int v = dc + (diff < 0 ? -magnitude : magnitude);
        v = v < 0 ? 0 : (v > 255 ? 255 : v);
        out |= static_cast<uint32_t>(v) << shift;
    }
    return out;
}

LY_ALWAYS_INLINE uint32_t OverColour(uint32_t p, uint32_t c) {
    const unsigned a = p >> 24;
    if (a == 0) return c;
    if (a == 255) return p;
    uint32_t out = kAlphaBits;
    for (int shift = 0; shift < 24; shift += 8) {
        const int pc = static_cast<int>((p >> shift) & 0xFFu);
        const int cc = static_cast<int>((c >> shift) & 0xFFu);
        // Arithmetic shift: a negative difference rounds toward minus infinity.
        const int v = cc + (((pc - cc) * static_cast<int>(a)) >> 8);
        out |= static_cast<uint32_t>(v) << shift;
    }
    return out;
}

LY_ALWAYS_INLINE uint32_t OverBlack(uint32_t p) {
    const unsigned a = p >> 24;
    if (a == 255) return p;
    uint32_t out = kOpaqueBlack;
    for (int shift = 0; shift < 24; shift += 8) out |= ((((p >> shift) & 0xFFu) * a) >> 8) << shift;
    return out;
}

void OpacityBufferScalar(const unsigned char* s, unsigned char* d, size_t from, size_t to) {
    for (size_t x = from; x < to; ++x) Store32(d + 4 * x, OverBuffer(Load32(s + 4 * x), Load32(d + 4 * x)));
}

// The per-row cache (last input, last output) carried across the vector and
// scalar parts of one row.
struct RowCache {
    uint32_t in;
    uint32_t out;
};

void OpacityColourScalar(unsigned char* p, size_t from, size_t to, uint32_t colour, RowCache& cache) {
    for (size_t x = from; x < to; ++x) {
        const uint32_t v = Load32(p + 4 * x);
        if (v != cache.in) {
            cache.in = v;
            cache.out = OverColour(v, colour);
        }
        Store32(p + 4 * x, cache.out);
    }
}

void OpacityBlackScalar(const unsigned char* s, unsigned char* d, size_t from, size_t to, RowCache& cache) {
    for (size_t x = from; x < to; ++x) {
        const uint32_t v = Load32(s + 4 * x);
        if (v != cache.in) {
            cache.in = v;
            cache.out = OverBlack(v);
        }
        Store32(d + 4 * x, cache.out);
    }
}

// ---------------------------------------------------------------- SSE2 / AVX2
//
// Four (SSE2) or eight (AVX2) pixels per step in 16-bit lanes.
//
// Every rule keeps an opaque pixel (or source) whole. Instead of selecting it
// afterwards, alpha 255 is turned into the multiplier 256, which makes each
// formula return that pixel exactly: floor(p * 256 / 256) = p for black,
// (c * 0 + p * 256) >> 8 = p for the colour, and a full difference for the
// buffer. Products reach 255 * 256, so they are kept unsigned (logical
// shifts) or, where a sign is needed, split into sign and magnitude. The
// colour rule uses c + floor((p - c) * a / 256) = (c * (256 - a) + p * a) >> 8
// (256 * c is a multiple of 256, so the floor commutes), whose terms are
// non-negative and sum to at most 255 * 256.

#if LY_X86

// Per 32-bit lane: the pixel's alpha, or 256 where it is 255.
LY_ALWAYS_INLINE __m128i MultiplierSse2(__m128i p) {
    const __m128i a = _mm_srli_epi32(p, 24);
    return _mm_sub_epi32(a, _mm_cmpeq_epi32(a, _mm_set1_epi32(255)));
}

LY_ALWAYS_INLINE __m128i SpreadSse2(__m128i m32, bool high) {
    const __m128i m2 = _mm_or_si128(m32, _mm_slli_epi32(m32, 16));
    return high ? _mm_unpackhi_epi32(m2, m2) : _mm_unpacklo_epi32(m2, m2);
}

LY_ALWAYS_INLINE bool AllSse2(__m128i cmp) { return _mm_movemask_epi8(cmp) == 0xFFFF; }

LY_ALWAYS_INLINE __m128i BufferHalfSse2(__m128i s16, __m128i d16, __m128i m16) {
    const __m128i diff = _mm_sub_epi16(s16, d16);
    const __m128i sign = _mm_srai_epi16(diff, 15);
    const __m128i magnitude = _mm_sub_epi16(_mm_xor_si128(diff, sign), sign);
    const __m128i scaled = _mm_srli_epi16(_mm_mullo_epi16(magnitude, m16), 8);
    return _mm_add_epi16(d16, _mm_sub_epi16(_mm_xor_si128(scaled, sign), sign));
}

LY_ALWAYS_INLINE __m128i OverBufferSse2(__m128i s, __m128i d) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i m = MultiplierSse2(s);
    const __m128i lo = BufferHalfSse2(_mm_unpacklo_epi8(s, zero), _mm_unpacklo_epi8(d, zero), SpreadSse2(m, false));
    const __m128i hi = BufferHalfSse2(_mm_unpackhi_epi8(s, zero), _mm_unpackhi_epi8(d, zero), SpreadSse2(m, true));
    return _mm_or_si128(_mm_packus_epi16(lo, hi), _mm_set1_epi32(static_cast<int>(kAlphaBits)));
}

LY_ALWAYS_INLINE __m128i ColourHalfSse2(__m128i p16, __m128i c16, __m128i m16) {
    const __m128i inverse = _mm_sub_epi16(_mm_set1_epi16(256), m16);
    return _mm_srli_epi16(_mm_add_epi16(_mm_mullo_epi16(c16, inverse), _mm_mullo_epi16(p16, m16)), 8);
}

// The alpha lane of the formula gives c's own alpha for a transparent pixel;
// every other pixel is made opaque.
LY_ALWAYS_INLINE __m128i OverColourSse2(__m128i p, __m128i c16) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i am = _mm_set1_epi32(static_cast<int>(kAlphaBits));
    const __m128i m = MultiplierSse2(p);
    const __m128i lo = ColourHalfSse2(_mm_unpacklo_epi8(p, zero), c16, SpreadSse2(m, false));
    const __m128i hi = ColourHalfSse2(_mm_unpackhi_epi8(p, zero), c16, SpreadSse2(m, true));
    const __m128i opaque = _mm_andnot_si128(_mm_cmpeq_epi32(_mm_and_si128(p, am), zero), am);
    return _mm_or_si128(_mm_packus_epi16(lo, hi), opaque);
}

LY_ALWAYS_INLINE __m128i OverBlackSse2(__m128i p) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i m = MultiplierSse2(p);
    // Unpacking below a zero byte gives p * 256, and the high half of its
    // product with the multiplier is floor(p * m / 256).
    const __m128i lo = _mm_mulhi_epu16(_mm_unpacklo_epi8(zero, p), SpreadSse2(m, false));
    const __m128i hi = _mm_mulhi_epu16(_mm_unpackhi_epi8(zero, p), SpreadSse2(m, true));
    return _mm_or_si128(_mm_packus_epi16(lo, hi), _mm_set1_epi32(static_cast<int>(kOpaqueBlack)));
}

LY_ALWAYS_INLINE uint32_t LastLane(__m128i v) {
    return static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_shuffle_epi32(v, 0xFF)));
}

using ly::And4;
using ly::FullAlphaSse2;
using ly::LoadSse2;
using ly::NoAlphaSse2;
using ly::Or4;
using ly::StoreSse2;

// Sixteen pixels per test (a loop that branches per 16 bytes is held back by
// its taken branches alone on flat runs). Opaque source blocks are copied;
// transparent ones only make the destination opaque.
size_t OpacityBufferSse2(const unsigned char* s, unsigned char* d, size_t n) {
    const __m128i am = _mm_set1_epi32(static_cast<int>(kAlphaBits));
    size_t x = 0;
    for (; x + 16 <= n; x += 16) {
        const unsigned char* sp = s + 4 * x;
        unsigned char* dp = d + 4 * x;
        const __m128i v[4] = {LoadSse2(sp), LoadSse2(sp + 16), LoadSse2(sp + 32), LoadSse2(sp + 48)};
        if (FullAlphaSse2(And4(v))) {
            for (int k = 0; k < 4; ++k) StoreSse2(dp + 16 * k, v[k]);
        } else if (NoAlphaSse2(Or4(v))) {
            for (int k = 0; k < 4; ++k) StoreSse2(dp + 16 * k, _mm_or_si128(LoadSse2(dp + 16 * k), am));
        } else {
            for (int k = 0; k < 4; ++k) StoreSse2(dp + 16 * k, OverBufferSse2(v[k], LoadSse2(dp + 16 * k)));
        }
    }
    for (; x + 4 <= n; x += 4) StoreSse2(d + 4 * x, OverBufferSse2(LoadSse2(s + 4 * x), LoadSse2(d + 4 * x)));
    return x;
}

LY_ALWAYS_INLINE bool SameAs4(const __m128i v[4], __m128i ref) {
    const __m128i eq = _mm_and_si128(_mm_and_si128(_mm_cmpeq_epi32(v[0], ref), _mm_cmpeq_epi32(v[1], ref)),
                                     _mm_and_si128(_mm_cmpeq_epi32(v[2], ref), _mm_cmpeq_epi32(v[3], ref)));
    return AllSse2(eq);
}

// The vector form of the row cache holds the last computed group (input and
// output). Being a function of its input alone, a group equal to it gets its
// output; a flat run of one pixel value repeats the group exactly. The check
// is made for a whole block at once so that it costs little where it misses.
// The cache's starting entry (0, c) / (0, opaque black) is the scalar one
// broadcast, and at the end the last lane is handed to the scalar tail: any
// entry is a true (input, output) pair, so where it came from does not
// matter.

// In place. Opaque blocks are left unwritten, transparent blocks become the
// colour.
size_t OpacityColourSse2(unsigned char* p, size_t n, uint32_t colour, RowCache& cache) {
    const __m128i c = _mm_set1_epi32(static_cast<int>(colour));
    const __m128i c16 = _mm_unpacklo_epi8(c, _mm_setzero_si128());
    __m128i cacheIn = _mm_set1_epi32(static_cast<int>(cache.in));
    __m128i cacheOut = _mm_set1_epi32(static_cast<int>(cache.out));
    size_t x = 0;
    for (; x + 16 <= n; x += 16) {
        unsigned char* bp = p + 4 * x;
        const __m128i v[4] = {LoadSse2(bp), LoadSse2(bp + 16), LoadSse2(bp + 32), LoadSse2(bp + 48)};
        if (FullAlphaSse2(And4(v))) continue;
        if (NoAlphaSse2(Or4(v))) {
            for (int k = 0; k < 4; ++k) StoreSse2(bp + 16 * k, c);
            continue;
        }
        if (SameAs4(v, cacheIn)) {
            for (int k = 0; k < 4; ++k) StoreSse2(bp + 16 * k, cacheOut);
            continue;
        }
        __m128i out;
        for (int k = 0; k < 4; ++k) StoreSse2(bp + 16 * k, out = OverColourSse2(v[k], c16));
        cacheIn = v[3];
        cacheOut = out;
    }
    for (; x + 4 <= n; x += 4) {
        const __m128i v = LoadSse2(p + 4 * x);
        if (!AllSse2(_mm_cmpeq_epi32(v, cacheIn))) {
            cacheIn = v;
            cacheOut = OverColourSse2(v, c16);
        }
        StoreSse2(p + 4 * x, cacheOut);
    }
    cache.in = LastLane(cacheIn);
    cache.out = LastLane(cacheOut);
    return x;
}

// Black, from `s` to `d` (the same buffer for the in-place form, where opaque
// blocks need no store).
template <bool InPlace>
size_t OpacityBlackSse2(const unsigned char* s, unsigned char* d, size_t n, RowCache& cache) {
    const __m128i am = _mm_set1_epi32(static_cast<int>(kAlphaBits));
    __m128i cacheIn = _mm_set1_epi32(static_cast<int>(cache.in));
    __m128i cacheOut = _mm_set1_epi32(static_cast<int>(cache.out));
    size_t x = 0;
    for (; x + 16 <= n; x += 16) {
        const unsigned char* sp = s + 4 * x;
        unsigned char* dp = d + 4 * x;
        const __m128i v[4] = {LoadSse2(sp), LoadSse2(sp + 16), LoadSse2(sp + 32), LoadSse2(sp + 48)};
        if (FullAlphaSse2(And4(v))) {
            if (!InPlace)
                for (int k = 0; k < 4; ++k) StoreSse2(dp + 16 * k, v[k]);
            continue;
        }
        if (NoAlphaSse2(Or4(v))) {
            for (int k = 0; k < 4; ++k) StoreSse2(dp + 16 * k, am);  // opaque black
            continue;
        }
        if (SameAs4(v, cacheIn)) {
            for (int k = 0; k < 4; ++k) StoreSse2(dp + 16 * k, cacheOut);
            continue;
        }
        __m128i out;
        for (int k = 0; k < 4; ++k) StoreSse2(dp + 16 * k, out = OverBlackSse2(v[k]));
        cacheIn = v[3];
        cacheOut = out;
    }
    for (; x + 4 <= n; x += 4) {
        const __m128i v = LoadSse2(s + 4 * x);
        if (!AllSse2(_mm_cmpeq_epi32(v, cacheIn))) {
            cacheIn = v;
            cacheOut = OverBlackSse2(v);
        }
        StoreSse2(d + 4 * x, cacheOut);
    }
    cache.in = LastLane(cacheIn);
    cache.out = LastLane(cacheOut);
    return x;
}

#if LY_HAVE_AVX2_KERNELS

// The AVX2 forms are the SSE2 ones eight pixels wide; the multiplier is
// spread over its pixel's channel lanes by a byte shuffle, and vptest
// classifies a group straight from the pixels (ZF: no alpha bit set, CF: all
// alpha bits set).

LY_TARGET_AVX2 LY_ALWAYS_INLINE __m256i MultiplierAvx2(__m256i p) {
    const __m256i a = _mm256_srli_epi32(p, 24);
    return _mm256_sub_epi32(a, _mm256_cmpeq_epi32(a, _mm256_set1_epi32(255)));
}

// 16-bit multipliers (up to 256: both bytes) of pixels 0, 1 (lo) or 2, 3 (hi)
// of each 128-bit half, four lanes each, matching unpacklo/hi_epi8.
LY_TARGET_AVX2 LY_ALWAYS_INLINE __m256i SpreadAvx2(__m256i m32, bool high) {
    const __m256i lo = _mm256_setr_epi8(0, 1, 0, 1, 0, 1, 0, 1, 4, 5, 4, 5, 4, 5, 4, 5,  //
                                        0, 1, 0, 1, 0, 1, 0, 1, 4, 5, 4, 5, 4, 5, 4, 5);
    const __m256i hi = _mm256_setr_epi8(8, 9, 8, 9, 8, 9, 8, 9, 12, 13, 12, 13, 12, 13, 12, 13,  //
                                        8, 9, 8, 9, 8, 9, 8, 9, 12, 13, 12, 13, 12, 13, 12, 13);
    return _mm256_shuffle_epi8(m32, high ? hi : lo);
}

LY_TARGET_AVX2 LY_ALWAYS_INLINE __m256i BufferHalfAvx2(__m256i s16, __m256i d16, __m256i m16) {
    const __m256i diff = _mm256_sub_epi16(s16, d16);
    const __m256i scaled = _mm256_srli_epi16(_mm256_mullo_epi16(_mm256_abs_epi16(diff), m16), 8);
    return _mm256_add_epi16(d16, _mm256_sign_epi16(scaled, diff));
}

using ly::LoadAvx2;
using ly::StoreAvx2;

LY_TARGET_AVX2 LY_ALWAYS_INLINE __m256i OverBufferAvx2(__m256i sv, __m256i dv) {
    const __m256i zero = _mm256_setzero_si256();
    const __m256i m = MultiplierAvx2(sv);
    const __m256i lo =
        BufferHalfAvx2(_mm256_unpacklo_epi8(sv, zero), _mm256_unpacklo_epi8(dv, zero), SpreadAvx2(m, false));
    const __m256i hi =
        BufferHalfAvx2(_mm256_unpackhi_epi8(sv, zero), _mm256_unpackhi_epi8(dv, zero), SpreadAvx2(m, true));
    return _mm256_or_si256(_mm256_packus_epi16(lo, hi), _mm256_set1_epi32(static_cast<int>(kAlphaBits)));
}

LY_TARGET_AVX2 size_t OpacityBufferAvx2(const unsigned char* s, unsigned char* d, size_t n) {
    const __m256i am = _mm256_set1_epi32(static_cast<int>(kAlphaBits));
    size_t x = 0;
    for (; x + 16 <= n; x += 16) {
        const __m256i s0 = LoadAvx2(s + 4 * x);
        const __m256i s1 = LoadAvx2(s + 4 * x + 32);
        unsigned char* dp = d + 4 * x;
        if (_mm256_testc_si256(_mm256_and_si256(s0, s1), am)) {
            StoreAvx2(dp, s0);
            StoreAvx2(dp + 32, s1);
        } else if (_mm256_testz_si256(_mm256_or_si256(s0, s1), am)) {
            StoreAvx2(dp, _mm256_or_si256(LoadAvx2(dp), am));
            StoreAvx2(dp + 32, _mm256_or_si256(LoadAvx2(dp + 32), am));
        } else {
            StoreAvx2(dp, OverBufferAvx2(s0, LoadAvx2(dp)));
            StoreAvx2(dp + 32, OverBufferAvx2(s1, LoadAvx2(dp + 32)));
        }
    }
    return x + OpacityBufferSse2(s + 4 * x, d + 4 * x, n - x);
}

LY_TARGET_AVX2 LY_ALWAYS_INLINE __m256i Broadcast(uint32_t v) { return _mm256_set1_epi32(static_cast<int>(v)); }

LY_TARGET_AVX2 LY_ALWAYS_INLINE bool BothSameAvx2(__m256i a, __m256i b, __m256i ref) {
    const __m256i x = _mm256_or_si256(_mm256_xor_si256(a, ref), _mm256_xor_si256(b, ref));
    return _mm256_testz_si256(x, x);
}

LY_TARGET_AVX2 LY_ALWAYS_INLINE uint32_t LastLaneAvx2(__m256i v) {
    return static_cast<uint32_t>(_mm256_extract_epi32(v, 7));
}

// The colour and black rules in place, on even bytes (B, R: the low byte of
// each 16-bit lane) and odd bytes (G, A: the high byte) without unpacking:
// every product is at most 255 * 256 and fits an unsigned 16-bit lane, so
// mullo gives it whole; the even results are shifted down into their low
// bytes and the odd ones masked where they already sit. The multiplier (the
// alpha, 256 where it is 255) is spread to both lanes of its pixel by one
// byte shuffle.
LY_TARGET_AVX2 LY_ALWAYS_INLINE __m256i Multiplier16Avx2(__m256i v) {
    const __m256i alphaToWords = _mm256_setr_epi8(3, -1, 3, -1, 7, -1, 7, -1, 11, -1, 11, -1, 15, -1, 15, -1,  //
                                                  3, -1, 3, -1, 7, -1, 7, -1, 11, -1, 11, -1, 15, -1, 15, -1);
    const __m256i a16 = _mm256_shuffle_epi8(v, alphaToWords);
    return _mm256_sub_epi16(a16, _mm256_cmpeq_epi16(a16, _mm256_set1_epi16(255)));
}

LY_TARGET_AVX2 LY_ALWAYS_INLINE __m256i EvenBytes(__m256i v) {
    return _mm256_and_si256(v, _mm256_set1_epi32(0x00FF00FF));
}
LY_TARGET_AVX2 LY_ALWAYS_INLINE __m256i OddBytes(__m256i v) { return _mm256_srli_epi16(v, 8); }

// (c * (256 - m) + p * m) >> 8 per channel, computed as (p - c) * m + c * 256:
// the terms wrap in 16 bits, but their sum is the true value (0 .. 255 * 256),
// so it comes out whole. The alpha byte comes out as c's own alpha where m
// is 0 and is made opaque everywhere else.
struct SLyColourAvx2 {
    __m256i even, odd;        // the colour's even and odd bytes
    __m256i even256, odd256;  // the same times 256
};

LY_TARGET_AVX2 LY_ALWAYS_INLINE SLyColourAvx2 ColourAvx2(__m256i c) {
    const __m256i even = EvenBytes(c), odd = OddBytes(c);
    return {even, odd, _mm256_slli_epi16(even, 8), _mm256_slli_epi16(odd, 8)};
}

LY_TARGET_AVX2 LY_ALWAYS_INLINE __m256i OverColourAvx2(__m256i v, const SLyColourAvx2& c) {
    const __m256i m = Multiplier16Avx2(v);
    const __m256i e = _mm256_srli_epi16(
        _mm256_add_epi16(_mm256_mullo_epi16(_mm256_sub_epi16(EvenBytes(v), c.even), m), c.even256), 8);
    const __m256i o =
        _mm256_and_si256(_mm256_add_epi16(_mm256_mullo_epi16(_mm256_sub_epi16(OddBytes(v), c.odd), m), c.odd256),
                         _mm256_set1_epi32(static_cast<int>(0xFF00FF00u)));
    const __m256i transparent = _mm256_cmpeq_epi16(m, _mm256_setzero_si256());
    const __m256i opaque = _mm256_andnot_si256(transparent, _mm256_set1_epi32(static_cast<int>(kAlphaBits)));
    return _mm256_or_si256(_mm256_or_si256(e, o), opaque);
}

// floor(p * m / 256) per channel, alpha made opaque.
LY_TARGET_AVX2 LY_ALWAYS_INLINE __m256i OverBlackAvx2(__m256i v) {
    const __m256i m = Multiplier16Avx2(v);
    const __m256i e = _mm256_srli_epi16(_mm256_mullo_epi16(EvenBytes(v), m), 8);
    const __m256i o = _mm256_and_si256(_mm256_mullo_epi16(OddBytes(v), m), _mm256_set1_epi32(0x0000FF00));
    return _mm256_or_si256(_mm256_or_si256(e, o), _mm256_set1_epi32(static_cast<int>(kOpaqueBlack)));
}

// The AVX2 forms keep the vector row cache of the SSE2 ones (the last group
// computed): on a flat translucent area it still saves more than its compare
// costs on busy rows, measured against computing every group.
LY_TARGET_AVX2 size_t OpacityColourAvx2(unsigned char* p, size_t n, uint32_t colour, RowCache& cache) {
    const __m256i am = _mm256_set1_epi32(static_cast<int>(kAlphaBits));
    const __m256i c = Broadcast(colour);
    const SLyColourAvx2 cs = ColourAvx2(c);
    __m256i cacheIn = Broadcast(cache.in);
    __m256i cacheOut = Broadcast(cache.out);
    size_t x = 0;
    for (; x + 16 <= n; x += 16) {
        unsigned char* bp = p + 4 * x;
        const __m256i v0 = LoadAvx2(bp);
        const __m256i v1 = LoadAvx2(bp + 32);
        if (_mm256_testc_si256(_mm256_and_si256(v0, v1), am)) continue;
        if (_mm256_testz_si256(_mm256_or_si256(v0, v1), am)) {
            StoreAvx2(bp, c);
            StoreAvx2(bp + 32, c);
            continue;
        }
        if (BothSameAvx2(v0, v1, cacheIn)) {
            StoreAvx2(bp, cacheOut);
            StoreAvx2(bp + 32, cacheOut);
            continue;
        }
        StoreAvx2(bp, OverColourAvx2(v0, cs));
        cacheIn = v1;
        cacheOut = OverColourAvx2(v1, cs);
        StoreAvx2(bp + 32, cacheOut);
    }
    cache.in = LastLaneAvx2(cacheIn);
    cache.out = LastLaneAvx2(cacheOut);
    return x + OpacityColourSse2(p + 4 * x, n - x, colour, cache);
}

template <bool InPlace>
LY_TARGET_AVX2 size_t OpacityBlackAvx2(const unsigned char* s, unsigned char* d, size_t n, RowCache& cache) {
    const __m256i am = _mm256_set1_epi32(static_cast<int>(kAlphaBits));
    __m256i cacheIn = Broadcast(cache.in);
    __m256i cacheOut = Broadcast(cache.out);
    size_t x = 0;
    for (; x + 16 <= n; x += 16) {
        const __m256i v0 = LoadAvx2(s + 4 * x);
        const __m256i v1 = LoadAvx2(s + 4 * x + 32);
        unsigned char* dp = d + 4 * x;
        if (_mm256_testc_si256(_mm256_and_si256(v0, v1), am)) {
            if (!InPlace) {
                StoreAvx2(dp, v0);
                StoreAvx2(dp + 32, v1);
            }
            continue;
        }
        if (_mm256_testz_si256(_mm256_or_si256(v0, v1), am)) {
            StoreAvx2(dp, am);  // opaque black
            StoreAvx2(dp + 32, am);
            continue;
        }
        if (BothSameAvx2(v0, v1, cacheIn)) {
            StoreAvx2(dp, cacheOut);
            StoreAvx2(dp + 32, cacheOut);
            continue;
        }
        StoreAvx2(dp, OverBlackAvx2(v0));
        cacheIn = v1;
        cacheOut = OverBlackAvx2(v1);
        StoreAvx2(dp + 32, cacheOut);
    }
    cache.in = LastLaneAvx2(cacheIn);
    cache.out = LastLaneAvx2(cacheOut);
    return x + OpacityBlackSse2<InPlace>(s + 4 * x, d + 4 * x, n - x, cache);
}

#endif  // LY_HAVE_AVX2_KERNELS
#endif  // LY_X86

// ---------------------------------------------------------------- row kernels

void MixOpacityRow(ly::Isa isa, const unsigned char* s, unsigned char* d, int width) {
    const size_t n = static_cast<size_t>(width);
    const size_t done = LY_WIDEST_FORM(isa, OpacityBufferAvx2(s, d, n), OpacityBufferSse2(s, d, n), size_t{0});
    OpacityBufferScalar(s, d, done, n);
}

void MixOpacityColorRow(ly::Isa isa, unsigned char* p, int width, uint32_t colour) {
    const size_t n = static_cast<size_t>(width);
    RowCache cache{0, colour};
    const size_t done = LY_WIDEST_FORM(isa, OpacityColourAvx2(p, n, colour, cache),
                                            OpacityColourSse2(p, n, colour, cache), size_t{0});
    OpacityColourScalar(p, done, n, colour, cache);
}

template <bool InPlace>
void MixOpacityBlackRow(ly::Isa isa, const unsigned char* s, unsigned char* d, int width) {
    const size_t n = static_cast<size_t>(width);
    RowCache cache{0, kOpaqueBlack};
    const size_t done = LY_WIDEST_FORM(isa, OpacityBlackAvx2<InPlace>(s, d, n, cache),
                                            OpacityBlackSse2<InPlace>(s, d, n, cache), size_t{0});
    OpacityBlackScalar(s, d, done, n, cache);
}

}  // namespace

namespace LyPixelUtils {

void MixWithOpacityBuffer(const unsigned char* source, int sourcePitch, unsigned char* destination,
                          int destinationPitch, int width, int height) {
    if (width < 1 || height < 1 || destinationPitch < 1 || sourcePitch < 1) return;
    if (source == nullptr || destination == nullptr) return;
    const ly::Isa isa = ly::ActiveIsa();
    ly::ParallelEachRow(
        height,
        [&](int r) { MixOpacityRow(isa, ly::RowAt(source, sourcePitch, r), ly::RowAt(destination, destinationPitch, r), width); },
        ly::PoolRoute::Exported);
}

void MixWithOpacityColor(unsigned char* image, int width, int height, int pitch, uint32_t color) {
    if (width < 1 || height < 1 || pitch < 1 || color == 0) return;
    if (image == nullptr) return;
    const ly::Isa isa = ly::ActiveIsa();
    ly::ParallelEachRow(
        height, [&](int r) { MixOpacityColorRow(isa, ly::RowAt(image, pitch, r), width, color); }, ly::PoolRoute::Exported);
}

void MixWithOpacityBlack(unsigned char* image, int width, int height, int pitch) {
    if (width < 1 || height < 1 || pitch < 1) return;
    if (image == nullptr) return;
    const ly::Isa isa = ly::ActiveIsa();
    ly::ParallelEachRow(
        height,
        [&](int r) {
            unsigned char* p = ly::RowAt(image, pitch, r);
            MixOpacityBlackRow<true>(isa, p, p, width);
        },
        ly::PoolRoute::Exported);
}

void MixWithOpacityBlack(const unsigned char* source, int sourcePitch, unsigned char* destination, int destinationPitch,
                         int width, int height) {
    if (width < 1 || height < 1) return;
    if (source == nullptr || destination == nullptr) return;
    const ly::Isa isa = ly::ActiveIsa();
    ly::ParallelEachRow(height, [&](int r) {
        MixOpacityBlackRow<false>(isa, ly::RowAt(source, sourcePitch, r), ly::RowAt(destination, destinationPitch, r),
                                  width);
    });
}

}  // namespace LyPixelUtils
