#include <exception>
#include <new>
#include <system_error>
#include <utility>

#include "LyThreadPool.h"
#include "memory/LyCpu.h"
#include "threading/LyProcessorInfo.h"
#include "threading/LyThreadPoolInstance.h"

namespace {

std::mutex g_singletonLock;
std::shared_ptr<CLyThreadPoolInstance> g_singleton;  // guarded by g_singletonLock
thread_local bool t_onWorkerThread = false;
std::atomic<int64_t> g_waitCapMs{ly::kWaitCap.count()};
// A job that threw while no pool could be built, for this thread's next Wait.
thread_local std::exception_ptr t_errorWithoutPool;

// Polls `done` until it holds or `budget` has passed; pauses between polls and
// yields now and then so that a spinning thread never starves the one it waits for.
template <class Done>
bool SpinUntil(Done done, std::chrono::microseconds budget) {
    const auto start = std::chrono::steady_clock::now();
    for (unsigned i = 1;; ++i) {
        if (done()) return true;
        if ((i & 63u) == 0) {
            if (std::chrono::steady_clock::now() - start > budget) return false;
            std::this_thread::yield();
        } else {
#if LY_X86
            _mm_pause();
#endif
        }
    }
}

int ClampThreads(int n) { return n < 1 ? 1 : (n > ly::kMaxPoolThreads ? ly::kMaxPoolThreads : n); }

}  // namespace

// ---------------------------------------------------------------- queue group

CLyUserJobQueueGroup::CLyUserJobQueueGroup(int threadCount)
    : threadCountForQueues_(threadCount) {}

CLyUserJobQueueGroup::~CLyUserJobQueueGroup() {
    // Only reached when no worker and no caller can touch the pool any more,
    // so every queue still in the ring (never waited for, or orphaned) goes.
    while (cursor_ != nullptr) {
        SLyUserJobQueue* q = cursor_;
        Unlink(q);
        delete q;
    }
    while (retired_ != nullptr) {
        SLyUserJobQueue* q = retired_;
        retired_ = q->next;
        delete q;
    }
    map_.clear();
}

SLyUserJobQueue* CLyUserJobQueueGroup::FindQueueOfCurrentThread() {
    auto it = map_.find(std::this_thread::get_id());
    return it == map_.end() ? nullptr : it->second;
}

SLyUserJobQueue* CLyUserJobQueueGroup::QueueOfCurrentThread() {
    if (SLyUserJobQueue* q = FindQueueOfCurrentThread()) return q;
    SLyUserJobQueue* q = retired_;
    if (q != nullptr)
        retired_ = q->next;
    else
        q = new SLyUserJobQueue;
    q->threadCount = threadCountForQueues_;
    q->next = nullptr;
    try {
        map_.emplace(std::this_thread::get_id(), q);
    } catch (...) {
        q->next = retired_;
        retired_ = q;
        throw;
    }
    Link(q);
    return q;
}

void CLyUserJobQueueGroup::ForgetCurrentThread() { map_.erase(std::this_thread::get_id()); }

void CLyUserJobQueueGroup::Link(SLyUserJobQueue* q) {
    if (cursor_ == nullptr) {
        q->next = q->previous = q;
        cursor_ = q;
        return;
    }
    q->next = cursor_->next;
    q->previous = cursor_;
    cursor_->next->previous = q;
    cursor_->next = q;
}

void CLyUserJobQueueGroup::Unlink(SLyUserJobQueue* q) {
    q->previous->next = q->next;
    q->next->previous = q->previous;
    if (cursor_ == q) cursor_ = q->next;
    if (q->next == q) cursor_ = nullptr;
    q->next = q->previous = nullptr;
}

void CLyUserJobQueueGroup::Retire(SLyUserJobQueue* q) {
    Unlink(q);
    q->taken = q->submitted = q->finished = 0;
    q->firstError = nullptr;
    q->orphaned = false;
    q->next = retired_;
    retired_ = q;
}

SLyUserJobQueue* CLyUserJobQueueGroup::NextQueueWithJob() {
    for (;;) {
        SLyUserJobQueue* q = cursor_;
        cursor_ = q->next;
        if (q->HasUntaken()) return q;
    }
}

size_t CLyUserJobQueueGroup::RingQueueCount() const {
    if (cursor_ == nullptr) return 0;
    size_t n = 1;
    for (const SLyUserJobQueue* q = cursor_->next; q != cursor_; q = q->next) ++n;
    return n;
}

// ---------------------------------------------------------------- pool

CLyThreadPoolInstance::CLyThreadPoolInstance(int threadCount)
    : threadCount_(ClampThreads(threadCount)), group_(threadCount_) {}

CLyThreadPoolInstance::~CLyThreadPoolInstance() {
    // Shutdown has joined or detached every worker before the last reference
    // can go; a pool that was never started has no threads.
    for (auto& w : workers_)
        if (w.thread.joinable()) w.thread.detach();
}

std::shared_ptr<CLyThreadPoolInstance> CLyThreadPoolInstance::Create(int threadCount) {
    try {
        auto pool = std::make_shared<CLyThreadPoolInstance>(threadCount);
        pool->Start();
        return pool;
    } catch (const std::bad_alloc&) {
    } catch (const std::system_error&) {
    }
    return nullptr;
}

