// Audio buffer arithmetic, frame cadence, gain, metering, channel routing
// and silence.

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <numeric>
#include <vector>

#include "LyAudioUtils.h"
#include "test_support.h"

using namespace LyAudioUtils;

namespace {

SLyWaveFormatInfo Wave(int channels, uint32_t rate, uint16_t bits, uint16_t blockAlign = 0) {
    SLyWaveFormatInfo w{};
    w.channels = channels;
    w.formatTag = 1;
    w.samplesPerSec = rate;
    w.bitsPerSample = bits;
    w.blockAlign = blockAlign ? blockAlign : static_cast<uint16_t>(channels * bits / 8);
    w.avgBytesPerSec = rate * w.blockAlign;
    return w;
}

const ELyFrameRate kAllRates[] = {FrameRate_23_98, FrameRate_24, FrameRate_25, FrameRate_29_97,
                                  FrameRate_30,    FrameRate_50, FrameRate_59_94, FrameRate_60};
const uint64_t kNum[8] = {24000, 24, 25, 30000, 30, 50, 60000, 60};
const uint64_t kDen[8] = {1001, 1, 1, 1001, 1, 1, 1001, 1};

// Samples from frame 0 to the start of video frame j, rounded half up, in
// exact integer arithmetic.
uint64_t SamplesBefore(uint64_t j, uint64_t sampleRate, ELyFrameRate rate) {
    const uint64_t num = kNum[rate];
    return (2 * j * sampleRate * kDen[rate] + num) / (2 * num);
}

uint64_t Count(uint32_t sampleRate, ELyFrameRate rate, uint32_t start, uint32_t count) {
    return GetAudioSampleCounts(sampleRate, rate, start, count);
}

int16_t Get16(const unsigned char* p) { return static_cast<int16_t>(p[0] | (p[1] << 8)); }
void Put16(unsigned char* p, int v) {
    p[0] = static_cast<unsigned char>(v & 0xFF);
    p[1] = static_cast<unsigned char>((v >> 8) & 0xFF);
}

// A buffer of exactly `bytes` bytes inside guard bytes, with a chosen start
// alignment.
lytest::TestImage AudioBuffer(uint32_t bytes, int align = 0) {
    lytest::TestImage b(std::max<int>(1, static_cast<int>(bytes)), 1, 1, align, 0, false);
    b.FillRandom();
    return b;
}

// The host's sample, with call counting.
class FakeAudioSample final : public ILyAudioSample {
public:
    SLyWaveFormatInfo format = Wave(2, 48000, 16);
    std::vector<int16_t> interleaved;
    bool nullData = false;
    int formatCalls = 0, locks = 0, unlocks = 0;
    bool unlockedBeforeLock = false;

    void SetFrames(const std::vector<int16_t>& left, const std::vector<int16_t>& right) {
        interleaved.clear();
        for (size_t i = 0; i < left.size(); ++i) {
            interleaved.push_back(left[i]);
            interleaved.push_back(right[i]);
        }
    }

    int32_t QueryInterface(const void*, void**) override { return -1; }
    uint32_t AddRef() override { return 1; }
    uint32_t Release() override { return 1; }
    void HostReserved3() override { ADD_FAILURE() << "slot 3 called"; }
    void HostReserved4() override { ADD_FAILURE() << "slot 4 called"; }
    void HostReserved5() override { ADD_FAILURE() << "slot 5 called"; }
    int GetAudioFormat(SLyWaveFormatInfo* f) override {
        ++formatCalls;
        *f = format;
        return 1;
    }
    int LockAudioData(SLyAudioSampleData* d) override {
        ++locks;
        // The samples end exactly where the allocation ends and start at an
        // odd address: a read past them, or a load that assumes alignment,
        // is a sanitizer report.
        storage_.assign(interleaved.size() * 2 + 1, 0);
        if (!interleaved.empty()) std::memcpy(storage_.data() + 1, interleaved.data(), interleaved.size() * 2);
        d->samples = nullData ? nullptr : storage_.data() + 1;
        d->bytes = 12345;  // not the library's business
        d->frames = static_cast<uint32_t>(interleaved.size() / 2);
        return 1;
    }
    void UnlockAudioData() override {
        if (locks == unlocks) unlockedBeforeLock = true;
        ++unlocks;
    }

private:
    std::vector<unsigned char> storage_;
};

constexpr double kNoSignal = -9223372036854775808.0;

// The meter's robust peak defined by sorting: mean of the 20 largest
// non-negative samples, zeros making up the 20.
double ExpectedLevel(const std::vector<int16_t>& channel) {
    int32_t peak = 0;
    if (channel.size() == 1) {
        peak = channel[0];
    } else if (channel.size() > 1) {
        std::vector<int32_t> v;
        for (int16_t s : channel) {
            if (s >= 0) v.push_back(s);
        }
        std::sort(v.rbegin(), v.rend());
        v.resize(20, 0);
        peak = std::accumulate(v.begin(), v.begin() + 20, 0) / 20;
    }
    if (peak == 0) return kNoSignal;
    const double level = peak > 0 ? peak / 32767.0 : -peak / 32768.0;
    return 20.0 * std::log10(level);
}

}  // namespace

