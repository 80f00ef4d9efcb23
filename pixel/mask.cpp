// Mask and alpha-plane operations.
//
// Every operation validates its sizes and pointers, picks its row kernel for
// the active instruction set once, and runs the rows on the band frame. The
// vector kernels and their scalar twins give identical bytes: where the
// vector middle of a 16-bit plane row rounds differently from its head and
// tail, the scalar twin finds the same middle from the row's address.

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "LyPixelUtils.h"
#include "memory/LyCpu.h"
#include "memory/LyUnaligned.h"
#include "pixel/LyMaskKernels.h"
#include "threading/LyBandFrame.h"

namespace ly {
namespace {

inline size_t Offset(int index, size_t bytes) { return static_cast<size_t>(index) * bytes; }

inline unsigned char ScaleAlpha8(unsigned a, unsigned m) { return static_cast<unsigned char>((a * m + 255u) >> 8); }

// Head and tail samples of a 16-bit plane row. Kept to 16 bits, the result
// only depends on bits 8..23 of the 32-bit sum, so a signed or an unsigned
// product (fade factors above 255 with out-of-range samples can pass 2^31)
// store the same sample.
inline uint16_t EdgeScale16(unsigned a, unsigned f) {
    return static_cast<uint16_t>((static_cast<uint32_t>(a) * f + 255u) >> 8);
}

// Middle samples: what the 16-bit vector lanes compute, wrap-around included.
inline uint16_t MiddleScale16(unsigned a, unsigned f) {
    const uint16_t t = static_cast<uint16_t>((a >> 4) * f + 255u);
    return static_cast<uint16_t>(t >> 4);
}

struct MaskFactor {
    const unsigned char* mask;
    unsigned At(int i) const { return mask[i]; }
};

struct ConstFactor {
    unsigned factor;
    unsigned At(int) const { return factor; }
};

// ------------------------------------------------------------ scalar alpha rows

template <class F>
void AlphaRow32Scalar(unsigned char* row, int width, F f) {
    unsigned char* a = row + 3;
    for (int i = 0; i < width; ++i, a += 4) *a = ScaleAlpha8(*a, f.At(i));
}

template <class F>
void AlphaRow16Scalar(unsigned char* row, int width, F f) {
    const SLyPlaneRowSplit split = SplitPlaneRow(row, width);
    const int middleEnd = split.head + split.groups * 8;
    unsigned char* p = row;
    int i = 0;
    for (; i < split.head; ++i, p += 2) Store16(p, EdgeScale16(Load16(p), f.At(i)));
    for (; i < middleEnd; ++i, p += 2) Store16(p, MiddleScale16(Load16(p), f.At(i)));
    for (; i < width; ++i, p += 2) Store16(p, EdgeScale16(Load16(p), f.At(i)));
}

void MaskRow32Scalar(unsigned char* row, const unsigned char* mask, int width) {
    AlphaRow32Scalar(row, width, MaskFactor{mask});
}
void FadeRow32Scalar(unsigned char* row, int width, unsigned factor) {
    AlphaRow32Scalar(row, width, ConstFactor{factor});
}
void MaskRow16Scalar(unsigned char* row, const unsigned char* mask, int width) {
    AlphaRow16Scalar(row, width, MaskFactor{mask});
}
void FadeRow16Scalar(unsigned char* row, int width, unsigned factor) {
    AlphaRow16Scalar(row, width, ConstFactor{factor});
}

// 32-bit pixels before the first 16-byte boundary. The formula is the same in
// every stretch, so this only decides which stores are aligned.
inline int Head32(const unsigned char* row, int width) {
    const int head = static_cast<int>(((0u - reinterpret_cast<uintptr_t>(row)) & 15u) >> 2);
    return head < width ? head : width;
}

#if LY_X86

// ------------------------------------------------------------ SSE2 alpha rows

// Four pixels; `factorHigh` holds each pixel's factor in bits 16..23 of its
// 32-bit lane. Shifting the 16-bit lanes right by 8 puts alpha in the odd
// lanes, where the product lands in the top byte after the rounding add,
// already in place for the merge.
inline __m128i ScaleAlpha4(__m128i px, __m128i factorHigh) {
    __m128i t = _mm_mullo_epi16(_mm_srli_epi16(px, 8), factorHigh);
    t = _mm_add_epi32(t, _mm_set1_epi32(255 << 16));
    const __m128i colour = _mm_set1_epi32(0x00FFFFFF);
    return _mm_or_si128(_mm_and_si128(px, colour), _mm_andnot_si128(colour, t));
}

inline void ScaleAlpha4At(unsigned char* p, __m128i factorHigh) {
    const __m128i px = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), ScaleAlpha4(px, factorHigh));
}

