// Mixing a 32-bit overlay with straight alpha into a destination of another
// pixel layout, converting the overlay's colours on the fly with the
// fixed-point tables instead of converting whole frames first.
//
// All kernels share one arithmetic: a converted overlay value c enters a
// destination value d with a 7-bit weight w (128 = whole) as
//     d + ((c - d) * w >> 7)  ==  (c * w + d * (128 - w)) >> 7
// (the shift rounds towards minus infinity, so the result always lies between
// c and d and needs no clamp). What differs is where w comes from and what
// happens to alpha and to the shared chroma of a 4:2:2 pair.

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "LyPixelUtils.h"
#include "format/LyColorTables.h"
#include "format/LyPackedKernels.h"
#include "memory/LyCpu.h"
#include "memory/LyUnaligned.h"
#include "threading/LyBandFrame.h"

namespace {

using ly::Isa;
using ly::SLyColorTableSet;

// ------------------------------------------------------------ shared scalar pieces

// 7-bit weight of an 8-bit alpha: 0 only for 0, 128 only for 255.
inline unsigned AlphaWeight(unsigned alpha) { return (alpha * 128u + 255u) >> 8; }

inline unsigned MixValue(unsigned c, unsigned d, unsigned w) { return (c * w + d * (128u - w)) >> 7; }

using ly::Load16;
using ly::Load32;
using ly::Load64;
using ly::Store16;
using ly::Store32;

// BGRA -> (V, U, Y): layout 3, B + G + R + offset with signed saturation,
// then a logical shift. The table values keep every word within 16..240.
inline void BgraToVuy(const SLyColorTableSet& t, uint32_t px, unsigned out[3]) {
    const unsigned b = px & 0xFFu, g = (px >> 8) & 0xFFu, r = (px >> 16) & 0xFFu;
    for (int k = 0; k < 3; ++k) out[k] = static_cast<uint16_t>(ly::ForwardSum(t.fwd3, t.off3, b, g, r, k)) >> 6;
}

// BGRA -> (U, Y, V): layout 2 in the same order of additions.
inline void BgraToUyv(const SLyColorTableSet& t, uint32_t px, unsigned out[3]) {
    const unsigned b = px & 0xFFu, g = (px >> 8) & 0xFFu, r = (px >> 16) & 0xFFu;
    for (int k = 0; k < 3; ++k) out[k] = ly::ClampByte(ly::ForwardSum(t.fwd2, t.off2, b, g, r, k) >> 6);
}

// VUYA -> (B, G, R).
inline void VuyaToBgr(const SLyColorTableSet& t, uint32_t px, unsigned out[3]) {
    const unsigned v = px & 0xFFu, u = (px >> 8) & 0xFFu, y = (px >> 16) & 0xFFu;
    for (int k = 0; k < 3; ++k) out[k] = ly::InverseByte(t, y, u, v, k);
}

// ------------------------------------------------------------ 32-bit destinations

// Which 32-bit pairing: BGRA overlay into VUYA, or VUYA overlay into BGRA.
// kConverted: the overlay has already been converted to the destination's
// layout (by the converters' row kernels, see Row32Chunked).
enum Direction : int {
    kBgraIntoVuya = 0,
    kVuyaIntoBgra = 1,
    kConverted = 2,
};

template <int Dir>
inline void ConvertPixel(const SLyColorTableSet& t, uint32_t px, unsigned c[3]) {
    if (Dir == kBgraIntoVuya) {
        BgraToVuy(t, px, c);
    } else if (Dir == kVuyaIntoBgra) {
        VuyaToBgr(t, px, c);
    } else {
        for (int k = 0; k < 3; ++k) c[k] = (px >> (8 * k)) & 0xFFu;
    }
}

// Weighted rule (mode flag nonzero) for a pair of one or two pixels: an
// all-transparent pair is left alone, every written pixel becomes opaque.
template <int Dir>
void WeightedPixelsScalar(const SLyColorTableSet& t, const unsigned char* o, unsigned char* d, int count) {
    unsigned w[2] = {0, 0};
    for (int i = 0; i < count; ++i) w[i] = AlphaWeight(o[4 * i + 3]);
    if (w[0] == 0 && w[1] == 0) return;
    for (int i = 0; i < count; ++i) {
        unsigned char* dp = d + 4 * i;
        if (w[i] != 0) {
            unsigned c[3];
            ConvertPixel<Dir>(t, Load32(o + 4 * i), c);
            for (int k = 0; k < 3; ++k) dp[k] = static_cast<unsigned char>(MixValue(c[k], dp[k], w[i]));
        }
        dp[3] = 255;
    }
}

// Straight-alpha over rule (mode flag zero), one pixel.
template <int Dir>
void OverPixelScalar(const SLyColorTableSet& t, const unsigned char* o, unsigned char* d) {
    const unsigned sA = o[3];
    if (sA == 0) return;
    const unsigned outA = ly::AlphaUnion(d[3], sA);
    const unsigned w = ly::AlphaQuotient(sA, outA);
    unsigned c[3];
    ConvertPixel<Dir>(t, Load32(o), c);
    for (int k = 0; k < 3; ++k) d[k] = static_cast<unsigned char>(MixValue(c[k], d[k], w));
    d[3] = static_cast<unsigned char>(outA);
}

template <int Dir, bool Over>
void Row32Scalar(const SLyColorTableSet& t, const unsigned char* o, unsigned char* d, int width) {
    if (Over) {
        for (int x = 0; x < width; ++x) OverPixelScalar<Dir>(t, o + 4 * x, d + 4 * x);
        return;
    }
    int x = 0;
    for (; x + 2 <= width; x += 2) WeightedPixelsScalar<Dir>(t, o + 4 * x, d + 4 * x, 2);
    if (x < width) WeightedPixelsScalar<Dir>(t, o + 4 * x, d + 4 * x, 1);
}

#if LY_X86
inline __m128i LoadEntryPair(const int16_t (*table)[4], unsigned i0, unsigned i1) {
    return _mm_unpacklo_epi64(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(table[i0])),
                              _mm_loadl_epi64(reinterpret_cast<const __m128i*>(table[i1])));
}

