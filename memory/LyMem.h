#ifndef LYAVUTILS_MEMORY_LYMEM_H
#define LYAVUTILS_MEMORY_LYMEM_H

// Internal: the copy variants by feature level, reachable for tests.

#include <cstdint>

namespace ly {

// LyMemCpy as it behaves on a processor of the given feature level.
void MemCpyForLevel(uint32_t level, void* destination, const void* source, uint32_t count);

}  // namespace ly

#endif
