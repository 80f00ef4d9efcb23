// Weighted two-image blend with the row-averaging modes, float accumulation
// of weighted frames, and the conversion of an accumulator back to samples.
//
// Every operation resolves its mode, format and depth to one entry of
// kBlendKernelTable and hands that entry a job record per band. All kernels
// are lane-wise (byte, 16-bit sample or float), so the vector bodies and the
// scalar remainders of a row cannot disagree: the split only decides how many
// lanes go through each.

#include <cfenv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "LyPixelUtils.h"
#include "LyVideoUtils.h"
#include "memory/LyCpu.h"
#include "memory/LyUnaligned.h"
#include "threading/LyBandFrame.h"

namespace {

using ly::Isa;

// What an edge row is averaged with when it has no neighbour. For the 4:2:2
// layout this is U 0x80, Y 0x80, V 0x10, Y 0xFF: not a neutral colour, but
// callers depend on this exact value, so it must not be "corrected".
constexpr uint32_t kEdgeFillPacked422 = 0xFF108080u;

// ------------------------------------------------------------ job record

struct SLyBlendJob {
    // 8-bit overload: first (possibly averaged) image, second image, output.
    const unsigned char* first = nullptr;
    int firstPitch = 0;
    const unsigned char* second = nullptr;
    int secondPitch = 0;
    unsigned char* output = nullptr;
    int outputPitch = 0;
    // Float overload: the image rows step by imageStep, the neighbour of an
    // averaged pair sits one exact imagePitch further.
    const unsigned char* image = nullptr;
    int imagePitch = 0;
    ptrdiff_t imageStep = 0;
    unsigned char* accumulator = nullptr;  // bytes, floats may be unaligned
    ptrdiff_t accumulatorStep = 0;         // bytes
    uint8_t weight1 = 0;
    uint8_t weight2 = 0;
    float opacity = 0.0f;
    float halfOpacity = 0.0f;
    uint32_t edgeFill = 0;
    int kernel = 0;
    int width = 0;  // pixels, or 4-byte units for the shared float routine
    int rows = 0;
    Isa isa = Isa::Scalar;
};

using BlendKernel = void (*)(const SLyBlendJob&);

inline const unsigned char* Offset(const unsigned char* p, ptrdiff_t bytes) { return p + bytes; }
inline unsigned char* Offset(unsigned char* p, ptrdiff_t bytes) { return p + bytes; }

// ------------------------------------------------------------ 8-bit mix rows

// Where the first image's value of a lane comes from before mixing.
enum AvgKind : int {
    kAvgNone = 0,  // the row itself
    kAvgRow = 1,   // rounded-up mean with a neighbour row
    kAvgFill = 2,  // rounded-up mean with the edge fill word
};

inline unsigned FillByte(uint32_t fill, size_t i) { return (fill >> (8 * (i & 3))) & 0xFFu; }
inline unsigned FillSample(uint32_t fill, size_t i) { return (fill >> (16 * (i & 1))) & 0xFFFFu; }

using ly::Load16;
using ly::Store16;

// Lanes [begin, end) of a byte row. The 16-bit lane sum wraps as it does in
// the vector form when out-of-range opacities wrap the weights.
template <int Avg>
void MixRow8Scalar(const unsigned char* x, const unsigned char* y, uint32_t fill, const unsigned char* b,
                   unsigned char* out, size_t begin, size_t end, unsigned w1, unsigned w2) {
    for (size_t i = begin; i < end; ++i) {
        unsigned a = x[i];
        if (Avg == kAvgRow) a = (a + y[i] + 1u) >> 1;
        if (Avg == kAvgFill) a = (a + FillByte(fill, i) + 1u) >> 1;
        const unsigned sum = ((a * w1) + (b[i] * w2)) & 0xFFFFu;
        const unsigned v = sum >> 7;
        out[i] = static_cast<unsigned char>(v > 255u ? 255u : v);
    }
}

// Samples [begin, end) of a row of 16-bit samples; products and sum keep
// their low 16 bits and nothing is clamped.
template <int Avg>
void MixRow16Scalar(const unsigned char* x, const unsigned char* y, uint32_t fill, const unsigned char* b,
                    unsigned char* out, size_t begin, size_t end, unsigned w1, unsigned w2) {
    for (size_t i = begin; i < end; ++i) {
        unsigned a = Load16(x + 2 * i);
        if (Avg == kAvgRow) a = (a + Load16(y + 2 * i) + 1u) >> 1;
        if (Avg == kAvgFill) a = (a + FillSample(fill, i) + 1u) >> 1;
        const unsigned sum = (((a * w1) & 0xFFFFu) + ((Load16(b + 2 * i) * w2) & 0xFFFFu)) & 0xFFFFu;
        Store16(out + 2 * i, sum >> 6);
    }
}

#if LY_X86
template <int Avg>
size_t MixRow8Sse2(const unsigned char* x, const unsigned char* y, uint32_t fill, const unsigned char* b,
                   unsigned char* out, size_t n, unsigned w1, unsigned w2) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i wa = _mm_set1_epi16(static_cast<short>(w1));
    const __m128i wb = _mm_set1_epi16(static_cast<short>(w2));
    const __m128i fillv = _mm_set1_epi32(static_cast<int>(fill));
    size_t i = 0;
    for (; i + 16 <= n; i += 16) {
        __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(x + i));
        if (Avg == kAvgRow) a = _mm_avg_epu8(a, _mm_loadu_si128(reinterpret_cast<const __m128i*>(y + i)));
        if (Avg == kAvgFill) a = _mm_avg_epu8(a, fillv);
        const __m128i bv = _mm_loadu_si128(reinterpret_cast<const __m128i*>(b + i));
        __m128i lo = _mm_add_epi16(_mm_mullo_epi16(_mm_unpacklo_epi8(a, zero), wa),
                                   _mm_mullo_epi16(_mm_unpacklo_epi8(bv, zero), wb));
        __m128i hi = _mm_add_epi16(_mm_mullo_epi16(_mm_unpackhi_epi8(a, zero), wa),
                                   _mm_mullo_epi16(_mm_unpackhi_epi8(bv, zero), wb));
        lo = _mm_srli_epi16(lo, 7);
        hi = _mm_srli_epi16(hi, 7);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_packus_epi16(lo, hi));
    }
    return i;
}

