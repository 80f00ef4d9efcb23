#ifndef LYAVUTILS_CRAWLSURFACEUTILS_H
#define LYAVUTILS_CRAWLSURFACEUTILS_H

#include "LyAVUtilsTypes.h"

// Horizontal and vertical strip copies between host surfaces for crawls and rolls.
namespace LyCrawlSurfaceUtils {
}  // namespace LyCrawlSurfaceUtils

#endif