// Four mask bytes into the high halves of four 32-bit lanes.
inline __m128i MaskHigh4(const unsigned char* mask) {
    uint32_t m;
    std::memcpy(&m, mask, 4);
    const __m128i zero = _mm_setzero_si128();
    return _mm_unpacklo_epi16(zero, _mm_unpacklo_epi8(_mm_cvtsi32_si128(static_cast<int>(m)), zero));
}

inline bool AllOpaque16(__m128i m) { return _mm_movemask_epi8(_mm_cmpeq_epi8(m, _mm_set1_epi8(-1))) == 0xFFFF; }

void MaskRow32Sse2(unsigned char* row, const unsigned char* mask, int width) {
    const int head = Head32(row, width);
    AlphaRow32Scalar(row, head, MaskFactor{mask});
    const __m128i zero = _mm_setzero_si128();
    int i = head;
    for (; width - i >= 16; i += 16) {
        const __m128i m = _mm_loadu_si128(reinterpret_cast<const __m128i*>(mask + i));
        // A full mask keeps alpha as it is ((a * 255 + 255) >> 8 == a): leave
        // those pixels and their cache lines alone.
        if (AllOpaque16(m)) continue;
        const __m128i lo = _mm_unpacklo_epi8(m, zero);
        const __m128i hi = _mm_unpackhi_epi8(m, zero);
        unsigned char* p = row + Offset(i, 4);
        ScaleAlpha4At(p, _mm_unpacklo_epi16(zero, lo));
        ScaleAlpha4At(p + 16, _mm_unpackhi_epi16(zero, lo));
        ScaleAlpha4At(p + 32, _mm_unpacklo_epi16(zero, hi));
        ScaleAlpha4At(p + 48, _mm_unpackhi_epi16(zero, hi));
    }
    for (; width - i >= 4; i += 4) ScaleAlpha4At(row + Offset(i, 4), MaskHigh4(mask + i));
    AlphaRow32Scalar(row + Offset(i, 4), width - i, MaskFactor{mask + i});
}

void FadeRow32Sse2(unsigned char* row, int width, unsigned factor) {
    const int head = Head32(row, width);
    AlphaRow32Scalar(row, head, ConstFactor{factor});
    const __m128i f = _mm_set1_epi32(static_cast<int>(factor << 16));
    int i = head;
    for (; width - i >= 16; i += 16) {
        unsigned char* p = row + Offset(i, 4);
        ScaleAlpha4At(p, f);
        ScaleAlpha4At(p + 16, f);
        ScaleAlpha4At(p + 32, f);
        ScaleAlpha4At(p + 48, f);
    }
    for (; width - i >= 4; i += 4) ScaleAlpha4At(row + Offset(i, 4), f);
    AlphaRow32Scalar(row + Offset(i, 4), width - i, ConstFactor{factor});
}

// Eight aligned samples of the middle stretch.
inline void Middle8At(unsigned char* p, __m128i factor) {
    const __m128i a = _mm_load_si128(reinterpret_cast<const __m128i*>(p));
    __m128i t = _mm_mullo_epi16(_mm_srli_epi16(a, 4), factor);
    t = _mm_srli_epi16(_mm_add_epi16(t, _mm_set1_epi16(255)), 4);
    _mm_store_si128(reinterpret_cast<__m128i*>(p), t);
}

