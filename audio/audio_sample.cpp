// In-place processing of interleaved 8-bit unsigned and 16-bit signed
// little-endian PCM: gain, level metering, channel routing and silence.

#include <algorithm>
#include <cmath>
#include <cstring>

#include "LyAudioUtils.h"
#include "video/LyFrameRates.h"

namespace LyAudioUtils {

namespace {

// Byte-wise so that the result does not depend on the host's byte order or
// on the alignment of the caller's buffer.
inline int16_t Load16(const unsigned char* p) {
    return static_cast<int16_t>(static_cast<uint16_t>(p[0] | (p[1] << 8)));
}

inline void Store16(unsigned char* p, int32_t v) {
    p[0] = static_cast<unsigned char>(v & 0xFF);
    p[1] = static_cast<unsigned char>((v >> 8) & 0xFF);
}

bool SupportedFormat(const SLyWaveFormatInfo& info) {
    return (info.bitsPerSample == 8 || info.bitsPerSample == 16) && info.channels >= 1 && info.blockAlign != 0;
}

inline int32_t Gain16(int16_t s, uint32_t gain) {
    // The product is a 32-bit int and wraps before the division: a huge gain
    // gives the wrapped quotient (then clamped), not a saturated sample.
    const int32_t product = static_cast<int32_t>(static_cast<uint32_t>(static_cast<int32_t>(s)) * gain);
    return std::clamp(product / 100, -32768, 32767);
}

inline unsigned char Gain8(unsigned char s, uint32_t gain) {
    // No clipping on this path: results wrap modulo 256.
    if (s > 128) {
        const uint32_t product = static_cast<uint32_t>(s - 128) * gain;
        const int32_t t = static_cast<int32_t>(static_cast<double>(product) / 100.0);
        return static_cast<unsigned char>((128 + t) & 0xFF);
    }
    const double v = 128.0 - static_cast<double>(gain) / 100.0 * static_cast<double>(128 - s);
    return static_cast<unsigned char>(static_cast<uint64_t>(ly::TruncateToInt64(v)) & 0xFF);
}

void ApplyGainSample(unsigned char* p, uint32_t bytesPerSample, uint32_t gain) {
    if (bytesPerSample == 2)
        Store16(p, Gain16(Load16(p), gain));
    else
        *p = Gain8(*p, gain);
}

// The usual case: every channel's sample lies inside its own frame, so the
// samples are independent and each channel can be done on its own.
void GainByChannel(const SLyWaveFormatInfo& info, unsigned char* buffer, uint32_t frames, const uint32_t* gains) {
    const size_t step = info.blockAlign;
    const uint32_t channels = static_cast<uint32_t>(info.channels);
    for (uint32_t c = 0; c < channels; ++c) {
        const uint32_t gain = gains[c];
        if (gain == 100) continue;
        if (info.bitsPerSample == 16) {
            unsigned char* p = buffer + 2 * static_cast<size_t>(c);
            for (uint32_t f = 0; f < frames; ++f, p += step) Store16(p, Gain16(Load16(p), gain));
        } else {
            unsigned char table[256];
            for (int s = 0; s < 256; ++s) table[s] = Gain8(static_cast<unsigned char>(s), gain);
            unsigned char* p = buffer + c;
            for (uint32_t f = 0; f < frames; ++f, p += step) *p = table[*p];
        }
    }
}

// A format whose channels do not fit in blockAlign makes samples reach into
// the next frame, so the order of updates matters and the last frame reaches
// past the buffer: keep frame-then-channel order and skip what lies outside.
void GainOverlapping(const SLyWaveFormatInfo& info, unsigned char* buffer, uint32_t bytes, uint32_t frames,
                     const uint32_t* gains) {
    const uint64_t bps = info.bitsPerSample / 8u;
    const uint64_t channels = static_cast<uint64_t>(info.channels);
    for (uint64_t f = 0; f < frames; ++f) {
        const uint64_t frameStart = f * info.blockAlign;
        for (uint64_t c = 0; c < channels; ++c) {
            const uint64_t offset = frameStart + c * bps;
            if (offset + bps > bytes) break;
            if (gains[c] != 100) ApplyGainSample(buffer + offset, static_cast<uint32_t>(bps), gains[c]);
        }
    }
}

// The meter's robust peak: the mean of the 20 largest non-negative samples,
// with zeros standing in when there are fewer than 20.
int32_t RobustPeak(const unsigned char* samples, uint32_t frames, int channel) {
    if (frames == 0) return 0;
    if (frames == 1) return Load16(samples + 2 * channel);
    int32_t best[20] = {};
    int minIndex = 0;
    const unsigned char* p = samples + 2 * channel;
    for (uint32_t i = 0; i < frames; ++i, p += 4) {
        const int32_t s = Load16(p);
        if (s < 0 || s <= best[minIndex]) continue;
        best[minIndex] = s;
        // The list changes only here, so the smallest entry is looked for only here.
        minIndex = 0;
        for (int k = 1; k < 20; ++k) {
            if (best[k] < best[minIndex]) minIndex = k;
        }
    }
    int32_t sum = 0;
    for (int32_t v : best) sum += v;
    return sum / 20;
}

double LevelFromPeak(int32_t peak) {
    const double level = peak >= 0 ? std::fabs(static_cast<double>(peak) / 32767.0)
                                   : std::fabs(static_cast<double>(peak) * -1.0 / 32768.0);
    if (static_cast<float>(level) > 0.00001) return 20.0 * std::log10(level);
    return -9223372036854775808.0;  // no signal
}

// Stereo frame operations on (left, right) pairs of `width` bytes each.
inline void RouteFrame(unsigned char* frame, size_t width, ELyAudioChannelOption option) {
    unsigned char* left = frame;
    unsigned char* right = frame + width;
    unsigned char tmp[2];
    switch (option) {
    case AudioChannel_LeftToBoth:
        std::memcpy(right, left, width);
        break;
    case AudioChannel_RightToBoth:
        std::memcpy(left, right, width);
        break;
    case AudioChannel_Swap:
        std::memcpy(tmp, left, width);
        std::memcpy(left, right, width);
        std::memcpy(right, tmp, width);
        break;
    default:
        break;
    }
}

void Route16(unsigned char* buffer, uint32_t bytes, uint32_t frames, uint32_t blockAlign,
             ELyAudioChannelOption option) {
    // Whole groups of four stereo frames, 16 bytes each, from the start.
    const uint64_t grouped = std::min<uint64_t>(16ull * (frames / 4), bytes / 4 * 4ull);
    for (uint64_t off = 0; off < grouped; off += 4) RouteFrame(buffer + off, 2, option);
    // The remaining frames start blockAlign * (frames / 4) bytes in, not after
    // the grouped frames. The placement is deliberate, even though for stereo
    // it reprocesses grouped frames and leaves the last ones alone.
    const uint64_t start = static_cast<uint64_t>(blockAlign) * (frames / 4);
    for (uint64_t j = 0, off = start; j < frames % 4 && off + 4 <= bytes; ++j, off += 4) {
        RouteFrame(buffer + off, 2, option);
    }
}

void Route8(unsigned char* buffer, uint32_t bytes, uint32_t frames, ELyAudioChannelOption option) {
    // Two bytes per frame whatever blockAlign says; stop at the buffer's end.
    const uint64_t limit = std::min<uint64_t>(2ull * frames, bytes / 2 * 2ull);
    for (uint64_t off = 0; off < limit; off += 2) RouteFrame(buffer + off, 1, option);
}

}  // namespace

int SetAudioVolume(const SLyWaveFormatInfo& info, unsigned char* buffer, uint32_t bytes, uint32_t* const gains) {
    if (buffer == nullptr || gains == nullptr || !SupportedFormat(info)) return 0;
    const uint32_t frames = bytes / info.blockAlign;
    if (frames == 0) return 1;
    const uint64_t frameBytesUsed = static_cast<uint64_t>(info.channels) * (info.bitsPerSample / 8u);
    if (frameBytesUsed <= info.blockAlign)
        GainByChannel(info, buffer, frames, gains);
    else
        GainOverlapping(info, buffer, bytes, frames, gains);
    return 1;
}

int GetAudioVolume(ILyAudioSample* sample, double* const levels) {
    if (sample == nullptr || levels == nullptr) return 0;
    SLyWaveFormatInfo format{};
    sample->GetAudioFormat(&format);
    if (format.channels != 2 || format.bitsPerSample != 16) return 0;
    SLyAudioSampleData data{};
    sample->LockAudioData(&data);
    if (data.samples == nullptr && data.frames != 0) {
        sample->UnlockAudioData();
        return 0;
    }
    const double left = LevelFromPeak(RobustPeak(data.samples, data.frames, 0));
    const double right = LevelFromPeak(RobustPeak(data.samples, data.frames, 1));
    levels[0] = left;
    levels[1] = right;
    sample->UnlockAudioData();
    return 1;
}

int ChangeAudioChannelOption(const SLyWaveFormatInfo& info, unsigned char* buffer, uint32_t bytes,
                             ELyAudioChannelOption option) {
    if (buffer == nullptr || !SupportedFormat(info)) return 0;
    const uint32_t frames = bytes / info.blockAlign;
    switch (option) {
    case AudioChannel_Mute:
        std::memset(buffer, info.bitsPerSample == 8 ? 0x80 : 0x00, static_cast<size_t>(frames) * info.blockAlign);
        break;
    case AudioChannel_LeftToBoth:
    case AudioChannel_RightToBoth:
    case AudioChannel_Swap:
        if (info.bitsPerSample == 16)
            Route16(buffer, bytes, frames, info.blockAlign, option);
        else
            Route8(buffer, bytes, frames, option);
        break;
    default:
        break;  // Normal, and values outside the enumeration
    }
    return 1;
}

void SilientAudioBuffer(const SLyWaveFormatInfo& info, unsigned char* buffer, uint32_t frames) {
    if (buffer == nullptr) return;
    // 32-bit byte count, as the caller sized the buffer with the same product.
    const uint32_t count = static_cast<uint32_t>(info.blockAlign) * frames;
    if (info.bitsPerSample == 8)
        std::memset(buffer, 0x80, count);
    else if (info.bitsPerSample == 16)
        std::memset(buffer, 0x00, count);
}

}  // namespace LyAudioUtils
