#ifndef LYAVUTILS_CRAWLSURFACEUTILS_H
#define LYAVUTILS_CRAWLSURFACEUTILS_H

#include "LyAVUtilsTypes.h"

// Horizontal and vertical strip copies between host surfaces for crawls and rolls.
// The caller holds both locks; row strides come from the descriptions' pitch.
namespace LyCrawlSurfaceUtils {

LYAVUTILS_API void Crawl_CopyHorizontal(const SLySurfaceDescription& source, const SLyLockSurface& sourceLock,
                                        const SLySurfaceDescription& destination,
                                        const SLyLockSurface& destinationLock, int sourceOffset,
                                        int destinationOffset, int extent, int mix);

LYAVUTILS_API void Crawl_CopyVertical(const SLySurfaceDescription& source, const SLyLockSurface& sourceLock,
                                      const SLySurfaceDescription& destination, const SLyLockSurface& destinationLock,
                                      int sourceOffset, int destinationOffset, int extent, int mix);

}  // namespace LyCrawlSurfaceUtils

#endif
