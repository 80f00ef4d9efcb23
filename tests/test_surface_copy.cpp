// Surface copy, clear, clone, format conversion and the crawl strips, on the
// recording host: where bytes land, what stays untouched (padding and alpha
// planes included), and which interface calls happen in which order.
#include <cstring>

#include "LyAVUtils.h"
#include "memory/LyUnaligned.h"
#include "surface/LySurfaceCommon.h"
#include "surface_support.h"
#include "test_support.h"

using namespace LySurfaceUtils;
using lytest::CallLogText;
using lytest::HostRef;
using lytest::MakeCreateDesc;
using lytest::MakeSurface;
using lytest::MemoryOf;
using lytest::RecordingPool;
using lytest::RecordingSurface;

namespace {

struct Format {
    ELyPixelFormat format;
    unsigned char depth;
};
const Format kPacked[] = {{PixelFormat_BGRA4444, 8},  {PixelFormat_BGRA4444, 16}, {PixelFormat_VUYA4444, 8},
                          {PixelFormat_VUYA4444, 16}, {PixelFormat_UYVY422, 8},   {PixelFormat_UYVY422, 16},
                          {PixelFormat_YUYVA422, 8},  {PixelFormat_YUYVA422, 16}};

uint32_t ColumnBytes(Format f, int x) { return LyVideoUtils::GetPixelLineBytes(f.format, f.depth, x); }

// What CopySurface of same-format surfaces must leave in the destination:
// every byte outside the overlap's rows and columns as it was.
std::vector<unsigned char> ExpectedCopy(Format f, const std::vector<unsigned char>& src, RECT s, int sPitch,
                                        std::vector<unsigned char> dst, RECT d, int dPitch) {
    const RECT a{std::max(s.left, d.left), std::max(s.top, d.top), std::min(s.right, d.right),
                 std::min(s.bottom, d.bottom)};
    const uint32_t bytes = ColumnBytes(f, a.right - a.left);
    const int planes = f.format == PixelFormat_YUYVA422 ? 2 : 1;
    for (int plane = 0; plane < planes; ++plane)
        for (int y = a.top; y < a.bottom; ++y) {
            const size_t so =
                size_t(sPitch) * (y - s.top + plane * (s.bottom - s.top)) + ColumnBytes(f, a.left - s.left);
            const size_t dO =
                size_t(dPitch) * (y - d.top + plane * (d.bottom - d.top)) + ColumnBytes(f, a.left - d.left);
            std::memcpy(dst.data() + dO, src.data() + so, bytes);
        }
    return dst;
}

TEST(CopySurface, OverlapLandsInPlaceAndNothingElseChanges) {
    struct Case {
        const char* what;
        RECT src, dst;
    };
    const Case cases[] = {
        {"partly overlapping", {0, 0, 20, 9}, {7, 4, 31, 15}},
        {"destination inside source", {0, 0, 40, 17}, {5, 3, 18, 11}},
        {"source inside destination", {9, 6, 16, 9}, {0, 0, 33, 16}},
        {"negative positions", {-11, -7, 6, 5}, {-3, -9, 10, 2}},
        {"odd columns", {1, 0, 12, 3}, {4, 1, 9, 4}},
    };
    for (const Format& f : kPacked)
        for (const Case& c : cases) {
            SCOPED_TRACE(testing::Message() << c.what << ", format " << f.format << " depth " << int(f.depth));
            HostRef<RecordingSurface> src(MakeSurface("src", c.src, 12, f.format, f.depth));
            HostRef<RecordingSurface> dst(MakeSurface("dst", c.dst, 12, f.format, f.depth));
            const auto srcBefore = MemoryOf(src.get());
            const auto expected =
                ExpectedCopy(f, srcBefore, c.src, src->Pitch(), MemoryOf(dst.get()), c.dst, dst->Pitch());
            lytest::ClearCallLog();
            ASSERT_EQ(CopySurface(src.get(), dst.get()), 1);
            EXPECT_EQ(CallLogText(), "dst.GetDescription src.GetDescription dst.Lock src.Lock src.Unlock dst.Unlock");
            EXPECT_TRUE(lytest::SameBytes(expected, MemoryOf(dst.get())));
            EXPECT_TRUE(lytest::SameBytes(srcBefore, MemoryOf(src.get())));
        }
}

TEST(CopySurface, RefusalsLockNothing) {
    HostRef<RecordingSurface> a(MakeSurface("a", {0, 0, 10, 10})), b(MakeSurface("b", {10, 0, 20, 10}));
    HostRef<RecordingSurface> c(MakeSurface("c", {0, 10, 10, 20}));
    const auto before = MemoryOf(b.get());
    lytest::ClearCallLog();
    // Side by side, one above the other, and nulls.
    EXPECT_EQ(CopySurface(a.get(), b.get()) + CopySurface(a.get(), c.get()) + CopySurface(nullptr, b.get()) +
                  CopySurface(a.get(), nullptr),
              0);
    SLySurfaceDescription planar{};
    a->GetDescription(&planar);
    for (ELyPixelFormat p : {PixelFormat_YUV411Planar, PixelFormat_YUV420Planar, PixelFormat_YUV422Planar}) {
        planar.pixelFormat = p;
        planar.left = 10;  // overlapping b whole
        a->SetDescriptionOverride(planar);
        EXPECT_EQ(CopySurface(a.get(), b.get()), 0);
    }
    EXPECT_TRUE(lytest::NothingLocked()) << lytest::CallLogText();
    EXPECT_TRUE(lytest::SameBytes(before, MemoryOf(b.get())));
}

TEST(CopySurface, MixedFormatsAndNullBitsStayInsideTheRows) {
    // A 32-bit source over a 16-bit-a-pixel destination: each row is cut to
    // the destination's bytes, the padding after it stays.
    HostRef<RecordingSurface> src(MakeSurface("src", {0, 0, 16, 4}, 12, PixelFormat_BGRA4444, 8));
    HostRef<RecordingSurface> dst(MakeSurface("dst", {4, 0, 20, 4}, 12, PixelFormat_UYVY422, 8));
    auto expected = MemoryOf(dst.get());
    for (int y = 0; y < 4; ++y)
        std::memcpy(expected.data() + y * dst->Pitch(), src->Bits() + y * src->Pitch() + 16, 32);
    ASSERT_EQ(CopySurface(src.get(), dst.get()), 1);
    EXPECT_TRUE(lytest::SameBytes(expected, MemoryOf(dst.get())));

    // YUYVA destination, UYVY source: no alpha plane to read from.
    HostRef<RecordingSurface> yuyva(MakeSurface("yuyva", {0, 0, 16, 4}, 12, PixelFormat_YUYVA422, 8));
    HostRef<RecordingSurface> uyvy(MakeSurface("uyvy", {0, 0, 16, 4}, 12, PixelFormat_UYVY422, 8));
    const auto alphaBefore = std::vector<unsigned char>(yuyva->Memory().AlphaBits(),
                                                        yuyva->Memory().AlphaBits() + 4 * yuyva->Pitch());
    ASSERT_EQ(CopySurface(uyvy.get(), yuyva.get()), 1);
    EXPECT_EQ(0, std::memcmp(yuyva->Bits(), uyvy->Bits(), 32));
    EXPECT_EQ(0, std::memcmp(alphaBefore.data(), yuyva->Memory().AlphaBits(), alphaBefore.size()));

    const auto before = MemoryOf(dst.get());
    src->SetLockBits(nullptr);
    lytest::ClearCallLog();
    EXPECT_EQ(CopySurface(src.get(), dst.get()), 1);
    EXPECT_TRUE(lytest::LocksBalanced());
    EXPECT_TRUE(lytest::SameBytes(before, MemoryOf(dst.get())));
}

TEST(ClearSurface, WholeAndAreaFormsEqualTheFillsOnTheSamePictures) {
    for (const Format& f : kPacked) {
        SCOPED_TRACE(testing::Message() << "format " << f.format << " depth " << int(f.depth));
        HostRef<RecordingSurface> s(MakeSurface("s", {-4, 6, 22, 15}, 12, f.format, f.depth));
        // Whole surface, fixed colour.
        auto expected = MemoryOf(s.get());
        LyPixelUtils::FillFixedColor(expected.data(), s->Pitch(), 26, 9, f.format, f.depth, Colorimetry_BT709,
                                     FixedColor_Red, 200);
        lytest::ClearCallLog();
        ASSERT_EQ(ClearSurface(s.get(), FixedColor_Red, 200), 1);
        EXPECT_EQ(CallLogText(), "s.GetDescription s.Lock s.Unlock");
        EXPECT_TRUE(lytest::SameBytes(expected, MemoryOf(s.get())));

        // A packed word.
        LyPixelUtils::FillBlockColor(expected.data(), s->Pitch(), 26, 9, f.format, f.depth, Colorimetry_BT709,
                                     0x80EB8080u);
        ASSERT_EQ(ClearSurface(s.get(), 0x80EB8080u), 1);
        EXPECT_TRUE(lytest::SameBytes(expected, MemoryOf(s.get())));

        // An area in frame coordinates: frame (0, 8)-(9, 12) is the surface's
        // own (4, 2)-(13, 6). For YUYVA the fill's alpha rows fall `4` rows
        // below that sub-picture, as the header warns.
        lytest::FillMemoryRandom(s.get());
        expected = MemoryOf(s.get());
        const size_t at = size_t(s->Pitch()) * 2 + ColumnBytes(f, 4);
        LyPixelUtils::FillFixedColor(expected.data() + at, s->Pitch(), 9, 4, f.format, f.depth, Colorimetry_BT709,
                                     FixedColor_Blue, 7);
        RECT area{0, 8, 9, 12};
        ASSERT_EQ(ClearSurface(s.get(), FixedColor_Blue, 7, &area), 1);
        EXPECT_TRUE(lytest::SameBytes(expected, MemoryOf(s.get())));
    }
}

TEST(ClearSurface, RefusalsAndNullArea) {
    const Format f{PixelFormat_BGRA4444, 8};
    HostRef<RecordingSurface> s(MakeSurface("s", {0, 0, 8, 8}, 12, f.format, f.depth));
    const auto before = MemoryOf(s.get());
    lytest::ClearCallLog();
    RECT outside{8, 0, 20, 8}, empty{2, 2, 2, 6}, negative{6, 6, 2, 2};
    for (RECT* area : {&outside, &empty, &negative}) EXPECT_EQ(ClearSurface(s.get(), FixedColor_Black, 255, area), 0);
    EXPECT_EQ(ClearSurface(nullptr, FixedColor_Black, 255, &outside) + ClearSurface(nullptr, FixedColor_Black, 255) +
                  ClearSurface(nullptr, 0u),
              0);
    EXPECT_TRUE(lytest::NothingLocked());
    EXPECT_TRUE(lytest::SameBytes(before, MemoryOf(s.get())));
    ASSERT_EQ(ClearSurface(s.get(), FixedColor_Black, 255, nullptr), 1);
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x) ASSERT_EQ(ly::Load32(s->Bits() + y * s->Pitch() + 4 * x), 0xFF000000u);
    s->SetLockBits(nullptr);  // lock without memory: nothing written, no crash
    RECT inside{1, 1, 3, 3};
    EXPECT_EQ(ClearSurface(s.get(), FixedColor_Red, 255, &inside), 1);
    EXPECT_EQ(ClearSurface(s.get(), FixedColor_Red, 255), 1);
}