template <int Avg>
size_t MixRow16Sse2(const unsigned char* x, const unsigned char* y, uint32_t fill, const unsigned char* b,
                    unsigned char* out, size_t samples, unsigned w1, unsigned w2) {
    const __m128i wa = _mm_set1_epi16(static_cast<short>(w1));
    const __m128i wb = _mm_set1_epi16(static_cast<short>(w2));
    const __m128i fillv = _mm_set1_epi32(static_cast<int>(fill));
    size_t i = 0;
    for (; i + 8 <= samples; i += 8) {
        __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(x + 2 * i));
        if (Avg == kAvgRow) a = _mm_avg_epu16(a, _mm_loadu_si128(reinterpret_cast<const __m128i*>(y + 2 * i)));
        if (Avg == kAvgFill) a = _mm_avg_epu16(a, fillv);
        const __m128i bv = _mm_loadu_si128(reinterpret_cast<const __m128i*>(b + 2 * i));
        const __m128i sum = _mm_add_epi16(_mm_mullo_epi16(a, wa), _mm_mullo_epi16(bv, wb));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 2 * i), _mm_srli_epi16(sum, 6));
    }
    return i;
}

template <int Avg>
LY_TARGET_AVX2 size_t MixRow8Avx2(const unsigned char* x, const unsigned char* y, uint32_t fill,
                                  const unsigned char* b, unsigned char* out, size_t n, unsigned w1, unsigned w2) {
    const __m256i zero = _mm256_setzero_si256();
    const __m256i wa = _mm256_set1_epi16(static_cast<short>(w1));
    const __m256i wb = _mm256_set1_epi16(static_cast<short>(w2));
    const __m256i fillv = _mm256_set1_epi32(static_cast<int>(fill));
    size_t i = 0;
    for (; i + 32 <= n; i += 32) {
        __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(x + i));
        if (Avg == kAvgRow) a = _mm256_avg_epu8(a, _mm256_loadu_si256(reinterpret_cast<const __m256i*>(y + i)));
        if (Avg == kAvgFill) a = _mm256_avg_epu8(a, fillv);
        const __m256i bv = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(b + i));
        // Unpack and pack both work within 128-bit halves, so lane order survives.
        __m256i lo = _mm256_add_epi16(_mm256_mullo_epi16(_mm256_unpacklo_epi8(a, zero), wa),
                                      _mm256_mullo_epi16(_mm256_unpacklo_epi8(bv, zero), wb));
        __m256i hi = _mm256_add_epi16(_mm256_mullo_epi16(_mm256_unpackhi_epi8(a, zero), wa),
                                      _mm256_mullo_epi16(_mm256_unpackhi_epi8(bv, zero), wb));
        lo = _mm256_srli_epi16(lo, 7);
        hi = _mm256_srli_epi16(hi, 7);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i), _mm256_packus_epi16(lo, hi));
    }
    return i;
}

