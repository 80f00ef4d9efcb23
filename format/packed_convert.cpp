// Packed format converters: BGRA, VUYA, UYVY 4:2:2 (8 and 16 bit) and
// YUYV 4:2:2 with a 16-bit alpha plane.
//
// Every kernel exists in three forms that give identical bytes:
//  * scalar: the reference, table lookups with signed 16-bit saturating adds
//    (B + G, then R, then the offset; chroma U + V, then Y);
//  * SSE2: the same lookups, two table entries (two pixels) gathered into one
//    register, the adds done with _mm_adds_epi16;
//  * AVX2: each table word computed arithmetically, sixteen at a time, by
//    the 16-bit integer forms of format/LyColorArith.h (a whole part, a
//    rounding high multiply and a constant), which reproduce every word of
//    both table sets; that is proved word by word at compile time
//    (FormsExact), so a few multiplies replace a gather, and the bytes do not
//    depend on the floating-point environment.
//
// Where a vector form skips a clamp or a saturation, it does so because the
// table bounds make it a no-op (proved at compile time, TableBoundsHold): the forward
// sums never leave 0 .. 255 * 64 + 63, and the inverse sums never saturate
// downwards, so saturating upwards and then clamping gives 255 either way.
//
// Whole pixel pairs go through the widest form available; the lower forms
// finish what is left (fewer pixels than one vector block), so head and tail
// pixels follow exactly the same rule.

#include <algorithm>
#include <cstring>

#include "LyFormatUtils.h"
#include "format/LyColorArith.h"
#include "format/LyColorTables.h"
#include "format/LyPackedKernels.h"
#include "memory/LyUnaligned.h"
#include "threading/LyBandFrame.h"

namespace ly::packed {
namespace {

// ------------------------------------------------------------ shared helpers

constexpr int kChunkPairs = 128;  // staging size for 16-bit and YUYV rows

// A 16-bit 4:2:2 sample holds an 8-bit value times 4; anything between (true
// 10-bit values) rounds to the nearest 8-bit value, anything above 1021
// saturates at 255.
inline int Reduce16(unsigned s) {
    const unsigned v = (s + 2u) >> 2;
    return v > 255u ? 255 : static_cast<int>(v);
}

inline int PairBytes(Layout422 l) { return Is16Bit(l) ? 8 : 4; }

// ------------------------------------------------------------ scalar forms

// Forward layout 2 of one BGRA pixel: B + G, + R, + offset, each saturating,
// then an arithmetic shift. out = U, Y, V.
inline void ForwardPixel(const SLyColorTableSet& t, const unsigned char* p, int out[3]) {
    for (int k = 0; k < 3; ++k) out[k] = ForwardSum(t.fwd2, t.off2, p[0], p[1], p[2], k) >> 6;
}

void BgraToUyvyPairsScalar(const SLyColorTableSet& t, const unsigned char* s, unsigned char* d, int pairs) {
    for (int i = 0; i < pairs; ++i, s += 8, d += 4) {
        int a[3], b[3];
        ForwardPixel(t, s, a);
        ForwardPixel(t, s + 4, b);
        d[0] = ClampByte((a[0] + b[0] + 1) >> 1);
        d[1] = ClampByte(a[1]);
        d[2] = ClampByte((a[2] + b[2] + 1) >> 1);
        d[3] = ClampByte(b[1]);
    }
}

void VuyaToUyvyPairsScalar(const unsigned char* s, unsigned char* d, int pairs) {
    for (int i = 0; i < pairs; ++i, s += 8, d += 4) {
        d[0] = static_cast<unsigned char>((s[1] + s[5] + 1) >> 1);
        d[1] = s[2];
        d[2] = static_cast<unsigned char>((s[0] + s[4] + 1) >> 1);
        d[3] = s[6];
    }
}

// One BGRA pixel from chroma (U + V, saturating) and its own Y.
inline void InversePixel(const SLyColorTableSet& t, int u, int v, int y, unsigned char* d) {
    for (int k = 0; k < 3; ++k) d[k] = InverseByte(t, y, u, v, k);
    d[3] = 255;
}

void UyvyToBgraPairsScalar(const SLyColorTableSet& t, const unsigned char* s, unsigned char* d, int pairs) {
    for (int i = 0; i < pairs; ++i, s += 4, d += 8) {
        InversePixel(t, s[0], s[2], s[1], d);
        InversePixel(t, s[0], s[2], s[3], d + 4);
    }
}

inline void VuyaPixel(int u, int v, int y, unsigned char* d) {
    d[0] = static_cast<unsigned char>(v);
    d[1] = static_cast<unsigned char>(u);
    d[2] = static_cast<unsigned char>(y);
    d[3] = 255;
}

void UyvyToVuyaPairsScalar(const unsigned char* s, unsigned char* d, int pairs) {
    for (int i = 0; i < pairs; ++i, s += 4, d += 8) {
        VuyaPixel(s[0], s[2], s[1], d);
        VuyaPixel(s[0], s[2], s[3], d + 4);
    }
}

void BgraToVuyaScalar(const SLyColorTableSet& t, const unsigned char* s, unsigned char* d, int width) {
    for (int i = 0; i < width; ++i, s += 4, d += 4) {
        unsigned w[4];
        for (int k = 0; k < 4; ++k)  // logical shift of the 16-bit word
            w[k] = (static_cast<unsigned>(ForwardSum(t.fwd1, t.off1, s[0], s[1], s[2], k)) & 0xFFFFu) >> 6;
        d[0] = static_cast<unsigned char>(w[3]);
        d[1] = static_cast<unsigned char>(w[2]);
        d[2] = static_cast<unsigned char>(w[0]);
        d[3] = s[3];
    }
}

void VuyaToBgraScalar(const SLyColorTableSet& t, const unsigned char* s, unsigned char* d, int width) {
    for (int i = 0; i < width; ++i, s += 4, d += 4) {
        for (int k = 0; k < 3; ++k) d[k] = InverseByte(t, s[2], s[1], s[0], k);
        d[3] = s[3];
    }
}

void Reduce16Scalar(const unsigned char* s, unsigned char* d, int samples) {
    for (int i = 0; i < samples; ++i) d[i] = static_cast<unsigned char>(Reduce16(Load16(s + 2 * i)));
}

// UYVY 8-bit pairs into another layout.
void RelayoutScalar(Layout422 l, const unsigned char* s, unsigned char* d, int pairs) {
    const bool swap = l == Layout422::Yuyv8 || l == Layout422::Yuyv16;
    for (int i = 0; i < pairs * 4; i += 2) {
        const unsigned first = swap ? s[i + 1] : s[i];
        const unsigned second = swap ? s[i] : s[i + 1];
        if (Is16Bit(l)) {
            Store16(d + 2 * i, first << 2);
            Store16(d + 2 * i + 2, second << 2);
        } else {
            d[i] = static_cast<unsigned char>(first);
            d[i + 1] = static_cast<unsigned char>(second);
        }
    }
}

void AlphaPlaneScalar(const unsigned char* s, unsigned char* d, int count) {
    for (int i = 0; i < count; ++i) Store16(d + 2 * i, static_cast<unsigned>(s[4 * i + 3]) << 4);
}

// ------------------------------------------------------------ SSE2 forms
// Each returns how many pairs (or pixels) it did; the caller finishes the
// rest with the next lower form.

#if LY_X86

inline __m128i LoadEntry(const int16_t* e) { return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(e)); }

// Entries i0 and i1 of one table in the low and high halves.
inline __m128i LoadEntries(const int16_t (*tab)[4], unsigned i0, unsigned i1) {
    return _mm_unpacklo_epi64(LoadEntry(tab[i0]), LoadEntry(tab[i1]));
}

// Two BGRA pixels -> words U0 Y0 V0 0 | U1 Y1 V1 0 (shifted).
inline __m128i ForwardTwoSse2(const SLyColorTableSet& t, uint64_t px, __m128i off) {
    const unsigned b0 = px & 0xFF, g0 = (px >> 8) & 0xFF, r0 = (px >> 16) & 0xFF;
    const unsigned b1 = (px >> 32) & 0xFF, g1 = (px >> 40) & 0xFF, r1 = (px >> 48) & 0xFF;
    __m128i s = _mm_adds_epi16(LoadEntries(t.fwd2[kTabB], b0, b1), LoadEntries(t.fwd2[kTabG], g0, g1));
    s = _mm_adds_epi16(s, LoadEntries(t.fwd2[kTabR], r0, r1));
    s = _mm_adds_epi16(s, off);
    return _mm_srai_epi16(s, 6);
}

// Two pairs of shifted pixels -> words U Y0 V Y1 | U' Y2 V' Y3. The shifted
// values are never negative, so the unsigned average rounds up exactly.
inline __m128i CombinePairsSse2(__m128i a, __m128i b, __m128i evenWords) {
    const __m128i first = _mm_unpacklo_epi64(a, b);
    const __m128i second = _mm_unpackhi_epi64(a, b);
    const __m128i avg = _mm_avg_epu16(first, second);
    // Word 3 of `first` is 0, so Y1 slides into it without a mask.
    const __m128i ys = _mm_or_si128(first, _mm_slli_epi64(second, 32));
    return _mm_or_si128(_mm_and_si128(avg, evenWords), _mm_andnot_si128(evenWords, ys));
}

int BgraToUyvyPairsSse2(const SLyColorTableSet& t, const unsigned char* s, unsigned char* d, int pairs) {
    const __m128i off = _mm_set_epi16(0, t.off2[2], t.off2[1], t.off2[0], 0, t.off2[2], t.off2[1], t.off2[0]);
    const __m128i even = _mm_set_epi16(0, -1, 0, -1, 0, -1, 0, -1);
    int done = 0;
    for (; done + 4 <= pairs; done += 4, s += 32, d += 16) {
        const __m128i p0 = ForwardTwoSse2(t, Load64(s), off);
        const __m128i p1 = ForwardTwoSse2(t, Load64(s + 8), off);
        const __m128i p2 = ForwardTwoSse2(t, Load64(s + 16), off);
        const __m128i p3 = ForwardTwoSse2(t, Load64(s + 24), off);
        const __m128i lo = CombinePairsSse2(p0, p1, even);
        const __m128i hi = CombinePairsSse2(p2, p3, even);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d), _mm_packus_epi16(lo, hi));
    }
    return done;
}

