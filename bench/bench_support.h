#ifndef LYAVUTILS_BENCH_BENCH_SUPPORT_H
#define LYAVUTILS_BENCH_BENCH_SUPPORT_H

// Shared pieces of the benchmarks: 1920x1080 frames and pool-size control.
// Pass the pool size as the benchmark's last range argument (1 = single
// thread, 2 = this machine's cores) and call PoolForState(state) first.

#include <benchmark/benchmark.h>

// Every benchmark of these programs reports wall-clock time. With the pool
// the calling thread's CPU time leaves out the workers' work (a pooled copy
// would print hundreds of GB/s), so the library's registrations all measure
// real time; a benchmark that times itself registers with
// benchmark::RegisterBenchmark and UseManualTime instead.
#undef BENCHMARK
#define BENCHMARK(...)                                                                                   \
    BENCHMARK_PRIVATE_DECLARE(_benchmark_) =                                                             \
        (::benchmark::internal::RegisterBenchmarkInternal(                                               \
             new ::benchmark::internal::FunctionBenchmark(#__VA_ARGS__, &__VA_ARGS__))                   \
             ->UseRealTime())

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

#include "LyAVUtilsVersion.h"
#include "threading/LyThreadPoolInstance.h"

namespace lybench {

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr size_t kPixels = static_cast<size_t>(kWidth) * kHeight;

// Caps the kernels' instruction set (0 scalar, 1 SSE2, 2 AVX2) for the scope.
class ScopedIsaCap {
public:
    explicit ScopedIsaCap(int64_t level) : previous_(LySetInstructionSetCap(static_cast<ELyInstructionSet>(level))) {}
    ~ScopedIsaCap() { LySetInstructionSetCap(previous_); }
    ScopedIsaCap(const ScopedIsaCap&) = delete;
    ScopedIsaCap& operator=(const ScopedIsaCap&) = delete;

private:
    ELyInstructionSet previous_;
};

// A 64-byte aligned buffer of random bytes.
struct Frame {
    explicit Frame(size_t bytes, uint32_t seed = 1) : size(bytes) {
        data = static_cast<unsigned char*>(std::aligned_alloc(64, (bytes + 63) / 64 * 64));
        std::mt19937 rng(seed);
        for (size_t i = 0; i < bytes; ++i) data[i] = static_cast<unsigned char>(rng());
    }
    ~Frame() { std::free(data); }
    Frame(const Frame&) = delete;
    Frame& operator=(const Frame&) = delete;
    unsigned char* data;
    size_t size;
};

// Makes the pool singleton have `threads` workers (kept across benchmarks
// of the same size).
inline void UsePool(int threads) {
    static int current = -1;
    if (current != threads) {
        CLyThreadPoolInstance::ReplaceSingletonForTesting(threads);
        current = threads;
    }
}

inline void PoolForState(const benchmark::State& state, int argIndex = 0) {
    UsePool(static_cast<int>(state.range(argIndex)));
}

inline void SetFrameBytes(benchmark::State& state, size_t bytesPerIteration) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(bytesPerIteration));
}

}  // namespace lybench

#endif