template <int Avg>
LY_TARGET_AVX2 size_t MixRow16Avx2(const unsigned char* x, const unsigned char* y, uint32_t fill,
                                   const unsigned char* b, unsigned char* out, size_t samples, unsigned w1,
                                   unsigned w2) {
    const __m256i wa = _mm256_set1_epi16(static_cast<short>(w1));
    const __m256i wb = _mm256_set1_epi16(static_cast<short>(w2));
    const __m256i fillv = _mm256_set1_epi32(static_cast<int>(fill));
    size_t i = 0;
    for (; i + 16 <= samples; i += 16) {
        __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(x + 2 * i));
        if (Avg == kAvgRow)
            a = _mm256_avg_epu16(a, _mm256_loadu_si256(reinterpret_cast<const __m256i*>(y + 2 * i)));
        if (Avg == kAvgFill) a = _mm256_avg_epu16(a, fillv);
        const __m256i bv = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(b + 2 * i));
        const __m256i sum = _mm256_add_epi16(_mm256_mullo_epi16(a, wa), _mm256_mullo_epi16(bv, wb));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 2 * i), _mm256_srli_epi16(sum, 6));
    }
    return i;
}
#endif

// One output row of `n` bytes. Vector groups start at the row start, so the
// edge fill word stays in phase with the pixels.
template <int Avg, bool Depth16>
void MixRow(Isa isa, const unsigned char* x, const unsigned char* y, uint32_t fill, const unsigned char* b,
            unsigned char* out, size_t n, unsigned w1, unsigned w2) {
    const size_t lanes = Depth16 ? n / 2 : n;
    const size_t done = Depth16 ? LY_WIDEST_FORM(isa, MixRow16Avx2<Avg>(x, y, fill, b, out, lanes, w1, w2),
                                                 MixRow16Sse2<Avg>(x, y, fill, b, out, lanes, w1, w2), size_t{0})
                                : LY_WIDEST_FORM(isa, MixRow8Avx2<Avg>(x, y, fill, b, out, lanes, w1, w2),
                                                 MixRow8Sse2<Avg>(x, y, fill, b, out, lanes, w1, w2), size_t{0});
    if (Depth16)
        MixRow16Scalar<Avg>(x, y, fill, b, out, done, lanes, w1, w2);
    else
        MixRow8Scalar<Avg>(x, y, fill, b, out, done, lanes, w1, w2);
}

// Which rows a kernel averages (see the table below).
enum RowsKind : int {
    kRowsPlain = 0,      // no averaging
    kRowsAboveEdge = 1,  // with row r-1, the band's first row with the edge fill
    kRowsBelow = 2,      // with row r+1, every row (the last reads one row past the band)
    kRowsBelowEdge = 3,  // with row r+1, the band's last row with the edge fill
};

// 8-bit overload kernels: PixelsPerStep pixels make BytesPerStep bytes, and
// only whole steps are processed.
template <int Rows, int PixelsPerStep, int BytesPerStep, bool Depth16>
void BlendKernel8(const SLyBlendJob& j) {
    const size_t n = static_cast<size_t>(j.width / PixelsPerStep) * BytesPerStep;
    if (j.rows < 1 || n == 0) return;
    const unsigned char* x = j.first;
    const unsigned char* b = j.second;
    unsigned char* out = j.output;
    for (int r = 0; r < j.rows; ++r) {
        const bool lastRow = r == j.rows - 1;
        if (Rows == kRowsPlain) {
            MixRow<kAvgNone, Depth16>(j.isa, x, nullptr, 0, b, out, n, j.weight1, j.weight2);
        } else if (Rows == kRowsAboveEdge && r == 0) {
            MixRow<kAvgFill, Depth16>(j.isa, x, nullptr, j.edgeFill, b, out, n, j.weight1, j.weight2);
        } else if (Rows == kRowsAboveEdge) {
            MixRow<kAvgRow, Depth16>(j.isa, x, Offset(x, -ptrdiff_t{j.firstPitch}), 0, b, out, n, j.weight1,
                                     j.weight2);
        } else if (Rows == kRowsBelowEdge && lastRow) {
            MixRow<kAvgFill, Depth16>(j.isa, x, nullptr, j.edgeFill, b, out, n, j.weight1, j.weight2);
        } else {
            MixRow<kAvgRow, Depth16>(j.isa, x, Offset(x, j.firstPitch), 0, b, out, n, j.weight1, j.weight2);
        }
        x = Offset(x, j.firstPitch);
        b = Offset(b, j.secondPitch);
        out = Offset(out, j.outputPitch);
    }
}

// ------------------------------------------------------------ float accumulation rows

inline float LoadF(const unsigned char* p) {
    float f;
    std::memcpy(&f, p, sizeof f);
    return f;
}
inline void StoreF(unsigned char* p, float f) { std::memcpy(p, &f, sizeof f); }

