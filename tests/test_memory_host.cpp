// The in-memory host and the recording wrappers the surface tests build on.
#include <gtest/gtest.h>

#include "LyMemoryHost.h"
#include "LyVideoUtils.h"
#include "surface_support.h"

using namespace LyMemoryHost;
using lytest::MakeCreateDesc;

namespace {

struct FormatCase {
    ELyPixelFormat format;
    unsigned char depth;
    int lineBytesPer16;  // bytes of a 16-pixel line
};

const FormatCase kFormats[] = {
    {PixelFormat_BGRA4444, 8, 64},  {PixelFormat_BGRA4444, 16, 64}, {PixelFormat_VUYA4444, 8, 64},
    {PixelFormat_VUYA4444, 16, 64}, {PixelFormat_UYVY422, 8, 32},   {PixelFormat_UYVY422, 16, 64},
    {PixelFormat_YUYVA422, 8, 32},  {PixelFormat_YUYVA422, 16, 64},
};

TEST(MemoryHost, SurfacesOfEveryPackedFormatHavePaddedPitchAndTheirPlanes) {
    for (const FormatCase& f : kFormats) {
        SCOPED_TRACE(testing::Message() << "format " << f.format << " depth " << int(f.depth));
        SLySurfaceCreateDesc d = MakeCreateDesc(17, 5, f.format, f.depth, -3, 40);
        CLyMemorySurface* s = CLyMemorySurface::Create(d);
        ASSERT_NE(s, nullptr);
        // 17 pixels pad to 32.
        EXPECT_EQ(s->Pitch(), 2 * f.lineBytesPer16);
        const size_t planes = f.format == PixelFormat_YUYVA422 ? 2 : 1;
        EXPECT_EQ(s->ByteSize(), size_t(s->Pitch()) * 5 * planes);
        if (f.format == PixelFormat_YUYVA422)
            EXPECT_EQ(s->AlphaBits(), s->Bits() + s->Pitch() * 5);
        else
            EXPECT_EQ(s->AlphaBits(), nullptr);
        for (size_t i = 0; i < s->ByteSize(); ++i) ASSERT_EQ(s->Bits()[i], 0);

        SLySurfaceDescription desc{};
        ASSERT_EQ(s->GetDescription(&desc), 1);
        EXPECT_EQ(desc.width, 17);
        EXPECT_EQ(desc.height, 5);
        EXPECT_EQ(desc.left, -3);
        EXPECT_EQ(desc.top, 40);
        EXPECT_EQ(desc.pixelFormat, f.format);
        EXPECT_EQ(desc.bitDepth, f.depth);
        EXPECT_EQ(desc.pitch, s->Pitch());
        EXPECT_EQ(desc.shaped, 0);

        SLyLockSurface lock{};
        ASSERT_EQ(s->Lock(0, &lock), 1);
        EXPECT_EQ(lock.bits, s->Bits());
        EXPECT_EQ(lock.pitch, s->Pitch());
        EXPECT_EQ(lock.width, 17);
        EXPECT_EQ(lock.height, 5);
        EXPECT_EQ(s->LockDepth(), 1);
        EXPECT_EQ(s->Unlock(0), 1);
        EXPECT_EQ(s->Unlock(0), 0);  // nothing left to unlock

        EXPECT_EQ(s->References(), 1u);
        EXPECT_EQ(s->AddRef(), 2u);
        EXPECT_EQ(s->Release(), 1u);
        EXPECT_EQ(s->Release(), 0u);  // deleted; ASan reports a leak otherwise
    }
}

TEST(MemoryHost, RefusesWhatItCannotHold) {
    EXPECT_EQ(CLyMemorySurface::Create(MakeCreateDesc(16, 4, PixelFormat_YUV420Planar, 8)), nullptr);
    EXPECT_EQ(CLyMemorySurface::Create(MakeCreateDesc(16, 4, PixelFormat_Unknown, 8)), nullptr);
    EXPECT_EQ(CLyMemorySurface::Create(MakeCreateDesc(16, 4, PixelFormat_BGRA4444, 10)), nullptr);
    EXPECT_EQ(CLyMemorySurface::Create(MakeCreateDesc(0, 4, PixelFormat_BGRA4444, 8)), nullptr);
    EXPECT_EQ(CLyMemorySurface::Create(MakeCreateDesc(4, -1, PixelFormat_BGRA4444, 8)), nullptr);
    EXPECT_EQ(CLyMemorySurface::Create(MakeCreateDesc(1 << 30, 1 << 30, PixelFormat_BGRA4444, 8)), nullptr);
    // A pitch below one line (10 pixels of 4 bytes) is refused; a wider one kept.
    EXPECT_EQ(CLyMemorySurface::Create(MakeCreateDesc(10, 2, PixelFormat_BGRA4444, 8), 39), nullptr);
    CLyMemorySurface* s = CLyMemorySurface::Create(MakeCreateDesc(10, 2, PixelFormat_BGRA4444, 8), 43);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->Pitch(), 43);
    s->Release();
    RECT empty{5, 5, 5, 9};
    EXPECT_EQ(CLyMemoryMaskSurface::Create(empty), nullptr);
    EXPECT_EQ(CLyMemoryAVSample::Create(nullptr), nullptr);
}

