// Surface copy, clear, clone, format conversion and the crawl strips, on the
// recording host: where bytes land, what stays untouched (padding and alpha
// planes included), and which interface calls happen in which order.
#include <cstring>

#include "LyAVUtils.h"
#include "memory/LyUnaligned.h"
#include "surface/LySurfaceCommon.h"
#include "surface_support.h"
#include "test_support.h"

using lytest::CallLog;
using lytest::HostRef;
using lytest::MakeCreateDesc;
using lytest::MemoryOf;
using lytest::RecordingPool;
using lytest::RecordingSurface;
using Log = std::vector<std::string>;

namespace {

struct Format {
    ELyPixelFormat format;
    unsigned char depth;
};
const Format kPacked[] = {{PixelFormat_BGRA4444, 8},  {PixelFormat_BGRA4444, 16}, {PixelFormat_VUYA4444, 8},
                          {PixelFormat_VUYA4444, 16}, {PixelFormat_UYVY422, 8},   {PixelFormat_UYVY422, 16},
                          {PixelFormat_YUYVA422, 8},  {PixelFormat_YUYVA422, 16}};

// A surface with random memory and 12 bytes of padding after each row.
RecordingSurface* MakeSurface(const std::string& name, Format f, RECT r) {
    const SLySurfaceCreateDesc d = MakeCreateDesc(r.right - r.left, r.bottom - r.top, f.format, f.depth, r.left, r.top);
    const int pitch = int(LyVideoUtils::GetPixelLineBytesWithPitch(f.format, f.depth, d.width)) + 12;
    RecordingSurface* s = RecordingSurface::Create(name, d, pitch);
    if (s) lytest::FillMemoryRandom(s);
    return s;
}

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
            const size_t so = size_t(sPitch) * (y - s.top + plane * (s.bottom - s.top)) + ColumnBytes(f, a.left - s.left);
            const size_t dO = size_t(dPitch) * (y - d.top + plane * (d.bottom - d.top)) + ColumnBytes(f, a.left - d.left);
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
            HostRef<RecordingSurface> src(MakeSurface("src", f, c.src)), dst(MakeSurface("dst", f, c.dst));
            const auto srcBefore = MemoryOf(src.get());
            const auto expected =
                ExpectedCopy(f, srcBefore, c.src, src->Pitch(), MemoryOf(dst.get()), c.dst, dst->Pitch());
            lytest::ClearCallLog();
            ASSERT_EQ(LySurfaceUtils::CopySurface(src.get(), dst.get()), 1);
            EXPECT_EQ(CallLog(), (Log{"dst.GetDescription", "src.GetDescription", "dst.Lock", "src.Lock",
                                      "src.Unlock", "dst.Unlock"}));
            EXPECT_TRUE(lytest::SameBytes(expected, MemoryOf(dst.get())));
            EXPECT_TRUE(lytest::SameBytes(srcBefore, MemoryOf(src.get())));
        }
}

TEST(CopySurface, DestinationAt100By50TakesTheSourceFromThere) {
    const Format f{PixelFormat_BGRA4444, 8};
    HostRef<RecordingSurface> src(MakeSurface("src", f, {0, 0, 320, 180}));
    HostRef<RecordingSurface> dst(MakeSurface("dst", f, {100, 50, 164, 82}));
    ASSERT_EQ(LySurfaceUtils::CopySurface(src.get(), dst.get()), 1);
    EXPECT_EQ(0, std::memcmp(dst->Bits(), src->Bits() + 50 * src->Pitch() + 400, 4));
    EXPECT_EQ(0, std::memcmp(dst->Bits() + 31 * dst->Pitch() + 63 * 4, src->Bits() + 81 * src->Pitch() + 163 * 4, 4));
}

