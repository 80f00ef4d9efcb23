// Strip copies for crawls (horizontal) and rolls (vertical).
#include "LyCrawlSurfaceUtils.h"
#include "LyMemUtils.h"
#include "LyPixelUtils.h"
#include "surface/LySurfaceCommon.h"

namespace LyCrawlSurfaceUtils {

namespace {

bool FourBytePixels(const SLySurfaceDescription& d) { return ly::ColumnBytes(d.pixelFormat, d.bitDepth, 2) == 8; }

uint32_t LineBytes(const SLySurfaceDescription& d, int64_t width) {
    return LyVideoUtils::GetPixelLineBytes(d.pixelFormat, d.bitDepth, static_cast<int>(width));
}

// Moves `rows` rows of `width` pixels from s to t, mixing or copying. Does
// nothing when the rows would leave either picture: mixing needs 32-bit
// pixels on both sides, and a copy (sized by the source's format) must fit
// in the destination row from its start column `tColumn`.
void MoveStrip(const SLySurfaceDescription& sd, const unsigned char* s, const SLySurfaceDescription& td,
               unsigned char* t, int64_t tColumn, int width, int64_t rows, int mix) {
    if (mix) {
        if (!FourBytePixels(sd) || !FourBytePixels(td)) return;
        LyPixelUtils::MixColor(s, sd.pitch, t, td.pitch, width, static_cast<int>(rows));
        return;
    }
    const uint32_t rowBytes = LyVideoUtils::GetPixelBytes(sd.pixelFormat, sd.bitDepth, width, 2) / 2;
    if (uint64_t(ly::ColumnBytes(td.pixelFormat, td.bitDepth, static_cast<int>(tColumn))) + rowBytes >
        LineBytes(td, td.width))
        return;
    for (int64_t r = 0; r < rows; ++r, s += sd.pitch, t += td.pitch) LyMemCpy(t, s, rowBytes);
}

}  // namespace

void Crawl_CopyHorizontal(const SLySurfaceDescription& source, const SLyLockSurface& sourceLock,
                          const SLySurfaceDescription& destination, const SLyLockSurface& destinationLock,
                          int sourceOffset, int destinationOffset, int extent, int mix) {
    if (!sourceLock.bits || !destinationLock.bits) return;
    const RECT s = ly::FrameRect(source), d = ly::FrameRect(destination);
    RECT area{};
    if (!ly::IntersectFrameRects(RECT{0, s.top, extent, s.bottom}, RECT{0, d.top, extent, d.bottom}, area)) return;
    // The strip must lie inside both pictures' columns.
    if (sourceOffset < 0 || destinationOffset < 0 || int64_t{sourceOffset} + extent > source.width ||
        int64_t{destinationOffset} + extent > destination.width)
        return;
    const unsigned char* from = ly::SubPicture(sourceLock.bits, source.pitch, source.pixelFormat, source.bitDepth,
                                               sourceOffset, static_cast<int>(int64_t{area.top} - s.top));
    unsigned char* to = ly::SubPicture(destinationLock.bits, destination.pitch, destination.pixelFormat,
                                       destination.bitDepth, destinationOffset,
                                       static_cast<int>(int64_t{area.top} - d.top));
    MoveStrip(source, from, destination, to, destinationOffset, extent, ly::RectHeight(area), mix);
}

void Crawl_CopyVertical(const SLySurfaceDescription& source, const SLyLockSurface& sourceLock,
                        const SLySurfaceDescription& destination, const SLyLockSurface& destinationLock,
                        int sourceOffset, int destinationOffset, int extent, int mix) {
    if (!sourceLock.bits || !destinationLock.bits) return;
    const RECT s = ly::FrameRect(source), d = ly::FrameRect(destination);
    RECT area{};
    if (!ly::IntersectFrameRects(RECT{s.left, 0, s.right, extent}, RECT{d.left, 0, d.right, extent}, area)) return;
    // The strip must lie inside both pictures' rows.
    if (sourceOffset < 0 || destinationOffset < 0 || int64_t{sourceOffset} + extent > source.height ||
        int64_t{destinationOffset} + extent > destination.height)
        return;
    const int sourceColumn = static_cast<int>(int64_t{area.left} - s.left);
    const int destinationColumn = static_cast<int>(int64_t{area.left} - d.left);
    const unsigned char* from = ly::SubPicture(sourceLock.bits, source.pitch, source.pixelFormat, source.bitDepth,
                                               sourceColumn, sourceOffset);
    unsigned char* to = ly::SubPicture(destinationLock.bits, destination.pitch, destination.pixelFormat,
                                       destination.bitDepth, destinationColumn, destinationOffset);
    MoveStrip(source, from, destination, to, destinationColumn, static_cast<int>(ly::RectWidth(area)), extent, mix);
}

}  // namespace LyCrawlSurfaceUtils
