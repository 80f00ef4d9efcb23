#ifndef LYAVUTILS_SURFACEUTILS_H
#define LYAVUTILS_SURFACEUTILS_H

#include <vector>

#include "LyAVUtilsTypes.h"

// Operations on host video surfaces (copy, clear, clone, conversion,
// compositing in frame coordinates, fields and sample transfer).
//
// Every surface has a rectangle in the frame: (left, top, left + width,
// top + height) from its description. Operations intersect these rectangles
// and shift the intersection into each surface's own coordinates. They call
// GetDescription, do the rectangle work, refuse (return 0) before any Lock
// when there is nothing to do, then lock, hand the sub-pictures to the pixel
// routines and unlock, all on the calling thread. Lock results are trusted
// unless a function says otherwise.
//
// Pool jobs of your own: a banded operation that uses the pool (16 rows or
// more, two or more workers) queues its bands on the calling thread's one
// pool queue (LyThreadPool.h) and waits for that whole queue. A thread with
// LyThreadPool::Run jobs still pending therefore waits inside the operation
// for them too (their exception comes out of the operation), and its own Wait
// then returns at once. Call LyThreadPool::Wait before an image operation, or
// submit your jobs from another thread.
namespace LySurfaceUtils {

// ============================================================ copy, clear, clone, convert

LYAVUTILS_API RECT GetRect(const SLySurfaceDescription& description);

LYAVUTILS_API int CopySurface(ILyVideoSurface* source, ILyVideoSurface* destination);

LYAVUTILS_API int ClearSurface(ILyVideoSurface* surface, ELyFixedColor color, unsigned char alpha);

LYAVUTILS_API int ClearSurface(ILyVideoSurface* surface, ELyFixedColor color, unsigned char alpha, RECT* area);

LYAVUTILS_API int ClearSurface(ILyVideoSurface* surface, uint32_t color);

LYAVUTILS_API int CloneSurface(ILyVideoSurface* source, ILyVideoSurfacePool* pool, ILyVideoSurface** clone);

LYAVUTILS_API int ConvertSurfaceFormat(const SLySurfaceDescription& sourceDescription, const SLyLockSurface& sourceLock,
                                       const SLySurfaceDescription& destinationDescription,
                                       const SLyLockSurface& destinationLock);

LYAVUTILS_API int HaveSamePixelAspectRatio(ILyVideoSurface* first, ILyVideoSurface* second);

// ============================================================ compositing

LYAVUTILS_API int MixSurface(ILyVideoSurface* source, ILyVideoSurface* destination);

LYAVUTILS_API int OverlaySurface(ILyVideoSurface* source, ILyVideoSurface* destination);

LYAVUTILS_API int MixPlaySurface(ILyVideoSurface* source, CRect* sourceClip, ILyVideoSurface* destination,
                                 CRect* destinationClip, int copyOnly, double reveal, CRect* affected);

LYAVUTILS_API int MixKtvSurface(ILyVideoSurface* source, ILyVideoSurface* destination, double reveal);

LYAVUTILS_API int MixSurfaceArray(std::vector<ILyVideoSurface*>& sources, ILyVideoSurface* target, CRect& bounds);

LYAVUTILS_API int MixDynaTex(ILyVideoSurface* first, ILyVideoSurface* second, int unused, ILyVideoSurface* third);

LYAVUTILS_API int MixSurfaceWithMaskAlpha(ILyVideoSurface* first, ILyMaskSurface* mask, ILyVideoSurface* second);

LYAVUTILS_API int SubtractSurfaceWithMaskAlpha(ILyVideoSurface* surface, ILyMaskSurface* mask);

LYAVUTILS_API int FadeSurface(ILyVideoSurface* surface, float factor, RECT* area);

LYAVUTILS_API int DeflickerSurface(ILyVideoSurface* first, ILyVideoSurface* second, ELyDeflickerQuality quality);

LYAVUTILS_API int UnshapedSurface(ILyVideoSurface* surface);

// ============================================================ fields, channels and sample transfer

LYAVUTILS_API int CopyAlphaChannelTo(ILyVideoSurface* surface, unsigned char* buffer, SIZE bufferSize,
                                     int bufferPitch);

LYAVUTILS_API int CopyFillClrChannelTo(ILyVideoSurface* surface, unsigned char* buffer, SIZE bufferSize,
                                       int bufferPitch);

LYAVUTILS_API int AVSampleToImageBuffer(ILyAVSample* sample, ELyScanMode scanMode, unsigned char* buffer,
                                        uint32_t& size);

LYAVUTILS_API int ImageBufferToVideoSurface(unsigned char* buffer, uint32_t bufferWidth, uint32_t bufferHeight,
                                            const CRect& source, const SLySurfaceCreateDesc& description,
                                            ILyVideoSurfacePool* pool, ILyVideoSurface** first,
                                            ILyVideoSurface** second);

LYAVUTILS_API int CopyTwoFieldToFrame(ILyVideoSurface* frame, ILyVideoSurface* firstField,
                                      ILyVideoSurface* secondField);

LYAVUTILS_API RECT GetTransformRect(const SLyVideoResolution& resolution, const SLySurfaceDescription& description,
                                    float depth, const SLyMatrix4x4& matrix, ELyPolarity polarity);

}  // namespace LySurfaceUtils

#endif