// ------------------------------------------------------------ buffer sizes

TEST(AudioSizes, SamplesAndBytes) {
    const SLyWaveFormatInfo w = Wave(2, 48000, 16);
    EXPECT_EQ(GetAudioBufferSize(w, uint32_t{1602}), 6408u);
    EXPECT_EQ(GetAudioBufferSize(w, uint32_t{0x40000000}), 0u);  // 32-bit product wraps
    EXPECT_EQ(GetAudioBufferSize(w, uint64_t{0x40000000}), 0x100000000ull);
    EXPECT_EQ(GetAudioBufferSize(Wave(8, 48000, 16, 0xFFFF), uint64_t{0xFFFFFFFFFFFFull}), 0xFFFFull * 0xFFFFFFFFFFFFull);

    SLyWaveFormatInfo w4 = w;
    w4.blockAlign = 4;
    EXPECT_EQ(GetAudioSampleCounts(w4, uint32_t{7}), 1u);
    EXPECT_EQ(GetAudioSampleCounts(w4, uint32_t{0xFFFFFFFF}), 0x3FFFFFFFu);
    w4.blockAlign = 0;
    EXPECT_EQ(GetAudioSampleCounts(w4, uint32_t{7}), 0u);  // refused

    EXPECT_EQ(GetAudioSampleMsecond(w, 48000), 1000.0);
    EXPECT_EQ(GetAudioSampleMsecond(w, 0xFFFFFFFFu), 4294967295.0 * 1000.0 / 48000.0);
    SLyWaveFormatInfo zero = w;
    zero.samplesPerSec = 0;
    EXPECT_EQ(GetAudioSampleMsecond(zero, 100), 0.0);
}

TEST(AudioSizes, Milliseconds) {
    EXPECT_EQ(GetAudioBufferSize(Wave(2, 48000, 16), 40.0), 7680u);
    EXPECT_EQ(GetAudioBufferSize(Wave(2, 44100, 16), 10.0), 1764u);
    EXPECT_EQ(GetAudioBufferSize(Wave(1, 22050, 8), 0.03), 1u);  // 0.6615 rounds up, not aligned
    EXPECT_EQ(GetAudioBufferSize(Wave(2, 44100, 16), 1.0), 176u);  // 176.4, not a whole frame either
    EXPECT_EQ(GetAudioBufferSize(Wave(2, 48000, 16), 0.0), 0u);
    EXPECT_EQ(GetAudioBufferSize(Wave(2, 48000, 16), -10.0), static_cast<uint32_t>(-1920));
    EXPECT_EQ(GetAudioBufferSize(Wave(2, 48000, 16), std::numeric_limits<double>::quiet_NaN()), 0u);
    EXPECT_EQ(GetAudioBufferSize(Wave(2, 48000, 16), 1e300), 0u);
    // 2^32 + 5 bytes keeps the low half.
    SLyWaveFormatInfo w = Wave(1, 1000, 8);
    w.avgBytesPerSec = 1000;
    EXPECT_EQ(GetAudioBufferSize(w, 4294967301.0), 5u);
}

TEST(AudioSizes, AcrossFormats) {
    EXPECT_EQ(GetAudioBufferSize(Wave(2, 48000, 16), uint32_t{4000}, Wave(2, 44100, 16)), 3676u);
    EXPECT_EQ(GetAudioBufferSize(Wave(2, 48000, 16), uint32_t{4003}, Wave(1, 48000, 8)), 1000u);  // partial frame dropped
    EXPECT_EQ(GetAudioBufferSize(Wave(2, 44100, 16), uint32_t{4}, Wave(2, 48000, 16)), 4u);       // 1.088 rounds to 1
    EXPECT_EQ(GetAudioBufferSize(Wave(2, 48000, 16), uint32_t{0}, Wave(2, 44100, 16)), 0u);
    // Dividing first matters: 1840 frames are exactly 1690.5 at 44.1 kHz, but
    // 1840 / 48000 * 44100 lands just under the half and rounds down.
    EXPECT_EQ(GetAudioBufferSize(Wave(2, 48000, 16), uint32_t{1840 * 4}, Wave(2, 44100, 16)), 1690u * 4u);
    EXPECT_EQ(GetAudioBufferSize(Wave(1, 32000, 16), uint32_t{9 * 2}, Wave(1, 48000, 16)), 13u * 2u);
    SLyAudioResamplerSrc a{2, 48000, 16, 4};
    SLyAudioResamplerSrc b{99, 44100, 99, 4};  // channels and bits are not read
    EXPECT_EQ(GetAudioBufferSize(a, uint32_t{4000}, b), 3676u);
    EXPECT_EQ(GetAudioBufferSize(b, uint32_t{3676}, a), 4000u);
    // Refusals instead of a division by zero.
    SLyAudioResamplerSrc noAlign{2, 48000, 16, 0};
    SLyAudioResamplerSrc noRate{2, 0, 16, 4};
    EXPECT_EQ(GetAudioBufferSize(noAlign, uint32_t{4000}, b), 0u);
    EXPECT_EQ(GetAudioBufferSize(noRate, uint32_t{4000}, b), 0u);
    SLyWaveFormatInfo w = Wave(2, 48000, 16);
    w.blockAlign = 0;
    EXPECT_EQ(GetAudioBufferSize(w, uint32_t{4000}, Wave(2, 44100, 16)), 0u);
    w = Wave(2, 0, 16, 4);
    EXPECT_EQ(GetAudioBufferSize(w, uint32_t{4000}, Wave(2, 44100, 16)), 0u);
}