TEST(CloneSurface, CopiesThroughThePoolAndKeepsTheCustomAspectQuirk) {
    const Format f{PixelFormat_YUYVA422, 8};
    HostRef<RecordingSurface> src(MakeSurface("src", {10, 20, 730, 308}, 12, f.format, f.depth));
    SLySurfaceDescription d{};
    src->GetDescription(&d);
    d.polarity = Polarity_Second;
    d.scanMode = ScanMode_UpperFirst;
    d.aspectRatio = AspectRatio_Custom;
    d.customAspectX = 5;
    d.customAspectY = 4;
    src->SetDescriptionOverride(d);
    HostRef<RecordingPool> pool(RecordingPool::Create("pool", 4));
    ILyVideoSurface* out = nullptr;
    lytest::ClearCallLog();
    ASSERT_EQ(CloneSurface(src.get(), pool.get(), &out), 1);
    HostRef<RecordingSurface> clone(static_cast<RecordingSurface*>(out));
    EXPECT_EQ(CallLogText(), "src.GetDescription pool.CreateSurface pool.new1.SetAspectRatio(3,720,576) "
                             "pool.new1.GetDescription src.GetDescription pool.new1.Lock src.Lock src.Unlock "
                             "pool.new1.Unlock pool.new1.AddRef pool.new1.Release");
    EXPECT_EQ(clone->References(), 1u);
    ASSERT_EQ(pool->Requests().size(), 1u);
    const SLySurfaceCreateDesc& cd = pool->Requests()[0];
    EXPECT_EQ(std::tuple(cd.width, cd.height, cd.left, cd.top, cd.polarity, cd.aspectRatio),
              std::tuple(720, 288, 10, 20, Polarity_Second, AspectRatio_Custom));
    // Same picture and alpha plane, row by row (the pitches differ).
    for (int y = 0; y < 2 * 288; ++y)
        ASSERT_EQ(0, std::memcmp(clone->Bits() + y * clone->Pitch(), src->Bits() + y * src->Pitch(), 1440)) << y;

    // A frame surface: the custom ratio is the frame's own height.
    d.polarity = Polarity_Frame;
    src->SetDescriptionOverride(d);
    lytest::ClearCallLog();
    ASSERT_EQ(CloneSurface(src.get(), pool.get(), &out), 1);
    out->Release();
    EXPECT_EQ(lytest::CallsContaining("SetAspectRatio"),
              std::vector<std::string>{"pool.new2.SetAspectRatio(3,720,288)"});
}

