#ifndef LYAVUTILS_TYPES_H
#define LYAVUTILS_TYPES_H

// Shared value types, enumerations, records and host interfaces of LyAVUtils.
//
// Conventions used by every family:
//  * An image is a pointer to the first byte of its top row, a signed pitch in
//    bytes (negative pitches walk bottom-up storage) and a width and height in
//    pixels. No alignment is required of pointers or pitches.
//  * 32-bit pixels are the bytes B, G, R, A (PixelFormat_BGRA4444) or V, U, Y, A
//    (PixelFormat_VUYA4444) in memory order; alpha is straight, 0 transparent.
//  * Operations that can fail return int 1 for success and 0 for refusal, and
//    refuse before anything is written.
//  * Enumerations are plain (unscoped) with an int underlying type so that any
//    value can be passed; values outside the listed ones are refused where the
//    operation says so.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "LyAVUtilsExport.h"

// ------------------------------------------------------------ plain geometry

struct RECT {
    int32_t left;
    int32_t top;
    int32_t right;
    int32_t bottom;
};

struct tagSIZE {
    int32_t cx;
    int32_t cy;
};
typedef tagSIZE SIZE;

// A RECT with constructors; it adds no data, so a CRect is a RECT.
struct CRect : RECT {
    constexpr CRect() : RECT{0, 0, 0, 0} {}
    constexpr CRect(int32_t l, int32_t t, int32_t r, int32_t b) : RECT{l, t, r, b} {}
    constexpr CRect(const RECT& r) : RECT(r) {}
    constexpr int32_t Width() const { return right - left; }
    constexpr int32_t Height() const { return bottom - top; }
};

struct PointF {
    float x;
    float y;
};

struct RectF {
    float x;
    float y;
    float width;
    float height;
};

// ------------------------------------------------------------ pixel formats

enum ELyPixelFormat : int {
    PixelFormat_Unknown = 0,
    PixelFormat_BGRA4444 = 1,
    PixelFormat_VUYA4444 = 2,
    PixelFormat_UYVY422 = 3,
    PixelFormat_YUV411Planar = 4,
    PixelFormat_YUV420Planar = 5,
    PixelFormat_YUV422Planar = 6,
    PixelFormat_YUYVA422 = 7,
};

// Both studio range (luma 16..235, chroma centred on 128).
enum ELyColorimetry : int {
    Colorimetry_BT601 = 0,
    Colorimetry_BT709 = 1,
};

// Values 2 and 4 are accepted by the fills and produce no colour.
enum ELyFixedColor : int {
    FixedColor_Black = 1,
    FixedColor_White = 3,
    FixedColor_Red = 5,
    FixedColor_Green = 6,
    FixedColor_Blue = 7,
};

enum ELyMaskOperator : int {
    MaskOperator_Add = 0,
    MaskOperator_Subtract = 1,
    MaskOperator_Difference = 2,
    MaskOperator_Min = 3,
};

enum ELyDeflickerQuality : int {
    DeflickerQuality_Low = 1,
    DeflickerQuality_Medium = 2,
    DeflickerQuality_High = 3,
};

enum ELyBlendingMode : int {
    BlendingMode_Mix = 0,
    BlendingMode_AverageWithRowAbove = 1,
    BlendingMode_AverageWithRowBelow = 2,
    BlendingMode_AverageWithRowBelowNoEdge = 3,
};

// How the planar converters resample chroma between the planar formats and
// 4:2:2 (LyFormatUtils::YUVPlanerToUYVY422 / UYVY422ToYUVPlaner describe the
// exact rules and the siting).
enum ELyChromaMode : int {
    ChromaMode_Nearest = 0,   // drop samples going down, repeat them going up
    ChromaMode_Filtered = 1,  // average going down, interpolate going up
};

// ------------------------------------------------------------ video timing and geometry

enum ELyFrameRate : int {
    FrameRate_Unknown = -1,
    FrameRate_23_98 = 0,
    FrameRate_24 = 1,
    FrameRate_25 = 2,
    FrameRate_29_97 = 3,
    FrameRate_30 = 4,
    FrameRate_50 = 5,
    FrameRate_59_94 = 6,
    FrameRate_60 = 7,
};

