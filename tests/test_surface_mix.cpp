// LY_TEST_LABELS: threading
//
// Surface compositing: where the bytes land for surfaces placed anywhere in
// the frame (results compared with the pixel routine run directly on the same
// sub-pictures), the host calls in order, the play mix's field paths, the
// list mix, un-premultiplying and bad input.

#include <cstring>
#include <functional>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "LyMemoryHost.h"
#include "LyPixelUtils.h"
#include "LySurfaceUtils.h"
#include "LyVideoUtils.h"
#include "surface_support.h"
#include "test_support.h"

using namespace LySurfaceUtils;
using lytest::CallLogText;
using lytest::ClearCallLog;
using lytest::MakeSurface;
using lytest::MemoryOf;
using lytest::RecordingMask;
using lytest::RecordingSurface;
using Surface = lytest::HostRef<RecordingSurface>;
using Mask = lytest::HostRef<RecordingMask>;
using Bytes = std::vector<unsigned char>;

namespace {

int Width(const RECT& r) { return r.right - r.left; }
int Height(const RECT& r) { return r.bottom - r.top; }
auto Tie(const RECT& r) { return std::tuple(r.left, r.top, r.right, r.bottom); }

RecordingMask* MakeMask(const std::string& name, const RECT& r) {
    RecordingMask* m = RecordingMask::Create(name, r, Width(r) + 3);
    if (m) lytest::FillRandomWithExtremes(m->Bits(), static_cast<size_t>(m->Pitch()) * Height(r));
    return m;
}

void MakeField(RecordingSurface& s, ELyScanMode scan, ELyPolarity polarity) { s.Memory().SetFieldInfo(scan, polarity); }

Bytes MaskBytes(RecordingMask& m) {
    return Bytes(m.Bits(), m.Bits() + static_cast<size_t>(m.Pitch()) * Height(m.Memory().Rect()));
}

RECT Intersection(const RECT& a, const RECT& b) {
    return RECT{std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right),
                std::min(a.bottom, b.bottom)};
}
bool Empty(const RECT& r) { return Width(r) < 1 || Height(r) < 1; }

// Pixel (area.left, area.top) of a copy of a surface placed at `placed`.
unsigned char* At(Bytes& bytes, int pitch, const RECT& placed, const RECT& area, int bytesPerPixel = 4) {
    return bytes.data() + static_cast<ptrdiff_t>(pitch) * (area.top - placed.top) +
           bytesPerPixel * (area.left - placed.left);
}

// The whole memory of `s` (placed at `placed`) equals `expected`, and no
// byte outside the pixels of `area` differs from `before`.
void ExpectWritten(RecordingSurface& s, const Bytes& before, const Bytes& expected, const RECT& placed,
                   const RECT& area) {
    const Bytes after = MemoryOf(&s);
    EXPECT_TRUE(lytest::SameBytes(expected, after));
    for (size_t i = 0; i < after.size(); ++i) {
        const int y = static_cast<int>(i / s.Pitch()) + placed.top, x = static_cast<int>(i % s.Pitch());
        const bool inside = !Empty(area) && y >= area.top && y < area.bottom && x >= (area.left - placed.left) * 4 &&
                            x < (area.right - placed.left) * 4;
        if (!inside && before[i] != after[i]) {
            ADD_FAILURE() << "byte " << i << " (row " << y << ") changed outside the overlap";
            return;
        }
    }
}

// Placements of a source and a destination in the frame.
struct Placement {
    const char* name;
    RECT source, destination;
};
const Placement kPlacements[] = {
    {"partly overlapping", {10, 5, 47, 25}, {0, 0, 40, 18}},
    {"side by side", {40, 0, 60, 18}, {0, 0, 40, 18}},
    {"one above the other", {3, 18, 30, 30}, {0, 0, 40, 18}},
    {"source inside", {5, 3, 14, 10}, {0, 0, 31, 19}},
    {"destination inside", {0, 0, 50, 30}, {7, 4, 20, 21}},
    {"negative positions", {-9, -6, 14, 11}, {-20, -3, -1, 18}},
    {"one pixel", {-1, -1, 1, 1}, {0, 0, 5, 5}},
};

using TwoRoutine = std::function<void(const unsigned char*, int, unsigned char*, int, int, int)>;
using TwoOperation = std::function<int(ILyVideoSurface*, ILyVideoSurface*)>;

// Runs `op` for every placement and two pitch paddings and compares with
// `routine` run directly on the overlap: same bytes in the destination,
// nothing outside the overlap touched, the source untouched, balanced locks,
// and no lock at all when the two do not overlap.
void ExpectLikeRoutineOnOverlap(const TwoOperation& op, const TwoRoutine& routine) {
    for (const Placement& p : kPlacements)
        for (int extra : {0, 12}) {
            SCOPED_TRACE(std::string(p.name) + ", extra pitch " + std::to_string(extra));
            Surface src(MakeSurface("src", p.source, extra)), dst(MakeSurface("dst", p.destination, extra + 4));
            Bytes srcBefore = MemoryOf(src.get());
            const Bytes dstBefore = MemoryOf(dst.get());
            ClearCallLog();
            const int result = op(src.get(), dst.get());
            const RECT area = Intersection(p.source, p.destination);
            EXPECT_TRUE(lytest::SameBytes(srcBefore, MemoryOf(src.get())));
            EXPECT_EQ(result, Empty(area) ? 0 : 1);
            EXPECT_EQ(Empty(area), lytest::NothingLocked()) << CallLogText();
            EXPECT_TRUE(lytest::LocksBalanced()) << CallLogText();
            Bytes expected = dstBefore;
            if (!Empty(area))
                routine(At(srcBefore, src->Pitch(), p.source, area), src->Pitch(),
                        At(expected, dst->Pitch(), p.destination, area), dst->Pitch(), Width(area), Height(area));
            ExpectWritten(*dst, dstBefore, expected, p.destination, area);
        }
}

void MixRoutine(const unsigned char* s, int sp, unsigned char* d, int dp, int w, int h) {
    LyPixelUtils::MixColor(s, sp, d, dp, w, h);
}