// ------------------------------------------------------------ video-frame cadence

TEST(AudioCadence, DocumentedCadences) {
    const uint64_t at2997[] = {1602, 1601, 1602, 1601, 1602};
    for (uint32_t k = 0; k < 5; ++k) EXPECT_EQ(Count(48000, FrameRate_29_97, k, 1), at2997[k]);
    EXPECT_EQ(Count(48000, FrameRate_29_97, 0, 5), 8008u);
    const uint64_t at44[] = {1471, 1472, 1471};
    for (uint32_t k = 0; k < 3; ++k) EXPECT_EQ(Count(44100, FrameRate_29_97, k, 1), at44[k]);
    EXPECT_EQ(Count(48000, FrameRate_25, 0, 25), 48000u);
    EXPECT_EQ(Count(48000, FrameRate_25, 1234, 0), 0u);
}

TEST(AudioCadence, EveryFrameOfAnHourAtEveryRateWithoutDrift) {
    for (uint32_t sampleRate : {48000u, 44100u, 32000u, 96000u}) {
        for (ELyFrameRate rate : kAllRates) {
            // One hour of video frames at this rate.
            const uint32_t frames = static_cast<uint32_t>(3600 * kNum[rate] / kDen[rate]);
            uint64_t sum = 0;
            uint64_t lo = ~0ull, hi = 0;
            for (uint32_t k = 0; k < frames; ++k) {
                const uint64_t c = Count(sampleRate, rate, k, 1);
                ASSERT_EQ(c, SamplesBefore(k + 1, sampleRate, rate) - SamplesBefore(k, sampleRate, rate))
                    << sampleRate << " Hz rate " << rate << " frame " << k;
                sum += c;
                lo = std::min(lo, c);
                hi = std::max(hi, c);
            }
            ASSERT_EQ(sum, SamplesBefore(frames, sampleRate, rate));
            ASSERT_EQ(Count(sampleRate, rate, 0, frames), sum);
            ASSERT_LE(hi - lo, 1u);  // a cadence, never a jump
        }
    }
    // The named cadences over the whole hour.
    for (uint32_t k = 0; k < 107892; ++k) {
        const uint64_t c = Count(48000, FrameRate_29_97, k, 1);
        ASSERT_EQ(c, (k % 5) % 2 == 0 ? 1602u : 1601u) << k;
    }
    for (uint32_t k = 0; k < 86314; ++k) ASSERT_EQ(Count(48000, FrameRate_23_98, k, 1), 2002u) << k;
}

TEST(AudioCadence, RunsSplitAnywhereAddUp) {
    std::uniform_int_distribution<uint32_t> start(0, 0xF0000000u);
    std::uniform_int_distribution<uint32_t> len(0, 100000);
    for (ELyFrameRate rate : kAllRates) {
        for (int i = 0; i < 2000; ++i) {
            const uint32_t s = start(lytest::Rng());
            const uint32_t a = len(lytest::Rng());
            const uint32_t b = len(lytest::Rng());
            ASSERT_EQ(Count(48000, rate, s, a) + Count(48000, rate, s + a, b), Count(48000, rate, s, a + b));
            // At 48 kHz no position is ever an exact half, so the exact
            // integer count holds even far into the 32-bit frame range.
            ASSERT_EQ(Count(48000, rate, s, a), SamplesBefore(uint64_t{s} + a, 48000, rate) - SamplesBefore(s, 48000, rate));
        }
    }
}

TEST(AudioCadence, EndWrapsAndBadRates) {
    // The end frame is a 32-bit sum: one frame from the last frame number
    // ends at frame 0, so the count is 0 minus the start's samples.
    const uint64_t first = 4294967295ull * 1920ull;  // 48000 / 25 samples per frame
    EXPECT_EQ(Count(48000, FrameRate_25, 0xFFFFFFFFu, 1), uint64_t{0} - first);
    EXPECT_EQ(Count(48000, FrameRate_25, 0xFFFFFFFEu, 1), 1920u);
    EXPECT_EQ(Count(0, FrameRate_25, 10, 10), 0u);
    for (int bad : {-1, 8, 1000, std::numeric_limits<int>::min()}) {
        EXPECT_EQ(Count(48000, static_cast<ELyFrameRate>(bad), 0, 100), 0u) << bad;
    }
}

