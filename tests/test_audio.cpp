// Audio buffer arithmetic, frame cadence, gain, metering, channel routing
// and silence.

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <vector>

#include "LyAudioUtils.h"
#include "test_support.h"

using namespace LyAudioUtils;

namespace {

SLyWaveFormatInfo Wave(int channels, uint32_t rate, uint16_t bits, uint16_t blockAlign = 0) {
    const uint16_t align = blockAlign ? blockAlign : static_cast<uint16_t>(channels * bits / 8);
    return SLyWaveFormatInfo{channels, 1, rate, rate * align, bits, align};
}

const uint64_t kNum[8] = {24000, 24, 25, 30000, 30, 50, 60000, 60}, kDen[8] = {1001, 1, 1, 1001, 1, 1, 1001, 1};

// Samples from the start to video frame j, rounded half up, in integers.
uint64_t SamplesBefore(uint64_t j, uint64_t sampleRate, int rate) {
    return (2 * j * sampleRate * kDen[rate] + kNum[rate]) / (2 * kNum[rate]);
}
uint64_t Count(uint32_t sampleRate, int rate, uint32_t start, uint32_t count) {
    return GetAudioSampleCounts(sampleRate, ELyFrameRate(rate), start, count);
}

int Get16(const unsigned char* p) { return int16_t(p[0] | (p[1] << 8)); }
void Put16(unsigned char* p, int v) { p[0] = uint8_t(v), p[1] = uint8_t(v >> 8); }

// `bytes` of random audio inside guard bytes, starting at a chosen alignment.
lytest::TestImage Buffer(uint32_t bytes, int align = 0) {
    lytest::TestImage b(std::max<int>(1, int(bytes)), 1, 1, align, 0, false);
    b.FillRandom();
    return b;
}

class FakeSample final : public ILyAudioSample {
public:
    SLyWaveFormatInfo format = Wave(2, 48000, 16);
    std::vector<int16_t> lr;  // interleaved
    bool nullData = false;
    int locks = 0, unlocks = 0;

    int32_t QueryInterface(const void*, void**) override { return -1; }
    uint32_t AddRef() override { return 1; }
    uint32_t Release() override { return 1; }
    void HostReserved3() override { ADD_FAILURE(); }
    void HostReserved4() override { ADD_FAILURE(); }
    void HostReserved5() override { ADD_FAILURE(); }
    int GetAudioFormat(SLyWaveFormatInfo* f) override { return *f = format, 1; }
    int LockAudioData(SLyAudioSampleData* d) override {
        // Starting at an odd address and ending where the allocation does, so
        // a read past the samples or an aligned-only load is a sanitizer report.
        ++locks;
        storage_.assign(lr.size() * 2 + 1, 0);
        if (!lr.empty()) std::memcpy(storage_.data() + 1, lr.data(), lr.size() * 2);
        *d = {nullData ? nullptr : storage_.data() + 1, 12345, uint32_t(lr.size() / 2)};
        return 1;
    }
    void UnlockAudioData() override { EXPECT_LT(unlocks++, locks); }

private:
    std::vector<unsigned char> storage_;
};

constexpr double kNoSignal = -9223372036854775808.0;

// The meter by its definition: the mean of the 20 largest non-negative
// samples (zeros making up the 20), or the sample of a single frame.
double ExpectedLevel(std::vector<int32_t> v) {
    int32_t peak = v.size() == 1 ? v[0] : 0;
    if (v.size() > 1) {
        v.erase(std::remove_if(v.begin(), v.end(), [](int32_t s) { return s < 0; }), v.end());
        std::sort(v.rbegin(), v.rend());
        v.resize(20, 0);
        peak = std::accumulate(v.begin(), v.begin() + 20, 0) / 20;
    }
    return peak == 0 ? kNoSignal : 20.0 * std::log10(peak > 0 ? peak / 32767.0 : -peak / 32768.0);
}

}  // namespace