// Both pixels of an overlay pair converted to 16-bit words in destination
// byte order (alpha word 0 or garbage; it is replaced later).
template <int Dir>
inline __m128i ConvertPairSse2(const SLyColorTableSet& t, uint64_t pair) {
    const unsigned p0 = static_cast<uint32_t>(pair), p1 = static_cast<uint32_t>(pair >> 32);
    const unsigned c00 = p0 & 0xFFu, c01 = (p0 >> 8) & 0xFFu, c02 = (p0 >> 16) & 0xFFu;
    const unsigned c10 = p1 & 0xFFu, c11 = (p1 >> 8) & 0xFFu, c12 = (p1 >> 16) & 0xFFu;
    if (Dir == kBgraIntoVuya) {
        __m128i s = _mm_adds_epi16(LoadEntryPair(t.fwd3[ly::kTabB], c00, c10),
                                   LoadEntryPair(t.fwd3[ly::kTabG], c01, c11));
        s = _mm_adds_epi16(s, LoadEntryPair(t.fwd3[ly::kTabR], c02, c12));
        const __m128i off = _mm_set1_epi64x(static_cast<long long>(Load64(reinterpret_cast<const unsigned char*>(t.off3))));
        s = _mm_adds_epi16(s, off);
        return _mm_srli_epi16(s, 6);
    } else {
        __m128i s = _mm_adds_epi16(LoadEntryPair(t.inv[ly::kTabV], c00, c10),
                                   LoadEntryPair(t.inv[ly::kTabU], c01, c11));
        s = _mm_adds_epi16(s, LoadEntryPair(t.inv[ly::kTabY], c02, c12));
        s = _mm_srai_epi16(s, 6);
        return _mm_min_epi16(_mm_max_epi16(s, _mm_setzero_si128()), _mm_set1_epi16(255));
    }
}

// d + ((c - d) * w >> 7) on eight 16-bit lanes holding values 0..255.
inline __m128i MixLanesSse2(__m128i c, __m128i d, __m128i w) {
    return _mm_add_epi16(d, _mm_srai_epi16(_mm_mullo_epi16(_mm_sub_epi16(c, d), w), 7));
}

constexpr uint64_t kAlphaBytes = 0xFF000000FF000000ull;

// True when all four pixels at p have alpha 0.
inline bool FourTransparent(const unsigned char* p) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    const int zeroMask = _mm_movemask_epi8(_mm_cmpeq_epi8(v, _mm_setzero_si128()));
    return (zeroMask & 0x8888) == 0x8888;
}

// The over rule's whole pairs (the weighted rule takes converted runs).
template <int Dir>
int OverPairsSse2(const SLyColorTableSet& t, const unsigned char* o, unsigned char* d, int width) {
    const __m128i zero = _mm_setzero_si128();
    // Flat overlay areas repeat the same pair: keep its conversion.
    uint64_t cachedPair = 0;
    __m128i cachedColour = ConvertPairSse2<Dir>(t, 0);
    int x = 0;
    while (x + 2 <= width) {
        if (x + 4 <= width && FourTransparent(o + 4 * x)) {
            x += 4;
            continue;
        }
        const uint64_t pair = Load64(o + 4 * x);
        if ((pair & kAlphaBytes) == 0) {
            x += 2;
            continue;
        }
        if ((pair & ~kAlphaBytes) != (cachedPair & ~kAlphaBytes)) {
            cachedPair = pair;
            cachedColour = ConvertPairSse2<Dir>(t, pair);
        }
        unsigned char* dp = d + 4 * x;
        const __m128i dw = _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(dp)), zero);
        const unsigned sA0 = static_cast<unsigned>(pair >> 24) & 0xFFu;
        const unsigned sA1 = static_cast<unsigned>(pair >> 56) & 0xFFu;
        const unsigned outA0 = ly::AlphaUnion(dp[3], sA0), outA1 = ly::AlphaUnion(dp[7], sA1);
        const short w0 = static_cast<short>(ly::AlphaQuotient(sA0, outA0));
        const short w1 = static_cast<short>(ly::AlphaQuotient(sA1, outA1));
        const __m128i w = _mm_setr_epi16(w0, w0, w0, w0, w1, w1, w1, w1);
        const __m128i mixed = MixLanesSse2(cachedColour, dw, w);
        uint64_t out = static_cast<uint64_t>(_mm_cvtsi128_si64(_mm_packus_epi16(mixed, mixed)));
        out = (out & ~kAlphaBytes) | (static_cast<uint64_t>(outA0) << 24) | (static_cast<uint64_t>(outA1) << 56);
        std::memcpy(dp, &out, 8);
        x += 2;
    }
    return x;
}
#endif

