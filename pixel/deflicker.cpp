// Vertical softening of 32-bit images against interlace flicker.
//
// The filters are exact integer sums of at most 16 * 255 shifted right with
// truncation, so 16-bit lanes hold them without loss and every instruction set
// gives the same bytes. Only the interior is written: each output pixel needs
// its neighbours above and below (and, at the high quality, left and right),
// and the outer ring has none on one side.

#include <cstddef>
#include <cstdint>

#include "LyPixelUtils.h"
#include "memory/LyCpu.h"
#include "threading/LyBandFrame.h"

namespace {

// One interior row: `above`, `centre`, `below` and `dst` point at pixel 0 of
// their rows; pixels 1 .. width - 2 of `dst` are written.
using DeflickerRowFn = void (*)(const unsigned char* above, const unsigned char* centre, const unsigned char* below,
                                unsigned char* dst, int width);

// ------------------------------------------------------------ scalar rows

// Weights of the row above and below, and of the centre row, in 1/128.
template <unsigned Outer, unsigned Centre>
void VerticalBytesScalar(const unsigned char* a, const unsigned char* c, const unsigned char* b, unsigned char* d,
                         size_t begin, size_t end) {
    static_assert(2 * Outer + Centre == 128);
    for (size_t i = begin; i < end; ++i)
        d[i] = static_cast<unsigned char>((Outer * a[i] + Centre * c[i] + Outer * b[i]) >> 7);
}

template <unsigned Outer, unsigned Centre>
void VerticalRowScalar(const unsigned char* a, const unsigned char* c, const unsigned char* b, unsigned char* d,
                       int width) {
    VerticalBytesScalar<Outer, Centre>(a, c, b, d, 4, static_cast<size_t>(width - 1) * 4);
}

// Output pixels [x, end) of the 3 x 3 binomial; bytes four apart are the
// same channel of the horizontal neighbours.
void BinomialPixelsScalar(const unsigned char* a, const unsigned char* c, const unsigned char* b, unsigned char* d,
                          int x, int end) {
    for (size_t i = static_cast<size_t>(x) * 4, e = static_cast<size_t>(end) * 4; i < e; ++i) {
        const unsigned sum = a[i - 4] + 2u * a[i] + a[i + 4] + 2u * c[i - 4] + 4u * c[i] + 2u * c[i + 4] + b[i - 4] +
                             2u * b[i] + b[i + 4];
        d[i] = static_cast<unsigned char>(sum >> 4);
    }
}

void BinomialRowScalar(const unsigned char* a, const unsigned char* c, const unsigned char* b, unsigned char* d,
                       int width) {
    BinomialPixelsScalar(a, c, b, d, 1, width - 1);
}

#if LY_X86

// ------------------------------------------------------------ SSE2 rows

inline __m128i Load128(const unsigned char* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
inline __m128i Load64(const unsigned char* p) { return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)); }
inline void Store128(unsigned char* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }

// (Outer * (a + b) + Centre * c) >> 7 on 16-bit lanes; at most 128 * 255.
template <unsigned Outer, unsigned Centre>
inline __m128i Vertical16(__m128i a, __m128i c, __m128i b) {
    const __m128i outer = _mm_mullo_epi16(_mm_add_epi16(a, b), _mm_set1_epi16(Outer));
    const __m128i centre = _mm_mullo_epi16(c, _mm_set1_epi16(Centre));
    return _mm_srli_epi16(_mm_add_epi16(outer, centre), 7);
}

template <unsigned Outer, unsigned Centre>
void VerticalRowSse2(const unsigned char* a, const unsigned char* c, const unsigned char* b, unsigned char* d,
                     int width) {
    const __m128i zero = _mm_setzero_si128();
    size_t i = 4;
    const size_t end = static_cast<size_t>(width - 1) * 4;
    for (; end - i >= 16; i += 16) {
        const __m128i va = Load128(a + i);
        const __m128i vc = Load128(c + i);
        const __m128i vb = Load128(b + i);
        const __m128i lo = Vertical16<Outer, Centre>(_mm_unpacklo_epi8(va, zero), _mm_unpacklo_epi8(vc, zero),
                                                     _mm_unpacklo_epi8(vb, zero));
        const __m128i hi = Vertical16<Outer, Centre>(_mm_unpackhi_epi8(va, zero), _mm_unpackhi_epi8(vc, zero),
                                                     _mm_unpackhi_epi8(vb, zero));
        Store128(d + i, _mm_packus_epi16(lo, hi));
    }
    VerticalBytesScalar<Outer, Centre>(a, c, b, d, i, end);
}

// Column sums above + 2 * centre + below of the two pixels at `offset`, one
// 16-bit lane per channel.
inline __m128i ColumnSum2(const unsigned char* a, const unsigned char* c, const unsigned char* b, size_t offset) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i va = _mm_unpacklo_epi8(Load64(a + offset), zero);
    const __m128i vc = _mm_unpacklo_epi8(Load64(c + offset), zero);
    const __m128i vb = _mm_unpacklo_epi8(Load64(b + offset), zero);
    return _mm_add_epi16(_mm_add_epi16(va, vb), _mm_add_epi16(vc, vc));
}

