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
//
// Each of these intersects frame rectangles, refuses (returns 0) before any
// Lock when the overlap is less than one pixel wide or high, locks, hands the
// overlapping sub-pictures to one pixel routine of LyPixelUtils and unlocks,
// all on the calling thread (the pixel routine itself may run bands on the
// pool). A sub-picture starts at bits + pitch * row + half of
// LyVideoUtils::GetPixelBytes(format, bitDepth, column, 2), row and column
// being the overlap's corner in that surface's own coordinates. Every Lock is
// matched by one Unlock before the function returns.
//
// Choices this library makes where the calls alone would misbehave:
//  * The 32-bit routines step four bytes a pixel. A surface whose pixels are
//    not four bytes by GetPixelBytes (PixelFormat_UYVY422 or
//    PixelFormat_YUYVA422 at depth 8, planar or unknown formats) would be
//    read or written past the end of its rows, so the operations that hand
//    it to such a routine refuse it (0, before any Lock). Otherwise pixel
//    formats are not compared: a BGRA surface mixes into a VUYA one byte for
//    byte.
//  * A Lock that gives null bits is not reported (except where stated): the
//    function returns what it would have returned, but no pixel is read or
//    written through it.
//  * The locks are trusted to cover the rectangles the descriptions give.

// The straight-alpha over rule, source over destination, where they overlap:
// LyPixelUtils::MixColor (six arguments) on the two sub-pictures.
// Calls: destination GetDescription, source GetDescription; destination
// Lock, source Lock; source Unlock, destination Unlock. Returns 1 when mixed;
// 0 for a null surface, no overlap or a surface without 4-byte pixels.
LYAVUTILS_API int MixSurface(ILyVideoSurface* source, ILyVideoSurface* destination);

// Despite the name this does not lay the source over the destination: it is
// LyPixelUtils::OverlayColor, the alpha punch-out. Where the two overlap each
// destination alpha becomes max(dA - sA, 0); destination colour bytes stay
// and the source colour plays no part. Calls, refusals and result as
// MixSurface.
LYAVUTILS_API int OverlaySurface(ILyVideoSurface* source, ILyVideoSurface* destination);

