// Field geometry, the resolution records and re-timing of media to the
// output frame rate.

#include <algorithm>

#include "LyVideoUtils.h"
#include "video/LyFrameRates.h"

namespace LyVideoUtils {

namespace {

// 32-bit int arithmetic as the records use it, wrapping instead of
// overflowing so that extreme coordinates have a defined answer.
int32_t Wrap(int64_t v) { return static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(v))); }
int32_t AddWrap(int32_t a, int32_t b) { return Wrap(static_cast<int64_t>(a) + b); }

bool IsEvenRowField(ELyScanMode scan, ELyPolarity polarity) {
    return (scan == ScanMode_UpperFirst && polarity == Polarity_First) ||
           (scan == ScanMode_LowerFirst && polarity == Polarity_Second);
}

bool IsOddRowField(ELyScanMode scan, ELyPolarity polarity) {
    return (scan == ScanMode_UpperFirst && polarity == Polarity_Second) ||
           (scan == ScanMode_LowerFirst && polarity == Polarity_First);
}

int32_t OddPart(int32_t v) { return v % 2 != 0 ? 1 : 0; }  // |v mod 2|

struct DisplaySizeRow {
    uint16_t displayWidth;
    uint16_t displayHeight;
    int32_t storedWidth;
    int32_t storedHeight;
};

// Square-pixel display sizes of the standard-definition rasters (and the HD
// ones, which are already square) mapped to the sizes actually stored.
constexpr DisplaySizeRow kDisplaySizes[] = {
    {768, 576, 720, 576}, {1024, 576, 720, 576},    {648, 486, 720, 486},   {864, 486, 720, 486},
    {853, 480, 720, 480}, {1920, 1080, 1920, 1080}, {1280, 720, 1280, 720},
};

uint32_t StreamsToProcess(const SLyAudioVideoFileInfo& info) {
    return std::min<uint32_t>(info.streamCount, LY_MAX_MEDIA_STREAMS);
}

// Every rate the re-timing would look up must be in the table before
// anything is written.
bool RatesKnown(const SLyVideoResolution& output, const SLyAudioVideoFileInfo& info) {
    if (!ly::IsKnownFrameRate(output.frameRate) || !ly::IsKnownFrameRate(info.streams[0].frameRate)) return false;
    const uint32_t count = StreamsToProcess(info);
    for (uint32_t i = 0; i < count; ++i) {
        if (!ly::IsKnownFrameRate(info.streams[i].frameRate)) return false;
    }
    return true;
}

// Returns false (nothing written) when a rate is outside the table.
bool Retime(const SLyVideoResolution& output, SLyAudioVideoFileInfo& info) {
    if (info.streamCount == 0 || info.streams[0].frameRate == output.frameRate) return true;
    if (!RatesKnown(output, info)) return false;
    info.totalFrames = FrameRateFramesConvert(info.totalFrames, info.streams[0].frameRate, output.frameRate);
    const ly::FrameRateRatio& out = ly::kFrameRates[output.frameRate];
    const uint32_t count = StreamsToProcess(info);
    for (uint32_t i = 0; i < count; ++i) {
        const ly::FrameRateRatio& in = ly::kFrameRates[info.streams[i].frameRate];
        // No same-rate shortcut per stream: a stream already at the output
        // rate goes through the same arithmetic as the others.
        const double v = static_cast<double>(in.denominator) * static_cast<double>(info.streams[i].frameCount) /
                         static_cast<double>(in.numerator) * static_cast<double>(out.numerator) /
                         static_cast<double>(out.denominator);
        info.streams[i].frameCount = ly::TruncateToLow32(v);
    }
    return true;
}

// Shared test and conversion of ElementPropsFRC and ElementPropsAliasFRC:
// false when no re-timing applies or it cannot be done.
bool RetimedTotals(const SLyVideoResolution& output, const SLyAudioVideoFileInfo& info, uint32_t& oldTotal,
                   uint32_t& newTotal) {
    if (info.mediaKind <= 65535 || info.streams[0].frameRate == output.frameRate) return false;
    SLyAudioVideoFileInfo copy = info;
    oldTotal = copy.totalFrames;
    if (!Retime(output, copy)) return false;
    newTotal = copy.totalFrames;
    return true;
}

}  // namespace

CRect FrameRectToFieldRect(CRect rect, ELyScanMode scanMode, ELyPolarity polarity) {
    if (IsEvenRowField(scanMode, polarity)) {
        rect.top = AddWrap(rect.top, OddPart(rect.top)) / 2;
        rect.bottom = AddWrap(rect.bottom, OddPart(rect.bottom)) / 2;
    } else if (IsOddRowField(scanMode, polarity)) {
        rect.top = AddWrap(rect.top, -OddPart(rect.top)) / 2;
        rect.bottom = AddWrap(rect.bottom, 1 - OddPart(rect.bottom)) / 2;
    }
    return rect;
}

