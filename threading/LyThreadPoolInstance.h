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
#include <exception>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

namespace ly {

constexpr int kMaxPoolThreads = 16;
constexpr int kJobQueueSlots = 16;
constexpr std::chrono::milliseconds kWaitCap{5000};
constexpr std::chrono::milliseconds kExitWaitPerWorker{1000};
// Waking a sleeping thread costs tens of microseconds here, so a worker that
// has just finished may watch for more work for a moment before it sleeps.
// It only does so when its previous wait for work was that short (jobs are
// arriving back to back): at a frame cadence the watch would only burn the
// CPU the host needs between frames.
constexpr std::chrono::microseconds kWorkerSpin{50};
// The caller never spins in Wait: T bands need all T processors, and a
// spinning caller makes the scheduler stack the woken workers on the other
// processors, so that one worker ends up running two bands in a row.

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
    SLyUserJobQueue* next = nullptr;
    SLyUserJobQueue* previous = nullptr;
    SLyJob slots[ly::kJobQueueSlots] = {};
    std::condition_variable idle;  // signalled when finished reaches submitted
    // The first exception a job of this queue threw (inline or on a worker);
    // the owner's Wait rethrows it.
    std::exception_ptr firstError;
    // Set when the owner's Wait gave up after the time cap. The queue then
    // stays in the ring until its jobs have been taken and have finished, and
    // the worker that finishes the last one retires it.
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
    // Unlinks a queue and keeps its record for a later caller. Records are
    // only freed with the pool: a worker may still be signalling a queue's
    // idle condition (without the lock) when its owner's Wait retires it, and
    // a stale signal to a reused record is only a spurious wake-up.
    void Retire(SLyUserJobQueue* queue);

    size_t MappedQueueCount() const { return map_.size(); }
    size_t RingQueueCount() const;

private:
    void Link(SLyUserJobQueue* queue);

    std::map<std::thread::id, SLyUserJobQueue*> map_;
    int threadCountForQueues_;  // copied into every new queue
    SLyUserJobQueue* cursor_ = nullptr;
    SLyUserJobQueue* retired_ = nullptr;  // linked through `next`
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
    // Test seam: the cap of Wait (normally 5000 ms). Not exported.
    static void SetWaitCapForTesting(std::chrono::milliseconds cap);

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
        // Sleeping on its own signal, so that a wake-up reaches exactly one
        // chosen worker (guarded by the pool lock).
        std::condition_variable wake;
        bool woken = false;
    };

private:
    // A started pool of `threadCount` workers, or null if it could not be built.
    static std::shared_ptr<CLyThreadPoolInstance> Create(int threadCount);
    void Start();
    void Shutdown();
    void WorkerLoop(CLyWorkThreadPrivate* self);
    // Picks one sleeping worker to wake if queued jobs are left that no
    // awake, spinning or already signalled worker will take (pool lock held);
    // the caller signals it after releasing the lock. Every job gets its
    // wake-up as it is queued. Handing the wake-ups on from worker to worker
    // instead (each woken worker waking the next) was measured to stack both
    // bands of a 2-thread pool on one processor in most calls that followed
    // an idle gap: the second worker was queued behind the first, which was
    // already running there, while the caller's processor went idle in Wait.
    // Woken together by the caller, one worker takes the idle processor and
    // the other the caller's, which frees as soon as the caller blocks.
    // Which band lands where is left to the scheduler. Steering it (moving
    // each worker to a home processor before it sleeps, leaving the worker
    // at home on the caller's processor to be woken by the first one to
    // start so that it takes the bottom band the caller wrote last) was
    // measured: the moves and the later start cost more than they saved, and
    // a wake-up handed on from a worker again stacked both bands.
    CLyWorkThreadPrivate* WorkerToWake();
    static void Signal(CLyWorkThreadPrivate* worker);
    // Counts a finished job of `q` and tells the owner when it was the last
    // one. Called and returns with the pool lock held; releases it around the
    // signal.
    void FinishJob(std::unique_lock<std::mutex>& lk, SLyUserJobQueue* q, std::exception_ptr error);

    int threadCount_;
    std::mutex poolLock_;
    uint32_t queuedJobs_ = 0;  // queued and not yet taken
    bool stop_ = false;
    // Workers asleep and not yet signalled, most recent last.
    CLyWorkThreadPrivate* sleepers_[ly::kMaxPoolThreads] = {};
    int sleeperCount_ = 0;
    int wakesInFlight_ = 0;     // signalled, not yet running
    int spinningWorkers_ = 0;   // watching workPending_; they take jobs unasked
    // queuedJobs_ != 0 || stop_, readable without the lock by spinning workers.
    std::atomic<bool> workPending_{false};
    CLyUserJobQueueGroup group_;
    std::mutex exitLock_;
    std::condition_variable workerExited_;
    CLyWorkThreadPrivate workers_[ly::kMaxPoolThreads];
};

#endif