TEST(CloneSurface, NullPoolAndFailingPoolReportTheOutPointer) {
    const Format f{PixelFormat_BGRA4444, 8};
    HostRef<RecordingSurface> src(MakeSurface("src", {0, 0, 8, 8}, 12, f.format, f.depth));
    HostRef<RecordingSurface> held(MakeSurface("held", {0, 0, 8, 8}, 12, f.format, f.depth));
    ILyVideoSurface* out = held.get();
    lytest::ClearCallLog();
    EXPECT_EQ(CloneSurface(src.get(), nullptr, &out), 1);  // reports what was there
    EXPECT_EQ(out, held.get());
    out = nullptr;
    EXPECT_EQ(CloneSurface(src.get(), nullptr, &out) + CloneSurface(nullptr, nullptr, &out), 0);
    EXPECT_TRUE(lytest::NothingLocked());
    HostRef<RecordingPool> pool(RecordingPool::Create("pool"));
    EXPECT_EQ(CloneSurface(src.get(), pool.get(), nullptr), 0);
    EXPECT_TRUE(pool->Requests().empty());
    pool->FailCall(1);
    out = held.get();
    lytest::ClearCallLog();
    EXPECT_EQ(CloneSurface(src.get(), pool.get(), &out), 0);
    EXPECT_EQ(out, nullptr);  // the failed creation's null is stored
    EXPECT_TRUE(lytest::NothingLocked());
    EXPECT_EQ(held->References(), 1u);
}