// ------------------------------------------------------------ converted runs
// Under the weighted rule a pixel's converted colour does not depend on the
// destination, so the overlay can be converted a run at a time by the
// converters' vector row kernels and then mixed a vector at a time. Those
// kernels add the same table words in the same order with the same
// saturation and shift (and copy the alpha, from which the weights follow),
// so the bytes are those of a lookup per pixel (the table bounds that make
// this so are proved at compile time, format/LyColorArith.h).

constexpr int kRunPixels = 128;  // even, so a run never splits a pair

// Everything a row kernel needs besides its pointers.
struct SLyMixRow {
    Isa isa;  // every kernel of the operation, converters included
    int colorimetry;
    const SLyColorTableSet* tables;
};

#if LY_X86
// True when every pixel of the run [p, p + 4 * n) has alpha 0.
bool RunTransparent(const unsigned char* p, int n) {
    __m128i acc = _mm_setzero_si128();
    int i = 0;
    for (; i + 4 <= n; i += 4) acc = _mm_or_si128(acc, _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 4 * i)));
    unsigned tail = 0;
    for (; i < n; ++i) tail |= p[4 * i + 3];
    const int zero = _mm_movemask_epi8(_mm_cmpeq_epi8(acc, _mm_setzero_si128()));
    return tail == 0 && (zero & 0x8888) == 0x8888;
}

// The weighted rule on four converted pixels (two pairs).
inline __m128i MixConverted4(__m128i c, __m128i d) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i alpha = _mm_and_si128(c, _mm_set1_epi32(static_cast<int>(0xFF000000u)));
    // w = (A * 128 + 255) >> 8 in each pixel's two low words.
    const __m128i w = _mm_srli_epi32(_mm_add_epi32(_mm_srli_epi32(alpha, 17), _mm_set1_epi32(255)), 8);
    const __m128i ww = _mm_or_si128(w, _mm_slli_epi32(w, 16));
    const __m128i lo = MixLanesSse2(_mm_unpacklo_epi8(c, zero), _mm_unpacklo_epi8(d, zero), _mm_unpacklo_epi32(ww, ww));
    const __m128i hi = MixLanesSse2(_mm_unpackhi_epi8(c, zero), _mm_unpackhi_epi8(d, zero), _mm_unpackhi_epi32(ww, ww));
    const __m128i mixed = _mm_or_si128(_mm_packus_epi16(lo, hi), _mm_set1_epi32(static_cast<int>(0xFF000000u)));
    // A pair of two transparent pixels keeps every byte, alpha included.
    const __m128i clear = _mm_cmpeq_epi32(alpha, zero);
    const __m128i keep = _mm_and_si128(clear, _mm_shuffle_epi32(clear, _MM_SHUFFLE(2, 3, 0, 1)));
    return _mm_or_si128(_mm_and_si128(keep, d), _mm_andnot_si128(keep, mixed));
}

LY_TARGET_AVX2 inline __m256i MixLanesAvx2(__m256i c, __m256i d, __m256i w) {
    return _mm256_add_epi16(d, _mm256_srai_epi16(_mm256_mullo_epi16(_mm256_sub_epi16(c, d), w), 7));
}

// MixConverted4 on eight pixels; every step stays within its 128-bit lane.
LY_TARGET_AVX2 inline __m256i MixConverted8(__m256i c, __m256i d) {
    const __m256i zero = _mm256_setzero_si256();
    const __m256i alphaMask = _mm256_set1_epi32(static_cast<int>(0xFF000000u));
    const __m256i alpha = _mm256_and_si256(c, alphaMask);
    const __m256i w = _mm256_srli_epi32(_mm256_add_epi32(_mm256_srli_epi32(alpha, 17), _mm256_set1_epi32(255)), 8);
    const __m256i ww = _mm256_or_si256(w, _mm256_slli_epi32(w, 16));
    const __m256i lo =
        MixLanesAvx2(_mm256_unpacklo_epi8(c, zero), _mm256_unpacklo_epi8(d, zero), _mm256_unpacklo_epi32(ww, ww));
    const __m256i hi =
        MixLanesAvx2(_mm256_unpackhi_epi8(c, zero), _mm256_unpackhi_epi8(d, zero), _mm256_unpackhi_epi32(ww, ww));
    const __m256i mixed = _mm256_or_si256(_mm256_packus_epi16(lo, hi), alphaMask);
    const __m256i clear = _mm256_cmpeq_epi32(alpha, zero);
    const __m256i keep = _mm256_and_si256(clear, _mm256_shuffle_epi32(clear, _MM_SHUFFLE(2, 3, 0, 1)));
    return _mm256_blendv_epi8(mixed, d, keep);
}

