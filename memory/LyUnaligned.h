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

LY_ALWAYS_INLINE void Store16(unsigned char* p, uint16_t v) { std::memcpy(p, &v, 2); }
LY_ALWAYS_INLINE void Store32(unsigned char* p, uint32_t v) { std::memcpy(p, &v, 4); }

}  // namespace ly

#endif
