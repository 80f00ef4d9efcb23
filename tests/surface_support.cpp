#include "surface_support.h"

#include <map>

#include "LyVideoUtils.h"
#include "test_support.h"

namespace lytest {

std::vector<std::string>& CallLog() {
    static std::vector<std::string> log;
    return log;
}

std::vector<std::string> CallsContaining(const std::string& part) {
    std::vector<std::string> out;
    for (const std::string& e : CallLog())
        if (e.find(part) != std::string::npos) out.push_back(e);
    return out;
}

std::string CallLogText() {
    std::string text;
    for (const std::string& e : CallLog()) text += (text.empty() ? "" : " ") + e;
    return text;
}

namespace {

// The object an entry "<object>.<call>" names when `call` is its call.
std::optional<std::string> ObjectOf(const std::string& entry, const std::string& call) {
    const std::string tail = "." + call;
    if (entry.size() < tail.size() || entry.compare(entry.size() - tail.size(), tail.size(), tail) != 0)
        return std::nullopt;
    return entry.substr(0, entry.size() - tail.size());
}

}  // namespace

bool NothingLocked() {
    for (const std::string& e : CallLog())
        if (ObjectOf(e, "Lock")) return false;
    return true;
}

bool LocksBalanced() {
    std::map<std::string, int> depth;
    for (const std::string& e : CallLog()) {
        if (auto o = ObjectOf(e, "Lock")) ++depth[*o];
        if (auto o = ObjectOf(e, "Unlock"); o && --depth[*o] < 0) return false;
    }
    for (const auto& [name, d] : depth)
        if (d != 0) return false;
    return true;
}

// One handed-out sync object, counting into its surface's counters and
// forwarding to the memory surface's own object.
class RecordingSync final : public Recorded<RecordingSync, ILySyncObject> {
public:
    RecordingSync(std::string name, ILySyncObject* inner, std::shared_ptr<RecordingSurface::SyncCounters> counters)
        : inner_(inner), counters_(std::move(counters)) {
        name_ = std::move(name);
        ++counters_->references;
    }
    ~RecordingSync() { inner_->Release(); }
    uint32_t AddRef() override {
        ++counters_->references;
        return Recorded::AddRef();
    }
    uint32_t Release() override {
        --counters_->references;
        return Recorded::Release();
    }
    void HostReserved4() override {}
    int Wait(uint32_t milliseconds) override {
        LogCall(name_ + ".Wait(" + std::to_string(milliseconds) + ")");
        ++counters_->waits;
        return inner_->Wait(milliseconds);
    }

private:
    ILySyncObject* inner_;
    std::shared_ptr<RecordingSurface::SyncCounters> counters_;
};

RecordingSurface* RecordingSurface::Create(const std::string& name, const SLySurfaceCreateDesc& description,
                                           int pitch) {
    return Wrap(name, LyMemoryHost::CLyMemorySurface::Create(description, pitch));
}

RecordingSurface* RecordingSurface::Wrap(const std::string& name, LyMemoryHost::CLyMemorySurface* surface) {
    if (!surface) return nullptr;
    RecordingSurface* s = new RecordingSurface();
    s->name_ = name;
    s->memory_ = surface;
    return s;
}

int RecordingSurface::SetAspectRatio(ELyAspectRatio kind, int x, int y) {
    LogCall(name_ + ".SetAspectRatio(" + std::to_string(int(kind)) + "," + std::to_string(x) + "," +
            std::to_string(y) + ")");
    return memory_->SetAspectRatio(kind, x, y);
}

int RecordingSurface::SetShaped(int shaped) {
    LogCall(name_ + ".SetShaped(" + std::to_string(shaped) + ")");
    if (descriptionOverride_) descriptionOverride_->shaped = shaped;
    return memory_->SetShaped(shaped);
}

int RecordingSurface::GetDescription(SLySurfaceDescription* description) {
    LogCall(name_ + ".GetDescription");
    if (hook_) hook_("GetDescription");
    if (descriptionOverride_ && description) {
        *description = *descriptionOverride_;
        return 1;
    }
    return memory_->GetDescription(description);
}

int RecordingSurface::Lock(int flags, SLyLockSurface* lock) {
    LogCall(name_ + ".Lock");
    ++lockDepth_;
    const int result = memory_->Lock(flags, lock);
    if (lockBits_ && lock) lock->bits = *lockBits_;
    return lockResult_ ? *lockResult_ : result;
}

int RecordingSurface::Unlock(int flags) {
    LogCall(name_ + ".Unlock");
    --lockDepth_;
    const int result = memory_->Unlock(flags);
    if (hook_) hook_("Unlock");
    return result;
}

double RecordingSurface::GetPixelAspectRatio() {
    LogCall(name_ + ".GetPixelAspectRatio");
    if (descriptionOverride_) return LyVideoUtils::GetPixelAspectRatio(*descriptionOverride_);
    return memory_->GetPixelAspectRatio();
}

int RecordingSurface::GetSyncObject(ILySyncObject** object) {
    LogCall(name_ + ".GetSyncObject");
    ILySyncObject* inner = nullptr;
    if (!object || !memory_->GetSyncObject(&inner) || !inner) return 0;
    *object = new RecordingSync(name_ + ".sync", inner, sync_);
    return 1;
}

int RecordingPool::CreateSurface(int flags, const SLySurfaceCreateDesc* description, ILyVideoSurface** surface) {
    LogCall(name_ + ".CreateSurface");
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

RecordingMask* RecordingMask::Create(const std::string& name, const RECT& rect, int pitch) {
    auto* m = LyMemoryHost::CLyMemoryMaskSurface::Create(rect, pitch);
    if (!m) return nullptr;
    auto* r = new RecordingMask();
    r->name_ = name;
    r->memory_ = m;
    return r;
}

void FillMemoryRandom(RecordingSurface* s) { FillRandom(s->Bits(), s->Memory().ByteSize()); }

RecordingSurface* MakeSurface(const std::string& name, const RECT& r, int extraPitch, ELyPixelFormat format,
                              unsigned char depth) {
    const int w = r.right - r.left, line = static_cast<int>(LyVideoUtils::GetPixelLineBytes(format, depth, w));
    const SLySurfaceCreateDesc d = MakeCreateDesc(w, r.bottom - r.top, format, depth, r.left, r.top);
    RecordingSurface* s = RecordingSurface::Create(name, d, extraPitch > 0 ? line + extraPitch : 0);
    if (s) FillRandomWithExtremes(s->Bits(), s->Memory().ByteSize());
    return s;
}

SLySurfaceCreateDesc MakeCreateDesc(int width, int height, ELyPixelFormat format, unsigned char bitDepth, int left,
                                    int top) {
    return SLySurfaceCreateDesc{width, height, bitDepth,          format,          Polarity_Frame, ScanMode_Progressive,
                                left,  top,    Colorimetry_BT709, AspectRatio_16_9, 0};
}

}  // namespace lytest
