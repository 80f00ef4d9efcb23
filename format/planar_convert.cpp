// Planar 4:2:2, 4:2:0 and 4:1:1 <-> packed UYVY 4:2:2, 8 bits.
//
// Every row is built the same way: the chroma of the UYVY row (one U and V per
// pixel pair) is either a planar row as it is (4:2:2, nearest 4:2:0), two
// planar rows weighted 3:1 on the fly (filtered 4:2:0), or made a chunk at a
// time on the stack (4:1:1); one interleave kernel then packs Y, U and V. The
// other direction splits a UYVY row into its planes, averaging two rows'
// chroma on the way for filtered 4:2:0 (both rows in one pass when the band
// holds both); 4:1:1 chroma is thinned from the UYVY row directly (a quarter
// of the samples, by the scalar rule on every instruction set).
// Whole groups of pairs go through the widest vector form; the scalar form
// finishes the row, so every form gives the same bytes.

#include <algorithm>
#include <cstring>

#include "LyFormatUtils.h"
#include "memory/LyCpu.h"
#include "threading/LyBandFrame.h"

namespace ly::planar {
namespace {

constexpr size_t kChunkPairs = 512;

// ------------------------------------------------------------ scalar forms

void InterleaveScalar(const unsigned char* y, const unsigned char* u, const unsigned char* v, unsigned char* d,
                      size_t from, size_t pairs) {
    for (size_t p = from; p < pairs; ++p) {
        d[4 * p] = u[p];
        d[4 * p + 1] = y[2 * p];
        d[4 * p + 2] = v[p];
        d[4 * p + 3] = y[2 * p + 1];
    }
}

void SplitScalar(const unsigned char* s, unsigned char* y, unsigned char* u, unsigned char* v, size_t from,
                 size_t pairs) {
    for (size_t p = from; p < pairs; ++p) {
        u[p] = s[4 * p];
        y[2 * p] = s[4 * p + 1];
        v[p] = s[4 * p + 2];
        y[2 * p + 1] = s[4 * p + 3];
    }
}

// Luma of row a; chroma the rounded-up average of rows a and b.
void SplitAverageScalar(const unsigned char* a, const unsigned char* b, unsigned char* y, unsigned char* u,
                        unsigned char* v, size_t from, size_t pairs) {
    for (size_t p = from; p < pairs; ++p) {
        u[p] = static_cast<unsigned char>((a[4 * p] + b[4 * p] + 1) >> 1);
        y[2 * p] = a[4 * p + 1];
        v[p] = static_cast<unsigned char>((a[4 * p + 2] + b[4 * p + 2] + 1) >> 1);
        y[2 * p + 1] = a[4 * p + 3];
    }
}

void SplitPairScalar(const unsigned char* a, const unsigned char* b, unsigned char* ya, unsigned char* yb,
                     unsigned char* u, unsigned char* v, size_t from, size_t pairs) {
    SplitAverageScalar(a, b, ya, u, v, from, pairs);
    for (size_t p = from; p < pairs; ++p) {
        yb[2 * p] = b[4 * p + 1];
        yb[2 * p + 1] = b[4 * p + 3];
    }
}

void LumaScalar(const unsigned char* s, unsigned char* y, size_t from, size_t pairs) {
    for (size_t p = from; p < pairs; ++p) {
        y[2 * p] = s[4 * p + 1];
        y[2 * p + 1] = s[4 * p + 3];
    }
}

// Interleave with each chroma sample (3 * near + far + 2) >> 2.
void InterleaveThreeToOneScalar(const unsigned char* y, const unsigned char* uNear, const unsigned char* uFar,
                                const unsigned char* vNear, const unsigned char* vFar, unsigned char* d, size_t from,
                                size_t pairs) {
    for (size_t p = from; p < pairs; ++p) {
        d[4 * p] = static_cast<unsigned char>((3 * uNear[p] + uFar[p] + 2) >> 2);
        d[4 * p + 1] = y[2 * p];
        d[4 * p + 2] = static_cast<unsigned char>((3 * vNear[p] + vFar[p] + 2) >> 2);
        d[4 * p + 3] = y[2 * p + 1];
    }
}

#if LY_X86

// ------------------------------------------------------------ SSE2 forms (16 pairs a step)

inline __m128i Load(const unsigned char* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
inline void Store(unsigned char* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }

// Packs 16 pairs from their 16 U, 16 V and 32 Y bytes.
inline void Interleave16Sse2(__m128i vu, __m128i vv, const unsigned char* y, unsigned char* d) {
    const __m128i y0 = Load(y), y1 = Load(y + 16);
    const __m128i uvLo = _mm_unpacklo_epi8(vu, vv), uvHi = _mm_unpackhi_epi8(vu, vv);
    Store(d, _mm_unpacklo_epi8(uvLo, y0));
    Store(d + 16, _mm_unpackhi_epi8(uvLo, y0));
    Store(d + 32, _mm_unpacklo_epi8(uvHi, y1));
    Store(d + 48, _mm_unpackhi_epi8(uvHi, y1));
}

size_t InterleaveSse2(const unsigned char* y, const unsigned char* u, const unsigned char* v, unsigned char* d,
                      size_t pairs) {
    size_t p = 0;
    for (; p + 16 <= pairs; p += 16) Interleave16Sse2(Load(u + p), Load(v + p), y + 2 * p, d + 4 * p);
    return p;
}

// 64 UYVY bytes: 32 luma bytes, and the 32 chroma bytes U, V, U, V ...
inline void SeparateSse2(const unsigned char* s, __m128i& y0, __m128i& y1, __m128i& uv0, __m128i& uv1) {
    const __m128i a = Load(s), b = Load(s + 16), c = Load(s + 32), e = Load(s + 48);
    const __m128i low = _mm_set1_epi16(0xFF);
    y0 = _mm_packus_epi16(_mm_srli_epi16(a, 8), _mm_srli_epi16(b, 8));
    y1 = _mm_packus_epi16(_mm_srli_epi16(c, 8), _mm_srli_epi16(e, 8));
    uv0 = _mm_packus_epi16(_mm_and_si128(a, low), _mm_and_si128(b, low));
    uv1 = _mm_packus_epi16(_mm_and_si128(c, low), _mm_and_si128(e, low));
}

inline void StoreChromaSse2(__m128i uv0, __m128i uv1, unsigned char* u, unsigned char* v) {
    const __m128i low = _mm_set1_epi16(0xFF);
    Store(u, _mm_packus_epi16(_mm_and_si128(uv0, low), _mm_and_si128(uv1, low)));
    Store(v, _mm_packus_epi16(_mm_srli_epi16(uv0, 8), _mm_srli_epi16(uv1, 8)));
}

size_t SplitSse2(const unsigned char* s, unsigned char* y, unsigned char* u, unsigned char* v, size_t pairs) {
    size_t p = 0;
    for (; p + 16 <= pairs; p += 16) {
        __m128i y0, y1, uv0, uv1;
        SeparateSse2(s + 4 * p, y0, y1, uv0, uv1);
        Store(y + 2 * p, y0);
        Store(y + 2 * p + 16, y1);
        StoreChromaSse2(uv0, uv1, u + p, v + p);
    }
    return p;
}

size_t SplitAverageSse2(const unsigned char* a, const unsigned char* b, unsigned char* y, unsigned char* u,
                        unsigned char* v, size_t pairs) {
    const __m128i low = _mm_set1_epi16(0xFF);
    size_t p = 0;
    for (; p + 16 <= pairs; p += 16) {
        __m128i y0, y1, uv0, uv1;
        SeparateSse2(a + 4 * p, y0, y1, uv0, uv1);
        Store(y + 2 * p, y0);
        Store(y + 2 * p + 16, y1);
        // Average whole rows; only the chroma bytes are kept.
        const unsigned char* ap = a + 4 * p;
        const unsigned char* bp = b + 4 * p;
        const __m128i m0 = _mm_avg_epu8(Load(ap), Load(bp)), m1 = _mm_avg_epu8(Load(ap + 16), Load(bp + 16));
        const __m128i m2 = _mm_avg_epu8(Load(ap + 32), Load(bp + 32)), m3 = _mm_avg_epu8(Load(ap + 48), Load(bp + 48));
        uv0 = _mm_packus_epi16(_mm_and_si128(m0, low), _mm_and_si128(m1, low));
        uv1 = _mm_packus_epi16(_mm_and_si128(m2, low), _mm_and_si128(m3, low));
        StoreChromaSse2(uv0, uv1, u + p, v + p);
    }
    return p;
}

size_t LumaSse2(const unsigned char* s, unsigned char* y, size_t pairs) {
    size_t p = 0;
    for (; p + 16 <= pairs; p += 16) {
        const unsigned char* q = s + 4 * p;
        Store(y + 2 * p, _mm_packus_epi16(_mm_srli_epi16(Load(q), 8), _mm_srli_epi16(Load(q + 16), 8)));
        Store(y + 2 * p + 16, _mm_packus_epi16(_mm_srli_epi16(Load(q + 32), 8), _mm_srli_epi16(Load(q + 48), 8)));
    }
    return p;
}

// (3a + b + 2) >> 2 as two rounding-up byte averages: with t the average of
// a and b rounded down (the rounded-up one less the odd bit), the average of
// a and t rounded up is exactly (3a + b + 2) >> 2 (for a + b odd both
// candidates floor the same odd numerator).
// 4:1:1 -> 4:2:2 chroma of pairs first .. first + n - 1 (first even), 16
// columns a step while every column read lies inside the plane.
size_t Upsample411Sse2(const unsigned char* c, int columns, bool filtered, size_t first, size_t n,
                       unsigned char* out) {
    const size_t limit = static_cast<size_t>(columns) - (filtered ? 1 : 0);
    size_t i = 0;
    for (; i + 32 <= n && (first + i) / 2 + 16 <= limit; i += 32) {
        const unsigned char* k = c + (first + i) / 2;
        const __m128i here = Load(k);
        const __m128i odd = filtered ? _mm_avg_epu8(here, Load(k + 1)) : here;
        Store(out + i, _mm_unpacklo_epi8(here, odd));
        Store(out + i + 16, _mm_unpackhi_epi8(here, odd));
    }
    return i;
}

inline __m128i ThreeToOne16(__m128i a, __m128i b) {
    const __m128i down = _mm_sub_epi8(_mm_avg_epu8(a, b), _mm_and_si128(_mm_xor_si128(a, b), _mm_set1_epi8(1)));
    return _mm_avg_epu8(a, down);
}

size_t InterleaveThreeToOneSse2(const unsigned char* y, const unsigned char* uNear, const unsigned char* uFar,
                                const unsigned char* vNear, const unsigned char* vFar, unsigned char* d,
                                size_t pairs) {
    size_t p = 0;
    for (; p + 16 <= pairs; p += 16)
        Interleave16Sse2(ThreeToOne16(Load(uNear + p), Load(uFar + p)),
                         ThreeToOne16(Load(vNear + p), Load(vFar + p)), y + 2 * p, d + 4 * p);
    return p;
}

// Luma of rows a and b, chroma their rounded-up average.
size_t SplitPairSse2(const unsigned char* a, const unsigned char* b, unsigned char* ya, unsigned char* yb,
                     unsigned char* u, unsigned char* v, size_t pairs) {
    const __m128i low = _mm_set1_epi16(0xFF);
    size_t p = 0;
    for (; p + 16 <= pairs; p += 16) {
        const unsigned char* ap = a + 4 * p;
        const unsigned char* bp = b + 4 * p;
        const __m128i a0 = Load(ap), a1 = Load(ap + 16), a2 = Load(ap + 32), a3 = Load(ap + 48);
        const __m128i b0 = Load(bp), b1 = Load(bp + 16), b2 = Load(bp + 32), b3 = Load(bp + 48);
        Store(ya + 2 * p, _mm_packus_epi16(_mm_srli_epi16(a0, 8), _mm_srli_epi16(a1, 8)));
        Store(ya + 2 * p + 16, _mm_packus_epi16(_mm_srli_epi16(a2, 8), _mm_srli_epi16(a3, 8)));
        Store(yb + 2 * p, _mm_packus_epi16(_mm_srli_epi16(b0, 8), _mm_srli_epi16(b1, 8)));
        Store(yb + 2 * p + 16, _mm_packus_epi16(_mm_srli_epi16(b2, 8), _mm_srli_epi16(b3, 8)));
        const __m128i uv0 = _mm_packus_epi16(_mm_and_si128(_mm_avg_epu8(a0, b0), low),
                                             _mm_and_si128(_mm_avg_epu8(a1, b1), low));
        const __m128i uv1 = _mm_packus_epi16(_mm_and_si128(_mm_avg_epu8(a2, b2), low),
                                             _mm_and_si128(_mm_avg_epu8(a3, b3), low));
        StoreChromaSse2(uv0, uv1, u + p, v + p);
    }
    return p;
}

#if LY_HAVE_AVX2_KERNELS

// ------------------------------------------------------------ AVX2 forms (32 pairs a step)
// Byte packs work within 128-bit lanes; one qword permute after each puts
// the halves back in row order.

LY_TARGET_AVX2 inline __m256i Load256(const unsigned char* p) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}
LY_TARGET_AVX2 inline void Store256(unsigned char* p, __m256i v) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v);
}
LY_TARGET_AVX2 inline __m256i PackInOrder(__m256i a, __m256i b) {
    return _mm256_permute4x64_epi64(_mm256_packus_epi16(a, b), 0xD8);
}
LY_TARGET_AVX2 inline __m256i HighBytes(__m256i a, __m256i b) {
    return PackInOrder(_mm256_srli_epi16(a, 8), _mm256_srli_epi16(b, 8));
}
LY_TARGET_AVX2 inline __m256i LowBytes(__m256i a, __m256i b) {
    const __m256i low = _mm256_set1_epi16(0xFF);
    return PackInOrder(_mm256_and_si256(a, low), _mm256_and_si256(b, low));
}
LY_TARGET_AVX2 inline void StoreChromaAvx2(__m256i uv0, __m256i uv1, unsigned char* u, unsigned char* v) {
    Store256(u, LowBytes(uv0, uv1));
    Store256(v, HighBytes(uv0, uv1));
}