inline __m128i Mask8(const unsigned char* mask) {
    return _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(mask)), _mm_setzero_si128());
}

// Where the factors of a 16-bit plane row come from: one byte per sample, or
// one value for the whole row.
struct MaskSource16 {
    const unsigned char* mask;
    unsigned At(int i) const { return mask[i]; }
    __m128i Eight(int i) const { return Mask8(mask + i); }
#if LY_HAVE_AVX2_KERNELS
    LY_TARGET_AVX2 __m256i Sixteen(int i) const {
        return _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(mask + i)));
    }
#endif
};

struct ConstSource16 {
    unsigned factor;
    unsigned At(int) const { return factor; }
    __m128i Eight(int) const { return _mm_set1_epi16(static_cast<short>(factor)); }
#if LY_HAVE_AVX2_KERNELS
    LY_TARGET_AVX2 __m256i Sixteen(int) const { return _mm256_set1_epi16(static_cast<short>(factor)); }
#endif
};

template <class Source>
void AlphaRow16Sse2(unsigned char* row, int width, Source f) {
    const SLyPlaneRowSplit split = SplitPlaneRow(row, width);
    int i = 0;
    unsigned char* p = row;
    for (; i < split.head; ++i, p += 2) Store16(p, EdgeScale16(Load16(p), f.At(i)));
    for (int g = 0; g < split.groups; ++g, i += 8, p += 16) Middle8At(p, f.Eight(i));
    for (; i < width; ++i, p += 2) Store16(p, EdgeScale16(Load16(p), f.At(i)));
}

void MaskRow16Sse2(unsigned char* row, const unsigned char* mask, int width) {
    AlphaRow16Sse2(row, width, MaskSource16{mask});
}

void FadeRow16Sse2(unsigned char* row, int width, unsigned factor) {
    AlphaRow16Sse2(row, width, ConstSource16{factor});
}

#if LY_HAVE_AVX2_KERNELS

// ------------------------------------------------------------ AVX2 alpha rows

LY_TARGET_AVX2 inline __m256i ScaleAlpha8Avx2(__m256i px, __m256i factorHigh) {
    __m256i t = _mm256_mullo_epi16(_mm256_srli_epi16(px, 8), factorHigh);
    t = _mm256_add_epi32(t, _mm256_set1_epi32(255 << 16));
    const __m256i colour = _mm256_set1_epi32(0x00FFFFFF);
    return _mm256_or_si256(_mm256_and_si256(px, colour), _mm256_andnot_si256(colour, t));
}

LY_TARGET_AVX2 inline void ScaleAlpha8AtAvx2(unsigned char* p, __m256i factorHigh) {
    const __m256i px = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), ScaleAlpha8Avx2(px, factorHigh));
}

LY_TARGET_AVX2 inline __m256i MaskHigh8Avx2(__m128i eightBytes) {
    return _mm256_slli_epi32(_mm256_cvtepu8_epi32(eightBytes), 16);
}

LY_TARGET_AVX2 void MaskRow32Avx2(unsigned char* row, const unsigned char* mask, int width) {
    const int head = Head32(row, width);
    AlphaRow32Scalar(row, head, MaskFactor{mask});
    int i = head;
    for (; width - i >= 16; i += 16) {
        const __m128i m = _mm_loadu_si128(reinterpret_cast<const __m128i*>(mask + i));
        if (AllOpaque16(m)) continue;  // alpha unchanged, see the SSE2 row
        unsigned char* p = row + Offset(i, 4);
        ScaleAlpha8AtAvx2(p, MaskHigh8Avx2(m));
        ScaleAlpha8AtAvx2(p + 32, MaskHigh8Avx2(_mm_srli_si128(m, 8)));
    }
    for (; width - i >= 4; i += 4) ScaleAlpha4At(row + Offset(i, 4), MaskHigh4(mask + i));
    AlphaRow32Scalar(row + Offset(i, 4), width - i, MaskFactor{mask + i});
}