// Mixes (or copies) the left part of the source, growing with `reveal`, onto
// the destination: the colouring of karaoke text.
//
// Source rectangle: (left, top, left + round(width * reveal), top + height),
// round being half away from zero, intersected with *sourceClip when given.
// reveal <= 0 returns 0; reveal >= 1 (and NaN) counts as 1. Destination
// rectangle: its frame rectangle, intersected with *destinationClip when
// given. Clips are in the same coordinates as the surface they clip.
//
// copyOnly == 0 mixes with LyPixelUtils::MixColor (six arguments); both
// surfaces need 4-byte pixels, else 0 before any Lock. copyOnly != 0 copies,
// row by row, the bytes of GetPixelBytes(source format, source depth, width,
// 2) / 2, ignoring alpha. Formats are not compared: a 4:2:2 pair at depth 8
// copies 2 bytes a pixel. Where the destination's pixels are narrower than
// the source's, each row is cut to the bytes the destination row holds from
// its start column on, so the copy never runs past the row. A planar or
// unknown format on either side is refused (0, before any Lock).
//
// The path is chosen by the polarities: equal polarities, or one 2 and the
// other 3, take the same-structure path; a source whose polarity is neither 0
// nor 1 onto a destination of polarity 0 or 1 takes the frame-to-field path;
// every other pair takes the field-to-frame path. Warning: the last rule is
// taken literally, so a first field onto a second field, or a whole frame of
// some other polarity value (4, -1, ...) onto a destination of polarity 2 or
// 3, goes the field-to-frame way (its rows are spread onto every other
// destination row) rather than the same-structure way a host might expect.
//
//  * Same structure: the overlap of the two rectangles, row for row.
//  * Frame to field (frame source, field destination): the source rectangle
//    is turned into field rows with LyVideoUtils::FrameRectToFieldRect (the
//    destination's scan mode and polarity) and intersected with the
//    destination rectangle, giving field rows f0 .. f1 - 1. Destination row f
//    (frame coordinates of the field surface) receives source frame row
//    FieldRectToFrameRect(...).top + 2 * (f - f0): 2 * f for the even-row
//    field, 2 * f + 1 for the odd-row field. The source is read with twice
//    its pitch. After locking, a destination lock with null bits or a width
//    or height below 1 is unlocked and 0 returned, before the source is
//    locked; a bad source lock is unlocked, then the destination, and 0
//    returned. Nothing stays locked.
//  * Field to frame (field source, frame destination): the mirror image. The
//    destination rectangle is turned into field rows with the source's scan
//    mode and polarity and intersected with the source rectangle; source
//    field row f goes to destination frame row 2 * f (even-row field) or
//    2 * f + 1 (odd-row field), the destination written with twice its
//    pitch. Locks are not checked on this path.
//  Both crossing paths drop any row whose frame row would fall outside the
//  frame side's rectangle (source rectangle after reveal and clip, or the
//  destination rectangle after its clip). With coordinates of 0 or more and
//  a field surface of scan mode 0 or 1 this never happens; it happens where
//  the conversions round toward zero at negative frame rows (the odd-row
//  field's bottom) or when a field surface reports another scan mode, and it
//  keeps every access inside the two pictures.
//
// Calls: destination GetDescription, source GetDescription; destination
// Lock, source Lock; source Unlock, destination Unlock. Returns 1 when done
// and then stores the overlap in *affected when `affected` is given. Warning:
// *affected is the overlap in the rows it was computed in (less any rows
// dropped as above), which for both crossing paths are field rows (the field
// side's coordinates); for the field-to-frame path
// LyVideoUtils::FieldRectToFrameRect turns it into the destination's frame
// rows. Returns 0 (affected untouched) for a null
// surface, a reveal of 0 or less, an empty overlap, the format refusals
// above or a failed lock check.
LYAVUTILS_API int MixPlaySurface(ILyVideoSurface* source, CRect* sourceClip, ILyVideoSurface* destination,
                                 CRect* destinationClip, int copyOnly, double reveal, CRect* affected);

// MixPlaySurface(source, nullptr, destination, nullptr, 0, reveal, nullptr).
LYAVUTILS_API int MixKtvSurface(ILyVideoSurface* source, ILyVideoSurface* destination, double reveal);

// Clears `target` and mixes every source onto it in list order.
// 1. bounds = the union of the sources' frame rectangles as (minimum left,
//    minimum top, maximum right, maximum bottom), starting from (2147483647,
//    2147483647, -2147483648, -2147483648): an empty list (or one of null
//    pointers only, which are skipped here) stores those start values.
//    Empty source rectangles take part too.
// 2. Null target: return 1. Otherwise target GetDescription, Lock, a whole
//    clear of the lock's width and height with LyPixelUtils::FillBlockColor
//    (description's format, depth and colorimetry): colour 0 for
//    PixelFormat_BGRA4444 (transparent black); 0x108080 for
//    PixelFormat_VUYA4444, PixelFormat_UYVY422 and PixelFormat_YUYVA422 when
//    the colorimetry is BT.601 or BT.709 (studio black, alpha 0), 0 for any
//    other colorimetry; any other format is locked and unlocked but not
//    cleared. Unlock.
// 3. MixSurface(source, target) for each element (its result, and so its
//    refusals, ignored). Returns 1.
// The list's size is read once at the start of each of the two walks and
// every element is taken with at(): if the list shrinks while it is walked
// (a host callback changing it), std::out_of_range is thrown out of this
// function. It is thrown between surface calls, so nothing is left locked;
// bounds is stored only if the first walk finished.
LYAVUTILS_API int MixSurfaceArray(std::vector<ILyVideoSurface*>& sources, ILyVideoSurface* target, CRect& bounds);