TEST(CopySurface, RefusalsLockNothing) {
    const Format f{PixelFormat_BGRA4444, 8};
    HostRef<RecordingSurface> a(MakeSurface("a", f, {0, 0, 10, 10})), b(MakeSurface("b", f, {10, 0, 20, 10}));
    HostRef<RecordingSurface> c(MakeSurface("c", f, {0, 10, 10, 20}));
    const auto before = MemoryOf(b.get());
    lytest::ClearCallLog();
    EXPECT_EQ(LySurfaceUtils::CopySurface(a.get(), b.get()), 0);  // side by side
    EXPECT_EQ(LySurfaceUtils::CopySurface(a.get(), c.get()), 0);  // one above the other
    EXPECT_EQ(LySurfaceUtils::CopySurface(nullptr, b.get()), 0);
    EXPECT_EQ(LySurfaceUtils::CopySurface(a.get(), nullptr), 0);
    SLySurfaceDescription planar{};
    a->GetDescription(&planar);
    for (ELyPixelFormat p : {PixelFormat_YUV411Planar, PixelFormat_YUV420Planar, PixelFormat_YUV422Planar}) {
        planar.pixelFormat = p;
        planar.left = 10;  // overlapping b whole
        a->SetDescriptionOverride(planar);
        EXPECT_EQ(LySurfaceUtils::CopySurface(a.get(), b.get()), 0);
    }
    EXPECT_TRUE(lytest::NothingLocked()) << lytest::CallLogText();
    EXPECT_TRUE(lytest::SameBytes(before, MemoryOf(b.get())));
}

TEST(CopySurface, MixedFormatsAndNullBitsStayInsideTheRows) {
    // A 32-bit source over a 16-bit-a-pixel destination: each row is cut to
    // the destination's bytes, the padding after it stays.
    HostRef<RecordingSurface> src(MakeSurface("src", {PixelFormat_BGRA4444, 8}, {0, 0, 16, 4}));
    HostRef<RecordingSurface> dst(MakeSurface("dst", {PixelFormat_UYVY422, 8}, {4, 0, 20, 4}));
    auto expected = MemoryOf(dst.get());
    for (int y = 0; y < 4; ++y) std::memcpy(expected.data() + y * dst->Pitch(), src->Bits() + y * src->Pitch() + 16, 32);
    ASSERT_EQ(LySurfaceUtils::CopySurface(src.get(), dst.get()), 1);
    EXPECT_TRUE(lytest::SameBytes(expected, MemoryOf(dst.get())));

    // YUYVA destination, UYVY source: no alpha plane to read from.
    HostRef<RecordingSurface> yuyva(MakeSurface("yuyva", {PixelFormat_YUYVA422, 8}, {0, 0, 16, 4}));
    HostRef<RecordingSurface> uyvy(MakeSurface("uyvy", {PixelFormat_UYVY422, 8}, {0, 0, 16, 4}));
    const auto alphaBefore = std::vector<unsigned char>(yuyva->Memory().AlphaBits(),
                                                        yuyva->Memory().AlphaBits() + 4 * yuyva->Pitch());
    ASSERT_EQ(LySurfaceUtils::CopySurface(uyvy.get(), yuyva.get()), 1);
    EXPECT_EQ(0, std::memcmp(yuyva->Bits(), uyvy->Bits(), 32));
    EXPECT_EQ(0, std::memcmp(alphaBefore.data(), yuyva->Memory().AlphaBits(), alphaBefore.size()));

    const auto before = MemoryOf(dst.get());
    src->SetLockBits(nullptr);
    lytest::ClearCallLog();
    EXPECT_EQ(LySurfaceUtils::CopySurface(src.get(), dst.get()), 1);
    EXPECT_TRUE(lytest::LocksBalanced());
    EXPECT_TRUE(lytest::SameBytes(before, MemoryOf(dst.get())));
}

