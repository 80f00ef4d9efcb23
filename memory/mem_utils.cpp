#include <cstring>

#include "LyMemUtils.h"
#include "memory/LyCpu.h"
#include "memory/LyMem.h"
#include "memory/LyUnaligned.h"

namespace {

using ly::Store16;
using ly::Store32;

// Byte copies until the destination is `align`-aligned, then `align`-byte
// blocks, then the tail bytes.
template <unsigned Align>
void CopyAligned(unsigned char* d, const unsigned char* s, uint32_t count) {
    uint32_t head = static_cast<uint32_t>((Align - (reinterpret_cast<uintptr_t>(d) & (Align - 1))) & (Align - 1));
    if (head > count) head = count;
    for (uint32_t i = 0; i < head; ++i) d[i] = s[i];
    d += head;
    s += head;
    count -= head;
    const uint32_t blockBytes = count / Align * Align;
    // The blocks land on an aligned destination; the runtime's copy moves
    // them with the widest stores the processor has, and the bytes are the same.
    std::memcpy(d, s, blockBytes);
    d += blockBytes;
    s += blockBytes;
    for (uint32_t i = 0; i < count % Align; ++i) d[i] = s[i];
}

}  // namespace

namespace ly {

void MemCpyForLevel(uint32_t level, void* destination, const void* source, uint32_t count) {
    if (count == 0 || destination == nullptr || source == nullptr) return;
    auto* d = static_cast<unsigned char*>(destination);
    const auto* s = static_cast<const unsigned char*>(source);
    switch (level) {
    case 0:
        std::memcpy(d, s, count);
        break;
    case 1:
        CopyAligned<8>(d, s, count);
        break;
    case 3:
    case 7:
        CopyAligned<16>(d, s, count);
        break;
    default:
        // SSE without MMX, or SSE2 without SSE: no real processor reports
        // these, and the copy does nothing on them.
        break;
    }
}

}  // namespace ly

unsigned int LyComputeGCD(unsigned int a, unsigned int b) {
    if (a == 0) return 0;
    for (;;) {
        if (b == 0) return 0;
        const unsigned int r = a % b;
        a = b;
        if (r == 0) return a;
        b = r;
    }
}

void LyMemCpy(void* destination, const void* source, uint32_t count) {
    ly::MemCpyForLevel(ly::ProcessorFeatureLevel(), destination, source, count);
}

void LyMemSet(void* destination, unsigned char value, uint32_t count) {
    if (destination == nullptr) return;
    auto* d = static_cast<unsigned char*>(destination);
    if (count > 3) {
        // count / 4 words of the byte four times: the same bytes as a plain
        // byte fill of count & ~3, which the runtime does fastest.
        const uint32_t wordBytes = count & ~3u;
        std::memset(d, value, wordBytes);
        d += wordBytes;
    }
    switch (count % 4) {
    case 1:
        d[0] = value;
        break;
    case 2:
        Store16(d, static_cast<uint16_t>(value * 0x0101u));
        break;
    case 3:
        Store16(d, static_cast<uint16_t>(value * 0x0101u));
        d[2] = value;
        break;
    default:
        break;
    }
}

void LyMemSetD(uint32_t* destination, uint32_t value, uint32_t count) {
    if (destination == nullptr) return;
    auto* d = reinterpret_cast<unsigned char*>(destination);
    const uint64_t pair = (static_cast<uint64_t>(value) << 32) | value;
    uint32_t pairs = count / 2;
#if LY_X86
    const __m128i v = _mm_set1_epi32(static_cast<int>(value));
    for (; pairs >= 8; pairs -= 8, d += 64) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d), v);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 16), v);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 32), v);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 48), v);
    }
#endif
    for (; pairs > 0; --pairs, d += 8) std::memcpy(d, &pair, 8);
    if (count & 1u) Store32(d, value);
}

void LyMemSetDoubleD(unsigned char* destination, uint32_t* const pattern, uint32_t count) {
    if (destination == nullptr || pattern == nullptr) return;
    unsigned char bytes[8];
    std::memcpy(bytes, pattern, 8);
    unsigned char* d = destination;
#if LY_X86
    __m128i v = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(bytes));
    v = _mm_unpacklo_epi64(v, v);
    for (; count >= 8; count -= 8, d += 64) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d), v);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 16), v);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 32), v);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 48), v);
    }
#endif
    for (; count > 0; --count, d += 8) std::memcpy(d, bytes, 8);
}