LY_TARGET_AVX2 int MixConvertedAvx2(const unsigned char* c, unsigned char* d, int n) {
    int i = 0;
    for (; i + 8 <= n; i += 8) {
        const __m256i cv = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(c + 4 * i));
        // Transparent stretches of a title cost a load and a test.
        if (_mm256_testz_si256(cv, _mm256_set1_epi32(static_cast<int>(0xFF000000u)))) continue;
        __m256i* dp = reinterpret_cast<__m256i*>(d + 4 * i);
        _mm256_storeu_si256(dp, MixConverted8(cv, _mm256_loadu_si256(dp)));
    }
    return i;
}

// Mixes the n converted pixels at c (n even) into d by the weighted rule.
void MixConverted(Isa isa, const unsigned char* c, unsigned char* d, int n) {
    int i = LY_WIDEST_FORM(isa, MixConvertedAvx2(c, d, n), 0, 0);
    for (; i + 4 <= n; i += 4) {
        const __m128i cv = _mm_loadu_si128(reinterpret_cast<const __m128i*>(c + 4 * i));
        __m128i* dp = reinterpret_cast<__m128i*>(d + 4 * i);
        _mm_storeu_si128(dp, MixConverted4(cv, _mm_loadu_si128(dp)));
    }
    for (; i < n; i += 2) WeightedPixelsScalar<kConverted>(ly::ColorTables(0), c + 4 * i, d + 4 * i, 2);
}

// Converts the n overlay pixels at o (n <= kRunPixels) into `run`.
template <int Dir>
void ConvertRun(const SLyMixRow& row, const unsigned char* o, unsigned char* run, int n) {
    if (Dir == kBgraIntoVuya)
        ly::packed::BgraToVuyaRow(row.isa, row.colorimetry, o, run, n);
    else
        ly::packed::VuyaToBgraRow(row.isa, row.colorimetry, o, run, n);
}

// The weighted rule over a row's whole pairs, a converted run at a time;
// returns the pixels done.
template <int Dir>
int Row32Runs(const SLyMixRow& row, const unsigned char* o, unsigned char* d, int width) {
    alignas(32) unsigned char run[4 * kRunPixels];
    const int pairsEnd = width & ~1;
    for (int x = 0; x < pairsEnd; x += kRunPixels) {
        const int n = pairsEnd - x < kRunPixels ? pairsEnd - x : kRunPixels;
        if (RunTransparent(o + 4 * x, n)) continue;
        ConvertRun<Dir>(row, o + 4 * x, run, n);
        MixConverted(row.isa, run, d + 4 * x, n);
    }
    return pairsEnd;
}
#endif

// One 32-bit row. The vector forms take whole pairs; the scalar rule takes
// what is left (the odd last pixel), which is the same rule on one pixel.
template <int Dir, bool Over>
void Row32(const SLyMixRow& row, const unsigned char* o, unsigned char* d, int width) {
    const SLyColorTableSet& t = *row.tables;
    const int done = Over ? LY_WIDEST_FORM(row.isa, OverPairsSse2<Dir>(t, o, d, width), OverPairsSse2<Dir>(t, o, d, width), 0)
                          : LY_WIDEST_FORM(row.isa, Row32Runs<Dir>(row, o, d, width), Row32Runs<Dir>(row, o, d, width), 0);
    if (done < width) Row32Scalar<Dir, Over>(t, o + 4 * done, d + 4 * done, width - done);
}

using Row32Kernel = void (*)(const SLyMixRow&, const unsigned char*, unsigned char*, int);

SLyMixRow MixRowSetup(int colorimetry) {
    return {ly::ActiveIsa(), colorimetry, &ly::ColorTables(colorimetry)};
}

template <int Dir>
void Mix32(const unsigned char* overlay, int overlayPitch, unsigned char* destination, int destinationPitch,
           ELyColorimetry colorimetry, int modeFlag, int width, int height) {
    if (!overlay || !destination || width < 1 || height < 1 || overlayPitch < 1 || destinationPitch < 1) return;
    if (colorimetry != Colorimetry_BT601 && colorimetry != Colorimetry_BT709) return;
    const SLyMixRow row = MixRowSetup(colorimetry);
    const Row32Kernel kernel = modeFlag != 0 ? &Row32<Dir, false> : &Row32<Dir, true>;
    ly::ParallelEachRow(
        height,
        [&](int r) { kernel(row, ly::RowAt(overlay, overlayPitch, r), ly::RowAt(destination, destinationPitch, r), width); },
        ly::PoolRoute::Exported);
}