LY_TARGET_AVX2 size_t SplitAvx2(const unsigned char* s, unsigned char* y, unsigned char* u, unsigned char* v,
                                size_t pairs) {
    size_t p = 0;
    for (; p + 32 <= pairs; p += 32) {
        const unsigned char* q = s + 4 * p;
        const __m256i a = Load256(q), b = Load256(q + 32), c = Load256(q + 64), e = Load256(q + 96);
        Store256(y + 2 * p, HighBytes(a, b));
        Store256(y + 2 * p + 32, HighBytes(c, e));
        StoreChromaAvx2(LowBytes(a, b), LowBytes(c, e), u + p, v + p);
    }
    return p;
}

LY_TARGET_AVX2 size_t SplitAverageAvx2(const unsigned char* a, const unsigned char* b, unsigned char* y,
                                       unsigned char* u, unsigned char* v, size_t pairs) {
    size_t p = 0;
    for (; p + 32 <= pairs; p += 32) {
        const unsigned char* ap = a + 4 * p;
        const unsigned char* bp = b + 4 * p;
        const __m256i a0 = Load256(ap), a1 = Load256(ap + 32), a2 = Load256(ap + 64), a3 = Load256(ap + 96);
        Store256(y + 2 * p, HighBytes(a0, a1));
        Store256(y + 2 * p + 32, HighBytes(a2, a3));
        const __m256i m0 = _mm256_avg_epu8(a0, Load256(bp)), m1 = _mm256_avg_epu8(a1, Load256(bp + 32));
        const __m256i m2 = _mm256_avg_epu8(a2, Load256(bp + 64)), m3 = _mm256_avg_epu8(a3, Load256(bp + 96));
        StoreChromaAvx2(LowBytes(m0, m1), LowBytes(m2, m3), u + p, v + p);
    }
    return p;
}

