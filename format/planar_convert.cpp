// Planar 4:2:2, 4:2:0 and 4:1:1 <-> packed UYVY 4:2:2, 8 bits.
//
// Every row is built the same way: the chroma of the UYVY row (one U and V per
// pixel pair) is either a planar row as it is (4:2:2, nearest 4:2:0) or made
// from planar rows a chunk at a time on the stack (filtered 4:2:0, 4:1:1), and
// then one interleave kernel packs Y, U and V. The other direction splits a
// UYVY row into its planes, averaging two rows' chroma on the way for
// filtered 4:2:0; 4:1:1 chroma is thinned from the UYVY row directly (a
// quarter of the samples, by the scalar rule on every instruction set).
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

void LumaScalar(const unsigned char* s, unsigned char* y, size_t from, size_t pairs) {
    for (size_t p = from; p < pairs; ++p) {
        y[2 * p] = s[4 * p + 1];
        y[2 * p + 1] = s[4 * p + 3];
    }
}

// (3 * near + far + 2) >> 2.
void ThreeToOneScalar(const unsigned char* nearRow, const unsigned char* farRow, unsigned char* d, size_t from,
                      size_t n) {
    for (size_t i = from; i < n; ++i) d[i] = static_cast<unsigned char>((3 * nearRow[i] + farRow[i] + 2) >> 2);
}

#if LY_X86

// ------------------------------------------------------------ SSE2 forms (16 pairs a step)