void CLyThreadPoolInstance::Start() {
    auto self = shared_from_this();
    for (int i = 0; i < threadCount_; ++i) {
        workers_[i].pool = this;
        try {
            workers_[i].thread = std::thread(&CLyWorkThreadPrivate::ThreadProc, &workers_[i], self);
        } catch (...) {
            workers_[i].pool = nullptr;
            Shutdown();
            throw;
        }
    }
}

unsigned CLyThreadPoolInstance::CLyWorkThreadPrivate::ThreadProc(CLyWorkThreadPrivate* self,
                                                                 std::shared_ptr<CLyThreadPoolInstance> pool) {
    t_onWorkerThread = true;
    pool->WorkerLoop(self);
    {
        std::lock_guard<std::mutex> lk(pool->exitLock_);
        self->exited = true;
    }
    pool->workerExited_.notify_all();
    return 1;
}

CLyThreadPoolInstance::CLyWorkThreadPrivate* CLyThreadPoolInstance::WorkerToWake() {
    if (queuedJobs_ == 0 || sleeperCount_ == 0) return nullptr;
    if (queuedJobs_ <= static_cast<uint32_t>(spinningWorkers_ + wakesInFlight_)) return nullptr;
    CLyWorkThreadPrivate* w = sleepers_[--sleeperCount_];
    w->woken = true;
    ++wakesInFlight_;
    return w;
}

void CLyThreadPoolInstance::Signal(CLyWorkThreadPrivate* worker) {
    if (worker != nullptr) worker->wake.notify_one();
}

void CLyThreadPoolInstance::WorkerLoop(CLyWorkThreadPrivate* self) {
    using Clock = std::chrono::steady_clock;
    bool spin = false;  // whether the last wait for work was short enough to watch for the next
    std::unique_lock<std::mutex> lk(poolLock_);
    for (;;) {
        if (queuedJobs_ == 0 && !stop_) {
            const auto idleSince = Clock::now();
            if (spin) {
                ++spinningWorkers_;
                lk.unlock();
                SpinUntil([this] { return workPending_.load(std::memory_order_acquire); }, ly::kWorkerSpin);
                lk.lock();
                --spinningWorkers_;
            }
            // Queued jobs win over the stop request, so jobs queued before
            // Exit still run.
            if (queuedJobs_ == 0 && !stop_) {
                self->woken = false;
                sleepers_[sleeperCount_++] = self;
                self->wake.wait(lk, [self] { return self->woken; });
                --wakesInFlight_;
            }
            spin = Clock::now() - idleSince <= ly::kWorkerSpin;
        }
        if (queuedJobs_ == 0) {
            if (stop_) return;
            continue;  // a spinning worker took the job this one was woken for
        }
        --queuedJobs_;
        workPending_.store(queuedJobs_ > 0 || stop_, std::memory_order_release);
        SLyUserJobQueue* q = group_.NextQueueWithJob();
        const SLyJob job = q->slots[q->taken % ly::kJobQueueSlots];
        ++q->taken;
        CLyWorkThreadPrivate* next = WorkerToWake();
        lk.unlock();
        Signal(next);
        std::exception_ptr error;
        try {
            job.function(job.argument);
        } catch (...) {
            // Never into the worker: the owner's Wait gets it.
            error = std::current_exception();
        }
        lk.lock();
        FinishJob(lk, q, std::move(error));
    }
}

void CLyThreadPoolInstance::FinishJob(std::unique_lock<std::mutex>& lk, SLyUserJobQueue* q,
                                      std::exception_ptr error) {
    if (error && !q->firstError) q->firstError = std::move(error);
    ++q->finished;
    if (!q->Idle()) return;
    if (q->orphaned) {
        group_.Retire(q);
        return;
    }
    // Signalled without the lock, so that the owner does not wake only to
    // block on the lock this worker still holds. The record outlives the
    // signal even if the owner retires it first (see Retire).
    lk.unlock();
    q->idle.notify_all();
    lk.lock();
}

void CLyThreadPoolInstance::Run(void (*function)(void*), void* argument) {
    if (function == nullptr) return;
    std::unique_lock<std::mutex> lk(poolLock_);
    SLyUserJobQueue* q = group_.QueueOfCurrentThread();
    // A pool that Exit is stopping takes no more jobs: its workers may already
    // be gone, and a caller still holding it must not lose the job.
    const bool inlineRun = q->submitted - q->taken == static_cast<uint32_t>(ly::kJobQueueSlots) ||
                           q->threadCount == 1 || stop_;
    if (inlineRun) {
        lk.unlock();
        // Only this thread's Wait frees its queue, so q stays valid here.
        std::exception_ptr error;
        try {
            function(argument);
        } catch (...) {
            error = std::current_exception();
        }
        if (error) {
            lk.lock();
            if (!q->firstError) q->firstError = std::move(error);
        }
        return;
    }
    q->slots[q->submitted % ly::kJobQueueSlots] = {function, argument};
    ++q->submitted;
    ++queuedJobs_;
    workPending_.store(true, std::memory_order_release);
    CLyWorkThreadPrivate* w = WorkerToWake();
    lk.unlock();
    Signal(w);
}

