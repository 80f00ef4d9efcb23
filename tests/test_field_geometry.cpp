// Field rectangles, texture offsets, resolution records and media re-timing.

#include <array>
#include <cstring>
#include <limits>
#include <memory>
#include <set>

#include "LyVideoUtils.h"
#include "test_support.h"

using namespace LyVideoUtils;

namespace {

constexpr int32_t kMax = std::numeric_limits<int32_t>::max(), kMin = std::numeric_limits<int32_t>::min();
using P = std::pair<int32_t, int32_t>;

// Top and bottom after the conversion; left and right must survive it.
P Rows(bool toField, int32_t t, int32_t b, int scan, int pol) {
    const CRect in(-7, t, 13, b);
    const CRect r = toField ? FrameRectToFieldRect(in, ELyScanMode(scan), ELyPolarity(pol))
                            : FieldRectToFrameRect(in, ELyScanMode(scan), ELyPolarity(pol));
    EXPECT_EQ(r.left * 100 + r.right, -700 + 13);
    return {r.top, r.bottom};
}

SLyVideoResolution Output(int rate) {
    return SLyVideoResolution{1920, 1080, 1, 2, AspectRatio_16_9, ELyFrameRate(rate), 3, 4, {1920, 1080}};
}

// Heap-allocated so that a read past the stream array is a sanitizer report.
std::unique_ptr<SLyAudioVideoFileInfo> Media(int rate, uint32_t total, uint16_t streams) {
    auto info = std::make_unique<SLyAudioVideoFileInfo>(SLyAudioVideoFileInfo{0x10000, streams, 0, total, {}});
    for (auto& s : info->streams) s = {ELyFrameRate(rate), total};
    return info;
}

}  // namespace

static_assert(sizeof(SLyAudioVideoFileInfo) == 140 && sizeof(SLyPlayListElementProps) == 12, "documented layout");

TEST(FieldGeometry, Rects) {
    EXPECT_EQ(Rows(true, 1, 5, 0, 0), P(1, 3));
    EXPECT_EQ(Rows(true, 1, 5, 0, 1), P(0, 2));
    EXPECT_EQ(Rows(false, 1, 3, 0, 1), P(3, 6));
    EXPECT_EQ(Rows(false, 1, 3, 0, 0), P(2, 6));
    // Field row i is frame row 2i + parity: the field rectangle must hold
    // exactly the field's rows of the frame rectangle.
    const int fields[4][3] = {{0, 0, 0}, {1, 1, 0}, {0, 1, 1}, {1, 0, 1}};  // scan, polarity, parity
    for (const auto& f : fields) {
        EXPECT_EQ(GetTexVertCenterOffset(ELyScanMode(f[0]), ELyPolarity(f[1])), f[2] ? -0.5f : 0.5f);
        for (int top = 0; top <= 24; ++top) {
            for (int bottom = top; bottom <= 24; ++bottom) {
                const auto [ft, fb] = Rows(true, top, bottom, f[0], f[1]);
                std::set<int> want, got;
                for (int y = top; y < bottom; ++y) {
                    if (y % 2 == f[2]) want.insert(y);
                }
                for (int i = ft; i < fb; ++i) got.insert(2 * i + f[2]);
                ASSERT_EQ(want, got) << f[0] << f[1] << " rows " << top << ".." << bottom;
            }
        }
    }
    // Negative rows divide toward zero (odd-field bottom -2 -> -1 / 2 -> 0).
    EXPECT_EQ(Rows(true, -3, -4, 0, 0), P(-1, -2));
    EXPECT_EQ(Rows(true, -3, -2, 0, 1), P(-2, 0));
    EXPECT_EQ(Rows(false, -3, -1, 1, 0), P(-5, -2));
    // Not a field: the frame rectangle is kept, the field one still doubles.
    for (auto [scan, pol] : {P(2, 0), P(0, 2), P(1, 3), P(-1, 0), P(77, 1)}) {
        EXPECT_EQ(Rows(true, 3, 7, scan, pol), P(3, 7));
        EXPECT_EQ(Rows(false, 3, 7, scan, pol), P(6, 14));
        EXPECT_EQ(GetTexVertCenterOffset(ELyScanMode(scan), ELyPolarity(pol)), 0.0f);
    }
    // 32-bit wrap instead of overflow: INT32_MAX raised to even is INT32_MIN.
    EXPECT_EQ(Rows(true, kMax, kMax, 0, 0), P(kMin / 2, kMin / 2));
    EXPECT_EQ(Rows(false, kMax, kMin, 1, 0), P(-1, 0));
}

