// Audio family: size arithmetic and the in-place sample processing, on
// buffers of exactly `bytes` bytes; refused calls (0) touch nothing.

#include "LyAudioUtils.h"
#include "fuzz_support.h"

using namespace LyAudioUtils;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    lyfuzz::Reader in(data, size);
    SLyWaveFormatInfo f{};
    f.channels = in.Range(0, 15) == 0 ? in.Int() : in.Range(0, 8);
    f.samplesPerSec = in.Take<uint32_t>();
    f.avgBytesPerSec = in.Take<uint32_t>();
    f.bitsPerSample = in.Range(0, 7) == 0 ? in.Take<uint16_t>() : (in.Flag() ? 16 : 8);
    f.blockAlign = in.Range(0, 7) == 0 ? in.Take<uint16_t>() : static_cast<uint16_t>(in.Range(0, 16));
    SLyWaveFormatInfo g = f;
    g.samplesPerSec = in.Take<uint32_t>();
    (void)GetAudioBufferSize(f, in.Take<uint32_t>());
    (void)GetAudioBufferSize(f, in.Take<uint64_t>());
    (void)GetAudioBufferSize(f, in.Take<double>());
    (void)GetAudioSampleCounts(f, in.Take<uint32_t>());
    (void)GetAudioSampleMsecond(f, in.Take<uint32_t>());
    (void)GetAudioBufferSize(f, in.Take<uint32_t>(), g);
    SLyAudioResamplerSrc ra{}, rb{};
    ra.samplesPerSec = in.Take<uint32_t>(), rb.samplesPerSec = in.Take<uint32_t>();
    (void)GetAudioBufferSize(ra, in.Take<uint32_t>(), rb);
    const uint32_t rate = in.Take<uint32_t>();
    const ELyFrameRate fr = static_cast<ELyFrameRate>(in.Range(-1, 9));
    (void)GetAudioSampleCounts(rate, fr, in.Take<uint32_t>(), in.Take<uint32_t>());

    const uint32_t bytes = static_cast<uint32_t>(in.Range(0, 3000));
    std::unique_ptr<unsigned char[]> buffer(new unsigned char[bytes ? bytes : 1]);
    in.Fill(buffer.get(), bytes);
    const std::vector<unsigned char> before(buffer.get(), buffer.get() + bytes);
    auto same = [&] { return bytes == 0 || std::memcmp(before.data(), buffer.get(), bytes) == 0; };
    const bool refusedFormat = (f.bitsPerSample != 8 && f.bitsPerSample != 16) || f.channels < 1 || f.blockAlign == 0;
    lyfuzz::Environment env(in);
    switch (in.Range(0, 2)) {
    case 0: {
        const int channels = f.channels > 0 && f.channels < 64 ? f.channels : 1;
        std::unique_ptr<uint32_t[]> gains(new uint32_t[channels]);
        for (int i = 0; i < channels; ++i) gains[i] = in.Range(0, 3) == 0 ? in.Take<uint32_t>() : in.Range(0, 400);
        if (f.channels >= 64) break;  // gains for every channel are the caller's to provide
        const bool nullGains = in.Range(0, 15) == 0;
        const int r = SetAudioVolume(f, buffer.get(), bytes, nullGains ? nullptr : gains.get());
        LYFUZZ_CHECK(r == (refusedFormat || nullGains ? 0 : 1));
        if (r == 0) LYFUZZ_CHECK(same());
        break;
    }
    case 1: {
        const int r = ChangeAudioChannelOption(f, buffer.get(), bytes, static_cast<ELyAudioChannelOption>(in.Range(-1, 6)));
        LYFUZZ_CHECK(r == (refusedFormat ? 0 : 1));
        if (r == 0) LYFUZZ_CHECK(same());
        break;
    }
    default: {
        // Exactly blockAlign * frames bytes may be written.
        const uint32_t frames = f.blockAlign ? bytes / f.blockAlign : 0;
        SilientAudioBuffer(f, buffer.get(), frames);
        break;
    }
    }
    return 0;
}
