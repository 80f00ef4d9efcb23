// Builds against the installed in-memory host and the library it uses.
#include <LyAVUtils.h>
#include <LyMemoryHost.h>

#include <cstdio>

int main() {
    SLySurfaceCreateDesc d{};
    d.width = 8;
    d.height = 4;
    d.bitDepth = 8;
    d.pixelFormat = PixelFormat_BGRA4444;
    d.polarity = Polarity_Frame;
    d.scanMode = ScanMode_Progressive;
    d.aspectRatio = AspectRatio_Square;
    ILyVideoSurface* s = LyMemoryHost::CreateSurface(d);
    if (!s) return 1;
    if (s->GetPixelAspectRatio() != 1.0) return 2;
    s->Release();
    LyThreadPool::Exit();
    std::puts("host consumer ok");
    return 0;
}