LY_TARGET_AVX2 size_t SplitPairAvx2(const unsigned char* a, const unsigned char* b, unsigned char* ya,
                                    unsigned char* yb, unsigned char* u, unsigned char* v, size_t pairs) {
    size_t p = 0;
    for (; p + 32 <= pairs; p += 32) {
        const unsigned char* ap = a + 4 * p;
        const unsigned char* bp = b + 4 * p;
        const __m256i a0 = Load256(ap), a1 = Load256(ap + 32), a2 = Load256(ap + 64), a3 = Load256(ap + 96);
        const __m256i b0 = Load256(bp), b1 = Load256(bp + 32), b2 = Load256(bp + 64), b3 = Load256(bp + 96);
        Store256(ya + 2 * p, HighBytes(a0, a1));
        Store256(ya + 2 * p + 32, HighBytes(a2, a3));
        Store256(yb + 2 * p, HighBytes(b0, b1));
        Store256(yb + 2 * p + 32, HighBytes(b2, b3));
        StoreChromaAvx2(LowBytes(_mm256_avg_epu8(a0, b0), _mm256_avg_epu8(a1, b1)),
                        LowBytes(_mm256_avg_epu8(a2, b2), _mm256_avg_epu8(a3, b3)), u + p, v + p);
    }
    return p;
}

