#ifndef LYAVUTILS_TESTS_SURFACE_SUPPORT_H
#define LYAVUTILS_TESTS_SURFACE_SUPPORT_H

// A recording host for the surface tests: wrappers around the in-memory host
// objects that write every interface call into one global ordered log, so a
// test can prove lock and unlock order and balance, that a refusal locks
// nothing, and where references end. Each wrapper has a name; the log reads
// like "dst.Lock", "src.Unlock", "dst.sync.Wait(1000)", "pool.CreateSurface".

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "LyAVUtilsTypes.h"
#include "LyMemoryHost.h"

namespace lytest {

// ------------------------------------------------------------ the log

std::vector<std::string>& CallLog();
inline void ClearCallLog() { CallLog().clear(); }
// Entries of the log that start with `prefix` (for example "dst." or ".Lock"
// anywhere with Containing), in order.
std::vector<std::string> CallsStartingWith(const std::string& prefix);
std::vector<std::string> CallsContaining(const std::string& part);
// The log as one line, for failure messages.
std::string CallLogText();
// True when no Lock appears in the log (of a surface or a mask).
bool NothingLocked();
// True when every object's Lock count equals its Unlock count.
bool LocksBalanced();

// ------------------------------------------------------------ surfaces

class RecordingSync;

// Wraps a CLyMemorySurface. Logged: "<name>.<Call>" for AddRef, Release,
// SetAspectRatio(k,x,y), SetShaped(f), GetDescription, Lock, Unlock,
// GetPixelAspectRatio, GetSyncObject. References are the wrapper's own; the
// memory surface goes with the last one.
class RecordingSurface final : public ILyVideoSurface {
public:
    // Null when the memory host refuses the description.
    static RecordingSurface* Create(const std::string& name, const SLySurfaceCreateDesc& description, int pitch = 0);
    // Wraps an existing memory surface, taking over the caller's reference.
    static RecordingSurface* Wrap(const std::string& name, LyMemoryHost::CLyMemorySurface* surface);

    int32_t QueryInterface(const void* iid, void** object) override;
    uint32_t AddRef() override;
    uint32_t Release() override;
    void HostReserved3() override {}
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

    // Test controls.
    // Lock reports these bits (null included) instead of the memory's.
    void SetLockBits(std::optional<unsigned char*> bits) { lockBits_ = bits; }
    // Lock returns this instead of the memory host's result.
    void SetLockResult(std::optional<int> result) { lockResult_ = result; }
    // GetDescription reports this record (the memory is not changed).
    void SetDescriptionOverride(std::optional<SLySurfaceDescription> d) { descriptionOverride_ = d; }
    // GetSyncObject hands out nothing.
    void SetNoSyncObject(bool none) { noSync_ = none; }

    LyMemoryHost::CLyMemorySurface& Memory() { return *memory_; }
    unsigned char* Bits() { return memory_->Bits(); }
    int Pitch() const { return memory_->Pitch(); }
    const std::string& Name() const { return name_; }
    uint32_t References() const { return refs_; }
    int LockDepth() const { return lockDepth_; }
    // Waits on the handed-out sync objects and their outstanding references.
    int SyncWaits() const { return sync_->waits; }
    int SyncReferences() const { return sync_->references; }

    struct SyncCounters {
        int waits = 0;
        int references = 0;
    };

private:
    friend class RecordingSync;
    RecordingSurface() = default;
    ~RecordingSurface();
    std::string name_;
    LyMemoryHost::CLyMemorySurface* memory_ = nullptr;
    uint32_t refs_ = 1;
    int lockDepth_ = 0;
    std::shared_ptr<SyncCounters> sync_ = std::make_shared<SyncCounters>();
    std::optional<unsigned char*> lockBits_;
    std::optional<int> lockResult_;
    std::optional<SLySurfaceDescription> descriptionOverride_;
    bool noSync_ = false;
};

// Makes RecordingSurfaces named "<name>.new1", "<name>.new2"... Logged:
// "<name>.CreateSurface". Created surfaces are kept (with their own
// reference held by the test through Created()) only as pointers: the pool
// holds no reference to them.
class RecordingPool final : public ILyVideoSurfacePool {
public:
    static RecordingPool* Create(const std::string& name, int extraPitch = 0);

    int32_t QueryInterface(const void* iid, void** object) override;
    uint32_t AddRef() override;
    uint32_t Release() override;
    void HostReserved3() override {}
    int CreateSurface(int flags, const SLySurfaceCreateDesc* description, ILyVideoSurface** surface) override;