TEST(FieldGeometry, TextureCorrection) {
    auto run = [](int scan, int pol, uint32_t height, unsigned count = 2) {
        std::vector<float> uv = {0.25f, 0.5f, -2.0f, 0.0f, 9.0f, 9.0f};  // last pair: guard
        CorrectFieldTexUV(uv.data(), count, height, ELyScanMode(scan), ELyPolarity(pol));
        return uv;
    };
    const std::vector<float> plus = {0.25f, 0.5625f, -2.0f, 0.0625f, 9.0f, 9.0f}, none = run(2, 0, 4, 0);
    const std::vector<float> minus = {0.25f, 0.4375f, -2.0f, -0.0625f, 9.0f, 9.0f};
    // Only scan mode 2 and polarity 3 switch it off: polarity 2 still shifts.
    for (auto [scan, pol] : {P(0, 0), P(1, 1), P(1, 2), P(7, 0)}) EXPECT_EQ(run(scan, pol, 4), plus);
    for (auto [scan, pol] : {P(0, 1), P(1, 0)}) EXPECT_EQ(run(scan, pol, 4), minus);
    for (auto [scan, pol] : {P(0, 3), P(2, 0), P(2, 1)}) EXPECT_EQ(run(scan, pol, 4), none);
    EXPECT_EQ(run(0, 0, 0), none);
    EXPECT_EQ(run(0, 0, 0xFFFFFFFFu)[1], 0.5f);  // an unsigned height: a tiny positive shift
    CorrectFieldTexUV(nullptr, 5, 4, ScanMode_UpperFirst, Polarity_First);
}

TEST(FieldGeometry, ResolutionRecords) {
    // {display w, h, stored cx, cy, found}
    const int rows[][5] = {{768, 576, 720, 576, 1},   {1024, 576, 720, 576, 1}, {648, 486, 720, 486, 1},
                           {864, 486, 720, 486, 1},   {853, 480, 720, 480, 1},  {1920, 1080, 1920, 1080, 1},
                           {1280, 720, 1280, 720, 1}, {720, 576, 720, 576, 0},  {576, 768, 576, 768, 0},
                           {1280, 719, 1280, 719, 0}, {65535, 0, 65535, 0, 0}};
    for (const auto& r : rows) {
        const SLyVideoResolutionVer0 v0{uint16_t(r[0]),  uint16_t(r[1]),  -5,   6,
                                        AspectRatio_4_3, FrameRate_59_94, kMax, -8};
        SIZE size{-1, -1};
        EXPECT_EQ(EstimateVideoResFrameSize(v0, size), r[4]) << r[0] << "x" << r[1];
        EXPECT_EQ(P(size.cx, size.cy), P(r[2], r[3]));
        SLyVideoResolution full{};
        ConvertVer0Resolution(v0, full);
        const SLyVideoResolution want{v0.width,        v0.height, -5, 6,           AspectRatio_4_3,
                                      FrameRate_59_94, kMax,      -8, {r[2], r[3]}};
        EXPECT_EQ(IsEqualResolution(full, want), 1);
        EXPECT_EQ(IsHDResolution(full), r[1] >= 720 ? 1 : 0);
        // Every one of the nine fields takes part in equality.
        for (int field = 0; field < 10; ++field) {
            SLyVideoResolution o = want;
            int32_t* words[] = {&o.reserved1, &o.reserved2,    &o.reserved3,
                                &o.reserved4, &o.frameSize.cx, &o.frameSize.cy};
            if (field == 0)
                o.width ^= 1;
            else if (field == 1)
                o.height ^= 1;
            else if (field == 2)
                o.aspectRatio = AspectRatio_16_9;
            else if (field == 3)
                o.frameRate = FrameRate_50;
            else
                *words[field - 4] ^= 1;
            EXPECT_EQ(IsEqualResolution(want, o) + IsEqualResolution(o, want), 0) << field;
        }
    }
}