LY_TARGET_AVX2 void FadeRow32Avx2(unsigned char* row, int width, unsigned factor) {
    const int head = Head32(row, width);
    AlphaRow32Scalar(row, head, ConstFactor{factor});
    const __m256i f = _mm256_set1_epi32(static_cast<int>(factor << 16));
    int i = head;
    for (; width - i >= 16; i += 16) {
        unsigned char* p = row + Offset(i, 4);
        ScaleAlpha8AtAvx2(p, f);
        ScaleAlpha8AtAvx2(p + 32, f);
    }
    const __m128i f4 = _mm256_castsi256_si128(f);
    for (; width - i >= 4; i += 4) ScaleAlpha4At(row + Offset(i, 4), f4);
    AlphaRow32Scalar(row + Offset(i, 4), width - i, ConstFactor{factor});
}

// Two middle groups at once; the lanes compute exactly what Middle8At does.
LY_TARGET_AVX2 inline void Middle16AtAvx2(unsigned char* p, __m256i factor) {
    const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
    __m256i t = _mm256_mullo_epi16(_mm256_srli_epi16(a, 4), factor);
    t = _mm256_srli_epi16(_mm256_add_epi16(t, _mm256_set1_epi16(255)), 4);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), t);
}

template <class Source>
LY_TARGET_AVX2 void AlphaRow16Avx2(unsigned char* row, int width, Source f) {
    const SLyPlaneRowSplit split = SplitPlaneRow(row, width);
    int i = 0;
    unsigned char* p = row;
    for (; i < split.head; ++i, p += 2) Store16(p, EdgeScale16(Load16(p), f.At(i)));
    int g = 0;
    for (; split.groups - g >= 2; g += 2, i += 16, p += 32) Middle16AtAvx2(p, f.Sixteen(i));
    if (g < split.groups) {
        Middle8At(p, f.Eight(i));
        i += 8;
        p += 16;
    }
    for (; i < width; ++i, p += 2) Store16(p, EdgeScale16(Load16(p), f.At(i)));
}

LY_TARGET_AVX2 void MaskRow16Avx2(unsigned char* row, const unsigned char* mask, int width) {
    AlphaRow16Avx2(row, width, MaskSource16{mask});
}

LY_TARGET_AVX2 void FadeRow16Avx2(unsigned char* row, int width, unsigned factor) {
    AlphaRow16Avx2(row, width, ConstSource16{factor});
}

#endif  // LY_HAVE_AVX2_KERNELS
#endif  // LY_X86

// ------------------------------------------------------------ mask operators

// Each rule as a byte function and as its 16- and 32-byte vector forms.
struct OpAdd {
    static unsigned char Byte(unsigned d, unsigned s) { return static_cast<unsigned char>(std::min(d + s, 255u)); }
#if LY_X86
    static __m128i V(__m128i d, __m128i s) { return _mm_adds_epu8(d, s); }
#if LY_HAVE_AVX2_KERNELS
    LY_TARGET_AVX2 static __m256i W(__m256i d, __m256i s) { return _mm256_adds_epu8(d, s); }
#endif
#endif
};

struct OpSubtract {
    static unsigned char Byte(unsigned d, unsigned s) { return static_cast<unsigned char>(d > s ? d - s : 0u); }
#if LY_X86
    static __m128i V(__m128i d, __m128i s) { return _mm_subs_epu8(d, s); }
#if LY_HAVE_AVX2_KERNELS
    LY_TARGET_AVX2 static __m256i W(__m256i d, __m256i s) { return _mm256_subs_epu8(d, s); }
#endif
#endif
};

