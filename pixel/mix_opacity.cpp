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
#include "threading/LyBandFrame.h"

#if defined(__GNUC__) || defined(__clang__)
#define LY_ALWAYS_INLINE inline __attribute__((always_inline))
#else
#define LY_ALWAYS_INLINE inline
#endif

namespace {

constexpr uint32_t kAlphaBits = 0xFF000000u;
constexpr uint32_t kOpaqueBlack = 0xFF000000u;

LY_ALWAYS_INLINE uint32_t Load32(const unsigned char* p) {
    uint32_t v;
    std::memcpy(&v, p, 4);
    return v;
}

LY_ALWAYS_INLINE void Store32(unsigned char* p, uint32_t v) { std::memcpy(p, &v, 4); }

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
// Four (SSE2) or eight (AVX2) pixels per step in 16-bit lanes. Products of an
// 8-bit value and an 8-bit alpha reach 65025, so they are kept unsigned
// (logical shifts) or, where a sign is needed, split into sign and magnitude.
// The colour rule uses floor(c + (p - c) * a / 256) = (c * (256 - a) + p * a)
// >> 8, whose terms are non-negative and sum to at most 255 * 256.

#if LY_X86

LY_ALWAYS_INLINE __m128i SpreadAlphaSse2(__m128i a32, bool high) {
    const __m128i a2 = _mm_or_si128(a32, _mm_slli_epi32(a32, 16));
    return high ? _mm_unpackhi_epi32(a2, a2) : _mm_unpacklo_epi32(a2, a2);
}

LY_ALWAYS_INLINE __m128i Select(__m128i mask, __m128i yes, __m128i no) {
    return _mm_or_si128(_mm_and_si128(mask, yes), _mm_andnot_si128(mask, no));
}

LY_ALWAYS_INLINE int AlphaEq(__m128i a, __m128i value) { return _mm_movemask_epi8(_mm_cmpeq_epi32(a, value)); }

LY_ALWAYS_INLINE __m128i BufferHalfSse2(__m128i s16, __m128i d16, __m128i a16) {
    const __m128i diff = _mm_sub_epi16(s16, d16);
    const __m128i sign = _mm_srai_epi16(diff, 15);
    const __m128i magnitude = _mm_sub_epi16(_mm_xor_si128(diff, sign), sign);
    const __m128i scaled = _mm_srli_epi16(_mm_mullo_epi16(magnitude, a16), 8);
    return _mm_add_epi16(d16, _mm_sub_epi16(_mm_xor_si128(scaled, sign), sign));
}

LY_ALWAYS_INLINE __m128i OverBufferSse2(__m128i s, __m128i d) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i alpha = _mm_set1_epi32(static_cast<int>(kAlphaBits));
    const __m128i a = _mm_srli_epi32(s, 24);
    const __m128i lo = BufferHalfSse2(_mm_unpacklo_epi8(s, zero), _mm_unpacklo_epi8(d, zero), SpreadAlphaSse2(a, false));
    const __m128i hi = BufferHalfSse2(_mm_unpackhi_epi8(s, zero), _mm_unpackhi_epi8(d, zero), SpreadAlphaSse2(a, true));
    const __m128i mixed = _mm_or_si128(_mm_packus_epi16(lo, hi), alpha);
    return Select(_mm_cmpeq_epi32(a, _mm_set1_epi32(255)), s, mixed);
}

size_t OpacityBufferSse2(const unsigned char* s, unsigned char* d, size_t n) {
    const __m128i alpha = _mm_set1_epi32(static_cast<int>(kAlphaBits));
    size_t x = 0;
    for (; x + 4 <= n; x += 4) {
        const __m128i sv = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 4 * x));
        __m128i* dp = reinterpret_cast<__m128i*>(d + 4 * x);
        const __m128i a = _mm_and_si128(sv, alpha);
        if (AlphaEq(a, alpha) == 0xFFFF) {
            _mm_storeu_si128(dp, sv);
        } else if (AlphaEq(a, _mm_setzero_si128()) == 0xFFFF) {
            _mm_storeu_si128(dp, _mm_or_si128(_mm_loadu_si128(dp), alpha));
        } else {
            _mm_storeu_si128(dp, OverBufferSse2(sv, _mm_loadu_si128(dp)));
        }
    }
    return x;
}

LY_ALWAYS_INLINE __m128i ColourHalfSse2(__m128i p16, __m128i c16, __m128i a16) {
    const __m128i inverse = _mm_sub_epi16(_mm_set1_epi16(256), a16);
    return _mm_srli_epi16(_mm_add_epi16(_mm_mullo_epi16(c16, inverse), _mm_mullo_epi16(p16, a16)), 8);
}

