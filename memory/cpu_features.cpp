#include "memory/LyCpu.h"

#if LY_X86
#include <cpuid.h>
#endif

namespace ly {
namespace {

constexpr uint32_t kLevelUnknown = 0xFFFFFFFFu;

std::atomic<uint32_t> g_featureLevel{kLevelUnknown};
std::atomic<int> g_isaCap{static_cast<int>(Isa::Avx2)};

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
    const int cap = g_isaCap.load(std::memory_order_relaxed);
    const int best = static_cast<int>(BestIsa());
    return static_cast<Isa>(cap < best ? cap : best);
}

Isa SetIsaCapForTesting(Isa cap) {
    return static_cast<Isa>(g_isaCap.exchange(static_cast<int>(cap)));
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
