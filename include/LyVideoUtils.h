#ifndef LYAVUTILS_VIDEOUTILS_H
#define LYAVUTILS_VIDEOUTILS_H

#include <string>

#include "LyAVUtilsTypes.h"

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

LYAVUTILS_API void GetAspectRatioValue(int width, int height, ELyAspectRatio aspect, int& x, int& y);
LYAVUTILS_API void GetAspectRatioValue(ELyAspectRatio aspect, int& x, int& y);
LYAVUTILS_API void GetAspectRatioClass(int width, int height, ELyAspectRatio& aspect);
LYAVUTILS_API int GetAspectRatioWidth(int a, int x, int y);
LYAVUTILS_API int GetAspectRatioHeight(int a, int x, int y);
LYAVUTILS_API double GetPixelAspectRatio(const SLyVideoResolution& resolution);
LYAVUTILS_API double GetPixelAspectRatio(int width, int height, int x, int y);
LYAVUTILS_API double GetPixelAspectRatio(int width, int height, ELyAspectRatio aspect);
LYAVUTILS_API double GetPixelAspectRatio(const SLySurfaceDescription& description);
LYAVUTILS_API int GetSqualPixelRect(int x, int y, RECT& rect);
LYAVUTILS_API int GetSqualPixelRect(ELyAspectRatio aspect, RECT& rect);
LYAVUTILS_API int GetSqualPixelRect(const SLyVideoResolution& resolution, RECT& rect);
LYAVUTILS_API ELyAspectConvertType GetAspectConvertType(const SLyVideoResolution& first,
                                                        const SLyVideoResolution& second);
LYAVUTILS_API void ConvertAspectRatio(ELyAspectRatio& aspect, unsigned oldWidth, unsigned newWidth,
                                      unsigned oldHeight, unsigned newHeight, unsigned& x, unsigned& y);

// ============================================================ scaling and placement

LYAVUTILS_API void CalculateVideoScaleData(SLyVideoScaleSourceParam& source, SLyVideoScaleSourceParam& destination,
                                           ELyVideoScaleType type, SLyVideoScaleResultData& result);
LYAVUTILS_API PointF CoordConvertFromRectToRect(PointF point, RECT from, RECT to);
LYAVUTILS_API void ScaleImage4x8bits(unsigned char* destination, unsigned destinationWidth,
                                     unsigned destinationHeight, unsigned destinationPitch,
                                     unsigned char* const source, unsigned sourceWidth, unsigned sourceHeight,
                                     unsigned sourcePitch);
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
// divide by zero) or a rate is outside 0..7, as in AVDescriptionFRC.
LYAVUTILS_API void ElementPropsFRC(const SLyVideoResolution& output, const SLyAudioVideoFileInfo& info,
                                   SLyPlayListElementProps& props);
// The same test and re-timing, then trimIn and trimOut are mapped from new
// units back to old ones (the opposite direction to ElementPropsFRC, on
// purpose); trimLength is not touched. Refused (props unchanged) when new is
// 0 or a rate is outside 0..7.
LYAVUTILS_API void ElementPropsAliasFRC(const SLyVideoResolution& output, const SLyAudioVideoFileInfo& info,
                                        SLyPlayListElementProps& props);

}  // namespace LyVideoUtils

#endif
