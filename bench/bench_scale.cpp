// ScaleImage4x8bits against memcpy of the output bytes and libyuv's bilinear
// ARGBScale on the same sizes.

#include <cstring>

#include "LyVideoUtils.h"
#include "bench_support.h"
#include "memory/LyCpu.h"

#ifdef LY_HAVE_LIBYUV
#include <libyuv/scale_argb.h>
#endif

namespace {

struct Sizes {
    int srcW, srcH, dstW, dstH;
};

// 0: SD to HD (the headline case), 1: HD to 720p, 2: anamorphic HD to full
// width (heights equal: no vertical pass), 3: UHD down to HD.
constexpr Sizes kSizes[] = {
    {720, 576, 1920, 1080},
    {1920, 1080, 1280, 720},
    {1440, 1080, 1920, 1080},
    {3840, 2160, 1920, 1080},
};

void SetLabel(benchmark::State& state, const Sizes& s) {
    state.SetLabel(std::to_string(s.srcW) + "x" + std::to_string(s.srcH) + "->" + std::to_string(s.dstW) + "x" +
                   std::to_string(s.dstH));
}

// Args: size index, instruction-set cap (0 scalar, 1 SSE2, 2 AVX2), pool size.
void BM_ScaleImage4x8bits(benchmark::State& state) {
    lybench::PoolForState(state, 2);
    const Sizes& s = kSizes[state.range(0)];
    lybench::ScopedIsaCap cap(state.range(1));
    lybench::Frame src(size_t{4} * s.srcW * s.srcH), dst(size_t{4} * s.dstW * s.dstH);
    for (auto _ : state) {
        LyVideoUtils::ScaleImage4x8bits(dst.data, s.dstW, s.dstH, 4 * s.dstW, src.data, s.srcW, s.srcH, 4 * s.srcW);
        benchmark::DoNotOptimize(dst.data);
        benchmark::ClobberMemory();
    }
    SetLabel(state, s);
    lybench::SetFrameBytes(state, dst.size);
}
BENCHMARK(BM_ScaleImage4x8bits)
    ->ArgNames({"size", "isa", "threads"})
    ->ArgsProduct({{0, 1, 2, 3}, {2}, {1, 2}})
    ->ArgsProduct({{0}, {0, 1}, {1}})
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();

void BM_MemcpyOutput(benchmark::State& state) {
    const Sizes& s = kSizes[state.range(0)];
    lybench::Frame src(size_t{4} * s.dstW * s.dstH), dst(size_t{4} * s.dstW * s.dstH);
    for (auto _ : state) {
        std::memcpy(dst.data, src.data, dst.size);
        benchmark::DoNotOptimize(dst.data);
        benchmark::ClobberMemory();
    }
    SetLabel(state, s);
    lybench::SetFrameBytes(state, dst.size);
}
BENCHMARK(BM_MemcpyOutput)->ArgName("size")->Arg(0)->Unit(benchmark::kMicrosecond)->UseRealTime();

#ifdef LY_HAVE_LIBYUV
void BM_LibyuvARGBScaleBilinear(benchmark::State& state) {
    const Sizes& s = kSizes[state.range(0)];
    lybench::Frame src(size_t{4} * s.srcW * s.srcH), dst(size_t{4} * s.dstW * s.dstH);
    for (auto _ : state) {
        libyuv::ARGBScale(src.data, 4 * s.srcW, s.srcW, s.srcH, dst.data, 4 * s.dstW, s.dstW, s.dstH,
                          libyuv::kFilterBilinear);
        benchmark::DoNotOptimize(dst.data);
        benchmark::ClobberMemory();
    }
    SetLabel(state, s);
    lybench::SetFrameBytes(state, dst.size);
}
BENCHMARK(BM_LibyuvARGBScaleBilinear)->ArgName("size")->DenseRange(0, 3)->Unit(benchmark::kMicrosecond)->UseRealTime();
#endif

}  // namespace

BENCHMARK_MAIN();