void CopyRoutine(const unsigned char* s, int sp, unsigned char* d, int dp, int w, int h) {
    for (int y = 0; y < h; ++y)
        std::memcpy(d + static_cast<ptrdiff_t>(dp) * y, s + static_cast<ptrdiff_t>(sp) * y, 4u * w);
}

}  // namespace

// ------------------------------------------------------------ placement

TEST(SurfaceMixPlacement, TwoSurfaceOperationsEqualTheirRoutineOnTheOverlap) {
    for (int threads : lytest::PoolSizes()) {
        SCOPED_TRACE(threads);
        lytest::ScopedPoolThreads pool(threads);
        ExpectLikeRoutineOnOverlap(MixSurface, MixRoutine);
    }
    ExpectLikeRoutineOnOverlap(OverlaySurface, LyPixelUtils::OverlayColor);
    ExpectLikeRoutineOnOverlap(
        [](ILyVideoSurface* s, ILyVideoSurface* d) { return MixPlaySurface(s, nullptr, d, nullptr, 0, 1.0, nullptr); },
        MixRoutine);
    // Copying ignores alpha: the source bytes arrive as they are.
    ExpectLikeRoutineOnOverlap(
        [](ILyVideoSurface* s, ILyVideoSurface* d) { return MixPlaySurface(s, nullptr, d, nullptr, 1, 1.0, nullptr); },
        CopyRoutine);
}

TEST(SurfaceMixPlacement, MaskOperationsWorkWhereSurfacesAndMaskOverlap) {
    struct Case {
        const char* name;
        RECT first, second, mask;
    };
    const Case cases[] = {
        {"three-way partial", {-6, -2, 30, 20}, {4, -8, 41, 17}, {-10, 3, 20, 40}},
        {"mask inside", {0, 0, 33, 19}, {0, 0, 33, 19}, {5, 2, 12, 18}},
        {"mask beside", {0, 0, 20, 10}, {0, 0, 20, 10}, {20, 0, 30, 10}},
    };
    for (const Case& c : cases)
        for (bool subtract : {false, true}) {
            SCOPED_TRACE(std::string(c.name) + (subtract ? ", subtract" : ", mix"));
            const RECT area = Intersection(Intersection(subtract ? c.second : c.first, c.second), c.mask);
            Surface first(MakeSurface("first", c.first, 4)), second(MakeSurface("second", c.second, 8));
            Mask mask(MakeMask("mask", c.mask));
            Bytes firstBefore = MemoryOf(first.get()), maskBefore = MaskBytes(*mask);
            const Bytes before = MemoryOf(second.get());
            Bytes expected = before;
            const auto m = [&] { return At(maskBefore, mask->Pitch(), c.mask, area, 1); };
            const auto e = [&] { return At(expected, second->Pitch(), c.second, area); };
            ClearCallLog();
            if (subtract) {
                EXPECT_EQ(SubtractSurfaceWithMaskAlpha(second.get(), mask.get()), 0);  // whether or not it worked
                if (!Empty(area))
                    LyPixelUtils::SubtractImageWithMaskAlpha(e(), second->Pitch(), m(), mask->Pitch(), Width(area),
                                                             Height(area));
            } else {
                EXPECT_EQ(MixSurfaceWithMaskAlpha(first.get(), mask.get(), second.get()), Empty(area) ? 0 : 1);
                if (!Empty(area))
                    LyPixelUtils::MixColorWithMaskAlpha(At(firstBefore, first->Pitch(), c.first, area), first->Pitch(),
                                                        m(), mask->Pitch(), e(), second->Pitch(), Width(area),
                                                        Height(area));
            }
            EXPECT_EQ(Empty(area), lytest::NothingLocked());
            ExpectWritten(*second, before, expected, c.second, area);
            EXPECT_TRUE(lytest::SameBytes(firstBefore, MemoryOf(first.get())));
            EXPECT_TRUE(lytest::SameBytes(maskBefore, MaskBytes(*mask)));
        }
}