TEST(ClearSurface, WholeAndAreaFormsEqualTheFillsOnTheSamePictures) {
    for (const Format& f : kPacked) {
        SCOPED_TRACE(testing::Message() << "format " << f.format << " depth " << int(f.depth));
        HostRef<RecordingSurface> s(MakeSurface("s", f, {-4, 6, 22, 15}));
        // Whole surface, fixed colour.
        auto expected = MemoryOf(s.get());
        LyPixelUtils::FillFixedColor(expected.data(), s->Pitch(), 26, 9, f.format, f.depth, Colorimetry_BT709,
                                     FixedColor_Red, 200);
        lytest::ClearCallLog();
        ASSERT_EQ(LySurfaceUtils::ClearSurface(s.get(), FixedColor_Red, 200), 1);
        EXPECT_EQ(CallLog(), (Log{"s.GetDescription", "s.Lock", "s.Unlock"}));
        EXPECT_TRUE(lytest::SameBytes(expected, MemoryOf(s.get())));

        // A packed word.
        LyPixelUtils::FillBlockColor(expected.data(), s->Pitch(), 26, 9, f.format, f.depth, Colorimetry_BT709,
                                     0x80EB8080u);
        ASSERT_EQ(LySurfaceUtils::ClearSurface(s.get(), 0x80EB8080u), 1);
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
        ASSERT_EQ(LySurfaceUtils::ClearSurface(s.get(), FixedColor_Blue, 7, &area), 1);
        EXPECT_TRUE(lytest::SameBytes(expected, MemoryOf(s.get())));

        // An area covering the surface and more clears the surface only.
        LyPixelUtils::FillFixedColor(expected.data(), s->Pitch(), 26, 9, f.format, f.depth, Colorimetry_BT709,
                                     FixedColor_White, 255);
        RECT all{-100, -100, 100, 100};
        ASSERT_EQ(LySurfaceUtils::ClearSurface(s.get(), FixedColor_White, 255, &all), 1);
        EXPECT_TRUE(lytest::SameBytes(expected, MemoryOf(s.get())));
    }
}

TEST(ClearSurface, RefusalsAndNullArea) {
    const Format f{PixelFormat_BGRA4444, 8};
    HostRef<RecordingSurface> s(MakeSurface("s", f, {0, 0, 8, 8}));
    const auto before = MemoryOf(s.get());
    lytest::ClearCallLog();
    RECT outside{8, 0, 20, 8}, empty{2, 2, 2, 6}, negative{6, 6, 2, 2};
    EXPECT_EQ(LySurfaceUtils::ClearSurface(s.get(), FixedColor_Black, 255, &outside), 0);
    EXPECT_EQ(LySurfaceUtils::ClearSurface(s.get(), FixedColor_Black, 255, &empty), 0);
    EXPECT_EQ(LySurfaceUtils::ClearSurface(s.get(), FixedColor_Black, 255, &negative), 0);
    EXPECT_EQ(LySurfaceUtils::ClearSurface(nullptr, FixedColor_Black, 255, &outside), 0);
    EXPECT_EQ(LySurfaceUtils::ClearSurface(nullptr, FixedColor_Black, 255), 0);
    EXPECT_EQ(LySurfaceUtils::ClearSurface(nullptr, 0u), 0);
    EXPECT_TRUE(lytest::NothingLocked());
    EXPECT_TRUE(lytest::SameBytes(before, MemoryOf(s.get())));
    ASSERT_EQ(LySurfaceUtils::ClearSurface(s.get(), FixedColor_Black, 255, nullptr), 1);
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x) ASSERT_EQ(ly::Load32(s->Bits() + y * s->Pitch() + 4 * x), 0xFF000000u);
    s->SetLockBits(nullptr);  // lock without memory: nothing written, no crash
    RECT inside{1, 1, 3, 3};
    EXPECT_EQ(LySurfaceUtils::ClearSurface(s.get(), FixedColor_Red, 255, &inside), 1);
    EXPECT_EQ(LySurfaceUtils::ClearSurface(s.get(), FixedColor_Red, 255), 1);
}