int VuyaToUyvyPairsSse2(const unsigned char* s, unsigned char* d, int pairs) {
    const __m128i low = _mm_set1_epi32(0xFF);
    const __m128i byte1 = _mm_set1_epi32(0xFF00);
    const __m128i byte3 = _mm_set1_epi32(static_cast<int>(0xFF000000u));
    int done = 0;
    for (; done + 4 <= pairs; done += 4, s += 32, d += 16) {
        __m128i r[2];
        for (int h = 0; h < 2; ++h) {
            const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 16 * h));
            const __m128i odd = _mm_srli_epi64(a, 32);        // the pair's second pixel in the even lanes
            const __m128i avg = _mm_avg_epu8(a, odd);           // V U Y A averages, rounding up
            const __m128i u = _mm_and_si128(_mm_srli_epi32(avg, 8), low);
            const __m128i v = _mm_slli_epi32(_mm_and_si128(avg, low), 16);
            const __m128i y0 = _mm_and_si128(_mm_srli_epi32(a, 8), byte1);
            const __m128i y1 = _mm_and_si128(_mm_slli_epi32(odd, 8), byte3);
            const __m128i w = _mm_or_si128(_mm_or_si128(u, v), _mm_or_si128(y0, y1));
            r[h] = _mm_shuffle_epi32(w, _MM_SHUFFLE(2, 0, 2, 0));
        }
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d), _mm_unpacklo_epi64(r[0], r[1]));
    }
    return done;
}

// One UYVY pair (as a 32-bit word) -> words B0 G0 R0 0 | B1 G1 R1 0 (shifted).
inline __m128i InverseTwoSse2(const SLyColorTableSet& t, uint32_t w) {
    __m128i c = _mm_adds_epi16(LoadEntry(t.inv[kTabU][w & 0xFF]), LoadEntry(t.inv[kTabV][(w >> 16) & 0xFF]));
    c = _mm_unpacklo_epi64(c, c);
    const __m128i y = LoadEntries(t.inv[kTabY], (w >> 8) & 0xFF, w >> 24);
    return _mm_srai_epi16(_mm_adds_epi16(c, y), 6);
}

int UyvyToBgraPairsSse2(const SLyColorTableSet& t, const unsigned char* s, unsigned char* d, int pairs) {
    const __m128i alpha = _mm_set1_epi32(static_cast<int>(0xFF000000u));
    int done = 0;
    for (; done + 2 <= pairs; done += 2, s += 8, d += 16) {
        const __m128i a = InverseTwoSse2(t, Load32(s));
        const __m128i b = InverseTwoSse2(t, Load32(s + 4));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d), _mm_or_si128(_mm_packus_epi16(a, b), alpha));
    }
    return done;
}

int UyvyToVuyaPairsSse2(const unsigned char* s, unsigned char* d, int pairs) {
    const __m128i low = _mm_set1_epi32(0xFF);
    const __m128i byte2 = _mm_set1_epi32(0xFF0000);
    const __m128i alpha = _mm_set1_epi32(static_cast<int>(0xFF000000u));
    int done = 0;
    for (; done + 4 <= pairs; done += 4, s += 16, d += 32) {
        const __m128i w = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
        const __m128i u = _mm_and_si128(w, low);
        const __m128i v = _mm_and_si128(_mm_srli_epi32(w, 16), low);
        const __m128i vua = _mm_or_si128(_mm_or_si128(v, _mm_slli_epi32(u, 8)), alpha);
        const __m128i p0 = _mm_or_si128(vua, _mm_and_si128(_mm_slli_epi32(w, 8), byte2));
        const __m128i p1 = _mm_or_si128(vua, _mm_and_si128(_mm_srli_epi32(w, 8), byte2));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d), _mm_unpacklo_epi32(p0, p1));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 16), _mm_unpackhi_epi32(p0, p1));
    }
    return done;
}

