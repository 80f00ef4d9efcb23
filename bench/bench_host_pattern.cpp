// Every banded operation as a host calls it, one thread (pool 1) against the
// pool (pool 2), on 1920x1080 frames.
//
// Patterns (second argument):
//   0 back to back: the operation alone, call after call;
//   1 refill: the calling thread first writes the frame the operation reads
//     (a copy from a pristine frame, as a producer would), then calls;
//   2 host: 2 ms idle (the rest of the host's frame), then the refill, then
//     the call, so the workers are asleep and the frame is in the caller's
//     cache when the call arrives.
//
// Reported per call: the wall-clock time of the call alone (the benchmark's
// time, manual timing; median_us is the median call) and cpu_us, the CPU
// time of the whole process over the whole cycle (getrusage RUSAGE_SELF, so a
// worker spinning after the call, in the idle gap, counts) minus the calling
// thread's own CPU time spent on the refill.

#include <sys/resource.h>
#include <time.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "LyFormatUtils.h"
#include "LyPixelUtils.h"
#include "LyVideoUtils.h"
#include "bench_support.h"
#include "threading/LyBandFrame.h"

namespace {

using lybench::Frame;
using lybench::kHeight;
using lybench::kWidth;
constexpr int kPitch32 = kWidth * 4;
constexpr int kPitch16 = kWidth * 2;
using lybench::kPixels;
constexpr int kScaleSrcW = 1280, kScaleSrcH = 720;

// Every buffer an operation may read or write, with pristine copies of the
// ones a producer would write before the call.
struct Buffers {
    Frame a{4 * kPixels, 1}, b{4 * kPixels, 2}, u{2 * kPixels, 3}, m{kPixels, 4}, alpha16{2 * kPixels, 5};
    Frame small{4 * static_cast<size_t>(kScaleSrcW) * kScaleSrcH, 6};
    Frame pristineA{4 * kPixels, 1}, pristineB{4 * kPixels, 2}, pristineU{2 * kPixels, 3};
    Frame pristineSmall{4 * static_cast<size_t>(kScaleSrcW) * kScaleSrcH, 6};
};

Buffers& Bufs() {
    static Buffers b;
    return b;
}

enum Refill { kRefillA, kRefillB, kRefillU, kRefillSmall };

struct Op {
    const char* name;
    Refill refill;  // the frame the producer writes before the call
    std::function<void(Buffers&)> call;
};

const std::vector<Op>& Ops() {
    using namespace LyPixelUtils;
    using namespace LyFormatUtils;
    static const std::vector<Op> ops = {
        {"BGRA4444ToUYVY422", kRefillA,
         [](Buffers& x) { BGRA4444ToUYVY422(x.a.data, kPitch32, x.u.data, kPitch16, 8, Colorimetry_BT709, kWidth, kHeight); }},
        {"UYVY422ToBGRA4444", kRefillU,
         [](Buffers& x) { UYVY422ToBGRA4444(x.u.data, kPitch16, 8, Colorimetry_BT709, x.b.data, kPitch32, kWidth, kHeight); }},
        {"BGRA4444ToVUYA4444", kRefillA,
         [](Buffers& x) { BGRA4444ToVUYA4444(x.a.data, kPitch32, x.b.data, kPitch32, 8, Colorimetry_BT709, kWidth, kHeight); }},
        {"VUYA4444ToBGRA4444", kRefillA,
         [](Buffers& x) { VUYA4444ToBGRA4444(x.a.data, kPitch32, x.b.data, kPitch32, 8, Colorimetry_BT709, kWidth, kHeight); }},
        {"UYVY422ToVUYA4444", kRefillU,
         [](Buffers& x) { UYVY422ToVUYA4444(x.u.data, kPitch16, 8, x.b.data, kPitch32, kWidth, kHeight, 255); }},
        {"VUYA4444ToUYVY422", kRefillA,
         [](Buffers& x) { VUYA4444ToUYVY422(x.a.data, kPitch32, x.u.data, kPitch16, 8, kWidth, kHeight); }},
        {"BGRA4444ToYUYVA422", kRefillA,
         [](Buffers& x) {
             BGRA4444ToYUYVA422(x.a.data, kPitch32, x.u.data, kPitch16, x.alpha16.data, kPitch16, 8, Colorimetry_BT709,
                                kWidth, kHeight);
         }},
        {"FadeImage", kRefillA, [](Buffers& x) { FadeImage(x.a.data, kPitch32, kWidth, kHeight, 50.0f); }},
        {"GradientVerFadeImage", kRefillA,
         [](Buffers& x) { GradientVerFadeImage(x.a.data, kPitch32, kWidth, kHeight, 0.0f, 0.05f); }},
        {"MaskImage", kRefillA, [](Buffers& x) { MaskImage(x.a.data, kPitch32, x.m.data, kWidth, kWidth, kHeight); }},
        {"Convert32bitToGrayImage", kRefillA,
         [](Buffers& x) { Convert32bitToGrayImage(x.a.data, kPitch32, kWidth, kHeight); }},
        {"Convert32bitTo8bitImage", kRefillA,
         [](Buffers& x) { Convert32bitTo8bitImage(x.a.data, kPitch32, x.m.data, kWidth, kWidth, kHeight); }},
        {"DefickerImage", kRefillA,
         [](Buffers& x) {
             DefickerImage(x.a.data, kPitch32, x.b.data, kPitch32, kWidth, kHeight, DeflickerQuality_Medium);
         }},
        {"WipePatternImage", kRefillA,
         [](Buffers& x) {
             WipePatternImage(x.a.data, kPitch32, x.b.data, kPitch32, nullptr, 0, x.b.data, kPitch32, kWidth, kHeight,
                              128);
         }},
        {"MixColor", kRefillB, [](Buffers& x) { MixColor(x.a.data, kPitch32, x.b.data, kPitch32, kWidth, kHeight); }},
        {"MixWithOpacityBuffer", kRefillA,
         [](Buffers& x) { MixWithOpacityBuffer(x.a.data, kPitch32, x.b.data, kPitch32, kWidth, kHeight); }},
        {"MixWithOpacityColor", kRefillA,
         [](Buffers& x) { MixWithOpacityColor(x.a.data, kWidth, kHeight, kPitch32, 0xFF204080u); }},
        {"MixWithOpacityBlackInPlace", kRefillA,
         [](Buffers& x) { MixWithOpacityBlack(x.a.data, kWidth, kHeight, kPitch32); }},
        {"MixWithOpacityBlackTwoBuffers", kRefillA,
         [](Buffers& x) { MixWithOpacityBlack(x.a.data, kPitch32, x.b.data, kPitch32, kWidth, kHeight); }},
        {"MixBGRA4444WithUYVY422", kRefillU,
         [](Buffers& x) {
             MixBGRA4444WithUYVY422(x.a.data, kPitch32, x.u.data, kPitch16, 8, Colorimetry_BT709, 0, kWidth, kHeight);
         }},
        {"BlendingImages", kRefillA,
         [](Buffers& x) {
             BlendingImages(x.a.data, kPitch32, x.b.data, kPitch32, x.b.data, kPitch32, PixelFormat_BGRA4444, 8, 0.5,
                            kWidth, kHeight, BlendingMode_Mix);
         }},
        {"ScaleImage4x8bits", kRefillSmall,
         [](Buffers& x) {
             LyVideoUtils::ScaleImage4x8bits(x.b.data, kWidth, kHeight, kPitch32, x.small.data, kScaleSrcW,
                                             kScaleSrcH, 4 * kScaleSrcW);
         }},
        {"BandedCopy", kRefillA,
         [](Buffers& x) {
             ly::ParallelRows(ly::PoolRoute::Internal, kHeight, [&x](int first, int rows) {
                 const unsigned char* s = ly::RowAt(x.a.data, kPitch32, first);
                 unsigned char* d = ly::RowAt(x.b.data, kPitch32, first);
                 for (int r = 0; r < rows; ++r, s += kPitch32, d += kPitch32) std::memcpy(d, s, kPitch32);
             });
         }},
    };
    return ops;
}

void DoRefill(Buffers& x, Refill r) {
    switch (r) {
        case kRefillA: std::memcpy(x.a.data, x.pristineA.data, x.a.size); break;
        case kRefillB: std::memcpy(x.b.data, x.pristineB.data, x.b.size); break;
        case kRefillU: std::memcpy(x.u.data, x.pristineU.data, x.u.size); break;
        case kRefillSmall: std::memcpy(x.small.data, x.pristineSmall.data, x.small.size); break;
    }
}

double ProcessCpuSeconds() {
    rusage ru{};
    getrusage(RUSAGE_SELF, &ru);
    return static_cast<double>(ru.ru_utime.tv_sec + ru.ru_stime.tv_sec) +
           static_cast<double>(ru.ru_utime.tv_usec + ru.ru_stime.tv_usec) * 1e-6;
}

double ThreadCpuSeconds() {
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

void BM_HostPattern(benchmark::State& state, const Op* op) {
    lybench::PoolForState(state);
    const int pattern = static_cast<int>(state.range(1));
    Buffers& x = Bufs();
    // Settle: one untimed call, and let any spinning from the previous
    // benchmark end.
    DoRefill(x, op->refill);
    op->call(x);
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    std::vector<double> calls;
    calls.reserve(static_cast<size_t>(state.max_iterations));
    double refillCpu = 0.0;
    const double cpu0 = ProcessCpuSeconds();
    for (auto _ : state) {
        if (pattern == 2) std::this_thread::sleep_for(std::chrono::milliseconds(2));
        if (pattern >= 1) {
            const double t0 = ThreadCpuSeconds();
            DoRefill(x, op->refill);
            refillCpu += ThreadCpuSeconds() - t0;
        }
        const auto start = std::chrono::steady_clock::now();
        op->call(x);
        const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        benchmark::ClobberMemory();
        state.SetIterationTime(seconds);
        calls.push_back(seconds);
    }
    // The last call's trailing spin belongs to it: wait for it to end.
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    const double cpu = ProcessCpuSeconds() - cpu0 - refillCpu;
    std::sort(calls.begin(), calls.end());
    const double n = static_cast<double>(calls.size());
    state.counters["median_us"] = calls.empty() ? 0.0 : calls[calls.size() / 2] * 1e6;
    state.counters["cpu_us"] = n > 0 ? cpu / n * 1e6 : 0.0;
}

}  // namespace

int main(int argc, char** argv) {
    for (const Op& op : Ops()) {
        benchmark::RegisterBenchmark((std::string("host/") + op.name).c_str(), BM_HostPattern, &op)
            ->ArgNames({"pool", "pattern"})
            ->ArgsProduct({{1, 2}, {0, 1, 2}})
            ->Iterations(150)
            ->UseManualTime()
            ->Unit(benchmark::kMicrosecond);
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
