// Fills, fades, masks, channel conversions, deflicker and wipe on images of exactly the bytes
// each call may touch, with negative pitches, mask pitch 0 and the refused
// sizes and pointers (which must leave every buffer as it was).

#include "LyPixelUtils.h"
#include "fuzz_support.h"

using namespace LyPixelUtils;

namespace {

struct Case {
    int w, h;
    bool bad;  // width or height below 1: nothing may be written
};

Case Size(lyfuzz::Reader& in) {
    const int w = in.Range(-1, 200), h = in.Range(-1, 20);
    return {w, h, w < 1 || h < 1};
}
int Clip(int v) { return v > 0 ? v : 0; }

void Fills(lyfuzz::Reader& in, const Case& c) {
    const ELyPixelFormat format = static_cast<ELyPixelFormat>(in.Range(0, 8));
    const unsigned char depth = in.Flag() ? 16 : in.Take<uint8_t>();
    const int w = Clip(c.w), h = Clip(c.h);
    const bool packed422 = format == PixelFormat_UYVY422 || format == PixelFormat_YUYVA422;
    const int rowBytes = packed422 ? (depth == 16 ? 4 * w : 2 * w) : 4 * w;
    // The alpha plane of the 4:2:2-with-alpha format follows the image rows.
    lyfuzz::Image img(in, rowBytes, format == PixelFormat_YUYVA422 ? 2 * h : h);
    const auto before = img.Snapshot();
    const ELyColorimetry cm = static_cast<ELyColorimetry>(in.Range(-1, 3));
    lyfuzz::Environment env(in);
    switch (in.Range(0, 3)) {
    case 0: {
        const int r = FillBlockColor(img.top(), img.pitch(), c.w, c.h, format, depth, cm, in.Take<uint32_t>());
        if (r == 0 || c.bad) LYFUZZ_CHECK(img.Same(before));
        break;
    }
    case 1: {
        const int r = FillFixedColor(img.top(), img.pitch(), c.w, c.h, format, depth, cm,
                                     static_cast<ELyFixedColor>(in.Range(-1, 9)), in.Take<uint8_t>());
        if (r == 0 || c.bad) LYFUZZ_CHECK(img.Same(before));
        break;
    }
    case 2:
        if (!packed422) {
            const tagSIZE cell{in.Range(-2, 40), in.Range(-2, 40)};
            FillGridColor(img.top(), img.pitch(), c.w, c.h, in.Take<uint32_t>(), in.Take<uint32_t>(), cell);
        }
        break;
    default:
        if (!packed422) FillColorBar(img.top(), img.pitch(), c.w, c.h, format, depth, cm, in.Take<uint8_t>());
        break;
    }
    if (c.bad) LYFUZZ_CHECK(img.Same(before));
}

float Percent(lyfuzz::Reader& in) {
    switch (in.Range(0, 3)) {
    case 0: return in.Take<float>();  // NaN, infinities, huge values
    case 1: return static_cast<float>(in.Range(-300, 300));
    default: return static_cast<float>(in.Range(-30000, 30000)) / 100.0f;
    }
}

void Fades(lyfuzz::Reader& in, const Case& c) {
    const bool plane16 = in.Flag();
    lyfuzz::Image img(in, Clip(c.w) * (plane16 ? 2 : 4), Clip(c.h));
    const auto before = img.Snapshot();
    const float a = Percent(in), b = Percent(in);
    lyfuzz::Environment env(in);
    switch (in.Range(0, 2)) {
    case 0: (plane16 ? Fade16bitAlpha : FadeImage)(img.top(), img.pitch(), c.w, c.h, a); break;
    case 1: (plane16 ? GradientVerFade16bitAlpha : GradientVerFadeImage)(img.top(), img.pitch(), c.w, c.h, a, b); break;
    default: (plane16 ? GradientHorFade16bitAlpha : GradientHorFadeImage)(img.top(), img.pitch(), c.w, c.h, a, b); break;
    }
    if (c.bad) LYFUZZ_CHECK(img.Same(before));
}

void Masks(lyfuzz::Reader& in, const Case& c) {
    const int w = Clip(c.w), h = Clip(c.h);
    const int op = in.Range(0, 7);
    const bool oneRowMask = in.Range(0, 3) == 0;  // pitch 0: one row for all
    lyfuzz::Image mask(in, w, oneRowMask ? (h > 0 ? 1 : 0) : h);
    const int maskPitch = oneRowMask ? 0 : mask.pitch();
    lyfuzz::Image other(in, op == 0 || op == 3 ? 4 * w : op == 1 ? 2 * w : op == 4 ? w / 2 : w, op == 4 ? (h + 1) / 2 : h);
    lyfuzz::Image third(in, w, h);
    const auto before = other.Snapshot(), maskBefore = mask.Snapshot();
    lyfuzz::Environment env(in);
    switch (op) {
    case 0: MaskImage(other.top(), other.pitch(), mask.top(), maskPitch, c.w, c.h); break;
    case 1: Mask16bitAlpha(other.top(), other.pitch(), mask.top(), maskPitch, c.w, c.h); break;
    case 2:
        MaskOperator(mask.top(), maskPitch, other.top(), other.pitch(), c.w, c.h,
                     static_cast<ELyMaskOperator>(in.Range(-1, 5)));
        break;
    case 3: {
        lyfuzz::Image m(in, w, h);
        Mask32bitTo8bit(other.top(), other.pitch(), m.top(), m.pitch(), c.w, c.h);
        break;
    }
    case 4: {
        lyfuzz::Image src(in, w, h);
        const auto srcBefore = src.Snapshot();
        MaskDownScale2X(src.top(), src.pitch(), other.top(), other.pitch(), c.w, c.h);
        LYFUZZ_CHECK(src.Same(srcBefore));
        break;
    }
    case 5: Extract8BitMask(mask.top(), maskPitch, third.top(), third.pitch(), other.top(), other.pitch(), c.w, c.h); break;
    case 6: Invert8bitImage(other.top(), other.pitch(), c.w, c.h); break;
    default: Binary8bitImage(other.top(), other.pitch(), c.w, c.h, in.Int()); break;
    }
    LYFUZZ_CHECK(mask.Same(maskBefore));
    if (c.bad) LYFUZZ_CHECK(other.Same(before));
}

void Channels(lyfuzz::Reader& in, const Case& c) {
    const int w = Clip(c.w), h = Clip(c.h);
    lyfuzz::Image img32(in, 4 * w, h), img8(in, w, h);
    const auto before32 = img32.Snapshot(), before8 = img8.Snapshot();
    lyfuzz::Environment env(in);
    bool writes32 = false;
    switch (in.Range(0, 4)) {
    case 0: Convert32bitTo8bitImage(img32.top(), img32.pitch(), img8.top(), img8.pitch(), c.w, c.h); break;
    case 1: Convert8bitTo32bitImage(img8.top(), img8.pitch(), img32.top(), img32.pitch(), c.w, c.h), writes32 = true; break;
    case 2: Convert32bitToGrayImage(img32.top(), img32.pitch(), c.w, c.h), writes32 = true; break;
    case 3: Get32bitImage8bitChannel(img32.top(), img32.pitch(), img8.top(), img8.pitch(), c.w, c.h, in.Int()); break;
    default: Get32bitImage8bitAlpha(img32.top(), img32.pitch(), img8.top(), img8.pitch(), c.w, c.h); break;
    }
    LYFUZZ_CHECK(writes32 ? img8.Same(before8) : img32.Same(before32));
    if (c.bad) LYFUZZ_CHECK(img8.Same(before8) && img32.Same(before32));
}

// Deflicker (0 for a refused call, nothing written) and the wipe, on 32-bit
// images; the sources and the pattern are only read.
void Filters(lyfuzz::Reader& in, const Case& c) {
    const int w = Clip(c.w), h = Clip(c.h);
    lyfuzz::Image a(in, 4 * w, h), b(in, 4 * w, h), pattern(in, 4 * w, h), dst(in, 4 * w, h);
    const auto aBefore = a.Snapshot(), bBefore = b.Snapshot(), patternBefore = pattern.Snapshot(),
               before = dst.Snapshot();
    const bool nullSource = in.Range(0, 15) == 0;
    lyfuzz::Environment env(in);
    if (in.Flag()) {
        const ELyDeflickerQuality q = static_cast<ELyDeflickerQuality>(in.Range(-1, 5));
        const int r = DefickerImage(nullSource ? nullptr : a.top(), a.pitch(), dst.top(), dst.pitch(), c.w, c.h, q);
        const bool refused = nullSource || q < 1 || q > 3 || c.w < 3 || c.h < 3;
        LYFUZZ_CHECK(r == (refused ? 0 : 1));
        if (r == 0) LYFUZZ_CHECK(dst.Same(before));
    } else {
        WipePatternImage(nullSource ? nullptr : a.top(), a.pitch(), b.top(), b.pitch(),
                         in.Flag() ? pattern.top() : nullptr, pattern.pitch(), dst.top(), dst.pitch(), c.w, c.h,
                         in.Take<uint8_t>());
        if (c.bad || nullSource) LYFUZZ_CHECK(dst.Same(before));
    }
    LYFUZZ_CHECK(a.Same(aBefore) && b.Same(bBefore) && pattern.Same(patternBefore));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    lyfuzz::Reader in(data, size);
    const int family = in.Range(0, 4);
    const Case c = Size(in);
    switch (family) {
    case 0: Fills(in, c); break;
    case 1: Fades(in, c); break;
    case 2: Masks(in, c); break;
    case 3: Channels(in, c); break;
    default: Filters(in, c); break;
    }
    return 0;
}
