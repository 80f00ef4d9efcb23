// Packed converters and fills on 1920x1080 frames, against memcpy / memset of
// the same bytes and, where it has the same operation, libyuv.

#include "LyAVUtils.h"
#include "bench_support.h"
#include "memory/LyCpu.h"

#ifdef LY_HAVE_LIBYUV
#include <libyuv/convert_argb.h>
#include <libyuv/convert_from_argb.h>
#endif

namespace {

using lybench::Frame;
using lybench::kHeight;
using lybench::kWidth;

using lybench::kPixels;

// Range 0: pool size. Range 1 (when present): instruction-set cap.
class IsaCap : public lybench::ScopedIsaCap {
public:
    explicit IsaCap(const benchmark::State& state) : ScopedIsaCap(state.range(1) == 1 ? 1 : 2) {}
};

void PoolAndIsaArgs(benchmark::internal::Benchmark* b) {
    b->ArgNames({"pool", "sse2"});
    for (int pool : {1, 2})
        for (int sse2 : {0, 1}) b->Args({pool, sse2});
    b->Unit(benchmark::kMillisecond);
}

void PoolArgs(benchmark::internal::Benchmark* b) {
    b->ArgNames({"pool"});
    b->Arg(1)->Arg(2);
    b->Unit(benchmark::kMillisecond);
}

// ------------------------------------------------------------ baselines

void BM_Memcpy(benchmark::State& state) {
    const size_t bytes = static_cast<size_t>(state.range(0));
    Frame src(bytes), dst(bytes, 2);
    for (auto _ : state) {
        std::memcpy(dst.data, src.data, bytes);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, bytes);
}
BENCHMARK(BM_Memcpy)->ArgName("bytes")->Arg(kPixels * 4)->Arg(kPixels * 2)->Unit(benchmark::kMillisecond);

void BM_Memset(benchmark::State& state) {
    const size_t bytes = static_cast<size_t>(state.range(0));
    Frame dst(bytes);
    for (auto _ : state) {
        std::memset(dst.data, 0x5A, bytes);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, bytes);
}
BENCHMARK(BM_Memset)->ArgName("bytes")->Arg(kPixels * 4)->Arg(kPixels * 2)->Unit(benchmark::kMillisecond);

// ------------------------------------------------------------ converters

void BM_BGRA4444ToUYVY422(benchmark::State& state) {
    lybench::PoolForState(state);
    IsaCap cap(state);
    Frame src(kPixels * 4), dst(kPixels * 2);
    for (auto _ : state)
        LyFormatUtils::BGRA4444ToUYVY422(src.data, kWidth * 4, dst.data, kWidth * 2, 8, Colorimetry_BT709, kWidth,
                                         kHeight);
    lybench::SetFrameBytes(state, kPixels * 4);
}
BENCHMARK(BM_BGRA4444ToUYVY422)->Apply(PoolAndIsaArgs);

void BM_BGRA4444ToUYVY422_16bit(benchmark::State& state) {
    lybench::PoolForState(state);
    Frame src(kPixels * 4), dst(kPixels * 4);
    for (auto _ : state)
        LyFormatUtils::BGRA4444ToUYVY422(src.data, kWidth * 4, dst.data, kWidth * 4, 16, Colorimetry_BT709, kWidth,
                                         kHeight);
    lybench::SetFrameBytes(state, kPixels * 4);
}
BENCHMARK(BM_BGRA4444ToUYVY422_16bit)->Apply(PoolArgs);

void BM_UYVY422ToBGRA4444(benchmark::State& state) {
    lybench::PoolForState(state);
    IsaCap cap(state);
    Frame src(kPixels * 2), dst(kPixels * 4);
    for (auto _ : state)
        LyFormatUtils::UYVY422ToBGRA4444(src.data, kWidth * 2, 8, Colorimetry_BT709, dst.data, kWidth * 4, kWidth,
                                         kHeight);
    lybench::SetFrameBytes(state, kPixels * 4);
}
BENCHMARK(BM_UYVY422ToBGRA4444)->Apply(PoolAndIsaArgs);

void BM_UYVY422ToBGRA4444_16bit(benchmark::State& state) {
    lybench::PoolForState(state);
    Frame src(kPixels * 4), dst(kPixels * 4);
    for (auto _ : state)
        LyFormatUtils::UYVY422ToBGRA4444(src.data, kWidth * 4, 16, Colorimetry_BT709, dst.data, kWidth * 4, kWidth,
                                         kHeight);
    lybench::SetFrameBytes(state, kPixels * 4);
}
BENCHMARK(BM_UYVY422ToBGRA4444_16bit)->Apply(PoolArgs);

void BM_BGRA4444ToVUYA4444(benchmark::State& state) {
    lybench::PoolForState(state);
    IsaCap cap(state);
    Frame src(kPixels * 4), dst(kPixels * 4);
    for (auto _ : state)
        LyFormatUtils::BGRA4444ToVUYA4444(src.data, kWidth * 4, dst.data, kWidth * 4, 8, Colorimetry_BT709, kWidth,
                                          kHeight);
    lybench::SetFrameBytes(state, kPixels * 4);
}
BENCHMARK(BM_BGRA4444ToVUYA4444)->Apply(PoolAndIsaArgs);

void BM_VUYA4444ToBGRA4444(benchmark::State& state) {
    lybench::PoolForState(state);
    IsaCap cap(state);
    Frame src(kPixels * 4), dst(kPixels * 4);
    for (auto _ : state)
        LyFormatUtils::VUYA4444ToBGRA4444(src.data, kWidth * 4, dst.data, kWidth * 4, 8, Colorimetry_BT709, kWidth,
                                          kHeight);
    lybench::SetFrameBytes(state, kPixels * 4);
}
BENCHMARK(BM_VUYA4444ToBGRA4444)->Apply(PoolAndIsaArgs);

void BM_UYVY422ToVUYA4444(benchmark::State& state) {
    lybench::PoolForState(state);
    Frame src(kPixels * 2), dst(kPixels * 4);
    for (auto _ : state)
        LyFormatUtils::UYVY422ToVUYA4444(src.data, kWidth * 2, 8, dst.data, kWidth * 4, kWidth, kHeight, 255);
    lybench::SetFrameBytes(state, kPixels * 4);
}
BENCHMARK(BM_UYVY422ToVUYA4444)->Apply(PoolArgs);

void BM_VUYA4444ToUYVY422(benchmark::State& state) {
    lybench::PoolForState(state);
    Frame src(kPixels * 4), dst(kPixels * 2);
    for (auto _ : state) LyFormatUtils::VUYA4444ToUYVY422(src.data, kWidth * 4, dst.data, kWidth * 2, 8, kWidth, kHeight);
    lybench::SetFrameBytes(state, kPixels * 4);
}
BENCHMARK(BM_VUYA4444ToUYVY422)->Apply(PoolArgs);

void BM_BGRA4444ToYUYVA422(benchmark::State& state) {
    lybench::PoolForState(state);
    Frame src(kPixels * 4), dst(kPixels * 4);
    for (auto _ : state)
        LyFormatUtils::BGRA4444ToYUYVA422(src.data, kWidth * 4, dst.data, kWidth * 2, dst.data + kPixels * 2,
                                          kWidth * 2, 8, Colorimetry_BT709, kWidth, kHeight);
    lybench::SetFrameBytes(state, kPixels * 4);
}
BENCHMARK(BM_BGRA4444ToYUYVA422)->Apply(PoolArgs);

#ifdef LY_HAVE_LIBYUV
void BM_libyuv_ARGBToUYVY(benchmark::State& state) {
    Frame src(kPixels * 4), dst(kPixels * 2);
    for (auto _ : state) libyuv::ARGBToUYVY(src.data, kWidth * 4, dst.data, kWidth * 2, kWidth, kHeight);
    lybench::SetFrameBytes(state, kPixels * 4);
}
BENCHMARK(BM_libyuv_ARGBToUYVY)->Unit(benchmark::kMillisecond);

void BM_libyuv_UYVYToARGB(benchmark::State& state) {
    Frame src(kPixels * 2), dst(kPixels * 4);
    for (auto _ : state) libyuv::UYVYToARGB(src.data, kWidth * 2, dst.data, kWidth * 4, kWidth, kHeight);
    lybench::SetFrameBytes(state, kPixels * 4);
}
BENCHMARK(BM_libyuv_UYVYToARGB)->Unit(benchmark::kMillisecond);
#endif

// ------------------------------------------------------------ fills (calling thread only)

void BM_FillBlockColor_BGRA(benchmark::State& state) {
    Frame dst(kPixels * 4);
    for (auto _ : state) {
        LyPixelUtils::FillBlockColor(dst.data, kWidth * 4, kWidth, kHeight, PixelFormat_BGRA4444, 8,
                                     Colorimetry_BT709, 0xFF102030u);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kPixels * 4);
}
BENCHMARK(BM_FillBlockColor_BGRA)->Unit(benchmark::kMillisecond);

void BM_FillFixedColor_UYVY(benchmark::State& state) {
    Frame dst(kPixels * 2);
    for (auto _ : state) {
        LyPixelUtils::FillFixedColor(dst.data, kWidth * 2, kWidth, kHeight, PixelFormat_UYVY422, 8, Colorimetry_BT709,
                                     FixedColor_Blue, 255);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kPixels * 2);
}
BENCHMARK(BM_FillFixedColor_UYVY)->Unit(benchmark::kMillisecond);

void BM_FillFixedColor_YUYVA(benchmark::State& state) {
    Frame dst(kPixels * 4);  // packed image and alpha plane: compare with memset of 8 MB
    for (auto _ : state) {
        LyPixelUtils::FillFixedColor(dst.data, kWidth * 2, kWidth, kHeight, PixelFormat_YUYVA422, 8,
                                     Colorimetry_BT709, FixedColor_Red, 200);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kPixels * 4);
}
BENCHMARK(BM_FillFixedColor_YUYVA)->Unit(benchmark::kMillisecond);

void BM_FillGridColor(benchmark::State& state) {
    Frame dst(kPixels * 4);
    const int cell = static_cast<int>(state.range(0));
    for (auto _ : state) {
        LyPixelUtils::FillGridColor(dst.data, kWidth * 4, kWidth, kHeight, 0xFF000000u, 0xFFFFFFFFu, {cell, cell});
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kPixels * 4);
}
BENCHMARK(BM_FillGridColor)->ArgName("cell")->Arg(1)->Arg(16)->Unit(benchmark::kMillisecond);

void BM_FillColorBar(benchmark::State& state) {
    Frame dst(kPixels * 4);
    for (auto _ : state) {
        LyPixelUtils::FillColorBar(dst.data, kWidth * 4, kWidth, kHeight, PixelFormat_VUYA4444, 8, Colorimetry_BT709,
                                   0);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kPixels * 4);
}
BENCHMARK(BM_FillColorBar)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