// ------------------------------------------------------------ 4:2:2 destinations

// The overlay's pixel as (U, Y, V) plus its alpha weight.
enum Source422 : int {
    kFromVuya = 0,
    kFromBgra = 1,
};

template <int Src>
inline void OverlayUyv(const SLyColorTableSet* t, uint32_t px, unsigned c[3]) {
    if (Src == kFromBgra) {
        BgraToUyv(*t, px, c);
    } else {
        c[0] = (px >> 8) & 0xFFu;   // U
        c[1] = (px >> 16) & 0xFFu;  // Y
        c[2] = px & 0xFFu;          // V
    }
}

// Sample access of a 4:2:2 row: bytes at depth 8, little-endian words at 16.
template <bool D16>
inline unsigned GetSample(const unsigned char* p, int i) {
    return D16 ? Load16(p + 2 * i) : p[i];
}
template <bool D16>
inline void SetSample(unsigned char* p, int i, unsigned v) {
    if (D16)
        Store16(p + 2 * i, v);
    else
        p[i] = static_cast<unsigned char>(v);
}

// 10-bit samples at depth 16 take the overlay's 8-bit value times 4.
template <bool D16>
inline unsigned Widen(unsigned c) {
    return D16 ? c << 2 : c;
}

// A full pair: each pixel mixes its own luma and its own view of the pair's
// chroma; the pair's chroma is then the rounded-up mean of the two views.
template <int Src, bool D16>
void PairScalar(const SLyColorTableSet* t, const unsigned char* o, unsigned char* pair) {
    const unsigned w0 = AlphaWeight(o[3]), w1 = AlphaWeight(o[7]);
    if (w0 == 0 && w1 == 0) return;
    unsigned c0[3], c1[3];
    OverlayUyv<Src>(t, Load32(o), c0);
    OverlayUyv<Src>(t, Load32(o + 4), c1);
    const unsigned dU = GetSample<D16>(pair, 0), dY0 = GetSample<D16>(pair, 1);
    const unsigned dV = GetSample<D16>(pair, 2), dY1 = GetSample<D16>(pair, 3);
    const unsigned u = (MixValue(Widen<D16>(c0[0]), dU, w0) + MixValue(Widen<D16>(c1[0]), dU, w1) + 1u) >> 1;
    const unsigned v = (MixValue(Widen<D16>(c0[2]), dV, w0) + MixValue(Widen<D16>(c1[2]), dV, w1) + 1u) >> 1;
    SetSample<D16>(pair, 0, u);
    SetSample<D16>(pair, 1, MixValue(Widen<D16>(c0[1]), dY0, w0));
    SetSample<D16>(pair, 2, v);
    SetSample<D16>(pair, 3, MixValue(Widen<D16>(c1[1]), dY1, w1));
}

// The row's first pixel when it is the second of a pair that starts one
// pixel before the row: the pair's other pixel counts with weight 0, so the
// chroma moves half as far. Y0 is neither read nor written.
template <int Src, bool D16>
void LeadingPixelScalar(const SLyColorTableSet* t, const unsigned char* o, unsigned char* pair) {
    const unsigned w = AlphaWeight(o[3]);
    if (w == 0) return;
    unsigned c[3];
    OverlayUyv<Src>(t, Load32(o), c);
    const unsigned dU = GetSample<D16>(pair, 0), dV = GetSample<D16>(pair, 2), dY1 = GetSample<D16>(pair, 3);
    SetSample<D16>(pair, 0, (MixValue(Widen<D16>(c[0]), dU, w) + dU + 1u) >> 1);
    SetSample<D16>(pair, 2, (MixValue(Widen<D16>(c[2]), dV, w) + dV + 1u) >> 1);
    SetSample<D16>(pair, 3, MixValue(Widen<D16>(c[1]), dY1, w));
}

// The row's last pixel when its pair's second pixel lies beyond the row:
// only its luma is mixed, since the pair's V sample is not the row's to write.
template <int Src, bool D16>
void TrailingPixelScalar(const SLyColorTableSet* t, const unsigned char* o, unsigned char* pair) {
    const unsigned w = AlphaWeight(o[3]);
    if (w == 0) return;
    unsigned c[3];
    OverlayUyv<Src>(t, Load32(o), c);
    SetSample<D16>(pair, 1, MixValue(Widen<D16>(c[1]), GetSample<D16>(pair, 1), w));
}

template <int Src, bool D16>
void Pairs422Scalar(const SLyColorTableSet* t, const unsigned char* o, unsigned char* d, int pairs) {
    constexpr int kPairBytes = D16 ? 8 : 4;
    for (int p = 0; p < pairs; ++p) PairScalar<Src, D16>(t, o + 8 * p, d + kPairBytes * p);
}

