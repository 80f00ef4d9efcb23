// Sub-pixel shifts of 32-bit images and 16-bit alpha planes.
//
// Three row kernels serve all six entry points: the two-pixel mix of 32-bit
// pixels (a with the pixel after it, along a row or down a column), the edge
// rule of 32-bit pixels (alpha faded, colour kept) and the two-sample mix of
// 16-bit planes (the edge rule being the same mix with a weight of 0 on a
// zero sample, computed directly).
//
// The 32-bit colour weight is floor(128 * B / (A + B)) with A, B the two
// alpha shares (each at most 255 * 128). The vector forms divide in single
// precision: numerator (< 2^23) and divisor (< 2^15) are exact floats, and a
// quotient below 128 that is not an integer lies at least 1 / divisor
// (>= 2^-15) from the next integer, far more than half an ulp (2^-18 at most
// there), so truncating the correctly rounded quotient gives the integer
// floor exactly. The scalar forms divide integers; the bytes agree.

#include <cstring>

#include "LyPixelUtils.h"
#include "memory/LyCpu.h"
#include "memory/LyUnaligned.h"
#include "threading/LyBandFrame.h"

namespace ly::subpixel {
namespace {

// ------------------------------------------------------------ scalar forms

inline uint32_t MixPixel(uint32_t a, uint32_t b, unsigned w) {
    const unsigned aA = a >> 24, bA = b >> 24;
    const unsigned shareA = aA * (128u - w), shareB = bA * w, sum = shareA + shareB;
    const unsigned wc = sum != 0 ? (128u * shareB) / sum : w;
    uint32_t out = (sum >> 7) << 24;
    for (int shift = 0; shift < 24; shift += 8) {
        const unsigned ca = (a >> shift) & 0xFFu, cb = (b >> shift) & 0xFFu;
        out |= ((ca * (128u - wc) + cb * wc) >> 7) << shift;
    }
    return out;
}

inline uint32_t EdgePixel(uint32_t a, unsigned w) {
    return (a & 0x00FFFFFFu) | ((((a >> 24) * (128u - w)) >> 7) << 24);
}

// Pixels from..n-1: d[x] = mix(a[x], b[x]).
void MixRowScalar(const unsigned char* a, const unsigned char* b, unsigned char* d, size_t from, size_t n,
                  unsigned w) {
    for (size_t x = from; x < n; ++x) Store32(d + 4 * x, MixPixel(Load32(a + 4 * x), Load32(b + 4 * x), w));
}

void EdgeRowScalar(const unsigned char* a, unsigned char* d, size_t from, size_t n, unsigned w) {
    for (size_t x = from; x < n; ++x) Store32(d + 4 * x, EdgePixel(Load32(a + 4 * x), w));
}

void Mix16RowScalar(const unsigned char* a, const unsigned char* b, unsigned char* d, size_t from, size_t n,
                    unsigned w) {
    for (size_t x = from; x < n; ++x)
        Store16(d + 2 * x, (Load16(a + 2 * x) * (128u - w) + Load16(b + 2 * x) * w) >> 7);
}

void Edge16RowScalar(const unsigned char* a, unsigned char* d, size_t from, size_t n, unsigned w) {
    for (size_t x = from; x < n; ++x) Store16(d + 2 * x, (Load16(a + 2 * x) * (128u - w)) >> 7);
}

#if LY_X86

// ------------------------------------------------------------ SSE2 forms

// Four pixels: 16-bit weights [wc wc wc w] per pixel, low pair and high pair.
inline void ColourWeightsSse2(__m128i va, __m128i vb, unsigned w, __m128i& lo, __m128i& hi) {
    const __m128i wAll = _mm_set1_epi16(static_cast<short>(w));
    if ((_mm_movemask_epi8(_mm_cmpeq_epi8(va, vb)) & 0x8888) == 0x8888) {
        lo = hi = wAll;  // equal alphas mix by exactly w
        return;
    }
    const __m128i aA = _mm_srli_epi32(va, 24), bA = _mm_srli_epi32(vb, 24);
    const __m128i shareA = _mm_mullo_epi16(aA, _mm_set1_epi32(static_cast<int>(128u - w)));
    const __m128i shareB = _mm_mullo_epi16(bA, _mm_set1_epi32(static_cast<int>(w)));
    const __m128i sum = _mm_add_epi32(shareA, shareB);
    const __m128 q = _mm_div_ps(_mm_cvtepi32_ps(_mm_slli_epi32(shareB, 7)), _mm_cvtepi32_ps(sum));
    const __m128i zero = _mm_cmpeq_epi32(sum, _mm_setzero_si128());
    __m128i wc = _mm_cvttps_epi32(q);
    wc = _mm_or_si128(_mm_andnot_si128(zero, wc), _mm_and_si128(zero, _mm_set1_epi32(static_cast<int>(w))));
    const __m128i wc2 = _mm_or_si128(wc, _mm_slli_epi32(wc, 16));
    const __m128i alphaLanes = _mm_set_epi16(-1, 0, 0, 0, -1, 0, 0, 0);
    lo = _mm_or_si128(_mm_andnot_si128(alphaLanes, _mm_unpacklo_epi32(wc2, wc2)), _mm_and_si128(alphaLanes, wAll));
    hi = _mm_or_si128(_mm_andnot_si128(alphaLanes, _mm_unpackhi_epi32(wc2, wc2)), _mm_and_si128(alphaLanes, wAll));
}

inline __m128i Lerp16Sse2(__m128i a, __m128i b, __m128i wb) {
    const __m128i wa = _mm_sub_epi16(_mm_set1_epi16(128), wb);
    return _mm_srli_epi16(_mm_add_epi16(_mm_mullo_epi16(a, wa), _mm_mullo_epi16(b, wb)), 7);
}

size_t MixRowSse2(const unsigned char* a, const unsigned char* b, unsigned char* d, size_t n, unsigned w) {
    const __m128i zero = _mm_setzero_si128();
    size_t x = 0;
    for (; x + 4 <= n; x += 4) {
        const __m128i va = _mm_loadu_si128(reinterpret_cast<const __m128i*>(a + 4 * x));
        const __m128i vb = _mm_loadu_si128(reinterpret_cast<const __m128i*>(b + 4 * x));
        __m128i wlo, whi;
        ColourWeightsSse2(va, vb, w, wlo, whi);
        const __m128i lo = Lerp16Sse2(_mm_unpacklo_epi8(va, zero), _mm_unpacklo_epi8(vb, zero), wlo);
        const __m128i hi = Lerp16Sse2(_mm_unpackhi_epi8(va, zero), _mm_unpackhi_epi8(vb, zero), whi);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 4 * x), _mm_packus_epi16(lo, hi));
    }
    return x;
}

