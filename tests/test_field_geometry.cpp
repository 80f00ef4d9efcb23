// Field rectangles, texture offsets, resolution records and media re-timing.

#include <limits>
#include <memory>
#include <set>

#include "LyVideoUtils.h"
#include "test_support.h"

using namespace LyVideoUtils;

namespace {

constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
constexpr int32_t kMin = std::numeric_limits<int32_t>::min();

struct Field {
    ELyScanMode scan;
    ELyPolarity polarity;
    int parity;  // frame rows the field holds: 0 even, 1 odd
};
const Field kFields[] = {
    {ScanMode_UpperFirst, Polarity_First, 0},
    {ScanMode_LowerFirst, Polarity_Second, 0},
    {ScanMode_UpperFirst, Polarity_Second, 1},
    {ScanMode_LowerFirst, Polarity_First, 1},
};

// Every (scan, polarity) pair that is not a field.
std::vector<std::pair<ELyScanMode, ELyPolarity>> NonFields() {
    std::vector<std::pair<ELyScanMode, ELyPolarity>> v;
    for (int s : {-1, 0, 1, 2, 3, 77}) {
        for (int p : {-1, 0, 1, 2, 3, 77}) {
            if ((s == 0 || s == 1) && (p == 0 || p == 1)) continue;
            v.emplace_back(static_cast<ELyScanMode>(s), static_cast<ELyPolarity>(p));
        }
    }
    return v;
}

::testing::AssertionResult SameRect(const RECT& expected, const RECT& actual) {
    if (expected.left == actual.left && expected.top == actual.top && expected.right == actual.right &&
        expected.bottom == actual.bottom) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << "expected (" << expected.left << "," << expected.top << ","
                                         << expected.right << "," << expected.bottom << ") got (" << actual.left
                                         << "," << actual.top << "," << actual.right << "," << actual.bottom << ")";
}

SLyVideoResolution Resolution(uint16_t w, uint16_t h) {
    SLyVideoResolution r{};
    r.width = w;
    r.height = h;
    r.reserved1 = 11;
    r.reserved2 = 22;
    r.aspectRatio = AspectRatio_16_9;
    r.frameRate = FrameRate_25;
    r.reserved3 = 33;
    r.reserved4 = 44;
    r.frameSize = {w, h};
    return r;
}

SLyVideoResolution Output(ELyFrameRate rate) {
    SLyVideoResolution r = Resolution(1920, 1080);
    r.frameRate = rate;
    return r;
}

// Heap-allocated so that a read past the stream array is a sanitizer report.
std::unique_ptr<SLyAudioVideoFileInfo> MediaInfo(ELyFrameRate rate, uint32_t total, uint16_t streams) {
    auto info = std::make_unique<SLyAudioVideoFileInfo>();
    *info = SLyAudioVideoFileInfo{};
    info->mediaKind = 0x10000;
    info->streamCount = streams;
    info->totalFrames = total;
    for (auto& s : info->streams) {
        s.frameRate = rate;
        s.frameCount = total;
    }
    return info;
}

bool SameInfo(const SLyAudioVideoFileInfo& a, const SLyAudioVideoFileInfo& b) {
    if (a.mediaKind != b.mediaKind || a.streamCount != b.streamCount || a.totalFrames != b.totalFrames) return false;
    for (int i = 0; i < LY_MAX_MEDIA_STREAMS; ++i) {
        if (a.streams[i].frameRate != b.streams[i].frameRate || a.streams[i].frameCount != b.streams[i].frameCount)
            return false;
    }
    return true;
}

}  // namespace

static_assert(sizeof(SLyAudioVideoFileInfo) == 140, "documented host layout");
static_assert(sizeof(SLyPlayListElementProps) == 12, "documented host layout");
static_assert(sizeof(SLyVideoResolution) == 36 && sizeof(SLyVideoResolutionVer0) == 28, "resolution records");

// ------------------------------------------------------------ rectangles

TEST(FieldRects, DocumentedExamples) {
    EXPECT_TRUE(SameRect(CRect(3, 1, 9, 3), FrameRectToFieldRect(CRect(3, 1, 9, 5), ScanMode_UpperFirst, Polarity_First)));
    EXPECT_TRUE(SameRect(CRect(3, 0, 9, 2), FrameRectToFieldRect(CRect(3, 1, 9, 5), ScanMode_UpperFirst, Polarity_Second)));
    EXPECT_TRUE(SameRect(CRect(3, 3, 9, 6), FieldRectToFrameRect(CRect(3, 1, 9, 3), ScanMode_UpperFirst, Polarity_Second)));
    EXPECT_TRUE(SameRect(CRect(3, 2, 9, 6), FieldRectToFrameRect(CRect(3, 1, 9, 3), ScanMode_UpperFirst, Polarity_First)));
}

