// Compositing of host surfaces: the rectangle work in frame coordinates, the
// locks in their fixed order, and one call of a pixel routine on the
// overlapping sub-pictures. Everything that can refuse is decided before the
// first Lock, so a refusal never leaves a surface locked.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>

#include "LyPixelUtils.h"
#include "LySurfaceUtils.h"
#include "LyVideoUtils.h"
#include "surface/LySurfaceCommon.h"
#include "video/LyVideoMath.h"

namespace LySurfaceUtils {

namespace {

// Bytes of one pixel by the arithmetic that locates columns, or 0 for the
// formats whose lines are not a whole number of bytes a pixel (planar,
// unknown).
uint32_t PixelStep(const SLySurfaceDescription& d) {
    switch (d.pixelFormat) {
    case PixelFormat_BGRA4444:
    case PixelFormat_VUYA4444:
    case PixelFormat_UYVY422:
    case PixelFormat_YUYVA422:
        return ly::ColumnBytes(d.pixelFormat, d.bitDepth, 1);
    default:
        return 0;
    }
}

// The 32-bit pixel routines step four bytes a pixel; on a surface whose
// columns are closer together they would run past the end of its rows.
bool Has32BitPixels(const SLySurfaceDescription& d) { return PixelStep(d) == 4; }

SLySurfaceDescription DescriptionOf(ILyVideoSurface* surface) {
    SLySurfaceDescription d{};
    surface->GetDescription(&d);
    return d;
}

int RectWidth(const RECT& r) { return static_cast<int>(ly::RectWidth(r)); }
int RectHeight(const RECT& r) { return static_cast<int>(ly::RectHeight(r)); }

// Pixel (left, top) of an area given in frame coordinates, inside a locked
// surface. Null when the lock gave no memory: nothing may be addressed
// through it.
unsigned char* AreaStart(const SLyLockSurface& lock, const SLySurfaceDescription& d, int frameLeft, int frameTop) {
    if (lock.bits == nullptr) return nullptr;
    const RECT own = ly::ShiftRect(RECT{frameLeft, frameTop, frameLeft, frameTop}, d.left, d.top);
    return ly::SubPicture(lock.bits, lock.pitch, d.pixelFormat, d.bitDepth, own.left, own.top);
}

unsigned char* AreaStart(const SLyLockSurface& lock, const SLySurfaceDescription& d, const RECT& area) {
    return AreaStart(lock, d, area.left, area.top);
}

// The same for an 8-bit mask placed at `maskRect`.
unsigned char* MaskStart(const SLyLockSurface& lock, const RECT& maskRect, const RECT& area) {
    if (lock.bits == nullptr) return nullptr;
    const RECT own = ly::ShiftRect(area, maskRect.left, maskRect.top);
    return lock.bits + static_cast<ptrdiff_t>(lock.pitch) * own.top + own.left;
}

// A row step of twice the pitch: every other row of a frame is one field.
// Converted back modulo 2^32, as a step of more than 1 GiB is no picture.
int EveryOtherRow(int pitch) { return static_cast<int>(static_cast<int64_t>(pitch) * 2); }

using TwoImageRoutine = void (*)(const unsigned char*, int, unsigned char*, int, int, int);

// MixSurface and OverlaySurface.
int ApplyToOverlap(ILyVideoSurface* source, ILyVideoSurface* destination, TwoImageRoutine routine) {
    if (source == nullptr || destination == nullptr) return 0;
    const SLySurfaceDescription dd = DescriptionOf(destination);
    const SLySurfaceDescription sd = DescriptionOf(source);
    RECT area;
    if (!ly::IntersectFrameRects(ly::FrameRect(dd), ly::FrameRect(sd), area)) return 0;
    if (!Has32BitPixels(sd) || !Has32BitPixels(dd)) return 0;

    SLyLockSurface dl{}, sl{};
    destination->Lock(0, &dl);
    source->Lock(0, &sl);
    unsigned char* d = AreaStart(dl, dd, area);
    const unsigned char* s = AreaStart(sl, sd, area);
    if (d != nullptr && s != nullptr) routine(s, sl.pitch, d, dl.pitch, RectWidth(area), RectHeight(area));
    source->Unlock(0);
    destination->Unlock(0);
    return 1;
}

// ------------------------------------------------------------ the play mix

enum class PlayPath { SameStructure, FrameToField, FieldToFrame };

bool IsField(ELyPolarity p) { return p == Polarity_First || p == Polarity_Second; }
bool IsFrameValue(ELyPolarity p) { return p == Polarity_Frame || p == Polarity_FrameAlternate; }

PlayPath ChoosePath(ELyPolarity source, ELyPolarity destination) {
    if (source == destination || (IsFrameValue(source) && IsFrameValue(destination))) return PlayPath::SameStructure;
    if (!IsField(source) && IsField(destination)) return PlayPath::FrameToField;
    return PlayPath::FieldToFrame;
}

// ceil(v / 2) for either sign.
int64_t CeilHalf(int64_t v) { return v >= 0 ? (v + 1) / 2 : -((-v) / 2); }

// Where the rows of one play mix come from and go to, decided before locking.
struct PlayPlan {
    RECT affected;                        // the intersection, in the rows it was computed in
    int sourceLeft, sourceTop;            // frame coordinates of the first pixel read
    int destinationLeft, destinationTop;  // ... and of the first pixel written
    int width, height;
    bool sourceEveryOther = false;        // a frame source feeding a field
    bool destinationEveryOther = false;   // a field source feeding a frame
};

// The field-crossing paths. `field` is the intersection in field rows; field
// row field.top + k pairs with frame row FieldRectToFrameRect(field).top + 2k.
// Only the k whose frame row lies inside `frameSide` are kept: the field
// conversions round toward zero, so at negative frame rows (or for a field
// surface that says it is progressive) the converted rectangle can reach a
// row beyond the frame side's rectangle, and that row belongs to no picture.
bool PlanFieldCrossing(const RECT& field, const RECT& frameSide, ELyScanMode scan, ELyPolarity polarity,
                       bool fieldIsDestination, PlayPlan& plan) {
    const int64_t firstFrameRow = LyVideoUtils::FieldRectToFrameRect(CRect(field), scan, polarity).top;
    const int64_t rows = ly::RectHeight(field);
    const int64_t first = std::max<int64_t>(0, CeilHalf(int64_t{frameSide.top} - firstFrameRow));
    const int64_t last = std::min<int64_t>(rows, CeilHalf(int64_t{frameSide.bottom} - firstFrameRow));
    if (last - first < 1) return false;

    const int fieldRow = static_cast<int>(field.top + first);
    const int frameRow = static_cast<int>(firstFrameRow + 2 * first);
    plan.affected = RECT{field.left, fieldRow, field.right, static_cast<int>(field.top + last)};
    plan.width = RectWidth(field);
    plan.height = static_cast<int>(last - first);
    plan.sourceLeft = plan.destinationLeft = field.left;
    plan.sourceTop = fieldIsDestination ? frameRow : fieldRow;
    plan.destinationTop = fieldIsDestination ? fieldRow : frameRow;
    plan.sourceEveryOther = fieldIsDestination;
    plan.destinationEveryOther = !fieldIsDestination;
    return true;
}

bool LockUsable(const SLyLockSurface& lock) { return lock.bits != nullptr && lock.width >= 1 && lock.height >= 1; }

}  // namespace

// ============================================================ two surfaces

int MixSurface(ILyVideoSurface* source, ILyVideoSurface* destination) {
    return ApplyToOverlap(source, destination, static_cast<TwoImageRoutine>(&LyPixelUtils::MixColor));
}

int OverlaySurface(ILyVideoSurface* source, ILyVideoSurface* destination) {
    return ApplyToOverlap(source, destination, &LyPixelUtils::OverlayColor);
}

// ============================================================ play mix

int MixPlaySurface(ILyVideoSurface* source, CRect* sourceClip, ILyVideoSurface* destination, CRect* destinationClip,
                   int copyOnly, double reveal, CRect* affected) {
    if (source == nullptr || destination == nullptr) return 0;
    const SLySurfaceDescription dd = DescriptionOf(destination);
    const SLySurfaceDescription sd = DescriptionOf(source);
    const PlayPath path = ChoosePath(sd.polarity, dd.polarity);

    if (reveal <= 0) return 0;
    if (!(reveal < 1)) reveal = 1.0;  // NaN included
    RECT sourceRect = ly::FrameRect(sd);
    sourceRect.right =
        ly::ClampToInt32(int64_t{sd.left} + ly::video::RoundToInt(static_cast<double>(sd.width) * reveal));
    if (sourceClip != nullptr && !ly::IntersectFrameRects(sourceRect, *sourceClip, sourceRect)) return 0;
    RECT destinationRect = ly::FrameRect(dd);
    if (destinationClip != nullptr && !ly::IntersectFrameRects(destinationRect, *destinationClip, destinationRect))
        return 0;

    PlayPlan plan{};
    RECT area;
    switch (path) {
    case PlayPath::SameStructure:
        if (!ly::IntersectFrameRects(sourceRect, destinationRect, area)) return 0;
        plan.affected = area;
        plan.sourceLeft = plan.destinationLeft = area.left;
        plan.sourceTop = plan.destinationTop = area.top;
        plan.width = RectWidth(area);
        plan.height = RectHeight(area);
        break;
    case PlayPath::FrameToField: {
        const CRect sourceField = LyVideoUtils::FrameRectToFieldRect(CRect(sourceRect), dd.scanMode, dd.polarity);
        if (!ly::IntersectFrameRects(sourceField, destinationRect, area)) return 0;
        if (!PlanFieldCrossing(area, sourceRect, dd.scanMode, dd.polarity, true, plan)) return 0;
        break;
    }
    case PlayPath::FieldToFrame: {
        const CRect destinationField =
            LyVideoUtils::FrameRectToFieldRect(CRect(destinationRect), sd.scanMode, sd.polarity);
        if (!ly::IntersectFrameRects(sourceRect, destinationField, area)) return 0;
        if (!PlanFieldCrossing(area, destinationRect, sd.scanMode, sd.polarity, false, plan)) return 0;
        break;
    }
    }

    // A copy moves the source's bytes; where the destination's pixels are
    // narrower its rows are cut to the bytes the destination row still holds.
    size_t copyBytes = 0;
    if (copyOnly != 0) {
        if (PixelStep(sd) == 0 || PixelStep(dd) == 0) return 0;
        const uint32_t destinationColumn = ly::ColumnBytes(dd.pixelFormat, dd.bitDepth, plan.destinationLeft - dd.left);
        copyBytes = std::min<size_t>(ly::ColumnBytes(sd.pixelFormat, sd.bitDepth, plan.width),
                                     ly::ColumnBytes(dd.pixelFormat, dd.bitDepth, dd.width) - destinationColumn);
    } else if (!Has32BitPixels(sd) || !Has32BitPixels(dd)) {
        return 0;
    }

    const bool checkLocks = path == PlayPath::FrameToField;
    SLyLockSurface dl{}, sl{};
    destination->Lock(0, &dl);
    if (checkLocks && !LockUsable(dl)) {
        destination->Unlock(0);
        return 0;
    }
    source->Lock(0, &sl);
    if (checkLocks && !LockUsable(sl)) {
        source->Unlock(0);
        destination->Unlock(0);
        return 0;
    }

    const unsigned char* s = AreaStart(sl, sd, plan.sourceLeft, plan.sourceTop);
    unsigned char* d = AreaStart(dl, dd, plan.destinationLeft, plan.destinationTop);
    if (s != nullptr && d != nullptr) {
        const int sPitch = plan.sourceEveryOther ? EveryOtherRow(sl.pitch) : sl.pitch;
        const int dPitch = plan.destinationEveryOther ? EveryOtherRow(dl.pitch) : dl.pitch;
        if (copyOnly != 0) {
            for (int y = 0; y < plan.height; ++y)
                std::memmove(d + static_cast<ptrdiff_t>(dPitch) * y, s + static_cast<ptrdiff_t>(sPitch) * y, copyBytes);
        } else {
            LyPixelUtils::MixColor(s, sPitch, d, dPitch, plan.width, plan.height);
        }
    }
    source->Unlock(0);
    destination->Unlock(0);
    if (affected != nullptr) *affected = CRect(plan.affected);
    return 1;
}

int MixKtvSurface(ILyVideoSurface* source, ILyVideoSurface* destination, double reveal) {
    return MixPlaySurface(source, nullptr, destination, nullptr, 0, reveal, nullptr);
}

// ============================================================ a list onto one target

int MixSurfaceArray(std::vector<ILyVideoSurface*>& sources, ILyVideoSurface* target, CRect& bounds) {
    CRect all(std::numeric_limits<int32_t>::max(), std::numeric_limits<int32_t>::max(),
              std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::min());
    // The count is read once per walk and every element through at(): a list
    // that shrinks under the walk (from a host callback) throws
    // std::out_of_range instead of reading past its end.
    for (size_t i = 0, n = sources.size(); i < n; ++i) {
        ILyVideoSurface* s = sources.at(i);
        if (s == nullptr) continue;
        const RECT r = ly::FrameRect(DescriptionOf(s));
        all.left = std::min(all.left, r.left);
        all.top = std::min(all.top, r.top);
        all.right = std::max(all.right, r.right);
        all.bottom = std::max(all.bottom, r.bottom);
    }
    bounds = all;
    if (target == nullptr) return 1;

    const SLySurfaceDescription td = DescriptionOf(target);
    SLyLockSurface tl{};
    target->Lock(0, &tl);
    const bool studioYuv = td.colorimetry == Colorimetry_BT601 || td.colorimetry == Colorimetry_BT709;
    switch (td.pixelFormat) {
    case PixelFormat_BGRA4444:
        LyPixelUtils::FillBlockColor(tl.bits, tl.pitch, tl.width, tl.height, td.pixelFormat, td.bitDepth,
                                     td.colorimetry, 0);
        break;
    case PixelFormat_VUYA4444:
    case PixelFormat_UYVY422:
    case PixelFormat_YUYVA422:
        LyPixelUtils::FillBlockColor(tl.bits, tl.pitch, tl.width, tl.height, td.pixelFormat, td.bitDepth,
                                     td.colorimetry, studioYuv ? 0x108080u : 0u);
        break;
    default:
        break;
    }
    target->Unlock(0);

    for (size_t i = 0, n = sources.size(); i < n; ++i) MixSurface(sources.at(i), target);
    return 1;
}

// ============================================================ three surfaces

int MixDynaTex(ILyVideoSurface* first, ILyVideoSurface* second, int /*unused*/, ILyVideoSurface* third) {
    if (first == nullptr || second == nullptr || third == nullptr) return 0;
    const SLySurfaceDescription td = DescriptionOf(third);
    const SLySurfaceDescription fd = DescriptionOf(first);
    const SLySurfaceDescription sd = DescriptionOf(second);
    RECT area;
    if (!ly::IntersectFrameRects(ly::FrameRect(fd), ly::FrameRect(td), area)) return 0;
    if (!ly::IntersectFrameRects(area, ly::FrameRect(sd), area)) return 0;

    SLyLockSurface tl{}, fl{}, sl{};
    third->Lock(0, &tl);
    first->Lock(0, &fl);
    second->Lock(0, &sl);
    const unsigned char* t = AreaStart(tl, td, area);
    const unsigned char* f = AreaStart(fl, fd, area);
    const unsigned char* s = AreaStart(sl, sd, area);
    if (t != nullptr && f != nullptr && s != nullptr)
        LyPixelUtils::MixColor(s, sl.pitch, t, tl.pitch, f, fl.pitch, RectWidth(area), RectHeight(area));
    first->Unlock(0);
    third->Unlock(0);
    second->Unlock(0);
    return 1;
}

// ============================================================ through a mask

int MixSurfaceWithMaskAlpha(ILyVideoSurface* first, ILyMaskSurface* mask, ILyVideoSurface* second) {
    if (first == nullptr || mask == nullptr || second == nullptr) return 0;
    const SLySurfaceDescription sd = DescriptionOf(second);
    const SLySurfaceDescription fd = DescriptionOf(first);
    RECT maskRect{};
    mask->GetRect(&maskRect);
    RECT area;
    if (!ly::IntersectFrameRects(ly::FrameRect(fd), ly::FrameRect(sd), area)) return 0;
    if (!ly::IntersectFrameRects(area, maskRect, area)) return 0;
    if (!Has32BitPixels(fd) || !Has32BitPixels(sd)) return 0;

    SLyLockSurface sl{}, fl{}, ml{};
    second->Lock(0, &sl);
    first->Lock(0, &fl);
    mask->Lock(&ml);
    const unsigned char* f = AreaStart(fl, fd, area);
    const unsigned char* m = MaskStart(ml, maskRect, area);
    unsigned char* s = AreaStart(sl, sd, area);
    if (f != nullptr && m != nullptr && s != nullptr)
        LyPixelUtils::MixColorWithMaskAlpha(f, fl.pitch, m, ml.pitch, s, sl.pitch, RectWidth(area),
                                            RectHeight(area));
    first->Unlock(0);
    second->Unlock(0);
    mask->Unlock();
    return 1;
}

int SubtractSurfaceWithMaskAlpha(ILyVideoSurface* surface, ILyMaskSurface* mask) {
    if (surface == nullptr || mask == nullptr) return 0;
    const SLySurfaceDescription d = DescriptionOf(surface);
    RECT maskRect{};
    mask->GetRect(&maskRect);
    RECT area;
    if (!ly::IntersectFrameRects(ly::FrameRect(d), maskRect, area)) return 0;
    if (!Has32BitPixels(d)) return 0;

    SLyLockSurface l{}, ml{};
    surface->Lock(0, &l);
    mask->Lock(&ml);
    unsigned char* p = AreaStart(l, d, area);
    const unsigned char* m = MaskStart(ml, maskRect, area);
    if (p != nullptr && m != nullptr)
        LyPixelUtils::SubtractImageWithMaskAlpha(p, l.pitch, m, ml.pitch, RectWidth(area), RectHeight(area));
    surface->Unlock(0);
    mask->Unlock();
    return 0;
}

// ============================================================ one surface

int FadeSurface(ILyVideoSurface* surface, float factor, RECT* area) {
    if (surface == nullptr) return 0;
    const SLySurfaceDescription d = DescriptionOf(surface);
    RECT r = ly::FrameRect(d);
    if (area != nullptr ? !ly::IntersectFrameRects(r, *area, r) : !ly::HasArea(r)) return 0;
    if (!Has32BitPixels(d)) return 0;

    SLyLockSurface l{};
    surface->Lock(0, &l);
    unsigned char* p = AreaStart(l, d, r);
    if (p != nullptr) LyPixelUtils::FadeImage(p, l.pitch, RectWidth(r), RectHeight(r), factor);
    surface->Unlock(0);
    return 1;
}

int DeflickerSurface(ILyVideoSurface* first, ILyVideoSurface* second, ELyDeflickerQuality quality) {
    if (first == nullptr || second == nullptr) return 0;
    const SLySurfaceDescription fd = DescriptionOf(first);
    const SLySurfaceDescription sd = DescriptionOf(second);
    // One surface as both sides would have the filter read rows that other
    // bands are writing; a smaller or non-32-bit second surface would be
    // written past its end.
    if (first == second) return 0;
    if (!Has32BitPixels(fd) || !Has32BitPixels(sd)) return 0;
    if (sd.width < fd.width || sd.height < fd.height) return 0;

    SLyLockSurface fl{}, sl{};
    first->Lock(0, &fl);
    second->Lock(0, &sl);
    const int result = LyPixelUtils::DefickerImage(fl.bits, fl.pitch, sl.bits, sl.pitch, fl.width, fl.height, quality);
    first->Unlock(0);
    second->Unlock(0);
    return result;
}

int UnshapedSurface(ILyVideoSurface* surface) {
    if (surface == nullptr) return 0;
    SLyLockSurface l{};
    surface->Lock(0, &l);
    if (l.bits != nullptr) {
        for (int y = 0; y < l.height; ++y) ly::UnpremultiplyRow(l.bits + static_cast<ptrdiff_t>(l.pitch) * y, l.width);
    }
    surface->Unlock(0);
    surface->SetShaped(0);
    return 1;
}

}  // namespace LySurfaceUtils