TEST(SurfaceMixPlacement, FadeSurfaceFadesItsRectangleClippedToTheArea) {
    const RECT placed{-7, 3, 26, 23};
    struct Case {
        const char* name;
        bool withArea;
        RECT area;
    };
    const Case cases[] = {
        {"no area", false, {}},
        {"partial, negative", true, {-20, -5, 3, 12}},
        {"covers the surface", true, {-100, -100, 100, 100}},
        {"outside", true, {26, 3, 40, 23}},
        {"upside down", true, {10, 20, 0, 5}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Surface s(MakeSurface("s", placed, 12));
        const Bytes before = MemoryOf(s.get());
        RECT area = c.area;
        ClearCallLog();
        const int result = FadeSurface(s.get(), 37.5f, c.withArea ? &area : nullptr);
        const RECT faded = c.withArea ? Intersection(placed, c.area) : placed;
        Bytes expected = before;
        if (!Empty(faded))
            LyPixelUtils::FadeImage(At(expected, s->Pitch(), placed, faded), s->Pitch(), Width(faded), Height(faded),
                                    37.5f);
        EXPECT_EQ(result, Empty(faded) ? 0 : 1);
        EXPECT_EQ(Empty(faded), lytest::NothingLocked());
        ExpectWritten(*s, before, expected, placed, faded);
    }
}

TEST(SurfaceMixPlacement, DeflickerTakesBothPicturesWholeWhateverTheirPositions) {
    Surface first(MakeSurface("first", {0, 0, 21, 18}, 4)), second(MakeSurface("second", {100, 50, 125, 70}, 12));
    Bytes firstBefore = MemoryOf(first.get());
    Bytes expected = MemoryOf(second.get());
    EXPECT_EQ(LyPixelUtils::DefickerImage(firstBefore.data(), first->Pitch(), expected.data(), second->Pitch(), 21, 18,
                                          DeflickerQuality_High),
              1);
    EXPECT_EQ(DeflickerSurface(first.get(), second.get(), DeflickerQuality_High), 1);
    EXPECT_TRUE(lytest::SameBytes(expected, MemoryOf(second.get())));
    EXPECT_TRUE(lytest::SameBytes(firstBefore, MemoryOf(first.get())));
    // The routine's refusal comes back after the locks, with nothing written.
    ClearCallLog();
    EXPECT_EQ(DeflickerSurface(first.get(), second.get(), static_cast<ELyDeflickerQuality>(7)), 0);
    EXPECT_TRUE(lytest::SameBytes(expected, MemoryOf(second.get())));
    EXPECT_EQ(lytest::CallsContaining(".Lock").size(), 2u);
    EXPECT_TRUE(lytest::LocksBalanced());
}

TEST(SurfaceMixPlacement, MixesNeedFourBytePixelsWhileCopiesTakeAnySize) {
    const RECT r{3, 1, 20, 9};
    // 4:2:2 at depth 8 has 2-byte pixels: the 32-bit routines would overrun
    // its rows, so nothing is locked.
    for (ELyPixelFormat f : {PixelFormat_UYVY422, PixelFormat_YUYVA422}) {
        Surface a(MakeSurface("a", r, 0, f, 8)), b(MakeSurface("b", r));
        Mask m(MakeMask("m", r));
        ClearCallLog();
        EXPECT_EQ(MixSurface(a.get(), b.get()) + MixSurface(b.get(), a.get()) + OverlaySurface(b.get(), a.get()) +
                      MixKtvSurface(b.get(), a.get(), 1.0) + MixSurfaceWithMaskAlpha(a.get(), m.get(), b.get()) +
                      FadeSurface(a.get(), 50.0f, nullptr) + DeflickerSurface(b.get(), a.get(), DeflickerQuality_Low),
                  0);
        EXPECT_TRUE(lytest::NothingLocked()) << CallLogText();
    }
    // At depth 16 the 4:2:2 pixel is 4 bytes and the mix goes ahead.
    Surface deep(MakeSurface("deep", r, 0, PixelFormat_UYVY422, 16)), bgra(MakeSurface("bgra", r));
    EXPECT_EQ(MixSurface(bgra.get(), deep.get()), 1);

    // Copies move the source's bytes for the overlap's width, cut to what the
    // destination row holds: between 4:2:2 surfaces 2 bytes a pixel from an
    // odd column on; 6 BGRA pixels (24 bytes) into a 4:2:2 row with 16 bytes
    // left; 6 4:2:2 pixels (12 bytes) into a BGRA row.
    struct Case {
        ELyPixelFormat from, to;
        RECT placedFrom, placedTo;
        int fromColumnBytes, toColumnBytes, rows, bytes;
    };
    for (const Case& c : {Case{PixelFormat_UYVY422, PixelFormat_UYVY422, {0, 0, 15, 6}, {-3, 2, 9, 11}, 0, 6, 4, 18},
                          {PixelFormat_BGRA4444, PixelFormat_UYVY422, {0, 0, 10, 3}, {4, 0, 12, 3}, 16, 0, 3, 16},
                          {PixelFormat_UYVY422, PixelFormat_BGRA4444, {0, 0, 10, 3}, {4, 0, 12, 3}, 8, 0, 3, 12}}) {
        Surface a(MakeSurface("from", c.placedFrom, 6, c.from)), b(MakeSurface("to", c.placedTo, 2, c.to));
        const Bytes fromBytes = MemoryOf(a.get());
        Bytes expected = MemoryOf(b.get());
        const int fromRow = std::max(0, c.placedTo.top - c.placedFrom.top),
                  toRow = std::max(0, c.placedFrom.top - c.placedTo.top);
        for (int y = 0; y < c.rows; ++y)
            std::memcpy(expected.data() + static_cast<ptrdiff_t>(b->Pitch()) * (y + toRow) + c.toColumnBytes,
                        fromBytes.data() + static_cast<ptrdiff_t>(a->Pitch()) * (y + fromRow) + c.fromColumnBytes,
                        c.bytes);
        EXPECT_EQ(MixPlaySurface(a.get(), nullptr, b.get(), nullptr, 1, 1.0, nullptr), 1);
        EXPECT_TRUE(lytest::SameBytes(expected, MemoryOf(b.get())));
    }
}

// ------------------------------------------------------------ host calls

TEST(SurfaceMixCalls, EachOperationCallsTheHostInItsOrder) {
    const RECT r{0, 0, 12, 6};
    Surface src(MakeSurface("src", r)), dst(MakeSurface("dst", r));
    Surface first(MakeSurface("first", r)), second(MakeSurface("second", r)), third(MakeSurface("third", r));
    Mask mask(MakeMask("mask", r));
    const std::string two = "dst.GetDescription src.GetDescription dst.Lock src.Lock src.Unlock dst.Unlock";
    CRect affected, bounds;
    std::vector<ILyVideoSurface*> list = {src.get(), first.get()};
    const std::tuple<const char*, std::function<int()>, int, std::string> cases[] = {
        {"MixSurface", [&] { return MixSurface(src.get(), dst.get()); }, 1, two},
        {"MixPlaySurface", [&] { return MixPlaySurface(src.get(), nullptr, dst.get(), nullptr, 0, 0.5, &affected); }, 1,
         two},
        {"MixDynaTex", [&] { return MixDynaTex(first.get(), second.get(), 12345, third.get()); }, 1,
         "third.GetDescription first.GetDescription second.GetDescription third.Lock first.Lock second.Lock "
         "first.Unlock third.Unlock second.Unlock"},
        {"MixSurfaceWithMaskAlpha", [&] { return MixSurfaceWithMaskAlpha(first.get(), mask.get(), second.get()); }, 1,
         "second.GetDescription first.GetDescription mask.GetRect second.Lock first.Lock mask.Lock first.Unlock "
         "second.Unlock mask.Unlock"},
        {"SubtractSurfaceWithMaskAlpha", [&] { return SubtractSurfaceWithMaskAlpha(src.get(), mask.get()); }, 0,
         "src.GetDescription mask.GetRect src.Lock mask.Lock src.Unlock mask.Unlock"},
        {"FadeSurface", [&] { return FadeSurface(src.get(), 50.0f, nullptr); }, 1,
         "src.GetDescription src.Lock src.Unlock"},
        {"DeflickerSurface", [&] { return DeflickerSurface(first.get(), second.get(), DeflickerQuality_Medium); }, 1,
         "first.GetDescription second.GetDescription first.Lock second.Lock first.Unlock second.Unlock"},
        {"UnshapedSurface", [&] { return UnshapedSurface(src.get()); }, 1, "src.Lock src.Unlock src.SetShaped(0)"},
        {"MixSurfaceArray", [&] { return MixSurfaceArray(list, dst.get(), bounds); }, 1,
         "src.GetDescription first.GetDescription dst.GetDescription dst.Lock dst.Unlock " + two +
             " dst.GetDescription first.GetDescription dst.Lock first.Lock first.Unlock dst.Unlock"},
    };
    for (const auto& [name, call, result, calls] : cases) {
        SCOPED_TRACE(name);
        const Bytes a = MemoryOf(first.get()), b = MemoryOf(second.get()), c = MemoryOf(third.get());
        ClearCallLog();
        EXPECT_EQ(call(), result);
        EXPECT_EQ(CallLogText(), calls);
        if (std::string(name) == "MixDynaTex") {  // locks but changes nothing
            EXPECT_TRUE(lytest::SameBytes(a, MemoryOf(first.get())));
            EXPECT_TRUE(lytest::SameBytes(b, MemoryOf(second.get())));
            EXPECT_TRUE(lytest::SameBytes(c, MemoryOf(third.get())));
        }
    }
}

TEST(SurfaceMixCalls, RefusalsHappenBeforeAnyHostCallOrLock) {
    const RECT r{0, 0, 12, 6}, away{12, 0, 20, 6};
    Surface a(MakeSurface("a", r)), b(MakeSurface("b", r)), far(MakeSurface("far", away));
    Surface small(MakeSurface("small", {0, 0, 11, 6}));
    Mask mask(MakeMask("mask", r)), farMask(MakeMask("farMask", away));
    CRect emptyClip(5, 5, 5, 9), upsideDown(10, 5, 2, 1);
    RECT emptyArea{3, 3, 3, 3};
    // Null pointers: refused before the other objects are even asked.
    ClearCallLog();
    EXPECT_EQ(MixSurface(nullptr, a.get()) + MixSurface(a.get(), nullptr) + OverlaySurface(nullptr, a.get()) +
                  MixPlaySurface(nullptr, nullptr, a.get(), nullptr, 0, 1.0, nullptr) +
                  MixPlaySurface(a.get(), nullptr, nullptr, nullptr, 0, 1.0, nullptr) +
                  MixKtvSurface(a.get(), nullptr, 1.0) + MixDynaTex(nullptr, a.get(), 0, b.get()) +
                  MixDynaTex(a.get(), nullptr, 0, b.get()) + MixDynaTex(a.get(), b.get(), 0, nullptr) +
                  MixSurfaceWithMaskAlpha(nullptr, mask.get(), a.get()) +
                  MixSurfaceWithMaskAlpha(a.get(), nullptr, b.get()) +
                  MixSurfaceWithMaskAlpha(a.get(), mask.get(), nullptr) +
                  SubtractSurfaceWithMaskAlpha(nullptr, mask.get()) + SubtractSurfaceWithMaskAlpha(a.get(), nullptr) +
                  FadeSurface(nullptr, 50.0f, nullptr) + DeflickerSurface(nullptr, a.get(), DeflickerQuality_Low) +
                  DeflickerSurface(a.get(), nullptr, DeflickerQuality_Low) + UnshapedSurface(nullptr),
              0);
    EXPECT_EQ(CallLogText(), "");
    // Nothing to do: descriptions are read, nothing is locked.
    ClearCallLog();
    EXPECT_EQ(MixSurface(far.get(), a.get()) + OverlaySurface(a.get(), far.get()) +
                  MixPlaySurface(far.get(), nullptr, a.get(), nullptr, 1, 1.0, nullptr) +
                  MixPlaySurface(a.get(), &emptyClip, b.get(), nullptr, 0, 1.0, nullptr) +
                  MixPlaySurface(a.get(), nullptr, b.get(), &upsideDown, 0, 1.0, nullptr) +
                  MixDynaTex(a.get(), b.get(), 0, far.get()) + MixDynaTex(a.get(), far.get(), 0, b.get()) +
                  MixSurfaceWithMaskAlpha(a.get(), farMask.get(), b.get()) +
                  SubtractSurfaceWithMaskAlpha(a.get(), farMask.get()) + FadeSurface(a.get(), 50.0f, &emptyArea) +
                  DeflickerSurface(a.get(), a.get(), DeflickerQuality_Low) +
                  DeflickerSurface(a.get(), small.get(), DeflickerQuality_Low),
              0);
    EXPECT_TRUE(lytest::NothingLocked()) << CallLogText();
    // Empty or negative descriptions lock nothing.
    SLySurfaceDescription d{};
    a->GetDescription(&d);
    for (auto [w, h] : {std::pair{0, 8}, {8, 0}, {-5, 8}, {8, -3}}) {
        SCOPED_TRACE(std::to_string(w) + "x" + std::to_string(h));
        d.width = w;
        d.height = h;
        a->SetDescriptionOverride(d);
        ClearCallLog();
        EXPECT_EQ(MixSurface(a.get(), b.get()) + MixSurface(b.get(), a.get()) + MixKtvSurface(a.get(), b.get(), 1.0) +
                      FadeSurface(a.get(), 10.0f, nullptr) + MixDynaTex(a.get(), b.get(), 0, b.get()),
                  0);
        EXPECT_TRUE(lytest::NothingLocked()) << CallLogText();
    }
    // A list with nothing to mix and no target still answers 1.
    std::vector<ILyVideoSurface*> none;
    CRect bounds;
    ClearCallLog();
    EXPECT_EQ(MixSurfaceArray(none, nullptr, bounds), 1);
    EXPECT_EQ(CallLogText(), "");
}

TEST(SurfaceMixCalls, ALockWithoutMemoryIsBalancedAndWritesNothing) {
    Surface src(MakeSurface("src", {0, 0, 10, 20})), dst(MakeSurface("dst", {0, 0, 10, 20}));
    const Bytes before = MemoryOf(dst.get());
    src->SetLockBits(nullptr);
    ClearCallLog();
    EXPECT_EQ(MixSurface(src.get(), dst.get()), 1);
    EXPECT_EQ(MixKtvSurface(src.get(), dst.get(), 1.0), 1);
    src->SetLockBits(std::nullopt);
    dst->SetLockBits(nullptr);
    EXPECT_EQ(UnshapedSurface(dst.get()), 1);
    EXPECT_EQ(FadeSurface(dst.get(), 0.0f, nullptr), 1);
    EXPECT_TRUE(lytest::LocksBalanced());
    EXPECT_TRUE(lytest::SameBytes(before, MemoryOf(dst.get())));
}

// ------------------------------------------------------------ play mix

TEST(SurfaceMixPlay, RevealMixesTheLeftPartOfTheSourceRoundedHalfUp) {
    struct Case {
        int width;
        double reveal;
        int columns;
    };
    const Case cases[] = {{100, 0.5, 50}, {100, 3.0, 100}, {100, 1.0, 100}, {3, 0.5, 2}, {5, 0.1, 1},
                          {100, std::numeric_limits<double>::quiet_NaN(), 100}, {100, 0.004, 0}, {100, 0.0, 0},
                          {100, -2.0, 0}, {12, 0.04, 0}};
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.width) + " at " + std::to_string(c.reveal));
        Surface src(MakeSurface("src", {0, 0, c.width, 17}));
        Surface dst(MakeSurface("dst", {0, 0, c.width, 17}, 4));
        Bytes srcBytes = MemoryOf(src.get());
        Bytes expected = MemoryOf(dst.get());
        LyPixelUtils::MixColor(srcBytes.data(), src->Pitch(), expected.data(), dst->Pitch(), c.columns, 17);
        ClearCallLog();
        EXPECT_EQ(MixKtvSurface(src.get(), dst.get(), c.reveal), c.columns > 0 ? 1 : 0);
        EXPECT_EQ(c.columns == 0, lytest::NothingLocked());
        EXPECT_TRUE(lytest::SameBytes(expected, MemoryOf(dst.get())));
    }
}

