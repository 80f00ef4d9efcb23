// Channel export, sample flattening, cutting a buffer into field surfaces and
// putting fields back into a frame, and the projected rectangle.
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
using lytest::RecordingSample;
using lytest::RecordingSurface;

namespace {

RecordingSurface* MakeField(const std::string& name, int width, int height, ELyScanMode scan, ELyPolarity polarity) {
    RecordingSurface* s = MakeSurface(name, {0, 0, width, height}, 8);
    s->Memory().SetFieldInfo(scan, polarity);
    return s;
}

uint32_t Word(const unsigned char* p) { return ly::Load32(p); }

// ------------------------------------------------------------ channel export

TEST(ChannelExport, AlphaBecomesOpaqueGreyAndFillBecomesOpaqueOverTheOverlapOnly) {
    for (bool alpha : {true, false}) {
        // Surface at (-2, 3) 6 x 4; the buffer 5 x 9 at the frame origin
        // sees its columns 2..5 at buffer columns 0..3, rows 3..6.
        HostRef<RecordingSurface> s(MakeSurface("s", {-2, 3, 4, 7}, 8, PixelFormat_BGRA4444, 8));
        ly::Store32(s->Bits() + 1 * s->Pitch() + 3 * 4, 0x80123456u);
        const int pitch = 5 * 4 + 6;
        std::vector<unsigned char> buffer(pitch * 9);
        lytest::FillRandom(buffer.data(), buffer.size());
        auto expected = buffer;
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 4; ++x) {
                const uint32_t v = Word(s->Bits() + y * s->Pitch() + (x + 2) * 4);
                const uint32_t a = v >> 24;
                ly::Store32(expected.data() + (y + 3) * pitch + 4 * x,
                            alpha ? 0xFF000000u | a << 16 | a << 8 | a : v | 0xFF000000u);
            }
        lytest::ClearCallLog();
        const int r = alpha ? CopyAlphaChannelTo(s.get(), buffer.data(), SIZE{5, 9}, pitch)
                            : CopyFillClrChannelTo(s.get(), buffer.data(), SIZE{5, 9}, pitch);
        ASSERT_EQ(r, 1);
        EXPECT_EQ(CallLogText(), "s.GetDescription s.Lock s.Unlock");
        EXPECT_TRUE(lytest::SameBytes(expected, buffer));
        EXPECT_EQ(Word(buffer.data() + 4 * pitch + 4), alpha ? 0xFF808080u : 0xFF123456u);
    }
}

TEST(ChannelExport, RefusesBeforeLockingAndChecksTheLock) {
    HostRef<RecordingSurface> s(MakeSurface("s", {0, 0, 8, 8}, 8));
    std::vector<unsigned char> buffer(32 * 8, 0x5A);
    const auto before = buffer;
    lytest::ClearCallLog();
    EXPECT_EQ(CopyAlphaChannelTo(nullptr, buffer.data(), SIZE{8, 8}, 32) +
                  CopyAlphaChannelTo(s.get(), nullptr, SIZE{8, 8}, 32) +
                  CopyAlphaChannelTo(s.get(), buffer.data(), SIZE{0, 8}, 32) +
                  CopyFillClrChannelTo(s.get(), buffer.data(), SIZE{8, -4}, 32),
              0);
    s->Memory().SetPosition(8, 0);  // beside the buffer
    EXPECT_EQ(CopyAlphaChannelTo(s.get(), buffer.data(), SIZE{8, 8}, 32), 0);
    s->Memory().SetPosition(0, 0);
    HostRef<RecordingSurface> uyvy(MakeSurface("uyvy", {0, 0, 8, 8}, 8, PixelFormat_UYVY422, 8));
    EXPECT_EQ(CopyAlphaChannelTo(uyvy.get(), buffer.data(), SIZE{8, 8}, 32), 0);
    EXPECT_TRUE(lytest::NothingLocked()) << lytest::CallLogText();

    s->SetLockBits(nullptr);  // a lock that succeeds without memory is undone
    EXPECT_EQ(CopyAlphaChannelTo(s.get(), buffer.data(), SIZE{8, 8}, 32), 0);
    s->SetLockBits(std::nullopt);
    s->SetLockResult(0);  // a failed lock is not unlocked
    lytest::ClearCallLog();
    EXPECT_EQ(CopyFillClrChannelTo(s.get(), buffer.data(), SIZE{8, 8}, 32), 0);
    EXPECT_EQ(CallLogText(), "s.GetDescription s.Lock");
    EXPECT_TRUE(lytest::SameBytes(before, buffer));
    // 16-bit 4:2:2 pixels are 4-byte words and are exported.
    HostRef<RecordingSurface> deep(MakeSurface("deep", {0, 0, 8, 8}, 8, PixelFormat_UYVY422, 16));
    EXPECT_EQ(CopyAlphaChannelTo(deep.get(), buffer.data(), SIZE{8, 8}, 32), 1);
}

