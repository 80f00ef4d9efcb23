#include <cstring>
#include <thread>

#include "memory/LyCpu.h"
#include "threading/LyProcessorInfo.h"

#if LY_X86
#include <cpuid.h>
#endif
#if defined(__linux__)
#include <pthread.h>
#include <sched.h>
#endif

namespace ly {
namespace {

constexpr uint32_t kMaxProcessors = 16;

#if LY_X86
void Cpuid(uint32_t leaf, uint32_t r[4]) {
    __cpuid_count(leaf, 0, r[0], r[1], r[2], r[3]);
}

// Second-level cache descriptors of CPUID leaf 2 (size KB, ways, line bytes).
// The library records these but never uses them, so only the common L2
// descriptors are known; others leave the fields at 0.
struct CacheDescriptor {
    uint8_t code;
    uint16_t kb;
    uint8_t ways;
    uint8_t line;
};
constexpr CacheDescriptor kL2Descriptors[] = {
    {0x39, 128, 4, 64},   {0x3B, 128, 2, 64},   {0x3C, 256, 4, 64},   {0x41, 128, 4, 32},
    {0x42, 256, 4, 32},   {0x43, 512, 4, 32},   {0x44, 1024, 4, 32},  {0x45, 2048, 4, 32},
    {0x48, 3072, 12, 64}, {0x4E, 6144, 24, 64}, {0x78, 1024, 4, 64},  {0x79, 128, 8, 64},
    {0x7A, 256, 8, 64},   {0x7B, 512, 8, 64},   {0x7C, 1024, 8, 64},  {0x7D, 2048, 8, 64},
    {0x7F, 512, 2, 64},   {0x82, 256, 8, 32},   {0x83, 512, 8, 32},   {0x84, 1024, 8, 32},
    {0x85, 2048, 8, 32},  {0x86, 512, 4, 64},   {0x87, 1024, 8, 64},
};

void DecodeLeaf2(SLyProcessorInfo& info) {
    uint32_t r[4];
    Cpuid(2, r);
    for (int reg = 0; reg < 4; ++reg) {
        if (r[reg] & 0x80000000u) continue;  // register holds no descriptors
        for (int b = (reg == 0 ? 1 : 0); b < 4; ++b) {
            const uint8_t code = static_cast<uint8_t>(r[reg] >> (8 * b));
            for (const auto& d : kL2Descriptors) {
                if (d.code == code) {
                    info.l2CacheBytes = d.kb * 1024u;
                    info.l2Associativity = d.ways;
                    info.l2LineBytes = d.line;
                }
            }
        }
    }
}

void DecodeAmdCache(SLyProcessorInfo& info, uint32_t ecx) {
    info.l2CacheBytes = (ecx >> 16) * 1024u;
    switch ((ecx >> 12) & 0xF) {
    case 2: info.l2Associativity = 2; break;
    case 4: info.l2Associativity = 4; break;
    case 6: info.l2Associativity = 8; break;
    case 8: info.l2Associativity = 16; break;
    case 15: info.l2Associativity = 0xFFFFFFFFu; break;
    default: info.l2Associativity = 0; break;
    }
    info.l2LineBytes = ecx & 0xFF;
}

void IdentifyVendorAndFeatures(SLyProcessorInfo& info) {
    uint32_t r[4];
    Cpuid(0, r);
    const uint32_t maxLeaf = r[0];
    char vendor[13];
    std::memcpy(vendor, &r[1], 4);
    std::memcpy(vendor + 4, &r[3], 4);
    std::memcpy(vendor + 8, &r[2], 4);
    vendor[12] = '\0';
    Cpuid(0x80000000u, r);
    const uint32_t maxExtended = r[0];
    info.cpuidUsable = 1;
    if (std::strcmp(vendor, "GenuineIntel") == 0)
        info.isIntel = 1;
    else if (std::strcmp(vendor, "AuthenticAMD") == 0)
        info.isAmd = 1;
    else
        return;
    if (maxLeaf < 1) return;
    Cpuid(1, r);
    info.mmx = (r[3] >> 23) & 1;
    info.sse = (r[3] >> 25) & 1;
    info.sse2 = (r[3] >> 26) & 1;
    if (!info.isIntel) {
        if (maxExtended >= 0x80000006u) {
            uint32_t c[4];
            Cpuid(0x80000006u, c);
            DecodeAmdCache(info, c[2]);
        }
        return;
    }
    if ((r[3] >> 28) & 1) {
        info.hyperThreading = 1;
        info.logicalPerPackage = (r[1] >> 16) & 0xFF;
    }
    if (maxLeaf >= 2) DecodeLeaf2(info);
}
#endif

#if defined(__linux__)
bool AllowedSet(cpu_set_t& set) {
    CPU_ZERO(&set);
    return pthread_getaffinity_np(pthread_self(), sizeof(set), &set) == 0;
}
#endif

void CountFromOperatingSystem(SLyProcessorInfo& info) {
    uint32_t n = AllowedProcessorCount();
    info.logicalCount = n;
    info.packageCount = n;
    for (uint32_t i = 0; i < n; ++i) info.processors[i] = {i, i, i, 0, 1u << i};
}

#if LY_X86 && defined(__linux__)
// Moves the calling thread onto each allowed processor in turn and reads its
// initial APIC identifier. A processor the thread cannot be moved to is
// skipped rather than retried.
bool EnumerateByApicId(SLyProcessorInfo& info) {
    cpu_set_t allowed;
    if (!AllowedSet(allowed)) return false;
    uint32_t shift = 0;
    while ((1u << shift) < info.logicalPerPackage) ++shift;
    const uint32_t packageMask = (0xFFu << shift) & 0xFFu;
    uint32_t found = 0, packages = 0;
    for (int cpu = 0; cpu < CPU_SETSIZE && found < kMaxProcessors; ++cpu) {
        if (!CPU_ISSET(cpu, &allowed)) continue;
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(cpu, &one);
        if (pthread_setaffinity_np(pthread_self(), sizeof(one), &one) != 0) continue;
        sched_yield();
        uint32_t r[4];
        Cpuid(1, r);
        const uint32_t apic = r[1] >> 24;
        SLyLogicalProcessor& e = info.processors[found];
        e.packageId = apic >> shift;
        e.logicalId = apic & ~packageMask & 0xFFu;
        e.affinityMask = cpu < 32 ? (1u << cpu) : 0u;
        uint32_t ordinal = packages, index = 0;
        for (uint32_t i = 0; i < found; ++i) {
            if (info.processors[i].packageId == e.packageId) {
                ordinal = info.processors[i].packageOrdinal;
                ++index;
            }
        }
        if (ordinal == packages) ++packages;
        e.packageOrdinal = ordinal;
        e.indexInPackage = index;
        ++found;
    }
    pthread_setaffinity_np(pthread_self(), sizeof(allowed), &allowed);
    if (found == 0) return false;
    info.logicalCount = found;
    info.packageCount = packages;
    return true;
}
#endif

}  // namespace

uint32_t AllowedProcessorCount() {
    uint32_t n = 0;
#if defined(__linux__)
    cpu_set_t set;
    if (AllowedSet(set)) n = static_cast<uint32_t>(CPU_COUNT(&set));
#endif
    if (n == 0) n = std::thread::hardware_concurrency();
    if (n == 0) n = 1;
    return n > kMaxProcessors ? kMaxProcessors : n;
}

void DetectProcessors(SLyProcessorInfo& info) {
    info = SLyProcessorInfo{};
#if LY_X86
    IdentifyVendorAndFeatures(info);
#if defined(__linux__)
    if (info.cpuidUsable && info.isIntel && info.hyperThreading && info.logicalPerPackage > 1 &&
        EnumerateByApicId(info))
        return;
#endif
#endif
    CountFromOperatingSystem(info);
}

}  // namespace ly
