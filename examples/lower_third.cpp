// A lower third over colour bars, the way a titling host composes a frame:
// the title is a straight-alpha BGRA layer, mixed over the background, sent
// out as UYVY 4:2:2 and read back, then written as a PNG.
//
//   lower_third [out.png]
#include <LyAVUtils.h>
#include <png.h>

#include <cstdio>
#include <cstring>
#include <vector>

int main(int argc, char** argv) {
    const char* path = argc > 1 ? argv[1] : "lower_third.png";
    const int width = 1280, height = 720;
    const int pitch = width * 4;  // BGRA: 4 bytes a pixel, rows may have any pitch

    // Background: 75% colour bars.
    std::vector<unsigned char> frame(static_cast<size_t>(pitch) * height);
    LyPixelUtils::FillColorBar(frame.data(), pitch, width, height, PixelFormat_BGRA4444, 8, Colorimetry_BT709, 0);

    // The title layer: a translucent panel (alpha 0xC0) with soft ends and a
    // white bar inside it. Colours are straight, not premultiplied.
    const int titleW = width * 3 / 4, titleH = height / 6;
    const int titleX = (width - titleW) / 2, titleY = height * 3 / 4;
    const int titlePitch = titleW * 4;
    std::vector<unsigned char> title(static_cast<size_t>(titlePitch) * titleH);
    LyPixelUtils::FillBlockColor(title.data(), titlePitch, titleW, titleH, PixelFormat_BGRA4444, 8, Colorimetry_BT709,
                                 0xC0182C58u);  // A R G B
    const int ramp = titleW / 10;
    LyPixelUtils::GradientHorFadeImage(title.data(), titlePitch, ramp, titleH, 0.0f, 100.0f / ramp);
    LyPixelUtils::GradientHorFadeImage(title.data() + (titleW - ramp) * 4, titlePitch, ramp, titleH, 100.0f,
                                       -100.0f / ramp);
    unsigned char* bar = title.data() + titlePitch * (titleH / 3) + ramp * 4;
    LyPixelUtils::FillBlockColor(bar, titlePitch, titleW - 2 * ramp, titleH / 3, PixelFormat_BGRA4444, 8,
                                 Colorimetry_BT709, 0xFFF0F0F0u);

    // Mix the title over the frame at its place (straight-alpha over rule).
    unsigned char* at = frame.data() + static_cast<size_t>(pitch) * titleY + titleX * 4;
    LyPixelUtils::MixColor(title.data(), titlePitch, at, pitch, titleW, titleH);

    // Out to 4:2:2 (what a video output carries) and back.
    const int uyvyPitch = width * 2;
    std::vector<unsigned char> uyvy(static_cast<size_t>(uyvyPitch) * height);
    if (!LyFormatUtils::BGRA4444ToUYVY422(frame.data(), pitch, uyvy.data(), uyvyPitch, 8, Colorimetry_BT709, width,
                                          height) ||
        !LyFormatUtils::UYVY422ToBGRA4444(uyvy.data(), uyvyPitch, 8, Colorimetry_BT709, frame.data(), pitch, width,
                                          height)) {
        std::fprintf(stderr, "conversion refused\n");
        return 1;
    }

    // The library's B, G, R, A byte order is libpng's PNG_FORMAT_BGRA.
    png_image image;
    std::memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    image.width = width;
    image.height = height;
    image.format = PNG_FORMAT_BGRA;
    if (!png_image_write_to_file(&image, path, 0, frame.data(), pitch, nullptr)) {
        std::fprintf(stderr, "%s: %s\n", path, image.message);
        return 1;
    }
    std::printf("wrote %s (%dx%d, through UYVY 4:2:2, %d pool workers)\n", path, width, height,
                LyThreadPool::ThreadCount());
    LyThreadPool::Exit();
    return 0;
}
