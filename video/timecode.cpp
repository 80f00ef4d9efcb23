// Frame rates, drop-frame and non-drop timecode, and the text forms of time.

#include <cmath>
#include <cstdio>
#include <cwchar>
#include <cwctype>
#include <string>
#include <string_view>

#include "LyVideoUtils.h"
#include "video/LyFrameRates.h"

namespace LyVideoUtils {

namespace {

// Frame counts of one hour, of ten minutes and of the first minute of a
// ten-minute block at 29.97 drop-frame (the other nine minutes drop labels
// 0 and 1 and hold 1798 frames).
constexpr uint32_t kDropFramesPerHour = 107892;
constexpr uint32_t kDropFramesPerTenMinutes = 17982;
constexpr uint32_t kFramesPerFullMinute = 1800;

void StoreTimecode(unsigned char* tc, uint32_t h, uint32_t m, uint32_t s, uint32_t f) {
    // Bytes keep the low eight bits: hours are deliberately not wrapped at 24.
    tc[0] = static_cast<unsigned char>(h);
    tc[1] = static_cast<unsigned char>(m);
    tc[2] = static_cast<unsigned char>(s);
    tc[3] = static_cast<unsigned char>(f);
}

void DropFrameTimecode(uint32_t n, unsigned char* tc) {
    const uint32_t hours = n / kDropFramesPerHour;
    const uint32_t inHour = n % kDropFramesPerHour;
    const uint32_t tens = inHour / kDropFramesPerTenMinutes;
    const uint32_t q = inHour % kDropFramesPerTenMinutes;
    const uint32_t m1 = q / kFramesPerFullMinute;
    // Each minute after the first of the block skips two labels; one more
    // skip is due when the shifted count crosses into the next minute.
    uint32_t x = q + 2 * m1;
    if (x / kFramesPerFullMinute != m1) x += 2;
    const uint32_t m = x / kFramesPerFullMinute;
    const uint32_t y = x - kFramesPerFullMinute * m;
    StoreTimecode(tc, hours, 10 * tens + m, y / 30, y % 30);
}

void NonDropTimecode(uint32_t n, ELyFrameRate rate, unsigned char* tc) {
    const ly::FrameRateRatio& r = ly::kFrameRates[rate];
    const uint32_t fps = r.numerator / r.denominator;
    const double t = static_cast<double>(n) / static_cast<double>(fps);
    const uint32_t s = ly::TruncateToLow32(t);
    const uint32_t frames = ly::TruncateToLow32(static_cast<double>(fps) * (t - static_cast<double>(s)) + 0.5);
    StoreTimecode(tc, s / 3600, (s / 60) % 60, s % 60, frames);
}

std::wstring FormatFour(const wchar_t* format, int a, int b, int c, int d) {
    // Four ints of at most 11 characters each plus separators.
    wchar_t buffer[64];
    const int written = std::swprintf(buffer, sizeof(buffer) / sizeof(buffer[0]), format, a, b, c, d);
    return written > 0 ? std::wstring(buffer, static_cast<size_t>(written)) : std::wstring();
}

}  // namespace

int GetFrameTimeCode(ELyFrameRate rate, uint32_t frame, unsigned char* const timecode, int dropFrame, int fieldBased) {
    if (!ly::IsKnownFrameRate(rate) || timecode == nullptr) return 0;
    uint32_t n = frame;

    // 29.97, or 59.94 counted in picture pairs.
    bool nearly30 = rate == FrameRate_29_97;
    if (fieldBased != 0 && (rate == FrameRate_50 || rate == FrameRate_59_94 || rate == FrameRate_60)) {
        n >>= 1;
        if (rate == FrameRate_50)
            rate = FrameRate_25;
        else if (rate == FrameRate_60)
            rate = FrameRate_30;
        else
            nearly30 = true;
    } else if (rate == FrameRate_59_94) {
        if (dropFrame == 1) {
            DropFrameTimecode(n >> 1, timecode);
            return 1;
        }
        rate = FrameRate_60;
    } else if (rate == FrameRate_23_98) {
        rate = FrameRate_24;
    }

    if (nearly30) {
        if (dropFrame == 1) {
            DropFrameTimecode(n, timecode);
            return 1;
        }
        rate = FrameRate_30;
    }
    NonDropTimecode(n, rate, timecode);
    return 1;
}

int Frame2String(ELyFrameRate rate, int dropFrame, int fieldBased, uint32_t frame, std::wstring& text) {
    unsigned char tc[4];
    if (GetFrameTimeCode(rate, frame, tc, dropFrame, fieldBased) == 0) return 0;
    // The separator follows the flag's truthiness, the numbers follow dropFrame == 1.
    const bool semicolon = (rate == FrameRate_29_97 || rate == FrameRate_59_94) && dropFrame != 0;
    text = FormatFour(semicolon ? L"%02d:%02d:%02d;%02d" : L"%02d:%02d:%02d:%02d", tc[0], tc[1], tc[2], tc[3]);
    return 1;
}

int FrameToTime(ELyFrameRate rate, uint32_t frame, std::wstring& text) {
    if (!ly::IsKnownFrameRate(rate)) return 0;
    const double t = static_cast<double>(frame) / ly::FrameRateValue(rate);
    const uint32_t s = ly::TruncateToLow32(t);
    // The fraction passes through single precision before scaling, which is
    // why frame 1 at 25 fps reads 39 ms rather than 40.
    const float fraction = static_cast<float>(t - static_cast<double>(s));
    const uint32_t ms = ly::TruncateToLow32(static_cast<double>(fraction) * 1000.0);
    text = FormatFour(L"%02d:%02d:%02d,%03d", static_cast<int>(s / 3600), static_cast<int>((s / 60) % 60),
                      static_cast<int>(s % 60), static_cast<int>(ms));
    return 1;
}

int TimeToFrame(ELyFrameRate rate, int hours, int minutes, int seconds, int milliseconds, uint32_t& frame) {
    if (!ly::IsKnownFrameRate(rate)) return 0;
    // 32-bit int arithmetic that wraps instead of overflowing.
    const uint32_t wrapped =
        static_cast<uint32_t>(hours) * 3600u + static_cast<uint32_t>(minutes) * 60u + static_cast<uint32_t>(seconds);
    const int32_t total = static_cast<int32_t>(wrapped);
    const double fps = ly::FrameRateValue(rate);
    const double f = static_cast<double>(total) * fps + fps * static_cast<double>(milliseconds) / 1000.0;
    frame = ly::RoundToLow32(f);
    return 1;
}

uint32_t SecondToFrames(float seconds, ELyFrameRate rate, int /*unused*/) {
    if (!ly::IsKnownFrameRate(rate)) return 0;
    return ly::RoundToLow32(ly::FrameRateValue(rate) * static_cast<double>(seconds));
}

float FramesToSecond(uint32_t frames, ELyFrameRate rate, int /*unused*/) {
    if (!ly::IsKnownFrameRate(rate)) return 0.0f;
    return static_cast<float>(static_cast<double>(frames) / ly::FrameRateValue(rate));
}

int TimeCode2Frame(ELyFrameRate rate, unsigned char* const timecode, int dropFrame, int fieldBased, uint32_t& frame) {
    if (!ly::IsKnownFrameRate(rate) || timecode == nullptr) return 0;
    const uint32_t total = static_cast<uint32_t>(timecode[0]) * 3600u + static_cast<uint32_t>(timecode[1]) * 60u +
                           static_cast<uint32_t>(timecode[2]);
    const uint32_t frames = timecode[3];
    if (dropFrame != 0) {
        // Elapsed real time, not the inverse of the drop-frame labelling.
        uint32_t n = ly::RoundToLow32(ly::FrameRateValue(rate) * static_cast<double>(total)) + frames;
        if (fieldBased != 0 && (rate == FrameRate_50 || rate == FrameRate_59_94 || rate == FrameRate_60)) {
            n += frames;
        }
        frame = n;
        return 1;
    }
    const uint32_t integerRate = ly::RoundToLow32(ly::FrameRateValue(rate));
    frame = total * integerRate + frames;
    return 1;
}

int String2TimeCode(const std::wstring& text, unsigned char* const timecode) {
    constexpr std::wstring_view kPattern = L"00:00:00:00";
    if (timecode == nullptr || text.size() != kPattern.size()) return 0;

    size_t fieldStart = 0;
    for (int k = 0; k < 3; ++k) {
        const size_t sep = kPattern.find(L':', fieldStart);
        const wchar_t c = text[sep];
        if (!(c == L':' || (k == 2 && c == L';'))) return 0;
        for (size_t i = fieldStart; i < sep; ++i) {
            if (!std::iswdigit(static_cast<wint_t>(text[i]))) return 0;
        }
        const std::wstring digits = text.substr(fieldStart, sep - fieldStart);
        // Earlier fields stay stored when a later check fails.
        timecode[k] = static_cast<unsigned char>(std::wcstoul(digits.c_str(), nullptr, 10));
        fieldStart = sep + 1;
    }
    // The frames field is not digit-checked: parsing simply stops at the
    // first character that cannot continue a number.
    const std::wstring rest = text.substr(fieldStart);
    timecode[3] = static_cast<unsigned char>(std::wcstoul(rest.c_str(), nullptr, 10));
    return 1;
}

void GetFrameRateClass(uint32_t numerator, uint32_t denominator, ELyFrameRate& rate) {
    if (denominator == 0) return;
    const double r = static_cast<double>(numerator) / static_cast<double>(denominator);
    // Integer rates are tried before their 1001 neighbours; the windows are
    // far narrower than the gaps, so at most one can match.
    struct Candidate {
        double value;
        ELyFrameRate rate;
    };
    static constexpr Candidate kOrder[] = {
        {24.0, FrameRate_24}, {23.976023976023978, FrameRate_23_98}, {25.0, FrameRate_25},
        {30.0, FrameRate_30}, {29.97002997002997, FrameRate_29_97},  {50.0, FrameRate_50},
        {60.0, FrameRate_60}, {59.94005994005994, FrameRate_59_94},
    };
    for (const Candidate& c : kOrder) {
        if (std::fabs(r - c.value) <= 0.0001) {
            rate = c.rate;
            return;
        }
    }
    rate = FrameRate_Unknown;
}

uint32_t FrameRateFramesConvert(uint32_t frames, ELyFrameRate from, ELyFrameRate to) {
    // Checked before the table: a round trip through 1001-based rates would
    // otherwise lose a frame to truncation.
    if (from == to) return frames;
    if (!ly::IsKnownFrameRate(from) || !ly::IsKnownFrameRate(to)) return 0;
    const ly::FrameRateRatio& a = ly::kFrameRates[from];
    const ly::FrameRateRatio& b = ly::kFrameRates[to];
    const double v = static_cast<double>(a.denominator) * static_cast<double>(frames) /
                     static_cast<double>(a.numerator) * static_cast<double>(b.numerator) /
                     static_cast<double>(b.denominator);
    return ly::TruncateToLow32(v);
}

void ConvertTrimInOut(uint32_t trimIn, uint32_t trimOut, uint32_t fromUnits, uint32_t toUnits, uint32_t& newIn,
                      uint32_t& newOut) {
    if (fromUnits == 0) return;
    const double from = static_cast<double>(fromUnits);
    const double to = static_cast<double>(toUnits);
    newIn = ly::TruncateToLow32(static_cast<double>(trimIn) / from * to);
    newOut = ly::TruncateToLow32(static_cast<double>(trimOut) / from * to);
}

}  // namespace LyVideoUtils
