#include "LyFormatUtils.h"
#include "format/LyColorTables.h"

namespace {

bool KnownColorimetry(ELyColorimetry c) { return c == Colorimetry_BT601 || c == Colorimetry_BT709; }

// Y, U, V (bytes) to R, G, B: single precision, rounded half away from zero,
// clamped.
void YuvToRgb(unsigned char y, unsigned char u, unsigned char v, int colorimetry, unsigned char out[3]) {
    const auto& m = ly::kColorMatrices[colorimetry].yuvToRgb;
    const float fy = static_cast<float>(static_cast<int>(y) - 16);
    const float fu = static_cast<float>(static_cast<int>(u) - 128);
    const float fv = static_cast<float>(static_cast<int>(v) - 128);
    for (int row = 0; row < 3; ++row) {
        const float s = m[row][0] * fy + m[row][1] * fu + m[row][2] * fv;
        const float r = s > 0.0f ? s + 0.5f : s - 0.5f;
        out[row] = ly::ClampByte(static_cast<int>(r));
    }
}

// R, G, B to Y, U, V: double precision from the single-precision matrix,
// rounded half away from zero, offset added modulo 256 (no clamp).
void RgbToYuv(unsigned char r, unsigned char g, unsigned char b, int colorimetry, unsigned char out[3]) {
    const auto& m = ly::kColorMatrices[colorimetry].rgbToYuv;
    static constexpr int kOffset[3] = {16, 128, 128};
    for (int row = 0; row < 3; ++row) {
        const double s = static_cast<double>(m[row][0]) * r + static_cast<double>(m[row][1]) * g +
                         static_cast<double>(m[row][2]) * b;
        const double rounded = s > 0.0 ? s + 0.5 : s - 0.5;
        out[row] = static_cast<unsigned char>((static_cast<int>(rounded) + kOffset[row]) & 0xFF);
    }
}

}  // namespace

namespace LyFormatUtils {

void YUVColorToRGBColor(unsigned char& c0, unsigned char& c1, unsigned char& c2, ELyColorimetry colorimetry) {
    if (!KnownColorimetry(colorimetry)) return;
    unsigned char rgb[3];
    YuvToRgb(c0, c1, c2, colorimetry, rgb);
    c0 = rgb[0];
    c1 = rgb[1];
    c2 = rgb[2];
}

void RGBColorToYUVColor(unsigned char& c0, unsigned char& c1, unsigned char& c2, ELyColorimetry colorimetry) {
    if (!KnownColorimetry(colorimetry)) return;
    unsigned char yuv[3];
    RgbToYuv(c0, c1, c2, colorimetry, yuv);
    c0 = yuv[0];
    c1 = yuv[1];
    c2 = yuv[2];
}

void YUVColorToRGBColor(uint32_t& color, ELyColorimetry colorimetry) {
    if (!KnownColorimetry(colorimetry)) return;
    unsigned char rgb[3];
    YuvToRgb(static_cast<unsigned char>(color >> 16), static_cast<unsigned char>(color >> 8),
             static_cast<unsigned char>(color), colorimetry, rgb);
    color = (color & 0xFF000000u) | (static_cast<uint32_t>(rgb[0]) << 16) | (static_cast<uint32_t>(rgb[1]) << 8) |
            rgb[2];
}

void RGBColorToYUVColor(uint32_t& color, ELyColorimetry colorimetry) {
    if (!KnownColorimetry(colorimetry)) return;
    unsigned char yuv[3];
    RgbToYuv(static_cast<unsigned char>(color >> 16), static_cast<unsigned char>(color >> 8),
             static_cast<unsigned char>(color), colorimetry, yuv);
    color = (color & 0xFF000000u) | (static_cast<uint32_t>(yuv[0]) << 16) | (static_cast<uint32_t>(yuv[1]) << 8) |
            yuv[2];
}

void YUVRGBColorConvert(uint32_t& color, ELyPixelFormat sourceFormat, ELyColorimetry sourceColorimetry,
                        ELyPixelFormat destinationFormat, ELyColorimetry destinationColorimetry) {
    if (sourceFormat == destinationFormat) return;
    if (sourceFormat == PixelFormat_BGRA4444)
        RGBColorToYUVColor(color, destinationColorimetry);
    else if (sourceFormat == PixelFormat_VUYA4444)
        YUVColorToRGBColor(color, sourceColorimetry);
}

}  // namespace LyFormatUtils