struct OpDifference {
    static unsigned char Byte(unsigned d, unsigned s) { return static_cast<unsigned char>(d > s ? d - s : s - d); }
#if LY_X86
    static __m128i V(__m128i d, __m128i s) { return _mm_or_si128(_mm_subs_epu8(d, s), _mm_subs_epu8(s, d)); }
#if LY_HAVE_AVX2_KERNELS
    LY_TARGET_AVX2 static __m256i W(__m256i d, __m256i s) {
        return _mm256_or_si256(_mm256_subs_epu8(d, s), _mm256_subs_epu8(s, d));
    }
#endif
#endif
};

struct OpMin {
    static unsigned char Byte(unsigned d, unsigned s) { return static_cast<unsigned char>(std::min(d, s)); }
#if LY_X86
    static __m128i V(__m128i d, __m128i s) { return _mm_min_epu8(d, s); }
#if LY_HAVE_AVX2_KERNELS
    LY_TARGET_AVX2 static __m256i W(__m256i d, __m256i s) { return _mm256_min_epu8(d, s); }
#endif
#endif
};

using OpRowFn = void (*)(const unsigned char* src, unsigned char* dst, int count);

template <class Op>
void OpRowScalar(const unsigned char* s, unsigned char* d, int count) {
    for (int i = 0; i < count; ++i) d[i] = Op::Byte(d[i], s[i]);
}

#if LY_X86
template <class Op>
void OpRowSse2(const unsigned char* s, unsigned char* d, int count) {
    int i = 0;
    for (; count - i >= 16; i += 16) {
        const __m128i vs = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + i));
        const __m128i vd = _mm_loadu_si128(reinterpret_cast<const __m128i*>(d + i));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + i), Op::V(vd, vs));
    }
    OpRowScalar<Op>(s + i, d + i, count - i);
}

#if LY_HAVE_AVX2_KERNELS
template <class Op>
LY_TARGET_AVX2 void OpRowAvx2(const unsigned char* s, unsigned char* d, int count) {
    int i = 0;
    for (; count - i >= 32; i += 32) {
        const __m256i vs = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + i));
        const __m256i vd = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(d + i));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + i), Op::W(vd, vs));
    }
    OpRowSse2<Op>(s + i, d + i, count - i);
}
#endif
#endif

// Indexed by ELyMaskOperator.
constexpr int kMaskOperatorCount = 4;
constexpr OpRowFn kOpRowsScalar[kMaskOperatorCount] = {OpRowScalar<OpAdd>, OpRowScalar<OpSubtract>,
                                                       OpRowScalar<OpDifference>, OpRowScalar<OpMin>};
#if LY_X86
constexpr OpRowFn kOpRowsSse2[kMaskOperatorCount] = {OpRowSse2<OpAdd>, OpRowSse2<OpSubtract>,
                                                     OpRowSse2<OpDifference>, OpRowSse2<OpMin>};
#if LY_HAVE_AVX2_KERNELS
constexpr OpRowFn kOpRowsAvx2[kMaskOperatorCount] = {OpRowAvx2<OpAdd>, OpRowAvx2<OpSubtract>,
                                                     OpRowAvx2<OpDifference>, OpRowAvx2<OpMin>};
#endif
#endif

// ------------------------------------------------------------ 2x downscale

// The remaining bytes of a row: one truncating four-sample average.
void DownScaleTail(const unsigned char* r0, const unsigned char* r1, unsigned char* d, int from, int width) {
    for (int x = from; width - x >= 2; x += 2)
        d[x / 2] = static_cast<unsigned char>((r0[x] + r0[x + 1] + r1[x] + r1[x + 1]) >> 2);
}

// Whole groups of 16 source bytes: rounding-up average down, then across.
inline unsigned char DownScaleByteRoundUp(unsigned a, unsigned b, unsigned c, unsigned e) {
    const unsigned left = (a + c + 1) >> 1;
    const unsigned right = (b + e + 1) >> 1;
    return static_cast<unsigned char>((left + right + 1) >> 1);
}