TEST(FieldRects, FieldRowsAreExactlyTheFrameRowsOfThatParity) {
    // For non-negative frame rows, field row i stands for frame row
    // 2i + parity; the field rectangle must hold exactly the field's rows
    // of the frame rectangle.
    for (const Field& f : kFields) {
        for (int top = 0; top <= 24; ++top) {
            for (int bottom = top; bottom <= 24; ++bottom) {
                const CRect r = FrameRectToFieldRect(CRect(-7, top, 13, bottom), f.scan, f.polarity);
                ASSERT_EQ(r.left, -7);
                ASSERT_EQ(r.right, 13);
                std::set<int> want, got;
                for (int y = top; y < bottom; ++y) {
                    if (y % 2 == f.parity) want.insert(y);
                }
                for (int i = r.top; i < r.bottom; ++i) got.insert(2 * i + f.parity);
                ASSERT_EQ(want, got) << "scan " << f.scan << " pol " << f.polarity << " rows " << top << ".."
                                     << bottom;
            }
        }
    }
}

TEST(FieldRects, NegativeRowsDivideTowardZero) {
    // Even-row field: -3 rounds up to -2 then halves; odd-row field: an even
    // bottom -2 is raised to -1 and -1 / 2 truncates to 0.
    EXPECT_TRUE(SameRect(CRect(0, -1, 0, -2), FrameRectToFieldRect(CRect(0, -3, 0, -4), ScanMode_UpperFirst, Polarity_First)));
    EXPECT_TRUE(SameRect(CRect(0, 0, 0, -1), FrameRectToFieldRect(CRect(0, -1, 0, -3), ScanMode_LowerFirst, Polarity_Second)));
    EXPECT_TRUE(SameRect(CRect(0, -2, 0, 0), FrameRectToFieldRect(CRect(0, -3, 0, -2), ScanMode_UpperFirst, Polarity_Second)));
    EXPECT_TRUE(SameRect(CRect(0, -1, 0, -1), FrameRectToFieldRect(CRect(0, -2, 0, -4), ScanMode_LowerFirst, Polarity_First)));
    EXPECT_TRUE(SameRect(CRect(0, -5, 0, -2), FieldRectToFrameRect(CRect(0, -3, 0, -1), ScanMode_LowerFirst, Polarity_First)));
}

TEST(FieldRects, NonFieldsLeaveFrameRectAndStillDoubleFieldRect) {
    for (auto [scan, polarity] : NonFields()) {
        EXPECT_TRUE(SameRect(CRect(1, 3, 5, 7), FrameRectToFieldRect(CRect(1, 3, 5, 7), scan, polarity)));
        EXPECT_TRUE(SameRect(CRect(1, 6, 5, 14), FieldRectToFrameRect(CRect(1, 3, 5, 7), scan, polarity)));
    }
}

TEST(FieldRects, ExtremeCoordinatesWrapWithoutOverflow) {
    // 32-bit wrap-around, defined: INT32_MAX is odd, so the even field raises
    // it to 2^31, which wraps to INT32_MIN before halving.
    const CRect even = FrameRectToFieldRect(CRect(kMin, kMax, kMax, kMax), ScanMode_UpperFirst, Polarity_First);
    EXPECT_EQ(even.top, kMin / 2);
    EXPECT_EQ(even.bottom, kMin / 2);
    EXPECT_EQ(even.left, kMin);
    const CRect odd = FrameRectToFieldRect(CRect(0, kMin, 0, kMax - 1), ScanMode_UpperFirst, Polarity_Second);
    EXPECT_EQ(odd.top, kMin / 2);
    EXPECT_EQ(odd.bottom, kMax / 2);
    const CRect frame = FieldRectToFrameRect(CRect(0, kMax, 0, kMin), ScanMode_LowerFirst, Polarity_First);
    EXPECT_EQ(frame.top, -1);  // 2 * INT32_MAX wraps to -2, plus one
    EXPECT_EQ(frame.bottom, 0);
}

// ------------------------------------------------------------ texture offsets

TEST(FieldTexture, CenterOffset) {
    for (const Field& f : kFields) EXPECT_EQ(GetTexVertCenterOffset(f.scan, f.polarity), f.parity ? -0.5f : 0.5f);
    for (auto [scan, polarity] : NonFields()) EXPECT_EQ(GetTexVertCenterOffset(scan, polarity), 0.0f);
}

