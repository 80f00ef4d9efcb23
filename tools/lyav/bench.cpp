// A quick table of the main operations' speed on whole frames, one thread and
// pooled, against memcpy of the same bytes. The Google Benchmark programs in
// bench/ are the careful measurement; this is what a person runs first.
#include "lyav.h"

#include "threading/LyThreadPoolInstance.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <random>

namespace lyav {

namespace {

// Best of several runs, each long enough to be measured: the least disturbed
// run on a shared machine.
double BestSeconds(const std::function<void()>& op, double budget) {
    op();  // warm caches and the pool
    double best = 1e30, spent = 0;
    int runs = 0;
    while (runs < 3 || (spent < budget && runs < 200)) {
        const double t0 = NowSeconds();
        op();
        const double t = NowSeconds() - t0;
        best = std::min(best, t);
        spent += t;
        ++runs;
    }
    return best;
}

struct Op {
    const char* name;
    size_t bytes;  // bytes written per frame: what memcpy is measured on
    std::function<void()> run;
};

}  // namespace

int RunBench(const std::vector<std::string>& argv) {
    static const char kUsage[] =
        "usage: lyav bench [--size WxH] [--budget SECONDS]\n"
        "Times the main operations on one frame (default 1920x1080, random content),\n"
        "on one thread and on the whole pool, and prints milliseconds per frame,\n"
        "megapixels per second and the time relative to memcpy of the bytes the\n"
        "operation writes (memcpy = 1.00; lower is faster). Each figure is the best of\n"
        "several runs taking about --budget seconds (default 0.25). Busy machines give\n"
        "noisy numbers; bench/ holds the Google Benchmark programs.\n";
    Args args("bench", argv, {{"size", true}, {"budget", true}});
    if (PrintedHelp(args, kUsage)) return 0;
    args.ExpectPositional(0, "no arguments");
    const tagSIZE size = ParseSize(args.Get("size", "1920x1080"), "--size");
    const double budget = args.GetDouble("budget", 0.25);
    const int w = size.cx & ~1, h = size.cy;
    if (w < 4 || h < 4) Fail("lyav bench --size: at least 4x4");
    const size_t px = static_cast<size_t>(w) * h;

    std::mt19937 rng(7);
    auto randomFrame = [&](size_t bytes) {
        std::vector<unsigned char> v(bytes);
        for (auto& b : v) b = static_cast<unsigned char>(rng());
        return v;
    };
    std::vector<unsigned char> a = randomFrame(px * 4), b = randomFrame(px * 4), out(px * 4 + w * 4),
                               uyvy = randomFrame(px * 2), mask = randomFrame(px), pattern = randomFrame(px * 4);
    const int p4 = w * 4, p2 = w * 2;
    std::vector<unsigned char> dst = b;

    using namespace LyPixelUtils;
    const std::vector<Op> ops = {
        {"BGRA4444ToUYVY422", px * 2,
         [&] { LyFormatUtils::BGRA4444ToUYVY422(a.data(), p4, uyvy.data(), p2, 8, Colorimetry_BT709, w, h); }},
        {"UYVY422ToBGRA4444", px * 4,
         [&] { LyFormatUtils::UYVY422ToBGRA4444(uyvy.data(), p2, 8, Colorimetry_BT709, out.data(), p4, w, h); }},
        {"BGRA4444ToVUYA4444", px * 4,
         [&] { LyFormatUtils::BGRA4444ToVUYA4444(a.data(), p4, out.data(), p4, 8, Colorimetry_BT709, w, h); }},
        // In place: each run mixes over the previous result, which costs the same.
        {"MixColor", px * 4, [&] { MixColor(a.data(), p4, dst.data(), p4, w, h); }},
        {"MixWithOpacityBlack", px * 4, [&] { MixWithOpacityBlack(a.data(), p4, out.data(), p4, w, h); }},
        {"MixBGRA4444WithUYVY422", px * 2,
         [&] { MixBGRA4444WithUYVY422(a.data(), p4, uyvy.data(), p2, 8, Colorimetry_BT709, 1, w, h); }},
        {"FadeImage 50%", px * 4, [&] { FadeImage(out.data(), p4, w, h, 50.0f); }},
        {"MaskImage", px * 4, [&] { MaskImage(out.data(), p4, mask.data(), w, w, h); }},
        {"DefickerImage medium", px * 4,
         [&] { DefickerImage(a.data(), p4, out.data(), p4, w, h, DeflickerQuality_Medium); }},
        {"WipePatternImage", px * 4,
         [&] { WipePatternImage(a.data(), p4, b.data(), p4, pattern.data(), p4, out.data(), p4, w, h, 128); }},
        {"BlendingImages mix", px * 4,
         [&] {
             BlendingImages(a.data(), p4, b.data(), p4, out.data(), p4, PixelFormat_BGRA4444, 8, 0.5, w, h,
                            BlendingMode_Mix);
         }},
        {"FillColorBar", px * 4,
         [&] { FillColorBar(out.data(), p4, w, h, PixelFormat_BGRA4444, 8, Colorimetry_BT709, 0); }},
    };

    const int pooled = CLyThreadPoolInstance::DetectedThreadCount();
    std::vector<int> poolSizes = {1};
    if (pooled > 1) poolSizes.push_back(pooled);
    Progress progress("bench", static_cast<int>(ops.size() * poolSizes.size() + 2));
    std::vector<unsigned char> copyDst(px * 4);
    auto memcpyFor = [&](size_t bytes) {
        return BestSeconds([&] { std::memcpy(copyDst.data(), a.data(), bytes); }, budget);
    };
    const double memcpy4 = memcpyFor(px * 4);
    progress.Step();
    const double memcpy2 = memcpyFor(px * 2);
    progress.Step();

    struct Row {
        const char* name;
        int threads;
        double seconds, memcpySeconds;
    };
    std::vector<Row> rows;
    for (int threads : poolSizes) {
        CLyThreadPoolInstance::ReplaceSingletonForTesting(threads == pooled ? 0 : threads);
        for (const Op& op : ops) {
            rows.push_back({op.name, threads, BestSeconds(op.run, budget), op.bytes == px * 4 ? memcpy4 : memcpy2});
            progress.Step();
        }
    }
    CLyThreadPoolInstance::ReplaceSingletonForTesting(0);

    std::printf("frame %dx%d, pool of %d worker%s; memcpy of %zu bytes: %.3f ms, of %zu bytes: %.3f ms\n\n", w, h,
                pooled, pooled == 1 ? "" : "s", px * 4, memcpy4 * 1e3, px * 2, memcpy2 * 1e3);
    std::printf("%-24s %7s %9s %9s %9s\n", "operation", "threads", "ms", "MP/s", "x memcpy");
    for (const Row& r : rows)
        std::printf("%-24s %7d %9.3f %9.1f %9.2f\n", r.name, r.threads, r.seconds * 1e3, px / r.seconds / 1e6,
                    r.seconds / r.memcpySeconds);
    return 0;
}

}  // namespace lyav
