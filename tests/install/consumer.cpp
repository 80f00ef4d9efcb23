// Builds against the installed headers and library only.
#include <LyAVUtils.h>

#include <cstdio>

int main() {
    if (LyComputeGCD(12, 18) != 6) return 1;
    if (LyVideoUtils::GetPixelBytes(PixelFormat_UYVY422, 8, 4, 2) != 16) return 2;
    unsigned char y = 255, u = 255, v = 255;
    LyFormatUtils::RGBColorToYUVColor(y, u, v, Colorimetry_BT601);
    if (y != 235 || u != 128 || v != 128) return 3;
    if (LyThreadPool::ThreadCount() < 1) return 4;
    const SLyVersionInfo version = LyGetVersionInfo();
    if (version.major != LYAVUTILS_VERSION_MAJOR || version.minor != LYAVUTILS_VERSION_MINOR ||
        version.patch != LYAVUTILS_VERSION_PATCH)
        return 5;
    LyThreadPool::Exit();
    std::puts("consumer ok");
    return 0;
}