void DownScaleRowScalar(const unsigned char* r0, const unsigned char* r1, unsigned char* d, int width) {
    const int vectorBytes = width / 16 * 16;
    for (int x = 0; x < vectorBytes; x += 2) d[x / 2] = DownScaleByteRoundUp(r0[x], r0[x + 1], r1[x], r1[x + 1]);
    DownScaleTail(r0, r1, d, vectorBytes, width);
}

#if LY_X86
inline __m128i DownScaleGroup(const unsigned char* r0, const unsigned char* r1) {
    const __m128i v = _mm_avg_epu8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(r0)),
                                   _mm_loadu_si128(reinterpret_cast<const __m128i*>(r1)));
    const __m128i even = _mm_and_si128(v, _mm_set1_epi16(0x00FF));
    const __m128i odd = _mm_srli_epi16(v, 8);
    return _mm_avg_epu16(even, odd);  // eight results in 16-bit lanes
}

void DownScaleRowSse2(const unsigned char* r0, const unsigned char* r1, unsigned char* d, int width) {
    const int groups = width / 16;
    int g = 0;
    for (; groups - g >= 2; g += 2) {
        const int x = g * 16;
        const __m128i out = _mm_packus_epi16(DownScaleGroup(r0 + x, r1 + x), DownScaleGroup(r0 + x + 16, r1 + x + 16));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + x / 2), out);
    }
    if (g < groups) {
        const int x = g * 16;
        const __m128i h = DownScaleGroup(r0 + x, r1 + x);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(d + x / 2), _mm_packus_epi16(h, h));
    }
    DownScaleTail(r0, r1, d, groups * 16, width);
}
#endif

// ------------------------------------------------------------ mask intersection

inline unsigned char IntersectByte(unsigned m1, unsigned m2) {
    return static_cast<unsigned char>(m1 + m2 > 255u ? m1 + m2 - 255u : 0u);
}

void IntersectRowScalar(const unsigned char* m1, const unsigned char* m2, unsigned char* d, int width) {
    for (int i = 0; i < width; ++i) d[i] = IntersectByte(m1[i], m2[i]);
}

#if LY_X86
void IntersectRowSse2(const unsigned char* m1, const unsigned char* m2, unsigned char* d, int width) {
    const __m128i ones = _mm_set1_epi8(-1);
    int i = 0;
    for (; width - i >= 16; i += 16) {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(m1 + i));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(m2 + i));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + i), _mm_subs_epu8(a, _mm_xor_si128(b, ones)));
    }
    IntersectRowScalar(m1 + i, m2 + i, d + i, width - i);
}
#endif

// ------------------------------------------------------------ invert

void InvertRowScalar(unsigned char* m, int width) {
    for (int i = 0; i < width; ++i) m[i] = static_cast<unsigned char>(255u - m[i]);
}

#if LY_X86
void InvertRowSse2(unsigned char* m, int width) {
    const __m128i ones = _mm_set1_epi8(-1);
    int i = 0;
    for (; width - i >= 64; i += 64) {
        for (int k = 0; k < 64; k += 16) {
            __m128i* p = reinterpret_cast<__m128i*>(m + i + k);
            _mm_storeu_si128(p, _mm_xor_si128(_mm_loadu_si128(p), ones));
        }
    }
    for (; width - i >= 16; i += 16) {
        __m128i* p = reinterpret_cast<__m128i*>(m + i);
        _mm_storeu_si128(p, _mm_xor_si128(_mm_loadu_si128(p), ones));
    }
    if (width - i >= 8) {
        __m128i* p = reinterpret_cast<__m128i*>(m + i);
        _mm_storel_epi64(p, _mm_xor_si128(_mm_loadl_epi64(p), ones));
        i += 8;
    }
    InvertRowScalar(m + i, width - i);
}