#if LY_X86
// Both pixels of a VUYA overlay pair as (U, Y, V, A) words.
inline __m128i UyvPairSse2(uint64_t pair) {
    const __m128i w = _mm_unpacklo_epi8(_mm_cvtsi64_si128(static_cast<long long>(pair)), _mm_setzero_si128());
    return _mm_shufflehi_epi16(_mm_shufflelo_epi16(w, _MM_SHUFFLE(3, 0, 2, 1)), _MM_SHUFFLE(3, 0, 2, 1));
}

// (c * w + d * (128 - w)) >> 7 for eight 16-bit lanes of any unsigned value,
// through biased signed pairs so that one multiply-add gives the 32-bit sum.
inline __m128i MixLanesWideSse2(__m128i c, __m128i d, short w0, short w1) {
    const __m128i bias = _mm_set1_epi16(static_cast<short>(0x8000));
    const __m128i cb = _mm_xor_si128(c, bias);
    const __m128i db = _mm_xor_si128(d, bias);
    const __m128i wv0 = _mm_set1_epi32(static_cast<int>((static_cast<unsigned>(128 - w0) << 16) | static_cast<unsigned>(w0)));
    const __m128i wv1 = _mm_set1_epi32(static_cast<int>((static_cast<unsigned>(128 - w1) << 16) | static_cast<unsigned>(w1)));
    const __m128i unbias = _mm_set1_epi32(32768 * 128);
    __m128i lo = _mm_madd_epi16(_mm_unpacklo_epi16(cb, db), wv0);
    __m128i hi = _mm_madd_epi16(_mm_unpackhi_epi16(cb, db), wv1);
    lo = _mm_srli_epi32(_mm_add_epi32(lo, unbias), 7);
    hi = _mm_srli_epi32(_mm_add_epi32(hi, unbias), 7);
    // 0..65535 back to 16 bits: shift into the signed range for the pack.
    const __m128i half = _mm_set1_epi32(32768);
    const __m128i packed = _mm_packs_epi32(_mm_sub_epi32(lo, half), _mm_sub_epi32(hi, half));
    return _mm_xor_si128(packed, bias);
}

// Whole pairs of a VUYA overlay (a BGRA one arrives converted, see
// BgraPairs422Runs).
template <bool D16>
void Pairs422Sse2(const unsigned char* o, unsigned char* d, int pairs) {
    constexpr int kPairBytes = D16 ? 8 : 4;
    const __m128i zero = _mm_setzero_si128();
    const __m128i k255 = _mm_set1_epi16(255);
    const __m128i keep02 = _mm_setr_epi16(-1, 0, -1, 0, 0, 0, 0, 0);
    const __m128i keep1 = _mm_setr_epi16(0, -1, 0, 0, 0, 0, 0, 0);
    const __m128i keep3 = _mm_setr_epi16(0, 0, 0, -1, 0, 0, 0, 0);
    int p = 0;
    while (p < pairs) {
        const unsigned char* op = o + 8 * p;
        if (p + 2 <= pairs && FourTransparent(op)) {
            p += 2;
            continue;
        }
        const uint64_t pair = Load64(op);
        if ((pair & kAlphaBytes) == 0) {
            ++p;
            continue;
        }
        const __m128i colour = UyvPairSse2(pair);
        unsigned char* dp = d + kPairBytes * p;
        // Destination as two pixel views: (U, Y0, V, Y1) and (U, Y1, V, Y0).
        __m128i dw = D16 ? _mm_loadl_epi64(reinterpret_cast<const __m128i*>(dp))
                         : _mm_unpacklo_epi8(_mm_cvtsi32_si128(static_cast<int>(Load32(dp))), zero);
        dw = _mm_unpacklo_epi64(dw, _mm_shufflelo_epi16(dw, _MM_SHUFFLE(1, 2, 3, 0)));
        __m128i mixed;
        if (D16) {
            const short w0 = static_cast<short>(AlphaWeight(static_cast<unsigned>(pair >> 24) & 0xFFu));
            const short w1 = static_cast<short>(AlphaWeight(static_cast<unsigned>(pair >> 56) & 0xFFu));
            mixed = MixLanesWideSse2(_mm_slli_epi16(colour, 2), dw, w0, w1);
        } else {
            const __m128i ow = _mm_unpacklo_epi8(_mm_cvtsi64_si128(static_cast<long long>(pair)), zero);
            const __m128i aw = _mm_shufflehi_epi16(_mm_shufflelo_epi16(ow, 0xFF), 0xFF);
            const __m128i w = _mm_srli_epi16(_mm_add_epi16(_mm_slli_epi16(aw, 7), k255), 8);
            mixed = MixLanesSse2(colour, dw, w);
        }
        // Chroma: mean of the two views; luma: each pixel's own lane.
        const __m128i mean = _mm_avg_epu16(mixed, _mm_srli_si128(mixed, 8));
        const __m128i out = _mm_or_si128(_mm_and_si128(mean, keep02),
                                         _mm_or_si128(_mm_and_si128(mixed, keep1),
                                                      _mm_and_si128(_mm_srli_si128(mixed, 4), keep3)));
        if (D16) {
            _mm_storel_epi64(reinterpret_cast<__m128i*>(dp), out);
        } else {
            const uint32_t bytes = static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_packus_epi16(out, out)));
            Store32(dp, bytes);
        }
        ++p;
    }
}
#endif