// ------------------------------------------------------------ volume

TEST(AudioVolume, SixteenBitClampsAndTruncates) {
    struct Case {
        int in;
        uint32_t gain;
        int out;
    };
    const Case cases[] = {
        {20000, 200, 32767}, {-20000, 200, -32768}, {-3, 50, -1},   {3, 50, 1},        {-32768, 100, -32768},
        {32767, 0, 0},       {-32768, 99, -32440},  {1000, 0xFFFFFFFFu, -10}, {-1000, 0xFFFFFFFFu, 10},
        // The product wraps in 32 bits before dividing: 20000 * 300000 to
        // 1705032704, 20000 * 214748 to -7296.
        {20000, 300000, 32767}, {7, 30000000, 32767}, {20000, 214748, -72},
    };
    for (const Case& c : cases) {
        unsigned char buf[4];
        Put16(buf, c.in);
        Put16(buf + 2, 1234);
        uint32_t gains[2] = {c.gain, 100};
        ASSERT_EQ(SetAudioVolume(Wave(2, 48000, 16), buf, 4, gains), 1);
        EXPECT_EQ(Get16(buf), c.out) << c.in << " * " << c.gain;
        EXPECT_EQ(Get16(buf + 2), 1234);
    }
}

TEST(AudioVolume, SixteenBitEverySample) {
    // Reference: the 32-bit int product taken modulo 2^32 with 64-bit
    // arithmetic, divided toward zero, clamped.
    auto reference = [](int s, uint32_t g) {
        const int64_t wide = static_cast<int64_t>(s) * static_cast<int64_t>(g);
        int64_t wrapped = ((wide % 4294967296LL) + 4294967296LL) % 4294967296LL;
        if (wrapped >= 2147483648LL) wrapped -= 4294967296LL;
        return static_cast<int>(std::clamp<int64_t>(wrapped / 100, -32768, 32767));
    };
    std::vector<unsigned char> buf(65536 * 2);
    for (uint32_t gain : {0u, 1u, 33u, 99u, 101u, 150u, 1000u, 65536u, 2000000000u, 0xFFFFFFFFu, 0xFFFFFF9Cu}) {
        for (int s = -32768; s < 32768; ++s) Put16(&buf[2 * (s + 32768)], s);
        uint32_t g = gain;
        ASSERT_EQ(SetAudioVolume(Wave(1, 48000, 16), buf.data(), static_cast<uint32_t>(buf.size()), &g), 1);
        for (int s = -32768; s < 32768; ++s) ASSERT_EQ(Get16(&buf[2 * (s + 32768)]), reference(s, gain)) << s << " " << gain;
    }
}

TEST(AudioVolume, EightBitWraps) {
    // Gains whose percentage is a multiple of a quarter are exact in binary,
    // so the exact rational result can be the reference.
    auto reference = [](int s, uint32_t g) {
        int64_t v;
        if (s > 128) {
            v = 128 + static_cast<int64_t>((static_cast<uint64_t>(s - 128) * g) % 4294967296ull / 100);
        } else {
            v = (12800 - static_cast<int64_t>(g) * (128 - s)) / 100;  // truncates toward zero
        }
        return static_cast<int>(static_cast<uint64_t>(v) & 0xFF);
    };
    for (uint32_t gain : {0u, 25u, 50u, 75u, 125u, 150u, 200u, 300u, 1000u, 2500u, 40000u, 1000000u}) {
        std::vector<unsigned char> buf(256);
        std::iota(buf.begin(), buf.end(), 0);
        uint32_t g = gain;
        ASSERT_EQ(SetAudioVolume(Wave(1, 8000, 8), buf.data(), 256, &g), 1);
        for (int s = 0; s < 256; ++s) ASSERT_EQ(buf[s], reference(s, gain)) << s << " @ " << gain;
    }
    // The documented pair, and a gain that is not a multiple of 25.
    unsigned char b[3] = {200, 100, 100};
    uint32_t gains[3] = {200, 50, 33};
    ASSERT_EQ(SetAudioVolume(Wave(3, 8000, 8), b, 3, gains), 1);
    EXPECT_EQ(b[0], 16);   // (128 + 144) mod 256
    EXPECT_EQ(b[1], 114);
    EXPECT_EQ(b[2], 118);  // 128 - 9.24
    // A "negative" gain is a huge one: 129 at 0xFFFFFFFF% wraps through the
    // unsigned product.
    unsigned char c[1] = {129};
    uint32_t huge = 0xFFFFFFFFu;
    ASSERT_EQ(SetAudioVolume(Wave(1, 8000, 8), c, 1, &huge), 1);
    EXPECT_EQ(c[0], (128 + 4294967295ull / 100) & 0xFF);
}

