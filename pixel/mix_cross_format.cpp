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
#include "memory/LyCpu.h"
#include "threading/LyBandFrame.h"

namespace {

using ly::Isa;
using ly::SLyColorTableSet;

// ------------------------------------------------------------ shared scalar pieces

inline int SatAdd16(int a, int b) {
    const int s = a + b;
    return s > 32767 ? 32767 : (s < -32768 ? -32768 : s);
}

// 7-bit weight of an 8-bit alpha: 0 only for 0, 128 only for 255.
inline unsigned AlphaWeight(unsigned alpha) { return (alpha * 128u + 255u) >> 8; }

inline unsigned MixValue(unsigned c, unsigned d, unsigned w) { return (c * w + d * (128u - w)) >> 7; }

inline uint32_t Load32(const unsigned char* p) {
    uint32_t v;
    std::memcpy(&v, p, 4);
    return v;
}
inline void Store32(unsigned char* p, uint32_t v) { std::memcpy(p, &v, 4); }
inline uint64_t Load64(const unsigned char* p) {
    uint64_t v;
    std::memcpy(&v, p, 8);
    return v;
}
inline unsigned Load16(const unsigned char* p) { return static_cast<unsigned>(p[0]) | (static_cast<unsigned>(p[1]) << 8); }
inline void Store16(unsigned char* p, unsigned v) {
    p[0] = static_cast<unsigned char>(v);
    p[1] = static_cast<unsigned char>(v >> 8);
}

// BGRA -> (V, U, Y): layout 3, B + G + R + offset with signed saturation,
// then a logical shift. The table values keep every word within 16..240.
inline void BgraToVuy(const SLyColorTableSet& t, uint32_t px, unsigned out[3]) {
    const unsigned b = px & 0xFFu, g = (px >> 8) & 0xFFu, r = (px >> 16) & 0xFFu;
    for (int k = 0; k < 3; ++k) {
        int s = SatAdd16(t.fwd3[ly::kTabB][b][k], t.fwd3[ly::kTabG][g][k]);
        s = SatAdd16(s, t.fwd3[ly::kTabR][r][k]);
        s = SatAdd16(s, t.off3[k]);
        out[k] = static_cast<uint16_t>(s) >> 6;
    }
}

// BGRA -> (U, Y, V): layout 2 in the same order of additions.
inline void BgraToUyv(const SLyColorTableSet& t, uint32_t px, unsigned out[3]) {
    const unsigned b = px & 0xFFu, g = (px >> 8) & 0xFFu, r = (px >> 16) & 0xFFu;
    for (int k = 0; k < 3; ++k) {
        int s = SatAdd16(t.fwd2[ly::kTabB][b][k], t.fwd2[ly::kTabG][g][k]);
        s = SatAdd16(s, t.fwd2[ly::kTabR][r][k]);
        s = SatAdd16(s, t.off2[k]);
        s >>= 6;
        out[k] = static_cast<unsigned>(s < 0 ? 0 : (s > 255 ? 255 : s));
    }
}

// VUYA -> (B, G, R): inverse tables V, then U, then Y with signed
// saturation, arithmetic shift, clamp.
inline void VuyaToBgr(const SLyColorTableSet& t, uint32_t px, unsigned out[3]) {
    const unsigned v = px & 0xFFu, u = (px >> 8) & 0xFFu, y = (px >> 16) & 0xFFu;
    for (int k = 0; k < 3; ++k) {
        int s = SatAdd16(t.inv[ly::kTabV][v][k], t.inv[ly::kTabU][u][k]);
        s = SatAdd16(s, t.inv[ly::kTabY][y][k]);
        s >>= 6;
        out[k] = static_cast<unsigned>(s < 0 ? 0 : (s > 255 ? 255 : s));
    }
}

// ------------------------------------------------------------ 32-bit destinations

// Which 32-bit pairing: BGRA overlay into VUYA, or VUYA overlay into BGRA.
enum Direction : int {
    kBgraIntoVuya = 0,
    kVuyaIntoBgra = 1,
};

template <int Dir>
inline void ConvertPixel(const SLyColorTableSet& t, uint32_t px, unsigned c[3]) {
    if (Dir == kBgraIntoVuya)
        BgraToVuy(t, px, c);
    else
        VuyaToBgr(t, px, c);
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

template <int Dir, bool Over>
int Row32Sse2(const SLyColorTableSet& t, const unsigned char* o, unsigned char* d, int width) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i k255 = _mm_set1_epi16(255);
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
        if (!Over) {
            const __m128i ow = _mm_unpacklo_epi8(_mm_cvtsi64_si128(static_cast<long long>(pair)), zero);
            const __m128i aw = _mm_shufflehi_epi16(_mm_shufflelo_epi16(ow, 0xFF), 0xFF);
            const __m128i w = _mm_srli_epi16(_mm_add_epi16(_mm_slli_epi16(aw, 7), k255), 8);
            const __m128i mixed = MixLanesSse2(cachedColour, dw, w);
            // Every written pair ends opaque, a pixel of weight 0 included.
            const uint64_t out =
                static_cast<uint64_t>(_mm_cvtsi128_si64(_mm_packus_epi16(mixed, mixed))) | kAlphaBytes;
            std::memcpy(dp, &out, 8);
        } else {
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
        }
        x += 2;
    }
    return x;
}
#endif