TEST(FieldTexture, CorrectFieldTexUV) {
    auto run = [](int scan, int polarity, uint32_t height, unsigned count = 3) {
        std::vector<float> uv = {0.25f, 0.5f, 0.75f, 1.0f, -2.0f, 0.0f, 9.0f, 9.0f};  // last pair is a guard
        CorrectFieldTexUV(uv.data(), count, height, static_cast<ELyScanMode>(scan),
                          static_cast<ELyPolarity>(polarity));
        return uv;
    };
    const std::vector<float> plus = {0.25f, 0.5625f, 0.75f, 1.0625f, -2.0f, 0.0625f, 9.0f, 9.0f};
    const std::vector<float> minus = {0.25f, 0.4375f, 0.75f, 0.9375f, -2.0f, -0.0625f, 9.0f, 9.0f};
    const std::vector<float> none = run(2, 0, 4, 0);
    EXPECT_EQ(run(0, 0, 4), plus);
    EXPECT_EQ(run(1, 1, 4), plus);
    EXPECT_EQ(run(0, 1, 4), minus);
    EXPECT_EQ(run(1, 0, 4), minus);
    // Only polarity 3 and scan mode 2 switch it off: polarity 2 and unknown
    // scan modes still shift upward.
    EXPECT_EQ(run(1, 2, 4), plus);
    EXPECT_EQ(run(0, 2, 4), plus);
    EXPECT_EQ(run(7, 0, 4), plus);
    EXPECT_EQ(run(-1, -1, 4), plus);
    EXPECT_EQ(run(0, 3, 4), none);
    EXPECT_EQ(run(1, 3, 4), none);
    EXPECT_EQ(run(2, 0, 4), none);
    EXPECT_EQ(run(2, 1, 4), none);
    EXPECT_EQ(run(0, 0, 0), none);
    CorrectFieldTexUV(nullptr, 5, 4, ScanMode_UpperFirst, Polarity_First);  // refused, no crash
    // Heights beyond 2^31 are unsigned: the shift stays positive and tiny.
    const std::vector<float> tiny = run(0, 0, 0xFFFFFFFFu, 1);
    EXPECT_EQ(tiny[1], 0.5f);
    // v is updated in double and stored as float: 1 + 0.25 / 3 rounds once.
    std::vector<float> one = {0.0f, 1.0f};
    CorrectFieldTexUV(one.data(), 1, 3, ScanMode_UpperFirst, Polarity_First);
    EXPECT_EQ(one[1], static_cast<float>(1.0 + 0.25 / 3.0));
}

// ------------------------------------------------------------ resolution records

TEST(ResolutionRecords, DisplaySizeTable) {
    struct Row {
        uint16_t w, h;
        int32_t cx, cy;
        int hit;
    };
    const Row rows[] = {
        {768, 576, 720, 576, 1},    {1024, 576, 720, 576, 1},   {648, 486, 720, 486, 1},
        {864, 486, 720, 486, 1},    {853, 480, 720, 480, 1},    {1920, 1080, 1920, 1080, 1},
        {1280, 720, 1280, 720, 1},  {720, 576, 720, 576, 0},    {576, 768, 576, 768, 0},
        {854, 480, 854, 480, 0},    {0, 0, 0, 0, 0},            {65535, 65535, 65535, 65535, 0},
    };
    for (const Row& r : rows) {
        SLyVideoResolutionVer0 v0{};
        v0.width = r.w;
        v0.height = r.h;
        SIZE size{-1, -1};
        EXPECT_EQ(EstimateVideoResFrameSize(v0, size), r.hit) << r.w << "x" << r.h;
        EXPECT_EQ(size.cx, r.cx);
        EXPECT_EQ(size.cy, r.cy);
    }
}

TEST(ResolutionRecords, ConvertVer0CopiesEveryField) {
    SLyVideoResolutionVer0 v0{1024, 576, -5, 6, AspectRatio_16_9, FrameRate_59_94, 0x7FFFFFFF, -8};
    SLyVideoResolution r{};
    r.frameSize = {99, 99};
    ConvertVer0Resolution(v0, r);
    SLyVideoResolution expected{1024, 576, -5, 6, AspectRatio_16_9, FrameRate_59_94, 0x7FFFFFFF, -8, {720, 576}};
    EXPECT_EQ(IsEqualResolution(r, expected), 1);
    EXPECT_EQ(r.reserved3, 0x7FFFFFFF);
    EXPECT_EQ(r.frameSize.cx, 720);
}