    // CreateSurface call number `call` (1-based) fails with result 0.
    void FailCall(int call) { failCall_ = call; }
    // The records passed to CreateSurface, in order.
    const std::vector<SLySurfaceCreateDesc>& Requests() const { return requests_; }
    uint32_t References() const { return refs_; }

private:
    RecordingPool() = default;
    ~RecordingPool() = default;
    std::string name_;
    uint32_t refs_ = 1;
    int extraPitch_ = 0;
    int calls_ = 0;
    int failCall_ = 0;
    std::vector<SLySurfaceCreateDesc> requests_;
};

// Wraps a CLyMemoryMaskSurface. Logged: "<name>.GetRect", ".Lock", ".Unlock",
// ".AddRef", ".Release".
class RecordingMask final : public ILyMaskSurface {
public:
    static RecordingMask* Create(const std::string& name, const RECT& rect, int pitch = 0);

    int32_t QueryInterface(const void* iid, void** object) override;
    uint32_t AddRef() override;
    uint32_t Release() override;
    void HostReserved3() override {}
    void HostReserved4() override {}
    void HostReserved5() override {}
    int GetRect(RECT* rect) override;
    void HostReserved7() override {}
    int Lock(SLyLockSurface* lock) override;
    int Unlock() override;

    void SetLockBits(std::optional<unsigned char*> bits) { lockBits_ = bits; }
    LyMemoryHost::CLyMemoryMaskSurface& Memory() { return *memory_; }
    unsigned char* Bits() { return memory_->Bits(); }
    int Pitch() const { return memory_->Pitch(); }
    uint32_t References() const { return refs_; }
    int LockDepth() const { return lockDepth_; }

private:
    RecordingMask() = default;
    ~RecordingMask();
    std::string name_;
    LyMemoryHost::CLyMemoryMaskSurface* memory_ = nullptr;
    uint32_t refs_ = 1;
    int lockDepth_ = 0;
    std::optional<unsigned char*> lockBits_;
};

// A sample over any surfaces (it holds one reference to each). Logged:
// "<name>.GetSurfaces", ".AddRef", ".Release".
class RecordingSample final : public ILyAVSample {
public:
    static RecordingSample* Create(const std::string& name, std::vector<ILyVideoSurface*> surfaces);

    int32_t QueryInterface(const void* iid, void** object) override;
    uint32_t AddRef() override;
    uint32_t Release() override;
    void HostReserved3() override {}
    void HostReserved4() override {}
    void HostReserved5() override {}
    int GetSurfaces(std::vector<ILyVideoSurface*>& surfaces) override;

    // GetSurfaces returns 0 (appending nothing).
    void SetFail(bool fail) { fail_ = fail; }
    uint32_t References() const { return refs_; }

private:
    RecordingSample() = default;
    ~RecordingSample();
    std::string name_;
    uint32_t refs_ = 1;
    bool fail_ = false;
    std::vector<ILyVideoSurface*> surfaces_;
};

// ------------------------------------------------------------ helpers

// A creation record with everything but the geometry and format zeroed and
// polarity/scan mode set for a whole progressive frame.
SLySurfaceCreateDesc MakeCreateDesc(int width, int height, ELyPixelFormat format, unsigned char bitDepth,
                                    int left = 0, int top = 0);

// Every byte of a surface's memory (padding and alpha plane included), and a
// random fill of all of it.
inline std::vector<unsigned char> MemoryOf(RecordingSurface* s) {
    return std::vector<unsigned char>(s->Bits(), s->Bits() + s->Memory().ByteSize());
}
void FillMemoryRandom(RecordingSurface* s);

// Releases a host object at scope end (the test's own reference).
template <class T>
class HostRef {
public:
    HostRef() = default;
    explicit HostRef(T* p) : p_(p) {}
    ~HostRef() { reset(); }
    HostRef(const HostRef&) = delete;
    HostRef& operator=(const HostRef&) = delete;
    T* get() const { return p_; }
    T* operator->() const { return p_; }
    T& operator*() const { return *p_; }
    explicit operator bool() const { return p_ != nullptr; }
    void reset(T* p = nullptr) {
        if (p_) p_->Release();
        p_ = p;
    }
    T* release() {
        T* p = p_;
        p_ = nullptr;
        return p;
    }

private:
    T* p_ = nullptr;
};

}  // namespace lytest

#endif