inline float SampleAt(const unsigned char* p, size_t i, bool signed16) {
    if (!signed16) return static_cast<float>(p[i]);
    return static_cast<float>(static_cast<int16_t>(static_cast<uint16_t>(Load16(p + 2 * i))));
}

// A NaN already in the accumulator stays, quieted, whatever the product is:
// when both addends are NaN the processor returns its first operand's, and
// the compiler may put either addend first, so the choice is made here.
constexpr uint32_t kQuietBit = 0x00400000u;

// Floats [begin, end) of an accumulator row: acc += s * k, or with a
// neighbour row acc += (s + n) * k. Every step in single precision.
void AccRowScalar(const unsigned char* s, const unsigned char* nb, unsigned char* acc, size_t begin, size_t end,
                  float k, bool signed16) {
    for (size_t i = begin; i < end; ++i) {
        float v = SampleAt(s, i, signed16);
        if (nb) v = v + SampleAt(nb, i, signed16);
        const float product = v * k;
        const float a = LoadF(acc + 4 * i);
        if (a != a) {
            uint32_t bits;
            std::memcpy(&bits, &a, sizeof bits);
            bits |= kQuietBit;
            std::memcpy(acc + 4 * i, &bits, sizeof bits);
        } else {
            StoreF(acc + 4 * i, a + product);
        }
    }
}

#if LY_X86
inline __m128 AccAddSse2(__m128 acc, __m128 s, const __m128* nb, __m128 k) {
    if (nb) s = _mm_add_ps(s, *nb);
    const __m128 sum = _mm_add_ps(acc, _mm_mul_ps(s, k));
    const __m128 nan = _mm_cmpunord_ps(acc, acc);
    const __m128 kept = _mm_or_ps(acc, _mm_castsi128_ps(_mm_set1_epi32(static_cast<int>(kQuietBit))));
    return _mm_or_ps(_mm_andnot_ps(nan, sum), _mm_and_ps(nan, kept));
}

// Four floats of bytes (lane i = byte i).
inline void BytesToFloats(__m128i v, __m128 out[4]) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i lo = _mm_unpacklo_epi8(v, zero);
    const __m128i hi = _mm_unpackhi_epi8(v, zero);
    out[0] = _mm_cvtepi32_ps(_mm_unpacklo_epi16(lo, zero));
    out[1] = _mm_cvtepi32_ps(_mm_unpackhi_epi16(lo, zero));
    out[2] = _mm_cvtepi32_ps(_mm_unpacklo_epi16(hi, zero));
    out[3] = _mm_cvtepi32_ps(_mm_unpackhi_epi16(hi, zero));
}

inline void Samples16ToFloats(__m128i v, __m128 out[2]) {
    out[0] = _mm_cvtepi32_ps(_mm_srai_epi32(_mm_unpacklo_epi16(v, v), 16));
    out[1] = _mm_cvtepi32_ps(_mm_srai_epi32(_mm_unpackhi_epi16(v, v), 16));
}

size_t AccRowSse2(const unsigned char* s, const unsigned char* nb, unsigned char* acc, size_t count, float k,
                  bool signed16) {
    const __m128 kv = _mm_set1_ps(k);
    size_t i = 0;
    if (!signed16) {
        for (; i + 16 <= count; i += 16) {
            __m128 sv[4], nv[4];
            BytesToFloats(_mm_loadu_si128(reinterpret_cast<const __m128i*>(s + i)), sv);
            if (nb) BytesToFloats(_mm_loadu_si128(reinterpret_cast<const __m128i*>(nb + i)), nv);
            for (int q = 0; q < 4; ++q) {
                float* a = reinterpret_cast<float*>(acc + 4 * (i + 4 * q));
                _mm_storeu_ps(a, AccAddSse2(_mm_loadu_ps(a), sv[q], nb ? &nv[q] : nullptr, kv));
            }
        }
    } else {
        for (; i + 8 <= count; i += 8) {
            __m128 sv[2], nv[2];
            Samples16ToFloats(_mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 2 * i)), sv);
            if (nb) Samples16ToFloats(_mm_loadu_si128(reinterpret_cast<const __m128i*>(nb + 2 * i)), nv);
            for (int q = 0; q < 2; ++q) {
                float* a = reinterpret_cast<float*>(acc + 4 * (i + 4 * q));
                _mm_storeu_ps(a, AccAddSse2(_mm_loadu_ps(a), sv[q], nb ? &nv[q] : nullptr, kv));
            }
        }
    }
    return i;
}