// A surface's description and the memory its lock hands out.
struct Locked {
    SLySurfaceDescription d{};
    SLyLockSurface l{};
};
Locked LockOf(RecordingSurface* s) {
    Locked k;
    s->GetDescription(&k.d);
    s->Lock(0, &k.l);
    s->Unlock(0);
    return k;
}

TEST(ConvertSurfaceFormat, EveryPairEqualsItsConverterAndRefusesTheRest) {
    const int w = 13, h = 5;
    const ELyPixelFormat all[] = {PixelFormat_BGRA4444, PixelFormat_VUYA4444, PixelFormat_UYVY422,
                                  PixelFormat_YUYVA422};
    for (ELyPixelFormat sf : all)
        for (ELyPixelFormat tf : all)
            for (unsigned char depth : {8, 16}) {
                SCOPED_TRACE(testing::Message() << sf << " to " << tf << " depth " << int(depth));
                HostRef<RecordingSurface> s(MakeSurface("s", {0, 0, w, h}, 12, sf, depth));
                HostRef<RecordingSurface> t(MakeSurface("t", {0, 0, w, h}, 12, tf, depth));
                auto [sd, sl] = LockOf(s.get());
                auto [td, tl] = LockOf(t.get());
                sd.colorimetry = Colorimetry_BT601;  // the YUV side's colorimetry must be the one used
                auto expected = MemoryOf(t.get());
                unsigned char* e = expected.data();
                unsigned char* ea = e + size_t(t->Pitch()) * h;
                const int sp = s->Pitch(), tp = t->Pitch();
                int result = 1;
                using namespace LyFormatUtils;
                if (sf == PixelFormat_YUYVA422) result = 0;
                else if (sf == 1 && tf == 2) BGRA4444ToVUYA4444(sl.bits, sp, e, tp, depth, td.colorimetry, w, h);
                else if (sf == 1 && tf == 3) BGRA4444ToUYVY422(sl.bits, sp, e, tp, depth, td.colorimetry, w, h);
                else if (sf == 1 && tf == 7)
                    BGRA4444ToYUYVA422(sl.bits, sp, e, tp, ea, tp, depth, td.colorimetry, w, h);
                else if (sf == 2 && tf == 1) VUYA4444ToBGRA4444(sl.bits, sp, e, tp, depth, sd.colorimetry, w, h);
                else if (sf == 2 && tf == 3) VUYA4444ToUYVY422(sl.bits, sp, e, tp, depth, w, h);
                else if (sf == 2 && tf == 7) VUYA4444ToYUYVA422(sl.bits, sp, e, tp, ea, tp, depth, w, h);
                else if (sf == 3 && tf == 1) UYVY422ToBGRA4444(sl.bits, sp, depth, sd.colorimetry, e, tp, w, h);
                else if (sf == 3 && tf == 2) UYVY422ToVUYA4444(sl.bits, sp, depth, e, tp, w, h, 255);
                EXPECT_EQ(ConvertSurfaceFormat(sd, sl, td, tl), result);
                EXPECT_TRUE(lytest::SameBytes(expected, MemoryOf(t.get())));
            }
}