LY_TARGET_AVX2 size_t LumaAvx2(const unsigned char* s, unsigned char* y, size_t pairs) {
    size_t p = 0;
    for (; p + 32 <= pairs; p += 32) {
        const unsigned char* q = s + 4 * p;
        Store256(y + 2 * p, HighBytes(Load256(q), Load256(q + 32)));
        Store256(y + 2 * p + 32, HighBytes(Load256(q + 64), Load256(q + 96)));
    }
    return p;
}

// Packs 32 pairs: the in-lane unpacks leave the halves crossed, and one
// 128-bit permute per register straightens them.
LY_TARGET_AVX2 inline void Interleave32Avx2(__m256i vu, __m256i vv, const unsigned char* y, unsigned char* d) {
    const __m256i uvLo = _mm256_unpacklo_epi8(vu, vv), uvHi = _mm256_unpackhi_epi8(vu, vv);
    const __m256i first = _mm256_permute2x128_si256(uvLo, uvHi, 0x20);   // pairs 0-7 | 8-15
    const __m256i second = _mm256_permute2x128_si256(uvLo, uvHi, 0x31);  // pairs 16-23 | 24-31
    const __m256i y0 = Load256(y), y1 = Load256(y + 32);
    const __m256i o0 = _mm256_unpacklo_epi8(first, y0), o1 = _mm256_unpackhi_epi8(first, y0);
    const __m256i o2 = _mm256_unpacklo_epi8(second, y1), o3 = _mm256_unpackhi_epi8(second, y1);
    Store256(d, _mm256_permute2x128_si256(o0, o1, 0x20));
    Store256(d + 32, _mm256_permute2x128_si256(o0, o1, 0x31));
    Store256(d + 64, _mm256_permute2x128_si256(o2, o3, 0x20));
    Store256(d + 96, _mm256_permute2x128_si256(o2, o3, 0x31));
}

