// Vertical softening of 32-bit images against interlace flicker.
//
// The filters are exact integer sums shifted right with truncation, so every
// instruction set gives the same bytes: the vector forms of the two vertical
// filters are nested byte averages with the same floor, the 3 x 3 one sums in
// 16-bit lanes (at most 16 * 255). Only the interior is written: each output
// pixel needs its neighbours above and below (and, at the high quality, left
// and right), and the outer ring has none on one side.

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

// The two vertical filters are (a + 6c + b) >> 3 and (a + 2c + b) >> 2 (the
// weights in 1/128 divide out exactly). Both are nested floor averages of
// bytes, which needs no widening:
//   floor((x + y + 2z) / 4) = favg(favg(x, y), z)
//   floor((a + b + 6c) / 8) = floor((favg(a, b) + 3c) / 4) = favg(favg(favg(a, b), c), c)
// (the bit dropped by each inner average can never carry into the result).
// pavgb rounds up; on complemented bytes it rounds down: favg(x, y) =
// ~pavgb(~x, ~y), and the complements of the nested averages cancel.
template <bool Low>
inline __m128i VerticalBytesSse2(__m128i a, __m128i c, __m128i b) {
    const __m128i ones = _mm_set1_epi8(-1);
    const __m128i nc = _mm_xor_si128(c, ones);
    __m128i n = _mm_avg_epu8(_mm_avg_epu8(_mm_xor_si128(a, ones), _mm_xor_si128(b, ones)), nc);
    if constexpr (Low) n = _mm_avg_epu8(n, nc);
    return _mm_xor_si128(n, ones);
}

template <unsigned Outer, unsigned Centre>
void VerticalRowSse2(const unsigned char* a, const unsigned char* c, const unsigned char* b, unsigned char* d,
                     int width) {
    static_assert((Outer == 16 && Centre == 96) || (Outer == 32 && Centre == 64));
    constexpr bool kLow = Outer == 16;
    size_t i = 4;
    const size_t end = static_cast<size_t>(width - 1) * 4;
    for (; end - i >= 16; i += 16)
        Store128(d + i, VerticalBytesSse2<kLow>(Load128(a + i), Load128(c + i), Load128(b + i)));
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

template <bool Low>
LY_TARGET_AVX2 inline __m256i VerticalBytesAvx2(__m256i a, __m256i c, __m256i b) {
    const __m256i ones = _mm256_set1_epi8(-1);
    const __m256i nc = _mm256_xor_si256(c, ones);
    __m256i n = _mm256_avg_epu8(_mm256_avg_epu8(_mm256_xor_si256(a, ones), _mm256_xor_si256(b, ones)), nc);
    if constexpr (Low) n = _mm256_avg_epu8(n, nc);
    return _mm256_xor_si256(n, ones);
}

template <unsigned Outer, unsigned Centre>
LY_TARGET_AVX2 void VerticalRowAvx2(const unsigned char* a, const unsigned char* c, const unsigned char* b,
                                    unsigned char* d, int width) {
    constexpr bool kLow = Outer == 16;
    size_t i = 4;
    const size_t end = static_cast<size_t>(width - 1) * 4;
    for (; end - i >= 32; i += 32) {
        const __m256i va = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(a + i));
        const __m256i vc = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(c + i));
        const __m256i vb = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(b + i));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + i), VerticalBytesAvx2<kLow>(va, vc, vb));
    }
    if (end - i >= 16) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + i),
                         VerticalBytesSse2<kLow>(Load128(a + i), Load128(c + i), Load128(b + i)));
        i += 16;
    }
    VerticalBytesScalar<Outer, Centre>(a, c, b, d, i, end);
}

// The binomial is separable: h = left + 2 * centre + right along each source
// row, then (h above + 2 * h centre + h below) >> 4. Walking down a column
// strip computes h once per source row and reuses it for the three output
// rows it touches, where a row-at-a-time pass would widen and sum every
// source row three times. Strips are 16 pixels (one cache line of each row)
// wide and blocks of rows are short, so the lines of one block stay in L1
// while the strip moves right. Each block restarts its strips two source rows
// early; longer blocks would save that but measured much slower on full
// frames (more rows in flight than the hardware prefetchers follow).
constexpr int kBinomialBlockRows = 8;

// h of 8 pixels at byte offset `o` as two vectors of 16-bit lanes, in the
// order the in-lane unpacks leave them (the in-lane pack restores it).
LY_TARGET_AVX2 inline void HorizontalSums8(const unsigned char* row, size_t o, __m256i& lo, __m256i& hi) {
    const __m256i left = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(row + o - 4));
    const __m256i centre = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(row + o));
    const __m256i right = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(row + o + 4));
    const __m256i oneTwo = _mm256_set1_epi16(0x0201);  // left * 1 + centre * 2
    const __m256i zero = _mm256_setzero_si256();
    lo = _mm256_add_epi16(_mm256_maddubs_epi16(_mm256_unpacklo_epi8(left, centre), oneTwo),
                          _mm256_unpacklo_epi8(right, zero));
    hi = _mm256_add_epi16(_mm256_maddubs_epi16(_mm256_unpackhi_epi8(left, centre), oneTwo),
                          _mm256_unpackhi_epi8(right, zero));
}

// One 8-pixel column of a strip walking down: h of the last source row read
// and the sum of the last two h. Output = (previous pair + next pair) >> 4,
// since h above + 2 h centre + h below = (above + centre) + (centre + below).
struct BinomialColumn8 {
    __m256i hLo, hHi, pairLo, pairHi;
};

