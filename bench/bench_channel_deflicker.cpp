// Channel extraction, bit-depth conversion, deflicker and wipe on 1920x1080
// frames, against memcpy of comparable bytes and libyuv's nearest operations.
// Arguments: pool size (1 or 2), then the instruction-set cap (1 SSE2, 2 AVX2).
// Times are wall-clock, since pooled runs work on other threads.

#include <cstring>

#include "LyPixelUtils.h"
#include "bench_support.h"
#include "memory/LyCpu.h"

#ifdef LY_HAVE_LIBYUV
#include <libyuv/convert_argb.h>
#include <libyuv/convert_from_argb.h>
#include <libyuv/planar_functions.h>
#endif

namespace {

using lybench::Frame;
using lybench::kHeight;
using lybench::kWidth;

using lybench::kPixels;
constexpr int kPitch32 = 4 * kWidth;

class IsaCap : public lybench::ScopedIsaCap {
public:
    explicit IsaCap(const benchmark::State& state) : ScopedIsaCap(state.range(1)) {}
};

void PoolAndIsa(benchmark::internal::Benchmark* b) {
    b->ArgNames({"pool", "isa"});
    for (int pool : {1, 2})
        for (int isa : {1, 2}) b->Args({pool, isa});
    b->Unit(benchmark::kMicrosecond)->UseRealTime();
}

// ------------------------------------------------------------ memcpy references

void BM_Memcpy(benchmark::State& state) {
    const auto bytes = static_cast<size_t>(state.range(0));
    Frame src(bytes), dst(bytes, 2);
    for (auto _ : state) {
        std::memcpy(dst.data, src.data, bytes);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, 2 * bytes);
}
// A whole 32-bit frame; an 8-bit frame; and 5 bytes per pixel, which moves as
// many bytes as reading a 32-bit frame and writing an 8-bit one.
BENCHMARK(BM_Memcpy)
    ->Arg(4 * kPixels)
    ->Arg(kPixels)
    ->Arg(5 * kPixels / 2)
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();

// ------------------------------------------------------------ channels

void BM_Get32bitImage8bitAlpha(benchmark::State& state) {
    lybench::PoolForState(state);
    IsaCap cap(state);
    Frame src(4 * kPixels), dst(kPixels, 2);
    for (auto _ : state) {
        LyPixelUtils::Get32bitImage8bitAlpha(src.data, kPitch32, dst.data, kWidth, kWidth, kHeight);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, 5 * kPixels);
}
BENCHMARK(BM_Get32bitImage8bitAlpha)->Apply(PoolAndIsa);

void BM_Convert32bitTo8bitImage(benchmark::State& state) {
    lybench::PoolForState(state);
    IsaCap cap(state);
    Frame src(4 * kPixels), dst(kPixels, 2);
    for (auto _ : state) {
        LyPixelUtils::Convert32bitTo8bitImage(src.data, kPitch32, dst.data, kWidth, kWidth, kHeight);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, 5 * kPixels);
}
BENCHMARK(BM_Convert32bitTo8bitImage)->Apply(PoolAndIsa);

void BM_Convert8bitTo32bitImage(benchmark::State& state) {
    lybench::PoolForState(state);
    IsaCap cap(state);
    Frame src(kPixels), dst(4 * kPixels, 2);
    for (auto _ : state) {
        LyPixelUtils::Convert8bitTo32bitImage(src.data, kWidth, dst.data, kPitch32, kWidth, kHeight);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, 5 * kPixels);
}
BENCHMARK(BM_Convert8bitTo32bitImage)->Apply(PoolAndIsa);

void BM_Convert32bitToGrayImage(benchmark::State& state) {
    lybench::PoolForState(state);
    IsaCap cap(state);
    Frame image(4 * kPixels);
    for (auto _ : state) {
        LyPixelUtils::Convert32bitToGrayImage(image.data, kPitch32, kWidth, kHeight);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, 8 * kPixels);
}
BENCHMARK(BM_Convert32bitToGrayImage)->Apply(PoolAndIsa);

// ------------------------------------------------------------ deflicker

void BM_DefickerImage(benchmark::State& state) {
    lybench::PoolForState(state);
    IsaCap cap(state);
    const auto quality = static_cast<ELyDeflickerQuality>(state.range(2));
    Frame src(4 * kPixels), dst(4 * kPixels, 2);
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            LyPixelUtils::DefickerImage(src.data, kPitch32, dst.data, kPitch32, kWidth, kHeight, quality));
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, 8 * kPixels);
}
BENCHMARK(BM_DefickerImage)
    ->ArgNames({"pool", "isa", "quality"})
    ->ArgsProduct({{1, 2}, {1, 2}, {1, 2, 3}})
    ->Unit(benchmark::kMicrosecond)->UseRealTime();