LY_TARGET_AVX2 size_t InterleaveAvx2(const unsigned char* y, const unsigned char* u, const unsigned char* v,
                                     unsigned char* d, size_t pairs) {
    size_t p = 0;
    for (; p + 32 <= pairs; p += 32) Interleave32Avx2(Load256(u + p), Load256(v + p), y + 2 * p, d + 4 * p);
    return p;
}

LY_TARGET_AVX2 inline __m256i ThreeToOne32(__m256i a, __m256i b) {
    const __m256i down =
        _mm256_sub_epi8(_mm256_avg_epu8(a, b), _mm256_and_si256(_mm256_xor_si256(a, b), _mm256_set1_epi8(1)));
    return _mm256_avg_epu8(a, down);
}

LY_TARGET_AVX2 size_t InterleaveThreeToOneAvx2(const unsigned char* y, const unsigned char* uNear,
                                               const unsigned char* uFar, const unsigned char* vNear,
                                               const unsigned char* vFar, unsigned char* d, size_t pairs) {
    size_t p = 0;
    for (; p + 32 <= pairs; p += 32)
        Interleave32Avx2(ThreeToOne32(Load256(uNear + p), Load256(uFar + p)),
                         ThreeToOne32(Load256(vNear + p), Load256(vFar + p)), y + 2 * p, d + 4 * p);
    return p;
}

#endif  // LY_HAVE_AVX2_KERNELS
#endif  // LY_X86

