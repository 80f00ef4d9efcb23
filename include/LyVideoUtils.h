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
// A timecode is four bytes: hours, minutes, seconds, frames.

LYAVUTILS_API int GetFrameTimeCode(ELyFrameRate rate, uint32_t frame, unsigned char* const timecode, int dropFrame,
                                   int fieldBased);
LYAVUTILS_API int Frame2String(ELyFrameRate rate, int dropFrame, int fieldBased, uint32_t frame, std::wstring& text);
LYAVUTILS_API int FrameToTime(ELyFrameRate rate, uint32_t frame, std::wstring& text);
LYAVUTILS_API int TimeToFrame(ELyFrameRate rate, int hours, int minutes, int seconds, int milliseconds,
                              uint32_t& frame);
LYAVUTILS_API uint32_t SecondToFrames(float seconds, ELyFrameRate rate, int unused);
LYAVUTILS_API float FramesToSecond(uint32_t frames, ELyFrameRate rate, int unused);
LYAVUTILS_API int TimeCode2Frame(ELyFrameRate rate, unsigned char* const timecode, int dropFrame, int fieldBased,
                                 uint32_t& frame);
LYAVUTILS_API int String2TimeCode(const std::wstring& text, unsigned char* const timecode);
LYAVUTILS_API void GetFrameRateClass(uint32_t numerator, uint32_t denominator, ELyFrameRate& rate);
LYAVUTILS_API uint32_t FrameRateFramesConvert(uint32_t frames, ELyFrameRate from, ELyFrameRate to);
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

LYAVUTILS_API CRect FrameRectToFieldRect(CRect rect, ELyScanMode scanMode, ELyPolarity polarity);
LYAVUTILS_API CRect FieldRectToFrameRect(CRect rect, ELyScanMode scanMode, ELyPolarity polarity);
LYAVUTILS_API float GetTexVertCenterOffset(ELyScanMode scanMode, ELyPolarity polarity);
LYAVUTILS_API void CorrectFieldTexUV(float* uv, unsigned count, uint32_t textureHeight, ELyScanMode scanMode,
                                     ELyPolarity polarity);
LYAVUTILS_API int EstimateVideoResFrameSize(const SLyVideoResolutionVer0& resolution, SIZE& frameSize);
LYAVUTILS_API void ConvertVer0Resolution(const SLyVideoResolutionVer0& source, SLyVideoResolution& destination);
LYAVUTILS_API int IsHDResolution(const SLyVideoResolution& resolution);
LYAVUTILS_API int IsEqualResolution(const SLyVideoResolution& a, const SLyVideoResolution& b);
LYAVUTILS_API void AVDescriptionFRC(const SLyVideoResolution& output, SLyAudioVideoFileInfo& info);
LYAVUTILS_API void ElementPropsFRC(const SLyVideoResolution& output, const SLyAudioVideoFileInfo& info,
                                   SLyPlayListElementProps& props);
LYAVUTILS_API void ElementPropsAliasFRC(const SLyVideoResolution& output, const SLyAudioVideoFileInfo& info,
                                        SLyPlayListElementProps& props);

}  // namespace LyVideoUtils

#endif
