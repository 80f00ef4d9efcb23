// Copy, clear, clone and format conversion of host surfaces.
#include <cmath>

#include "LyFormatUtils.h"
#include "LyMemUtils.h"
#include "LyPixelUtils.h"
#include "LySurfaceUtils.h"
#include "surface/LySurfaceCommon.h"

namespace LySurfaceUtils {

namespace {

bool PlanarFormat(ELyPixelFormat f) {
    return f == PixelFormat_YUV411Planar || f == PixelFormat_YUV420Planar || f == PixelFormat_YUV422Planar;
}

// Bytes of row `rowBytes` wide copies between two pictures, row by row.
void CopyRows(const unsigned char* source, int sourcePitch, unsigned char* destination, int destinationPitch,
              uint32_t rowBytes, int64_t rows) {
    for (int64_t r = 0; r < rows; ++r) {
        LyMemCpy(destination, source, rowBytes);
        source += sourcePitch;
        destination += destinationPitch;
    }
}

// Bytes of a row of `d` from column `column` to its right edge.
uint32_t BytesRightOf(const SLySurfaceDescription& d, int column) {
    const uint32_t line = LyVideoUtils::GetPixelLineBytes(d.pixelFormat, d.bitDepth, d.width);
    const uint32_t offset = ly::ColumnBytes(d.pixelFormat, d.bitDepth, column);
    return offset < line ? line - offset : 0;
}

}  // namespace

RECT GetRect(const SLySurfaceDescription& description) { return ly::FrameRect(description); }

int CopySurface(ILyVideoSurface* source, ILyVideoSurface* destination) {
    if (!source || !destination) return 0;
    SLySurfaceDescription dd{}, sd{};
    destination->GetDescription(&dd);
    source->GetDescription(&sd);
    if (PlanarFormat(sd.pixelFormat)) return 0;
    RECT area{};
    if (!ly::IntersectFrameRects(GetRect(sd), GetRect(dd), area)) return 0;

    SLyLockSurface dl{}, sl{};
    destination->Lock(0, &dl);
    source->Lock(0, &sl);
    const RECT sa = ly::ShiftRect(area, sd.left, sd.top);
    const RECT da = ly::ShiftRect(area, dd.left, dd.top);
    const int width = static_cast<int>(ly::RectWidth(area));
    const int64_t rows = ly::RectHeight(area);
    // A byte copy sized by the source's format; where the two formats differ
    // it is cut to what both rows hold, so neither row is overrun.
    uint32_t rowBytes = LyVideoUtils::GetPixelLineBytes(sd.pixelFormat, sd.bitDepth, width);
    rowBytes = std::min({rowBytes, BytesRightOf(sd, sa.left), BytesRightOf(dd, da.left)});
    if (sl.bits && dl.bits && rowBytes > 0) {
        CopyRows(ly::SubPicture(sl.bits, sl.pitch, sd.pixelFormat, sd.bitDepth, sa.left, sa.top), sl.pitch,
                 ly::SubPicture(dl.bits, dl.pitch, dd.pixelFormat, dd.bitDepth, da.left, da.top), dl.pitch,
                 rowBytes, rows);
        // The alpha plane follows the destination's format; a source that is
        // not YUYVA has no plane below its picture to read from.
        if (dd.pixelFormat == PixelFormat_YUYVA422 && sd.pixelFormat == PixelFormat_YUYVA422) {
            unsigned char* sAlpha = sl.bits + static_cast<ptrdiff_t>(sl.pitch) * sl.height;
            unsigned char* dAlpha = dl.bits + static_cast<ptrdiff_t>(dl.pitch) * dl.height;
            CopyRows(ly::SubPicture(sAlpha, sl.pitch, sd.pixelFormat, sd.bitDepth, sa.left, sa.top), sl.pitch,
                     ly::SubPicture(dAlpha, dl.pitch, PixelFormat_YUYVA422, dd.bitDepth, da.left, da.top),
                     dl.pitch, rowBytes, rows);
        }
    }
    source->Unlock(0);
    destination->Unlock(0);
    return 1;
}

int ClearSurface(ILyVideoSurface* surface, ELyFixedColor color, unsigned char alpha) {
    if (!surface) return 0;
    SLySurfaceDescription d{};
    surface->GetDescription(&d);
    SLyLockSurface l{};
    surface->Lock(0, &l);
    LyPixelUtils::FillFixedColor(l.bits, l.pitch, l.width, l.height, d.pixelFormat, d.bitDepth, d.colorimetry, color,
                                 alpha);
    surface->Unlock(0);
    return 1;
}

int ClearSurface(ILyVideoSurface* surface, ELyFixedColor color, unsigned char alpha, RECT* area) {
    if (!surface) return 0;
    if (!area) return ClearSurface(surface, color, alpha);
    SLySurfaceDescription d{};
    surface->GetDescription(&d);
    RECT hit{};
    if (!ly::IntersectFrameRects(GetRect(d), *area, hit)) return 0;
    const RECT own = ly::ShiftRect(hit, d.left, d.top);
    SLyLockSurface l{};
    surface->Lock(0, &l);
    if (l.bits)
        LyPixelUtils::FillFixedColor(ly::SubPicture(l.bits, l.pitch, d.pixelFormat, d.bitDepth, own.left, own.top),
                                     l.pitch, static_cast<int>(ly::RectWidth(own)),
                                     static_cast<int>(ly::RectHeight(own)), d.pixelFormat, d.bitDepth,
                                     d.colorimetry, color, alpha);
    surface->Unlock(0);
    return 1;
}

int ClearSurface(ILyVideoSurface* surface, uint32_t color) {
    if (!surface) return 0;
    SLySurfaceDescription d{};
    surface->GetDescription(&d);
    SLyLockSurface l{};
    surface->Lock(0, &l);
    LyPixelUtils::FillBlockColor(l.bits, l.pitch, l.width, l.height, d.pixelFormat, d.bitDepth, d.colorimetry, color);
    surface->Unlock(0);
    return 1;
}

int CloneSurface(ILyVideoSurface* source, ILyVideoSurfacePool* pool, ILyVideoSurface** clone) {
    if (!source || !clone) return 0;
    SLySurfaceDescription d{};
    source->GetDescription(&d);
    if (pool) {
        const SLySurfaceCreateDesc cd{d.width,       d.height,      d.bitDepth, d.pixelFormat,
                                      d.polarity,    d.scanMode,    d.left,     d.top,
                                      d.colorimetry, d.aspectRatio, d.reserved};
        ILyVideoSurface* made = nullptr;
        pool->CreateSurface(0, &cd, &made);
        if (made && d.aspectRatio == AspectRatio_Custom) {
            const bool field = (d.scanMode == ScanMode_UpperFirst || d.scanMode == ScanMode_LowerFirst) &&
                               (d.polarity == Polarity_First || d.polarity == Polarity_Second);
            // Twice a huge height wraps as the host's 32-bit arithmetic would.
            const int h = field ? static_cast<int>(2u * static_cast<uint32_t>(d.height)) : d.height;
            made->SetAspectRatio(AspectRatio_Custom, d.width, h);
        }
        CopySurface(source, made);
        *clone = made;
        if (made) {
            made->AddRef();
            made->Release();
        }
    }
    return *clone != nullptr ? 1 : 0;
}

int ConvertSurfaceFormat(const SLySurfaceDescription& sd, const SLyLockSurface& sl, const SLySurfaceDescription& dd,
                         const SLyLockSurface& dl) {
    using namespace LyFormatUtils;
    if (sd.width != dd.width || sd.height != dd.height) return 0;
    const ELyPixelFormat s = sd.pixelFormat, t = dd.pixelFormat;
    const bool destinationOk =
        t == PixelFormat_BGRA4444 || t == PixelFormat_VUYA4444 || t == PixelFormat_UYVY422 || t == PixelFormat_YUYVA422;
    const bool sourceOk = s == PixelFormat_BGRA4444 || s == PixelFormat_VUYA4444 || s == PixelFormat_UYVY422;
    if (!destinationOk || !sourceOk) return 0;
    const bool converts = !(s == t || (s == PixelFormat_UYVY422 && t == PixelFormat_YUYVA422));
    if (!converts) return 1;
    if (!sl.bits || !dl.bits) return 0;
    const int w = sd.width, h = sd.height;
    unsigned char* alpha = dl.bits + static_cast<ptrdiff_t>(dl.pitch) * h;
    switch (s * 8 + t) {
    case PixelFormat_BGRA4444 * 8 + PixelFormat_VUYA4444:
        BGRA4444ToVUYA4444(sl.bits, sl.pitch, dl.bits, dl.pitch, dd.bitDepth, dd.colorimetry, w, h);
        break;
    case PixelFormat_BGRA4444 * 8 + PixelFormat_UYVY422:
        BGRA4444ToUYVY422(sl.bits, sl.pitch, dl.bits, dl.pitch, dd.bitDepth, dd.colorimetry, w, h);
        break;
    case PixelFormat_BGRA4444 * 8 + PixelFormat_YUYVA422:
        BGRA4444ToYUYVA422(sl.bits, sl.pitch, dl.bits, dl.pitch, alpha, dl.pitch, dd.bitDepth, dd.colorimetry, w, h);
        break;
    case PixelFormat_VUYA4444 * 8 + PixelFormat_BGRA4444:
        VUYA4444ToBGRA4444(sl.bits, sl.pitch, dl.bits, dl.pitch, sd.bitDepth, sd.colorimetry, w, h);
        break;
    case PixelFormat_VUYA4444 * 8 + PixelFormat_UYVY422:
        VUYA4444ToUYVY422(sl.bits, sl.pitch, dl.bits, dl.pitch, dd.bitDepth, w, h);
        break;
    case PixelFormat_VUYA4444 * 8 + PixelFormat_YUYVA422:
        VUYA4444ToYUYVA422(sl.bits, sl.pitch, dl.bits, dl.pitch, alpha, dl.pitch, dd.bitDepth, w, h);
        break;
    case PixelFormat_UYVY422 * 8 + PixelFormat_BGRA4444:
        UYVY422ToBGRA4444(sl.bits, sl.pitch, sd.bitDepth, sd.colorimetry, dl.bits, dl.pitch, w, h);
        break;
    case PixelFormat_UYVY422 * 8 + PixelFormat_VUYA4444:
        UYVY422ToVUYA4444(sl.bits, sl.pitch, sd.bitDepth, dl.bits, dl.pitch, w, h, 255);
        break;
    default:
        break;
    }
    return 1;
}

int HaveSamePixelAspectRatio(ILyVideoSurface* first, ILyVideoSurface* second) {
    if (!first || !second) return 0;
    SLySurfaceDescription a{}, b{};
    first->GetDescription(&a);
    second->GetDescription(&b);
    return std::fabs(first->GetPixelAspectRatio() - second->GetPixelAspectRatio()) <= 1e-8 ? 1 : 0;
}

}  // namespace LySurfaceUtils