int BgraToVuyaSse2(const SLyColorTableSet& t, const unsigned char* s, unsigned char* d, int width) {
    const __m128i off = _mm_set_epi16(t.off1[3], t.off1[2], t.off1[1], t.off1[0], t.off1[3], t.off1[2], t.off1[1],
                                      t.off1[0]);
    const __m128i alpha = _mm_set1_epi32(static_cast<int>(0xFF000000u));
    int done = 0;
    for (; done + 4 <= width; done += 4, s += 16, d += 16) {
        __m128i w[2];
        for (int h = 0; h < 2; ++h) {
            const uint64_t px = Load64(s + 8 * h);
            const unsigned b0 = px & 0xFF, g0 = (px >> 8) & 0xFF, r0 = (px >> 16) & 0xFF;
            const unsigned b1 = (px >> 32) & 0xFF, g1 = (px >> 40) & 0xFF, r1 = (px >> 48) & 0xFF;
            __m128i x = _mm_adds_epi16(LoadEntries(t.fwd1[kTabB], b0, b1), LoadEntries(t.fwd1[kTabG], g0, g1));
            x = _mm_adds_epi16(x, LoadEntries(t.fwd1[kTabR], r0, r1));
            x = _mm_srli_epi16(_mm_adds_epi16(x, off), 6);  // Y 0 U V, each within 0..255
            x = _mm_shufflelo_epi16(x, _MM_SHUFFLE(1, 0, 2, 3));
            w[h] = _mm_shufflehi_epi16(x, _MM_SHUFFLE(1, 0, 2, 3));  // V U Y 0
        }
        const __m128i src = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
        const __m128i out = _mm_or_si128(_mm_packus_epi16(w[0], w[1]), _mm_and_si128(src, alpha));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d), out);
    }
    return done;
}

int VuyaToBgraSse2(const SLyColorTableSet& t, const unsigned char* s, unsigned char* d, int width) {
    const __m128i alpha = _mm_set1_epi32(static_cast<int>(0xFF000000u));
    int done = 0;
    for (; done + 4 <= width; done += 4, s += 16, d += 16) {
        __m128i w[2];
        for (int h = 0; h < 2; ++h) {
            const uint64_t px = Load64(s + 8 * h);
            const unsigned v0 = px & 0xFF, u0 = (px >> 8) & 0xFF, y0 = (px >> 16) & 0xFF;
            const unsigned v1 = (px >> 32) & 0xFF, u1 = (px >> 40) & 0xFF, y1 = (px >> 48) & 0xFF;
            __m128i x = _mm_adds_epi16(LoadEntries(t.inv[kTabV], v0, v1), LoadEntries(t.inv[kTabU], u0, u1));
            x = _mm_adds_epi16(x, LoadEntries(t.inv[kTabY], y0, y1));
            w[h] = _mm_srai_epi16(x, 6);
        }
        const __m128i src = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
        const __m128i out = _mm_or_si128(_mm_andnot_si128(alpha, _mm_packus_epi16(w[0], w[1])),
                                         _mm_and_si128(src, alpha));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d), out);
    }
    return done;
}

// 16-bit samples -> 8-bit values, 16 samples a step.
int Reduce16Sse2(const unsigned char* s, unsigned char* d, int samples) {
    const __m128i two = _mm_set1_epi16(2);
    int done = 0;
    for (; done + 16 <= samples; done += 16, s += 32, d += 16) {
        __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
        __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 16));
        a = _mm_srli_epi16(_mm_adds_epu16(a, two), 2);
        b = _mm_srli_epi16(_mm_adds_epu16(b, two), 2);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d), _mm_packus_epi16(a, b));
    }
    return done;
}

inline __m128i SwapBytesSse2(__m128i x) { return _mm_or_si128(_mm_slli_epi16(x, 8), _mm_srli_epi16(x, 8)); }

int RelayoutSse2(Layout422 l, const unsigned char* s, unsigned char* d, int pairs) {
    const __m128i zero = _mm_setzero_si128();
    const bool swap = l == Layout422::Yuyv8 || l == Layout422::Yuyv16;
    int done = 0;
    for (; done + 4 <= pairs; done += 4, s += 16) {
        __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
        if (swap) x = SwapBytesSse2(x);
        if (Is16Bit(l)) {
            _mm_storeu_si128(reinterpret_cast<__m128i*>(d), _mm_slli_epi16(_mm_unpacklo_epi8(x, zero), 2));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 16), _mm_slli_epi16(_mm_unpackhi_epi8(x, zero), 2));
            d += 32;
        } else {
            _mm_storeu_si128(reinterpret_cast<__m128i*>(d), x);
            d += 16;
        }
    }
    return done;
}

int AlphaPlaneSse2(const unsigned char* s, unsigned char* d, int count) {
    int done = 0;
    for (; done + 8 <= count; done += 8, s += 32, d += 16) {
        __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
        __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 16));
        a = _mm_slli_epi32(_mm_srli_epi32(a, 24), 4);
        b = _mm_slli_epi32(_mm_srli_epi32(b, 24), 4);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d), _mm_packs_epi32(a, b));
    }
    return done;
}

// ------------------------------------------------------------ AVX2 forms

#if LY_HAVE_AVX2_KERNELS


LY_TARGET_AVX2 inline __m256i LaneMask(char a0, char a1, char a2, char a3, char a4, char a5, char a6, char a7,
                                       char a8, char a9, char a10, char a11, char a12, char a13, char a14,
                                       char a15) {
    return _mm256_broadcastsi128_si256(
        _mm_setr_epi8(a0, a1, a2, a3, a4, a5, a6, a7, a8, a9, a10, a11, a12, a13, a14, a15));
}

// ------ 16-bit integer forms (kWordForms): sixteen table words per operation.

LY_TARGET_AVX2 inline __m256i Words(int w) { return _mm256_set1_epi16(static_cast<short>(w)); }
// A word of two bytes, for vpmaddubsw: `lo` weighs the word's low byte.
LY_TARGET_AVX2 inline __m256i BytePair(int lo, int hi) { return Words((lo & 0xFF) | ((hi & 0xFF) << 8)); }
// Per 16-bit lane: `even` in the even lanes, `odd` in the odd ones.
LY_TARGET_AVX2 inline __m256i LanePair(int even, int odd) {
    const uint32_t pair = (static_cast<uint32_t>(odd) << 16) | (static_cast<uint32_t>(even) & 0xFFFFu);
    return _mm256_set1_epi32(static_cast<int>(pair));
}

// Sixteen 32-bit pixels as two vectors of 16-bit words, bytes 0 | 1 << 8 and
// bytes 2 | 3 << 8. Per 128-bit lane: four pixels of `a`'s lane, then four
// of `b`'s; the 16-bit unpacks of the results undo exactly that.
struct SLyWordPlanes {
    __m256i lo, hi;
};
LY_TARGET_AVX2 inline SLyWordPlanes SplitPixels(__m256i a, __m256i b) {
    const __m256i halves = LaneMask(0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15);
    a = _mm256_shuffle_epi8(a, halves);
    b = _mm256_shuffle_epi8(b, halves);
    return {_mm256_unpacklo_epi64(a, b), _mm256_unpackhi_epi64(a, b)};
}