TEST(ResolutionRecords, HDAndEquality) {
    EXPECT_EQ(IsHDResolution(Resolution(1280, 719)), 0);
    EXPECT_EQ(IsHDResolution(Resolution(1280, 720)), 1);
    EXPECT_EQ(IsHDResolution(Resolution(0, 0)), 0);
    EXPECT_EQ(IsHDResolution(Resolution(16, 65535)), 1);

    const SLyVideoResolution base = Resolution(1920, 1080);
    EXPECT_EQ(IsEqualResolution(base, base), 1);
    // Every one of the nine fields takes part.
    for (int field = 0; field < 10; ++field) {
        SLyVideoResolution other = base;
        switch (field) {
        case 0: other.width++; break;
        case 1: other.height++; break;
        case 2: other.reserved1++; break;
        case 3: other.reserved2++; break;
        case 4: other.aspectRatio = AspectRatio_4_3; break;
        case 5: other.frameRate = FrameRate_50; break;
        case 6: other.reserved3++; break;
        case 7: other.reserved4++; break;
        case 8: other.frameSize.cx++; break;
        case 9: other.frameSize.cy++; break;
        }
        EXPECT_EQ(IsEqualResolution(base, other), 0) << field;
        EXPECT_EQ(IsEqualResolution(other, base), 0) << field;
    }
}

// ------------------------------------------------------------ re-timing

TEST(Retiming, AVDescriptionConvertsTotalAndStreams) {
    auto info = MediaInfo(FrameRate_25, 1000, 3);
    info->streams[1].frameRate = FrameRate_29_97;
    info->streams[1].frameCount = 999;
    info->streams[2].frameRate = FrameRate_29_97;
    info->streams[2].frameCount = 15;
    info->streams[3].frameCount = 1234;  // beyond streamCount
    AVDescriptionFRC(Output(FrameRate_50), *info);
    EXPECT_EQ(info->totalFrames, 2000u);
    EXPECT_EQ(info->streams[0].frameCount, 2000u);
    // 999 frames at 30000/1001 last 33.333 s: 1666.67 frames at 50, truncated.
    EXPECT_EQ(info->streams[1].frameCount, 999u * 1001u * 50u / 30000u);
    EXPECT_EQ(info->streams[2].frameCount, 15u * 1001u * 50u / 30000u);
    EXPECT_EQ(info->streams[3].frameCount, 1234u);
    EXPECT_EQ(info->streams[1].frameRate, FrameRate_29_97);  // rates are not rewritten
}

TEST(Retiming, StreamAtOutputRateHasNoShortcut) {
    // The total uses the same-rate shortcut, the streams do not: 15 frames at
    // 29.97 through the double arithmetic come out at 14.999.. and truncate.
    auto info = MediaInfo(FrameRate_25, 250, 2);
    info->streams[1].frameRate = FrameRate_29_97;
    info->streams[1].frameCount = 15;
    AVDescriptionFRC(Output(FrameRate_29_97), *info);
    EXPECT_EQ(info->streams[1].frameCount, 14u);
}

TEST(Retiming, AVDescriptionLeavesAloneWhenNothingToDo) {
    for (auto [rate, count] : {std::pair{FrameRate_50, 0}, std::pair{FrameRate_25, 4}}) {
        auto info = MediaInfo(FrameRate_25, 1000, static_cast<uint16_t>(count));
        const SLyAudioVideoFileInfo before = *info;
        AVDescriptionFRC(Output(rate), *info);
        EXPECT_TRUE(SameInfo(before, *info));
    }
}

TEST(Retiming, StreamCountIsBoundedByTheArray) {
    auto info = MediaInfo(FrameRate_25, 1000, 0xFFFF);
    AVDescriptionFRC(Output(FrameRate_50), *info);
    for (int i = 0; i < LY_MAX_MEDIA_STREAMS; ++i) EXPECT_EQ(info->streams[i].frameCount, 2000u) << i;
}

