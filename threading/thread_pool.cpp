#include <exception>
#include <new>
#include <system_error>

#include "LyThreadPool.h"
#include "memory/LyCpu.h"
#include "threading/LyProcessorInfo.h"
#include "threading/LyThreadPoolInstance.h"

namespace {

std::mutex g_singletonLock;
std::shared_ptr<CLyThreadPoolInstance> g_singleton;  // guarded by g_singletonLock
thread_local bool t_onWorkerThread = false;

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
    map_.clear();
}

SLyUserJobQueue* CLyUserJobQueueGroup::FindQueueOfCurrentThread() {
    auto it = map_.find(std::this_thread::get_id());
    return it == map_.end() ? nullptr : it->second;
}

SLyUserJobQueue* CLyUserJobQueueGroup::QueueOfCurrentThread() {
    if (SLyUserJobQueue* q = FindQueueOfCurrentThread()) return q;
    auto* q = new SLyUserJobQueue;
    q->threadCount = threadCountForQueues_;
    try {
        map_.emplace(std::this_thread::get_id(), q);
    } catch (...) {
        delete q;
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
    pool->WorkerLoop();
    {
        std::lock_guard<std::mutex> lk(pool->exitLock_);
        self->exited = true;
    }
    pool->workerExited_.notify_all();
    return 1;
}

void CLyThreadPoolInstance::WorkerLoop() {
    std::unique_lock<std::mutex> lk(poolLock_);
    for (;;) {
        if (queuedJobs_ == 0 && !stop_) {
            lk.unlock();
            SpinUntil([this] { return workPending_.load(std::memory_order_acquire); }, ly::kWorkerSpin);
            lk.lock();
            ++sleepingWorkers_;
            // Queued jobs win over the stop request, so jobs queued before Exit
            // still run.
            jobAvailable_.wait(lk, [this] { return queuedJobs_ > 0 || stop_; });
            --sleepingWorkers_;
        }
        if (queuedJobs_ == 0) return;
        --queuedJobs_;
        workPending_.store(queuedJobs_ > 0 || stop_, std::memory_order_release);
        SLyUserJobQueue* q = group_.NextQueueWithJob();
        const SLyJob job = q->slots[q->taken % ly::kJobQueueSlots];
        ++q->taken;
        lk.unlock();
        try {
            job.function(job.argument);
        } catch (...) {
            // A job's exception must not take the worker (and the process) down.
        }
        lk.lock();
        ++q->finished;
        q->finishedSeen.store(q->finished, std::memory_order_release);
        if (q->Idle()) {
            if (q->orphaned && !q->HasUntaken()) {
                group_.Unlink(q);
                delete q;
            } else {
                q->idle.notify_all();
            }
        }
    }
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
        function(argument);
        return;
    }
    q->slots[q->submitted % ly::kJobQueueSlots] = {function, argument};
    ++q->submitted;
    ++queuedJobs_;
    workPending_.store(true, std::memory_order_release);
    // A spinning worker sees the job without a wake-up; only a sleeping one
    // needs the (costly) signal.
    const bool wake = sleepingWorkers_ > 0;
    lk.unlock();
    if (wake) jobAvailable_.notify_one();
}

void CLyThreadPoolInstance::Wait() {
    std::unique_lock<std::mutex> lk(poolLock_);
    SLyUserJobQueue* q = group_.FindQueueOfCurrentThread();
    if (q == nullptr) return;  // nothing was queued: an idle queue would be made and dropped at once
    if (!q->Idle()) {
        // Only this thread adds to its queue or frees it, so `submitted` is
        // stable and the queue stays valid while the lock is released.
        const uint32_t submitted = q->submitted;
        lk.unlock();
        SpinUntil([q, submitted] { return q->finishedSeen.load(std::memory_order_acquire) == submitted; },
                  ly::kCallerSpin);
        lk.lock();
    }
    // The cap is deliberate: Wait never blocks longer than 5 s, whatever the jobs do.
    q->idle.wait_for(lk, ly::kWaitCap, [q] { return q->Idle(); });
    group_.ForgetCurrentThread();
    if (q->Idle()) {
        group_.Unlink(q);
        delete q;
    } else {
        q->orphaned = true;
    }
}

void CLyThreadPoolInstance::Shutdown() {
    {
        std::lock_guard<std::mutex> lk(poolLock_);
        stop_ = true;
        workPending_.store(true, std::memory_order_release);
    }
    jobAvailable_.notify_all();
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
    if (const auto pool = CLyThreadPoolInstance::Instance())
        pool->Run(function, argument);
    else
        function(argument);
}

void Wait() {
    if (const auto pool = CLyThreadPoolInstance::Instance()) pool->Wait();
}

void Exit() { CLyThreadPoolInstance::Exit(); }

}  // namespace LyThreadPool