TEST(SurfaceMixPlay, ClipsNarrowBothSidesAndTheAffectedAreaIsTheOverlap) {
    const RECT srcPlaced{0, 0, 40, 20}, dstPlaced{5, 2, 35, 17};
    Surface src(MakeSurface("src", srcPlaced, 8));
    Surface dst(MakeSurface("dst", dstPlaced, 4));
    Bytes srcBytes = MemoryOf(src.get());
    const Bytes before = MemoryOf(dst.get());
    CRect sourceClip(2, 3, 100, 12), destinationClip(-50, 0, 20, 100);
    CRect affected(-1, -1, -1, -1);
    // 0.75 of 40 columns is 30: the source part is (0, 0, 30, 20), clipped
    // to (2, 3, 30, 12); the destination is clipped to (5, 2, 20, 17).
    ASSERT_EQ(MixPlaySurface(src.get(), &sourceClip, dst.get(), &destinationClip, 0, 0.75, &affected), 1);
    const RECT area{5, 3, 20, 12};
    EXPECT_EQ(Tie(affected), Tie(area));
    Bytes expected = before;
    LyPixelUtils::MixColor(At(srcBytes, src->Pitch(), srcPlaced, area), src->Pitch(),
                           At(expected, dst->Pitch(), dstPlaced, area), dst->Pitch(), Width(area), Height(area));
    ExpectWritten(*dst, before, expected, dstPlaced, area);
}

