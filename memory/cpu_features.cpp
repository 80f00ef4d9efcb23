#include "memory/LyCpu.h"

#include <cctype>
#include <cstdlib>

#include "LyAVUtilsVersion.h"

#if LY_X86
#include <cpuid.h>
#endif

namespace ly {
namespace {

constexpr uint32_t kLevelUnknown = 0xFFFFFFFFu;

std::atomic<uint32_t> g_featureLevel{kLevelUnknown};
static_assert(static_cast<int>(Isa::Scalar) == InstructionSet_Scalar &&
              static_cast<int>(Isa::Sse2) == InstructionSet_SSE2 && static_cast<int>(Isa::Avx2) == InstructionSet_AVX2);

// The cap LYAVUTILS_ISA names; no cap when it is unset or names no level.
int CapFromEnvironment() {
    const char* value = std::getenv("LYAVUTILS_ISA");
    if (value == nullptr) return InstructionSet_AVX2;
    static const char* const kNames[] = {"scalar", "sse2", "avx2"};
    for (int level = 0; level < 3; ++level) {
        const char* name = kNames[level];
        size_t i = 0;
        while (name[i] != '\0' && std::tolower(static_cast<unsigned char>(value[i])) == name[i]) ++i;
        if (name[i] == '\0' && value[i] == '\0') return level;
    }
    return InstructionSet_AVX2;
}

// Initialised on first use, so the environment is read once whatever order
// the start-up code runs in.
std::atomic<int>& IsaCap() {
    static std::atomic<int> cap{CapFromEnvironment()};
    return cap;
}

Isa DetectBestIsa() {
#if LY_X86
#if defined(__GNUC__) || defined(__clang__)
    __builtin_cpu_init();
    if (LY_HAVE_AVX2_KERNELS && __builtin_cpu_supports("avx2")) return Isa::Avx2;
#endif
    return Isa::Sse2;  // part of the x86-64 baseline
#else
    return Isa::Scalar;
#endif
}

uint32_t ReadLeaf1Edx() {
#if LY_X86
    unsigned int eax = 0, ebx = 0, ecx = 0, edx = 0;
    if (__get_cpuid(1, &eax, &ebx, &ecx, &edx)) return edx;
#endif
    return 0;
}

}  // namespace

Isa BestIsa() {
    static const Isa best = DetectBestIsa();
    return best;
}

Isa ActiveIsa() {
    const int cap = IsaCap().load(std::memory_order_relaxed);
    const int best = static_cast<int>(BestIsa());
    return static_cast<Isa>(cap < best ? cap : best);
}

uint32_t FeatureLevelFromEdx(uint32_t edx) {
    const bool mmx = (edx >> 23) & 1u;
    const bool sse = (edx >> 25) & 1u;
    const bool sse2 = (edx >> 26) & 1u;
    uint32_t level = sse2 ? 4u : 0u;
    if (sse) level = sse2 ? 6u : 2u;
    if (mmx) level ^= 1u;
    return level;
}

void InitProcessorFeatureLevel() {
    g_featureLevel.store(FeatureLevelFromEdx(ReadLeaf1Edx()), std::memory_order_relaxed);
}

uint32_t ProcessorFeatureLevel() {
    uint32_t level = g_featureLevel.load(std::memory_order_relaxed);
    if (level == kLevelUnknown) {
        level = FeatureLevelFromEdx(ReadLeaf1Edx());
        g_featureLevel.store(level, std::memory_order_relaxed);
    }
    return level;
}

}  // namespace ly

ELyInstructionSet LySetInstructionSetCap(ELyInstructionSet cap) {
    if (cap < InstructionSet_Scalar || cap > InstructionSet_AVX2)
        return static_cast<ELyInstructionSet>(ly::IsaCap().load(std::memory_order_relaxed));
    return static_cast<ELyInstructionSet>(ly::IsaCap().exchange(cap));
}

ELyInstructionSet LyGetInstructionSet() { return static_cast<ELyInstructionSet>(ly::ActiveIsa()); }

SLyVersionInfo LyGetVersionInfo() {
    return {LYAVUTILS_VERSION_MAJOR, LYAVUTILS_VERSION_MINOR, LYAVUTILS_VERSION_PATCH, LYAVUTILS_VERSION_STRING,
            LyGetInstructionSet()};
}
