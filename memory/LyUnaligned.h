#ifndef LYAVUTILS_MEMORY_LYUNALIGNED_H
#define LYAVUTILS_MEMORY_LYUNALIGNED_H

// Internal: pixel words read and written at any byte address. Rows may start
// anywhere, so a plain pointer cast would be undefined; memcpy compiles to a
// single move.

#include <cstdint>
#include <cstring>

#if defined(__GNUC__) || defined(__clang__)
#define LY_ALWAYS_INLINE inline __attribute__((always_inline))
#else
#define LY_ALWAYS_INLINE inline
#endif

namespace ly {

LY_ALWAYS_INLINE uint32_t Load32(const unsigned char* p) {
    uint32_t v;
    std::memcpy(&v, p, 4);
    return v;
}

LY_ALWAYS_INLINE uint64_t Load64(const unsigned char* p) {
    uint64_t v;
    std::memcpy(&v, p, 8);
    return v;
}

// 16-bit samples come back as unsigned, so that products of two samples
// cannot overflow a promoted int; a store keeps the low 16 bits.
LY_ALWAYS_INLINE unsigned Load16(const unsigned char* p) {
    uint16_t v;
    std::memcpy(&v, p, 2);
    return v;
}

LY_ALWAYS_INLINE void Store16(unsigned char* p, unsigned v) {
    const uint16_t w = static_cast<uint16_t>(v);
    std::memcpy(p, &w, 2);
}

LY_ALWAYS_INLINE void Store32(unsigned char* p, uint32_t v) { std::memcpy(p, &v, 4); }

}  // namespace ly

#endif
