#ifndef LYAVUTILS_SURFACEUTILS_H
#define LYAVUTILS_SURFACEUTILS_H

#include "LyAVUtilsTypes.h"

// Operations on host video surfaces (copy, clear, clone, conversion,
// compositing in frame coordinates, fields and sample transfer).
namespace LySurfaceUtils {
}  // namespace LySurfaceUtils

#endif