// One forward output (U, Y or V) of the forms: the whole parts of the bytes
// themselves (B and G at once, by byte pairs), the three fractions, and every
// constant, the whole parts' phases and the layout's offset in one. The words
// may wrap on the way; the total is the table sum with its offset, which lies
// within 0 .. 255 * 64 + 63 (TableBoundsHold), so no saturating step of the
// table rule could have fired.
struct SLyFwdOutput {
    __m256i bgI, rI, fR, fG, fB, k;
};
constexpr int FwdConstant(const SLyWordForm (&w)[3]) {
    int k = 0;
    for (int c = 0; c < 3; ++c) k += w[c].c + w[c].i * w[c].e;
    return k;
}
LY_TARGET_AVX2 inline SLyFwdOutput FwdOutput(const SLyWordForm (&w)[3], int offset) {
    return {BytePair(w[kTabB].i, w[kTabG].i), Words(w[kTabR].i),   Words(w[kTabR].f),
            Words(w[kTabG].f),               Words(w[kTabB].f),   Words(FwdConstant(w) + offset)};
}
struct SLyFwdKernel {
    SLyFwdOutput u, y, v;
    __m256i eRU, eRV, eBU;  // the only phases that are not 0 (KernelShapeHolds)
};
LY_TARGET_AVX2 inline SLyFwdKernel FwdKernel(const SLyFwdForms& f, const SLyColorTableSet& t) {
    return {FwdOutput(f.u, t.off2[0]), FwdOutput(f.y, t.off2[1]), FwdOutput(f.v, t.off2[2]),
            Words(f.u[kTabR].e),       Words(f.v[kTabR].e),       Words(f.u[kTabB].e)};
}

LY_TARGET_AVX2 inline __m256i FwdSum(const SLyFwdOutput& o, __m256i bg, __m256i r, __m256i xr, __m256i g, __m256i xb) {
    const __m256i whole = _mm256_add_epi16(_mm256_maddubs_epi16(bg, o.bgI), _mm256_mullo_epi16(r, o.rI));
    const __m256i frac = _mm256_add_epi16(_mm256_add_epi16(_mm256_mulhrs_epi16(xr, o.fR), _mm256_mulhrs_epi16(g, o.fG)),
                                          _mm256_mulhrs_epi16(xb, o.fB));
    return _mm256_add_epi16(_mm256_add_epi16(whole, frac), o.k);
}

// The sums of U, Y and V with their offsets (each within 0 .. 255 * 64 + 63)
// of sixteen BGRA pixels: the output byte is the sum shifted down by 6, or
// the high byte of the sum shifted up by 2.
struct SLyYuvWords {
    __m256i u, y, v;
};
LY_TARGET_AVX2 inline SLyYuvWords Forward16(const SLyFwdKernel& k, const SLyWordPlanes& p) {
    const __m256i low = Words(0xFF);
    const __m256i b = _mm256_and_si256(p.lo, low), g = _mm256_srli_epi16(p.lo, 8), r = _mm256_and_si256(p.hi, low);
    return {FwdSum(k.u, p.lo, r, _mm256_add_epi16(r, k.eRU), g, _mm256_add_epi16(b, k.eBU)),
            FwdSum(k.y, p.lo, r, r, g, b), FwdSum(k.v, p.lo, r, _mm256_add_epi16(r, k.eRV), g, b)};
}

// Eight pairs a step. The chroma of a pair is the average, rounding up, of
// its two pixels' U (V): the pixels sit in neighbouring words, so U of the
// first and V of the second are averaged with V of the first and U of the
// second swapped over, which leaves U in the pair's low word and V in its
// high word, where the UYVY bytes want them under the two Y.
LY_TARGET_AVX2 int BgraToUyvyPairsAvx2(const SLyFwdForms& f, const SLyColorTableSet& t, const unsigned char* s,
                                       unsigned char* d, int pairs) {
    const SLyFwdKernel k = FwdKernel(f, t);
    const __m256i swap = LaneMask(2, 3, 0, 1, 6, 7, 4, 5, 10, 11, 8, 9, 14, 15, 12, 13);
    const __m256i high = Words(0xFF00);
    int done = 0;
    for (; done + 8 <= pairs; done += 8, s += 64, d += 32) {
        const SLyYuvWords o = Forward16(k, SplitPixels(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(s)),
                                                       _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + 32))));
        const __m256i u = _mm256_srli_epi16(o.u, 6), v = _mm256_srli_epi16(o.v, 6);
        const __m256i uv = _mm256_blend_epi16(u, v, 0xAA);
        const __m256i vu = _mm256_shuffle_epi8(_mm256_blend_epi16(v, u, 0xAA), swap);
        const __m256i w = _mm256_blendv_epi8(_mm256_avg_epu16(uv, vu), _mm256_slli_epi16(o.y, 2), high);
        // Quadwords: pixels 0..3, 8..11 | 4..7, 12..15.
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d), _mm256_permute4x64_epi64(w, 0xD8));
    }
    return done;
}

LY_TARGET_AVX2 int VuyaToUyvyPairsAvx2(const unsigned char* s, unsigned char* d, int pairs) {
    const __m256i my = LaneMask(-1, 2, -1, 6, -1, 10, -1, 14, -1, -1, -1, -1, -1, -1, -1, -1);
    const __m256i mc = LaneMask(1, -1, 0, -1, 9, -1, 8, -1, -1, -1, -1, -1, -1, -1, -1, -1);
    int done = 0;
    for (; done + 8 <= pairs; done += 8, s += 64, d += 32) {
        __m256i r[2];
        for (int h = 0; h < 2; ++h) {
            const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + 32 * h));
            const __m256i avg = _mm256_avg_epu8(a, _mm256_srli_epi64(a, 32));
            r[h] = _mm256_or_si256(_mm256_shuffle_epi8(a, my), _mm256_shuffle_epi8(avg, mc));
        }
        const __m256i m = _mm256_unpacklo_epi64(r[0], r[1]);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d), _mm256_permute4x64_epi64(m, 0xD8));
    }
    return done;
}