LY_TARGET_AVX2 size_t AccRowAvx2(const unsigned char* s, const unsigned char* nb, unsigned char* acc, size_t count,
                                 float k, bool signed16) {
    const __m256 kv = _mm256_set1_ps(k);
    const __m256 quiet = _mm256_castsi256_ps(_mm256_set1_epi32(static_cast<int>(kQuietBit)));
    size_t i = 0;
    for (; i + 8 <= count; i += 8) {
        __m256 sv, nv = _mm256_setzero_ps();
        if (!signed16) {
            sv = _mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(s + i))));
            if (nb)
                nv = _mm256_cvtepi32_ps(
                    _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(nb + i))));
        } else {
            sv = _mm256_cvtepi32_ps(
                _mm256_cvtepi16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 2 * i))));
            if (nb)
                nv = _mm256_cvtepi32_ps(
                    _mm256_cvtepi16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(nb + 2 * i))));
        }
        if (nb) sv = _mm256_add_ps(sv, nv);
        float* a = reinterpret_cast<float*>(acc + 4 * i);
        const __m256 old = _mm256_loadu_ps(a);
        const __m256 nan = _mm256_cmp_ps(old, old, _CMP_UNORD_Q);
        _mm256_storeu_ps(a, _mm256_blendv_ps(_mm256_add_ps(old, _mm256_mul_ps(sv, kv)), _mm256_or_ps(old, quiet), nan));
    }
    return i;
}
#endif

// `count` floats of one accumulator row.
void AccRow(Isa isa, const unsigned char* s, const unsigned char* nb, unsigned char* acc, size_t count, float k,
            bool signed16) {
    const size_t done = LY_WIDEST_FORM(isa, AccRowAvx2(s, nb, acc, count, k, signed16),
                                       AccRowSse2(s, nb, acc, count, k, signed16), size_t{0});
    AccRowScalar(s, nb, acc, done, count, k, signed16);
}

// Which rows a float kernel averages, and where the row without a neighbour
// is taken at half weight.
enum AccRowsKind : int {
    kAccPlain = 0,
    kAccAboveHalf = 1,  // pairs (r-1, r); row 0 alone at half weight
    kAccBelow = 2,      // pairs (r, r+1) for every row
    kAccBelowHalf = 3,  // pairs (r, r+1); the last row alone at half weight
};

// Float overload kernels. The shared byte routine takes 4-byte units in
// `width`; the 16-bit routine takes pixels and reads width/2 steps of four
// samples. The upper row of a pair is at image + k * imageStep and the lower
// one an exact imagePitch below it.
template <int Rows, bool Signed16>
void AccKernel(const SLyBlendJob& j) {
    const int units = Signed16 ? j.width / 2 : j.width;
    if (j.rows < 1 || units < 1) return;
    const size_t count = static_cast<size_t>(units) * 4;
    const ptrdiff_t step = j.imageStep;
    unsigned char* acc = j.accumulator;
    for (int r = 0; r < j.rows; ++r, acc += j.accumulatorStep) {
        if (Rows == kAccPlain) {
            AccRow(j.isa, Offset(j.image, step * r), nullptr, acc, count, j.opacity, Signed16);
        } else if (Rows == kAccAboveHalf) {
            if (r == 0) {
                AccRow(j.isa, j.image, nullptr, acc, count, j.halfOpacity, Signed16);
            } else {
                const unsigned char* upper = Offset(j.image, step * (r - 1));
                AccRow(j.isa, Offset(upper, j.imagePitch), upper, acc, count, j.halfOpacity, Signed16);
            }
        } else {
            const unsigned char* row = Offset(j.image, step * r);
            if (Rows == kAccBelowHalf && r == j.rows - 1)
                AccRow(j.isa, row, nullptr, acc, count, j.halfOpacity, Signed16);
            else
                AccRow(j.isa, row, Offset(row, j.imagePitch), acc, count, j.halfOpacity, Signed16);
        }
    }
}

// ------------------------------------------------------------ the kernel table