enum ELyAspectRatio : int {
    AspectRatio_4_3 = 0,
    AspectRatio_16_9 = 1,
    AspectRatio_Square = 2,
    AspectRatio_Custom = 3,
    AspectRatio_27_20 = 4,
    AspectRatio_9_5 = 5,
};

enum ELyAspectConvertType : int {
    AspectConvert_Same = 0,
    AspectConvert_ToWider = 1,
    AspectConvert_ToNarrower = 2,
};

enum ELyVideoScaleType : int {
    VideoScale_Fit = 0,
    VideoScale_Fill = 1,
    VideoScale_Stretch = 2,
};

enum ELyAspectConvertMode : int {
    AspectConvertMode_Stretch = 0,
    AspectConvertMode_Fit = 1,
    AspectConvertMode_Fill = 2,
};

enum ELyScanMode : int {
    ScanMode_UpperFirst = 0,   // first field in time holds the even rows
    ScanMode_LowerFirst = 1,   // first field in time holds the odd rows
    ScanMode_Progressive = 2,
};

// 0 and 1 are fields; 2 and 3 are two whole-frame values treated alike by the
// operations (the field texture correction is the one place that tests for 3).
enum ELyPolarity : int {
    Polarity_First = 0,
    Polarity_Second = 1,
    Polarity_Frame = 2,
    Polarity_FrameAlternate = 3,
};

struct SLyVideoScaleSourceParam {
    int32_t width;
    int32_t height;
    int32_t aspectX;
    int32_t aspectY;
};

struct SLyVideoScaleResultData {
    int32_t srcX;
    int32_t srcY;
    int32_t srcWidth;
    int32_t srcHeight;
    int32_t dstX;
    int32_t dstY;
    int32_t dstWidth;
    int32_t dstHeight;
};

struct SLyVideoResolutionVer0 {
    uint16_t width;    // display width in square pixels
    uint16_t height;   // rows
    int32_t reserved1;
    int32_t reserved2;
    ELyAspectRatio aspectRatio;
    ELyFrameRate frameRate;
    int32_t reserved3;
    int32_t reserved4;
};

struct SLyVideoResolution {
    uint16_t width;    // display width in square pixels
    uint16_t height;   // rows
    int32_t reserved1;
    int32_t reserved2;
    ELyAspectRatio aspectRatio;
    ELyFrameRate frameRate;
    int32_t reserved3;
    int32_t reserved4;
    SIZE frameSize;    // stored frame size in pixels
};

// One stream of a media file as the re-timing functions see it.
struct SLyMediaStreamInfo {
    ELyFrameRate frameRate;
    uint32_t frameCount;
};

// Capacity of SLyAudioVideoFileInfo::streams. The re-timing functions process
// min(streamCount, LY_MAX_MEDIA_STREAMS) entries, so a larger count is never
// read past the end of the array.
#define LY_MAX_MEDIA_STREAMS 16

// The host's description of a media file, reduced to what re-timing needs.
// The first entry's frameRate is the file's rate.
struct SLyAudioVideoFileInfo {
    uint32_t mediaKind;      // re-timing happens only when this exceeds 65535
    uint16_t streamCount;
    uint16_t reserved;
    uint32_t totalFrames;
    SLyMediaStreamInfo streams[LY_MAX_MEDIA_STREAMS];
};

struct SLyPlayListElementProps {
    uint32_t trimIn;
    uint32_t trimOut;
    uint32_t trimLength;
};

// ------------------------------------------------------------ surfaces

