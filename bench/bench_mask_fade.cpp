// Fades and mask operations on 1920x1080 frames, one thread and pooled, next
// to a memcpy of the bytes each operation reads (its in-place buffer plus any
// mask or source), and next to libyuv where it has the same kind of work.

#include <cstring>

#include "LyPixelUtils.h"
#include "bench_support.h"

#ifdef LY_HAVE_LIBYUV
#include <libyuv/planar_functions.h>
#include <libyuv/scale.h>
#endif

namespace {

using lybench::Frame;
using lybench::kHeight;
using lybench::kWidth;

using lybench::kPixels;

// memcpy of `bytesPerPixel` bytes per pixel of the frame (no pool).
void BM_Memcpy(benchmark::State& state) {
    const size_t bytes = kPixels * static_cast<size_t>(state.range(0));
    Frame src(bytes, 1), dst(bytes, 2);
    for (auto _ : state) {
        std::memcpy(dst.data, src.data, bytes);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, bytes);
}
BENCHMARK(BM_Memcpy)->Arg(1)->Arg(2)->Arg(4)->Arg(5)->Unit(benchmark::kMicrosecond)->UseRealTime();

void BM_FadeImage(benchmark::State& state) {
    lybench::PoolForState(state);
    Frame image(kPixels * 4, 3);
    for (auto _ : state) {
        LyPixelUtils::FadeImage(image.data, kWidth * 4, kWidth, kHeight, 99.0f);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kPixels * 4);
}
BENCHMARK(BM_FadeImage)->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond)->UseRealTime();

void BM_Fade16bitAlpha(benchmark::State& state) {
    lybench::PoolForState(state);
    Frame plane(kPixels * 2, 4);
    for (auto _ : state) {
        LyPixelUtils::Fade16bitAlpha(plane.data, kWidth * 2, kWidth, kHeight, 99.0f);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kPixels * 2);
}
BENCHMARK(BM_Fade16bitAlpha)->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond)->UseRealTime();

void BM_GradientVerFadeImage(benchmark::State& state) {
    lybench::PoolForState(state);
    Frame image(kPixels * 4, 5);
    for (auto _ : state) {
        LyPixelUtils::GradientVerFadeImage(image.data, kWidth * 4, kWidth, kHeight, 0.0f, 0.09f);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kPixels * 4);
}
BENCHMARK(BM_GradientVerFadeImage)->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond)->UseRealTime();

void BM_GradientHorFadeImage(benchmark::State& state) {
    lybench::PoolForState(state);
    Frame image(kPixels * 4, 6);
    for (auto _ : state) {
        LyPixelUtils::GradientHorFadeImage(image.data, kWidth * 4, kWidth, kHeight, 0.0f, 0.05f);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kPixels * 4);
}
BENCHMARK(BM_GradientHorFadeImage)->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond)->UseRealTime();

// Random mask bytes: no run of 255 to skip, the slowest case.
void BM_MaskImage(benchmark::State& state) {
    lybench::PoolForState(state);
    Frame image(kPixels * 4, 7), mask(kPixels, 8);
    for (auto _ : state) {
        LyPixelUtils::MaskImage(image.data, kWidth * 4, mask.data, kWidth, kWidth, kHeight);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kPixels * 5);
}
BENCHMARK(BM_MaskImage)->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond)->UseRealTime();

void BM_Mask16bitAlpha(benchmark::State& state) {
    lybench::PoolForState(state);
    Frame plane(kPixels * 2, 9), mask(kPixels, 10);
    for (auto _ : state) {
        LyPixelUtils::Mask16bitAlpha(plane.data, kWidth * 2, mask.data, kWidth, kWidth, kHeight);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kPixels * 3);
}
BENCHMARK(BM_Mask16bitAlpha)->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond)->UseRealTime();

void BM_MaskOperator(benchmark::State& state) {
    lybench::PoolForState(state);
    Frame src(kPixels, 11), dst(kPixels, 12);
    for (auto _ : state) {
        LyPixelUtils::MaskOperator(src.data, kWidth, dst.data, kWidth, kWidth, kHeight, MaskOperator_Difference);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kPixels * 2);
}
BENCHMARK(BM_MaskOperator)->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond)->UseRealTime();

void BM_Invert8bitImage(benchmark::State& state) {
    lybench::PoolForState(state);
    Frame mask(kPixels, 13);
    for (auto _ : state) {
        LyPixelUtils::Invert8bitImage(mask.data, kWidth, kWidth, kHeight);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kPixels);
}
BENCHMARK(BM_Invert8bitImage)->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond)->UseRealTime();

void BM_Binary8bitImage(benchmark::State& state) {
    lybench::PoolForState(state);
    Frame mask(kPixels, 14);
    for (auto _ : state) {
        LyPixelUtils::Binary8bitImage(mask.data, kWidth, kWidth, kHeight, 200);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kPixels);
}
BENCHMARK(BM_Binary8bitImage)->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond)->UseRealTime();

void BM_Extract8BitMask(benchmark::State& state) {
    lybench::PoolForState(state);
    Frame a(kPixels, 15), b(kPixels, 16), d(kPixels, 17);
    for (auto _ : state) {
        LyPixelUtils::Extract8BitMask(a.data, kWidth, b.data, kWidth, d.data, kWidth, kWidth, kHeight);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kPixels * 2);
}
BENCHMARK(BM_Extract8BitMask)->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond)->UseRealTime();

void BM_Mask32bitTo8bit(benchmark::State& state) {
    lybench::PoolForState(state);
    Frame image(kPixels * 4, 18), mask(kPixels, 19);
    for (auto _ : state) {
        LyPixelUtils::Mask32bitTo8bit(image.data, kWidth * 4, mask.data, kWidth, kWidth, kHeight);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kPixels * 4);
}
BENCHMARK(BM_Mask32bitTo8bit)->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond)->UseRealTime();

void BM_MaskDownScale2X(benchmark::State& state) {
    lybench::PoolForState(state);
    Frame src(kPixels, 20), dst(kPixels / 4, 21);
    for (auto _ : state) {
        LyPixelUtils::MaskDownScale2X(src.data, kWidth, dst.data, kWidth / 2, kWidth, kHeight);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kPixels);
}
BENCHMARK(BM_MaskDownScale2X)->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond)->UseRealTime();

#ifdef LY_HAVE_LIBYUV
// libyuv runs on the calling thread only.
void BM_Libyuv_ARGBExtractAlpha(benchmark::State& state) {
    Frame image(kPixels * 4, 18), mask(kPixels, 19);
    for (auto _ : state) {
        libyuv::ARGBExtractAlpha(image.data, kWidth * 4, mask.data, kWidth, kWidth, kHeight);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kPixels * 4);
}
BENCHMARK(BM_Libyuv_ARGBExtractAlpha)->Unit(benchmark::kMicrosecond);

void BM_Libyuv_ScalePlaneBoxHalf(benchmark::State& state) {
    Frame src(kPixels, 20), dst(kPixels / 4, 21);
    for (auto _ : state) {
        libyuv::ScalePlane(src.data, kWidth, kWidth, kHeight, dst.data, kWidth / 2, kWidth / 2, kHeight / 2,
                           libyuv::kFilterBox);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kPixels);
}
BENCHMARK(BM_Libyuv_ScalePlaneBoxHalf)->Unit(benchmark::kMicrosecond);
#endif

}  // namespace

BENCHMARK_MAIN();