size_t EdgeRowSse2(const unsigned char* a, unsigned char* d, size_t n, unsigned w) {
    const __m128i keep = _mm_set1_epi32(0x00FFFFFF);
    const __m128i wa = _mm_set1_epi32(static_cast<int>(128u - w));
    size_t x = 0;
    for (; x + 4 <= n; x += 4) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(a + 4 * x));
        const __m128i alpha = _mm_srli_epi32(_mm_mullo_epi16(_mm_srli_epi32(v, 24), wa), 7);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 4 * x),
                         _mm_or_si128(_mm_and_si128(v, keep), _mm_slli_epi32(alpha, 24)));
    }
    return x;
}

// (s0 * w0 + s1 * w1) >> 7 for unsigned 16-bit samples, exact: the 32-bit
// sums are kept as high and low halves (with the carry) and the result,
// below 2^16, is (high << 9) | (low >> 7).
inline __m128i Mix16Sse2(__m128i s0, __m128i s1, __m128i w0, __m128i w1) {
    const __m128i lo0 = _mm_mullo_epi16(s0, w0), hi0 = _mm_mulhi_epu16(s0, w0);
    const __m128i lo1 = _mm_mullo_epi16(s1, w1), hi1 = _mm_mulhi_epu16(s1, w1);
    const __m128i low = _mm_add_epi16(lo0, lo1);
    const __m128i bias = _mm_set1_epi16(static_cast<short>(0x8000));
    const __m128i carry = _mm_cmpgt_epi16(_mm_xor_si128(lo0, bias), _mm_xor_si128(low, bias));
    const __m128i high = _mm_sub_epi16(_mm_add_epi16(hi0, hi1), carry);
    return _mm_or_si128(_mm_slli_epi16(high, 9), _mm_srli_epi16(low, 7));
}

