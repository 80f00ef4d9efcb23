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
namespace LySurfaceUtils {

// ============================================================ copy, clear, clone, convert

// (left, top, left + width, top + height) of the description. Edges that
// would pass the int range are clamped to it instead of wrapping.
LYAVUTILS_API RECT GetRect(const SLySurfaceDescription& description);

// Copies the part of `source` that overlaps `destination` in the frame, as
// bytes: each row is GetPixelLineBytes(source format, depth, overlap width)
// long, columns located in each surface with its own format and depth.
// Order: destination GetDescription, source GetDescription; destination Lock,
// source Lock; source Unlock, destination Unlock. Returns 1.
// Refused (0, nothing locked): a null surface, a planar source format (4, 5,
// 6), an overlap less than one pixel wide or high.
// The formats are not compared: pass surfaces of one format. Where they
// differ, each row is cut to the bytes both rows hold right of their start
// columns, so neither picture is overrun.
// When the destination is PixelFormat_YUYVA422 the alpha planes (`height`
// lock rows below `bits`, same pitch) are copied the same way; a source of
// another format has no such plane, so then only the picture is copied.
// A lock that gives null bits copies nothing (still unlocked, result 1).
LYAVUTILS_API int CopySurface(ILyVideoSurface* source, ILyVideoSurface* destination);

// Fills the whole locked picture with FillFixedColor (lock bits, pitch, width,
// height; description format, depth, colorimetry). GetDescription, Lock,
// Unlock. Returns 1, whatever the fill did (a format the fill does not know
// is left as it is); 0 for a null surface (nothing called).
LYAVUTILS_API int ClearSurface(ILyVideoSurface* surface, ELyFixedColor color, unsigned char alpha);

// Fills the part of the surface inside `area` (frame coordinates) with
// FillFixedColor. A null area is the whole-surface form. Refused (0, nothing
// locked): a null surface, an area that covers less than one pixel of it.
// Warning, PixelFormat_YUYVA422: the fill writes its alpha samples `height`
// rows below the start of the sub-picture it is given, with `height` the
// area's height. For an area smaller than the surface that is not the
// surface's alpha plane (which begins `height` rows of the surface below
// `bits`) but rows of the picture below the area, and the real alpha plane
// is not touched. This is kept as callers know it; clear YUYVA surfaces whole
// (or with an area covering them) to set alpha. It stays inside the surface's
// memory. A lock that gives null bits writes nothing.
LYAVUTILS_API int ClearSurface(ILyVideoSurface* surface, ELyFixedColor color, unsigned char alpha, RECT* area);

// Fills the whole locked picture with FillBlockColor and the packed word
// `color` (BGRA word for format 1, VUYA word for the YUV formats).
// GetDescription, Lock, Unlock; 1, or 0 for a null surface.
LYAVUTILS_API int ClearSurface(ILyVideoSurface* surface, uint32_t color);

// Makes a surface like `source` through `pool` (creation record = the first
// eleven fields of its description), copies the picture into it with
// CopySurface and stores it in *clone holding one reference for the caller.
// Order: source GetDescription, pool CreateSurface (result not checked),
// SetAspectRatio when custom, then CopySurface's calls, then AddRef and
// Release of the new surface (its reference passes to the caller).
// Kept as callers know it:
//  * A custom aspect (3) is set on the clone as SetAspectRatio(3, width, h)
//    with h = twice the height for a field surface (scan mode and polarity
//    both 0 or 1) and the height otherwise: the frame's own shape, not the
//    source's customAspectX:customAspectY.
//  * With a null pool nothing is made and *clone is not written; the result
//    is 1 when *clone already held a surface, 0 when it held null.
// The result is 1 exactly when *clone is non-null afterwards. Refused (0,
// nothing called): a null source or a null `clone`.
LYAVUTILS_API int CloneSurface(ILyVideoSurface* source, ILyVideoSurfacePool* pool, ILyVideoSurface** clone);

// Converts a locked picture into another locked picture of the same size with
// the packed converters (descriptions' width and height; each lock's bits
// and pitch). Destination YUYVA gets its alpha plane at destination bits +
// pitch * height. Colorimetry and bit depth come from the YUV side:
//   1->2, 1->3, 1->7: destination depth and colorimetry; 2->1, 3->1: source
//   depth and colorimetry; 2->3, 2->7: destination depth; 3->2: source
//   depth, alpha 255.
// 1->1, 2->2, 3->3 and 3->7 return 1 without touching anything.
// Refused (0): different widths or heights, a destination format other than
// 1, 2, 3, 7 or a source format other than 1, 2, 3; and, for a pair that
// converts, a null bits pointer on either side. Otherwise returns 1 whatever
// the converter did (a converter refuses e.g. an unknown colorimetry or depth
// and then writes nothing).
LYAVUTILS_API int ConvertSurfaceFormat(const SLySurfaceDescription& sourceDescription, const SLyLockSurface& sourceLock,
                                       const SLySurfaceDescription& destinationDescription,
                                       const SLyLockSurface& destinationLock);

// 1 when |first->GetPixelAspectRatio() - second->GetPixelAspectRatio()| is at
// most 1e-8, else 0. Both descriptions are read first (and not used).
// A null surface is refused (0, nothing called).
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

// Channel export into a caller's 32-bit buffer placed at the frame origin:
// the surface's frame rectangle is intersected with (0, 0, cx, cy) and every
// pixel of that overlap is written at its frame position (buffer + pitch *
// y + column offset of x, the column offset sized by the surface's format).
// CopyAlphaChannelTo writes 0xFF000000 | A << 16 | A << 8 | A (opaque grey of
// the pixel's alpha); CopyFillClrChannelTo writes the pixel word with its top
// byte forced to 0xFF. Order: GetDescription, Lock, Unlock. Returns 1.
// Refused (0, nothing locked): a null surface or buffer, an overlap less than
// one pixel wide or high, a format whose pixels are not 4-byte words at its
// depth (UYVY/YUYVA at depth 8, planar formats), since the export walks
// 4-byte pixels and would read past such rows.
// These check the lock: a Lock returning 0 gives 0 (no Unlock: nothing was
// locked); a Lock that succeeds with null bits is unlocked and gives 0.
LYAVUTILS_API int CopyAlphaChannelTo(ILyVideoSurface* surface, unsigned char* buffer, SIZE bufferSize,
                                     int bufferPitch);

// The fill-colour export described above CopyAlphaChannelTo.
LYAVUTILS_API int CopyFillClrChannelTo(ILyVideoSurface* surface, unsigned char* buffer, SIZE bufferSize,
                                       int bufferPitch);

// Flattens a sample (one frame surface, or two field surfaces) into one
// packed 32-bit frame buffer (pitch = width * 4). Call once with a null
// buffer to learn `size`; that call prepares, locks and unlocks exactly like
// the copying one.
// Each surface used is first prepared: GetSyncObject, and when an object
// comes back its Wait(1000) and Release; GetDescription; when `shaped`, Lock,
// every row un-premultiplied (c * 255 / A truncating, A = 0 untouched, a
// colour above its alpha carries into the next byte), Unlock, SetShaped(0).
// Order: GetSurfaces; prepare first, Lock first; prepare second, Lock second
// (two surfaces); copy; Unlock first, Unlock second; Release every surface the
// sample gave, front to back, on every path.
//  * Scan mode 0 or 1 needs two surfaces: size = first width * (first height
//    + second height) * 4; output row r takes the next row of the field
//    holding the frame's even rows when r is even (the first for scan mode 0,
//    the second for 1) and of the other field when r is odd.
//  * Any other scan mode: size = first width * first height * 4 and the
//    first surface's rows; a second surface is ignored (still prepared and
//    locked).
// Refused (0, `size` unchanged): a null sample, GetSurfaces failing, no
// surface, a null surface in the list, a surface whose pixels are not 4-byte
// words (its preparation stops there and it is not locked), a lock with null
// bits or a negative size, a size above 32 bits, and, interlaced, fewer than
// two surfaces or a second field wider than the first (its rows would pass
// the buffer). A field that runs out of rows (the other one has more)
// leaves its remaining output rows as they were.
LYAVUTILS_API int AVSampleToImageBuffer(ILyAVSample* sample, ELyScanMode scanMode, unsigned char* buffer,
                                        uint32_t& size);

// Cuts a packed 32-bit buffer (bufferWidth * 4 bytes a row) into surfaces
// made by `pool` from a copy of `description`:
//  * Scan mode 2: one surface of the record's height; its rows are buffer
//    rows source.top, source.top + 1, ...
//  * Scan mode 0 or 1: height = bufferHeight / 2; the first surface gets
//    polarity 0, the second polarity 1. With scan mode 0 the first takes
//    buffer rows top, top + 2, ... and the second top + 1, top + 3, ...; with
//    scan mode 1 the first takes top + 1, top + 3, ... and the second top,
//    top + 2, ...
// Each row copies GetPixelBytes(format, depth, width, 2) / 2 bytes from
// column source.left (4 bytes a column); only source.left and source.top
// are read. Copying stops at the surface's last lock row or the buffer's
// last row, whichever comes first, and a row is cut to what the buffer row
// holds right of the column. Each surface: CreateSurface, Lock, Unlock, then
// stored in *first or *second with CreateSurface's reference, which the
// caller releases.
// A scan mode outside 0 to 2 returns 1 and makes nothing. When CreateSurface
// fails its result is returned; if that is the second one, *first stays
// written and owned by the caller. A lock with null bits copies nothing.
// Refused (0, nothing made): a null buffer, pool or `first`, a null `second`
// for scan mode 0 or 1, a negative source.left or source.top.
LYAVUTILS_API int ImageBufferToVideoSurface(unsigned char* buffer, uint32_t bufferWidth, uint32_t bufferHeight,
                                            const CRect& source, const SLySurfaceCreateDesc& description,
                                            ILyVideoSurfacePool* pool, ILyVideoSurface** first,
                                            ILyVideoSurface** second);

// Puts two field surfaces back into a frame surface. For each field the
// frame's rectangle is turned into that field's rows (FrameRectToFieldRect
// with the field's scan mode and polarity), intersected with the field's
// rectangle, turned back (FieldRectToFrameRect) and clipped to the frame:
// field row k of the overlap lands on frame row top' + 2k, rows falling past
// the frame's bottom are dropped; GetPixelBytes(format, depth, width, 2) / 2
// bytes a row. For PixelFormat_YUYVA422 the alpha planes are interleaved
// the same way. Field rectangles are in field rows, the frame's in frame rows.
// Order: GetDescription frame, first, second; Lock frame, first, second;
// copy first, then second; Unlock second, first, frame. Returns 1.
// Refused (0, nothing locked): a null surface; a field whose scan mode or
// polarity is not 0 or 1; a field whose format or depth differs from the
// frame's; a format other than 1, 2, 3, 7; a field whose overlap with the
// frame is less than one row or one pixel. A lock with null bits copies
// nothing for that field.
LYAVUTILS_API int CopyTwoFieldToFrame(ILyVideoSurface* frame, ILyVideoSurface* firstField,
                                      ILyVideoSurface* secondField);

// The frame pixels covered by the surface after a 3D transform. The corners
// of the surface's rectangle (a field surface's first turned into frame rows
// with FieldRectToFrameRect) are the points (x, y, depth, 1), transformed as
// row vectors p * matrix in single precision, and divided by their w (the
// projection); the matrix therefore works in frame pixels. The result is the
// smallest pixel rectangle holding the four projected corners (floor of the
// smallest x and y, ceiling of the largest), clipped to the resolution's
// frame (0, 0, frameSize.cx, frameSize.cy), frameSize falling back to
// width x height where it is not positive. For `polarity` 0 or 1 with the
// description's scan mode 0 or 1 the rectangle is then turned into that
// field's rows with FrameRectToFieldRect; other polarities give frame rows.
// Gives (0, 0, 0, 0) when a corner's w is not positive (at or behind the
// eye), a value is not finite, or less than one pixel remains in the frame.
// Calls nothing on any surface.
LYAVUTILS_API RECT GetTransformRect(const SLyVideoResolution& resolution, const SLySurfaceDescription& description,
                                    float depth, const SLyMatrix4x4& matrix, ELyPolarity polarity);

}  // namespace LySurfaceUtils

#endif
