// Prints what the library sees of this machine and runs a few conversions.
// Linked against the library's internal archive so that it can also show the
// processor feature level, which the public interface does not expose.

#include <LyAVUtils.h>

#include "memory/LyCpu.h"

#include <cstdio>
#include <vector>

namespace {

void PrintColor(const char* name, unsigned char r, unsigned char g, unsigned char b, ELyColorimetry c) {
    unsigned char y = r, u = g, v = b;
    LyFormatUtils::RGBColorToYUVColor(y, u, v, c);
    unsigned char r2 = y, g2 = u, b2 = v;
    LyFormatUtils::YUVColorToRGBColor(r2, g2, b2, c);
    std::printf("  %-8s RGB %3d %3d %3d -> YUV %3d %3d %3d -> RGB %3d %3d %3d\n", name, r, g, b, y, u, v, r2, g2,
                b2);
}

}  // namespace

int main() {
    const SLyVersionInfo version = LyGetVersionInfo();
    std::printf("LyAVUtils %s demo\n", version.versionString);
    std::printf("thread pool workers: %d\n", LyThreadPool::ThreadCount());
    static const char* const kIsaNames[] = {"scalar", "SSE2", "AVX2"};
    const uint32_t level = ly::ProcessorFeatureLevel();
    std::printf("processor feature level: %u (MMX %s, SSE %s, SSE2 %s); row kernels: %s\n", level,
                level & 1u ? "yes" : "no", level & 2u ? "yes" : "no", level & 4u ? "yes" : "no",
                kIsaNames[version.instructionSet]);

    const char* names[] = {"BT.601", "BT.709"};
    for (int c = 0; c < 2; ++c) {
        std::printf("%s single-colour conversions:\n", names[c]);
        const auto cm = static_cast<ELyColorimetry>(c);
        PrintColor("white", 255, 255, 255, cm);
        PrintColor("black", 0, 0, 0, cm);
        PrintColor("red", 255, 0, 0, cm);
        PrintColor("green", 0, 255, 0, cm);
        PrintColor("blue", 0, 0, 255, cm);
    }

    std::printf("buffer sizes for 1920x1080:\n");
    const struct {
        ELyPixelFormat format;
        unsigned char depth;
        const char* name;
    } formats[] = {{PixelFormat_BGRA4444, 8, "BGRA"},          {PixelFormat_UYVY422, 8, "UYVY 8-bit"},
                   {PixelFormat_UYVY422, 16, "UYVY 16-bit"},   {PixelFormat_YUV420Planar, 8, "YUV 4:2:0"},
                   {PixelFormat_YUYVA422, 8, "YUYV + alpha"}};
    for (const auto& f : formats)
        std::printf("  %-12s %8u bytes (padded lines %8u)\n", f.name,
                    LyVideoUtils::GetPixelBytes(f.format, f.depth, 1920, 1080),
                    LyVideoUtils::GetPixelBytesWithPitch(f.format, f.depth, 1920, 1080));

    std::printf("GCD(1920, 1080) = %u\n", LyComputeGCD(1920, 1080));
    LyThreadPool::Exit();
    return 0;
}