#if LY_HAVE_AVX2_KERNELS
LY_TARGET_AVX2 void InvertRowAvx2(unsigned char* m, int width) {
    const __m256i ones = _mm256_set1_epi8(-1);
    int i = 0;
    for (; width - i >= 64; i += 64) {
        __m256i* p0 = reinterpret_cast<__m256i*>(m + i);
        __m256i* p1 = reinterpret_cast<__m256i*>(m + i + 32);
        const __m256i a = _mm256_loadu_si256(p0);
        const __m256i b = _mm256_loadu_si256(p1);
        _mm256_storeu_si256(p0, _mm256_xor_si256(a, ones));
        _mm256_storeu_si256(p1, _mm256_xor_si256(b, ones));
    }
    // The tail runs the out-of-line SSE2 row: leave the upper halves clean so
    // its legacy-encoded instructions do not pay for a state transition.
    _mm256_zeroupper();
    InvertRowSse2(m + i, width - i);
}
#endif
#endif

// ------------------------------------------------------------ threshold

// `above` is threshold + 1, in 1..255: bytes at or above it become 255.
void ThresholdRowScalar(unsigned char* m, int width, unsigned above) {
    for (int i = 0; i < width; ++i)
        if (m[i] >= above) m[i] = 255;
}

#if LY_X86
void ThresholdRowSse2(unsigned char* m, int width, unsigned above) {
    const __m128i t = _mm_set1_epi8(static_cast<char>(above));
    int i = 0;
    for (; width - i >= 16; i += 16) {
        __m128i* p = reinterpret_cast<__m128i*>(m + i);
        const __m128i v = _mm_loadu_si128(p);
        const __m128i atOrAbove = _mm_cmpeq_epi8(_mm_max_epu8(v, t), v);
        _mm_storeu_si128(p, _mm_or_si128(v, atOrAbove));
    }
    ThresholdRowScalar(m + i, width - i, above);
}
#endif

}  // namespace

const SLyAlphaRowKernels& AlphaRowKernels(Isa isa) {
    static constexpr SLyAlphaRowKernels kScalar{MaskRow32Scalar, FadeRow32Scalar, MaskRow16Scalar, FadeRow16Scalar};
#if LY_X86
    static constexpr SLyAlphaRowKernels kSse2{MaskRow32Sse2, FadeRow32Sse2, MaskRow16Sse2, FadeRow16Sse2};
#if LY_HAVE_AVX2_KERNELS
    static constexpr SLyAlphaRowKernels kAvx2{MaskRow32Avx2, FadeRow32Avx2, MaskRow16Avx2, FadeRow16Avx2};
#endif
#endif
    return LY_WIDEST_FORM(isa, kAvx2, kSse2, kScalar);
}

}  // namespace ly

// ============================================================ public operations