LY_TARGET_AVX2 inline void StartColumn(BinomialColumn8& col, const unsigned char* top, int pitch, size_t o) {
    __m256i lo, hi;
    HorizontalSums8(top, o, lo, hi);
    HorizontalSums8(top + pitch, o, col.hLo, col.hHi);
    col.pairLo = _mm256_add_epi16(lo, col.hLo);
    col.pairHi = _mm256_add_epi16(hi, col.hHi);
}

// Takes in the source row `row` and stores the output row it completes.
LY_TARGET_AVX2 inline void StepColumn(BinomialColumn8& col, const unsigned char* row, size_t o, unsigned char* out) {
    __m256i lo, hi;
    HorizontalSums8(row, o, lo, hi);
    const __m256i pairLo = _mm256_add_epi16(col.hLo, lo);
    const __m256i pairHi = _mm256_add_epi16(col.hHi, hi);
    const __m256i outLo = _mm256_srli_epi16(_mm256_add_epi16(col.pairLo, pairLo), 4);
    const __m256i outHi = _mm256_srli_epi16(_mm256_add_epi16(col.pairHi, pairHi), 4);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), _mm256_packus_epi16(outLo, outHi));
    col = {lo, hi, pairLo, pairHi};
}

// Output rows 0 .. rows - 1 below `c` (the first output row's centre row).
LY_TARGET_AVX2 void BinomialRowsAvx2(const unsigned char* c, int srcPitch, unsigned char* d, int dstPitch, int width,
                                     int rows) {
    const int end = width - 1;
    for (int r0 = 0; r0 < rows; r0 += kBinomialBlockRows) {
        const int blockRows = rows - r0 < kBinomialBlockRows ? rows - r0 : kBinomialBlockRows;
        const unsigned char* top = ly::RowAt(c, srcPitch, r0 - 1);
        unsigned char* out = ly::RowAt(d, dstPitch, r0);
        int x = 1;
        // Sixteen outputs per step read pixels x - 1 .. x + 16.
        for (; end - x >= 16; x += 16) {
            const size_t o = static_cast<size_t>(x) * 4;
            BinomialColumn8 first, second;
            StartColumn(first, top, srcPitch, o);
            StartColumn(second, top, srcPitch, o + 32);
            const unsigned char* s = top + 2 * static_cast<ptrdiff_t>(srcPitch);
            unsigned char* q = out + o;
            for (int k = 0; k < blockRows; ++k, s += srcPitch, q += dstPitch) {
                StepColumn(first, s, o, q);
                StepColumn(second, s, o + 32, q + 32);
            }
        }
        const unsigned char* centre = ly::RowAt(c, srcPitch, r0);
        for (int k = 0; k < blockRows; ++k, centre += srcPitch, out += dstPitch)
            BinomialPixelsSse2(centre - srcPitch, centre, centre + srcPitch, out, x, end);
    }
}

#endif  // LY_X86

// Output rows 0 .. rows - 1 below `c`, one row kernel call per row.
using DeflickerRowsFn = void (*)(const unsigned char* c, int srcPitch, unsigned char* d, int dstPitch, int width,
                                 int rows);

template <DeflickerRowFn Row>
void EachRow(const unsigned char* c, int srcPitch, unsigned char* d, int dstPitch, int width, int rows) {
    for (int r = 0; r < rows; ++r, c += srcPitch, d += dstPitch) Row(c - srcPitch, c, c + srcPitch, d, width);
}

DeflickerRowsFn ChooseRows(ly::Isa isa, ELyDeflickerQuality quality) {
    switch (quality) {
    case DeflickerQuality_Low:
        return LY_WIDEST_FORM(isa, (EachRow<VerticalRowAvx2<16, 96>>), (EachRow<VerticalRowSse2<16, 96>>),
                              (EachRow<VerticalRowScalar<16, 96>>));
    case DeflickerQuality_Medium:
        return LY_WIDEST_FORM(isa, (EachRow<VerticalRowAvx2<32, 64>>), (EachRow<VerticalRowSse2<32, 64>>),
                              (EachRow<VerticalRowScalar<32, 64>>));
    case DeflickerQuality_High:
        return LY_WIDEST_FORM(isa, BinomialRowsAvx2, EachRow<BinomialRowSse2>, EachRow<BinomialRowScalar>);
    }
    return nullptr;
}

struct InteriorJob {
    DeflickerRowsFn rows;
    const unsigned char* src;
    int srcPitch;
    unsigned char* dst;
    int dstPitch;
    int width;

    // Interior rows are numbered from 0 = image row 1.
    void operator()(int firstRow, int count) const {
        rows(ly::RowAt(src, srcPitch, firstRow + 1), srcPitch, ly::RowAt(dst, dstPitch, firstRow + 1), dstPitch,
             width, count);
    }
};

}  // namespace

namespace LyPixelUtils {

int DefickerImage(const unsigned char* src, int srcPitch, unsigned char* dst, int dstPitch, int width, int height,
                  ELyDeflickerQuality quality) {
    if (src == nullptr || dst == nullptr) return 0;
    const DeflickerRowsFn kernel = ChooseRows(ly::ActiveIsa(), quality);
    if (kernel == nullptr || width < 3 || height < 3) return 0;

    const InteriorJob job{kernel, src, srcPitch, dst, dstPitch, width};
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
    ly::SLyBandJob tasks[ly::kMaxBands];
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
