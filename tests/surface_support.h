#ifndef LYAVUTILS_TESTS_SURFACE_SUPPORT_H
#define LYAVUTILS_TESTS_SURFACE_SUPPORT_H

// A recording host for the surface tests: wrappers around the in-memory host
// objects that write every interface call into one global ordered log, so a
// test can prove lock and unlock order and balance, that a refusal locks
// nothing, and where references end. The log reads like "dst.Lock
// src.Unlock dst.sync.Wait(1000) pool.CreateSurface".

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "LyAVUtilsTypes.h"
#include "LyMemoryHost.h"

namespace lytest {

std::vector<std::string>& CallLog();
inline void ClearCallLog() { CallLog().clear(); }
inline void LogCall(const std::string& entry) { CallLog().push_back(entry); }
std::vector<std::string> CallsContaining(const std::string& part);
// The log as one line, entries separated by single spaces.
std::string CallLogText();
// No Lock of a surface or mask in the log.
bool NothingLocked();
// Every object's Lock count equals its Unlock count, never going negative.
bool LocksBalanced();

// Named, reference-counted, logging base of every recording object; it
// deletes itself with the last reference.
template <class Self, class Interface>
class Recorded : public Interface {
public:
    int32_t QueryInterface(const void*, void** object) override {
        if (object) *object = nullptr;
        return static_cast<int32_t>(0x80004002u);
    }
    uint32_t AddRef() override { return LogCall(name_ + ".AddRef"), ++refs_; }
    uint32_t Release() override {
        LogCall(name_ + ".Release");
        const uint32_t left = --refs_;
        if (left == 0) delete static_cast<Self*>(this);
        return left;
    }
    void HostReserved3() override {}
    uint32_t References() const { return refs_; }
    const std::string& Name() const { return name_; }

protected:
    std::string name_;
    uint32_t refs_ = 1;
};

// Wraps a CLyMemorySurface; its sync objects are logged as "<name>.sync".
class RecordingSurface final : public Recorded<RecordingSurface, ILyVideoSurface> {
public:
    // Null when the memory host refuses the description.
    static RecordingSurface* Create(const std::string& name, const SLySurfaceCreateDesc& description, int pitch = 0);
    // Takes over the caller's reference to `surface`.
    static RecordingSurface* Wrap(const std::string& name, LyMemoryHost::CLyMemorySurface* surface);
    ~RecordingSurface() { memory_->Release(); }

    void HostReserved4() override {}
    int SetAspectRatio(ELyAspectRatio kind, int x, int y) override;
    void HostReserved6() override {}
    int SetShaped(int shaped) override;
    void HostReserved8() override {}
    void HostReserved9() override {}
    int GetDescription(SLySurfaceDescription* description) override;
    void HostReserved11() override {}
    void HostReserved12() override {}
    int Lock(int flags, SLyLockSurface* lock) override;
    int Unlock(int flags) override;
    void HostReserved15() override {}
    double GetPixelAspectRatio() override;
    int GetSyncObject(ILySyncObject** object) override;

    // Test controls: Lock reports these bits (null included) or this result;
    // GetDescription reports this record (the memory is not changed).
    void SetLockBits(std::optional<unsigned char*> bits) { lockBits_ = bits; }
    void SetLockResult(std::optional<int> result) { lockResult_ = result; }
    void SetDescriptionOverride(std::optional<SLySurfaceDescription> d) { descriptionOverride_ = d; }
    // Called with "GetDescription" and "Unlock" as they happen.
    void OnCall(std::function<void(const std::string&)> hook) { hook_ = std::move(hook); }