size_t Mix16RowSse2(const unsigned char* a, const unsigned char* b, unsigned char* d, size_t n, unsigned w) {
    const __m128i w0 = _mm_set1_epi16(static_cast<short>(128u - w)), w1 = _mm_set1_epi16(static_cast<short>(w));
    size_t x = 0;
    for (; x + 8 <= n; x += 8) {
        const __m128i s0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(a + 2 * x));
        const __m128i s1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(b + 2 * x));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 2 * x), Mix16Sse2(s0, s1, w0, w1));
    }
    return x;
}

size_t Edge16RowSse2(const unsigned char* a, unsigned char* d, size_t n, unsigned w) {
    const __m128i w0 = _mm_set1_epi16(static_cast<short>(128u - w));
    size_t x = 0;
    for (; x + 8 <= n; x += 8) {
        const __m128i s = _mm_loadu_si128(reinterpret_cast<const __m128i*>(a + 2 * x));
        const __m128i r = _mm_or_si128(_mm_slli_epi16(_mm_mulhi_epu16(s, w0), 9),
                                       _mm_srli_epi16(_mm_mullo_epi16(s, w0), 7));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 2 * x), r);
    }
    return x;
}

#if LY_HAVE_AVX2_KERNELS

// ------------------------------------------------------------ AVX2 forms
// The same steps on eight pixels (sixteen samples); every operation stays
// within its 128-bit lane, so the lane layout is the SSE2 one twice.

// Weights 1..127 only (the row function copies for 0 and 128). Blocks whose
// two sides have equal alphas mix by exactly w, and with both weights within
// a signed byte one multiply-add does a pair of channels.
LY_TARGET_AVX2 inline __m256i MixEqualAlphaAvx2(__m256i va, __m256i vb, __m256i bytePair) {
    const __m256i lo = _mm256_srli_epi16(_mm256_maddubs_epi16(_mm256_unpacklo_epi8(va, vb), bytePair), 7);
    const __m256i hi = _mm256_mulhi_epu16(_mm256_maddubs_epi16(_mm256_unpackhi_epi8(va, vb), bytePair),
                                          _mm256_set1_epi16(512));
    return _mm256_packus_epi16(lo, hi);
}

// Any eight pixels: the alpha-share weight per pixel.
LY_TARGET_AVX2 inline __m256i MixAnyAlphaAvx2(__m256i va, __m256i vb, unsigned w, __m256i bytePair) {
    const unsigned same = static_cast<unsigned>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(va, vb)));
    if ((same & 0x88888888u) == 0x88888888u) return MixEqualAlphaAvx2(va, vb, bytePair);
    const __m256i zero = _mm256_setzero_si256();
    const __m256i wAll = _mm256_set1_epi16(static_cast<short>(w));
    const __m256i w128 = _mm256_set1_epi16(128);
    const __m256i alphaLanes = _mm256_set_epi16(-1, 0, 0, 0, -1, 0, 0, 0, -1, 0, 0, 0, -1, 0, 0, 0);
    const __m256i aA = _mm256_srli_epi32(va, 24), bA = _mm256_srli_epi32(vb, 24);
    const __m256i shareA = _mm256_mullo_epi16(aA, _mm256_set1_epi32(static_cast<int>(128u - w)));
    const __m256i shareB = _mm256_mullo_epi16(bA, _mm256_set1_epi32(static_cast<int>(w)));
    const __m256i sum = _mm256_add_epi32(shareA, shareB);
    const __m256 q = _mm256_div_ps(_mm256_cvtepi32_ps(_mm256_slli_epi32(shareB, 7)), _mm256_cvtepi32_ps(sum));
    const __m256i isZero = _mm256_cmpeq_epi32(sum, zero);
    const __m256i wc = _mm256_blendv_epi8(_mm256_cvttps_epi32(q), _mm256_set1_epi32(static_cast<int>(w)), isZero);
    const __m256i wc2 = _mm256_or_si256(wc, _mm256_slli_epi32(wc, 16));
    const __m256i wlo = _mm256_blendv_epi8(_mm256_unpacklo_epi32(wc2, wc2), wAll, alphaLanes);
    const __m256i whi = _mm256_blendv_epi8(_mm256_unpackhi_epi32(wc2, wc2), wAll, alphaLanes);
    const __m256i lo = _mm256_srli_epi16(
        _mm256_add_epi16(_mm256_mullo_epi16(_mm256_unpacklo_epi8(va, zero), _mm256_sub_epi16(w128, wlo)),
                         _mm256_mullo_epi16(_mm256_unpacklo_epi8(vb, zero), wlo)),
        7);
    const __m256i hi = _mm256_srli_epi16(
        _mm256_add_epi16(_mm256_mullo_epi16(_mm256_unpackhi_epi8(va, zero), _mm256_sub_epi16(w128, whi)),
                         _mm256_mullo_epi16(_mm256_unpackhi_epi8(vb, zero), whi)),
        7);
    return _mm256_packus_epi16(lo, hi);
}

