// Timecode and audio for a clip at 29.97 fps drop-frame with 48 kHz sound:
// the labels a host prints on its timeline and how many audio samples go
// with each video frame (1602, 1601, 1602, 1601, 1602: 8008 in five frames).
//
//   clip_timing [first-frame] [frame-count]
#include <LyAVUtils.h>

#include <cstdio>
#include <cstdlib>
#include <string>

int main(int argc, char** argv) {
    const uint32_t first = argc > 1 ? static_cast<uint32_t>(std::strtoul(argv[1], nullptr, 10)) : 17980;
    const uint32_t count = argc > 2 ? static_cast<uint32_t>(std::strtoul(argv[2], nullptr, 10)) : 8;
    const ELyFrameRate rate = FrameRate_29_97;
    const uint32_t sampleRate = 48000;

    std::printf("%8s  %-12s %8s %12s\n", "frame", "timecode", "samples", "first sample");
    for (uint32_t f = first; f < first + count; ++f) {
        std::wstring text;
        LyVideoUtils::Frame2String(rate, 1, 0, f, text);  // drop-frame labels: HH:MM:SS;FF
        const std::string tc(text.begin(), text.end());
        const uint64_t samples = LyAudioUtils::GetAudioSampleCounts(sampleRate, rate, f, 1);
        const uint64_t before = LyAudioUtils::GetAudioSampleCounts(sampleRate, rate, 0, f);
        std::printf("%8u  %-12s %8llu %12llu\n", f, tc.c_str(), static_cast<unsigned long long>(samples),
                    static_cast<unsigned long long>(before));
    }
    const uint64_t total = LyAudioUtils::GetAudioSampleCounts(sampleRate, rate, first, count);
    std::printf("%u frames carry %llu samples at %u Hz\n", count, static_cast<unsigned long long>(total), sampleRate);

    // Sanity a host can rely on: ten minutes of drop-frame video is exactly 00:10:00;00.
    unsigned char tc[4];
    LyVideoUtils::GetFrameTimeCode(rate, 17982, tc, 1, 0);
    return tc[0] == 0 && tc[1] == 10 && tc[2] == 0 && tc[3] == 0 ? 0 : 1;
}