void CLyThreadPoolInstance::Wait() {
    std::unique_lock<std::mutex> lk(poolLock_);
    SLyUserJobQueue* q = group_.FindQueueOfCurrentThread();
    if (q == nullptr) return;  // nothing was queued: an idle queue would be made and dropped at once
    // The cap is deliberate: Wait never blocks longer than 5 s, whatever the jobs do.
    q->idle.wait_for(lk, std::chrono::milliseconds(g_waitCapMs.load(std::memory_order_relaxed)),
                     [q] { return q->Idle(); });
    group_.ForgetCurrentThread();
    std::exception_ptr error = std::move(q->firstError);
    q->firstError = nullptr;
    if (q->Idle()) {
        group_.Retire(q);
    } else {
        q->orphaned = true;
    }
    lk.unlock();
    if (error) std::rethrow_exception(error);
}

void CLyThreadPoolInstance::Shutdown() {
    CLyWorkThreadPrivate* sleeping[ly::kMaxPoolThreads];
    int n = 0;
    {
        std::lock_guard<std::mutex> lk(poolLock_);
        stop_ = true;
        workPending_.store(true, std::memory_order_release);
        while (sleeperCount_ > 0) {
            CLyWorkThreadPrivate* w = sleepers_[--sleeperCount_];
            w->woken = true;
            ++wakesInFlight_;
            sleeping[n++] = w;
        }
    }
    for (int i = 0; i < n; ++i) Signal(sleeping[i]);
    const auto self = std::this_thread::get_id();
    for (auto& w : workers_) {
        if (!w.thread.joinable()) continue;
        if (w.thread.get_id() == self) {  // Exit called from a job on this worker
            w.thread.detach();
            continue;
        }
        bool exited;
        {
            std::unique_lock<std::mutex> lk(exitLock_);
            exited = workerExited_.wait_for(lk, ly::kExitWaitPerWorker, [&w] { return w.exited; });
        }
        // A worker still busy after the wait is left to finish on its own; it
        // holds a reference to the pool, so nothing it uses is freed under it.
        if (exited)
            w.thread.join();
        else
            w.thread.detach();
    }
}

size_t CLyThreadPoolInstance::MappedQueueCount() {
    std::lock_guard<std::mutex> lk(poolLock_);
    return group_.MappedQueueCount();
}

size_t CLyThreadPoolInstance::RingQueueCount() {
    std::lock_guard<std::mutex> lk(poolLock_);
    return group_.RingQueueCount();
}

int CLyThreadPoolInstance::DetectedThreadCount() {
    ly::SLyProcessorInfo info;
    ly::DetectProcessors(info);
    return ClampThreads(static_cast<int>(info.logicalCount));
}

bool CLyThreadPoolInstance::OnWorkerThread() { return t_onWorkerThread; }

void CLyThreadPoolInstance::SetWaitCapForTesting(std::chrono::milliseconds cap) {
    g_waitCapMs.store(cap.count(), std::memory_order_relaxed);
}

std::shared_ptr<CLyThreadPoolInstance> CLyThreadPoolInstance::Instance() {
    std::lock_guard<std::mutex> lk(g_singletonLock);
    if (!g_singleton) g_singleton = Create(DetectedThreadCount());
    return g_singleton;
}

std::shared_ptr<CLyThreadPoolInstance> CLyThreadPoolInstance::Current() {
    std::lock_guard<std::mutex> lk(g_singletonLock);
    return g_singleton;
}

void CLyThreadPoolInstance::Exit() {
    std::shared_ptr<CLyThreadPoolInstance> pool;
    {
        std::lock_guard<std::mutex> lk(g_singletonLock);
        pool.swap(g_singleton);
    }
    if (pool) pool->Shutdown();
}

void CLyThreadPoolInstance::ReplaceSingletonForTesting(int threadCount) {
    Exit();
    auto pool = Create(threadCount > 0 ? threadCount : DetectedThreadCount());
    std::lock_guard<std::mutex> lk(g_singletonLock);
    g_singleton = pool;
}

// ---------------------------------------------------------------- exported

namespace LyThreadPool {

void Init() { (void)CLyThreadPoolInstance::Instance(); }

int ThreadCount() {
    const auto pool = CLyThreadPoolInstance::Instance();
    return pool ? pool->ThreadCount() : 1;
}

void Run(void (*function)(void*), void* argument) {
    if (function == nullptr) return;
    if (const auto pool = CLyThreadPoolInstance::Instance()) {
        pool->Run(function, argument);
        return;
    }
    try {
        function(argument);
    } catch (...) {
        if (!t_errorWithoutPool) t_errorWithoutPool = std::current_exception();
    }
}

void Wait() {
    if (const auto pool = CLyThreadPoolInstance::Instance()) pool->Wait();
    if (t_errorWithoutPool) std::rethrow_exception(std::exchange(t_errorWithoutPool, nullptr));
}

void Exit() { CLyThreadPoolInstance::Exit(); }

}  // namespace LyThreadPool
