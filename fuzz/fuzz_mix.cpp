// Mixing and blending: straight-alpha mixes, cross-format overlays, the two-image blend with its
// row-averaging modes, float accumulation and its conversion back. Buffers
// hold exactly the bytes a call may touch (mode 3 of the blend reads the row
// below the first image, so that image gets one more row).

#include "LyPixelUtils.h"
#include "LyVideoUtils.h"
#include "fuzz_support.h"

using namespace LyPixelUtils;

namespace {

int Clip(int v) { return v > 0 ? v : 0; }

void Mixes(lyfuzz::Reader& in, int w, int h) {
    const int op = in.Range(0, 5);
    lyfuzz::Image src(in, 4 * Clip(w), Clip(h)), dst(in, 4 * Clip(w), Clip(h)), mask(in, Clip(w), Clip(h));
    const auto srcBefore = src.Snapshot(), before = dst.Snapshot();
    lyfuzz::Environment env(in);
    switch (op) {
    case 0: MixColor(src.top(), src.pitch(), dst.top(), dst.pitch(), w, h); break;
    case 1: OverlayColor(src.top(), src.pitch(), dst.top(), dst.pitch(), w, h); break;
    case 2: MixColorWithMaskAlpha(src.top(), src.pitch(), mask.top(), mask.pitch(), dst.top(), dst.pitch(), w, h); break;
    case 3: MixWithOpacityBuffer(src.top(), src.pitch(), dst.top(), dst.pitch(), w, h); break;
    case 4: MixWithOpacityColor(dst.top(), w, h, dst.pitch(), in.Take<uint32_t>()); break;
    default: {
        uint32_t a = in.Take<uint32_t>(), b = in.Take<uint32_t>();
        MixTwoColor(a, b);
        break;
    }
    }
    LYFUZZ_CHECK(src.Same(srcBefore));
    if (w < 1 || h < 1) LYFUZZ_CHECK(dst.Same(before));
}

// Overlays into a destination of another format. Rows start on a pair here:
// with pairStart 0 a row's first sample pair begins before the row pointer.
void Cross(lyfuzz::Reader& in, int w, int h) {
    const int op = in.Range(0, 3);
    const unsigned char depth = in.Range(0, 7) == 0 ? in.Take<uint8_t>() : (in.Flag() ? 16 : 8);
    const ELyColorimetry c = static_cast<ELyColorimetry>(in.Range(-1, 3));
    const int cw = Clip(w), ch = Clip(h);
    const int dstBytes = op < 2 ? 4 * cw : (depth == 16 ? 4 * cw : 2 * cw);
    lyfuzz::Image overlay(in, 4 * cw, ch), dst(in, dstBytes, ch);
    const auto overlayBefore = overlay.Snapshot(), before = dst.Snapshot();
    const int mode = in.Range(0, 3) - 1;
    lyfuzz::Environment env(in);
    switch (op) {
    case 0: MixBGRA4444WithVUYA4444(overlay.top(), overlay.pitch(), dst.top(), dst.pitch(), c, mode, w, h); break;
    case 1: MixVUYA4444WithBGRA4444(overlay.top(), overlay.pitch(), c, dst.top(), dst.pitch(), mode, w, h); break;
    case 2: MixVUYA4444WithUYVY422(overlay.top(), overlay.pitch(), dst.top(), dst.pitch(), depth, 1, w, h); break;
    default: MixBGRA4444WithUYVY422(overlay.top(), overlay.pitch(), dst.top(), dst.pitch(), depth, c, 1, w, h); break;
    }
    LYFUZZ_CHECK(overlay.Same(overlayBefore));
    const bool badColorimetry = c != Colorimetry_BT601 && c != Colorimetry_BT709;
    const bool refused = w < 1 || h < 1 || (op < 2 && (overlay.pitch() < 1 || dst.pitch() < 1 || badColorimetry)) ||
                         (op >= 2 && depth != 8 && depth != 16) || (op == 3 && badColorimetry);
    if (refused) LYFUZZ_CHECK(dst.Same(before));
}

struct BlendFormat {
    ELyPixelFormat format;
    unsigned char depth;
};

int BlendRowBytes(const BlendFormat& f, int w) {
    return f.format == PixelFormat_UYVY422 ? (f.depth == 16 ? 4 * w : 2 * w) : 4 * w;
}

void Blend(lyfuzz::Reader& in, int w, int h) {
    static const BlendFormat kFormats[] = {{PixelFormat_BGRA4444, 8}, {PixelFormat_VUYA4444, 16},
                                           {PixelFormat_UYVY422, 8},  {PixelFormat_UYVY422, 16},
                                           {PixelFormat_UYVY422, 3},  {PixelFormat_YUYVA422, 8}};
    const BlendFormat f = kFormats[in.Range(0, 5)];
    const int mode = in.Range(-1, 4);
    const int rowBytes = BlendRowBytes(f, Clip(w));
    lyfuzz::Image first(in, rowBytes, Clip(h) + 1), second(in, rowBytes, Clip(h)), out(in, rowBytes, Clip(h));
    const double opacity = in.Range(0, 3) == 0 ? in.Take<double>() : in.Range(0, 100) / 100.0;
    const auto before = out.Snapshot(), firstBefore = first.Snapshot();
    lyfuzz::Environment env(in);
    BlendingImages(first.top(), first.pitch(), second.top(), second.pitch(), out.top(), out.pitch(), f.format, f.depth,
                   opacity, w, h, static_cast<ELyBlendingMode>(mode));
    LYFUZZ_CHECK(first.Same(firstBefore));
    if (w < 1 || h < 1 || mode < 0 || mode > 3) LYFUZZ_CHECK(out.Same(before));
}

void Accumulate(lyfuzz::Reader& in, int w, int h) {
    static const BlendFormat kFormats[] = {{PixelFormat_BGRA4444, 8}, {PixelFormat_VUYA4444, 8},
                                           {PixelFormat_UYVY422, 8},  {PixelFormat_UYVY422, 16},
                                           {PixelFormat_UYVY422, 5}};
    const BlendFormat f = kFormats[in.Range(0, 4)];
    const int mode = in.Range(0, 3);
    const int cw = Clip(w);
    const int floats = f.format == PixelFormat_UYVY422 ? 4 * (cw / 2) : 4 * cw;
    lyfuzz::Image image(in, BlendRowBytes(f, cw), Clip(h) + 1), acc(in, 4 * floats, Clip(h), 4);
    const float opacity = in.Range(0, 3) == 0 ? in.Take<float>() : static_cast<float>(in.Range(0, 100)) / 100.0f;
    lyfuzz::Environment env(in);
    // Every instruction set must store the same bits, NaNs included.
    const auto start = acc.Snapshot();
    std::vector<unsigned char> first;
    for (int isa = 0; isa < 3; ++isa) {
        acc.Restore(start);
        LySetInstructionSetCap(static_cast<ELyInstructionSet>(isa));
        BlendingImages(image.top(), image.pitch(), f.format, f.depth, reinterpret_cast<float*>(acc.top()),
                       acc.pitch() / 4, opacity, w, h, static_cast<ELyBlendingMode>(mode));
        if (isa == 0) first = acc.Snapshot();
        else LYFUZZ_CHECK(acc.Same(first));
    }
    // Back to samples: a row of GetPixelBytes(format, depth, width, 2) / 2 bytes.
    const ELyPixelFormat outFormat = static_cast<ELyPixelFormat>(in.Range(0, 8));
    const unsigned char depth = in.Flag() ? 16 : 8;
    const uint32_t outBytes = LyVideoUtils::GetPixelBytes(outFormat, depth, cw, 2) >> 1;
    const bool samples = outFormat == PixelFormat_UYVY422 && depth != 8;
    const uint32_t readFloats = samples ? outBytes / 8 * 4 : outBytes / 4 * 4;
    if (outBytes > 1u << 20) return;
    lyfuzz::Image src(in, static_cast<int>(4 * readFloats), Clip(h), 4), out(in, static_cast<int>(outBytes), Clip(h));
    const auto before = out.Snapshot();
    ConvertFloatImage(reinterpret_cast<const float*>(src.top()), src.pitch() / 4, out.top(), out.pitch(), outFormat,
                      depth, w, h);
    if (w < 1 || h < 1 || outBytes == 0) LYFUZZ_CHECK(out.Same(before));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    lyfuzz::Reader in(data, size);
    const int op = in.Range(0, 3);
    const int w = in.Range(-1, 150), h = in.Range(-1, 20);
    switch (op) {
    case 0: Mixes(in, w, h); break;
    case 1: Blend(in, w, h); break;
    case 2: Accumulate(in, w, h); break;
    default: Cross(in, w, h); break;
    }
    return 0;
}
