// Alpha mixing and opacity flattening on 1920x1080 BGRA frames, one thread
// (last argument 1) and pooled (2), against a copy of one frame and, for the
// over operator, libyuv's ARGBBlend.
//
// Scenes (first argument): 0 random bytes over random bytes (every pixel takes
// the full arithmetic); 1 a title layer over opaque video (transparent except
// for a lower-third strap: a translucent box with opaque text whose glyph
// edges are antialiased), the case the skip, copy and opaque-background paths
// are for; 2 random bytes over opaque video. The single-image operations use
// the scene's source only.
//
// Operations that change what they read next time start every iteration
// from a fresh copy made outside the timing: the in-place flattening (which
// leaves everything opaque) and the over operator on a random background
// (which drives its alpha up). Over opaque video the over operator keeps the
// background opaque, so there it runs on without the copy.

#include <algorithm>
#include <cstring>

#include "LyPixelUtils.h"
#include "bench_support.h"
#include "threading/LyBandFrame.h"

#ifdef LY_HAVE_LIBYUV
#include <libyuv/planar_functions.h>
#endif

namespace {

constexpr int kPitch = lybench::kWidth * 4;
constexpr size_t kFrameBytes = static_cast<size_t>(kPitch) * lybench::kHeight;

// A lower third: rows 830..1009 hold a box of alpha 160 with rows of 40-pixel
// glyph cells; each glyph is an opaque block with a 2-pixel antialiased rim.
void MakeTitleLayer(unsigned char* p) {
    std::mt19937 rng(7);
    std::memset(p, 0, kFrameBytes);
    for (int y = 0; y < lybench::kHeight; ++y)
        for (int x = 0; x < lybench::kWidth; ++x) {
            unsigned char* px = p + static_cast<size_t>(y) * kPitch + 4 * x;
            px[0] = static_cast<unsigned char>(rng());
            px[1] = static_cast<unsigned char>(rng());
            px[2] = static_cast<unsigned char>(rng());
            if (y < 830 || y >= 1010 || x < 80 || x >= 1840) continue;
            px[0] = 40;
            px[1] = 20;
            px[2] = 10;
            px[3] = 160;
            const int line = (y - 850) / 60, cy = (y - 850) % 60;
            const int cell = (x - 100) / 40, cx = (x - 100) % 40;
            if (y < 850 || line > 1 || x < 100 || cy >= 44 || cx >= 30) continue;
            if ((cell * 7 + line * 3) % 5 == 0) continue;  // a space
            const int rim = std::min({cx, 29 - cx, cy, 43 - cy});
            if (rim > 1) {
                px[0] = px[1] = px[2] = px[3] = 255;
            } else {
                px[0] = px[1] = px[2] = 235;
                px[3] = static_cast<unsigned char>(rim == 0 ? 96 : 200);
            }
        }
}

struct Frames {
    lybench::Frame random{kFrameBytes, 1};
    lybench::Frame title{kFrameBytes, 2};
    lybench::Frame video{kFrameBytes, 3};
    lybench::Frame dst{kFrameBytes, 4};
    lybench::Frame dst2{kFrameBytes, 5};
    lybench::Frame start{kFrameBytes, 6};
    lybench::Frame mask{static_cast<size_t>(lybench::kWidth) * lybench::kHeight, 7};
    Frames() {
        MakeTitleLayer(title.data);
        for (size_t i = 3; i < kFrameBytes; i += 4) video.data[i] = 255;
    }
};

Frames& F() {
    static Frames frames;
    return frames;
}

const unsigned char* Source(const benchmark::State& state) {
    return state.range(0) == 1 ? F().title.data : F().random.data;
}

// The scene's background, copied into F().start.
void PrepareBackground(const benchmark::State& state) {
    std::memcpy(F().start.data, state.range(0) == 0 ? F().dst2.data : F().video.data, kFrameBytes);
}

void Label(benchmark::State& state) {
    static const char* const kNames[] = {"random over random", "title over video", "random over video"};
    state.SetLabel(kNames[state.range(0)]);
    lybench::SetFrameBytes(state, kFrameBytes);
}

void Restore(benchmark::State& state, unsigned char* to) {
    state.PauseTiming();
    std::memcpy(to, F().start.data, kFrameBytes);
    state.ResumeTiming();
}

// ---------------------------------------------------------------- baselines

void BM_CopyFrame(benchmark::State& state) {
    lybench::PoolForState(state, 0);
    const unsigned char* s = F().random.data;
    unsigned char* d = F().dst.data;
    for (auto _ : state) {
        ly::ParallelRows(ly::PoolRoute::Internal, lybench::kHeight, [&](int first, int rows) {
            std::memcpy(d + static_cast<size_t>(first) * kPitch, s + static_cast<size_t>(first) * kPitch,
                        static_cast<size_t>(rows) * kPitch);
        });
        benchmark::DoNotOptimize(d);
    }
    lybench::SetFrameBytes(state, kFrameBytes);
}
BENCHMARK(BM_CopyFrame)->Arg(1)->Arg(2)->UseRealTime()->Unit(benchmark::kMillisecond);

#ifdef LY_HAVE_LIBYUV
// libyuv's three-buffer blend (its own rule, not ours): the speed reference.
void BM_LibyuvARGBBlend(benchmark::State& state) {
    const unsigned char* s = Source(state);
    PrepareBackground(state);
    for (auto _ : state) {
        libyuv::ARGBBlend(s, kPitch, F().start.data, kPitch, F().dst.data, kPitch, lybench::kWidth, lybench::kHeight);
        benchmark::DoNotOptimize(F().dst.data);
    }
    Label(state);
}
BENCHMARK(BM_LibyuvARGBBlend)->DenseRange(0, 2)->UseRealTime()->Unit(benchmark::kMillisecond);

// libyuv's premultiplication (c * a rounded its own way): the speed reference
// of the opacity flattening, the same frame read and written. Argument 1:
// in place from a fresh copy, as the in-place forms run; 0: into a second
// frame, as the two-buffer form runs.
void BM_LibyuvARGBAttenuate(benchmark::State& state) {
    const unsigned char* s = Source(state);
    const bool inPlace = state.range(1) == 1;
    std::memcpy(F().start.data, s, kFrameBytes);
    for (auto _ : state) {
        if (inPlace) {
            Restore(state, F().dst.data);
            libyuv::ARGBAttenuate(F().dst.data, kPitch, F().dst.data, kPitch, lybench::kWidth, lybench::kHeight);
        } else {
            libyuv::ARGBAttenuate(s, kPitch, F().dst.data, kPitch, lybench::kWidth, lybench::kHeight);
        }
        benchmark::DoNotOptimize(F().dst.data);
    }
    Label(state);
}
BENCHMARK(BM_LibyuvARGBAttenuate)
    ->ArgNames({"scene", "inplace"})
    ->ArgsProduct({{0, 1}, {0, 1}})
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
#endif

// ---------------------------------------------------------------- alpha mixing
// Arguments: scene, pool size.

void BM_MixColor(benchmark::State& state) {
    lybench::PoolForState(state, 1);
    const unsigned char* s = Source(state);
    PrepareBackground(state);
    std::memcpy(F().dst.data, F().start.data, kFrameBytes);
    for (auto _ : state) {
        if (state.range(0) == 0) Restore(state, F().dst.data);
        LyPixelUtils::MixColor(s, kPitch, F().dst.data, kPitch, lybench::kWidth, lybench::kHeight);
        benchmark::DoNotOptimize(F().dst.data);
    }
    Label(state);
}
BENCHMARK(BM_MixColor)->ArgsProduct({{0, 1, 2}, {1, 2}})->UseRealTime()->Unit(benchmark::kMillisecond);

void BM_MixColorWithMaskAlpha(benchmark::State& state) {
    lybench::PoolForState(state, 1);
    const unsigned char* s = Source(state);
    PrepareBackground(state);
    std::memcpy(F().dst.data, F().start.data, kFrameBytes);
    for (auto _ : state) {
        if (state.range(0) == 0) Restore(state, F().dst.data);
        LyPixelUtils::MixColorWithMaskAlpha(s, kPitch, F().mask.data, lybench::kWidth, F().dst.data, kPitch,
                                            lybench::kWidth, lybench::kHeight);
        benchmark::DoNotOptimize(F().dst.data);
    }
    Label(state);
}
BENCHMARK(BM_MixColorWithMaskAlpha)->ArgsProduct({{0, 1}, {1, 2}})->UseRealTime()->Unit(benchmark::kMillisecond);

void BM_OverlayColor(benchmark::State& state) {
    lybench::PoolForState(state, 1);
    const unsigned char* s = Source(state);
    for (auto _ : state) {
        LyPixelUtils::OverlayColor(s, kPitch, F().dst.data, kPitch, lybench::kWidth, lybench::kHeight);
        benchmark::DoNotOptimize(F().dst.data);
    }
    Label(state);
}
BENCHMARK(BM_OverlayColor)->ArgsProduct({{0, 1}, {1, 2}})->UseRealTime()->Unit(benchmark::kMillisecond);

void BM_SubtractImageWithMaskAlpha(benchmark::State& state) {
    lybench::PoolForState(state, 0);
    for (auto _ : state) {
        LyPixelUtils::SubtractImageWithMaskAlpha(F().dst.data, kPitch, F().mask.data, lybench::kWidth,
                                                 lybench::kWidth, lybench::kHeight);
        benchmark::DoNotOptimize(F().dst.data);
    }
    lybench::SetFrameBytes(state, kFrameBytes);
}
BENCHMARK(BM_SubtractImageWithMaskAlpha)->Arg(1)->Arg(2)->UseRealTime()->Unit(benchmark::kMillisecond);

// ---------------------------------------------------------------- opacity

void BM_MixWithOpacityBuffer(benchmark::State& state) {
    lybench::PoolForState(state, 1);
    const unsigned char* s = Source(state);
    for (auto _ : state) {
        LyPixelUtils::MixWithOpacityBuffer(s, kPitch, F().dst.data, kPitch, lybench::kWidth, lybench::kHeight);
        benchmark::DoNotOptimize(F().dst.data);
    }
    Label(state);
}
BENCHMARK(BM_MixWithOpacityBuffer)->ArgsProduct({{0, 1}, {1, 2}})->UseRealTime()->Unit(benchmark::kMillisecond);

void BM_MixWithOpacityColor(benchmark::State& state) {
    lybench::PoolForState(state, 1);
    std::memcpy(F().start.data, Source(state), kFrameBytes);
    for (auto _ : state) {
        Restore(state, F().dst.data);
        LyPixelUtils::MixWithOpacityColor(F().dst.data, lybench::kWidth, lybench::kHeight, kPitch, 0xFF203040u);
        benchmark::DoNotOptimize(F().dst.data);
    }
    Label(state);
}
BENCHMARK(BM_MixWithOpacityColor)->ArgsProduct({{0, 1}, {1, 2}})->UseRealTime()->Unit(benchmark::kMillisecond);

void BM_MixWithOpacityBlackInPlace(benchmark::State& state) {
    lybench::PoolForState(state, 1);
    std::memcpy(F().start.data, Source(state), kFrameBytes);
    for (auto _ : state) {
        Restore(state, F().dst.data);
        LyPixelUtils::MixWithOpacityBlack(F().dst.data, lybench::kWidth, lybench::kHeight, kPitch);
        benchmark::DoNotOptimize(F().dst.data);
    }
    Label(state);
}
BENCHMARK(BM_MixWithOpacityBlackInPlace)->ArgsProduct({{0, 1}, {1, 2}})->UseRealTime()->Unit(benchmark::kMillisecond);

void BM_MixWithOpacityBlackTwoBuffers(benchmark::State& state) {
    lybench::PoolForState(state, 1);
    const unsigned char* s = Source(state);
    for (auto _ : state) {
        LyPixelUtils::MixWithOpacityBlack(s, kPitch, F().dst.data, kPitch, lybench::kWidth, lybench::kHeight);
        benchmark::DoNotOptimize(F().dst.data);
    }
    Label(state);
}
BENCHMARK(BM_MixWithOpacityBlackTwoBuffers)
    ->ArgsProduct({{0, 1}, {1, 2}})
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