namespace {

// Every pixel of row y of a surface gets byte 0 = 100 + y (so a copied row
// says where it came from) and byte 1 = its column.
void LabelRows(RecordingSurface& s) {
    SLySurfaceDescription d{};
    s.Memory().GetDescription(&d);
    for (int y = 0; y < d.height; ++y)
        for (int x = 0; x < d.width; ++x) {
            const unsigned char label[4] = {static_cast<unsigned char>(100 + y), static_cast<unsigned char>(x), 0, 0};
            std::memcpy(s.Bits() + static_cast<ptrdiff_t>(s.Pitch()) * y + 4 * x, label, 4);
        }
}

// Byte 0 of each row's pixel `x`: the source row label copied there, or
// the 0xEE the row was filled with.
std::vector<int> RowLabels(RecordingSurface& s, int x) {
    std::vector<int> out;
    for (int y = 0; y < s.Memory().Height(); ++y)
        out.push_back(s.Bits()[static_cast<ptrdiff_t>(s.Pitch()) * y + 4 * x]);
    return out;
}

constexpr int kUntouched = 0xEE;

RecordingSurface* Blank(const std::string& name, const RECT& r) {
    RecordingSurface* s(MakeSurface(name, r, 4));
    std::memset(s->Bits(), kUntouched, s->Memory().ByteSize());
    return s;
}

int Row(int y) { return 100 + y; }

}  // namespace