LY_ALWAYS_INLINE __m128i OverColourSse2(__m128i p, __m128i c) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i a = _mm_srli_epi32(p, 24);
    const __m128i lo = ColourHalfSse2(_mm_unpacklo_epi8(p, zero), _mm_unpacklo_epi8(c, zero), SpreadAlphaSse2(a, false));
    const __m128i hi = ColourHalfSse2(_mm_unpackhi_epi8(p, zero), _mm_unpackhi_epi8(c, zero), SpreadAlphaSse2(a, true));
    __m128i out = _mm_or_si128(_mm_packus_epi16(lo, hi), _mm_set1_epi32(static_cast<int>(kAlphaBits)));
    out = Select(_mm_cmpeq_epi32(a, zero), c, out);
    return Select(_mm_cmpeq_epi32(a, _mm_set1_epi32(255)), p, out);
}

LY_ALWAYS_INLINE __m128i OverBlackSse2(__m128i p) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i a = _mm_srli_epi32(p, 24);
    const __m128i lo = _mm_srli_epi16(_mm_mullo_epi16(_mm_unpacklo_epi8(p, zero), SpreadAlphaSse2(a, false)), 8);
    const __m128i hi = _mm_srli_epi16(_mm_mullo_epi16(_mm_unpackhi_epi8(p, zero), SpreadAlphaSse2(a, true)), 8);
    const __m128i out = _mm_or_si128(_mm_packus_epi16(lo, hi), _mm_set1_epi32(static_cast<int>(kAlphaBits)));
    return Select(_mm_cmpeq_epi32(a, _mm_set1_epi32(255)), p, out);
}

LY_ALWAYS_INLINE uint32_t LastLane(__m128i v) { return static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_shuffle_epi32(v, 0xFF))); }

// In place. Opaque groups are left unwritten; transparent groups become the
// colour; a group repeating the cached input gets the cached output.
size_t OpacityColourSse2(unsigned char* p, size_t n, uint32_t colour, RowCache& cache) {
    const __m128i alpha = _mm_set1_epi32(static_cast<int>(kAlphaBits));
    const __m128i c = _mm_set1_epi32(static_cast<int>(colour));
    __m128i cacheIn = _mm_set1_epi32(static_cast<int>(cache.in));
    __m128i cacheOut = _mm_set1_epi32(static_cast<int>(cache.out));
    size_t x = 0;
    for (; x + 4 <= n; x += 4) {
        __m128i* pp = reinterpret_cast<__m128i*>(p + 4 * x);
        const __m128i v = _mm_loadu_si128(pp);
        const __m128i a = _mm_and_si128(v, alpha);
        if (AlphaEq(a, alpha) == 0xFFFF) continue;
        if (AlphaEq(a, _mm_setzero_si128()) == 0xFFFF) {
            _mm_storeu_si128(pp, c);
            continue;
        }
        if (AlphaEq(v, cacheIn) == 0xFFFF) {
            _mm_storeu_si128(pp, cacheOut);
            continue;
        }
        const __m128i out = OverColourSse2(v, c);
        _mm_storeu_si128(pp, out);
        cacheIn = _mm_shuffle_epi32(v, 0xFF);
        cacheOut = _mm_shuffle_epi32(out, 0xFF);
    }
    // The scalar tail continues from the groups' cache entry: any entry is a
    // true (input, output) pair, so where it came from does not matter.
    cache.in = LastLane(cacheIn);
    cache.out = LastLane(cacheOut);
    return x;
}

// Black, from `s` to `d` (the same buffer for the in-place form, where opaque
// groups need no store).
template <bool InPlace>
size_t OpacityBlackSse2(const unsigned char* s, unsigned char* d, size_t n, RowCache& cache) {
    const __m128i alpha = _mm_set1_epi32(static_cast<int>(kAlphaBits));
    const __m128i black = _mm_set1_epi32(static_cast<int>(kOpaqueBlack));
    __m128i cacheIn = _mm_set1_epi32(static_cast<int>(cache.in));
    __m128i cacheOut = _mm_set1_epi32(static_cast<int>(cache.out));
    size_t x = 0;
    for (; x + 4 <= n; x += 4) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 4 * x));
        __m128i* dp = reinterpret_cast<__m128i*>(d + 4 * x);
        const __m128i a = _mm_and_si128(v, alpha);
        if (AlphaEq(a, alpha) == 0xFFFF) {
            if (!InPlace) _mm_storeu_si128(dp, v);
            continue;
        }
        if (AlphaEq(a, _mm_setzero_si128()) == 0xFFFF) {
            _mm_storeu_si128(dp, black);
            continue;
        }
        if (AlphaEq(v, cacheIn) == 0xFFFF) {
            _mm_storeu_si128(dp, cacheOut);
            continue;
        }
        const __m128i out = OverBlackSse2(v);
        _mm_storeu_si128(dp, out);
        cacheIn = _mm_shuffle_epi32(v, 0xFF);
        cacheOut = _mm_shuffle_epi32(out, 0xFF);
    }
    cache.in = LastLane(cacheIn);
    cache.out = LastLane(cacheOut);
    return x;
}