// left + 2 * centre + right, shifted down by the total weight of 16.
inline __m128i Horizontal(__m128i left, __m128i centre, __m128i right) {
    return _mm_srli_epi16(_mm_add_epi16(_mm_add_epi16(left, right), _mm_add_epi16(centre, centre)), 4);
}

// The column sums of each pixel are computed once and reused as the right,
// centre and left neighbour of three outputs. A vector holds two pixels, so
// the centre pair is the middle of two neighbouring vectors (a 64-bit shuffle).
// Reads pixels x - 1 .. end only.
void BinomialPixelsSse2(const unsigned char* a, const unsigned char* c, const unsigned char* b, unsigned char* d,
                        int x, int end) {
    if (end - x >= 4) {
        const __m128i zero = _mm_setzero_si128();
        __m128i prev = ColumnSum2(a, c, b, static_cast<size_t>(x - 1) * 4);  // pixels x - 1, x
        for (; end - x >= 4; x += 4) {
            const size_t o = static_cast<size_t>(x + 1) * 4;  // pixels x + 1 .. x + 4
            const __m128i va = Load128(a + o);
            const __m128i vc = Load128(c + o);
            const __m128i vb = Load128(b + o);
            const __m128i sumLo = _mm_add_epi16(_mm_add_epi16(_mm_unpacklo_epi8(va, zero), _mm_unpacklo_epi8(vb, zero)),
                                                _mm_slli_epi16(_mm_unpacklo_epi8(vc, zero), 1));
            const __m128i sumHi = _mm_add_epi16(_mm_add_epi16(_mm_unpackhi_epi8(va, zero), _mm_unpackhi_epi8(vb, zero)),
                                                _mm_slli_epi16(_mm_unpackhi_epi8(vc, zero), 1));
            const __m128i centre0 =
                _mm_castpd_si128(_mm_shuffle_pd(_mm_castsi128_pd(prev), _mm_castsi128_pd(sumLo), 1));
            const __m128i centre1 =
                _mm_castpd_si128(_mm_shuffle_pd(_mm_castsi128_pd(sumLo), _mm_castsi128_pd(sumHi), 1));
            Store128(d + static_cast<size_t>(x) * 4,
                     _mm_packus_epi16(Horizontal(prev, centre0, sumLo), Horizontal(sumLo, centre1, sumHi)));
            prev = sumHi;
        }
    }
    BinomialPixelsScalar(a, c, b, d, x, end);
}

void BinomialRowSse2(const unsigned char* a, const unsigned char* c, const unsigned char* b, unsigned char* d,
                     int width) {
    BinomialPixelsSse2(a, c, b, d, 1, width - 1);
}

// ------------------------------------------------------------ AVX2 rows

template <unsigned Outer, unsigned Centre>
LY_TARGET_AVX2 inline __m256i Vertical16Avx2(__m256i a, __m256i c, __m256i b) {
    const __m256i outer = _mm256_mullo_epi16(_mm256_add_epi16(a, b), _mm256_set1_epi16(Outer));
    const __m256i centre = _mm256_mullo_epi16(c, _mm256_set1_epi16(Centre));
    return _mm256_srli_epi16(_mm256_add_epi16(outer, centre), 7);
}

// The in-lane unpacks and the in-lane pack undo each other's byte order, so
// no cross-lane permute is needed.
template <unsigned Outer, unsigned Centre>
LY_TARGET_AVX2 void VerticalRowAvx2(const unsigned char* a, const unsigned char* c, const unsigned char* b,
                                    unsigned char* d, int width) {
    const __m256i zero = _mm256_setzero_si256();
    size_t i = 4;
    const size_t end = static_cast<size_t>(width - 1) * 4;
    for (; end - i >= 32; i += 32) {
        const __m256i va = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(a + i));
        const __m256i vc = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(c + i));
        const __m256i vb = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(b + i));
        const __m256i lo = Vertical16Avx2<Outer, Centre>(
            _mm256_unpacklo_epi8(va, zero), _mm256_unpacklo_epi8(vc, zero), _mm256_unpacklo_epi8(vb, zero));
        const __m256i hi = Vertical16Avx2<Outer, Centre>(
            _mm256_unpackhi_epi8(va, zero), _mm256_unpackhi_epi8(vc, zero), _mm256_unpackhi_epi8(vb, zero));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + i), _mm256_packus_epi16(lo, hi));
    }
    VerticalBytesScalar<Outer, Centre>(a, c, b, d, i, end);
}

// Column sums of the four pixels at `offset`.
LY_TARGET_AVX2 inline __m256i ColumnSum4(const unsigned char* a, const unsigned char* c, const unsigned char* b,
                                         size_t offset) {
    const __m256i va = _mm256_cvtepu8_epi16(Load128(a + offset));
    const __m256i vc = _mm256_cvtepu8_epi16(Load128(c + offset));
    const __m256i vb = _mm256_cvtepu8_epi16(Load128(b + offset));
    return _mm256_add_epi16(_mm256_add_epi16(va, vb), _mm256_add_epi16(vc, vc));
}