inline __m128i Load(const unsigned char* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
inline void Store(unsigned char* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }

size_t InterleaveSse2(const unsigned char* y, const unsigned char* u, const unsigned char* v, unsigned char* d,
                      size_t pairs) {
    size_t p = 0;
    for (; p + 16 <= pairs; p += 16) {
        const __m128i vu = Load(u + p), vv = Load(v + p);
        const __m128i y0 = Load(y + 2 * p), y1 = Load(y + 2 * p + 16);
        const __m128i uvLo = _mm_unpacklo_epi8(vu, vv), uvHi = _mm_unpackhi_epi8(vu, vv);
        Store(d + 4 * p, _mm_unpacklo_epi8(uvLo, y0));
        Store(d + 4 * p + 16, _mm_unpackhi_epi8(uvLo, y0));
        Store(d + 4 * p + 32, _mm_unpacklo_epi8(uvHi, y1));
        Store(d + 4 * p + 48, _mm_unpackhi_epi8(uvHi, y1));
    }
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

size_t ThreeToOneSse2(const unsigned char* nearRow, const unsigned char* farRow, unsigned char* d, size_t n) {
    const __m128i zero = _mm_setzero_si128(), two = _mm_set1_epi16(2);
    size_t i = 0;
    for (; i + 16 <= n; i += 16) {
        const __m128i a = Load(nearRow + i), b = Load(farRow + i);
        const __m128i aLo = _mm_unpacklo_epi8(a, zero), aHi = _mm_unpackhi_epi8(a, zero);
        const __m128i lo = _mm_add_epi16(_mm_add_epi16(aLo, _mm_add_epi16(aLo, aLo)),
                                         _mm_add_epi16(_mm_unpacklo_epi8(b, zero), two));
        const __m128i hi = _mm_add_epi16(_mm_add_epi16(aHi, _mm_add_epi16(aHi, aHi)),
                                         _mm_add_epi16(_mm_unpackhi_epi8(b, zero), two));
        Store(d + i, _mm_packus_epi16(_mm_srli_epi16(lo, 2), _mm_srli_epi16(hi, 2)));
    }
    return i;
}

#endif  // LY_X86

// The vector forms pass through AVX2 at the SSE2 width: these kernels move
// bytes and are bound by memory, and the 256-bit unpacks would need lane
// fixes that cost what they save.
void Interleave(Isa isa, const unsigned char* y, const unsigned char* u, const unsigned char* v, unsigned char* d,
                size_t pairs) {
    const size_t done = LY_WIDEST_FORM(isa, InterleaveSse2(y, u, v, d, pairs), InterleaveSse2(y, u, v, d, pairs));
    InterleaveScalar(y, u, v, d, done, pairs);
}

void Split(Isa isa, const unsigned char* s, unsigned char* y, unsigned char* u, unsigned char* v, size_t pairs) {
    const size_t done = LY_WIDEST_FORM(isa, SplitSse2(s, y, u, v, pairs), SplitSse2(s, y, u, v, pairs));
    SplitScalar(s, y, u, v, done, pairs);
}

void SplitAverage(Isa isa, const unsigned char* a, const unsigned char* b, unsigned char* y, unsigned char* u,
                  unsigned char* v, size_t pairs) {
    const size_t done =
        LY_WIDEST_FORM(isa, SplitAverageSse2(a, b, y, u, v, pairs), SplitAverageSse2(a, b, y, u, v, pairs));
    SplitAverageScalar(a, b, y, u, v, done, pairs);
}

void Luma(Isa isa, const unsigned char* s, unsigned char* y, size_t pairs) {
    const size_t done = LY_WIDEST_FORM(isa, LumaSse2(s, y, pairs), LumaSse2(s, y, pairs));
    LumaScalar(s, y, done, pairs);
}

void ThreeToOne(Isa isa, const unsigned char* nearRow, const unsigned char* farRow, unsigned char* d, size_t n) {
    const size_t done =
        LY_WIDEST_FORM(isa, ThreeToOneSse2(nearRow, farRow, d, n), ThreeToOneSse2(nearRow, farRow, d, n));
    ThreeToOneScalar(nearRow, farRow, d, done, n);
}

// ------------------------------------------------------------ per-format chroma rules

// 4:1:1 -> 4:2:2 chroma of pairs first .. first + n - 1 (columns clamped to
// 0 .. columns - 1).
void Upsample411(const unsigned char* c, int columns, bool filtered, size_t first, size_t n, unsigned char* out) {
    const size_t last = static_cast<size_t>(columns) - 1;
    for (size_t i = 0; i < n; ++i) {
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

// 4:2:2 -> 4:1:1 from one UYVY row; `offset` is 0 for U, 2 for V.
void Downsample411(const unsigned char* s, int offset, int columns, bool filtered, unsigned char* out) {
    for (int k = 0; k < columns; ++k) {
        const int centre = 2 * k;
        if (!filtered) {
            out[k] = s[4 * centre + offset];
            continue;
        }
        const int left = centre > 0 ? centre - 1 : 0;
        out[k] = static_cast<unsigned char>(
            (s[4 * left + offset] + 2 * s[4 * centre + offset] + s[4 * (centre + 1) + offset] + 2) >> 2);
    }
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

}  // namespace
}  // namespace ly::planar

namespace LyFormatUtils {

using namespace ly::planar;

int YUVPlanerToUYVY422(const unsigned char* yPlane, int yPitch, const unsigned char* uPlane, int uPitch,
                       const unsigned char* vPlane, int vPitch, unsigned char* destination, int destinationPitch,
                       int width, int height, ELyPixelFormat planarFormat, ELyChromaMode mode) {
    if (yPlane == nullptr || uPlane == nullptr || vPlane == nullptr || destination == nullptr || width < 1 ||
        height < 1)
        return 0;
    if (mode != ChromaMode_Nearest && mode != ChromaMode_Filtered) return 0;
    int columns = 0, chromaRows = 0;
    if (!ChromaSize(planarFormat, width, height, columns, chromaRows)) return 0;

    const ly::Isa isa = ly::ActiveIsa();
    const bool filtered = mode == ChromaMode_Filtered;
    const size_t pairs = static_cast<size_t>(width) / 2;
    const bool oddPixel = (width & 1) != 0;

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
                    Upsample411(uNear, columns, filtered, p0, n, uChunk);
                    Upsample411(vNear, columns, filtered, p0, n, vChunk);
                    Interleave(isa, y + 2 * p0, uChunk, vChunk, d + 4 * p0, n);
                }
                Upsample411(uNear, columns, filtered, pairs, 1, &oddU);
                Upsample411(vNear, columns, filtered, pairs, 1, &oddV);
            } else if (planarFormat == PixelFormat_YUV420Planar && filtered) {
                const unsigned char* uFar = ly::RowAt(uPlane, uPitch, farRow);
                const unsigned char* vFar = ly::RowAt(vPlane, vPitch, farRow);
                for (size_t p0 = 0; p0 < pairs; p0 += kChunkPairs) {
                    const size_t n = std::min(kChunkPairs, pairs - p0);
                    ThreeToOne(isa, uNear + p0, uFar + p0, uChunk, n);
                    ThreeToOne(isa, vNear + p0, vFar + p0, vChunk, n);
                    Interleave(isa, y + 2 * p0, uChunk, vChunk, d + 4 * p0, n);
                }
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
    if (source == nullptr || yPlane == nullptr || uPlane == nullptr || vPlane == nullptr || width < 1 || height < 1)
        return 0;
    if (mode != ChromaMode_Nearest && mode != ChromaMode_Filtered) return 0;
    int columns = 0, chromaRows = 0;
    if (!ChromaSize(planarFormat, width, height, columns, chromaRows)) return 0;

    const ly::Isa isa = ly::ActiveIsa();
    const bool filtered = mode == ChromaMode_Filtered;
    const size_t pairs = static_cast<size_t>(width) / 2;
    const bool oddPixel = (width & 1) != 0;

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
                    if (filtered)
                        SplitAverage(isa, s, ly::RowAt(source, sourcePitch, r + 1), y, u, v, pairs);
                    else
                        Split(isa, s, y, u, v, pairs);
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