TEST(SurfaceMixPlay, CopiesMoveRowsBetweenFramesAndFields) {
    struct Field {
        ELyScanMode scan;
        ELyPolarity polarity;
    };
    struct Case {
        const char* name;
        std::optional<Field> sourceField, destinationField;
        RECT source, destination;  // in their own rows: frame rows for frames, field rows for fields
        std::vector<int> rows;
        RECT affected{};  // rows checked when the destination alone is a field
    };
    const int U = kUntouched;
    const Field upper1{ScanMode_UpperFirst, Polarity_First}, upper2{ScanMode_UpperFirst, Polarity_Second};
    const Case cases[] = {
        // Frame to field: field row f takes frame row 2f (even-row field) or 2f + 1 (odd-row).
        {"to even rows", {}, upper1, {0, 0, 6, 8}, {0, 0, 6, 5}, {Row(0), Row(2), Row(4), Row(6), U}, {0, 0, 6, 4}},
        {"to odd rows", {}, upper2, {0, 0, 6, 8}, {0, 0, 6, 5}, {Row(1), Row(3), Row(5), Row(7), U}, {0, 0, 6, 4}},
        {"lower first, second field is even", {}, Field{ScanMode_LowerFirst, Polarity_Second}, {0, 0, 6, 8},
         {0, 0, 6, 5}, {Row(0), Row(2), Row(4), Row(6), U}, {0, 0, 6, 4}},
        // Frame rows 3..8: the even ones are 4, 6, 8, field rows 2..4.
        {"source at an odd row, even field", {}, upper1, {0, 3, 6, 9}, {0, 0, 6, 5}, {U, U, Row(1), Row(3), Row(5)},
         {0, 2, 6, 5}},
        {"source at an odd row, odd field", {}, upper2, {0, 3, 6, 9}, {0, 0, 6, 5}, {U, Row(0), Row(2), Row(4), U},
         {0, 1, 6, 4}},
        // Frame rows -7..-4 hold odd rows -7 and -5 (field rows -4, -3). The
        // conversion's bottom, truncated toward zero, would add field row -2
        // (frame row -3, past the source): that row is left alone.
        {"negative rows, odd field", {}, upper2, {0, -7, 6, -3}, {0, -4, 6, -1}, {Row(0), Row(2), U}, {0, -4, 6, -2}},
        {"negative rows, even field", {}, upper1, {0, -7, 6, -3}, {0, -4, 6, -1}, {U, Row(1), Row(3)}, {0, -3, 6, -1}},
        // A field that says progressive: rows are not halved on the way in but
        // doubled on the way back, so field row -4 would read frame row -8,
        // above the source; only the rows that land inside it are taken.
        {"field of a progressive scan", {}, Field{ScanMode_Progressive, Polarity_First}, {0, -6, 6, 2}, {0, -4, 6, 0},
         {U, Row(0), Row(2), Row(4)}, {0, -3, 6, 0}},
        // Field to frame: spread over every other row.
        {"from even rows", upper1, {}, {0, 1, 6, 4}, {0, 0, 6, 8}, {U, U, Row(0), U, Row(1), U, Row(2), U}},
        {"from odd rows", upper2, {}, {0, 1, 6, 4}, {0, 0, 6, 8}, {U, U, U, Row(0), U, Row(1), U, Row(2)}},
        // Destination frame rows 3..8 hold the even rows 4, 6, 8.
        {"destination at an odd row", Field{ScanMode_LowerFirst, Polarity_Second}, {}, {0, 0, 6, 6}, {0, 3, 6, 9},
         {U, Row(2), U, Row(3), U, Row(4)}},
        {"negative rows, from odd field", upper2, {}, {0, -6, 6, 0}, {0, -7, 6, -3}, {Row(2), U, Row(3), U}},
        // Kept as composed: the first field onto a second-field surface goes
        // the field-to-frame way, onto its every other row.
        {"field onto the other field", upper1, upper2, {0, 0, 6, 4}, {0, 0, 6, 4}, {Row(0), U, Row(1), U}},
        // Frame values 2 and 3 count as the same structure.
        {"frame onto alternate frame", {}, Field{ScanMode_Progressive, Polarity_FrameAlternate}, {0, 0, 6, 4},
         {0, 0, 6, 4}, {Row(0), Row(1), Row(2), Row(3)}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Surface src(MakeSurface("src", c.source, 8));
        LabelRows(*src);
        Surface dst(Blank("dst", c.destination));
        if (c.sourceField) MakeField(*src, c.sourceField->scan, c.sourceField->polarity);
        if (c.destinationField) MakeField(*dst, c.destinationField->scan, c.destinationField->polarity);
        CRect affected;
        ASSERT_EQ(MixPlaySurface(src.get(), nullptr, dst.get(), nullptr, 1, 1.0, &affected), 1);
        EXPECT_EQ(RowLabels(*dst, 2), c.rows);
        EXPECT_EQ(RowLabels(*dst, 5), c.rows);
        if (c.sourceField || !c.destinationField || c.destinationField->polarity == Polarity_FrameAlternate) continue;
        EXPECT_EQ(affected.top, c.affected.top);
        EXPECT_EQ(affected.bottom, c.affected.bottom);
        // Rows agree with the library's own field conversions.
        const auto [scan, polarity] = *c.destinationField;
        const CRect field = LyVideoUtils::FrameRectToFieldRect(CRect(c.source), scan, polarity);
        const CRect back = LyVideoUtils::FieldRectToFrameRect(affected, scan, polarity);
        EXPECT_GE(affected.top, field.top);
        EXPECT_EQ(RowLabels(*dst, 0)[affected.top - c.destination.top], Row(back.top - c.source.top));
    }
}

TEST(SurfaceMixPlay, FieldPathsMixWithTheRowStepDoubledOnTheFrameSide) {
    // Frame 11 x 40 at (2, 1) onto an even-row field 9 x 20 at (0, 0):
    // frame rows 2, 4, ... 38 (local 1, 3, ... 37) onto field rows 1 .. 19.
    Surface frame(MakeSurface("frame", {2, 1, 13, 41}, 4));
    Surface field(MakeSurface("field", {0, 0, 9, 20}, 8));
    MakeField(*field, ScanMode_UpperFirst, Polarity_First);
    Bytes frameBytes = MemoryOf(frame.get());
    Bytes expected = MemoryOf(field.get());
    LyPixelUtils::MixColor(frameBytes.data() + frame->Pitch(), 2 * frame->Pitch(),
                           expected.data() + field->Pitch() + 2 * 4, field->Pitch(), 7, 19);
    ASSERT_EQ(MixKtvSurface(frame.get(), field.get(), 1.0), 1);
    EXPECT_TRUE(lytest::SameBytes(expected, MemoryOf(field.get())));

    // And back: field rows 1 .. 19, columns 2 .. 8, onto frame rows 2, 4,
    // ... 38, which in the frame at (2, 1) are local rows 1, 3, ... 37.
    frameBytes = MemoryOf(frame.get());
    Bytes fieldBytes = MemoryOf(field.get());
    LyPixelUtils::MixColor(fieldBytes.data() + field->Pitch() + 2 * 4, field->Pitch(),
                           frameBytes.data() + frame->Pitch(), 2 * frame->Pitch(), 7, 19);
    ASSERT_EQ(MixKtvSurface(field.get(), frame.get(), 1.0), 1);
    EXPECT_TRUE(lytest::SameBytes(frameBytes, MemoryOf(frame.get())));
}

TEST(SurfaceMixPlay, FrameToFieldLockFailureLeavesNothingLocked) {
    Surface src(MakeSurface("src", {0, 0, 8, 8}));
    Surface dst(MakeSurface("dst", {0, 0, 8, 4}));
    MakeField(*dst, ScanMode_UpperFirst, Polarity_Second);
    const Bytes before = MemoryOf(dst.get());
    CRect affected(7, 7, 7, 7);

    dst->SetLockBits(nullptr);
    ClearCallLog();
    EXPECT_EQ(MixPlaySurface(src.get(), nullptr, dst.get(), nullptr, 0, 1.0, &affected), 0);
    EXPECT_EQ(CallLogText(), "dst.GetDescription src.GetDescription dst.Lock dst.Unlock");

    dst->SetLockBits(std::nullopt);
    src->SetLockBits(nullptr);
    ClearCallLog();
    EXPECT_EQ(MixPlaySurface(src.get(), nullptr, dst.get(), nullptr, 1, 1.0, &affected), 0);
    EXPECT_EQ(CallLogText(), "dst.GetDescription src.GetDescription dst.Lock src.Lock src.Unlock dst.Unlock");
    EXPECT_EQ(src->LockDepth(), 0);
    EXPECT_EQ(dst->LockDepth(), 0);
    EXPECT_EQ(affected.left, 7);
    EXPECT_TRUE(lytest::SameBytes(before, MemoryOf(dst.get())));

    // The field-to-frame path does not check its locks.
    Surface frame(MakeSurface("frame", {0, 0, 8, 8}));
    frame->SetLockBits(nullptr);
    EXPECT_EQ(MixPlaySurface(dst.get(), nullptr, frame.get(), nullptr, 0, 1.0, nullptr), 1);
}

// ------------------------------------------------------------ list mix

TEST(SurfaceMixArray, EmptyListClearsTheTargetAndStoresTheStartBounds) {
    struct Case {
        ELyPixelFormat format;
        ELyColorimetry colorimetry;
        std::vector<unsigned char> firstBytes;  // of each cleared row
    };
    const Case cases[] = {
        {PixelFormat_BGRA4444, Colorimetry_BT601, {0, 0, 0, 0, 0, 0, 0, 0}},
        {PixelFormat_VUYA4444, Colorimetry_BT709, {0x80, 0x80, 0x10, 0, 0x80, 0x80, 0x10, 0}},
        {PixelFormat_VUYA4444, static_cast<ELyColorimetry>(2), {0, 0, 0, 0, 0, 0, 0, 0}},
        {PixelFormat_UYVY422, Colorimetry_BT601, {0x80, 0x10, 0x80, 0x10, 0x80, 0x10, 0x80, 0x10}},
        {PixelFormat_YUYVA422, Colorimetry_BT709, {0x10, 0x80, 0x10, 0x80, 0x10, 0x80, 0x10, 0x80}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.format) + "/" + std::to_string(c.colorimetry));
        Surface target(MakeSurface("target", {4, 4, 20, 9}, 4, c.format));
        target->Memory().SetColorimetry(c.colorimetry);
        std::vector<ILyVideoSurface*> none;
        CRect bounds(1, 2, 3, 4);
        EXPECT_EQ(MixSurfaceArray(none, target.get(), bounds), 1);
        const int32_t high = std::numeric_limits<int32_t>::max(), low = std::numeric_limits<int32_t>::min();
        EXPECT_EQ(Tie(bounds), std::tuple(high, high, low, low));
        for (int y = 0; y < 5; ++y) {
            const unsigned char* row = target->Bits() + static_cast<ptrdiff_t>(target->Pitch()) * y;
            EXPECT_EQ(Bytes(row, row + 8), c.firstBytes) << "row " << y;
        }
    }
    // A format the clear does not know is locked and unlocked but kept.
    Surface planar(MakeSurface("planar", {0, 0, 8, 4}));
    SLySurfaceDescription d{};
    planar->GetDescription(&d);
    d.pixelFormat = PixelFormat_YUV420Planar;
    planar->SetDescriptionOverride(d);
    const Bytes before = MemoryOf(planar.get());
    std::vector<ILyVideoSurface*> none;
    CRect bounds;
    ClearCallLog();
    EXPECT_EQ(MixSurfaceArray(none, planar.get(), bounds), 1);
    EXPECT_EQ(CallLogText(), "planar.GetDescription planar.Lock planar.Unlock");
    EXPECT_TRUE(lytest::SameBytes(before, MemoryOf(planar.get())));
}