TEST(AudioVolume, ChannelsFramesAndBounds) {
    // Stereo 16-bit, odd byte count: 5 whole frames, 3 trailing bytes.
    const uint32_t bytes = 5 * 4 + 3;
    for (int align : {0, 1, 3}) {
        lytest::TestImage buf = AudioBuffer(bytes, align);
        for (int f = 0; f < 5; ++f) {
            Put16(buf.data() + 4 * f, 1000 + f);
            Put16(buf.data() + 4 * f + 2, -1000 - f);
        }
        const auto before = buf.Snapshot();
        const std::vector<unsigned char> trailing(buf.data() + 20, buf.data() + 23);
        uint32_t gains[2] = {50, 100};
        ASSERT_EQ(SetAudioVolume(Wave(2, 48000, 16), buf.data(), bytes, gains), 1);
        for (int f = 0; f < 5; ++f) {
            EXPECT_EQ(Get16(buf.data() + 4 * f), (1000 + f) / 2);
            EXPECT_EQ(Get16(buf.data() + 4 * f + 2), -1000 - f);
        }
        EXPECT_EQ(std::vector<unsigned char>(buf.data() + 20, buf.data() + 23), trailing);
        EXPECT_TRUE(buf.OutsideUnchanged(before));
    }
    // Wider frames than the channels need: padding bytes are not samples.
    unsigned char padded[12] = {};
    for (int f = 0; f < 2; ++f) {
        Put16(padded + 6 * f, 400);
        Put16(padded + 6 * f + 2, 400);
        Put16(padded + 6 * f + 4, 400);
    }
    uint32_t g2[2] = {25, 200};
    ASSERT_EQ(SetAudioVolume(Wave(2, 48000, 16, 6), padded, 12, g2), 1);
    for (int f = 0; f < 2; ++f) {
        EXPECT_EQ(Get16(padded + 6 * f), 100);
        EXPECT_EQ(Get16(padded + 6 * f + 2), 800);
        EXPECT_EQ(Get16(padded + 6 * f + 4), 400);
    }
}

TEST(AudioVolume, ChannelsThatDoNotFitTheFrame) {
    // Three 16-bit channels in 4-byte frames: channel 2 of frame 0 is
    // channel 0 of frame 1 (halved twice), and channel 2 of the last frame
    // would lie past the buffer, so it is skipped.
    lytest::TestImage buf = AudioBuffer(8);
    Put16(buf.data(), 1000);
    Put16(buf.data() + 2, 2000);
    Put16(buf.data() + 4, 3000);
    Put16(buf.data() + 6, 4000);
    const auto before = buf.Snapshot();
    uint32_t gains[3] = {50, 100, 50};
    ASSERT_EQ(SetAudioVolume(Wave(3, 48000, 16, 4), buf.data(), 8, gains), 1);
    EXPECT_EQ(Get16(buf.data()), 500);
    EXPECT_EQ(Get16(buf.data() + 2), 2000);
    EXPECT_EQ(Get16(buf.data() + 4), 750);
    EXPECT_EQ(Get16(buf.data() + 6), 4000);
    EXPECT_TRUE(buf.OutsideUnchanged(before));
    // Mono 16-bit declared with a 1-byte frame: samples overlap byte by byte.
    lytest::TestImage odd = AudioBuffer(5, 3);
    const auto oddBefore = odd.Snapshot();
    uint32_t one = 37;
    ASSERT_EQ(SetAudioVolume(Wave(1, 48000, 16, 1), odd.data(), 5, &one), 1);
    EXPECT_TRUE(odd.OutsideUnchanged(oddBefore));
}