TEST(CloneSurface, CopiesThroughThePoolAndKeepsTheCustomAspectQuirk) {
    const Format f{PixelFormat_YUYVA422, 8};
    HostRef<RecordingSurface> src(MakeSurface("src", f, {10, 20, 730, 308}));
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
    ASSERT_EQ(LySurfaceUtils::CloneSurface(src.get(), pool.get(), &out), 1);
    HostRef<RecordingSurface> clone(static_cast<RecordingSurface*>(out));
    EXPECT_EQ(CallLog(), (Log{"src.GetDescription", "pool.CreateSurface", "pool.new1.SetAspectRatio(3,720,576)",
                              "pool.new1.GetDescription", "src.GetDescription", "pool.new1.Lock", "src.Lock",
                              "src.Unlock", "pool.new1.Unlock", "pool.new1.AddRef", "pool.new1.Release"}));
    EXPECT_EQ(clone->References(), 1u);
    ASSERT_EQ(pool->Requests().size(), 1u);
    const SLySurfaceCreateDesc& cd = pool->Requests()[0];
    EXPECT_EQ(cd.width, 720);
    EXPECT_EQ(cd.height, 288);
    EXPECT_EQ(cd.left, 10);
    EXPECT_EQ(cd.top, 20);
    EXPECT_EQ(cd.polarity, Polarity_Second);
    EXPECT_EQ(cd.aspectRatio, AspectRatio_Custom);
    // Same picture and alpha plane, row by row (the pitches differ).
    for (int y = 0; y < 2 * 288; ++y)
        ASSERT_EQ(0, std::memcmp(clone->Bits() + y * clone->Pitch(), src->Bits() + y * src->Pitch(), 1440)) << y;

    // A frame surface: the custom ratio is the frame's own height.
    d.polarity = Polarity_Frame;
    src->SetDescriptionOverride(d);
    lytest::ClearCallLog();
    ASSERT_EQ(LySurfaceUtils::CloneSurface(src.get(), pool.get(), &out), 1);
    out->Release();
    EXPECT_EQ(lytest::CallsContaining("SetAspectRatio"), Log{"pool.new2.SetAspectRatio(3,720,288)"});
}

TEST(CloneSurface, NullPoolAndFailingPoolReportTheOutPointer) {
    const Format f{PixelFormat_BGRA4444, 8};
    HostRef<RecordingSurface> src(MakeSurface("src", f, {0, 0, 8, 8}));
    HostRef<RecordingSurface> held(MakeSurface("held", f, {0, 0, 8, 8}));
    ILyVideoSurface* out = held.get();
    lytest::ClearCallLog();
    EXPECT_EQ(LySurfaceUtils::CloneSurface(src.get(), nullptr, &out), 1);  // reports what was there
    EXPECT_EQ(out, held.get());
    out = nullptr;
    EXPECT_EQ(LySurfaceUtils::CloneSurface(src.get(), nullptr, &out), 0);
    EXPECT_TRUE(lytest::NothingLocked());
    EXPECT_EQ(LySurfaceUtils::CloneSurface(nullptr, nullptr, &out), 0);
    HostRef<RecordingPool> pool(RecordingPool::Create("pool"));
    EXPECT_EQ(LySurfaceUtils::CloneSurface(src.get(), pool.get(), nullptr), 0);
    EXPECT_TRUE(pool->Requests().empty());
    pool->FailCall(1);
    out = held.get();
    lytest::ClearCallLog();
    EXPECT_EQ(LySurfaceUtils::CloneSurface(src.get(), pool.get(), &out), 0);
    EXPECT_EQ(out, nullptr);  // the failed creation's null is stored
    EXPECT_TRUE(lytest::NothingLocked());
    EXPECT_EQ(held->References(), 1u);
}