CRect FieldRectToFrameRect(CRect rect, ELyScanMode scanMode, ELyPolarity polarity) {
    rect.top = Wrap(2 * static_cast<int64_t>(rect.top));
    rect.bottom = Wrap(2 * static_cast<int64_t>(rect.bottom));
    if (IsOddRowField(scanMode, polarity)) rect.top = AddWrap(rect.top, 1);
    return rect;
}

float GetTexVertCenterOffset(ELyScanMode scanMode, ELyPolarity polarity) {
    if (IsEvenRowField(scanMode, polarity)) return 0.5f;
    if (IsOddRowField(scanMode, polarity)) return -0.5f;
    return 0.0f;
}

void CorrectFieldTexUV(float* uv, unsigned count, uint32_t textureHeight, ELyScanMode scanMode, ELyPolarity polarity) {
    if (scanMode == ScanMode_Progressive || polarity == Polarity_FrameAlternate || uv == nullptr ||
        textureHeight == 0) {
        return;
    }
    double d = 0.25 / static_cast<double>(textureHeight);
    if (IsOddRowField(scanMode, polarity)) d = -d;
    for (unsigned i = 0; i < count; ++i) {
        float& v = uv[2 * static_cast<size_t>(i) + 1];
        v = static_cast<float>(static_cast<double>(v) + d);
    }
}

int EstimateVideoResFrameSize(const SLyVideoResolutionVer0& resolution, SIZE& frameSize) {
    for (const DisplaySizeRow& row : kDisplaySizes) {
        if (row.displayWidth == resolution.width && row.displayHeight == resolution.height) {
            frameSize.cx = row.storedWidth;
            frameSize.cy = row.storedHeight;
            return 1;
        }
    }
    frameSize.cx = resolution.width;
    frameSize.cy = resolution.height;
    return 0;
}

void ConvertVer0Resolution(const SLyVideoResolutionVer0& source, SLyVideoResolution& destination) {
    // Through a temporary so that a destination overlapping the source still
    // sees the source as it was.
    SLyVideoResolution result{};
    result.width = source.width;
    result.height = source.height;
    result.reserved1 = source.reserved1;
    result.reserved2 = source.reserved2;
    result.aspectRatio = source.aspectRatio;
    result.frameRate = source.frameRate;
    result.reserved3 = source.reserved3;
    result.reserved4 = source.reserved4;
    EstimateVideoResFrameSize(source, result.frameSize);
    destination = result;
}

int IsHDResolution(const SLyVideoResolution& resolution) { return resolution.height >= 720 ? 1 : 0; }

int IsEqualResolution(const SLyVideoResolution& a, const SLyVideoResolution& b) {
    // Field by field rather than by bytes, so padding could never take part.
    const bool same = a.width == b.width && a.height == b.height && a.reserved1 == b.reserved1 &&
                      a.reserved2 == b.reserved2 && a.aspectRatio == b.aspectRatio && a.frameRate == b.frameRate &&
                      a.reserved3 == b.reserved3 && a.reserved4 == b.reserved4 && a.frameSize.cx == b.frameSize.cx &&
                      a.frameSize.cy == b.frameSize.cy;
    return same ? 1 : 0;
}

void AVDescriptionFRC(const SLyVideoResolution& output, SLyAudioVideoFileInfo& info) { Retime(output, info); }

void ElementPropsFRC(const SLyVideoResolution& output, const SLyAudioVideoFileInfo& info,
                     SLyPlayListElementProps& props) {
    uint32_t oldTotal = 0;
    uint32_t newTotal = 0;
    if (!RetimedTotals(output, info, oldTotal, newTotal) || oldTotal == 0) return;
    uint32_t in = 0;
    uint32_t out = 0;
    ConvertTrimInOut(props.trimIn, props.trimOut, oldTotal, newTotal, in, out);
    props.trimIn = in;
    // The end follows the (unconverted) length, capped at the new total.
    props.trimOut = std::min(in + props.trimLength, newTotal);
}

void ElementPropsAliasFRC(const SLyVideoResolution& output, const SLyAudioVideoFileInfo& info,
                          SLyPlayListElementProps& props) {
    uint32_t oldTotal = 0;
    uint32_t newTotal = 0;
    if (!RetimedTotals(output, info, oldTotal, newTotal) || newTotal == 0) return;
    uint32_t in = 0;
    uint32_t out = 0;
    // The opposite direction to ElementPropsFRC, on purpose.
    ConvertTrimInOut(props.trimIn, props.trimOut, newTotal, oldTotal, in, out);
    props.trimIn = in;
    props.trimOut = out;
}

}  // namespace LyVideoUtils
