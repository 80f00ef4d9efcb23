// Timecode and audio cadence.
#include "lyav.h"

#include <cstdio>

namespace lyav {

namespace {

std::string Narrow(const std::wstring& w) {
    std::string s;
    for (wchar_t c : w) s.push_back(c >= 32 && c < 127 ? static_cast<char>(c) : '?');
    return s;
}

}  // namespace

int RunTimecode(const std::vector<std::string>& argv) {
    static const char kUsage[] =
        "usage: lyav timecode --rate R [--drop-frame] [--field-based] VALUE...\n"
        "Each VALUE is a frame number (printed with its timecode, LyVideoUtils::Frame2String)\n"
        "or a timecode HH:MM:SS:FF / HH:MM:SS;FF (printed with its frame number,\n"
        "String2TimeCode and TimeCode2Frame). One line per value: FRAME TIMECODE.\n"
        "  --rate R         23.976, 24, 25, 29.97, 30, 50, 59.94 or 60\n"
        "  --drop-frame     drop-frame labels at 29.97 and 59.94 (semicolon before the frames)\n"
        "  --field-based    at 50, 59.94 and 60 count fields: frames 2k and 2k+1 share a label\n"
        "Note: with --drop-frame a timecode's frame number is the elapsed real time\n"
        "(round(rate x seconds) + frames), as the library defines it, not the inverse\n"
        "of the drop-frame labels.\n";
    Args args("timecode", argv, {{"rate", true}, {"drop-frame", false}, {"field-based", false}});
    if (PrintedHelp(args, kUsage)) return 0;
    if (!args.Has("rate")) Fail("lyav timecode: no --rate given");
    const ELyFrameRate rate = ParseRate(args.Get("rate"));
    const int dropFrame = args.Has("drop-frame") ? 1 : 0, fieldBased = args.Has("field-based") ? 1 : 0;
    if (args.positional().empty()) Fail("lyav timecode: expected one or more frame numbers or timecodes");
    for (const std::string& value : args.positional()) {
        if (value.find(':') != std::string::npos || value.find(';') != std::string::npos) {
            unsigned char tc[4] = {};
            const std::wstring text(value.begin(), value.end());
            if (!LyVideoUtils::String2TimeCode(text, tc)) Fail("lyav timecode: '" + value + "' is not HH:MM:SS:FF");
            uint32_t frame = 0;
            LyVideoUtils::TimeCode2Frame(rate, tc, dropFrame, fieldBased, frame);
            std::printf("%u %s\n", frame, value.c_str());
        } else {
            const uint32_t frame =
                static_cast<uint32_t>(ParseInteger(value, "lyav timecode frame", 0, 4294967295LL));
            std::wstring text;
            LyVideoUtils::Frame2String(rate, dropFrame, fieldBased, frame, text);
            std::printf("%u %s\n", frame, Narrow(text).c_str());
        }
    }
    return 0;
}

int RunCadence(const std::vector<std::string>& argv) {
    static const char kUsage[] =
        "usage: lyav cadence --rate R [--sample-rate HZ] [--start FRAME] [--count N]\n"
        "Audio sample frames that belong to each video frame\n"
        "(LyAudioUtils::GetAudioSampleCounts): both ends are rounded from the absolute\n"
        "position, so fractional rates follow a cadence that never drifts (48000 Hz at\n"
        "29.97: 1602 1601 1602 1601 1602). Prints FRAME SAMPLES FIRST-SAMPLE per line and\n"
        "the total. --sample-rate defaults to 48000, --start to 0, --count to 10.\n";
    Args args("cadence", argv, {{"rate", true}, {"sample-rate", true}, {"start", true}, {"count", true}});
    if (PrintedHelp(args, kUsage)) return 0;
    args.ExpectPositional(0, "no file arguments");
    if (!args.Has("rate")) Fail("lyav cadence: no --rate given");
    const ELyFrameRate rate = ParseRate(args.Get("rate"));
    const uint32_t sampleRate = static_cast<uint32_t>(args.GetInt("sample-rate", 48000, 1, 1000000));
    const uint32_t start = static_cast<uint32_t>(args.GetInt("start", 0, 0, 2147483647));
    const uint32_t count = static_cast<uint32_t>(args.GetInt("count", 10, 1, 10000000));
    std::printf("# %u Hz at %s fps, frames %u..%u\n# frame samples first-sample\n", sampleRate, RateName(rate), start,
                start + count - 1);
    for (uint32_t f = start; f - start < count; ++f) {
        const uint64_t n = LyAudioUtils::GetAudioSampleCounts(sampleRate, rate, f, 1);
        const uint64_t before = LyAudioUtils::GetAudioSampleCounts(sampleRate, rate, 0, f);
        std::printf("%u %llu %llu\n", f, static_cast<unsigned long long>(n), static_cast<unsigned long long>(before));
    }
    std::printf("# total %llu samples in %u frames\n",
                static_cast<unsigned long long>(LyAudioUtils::GetAudioSampleCounts(sampleRate, rate, start, count)),
                count);
    return 0;
}

}  // namespace lyav