TEST(MemoryHost, AspectShapedAndPixelAspectFollowTheDescription) {
    SLySurfaceCreateDesc d = MakeCreateDesc(720, 288, PixelFormat_BGRA4444, 8);
    d.aspectRatio = AspectRatio_4_3;
    d.polarity = Polarity_Second;
    d.scanMode = ScanMode_UpperFirst;
    CLyMemorySurface* s = CLyMemorySurface::Create(d);
    ASSERT_NE(s, nullptr);
    // A field: its height counts twice. 576 * 4 / (3 * 720).
    EXPECT_DOUBLE_EQ(s->GetPixelAspectRatio(), 576.0 * 4 / (3.0 * 720));
    s->SetAspectRatio(AspectRatio_Custom, 5, 4);
    s->SetShaped(1);
    SLySurfaceDescription desc{};
    s->GetDescription(&desc);
    EXPECT_EQ(desc.aspectRatio, AspectRatio_Custom);
    EXPECT_EQ(desc.customAspectX, 5);
    EXPECT_EQ(desc.customAspectY, 4);
    EXPECT_EQ(desc.shaped, 1);
    EXPECT_DOUBLE_EQ(s->GetPixelAspectRatio(), LyVideoUtils::GetPixelAspectRatio(desc));
    s->Release();
}

TEST(MemoryHost, SyncObjectsPoolMaskAndSampleCountReferences) {
    CLyMemorySurface* s = CLyMemorySurface::Create(MakeCreateDesc(8, 2, PixelFormat_UYVY422, 8));
    ASSERT_NE(s, nullptr);
    ILySyncObject* sync = nullptr;
    ASSERT_EQ(s->GetSyncObject(&sync), 1);
    ASSERT_EQ(sync, s->SyncObject());
    EXPECT_EQ(s->SyncObject()->References(), 2u);
    sync->Wait(1000);
    EXPECT_EQ(s->SyncObject()->WaitCount(), 1u);
    EXPECT_EQ(s->SyncObject()->LastWaitMilliseconds(), 1000u);
    sync->Release();
    EXPECT_EQ(s->SyncObject()->References(), 1u);

    // The sample holds its surfaces and hands each out with one more reference.
    CLyMemorySurface* second = CLyMemorySurface::Create(MakeCreateDesc(8, 2, PixelFormat_UYVY422, 8));
    CLyMemoryAVSample* sample = CLyMemoryAVSample::Create(s, second);
    ASSERT_NE(sample, nullptr);
    EXPECT_EQ(s->References(), 2u);
    std::vector<ILyVideoSurface*> list;
    ASSERT_EQ(sample->GetSurfaces(list), 1);
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[0], s);
    EXPECT_EQ(list[1], second);
    EXPECT_EQ(second->References(), 3u);
    for (ILyVideoSurface* v : list) v->Release();
    s->Release();
    second->Release();
    EXPECT_EQ(s->References(), 1u);
    sample->Release();  // takes the last references of both surfaces

    CLyMemorySurfacePool* pool = CLyMemorySurfacePool::Create(12);
    ILyVideoSurface* made = reinterpret_cast<ILyVideoSurface*>(&list);  // must be cleared on failure
    EXPECT_EQ(pool->CreateSurface(0, nullptr, &made), 0);
    EXPECT_EQ(made, nullptr);
    SLySurfaceCreateDesc d = MakeCreateDesc(17, 3, PixelFormat_YUYVA422, 16);
    ASSERT_EQ(pool->CreateSurface(0, &d, &made), 1);
    SLySurfaceDescription desc{};
    made->GetDescription(&desc);
    EXPECT_EQ(desc.pitch, 32 * 4 + 12);
    EXPECT_EQ(pool->Created(), 1u);
    made->Release();
    pool->Release();

    CLyMemoryMaskSurface* mask = CLyMemoryMaskSurface::Create(RECT{-2, 3, 15, 7});
    ASSERT_NE(mask, nullptr);
    SLyLockSurface lock{};
    mask->Lock(&lock);
    EXPECT_EQ(lock.width, 17);
    EXPECT_EQ(lock.height, 4);
    EXPECT_EQ(lock.pitch, 32);
    EXPECT_EQ(lock.bits, mask->Bits());
    mask->Unlock();
    RECT r{};
    mask->GetRect(&r);
    EXPECT_EQ(r.left, -2);
    EXPECT_EQ(r.bottom, 7);
    mask->Release();
}