#if LY_X86
// Word shuffle: the bytes at the eight indices, zero-extended, in each lane.
LY_TARGET_AVX2 inline __m256i WordPick(char i0, char i1, char i2, char i3, char i4, char i5, char i6, char i7) {
    const char z = -128;
    return _mm256_setr_epi8(i0, z, i1, z, i2, z, i3, z, i4, z, i5, z, i6, z, i7, z,  //
                            i0, z, i1, z, i2, z, i3, z, i4, z, i5, z, i6, z, i7, z);
}

// 7-bit weights of the alpha bytes picked by `pick`.
LY_TARGET_AVX2 inline __m256i PickWeights(__m256i pixels, __m256i pick) {
    const __m256i a = _mm256_shuffle_epi8(pixels, pick);
    return _mm256_srli_epi16(_mm256_add_epi16(_mm256_slli_epi16(a, 7), _mm256_set1_epi16(255)), 8);
}

// Eight whole pairs of a VUYA overlay into an 8-bit UYVY row at a time. The
// destination words (U, Y0, V, Y1 per pair) are mixed twice: once as the
// pair's first pixel sees them and once as its second pixel does. The luma
// words get the same colour and weight in both views, so the rounded-up mean
// of the two leaves them as mixed, while each chroma word becomes the mean of
// its two pixels' mixes. A pair of weight 0 comes back unchanged by itself.
LY_TARGET_AVX2 int VuyaPairs8Avx2(const unsigned char* c, unsigned char* d, int pairs) {
    // Overlay bytes per pixel: V, U, Y, A.
    const __m256i colourFirst = WordPick(1, 2, 0, 6, 9, 10, 8, 14);    // U0 Y0 V0 Y1 | U2 Y2 V2 Y3
    const __m256i colourSecond = WordPick(5, 2, 4, 6, 13, 10, 12, 14);  // U1 Y0 V1 Y1 | U3 Y2 V3 Y3
    const __m256i alphaFirst = WordPick(3, 3, 3, 7, 11, 11, 11, 15);
    const __m256i alphaSecond = WordPick(7, 3, 7, 7, 15, 11, 15, 15);
    const __m256i alphaBits = _mm256_set1_epi32(static_cast<int>(0xFF000000u));
    const __m256i zero = _mm256_setzero_si256();
    int p = 0;
    for (; p + 8 <= pairs; p += 8, c += 64, d += 32) {
        const __m256i r0 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(c));
        const __m256i r1 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(c + 32));
        if (_mm256_testz_si256(_mm256_or_si256(r0, r1), alphaBits)) continue;
        const __m256i dv = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(d));
        // Unpacking works within 128-bit lanes: the low words hold pairs 0, 1
        // and 4, 5, which are pixels 0-3 and 8-11; the high words the rest.
        const __m256i src[2] = {_mm256_permute2x128_si256(r0, r1, 0x20), _mm256_permute2x128_si256(r0, r1, 0x31)};
        const __m256i dst[2] = {_mm256_unpacklo_epi8(dv, zero), _mm256_unpackhi_epi8(dv, zero)};
        __m256i out[2];
        for (int h = 0; h < 2; ++h) {
            const __m256i first = MixLanesAvx2(_mm256_shuffle_epi8(src[h], colourFirst), dst[h],
                                               PickWeights(src[h], alphaFirst));
            const __m256i second = MixLanesAvx2(_mm256_shuffle_epi8(src[h], colourSecond), dst[h],
                                                PickWeights(src[h], alphaSecond));
            out[h] = _mm256_avg_epu16(first, second);
        }
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d), _mm256_packus_epi16(out[0], out[1]));
    }
    return p;
}

// Whole pairs of a VUYA overlay into a 4:2:2 row, vector forms only.
template <bool D16>
void VuyaPairs422(Isa isa, const unsigned char* c, unsigned char* d, int pairs) {
    constexpr int kPairBytes = D16 ? 8 : 4;
    const int done = D16 ? 0 : LY_WIDEST_FORM(isa, VuyaPairs8Avx2(c, d, pairs), 0, 0);
    Pairs422Sse2<D16>(c + 8 * done, d + kPairBytes * done, pairs - done);
}