TEST(ConvertSurfaceFormat, EveryPairEqualsItsConverterAndRefusesTheRest) {
    const int w = 13, h = 5;
    const ELyPixelFormat all[] = {PixelFormat_BGRA4444, PixelFormat_VUYA4444, PixelFormat_UYVY422,
                                  PixelFormat_YUYVA422};
    for (ELyPixelFormat sf : all)
        for (ELyPixelFormat tf : all)
            for (unsigned char depth : {8, 16}) {
                SCOPED_TRACE(testing::Message() << sf << " to " << tf << " depth " << int(depth));
                HostRef<RecordingSurface> s(MakeSurface("s", {sf, depth}, {0, 0, w, h}));
                HostRef<RecordingSurface> t(MakeSurface("t", {tf, depth}, {0, 0, w, h}));
                SLySurfaceDescription sd{}, td{};
                SLyLockSurface sl{}, tl{};
                s->GetDescription(&sd);
                t->GetDescription(&td);
                sd.colorimetry = Colorimetry_BT601;  // the YUV side's colorimetry must be the one used
                s->Lock(0, &sl);
                t->Lock(0, &tl);
                auto expected = MemoryOf(t.get());
                unsigned char* e = expected.data();
                unsigned char* ea = e + size_t(t->Pitch()) * h;
                const int sp = s->Pitch(), tp = t->Pitch();
                int result = 1;
                using namespace LyFormatUtils;
                if (sf == PixelFormat_YUYVA422) result = 0;
                else if (sf == 1 && tf == 2) BGRA4444ToVUYA4444(sl.bits, sp, e, tp, depth, td.colorimetry, w, h);
                else if (sf == 1 && tf == 3) BGRA4444ToUYVY422(sl.bits, sp, e, tp, depth, td.colorimetry, w, h);
                else if (sf == 1 && tf == 7) BGRA4444ToYUYVA422(sl.bits, sp, e, tp, ea, tp, depth, td.colorimetry, w, h);
                else if (sf == 2 && tf == 1) VUYA4444ToBGRA4444(sl.bits, sp, e, tp, depth, sd.colorimetry, w, h);
                else if (sf == 2 && tf == 3) VUYA4444ToUYVY422(sl.bits, sp, e, tp, depth, w, h);
                else if (sf == 2 && tf == 7) VUYA4444ToYUYVA422(sl.bits, sp, e, tp, ea, tp, depth, w, h);
                else if (sf == 3 && tf == 1) UYVY422ToBGRA4444(sl.bits, sp, depth, sd.colorimetry, e, tp, w, h);
                else if (sf == 3 && tf == 2) UYVY422ToVUYA4444(sl.bits, sp, depth, e, tp, w, h, 255);
                EXPECT_EQ(LySurfaceUtils::ConvertSurfaceFormat(sd, sl, td, tl), result);
                EXPECT_TRUE(lytest::SameBytes(expected, MemoryOf(t.get())));
                s->Unlock(0);
                t->Unlock(0);
            }
}

TEST(ConvertSurfaceFormat, RefusesSizeMismatchPlanarAndNullBits) {
    HostRef<RecordingSurface> s(MakeSurface("s", {PixelFormat_BGRA4444, 8}, {0, 0, 8, 4}));
    HostRef<RecordingSurface> t(MakeSurface("t", {PixelFormat_VUYA4444, 8}, {0, 0, 8, 4}));
    SLySurfaceDescription sd{}, td{};
    SLyLockSurface sl{}, tl{};
    s->GetDescription(&sd);
    t->GetDescription(&td);
    s->Lock(0, &sl);
    t->Lock(0, &tl);
    const auto before = MemoryOf(t.get());
    SLySurfaceDescription other = td;
    other.height = 3;
    EXPECT_EQ(LySurfaceUtils::ConvertSurfaceFormat(sd, sl, other, tl), 0);
    other = td;
    other.width = 9;
    EXPECT_EQ(LySurfaceUtils::ConvertSurfaceFormat(sd, sl, other, tl), 0);
    for (ELyPixelFormat p : {PixelFormat_YUV411Planar, PixelFormat_YUV420Planar, PixelFormat_YUV422Planar,
                             PixelFormat_Unknown, ELyPixelFormat(8)}) {
        other = sd;
        other.pixelFormat = p;
        EXPECT_EQ(LySurfaceUtils::ConvertSurfaceFormat(other, sl, td, tl), 0);
        other = td;
        other.pixelFormat = p;
        EXPECT_EQ(LySurfaceUtils::ConvertSurfaceFormat(sd, sl, other, tl), 0);
    }
    SLyLockSurface nullLock = tl;
    nullLock.bits = nullptr;
    EXPECT_EQ(LySurfaceUtils::ConvertSurfaceFormat(sd, sl, td, nullLock), 0);
    EXPECT_EQ(LySurfaceUtils::ConvertSurfaceFormat(sd, nullLock, sd, nullLock), 1);  // 1 -> 1 touches nothing
    EXPECT_TRUE(lytest::SameBytes(before, MemoryOf(t.get())));
    s->Unlock(0);
    t->Unlock(0);
}