TEST(ConvertSurfaceFormat, RefusesSizeMismatchPlanarAndNullBits) {
    HostRef<RecordingSurface> s(MakeSurface("s", {0, 0, 8, 4}, 12, PixelFormat_BGRA4444, 8));
    HostRef<RecordingSurface> t(MakeSurface("t", {0, 0, 8, 4}, 12, PixelFormat_VUYA4444, 8));
    const auto [sd, sl] = LockOf(s.get());
    const auto [td, tl] = LockOf(t.get());
    const auto before = MemoryOf(t.get());
    SLySurfaceDescription other = td;
    other.height = 3;
    EXPECT_EQ(ConvertSurfaceFormat(sd, sl, other, tl), 0);
    for (ELyPixelFormat p : {PixelFormat_YUV411Planar, PixelFormat_YUV420Planar, PixelFormat_YUV422Planar,
                             PixelFormat_Unknown, ELyPixelFormat(8)}) {
        other = sd;
        other.pixelFormat = p;
        EXPECT_EQ(ConvertSurfaceFormat(other, sl, td, tl), 0);
        other = td;
        other.pixelFormat = p;
        EXPECT_EQ(ConvertSurfaceFormat(sd, sl, other, tl), 0);
    }
    SLyLockSurface nullLock = tl;
    nullLock.bits = nullptr;
    EXPECT_EQ(ConvertSurfaceFormat(sd, sl, td, nullLock), 0);
    EXPECT_EQ(ConvertSurfaceFormat(sd, nullLock, sd, nullLock), 1);  // 1 -> 1 touches nothing
    EXPECT_TRUE(lytest::SameBytes(before, MemoryOf(t.get())));
}

TEST(HaveSamePixelAspectRatio, FieldsCountTwiceAndNullsAreRefused) {
    const Format f{PixelFormat_BGRA4444, 8};
    HostRef<RecordingSurface> frame(MakeSurface("frame", {0, 0, 720, 576}, 12, f.format, f.depth));
    HostRef<RecordingSurface> field(MakeSurface("field", {0, 0, 720, 288}, 12, f.format, f.depth));
    frame->Memory().SetAspectRatio(AspectRatio_4_3, 0, 0);
    field->Memory().SetAspectRatio(AspectRatio_4_3, 0, 0);
    EXPECT_EQ(HaveSamePixelAspectRatio(frame.get(), field.get()), 0);
    field->Memory().SetFieldInfo(ScanMode_UpperFirst, Polarity_First);
    lytest::ClearCallLog();
    EXPECT_EQ(HaveSamePixelAspectRatio(frame.get(), field.get()), 1);
    EXPECT_EQ(CallLogText(),
              "frame.GetDescription field.GetDescription frame.GetPixelAspectRatio field.GetPixelAspectRatio");
    EXPECT_EQ(HaveSamePixelAspectRatio(nullptr, field.get()) + HaveSamePixelAspectRatio(frame.get(), nullptr), 0);
}

