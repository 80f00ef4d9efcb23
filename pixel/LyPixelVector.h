#ifndef LYAVUTILS_PIXEL_LYPIXELVECTOR_H
#define LYAVUTILS_PIXEL_LYPIXELVECTOR_H

// Internal: the vector pieces every 32-bit straight-alpha kernel uses
// (unaligned block loads and stores, whole-block alpha tests), so that each
// mixing family writes only its own rule.

#include <cstdint>

#include "memory/LyCpu.h"
#include "memory/LyUnaligned.h"

namespace ly {

constexpr uint32_t kAlphaBits = 0xFF000000u;   // alpha of a 32-bit pixel word
constexpr uint32_t kColourBits = 0x00FFFFFFu;  // its colour bytes

#if LY_X86
LY_ALWAYS_INLINE __m128i LoadSse2(const unsigned char* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
LY_ALWAYS_INLINE void StoreSse2(unsigned char* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }

// Alpha questions about whole blocks: the OR of the pixels has no alpha bit
// set only if every pixel is transparent, the AND has all of them set only if
// every pixel is opaque.
LY_ALWAYS_INLINE bool NoAlphaSse2(__m128i v) {
    const __m128i a = _mm_and_si128(v, _mm_set1_epi32(static_cast<int>(kAlphaBits)));
    return _mm_movemask_epi8(_mm_cmpeq_epi32(a, _mm_setzero_si128())) == 0xFFFF;
}
LY_ALWAYS_INLINE bool FullAlphaSse2(__m128i v) {
    const __m128i am = _mm_set1_epi32(static_cast<int>(kAlphaBits));
    return _mm_movemask_epi8(_mm_cmpeq_epi32(_mm_and_si128(v, am), am)) == 0xFFFF;
}
LY_ALWAYS_INLINE __m128i Or4(const __m128i v[4]) {
    return _mm_or_si128(_mm_or_si128(v[0], v[1]), _mm_or_si128(v[2], v[3]));
}
LY_ALWAYS_INLINE __m128i And4(const __m128i v[4]) {
    return _mm_and_si128(_mm_and_si128(v[0], v[1]), _mm_and_si128(v[2], v[3]));
}

#if LY_HAVE_AVX2_KERNELS
LY_TARGET_AVX2 LY_ALWAYS_INLINE __m256i LoadAvx2(const unsigned char* p) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}
LY_TARGET_AVX2 LY_ALWAYS_INLINE void StoreAvx2(unsigned char* p, __m256i v) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v);
}
#endif
#endif

}  // namespace ly

#endif