void Interleave(Isa isa, const unsigned char* y, const unsigned char* u, const unsigned char* v, unsigned char* d,
                size_t pairs) {
    const size_t done = LY_WIDEST_FORM(isa, InterleaveAvx2(y, u, v, d, pairs), InterleaveSse2(y, u, v, d, pairs), size_t{0});
    InterleaveScalar(y, u, v, d, done, pairs);
}

void InterleaveThreeToOne(Isa isa, const unsigned char* y, const unsigned char* uNear, const unsigned char* uFar,
                          const unsigned char* vNear, const unsigned char* vFar, unsigned char* d, size_t pairs) {
    const size_t done = LY_WIDEST_FORM(isa, InterleaveThreeToOneAvx2(y, uNear, uFar, vNear, vFar, d, pairs),
                                       InterleaveThreeToOneSse2(y, uNear, uFar, vNear, vFar, d, pairs), size_t{0});
    InterleaveThreeToOneScalar(y, uNear, uFar, vNear, vFar, d, done, pairs);
}

void Split(Isa isa, const unsigned char* s, unsigned char* y, unsigned char* u, unsigned char* v, size_t pairs) {
    const size_t done = LY_WIDEST_FORM(isa, SplitAvx2(s, y, u, v, pairs), SplitSse2(s, y, u, v, pairs), size_t{0});
    SplitScalar(s, y, u, v, done, pairs);
}

void SplitAverage(Isa isa, const unsigned char* a, const unsigned char* b, unsigned char* y, unsigned char* u,
                  unsigned char* v, size_t pairs) {
    const size_t done =
        LY_WIDEST_FORM(isa, SplitAverageAvx2(a, b, y, u, v, pairs), SplitAverageSse2(a, b, y, u, v, pairs), size_t{0});
    SplitAverageScalar(a, b, y, u, v, done, pairs);
}

void SplitPair(Isa isa, const unsigned char* a, const unsigned char* b, unsigned char* ya, unsigned char* yb,
               unsigned char* u, unsigned char* v, size_t pairs) {
    const size_t done = LY_WIDEST_FORM(isa, SplitPairAvx2(a, b, ya, yb, u, v, pairs),
                                       SplitPairSse2(a, b, ya, yb, u, v, pairs), size_t{0});
    SplitPairScalar(a, b, ya, yb, u, v, done, pairs);
}

void Luma(Isa isa, const unsigned char* s, unsigned char* y, size_t pairs) {
    const size_t done = LY_WIDEST_FORM(isa, LumaAvx2(s, y, pairs), LumaSse2(s, y, pairs), size_t{0});
    LumaScalar(s, y, done, pairs);
}

// ------------------------------------------------------------ per-format chroma rules

// 4:1:1 -> 4:2:2 chroma of pairs first .. first + n - 1 (columns clamped to
// 0 .. columns - 1), from pair first + from on.
void Upsample411Scalar(const unsigned char* c, int columns, bool filtered, size_t first, size_t from, size_t n,
                       unsigned char* out) {
    const size_t last = static_cast<size_t>(columns) - 1;
    for (size_t i = from; i < n; ++i) {
        const size_t pair = first + i;
        const size_t k = std::min(pair / 2, last);
        if (filtered && (pair & 1) != 0) {
            const size_t k1 = std::min(pair / 2 + 1, last);
            out[i] = static_cast<unsigned char>((c[k] + c[k1] + 1) >> 1);
        } else {
            out[i] = c[k];
        }
    }
}

void Upsample411(Isa isa, const unsigned char* c, int columns, bool filtered, size_t first, size_t n,
                 unsigned char* out) {
    const size_t done = LY_WIDEST_FORM(isa, Upsample411Sse2(c, columns, filtered, first, n, out),
                                       Upsample411Sse2(c, columns, filtered, first, n, out), size_t{0});
    Upsample411Scalar(c, columns, filtered, first, done, n, out);
}

// 4:2:2 -> 4:1:1 from one UYVY row; `offset` is 0 for U, 2 for V. Pair 2k
// + 1 always exists (columns = width / 4); pair -1 repeats pair 0.
void Downsample411(const unsigned char* s, int offset, int columns, bool filtered, unsigned char* out) {
    const unsigned char* p = s + offset;
    if (!filtered) {
        for (int k = 0; k < columns; ++k) out[k] = p[8 * k];
        return;
    }
    out[0] = static_cast<unsigned char>((3 * p[0] + p[4] + 2) >> 2);
    for (int k = 1; k < columns; ++k)
        out[k] = static_cast<unsigned char>((p[8 * k - 4] + 2 * p[8 * k] + p[8 * k + 4] + 2) >> 2);
}