// Eight UYVY pairs (32 bytes) -> sixteen BGRA pixels. Words U | Y0 << 8 and
// V | Y1 << 8: Y by a shift, U and V by a mask, and the chroma forms run on
// U and V side by side with per-lane constants (U -> B beside V -> R, then
// U -> G beside V -> G, whose halves are added across the pair). The chroma
// forms have phase -128 and no constant (KernelShapeHolds). The quadwords
// are reordered on loading so that the final unpacks leave the pixels in
// order.
LY_TARGET_AVX2 int UyvyToBgraPairsAvx2(const SLyInvForms& f, const unsigned char* s, unsigned char* d, int pairs) {
    const __m256i brI = LanePair(f.ub.i, f.vr.i), brF = LanePair(f.ub.f, f.vr.f);
    const __m256i gI = LanePair(f.ug.i, f.vg.i), gF = LanePair(f.ug.f, f.vg.f);
    const __m256i yI = Words(f.y.i), yE = Words(f.y.e), yF = Words(f.y.f), yC = Words(f.y.c);
    const __m256i low = Words(0xFF), half = Words(128), alpha = Words(255);
    const __m256i swap = LaneMask(2, 3, 0, 1, 6, 7, 4, 5, 10, 11, 8, 9, 14, 15, 12, 13);
    const __m256i dupU = LaneMask(0, 1, 0, 1, 4, 5, 4, 5, 8, 9, 8, 9, 12, 13, 12, 13);
    const __m256i dupV = LaneMask(2, 3, 2, 3, 6, 7, 6, 7, 10, 11, 10, 11, 14, 15, 14, 15);
    int done = 0;
    for (; done + 8 <= pairs; done += 8, s += 32, d += 64) {
        const __m256i w = _mm256_permute4x64_epi64(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(s)), 0xD8);
        const __m256i x = _mm256_sub_epi16(_mm256_and_si256(w, low), half);
        const __m256i br = _mm256_add_epi16(_mm256_mullo_epi16(x, brI), _mm256_mulhrs_epi16(x, brF));
        __m256i g = _mm256_add_epi16(_mm256_mullo_epi16(x, gI), _mm256_mulhrs_epi16(x, gF));
        g = _mm256_add_epi16(g, _mm256_shuffle_epi8(g, swap));
        const __m256i y = _mm256_add_epi16(_mm256_srli_epi16(w, 8), yE);
        const __m256i ty =
            _mm256_add_epi16(_mm256_add_epi16(_mm256_mullo_epi16(y, yI), _mm256_mulhrs_epi16(y, yF)), yC);
        const __m256i b = _mm256_srai_epi16(_mm256_adds_epi16(_mm256_shuffle_epi8(br, dupU), ty), 6);
        const __m256i r = _mm256_srai_epi16(_mm256_adds_epi16(_mm256_shuffle_epi8(br, dupV), ty), 6);
        const __m256i gg = _mm256_srai_epi16(_mm256_adds_epi16(g, ty), 6);
        const __m256i brBytes = _mm256_packus_epi16(b, r), gaBytes = _mm256_packus_epi16(gg, alpha);
        const __m256i bg = _mm256_unpacklo_epi8(brBytes, gaBytes), ra = _mm256_unpackhi_epi8(brBytes, gaBytes);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d), _mm256_unpacklo_epi16(bg, ra));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + 32), _mm256_unpackhi_epi16(bg, ra));
    }
    return done;
}

LY_TARGET_AVX2 int UyvyToVuyaPairsAvx2(const unsigned char* s, unsigned char* d, int pairs) {
    const __m256i mask = _mm256_setr_epi8(2, 0, 1, -1, 2, 0, 3, -1, 6, 4, 5, -1, 6, 4, 7, -1,        //
                                          10, 8, 9, -1, 10, 8, 11, -1, 14, 12, 13, -1, 14, 12, 15, -1);
    const __m256i alpha = _mm256_set1_epi32(static_cast<int>(0xFF000000u));
    int done = 0;
    for (; done + 8 <= pairs; done += 8, s += 32, d += 64) {
        const __m256i in = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s));
        const __m256i lo = _mm256_permute2x128_si256(in, in, 0x00);
        const __m256i hi = _mm256_permute2x128_si256(in, in, 0x11);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d), _mm256_or_si256(_mm256_shuffle_epi8(lo, mask), alpha));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + 32),
                            _mm256_or_si256(_mm256_shuffle_epi8(hi, mask), alpha));
    }
    return done;
}

// Sixteen pixels a step. V and Y are their sums shifted down, U its sum
// shifted up into the high byte, and the source's alpha byte stays in place
// in the high byte of its word.
LY_TARGET_AVX2 int BgraToVuyaAvx2(const SLyFwdForms& f, const SLyColorTableSet& t, const unsigned char* s,
                                  unsigned char* d, int width) {
    const SLyFwdKernel k = FwdKernel(f, t);
    const __m256i high = Words(0xFF00);
    int done = 0;
    for (; done + 16 <= width; done += 16, s += 64, d += 64) {
        const SLyWordPlanes p = SplitPixels(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(s)),
                                            _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + 32)));
        const SLyYuvWords o = Forward16(k, p);
        const __m256i vu = _mm256_blendv_epi8(_mm256_srli_epi16(o.v, 6), _mm256_slli_epi16(o.u, 2), high);
        const __m256i ya = _mm256_blendv_epi8(_mm256_srli_epi16(o.y, 6), p.hi, high);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d), _mm256_unpacklo_epi16(vu, ya));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + 32), _mm256_unpackhi_epi16(vu, ya));
    }
    return done;
}

// Sixteen VUYA pixels a step, as words V | U << 8 and Y | A << 8. With the
// top bit of V and U flipped the bytes are V - 128 and U - 128 as signed
// bytes, which is what the chroma forms take (KernelShapeHolds): byte-pair
// multiplies widen them, and one of them also gives green's whole parts,
// negated. The chroma sums never saturate and the saturating add with luma
// is the table rule's.
LY_TARGET_AVX2 int VuyaToBgraAvx2(const SLyInvForms& f, const unsigned char* s, unsigned char* d, int width) {
    const __m256i yI = Words(f.y.i), yE = Words(f.y.e), yF = Words(f.y.f), yC = Words(f.y.c);
    const __m256i ubI = Words(f.ub.i), ubF = Words(f.ub.f), vrI = Words(f.vr.i), vrF = Words(f.vr.f);
    const __m256i ugF = Words(f.ug.f), vgF = Words(f.vg.f), gI = BytePair(-f.vg.i, -f.ug.i);
    const __m256i flip = Words(0x8080), low = Words(0xFF), takeV = BytePair(1, 0), takeU = BytePair(0, 1);
    int done = 0;
    for (; done + 16 <= width; done += 16, s += 64, d += 64) {
        const SLyWordPlanes p = SplitPixels(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(s)),
                                            _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + 32)));
        const __m256i vu = _mm256_xor_si256(p.lo, flip);
        const __m256i v = _mm256_maddubs_epi16(takeV, vu), u = _mm256_maddubs_epi16(takeU, vu);
        const __m256i y = _mm256_add_epi16(_mm256_and_si256(p.hi, low), yE);
        const __m256i ty =
            _mm256_add_epi16(_mm256_add_epi16(_mm256_mullo_epi16(y, yI), _mm256_mulhrs_epi16(y, yF)), yC);
        const __m256i cb = _mm256_add_epi16(_mm256_mullo_epi16(u, ubI), _mm256_mulhrs_epi16(u, ubF));
        const __m256i cr = _mm256_add_epi16(_mm256_mullo_epi16(v, vrI), _mm256_mulhrs_epi16(v, vrF));
        const __m256i cg = _mm256_sub_epi16(_mm256_add_epi16(_mm256_mulhrs_epi16(u, ugF), _mm256_mulhrs_epi16(v, vgF)),
                                            _mm256_maddubs_epi16(gI, vu));
        const __m256i b = _mm256_srai_epi16(_mm256_adds_epi16(cb, ty), 6);
        const __m256i g = _mm256_srai_epi16(_mm256_adds_epi16(cg, ty), 6);
        const __m256i r = _mm256_srai_epi16(_mm256_adds_epi16(cr, ty), 6);
        const __m256i brBytes = _mm256_packus_epi16(b, r);
        const __m256i gaBytes = _mm256_packus_epi16(g, _mm256_srli_epi16(p.hi, 8));
        const __m256i bg = _mm256_unpacklo_epi8(brBytes, gaBytes), ra = _mm256_unpackhi_epi8(brBytes, gaBytes);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d), _mm256_unpacklo_epi16(bg, ra));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + 32), _mm256_unpackhi_epi16(bg, ra));
    }
    return done;
}

