#ifndef LYAVUTILS_MEMORY_LYCPU_H
#define LYAVUTILS_MEMORY_LYCPU_H

// Internal: processor feature level and the instruction set the kernels use.

#include <atomic>
#include <cstddef>
#include <cstdint>

#if defined(__x86_64__) || defined(_M_X64) || defined(__i386__) || defined(_M_IX86)
#define LY_X86 1
#include <immintrin.h>
#else
#define LY_X86 0
#endif

// Attribute for functions compiled for the AVX2 level inside an SSE2
// translation unit. The level is AVX2 alone: no kernel fuses a multiply with
// an add (the converters' forms are integer), so a processor with AVX2 but
// without FMA still gets the wide forms.
#if LY_X86 && (defined(__GNUC__) || defined(__clang__))
#define LY_TARGET_AVX2 __attribute__((target("avx2")))
#define LY_HAVE_AVX2_KERNELS 1
#else
#define LY_TARGET_AVX2
#define LY_HAVE_AVX2_KERNELS 0
#endif

// The one way a kernel family chooses among its forms. LY_WIDEST_FORM(isa,
// avx2, sse2, scalar) is the widest of the three expressions that `isa`
// allows; only that one is evaluated, and the vector expressions are not
// compiled where their kernels are not (the AVX2 one needs
// LY_HAVE_AVX2_KERNELS, both need LY_X86). A family without an AVX2 form names
// its SSE2 form in both vector places. Wrap an argument holding a comma (a
// template with two arguments) in parentheses.
#if LY_X86 && LY_HAVE_AVX2_KERNELS
#define LY_WIDEST_FORM(isa, avx2, sse2, scalar) \
    ((isa) == ::ly::Isa::Avx2 ? (avx2) : (isa) != ::ly::Isa::Scalar ? (sse2) : (scalar))
#elif LY_X86
#define LY_WIDEST_FORM(isa, avx2, sse2, scalar) ((isa) != ::ly::Isa::Scalar ? (sse2) : (scalar))
#else
#define LY_WIDEST_FORM(isa, avx2, sse2, scalar) (static_cast<void>(isa), (scalar))
#endif

namespace ly {

// Kernel families. Every vector path has a scalar twin giving identical bytes;
// tests lower the active level to compare them.
enum class Isa : int {
    Scalar = 0,
    Sse2 = 1,
    Avx2 = 2,
};

// The best level this processor (and build) supports.
Isa BestIsa();

// The level kernels should use now: the best level, or lower under the cap
// that LySetInstructionSetCap (or LYAVUTILS_ISA at start-up) sets. Cheap: one
// relaxed atomic load. An operation reads it once, before its bands start,
// and hands the value to them.
Isa ActiveIsa();

// The processor feature level: bit 0 MMX, bit 1 SSE, bit 2 SSE2, computed from
// CPUID leaf 1 EDX. Computed at load; computed on first call if read earlier.
uint32_t ProcessorFeatureLevel();

// The level that the leaf-1 EDX bits give (pure; exposed for tests).
uint32_t FeatureLevelFromEdx(uint32_t edx);

// Called once at load by the library's start-up object.
void InitProcessorFeatureLevel();

}  // namespace ly

#endif