// ------------------------------------------------------------ wipe

// Pattern kind: 0 none (straight edge), 1 a smooth diagonal ramp, 2 noise.
void BM_WipePatternImage(benchmark::State& state) {
    lybench::PoolForState(state);
    IsaCap cap(state);
    const int kind = static_cast<int>(state.range(2));
    Frame a(4 * kPixels, 1), b(4 * kPixels, 2), pattern(4 * kPixels, 3), dst(4 * kPixels, 4);
    if (kind == 1) {
        for (int y = 0; y < kHeight; ++y)
            for (int x = 0; x < kWidth; ++x)
                pattern.data[4 * (static_cast<size_t>(y) * kWidth + x)] =
                    static_cast<unsigned char>((x + y) * 255 / (kWidth + kHeight));
    }
    const unsigned char* p = kind == 0 ? nullptr : pattern.data;
    for (auto _ : state) {
        LyPixelUtils::WipePatternImage(a.data, kPitch32, b.data, kPitch32, p, kPitch32, dst.data, kPitch32, kWidth,
                                       kHeight, 128);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, (kind == 0 ? 8 : 12) * kPixels);
}
BENCHMARK(BM_WipePatternImage)
    ->ArgNames({"pool", "isa", "pattern"})
    ->ArgsProduct({{1, 2}, {1, 2}, {0, 1, 2}})
    ->Unit(benchmark::kMicrosecond)->UseRealTime();

// ------------------------------------------------------------ libyuv (single thread)

#ifdef LY_HAVE_LIBYUV

void BM_LibyuvARGBGray(benchmark::State& state) {
    Frame image(4 * kPixels);
    for (auto _ : state) {
        libyuv::ARGBGray(image.data, kPitch32, 0, 0, kWidth, kHeight);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, 8 * kPixels);
}
BENCHMARK(BM_LibyuvARGBGray)->Unit(benchmark::kMicrosecond)->UseRealTime();

void BM_LibyuvARGBExtractAlpha(benchmark::State& state) {
    Frame src(4 * kPixels), dst(kPixels, 2);
    for (auto _ : state) {
        libyuv::ARGBExtractAlpha(src.data, kPitch32, dst.data, kWidth, kWidth, kHeight);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, 5 * kPixels);
}
BENCHMARK(BM_LibyuvARGBExtractAlpha)->Unit(benchmark::kMicrosecond)->UseRealTime();

void BM_LibyuvARGBToJ400(benchmark::State& state) {
    Frame src(4 * kPixels), dst(kPixels, 2);
    for (auto _ : state) {
        libyuv::ARGBToJ400(src.data, kPitch32, dst.data, kWidth, kWidth, kHeight);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, 5 * kPixels);
}
BENCHMARK(BM_LibyuvARGBToJ400)->Unit(benchmark::kMicrosecond)->UseRealTime();

void BM_LibyuvJ400ToARGB(benchmark::State& state) {
    Frame src(kPixels), dst(4 * kPixels, 2);
    for (auto _ : state) {
        libyuv::J400ToARGB(src.data, kWidth, dst.data, kPitch32, kWidth, kHeight);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, 5 * kPixels);
}
BENCHMARK(BM_LibyuvJ400ToARGB)->Unit(benchmark::kMicrosecond)->UseRealTime();

#endif

}  // namespace

BENCHMARK_MAIN();