LY_TARGET_AVX2 int Reduce16Avx2(const unsigned char* s, unsigned char* d, int samples) {
    const __m256i two = _mm256_set1_epi16(2);
    int done = 0;
    for (; done + 32 <= samples; done += 32, s += 64, d += 32) {
        __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s));
        __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + 32));
        a = _mm256_srli_epi16(_mm256_adds_epu16(a, two), 2);
        b = _mm256_srli_epi16(_mm256_adds_epu16(b, two), 2);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d), _mm256_permute4x64_epi64(_mm256_packus_epi16(a, b), 0xD8));
    }
    return done;
}

LY_TARGET_AVX2 int RelayoutAvx2(Layout422 l, const unsigned char* s, unsigned char* d, int pairs) {
    const bool swap = l == Layout422::Yuyv8 || l == Layout422::Yuyv16;
    int done = 0;
    for (; done + 8 <= pairs; done += 8, s += 32) {
        __m256i x = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s));
        if (swap) x = _mm256_or_si256(_mm256_slli_epi16(x, 8), _mm256_srli_epi16(x, 8));
        if (Is16Bit(l)) {
            const __m256i lo = _mm256_slli_epi16(_mm256_cvtepu8_epi16(_mm256_castsi256_si128(x)), 2);
            const __m256i hi = _mm256_slli_epi16(_mm256_cvtepu8_epi16(_mm256_extracti128_si256(x, 1)), 2);
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(d), lo);
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + 32), hi);
            d += 64;
        } else {
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(d), x);
            d += 32;
        }
    }
    return done;
}

LY_TARGET_AVX2 int AlphaPlaneAvx2(const unsigned char* s, unsigned char* d, int count) {
    int done = 0;
    for (; done + 16 <= count; done += 16, s += 64, d += 32) {
        __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s));
        __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + 32));
        a = _mm256_slli_epi32(_mm256_srli_epi32(a, 24), 4);
        b = _mm256_slli_epi32(_mm256_srli_epi32(b, 24), 4);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d), _mm256_permute4x64_epi64(_mm256_packs_epi32(a, b), 0xD8));
    }
    return done;
}

#endif  // LY_HAVE_AVX2_KERNELS
#endif  // LY_X86

// The AVX2 forms do whole blocks of their width; the SSE2 form continues
// with what is left, the scalar form finishes.
void BgraToUyvyPairs(Isa isa, int cs, const unsigned char* s, unsigned char* d, int pairs) {
    const SLyColorTableSet& t = ColorTables(cs);
    int done = LY_WIDEST_FORM(isa, BgraToUyvyPairsAvx2(kWordForms[cs].fwd, t, s, d, pairs), 0, 0);
    done += LY_WIDEST_FORM(isa, BgraToUyvyPairsSse2(t, s + 8 * done, d + 4 * done, pairs - done),
                           BgraToUyvyPairsSse2(t, s + 8 * done, d + 4 * done, pairs - done), 0);
    BgraToUyvyPairsScalar(t, s + 8 * done, d + 4 * done, pairs - done);
}

void VuyaToUyvyPairs(Isa isa, int /*cs*/, const unsigned char* s, unsigned char* d, int pairs) {
    int done = LY_WIDEST_FORM(isa, VuyaToUyvyPairsAvx2(s, d, pairs), 0, 0);
    done += LY_WIDEST_FORM(isa, VuyaToUyvyPairsSse2(s + 8 * done, d + 4 * done, pairs - done),
                           VuyaToUyvyPairsSse2(s + 8 * done, d + 4 * done, pairs - done), 0);
    VuyaToUyvyPairsScalar(s + 8 * done, d + 4 * done, pairs - done);
}

void UyvyToBgraPairs(Isa isa, int cs, const unsigned char* s, unsigned char* d, int pairs) {
    const SLyColorTableSet& t = ColorTables(cs);
    int done = LY_WIDEST_FORM(isa, UyvyToBgraPairsAvx2(kWordForms[cs].inv, s, d, pairs), 0, 0);
    done += LY_WIDEST_FORM(isa, UyvyToBgraPairsSse2(t, s + 4 * done, d + 8 * done, pairs - done),
                           UyvyToBgraPairsSse2(t, s + 4 * done, d + 8 * done, pairs - done), 0);
    UyvyToBgraPairsScalar(t, s + 4 * done, d + 8 * done, pairs - done);
}

void UyvyToVuyaPairs(Isa isa, int /*cs*/, const unsigned char* s, unsigned char* d, int pairs) {
    int done = LY_WIDEST_FORM(isa, UyvyToVuyaPairsAvx2(s, d, pairs), 0, 0);
    done += LY_WIDEST_FORM(isa, UyvyToVuyaPairsSse2(s + 4 * done, d + 8 * done, pairs - done),
                           UyvyToVuyaPairsSse2(s + 4 * done, d + 8 * done, pairs - done), 0);
    UyvyToVuyaPairsScalar(s + 4 * done, d + 8 * done, pairs - done);
}

void Reduce16Samples(Isa isa, const unsigned char* s, unsigned char* d, int samples) {
    int done = LY_WIDEST_FORM(isa, Reduce16Avx2(s, d, samples), 0, 0);
    done += LY_WIDEST_FORM(isa, Reduce16Sse2(s + 2 * done, d + done, samples - done),
                           Reduce16Sse2(s + 2 * done, d + done, samples - done), 0);
    Reduce16Scalar(s + 2 * done, d + done, samples - done);
}

void Relayout(Isa isa, Layout422 l, const unsigned char* s, unsigned char* d, int pairs) {
    int done = LY_WIDEST_FORM(isa, RelayoutAvx2(l, s, d, pairs), 0, 0);
    done += LY_WIDEST_FORM(isa, RelayoutSse2(l, s + 4 * done, d + PairBytes(l) * done, pairs - done),
                           RelayoutSse2(l, s + 4 * done, d + PairBytes(l) * done, pairs - done), 0);
    RelayoutScalar(l, s + 4 * done, d + PairBytes(l) * done, pairs - done);
}

using PairsFn = void (*)(Isa, int, const unsigned char*, unsigned char*, int);