struct SLySurfaceDescription {
    int width;
    int height;                  // a field surface holds half the frame's rows
    unsigned char bitDepth;      // 8 or 16
    ELyPixelFormat pixelFormat;
    ELyPolarity polarity;        // 0 or 1: one field; other values: whole frame
    ELyScanMode scanMode;
    int left;                    // position in the frame
    int top;
    ELyColorimetry colorimetry;
    ELyAspectRatio aspectRatio;  // display aspect of the frame
    int reserved;
    int shaped;                  // nonzero: colour premultiplied by alpha
    int customAspectX;           // used when aspectRatio is AspectRatio_Custom
    int customAspectY;
    int spare;
    int pitch;
};

// The first eleven fields of SLySurfaceDescription, same order and types.
struct SLySurfaceCreateDesc {
    int width;
    int height;
    unsigned char bitDepth;
    ELyPixelFormat pixelFormat;
    ELyPolarity polarity;
    ELyScanMode scanMode;
    int left;
    int top;
    ELyColorimetry colorimetry;
    ELyAspectRatio aspectRatio;
    int reserved;
};

struct SLyLockSurface {
    int width;
    int height;
    int pitch;
    unsigned char* bits;
};

// A 4x4 float matrix in the row-vector convention: a point is the row vector
// (x, y, z, 1) and is transformed as p * M, so the translation sits in m[3][0..2].
struct SLyMatrix4x4 {
    float m[4][4];
};

// ------------------------------------------------------------ host interfaces
//
// The host implements these; the library calls them only on the calling
// thread, and only at the slots named below. Each slot's position in the
// table of virtual operations is part of the contract, so slots the library
// never calls are kept as HostReservedN placeholders and must stay in place.
// Results the library ignores are stated per operation; a Lock must not fail
// for a valid surface.

// What ILyVideoSurface::GetSyncObject hands out: pending work on a surface.
class ILySyncObject {
public:
    virtual int32_t QueryInterface(const void* iid, void** object) = 0;
    virtual uint32_t AddRef() = 0;
    virtual uint32_t Release() = 0;
    virtual void HostReserved3() = 0;
    virtual void HostReserved4() = 0;
    // Slot 5: wait up to `milliseconds` for the pending work; result ignored.
    virtual int Wait(uint32_t milliseconds) = 0;

protected:
    ~ILySyncObject() = default;
};

// One picture of the host: a whole frame or one field, placed in the frame.
class ILyVideoSurface {
public:
    virtual int32_t QueryInterface(const void* iid, void** object) = 0;
    virtual uint32_t AddRef() = 0;
    virtual uint32_t Release() = 0;
    virtual void HostReserved3() = 0;
    virtual void HostReserved4() = 0;
    // Slot 5: set the display aspect; for AspectRatio_Custom x:y is the ratio.
    virtual int SetAspectRatio(ELyAspectRatio kind, int x, int y) = 0;
    virtual void HostReserved6() = 0;
    // Slot 7: record whether colour is premultiplied (the library passes 0).
    virtual int SetShaped(int shaped) = 0;
    virtual void HostReserved8() = 0;
    virtual void HostReserved9() = 0;
    // Slot 10: fill the whole record; callable without a lock.
    virtual int GetDescription(SLySurfaceDescription* description) = 0;
    virtual void HostReserved11() = 0;
    virtual void HostReserved12() = 0;
    // Slot 13: make the pixels addressable; `flags` is always 0.
    virtual int Lock(int flags, SLyLockSurface* lock) = 0;
    // Slot 14: end the lock opened by Lock; `flags` is always 0.
    virtual int Unlock(int flags) = 0;
    virtual void HostReserved15() = 0;
    // Slot 16: width of one pixel divided by its height, on display.
    virtual double GetPixelAspectRatio() = 0;
    // Slot 17: an object controlling pending work on the surface, holding one
    // reference for the caller, or null. The library sets *object to null first.
    virtual int GetSyncObject(ILySyncObject** object) = 0;

protected:
    ~ILyVideoSurface() = default;
};

