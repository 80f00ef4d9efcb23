// Byte, sample-frame, millisecond and video-frame arithmetic for interleaved
// PCM audio.

#include "LyAudioUtils.h"
#include "video/LyFrameRates.h"

namespace LyAudioUtils {

namespace {

template <typename Format>
uint32_t ConvertSize(const Format& source, uint32_t bytes, const Format& destination) {
    if (source.blockAlign == 0 || source.samplesPerSec == 0) return 0;
    const uint32_t frames = bytes / source.blockAlign;
    // Divide first, then multiply: the order is part of the result.
    const double scaled = static_cast<double>(frames) / static_cast<double>(source.samplesPerSec) *
                          static_cast<double>(destination.samplesPerSec);
    return ly::RoundToLow32(scaled) * static_cast<uint32_t>(destination.blockAlign);
}

}  // namespace

uint32_t GetAudioBufferSize(const SLyWaveFormatInfo& info, uint32_t samples) {
    return static_cast<uint32_t>(info.blockAlign) * samples;
}

uint64_t GetAudioBufferSize(const SLyWaveFormatInfo& info, uint64_t samples) {
    return static_cast<uint64_t>(info.blockAlign) * samples;
}

uint32_t GetAudioBufferSize(const SLyWaveFormatInfo& info, double msec) {
    return ly::RoundToLow32(static_cast<double>(info.avgBytesPerSec) * msec / 1000.0);
}

uint32_t GetAudioSampleCounts(const SLyWaveFormatInfo& info, uint32_t bytes) {
    if (info.blockAlign == 0) return 0;
    return bytes / info.blockAlign;
}

double GetAudioSampleMsecond(const SLyWaveFormatInfo& info, uint32_t samples) {
    if (info.samplesPerSec == 0) return 0.0;
    return static_cast<double>(samples) * 1000.0 / static_cast<double>(info.samplesPerSec);
}

uint32_t GetAudioBufferSize(const SLyWaveFormatInfo& source, uint32_t bytes, const SLyWaveFormatInfo& destination) {
    return ConvertSize(source, bytes, destination);
}

uint32_t GetAudioBufferSize(const SLyAudioResamplerSrc& source, uint32_t bytes,
                            const SLyAudioResamplerSrc& destination) {
    return ConvertSize(source, bytes, destination);
}

uint64_t GetAudioSampleCounts(const uint32_t& sampleRate, const ELyFrameRate& rate, uint32_t startFrame,
                              uint32_t frameCount) {
    if (!ly::IsKnownFrameRate(rate)) return 0;
    const double num = static_cast<double>(ly::kFrameRates[rate].numerator);
    const double den = static_cast<double>(ly::kFrameRates[rate].denominator);
    const double sr = static_cast<double>(sampleRate);
    // Both ends are rounded from the absolute position, so consecutive runs
    // add up to the run that spans them: the cadence never drifts.
    const int64_t first = ly::RoundToInt64(static_cast<double>(startFrame) * sr * den / num);
    const uint32_t end = startFrame + frameCount;  // wraps, as documented
    const int64_t last = ly::RoundToInt64(den * (sr * static_cast<double>(end)) / num);
    return static_cast<uint64_t>(last) - static_cast<uint64_t>(first);
}

}  // namespace LyAudioUtils
