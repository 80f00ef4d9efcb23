// Flattening a two-field sample into one frame buffer against memcpy of the
// same frame's bytes. The sample transfer runs on the calling thread, so the
// pool size does not enter.

#include "LyMemoryHost.h"
#include "LySurfaceUtils.h"
#include "bench_support.h"

namespace {

constexpr size_t kFrameBytes = size_t(lybench::kWidth) * lybench::kHeight * 4;

void BM_memcpy_frame(benchmark::State& state) {
    lybench::Frame src(kFrameBytes), dst(kFrameBytes, 2);
    for (auto _ : state) {
        std::memcpy(dst.data, src.data, kFrameBytes);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kFrameBytes);
}

void BM_AVSampleToImageBuffer_fields(benchmark::State& state) {
    SLySurfaceCreateDesc d{};
    d.width = lybench::kWidth;
    d.height = lybench::kHeight / 2;
    d.bitDepth = 8;
    d.pixelFormat = PixelFormat_BGRA4444;
    d.scanMode = ScanMode_UpperFirst;
    d.polarity = Polarity_First;
    ILyVideoSurface* first = LyMemoryHost::CreateSurface(d);
    d.polarity = Polarity_Second;
    ILyVideoSurface* second = LyMemoryHost::CreateSurface(d);
    ILyAVSample* sample = LyMemoryHost::CreateAVSample(first, second);
    lybench::Frame dst(kFrameBytes, 2);
    uint32_t size = 0;
    for (auto _ : state) {
        LySurfaceUtils::AVSampleToImageBuffer(sample, ScanMode_UpperFirst, dst.data, size);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kFrameBytes);
    sample->Release();
    first->Release();
    second->Release();
}

BENCHMARK(BM_memcpy_frame)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_AVSampleToImageBuffer_fields)->Unit(benchmark::kMicrosecond);

}  // namespace
BENCHMARK_MAIN();