TEST(RecordingHost, LogsCallsInOrderAndEndsReferences) {
    lytest::ClearCallLog();
    lytest::RecordingSurface* s = lytest::RecordingSurface::Create("a", MakeCreateDesc(4, 4, PixelFormat_BGRA4444, 8));
    ASSERT_NE(s, nullptr);
    SLySurfaceDescription d{};
    SLyLockSurface lock{};
    s->GetDescription(&d);
    s->SetLockBits(nullptr);
    s->Lock(0, &lock);
    EXPECT_EQ(lock.bits, nullptr);
    s->Unlock(0);
    ILySyncObject* sync = nullptr;
    s->GetSyncObject(&sync);
    sync->Wait(1000);
    EXPECT_EQ(s->SyncReferences(), 1);
    sync->Release();
    EXPECT_EQ(s->SyncReferences(), 0);
    EXPECT_EQ(s->SyncWaits(), 1);
    EXPECT_TRUE(lytest::LocksBalanced());
    const std::vector<std::string> expected = {"a.GetDescription", "a.Lock",         "a.Unlock",
                                               "a.GetSyncObject",  "a.sync.Wait(1000)", "a.sync.Release"};
    EXPECT_EQ(lytest::CallLog(), expected) << lytest::CallLogText();
    s->Release();

    lytest::RecordingPool* pool = lytest::RecordingPool::Create("pool");
    pool->FailCall(1);
    ILyVideoSurface* made = nullptr;
    SLySurfaceCreateDesc cd = MakeCreateDesc(4, 4, PixelFormat_BGRA4444, 8);
    EXPECT_EQ(pool->CreateSurface(0, &cd, &made), 0);
    EXPECT_EQ(pool->CreateSurface(0, &cd, &made), 1);
    lytest::ClearCallLog();
    made->Release();
    EXPECT_EQ(lytest::CallLog(), std::vector<std::string>{"pool.new2.Release"});
    pool->Release();
}

}  // namespace

// ------------------------------------------------------------ shared surface plumbing
#include "surface/LySurfaceCommon.h"

namespace {

TEST(SurfaceCommon, IntersectionNeedsOneWholePixelAndShiftsIntoOwnCoordinates) {
    RECT out{1, 1, 1, 1};
    EXPECT_FALSE(ly::IntersectFrameRects(RECT{0, 0, 10, 10}, RECT{10, 0, 20, 10}, out));  // side by side
    EXPECT_EQ(out.right, 0);
    EXPECT_FALSE(ly::IntersectFrameRects(RECT{0, 0, 10, 10}, RECT{5, 5, 15, 5}, out));  // zero high
    EXPECT_FALSE(ly::IntersectFrameRects(RECT{0, 0, 10, 10}, RECT{8, 8, 2, 12}, out));  // negative wide
    ASSERT_TRUE(ly::IntersectFrameRects(RECT{-5, -5, 10, 10}, RECT{3, -8, 40, 2}, out));
    EXPECT_EQ(out.left, 3);
    EXPECT_EQ(out.top, -5);
    EXPECT_EQ(out.right, 10);
    EXPECT_EQ(out.bottom, 2);
    const RECT own = ly::ShiftRect(out, -5, -5);
    EXPECT_EQ(own.left, 8);
    EXPECT_EQ(own.top, 0);
    EXPECT_EQ(own.right, 15);
    EXPECT_EQ(own.bottom, 7);
    // Positions at the int limits clamp instead of wrapping.
    SLySurfaceDescription d{};
    d.left = 2147483600;
    d.width = 100;
    d.height = 1;
    EXPECT_EQ(ly::FrameRect(d).right, 2147483647);
}

TEST(SurfaceCommon, SubPictureColumnsFollowTheFormat) {
    std::vector<unsigned char> buffer(1000);
    unsigned char* base = buffer.data() + 500;
    EXPECT_EQ(ly::SubPicture(base, 100, PixelFormat_BGRA4444, 8, 3, 2), base + 212);
    EXPECT_EQ(ly::SubPicture(base, 100, PixelFormat_UYVY422, 8, 3, 2), base + 206);
    EXPECT_EQ(ly::SubPicture(base, 100, PixelFormat_UYVY422, 16, 3, 2), base + 212);
    EXPECT_EQ(ly::SubPicture(base, -100, PixelFormat_YUYVA422, 8, 4, 1), base - 92);
}

TEST(SurfaceCommon, UnpremultiplyKeepsTransparentPixelsAndLetsColourSpill) {
    unsigned char px[] = {64, 64, 64, 128, 9, 8, 7, 0, 200, 0, 0, 100, 255, 255, 255, 1, 10, 20, 30, 255};
    ly::UnpremultiplyRow(px, 5);
    const unsigned char expected[] = {127, 127, 127, 128, 9,    8,    7,    0, 0xFE, 0x01, 0, 100,
                                      // 255*255 = 0xFE01 in every colour: the ORs pile up.
                                      0x01, 0xFF, 0xFF, 0xFF, 10, 20, 30, 255};
    EXPECT_EQ(std::vector<unsigned char>(px, px + 20), std::vector<unsigned char>(expected, expected + 20));
}

}  // namespace