TEST(FieldGeometry, Retiming) {
    auto info = Media(FrameRate_25, 1000, 3);
    info->streams[1] = {FrameRate_29_97, 999};
    info->streams[2] = {FrameRate_29_97, 1234};  // beyond streamCount after the change below
    info->streamCount = 2;
    AVDescriptionFRC(Output(FrameRate_50), *info);
    EXPECT_EQ(info->totalFrames, 2000u);
    EXPECT_EQ(info->streams[0].frameCount, 2000u);
    EXPECT_EQ(info->streams[1].frameCount, 999u * 1001u * 50u / 30000u);  // 1666.665 truncated
    EXPECT_EQ(info->streams[2].frameCount, 1234u);
    // Streams get no same-rate shortcut: 15 frames at 29.97 come out at 14.999...
    info = Media(FrameRate_25, 250, 2);
    info->streams[1] = {FrameRate_29_97, 15};
    AVDescriptionFRC(Output(FrameRate_29_97), *info);
    EXPECT_EQ(info->streams[1].frameCount, 14u);
    info = Media(FrameRate_25, 1000, 0xFFFF);  // the count is bounded by the array
    AVDescriptionFRC(Output(FrameRate_50), *info);
    for (const auto& s : info->streams) EXPECT_EQ(s.frameCount, 2000u);
    // Nothing to do, or refused: {output rate, file rate, stream 1 rate, streamCount}.
    const std::array<int, 4> unchanged[] = {{5, 2, 2, 0},  {2, 2, 2, 4}, {8, 2, 2, 4},
                                            {-1, 2, 2, 4}, {5, 9, 9, 4}, {5, 2, 100, 4}};
    for (const auto& c : unchanged) {
        info = Media(c[1], 1000, uint16_t(c[3]));
        info->streams[1].frameRate = ELyFrameRate(c[2]);
        const SLyAudioVideoFileInfo before = *info;
        AVDescriptionFRC(Output(c[0]), *info);
        EXPECT_EQ(std::memcmp(&before, info.get(), sizeof before), 0) << c[0] << " " << c[1] << " " << c[2];
    }

    // Play-list trims; 25 -> 50 doubles the total (1000 -> 2000).
    info = Media(FrameRate_25, 1000, 1);
    const SLyAudioVideoFileInfo before = *info;
    using A = std::array<uint32_t, 3>;
    auto props = [&](int rate, A p, bool alias) {
        SLyPlayListElementProps e{p[0], p[1], p[2]};
        (alias ? ElementPropsAliasFRC : ElementPropsFRC)(Output(rate), *info, e);
        return A{e.trimIn, e.trimOut, e.trimLength};
    };
    EXPECT_EQ(props(5, {100, 300, 500}, false), (A{200, 700, 500}));                // new in + unconverted length
    EXPECT_EQ(props(5, {100, 300, 5000}, false), (A{200, 2000, 5000}));             // capped at the new total
    EXPECT_EQ(props(5, {100, 300, 0xFFFFFFFF}, false), (A{200, 199, 0xFFFFFFFF}));  // the sum wraps
    EXPECT_EQ(props(5, {100, 300, 500}, true), (A{50, 150, 500}));                  // the alias maps new -> old
    EXPECT_EQ(std::memcmp(&before, info.get(), sizeof before), 0);                  // worked on a copy
    for (bool alias : {false, true}) {
        for (int step = 0; step < 4; ++step) {  // same rate; unknown rate; mediaKind too small; no total
            info->mediaKind = step == 2 ? 65535 : 65536;
            info->totalFrames = step == 3 ? 0 : 1000;
            EXPECT_EQ(props(step == 0 ? 2 : step == 1 ? 8 : 5, {100, 300, 500}, alias), (A{100, 300, 500})) << step;
        }
    }
    // Without streams the re-timing looks up no rate and keeps the total, so
    // even a rate outside the table rewrites the trims (identity mapping).
    info->totalFrames = 1000;
    info->streamCount = 0;
    for (int rate : {8, -1, 1 << 30}) {
        EXPECT_EQ(props(rate, {100, 300, 500}, false), (A{100, 600, 500})) << rate;
        EXPECT_EQ(props(rate, {100, 1300, 5000}, false), (A{100, 1000, 5000})) << rate;
        EXPECT_EQ(props(rate, {100, 300, 500}, true), (A{100, 300, 500})) << rate;
    }
    info->streamCount = 1;
    // One frame at 25 is none at 23.98: the alias would divide by it and refuses.
    info->totalFrames = 1;
    EXPECT_EQ(props(0, {100, 300, 500}, true), (A{100, 300, 500}));
    EXPECT_EQ(props(0, {1, 1, 5}, false), (A{0, 0, 5}));
}