// One 32-bit row. The vector form takes whole pairs; the scalar rule takes
// what is left (the odd last pixel), which is the same rule on one pixel.
template <int Dir, bool Over>
void Row32(Isa isa, const SLyColorTableSet& t, const unsigned char* o, unsigned char* d, int width) {
#if LY_X86
    if (isa != Isa::Scalar) {
        const int done = Row32Sse2<Dir, Over>(t, o, d, width);
        if (done < width) Row32Scalar<Dir, Over>(t, o + 4 * done, d + 4 * done, width - done);
        return;
    }
#else
    (void)isa;
#endif
    Row32Scalar<Dir, Over>(t, o, d, width);
}

using Row32Kernel = void (*)(Isa, const SLyColorTableSet&, const unsigned char*, unsigned char*, int);

template <int Dir>
void Mix32(const unsigned char* overlay, int overlayPitch, unsigned char* destination, int destinationPitch,
           ELyColorimetry colorimetry, int modeFlag, int width, int height) {
    if (!overlay || !destination || width < 1 || height < 1 || overlayPitch < 1 || destinationPitch < 1) return;
    if (colorimetry != Colorimetry_BT601 && colorimetry != Colorimetry_BT709) return;
    const SLyColorTableSet& tables = ly::ColorTables(colorimetry);
    const Row32Kernel kernel = modeFlag != 0 ? &Row32<Dir, false> : &Row32<Dir, true>;
    const Isa isa = ly::ActiveIsa();
    ly::ParallelRows(ly::PoolRoute::Exported, height, [&](int firstRow, int rows) {
        const unsigned char* o = ly::RowAt(overlay, overlayPitch, firstRow);
        unsigned char* d = ly::RowAt(destination, destinationPitch, firstRow);
        for (int r = 0; r < rows; ++r, o += overlayPitch, d += destinationPitch) kernel(isa, tables, o, d, width);
    });
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
int Pairs422Scalar(const SLyColorTableSet* t, const unsigned char* o, unsigned char* d, int pairs) {
    constexpr int kPairBytes = D16 ? 8 : 4;
    for (int p = 0; p < pairs; ++p) PairScalar<Src, D16>(t, o + 8 * p, d + kPairBytes * p);
    return pairs;
}

#if LY_X86
// Both overlay pixels as (U, Y, V, x) words, values 0..255.
template <int Src>
inline __m128i OverlayUyvPairSse2(const SLyColorTableSet* t, uint64_t pair) {
    if (Src == kFromBgra) {
        const unsigned p0 = static_cast<uint32_t>(pair), p1 = static_cast<uint32_t>(pair >> 32);
        __m128i s = _mm_adds_epi16(LoadEntryPair(t->fwd2[ly::kTabB], p0 & 0xFFu, p1 & 0xFFu),
                                   LoadEntryPair(t->fwd2[ly::kTabG], (p0 >> 8) & 0xFFu, (p1 >> 8) & 0xFFu));
        s = _mm_adds_epi16(s, LoadEntryPair(t->fwd2[ly::kTabR], (p0 >> 16) & 0xFFu, (p1 >> 16) & 0xFFu));
        const __m128i off = _mm_set1_epi64x(static_cast<long long>(Load64(reinterpret_cast<const unsigned char*>(t->off2))));
        s = _mm_srai_epi16(_mm_adds_epi16(s, off), 6);
        return _mm_min_epi16(_mm_max_epi16(s, _mm_setzero_si128()), _mm_set1_epi16(255));
    } else {
        // V U Y A -> U Y V A
        const __m128i w = _mm_unpacklo_epi8(_mm_cvtsi64_si128(static_cast<long long>(pair)), _mm_setzero_si128());
        return _mm_shufflehi_epi16(_mm_shufflelo_epi16(w, _MM_SHUFFLE(3, 0, 2, 1)), _MM_SHUFFLE(3, 0, 2, 1));
    }
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

template <int Src, bool D16>
int Pairs422Sse2(const SLyColorTableSet* t, const unsigned char* o, unsigned char* d, int pairs) {
    constexpr int kPairBytes = D16 ? 8 : 4;
    const __m128i zero = _mm_setzero_si128();
    const __m128i k255 = _mm_set1_epi16(255);
    const __m128i keep02 = _mm_setr_epi16(-1, 0, -1, 0, 0, 0, 0, 0);
    const __m128i keep1 = _mm_setr_epi16(0, -1, 0, 0, 0, 0, 0, 0);
    const __m128i keep3 = _mm_setr_epi16(0, 0, 0, -1, 0, 0, 0, 0);
    uint64_t cachedPair = 0;
    __m128i cachedColour = OverlayUyvPairSse2<Src>(t, 0);
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
        if (Src == kFromVuya || (pair & ~kAlphaBytes) != (cachedPair & ~kAlphaBytes)) {
            cachedPair = pair;
            cachedColour = OverlayUyvPairSse2<Src>(t, pair);
        }
        unsigned char* dp = d + kPairBytes * p;
        // Destination as two pixel views: (U, Y0, V, Y1) and (U, Y1, V, Y0).
        __m128i dw = D16 ? _mm_loadl_epi64(reinterpret_cast<const __m128i*>(dp))
                         : _mm_unpacklo_epi8(_mm_cvtsi32_si128(static_cast<int>(Load32(dp))), zero);
        dw = _mm_unpacklo_epi64(dw, _mm_shufflelo_epi16(dw, _MM_SHUFFLE(1, 2, 3, 0)));
        __m128i mixed;
        if (D16) {
            const short w0 = static_cast<short>(AlphaWeight(static_cast<unsigned>(pair >> 24) & 0xFFu));
            const short w1 = static_cast<short>(AlphaWeight(static_cast<unsigned>(pair >> 56) & 0xFFu));
            mixed = MixLanesWideSse2(_mm_slli_epi16(cachedColour, 2), dw, w0, w1);
        } else {
            const __m128i ow = _mm_unpacklo_epi8(_mm_cvtsi64_si128(static_cast<long long>(pair)), zero);
            const __m128i aw = _mm_shufflehi_epi16(_mm_shufflelo_epi16(ow, 0xFF), 0xFF);
            const __m128i w = _mm_srli_epi16(_mm_add_epi16(_mm_slli_epi16(aw, 7), k255), 8);
            mixed = MixLanesSse2(cachedColour, dw, w);
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
    return p;
}
#endif

template <int Src, bool D16>
void Row422(Isa isa, const SLyColorTableSet* t, const unsigned char* o, unsigned char* d, int width,
            int pairStart) {
    constexpr int kPixelBytes = D16 ? 4 : 2;
    int x = 0;
    if (pairStart == 0) {
        LeadingPixelScalar<Src, D16>(t, o, d - kPixelBytes);
        x = 1;
    }
    const unsigned char* op = o + 4 * x;
    unsigned char* dp = d + kPixelBytes * x;
    const int pairs = (width - x) / 2;
#if LY_X86
    if (isa != Isa::Scalar)
        Pairs422Sse2<Src, D16>(t, op, dp, pairs);
    else
        Pairs422Scalar<Src, D16>(t, op, dp, pairs);
#else
    (void)isa;
    Pairs422Scalar<Src, D16>(t, op, dp, pairs);
#endif
    if (x + 2 * pairs < width) TrailingPixelScalar<Src, D16>(t, op + 8 * pairs, dp + 2 * kPixelBytes * pairs);
}

using Row422Kernel = void (*)(Isa, const SLyColorTableSet*, const unsigned char*, unsigned char*, int, int);

void Mix422(const unsigned char* overlay, int overlayPitch, unsigned char* destination, int destinationPitch,
            const SLyColorTableSet* tables, Row422Kernel kernel, int pairStart, int width, int height) {
    const Isa isa = ly::ActiveIsa();
    ly::ParallelRows(ly::PoolRoute::Internal, height, [&](int firstRow, int rows) {
        const unsigned char* o = ly::RowAt(overlay, overlayPitch, firstRow);
        unsigned char* d = ly::RowAt(destination, destinationPitch, firstRow);
        for (int r = 0; r < rows; ++r, o += overlayPitch, d += destinationPitch)
            kernel(isa, tables, o, d, width, pairStart);
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
    Mix422(overlay, overlayPitch, destination, destinationPitch, nullptr, kernel, pairStart, width, height);
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
    Mix422(overlay, overlayPitch, destination, destinationPitch, &ly::ColorTables(colorimetry), kernel, pairStart,
           width, height);
}

}  // namespace LyPixelUtils
