#ifndef LYAVUTILS_THREADING_LYTHREADPOOLINSTANCE_H
#define LYAVUTILS_THREADING_LYTHREADPOOLINSTANCE_H

// Internal: the thread pool behind LyThreadPool.
//
// One pool lock guards everything the pool shares (the map of callers'
// queues, the ring of queues, every queue's counters and slots, the count of
// queued jobs and the stop flag). A single lock replaces the pool lock / queue
// lock pair: it is only ever held for a handful of instructions, never while a
// job runs, and it cannot be taken in the wrong order.
//
// Lifetime: the pool is shared-owned. The process-wide singleton holds one
// reference, every worker thread holds one, and every operation in flight
// holds one while it submits and waits. Exit drops the singleton's reference
// after stopping the workers, so an operation racing with Exit finishes on
// the pool it started with and the memory goes away with the last user.

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

namespace ly {

constexpr int kMaxPoolThreads = 16;
constexpr int kJobQueueSlots = 16;
constexpr std::chrono::milliseconds kWaitCap{5000};
constexpr std::chrono::milliseconds kExitWaitPerWorker{1000};
// Waking a sleeping thread costs tens of microseconds (far more on virtual
// machines), as much as a whole band of a small image. A worker that has just
// finished therefore watches for more work for a moment before it sleeps, and
// a caller waiting for its bands watches for them before it blocks, so that
// back-to-back operations (the usual per-frame pattern) hand over at spin
// speed. Both spins yield regularly, so an oversubscribed pool still makes
// progress.
constexpr std::chrono::microseconds kWorkerSpin{300};
constexpr std::chrono::microseconds kCallerSpin{300};

}  // namespace ly

struct SLyJob {
    void (*function)(void*);
    void* argument;
};

// One calling thread's queue. Counters are unsigned so that they may wrap; the
// differences are what matter.
struct SLyUserJobQueue {
    int threadCount = 1;
    uint32_t taken = 0;
    uint32_t submitted = 0;
    uint32_t finished = 0;
    // `finished` again, readable without the pool lock by the owner's Wait spin.
    std::atomic<uint32_t> finishedSeen{0};
    SLyUserJobQueue* next = nullptr;
    SLyUserJobQueue* previous = nullptr;
    SLyJob slots[ly::kJobQueueSlots] = {};
    std::condition_variable idle;  // signalled when finished reaches submitted
    // Set when the owner's Wait gave up after the time cap. The queue then
    // stays in the ring until its jobs have been taken and have finished, and
    // the worker that finishes the last one frees it.
    bool orphaned = false;

    bool Idle() const { return finished == submitted; }
    bool HasUntaken() const { return submitted != taken; }
};

class CLyUserJobQueueGroup {
public:
    explicit CLyUserJobQueueGroup(int threadCount);
    virtual ~CLyUserJobQueueGroup();
    CLyUserJobQueueGroup(const CLyUserJobQueueGroup&) = delete;
    CLyUserJobQueueGroup& operator=(const CLyUserJobQueueGroup&) = delete;

    // Finds or creates the calling thread's queue (pool lock held).
    SLyUserJobQueue* QueueOfCurrentThread();
    // Finds the calling thread's queue or returns null (pool lock held).
    SLyUserJobQueue* FindQueueOfCurrentThread();
    // Drops the calling thread's map entry; the queue itself is not touched.
    void ForgetCurrentThread();
    // Takes the queue at the ring cursor, advancing the cursor by one queue per
    // look, until one with an untaken job is found. Only called when some
    // queue has one.
    SLyUserJobQueue* NextQueueWithJob();
    void Unlink(SLyUserJobQueue* queue);

    size_t MappedQueueCount() const { return map_.size(); }
    size_t RingQueueCount() const;

private:
    void Link(SLyUserJobQueue* queue);

    std::map<std::thread::id, SLyUserJobQueue*> map_;
    int threadCountForQueues_;  // copied into every new queue
    SLyUserJobQueue* cursor_ = nullptr;
};

class CLyThreadPoolInstance : public std::enable_shared_from_this<CLyThreadPoolInstance> {
public:
    // Builds a pool of `threadCount` workers (clamped to 1..16) without
    // starting them; Start() does.
    explicit CLyThreadPoolInstance(int threadCount);
    virtual ~CLyThreadPoolInstance();
    CLyThreadPoolInstance(const CLyThreadPoolInstance&) = delete;
    CLyThreadPoolInstance& operator=(const CLyThreadPoolInstance&) = delete;

    // The singleton, created on first use with one worker per processor the
    // process may run on. Null only when the pool could not be built.
    static std::shared_ptr<CLyThreadPoolInstance> Instance();
    // The singleton if it exists; never creates one.
    static std::shared_ptr<CLyThreadPoolInstance> Current();
    // Stops the workers of the singleton and drops it.
    static void Exit();
    // Test seam: replaces the singleton by a pool of `threadCount` workers
    // (0: the detected count). Not exported.
    static void ReplaceSingletonForTesting(int threadCount);
    // The worker count the singleton gets when created normally.
    static int DetectedThreadCount();
    // True on a worker thread of any pool.
    static bool OnWorkerThread();

    int ThreadCount() const { return threadCount_; }
    void Run(void (*function)(void*), void* argument);
    void Wait();

    // Introspection for tests (pool lock taken).
    size_t MappedQueueCount();
    size_t RingQueueCount();

    class CLyWorkThreadPrivate {
    public:
        CLyWorkThreadPrivate() = default;
        virtual ~CLyWorkThreadPrivate() = default;
        // Worker entry: runs the worker loop of the record's pool; returns 1.
        static unsigned ThreadProc(CLyWorkThreadPrivate* self, std::shared_ptr<CLyThreadPoolInstance> pool);

        CLyThreadPoolInstance* pool = nullptr;
        std::thread thread;
        bool exited = false;  // guarded by the pool's exit lock
    };

private:
    // A started pool of `threadCount` workers, or null if it could not be built.
    static std::shared_ptr<CLyThreadPoolInstance> Create(int threadCount);
    void Start();
    void Shutdown();
    void WorkerLoop();

    int threadCount_;
    std::mutex poolLock_;
    std::condition_variable jobAvailable_;
    uint32_t queuedJobs_ = 0;  // queued and not yet taken
    bool stop_ = false;
    int sleepingWorkers_ = 0;  // workers blocked on jobAvailable_
    // queuedJobs_ != 0 || stop_, readable without the lock by spinning workers.
    std::atomic<bool> workPending_{false};
    CLyUserJobQueueGroup group_;
    std::mutex exitLock_;
    std::condition_variable workerExited_;
    CLyWorkThreadPrivate workers_[ly::kMaxPoolThreads];
};

#endif