// Row n holds kernel n; rows 0 and 13 are empty. 1-12 serve the 8-bit
// overload (1-3 plain, 4-6 with the row above, 7-9 with the row below, 10-12
// with the row below and an edge fill at the bottom); 14-25 the float
// overload in the same order. Within each group: formats 1/2, format 3 depth
// 8, format 3 depth 16. The float routine for formats 1/2 also serves format
// 3 depth 8, called with half the width.
constexpr int kBlendKernelCount = 26;
constexpr BlendKernel kBlendKernelTable[kBlendKernelCount] = {
    nullptr,
    &BlendKernel8<kRowsPlain, 2, 8, false>,
    &BlendKernel8<kRowsPlain, 4, 8, false>,
    &BlendKernel8<kRowsPlain, 4, 16, true>,
    &BlendKernel8<kRowsAboveEdge, 2, 8, false>,
    &BlendKernel8<kRowsAboveEdge, 4, 8, false>,
    &BlendKernel8<kRowsAboveEdge, 4, 16, true>,
    &BlendKernel8<kRowsBelow, 2, 8, false>,
    &BlendKernel8<kRowsBelow, 4, 8, false>,
    &BlendKernel8<kRowsBelow, 4, 16, true>,
    &BlendKernel8<kRowsBelowEdge, 2, 8, false>,
    &BlendKernel8<kRowsBelowEdge, 4, 8, false>,
    &BlendKernel8<kRowsBelowEdge, 4, 16, true>,
    nullptr,
    &AccKernel<kAccPlain, false>,
    &AccKernel<kAccPlain, false>,
    &AccKernel<kAccPlain, true>,
    &AccKernel<kAccAboveHalf, false>,
    &AccKernel<kAccAboveHalf, false>,
    &AccKernel<kAccAboveHalf, true>,
    &AccKernel<kAccBelow, false>,
    &AccKernel<kAccBelow, false>,
    &AccKernel<kAccBelow, true>,
    &AccKernel<kAccBelowHalf, false>,
    &AccKernel<kAccBelowHalf, false>,
    &AccKernel<kAccBelowHalf, true>,
};

// Column within a kernel group: 0 formats 1/2 (any depth), 1 format 3 depth
// 8, 2 format 3 depth 16; -1 when no kernel serves the format.
int FormatColumn(ELyPixelFormat format, unsigned char depth) {
    if (format == PixelFormat_BGRA4444 || format == PixelFormat_VUYA4444) return 0;
    if (format == PixelFormat_UYVY422 && depth == 8) return 1;
    if (format == PixelFormat_UYVY422 && depth == 16) return 2;
    return -1;
}

// First kernel of the mode's group (mode 3 shares the row-below group), or 0.
int ModeGroup(ELyBlendingMode mode) {
    switch (mode) {
    case BlendingMode_Mix: return 1;
    case BlendingMode_AverageWithRowAbove: return 4;
    case BlendingMode_AverageWithRowBelowNoEdge: return 7;
    case BlendingMode_AverageWithRowBelow: return 10;
    }
    return 0;
}

constexpr int kInnerGroup = 7;  // kernels 7-9: pairs (r, r+1) with no edge

void RunKernel(const SLyBlendJob& job, int firstKernel, int lastKernel) {
    if (job.kernel < firstKernel || job.kernel > lastKernel || job.rows < 1) return;
    const BlendKernel k = kBlendKernelTable[job.kernel];
    if (k) k(job);
}

// w = round(scale * opacity), halves away from zero, kept as its low byte.
// A product outside the 32-bit range (or NaN) gives the processor's
// "integer indefinite" 0x80000000, whose low byte is 0.
uint8_t WeightFromOpacity(double opacity, double scale) {
    const double product = scale * opacity;
    const double rounded = product > 0.0 ? product + 0.5 : product - 0.5;
    if (!(rounded > -2147483649.0 && rounded < 2147483648.0)) return 0;
    const int64_t whole = static_cast<int64_t>(rounded);  // truncates
    return static_cast<uint8_t>(static_cast<uint64_t>(whole) & 0xFFu);
}

// The float work of a call runs under the caller's rounding (and, on x86,
// flush-to-zero and denormals-are-zero) settings on whichever thread takes a
// band, so banding never changes a result.
class FloatEnvironment {
public:
    FloatEnvironment() {
#if LY_X86
        bits_ = _mm_getcsr() & kMask;
#else
        bits_ = static_cast<unsigned>(std::fegetround());
#endif
    }

    class Scope {
    public:
        explicit Scope(const FloatEnvironment& env) {
#if LY_X86
            saved_ = _mm_getcsr();
            const unsigned wanted = (saved_ & ~kMask) | env.bits_;
            changed_ = wanted != saved_;
            if (changed_) _mm_setcsr(wanted);
#else
            saved_ = static_cast<unsigned>(std::fegetround());
            changed_ = saved_ != env.bits_;
            if (changed_) std::fesetround(static_cast<int>(env.bits_));
#endif
        }
        ~Scope() {
#if LY_X86
            if (changed_) _mm_setcsr(saved_);
#else
            if (changed_) std::fesetround(static_cast<int>(saved_));
#endif
        }
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;

    private:
        unsigned saved_ = 0;
        bool changed_ = false;
    };

private:
#if LY_X86
    static constexpr unsigned kMask = 0x6000u | 0x8000u | 0x0040u;  // rounding, FTZ, DAZ
#endif
    unsigned bits_ = 0;
};

// ------------------------------------------------------------ float to samples

// At most 255, rounded by the current mode, then 0..255. Written so that a
// NaN takes the limit, as the vector minimum does.
inline unsigned char FloatToByte(float f) {
    const float limited = f < 255.0f ? f : 255.0f;
    const float r = std::nearbyint(limited);
    if (!(r > 0.0f)) return 0;
    return static_cast<unsigned char>(static_cast<int>(r));
}

