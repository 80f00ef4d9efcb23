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
// *affected is the overlap in the rows it was computed in, which for both
// crossing paths are field rows (the field side's coordinates); for the
// field-to-frame path LyVideoUtils::FieldRectToFrameRect turns it into the
// destination's frame rows. Returns 0 (affected untouched) for a null
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