TEST(Audio, BufferSizes) {
    const SLyWaveFormatInfo st = Wave(2, 48000, 16), cd = Wave(2, 44100, 16);
    SLyWaveFormatInfo zeroAlign = st, zeroRate = st;
    zeroAlign.blockAlign = 0, zeroRate.samplesPerSec = 0;
    EXPECT_EQ(GetAudioBufferSize(st, uint32_t{0x40000001}), 4u);  // the 32-bit product wraps
    EXPECT_EQ(GetAudioBufferSize(st, uint64_t{0x40000001}), 0x100000004ull);
    EXPECT_EQ(GetAudioBufferSize(st, 40.0), 7680u);
    EXPECT_EQ(GetAudioBufferSize(cd, 10.0), 1764u);
    EXPECT_EQ(GetAudioBufferSize(Wave(1, 22050, 8), 0.03), 1u);  // 0.6615 rounds up, not aligned
    EXPECT_EQ(GetAudioBufferSize(st, -10.0), uint32_t(-1920));
    EXPECT_EQ(GetAudioBufferSize(st, 1e300) + GetAudioBufferSize(st, NAN), 0u);  // defined, not UB
    EXPECT_EQ(GetAudioSampleCounts(st, uint32_t{7}), 1u);
    EXPECT_EQ(GetAudioBufferSize(st, uint32_t{4000}, cd), 3676u);  // 918.75 frames -> 919
    // Divide first: 1840 frames are exactly 1690.5 at 44.1 kHz, but
    // 1840 / 48000 * 44100 lands just under the half.
    EXPECT_EQ(GetAudioBufferSize(st, uint32_t{1840 * 4}, cd), 1690u * 4);
    const SLyAudioResamplerSrc a{2, 48000, 16, 4}, b{99, 44100, 99, 4};  // channels, bits not read
    EXPECT_EQ(GetAudioBufferSize(b, uint32_t{3676}, a), 4000u);
    // Zero divisors are refused.
    EXPECT_EQ(GetAudioSampleCounts(zeroAlign, uint32_t{7}) + GetAudioBufferSize(zeroAlign, uint32_t{4000}, cd) +
                  GetAudioBufferSize(zeroRate, uint32_t{4000}, cd) +
                  GetAudioBufferSize(SLyAudioResamplerSrc{}, 4000u, b),
              0u);
    EXPECT_EQ(GetAudioSampleMsecond(zeroRate, 100), 0.0);
}

TEST(Audio, FrameCadenceNeverDrifts) {
    const uint64_t at2997[] = {1602, 1601, 1602, 1601, 1602}, at44[] = {1471, 1472, 1471};
    for (uint32_t k = 0; k < 5; ++k) EXPECT_EQ(Count(48000, 3, k, 1), at2997[k]);
    for (uint32_t k = 0; k < 3; ++k) EXPECT_EQ(Count(44100, 3, k, 1), at44[k]);
    EXPECT_EQ(Count(48000, 0, 0, 1) + Count(48000, 2, 1234, 0), 2002u);
    // Every frame of an hour at every rate, against exact integers.
    for (uint32_t sampleRate : {48000u, 44100u}) {
        for (int rate = 0; rate < 8; ++rate) {
            const uint32_t frames = uint32_t(3600 * kNum[rate] / kDen[rate]);
            uint64_t sum = 0;
            for (uint32_t k = 0; k < frames; ++k) {
                const uint64_t c = Count(sampleRate, rate, k, 1);
                ASSERT_EQ(c, SamplesBefore(k + 1, sampleRate, rate) - SamplesBefore(k, sampleRate, rate))
                    << rate << " " << k;
                sum += c;
            }
            ASSERT_EQ(sum, SamplesBefore(frames, sampleRate, rate));
            ASSERT_EQ(Count(sampleRate, rate, 0, frames), sum);
        }
    }
    // Far into the frame range runs still add up (48 kHz positions are never
    // exact halves, so the integer count holds there too).
    std::uniform_int_distribution<uint32_t> start(0, 0xF0000000u), len(0, 100000);
    for (int i = 0; i < 16000; ++i) {
        const int rate = i % 8;
        const uint32_t s = start(lytest::Rng()), a = len(lytest::Rng()), b = len(lytest::Rng());
        ASSERT_EQ(Count(48000, rate, s, a) + Count(48000, rate, s + a, b), Count(48000, rate, s, a + b));
        ASSERT_EQ(Count(48000, rate, s, a),
                  SamplesBefore(uint64_t{s} + a, 48000, rate) - SamplesBefore(s, 48000, rate));
    }
    EXPECT_EQ(Count(48000, 2, 0xFFFFFFFFu, 1), 0 - 4294967295ull * 1920ull);  // the end wraps to frame 0
    EXPECT_EQ(Count(48000, -1, 0, 100) + Count(48000, 8, 0, 100), 0u);
}