TEST(HaveSamePixelAspectRatio, FieldsCountTwiceAndNullsAreRefused) {
    const Format f{PixelFormat_BGRA4444, 8};
    HostRef<RecordingSurface> frame(MakeSurface("frame", f, {0, 0, 720, 576}));
    HostRef<RecordingSurface> field(MakeSurface("field", f, {0, 0, 720, 288}));
    frame->Memory().SetAspectRatio(AspectRatio_4_3, 0, 0);
    field->Memory().SetAspectRatio(AspectRatio_4_3, 0, 0);
    EXPECT_EQ(LySurfaceUtils::HaveSamePixelAspectRatio(frame.get(), field.get()), 0);
    field->Memory().SetFieldInfo(ScanMode_UpperFirst, Polarity_First);
    lytest::ClearCallLog();
    EXPECT_EQ(LySurfaceUtils::HaveSamePixelAspectRatio(frame.get(), field.get()), 1);
    EXPECT_EQ(CallLog(), (Log{"frame.GetDescription", "field.GetDescription", "frame.GetPixelAspectRatio",
                              "field.GetPixelAspectRatio"}));
    EXPECT_EQ(LySurfaceUtils::HaveSamePixelAspectRatio(nullptr, field.get()), 0);
    EXPECT_EQ(LySurfaceUtils::HaveSamePixelAspectRatio(frame.get(), nullptr), 0);
}

// ------------------------------------------------------------ crawl strips

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

TEST(Crawl, HorizontalStripCopiesAndMixesOverTheSharedRows) {
    for (const Format& f : kPacked) {
        SCOPED_TRACE(testing::Message() << "format " << f.format << " depth " << int(f.depth));
        // A long source and a visible destination sharing frame rows 4..9.
        HostRef<RecordingSurface> src(MakeSurface("src", f, {-50, 2, 150, 10}));
        HostRef<RecordingSurface> dst(MakeSurface("dst", f, {0, 4, 40, 14}));
        const Locked s = LockOf(src.get()), d = LockOf(dst.get());
        auto expected = MemoryOf(dst.get());
        for (int y = 0; y < 6; ++y)
            std::memcpy(expected.data() + y * dst->Pitch() + ColumnBytes(f, 30),
                        src->Bits() + (y + 2) * src->Pitch() + ColumnBytes(f, 71), ColumnBytes(f, 10));
        lytest::ClearCallLog();
        LyCrawlSurfaceUtils::Crawl_CopyHorizontal(s.d, s.l, d.d, d.l, 71, 30, 10, 0);
        EXPECT_TRUE(CallLog().empty());
        EXPECT_TRUE(lytest::SameBytes(expected, MemoryOf(dst.get())));
        // Nothing to do: no extent, no shared rows, a strip leaving a picture.
        LyCrawlSurfaceUtils::Crawl_CopyHorizontal(s.d, s.l, d.d, d.l, 71, 30, 0, 0);
        LyCrawlSurfaceUtils::Crawl_CopyHorizontal(s.d, s.l, d.d, d.l, 71, 30, -3, 0);
        LyCrawlSurfaceUtils::Crawl_CopyHorizontal(s.d, s.l, d.d, d.l, 195, 0, 10, 0);
        LyCrawlSurfaceUtils::Crawl_CopyHorizontal(s.d, s.l, d.d, d.l, 0, 35, 10, 0);
        LyCrawlSurfaceUtils::Crawl_CopyHorizontal(s.d, s.l, d.d, d.l, -1, 0, 10, 0);
        SLySurfaceDescription below = d.d;
        below.top = 10;
        LyCrawlSurfaceUtils::Crawl_CopyHorizontal(s.d, s.l, below, d.l, 0, 0, 10, 0);
        SLyLockSurface nullLock = d.l;
        nullLock.bits = nullptr;
        LyCrawlSurfaceUtils::Crawl_CopyHorizontal(s.d, s.l, d.d, nullLock, 0, 0, 10, 0);
        EXPECT_TRUE(lytest::SameBytes(expected, MemoryOf(dst.get())));
    }
    // Mixing equals MixColor on the same sub-pictures.
    const Format f{PixelFormat_BGRA4444, 8};
    HostRef<RecordingSurface> src(MakeSurface("src", f, {0, 0, 100, 20}));
    HostRef<RecordingSurface> dst(MakeSurface("dst", f, {0, 5, 30, 25}));
    auto expected = MemoryOf(dst.get());
    LyPixelUtils::MixColor(src->Bits() + 5 * src->Pitch() + 4 * 60, src->Pitch(), expected.data() + 4 * 3,
                           dst->Pitch(), 17, 15);
    const Locked s = LockOf(src.get()), d = LockOf(dst.get());
    LyCrawlSurfaceUtils::Crawl_CopyHorizontal(s.d, s.l, d.d, d.l, 60, 3, 17, 1);
    EXPECT_TRUE(lytest::SameBytes(expected, MemoryOf(dst.get())));
}