namespace LyPixelUtils {

void MaskImage(unsigned char* image, int imagePitch, const unsigned char* mask, int maskPitch, int width,
               int height) {
    if (image == nullptr || mask == nullptr || width < 1 || height < 1) return;
    const auto row = ly::AlphaRowKernels(ly::ActiveIsa()).maskRow32;
    ly::ParallelEachRow(height, [&](int r) { row(ly::RowAt(image, imagePitch, r), ly::RowAt(mask, maskPitch, r), width); });
}

void Mask16bitAlpha(unsigned char* alpha16, int alphaPitch, const unsigned char* mask, int maskPitch, int width,
                    int height) {
    if (alpha16 == nullptr || mask == nullptr || width < 1 || height < 1) return;
    const auto row = ly::AlphaRowKernels(ly::ActiveIsa()).maskRow16;
    ly::ParallelEachRow(height,
                        [&](int r) { row(ly::RowAt(alpha16, alphaPitch, r), ly::RowAt(mask, maskPitch, r), width); });
}

void MaskOperator(const unsigned char* src, int srcPitch, unsigned char* dst, int dstPitch, int width, int height,
                  ELyMaskOperator op) {
    if (src == nullptr || dst == nullptr || width < 1 || height < 1) return;
    // The enumeration is open: check the value before it indexes anything.
    const unsigned index = static_cast<unsigned>(op);
    if (index >= static_cast<unsigned>(ly::kMaskOperatorCount)) return;
    const ly::Isa isa = ly::ActiveIsa();
    const ly::OpRowFn row = LY_WIDEST_FORM(isa, ly::kOpRowsAvx2, ly::kOpRowsSse2, ly::kOpRowsScalar)[index];
    ly::ParallelEachRow(height, [&](int r) { row(ly::RowAt(src, srcPitch, r), ly::RowAt(dst, dstPitch, r), width); });
}

void Mask32bitTo8bit(const unsigned char* image, int imagePitch, unsigned char* mask, int maskPitch, int width,
                     int height) {
    // The alpha channel is channel 3: one row function serves both names.
    Get32bitImage8bitChannel(image, imagePitch, mask, maskPitch, width, height, 3);
}

void MaskDownScale2X(const unsigned char* src, int srcPitch, unsigned char* dst, int dstPitch, int width,
                     int height) {
    // A one-byte-wide source has no pair to average: no output byte.
    if (src == nullptr || dst == nullptr || width < 2 || height < 1) return;
    const ly::Isa isa = ly::ActiveIsa();
    const auto row = LY_WIDEST_FORM(isa, ly::DownScaleRowSse2, ly::DownScaleRowSse2, ly::DownScaleRowScalar);
    ly::ParallelRows(ly::PoolRoute::Internal, height, [&](int first, int rows) {
        // The band owns the output rows whose top source row lies in it, so
        // a band that starts on an odd row begins with the next pair.
        for (int top = first + (first & 1); top < first + rows; top += 2) {
            const int bottom = top + 1 < height ? top + 1 : top;
            row(ly::RowAt(src, srcPitch, top), ly::RowAt(src, srcPitch, bottom), ly::RowAt(dst, dstPitch, top / 2),
                width);
        }
    });
}

void Extract8BitMask(const unsigned char* mask1, int pitch1, const unsigned char* mask2, int pitch2,
                     unsigned char* dst, int dstPitch, int width, int height) {
    if (mask1 == nullptr || mask2 == nullptr || dst == nullptr || width < 1 || height < 1) return;
    const ly::Isa isa = ly::ActiveIsa();
    const auto row = LY_WIDEST_FORM(isa, ly::IntersectRowSse2, ly::IntersectRowSse2, ly::IntersectRowScalar);
    ly::ParallelEachRow(height, [&](int r) {
        row(ly::RowAt(mask1, pitch1, r), ly::RowAt(mask2, pitch2, r), ly::RowAt(dst, dstPitch, r), width);
    });
}

void Invert8bitImage(unsigned char* mask, int pitch, int width, int height) {
    if (mask == nullptr || width < 1 || height < 1) return;
    const ly::Isa isa = ly::ActiveIsa();
    const auto row = LY_WIDEST_FORM(isa, ly::InvertRowAvx2, ly::InvertRowSse2, ly::InvertRowScalar);
    ly::ParallelEachRow(height, [&](int r) { row(ly::RowAt(mask, pitch, r), width); });
}

void Binary8bitImage(unsigned char* mask, int pitch, int width, int height, int threshold) {
    if (mask == nullptr || width < 1 || height < 1) return;
    if (threshold >= 255) return;  // no byte is above it
    if (threshold < 0) {
        ly::ParallelEachRow(height, [&](int r) { std::memset(ly::RowAt(mask, pitch, r), 255, static_cast<size_t>(width)); });
        return;
    }
    const unsigned above = static_cast<unsigned>(threshold) + 1u;
    const ly::Isa isa = ly::ActiveIsa();
    const auto row = LY_WIDEST_FORM(isa, ly::ThresholdRowSse2, ly::ThresholdRowSse2, ly::ThresholdRowScalar);
    ly::ParallelEachRow(height, [&](int r) { row(ly::RowAt(mask, pitch, r), width, above); });
}

}  // namespace LyPixelUtils