TEST(AudioVolume, Refusals) {
    unsigned char buf[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    const std::vector<unsigned char> original(buf, buf + 8);
    uint32_t gains[8] = {50, 50, 50, 50, 50, 50, 50, 50};
    auto same = [&] { return std::vector<unsigned char>(buf, buf + 8) == original; };
    EXPECT_EQ(SetAudioVolume(Wave(2, 48000, 16), nullptr, 8, gains), 0);
    EXPECT_EQ(SetAudioVolume(Wave(2, 48000, 16), buf, 8, nullptr), 0);
    for (uint16_t bits : {0, 4, 12, 24, 32}) EXPECT_EQ(SetAudioVolume(Wave(2, 48000, bits, 4), buf, 8, gains), 0);
    for (int ch : {0, -1, std::numeric_limits<int>::min()}) {
        EXPECT_EQ(SetAudioVolume(Wave(ch, 48000, 16, 4), buf, 8, gains), 0);
    }
    EXPECT_EQ(SetAudioVolume(Wave(2, 48000, 16, 0xFFFF) , buf, 8, gains), 1);  // no whole frame
    SLyWaveFormatInfo zero = Wave(2, 48000, 16);
    zero.blockAlign = 0;
    EXPECT_EQ(SetAudioVolume(zero, buf, 8, gains), 0);
    EXPECT_TRUE(same());
    EXPECT_EQ(SetAudioVolume(Wave(2, 48000, 16), buf, 3, gains), 1);
    EXPECT_TRUE(same());
}

// ------------------------------------------------------------ meter

TEST(AudioMeter, SilenceFullScaleAndSingleFrames) {
    double levels[2] = {1.0, 2.0};
    FakeAudioSample s;
    s.SetFrames(std::vector<int16_t>(100, 0), std::vector<int16_t>(100, 0));
    ASSERT_EQ(GetAudioVolume(&s, levels), 1);
    EXPECT_EQ(levels[0], kNoSignal);
    EXPECT_EQ(levels[1], kNoSignal);

    s.SetFrames(std::vector<int16_t>(20, 32767), std::vector<int16_t>(20, -32768));
    ASSERT_EQ(GetAudioVolume(&s, levels), 1);
    EXPECT_EQ(levels[0], 0.0);
    EXPECT_EQ(levels[1], kNoSignal);  // negative samples never count

    // Fewer than 20 loud frames are averaged with zeros: 19 * 32767 / 20.
    s.SetFrames(std::vector<int16_t>(19, 32767), std::vector<int16_t>(19, 1));
    ASSERT_EQ(GetAudioVolume(&s, levels), 1);
    EXPECT_EQ(levels[0], 20.0 * std::log10(31128 / 32767.0));
    EXPECT_EQ(levels[1], kNoSignal);  // 19 / 20 truncates to 0
    s.SetFrames(std::vector<int16_t>(20, 1), std::vector<int16_t>(20, 1));
    ASSERT_EQ(GetAudioVolume(&s, levels), 1);
    EXPECT_EQ(levels[0], 20.0 * std::log10(1 / 32767.0));  // the quietest signal, about -90 dB

    // One frame: its samples as they are, negative ones included.
    s.SetFrames({-32768}, {16384});
    ASSERT_EQ(GetAudioVolume(&s, levels), 1);
    EXPECT_EQ(levels[0], 0.0);
    EXPECT_EQ(levels[1], 20.0 * std::log10(16384 / 32767.0));
    s.SetFrames({-16384}, {0});
    ASSERT_EQ(GetAudioVolume(&s, levels), 1);
    EXPECT_EQ(levels[0], 20.0 * std::log10(0.5));
    EXPECT_EQ(levels[1], kNoSignal);

    s.SetFrames({}, {});
    levels[0] = levels[1] = 3.0;
    ASSERT_EQ(GetAudioVolume(&s, levels), 1);
    EXPECT_EQ(levels[0], kNoSignal);
    EXPECT_EQ(levels[1], kNoSignal);
    EXPECT_EQ(s.locks, s.unlocks);
    EXPECT_FALSE(s.unlockedBeforeLock);
}

TEST(AudioMeter, RobustPeakOnRandomBuffers) {
    FakeAudioSample s;
    std::uniform_int_distribution<int> sample(-32768, 32767);
    std::uniform_int_distribution<int> quiet(-300, 300);
    for (int frames : {2, 3, 19, 20, 21, 40, 1602, 4000}) {
        for (int round = 0; round < 20; ++round) {
            std::vector<int16_t> l(frames), r(frames);
            for (int i = 0; i < frames; ++i) {
                l[i] = static_cast<int16_t>(sample(lytest::Rng()));
                r[i] = static_cast<int16_t>(round % 2 ? quiet(lytest::Rng()) : sample(lytest::Rng()));
            }
            if (round == 3) std::fill(l.begin(), l.end(), 500);  // ties everywhere
            s.SetFrames(l, r);
            double levels[2] = {};
            ASSERT_EQ(GetAudioVolume(&s, levels), 1);
            ASSERT_EQ(levels[0], ExpectedLevel(l)) << frames;
            ASSERT_EQ(levels[1], ExpectedLevel(r)) << frames;
        }
    }
    EXPECT_EQ(s.locks, s.unlocks);
    EXPECT_EQ(s.formatCalls, s.locks);
}

TEST(AudioMeter, Refusals) {
    FakeAudioSample s;
    s.SetFrames({100, 200}, {300, 400});
    double levels[2] = {7.0, 8.0};
    EXPECT_EQ(GetAudioVolume(nullptr, levels), 0);
    EXPECT_EQ(GetAudioVolume(&s, nullptr), 0);
    EXPECT_EQ(s.formatCalls, 0);
    for (auto format : {Wave(1, 48000, 16), Wave(2, 48000, 8), Wave(6, 48000, 16), Wave(2, 48000, 24),
                        Wave(0, 48000, 16)}) {
        s.format = format;
        EXPECT_EQ(GetAudioVolume(&s, levels), 0);
    }
    EXPECT_EQ(s.locks, 0);  // refused before the data was asked for
    EXPECT_EQ(levels[0], 7.0);
    EXPECT_EQ(levels[1], 8.0);

    // Data handed out without samples: released again, levels untouched.
    s.format = Wave(2, 48000, 16);
    s.nullData = true;
    EXPECT_EQ(GetAudioVolume(&s, levels), 0);
    EXPECT_EQ(s.locks, 1);
    EXPECT_EQ(s.unlocks, 1);
    EXPECT_EQ(levels[0], 7.0);
    EXPECT_EQ(levels[1], 8.0);
}

// ------------------------------------------------------------ channel options

namespace {

// The routing as a list of (left, right) frames, independent of bytes.
using Frames = std::vector<std::pair<int, int>>;

void RouteModel(Frames& f, size_t first, size_t count, ELyAudioChannelOption option) {
    for (size_t i = first; i < first + count && i < f.size(); ++i) {
        auto& [l, r] = f[i];
        if (option == AudioChannel_LeftToBoth) r = l;
        else if (option == AudioChannel_RightToBoth) l = r;
        else if (option == AudioChannel_Swap) std::swap(l, r);
    }
}

}  // namespace

TEST(AudioChannels, EightBitPairs) {
    unsigned char b[2] = {10, 20};
    ASSERT_EQ(ChangeAudioChannelOption(Wave(2, 8000, 8), b, 2, AudioChannel_Swap), 1);
    EXPECT_EQ(b[0], 20);
    EXPECT_EQ(b[1], 10);
    for (auto option : {AudioChannel_LeftToBoth, AudioChannel_RightToBoth, AudioChannel_Swap}) {
        for (uint32_t frames : {0u, 1u, 2u, 5u, 33u}) {
            lytest::TestImage buf = AudioBuffer(frames * 2 + 1, 1);
            const auto before = buf.Snapshot();
            Frames model;
            for (uint32_t i = 0; i < frames; ++i) model.emplace_back(buf.data()[2 * i], buf.data()[2 * i + 1]);
            const unsigned char last = buf.data()[frames * 2];
            RouteModel(model, 0, frames, option);
            ASSERT_EQ(ChangeAudioChannelOption(Wave(2, 8000, 8), buf.data(), frames * 2 + 1, option), 1);
            for (uint32_t i = 0; i < frames; ++i) {
                ASSERT_EQ(buf.data()[2 * i], model[i].first);
                ASSERT_EQ(buf.data()[2 * i + 1], model[i].second);
            }
            EXPECT_EQ(buf.data()[frames * 2], last);
            EXPECT_TRUE(buf.OutsideUnchanged(before));
        }
    }
}

TEST(AudioChannels, SixteenBitRemainderStartsInsideTheGroups) {
    // Stereo 16-bit: groups of four frames from the start, then frames % 4
    // frames from frame frames / 4 (blockAlign * (frames / 4) bytes in).
    for (auto option : {AudioChannel_LeftToBoth, AudioChannel_RightToBoth, AudioChannel_Swap}) {
        for (uint32_t frames = 0; frames <= 41; ++frames) {
            const uint32_t bytes = frames * 4;
            lytest::TestImage buf = AudioBuffer(bytes, static_cast<int>(frames % 4));
            const auto before = buf.Snapshot();
            Frames model;
            for (uint32_t i = 0; i < frames; ++i) model.emplace_back(Get16(buf.data() + 4 * i), Get16(buf.data() + 4 * i + 2));
            RouteModel(model, 0, frames / 4 * 4, option);
            RouteModel(model, frames / 4, frames % 4, option);
            ASSERT_EQ(ChangeAudioChannelOption(Wave(2, 48000, 16), buf.data(), bytes, option), 1);
            for (uint32_t i = 0; i < frames; ++i) {
                ASSERT_EQ(Get16(buf.data() + 4 * i), model[i].first) << option << " frames " << frames << " at " << i;
                ASSERT_EQ(Get16(buf.data() + 4 * i + 2), model[i].second) << option << " frames " << frames << " at " << i;
            }
            EXPECT_TRUE(buf.OutsideUnchanged(before));
        }
    }
    // Spelled out: five frames swapped leave frame 1 swapped back and frame 4 alone.
    unsigned char b[20];
    for (int i = 0; i < 10; ++i) Put16(b + 2 * i, i);
    ASSERT_EQ(ChangeAudioChannelOption(Wave(2, 48000, 16), b, 20, AudioChannel_Swap), 1);
    const int expected[10] = {1, 0, 2, 3, 5, 4, 7, 6, 8, 9};
    for (int i = 0; i < 10; ++i) EXPECT_EQ(Get16(b + 2 * i), expected[i]) << i;
}

TEST(AudioChannels, NarrowFramesNeverLeaveTheBuffer) {
    // Mono formats: the stereo assumption reaches past `bytes` unless clipped.
    for (auto option : {AudioChannel_LeftToBoth, AudioChannel_RightToBoth, AudioChannel_Swap, AudioChannel_Mute}) {
        for (uint32_t bytes = 0; bytes <= 40; ++bytes) {
            for (auto format : {Wave(1, 48000, 16), Wave(1, 8000, 8), Wave(3, 48000, 16, 6), Wave(2, 48000, 16, 3)}) {
                lytest::TestImage buf = AudioBuffer(bytes, static_cast<int>(bytes % 7));
                const auto before = buf.Snapshot();
                ASSERT_EQ(ChangeAudioChannelOption(format, buf.data(), bytes, option), 1);
                ASSERT_TRUE(buf.OutsideUnchanged(before)) << option << " bytes " << bytes << " align " << format.blockAlign;
            }
        }
    }
    // Mono 16-bit, 9 frames in 18 bytes: the grouped pass covers the first
    // four 4-byte pairs, the remainder pass pair 1 again (2 * 2 bytes in).
    unsigned char b[18];
    for (int i = 0; i < 9; ++i) Put16(b + 2 * i, i);
    ASSERT_EQ(ChangeAudioChannelOption(Wave(1, 48000, 16), b, 18, AudioChannel_Swap), 1);
    const int expected[9] = {1, 0, 2, 3, 5, 4, 7, 6, 8};
    for (int i = 0; i < 9; ++i) EXPECT_EQ(Get16(b + 2 * i), expected[i]) << i;
}

TEST(AudioChannels, MuteNormalAndOtherValues) {
    for (uint16_t bits : {8, 16}) {
        const SLyWaveFormatInfo w = Wave(2, 48000, bits);
        const uint32_t bytes = 7 * w.blockAlign + w.blockAlign - 1;  // a partial frame at the end
        lytest::TestImage buf = AudioBuffer(bytes, 5);
        const auto before = buf.Snapshot();
        const std::vector<unsigned char> original(buf.data(), buf.data() + bytes);
        for (int option : {0, 5, -1, 1000}) {
            ASSERT_EQ(ChangeAudioChannelOption(w, buf.data(), bytes, static_cast<ELyAudioChannelOption>(option)), 1);
            ASSERT_EQ(std::vector<unsigned char>(buf.data(), buf.data() + bytes), original) << option;
        }
        ASSERT_EQ(ChangeAudioChannelOption(w, buf.data(), bytes, AudioChannel_Mute), 1);
        for (uint32_t i = 0; i < bytes; ++i) {
            const unsigned char want = i < 7u * w.blockAlign ? (bits == 8 ? 128 : 0) : original[i];
            ASSERT_EQ(buf.data()[i], want) << bits << " byte " << i;
        }
        EXPECT_TRUE(buf.OutsideUnchanged(before));
    }
}

TEST(AudioChannels, Refusals) {
    unsigned char buf[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    const std::vector<unsigned char> original(buf, buf + 8);
    EXPECT_EQ(ChangeAudioChannelOption(Wave(2, 48000, 16), nullptr, 8, AudioChannel_Swap), 0);
    for (uint16_t bits : {0, 12, 24}) {
        EXPECT_EQ(ChangeAudioChannelOption(Wave(2, 48000, bits, 4), buf, 8, AudioChannel_Mute), 0);
    }
    EXPECT_EQ(ChangeAudioChannelOption(Wave(0, 48000, 16, 4), buf, 8, AudioChannel_Mute), 0);
    EXPECT_EQ(ChangeAudioChannelOption(Wave(-2, 48000, 16, 4), buf, 8, AudioChannel_Mute), 0);
    SLyWaveFormatInfo zero = Wave(2, 48000, 16);
    zero.blockAlign = 0;
    EXPECT_EQ(ChangeAudioChannelOption(zero, buf, 8, AudioChannel_Mute), 0);
    EXPECT_EQ(std::vector<unsigned char>(buf, buf + 8), original);
}

// ------------------------------------------------------------ silence

TEST(AudioSilence, FillsFramesNotBytes) {
    struct Case {
        SLyWaveFormatInfo w;
        uint32_t frames;
        uint32_t bytes;  // written
        unsigned char value;
    };
    const Case cases[] = {
        {Wave(2, 8000, 8), 3, 6, 128},        {Wave(2, 48000, 16), 3, 12, 0}, {Wave(1, 48000, 16), 5, 10, 0},
        {Wave(3, 8000, 8), 1, 3, 128},        {Wave(2, 48000, 16), 0, 0, 0},  {Wave(2, 48000, 24, 6), 4, 0, 0},
        {Wave(2, 48000, 32, 8), 4, 0, 0},     {Wave(6, 48000, 16, 12), 7, 84, 0},
    };
    for (const Case& c : cases) {
        for (int align : {0, 1, 2, 3}) {
            lytest::TestImage buf = AudioBuffer(c.bytes + 9, align);
            const auto before = buf.Snapshot();
            const std::vector<unsigned char> original(buf.data(), buf.data() + c.bytes + 9);
            SilientAudioBuffer(c.w, buf.data(), c.frames);
            for (uint32_t i = 0; i < c.bytes + 9; ++i) {
                ASSERT_EQ(buf.data()[i], i < c.bytes ? c.value : original[i]) << c.w.bitsPerSample << " " << i;
            }
            EXPECT_TRUE(buf.OutsideUnchanged(before));
        }
    }
    SilientAudioBuffer(Wave(2, 48000, 16), nullptr, 100);  // refused, no crash
}
