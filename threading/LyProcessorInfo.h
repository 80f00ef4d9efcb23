#ifndef LYAVUTILS_THREADING_LYPROCESSORINFO_H
#define LYAVUTILS_THREADING_LYPROCESSORINFO_H

// Internal: processor identification and the logical processor count that
// sizes the thread pool.

#include <cstdint>

namespace ly {

struct SLyLogicalProcessor {
    uint32_t packageId;
    uint32_t logicalId;        // within the package
    uint32_t packageOrdinal;   // 0, 1, ... in order of first appearance
    uint32_t indexInPackage;   // 0 for the first logical processor seen in its package
    uint32_t affinityMask;     // one bit (0 for processors numbered 32 and above)
};

struct SLyProcessorInfo {
    uint8_t cpuidUsable = 0;
    uint8_t isIntel = 0;
    uint8_t isAmd = 0;
    uint8_t mmx = 0;
    uint8_t sse = 0;
    uint8_t sse2 = 0;
    uint8_t hyperThreading = 0;
    uint32_t logicalCount = 1;       // the result the pool uses
    uint32_t logicalPerPackage = 1;
    uint32_t packageCount = 1;
    uint32_t l2CacheBytes = 0;
    uint32_t l2Associativity = 0;    // ways; 0xFFFFFFFF fully associative, 0 unknown
    uint32_t l2LineBytes = 0;
    SLyLogicalProcessor processors[16] = {};
};

// Fills `info` for the processors the calling thread may run on (its affinity
// mask). Temporarily moves the calling thread across that mask on Intel
// processors with Hyper-Threading; restores the previous affinity before
// returning. The count is 1..16.
void DetectProcessors(SLyProcessorInfo& info);

// The processors allowed to the calling thread, at most 16.
uint32_t AllowedProcessorCount();

}  // namespace ly

#endif