// 32-bit pixel pairs -> 4:2:2 pairs in any layout: UYVY 8-bit goes straight
// to the destination, the others through a small staging row.
void ProducePairs(PairsFn core, Isa isa, int cs, Layout422 l, const unsigned char* s, unsigned char* d, int pairs) {
    if (l == Layout422::Uyvy8) {
        core(isa, cs, s, d, pairs);
        return;
    }
    alignas(64) unsigned char stage[kChunkPairs * 4];
    while (pairs > 0) {
        const int n = std::min(pairs, kChunkPairs);
        core(isa, cs, s, stage, n);
        Relayout(isa, l, stage, d, n);
        s += 8 * n;
        d += PairBytes(l) * n;
        pairs -= n;
    }
}

// UYVY pairs (8- or 16-bit) -> 32-bit pixel pairs.
void ConsumePairs(PairsFn core, Isa isa, int cs, int depth, const unsigned char* s, unsigned char* d, int pairs) {
    if (depth != 16) {
        core(isa, cs, s, d, pairs);
        return;
    }
    alignas(64) unsigned char stage[kChunkPairs * 4];
    while (pairs > 0) {
        const int n = std::min(pairs, kChunkPairs);
        Reduce16Samples(isa, s, stage, 4 * n);
        core(isa, cs, stage, d, n);
        s += 8 * n;
        d += 8 * n;
        pairs -= n;
    }
}

// Sample i (which may be negative) of a 4:2:2 row, as an 8-bit value.
inline int Sample(const unsigned char* s, int depth, int i) {
    return depth == 16 ? Reduce16(Load16(s + 2 * i)) : s[i];
}

// The shared row walk of the UYVY readers: the pair-start flag, whole pairs,
// and an odd last pixel with its own U and Y and the V on its left.
template <class PixelFn>
void UyvyRow(PairsFn core, Isa isa, int cs, int depth, const unsigned char* s, int pairStart, unsigned char* d,
             int width, PixelFn pixel) {
    if (width < 1) return;
    const int bytesPerSample = depth == 16 ? 2 : 1;
    if (pairStart == 0) {
        pixel(Sample(s, depth, -2), Sample(s, depth, 0), Sample(s, depth, 1), d);
        s += 2 * bytesPerSample;
        d += 4;
        --width;
    } else if (width == 1) {
        return;  // no whole pair and no V to borrow
    }
    const int pairs = width / 2;
    ConsumePairs(core, isa, cs, depth, s, d, pairs);
    if (width & 1) {
        s += 4 * bytesPerSample * pairs;
        d += 8 * pairs;
        pixel(Sample(s, depth, 0), Sample(s, depth, -2), Sample(s, depth, 1), d);
    }
}

}  // namespace

// ------------------------------------------------------------ kernel entry points

void BgraTo422Row(Isa isa, int colorimetry, Layout422 layout, const unsigned char* src, unsigned char* dst,
                  int width) {
    ProducePairs(&BgraToUyvyPairs, isa, colorimetry, layout, src, dst, width / 2);
}

void VuyaTo422Row(Isa isa, Layout422 layout, const unsigned char* src, unsigned char* dst, int width) {
    const int pairs = width / 2;
    if (pairs < 1) return;  // one pixel: nothing, like the 16-bit forms
    ProducePairs(&VuyaToUyvyPairs, isa, 0, layout, src, dst, pairs);
    if ((width & 1) && !Is16Bit(layout)) {
        const unsigned char* s = src + 8 * pairs;
        unsigned char* d = dst + 4 * pairs;
        const bool yuyv = layout == Layout422::Yuyv8;
        d[0] = yuyv ? s[2] : s[1];
        d[1] = yuyv ? s[1] : s[2];
    }
}

void UyvyToBgraRow(Isa isa, int colorimetry, int depth, const unsigned char* src, int pairStart,
                   unsigned char* dst, int width) {
    const SLyColorTableSet& t = ColorTables(colorimetry);
    UyvyRow(&UyvyToBgraPairs, isa, colorimetry, depth, src, pairStart, dst, width,
            [&t](int u, int v, int y, unsigned char* d) { InversePixel(t, u, v, y, d); });
}

void UyvyToVuyaRow(Isa isa, int depth, const unsigned char* src, int pairStart, unsigned char* dst, int width) {
    UyvyRow(&UyvyToVuyaPairs, isa, 0, depth, src, pairStart, dst, width,
            [](int u, int v, int y, unsigned char* d) { VuyaPixel(u, v, y, d); });
}

void BgraToVuyaRow(Isa isa, int colorimetry, const unsigned char* src, unsigned char* dst, int width) {
    const SLyColorTableSet& t = ColorTables(colorimetry);
    int done = LY_WIDEST_FORM(isa, BgraToVuyaAvx2(kWordForms[colorimetry].fwd, t, src, dst, width), 0, 0);
    done += LY_WIDEST_FORM(isa, BgraToVuyaSse2(t, src + 4 * done, dst + 4 * done, width - done),
                           BgraToVuyaSse2(t, src + 4 * done, dst + 4 * done, width - done), 0);
    BgraToVuyaScalar(t, src + 4 * done, dst + 4 * done, width - done);
}

void VuyaToBgraRow(Isa isa, int colorimetry, const unsigned char* src, unsigned char* dst, int width) {
    const SLyColorTableSet& t = ColorTables(colorimetry);
    int done = LY_WIDEST_FORM(isa, VuyaToBgraAvx2(kWordForms[colorimetry].inv, src, dst, width), 0, 0);
    done += LY_WIDEST_FORM(isa, VuyaToBgraSse2(t, src + 4 * done, dst + 4 * done, width - done),
                           VuyaToBgraSse2(t, src + 4 * done, dst + 4 * done, width - done), 0);
    VuyaToBgraScalar(t, src + 4 * done, dst + 4 * done, width - done);
}

void AlphaPlaneRow(Isa isa, const unsigned char* src, unsigned char* alphaDst, int count) {
    int done = LY_WIDEST_FORM(isa, AlphaPlaneAvx2(src, alphaDst, count), 0, 0);
    done += LY_WIDEST_FORM(isa, AlphaPlaneSse2(src + 4 * done, alphaDst + 2 * done, count - done),
                           AlphaPlaneSse2(src + 4 * done, alphaDst + 2 * done, count - done), 0);
    AlphaPlaneScalar(src + 4 * done, alphaDst + 2 * done, count - done);
}



}  // namespace ly::packed

// ------------------------------------------------------------ exported converters