bool ChromaSize(ELyPixelFormat format, int width, int height, int& columns, int& rows) {
    switch (format) {
    case PixelFormat_YUV422Planar: columns = width / 2; rows = height; break;
    case PixelFormat_YUV420Planar: columns = width / 2; rows = height / 2; break;
    case PixelFormat_YUV411Planar: columns = width / 4; rows = height; break;
    default: return false;
    }
    return columns >= 1 && rows >= 1;
}

// What both directions check and derive before any row is touched: false
// refuses (nothing written). `columns` and `chromaRows` are the chroma plane's
// size, `pairs` the whole 4:2:2 pairs of a row.
struct SLyPlanarCall {
    int columns = 0;
    int chromaRows = 0;
    size_t pairs = 0;
    bool filtered = false;
    bool oddPixel = false;
    Isa isa = Isa::Scalar;
};

bool PreparePlanarCall(bool pointersSet, int width, int height, ELyPixelFormat planarFormat, ELyChromaMode mode,
                       SLyPlanarCall& call) {
    if (!pointersSet || width < 1 || height < 1) return false;
    if (mode != ChromaMode_Nearest && mode != ChromaMode_Filtered) return false;
    if (!ChromaSize(planarFormat, width, height, call.columns, call.chromaRows)) return false;
    call.isa = ly::ActiveIsa();
    call.filtered = mode == ChromaMode_Filtered;
    call.pairs = static_cast<size_t>(width) / 2;
    call.oddPixel = (width & 1) != 0;
    return true;
}

}  // namespace
}  // namespace ly::planar

