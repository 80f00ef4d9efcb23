// Video family: frame-rate and time arithmetic, aspect ratios, placement,
// field geometry, re-timing of media descriptions (whose refusals must leave
// the records unchanged) and the resampler on exact-size pictures.

#include <string>

#include "LyVideoUtils.h"
#include "fuzz_support.h"

using namespace LyVideoUtils;

namespace {

ELyFrameRate Rate(lyfuzz::Reader& in) { return static_cast<ELyFrameRate>(in.Range(0, 15) < 12 ? in.Range(0, 7) : in.Int()); }
ELyAspectRatio Aspect(lyfuzz::Reader& in) { return static_cast<ELyAspectRatio>(in.Range(-1, 9)); }

void Timing(lyfuzz::Reader& in) {
    const ELyFrameRate rate = Rate(in);
    const uint32_t frame = in.Take<uint32_t>();
    unsigned char tc[4] = {};
    (void)GetFrameTimeCode(rate, frame, tc, in.Flag(), in.Flag());
    std::wstring text;
    (void)Frame2String(rate, in.Flag(), in.Flag(), frame, text);
    (void)FrameToTime(rate, frame, text);
    uint32_t f = 0;
    (void)TimeToFrame(rate, in.Int(), in.Int(), in.Int(), in.Int(), f);
    (void)SecondToFrames(in.Take<float>(), rate, 0);
    (void)FramesToSecond(frame, rate, 0);
    for (unsigned char& b : tc) b = in.Take<uint8_t>();
    (void)TimeCode2Frame(rate, tc, in.Flag(), in.Flag(), f);
    std::wstring s;
    for (int i = in.Range(0, 16); i > 0; --i) s.push_back(static_cast<wchar_t>(in.Range(0, 0x7F)));
    (void)String2TimeCode(s, tc);
    ELyFrameRate out;
    GetFrameRateClass(in.Take<uint32_t>(), in.Take<uint32_t>(), out);
    (void)FrameRateFramesConvert(frame, rate, Rate(in));
    uint32_t a = 7, b = 9;
    ConvertTrimInOut(in.Take<uint32_t>(), in.Take<uint32_t>(), in.Take<uint32_t>(), in.Take<uint32_t>(), a, b);
}

SLyVideoResolution Resolution(lyfuzz::Reader& in) {
    SLyVideoResolution r{};
    r.width = in.Take<uint16_t>();
    r.height = in.Take<uint16_t>();
    r.aspectRatio = Aspect(in);
    r.frameRate = Rate(in);
    r.frameSize = {in.Int(), in.Int()};
    return r;
}

void Aspects(lyfuzz::Reader& in) {
    int x, y;
    const int w = in.Int(), h = in.Int();
    const ELyAspectRatio a = Aspect(in);
    GetAspectRatioValue(w, h, a, x, y);
    GetAspectRatioValue(a, x, y);
    ELyAspectRatio cls;
    GetAspectRatioClass(w, h, cls);
    (void)GetAspectRatioWidth(in.Int(), in.Int(), in.Int());
    (void)GetAspectRatioHeight(in.Int(), in.Int(), in.Int());
    const SLyVideoResolution r = Resolution(in), r2 = Resolution(in);
    (void)GetPixelAspectRatio(r);
    (void)GetPixelAspectRatio(w, h, in.Int(), in.Int());
    (void)GetPixelAspectRatio(w, h, a);
    SLySurfaceDescription d{};
    d.width = w, d.height = h, d.polarity = static_cast<ELyPolarity>(in.Range(-1, 3)), d.aspectRatio = a;
    d.customAspectX = in.Int(), d.customAspectY = in.Int();
    (void)GetPixelAspectRatio(d);
    RECT rect{in.Int(), in.Int(), in.Int(), in.Int()};
    (void)GetSqualPixelRect(in.Int(), in.Int(), rect);
    (void)GetSqualPixelRect(a, rect);
    (void)GetSqualPixelRect(r, rect);
    (void)GetAspectConvertType(r, r2);
    ELyAspectRatio changed = a;
    unsigned ux = static_cast<unsigned>(in.Int()), uy = static_cast<unsigned>(in.Int());
    ConvertAspectRatio(changed, in.Take<uint32_t>(), in.Take<uint32_t>(), in.Take<uint32_t>(), in.Take<uint32_t>(), ux, uy);
    (void)IsHDResolution(r);
    (void)IsEqualResolution(r, r2);
}

void Geometry(lyfuzz::Reader& in) {
    const ELyScanMode scan = static_cast<ELyScanMode>(in.Range(-1, 3));
    const ELyPolarity pol = static_cast<ELyPolarity>(in.Range(-1, 3));
    CRect rect;
    rect.left = in.Int(), rect.top = in.Int(), rect.right = in.Int(), rect.bottom = in.Int();
    (void)FrameRectToFieldRect(rect, scan, pol);
    (void)FieldRectToFrameRect(rect, scan, pol);
    (void)GetTexVertCenterOffset(scan, pol);
    const unsigned count = static_cast<unsigned>(in.Range(0, 64));
    std::unique_ptr<float[]> uv(new float[2 * count + 1]);
    for (unsigned i = 0; i < 2 * count; ++i) uv[i] = in.Take<float>();
    CorrectFieldTexUV(count ? uv.get() : nullptr, count, in.Take<uint32_t>(), scan, pol);
    SLyVideoResolutionVer0 v0{};
    v0.width = in.Take<uint16_t>(), v0.height = in.Take<uint16_t>();
    SIZE size;
    (void)EstimateVideoResFrameSize(v0, size);
    SLyVideoResolution r;
    ConvertVer0Resolution(v0, r);
    SLyVideoScaleSourceParam s{in.Int(), in.Int(), in.Int(), in.Int()};
    SLyVideoScaleSourceParam t{in.Int(), in.Int(), in.Int(), in.Int()};
    SLyVideoScaleResultData result;
    CalculateVideoScaleData(s, t, static_cast<ELyVideoScaleType>(in.Range(-1, 4)), result);
    RECT from{in.Int(), in.Int(), in.Int(), in.Int()}, to{in.Int(), in.Int(), in.Int(), in.Int()};
    (void)CoordConvertFromRectToRect(PointF{in.Take<float>(), in.Take<float>()}, from, to);
}

void Retiming(lyfuzz::Reader& in) {
    SLyVideoResolution out{};
    out.frameRate = Rate(in);
    SLyAudioVideoFileInfo info{};
    info.mediaKind = in.Range(0, 3) == 0 ? in.Take<uint32_t>() : 65536;
    info.streamCount = in.Range(0, 3) == 0 ? in.Take<uint16_t>() : static_cast<uint16_t>(in.Range(0, 3));
    info.totalFrames = in.Take<uint32_t>();
    for (auto& s : info.streams) s = {Rate(in), in.Take<uint32_t>()};
    SLyPlayListElementProps props{in.Take<uint32_t>(), in.Take<uint32_t>(), in.Take<uint32_t>()};
    const SLyPlayListElementProps propsBefore = props;
    const SLyAudioVideoFileInfo infoBefore = info;
    const bool alias = in.Flag();
    (alias ? ElementPropsAliasFRC : ElementPropsFRC)(out, info, props);
    LYFUZZ_CHECK(std::memcmp(&info, &infoBefore, sizeof info) == 0);  // read only
    // Refused, props unchanged: no re-timing asked for, or the description's
    // own re-timing refused (it looks rates up only when there are streams).
    auto known = [](ELyFrameRate r) { return r >= 0 && r <= 7; };
    bool ratesKnown = known(out.frameRate) && known(info.streams[0].frameRate);
    for (unsigned i = 0; i < info.streamCount && i < LY_MAX_MEDIA_STREAMS; ++i)
        ratesKnown = ratesKnown && known(info.streams[i].frameRate);
    const bool asked = info.mediaKind > 65535 && info.streams[0].frameRate != out.frameRate;
    if (!asked || (info.streamCount != 0 && !ratesKnown))
        LYFUZZ_CHECK(std::memcmp(&props, &propsBefore, sizeof props) == 0);
}

void Scale(lyfuzz::Reader& in) {
    const int sw = in.Range(0, 90), sh = in.Range(0, 12), dw = in.Range(0, 90), dh = in.Range(0, 12);
    lyfuzz::Image src(in, 4 * sw, sh), dst(in, 4 * dw, dh);
    const auto before = dst.Snapshot(), srcBefore = src.Snapshot();
    lyfuzz::Environment env(in);
    ScaleImage4x8bits(dst.top(), static_cast<unsigned>(dw), static_cast<unsigned>(dh), static_cast<unsigned>(dst.pitch()),
                      src.top(), static_cast<unsigned>(sw), static_cast<unsigned>(sh), static_cast<unsigned>(src.pitch()));
    LYFUZZ_CHECK(src.Same(srcBefore));
    if (sw == 0 || sh == 0 || dw == 0 || dh == 0) LYFUZZ_CHECK(dst.Same(before));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    lyfuzz::Reader in(data, size);
    switch (in.Range(0, 4)) {
    case 0: Timing(in); break;
    case 1: Aspects(in); break;
    case 2: Geometry(in); break;
    case 3: Retiming(in); break;
    default: Scale(in); break;
    }
    return 0;
}