// Rows are mostly flat in alpha (opaque pictures, solid titles), so the alpha
// test runs once per 32 pixels and the whole run takes the plain blend with
// no branch per block. Along a row (kAlongRow: b is a one pixel on) the 33
// pixels are all opaque or not: four ands, the cheapest test, and what keeps
// the row within reach of a plain copy. Down a column the two rows are
// compared: xor the two sides, or the four blocks, one test of the alpha
// bytes. All loads come before the first store, so the in-place row
// (destination = a) still reads its own source bytes.
//
// The opaque blend is 7 vector operations per 8 pixels, 3 of them shuffles
// (2 unpacks, 1 pack), against a copy's load and store; on the 2-pipe shuffle
// units of current cores that keeps it near 2.1x a copy of the row. A 512-bit
// form of the same loop measured only 7-10% faster on a core that splits
// 512-bit operations in two, which does not pay for a third instruction-set
// level.
template <bool kAlongRow>
LY_TARGET_AVX2 size_t MixRowAvx2(const unsigned char* a, const unsigned char* b, unsigned char* d, size_t n,
                                 unsigned w) {
    const __m256i bytePair = _mm256_set1_epi16(static_cast<short>((w << 8) | (128u - w)));
    const __m256i alphaBytes = _mm256_set1_epi32(static_cast<int>(0xFF000000u));
    size_t x = 0;
    for (; x + 32 <= n; x += 32) {
        const unsigned char *pa = a + 4 * x, *pb = b + 4 * x;
        const __m256i a0 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(pa)), a1 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(pa + 32)), a2 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(pa + 64)), a3 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(pa + 96));
        const __m256i b0 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(pb)), b1 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(pb + 32)), b2 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(pb + 64)), b3 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(pb + 96));
        bool flat;
        if constexpr (kAlongRow) {
            flat = _mm256_testc_si256(
                _mm256_and_si256(_mm256_and_si256(a0, a1), _mm256_and_si256(_mm256_and_si256(a2, a3), b3)), alphaBytes);
        } else {
            flat = _mm256_testz_si256(
                _mm256_or_si256(_mm256_or_si256(_mm256_xor_si256(a0, b0), _mm256_xor_si256(a1, b1)),
                                _mm256_or_si256(_mm256_xor_si256(a2, b2), _mm256_xor_si256(a3, b3))),
                alphaBytes);
        }
        __m256i r0, r1, r2, r3;
        if (flat) {
            r0 = MixEqualAlphaAvx2(a0, b0, bytePair);
            r1 = MixEqualAlphaAvx2(a1, b1, bytePair);
            r2 = MixEqualAlphaAvx2(a2, b2, bytePair);
            r3 = MixEqualAlphaAvx2(a3, b3, bytePair);
        } else {
            r0 = MixAnyAlphaAvx2(a0, b0, w, bytePair);
            r1 = MixAnyAlphaAvx2(a1, b1, w, bytePair);
            r2 = MixAnyAlphaAvx2(a2, b2, w, bytePair);
            r3 = MixAnyAlphaAvx2(a3, b3, w, bytePair);
        }
        unsigned char* pd = d + 4 * x;
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(pd), r0);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(pd + 32), r1);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(pd + 64), r2);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(pd + 96), r3);
    }
    for (; x + 8 <= n; x += 8) {
        const __m256i va = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(a + 4 * x));
        const __m256i vb = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(b + 4 * x));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + 4 * x), MixAnyAlphaAvx2(va, vb, w, bytePair));
    }
    return x;
}

