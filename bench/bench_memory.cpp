// The memory helpers against the runtime's memcpy/memset on 8 MB.

#include "LyMemUtils.h"
#include "bench_support.h"

namespace {

constexpr size_t kBytes = 8u << 20;

void BM_memcpy(benchmark::State& state) {
    lybench::Frame src(kBytes), dst(kBytes, 2);
    for (auto _ : state) {
        std::memcpy(dst.data, src.data, kBytes);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kBytes);
}

void BM_LyMemCpy(benchmark::State& state) {
    lybench::Frame src(kBytes), dst(kBytes, 2);
    const size_t offset = static_cast<size_t>(state.range(0));  // unaligned destination
    for (auto _ : state) {
        LyMemCpy(dst.data + offset, src.data, static_cast<uint32_t>(kBytes - 64));
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kBytes - 64);
}

void BM_memset(benchmark::State& state) {
    lybench::Frame dst(kBytes);
    for (auto _ : state) {
        std::memset(dst.data, 0x5A, kBytes);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kBytes);
}

void BM_LyMemSet(benchmark::State& state) {
    lybench::Frame dst(kBytes);
    for (auto _ : state) {
        LyMemSet(dst.data, 0x5A, static_cast<uint32_t>(kBytes));
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kBytes);
}

void BM_LyMemSetD(benchmark::State& state) {
    lybench::Frame dst(kBytes);
    for (auto _ : state) {
        LyMemSetD(reinterpret_cast<uint32_t*>(dst.data), 0x80108010u, static_cast<uint32_t>(kBytes / 4));
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kBytes);
}

void BM_LyMemSetDoubleD(benchmark::State& state) {
    lybench::Frame dst(kBytes);
    uint32_t pattern[2] = {0x00400200u, 0x03AC0200u};
    for (auto _ : state) {
        LyMemSetDoubleD(dst.data, pattern, static_cast<uint32_t>(kBytes / 8));
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kBytes);
}

}  // namespace

BENCHMARK(BM_memcpy);
BENCHMARK(BM_LyMemCpy)->Arg(0)->Arg(3);
BENCHMARK(BM_memset);
BENCHMARK(BM_LyMemSet);
BENCHMARK(BM_LyMemSetD);
BENCHMARK(BM_LyMemSetDoubleD);
BENCHMARK_MAIN();
