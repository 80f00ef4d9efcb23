// One frame of a wipe between two 32-bit images, either along a grey pattern
// or as a straight left-to-right edge.

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "LyMemUtils.h"
#include "LyPixelUtils.h"
#include "memory/LyCpu.h"
#include "threading/LyBandFrame.h"

namespace {

// LyMemCpy takes a 32-bit count; rows longer than that are copied in pieces.
void CopyBytes(unsigned char* d, const unsigned char* s, size_t bytes) {
    constexpr size_t kPiece = size_t{1} << 30;
    while (bytes > kPiece) {
        LyMemCpy(d, s, static_cast<uint32_t>(kPiece));
        d += kPiece;
        s += kPiece;
        bytes -= kPiece;
    }
    if (bytes > 0) LyMemCpy(d, s, static_cast<uint32_t>(bytes));
}

// ------------------------------------------------------------ pattern rows

using PatternRowFn = void (*)(const unsigned char* a, const unsigned char* b, const unsigned char* pattern,
                              unsigned char* d, int width, unsigned char progress);

void PatternRowScalar(const unsigned char* a, const unsigned char* b, const unsigned char* pattern, unsigned char* d,
                      int width, unsigned char progress) {
    for (int x = 0; x < width; ++x, a += 4, b += 4, pattern += 4, d += 4)
        std::memcpy(d, pattern[0] > progress ? b : a, 4);
}

#if LY_X86

// Branch-free selects: whole vectors from one image are common in a wipe, but
// skipping the other image's load measured no gain (the row is streamed in
// either way), and random patterns would pay for mispredictions.
void PatternRowSse2(const unsigned char* a, const unsigned char* b, const unsigned char* pattern, unsigned char* d,
                    int width, unsigned char progress) {
    const __m128i level = _mm_set1_epi32(progress);
    const __m128i low = _mm_set1_epi32(0xFF);
    int x = 0;
    for (; width - x >= 4; x += 4, a += 16, b += 16, pattern += 16, d += 16) {
        const __m128i p = _mm_and_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(pattern)), low);
        const __m128i takeB = _mm_cmpgt_epi32(p, level);
        const __m128i va = _mm_loadu_si128(reinterpret_cast<const __m128i*>(a));
        const __m128i vb = _mm_loadu_si128(reinterpret_cast<const __m128i*>(b));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d),
                         _mm_or_si128(_mm_and_si128(takeB, vb), _mm_andnot_si128(takeB, va)));
    }
    PatternRowScalar(a, b, pattern, d, width - x, progress);
}

LY_TARGET_AVX2 void PatternRowAvx2(const unsigned char* a, const unsigned char* b, const unsigned char* pattern,
                                   unsigned char* d, int width, unsigned char progress) {
    const __m256i level = _mm256_set1_epi32(progress);
    const __m256i low = _mm256_set1_epi32(0xFF);
    int x = 0;
    for (; width - x >= 8; x += 8, a += 32, b += 32, pattern += 32, d += 32) {
        const __m256i p = _mm256_and_si256(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(pattern)), low);
        const __m256i takeB = _mm256_cmpgt_epi32(p, level);
        const __m256i out = _mm256_blendv_epi8(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(a)),
                                               _mm256_loadu_si256(reinterpret_cast<const __m256i*>(b)), takeB);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d), out);
    }
    PatternRowSse2(a, b, pattern, d, width - x, progress);
}

#endif  // LY_X86

}  // namespace

namespace LyPixelUtils {

void WipePatternImage(const unsigned char* imageA, int pitchA, const unsigned char* imageB, int pitchB,
                      const unsigned char* pattern, int patternPitch, unsigned char* dst, int dstPitch, int width,
                      int height, unsigned char progress) {
    if (imageA == nullptr || imageB == nullptr || dst == nullptr || width < 1 || height < 1) return;

    if (pattern == nullptr) {
        // The edge is the same on every row. progress 255 gives exactly width.
        const int split = static_cast<int>(progress / 255.0 * width);
        const size_t splitBytes = static_cast<size_t>(split) * 4;
        const size_t restBytes = static_cast<size_t>(width - split) * 4;
        ly::ParallelEachRow(height, [&](int r) {
            unsigned char* d = ly::RowAt(dst, dstPitch, r);
            CopyBytes(d, ly::RowAt(imageA, pitchA, r), splitBytes);
            CopyBytes(d + splitBytes, ly::RowAt(imageB, pitchB, r) + splitBytes, restBytes);
        });
        return;
    }

    const ly::Isa isa = ly::ActiveIsa();
    const PatternRowFn row = LY_WIDEST_FORM(isa, PatternRowAvx2, PatternRowSse2, PatternRowScalar);
    ly::ParallelEachRow(height, [&](int r) {
        row(ly::RowAt(imageA, pitchA, r), ly::RowAt(imageB, pitchB, r), ly::RowAt(pattern, patternPitch, r),
            ly::RowAt(dst, dstPitch, r), width, progress);
    });
}

}  // namespace LyPixelUtils