TEST(Audio, Volume) {
    // 16-bit, every sample: the 32-bit int product (wrapping), divided toward
    // zero, clamped; computed here in 64-bit arithmetic.
    std::vector<unsigned char> buf(65536 * 2);
    for (uint32_t gain : {0u, 33u, 50u, 101u, 200u, 214748u, 300000u, 0xFFFFFFFFu}) {
        for (int s = -32768; s < 32768; ++s) Put16(&buf[2 * (s + 32768)], s);
        ASSERT_EQ(SetAudioVolume(Wave(1, 48000, 16), buf.data(), uint32_t(buf.size()), &gain), 1);
        for (int s = -32768; s < 32768; ++s) {
            const int64_t wrapped = int32_t(uint32_t(uint64_t(int64_t(s) * gain)));
            ASSERT_EQ(Get16(&buf[2 * (s + 32768)]), std::clamp<int64_t>(wrapped / 100, -32768, 32767))
                << s << " " << gain;
        }
    }
    // 8-bit, every sample, with gains exact in binary as fractions: the exact
    // result modulo 256 (no clipping).
    for (uint32_t gain : {0u, 25u, 50u, 150u, 200u, 300u, 1000000u}) {
        std::vector<unsigned char> b8(256);
        std::iota(b8.begin(), b8.end(), 0);
        ASSERT_EQ(SetAudioVolume(Wave(1, 8000, 8), b8.data(), 256, &gain), 1);
        for (int s = 0; s < 256; ++s) {
            const int64_t v = s > 128 ? 128 + int64_t(uint32_t(uint64_t(s - 128) * gain) / 100)
                                      : (12800 - int64_t(gain) * (128 - s)) / 100;
            ASSERT_EQ(b8[s], uint64_t(v) & 0xFF) << s << " @ " << gain;
        }
    }
    // Stereo 16-bit with 3 trailing bytes: only the left channel changes.
    lytest::TestImage st = Buffer(23, 3);
    std::vector<unsigned char> want = st.Pixels();
    for (int f = 0; f < 5; ++f) Put16(&want[4 * f], Get16(&want[4 * f]) / 2);
    const auto before = st.Snapshot();
    uint32_t halfLeft[2] = {50, 100};
    ASSERT_EQ(SetAudioVolume(Wave(2, 48000, 16), st.data(), 23, halfLeft), 1);
    EXPECT_EQ(st.Pixels(), want);
    EXPECT_TRUE(st.OutsideUnchanged(before));
    // Three 16-bit channels in 4-byte frames: channel 2 of frame 0 is channel
    // 0 of frame 1 (halved twice); the last frame's channel 2 lies outside.
    lytest::TestImage ov = Buffer(8, 1);
    for (int i = 0; i < 4; ++i) Put16(ov.data() + 2 * i, 1000 * (i + 1));
    const auto ovBefore = ov.Snapshot();
    uint32_t g3[3] = {50, 100, 50};
    ASSERT_EQ(SetAudioVolume(Wave(3, 48000, 16, 4), ov.data(), 8, g3), 1);
    EXPECT_EQ(std::vector<int>({Get16(ov.data()), Get16(ov.data() + 2), Get16(ov.data() + 4), Get16(ov.data() + 6)}),
              std::vector<int>({500, 2000, 750, 4000}));
    EXPECT_TRUE(ov.OutsideUnchanged(ovBefore));
    // Refusals touch nothing; a buffer without a whole frame is not a refusal.
    unsigned char r[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    uint32_t g[2] = {50, 50};
    const SLyWaveFormatInfo zero{2, 1, 48000, 0, 16, 0};
    EXPECT_EQ(SetAudioVolume(Wave(2, 48000, 16, 0xFFFF), r, 8, g), 1);
    EXPECT_EQ(SetAudioVolume(Wave(2, 48000, 16), nullptr, 8, g) + SetAudioVolume(Wave(2, 48000, 16), r, 8, nullptr) +
                  SetAudioVolume(zero, r, 8, g),
              0);
    for (auto f : {Wave(2, 48000, 12, 4), Wave(2, 48000, 24, 6), Wave(0, 48000, 16, 4), Wave(-1, 48000, 16, 4)}) {
        EXPECT_EQ(SetAudioVolume(f, r, 8, g), 0);
    }
    EXPECT_EQ(std::vector<unsigned char>(r, r + 8), std::vector<unsigned char>({1, 2, 3, 4, 5, 6, 7, 8}));
}

TEST(Audio, LevelMeter) {
    FakeSample s;
    double levels[2] = {7.0, 8.0};
    auto meter = [&](std::vector<int32_t> l, std::vector<int32_t> r) {
        s.lr.clear();
        for (size_t i = 0; i < l.size(); ++i) s.lr.push_back(int16_t(l[i])), s.lr.push_back(int16_t(r[i]));
        EXPECT_EQ(GetAudioVolume(&s, levels), 1);
        EXPECT_EQ(levels[0], ExpectedLevel(l));
        EXPECT_EQ(levels[1], ExpectedLevel(r));
    };
    using V = std::vector<int32_t>;
    meter(V(100, 0), V(100, 0));
    EXPECT_EQ(levels[0], kNoSignal);
    meter(V(20, 32767), V(20, -32768));  // full scale; negatives never count
    EXPECT_EQ(levels[0], 0.0);
    EXPECT_EQ(levels[1], kNoSignal);
    meter(V(19, 32767), V(19, 1));  // fewer than 20: zeros average in, 19 / 20 truncates to 0
    meter(V(20, 1), V(20, 0));      // the quietest signal, about -90 dB
    meter({-32768}, {16384});       // one frame: the sample as it is
    EXPECT_EQ(levels[0], 0.0);
    meter({}, {});
    std::uniform_int_distribution<int32_t> any(-32768, 32767), quiet(-300, 300);
    for (int frames : {2, 19, 20, 21, 1602}) {
        for (int round = 0; round < 10; ++round) {
            V l(frames, 500), r(frames);  // round 0: ties everywhere
            for (int i = 0; i < frames; ++i) {
                if (round) l[i] = any(lytest::Rng());
                r[i] = round % 2 ? quiet(lytest::Rng()) : any(lytest::Rng());
            }
            meter(l, r);
        }
    }
    EXPECT_EQ(s.locks, s.unlocks);
    // Refusals leave the levels alone; the data is not asked for unless the
    // format is stereo 16-bit, and data without samples is released again.
    const int locks = s.locks;
    levels[0] = 7.0, levels[1] = 8.0;
    EXPECT_EQ(GetAudioVolume(nullptr, levels) + GetAudioVolume(&s, nullptr), 0);
    for (auto f : {Wave(1, 48000, 16), Wave(2, 48000, 8), Wave(6, 48000, 16), Wave(0, 48000, 16)}) {
        s.format = f;
        EXPECT_EQ(GetAudioVolume(&s, levels), 0);
    }
    EXPECT_EQ(s.locks, locks);
    s.format = Wave(2, 48000, 16);
    s.nullData = true;
    s.lr = {1, 2, 3, 4};
    EXPECT_EQ(GetAudioVolume(&s, levels), 0);
    EXPECT_EQ(s.unlocks, locks + 1);
    EXPECT_EQ(levels[0] * 10 + levels[1], 78.0);
}

TEST(Audio, ChannelOptionsAndSilence) {
    // Against a model on (left, right) frames. 16-bit stereo: groups of four
    // frames from the start, then frames % 4 frames from frame frames / 4
    // (blockAlign * (frames / 4) bytes in). 8-bit: every frame once.
    for (int option = 1; option <= 3; ++option) {
        for (uint16_t bits : {8, 16}) {
            for (uint32_t frames = 0; frames <= 21; ++frames) {
                const uint32_t w = bits / 8, bytes = frames * 2 * w + 1;  // plus a stray byte
                lytest::TestImage buf = Buffer(bytes, int(frames % 5));
                const auto before = buf.Snapshot();
                auto at = [&](uint32_t i) { return w == 2 ? Get16(buf.data() + 2 * i) : buf.data()[i]; };
                std::vector<std::pair<int, int>> model;
                for (uint32_t i = 0; i < frames; ++i) model.emplace_back(at(2 * i), at(2 * i + 1));
                for (auto [first, count] : {std::pair(0u, w == 1 ? frames : frames / 4 * 4),
                                            std::pair(frames / 4, w == 1 ? 0 : frames % 4)}) {
                    for (uint32_t i = first; i < first + count; ++i) {
                        auto& [l, r] = model[i];
                        if (option == 1) r = l;
                        if (option == 2) l = r;
                        if (option == 3) std::swap(l, r);
                    }
                }
                const std::vector<unsigned char> pre = buf.Pixels();
                ASSERT_EQ(
                    ChangeAudioChannelOption(Wave(2, 48000, bits), buf.data(), bytes, ELyAudioChannelOption(option)),
                    1);
                for (uint32_t i = 0; i < frames; ++i)
                    ASSERT_EQ(std::pair(at(2 * i), at(2 * i + 1)), model[i]) << option << " " << bits << " " << frames;
                EXPECT_EQ(buf.Pixels().back(), pre.back());
                EXPECT_TRUE(buf.OutsideUnchanged(before));
            }
        }
    }
    // Formats narrower than the assumed stereo frame never reach past `bytes`.
    for (int option = 0; option <= 5; ++option) {
        for (uint32_t bytes = 0; bytes <= 24; ++bytes) {
            for (auto f : {Wave(1, 48000, 16), Wave(1, 8000, 8), Wave(3, 48000, 16, 6), Wave(2, 48000, 16, 3)}) {
                lytest::TestImage buf = Buffer(bytes, int(bytes % 7));
                const auto before = buf.Snapshot();
                ASSERT_EQ(ChangeAudioChannelOption(f, buf.data(), bytes, ELyAudioChannelOption(option)), 1);
                ASSERT_TRUE(buf.OutsideUnchanged(before)) << option << " " << bytes;
            }
        }
    }
    // Mute covers whole frames only; Normal and unknown options change nothing.
    for (uint16_t bits : {8, 16}) {
        const uint32_t bytes = 7 * bits / 4 + 1;
        lytest::TestImage buf = Buffer(bytes);
        std::vector<unsigned char> want = buf.Pixels();
        for (int option : {0, 5, -1})
            ChangeAudioChannelOption(Wave(2, 48000, bits), buf.data(), bytes, ELyAudioChannelOption(option));
        ASSERT_EQ(buf.Pixels(), want);
        std::fill(want.begin(), want.end() - 1, bits == 8 ? 128 : 0);
        ASSERT_EQ(ChangeAudioChannelOption(Wave(2, 48000, bits), buf.data(), bytes, AudioChannel_Mute), 1);
        ASSERT_EQ(buf.Pixels(), want);
    }
    unsigned char r[4] = {1, 2, 3, 4};
    const SLyWaveFormatInfo zero{2, 1, 48000, 0, 16, 0};
    EXPECT_EQ(ChangeAudioChannelOption(Wave(2, 48000, 16), nullptr, 4, AudioChannel_Mute) +
                  ChangeAudioChannelOption(Wave(2, 48000, 24, 6), r, 4, AudioChannel_Mute) +
                  ChangeAudioChannelOption(Wave(0, 48000, 16, 4), r, 4, AudioChannel_Mute) +
                  ChangeAudioChannelOption(zero, r, 4, AudioChannel_Mute),
              0);
    EXPECT_EQ(r[0] + r[1] + r[2] + r[3], 10);

    // Silence: the count is in frames; other sample sizes write nothing.
    // {channels, bits, blockAlign, frames, bytes written, value}
    const int silent[][6] = {
        {2, 8, 2, 3, 6, 128}, {2, 16, 4, 3, 12, 0}, {6, 16, 12, 7, 84, 0}, {2, 16, 4, 0, 0, 0}, {2, 24, 6, 4, 0, 0}};
    for (const auto& c : silent) {
        lytest::TestImage buf = Buffer(uint32_t(c[4]) + 9, 1);
        const auto before = buf.Snapshot();
        std::vector<unsigned char> want = buf.Pixels();
        std::fill(want.begin(), want.begin() + c[4], uint8_t(c[5]));
        SilientAudioBuffer(Wave(c[0], 48000, uint16_t(c[1]), uint16_t(c[2])), buf.data(), uint32_t(c[3]));
        EXPECT_EQ(buf.Pixels(), want) << c[1];
        EXPECT_TRUE(buf.OutsideUnchanged(before));
    }
    SilientAudioBuffer(Wave(2, 48000, 16), nullptr, 100);
}
