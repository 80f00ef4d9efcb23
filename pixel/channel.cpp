// Channel extraction and bit-depth conversion between 32-bit BGRA and 8-bit
// single-channel images.
//
// Every row kernel exists three times (scalar, SSE2, AVX2) and all three give
// the same bytes: the luma is an exact integer dot product, so the vector
// forms use 16x16->32-bit multiply-adds, which cannot lose a bit.

#include <cstdint>
#include <cstring>

#include "LyPixelUtils.h"
#include "memory/LyCpu.h"
#include "memory/LyUnaligned.h"
#include "threading/LyBandFrame.h"

namespace {

// BT.601 luma weights in units of 1/16384; they add up to exactly 16384 so
// white stays 255 and the shifted sum never exceeds 255.
constexpr uint32_t kWeightB = 1868;
constexpr uint32_t kWeightG = 9617;
constexpr uint32_t kWeightR = 4899;
static_assert(kWeightB + kWeightG + kWeightR == 16384);

inline unsigned char LumaOf(const unsigned char* px) {
    return static_cast<unsigned char>((kWeightG * px[1] + kWeightR * px[2] + kWeightB * px[0]) >> 14);
}

using ly::Store32;

// ------------------------------------------------------------ scalar rows

void LumaRowScalar(const unsigned char* s, unsigned char* d, int width) {
    for (int x = 0; x < width; ++x, s += 4) d[x] = LumaOf(s);
}

void GreyToBgraRowScalar(const unsigned char* s, unsigned char* d, int width) {
    for (int x = 0; x < width; ++x, d += 4) Store32(d, 0xFF000000u | s[x] * 0x010101u);
}

void GreyInPlaceRowScalar(unsigned char* p, int width) {
    for (int x = 0; x < width; ++x, p += 4) {
        const unsigned char y = LumaOf(p);
        p[0] = y;
        p[1] = y;
        p[2] = y;
    }
}

void ChannelRowScalar(const unsigned char* s, unsigned char* d, int width, int channel) {
    s += channel;
    for (int x = 0; x < width; ++x, s += 4) d[x] = *s;
}

#if LY_X86

// ------------------------------------------------------------ SSE2 rows

// Luma of four BGRA pixels as four 32-bit lanes. Each pixel's 16-bit halves
// are (B, R) after masking and (G, A) after the byte shift, so one pmaddwd
// per half gives the dot product without any horizontal shuffling.
inline __m128i Luma4Sse2(__m128i px) {
    const __m128i br = _mm_and_si128(px, _mm_set1_epi32(0x00FF00FF));
    const __m128i ga = _mm_srli_epi16(px, 8);
    const __m128i sum = _mm_add_epi32(_mm_madd_epi16(br, _mm_set1_epi32(static_cast<int>(kWeightR << 16 | kWeightB))),
                                      _mm_madd_epi16(ga, _mm_set1_epi32(static_cast<int>(kWeightG))));
    return _mm_srli_epi32(sum, 14);
}

inline __m128i Load128(const unsigned char* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
inline void Store128(unsigned char* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }

// Four vectors of 32-bit lanes holding 0..255 -> sixteen bytes in order.
inline __m128i Pack4x32To8(__m128i a, __m128i b, __m128i c, __m128i d) {
    return _mm_packus_epi16(_mm_packs_epi32(a, b), _mm_packs_epi32(c, d));
}

void LumaRowSse2(const unsigned char* s, unsigned char* d, int width) {
    int x = 0;
    for (; width - x >= 16; x += 16, s += 64, d += 16) {
        Store128(d, Pack4x32To8(Luma4Sse2(Load128(s)), Luma4Sse2(Load128(s + 16)), Luma4Sse2(Load128(s + 32)),
                                Luma4Sse2(Load128(s + 48))));
    }
    LumaRowScalar(s, d, width - x);
}

void GreyToBgraRowSse2(const unsigned char* s, unsigned char* d, int width) {
    int x = 0;
    const __m128i opaque = _mm_set1_epi8(static_cast<char>(0xFF));
    for (; width - x >= 16; x += 16, s += 16, d += 64) {
        const __m128i v = Load128(s);
        const __m128i vvLo = _mm_unpacklo_epi8(v, v);
        const __m128i vvHi = _mm_unpackhi_epi8(v, v);
        const __m128i vaLo = _mm_unpacklo_epi8(v, opaque);
        const __m128i vaHi = _mm_unpackhi_epi8(v, opaque);
        Store128(d, _mm_unpacklo_epi16(vvLo, vaLo));
        Store128(d + 16, _mm_unpackhi_epi16(vvLo, vaLo));
        Store128(d + 32, _mm_unpacklo_epi16(vvHi, vaHi));
        Store128(d + 48, _mm_unpackhi_epi16(vvHi, vaHi));
    }
    GreyToBgraRowScalar(s, d, width - x);
}

inline __m128i Grey4Sse2(__m128i px) {
    const __m128i y = Luma4Sse2(px);
    const __m128i yy = _mm_or_si128(y, _mm_slli_epi32(y, 8));
    const __m128i yyy = _mm_or_si128(yy, _mm_slli_epi32(y, 16));
    return _mm_or_si128(yyy, _mm_and_si128(px, _mm_set1_epi32(static_cast<int>(0xFF000000u))));
}

void GreyInPlaceRowSse2(unsigned char* p, int width) {
    int x = 0;
    for (; width - x >= 8; x += 8, p += 32) {
        const __m128i a = Load128(p);
        const __m128i b = Load128(p + 16);
        Store128(p, Grey4Sse2(a));
        Store128(p + 16, Grey4Sse2(b));
    }
    if (width - x >= 4) {
        Store128(p, Grey4Sse2(Load128(p)));
        x += 4;
        p += 16;
    }
    GreyInPlaceRowScalar(p, width - x);
}

void ChannelRowSse2(const unsigned char* s, unsigned char* d, int width, int channel) {
    const __m128i shift = _mm_cvtsi32_si128(channel * 8);
    const __m128i low = _mm_set1_epi32(0xFF);
    int x = 0;
    for (; width - x >= 16; x += 16, s += 64, d += 16) {
        const __m128i a = _mm_and_si128(_mm_srl_epi32(Load128(s), shift), low);
        const __m128i b = _mm_and_si128(_mm_srl_epi32(Load128(s + 16), shift), low);
        const __m128i c = _mm_and_si128(_mm_srl_epi32(Load128(s + 32), shift), low);
        const __m128i e = _mm_and_si128(_mm_srl_epi32(Load128(s + 48), shift), low);
        Store128(d, Pack4x32To8(a, b, c, e));
    }
    ChannelRowScalar(s, d, width - x, channel);
}

// ------------------------------------------------------------ AVX2 rows

LY_TARGET_AVX2 inline __m256i Load256(const unsigned char* p) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}
LY_TARGET_AVX2 inline void Store256(unsigned char* p, __m256i v) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v);
}