// ------------------------------------------------------------ sample to buffer

TEST(AVSampleToImageBuffer, TwoFieldsInterleavePerScanMode) {
    HostRef<RecordingSurface> first(MakeField("first", 720, 288, ScanMode_UpperFirst, Polarity_First));
    HostRef<RecordingSurface> second(MakeField("second", 720, 288, ScanMode_UpperFirst, Polarity_Second));
    HostRef<RecordingSample> sample(RecordingSample::Create("sample", {first.get(), second.get()}));
    for (ELyScanMode scan : {ScanMode_UpperFirst, ScanMode_LowerFirst}) {
        SCOPED_TRACE(testing::Message() << "scan mode " << scan);
        uint32_t size = 0;
        lytest::ClearCallLog();
        ASSERT_EQ(AVSampleToImageBuffer(sample.get(), scan, nullptr, size), 1);
        EXPECT_EQ(size, 720u * 576 * 4);
        // The size query prepares, locks and unlocks like the real call.
        const std::string sizeCalls = CallLogText();
        std::vector<unsigned char> buffer(size + 16, 0xEE);
        lytest::ClearCallLog();
        ASSERT_EQ(AVSampleToImageBuffer(sample.get(), scan, buffer.data(), size), 1);
        EXPECT_EQ(CallLogText(), sizeCalls);
        EXPECT_EQ(CallLogText(), "sample.GetSurfaces first.AddRef second.AddRef first.GetSyncObject "
                                 "first.sync.Wait(1000) first.sync.Release first.GetDescription first.Lock "
                                 "second.GetSyncObject second.sync.Wait(1000) second.sync.Release "
                                 "second.GetDescription second.Lock first.Unlock second.Unlock first.Release "
                                 "second.Release");
        RecordingSurface* even = scan == ScanMode_UpperFirst ? first.get() : second.get();
        RecordingSurface* odd = scan == ScanMode_UpperFirst ? second.get() : first.get();
        for (int r = 0; r < 576; ++r) {
            RecordingSurface* from = r % 2 == 0 ? even : odd;
            ASSERT_EQ(0, std::memcmp(buffer.data() + size_t(r) * 2880, from->Bits() + (r / 2) * from->Pitch(), 2880))
                << "row " << r;
        }
        EXPECT_EQ(buffer[size], 0xEE);
    }
    // The surfaces end with the references they started with.
    EXPECT_EQ(std::tuple(first->References(), second->References()), std::tuple(2u, 2u));  // test's and sample's
    EXPECT_EQ(first->SyncReferences(), 0);
    EXPECT_EQ(first->SyncWaits(), 4);
}

TEST(AVSampleToImageBuffer, ProgressiveUsesTheFirstSurfaceAndUnpremultipliesShapedOnes) {
    HostRef<RecordingSurface> frame(MakeSurface("frame", {0, 0, 37, 5}, 8));
    frame->SetShaped(1);
    const auto before = MemoryOf(frame.get());
    HostRef<RecordingSample> sample(RecordingSample::Create("sample", {frame.get()}));
    uint32_t size = 0;
    std::vector<unsigned char> buffer(37 * 5 * 4);
    lytest::ClearCallLog();
    ASSERT_EQ(AVSampleToImageBuffer(sample.get(), ScanMode_Progressive, buffer.data(), size), 1);
    EXPECT_EQ(size, 37u * 5 * 4);
    EXPECT_EQ(CallLogText(), "sample.GetSurfaces frame.AddRef frame.GetSyncObject frame.sync.Wait(1000) "
                             "frame.sync.Release frame.GetDescription frame.Lock frame.Unlock frame.SetShaped(0) "
                             "frame.Lock frame.Unlock frame.Release");
    for (int y = 0; y < 5; ++y) {
        std::vector<unsigned char> row(before.begin() + y * frame->Pitch(),
                                       before.begin() + y * frame->Pitch() + 37 * 4);
        ly::UnpremultiplyRow(row.data(), 37);
        ASSERT_EQ(0, std::memcmp(buffer.data() + y * 37 * 4, row.data(), row.size())) << y;
        ASSERT_EQ(0, std::memcmp(frame->Bits() + y * frame->Pitch(), row.data(), row.size())) << y;
    }
    SLySurfaceDescription d{};
    frame->Memory().GetDescription(&d);
    EXPECT_EQ(d.shaped, 0);

    // A second surface is ignored (but prepared and locked) when progressive.
    HostRef<RecordingSurface> other(MakeSurface("other", {0, 0, 99, 2}, 8));
    HostRef<RecordingSample> two(RecordingSample::Create("two", {frame.get(), other.get()}));
    ASSERT_EQ(AVSampleToImageBuffer(two.get(), ScanMode_Progressive, nullptr, size), 1);
    EXPECT_EQ(size, 37u * 5 * 4);
}

