#include "LyMemoryHost.h"

#include <cstring>
#include <new>

#include "LyVideoUtils.h"

namespace LyMemoryHost {

namespace {

// The host never answers QueryInterface: the library does not ask, and a
// starting host has nothing beyond the interfaces themselves to offer.
constexpr int32_t kNoInterface = static_cast<int32_t>(0x80004002u);

int32_t NoInterface(void** object) {
    if (object) *object = nullptr;
    return kNoInterface;
}

bool PackedFormat(ELyPixelFormat format) {
    return format == PixelFormat_BGRA4444 || format == PixelFormat_VUYA4444 || format == PixelFormat_UYVY422 ||
           format == PixelFormat_YUYVA422;
}

// Keeps a single allocation well inside what a size_t and an int pitch hold.
constexpr uint64_t kMaxBytes = uint64_t{1} << 31;

// Reserves `bytes` zeroed bytes; false when the memory cannot be had.
bool Allocate(std::vector<unsigned char>& memory, uint64_t bytes) {
    if (bytes == 0 || bytes > kMaxBytes) return false;
    try {
        memory.assign(static_cast<size_t>(bytes), 0);
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

}  // namespace

// ------------------------------------------------------------ sync object

CLyMemorySyncObject* CLyMemorySyncObject::Create() { return new (std::nothrow) CLyMemorySyncObject(); }

int32_t CLyMemorySyncObject::QueryInterface(const void*, void** object) { return NoInterface(object); }
uint32_t CLyMemorySyncObject::AddRef() { return refs_.fetch_add(1) + 1; }
uint32_t CLyMemorySyncObject::Release() {
    const uint32_t left = refs_.fetch_sub(1) - 1;
    if (left == 0) delete this;
    return left;
}
int CLyMemorySyncObject::Wait(uint32_t milliseconds) {
    lastWait_.store(milliseconds);
    waits_.fetch_add(1);
    return 1;
}

// ------------------------------------------------------------ surface

CLyMemorySurface* CLyMemorySurface::Create(const SLySurfaceCreateDesc& d, int pitch) {
    if (!PackedFormat(d.pixelFormat) || (d.bitDepth != 8 && d.bitDepth != 16)) return nullptr;
    if (d.width < 1 || d.height < 1) return nullptr;
    const uint64_t line = LyVideoUtils::GetPixelLineBytes(d.pixelFormat, d.bitDepth, d.width);
    const uint64_t padded = LyVideoUtils::GetPixelLineBytesWithPitch(d.pixelFormat, d.bitDepth, d.width);
    // The size helpers work in 32 bits; a width they cannot size is refused.
    if (line == 0 || padded < line || uint64_t(d.width) * 4 > kMaxBytes) return nullptr;
    if (pitch != 0 && (pitch < 0 || uint64_t(pitch) < line)) return nullptr;
    const uint64_t rowPitch = pitch != 0 ? uint64_t(pitch) : padded;
    const uint64_t planes = d.pixelFormat == PixelFormat_YUYVA422 ? 2 : 1;
    if (rowPitch > kMaxBytes) return nullptr;
    const uint64_t bytes = rowPitch * uint64_t(d.height) * planes;

    CLyMemorySurface* s = new (std::nothrow) CLyMemorySurface();
    if (!s) return nullptr;
    s->sync_ = CLyMemorySyncObject::Create();
    if (!s->sync_ || !Allocate(s->memory_, bytes)) {
        delete s;
        return nullptr;
    }
    SLySurfaceDescription& o = s->description_;
    o.width = d.width;
    o.height = d.height;
    o.bitDepth = d.bitDepth;
    o.pixelFormat = d.pixelFormat;
    o.polarity = d.polarity;
    o.scanMode = d.scanMode;
    o.left = d.left;
    o.top = d.top;
    o.colorimetry = d.colorimetry;
    o.aspectRatio = d.aspectRatio;
    o.reserved = d.reserved;
    o.pitch = static_cast<int>(rowPitch);
    return s;
}

CLyMemorySurface::~CLyMemorySurface() {
    if (sync_) sync_->Release();
}

int32_t CLyMemorySurface::QueryInterface(const void*, void** object) { return NoInterface(object); }
uint32_t CLyMemorySurface::AddRef() { return refs_.fetch_add(1) + 1; }
uint32_t CLyMemorySurface::Release() {
    const uint32_t left = refs_.fetch_sub(1) - 1;
    if (left == 0) delete this;
    return left;
}

int CLyMemorySurface::SetAspectRatio(ELyAspectRatio kind, int x, int y) {
    description_.aspectRatio = kind;
    if (kind == AspectRatio_Custom) {
        description_.customAspectX = x;
        description_.customAspectY = y;
    }
    return 1;
}

int CLyMemorySurface::SetShaped(int shaped) {
    description_.shaped = shaped;
    return 1;
}

int CLyMemorySurface::GetDescription(SLySurfaceDescription* description) {
    if (!description) return 0;
    *description = description_;
    return 1;
}

int CLyMemorySurface::Lock(int, SLyLockSurface* lock) {
    if (!lock) return 0;
    lock->width = description_.width;
    lock->height = description_.height;
    lock->pitch = description_.pitch;
    lock->bits = memory_.data();
    locks_.fetch_add(1);
    return 1;
}

int CLyMemorySurface::Unlock(int) {
    int depth = locks_.load();
    while (depth > 0 && !locks_.compare_exchange_weak(depth, depth - 1)) {
    }
    return depth > 0 ? 1 : 0;
}

double CLyMemorySurface::GetPixelAspectRatio() { return LyVideoUtils::GetPixelAspectRatio(description_); }

int CLyMemorySurface::GetSyncObject(ILySyncObject** object) {
    if (!object) return 0;
    *object = sync_;
    sync_->AddRef();
    return 1;
}

unsigned char* CLyMemorySurface::AlphaBits() {
    if (description_.pixelFormat != PixelFormat_YUYVA422) return nullptr;
    return memory_.data() + static_cast<size_t>(description_.pitch) * static_cast<size_t>(description_.height);
}

void CLyMemorySurface::SetPosition(int left, int top) {
    description_.left = left;
    description_.top = top;
}

void CLyMemorySurface::SetFieldInfo(ELyScanMode scanMode, ELyPolarity polarity) {
    description_.scanMode = scanMode;
    description_.polarity = polarity;
}

void CLyMemorySurface::SetColorimetry(ELyColorimetry colorimetry) { description_.colorimetry = colorimetry; }

// ------------------------------------------------------------ pool

CLyMemorySurfacePool* CLyMemorySurfacePool::Create(int extraPitch) {
    if (extraPitch < 0) return nullptr;
    CLyMemorySurfacePool* p = new (std::nothrow) CLyMemorySurfacePool();
    if (p) p->extraPitch_ = extraPitch;
    return p;
}

int32_t CLyMemorySurfacePool::QueryInterface(const void*, void** object) { return NoInterface(object); }
uint32_t CLyMemorySurfacePool::AddRef() { return refs_.fetch_add(1) + 1; }
uint32_t CLyMemorySurfacePool::Release() {
    const uint32_t left = refs_.fetch_sub(1) - 1;
    if (left == 0) delete this;
    return left;
}

int CLyMemorySurfacePool::CreateSurface(int, const SLySurfaceCreateDesc* description, ILyVideoSurface** surface) {
    if (surface) *surface = nullptr;
    if (!description || !surface) return 0;
    int pitch = 0;
    if (extraPitch_ != 0 && (description->pixelFormat == PixelFormat_BGRA4444 ||
                             description->pixelFormat == PixelFormat_VUYA4444 ||
                             description->pixelFormat == PixelFormat_UYVY422 ||
                             description->pixelFormat == PixelFormat_YUYVA422)) {
        const uint64_t padded = LyVideoUtils::GetPixelLineBytesWithPitch(description->pixelFormat,
                                                                         description->bitDepth, description->width);
        if (padded + uint64_t(extraPitch_) > kMaxBytes) return 0;
        pitch = static_cast<int>(padded + uint64_t(extraPitch_));
    }
    CLyMemorySurface* s = CLyMemorySurface::Create(*description, pitch);
    if (!s) return 0;
    created_.fetch_add(1);
    *surface = s;
    return 1;
}

// ------------------------------------------------------------ mask

CLyMemoryMaskSurface* CLyMemoryMaskSurface::Create(const RECT& rect, int pitch) {
    const int64_t width = int64_t{rect.right} - rect.left;
    const int64_t height = int64_t{rect.bottom} - rect.top;
    if (width < 1 || height < 1 || uint64_t(width) > kMaxBytes) return nullptr;
    if (pitch != 0 && (pitch < 0 || pitch < width)) return nullptr;
    const uint64_t rowPitch = pitch != 0 ? uint64_t(pitch) : (uint64_t(width) + 15) & ~uint64_t{15};
    if (rowPitch > kMaxBytes) return nullptr;
    CLyMemoryMaskSurface* m = new (std::nothrow) CLyMemoryMaskSurface();
    if (!m) return nullptr;
    if (!Allocate(m->memory_, rowPitch * uint64_t(height))) {
        delete m;
        return nullptr;
    }
    m->rect_ = rect;
    m->pitch_ = static_cast<int>(rowPitch);
    return m;
}

int32_t CLyMemoryMaskSurface::QueryInterface(const void*, void** object) { return NoInterface(object); }
uint32_t CLyMemoryMaskSurface::AddRef() { return refs_.fetch_add(1) + 1; }
uint32_t CLyMemoryMaskSurface::Release() {
    const uint32_t left = refs_.fetch_sub(1) - 1;
    if (left == 0) delete this;
    return left;
}

int CLyMemoryMaskSurface::GetRect(RECT* rect) {
    if (!rect) return 0;
    *rect = rect_;
    return 1;
}

int CLyMemoryMaskSurface::Lock(SLyLockSurface* lock) {
    if (!lock) return 0;
    lock->width = rect_.right - rect_.left;
    lock->height = rect_.bottom - rect_.top;
    lock->pitch = pitch_;
    lock->bits = memory_.data();
    locks_.fetch_add(1);
    return 1;
}

int CLyMemoryMaskSurface::Unlock() {
    int depth = locks_.load();
    while (depth > 0 && !locks_.compare_exchange_weak(depth, depth - 1)) {
    }
    return depth > 0 ? 1 : 0;
}

// ------------------------------------------------------------ sample

CLyMemoryAVSample* CLyMemoryAVSample::Create(ILyVideoSurface* frame) {
    if (!frame) return nullptr;
    CLyMemoryAVSample* s = new (std::nothrow) CLyMemoryAVSample();
    if (!s) return nullptr;
    frame->AddRef();
    s->surfaces_.push_back(frame);
    return s;
}

CLyMemoryAVSample* CLyMemoryAVSample::Create(ILyVideoSurface* firstField, ILyVideoSurface* secondField) {
    if (!firstField || !secondField) return nullptr;
    CLyMemoryAVSample* s = new (std::nothrow) CLyMemoryAVSample();
    if (!s) return nullptr;
    try {
        s->surfaces_.reserve(2);
    } catch (const std::bad_alloc&) {
        delete s;
        return nullptr;
    }
    firstField->AddRef();
    secondField->AddRef();
    s->surfaces_.push_back(firstField);
    s->surfaces_.push_back(secondField);
    return s;
}

CLyMemoryAVSample::~CLyMemoryAVSample() {
    for (ILyVideoSurface* s : surfaces_) s->Release();
}

int32_t CLyMemoryAVSample::QueryInterface(const void*, void** object) { return NoInterface(object); }
uint32_t CLyMemoryAVSample::AddRef() { return refs_.fetch_add(1) + 1; }
uint32_t CLyMemoryAVSample::Release() {
    const uint32_t left = refs_.fetch_sub(1) - 1;
    if (left == 0) delete this;
    return left;
}

int CLyMemoryAVSample::GetSurfaces(std::vector<ILyVideoSurface*>& surfaces) {
    try {
        surfaces.reserve(surfaces.size() + surfaces_.size());
    } catch (const std::bad_alloc&) {
        return 0;
    }
    for (ILyVideoSurface* s : surfaces_) {
        s->AddRef();
        surfaces.push_back(s);
    }
    return 1;
}

}  // namespace LyMemoryHost