// `prev` holds the column sums of pixels x - 1 .. x + 2 and `next` those of
// x + 3 .. x + 6; the result is outputs x .. x + 3 (before packing).
LY_TARGET_AVX2 inline __m256i Binomial4Avx2(__m256i prev, __m256i next) {
    const __m256i right = _mm256_permute2x128_si256(prev, next, 0x21);  // x + 1 .. x + 4
    const __m256i centre = _mm256_alignr_epi8(right, prev, 8);          // x .. x + 3
    return _mm256_srli_epi16(
        _mm256_add_epi16(_mm256_add_epi16(prev, right), _mm256_add_epi16(centre, centre)), 4);
}

LY_TARGET_AVX2 void BinomialRowAvx2(const unsigned char* a, const unsigned char* c, const unsigned char* b,
                                    unsigned char* d, int width) {
    int x = 1;
    const int end = width - 1;
    // Eight outputs per step read pixels x - 1 .. x + 10.
    if (end - x >= 10) {
        __m256i prev = ColumnSum4(a, c, b, 0);
        for (; end - x >= 10; x += 8) {
            const __m256i n1 = ColumnSum4(a, c, b, static_cast<size_t>(x + 3) * 4);
            const __m256i n2 = ColumnSum4(a, c, b, static_cast<size_t>(x + 7) * 4);
            const __m256i packed = _mm256_packus_epi16(Binomial4Avx2(prev, n1), Binomial4Avx2(n1, n2));
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + static_cast<size_t>(x) * 4),
                                _mm256_permute4x64_epi64(packed, 0xD8));
            prev = n2;
        }
    }
    BinomialPixelsSse2(a, c, b, d, x, end);
}

#endif  // LY_X86

DeflickerRowFn ChooseRow(ELyDeflickerQuality quality) {
    const ly::Isa isa = ly::ActiveIsa();
    (void)isa;
    switch (quality) {
    case DeflickerQuality_Low:
#if LY_X86
        if (isa == ly::Isa::Avx2) return VerticalRowAvx2<16, 96>;
        if (isa == ly::Isa::Sse2) return VerticalRowSse2<16, 96>;
#endif
        return VerticalRowScalar<16, 96>;
    case DeflickerQuality_Medium:
#if LY_X86
        if (isa == ly::Isa::Avx2) return VerticalRowAvx2<32, 64>;
        if (isa == ly::Isa::Sse2) return VerticalRowSse2<32, 64>;
#endif
        return VerticalRowScalar<32, 64>;
    case DeflickerQuality_High:
#if LY_X86
        if (isa == ly::Isa::Avx2) return BinomialRowAvx2;
        if (isa == ly::Isa::Sse2) return BinomialRowSse2;
#endif
        return BinomialRowScalar;
    }
    return nullptr;
}

struct InteriorJob {
    DeflickerRowFn row;
    const unsigned char* src;
    int srcPitch;
    unsigned char* dst;
    int dstPitch;
    int width;

    // Interior rows are numbered from 0 = image row 1.
    void operator()(int firstRow, int rows) const {
        const unsigned char* c = ly::RowAt(src, srcPitch, firstRow + 1);
        unsigned char* d = ly::RowAt(dst, dstPitch, firstRow + 1);
        for (int r = 0; r < rows; ++r, c += srcPitch, d += dstPitch)
            row(c - srcPitch, c, c + srcPitch, d, width);
    }
};

}  // namespace

namespace LyPixelUtils {

int DefickerImage(const unsigned char* src, int srcPitch, unsigned char* dst, int dstPitch, int width, int height,
                  ELyDeflickerQuality quality) {
    if (src == nullptr || dst == nullptr) return 0;
    const DeflickerRowFn row = ChooseRow(quality);
    if (row == nullptr || width < 3 || height < 3) return 0;

    const InteriorJob job{row, src, srcPitch, dst, dstPitch, width};
    const int interior = height - 2;
    // The hand-off threshold looks at the whole image, the bands cover only
    // the interior rows: (height - 2) / threads each, the last one the rest.
    const int threads = ly::FrameThreadCount(ly::PoolRoute::Internal);
    if (threads < 2 || height < ly::kBandRowThreshold) {
        job(0, interior);
        return 1;
    }
    const int bands = threads < ly::kMaxBands ? threads : ly::kMaxBands;
    const int perBand = interior / bands;
    ly::SLyBandTask tasks[ly::kMaxBands];
    int count = 0;
    for (int i = 0; i < bands; ++i) {
        const int first = i * perBand;
        const int rows = (i == bands - 1 ? interior : first + perBand) - first;
        if (rows < 1) continue;  // fewer interior rows than workers: nothing to hand out
        tasks[count].run = [](void* context, int firstRow, int n) {
            (*static_cast<const InteriorJob*>(context))(firstRow, n);
        };
        tasks[count].context = const_cast<InteriorJob*>(&job);
        tasks[count].firstRow = first;
        tasks[count].rows = rows;
        ++count;
    }
    ly::RunBandTasks(ly::PoolRoute::Internal, tasks, count);
    return 1;
}

}  // namespace LyPixelUtils