LY_TARGET_AVX2 size_t EdgeRowAvx2(const unsigned char* a, unsigned char* d, size_t n, unsigned w) {
    const __m256i keep = _mm256_set1_epi32(0x00FFFFFF);
    const __m256i wa = _mm256_set1_epi32(static_cast<int>(128u - w));
    size_t x = 0;
    for (; x + 8 <= n; x += 8) {
        const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(a + 4 * x));
        const __m256i alpha = _mm256_srli_epi32(_mm256_mullo_epi16(_mm256_srli_epi32(v, 24), wa), 7);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + 4 * x),
                            _mm256_or_si256(_mm256_and_si256(v, keep), _mm256_slli_epi32(alpha, 24)));
    }
    return x;
}

LY_TARGET_AVX2 size_t Mix16RowAvx2(const unsigned char* a, const unsigned char* b, unsigned char* d, size_t n,
                                   unsigned w) {
    const __m256i w0 = _mm256_set1_epi16(static_cast<short>(128u - w)), w1 = _mm256_set1_epi16(static_cast<short>(w));
    const __m256i bias = _mm256_set1_epi16(static_cast<short>(0x8000));
    size_t x = 0;
    for (; x + 16 <= n; x += 16) {
        const __m256i s0 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(a + 2 * x));
        const __m256i s1 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(b + 2 * x));
        const __m256i lo0 = _mm256_mullo_epi16(s0, w0), hi0 = _mm256_mulhi_epu16(s0, w0);
        const __m256i lo1 = _mm256_mullo_epi16(s1, w1), hi1 = _mm256_mulhi_epu16(s1, w1);
        const __m256i low = _mm256_add_epi16(lo0, lo1);
        const __m256i carry = _mm256_cmpgt_epi16(_mm256_xor_si256(lo0, bias), _mm256_xor_si256(low, bias));
        const __m256i high = _mm256_sub_epi16(_mm256_add_epi16(hi0, hi1), carry);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + 2 * x),
                            _mm256_or_si256(_mm256_slli_epi16(high, 9), _mm256_srli_epi16(low, 7)));
    }
    return x;
}

LY_TARGET_AVX2 size_t Edge16RowAvx2(const unsigned char* a, unsigned char* d, size_t n, unsigned w) {
    const __m256i w0 = _mm256_set1_epi16(static_cast<short>(128u - w));
    size_t x = 0;
    for (; x + 16 <= n; x += 16) {
        const __m256i s = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(a + 2 * x));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + 2 * x),
                            _mm256_or_si256(_mm256_slli_epi16(_mm256_mulhi_epu16(s, w0), 9),
                                            _mm256_srli_epi16(_mm256_mullo_epi16(s, w0), 7)));
    }
    return x;
}

#endif  // LY_HAVE_AVX2_KERNELS
#endif  // LY_X86

// ------------------------------------------------------------ row functions

template <bool kAlongRow>
void MixRow(Isa isa, const unsigned char* a, const unsigned char* b, unsigned char* d, size_t n, unsigned w) {
    // The end weights give one side whole, alpha and colour (a divisor of 0
    // falls back to w, which picks that same side).
    if (w == 0 || w == 128) {
        std::memmove(d, w == 0 ? a : b, 4 * n);
        return;
    }
    const size_t done =
        LY_WIDEST_FORM(isa, MixRowAvx2<kAlongRow>(a, b, d, n, w), MixRowSse2(a, b, d, n, w), size_t{0});
    MixRowScalar(a, b, d, done, n, w);
}

