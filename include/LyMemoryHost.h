#ifndef LYAVUTILS_MEMORYHOST_H
#define LYAVUTILS_MEMORYHOST_H

// A host for the surface operations that keeps every picture in plain memory:
// surfaces, a pool that makes them, 8-bit masks, video samples and sync
// objects. It is a separate library (CMake target LyAVUtils::MemoryHost,
// not part of the umbrella header) meant as a starting point for a real host
// and as the host of tools and tests.
//
// All objects are reference counted: a factory hands out an object holding
// one reference for the caller, AddRef adds one, Release drops one and
// deletes the object when none are left. Counting is atomic, so references
// may be dropped from any thread; the pixel memory itself is not guarded.
// Lock and Unlock do not block: the memory is always addressable and a lock
// only reports where it is.

#include <atomic>
#include <cstdint>
#include <vector>

#include "LyAVUtilsTypes.h"

namespace LyMemoryHost {

// Pending work on a surface. Nothing is ever pending in memory, so Wait
// returns 1 at once; it counts the calls so a host can see that the library
// waited before reading.
class CLyMemorySyncObject final : public ILySyncObject {
public:
    static CLyMemorySyncObject* Create();

    int32_t QueryInterface(const void* iid, void** object) override;
    uint32_t AddRef() override;
    uint32_t Release() override;
    void HostReserved3() override {}
    void HostReserved4() override {}
    int Wait(uint32_t milliseconds) override;

    uint32_t WaitCount() const { return waits_.load(); }
    uint32_t LastWaitMilliseconds() const { return lastWait_.load(); }
    uint32_t References() const { return refs_.load(); }

private:
    CLyMemorySyncObject() = default;
    ~CLyMemorySyncObject() = default;
    std::atomic<uint32_t> refs_{1};
    std::atomic<uint32_t> waits_{0};
    std::atomic<uint32_t> lastWait_{0};
};

// One picture in memory: a whole frame or one field, placed in the frame.
//
// Formats: PixelFormat_BGRA4444, PixelFormat_VUYA4444, PixelFormat_UYVY422
// and PixelFormat_YUYVA422, each at bit depth 8 or 16. Rows are `pitch`
// bytes apart; the default pitch is the line size padded to 16 pixels
// (GetPixelLineBytesWithPitch), and a larger one may be asked for. For
// PixelFormat_YUYVA422 the alpha plane follows the picture: it starts
// `height` rows below `bits` and has the same pitch and the same size. New
// memory is zeroed.
//
// The description reports width, height, bitDepth, pixelFormat, polarity,
// scanMode, left, top, colorimetry, aspectRatio and reserved as created (or
// as changed by the setters below), shaped, customAspectX and customAspectY
// as set (0 at first), spare 0 and the pitch. GetPixelAspectRatio is the
// library's GetPixelAspectRatio of that description. GetSyncObject hands
// out the surface's own sync object with one added reference.
class CLyMemorySurface final : public ILyVideoSurface {
public:
    // Null when the format or depth is not one of the above, width or height
    // is below 1, `pitch` (when nonzero) is smaller than one line, or the
    // memory cannot be had.
    static CLyMemorySurface* Create(const SLySurfaceCreateDesc& description, int pitch = 0);

    int32_t QueryInterface(const void* iid, void** object) override;
    uint32_t AddRef() override;
    uint32_t Release() override;
    void HostReserved3() override {}
    void HostReserved4() override {}
    // Kind 3 (custom) stores x:y as customAspectX:customAspectY; other kinds
    // leave those two as they are.
    int SetAspectRatio(ELyAspectRatio kind, int x, int y) override;
    void HostReserved6() override {}
    int SetShaped(int shaped) override;
    void HostReserved8() override {}
    void HostReserved9() override {}
    int GetDescription(SLySurfaceDescription* description) override;
    void HostReserved11() override {}
    void HostReserved12() override {}
    // Fills width, height, pitch and bits; 0 for a null record. Locks nest:
    // each Lock wants one Unlock.
    int Lock(int flags, SLyLockSurface* lock) override;
    // 0 when nothing is locked.
    int Unlock(int flags) override;
    void HostReserved15() override {}
    double GetPixelAspectRatio() override;
    int GetSyncObject(ILySyncObject** object) override;

    // Host-side access.
    unsigned char* Bits() { return memory_.data(); }
    // First byte of the alpha plane, or null when the format has none.
    unsigned char* AlphaBits();
    int Pitch() const { return description_.pitch; }
    int Width() const { return description_.width; }
    int Height() const { return description_.height; }
    // Bytes of every plane together (pitch * height, twice for YUYVA).
    size_t ByteSize() const { return memory_.size(); }
    const SLySurfaceDescription& Description() const { return description_; }
    void SetPosition(int left, int top);
    void SetFieldInfo(ELyScanMode scanMode, ELyPolarity polarity);
    void SetColorimetry(ELyColorimetry colorimetry);
    uint32_t References() const { return refs_.load(); }
    int LockDepth() const { return locks_.load(); }
    CLyMemorySyncObject* SyncObject() { return sync_; }

private:
    CLyMemorySurface() = default;
    ~CLyMemorySurface();
    std::atomic<uint32_t> refs_{1};
    std::atomic<int> locks_{0};
    SLySurfaceDescription description_{};
    std::vector<unsigned char> memory_;
    CLyMemorySyncObject* sync_ = nullptr;
};

// Makes CLyMemorySurface objects. Every surface it makes gets `extraPitch`
// bytes more than the default pitch (0 at first), so that operations can be
// checked against padded rows.
class CLyMemorySurfacePool final : public ILyVideoSurfacePool {
public:
    static CLyMemorySurfacePool* Create(int extraPitch = 0);