// ------------------------------------------------------------ crawl strips

// The strip's expected result: `w` x `h` pixels copied, or mixed.
void CopyOrMix(bool mix, Format f, const unsigned char* s, int sp, unsigned char* d, int dp, int w, int h) {
    if (mix) return LyPixelUtils::MixColor(s, sp, d, dp, w, h);
    for (int y = 0; y < h; ++y) std::memcpy(d + y * dp, s + y * sp, ColumnBytes(f, w));
}

TEST(Crawl, StripsCopyAndMixOverTheSharedRowsOrColumns) {
    for (bool vertical : {false, true})
        for (const Format& f : kPacked)
            for (int mix : {0, 1}) {
                if (mix && &f != kPacked) continue;  // mixing takes 4-byte pixels: the first format only
                SCOPED_TRACE(testing::Message() << "format " << f.format << " depth " << int(f.depth) << " mix "
                                                << mix << " vertical " << vertical);
                // Horizontal: a long source and a visible destination sharing frame rows 4..9. Vertical: sharing
                // columns 4..19, source column 10 onto destination column 0.
                const RECT srcAt = vertical ? RECT{-6, -100, 20, 300} : RECT{-50, 2, 150, 10},
                           dstAt = vertical ? RECT{4, 0, 30, 24} : RECT{0, 4, 40, 14};
                HostRef<RecordingSurface> src(MakeSurface("src", srcAt, 12, f.format, f.depth));
                HostRef<RecordingSurface> dst(MakeSurface("dst", dstAt, 12, f.format, f.depth));
                const Locked s = LockOf(src.get()), d = LockOf(dst.get());
                auto expected = MemoryOf(dst.get());
                const auto strip = vertical ? LyCrawlSurfaceUtils::Crawl_CopyVertical
                                            : LyCrawlSurfaceUtils::Crawl_CopyHorizontal;
                if (vertical)
                    CopyOrMix(mix, f, src->Bits() + 250 * src->Pitch() + ColumnBytes(f, 10), src->Pitch(),
                              expected.data() + 12 * dst->Pitch(), dst->Pitch(), 16, 7);
                else
                    CopyOrMix(mix, f, src->Bits() + 2 * src->Pitch() + ColumnBytes(f, 71), src->Pitch(),
                              expected.data() + ColumnBytes(f, 30), dst->Pitch(), 10, 6);
                lytest::ClearCallLog();
                strip(s.d, s.l, d.d, d.l, vertical ? 250 : 71, vertical ? 12 : 30, vertical ? 7 : 10, mix);
                EXPECT_EQ(CallLogText(), "");
                EXPECT_TRUE(lytest::SameBytes(expected, MemoryOf(dst.get())));
                // Nothing to do: no extent, no shared rows or columns, a strip leaving a picture.
                SLySurfaceDescription away = d.d;
                (vertical ? away.left : away.top) = vertical ? 20 : 10;
                SLyLockSurface nullLock = d.l;
                nullLock.bits = nullptr;
                using Strip = std::tuple<SLySurfaceDescription, SLyLockSurface, int, int, int>;
                const auto cases =
                    vertical ? std::vector<Strip>{{d.d, d.l, 250, 12, 0}, {d.d, d.l, 399, 0, 2}, {d.d, d.l, 0, 20, 5},
                                                  {away, d.l, 0, 0, 5}}
                             : std::vector<Strip>{{d.d, d.l, 71, 30, 0}, {d.d, d.l, 71, 30, -3}, {d.d, d.l, 195, 0, 10},
                                                  {d.d, d.l, 0, 35, 10}, {d.d, d.l, -1, 0, 10}, {away, d.l, 0, 0, 10},
                                                  {d.d, nullLock, 0, 0, 10}};
                for (const auto& [dd, dl, from, to, extent] : cases) strip(s.d, s.l, dd, dl, from, to, extent, mix);
                EXPECT_TRUE(lytest::SameBytes(expected, MemoryOf(dst.get())));
            }
}

}  // namespace