void EdgeRow(Isa isa, const unsigned char* a, unsigned char* d, size_t n, unsigned w) {
    const size_t done = LY_WIDEST_FORM(isa, EdgeRowAvx2(a, d, n, w), EdgeRowSse2(a, d, n, w), size_t{0});
    EdgeRowScalar(a, d, done, n, w);
}

void Mix16Row(Isa isa, const unsigned char* a, const unsigned char* b, unsigned char* d, size_t n, unsigned w) {
    const size_t done = LY_WIDEST_FORM(isa, Mix16RowAvx2(a, b, d, n, w), Mix16RowSse2(a, b, d, n, w), size_t{0});
    Mix16RowScalar(a, b, d, done, n, w);
}

void Edge16Row(Isa isa, const unsigned char* a, unsigned char* d, size_t n, unsigned w) {
    const size_t done = LY_WIDEST_FORM(isa, Edge16RowAvx2(a, d, n, w), Edge16RowSse2(a, d, n, w), size_t{0});
    Edge16RowScalar(a, d, done, n, w);
}

inline bool RowArgsOk(const void* s, const void* d, int width, int weight) {
    return s != nullptr && d != nullptr && width >= 1 && weight >= 0 && weight <= 128;
}

}  // namespace
}  // namespace ly::subpixel

namespace LyPixelUtils {

using namespace ly::subpixel;

void DoSubPixel_X_OneLine(const unsigned char* source, unsigned char* destination, int width, int weight) {
    if (!RowArgsOk(source, destination, width, weight)) return;
    MixRow<true>(ly::ActiveIsa(), source, source + 4, destination, static_cast<size_t>(width), static_cast<unsigned>(weight));
}

void DoSubPixel_X_LastPixel(const unsigned char* source, unsigned char* destination, int width, int weight) {
    if (!RowArgsOk(source, destination, width, weight)) return;
    const size_t last = static_cast<size_t>(width) - 1;
    MixRow<true>(ly::ActiveIsa(), source, source + 4, destination, last, static_cast<unsigned>(weight));
    ly::Store32(destination + 4 * last, EdgePixel(ly::Load32(source + 4 * last), static_cast<unsigned>(weight)));
}

void DoSubPixel_Y_OneLine_Image(const unsigned char* source, unsigned char* destination, int width, int weight) {
    if (!RowArgsOk(source, destination, width, weight)) return;
    EdgeRow(ly::ActiveIsa(), source, destination, static_cast<size_t>(width), static_cast<unsigned>(weight));
}

void DoSubPixel_Y_TwoLine_Image(const unsigned char* source, int sourcePitch, unsigned char* destination,
                                int destinationPitch, int width, int height, int weight) {
    if (!RowArgsOk(source, destination, width, weight) || height < 1) return;
    const ly::Isa isa = ly::ActiveIsa();
    ly::ParallelEachRow(height, [&](int r) {
        MixRow<false>(isa, ly::RowAt(source, sourcePitch, r), ly::RowAt(source, sourcePitch, r + 1),
               ly::RowAt(destination, destinationPitch, r), static_cast<size_t>(width), static_cast<unsigned>(weight));
    });
}

void DoSubPixel_Y_OneLine_16Alpha(const unsigned char* source, unsigned char* destination, int width, int weight) {
    if (!RowArgsOk(source, destination, width, weight)) return;
    Edge16Row(ly::ActiveIsa(), source, destination, static_cast<size_t>(width), static_cast<unsigned>(weight));
}

void DoSubPixel_Y_TwoLine_16Alpha(const unsigned char* source, int sourcePitch, unsigned char* destination,
                                  int destinationPitch, int width, int height, int weight) {
    if (!RowArgsOk(source, destination, width, weight) || height < 1) return;
    const ly::Isa isa = ly::ActiveIsa();
    ly::ParallelEachRow(height, [&](int r) {
        Mix16Row(isa, ly::RowAt(source, sourcePitch, r), ly::RowAt(source, sourcePitch, r + 1),
                 ly::RowAt(destination, destinationPitch, r), static_cast<size_t>(width), static_cast<unsigned>(weight));
    });
}

}  // namespace LyPixelUtils