    int32_t QueryInterface(const void* iid, void** object) override;
    uint32_t AddRef() override;
    uint32_t Release() override;
    void HostReserved3() override {}
    // 1 and a new surface holding one reference, or 0 and null for a null
    // record or a record CLyMemorySurface::Create refuses.
    int CreateSurface(int flags, const SLySurfaceCreateDesc* description, ILyVideoSurface** surface) override;

    uint32_t References() const { return refs_.load(); }
    uint32_t Created() const { return created_.load(); }

private:
    CLyMemorySurfacePool() = default;
    ~CLyMemorySurfacePool() = default;
    std::atomic<uint32_t> refs_{1};
    std::atomic<uint32_t> created_{0};
    int extraPitch_ = 0;
};

// An 8-bit mask (one byte a pixel) covering `rect` in the frame. The default
// pitch is the width rounded up to 16 bytes. New memory is zeroed.
class CLyMemoryMaskSurface final : public ILyMaskSurface {
public:
    // Null when the rectangle is less than one pixel wide or high, `pitch`
    // (when nonzero) is below the width, or the memory cannot be had.
    static CLyMemoryMaskSurface* Create(const RECT& rect, int pitch = 0);

    int32_t QueryInterface(const void* iid, void** object) override;
    uint32_t AddRef() override;
    uint32_t Release() override;
    void HostReserved3() override {}
    void HostReserved4() override {}
    void HostReserved5() override {}
    int GetRect(RECT* rect) override;
    void HostReserved7() override {}
    // Fills width, height, pitch and bits; 0 for a null record.
    int Lock(SLyLockSurface* lock) override;
    int Unlock() override;

    unsigned char* Bits() { return memory_.data(); }
    int Pitch() const { return pitch_; }
    const RECT& Rect() const { return rect_; }
    uint32_t References() const { return refs_.load(); }
    int LockDepth() const { return locks_.load(); }

private:
    CLyMemoryMaskSurface() = default;
    ~CLyMemoryMaskSurface() = default;
    std::atomic<uint32_t> refs_{1};
    std::atomic<int> locks_{0};
    RECT rect_{};
    int pitch_ = 0;
    std::vector<unsigned char> memory_;
};

// A video sample of one frame surface or two field surfaces (first, then
// second). It holds one reference to each surface; GetSurfaces appends them
// with one added reference each, which the receiver releases.
class CLyMemoryAVSample final : public ILyAVSample {
public:
    // Null when `frame` is null.
    static CLyMemoryAVSample* Create(ILyVideoSurface* frame);
    // Null when either field is null.
    static CLyMemoryAVSample* Create(ILyVideoSurface* firstField, ILyVideoSurface* secondField);

    int32_t QueryInterface(const void* iid, void** object) override;
    uint32_t AddRef() override;
    uint32_t Release() override;
    void HostReserved3() override {}
    void HostReserved4() override {}
    void HostReserved5() override {}
    int GetSurfaces(std::vector<ILyVideoSurface*>& surfaces) override;

    uint32_t References() const { return refs_.load(); }

private:
    CLyMemoryAVSample() = default;
    ~CLyMemoryAVSample();
    std::atomic<uint32_t> refs_{1};
    std::vector<ILyVideoSurface*> surfaces_;
};

// Plain factory functions; each result holds one reference for the caller
// (see the classes above for when they give null).
inline ILyVideoSurface* CreateSurface(const SLySurfaceCreateDesc& description, int pitch = 0) {
    return CLyMemorySurface::Create(description, pitch);
}
inline ILyVideoSurfacePool* CreatePool(int extraPitch = 0) { return CLyMemorySurfacePool::Create(extraPitch); }
inline ILyMaskSurface* CreateMaskSurface(const RECT& rect, int pitch = 0) {
    return CLyMemoryMaskSurface::Create(rect, pitch);
}
inline ILyAVSample* CreateAVSample(ILyVideoSurface* frame) { return CLyMemoryAVSample::Create(frame); }
inline ILyAVSample* CreateAVSample(ILyVideoSurface* firstField, ILyVideoSurface* secondField) {
    return CLyMemoryAVSample::Create(firstField, secondField);
}
inline ILySyncObject* CreateSyncObject() { return CLyMemorySyncObject::Create(); }

}  // namespace LyMemoryHost

#endif