LY_TARGET_AVX2 inline __m256i Luma8Avx2(__m256i px) {
    const __m256i br = _mm256_and_si256(px, _mm256_set1_epi32(0x00FF00FF));
    const __m256i ga = _mm256_srli_epi16(px, 8);
    const __m256i sum =
        _mm256_add_epi32(_mm256_madd_epi16(br, _mm256_set1_epi32(static_cast<int>(kWeightR << 16 | kWeightB))),
                         _mm256_madd_epi16(ga, _mm256_set1_epi32(static_cast<int>(kWeightG))));
    return _mm256_srli_epi32(sum, 14);
}

// The packs work inside each 128-bit half, which leaves the 4-byte groups
// interleaved between the halves; one cross-lane permute puts them back.
LY_TARGET_AVX2 inline __m256i Pack4x32To8Avx2(__m256i a, __m256i b, __m256i c, __m256i d) {
    const __m256i packed = _mm256_packus_epi16(_mm256_packs_epi32(a, b), _mm256_packs_epi32(c, d));
    return _mm256_permutevar8x32_epi32(packed, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
}

LY_TARGET_AVX2 void LumaRowAvx2(const unsigned char* s, unsigned char* d, int width) {
    int x = 0;
    for (; width - x >= 32; x += 32, s += 128, d += 32) {
        Store256(d, Pack4x32To8Avx2(Luma8Avx2(Load256(s)), Luma8Avx2(Load256(s + 32)), Luma8Avx2(Load256(s + 64)),
                                    Luma8Avx2(Load256(s + 96))));
    }
    LumaRowSse2(s, d, width - x);
}

LY_TARGET_AVX2 void GreyToBgraRowAvx2(const unsigned char* s, unsigned char* d, int width) {
    // Byte 0 of each widened lane goes to B, G and R; alpha is ORed in.
    const __m256i spread = _mm256_setr_epi8(0, 0, 0, -1, 4, 4, 4, -1, 8, 8, 8, -1, 12, 12, 12, -1, 0, 0, 0, -1, 4,
                                            4, 4, -1, 8, 8, 8, -1, 12, 12, 12, -1);
    const __m256i opaque = _mm256_set1_epi32(static_cast<int>(0xFF000000u));
    int x = 0;
    for (; width - x >= 16; x += 16, s += 16, d += 64) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
        const __m256i lo = _mm256_cvtepu8_epi32(v);
        const __m256i hi = _mm256_cvtepu8_epi32(_mm_srli_si128(v, 8));
        Store256(d, _mm256_or_si256(_mm256_shuffle_epi8(lo, spread), opaque));
        Store256(d + 32, _mm256_or_si256(_mm256_shuffle_epi8(hi, spread), opaque));
    }
    GreyToBgraRowSse2(s, d, width - x);
}

