#include "surface_support.h"

#include <map>
#include <sstream>

#include "LyVideoUtils.h"
#include "test_support.h"

namespace lytest {

std::vector<std::string>& CallLog() {
    static std::vector<std::string> log;
    return log;
}

namespace {

void Log(const std::string& entry) { CallLog().push_back(entry); }

constexpr int32_t kNoInterface = static_cast<int32_t>(0x80004002u);

bool EndsWith(const std::string& s, const std::string& tail) {
    return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

}  // namespace

std::vector<std::string> CallsStartingWith(const std::string& prefix) {
    std::vector<std::string> out;
    for (const std::string& e : CallLog())
        if (e.rfind(prefix, 0) == 0) out.push_back(e);
    return out;
}

std::vector<std::string> CallsContaining(const std::string& part) {
    std::vector<std::string> out;
    for (const std::string& e : CallLog())
        if (e.find(part) != std::string::npos) out.push_back(e);
    return out;
}

std::string CallLogText() {
    std::ostringstream o;
    for (size_t i = 0; i < CallLog().size(); ++i) o << (i ? " " : "") << CallLog()[i];
    return o.str();
}

bool NothingLocked() {
    for (const std::string& e : CallLog())
        if (EndsWith(e, ".Lock")) return false;
    return true;
}

bool LocksBalanced() {
    std::map<std::string, int> depth;
    for (const std::string& e : CallLog()) {
        if (EndsWith(e, ".Lock")) {
            ++depth[e.substr(0, e.size() - 5)];
        } else if (EndsWith(e, ".Unlock")) {
            if (--depth[e.substr(0, e.size() - 7)] < 0) return false;
        }
    }
    for (const auto& [name, d] : depth)
        if (d != 0) return false;
    return true;
}

// ------------------------------------------------------------ sync

// One handed-out sync object: logs and counts, forwarding to the memory
// surface's own object.
class RecordingSync final : public ILySyncObject {
public:
    RecordingSync(std::string name, ILySyncObject* inner, std::shared_ptr<RecordingSurface::SyncCounters> counters)
        : name_(std::move(name)), inner_(inner), counters_(std::move(counters)) {
        ++counters_->references;
    }
    int32_t QueryInterface(const void*, void** object) override {
        if (object) *object = nullptr;
        return kNoInterface;
    }
    uint32_t AddRef() override {
        Log(name_ + ".AddRef");
        ++counters_->references;
        return ++refs_;
    }
    uint32_t Release() override {
        Log(name_ + ".Release");
        --counters_->references;
        const uint32_t left = --refs_;
        if (left == 0) {
            inner_->Release();
            delete this;
        }
        return left;
    }
    void HostReserved3() override {}
    void HostReserved4() override {}
    int Wait(uint32_t milliseconds) override {
        Log(name_ + ".Wait(" + std::to_string(milliseconds) + ")");
        ++counters_->waits;
        return inner_->Wait(milliseconds);
    }

private:
    ~RecordingSync() = default;
    std::string name_;
    ILySyncObject* inner_;
    std::shared_ptr<RecordingSurface::SyncCounters> counters_;
    uint32_t refs_ = 1;
};

// ------------------------------------------------------------ surface

RecordingSurface* RecordingSurface::Create(const std::string& name, const SLySurfaceCreateDesc& description,
                                           int pitch) {
    LyMemoryHost::CLyMemorySurface* m = LyMemoryHost::CLyMemorySurface::Create(description, pitch);
    if (!m) return nullptr;
    return Wrap(name, m);
}

RecordingSurface* RecordingSurface::Wrap(const std::string& name, LyMemoryHost::CLyMemorySurface* surface) {
    if (!surface) return nullptr;
    RecordingSurface* s = new RecordingSurface();
    s->name_ = name;
    s->memory_ = surface;
    return s;
}

RecordingSurface::~RecordingSurface() {
    if (memory_) memory_->Release();
}

int32_t RecordingSurface::QueryInterface(const void*, void** object) {
    Log(name_ + ".QueryInterface");
    if (object) *object = nullptr;
    return kNoInterface;
}

uint32_t RecordingSurface::AddRef() {
    Log(name_ + ".AddRef");
    return ++refs_;
}

uint32_t RecordingSurface::Release() {
    Log(name_ + ".Release");
    const uint32_t left = --refs_;
    if (left == 0) delete this;
    return left;
}

int RecordingSurface::SetAspectRatio(ELyAspectRatio kind, int x, int y) {
    Log(name_ + ".SetAspectRatio(" + std::to_string(int(kind)) + "," + std::to_string(x) + "," + std::to_string(y) +
        ")");
    return memory_->SetAspectRatio(kind, x, y);
}

int RecordingSurface::SetShaped(int shaped) {
    Log(name_ + ".SetShaped(" + std::to_string(shaped) + ")");
    if (descriptionOverride_) descriptionOverride_->shaped = shaped;
    return memory_->SetShaped(shaped);
}

int RecordingSurface::GetDescription(SLySurfaceDescription* description) {
    Log(name_ + ".GetDescription");
    if (descriptionOverride_ && description) {
        *description = *descriptionOverride_;
        return 1;
    }
    return memory_->GetDescription(description);
}

int RecordingSurface::Lock(int flags, SLyLockSurface* lock) {
    Log(name_ + ".Lock");
    ++lockDepth_;
    int result = memory_->Lock(flags, lock);
    if (lockBits_ && lock) lock->bits = *lockBits_;
    if (lockResult_) result = *lockResult_;
    return result;
}

int RecordingSurface::Unlock(int flags) {
    Log(name_ + ".Unlock");
    --lockDepth_;
    return memory_->Unlock(flags);
}

double RecordingSurface::GetPixelAspectRatio() {
    Log(name_ + ".GetPixelAspectRatio");
    if (descriptionOverride_) return LyVideoUtils::GetPixelAspectRatio(*descriptionOverride_);
    return memory_->GetPixelAspectRatio();
}

int RecordingSurface::GetSyncObject(ILySyncObject** object) {
    Log(name_ + ".GetSyncObject");
    if (!object) return 0;
    if (noSync_) return 0;
    ILySyncObject* inner = nullptr;
    memory_->GetSyncObject(&inner);
    if (!inner) return 0;
    *object = new RecordingSync(name_ + ".sync", inner, sync_);
    return 1;
}

// ------------------------------------------------------------ pool

RecordingPool* RecordingPool::Create(const std::string& name, int extraPitch) {
    RecordingPool* p = new RecordingPool();
    p->name_ = name;
    p->extraPitch_ = extraPitch;
    return p;
}

int32_t RecordingPool::QueryInterface(const void*, void** object) {
    if (object) *object = nullptr;
    return kNoInterface;
}

uint32_t RecordingPool::AddRef() {
    Log(name_ + ".AddRef");
    return ++refs_;
}

uint32_t RecordingPool::Release() {
    Log(name_ + ".Release");
    const uint32_t left = --refs_;
    if (left == 0) delete this;
    return left;
}

int RecordingPool::CreateSurface(int flags, const SLySurfaceCreateDesc* description, ILyVideoSurface** surface) {
    Log(name_ + ".CreateSurface");
    ++calls_;
    if (description) requests_.push_back(*description);
    if (!surface) return 0;
    *surface = nullptr;
    if (!description || calls_ == failCall_) return 0;
    LyMemoryHost::CLyMemorySurfacePool* memoryPool = LyMemoryHost::CLyMemorySurfacePool::Create(extraPitch_);
    ILyVideoSurface* made = nullptr;
    const int ok = memoryPool->CreateSurface(flags, description, &made);
    memoryPool->Release();
    if (!ok) return 0;
    *surface = RecordingSurface::Wrap(name_ + ".new" + std::to_string(calls_),
                                      static_cast<LyMemoryHost::CLyMemorySurface*>(made));
    return 1;
}

// ------------------------------------------------------------ mask

RecordingMask* RecordingMask::Create(const std::string& name, const RECT& rect, int pitch) {
    LyMemoryHost::CLyMemoryMaskSurface* m = LyMemoryHost::CLyMemoryMaskSurface::Create(rect, pitch);
    if (!m) return nullptr;
    RecordingMask* r = new RecordingMask();
    r->name_ = name;
    r->memory_ = m;
    return r;
}

RecordingMask::~RecordingMask() {
    if (memory_) memory_->Release();
}

int32_t RecordingMask::QueryInterface(const void*, void** object) {
    if (object) *object = nullptr;
    return kNoInterface;
}

uint32_t RecordingMask::AddRef() {
    Log(name_ + ".AddRef");
    return ++refs_;
}

uint32_t RecordingMask::Release() {
    Log(name_ + ".Release");
    const uint32_t left = --refs_;
    if (left == 0) delete this;
    return left;
}

int RecordingMask::GetRect(RECT* rect) {
    Log(name_ + ".GetRect");
    return memory_->GetRect(rect);
}

int RecordingMask::Lock(SLyLockSurface* lock) {
    Log(name_ + ".Lock");
    ++lockDepth_;
    const int result = memory_->Lock(lock);
    if (lockBits_ && lock) lock->bits = *lockBits_;
    return result;
}

int RecordingMask::Unlock() {
    Log(name_ + ".Unlock");
    --lockDepth_;
    return memory_->Unlock();
}

// ------------------------------------------------------------ sample

RecordingSample* RecordingSample::Create(const std::string& name, std::vector<ILyVideoSurface*> surfaces) {
    RecordingSample* s = new RecordingSample();
    s->name_ = name;
    for (ILyVideoSurface* v : surfaces)
        if (v) v->AddRef();
    s->surfaces_ = std::move(surfaces);
    return s;
}

RecordingSample::~RecordingSample() {
    for (ILyVideoSurface* v : surfaces_)
        if (v) v->Release();
}

int32_t RecordingSample::QueryInterface(const void*, void** object) {
    if (object) *object = nullptr;
    return kNoInterface;
}

uint32_t RecordingSample::AddRef() {
    Log(name_ + ".AddRef");
    return ++refs_;
}

uint32_t RecordingSample::Release() {
    Log(name_ + ".Release");
    const uint32_t left = --refs_;
    if (left == 0) delete this;
    return left;
}

int RecordingSample::GetSurfaces(std::vector<ILyVideoSurface*>& surfaces) {
    Log(name_ + ".GetSurfaces");
    if (fail_) return 0;
    for (ILyVideoSurface* v : surfaces_) {
        if (v) v->AddRef();
        surfaces.push_back(v);
    }
    return 1;
}

// ------------------------------------------------------------ helpers

void FillMemoryRandom(RecordingSurface* s) { FillRandom(s->Bits(), s->Memory().ByteSize()); }

SLySurfaceCreateDesc MakeCreateDesc(int width, int height, ELyPixelFormat format, unsigned char bitDepth, int left,
                                    int top) {
    SLySurfaceCreateDesc d{};
    d.width = width;
    d.height = height;
    d.bitDepth = bitDepth;
    d.pixelFormat = format;
    d.polarity = Polarity_Frame;
    d.scanMode = ScanMode_Progressive;
    d.left = left;
    d.top = top;
    d.colorimetry = Colorimetry_BT709;
    d.aspectRatio = AspectRatio_16_9;
    d.reserved = 0;
    return d;
}

}  // namespace lytest