TEST(SurfaceMixArray, SourcesAreMixedInOrderOntoTheClearedTargetAndBoundsIsTheirUnion) {
    const RECT t{0, 0, 30, 20}, a{-5, 3, 12, 25}, b{8, -2, 41, 10}, c{2, 2, 9, 9};
    Surface target(MakeSurface("target", t, 8));
    Surface sa(MakeSurface("a", a, 4)), sb(MakeSurface("b", b)), sc(MakeSurface("c", c, 12));
    Surface planar(MakeSurface("planar", {-50, 0, -40, 5}, 0, PixelFormat_UYVY422));  // refused, still bounded
    std::vector<ILyVideoSurface*> list = {sa.get(), nullptr, sb.get(), planar.get(), sc.get()};
    Bytes bytesA = MemoryOf(sa.get()), bytesB = MemoryOf(sb.get()), bytesC = MemoryOf(sc.get());
    Bytes expected = MemoryOf(target.get());
    for (int y = 0; y < Height(t); ++y)
        std::memset(expected.data() + static_cast<ptrdiff_t>(target->Pitch()) * y, 0, 4 * Width(t));
    for (auto [bytes, placed, pitch] : {std::tuple{&bytesA, a, sa->Pitch()}, {&bytesB, b, sb->Pitch()},
                                        {&bytesC, c, sc->Pitch()}}) {
        const RECT area = Intersection(t, placed);
        LyPixelUtils::MixColor(At(*bytes, pitch, placed, area), pitch, At(expected, target->Pitch(), t, area),
                               target->Pitch(), Width(area), Height(area));
    }
    CRect bounds;
    EXPECT_EQ(MixSurfaceArray(list, target.get(), bounds), 1);
    EXPECT_TRUE(lytest::SameBytes(expected, MemoryOf(target.get())));
    EXPECT_EQ(Tie(bounds), std::tuple(-50, -2, 41, 25));
}