// Warning: changes no pixel. It locates the overlap of the three surfaces and
// hands it to the three-buffer LyPixelUtils::MixColor (second, third, first,
// each with its pitch), which does no work by design; only the locks happen.
// Calls: third, first, second GetDescription; third, first, second Lock;
// first, third, second Unlock. Column offsets by GetPixelLineBytes. Returns 1
// after that; 0, before any Lock, for a null surface or when the rectangles
// of first and third, then with second, leave less than one pixel. Formats
// are not checked, as nothing is read or written. `unused` is not read.
LYAVUTILS_API int MixDynaTex(ILyVideoSurface* first, ILyVideoSurface* second, int unused, ILyVideoSurface* third);

// first over second through the mask: LyPixelUtils::MixColorWithMaskAlpha
// (source first, mask, destination second) where first, second and the
// mask's rectangle (GetRect, frame coordinates) overlap. The mask
// sub-picture starts at bits + pitch * row + column (one byte a pixel); only
// its lock's pitch and bits are used.
// Calls: second GetDescription, first GetDescription, mask GetRect; second
// Lock, first Lock, mask Lock; first Unlock, second Unlock, mask Unlock.
// Returns 1 when done; 0 before any Lock for a null pointer, an empty
// overlap or a surface without 4-byte pixels.
LYAVUTILS_API int MixSurfaceWithMaskAlpha(ILyVideoSurface* first, ILyMaskSurface* mask, ILyVideoSurface* second);

// Warning: returns 0 in every case, also after it has done its work; its
// result cannot tell success from refusal. Where the surface and the mask
// overlap, each alpha becomes max(alpha - mask, 0)
// (LyPixelUtils::SubtractImageWithMaskAlpha); colour bytes stay.
// Calls: surface GetDescription, mask GetRect; surface Lock, mask Lock;
// surface Unlock, mask Unlock. Refused before any Lock: a null pointer, an
// empty overlap, a surface without 4-byte pixels.
LYAVUTILS_API int SubtractSurfaceWithMaskAlpha(ILyVideoSurface* surface, ILyMaskSurface* mask);

// LyPixelUtils::FadeImage (factor in percent, 100 = unchanged; only alpha
// changes) on the surface's frame rectangle, intersected with *area (frame
// coordinates) when given. Calls: GetDescription, Lock, Unlock. Returns 1
// when done; 0 before Lock for a null surface, an empty rectangle or a
// surface without 4-byte pixels.
LYAVUTILS_API int FadeSurface(ILyVideoSurface* surface, float factor, RECT* area);

// LyPixelUtils::DefickerImage from the whole of `first` into the whole of
// `second`, both from their first rows, with the first lock's width and
// height: no rectangle arithmetic and the positions are not looked at; only
// the interior is written (see DefickerImage). Returns the routine's result
// (0 for an unknown quality or a picture under 3 x 3, after locking and
// unlocking). Calls: first GetDescription, second GetDescription; first
// Lock, second Lock; first Unlock, second Unlock. Refused before any Lock
// (0): a null surface; the same surface as both (the filter would read rows
// that other bands are writing); a surface without 4-byte pixels, or a
// second surface narrower or lower than the first, which would be written
// past its end.
LYAVUTILS_API int DeflickerSurface(ILyVideoSurface* first, ILyVideoSurface* second, ELyDeflickerQuality quality);

// Turns premultiplied colour back into straight colour, on the calling
// thread, over the whole lock (width and height of the lock; the description
// is not read, so the pixels are taken as 4-byte B, G, R, A whatever the
// format). For each pixel with A > 0 each of B, G, R becomes byte * 255 / A
// (truncating) and the pixel is rebuilt as ((R' | A << 8) << 8 | G') << 8 | B'
// without clamping: the bits of a colour above its alpha spill into the next
// byte up (B = 200, A = 100 gives 510: the B byte becomes 254 and bit 0 of
// the G byte is set; a spilling R disturbs A); input is assumed
// premultiplied. Pixels with A = 0 are untouched. Then Unlock and
// SetShaped(0). Returns 1; 0 for a null surface.
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