namespace LyFormatUtils {

using namespace ly::planar;

int YUVPlanerToUYVY422(const unsigned char* yPlane, int yPitch, const unsigned char* uPlane, int uPitch,
                       const unsigned char* vPlane, int vPitch, unsigned char* destination, int destinationPitch,
                       int width, int height, ELyPixelFormat planarFormat, ELyChromaMode mode) {
    SLyPlanarCall call;
    if (!PreparePlanarCall(yPlane && uPlane && vPlane && destination, width, height, planarFormat, mode, call))
        return 0;
    const int columns = call.columns, chromaRows = call.chromaRows;
    const ly::Isa isa = call.isa;
    const bool filtered = call.filtered, oddPixel = call.oddPixel;
    const size_t pairs = call.pairs;

    ly::ParallelRows(ly::PoolRoute::Internal, height, [&](int first, int rows) {
        unsigned char uChunk[kChunkPairs], vChunk[kChunkPairs];
        for (int r = first; r < first + rows; ++r) {
            const unsigned char* y = ly::RowAt(yPlane, yPitch, r);
            unsigned char* d = ly::RowAt(destination, destinationPitch, r);
            // Chroma rows feeding this row: `nearRow`, and for filtered 4:2:0
            // `farRow` a quarter-weight row on the other side.
            int nearRow = r, farRow = r;
            if (planarFormat == PixelFormat_YUV420Planar) {
                nearRow = std::min(r / 2, chromaRows - 1);
                farRow = std::clamp((r & 1) != 0 ? r / 2 + 1 : r / 2 - 1, 0, chromaRows - 1);
            }
            const unsigned char* uNear = ly::RowAt(uPlane, uPitch, nearRow);
            const unsigned char* vNear = ly::RowAt(vPlane, vPitch, nearRow);
            unsigned char oddU, oddV;  // chroma of the odd last pixel
            if (planarFormat == PixelFormat_YUV411Planar) {
                for (size_t p0 = 0; p0 < pairs; p0 += kChunkPairs) {
                    const size_t n = std::min(kChunkPairs, pairs - p0);
                    Upsample411(isa, uNear, columns, filtered, p0, n, uChunk);
                    Upsample411(isa, vNear, columns, filtered, p0, n, vChunk);
                    Interleave(isa, y + 2 * p0, uChunk, vChunk, d + 4 * p0, n);
                }
                Upsample411Scalar(uNear, columns, filtered, pairs, 0, 1, &oddU);
                Upsample411Scalar(vNear, columns, filtered, pairs, 0, 1, &oddV);
            } else if (planarFormat == PixelFormat_YUV420Planar && filtered) {
                const unsigned char* uFar = ly::RowAt(uPlane, uPitch, farRow);
                const unsigned char* vFar = ly::RowAt(vPlane, vPitch, farRow);
                InterleaveThreeToOne(isa, y, uNear, uFar, vNear, vFar, d, pairs);
                const size_t c = static_cast<size_t>(columns) - 1;
                oddU = static_cast<unsigned char>((3 * uNear[c] + uFar[c] + 2) >> 2);
                oddV = static_cast<unsigned char>((3 * vNear[c] + vFar[c] + 2) >> 2);
            } else {
                Interleave(isa, y, uNear, vNear, d, pairs);
                oddU = uNear[columns - 1];
                oddV = vNear[columns - 1];
            }
            static_cast<void>(oddV);  // an odd last pixel carries U only
            if (oddPixel) {
                d[4 * pairs] = oddU;
                d[4 * pairs + 1] = y[2 * pairs];
            }
        }
    });
    return 1;
}

int UYVY422ToYUVPlaner(const unsigned char* source, int sourcePitch, unsigned char* yPlane, int yPitch,
                       unsigned char* uPlane, int uPitch, unsigned char* vPlane, int vPitch, int width, int height,
                       ELyPixelFormat planarFormat, ELyChromaMode mode) {
    SLyPlanarCall call;
    if (!PreparePlanarCall(source && yPlane && uPlane && vPlane, width, height, planarFormat, mode, call)) return 0;
    const int columns = call.columns, chromaRows = call.chromaRows;
    const ly::Isa isa = call.isa;
    const bool filtered = call.filtered, oddPixel = call.oddPixel;
    const size_t pairs = call.pairs;

    // Each output row (a 4:2:0 chroma row too) is written by the band that
    // holds its top source row, so bands never share a written row.
    ly::ParallelRows(ly::PoolRoute::Internal, height, [&](int first, int rows) {
        for (int r = first; r < first + rows; ++r) {
            const unsigned char* s = ly::RowAt(source, sourcePitch, r);
            unsigned char* y = ly::RowAt(yPlane, yPitch, r);
            switch (planarFormat) {
            case PixelFormat_YUV422Planar:
                Split(isa, s, y, ly::RowAt(uPlane, uPitch, r), ly::RowAt(vPlane, vPitch, r), pairs);
                break;
            case PixelFormat_YUV420Planar:
                if ((r & 1) == 0 && r / 2 < chromaRows) {
                    unsigned char* u = ly::RowAt(uPlane, uPitch, r / 2);
                    unsigned char* v = ly::RowAt(vPlane, vPitch, r / 2);
                    const unsigned char* below = ly::RowAt(source, sourcePitch, r + 1);
                    if (!filtered) {
                        Split(isa, s, y, u, v, pairs);
                    } else if (r + 1 < first + rows) {
                        // Both rows in this band: one pass over the two.
                        unsigned char* yBelow = ly::RowAt(yPlane, yPitch, r + 1);
                        SplitPair(isa, s, below, y, yBelow, u, v, pairs);
                        if (oddPixel) {
                            y[2 * pairs] = s[4 * pairs + 1];
                            yBelow[2 * pairs] = below[4 * pairs + 1];
                        }
                        ++r;
                        continue;
                    } else {
                        SplitAverage(isa, s, below, y, u, v, pairs);
                    }
                } else {
                    Luma(isa, s, y, pairs);
                }
                break;
            default:  // PixelFormat_YUV411Planar
                Luma(isa, s, y, pairs);
                Downsample411(s, 0, columns, filtered, ly::RowAt(uPlane, uPitch, r));
                Downsample411(s, 2, columns, filtered, ly::RowAt(vPlane, vPitch, r));
                break;
            }
            if (oddPixel) y[2 * pairs] = s[4 * pairs + 1];
        }
    });
    return 1;
}

}  // namespace LyFormatUtils