TEST(AVSampleToImageBuffer, FailuresStillReleaseEverySurface) {
    HostRef<RecordingSurface> a(MakeField("a", 16, 4, ScanMode_UpperFirst, Polarity_First));
    HostRef<RecordingSurface> wide(MakeField("wide", 17, 4, ScanMode_UpperFirst, Polarity_Second));
    HostRef<RecordingSurface> uyvy(MakeSurface("uyvy", {0, 0, 16, 4}, 8, PixelFormat_UYVY422, 8));
    uint32_t size = 1234;
    EXPECT_EQ(AVSampleToImageBuffer(nullptr, ScanMode_UpperFirst, nullptr, size), 0);

    struct Case {
        const char* what;
        std::vector<ILyVideoSurface*> surfaces;
        ELyScanMode scan;
        bool fail;
    };
    const Case cases[] = {
        {"one surface, interlaced", {a.get()}, ScanMode_UpperFirst, false},
        {"second wider than first", {a.get(), wide.get()}, ScanMode_LowerFirst, false},
        {"2-byte pixels", {uyvy.get()}, ScanMode_Progressive, false},
        {"GetSurfaces fails", {a.get()}, ScanMode_Progressive, true},
        {"no surface", {}, ScanMode_Progressive, false},
        {"null surface", {nullptr, a.get()}, ScanMode_UpperFirst, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        HostRef<RecordingSample> sample(RecordingSample::Create("sample", c.surfaces));
        sample->SetFail(c.fail);
        lytest::ClearCallLog();
        std::vector<unsigned char> buffer(64 * 8 * 4);
        EXPECT_EQ(AVSampleToImageBuffer(sample.get(), c.scan, buffer.data(), size), 0);
        EXPECT_EQ(size, 1234u);
        EXPECT_TRUE(lytest::LocksBalanced()) << lytest::CallLogText();
        EXPECT_EQ(lytest::CallsContaining(".Release").size(),
                  lytest::CallsContaining(".GetSyncObject").size() + (c.fail ? 0 : c.surfaces.size()) -
                      (c.what == std::string("null surface") ? 1 : 0))
            << lytest::CallLogText();
    }
    EXPECT_EQ(std::tuple(a->References(), wide->References(), uyvy->References()), std::tuple(1u, 1u, 1u));

    // Null bits from a lock: refused, still unlocked and released.
    a->SetLockBits(nullptr);
    HostRef<RecordingSample> sample(RecordingSample::Create("sample", {a.get()}));
    lytest::ClearCallLog();
    EXPECT_EQ(AVSampleToImageBuffer(sample.get(), ScanMode_Progressive, nullptr, size), 0);
    EXPECT_TRUE(lytest::LocksBalanced()) << lytest::CallLogText();
    sample.reset();
    EXPECT_EQ(a->References(), 1u);
}

// ------------------------------------------------------------ buffer to surfaces

std::vector<unsigned char> RandomFrame(int width, int height) {
    std::vector<unsigned char> f(size_t(width) * height * 4);
    lytest::FillRandom(f.data(), f.size());
    return f;
}

bool RowsAre(RecordingSurface* s, const std::vector<unsigned char>& frame, int frameWidth, int firstRow, int step,
             int column, int rows) {
    for (int r = 0; r < rows; ++r)
        if (std::memcmp(s->Bits() + r * s->Pitch(),
                        frame.data() + (size_t(firstRow) + size_t(r) * step) * frameWidth * 4 + column * 4,
                        size_t(s->Memory().Width()) * 4) != 0)
            return false;
    return true;
}

TEST(ImageBufferToVideoSurface, ProgressiveStopsAtTheBufferAndOddCasesBehave) {
    const int w = 20, h = 10;
    auto frame = RandomFrame(w, h);
    HostRef<RecordingPool> pool(RecordingPool::Create("pool"));
    SLySurfaceCreateDesc d = MakeCreateDesc(12, 8, PixelFormat_BGRA4444, 8);
    ILyVideoSurface* first = nullptr;
    ILyVideoSurface* second = nullptr;
    // Rows from 4: the buffer ends after 6 of the surface's 8 rows.
    ASSERT_EQ(ImageBufferToVideoSurface(frame.data(), w, h, CRect(8, 4, 20, 10), d, pool.get(), &first, nullptr), 1);
    HostRef<RecordingSurface> s(static_cast<RecordingSurface*>(first));
    EXPECT_TRUE(RowsAre(s.get(), frame, w, 4, 1, 8, 6));
    EXPECT_TRUE(
        std::all_of(s->Bits() + 6 * s->Pitch(), s->Bits() + 8 * s->Pitch(), [](unsigned char b) { return b == 0; }));

    // A row wider than the buffer right of the column is cut at the buffer's edge.
    ASSERT_EQ(ImageBufferToVideoSurface(frame.data(), w, h, CRect(15, 0, 20, 10), d, pool.get(), &first, nullptr), 1);
    HostRef<RecordingSurface> cut(static_cast<RecordingSurface*>(first));
    EXPECT_EQ(0, std::memcmp(cut->Bits(), frame.data() + 60, 20));
    EXPECT_EQ(cut->Bits()[20], 0);

    // Scan mode outside 0..2: 1 and nothing made.
    d.scanMode = ELyScanMode(5);
    const size_t made = pool->Requests().size();
    first = nullptr;
    EXPECT_EQ(ImageBufferToVideoSurface(frame.data(), w, h, CRect(0, 0, 12, 8), d, pool.get(), &first, &second), 1);
    EXPECT_EQ(first, nullptr);
    EXPECT_EQ(pool->Requests().size(), made);

    // Refusals: nothing asked of the pool.
    d.scanMode = ScanMode_UpperFirst;
    const CRect one(0, 0, 1, 1);
    EXPECT_EQ(ImageBufferToVideoSurface(nullptr, w, h, one, d, pool.get(), &first, &second) +
                  ImageBufferToVideoSurface(frame.data(), w, h, one, d, nullptr, &first, &second) +
                  ImageBufferToVideoSurface(frame.data(), w, h, one, d, pool.get(), nullptr, &second) +
                  ImageBufferToVideoSurface(frame.data(), w, h, one, d, pool.get(), &first, nullptr) +
                  ImageBufferToVideoSurface(frame.data(), w, h, CRect(-1, 0, 1, 1), d, pool.get(), &first, &second),
              0);
    EXPECT_EQ(pool->Requests().size(), made);

    // The second creation fails: its result, and the first stays handed over.
    pool->FailCall(int(made) + 2);
    first = second = nullptr;
    EXPECT_EQ(ImageBufferToVideoSurface(frame.data(), w, h, CRect(0, 0, 12, 8), d, pool.get(), &first, &second), 0);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(second, nullptr);
    first->Release();
}

// ------------------------------------------------------------ fields back into a frame

TEST(CopyTwoFieldToFrame, AFrameCutIntoFieldsComesBackWhole) {
    for (ELyScanMode scan : {ScanMode_UpperFirst, ScanMode_LowerFirst})
        for (int height : {576, 30, 15}) {
            SCOPED_TRACE(testing::Message() << "scan " << scan << " height " << height);
            // The fields are cut from columns 6.. of a wider buffer; their
            // height comes from the rectangle, not the record.
            const int w = 33, bufferWidth = w + 6;
            auto frame = RandomFrame(bufferWidth, height);
            HostRef<RecordingPool> pool(RecordingPool::Create("pool", 4));
            SLySurfaceCreateDesc d = MakeCreateDesc(w, 999, PixelFormat_BGRA4444, 8);
            d.scanMode = scan;
            ILyVideoSurface* a = nullptr;
            ILyVideoSurface* b = nullptr;
            lytest::ClearCallLog();
            ASSERT_EQ(ImageBufferToVideoSurface(frame.data(), bufferWidth, height, CRect(6, 0, 6 + w, height), d,
                                                pool.get(), &a, &b),
                      1);
            HostRef<RecordingSurface> f1(static_cast<RecordingSurface*>(a)), f2(static_cast<RecordingSurface*>(b));
            const std::string n1 = f1->Name(), n2 = f2->Name();
            EXPECT_EQ(CallLogText(), "pool.CreateSurface " + n1 + ".Lock " + n1 + ".Unlock pool.CreateSurface " + n2 +
                                         ".Lock " + n2 + ".Unlock");
            EXPECT_EQ(f1->References(), 1u);
            SLySurfaceDescription d1{}, d2{};
            f1->Memory().GetDescription(&d1);
            f2->Memory().GetDescription(&d2);
            if (height % 2 == 0) {
                EXPECT_EQ(d1.height, height / 2);
            }
            EXPECT_EQ(std::tuple(d1.polarity, d2.polarity), std::tuple(Polarity_First, Polarity_Second));
            // Lower first: the first field from rows 1, 3, 5...; the second from 0, 2, 4...
            const int firstStart = scan == ScanMode_LowerFirst ? 1 : 0;
            EXPECT_TRUE(RowsAre(f1.get(), frame, bufferWidth, firstStart, 2, 6, height / 2));
            EXPECT_TRUE(RowsAre(f2.get(), frame, bufferWidth, 1 - firstStart, 2, 6, height / 2));

            HostRef<RecordingSurface> out(MakeSurface("frame", {0, 0, w, height}, 8));
            const auto before = MemoryOf(out.get());
            lytest::ClearCallLog();
            ASSERT_EQ(CopyTwoFieldToFrame(out.get(), f1.get(), f2.get()), 1);
            EXPECT_EQ(CallLogText(), "frame.GetDescription " + n1 + ".GetDescription " + n2 +
                                         ".GetDescription frame.Lock " + n1 + ".Lock " + n2 + ".Lock " + n2 +
                                         ".Unlock " + n1 + ".Unlock frame.Unlock");
            // Rows come back; an odd height's last row has no field row and
            // stays, like the padding after each row.
            auto expected = before;
            for (int y = 0; y < height / 2 * 2; ++y)
                std::memcpy(expected.data() + y * out->Pitch(), frame.data() + (size_t(y) * bufferWidth + 6) * 4,
                            w * 4);
            EXPECT_TRUE(lytest::SameBytes(expected, MemoryOf(out.get())));
        }
}

TEST(CopyTwoFieldToFrame, FieldsAtAnOffsetLandOnTheirFrameRows) {
    // A frame at (10, 4) 8 x 10 (frame rows 4..13). An even field at (12, 2)
    // 3 x 2: field rows 2, 3 are frame rows 4, 6. An odd field at (10, 2)
    // 8 x 6: field rows 2..7 would be frame rows 5..15; 5..13 fit.
    HostRef<RecordingSurface> frame(MakeSurface("frame", {10, 4, 18, 14}, 8, PixelFormat_UYVY422, 16));
    HostRef<RecordingSurface> even(MakeSurface("even", {12, 2, 15, 4}, 8, PixelFormat_UYVY422, 16));
    HostRef<RecordingSurface> odd(MakeSurface("odd", {10, 2, 18, 8}, 8, PixelFormat_UYVY422, 16));
    even->Memory().SetFieldInfo(ScanMode_UpperFirst, Polarity_First);
    odd->Memory().SetFieldInfo(ScanMode_UpperFirst, Polarity_Second);
    auto expected = MemoryOf(frame.get());
    const int fp = frame->Pitch();
    for (int k = 0; k < 2; ++k)  // even field rows 2, 3 -> frame rows 4, 6 -> own rows 0, 2; columns 12..14 -> 2..4
        std::memcpy(expected.data() + (2 * k) * fp + 2 * 4, even->Bits() + k * even->Pitch(), 3 * 4);
    for (int k = 0; k < 5; ++k)  // odd field rows 2..6 -> frame rows 5..13 -> own rows 1..9
        std::memcpy(expected.data() + (1 + 2 * k) * fp, odd->Bits() + k * odd->Pitch(), 8 * 4);
    ASSERT_EQ(CopyTwoFieldToFrame(frame.get(), even.get(), odd.get()), 1);
    EXPECT_TRUE(lytest::SameBytes(expected, MemoryOf(frame.get())));
}

TEST(CopyTwoFieldToFrame, RefusalsLockNothing) {
    HostRef<RecordingSurface> frame(MakeSurface("frame", {0, 0, 8, 8}, 8));
    HostRef<RecordingSurface> f1(MakeField("f1", 8, 4, ScanMode_UpperFirst, Polarity_First));
    HostRef<RecordingSurface> f2(MakeField("f2", 8, 4, ScanMode_UpperFirst, Polarity_Second));
    HostRef<RecordingSurface> whole(MakeSurface("whole", {0, 0, 8, 4}, 8));
    HostRef<RecordingSurface> far(MakeField("far", 8, 4, ScanMode_UpperFirst, Polarity_Second));
    far->Memory().SetPosition(0, 4);  // field rows 4..7 are frame rows 9..15: outside
    HostRef<RecordingSurface> other(MakeField("other", 8, 4, ScanMode_UpperFirst, Polarity_Second));
    SLySurfaceDescription od{};
    other->GetDescription(&od);
    od.pixelFormat = PixelFormat_VUYA4444;
    other->SetDescriptionOverride(od);
    lytest::ClearCallLog();
    EXPECT_EQ(CopyTwoFieldToFrame(nullptr, f1.get(), f2.get()) + CopyTwoFieldToFrame(frame.get(), nullptr, f2.get()) +
                  CopyTwoFieldToFrame(frame.get(), f1.get(), nullptr) +
                  CopyTwoFieldToFrame(frame.get(), f1.get(), whole.get()) +
                  CopyTwoFieldToFrame(frame.get(), f1.get(), far.get()) +
                  CopyTwoFieldToFrame(frame.get(), f1.get(), other.get()),
              0);
    EXPECT_TRUE(lytest::NothingLocked()) << lytest::CallLogText();
}

// ------------------------------------------------------------ projected rectangle

SLyMatrix4x4 Identity() {
    SLyMatrix4x4 m{};
    for (int i = 0; i < 4; ++i) m.m[i][i] = 1.0f;
    return m;
}

void ExpectRect(const RECT& r, int l, int t, int rt, int b) {
    EXPECT_EQ(std::tuple(r.left, r.top, r.right, r.bottom), std::tuple(l, t, rt, b));
}

TEST(GetTransformRect, IdentityScaleTranslationProjectionAndFields) {
    SLyVideoResolution res{};
    res.width = 1024;
    res.height = 576;
    res.frameSize = SIZE{720, 576};
    SLySurfaceDescription d{};
    d.width = 200;
    d.height = 100;
    d.left = 50;
    d.top = 20;
    d.polarity = Polarity_Frame;
    d.scanMode = ScanMode_UpperFirst;
    SLyMatrix4x4 m = Identity();
    ExpectRect(GetTransformRect(res, d, 0.0f, m, Polarity_Frame), 50, 20, 250, 120);
    m.m[0][0] = 1.5f;  // x * 1.5, y * 0.5
    m.m[1][1] = 0.5f;
    ExpectRect(GetTransformRect(res, d, 0.0f, m, Polarity_Frame), 75, 10, 375, 60);
    m = Identity();
    m.m[3][0] = 10.25f;  // translation sits in the last row
    m.m[3][1] = -30.5f;
    ExpectRect(GetTransformRect(res, d, 0.0f, m, Polarity_Frame), 60, 0, 261, 90);
    m.m[3][0] = 600.0f;  // clipped to the stored frame width
    ExpectRect(GetTransformRect(res, d, 0.0f, m, Polarity_Frame), 650, 0, 720, 90);
    m.m[3][0] = 800.0f;  // entirely outside
    ExpectRect(GetTransformRect(res, d, 0.0f, m, Polarity_Frame), 0, 0, 0, 0);
    // Perspective: w = 1 + z, so depth 1 halves every coordinate.
    m = Identity();
    m.m[2][3] = 1.0f;
    ExpectRect(GetTransformRect(res, d, 1.0f, m, Polarity_Frame), 25, 10, 125, 60);
    ExpectRect(GetTransformRect(res, d, -1.0f, m, Polarity_Frame), 0, 0, 0, 0);  // at the eye
    // The polarity argument asks for field rows; a field surface is frame rows first.
    m = Identity();
    ExpectRect(GetTransformRect(res, d, 0.0f, m, Polarity_Second), 50, 10, 250, 60);
    d.polarity = Polarity_Second;
    d.height = 50;
    d.top = 10;
    ExpectRect(GetTransformRect(res, d, 0.0f, m, Polarity_Frame), 50, 21, 250, 120);
    res.frameSize = SIZE{0, 0};  // falls back to the display size
    m.m[3][0] = 900.0f;
    ExpectRect(GetTransformRect(res, d, 0.0f, m, Polarity_Frame), 950, 21, 1024, 120);
}

}  // namespace