TEST(Retiming, RatesOutsideTheTableRefuse) {
    struct Case {
        int output, file, stream3;
        uint16_t count;
    };
    const Case cases[] = {
        {8, 2, 2, 4}, {-1, 2, 2, 4}, {5, 9, 9, 4}, {5, 2, 100, 4}, {5, 2, -7, 16},
    };
    for (const Case& c : cases) {
        auto info = MediaInfo(static_cast<ELyFrameRate>(c.file), 1000, c.count);
        info->streams[3].frameRate = static_cast<ELyFrameRate>(c.stream3);
        const SLyAudioVideoFileInfo before = *info;
        AVDescriptionFRC(Output(static_cast<ELyFrameRate>(c.output)), *info);
        EXPECT_TRUE(SameInfo(before, *info)) << c.output << " " << c.file << " " << c.stream3;
        SLyPlayListElementProps props{1, 2, 3};
        ElementPropsFRC(Output(static_cast<ELyFrameRate>(c.output)), before, props);
        EXPECT_EQ(props.trimIn, 1u);
        EXPECT_EQ(props.trimOut, 2u);
        ElementPropsAliasFRC(Output(static_cast<ELyFrameRate>(c.output)), before, props);
        EXPECT_EQ(props.trimIn, 1u);
        EXPECT_EQ(props.trimOut, 2u);
        EXPECT_EQ(props.trimLength, 3u);
    }
    // An invalid stream beyond streamCount is never looked at.
    auto info = MediaInfo(FrameRate_25, 1000, 2);
    info->streams[5].frameRate = static_cast<ELyFrameRate>(99);
    AVDescriptionFRC(Output(FrameRate_50), *info);
    EXPECT_EQ(info->totalFrames, 2000u);
}

TEST(Retiming, ElementProps) {
    auto info = MediaInfo(FrameRate_25, 1000, 1);
    const SLyAudioVideoFileInfo before = *info;

    SLyPlayListElementProps props{100, 300, 500};
    ElementPropsFRC(Output(FrameRate_50), *info, props);
    EXPECT_EQ(props.trimIn, 200u);
    EXPECT_EQ(props.trimOut, 700u);  // the new in plus the unconverted length
    EXPECT_EQ(props.trimLength, 500u);
    EXPECT_TRUE(SameInfo(before, *info));  // worked on a copy

    props = {100, 300, 5000};
    ElementPropsFRC(Output(FrameRate_50), *info, props);
    EXPECT_EQ(props.trimOut, 2000u);  // capped at the new total
    props = {100, 300, 0xFFFFFFFFu};
    ElementPropsFRC(Output(FrameRate_50), *info, props);
    EXPECT_EQ(props.trimOut, 199u);  // 200 + length wraps in 32 bits

    // The alias maps from the new units back to the old ones.
    props = {100, 300, 500};
    ElementPropsAliasFRC(Output(FrameRate_50), *info, props);
    EXPECT_EQ(props.trimIn, 50u);
    EXPECT_EQ(props.trimOut, 150u);
    EXPECT_EQ(props.trimLength, 500u);
}

TEST(Retiming, ElementPropsConditions) {
    auto check = [](const SLyAudioVideoFileInfo& info, ELyFrameRate out, bool changes) {
        SLyPlayListElementProps a{100, 300, 500};
        SLyPlayListElementProps b{100, 300, 500};
        ElementPropsFRC(Output(out), info, a);
        ElementPropsAliasFRC(Output(out), info, b);
        EXPECT_EQ(a.trimIn != 100u || a.trimOut != 300u, changes);
        EXPECT_EQ(b.trimIn != 100u || b.trimOut != 300u, changes);
    };
    auto info = MediaInfo(FrameRate_25, 1000, 1);
    info->mediaKind = 65535;  // must exceed 65535
    check(*info, FrameRate_50, false);
    info->mediaKind = 65536;
    check(*info, FrameRate_50, true);
    check(*info, FrameRate_25, false);  // same rate
    info->totalFrames = 0;              // nothing to scale from: refused
    check(*info, FrameRate_50, false);

    // One frame at 25 is under one at 23.98: the new total is 0, so the
    // alias (which divides by it) refuses while the forward form proceeds.
    info->totalFrames = 1;
    SLyPlayListElementProps b{100, 300, 500};
    ElementPropsAliasFRC(Output(FrameRate_23_98), *info, b);
    EXPECT_EQ(b.trimIn, 100u);
    EXPECT_EQ(b.trimOut, 300u);
    SLyPlayListElementProps a{1, 1, 5};
    ElementPropsFRC(Output(FrameRate_23_98), *info, a);
    EXPECT_EQ(a.trimIn, 0u);
    EXPECT_EQ(a.trimOut, 0u);

    // No streams: nothing is re-timed, the trim points map old -> old.
    auto none = MediaInfo(FrameRate_25, 1000, 0);
    SLyPlayListElementProps c{100, 300, 50};
    ElementPropsFRC(Output(FrameRate_50), *none, c);
    EXPECT_EQ(c.trimIn, 100u);
    EXPECT_EQ(c.trimOut, 150u);
}