TEST(Crawl, VerticalStripCopiesAndMixesOverTheSharedColumns) {
    for (const Format& f : kPacked) {
        SCOPED_TRACE(testing::Message() << "format " << f.format << " depth " << int(f.depth));
        HostRef<RecordingSurface> src(MakeSurface("src", f, {-6, -100, 20, 300}));
        HostRef<RecordingSurface> dst(MakeSurface("dst", f, {4, 0, 30, 24}));
        const Locked s = LockOf(src.get()), d = LockOf(dst.get());
        auto expected = MemoryOf(dst.get());
        // Shared columns 4..19: source column 10, destination column 0.
        for (int y = 0; y < 7; ++y)
            std::memcpy(expected.data() + (y + 12) * dst->Pitch(), src->Bits() + (y + 250) * src->Pitch() + ColumnBytes(f, 10),
                        ColumnBytes(f, 16));
        LyCrawlSurfaceUtils::Crawl_CopyVertical(s.d, s.l, d.d, d.l, 250, 12, 7, 0);
        EXPECT_TRUE(lytest::SameBytes(expected, MemoryOf(dst.get())));
        LyCrawlSurfaceUtils::Crawl_CopyVertical(s.d, s.l, d.d, d.l, 250, 12, 0, 0);
        LyCrawlSurfaceUtils::Crawl_CopyVertical(s.d, s.l, d.d, d.l, 399, 0, 2, 0);  // past the source's rows
        LyCrawlSurfaceUtils::Crawl_CopyVertical(s.d, s.l, d.d, d.l, 0, 20, 5, 0);   // past the destination's
        SLySurfaceDescription aside = d.d;
        aside.left = 20;  // no shared column
        LyCrawlSurfaceUtils::Crawl_CopyVertical(s.d, s.l, aside, d.l, 0, 0, 5, 0);
        EXPECT_TRUE(lytest::SameBytes(expected, MemoryOf(dst.get())));
    }
    const Format f{PixelFormat_BGRA4444, 8};
    HostRef<RecordingSurface> src(MakeSurface("src", f, {0, 0, 50, 80}));
    HostRef<RecordingSurface> dst(MakeSurface("dst", f, {10, 0, 70, 20}));
    auto expected = MemoryOf(dst.get());
    LyPixelUtils::MixColor(src->Bits() + 33 * src->Pitch() + 40, src->Pitch(), expected.data() + 2 * dst->Pitch(),
                           dst->Pitch(), 40, 17);
    const Locked s = LockOf(src.get()), d = LockOf(dst.get());
    LyCrawlSurfaceUtils::Crawl_CopyVertical(s.d, s.l, d.d, d.l, 33, 2, 17, 1);
    EXPECT_TRUE(lytest::SameBytes(expected, MemoryOf(dst.get())));
}

}  // namespace
