// Format family: buffer layout arithmetic, single colours and the packed
// converters, each image in a buffer of exactly the bytes it may touch. A
// refused call (0) must leave its destinations as they were.

#include "LyFormatUtils.h"
#include "LyVideoUtils.h"
#include "fuzz_support.h"

using namespace LyFormatUtils;

namespace {

void Layout(lyfuzz::Reader& in) {
    const ELyPixelFormat format = static_cast<ELyPixelFormat>(in.Range(-1, 9));
    const unsigned char depth = in.Take<uint8_t>();
    const int w = in.Int(), h = in.Int();
    (void)LyVideoUtils::GetPixelBytes(format, depth, w, h);
    (void)LyVideoUtils::GetPixelBytesWithPitch(format, depth, w, h);
    (void)LyVideoUtils::GetPixelLineBytes(format, depth, w);
    (void)LyVideoUtils::GetPixelLineBytesWithPitch(format, depth, w);
    uint32_t y, u, v;
    LyVideoUtils::GetPixelBytesWithPitch(w, h, in.Int(), in.Int(), in.Int(), in.Int(), y, u, v);
    LyVideoUtils::GetPixelLineBytesWithPitch(w, in.Int(), in.Int(), y, u, v);
    tagSIZE ys, us, vs;
    LyVideoUtils::GetYUVWidthHeight(format, w, h, ys, us, vs);
    // Only addresses are formed; nothing is read or written through them.
    unsigned char* planes[3];
    const tagSIZE a{in.Int(), in.Int()}, b{in.Int(), in.Int()};
    LyVideoUtils::GetYUVPlanerBuffer(nullptr, a, b, b, &planes[0], &planes[1], &planes[2]);
    LyVideoUtils::GetYUVPlanerBufferWithPitch(nullptr, a, b, b, &planes[0], &planes[1], &planes[2]);
    LyVideoUtils::GetYUYVABufferPos(nullptr, a, in.Int(), &planes[0], &planes[1]);
    SLySurfaceCreateDesc d{};
    d.width = w, d.height = h, d.bitDepth = depth, d.pixelFormat = format;
    (void)LyVideoUtils::GetVideoSurfaceSize(d);
}

void Colours(lyfuzz::Reader& in) {
    const ELyColorimetry c = static_cast<ELyColorimetry>(in.Range(-1, 3));
    unsigned char c0 = in.Take<uint8_t>(), c1 = in.Take<uint8_t>(), c2 = in.Take<uint8_t>();
    YUVColorToRGBColor(c0, c1, c2, c);
    RGBColorToYUVColor(c0, c1, c2, c);
    uint32_t word = in.Take<uint32_t>();
    YUVColorToRGBColor(word, c);
    RGBColorToYUVColor(word, c);
    YUVRGBColorConvert(word, static_cast<ELyPixelFormat>(in.Range(0, 8)), c, static_cast<ELyPixelFormat>(in.Range(0, 8)),
                       static_cast<ELyColorimetry>(in.Range(-1, 3)));
}

void Converters(lyfuzz::Reader& in) {
    const int op = in.Range(0, 7);
    const int w = in.Range(-1, 300), h = in.Range(-1, 9);
    const unsigned char depth = in.Range(0, 3) == 0 ? in.Take<uint8_t>() : (in.Flag() ? 16 : 8);
    const ELyColorimetry c = static_cast<ELyColorimetry>(in.Range(-1, 3));
    const int wide = w > 0 ? w : 0, rows = h > 0 ? h : 0;
    const int bytes422 = wide * 2 * (depth == 16 ? 2 : 1), bytes444 = wide * 4;
    const bool from444 = op == 0 || op == 1 || op == 2 || op == 5 || op == 6 || op == 7;
    const bool to444 = op == 1 || op == 2 || op == 3 || op == 4;
    lyfuzz::Image src(in, from444 ? bytes444 : bytes422, rows);
    lyfuzz::Image dst(in, to444 ? bytes444 : bytes422, rows);
    lyfuzz::Image alpha(in, wide * 2, rows);
    const bool nullSource = in.Range(0, 31) == 0, nullDestination = in.Range(0, 31) == 0;
    const unsigned char* s = nullSource ? nullptr : src.top();
    unsigned char* d = nullDestination ? nullptr : dst.top();
    unsigned char* a = in.Range(0, 31) == 0 ? nullptr : alpha.top();
    const auto before = dst.Snapshot();
    const auto alphaBefore = alpha.Snapshot();
    lyfuzz::Environment env(in);
    int result = 1;
    switch (op) {
    case 0: result = BGRA4444ToUYVY422(s, src.pitch(), d, dst.pitch(), depth, c, w, h); break;
    case 1: result = BGRA4444ToVUYA4444(s, src.pitch(), d, dst.pitch(), depth, c, w, h); break;
    case 2: result = VUYA4444ToBGRA4444(s, src.pitch(), d, dst.pitch(), depth, c, w, h); break;
    case 3: result = UYVY422ToBGRA4444(s, src.pitch(), depth, c, d, dst.pitch(), w, h); break;
    case 4: result = UYVY422ToVUYA4444(s, src.pitch(), depth, d, dst.pitch(), w, h, in.Take<uint8_t>()); break;
    case 5: result = VUYA4444ToUYVY422(s, src.pitch(), d, dst.pitch(), depth, w, h); break;
    case 6: result = BGRA4444ToYUYVA422(s, src.pitch(), d, dst.pitch(), a, alpha.pitch(), depth, c, w, h); break;
    case 7: result = VUYA4444ToYUYVA422(s, src.pitch(), d, dst.pitch(), a, alpha.pitch(), depth, w, h); break;
    }
    const bool bad = nullSource || nullDestination || w < 1 || h < 1;
    if (op == 1 || op == 2) {
        LYFUZZ_CHECK(result == 1);
        if (bad || (c != Colorimetry_BT601 && c != Colorimetry_BT709)) LYFUZZ_CHECK(dst.Same(before));
    } else {
        const bool refused = bad || (op != 5 && op != 7 && op != 4 && c != Colorimetry_BT601 && c != Colorimetry_BT709) ||
                             (depth != 8 && depth != 16) || ((op == 6 || op == 7) && a == nullptr);
        LYFUZZ_CHECK(result == (refused ? 0 : 1));
    }
    if (result == 0) LYFUZZ_CHECK(dst.Same(before) && alpha.Same(alphaBefore));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    lyfuzz::Reader in(data, size);
    switch (in.Take<uint8_t>() % 3) {
    case 0: Layout(in); break;
    case 1: Colours(in); break;
    default: Converters(in); break;
    }
    return 0;
}
