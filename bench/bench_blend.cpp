// Blend modes, float accumulation and cross-format mixing on 1920x1080 frames,
// at pool size 1 and 2 (last range argument), against memcpy of as many bytes
// as the operation touches and, where it has the same operation, libyuv.

#include <cstring>

#include "LyPixelUtils.h"
#include "bench_support.h"

#ifdef LY_HAVE_LIBYUV
#include <libyuv.h>
#endif

namespace {

using lybench::kHeight;
using lybench::kWidth;

constexpr size_t kFrame32 = size_t(kWidth) * kHeight * 4;
constexpr size_t kFrame422 = size_t(kWidth) * kHeight * 2;

// memcpy moving `bytes` bytes in total (half read, half written).
void BM_Memcpy(benchmark::State& state) {
    const size_t half = static_cast<size_t>(state.range(0)) / 2;
    lybench::Frame a(half), b(half);
    for (auto _ : state) {
        std::memcpy(b.data, a.data, half);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, half * 2);
}
// Blend: two frames read, one written. Float: one frame and the floats read,
// the floats written. Mix into VUYA: overlay read, destination read and written.
BENCHMARK(BM_Memcpy)->Name("memcpy/blend_bytes")->Arg(3 * kFrame32)->UseRealTime();
BENCHMARK(BM_Memcpy)->Name("memcpy/mix_vuya_bytes")->Arg(3 * kFrame32)->UseRealTime();
BENCHMARK(BM_Memcpy)->Name("memcpy/mix_uyvy_bytes")->Arg(kFrame32 + 2 * kFrame422)->UseRealTime();

void BM_BlendingImages(benchmark::State& state) {
    lybench::PoolForState(state, 1);
    const auto mode = static_cast<ELyBlendingMode>(state.range(0));
    lybench::Frame a(kFrame32, 1), b(kFrame32, 2), out(kFrame32, 3);
    for (auto _ : state) {
        LyPixelUtils::BlendingImages(a.data, kWidth * 4, b.data, kWidth * 4, out.data, kWidth * 4,
                                     PixelFormat_BGRA4444, 8, 0.37, kWidth, mode == 3 ? kHeight - 1 : kHeight, mode);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, 3 * kFrame32);
}
BENCHMARK(BM_BlendingImages)->ArgNames({"mode", "threads"})->ArgsProduct({{0, 1, 2, 3}, {1, 2}})->UseRealTime();

void BM_BlendingImagesUyvy16(benchmark::State& state) {
    lybench::PoolForState(state, 0);
    lybench::Frame a(kFrame32, 1), b(kFrame32, 2), out(kFrame32, 3);
    for (auto _ : state) {
        LyPixelUtils::BlendingImages(a.data, kWidth * 4, b.data, kWidth * 4, out.data, kWidth * 4, PixelFormat_UYVY422,
                                     16, 0.37, kWidth, kHeight, BlendingMode_Mix);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, 3 * kFrame32);
}
BENCHMARK(BM_BlendingImagesUyvy16)->ArgName("threads")->Arg(1)->Arg(2)->UseRealTime();

#ifdef LY_HAVE_LIBYUV
// The same weighted mix of two BGRA frames (libyuv's weight is 8-bit).
void BM_LibyuvARGBInterpolate(benchmark::State& state) {
    lybench::Frame a(kFrame32, 1), b(kFrame32, 2), out(kFrame32, 3);
    for (auto _ : state) {
        libyuv::ARGBInterpolate(a.data, kWidth * 4, b.data, kWidth * 4, out.data, kWidth * 4, kWidth, kHeight, 95);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, 3 * kFrame32);
}
BENCHMARK(BM_LibyuvARGBInterpolate)->UseRealTime();
#endif

void BM_AccumulateFloat(benchmark::State& state) {
    lybench::PoolForState(state, 1);
    const auto mode = static_cast<ELyBlendingMode>(state.range(0));
    lybench::Frame img(kFrame32, 1);
    std::vector<float> acc(kFrame32, 0.0f);
    for (auto _ : state) {
        LyPixelUtils::BlendingImages(img.data, kWidth * 4, PixelFormat_BGRA4444, 8, acc.data(), kWidth * 4, 0.25f,
                                     kWidth, kHeight - 1, mode);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kFrame32 * 9);
}
BENCHMARK(BM_AccumulateFloat)->ArgNames({"mode", "threads"})->ArgsProduct({{0, 2}, {1, 2}})->UseRealTime();

void BM_ConvertFloatImage(benchmark::State& state) {
    lybench::PoolForState(state, 0);
    std::vector<float> acc(kFrame32);
    for (size_t i = 0; i < acc.size(); ++i) acc[i] = float(i % 300) - 20.5f;
    lybench::Frame out(kFrame32);
    for (auto _ : state) {
        LyPixelUtils::ConvertFloatImage(acc.data(), kWidth * 4, out.data, kWidth * 4, PixelFormat_BGRA4444, 8, kWidth,
                                        kHeight);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kFrame32 * 5);
}
BENCHMARK(BM_ConvertFloatImage)->ArgName("threads")->Arg(1)->Arg(2)->UseRealTime();

// Overlays: 0 random pixels (every pair converted and mixed), 1 a title-like
// frame (mostly transparent, opaque text blocks with soft edges).
void MakeOverlay(lybench::Frame& f, int kind) {
    if (kind == 0) return;
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x) {
            unsigned char* p = f.data + (size_t(y) * kWidth + x) * 4;
            const bool text = (y / 60) % 4 == 1 && (x / 24) % 3 != 0;
            const bool edge = text && (x % 24 == 0 || x % 24 == 23);
            const uint32_t px = !text ? 0u : (edge ? 0x80F0E0D0u : 0xFFF0E0D0u);
            std::memcpy(p, &px, 4);
        }
}

void BM_MixBGRA4444WithVUYA4444(benchmark::State& state) {
    lybench::PoolForState(state, 1);
    lybench::Frame overlay(kFrame32, 1), dst(kFrame32, 2);
    MakeOverlay(overlay, static_cast<int>(state.range(0)));
    for (auto _ : state) {
        LyPixelUtils::MixBGRA4444WithVUYA4444(overlay.data, kWidth * 4, dst.data, kWidth * 4, Colorimetry_BT709, 1,
                                              kWidth, kHeight);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, 3 * kFrame32);
}
BENCHMARK(BM_MixBGRA4444WithVUYA4444)->ArgNames({"title", "threads"})->ArgsProduct({{0, 1}, {1, 2}})->UseRealTime();

void BM_MixBGRA4444WithUYVY422(benchmark::State& state) {
    lybench::PoolForState(state, 1);
    lybench::Frame overlay(kFrame32, 1), dst(kFrame422, 2);
    MakeOverlay(overlay, static_cast<int>(state.range(0)));
    for (auto _ : state) {
        LyPixelUtils::MixBGRA4444WithUYVY422(overlay.data, kWidth * 4, dst.data, kWidth * 2, 8, Colorimetry_BT709, 1,
                                             kWidth, kHeight);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, kFrame32 + 2 * kFrame422);
}
BENCHMARK(BM_MixBGRA4444WithUYVY422)->ArgNames({"title", "threads"})->ArgsProduct({{0, 1}, {1, 2}})->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