// Makes new surfaces for CloneSurface and ImageBufferToVideoSurface.
class ILyVideoSurfacePool {
public:
    virtual int32_t QueryInterface(const void* iid, void** object) = 0;
    virtual uint32_t AddRef() = 0;
    virtual uint32_t Release() = 0;
    virtual void HostReserved3() = 0;
    // Slot 4: make a surface holding one reference the caller owns; nonzero on
    // success. `flags` is always 0; *surface is set to null before the call.
    virtual int CreateSurface(int flags, const SLySurfaceCreateDesc* description, ILyVideoSurface** surface) = 0;

protected:
    ~ILyVideoSurfacePool() = default;
};

// An 8-bit mask (one byte a pixel, 255 opaque) placed in the frame.
class ILyMaskSurface {
public:
    virtual int32_t QueryInterface(const void* iid, void** object) = 0;
    virtual uint32_t AddRef() = 0;
    virtual uint32_t Release() = 0;
    virtual void HostReserved3() = 0;
    virtual void HostReserved4() = 0;
    virtual void HostReserved5() = 0;
    // Slot 6: the mask's rectangle in frame coordinates.
    virtual int GetRect(RECT* rect) = 0;
    virtual void HostReserved7() = 0;
    // Slot 8: make the bytes addressable; the library reads `pitch` and `bits`.
    virtual int Lock(SLyLockSurface* lock) = 0;
    // Slot 9: end the lock.
    virtual int Unlock() = 0;

protected:
    ~ILyMaskSurface() = default;
};

// A decoded video sample carrying one frame surface or two field surfaces.
class ILyAVSample {
public:
    virtual int32_t QueryInterface(const void* iid, void** object) = 0;
    virtual uint32_t AddRef() = 0;
    virtual uint32_t Release() = 0;
    virtual void HostReserved3() = 0;
    virtual void HostReserved4() = 0;
    virtual void HostReserved5() = 0;
    // Slot 6: append the sample's surfaces (one frame, or the first field then
    // the second), each carrying one reference the library releases; nonzero
    // on success.
    virtual int GetSurfaces(std::vector<ILyVideoSurface*>& surfaces) = 0;

protected:
    ~ILyAVSample() = default;
};

// ------------------------------------------------------------ audio

struct SLyWaveFormatInfo {
    int32_t channels;
    uint32_t formatTag;          // carried, never read
    uint32_t samplesPerSec;
    uint32_t avgBytesPerSec;
    uint16_t bitsPerSample;      // 8 (unsigned) or 16 (signed little-endian)
    uint16_t blockAlign;         // bytes per sample frame, all channels
};

struct SLyAudioResamplerSrc {
    uint32_t channels;           // carried, never read
    uint32_t samplesPerSec;
    uint16_t bitsPerSample;      // carried, never read
    uint16_t blockAlign;
};

enum ELyAudioChannelOption : int {
    AudioChannel_Normal = 0,
    AudioChannel_LeftToBoth = 1,
    AudioChannel_RightToBoth = 2,
    AudioChannel_Swap = 3,
    AudioChannel_Mute = 4,
};

// What ILyAudioSample::LockAudioData hands out. The library reads `samples`
// (interleaved samples) and `frames` (sample frames); `bytes` is the host's.
struct SLyAudioSampleData {
    unsigned char* samples;
    uint32_t bytes;
    uint32_t frames;
};

// A decoded audio sample implemented by the host. The level meter calls the
// three audio operations, which sit in slots 6, 7 and 8 of the table of
// virtual operations; the first six slots belong to the host and are never
// called by the library.
class ILyAudioSample {
public:
    virtual int32_t QueryInterface(const void* iid, void** object) = 0;
    virtual uint32_t AddRef() = 0;
    virtual uint32_t Release() = 0;
    virtual void HostReserved3() = 0;
    virtual void HostReserved4() = 0;
    virtual void HostReserved5() = 0;
    // Slot 6: fill `format` with the sample's wave format.
    virtual int GetAudioFormat(SLyWaveFormatInfo* format) = 0;
    // Slot 7: make the samples addressable and describe them in `data`.
    virtual int LockAudioData(SLyAudioSampleData* data) = 0;
    // Slot 8: end what LockAudioData began.
    virtual void UnlockAudioData() = 0;

protected:
    ~ILyAudioSample() = default;
};

#endif