LY_TARGET_AVX2 inline __m256i Grey8Avx2(__m256i px) {
    const __m256i y = Luma8Avx2(px);
    const __m256i yy = _mm256_or_si256(y, _mm256_slli_epi32(y, 8));
    const __m256i yyy = _mm256_or_si256(yy, _mm256_slli_epi32(y, 16));
    return _mm256_or_si256(yyy, _mm256_and_si256(px, _mm256_set1_epi32(static_cast<int>(0xFF000000u))));
}

LY_TARGET_AVX2 void GreyInPlaceRowAvx2(unsigned char* p, int width) {
    int x = 0;
    for (; width - x >= 16; x += 16, p += 64) {
        const __m256i a = Load256(p);
        const __m256i b = Load256(p + 32);
        Store256(p, Grey8Avx2(a));
        Store256(p + 32, Grey8Avx2(b));
    }
    GreyInPlaceRowSse2(p, width - x);
}

LY_TARGET_AVX2 void ChannelRowAvx2(const unsigned char* s, unsigned char* d, int width, int channel) {
    const __m128i shift = _mm_cvtsi32_si128(channel * 8);
    const __m256i low = _mm256_set1_epi32(0xFF);
    int x = 0;
    for (; width - x >= 32; x += 32, s += 128, d += 32) {
        const __m256i a = _mm256_and_si256(_mm256_srl_epi32(Load256(s), shift), low);
        const __m256i b = _mm256_and_si256(_mm256_srl_epi32(Load256(s + 32), shift), low);
        const __m256i c = _mm256_and_si256(_mm256_srl_epi32(Load256(s + 64), shift), low);
        const __m256i e = _mm256_and_si256(_mm256_srl_epi32(Load256(s + 96), shift), low);
        Store256(d, Pack4x32To8Avx2(a, b, c, e));
    }
    ChannelRowSse2(s, d, width - x, channel);
}

#endif  // LY_X86

}  // namespace

namespace LyPixelUtils {

void Convert32bitTo8bitImage(const unsigned char* src32, int srcPitch, unsigned char* dst8, int dstPitch, int width,
                             int height) {
    if (src32 == nullptr || dst8 == nullptr || width < 1 || height < 1) return;
    const ly::Isa isa = ly::ActiveIsa();
    const auto row = LY_WIDEST_FORM(isa, LumaRowAvx2, LumaRowSse2, LumaRowScalar);
    ly::ParallelEachRow(height, [&](int r) { row(ly::RowAt(src32, srcPitch, r), ly::RowAt(dst8, dstPitch, r), width); });
}

void Convert8bitTo32bitImage(const unsigned char* src8, int srcPitch, unsigned char* dst32, int dstPitch, int width,
                             int height) {
    if (src8 == nullptr || dst32 == nullptr || width < 1 || height < 1) return;
    const ly::Isa isa = ly::ActiveIsa();
    const auto row = LY_WIDEST_FORM(isa, GreyToBgraRowAvx2, GreyToBgraRowSse2, GreyToBgraRowScalar);
    ly::ParallelEachRow(height, [&](int r) { row(ly::RowAt(src8, srcPitch, r), ly::RowAt(dst32, dstPitch, r), width); });
}

void Convert32bitToGrayImage(unsigned char* image, int pitch, int width, int height) {
    if (image == nullptr || width < 1 || height < 1) return;
    const ly::Isa isa = ly::ActiveIsa();
    const auto row = LY_WIDEST_FORM(isa, GreyInPlaceRowAvx2, GreyInPlaceRowSse2, GreyInPlaceRowScalar);
    ly::ParallelEachRow(height, [&](int r) { row(ly::RowAt(image, pitch, r), width); });
}

void Get32bitImage8bitChannel(const unsigned char* src32, int srcPitch, unsigned char* dst8, int dstPitch, int width,
                              int height, int channel) {
    if (src32 == nullptr || dst8 == nullptr || width < 1 || height < 1) return;
    channel = channel < 0 ? 0 : (channel > 3 ? 3 : channel);
    const ly::Isa isa = ly::ActiveIsa();
    const auto row = LY_WIDEST_FORM(isa, ChannelRowAvx2, ChannelRowSse2, ChannelRowScalar);
    ly::ParallelEachRow(height,
                        [&](int r) { row(ly::RowAt(src32, srcPitch, r), ly::RowAt(dst8, dstPitch, r), width, channel); });
}

void Get32bitImage8bitAlpha(const unsigned char* src32, int srcPitch, unsigned char* dst8, int dstPitch, int width,
                            int height) {
    Get32bitImage8bitChannel(src32, srcPitch, dst8, dstPitch, width, height, 3);
}

}  // namespace LyPixelUtils