namespace {

using ly::packed::Layout422;

bool Images(const void* src, const void* dst, int width, int height) {
    return src != nullptr && dst != nullptr && width >= 1 && height >= 1;
}
bool KnownColorimetry(ELyColorimetry c) { return c == Colorimetry_BT601 || c == Colorimetry_BT709; }
bool KnownDepth(unsigned char depth) { return depth == 8 || depth == 16; }

// Runs row(src row, dst row) over every row, banded.
template <class Row>
void ForEachRow(ly::PoolRoute route, const unsigned char* src, int srcPitch, unsigned char* dst, int dstPitch,
                int height, Row row) {
    ly::ParallelEachRow(height, [&](int r) { row(ly::RowAt(src, srcPitch, r), ly::RowAt(dst, dstPitch, r)); }, route);
}

// The driver the two UYVY readers share: it repeats the image checks, then
// refuses when the caller could not choose a kernel.
template <class Row>
int RunUyvyReader(bool kernelChosen, const unsigned char* src, int srcPitch, unsigned char* dst, int dstPitch,
                  int width, int height, Row row) {
    if (!Images(src, dst, width, height) || !kernelChosen) return 0;
    ForEachRow(ly::PoolRoute::Exported, src, srcPitch, dst, dstPitch, height, row);
    return 1;
}

// 4:2:2 with an alpha plane: the packed row, then the alpha samples of the
// pixels whose packed bytes were written.
template <class PackedRow>
void ForEachRowWithAlpha(const unsigned char* src, int srcPitch, unsigned char* dst, int dstPitch,
                         unsigned char* alphaDst, int alphaPitch, int height, int alphaCount, ly::Isa isa,
                         PackedRow packedRow) {
    ly::ParallelEachRow(height, [&](int r) {
        const unsigned char* s = ly::RowAt(src, srcPitch, r);
        packedRow(s, ly::RowAt(dst, dstPitch, r));
        ly::packed::AlphaPlaneRow(isa, s, ly::RowAt(alphaDst, alphaPitch, r), alphaCount);
    });
}

}  // namespace

namespace LyFormatUtils {

int BGRA4444ToUYVY422(const unsigned char* source, int sourcePitch, unsigned char* destination, int destinationPitch,
                      unsigned char depth, ELyColorimetry colorimetry, int width, int height) {
    if (!Images(source, destination, width, height)) return 0;
    if (!KnownColorimetry(colorimetry) || !KnownDepth(depth)) return 0;
    const ly::Isa isa = ly::ActiveIsa();
    const Layout422 layout = depth == 16 ? Layout422::Uyvy16 : Layout422::Uyvy8;
    ForEachRow(ly::PoolRoute::Exported, source, sourcePitch, destination, destinationPitch, height,
               [&](const unsigned char* s, unsigned char* d) {
                   ly::packed::BgraTo422Row(isa, colorimetry, layout, s, d, width);
               });
    return 1;
}

int BGRA4444ToVUYA4444(const unsigned char* source, int sourcePitch, unsigned char* destination,
                       int destinationPitch, unsigned char /*depth*/, ELyColorimetry colorimetry, int width,
                       int height) {
    if (!Images(source, destination, width, height) || !KnownColorimetry(colorimetry)) return 1;
    const ly::Isa isa = ly::ActiveIsa();
    ForEachRow(ly::PoolRoute::Internal, source, sourcePitch, destination, destinationPitch, height,
               [&](const unsigned char* s, unsigned char* d) {
                   ly::packed::BgraToVuyaRow(isa, colorimetry, s, d, width);
               });
    return 1;
}

int VUYA4444ToBGRA4444(const unsigned char* source, int sourcePitch, unsigned char* destination,
                       int destinationPitch, unsigned char /*depth*/, ELyColorimetry colorimetry, int width,
                       int height) {
    if (!Images(source, destination, width, height) || !KnownColorimetry(colorimetry)) return 1;
    const ly::Isa isa = ly::ActiveIsa();
    ForEachRow(ly::PoolRoute::Internal, source, sourcePitch, destination, destinationPitch, height,
               [&](const unsigned char* s, unsigned char* d) {
                   ly::packed::VuyaToBgraRow(isa, colorimetry, s, d, width);
               });
    return 1;
}

int UYVY422ToBGRA4444(const unsigned char* source, int sourcePitch, unsigned char depth, ELyColorimetry colorimetry,
                      unsigned char* destination, int destinationPitch, int width, int height) {
    const bool chosen = KnownColorimetry(colorimetry) && KnownDepth(depth);
    const ly::Isa isa = ly::ActiveIsa();
    return RunUyvyReader(chosen, source, sourcePitch, destination, destinationPitch, width, height,
                         [&](const unsigned char* s, unsigned char* d) {
                             ly::packed::UyvyToBgraRow(isa, colorimetry, depth, s, 1, d, width);
                         });
}

int UYVY422ToVUYA4444(const unsigned char* source, int sourcePitch, unsigned char depth, unsigned char* destination,
                      int destinationPitch, int width, int height, unsigned char /*alpha*/) {
    const ly::Isa isa = ly::ActiveIsa();
    return RunUyvyReader(KnownDepth(depth), source, sourcePitch, destination, destinationPitch, width, height,
                         [&](const unsigned char* s, unsigned char* d) {
                             ly::packed::UyvyToVuyaRow(isa, depth, s, 1, d, width);
                         });
}

int VUYA4444ToUYVY422(const unsigned char* source, int sourcePitch, unsigned char* destination, int destinationPitch,
                      unsigned char depth, int width, int height) {
    if (!Images(source, destination, width, height) || !KnownDepth(depth)) return 0;
    const ly::Isa isa = ly::ActiveIsa();
    const Layout422 layout = depth == 16 ? Layout422::Uyvy16 : Layout422::Uyvy8;
    ForEachRow(ly::PoolRoute::Internal, source, sourcePitch, destination, destinationPitch, height,
               [&](const unsigned char* s, unsigned char* d) { ly::packed::VuyaTo422Row(isa, layout, s, d, width); });
    return 1;
}

int BGRA4444ToYUYVA422(const unsigned char* source, int sourcePitch, unsigned char* destination,
                       int destinationPitch, unsigned char* alphaDestination, int alphaPitch, unsigned char depth,
                       ELyColorimetry colorimetry, int width, int height) {
    if (!Images(source, destination, width, height) || alphaDestination == nullptr) return 0;
    if (!KnownColorimetry(colorimetry) || !KnownDepth(depth)) return 0;
    const ly::Isa isa = ly::ActiveIsa();
    const Layout422 layout = depth == 16 ? Layout422::Yuyv16 : Layout422::Yuyv8;
    ForEachRowWithAlpha(source, sourcePitch, destination, destinationPitch, alphaDestination, alphaPitch, height,
                        width & ~1, isa, [&](const unsigned char* s, unsigned char* d) {
                            ly::packed::BgraTo422Row(isa, colorimetry, layout, s, d, width);
                        });
    return 1;
}

int VUYA4444ToYUYVA422(const unsigned char* source, int sourcePitch, unsigned char* destination,
                       int destinationPitch, unsigned char* alphaDestination, int alphaPitch, unsigned char depth,
                       int width, int height) {
    if (!Images(source, destination, width, height) || alphaDestination == nullptr) return 0;
    if (!KnownDepth(depth)) return 0;
    const ly::Isa isa = ly::ActiveIsa();
    const Layout422 layout = depth == 16 ? Layout422::Yuyv16 : Layout422::Yuyv8;
    // Exactly the pixels whose packed bytes are written get an alpha sample.
    const int alphaCount = width < 2 ? 0 : (depth == 8 ? width : (width & ~1));
    ForEachRowWithAlpha(source, sourcePitch, destination, destinationPitch, alphaDestination, alphaPitch, height,
                        alphaCount, isa, [&](const unsigned char* s, unsigned char* d) {
                            ly::packed::VuyaTo422Row(isa, layout, s, d, width);
                        });
    return 1;
}

}  // namespace LyFormatUtils