// A BGRA overlay's whole pairs, converted to VUYA a run at a time (see
// "converted runs"): the VUYA pair kernel then gives the same bytes.
template <bool D16>
void BgraPairs422Runs(const SLyMixRow& row, const unsigned char* o, unsigned char* d, int pairs) {
    constexpr int kPairBytes = D16 ? 8 : 4;
    constexpr int kRunPairs = kRunPixels / 2;
    alignas(32) unsigned char run[4 * kRunPixels];
    for (int p = 0; p < pairs; p += kRunPairs) {
        const int n = pairs - p < kRunPairs ? pairs - p : kRunPairs;
        const unsigned char* op = o + 8 * p;
        if (RunTransparent(op, 2 * n)) continue;
        ly::packed::BgraToVuyaRow(row.isa, row.colorimetry, op, run, 2 * n);
        VuyaPairs422<D16>(row.isa, run, d + kPairBytes * p, n);
    }
}

template <int Src, bool D16>
void Pairs422Vector(const SLyMixRow& row, const unsigned char* o, unsigned char* d, int pairs) {
    if (Src == kFromBgra)
        BgraPairs422Runs<D16>(row, o, d, pairs);
    else
        VuyaPairs422<D16>(row.isa, o, d, pairs);
}
#endif

template <int Src, bool D16>
void Row422(const SLyMixRow& row, const unsigned char* o, unsigned char* d, int width, int pairStart) {
    constexpr int kPixelBytes = D16 ? 4 : 2;
    const SLyColorTableSet* t = row.tables;
    int x = 0;
    if (pairStart == 0) {
        LeadingPixelScalar<Src, D16>(t, o, d - kPixelBytes);
        x = 1;
    }
    const unsigned char* op = o + 4 * x;
    unsigned char* dp = d + kPixelBytes * x;
    const int pairs = (width - x) / 2;
    LY_WIDEST_FORM(row.isa, (Pairs422Vector<Src, D16>(row, op, dp, pairs)), (Pairs422Vector<Src, D16>(row, op, dp, pairs)),
                   (Pairs422Scalar<Src, D16>(t, op, dp, pairs)));
    if (x + 2 * pairs < width) TrailingPixelScalar<Src, D16>(t, op + 8 * pairs, dp + 2 * kPixelBytes * pairs);
}

using Row422Kernel = void (*)(const SLyMixRow&, const unsigned char*, unsigned char*, int, int);

void Mix422(const unsigned char* overlay, int overlayPitch, unsigned char* destination, int destinationPitch,
            int colorimetry, Row422Kernel kernel, int pairStart, int width, int height) {
    const SLyMixRow row = MixRowSetup(colorimetry);
    ly::ParallelEachRow(height, [&](int r) {
        kernel(row, ly::RowAt(overlay, overlayPitch, r), ly::RowAt(destination, destinationPitch, r), width, pairStart);
    });
}

}  // namespace

// ============================================================ exported

namespace LyPixelUtils {

void MixBGRA4444WithVUYA4444(const unsigned char* overlay, int overlayPitch, unsigned char* destination,
                             int destinationPitch, ELyColorimetry colorimetry, int modeFlag, int width, int height) {
    Mix32<kBgraIntoVuya>(overlay, overlayPitch, destination, destinationPitch, colorimetry, modeFlag, width, height);
}

void MixVUYA4444WithBGRA4444(unsigned char* first, int firstPitch, ELyColorimetry colorimetry, unsigned char* second,
                             int secondPitch, int modeFlag, int width, int height) {
    Mix32<kVuyaIntoBgra>(first, firstPitch, second, secondPitch, colorimetry, modeFlag, width, height);
}

void MixVUYA4444WithUYVY422(const unsigned char* overlay, int overlayPitch, unsigned char* destination,
                            int destinationPitch, unsigned char bitDepth, int pairStart, int width, int height) {
    if (!overlay || !destination || width < 1 || height < 1) return;
    Row422Kernel kernel = nullptr;
    if (bitDepth == 8) kernel = &Row422<kFromVuya, false>;
    if (bitDepth == 16) kernel = &Row422<kFromVuya, true>;
    if (!kernel) return;
    Mix422(overlay, overlayPitch, destination, destinationPitch, 0, kernel, pairStart, width, height);
}

void MixBGRA4444WithUYVY422(const unsigned char* overlay, int overlayPitch, unsigned char* destination,
                            int destinationPitch, unsigned char bitDepth, ELyColorimetry colorimetry, int pairStart,
                            int width, int height) {
    if (!overlay || !destination || width < 1 || height < 1) return;
    if (colorimetry != Colorimetry_BT601 && colorimetry != Colorimetry_BT709) return;
    Row422Kernel kernel = nullptr;
    if (bitDepth == 8) kernel = &Row422<kFromBgra, false>;
    if (bitDepth == 16) kernel = &Row422<kFromBgra, true>;
    if (!kernel) return;
    Mix422(overlay, overlayPitch, destination, destinationPitch, colorimetry, kernel, pairStart, width, height);
}

}  // namespace LyPixelUtils