#endif  // LY_X86

// ---------------------------------------------------------------- row kernels

void MixOpacityRow(ly::Isa isa, const unsigned char* s, unsigned char* d, int width) {
    const size_t n = static_cast<size_t>(width);
    size_t done = 0;
#if LY_X86
    if (isa != ly::Isa::Scalar) done = OpacityBufferSse2(s, d, n);
#else
    (void)isa;
#endif
    OpacityBufferScalar(s, d, done, n);
}

void MixOpacityColorRow(ly::Isa isa, unsigned char* p, int width, uint32_t colour) {
    const size_t n = static_cast<size_t>(width);
    RowCache cache{0, colour};
    size_t done = 0;
#if LY_X86
    if (isa != ly::Isa::Scalar) done = OpacityColourSse2(p, n, colour, cache);
#else
    (void)isa;
#endif
    OpacityColourScalar(p, done, n, colour, cache);
}

template <bool InPlace>
void MixOpacityBlackRow(ly::Isa isa, const unsigned char* s, unsigned char* d, int width) {
    const size_t n = static_cast<size_t>(width);
    RowCache cache{0, kOpaqueBlack};
    size_t done = 0;
#if LY_X86
    if (isa != ly::Isa::Scalar) done = OpacityBlackSse2<InPlace>(s, d, n, cache);
#else
    (void)isa;
#endif
    OpacityBlackScalar(s, d, done, n, cache);
}

}  // namespace

namespace LyPixelUtils {

void MixWithOpacityBuffer(const unsigned char* source, int sourcePitch, unsigned char* destination,
                          int destinationPitch, int width, int height) {
    if (width < 1 || height < 1 || destinationPitch < 1 || sourcePitch < 1) return;
    if (source == nullptr || destination == nullptr) return;
    const ly::Isa isa = ly::ActiveIsa();
    ly::ParallelRows(ly::PoolRoute::Exported, height, [&](int firstRow, int rows) {
        const unsigned char* s = ly::RowAt(source, sourcePitch, firstRow);
        unsigned char* d = ly::RowAt(destination, destinationPitch, firstRow);
        for (int r = 0; r < rows; ++r, s += sourcePitch, d += destinationPitch) MixOpacityRow(isa, s, d, width);
    });
}

void MixWithOpacityColor(unsigned char* image, int width, int height, int pitch, uint32_t color) {
    if (width < 1 || height < 1 || pitch < 1 || color == 0) return;
    if (image == nullptr) return;
    const ly::Isa isa = ly::ActiveIsa();
    ly::ParallelRows(ly::PoolRoute::Exported, height, [&](int firstRow, int rows) {
        unsigned char* p = ly::RowAt(image, pitch, firstRow);
        for (int r = 0; r < rows; ++r, p += pitch) MixOpacityColorRow(isa, p, width, color);
    });
}

void MixWithOpacityBlack(unsigned char* image, int width, int height, int pitch) {
    if (width < 1 || height < 1 || pitch < 1) return;
    if (image == nullptr) return;
    const ly::Isa isa = ly::ActiveIsa();
    ly::ParallelRows(ly::PoolRoute::Exported, height, [&](int firstRow, int rows) {
        unsigned char* p = ly::RowAt(image, pitch, firstRow);
        for (int r = 0; r < rows; ++r, p += pitch) MixOpacityBlackRow<true>(isa, p, p, width);
    });
}

void MixWithOpacityBlack(const unsigned char* source, int sourcePitch, unsigned char* destination,
                         int destinationPitch, int width, int height) {
    if (width < 1 || height < 1) return;
    if (source == nullptr || destination == nullptr) return;
    const ly::Isa isa = ly::ActiveIsa();
    ly::ParallelRows(ly::PoolRoute::Internal, height, [&](int firstRow, int rows) {
        const unsigned char* s = ly::RowAt(source, sourcePitch, firstRow);
        unsigned char* d = ly::RowAt(destination, destinationPitch, firstRow);
        for (int r = 0; r < rows; ++r, s += sourcePitch, d += destinationPitch)
            MixOpacityBlackRow<false>(isa, s, d, width);
    });
}

}  // namespace LyPixelUtils
