// Planar <-> UYVY converters on 1920x1080 frames against libyuv's converters
// of the same formats, and one-row sub-pixel shifts against memcpy of the row.

#include <cstring>

#include "LyAVUtils.h"
#include "bench_support.h"

#ifdef LY_HAVE_LIBYUV
#include <libyuv/convert.h>
#include <libyuv/convert_from.h>
#include <libyuv/planar_functions.h>
#endif

namespace {

using lybench::Frame;
using lybench::kHeight;
using lybench::kWidth;

using lybench::kPixels;

// Range 0: pool size; range 1: chroma mode.
void PoolModeArgs(benchmark::internal::Benchmark* b) {
    b->ArgNames({"pool", "filtered"});
    for (int pool : {1, 2})
        for (int mode : {0, 1}) b->Args({pool, mode});
    b->Unit(benchmark::kMicrosecond);
}

int ChromaRows(ELyPixelFormat f) { return f == PixelFormat_YUV420Planar ? kHeight / 2 : kHeight; }

template <ELyPixelFormat F>
void BM_PlanarToUyvy(benchmark::State& state) {
    lybench::PoolForState(state);
    const ELyChromaMode mode = static_cast<ELyChromaMode>(state.range(1));
    Frame y(kPixels), u(kWidth / 2 * ChromaRows(F)), v(kWidth / 2 * ChromaRows(F), 3), dst(kPixels * 2, 4);
    for (auto _ : state) {
        LyFormatUtils::YUVPlanerToUYVY422(y.data, kWidth, u.data, kWidth / 2, v.data, kWidth / 2, dst.data,
                                          kWidth * 2, kWidth, kHeight, F, mode);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kPixels * 2);
}
BENCHMARK(BM_PlanarToUyvy<PixelFormat_YUV422Planar>)->Apply(PoolModeArgs);
BENCHMARK(BM_PlanarToUyvy<PixelFormat_YUV420Planar>)->Apply(PoolModeArgs);
BENCHMARK(BM_PlanarToUyvy<PixelFormat_YUV411Planar>)->Apply(PoolModeArgs);

template <ELyPixelFormat F>
void BM_UyvyToPlanar(benchmark::State& state) {
    lybench::PoolForState(state);
    const ELyChromaMode mode = static_cast<ELyChromaMode>(state.range(1));
    Frame src(kPixels * 2), y(kPixels, 2), u(kWidth / 2 * ChromaRows(F), 3), v(kWidth / 2 * ChromaRows(F), 4);
    for (auto _ : state) {
        LyFormatUtils::UYVY422ToYUVPlaner(src.data, kWidth * 2, y.data, kWidth, u.data, kWidth / 2, v.data,
                                          kWidth / 2, kWidth, kHeight, F, mode);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kPixels * 2);
}
BENCHMARK(BM_UyvyToPlanar<PixelFormat_YUV422Planar>)->Apply(PoolModeArgs);
BENCHMARK(BM_UyvyToPlanar<PixelFormat_YUV420Planar>)->Apply(PoolModeArgs);
BENCHMARK(BM_UyvyToPlanar<PixelFormat_YUV411Planar>)->Apply(PoolModeArgs);

#ifdef LY_HAVE_LIBYUV
// libyuv runs on the calling thread only.
void BM_libyuv_I422ToUYVY(benchmark::State& state) {
    Frame y(kPixels), u(kPixels / 2), v(kPixels / 2, 3), dst(kPixels * 2, 4);
    for (auto _ : state) {
        libyuv::I422ToUYVY(y.data, kWidth, u.data, kWidth / 2, v.data, kWidth / 2, dst.data, kWidth * 2, kWidth,
                           kHeight);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kPixels * 2);
}
BENCHMARK(BM_libyuv_I422ToUYVY)->Unit(benchmark::kMicrosecond);

void BM_libyuv_I420ToUYVY(benchmark::State& state) {
    Frame y(kPixels), u(kPixels / 4), v(kPixels / 4, 3), dst(kPixels * 2, 4);
    for (auto _ : state) {
        libyuv::I420ToUYVY(y.data, kWidth, u.data, kWidth / 2, v.data, kWidth / 2, dst.data, kWidth * 2, kWidth,
                           kHeight);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kPixels * 2);
}
BENCHMARK(BM_libyuv_I420ToUYVY)->Unit(benchmark::kMicrosecond);

void BM_libyuv_UYVYToI422(benchmark::State& state) {
    Frame src(kPixels * 2), y(kPixels, 2), u(kPixels / 2, 3), v(kPixels / 2, 4);
    for (auto _ : state) {
        libyuv::UYVYToI422(src.data, kWidth * 2, y.data, kWidth, u.data, kWidth / 2, v.data, kWidth / 2, kWidth,
                           kHeight);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kPixels * 2);
}
BENCHMARK(BM_libyuv_UYVYToI422)->Unit(benchmark::kMicrosecond);

void BM_libyuv_UYVYToI420(benchmark::State& state) {
    Frame src(kPixels * 2), y(kPixels, 2), u(kPixels / 4, 3), v(kPixels / 4, 4);
    for (auto _ : state) {
        libyuv::UYVYToI420(src.data, kWidth * 2, y.data, kWidth, u.data, kWidth / 2, v.data, kWidth / 2, kWidth,
                           kHeight);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kPixels * 2);
}
BENCHMARK(BM_libyuv_UYVYToI420)->Unit(benchmark::kMicrosecond);
#endif

// ------------------------------------------------------------ one-row sub-pixel shifts

constexpr size_t kRowBytes = static_cast<size_t>(kWidth) * 4;

void BM_MemcpyRow(benchmark::State& state) {
    Frame src(kRowBytes + 4), dst(kRowBytes, 2);
    for (auto _ : state) {
        std::memcpy(dst.data, src.data, kRowBytes);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kRowBytes);
}
BENCHMARK(BM_MemcpyRow);

// Range 0: 0 = an opaque row, 1 = random alpha everywhere (every block takes
// the alpha-share division).
void BM_SubPixelXRow(benchmark::State& state) {
    Frame src(kRowBytes + 4), dst(kRowBytes, 2);
    if (state.range(0) == 0)
        for (size_t i = 3; i < kRowBytes + 4; i += 4) src.data[i] = 255;
    for (auto _ : state) {
        LyPixelUtils::DoSubPixel_X_OneLine(src.data, dst.data, kWidth, 45);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kRowBytes);
}
BENCHMARK(BM_SubPixelXRow)->ArgName("mixedAlpha")->Arg(0)->Arg(1);

void BM_SubPixelYAlphaRow(benchmark::State& state) {
    Frame src(kWidth * 4), dst(kWidth * 2, 2);
    for (auto _ : state) {
        LyPixelUtils::DoSubPixel_Y_TwoLine_16Alpha(src.data, kWidth * 2, dst.data, kWidth * 2, kWidth, 1, 45);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kWidth * 2);
}
BENCHMARK(BM_SubPixelYAlphaRow);

// A whole frame rolled by a fraction of a row, against memcpy of the frame.
void BM_SubPixelYFrame(benchmark::State& state) {
    lybench::PoolForState(state);
    Frame src(kPixels * 4 + kRowBytes), dst(kPixels * 4, 2);
    for (auto _ : state) {
        LyPixelUtils::DoSubPixel_Y_TwoLine_Image(src.data, static_cast<int>(kRowBytes), dst.data,
                                                 static_cast<int>(kRowBytes), kWidth, kHeight, 45);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kPixels * 4);
}
BENCHMARK(BM_SubPixelYFrame)->ArgName("pool")->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond);

void BM_MemcpyFrame(benchmark::State& state) {
    Frame src(kPixels * 4), dst(kPixels * 4, 2);
    for (auto _ : state) {
        std::memcpy(dst.data, src.data, kPixels * 4);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kPixels * 4);
}
BENCHMARK(BM_MemcpyFrame)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
