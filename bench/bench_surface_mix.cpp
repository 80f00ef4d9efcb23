// Surface compositing on two 1920x1080 BGRA surfaces of the in-memory host
// against the pixel routine it hands the work to, run directly on the same
// memory: what the frame rectangles, the host calls and the locks cost on top
// of the mix. Random colour and alpha over opaque video (the mix keeps the
// destination opaque, so every iteration does the same work). Last argument:
// pool size (1 = one thread, 2 = pooled).

#include "LyMemoryHost.h"
#include "LyPixelUtils.h"
#include "LySurfaceUtils.h"
#include "bench_support.h"

namespace {

struct Surfaces {
    ILyVideoSurface* source;
    ILyVideoSurface* destination;
    LyMemoryHost::CLyMemorySurface* src;
    LyMemoryHost::CLyMemorySurface* dst;

    Surfaces() {
        SLySurfaceCreateDesc d{};
        d.width = lybench::kWidth;
        d.height = lybench::kHeight;
        d.bitDepth = 8;
        d.pixelFormat = PixelFormat_BGRA4444;
        d.polarity = Polarity_Frame;
        d.scanMode = ScanMode_Progressive;
        src = LyMemoryHost::CLyMemorySurface::Create(d);
        dst = LyMemoryHost::CLyMemorySurface::Create(d);
        source = src;
        destination = dst;
        const lybench::Frame random(src->ByteSize(), 1), video(dst->ByteSize(), 2);
        std::memcpy(src->Bits(), random.data, src->ByteSize());
        std::memcpy(dst->Bits(), video.data, dst->ByteSize());
        for (size_t i = 3; i < dst->ByteSize(); i += 4) dst->Bits()[i] = 255;
    }
    ~Surfaces() {
        src->Release();
        dst->Release();
    }
};

Surfaces& S() {
    static Surfaces surfaces;
    return surfaces;
}

void BM_MixColor(benchmark::State& state) {
    lybench::PoolForState(state);
    Surfaces& s = S();
    for (auto _ : state) {
        LyPixelUtils::MixColor(s.src->Bits(), s.src->Pitch(), s.dst->Bits(), s.dst->Pitch(), lybench::kWidth,
                               lybench::kHeight);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, size_t(lybench::kWidth) * lybench::kHeight * 4);
}

void BM_MixSurface(benchmark::State& state) {
    lybench::PoolForState(state);
    Surfaces& s = S();
    for (auto _ : state) {
        LySurfaceUtils::MixSurface(s.source, s.destination);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, size_t(lybench::kWidth) * lybench::kHeight * 4);
}

BENCHMARK(BM_MixColor)->Arg(1)->Arg(2)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MixSurface)->Arg(1)->Arg(2)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
BENCHMARK_MAIN();