// At most 1023, rounded by the current mode, saturated to int16.
inline uint16_t FloatToSample(float f) {
    const float limited = f < 1023.0f ? f : 1023.0f;
    const float r = std::nearbyint(limited);
    const int v = r < -32768.0f ? -32768 : static_cast<int>(r);
    return static_cast<uint16_t>(static_cast<int16_t>(v));
}

void ConvertRowScalar(const unsigned char* src, unsigned char* out, size_t begin, size_t end, bool depth16) {
    for (size_t i = begin; i < end; ++i) {
        const float f = LoadF(src + 4 * i);
        if (depth16)
            Store16(out + 2 * i, FloatToSample(f));
        else
            out[i] = FloatToByte(f);
    }
}

#if LY_X86
size_t ConvertRowSse2(const unsigned char* src, unsigned char* out, size_t count, bool depth16) {
    const __m128 limit = _mm_set1_ps(depth16 ? 1023.0f : 255.0f);
    size_t i = 0;
    for (; i + 16 <= count; i += 16) {
        __m128i v[4];
        for (int q = 0; q < 4; ++q)
            v[q] = _mm_cvtps_epi32(_mm_min_ps(_mm_loadu_ps(reinterpret_cast<const float*>(src + 4 * (i + 4 * q))),
                                              limit));
        const __m128i s01 = _mm_packs_epi32(v[0], v[1]);
        const __m128i s23 = _mm_packs_epi32(v[2], v[3]);
        if (depth16) {
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 2 * i), s01);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 2 * i + 16), s23);
        } else {
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_packus_epi16(s01, s23));
        }
    }
    return i;
}

LY_TARGET_AVX2 size_t ConvertRowAvx2(const unsigned char* src, unsigned char* out, size_t count, bool depth16) {
    const __m256 limit = _mm256_set1_ps(depth16 ? 1023.0f : 255.0f);
    size_t i = 0;
    for (; i + 32 <= count; i += 32) {
        __m256i v[4];
        for (int q = 0; q < 4; ++q)
            v[q] = _mm256_cvtps_epi32(
                _mm256_min_ps(_mm256_loadu_ps(reinterpret_cast<const float*>(src + 4 * (i + 8 * q))), limit));
        // Packs interleave the 128-bit halves; the permutes put them back in order.
        const __m256i s01 = _mm256_permute4x64_epi64(_mm256_packs_epi32(v[0], v[1]), 0xD8);
        const __m256i s23 = _mm256_permute4x64_epi64(_mm256_packs_epi32(v[2], v[3]), 0xD8);
        if (depth16) {
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 2 * i), s01);
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 2 * i + 32), s23);
        } else {
            const __m256i bytes = _mm256_permute4x64_epi64(_mm256_packus_epi16(s01, s23), 0xD8);
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i), bytes);
        }
    }
    return i;
}
#endif

void ConvertRow(Isa isa, const unsigned char* src, unsigned char* out, size_t count, bool depth16) {
    const size_t done = LY_WIDEST_FORM(isa, ConvertRowAvx2(src, out, count, depth16),
                                       ConvertRowSse2(src, out, count, depth16), size_t{0});
    ConvertRowScalar(src, out, done, count, depth16);
}

}  // namespace

// ============================================================ exported

