#ifndef LYAVUTILS_VIDEOUTILS_H
#define LYAVUTILS_VIDEOUTILS_H

#include <string>

#include "LyAVUtilsTypes.h"

// ScaleImage4x8bits runs in bands on the library's thread pool.
// Pool jobs of your own: a banded operation that uses the pool (16 rows or
// more, two or more workers) queues its bands on the calling thread's one
// pool queue (LyThreadPool.h) and waits for that whole queue. A thread with
// LyThreadPool::Run jobs still pending therefore waits inside the operation
// for them too (their exception comes out of the operation), and its own Wait
// then returns at once. Call LyThreadPool::Wait before an image operation, or
// submit your jobs from another thread.

namespace LyVideoUtils {

// ============================================================ buffer layout
//
// Sizes are byte counts in unsigned 32-bit arithmetic. A format outside 1..7
// gives 0. The 32-bit formats are 4 bytes per pixel at any depth; the packed
// 4:2:2 formats are 2 bytes per pixel, 4 at depth 16 (an unknown depth counts
// as 8); the planar formats are 8-bit only. Format 7's alpha area (one more
// image of the same pitch and size) is not included.
// "WithPitch" pads each line: packed formats to a multiple of 16 pixels,
// planar formats to a multiple of 16 bytes per plane.

LYAVUTILS_API uint32_t GetPixelBytes(ELyPixelFormat format, unsigned char bitDepth, int width, int height);
LYAVUTILS_API uint32_t GetPixelBytesWithPitch(ELyPixelFormat format, unsigned char bitDepth, int width, int height);
// Average bytes of one line: the two-line size halved.
LYAVUTILS_API uint32_t GetPixelLineBytes(ELyPixelFormat format, unsigned char bitDepth, int width);
LYAVUTILS_API uint32_t GetPixelLineBytesWithPitch(ELyPixelFormat format, unsigned char bitDepth, int width);

// Plane forms: each output is computed from its own plane's numbers.
LYAVUTILS_API void GetPixelBytes(int yWidth, int yHeight, int uWidth, int uHeight, int vWidth, int vHeight,
                                 uint32_t& yBytes, uint32_t& uBytes, uint32_t& vBytes);
LYAVUTILS_API void GetPixelBytesWithPitch(int yWidth, int yHeight, int uWidth, int uHeight, int vWidth, int vHeight,
                                          uint32_t& yBytes, uint32_t& uBytes, uint32_t& vBytes);
// (width * 2) >> 1 in unsigned 32-bit arithmetic: the width with its top bit dropped.
LYAVUTILS_API void GetPixelLineBytes(int yWidth, int uWidth, int vWidth, uint32_t& yBytes, uint32_t& uBytes,
                                     uint32_t& vBytes);
LYAVUTILS_API void GetPixelLineBytesWithPitch(int yWidth, int uWidth, int vWidth, uint32_t& yBytes,
                                              uint32_t& uBytes, uint32_t& vBytes);

// Plane dimensions: Y is (width, height); U and V are (width/2, height) for
// formats 3, 6, 7, (width/4, height) for 4, (width/2, height/2) for 5 and
// (width, height) for anything else.
LYAVUTILS_API void GetYUVWidthHeight(ELyPixelFormat format, int width, int height, tagSIZE& ySize, tagSIZE& uSize,
                                     tagSIZE& vSize);

// Plane start addresses of a planar buffer. A null output pointer is skipped.
LYAVUTILS_API void GetYUVPlanerBuffer(unsigned char* buffer, const tagSIZE& ySize, const tagSIZE& uSize,
                                      const tagSIZE& vSize, unsigned char** yPlane, unsigned char** uPlane,
                                      unsigned char** vPlane);
LYAVUTILS_API void GetYUVPlanerBufferWithPitch(unsigned char* buffer, const tagSIZE& ySize, const tagSIZE& uSize,
                                               const tagSIZE& vSize, unsigned char** yPlane, unsigned char** uPlane,
                                               unsigned char** vPlane);

// Packed image and alpha area of a PixelFormat_YUYVA422 buffer. A null output
// pointer is skipped.
LYAVUTILS_API void GetYUYVABufferPos(unsigned char* buffer, const tagSIZE& size, int pitch, unsigned char** packed,
                                     unsigned char** alpha);

// GetPixelBytesWithPitch of the description, doubled for PixelFormat_YUYVA422.
LYAVUTILS_API uint32_t GetVideoSurfaceSize(const SLySurfaceCreateDesc& description);

// ============================================================ frame rates, timecode, time strings
//
// Rates are the exact ratios 24000/1001, 24, 25, 30000/1001, 30, 50,
// 60000/1001 and 60 for ELyFrameRate 0..7. A timecode is four bytes: hours,
// minutes, seconds, frames. Hours are not wrapped at 24; every byte keeps the
// low eight bits of its number.
//
// Shared conversions:
//  * unsigned 32-bit numbers (table entries, frame counts) become doubles as
//    unsigned values;
//  * "truncate" converts a double toward zero to a 64-bit integer and keeps
//    its low 32 bits, so a negative result wraps modulo 2^32 (-25 is returned
//    as 4294967271). A double outside the 64-bit range, or NaN, gives 0 (the
//    low half of the x86 "integer indefinite" value) instead of being
//    undefined;
//  * "round" adds 0.5 to a value above zero and subtracts 0.5 otherwise, then
//    truncates (halves go away from zero).
// An ELyFrameRate outside 0..7 is refused: functions returning int return 0,
// others return 0 (or 0.0f), and no output is written. This library never
// reads past the rate table.

// Frame number to timecode. dropFrame counts only when it equals 1, and only
// at 29.97 and 59.94: frames are then labelled by the standard drop-frame rule
// (labels 0 and 1 of every minute skipped, except every tenth minute), all in
// integer arithmetic. At 59.94 with dropFrame 1 the count is halved first, so
// frames 2k and 2k+1 share a label. fieldBased nonzero at 50, 59.94 and 60
// halves the frame and counts at 25, 29.97 and 30. Otherwise the nominal
// integer rate (24, 25, 30, 50, 60; 23.98 counts as 24) is used: seconds are
// the truncated n / fps and frames the rounded remainder times fps.
// Returns 1; 0 (timecode untouched) for a rate outside 0..7 or a null timecode.
LYAVUTILS_API int GetFrameTimeCode(ELyFrameRate rate, uint32_t frame, unsigned char* const timecode, int dropFrame,
                                   int fieldBased);
// "HH:MM:SS:FF", or "HH:MM:SS;FF" at 29.97 and 59.94 when dropFrame is any
// nonzero value (so dropFrame 2 prints a semicolon over non-drop numbers).
// Each field has at least two digits; larger numbers are printed in full.
// Returns 1; 0 (text untouched) for a rate outside 0..7.
LYAVUTILS_API int Frame2String(ELyFrameRate rate, int dropFrame, int fieldBased, uint32_t frame, std::wstring& text);
// Clock time "HH:MM:SS,mmm" of a frame at the exact rate. The fraction of a
// second is narrowed to float before it is scaled to milliseconds and
// truncated, so frame 1 at 25 fps reads 00:00:00,039. Returns 1; 0 (text
// untouched) for a rate outside 0..7.
LYAVUTILS_API int FrameToTime(ELyFrameRate rate, uint32_t frame, std::wstring& text);
// frame = round(total * fps + fps * milliseconds / 1000.0) at the exact rate,
// where total = hours * 3600 + minutes * 60 + seconds is formed in 32-bit
// two's-complement arithmetic (it wraps rather than overflows). Negative
// inputs are allowed and wrap the result. Returns 1; 0 (frame untouched) for a
// rate outside 0..7.
LYAVUTILS_API int TimeToFrame(ELyFrameRate rate, int hours, int minutes, int seconds, int milliseconds,
                              uint32_t& frame);
// round(fps * seconds) at the exact rate (negative seconds wrap: -1.0 at 25
// fps gives 4294967271). 0 for a rate outside 0..7. The int is not read.
LYAVUTILS_API uint32_t SecondToFrames(float seconds, ELyFrameRate rate, int unused);
// frames / fps at the exact rate, narrowed to float. 0.0f for a rate outside
// 0..7. The int is not read.
LYAVUTILS_API float FramesToSecond(uint32_t frames, ELyFrameRate rate, int unused);
// Timecode to frame number. dropFrame nonzero (any value): round(exact fps *
// seconds of the timecode) + frames, plus the frames byte once more when
// fieldBased is nonzero at 50, 59.94 or 60. This is elapsed real time, not the
// inverse of GetFrameTimeCode's drop-frame labelling. dropFrame 0: seconds *
// round(fps) + frames in unsigned 32-bit arithmetic; fieldBased is not read.
// Returns 1; 0 (frame untouched) for a rate outside 0..7 or a null timecode.
LYAVUTILS_API int TimeCode2Frame(ELyFrameRate rate, unsigned char* const timecode, int dropFrame, int fieldBased,
                                 uint32_t& frame);
// Parses text of the form "00:00:00:00" (exactly 11 characters) into the four
// bytes. The separators must be ':' at positions 2 and 5 and ':' or ';' at 8.
// The first three fields must be decimal digits (iswdigit); they are parsed
// base 10 and stored as they are checked, so a later failure leaves earlier
// bytes stored. The frames field is parsed like wcstoul without a digit check
// (leading blanks and a sign are accepted, parsing stops at the first other
// character; "-1" stores 255). Fields are not range-checked ("99:99:99:99" is
// accepted). Returns 1 when parsed; 0 for a wrong length, a wrong separator, a
// non-digit in the first three fields, or a null timecode (nothing stored).
LYAVUTILS_API int String2TimeCode(const std::wstring& text, unsigned char* const timecode);
// Classifies numerator / denominator (as doubles) against 24, 23.976..,
// 25, 30, 29.97.., 50, 60, 59.94.. in that order, each a match within 0.0001
// inclusive; no match gives FrameRate_Unknown. A denominator of 0 is refused:
// `rate` is left unchanged.
LYAVUTILS_API void GetFrameRateClass(uint32_t numerator, uint32_t denominator, ELyFrameRate& rate);
// truncate(((den_from * frames) / num_from) * num_to / den_to), left to right
// in double precision. The same rate in and out returns frames unchanged (even
// a value outside 0..7, since nothing is looked up); otherwise a rate outside
// 0..7 gives 0.
LYAVUTILS_API uint32_t FrameRateFramesConvert(uint32_t frames, ELyFrameRate from, ELyFrameRate to);
// newIn = truncate(trimIn / fromUnits * toUnits), newOut likewise, in double
// precision, dividing first. A fromUnits of 0 is refused: newIn and newOut are
// left unchanged.
LYAVUTILS_API void ConvertTrimInOut(uint32_t trimIn, uint32_t trimOut, uint32_t fromUnits, uint32_t toUnits,
                                    uint32_t& newIn, uint32_t& newOut);

// ============================================================ aspect ratios and pixel aspect
//
// Named ratios: AspectRatio_4_3 is 4:3, AspectRatio_16_9 16:9,
// AspectRatio_27_20 27:20 and AspectRatio_9_5 9:5. What AspectRatio_Square (2),
// AspectRatio_Custom (3) and values outside the enumeration mean differs from
// function to function, as each one says. Ratios compare equal within 0.0001
// (inclusive), in double precision.
//
// "Round" below is half away from zero (add 0.5 to a positive value, subtract
// 0.5 otherwise, then truncate). A rounded or truncated value outside the int
// range, or NaN, gives INT32_MIN (0x80000000), which is what the processor's
// truncating conversion produces, instead of undefined behaviour.

// x:y = the named ratio; for 2, 3 and any other value, width:height.
LYAVUTILS_API void GetAspectRatioValue(int width, int height, ELyAspectRatio aspect, int& x, int& y);
// x:y = the named ratio; 2 and 3 give 1:1; any other value leaves x and y
// unchanged.
LYAVUTILS_API void GetAspectRatioValue(ELyAspectRatio aspect, int& x, int& y);
// Classifies width / height (double), testing 16:9, 4:3, 27:20 and 9:5 in that
// order; anything else is AspectRatio_Custom. Height 0 is refused: `aspect` is
// left unchanged.
LYAVUTILS_API void GetAspectRatioClass(int width, int height, ELyAspectRatio& aspect);
// The width for height a at aspect x:y: round(x / y * a) in double (x / y
// first). y == 0 is refused and returns 0.
LYAVUTILS_API int GetAspectRatioWidth(int a, int x, int y);
// The height for width a at aspect x:y: round(y / x * a) in double. x == 0 is
// refused and returns 0.
LYAVUTILS_API int GetAspectRatioHeight(int a, int x, int y);
// Display width over stored width: width / frameSize.cx in double. A zero
// frameSize.cx returns 1.0 (square pixels) instead of dividing by zero.
LYAVUTILS_API double GetPixelAspectRatio(const SLyVideoResolution& resolution);
// (height * x) / (width * y); 1.0 when width or y is 0. The products are
// exact (64-bit), so large sizes do not wrap.
LYAVUTILS_API double GetPixelAspectRatio(int width, int height, int x, int y);
// Pixel aspect of a width x height frame shown at `aspect`: AspectRatio_Custom
// gives 1.0 at once (the caller's custom ratio is not known here); named ratios
// give (x * height) / (y * width) with their x:y; 2 and other values use
// width:height, i.e. square pixels. 1.0 when width or y is 0.
// Note the asymmetry with the description form below, which does use a
// custom ratio.
LYAVUTILS_API double GetPixelAspectRatio(int width, int height, ELyAspectRatio aspect);
// Pixel aspect of a surface: h = height, doubled when polarity is
// Polarity_First or Polarity_Second (a field holds half the frame's rows);
// AspectRatio_Custom uses customAspectX:customAspectY, named ratios their x:y,
// anything else width:h. Result (x * h) / (y * width) with exact products; 1.0
// when width or y is 0.
LYAVUTILS_API double GetPixelAspectRatio(const SLySurfaceDescription& description);
// Makes `rect` square-pixelled for a picture of aspect x:y. w = |right - left|
// and h = |bottom - top| are computed in single precision (each edge converted
// to float, then subtracted) and truncated. If y or w is 0 the rectangle is
// emptied (all fields 0) and 0 returned. Otherwise, with k = (h * x) / (y * w)
// in double: left = round(left * k), right = left + round(k * w) (32-bit
// wrapping sum); top and bottom are kept. Returns 1.
// Example: x:y 16:9 on (0, 0, 720, 576) gives (0, 0, 1024, 576).
LYAVUTILS_API int GetSqualPixelRect(int x, int y, RECT& rect);
// AspectRatio_Custom returns 0 and leaves the rectangle; named ratios use their
// x:y; 2 and other values use the rectangle's own (right - left) : (bottom -
// top). Then the (x, y) form above.
LYAVUTILS_API int GetSqualPixelRect(ELyAspectRatio aspect, RECT& rect);
// Sets the rectangle to (0, 0, width, height) and applies the aspect form with
// resolution.aspectRatio. The rectangle keeps (0, 0, width, height) even when
// that returns 0 for AspectRatio_Custom.
LYAVUTILS_API int GetSqualPixelRect(const SLyVideoResolution& resolution, RECT& rect);
// Compares the display ratios of two resolutions: the named ratio for
// aspectRatio 0, 1, 4 and 5, width / height otherwise. Within 0.0001 gives
// AspectConvert_Same; a smaller second ratio AspectConvert_ToNarrower; a larger
// one AspectConvert_ToWider. A record that needs width / height but has height
// 0 has no ratio: the result is AspectConvert_Same.
LYAVUTILS_API ELyAspectConvertType GetAspectConvertType(const SLyVideoResolution& first,
                                                        const SLyVideoResolution& second);
// Re-expresses a display aspect after the frame is stretched from
// oldWidth x oldHeight to newWidth x newHeight. Start x:y: the named ratio for
// 0, 1, 4 and 5; oldWidth:oldHeight for 2; for 3 and any other value the x and
// y passed in. Then x = x * newWidth * oldHeight and y = y * oldWidth *
// newHeight in unsigned 32-bit arithmetic (overflow wraps, deliberately), the
// pair is reduced by g (y if y divides x, else LyComputeGCD(y, x mod y)) and
// `aspect` becomes AspectRatio_Custom.
// If either product is 0 (a zero size, or a product that wraps to 0) there is
// no ratio to reduce: the call is refused and aspect, x and y are unchanged.
// Example: 16:9 from 1920x1080 to 1440x1080 gives 4:3, AspectRatio_Custom.
LYAVUTILS_API void ConvertAspectRatio(ELyAspectRatio& aspect, unsigned oldWidth, unsigned newWidth,
                                      unsigned oldHeight, unsigned newHeight, unsigned& x, unsigned& y);

// ============================================================ scaling and placement

// Decides how a source picture of one display aspect is placed into a
// destination of another. `result` is first cleared to zeros. If any of the
// eight numbers of source and destination is 0 the call stops there (all
// zeros: nothing to draw) instead of dividing by zero.
// Display aspects dS = aspectX / aspectY and pixel aspects
// p = (height * aspectX) / (width * aspectY) are doubles; the integer
// products here and in the sizes below (srcW * dstH, ...) are 32-bit and
// wrap. Equal display aspects (within 0.0001) or VideoScale_Stretch
// give the whole source on the whole destination. Otherwise sizes are rounded
// and made even (minus 1 when odd), and centring offsets are
// (available - size) / 2 in integer division, also made even:
//  * narrower source, VideoScale_Fit: pillarbox, destination width
//    pS * (srcW * dstH) / (pD * srcH);
//  * narrower source, VideoScale_Fill: crop rows, source height
//    pS * (srcW * dstH) / (pD * dstW);
//  * wider source, VideoScale_Fit: letterbox, destination height
//    pD * (srcH * dstW) / (pS * srcW);
//  * wider source, VideoScale_Fill: crop columns, source width
//    pD * (srcH * dstW) / (pS * dstH).
// Other types leave the cleared result. Example: Fit of 720x576 at 4:3 into
// 1920x1080 at 16:9 gives destination (240, 0, 1440, 1080); Fill gives
// source (0, 72, 720, 432).
LYAVUTILS_API void CalculateVideoScaleData(SLyVideoScaleSourceParam& source, SLyVideoScaleSourceParam& destination,
                                           ELyVideoScaleType type, SLyVideoScaleResultData& result);
// Converts a point between two rectangles' centred percentage coordinates
// (-50 at the left / bottom edge, +50 at the right / top edge, y upwards):
// with X = x + 50 and Y = y + 50 in float,
//   x' = (X * from.right + (100 - X) * from.left - 100 * to.left) / (to.right - to.left) - 50
//   y' = (Y * from.top + (100 - Y) * from.bottom - 100 * to.bottom) / (to.top - to.bottom) - 50
// in double, returned as floats. A target with no width (or no height) has no
// percentage scale on that axis; instead of dividing by zero, that coordinate
// is returned as it was given.
LYAVUTILS_API PointF CoordConvertFromRectToRect(PointF point, RECT from, RECT to);
// Resamples a picture of 4-byte pixels (any channel order; the four bytes are
// treated alike) from sourceWidth x sourceHeight to destinationWidth x
// destinationHeight: first vertically into rows of sourceWidth pixels, then
// horizontally, each pass truncating to bytes.
// Each pass from n input samples to m output samples walks sample centres in
// integer units: with g = gcd(n, m) (LyComputeGCD(m, n mod m), or m when m
// divides n), input sample i is centred at C_i = (2i+1) * m/g and output
// sample j at c_j = (2j+1) * n/g. Let k be the last input with C_k <= c_j.
// Each byte of output j is then
//   (in[k+1] * (c_j - C_k) + in[k] * (C_{k+1} - c_j)) / (2m/g)
// in truncating integer division (clamped to at most 255). Outputs before the
// first input centre (no such k) copy input 0, and outputs with k at the last
// input (k = n - 1) copy the last input.
// Shrinking uses the same walk: the input position advances over as many
// input samples as needed, so each output interpolates only the two inputs
// whose centres enclose it; inputs between are skipped, not averaged (no
// anti-aliasing filter). Enlarging and shrinking therefore share one rule,
// and equal sizes copy.
// Pitches are unsigned in this interface; they are read as signed 32-bit
// two's-complement values, so a bottom-up picture is passed with its negative
// pitch converted to unsigned, as 32-bit address arithmetic wrapped.
// Refusals (nothing is written): a null pointer, any size 0, or any size
// above 2^28. Source and destination must not overlap.
// Rows are banded over the library's thread pool. Memory: when the heights
// are equal, or the widths are, or the source is one pixel wide, nothing is
// allocated. When both axes are resampled the call allocates once: one
// vertically resampled row per band (instead of a whole intermediate
// picture; the bytes are the same), plus the horizontal weights of a whole
// row unless they repeat within a short period. If that allocation fails,
// nothing is written.
LYAVUTILS_API void ScaleImage4x8bits(unsigned char* destination, unsigned destinationWidth,
                                     unsigned destinationHeight, unsigned destinationPitch,
                                     unsigned char* const source, unsigned sourceWidth, unsigned sourceHeight,
                                     unsigned sourcePitch);
// Places a pictureWidth x pictureHeight picture in `box`, in single precision:
// a = pictureWidth / pictureHeight, b = box.width / box.height.
// AspectConvertMode_Stretch, or |a - b| <= 0.0001, gives the box. panPercent is
// clamped to 0..100 (0: overflow aligned left / top; 100: right / bottom).
//  * picture wider (b < a): Fit gives (x, y + (height - width / a) * 0.5,
//    width, width / a); Fill gives w = round(pictureWidth * box.height /
//    pictureHeight) (double), (x - round((w - width) * pan / 100), y, w,
//    height).
//  * otherwise: Fit gives w = a * height, (x + (width - w) * 0.5, y, w,
//    height); Fill gives h = round(pictureHeight * box.width / pictureWidth)
//    (double), (x, y - round((h - height) * pan / 100), width, h).
// Any other mode leaves `result` unwritten. For every mode but Stretch, a zero
// picture size or a zero box height is refused (no ratio): `result` is left
// unwritten. Example: 1920x1080 into (0, 0, 100, 100) gives (-39, 0, 178, 100)
// with Fill at pan 50 and (0, 21.875, 100, 56.25) with Fit.
LYAVUTILS_API void GetScaledTgtPos(ELyAspectConvertMode mode, int panPercent, uint32_t pictureWidth,
                                   uint32_t pictureHeight, RectF box, RectF& result);

// ============================================================ field geometry and resolution records
//
// Fields: (scan mode, polarity) (0, 0) and (1, 1) hold the even frame rows,
// (0, 1) and (1, 0) the odd rows. Rectangle arithmetic is 32-bit int
// arithmetic that wraps instead of overflowing (only reachable with
// coordinates near the int32 limits); divisions truncate toward zero.

// Frame rows to the rows of one field; left and right are kept. Even-row
// field: an odd top or bottom is first raised to the next even row, then
// halved. Odd-row field: an odd top is lowered by one, an even bottom raised
// by one, then halved. Any other scan mode or polarity returns the rectangle
// unchanged. Example: top 1, bottom 5 gives 1, 3 for (0, 0) and 0, 2 for (0, 1).
LYAVUTILS_API CRect FrameRectToFieldRect(CRect rect, ELyScanMode scanMode, ELyPolarity polarity);
// Field rows to frame rows: top and bottom doubled for every scan mode and
// polarity, and top raised by one for the odd-row field. Not the exact
// inverse of FrameRectToFieldRect.
LYAVUTILS_API CRect FieldRectToFrameRect(CRect rect, ELyScanMode scanMode, ELyPolarity polarity);
// +0.5 for the even-row field, -0.5 for the odd-row field, 0.0 otherwise.
LYAVUTILS_API float GetTexVertCenterOffset(ELyScanMode scanMode, ELyPolarity polarity);
// Adds d = 0.25 / textureHeight to the v of each of `count` (u, v) pairs,
// -d for the odd-row field. d is a double and each v is updated in double
// precision and stored back as float. Does nothing when the scan mode is 2,
// the polarity is 3 (only 3: polarity 2 with scan mode 0 or 1 still shifts by
// +d, and so does any scan mode other than 2), uv is null or textureHeight
// is 0.
LYAVUTILS_API void CorrectFieldTexUV(float* uv, unsigned count, uint32_t textureHeight, ELyScanMode scanMode,
                                     ELyPolarity polarity);
// Stored frame size of a square-pixel display size, from the table (searched
// in this order): 768x576 and 1024x576 -> 720x576; 648x486 and 864x486 ->
// 720x486; 853x480 -> 720x480; 1920x1080 and 1280x720 unchanged. Returns 1 on
// a match; otherwise stores (width, height) and returns 0.
LYAVUTILS_API int EstimateVideoResFrameSize(const SLyVideoResolutionVer0& resolution, SIZE& frameSize);
// Copies the eight fields and fills frameSize by EstimateVideoResFrameSize.
// The source and destination may be the same memory.
LYAVUTILS_API void ConvertVer0Resolution(const SLyVideoResolutionVer0& source, SLyVideoResolution& destination);
// 1 when height is at least 720, else 0.
LYAVUTILS_API int IsHDResolution(const SLyVideoResolution& resolution);
// 1 when all nine fields are equal (reserved fields and both frameSize
// numbers included), else 0.
LYAVUTILS_API int IsEqualResolution(const SLyVideoResolution& a, const SLyVideoResolution& b);

// Re-timing of media to the output rate.
//
// SLyAudioVideoFileInfo (LyAVUtilsTypes.h), as host and library share it, in
// order: uint32 mediaKind (re-timing only when above 65535), uint16
// streamCount, uint16 reserved, uint32 totalFrames, then a fixed array of
// LY_MAX_MEDIA_STREAMS (16) entries of {ELyFrameRate frameRate, uint32
// frameCount}; 4 + 2 + 2 + 4 + 16 * 8 = 140 bytes, no padding. streams[0]'s
// frameRate is the file's rate. Only min(streamCount, 16) entries are read or
// written, so a larger count never reaches past the array.
// SLyPlayListElementProps: uint32 trimIn, trimOut, trimLength, in that order.

// When streamCount is nonzero and the file's rate differs from output's
// frameRate: totalFrames = FrameRateFramesConvert(totalFrames, file rate,
// output rate), and each processed stream's frameCount = truncate(den_stream
// * frameCount / num_stream * num_out / den_out) in double precision. Streams
// get no same-rate shortcut, so a stream already at the output rate can lose
// a frame at 1001-based rates. Refused (info unchanged) when the output rate,
// the file's rate or a processed stream's rate is outside 0..7.
LYAVUTILS_API void AVDescriptionFRC(const SLyVideoResolution& output, SLyAudioVideoFileInfo& info);
// When mediaKind exceeds 65535 and the file's rate differs from the output's:
// re-times a private copy of info (old = totalFrames before, new = after),
// maps trimIn from old to new units with ConvertTrimInOut and sets trimOut =
// min(new trimIn + trimLength, new), the sum wrapping in 32 bits; trimLength
// is kept. Refused (props unchanged) when old is 0 (the conversion would
// divide by zero) or when AVDescriptionFRC refuses the copy (a rate it looks
// up is outside 0..7). With streamCount 0 the copy is left as it is, no rate
// is looked up, and new equals old: the trims are still rewritten (trimOut =
// min(trimIn + trimLength, old)), whatever the output rate.
LYAVUTILS_API void ElementPropsFRC(const SLyVideoResolution& output, const SLyAudioVideoFileInfo& info,
                                   SLyPlayListElementProps& props);
// The same test and re-timing, then trimIn and trimOut are mapped from new
// units back to old ones (the opposite direction to ElementPropsFRC, on
// purpose); trimLength is not touched. Refused (props unchanged) when new is
// 0 or AVDescriptionFRC refuses the copy; with streamCount 0 the trims are
// mapped from old units to old units, whatever the output rate.
LYAVUTILS_API void ElementPropsAliasFRC(const SLyVideoResolution& output, const SLyAudioVideoFileInfo& info,
                                        SLyPlayListElementProps& props);

}  // namespace LyVideoUtils

#endif
