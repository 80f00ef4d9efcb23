// The in-memory host and the recording wrappers the surface tests build on,
// and the shared surface plumbing.
#include <gtest/gtest.h>

#include "LyMemoryHost.h"
#include "surface/LySurfaceCommon.h"
#include "surface_support.h"

using namespace LyMemoryHost;
using lytest::MakeCreateDesc;

namespace {

TEST(MemoryHost, SurfacesOfEveryPackedFormatHavePaddedPitchAndTheirPlanes) {
    struct Case {
        ELyPixelFormat format;
        unsigned char depth;
        int lineBytesPer16;  // bytes of a 16-pixel line
    };
    const Case cases[] = {{PixelFormat_BGRA4444, 8, 64}, {PixelFormat_BGRA4444, 16, 64}, {PixelFormat_VUYA4444, 8, 64},
                          {PixelFormat_VUYA4444, 16, 64}, {PixelFormat_UYVY422, 8, 32},   {PixelFormat_UYVY422, 16, 64},
                          {PixelFormat_YUYVA422, 8, 32},  {PixelFormat_YUYVA422, 16, 64}};
    for (const Case& f : cases) {
        SCOPED_TRACE(testing::Message() << "format " << f.format << " depth " << int(f.depth));
        CLyMemorySurface* s = CLyMemorySurface::Create(MakeCreateDesc(17, 5, f.format, f.depth, -3, 40));
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(s->Pitch(), 2 * f.lineBytesPer16);  // 17 pixels pad to 32
        const bool alpha = f.format == PixelFormat_YUYVA422;
        EXPECT_EQ(s->ByteSize(), size_t(s->Pitch()) * 5 * (alpha ? 2 : 1));
        EXPECT_EQ(s->AlphaBits(), alpha ? s->Bits() + s->Pitch() * 5 : nullptr);
        for (size_t i = 0; i < s->ByteSize(); ++i) ASSERT_EQ(s->Bits()[i], 0);
        SLySurfaceDescription d{};
        SLyLockSurface lock{};
        ASSERT_EQ(s->GetDescription(&d), 1);
        EXPECT_EQ(std::tuple(d.width, d.height, d.left, d.top, d.pitch), std::tuple(17, 5, -3, 40, s->Pitch()));
        ASSERT_EQ(s->Lock(0, &lock), 1);
        EXPECT_EQ(std::tuple(lock.bits, lock.pitch, lock.width, lock.height), std::tuple(s->Bits(), s->Pitch(), 17, 5));
        EXPECT_EQ(s->Unlock(0), 1);
        EXPECT_EQ(s->Unlock(0), 0);  // nothing left to unlock
        EXPECT_EQ(s->Release(), 0u);  // deleted; ASan reports a leak otherwise
    }
}

TEST(MemoryHost, RefusesWhatItCannotHold) {
    for (const SLySurfaceCreateDesc& d :
         {MakeCreateDesc(16, 4, PixelFormat_YUV420Planar, 8), MakeCreateDesc(16, 4, PixelFormat_Unknown, 8),
          MakeCreateDesc(16, 4, PixelFormat_BGRA4444, 10), MakeCreateDesc(0, 4, PixelFormat_BGRA4444, 8),
          MakeCreateDesc(4, -1, PixelFormat_BGRA4444, 8), MakeCreateDesc(1 << 30, 1 << 30, PixelFormat_BGRA4444, 8)})
        EXPECT_EQ(CLyMemorySurface::Create(d), nullptr);
    // A pitch below one line (10 pixels of 4 bytes) is refused.
    EXPECT_EQ(CLyMemorySurface::Create(MakeCreateDesc(10, 2, PixelFormat_BGRA4444, 8), 39), nullptr);
    EXPECT_EQ(CLyMemoryMaskSurface::Create(RECT{5, 5, 5, 9}), nullptr);
    EXPECT_EQ(CLyMemoryAVSample::Create(nullptr), nullptr);
}

TEST(MemoryHost, SampleAndPoolCountReferences) {
    CLyMemorySurface* s = CLyMemorySurface::Create(MakeCreateDesc(8, 2, PixelFormat_UYVY422, 8));
    CLyMemorySurface* second = CLyMemorySurface::Create(MakeCreateDesc(8, 2, PixelFormat_UYVY422, 8));
    CLyMemoryAVSample* sample = CLyMemoryAVSample::Create(s, second);
    ASSERT_NE(sample, nullptr);
    std::vector<ILyVideoSurface*> list;
    ASSERT_EQ(sample->GetSurfaces(list), 1);
    EXPECT_EQ(list, (std::vector<ILyVideoSurface*>{s, second}));
    EXPECT_EQ(second->References(), 3u);
    for (ILyVideoSurface* v : list) v->Release();
    s->Release();
    second->Release();
    sample->Release();  // takes the last references of both surfaces

    CLyMemorySurfacePool* pool = CLyMemorySurfacePool::Create(12);
    ILyVideoSurface* made = reinterpret_cast<ILyVideoSurface*>(&list);  // must be cleared on failure
    EXPECT_EQ(pool->CreateSurface(0, nullptr, &made), 0);
    EXPECT_EQ(made, nullptr);
    SLySurfaceCreateDesc d = MakeCreateDesc(17, 3, PixelFormat_YUYVA422, 16);
    ASSERT_EQ(pool->CreateSurface(0, &d, &made), 1);
    EXPECT_EQ(static_cast<CLyMemorySurface*>(made)->Pitch(), 32 * 4 + 12);
    made->Release();
    pool->Release();
}

TEST(SurfaceCommon, FramePositionsAtTheIntLimitsClampInsteadOfWrapping) {
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

}  // namespace
