#ifndef LYAVUTILS_H
#define LYAVUTILS_H

// Umbrella header: every public header of LyAVUtils.
#include "LyAVUtilsExport.h"
#include "LyAVUtilsVersion.h"
#include "LyAVUtilsTypes.h"
#include "LyThreadPool.h"
#include "LyMemUtils.h"
#include "LyFormatUtils.h"
#include "LyPixelUtils.h"
#include "LySurfaceUtils.h"
#include "LyCrawlSurfaceUtils.h"
#include "LyVideoUtils.h"
#include "LyAudioUtils.h"

#endif