TEST(SurfaceMixArray, AListThatShrinksUnderTheWalkThrows) {
    const RECT r{0, 0, 8, 8};
    Surface target(MakeSurface("target", r)), a(MakeSurface("a", r)), b(MakeSurface("b", r));
    Surface s(MakeSurface("s", r));
    std::vector<ILyVideoSurface*> list;
    // Shrinks while the sources are mixed (bounds already stored), or while
    // the bounds are taken (nothing stored, nothing locked).
    for (const char* call : {"Unlock", "GetDescription"}) {
        SCOPED_TRACE(call);
        s->OnCall([&, call](const std::string& c) {
            if (c == call && !list.empty()) list.pop_back();
        });
        list = {a.get(), s.get(), b.get()};
        CRect bounds(1, 1, 1, 1);
        ClearCallLog();
        EXPECT_THROW(MixSurfaceArray(list, target.get(), bounds), std::out_of_range);
        EXPECT_TRUE(lytest::LocksBalanced()) << CallLogText();
        if (std::string(call) == "Unlock") {
            EXPECT_EQ(bounds.right, 8);
            EXPECT_EQ(lytest::CallsContaining("b.").size(), 1u);  // its description only
        } else {
            EXPECT_TRUE(lytest::NothingLocked());
            EXPECT_EQ(bounds.right, 1);
        }
    }
    s->OnCall(nullptr);
}

// ------------------------------------------------------------ un-premultiply

TEST(SurfaceMixUnshape, ColourIsDividedByAlphaWithSpillAndClearPixelsKept) {
    Surface s(MakeSurface("s", {0, 0, 5, 2}, 7));
    const std::vector<std::pair<Bytes, Bytes>> pixels = {
        {{64, 64, 64, 128}, {127, 127, 127, 128}},
        {{9, 8, 7, 0}, {9, 8, 7, 0}},             // clear: untouched
        {{200, 4, 0, 100}, {254, 11, 0, 100}},     // 510: bit 8 lands in G (10 | 1)
        {{0, 0, 200, 100}, {0, 0, 254, 101}},      // R spills into alpha
        {{255, 255, 255, 255}, {255, 255, 255, 255}},
    };
    s->Memory().SetShaped(1);
    Bytes expected = MemoryOf(s.get());
    for (int y = 0; y < 2; ++y)
        for (size_t x = 0; x < pixels.size(); ++x) {
            const ptrdiff_t at = static_cast<ptrdiff_t>(s->Pitch()) * y + 4 * x;
            std::memcpy(s->Bits() + at, pixels[x].first.data(), 4);
            std::memcpy(expected.data() + at, pixels[x].second.data(), 4);
        }
    EXPECT_EQ(UnshapedSurface(s.get()), 1);
    EXPECT_TRUE(lytest::SameBytes(expected, MemoryOf(s.get())));  // row padding included
    SLySurfaceDescription d{};
    s->GetDescription(&d);
    EXPECT_EQ(d.shaped, 0);
}

// ------------------------------------------------------------ several callers

TEST(SurfaceMixThreads, TwoHostThreadsMixingAtOnceGetTheirSoloResults) {
    lytest::ScopedPoolThreads pool(4);
    // Each run puts the image into a destination surface of its own at
    // `placed`, mixes a fixed source over it and takes the pixels back.
    auto runAt = [](const RECT& placed, const RECT& sourcePlaced) {
        Bytes source(static_cast<size_t>(Width(sourcePlaced)) * Height(sourcePlaced) * 4);
        lytest::FillRandomWithExtremes(source.data(), source.size());
        return [=](lytest::TestImage& image) {
            using LyMemoryHost::CLyMemorySurface;
            const auto desc = [](const RECT& r) {
                return lytest::MakeCreateDesc(Width(r), Height(r), PixelFormat_BGRA4444, 8, r.left, r.top);
            };
            CLyMemorySurface* src = CLyMemorySurface::Create(desc(sourcePlaced), 4 * Width(sourcePlaced));
            CLyMemorySurface* dst = CLyMemorySurface::Create(desc(placed), image.rowBytes());
            std::memcpy(src->Bits(), source.data(), source.size());
            const Bytes pixels = image.Pixels();
            std::memcpy(dst->Bits(), pixels.data(), pixels.size());
            MixSurface(src, dst);
            lytest::SetPixels(image, Bytes(dst->Bits(), dst->Bits() + pixels.size()));
            src->Release();
            dst->Release();
        };
    };
    lytest::TestImage a(61, 40, 4), b(33, 17, 4);
    a.FillRandomWithExtremes();
    b.FillRandomWithExtremes();
    lytest::ExpectConcurrentCallersMatchSolo(a, runAt({0, 0, 61, 40}, {-7, 5, 50, 52}), b,
                                             runAt({-10, -10, 23, 7}, {-20, -4, 13, 30}));
}