    LyMemoryHost::CLyMemorySurface& Memory() { return *memory_; }
    unsigned char* Bits() { return memory_->Bits(); }
    int Pitch() const { return memory_->Pitch(); }
    int LockDepth() const { return lockDepth_; }
    // Waits on the handed-out sync objects and their outstanding references.
    struct SyncCounters {
        int waits = 0;
        int references = 0;
    };
    int SyncWaits() const { return sync_->waits; }
    int SyncReferences() const { return sync_->references; }

private:
    LyMemoryHost::CLyMemorySurface* memory_ = nullptr;
    int lockDepth_ = 0;
    std::shared_ptr<SyncCounters> sync_ = std::make_shared<SyncCounters>();
    std::optional<unsigned char*> lockBits_;
    std::optional<int> lockResult_;
    std::optional<SLySurfaceDescription> descriptionOverride_;
    std::function<void(const std::string&)> hook_;
};

// Makes RecordingSurfaces named "<name>.new<call>" and keeps no reference.
class RecordingPool final : public Recorded<RecordingPool, ILyVideoSurfacePool> {
public:
    static RecordingPool* Create(const std::string& name, int extraPitch = 0) {
        RecordingPool* p = new RecordingPool();
        p->name_ = name;
        p->extraPitch_ = extraPitch;
        return p;
    }
    int CreateSurface(int flags, const SLySurfaceCreateDesc* description, ILyVideoSurface** surface) override;
    // CreateSurface call number `call` (1-based) fails with result 0.
    void FailCall(int call) { failCall_ = call; }
    const std::vector<SLySurfaceCreateDesc>& Requests() const { return requests_; }

private:
    int extraPitch_ = 0;
    int calls_ = 0;
    int failCall_ = 0;
    std::vector<SLySurfaceCreateDesc> requests_;
};

// Wraps a CLyMemoryMaskSurface.
class RecordingMask final : public Recorded<RecordingMask, ILyMaskSurface> {
public:
    static RecordingMask* Create(const std::string& name, const RECT& rect, int pitch = 0);
    ~RecordingMask() { memory_->Release(); }
    void HostReserved4() override {}
    void HostReserved5() override {}
    int GetRect(RECT* rect) override { return LogCall(name_ + ".GetRect"), memory_->GetRect(rect); }
    void HostReserved7() override {}
    int Lock(SLyLockSurface* lock) override { return LogCall(name_ + ".Lock"), memory_->Lock(lock); }
    int Unlock() override { return LogCall(name_ + ".Unlock"), memory_->Unlock(); }
    LyMemoryHost::CLyMemoryMaskSurface& Memory() { return *memory_; }
    unsigned char* Bits() { return memory_->Bits(); }
    int Pitch() const { return memory_->Pitch(); }

private:
    LyMemoryHost::CLyMemoryMaskSurface* memory_ = nullptr;
};

// A sample over any surfaces, holding one reference to each.
class RecordingSample final : public Recorded<RecordingSample, ILyAVSample> {
public:
    static RecordingSample* Create(const std::string& name, std::vector<ILyVideoSurface*> surfaces) {
        RecordingSample* s = new RecordingSample();
        s->name_ = name;
        for (ILyVideoSurface* v : surfaces)
            if (v) v->AddRef();
        s->surfaces_ = std::move(surfaces);
        return s;
    }
    ~RecordingSample() {
        for (ILyVideoSurface* v : surfaces_) if (v) v->Release();
    }
    void HostReserved4() override {}
    void HostReserved5() override {}
    int GetSurfaces(std::vector<ILyVideoSurface*>& surfaces) override {
        LogCall(name_ + ".GetSurfaces");
        if (fail_) return 0;
        for (ILyVideoSurface* v : surfaces_) {
            if (v) v->AddRef();
            surfaces.push_back(v);
        }
        return 1;
    }
    // GetSurfaces returns 0, appending nothing.
    void SetFail(bool fail) { fail_ = fail; }

private:
    bool fail_ = false;
    std::vector<ILyVideoSurface*> surfaces_;
};

// A whole progressive frame record with the given geometry and format.
SLySurfaceCreateDesc MakeCreateDesc(int width, int height, ELyPixelFormat format, unsigned char bitDepth,
                                    int left = 0, int top = 0);

// Every byte of a surface's memory (padding and alpha plane included).
inline std::vector<unsigned char> MemoryOf(RecordingSurface* s) {
    return std::vector<unsigned char>(s->Bits(), s->Bits() + s->Memory().ByteSize());
}
void FillMemoryRandom(RecordingSurface* s);
// A surface covering `r` in the frame, filled with random bytes (alpha
// extremes included); extraPitch > 0 pads each row by that many bytes.
RecordingSurface* MakeSurface(const std::string& name, const RECT& r, int extraPitch = 0,
                              ELyPixelFormat format = PixelFormat_BGRA4444, unsigned char depth = 8);

// Releases a host object at scope end (the test's own reference).
struct HostRelease {
    template <class T>
    void operator()(T* p) const { p->Release(); }
};
template <class T>
using HostRef = std::unique_ptr<T, HostRelease>;

}  // namespace lytest

#endif
