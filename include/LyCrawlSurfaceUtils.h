#ifndef LYAVUTILS_CRAWLSURFACEUTILS_H
#define LYAVUTILS_CRAWLSURFACEUTILS_H

#include "LyAVUtilsTypes.h"

// Horizontal and vertical strip copies between host surfaces for crawls and rolls.
// The caller holds both locks; row strides come from the descriptions' pitch.
namespace LyCrawlSurfaceUtils {

// Moves a vertical strip `extent` columns wide from source column
// `sourceOffset` to destination column `destinationOffset`, over the frame
// rows both surfaces cover. mix nonzero: MixColor (source over destination,
// 32-bit pixels); zero: a byte copy of GetPixelBytes(source format, depth,
// extent, 2) / 2 bytes a row, alpha included. Rows step by each
// description's `pitch`; memory comes from each lock's `bits`. Calls no
// interface.
// Does nothing when: extent is below 1, the surfaces share no row, a lock's
// bits are null, the strip leaves either picture (an offset below 0 or
// offset + extent beyond the width; a wrapping strip takes two calls), mixing
// a format whose pixels are not 4-byte words, or a copy that would not fit
// in the destination row (formats of different sizes).
LYAVUTILS_API void Crawl_CopyHorizontal(const SLySurfaceDescription& source, const SLyLockSurface& sourceLock,
                                        const SLySurfaceDescription& destination,
                                        const SLyLockSurface& destinationLock, int sourceOffset,
                                        int destinationOffset, int extent, int mix);

// The same for a horizontal strip `extent` rows high: from source row
// `sourceOffset` to destination row `destinationOffset`, over the frame
// columns both surfaces cover; each side's column offset is the overlap's
// left edge in its own coordinates. Does nothing in the cases above, with
// rows and heights in place of columns and widths.
LYAVUTILS_API void Crawl_CopyVertical(const SLySurfaceDescription& source, const SLyLockSurface& sourceLock,
                                      const SLySurfaceDescription& destination, const SLyLockSurface& destinationLock,
                                      int sourceOffset, int destinationOffset, int extent, int mix);

}  // namespace LyCrawlSurfaceUtils

#endif