namespace LyPixelUtils {

void BlendingImages(const unsigned char* first, int firstPitch, const unsigned char* second, int secondPitch,
                    unsigned char* output, int outputPitch, ELyPixelFormat format, unsigned char depth,
                    double opacity, int width, int height, ELyBlendingMode mode) {
    const int column = FormatColumn(format, depth);
    const int group = ModeGroup(mode);
    if (column < 0 || group == 0) return;
    if (width < 1 || height < 1 || !first || !second || !output) return;
    // The averaging modes read rows of the first image that this call (or a
    // neighbouring band) may already have overwritten.
    if (mode != BlendingMode_Mix && output == first) return;

    SLyBlendJob base;
    base.kernel = group + column;
    base.width = width;
    base.isa = ly::ActiveIsa();
    base.edgeFill = format == PixelFormat_UYVY422 ? kEdgeFillPacked422 : 0u;
    if (column == 2) {
        base.weight1 = WeightFromOpacity(opacity, 64.0);
        base.weight2 = static_cast<uint8_t>(64u - base.weight1);
    } else {
        base.weight1 = WeightFromOpacity(opacity, 128.0);
        base.weight2 = static_cast<uint8_t>(128u - base.weight1);
    }
    base.firstPitch = firstPitch;
    base.secondPitch = secondPitch;
    base.outputPitch = outputPitch;

    ly::ParallelRows(ly::PoolRoute::Internal, height, [&](int firstRow, int rows) {
        SLyBlendJob job = base;
        job.rows = rows;
        int firstImageRow = firstRow;
        if (mode == BlendingMode_AverageWithRowAbove && firstRow > 0) {
            // Pairs (r-1, r) through the row-below kernel, one row up.
            job.kernel = kInnerGroup + column;
            firstImageRow = firstRow - 1;
        } else if (mode == BlendingMode_AverageWithRowBelow && firstRow + rows < height) {
            job.kernel = kInnerGroup + column;  // the next band's first row is this band's neighbour
        }
        job.first = ly::RowAt(first, firstPitch, firstImageRow);
        job.second = ly::RowAt(second, secondPitch, firstRow);
        job.output = ly::RowAt(output, outputPitch, firstRow);
        RunKernel(job, 1, 12);
    });
}

void BlendingImages(const unsigned char* image, int imagePitch, ELyPixelFormat format, unsigned char depth,
                    float* accumulator, int accumulatorPitch, float opacity, int width, int height,
                    ELyBlendingMode mode) {
    const int column = FormatColumn(format, depth);
    const int group = ModeGroup(mode);
    if (column < 0 || group == 0) return;
    if (width < 1 || height < 1 || !image || !accumulator) return;
    const int unitsWidth = column == 1 ? width / 2 : width;  // format 3 depth 8: two pixels per unit
    if ((column == 0 ? width : width / 2) < 1) return;

    const FloatEnvironment env;
    SLyBlendJob base;
    base.kernel = 13 + group + column;
    base.width = unitsWidth;
    base.isa = ly::ActiveIsa();
    base.opacity = opacity;
    base.halfOpacity = static_cast<float>(static_cast<double>(opacity) * 0.5);
    base.imagePitch = imagePitch;
    // Rows step by the pitch rounded to a multiple of 4 bytes, towards zero so
    // that every row read stays between the image's first and last rows.
    const int magnitudeStep = (imagePitch < 0 ? -(imagePitch / 4) : imagePitch / 4) * 4;
    base.imageStep = imagePitch < 0 ? -ptrdiff_t{magnitudeStep} : ptrdiff_t{magnitudeStep};
    base.accumulatorStep = static_cast<ptrdiff_t>(accumulatorPitch) * static_cast<ptrdiff_t>(sizeof(float));
    unsigned char* const accBytes = reinterpret_cast<unsigned char*>(accumulator);

    ly::ParallelRows(ly::PoolRoute::Internal, height, [&](int firstRow, int rows) {
        const FloatEnvironment::Scope scope(env);
        SLyBlendJob job = base;
        job.rows = rows;
        int firstImageRow = firstRow;
        if (mode == BlendingMode_AverageWithRowAbove && firstRow > 0) {
            job.kernel = 13 + kInnerGroup + column;
            firstImageRow = firstRow - 1;
        } else if (mode == BlendingMode_AverageWithRowBelow && firstRow + rows < height) {
            job.kernel = 13 + kInnerGroup + column;
        }
        job.image = image + base.imageStep * firstImageRow;
        job.accumulator = accBytes + base.accumulatorStep * firstRow;
        RunKernel(job, 14, 25);
    });
}

void ConvertFloatImage(const float* source, int sourcePitch, unsigned char* output, int outputPitch,
                       ELyPixelFormat format, unsigned char depth, int width, int height) {
    if (!source || !output || width < 1 || height < 1) return;
    const bool depth16 = format == PixelFormat_UYVY422 && depth != 8;
    const uint32_t rowBytes = LyVideoUtils::GetPixelBytes(format, depth, width, 2) >> 1;
    // Whole steps only: four floats make four bytes or four samples.
    const size_t count = depth16 ? static_cast<size_t>(rowBytes / 8) * 4 : static_cast<size_t>(rowBytes / 4) * 4;
    if (count == 0) return;

    const FloatEnvironment env;
    const Isa isa = ly::ActiveIsa();
    const ptrdiff_t sourceStep = static_cast<ptrdiff_t>(sourcePitch) * static_cast<ptrdiff_t>(sizeof(float));
    const unsigned char* const src = reinterpret_cast<const unsigned char*>(source);

    ly::ParallelRows(ly::PoolRoute::Internal, height, [&](int firstRow, int rows) {
        const FloatEnvironment::Scope scope(env);
        const unsigned char* s = src + sourceStep * firstRow;
        unsigned char* o = ly::RowAt(output, outputPitch, firstRow);
        for (int r = 0; r < rows; ++r, s += sourceStep, o += outputPitch) ConvertRow(isa, s, o, count, depth16);
    });
}

}  // namespace LyPixelUtils
