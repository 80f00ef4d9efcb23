// LY_TEST_LABELS: threading
//
// The per-caller job queues of the pool: each Wait covers exactly its own
// caller's jobs, a full queue or a one-thread pool runs jobs inline, Wait is
// capped, and the pool can be torn down and rebuilt under load.

#include <atomic>
#include <chrono>
#include <latch>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "LyThreadPool.h"
#include "test_support.h"
#include "threading/LyProcessorInfo.h"
#include "threading/LyThreadPoolInstance.h"

#if defined(__linux__)
#include <pthread.h>
#include <sched.h>
#endif

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// Jobs block in Pass until the test opens the gate.
struct Gate {
    std::atomic<int> waiting{0}, open{0};
    void Pass() {
        waiting.fetch_add(1);
        waiting.notify_all();
        open.wait(0);
    }
    void AwaitWaiting(int n) {  // until `n` jobs wait at the gate
        for (int w = waiting.load(); w < n; w = waiting.load()) waiting.wait(w);
    }
    void Open() {
        open.store(1);
        open.notify_all();
    }
};

void PassGate(void* gate) { static_cast<Gate*>(gate)->Pass(); }
void Increment(void* counter) { static_cast<std::atomic<int>*>(counter)->fetch_add(1); }

struct ThreadRecord {
    std::atomic<int> ran{0};
    std::atomic<std::thread::id> id{};
};
void RecordThread(void* p) {
    auto* r = static_cast<ThreadRecord*>(p);
    r->id = std::this_thread::get_id();
    r->ran.fetch_add(1);
}

std::shared_ptr<CLyThreadPoolInstance> Pool() { return CLyThreadPoolInstance::Instance(); }

}  // namespace

TEST(ThreadPool, ThreadCountFollowsTheProcessorsThisProcessMayUseAndTheSeamClampsToSixteen) {
    LyThreadPool::Exit();  // no pool: ThreadCount must build one, not read a null one
    EXPECT_EQ(static_cast<uint32_t>(LyThreadPool::ThreadCount()), ly::AllowedProcessorCount());
    for (int t : {1, 2, 4, 16, 40}) {
        lytest::ScopedPoolThreads pool(t);
        EXPECT_EQ(LyThreadPool::ThreadCount(), t > 16 ? 16 : t);
    }
}

// A one-thread pool runs every job on the caller before Run returns; larger
// pools run them on workers. Either way Wait drops the caller's queue, and a
// Wait without Run returns at once without making one.
TEST(ThreadPool, JobsRunOnTheCallerInAOneThreadPoolAndOnWorkersOtherwise) {
    for (int size : lytest::PoolSizes()) {
        lytest::ScopedPoolThreads pool(size);
        auto start = Clock::now();
        LyThreadPool::Wait();
        EXPECT_LT(Clock::now() - start, 1s);
        EXPECT_EQ(Pool()->MappedQueueCount() + Pool()->RingQueueCount(), 0u);
        LyThreadPool::Run(nullptr, nullptr);  // ignored
        ThreadRecord recs[8];
        for (auto& r : recs) {
            LyThreadPool::Run(&RecordThread, &r);
            EXPECT_TRUE(size != 1 || r.ran.load() == 1) << "job must have run before Run returned";
        }
        EXPECT_EQ(Pool()->MappedQueueCount(), 1u);
        LyThreadPool::Wait();
        for (auto& r : recs) EXPECT_TRUE(r.ran.load() == 1 && (r.id.load() == std::this_thread::get_id()) == (size == 1)) << size;
        EXPECT_EQ(Pool()->MappedQueueCount() + Pool()->RingQueueCount(), 0u);
    }
}

// The seventeenth outstanding job runs inline on the caller; its exception
// still comes out of Wait, not Run.
TEST(ThreadPool, SeventeenthOutstandingJobRunsInlineOnTheCaller) {
    lytest::ScopedPoolThreads pool(4);
    Gate gate;  // another caller occupies every worker, so nothing of ours is taken
    std::thread blocker([&] {
        for (int i = 0; i < 4; ++i) LyThreadPool::Run(&PassGate, &gate);
        LyThreadPool::Wait();
    });
    gate.AwaitWaiting(4);
    ThreadRecord queued[16], seventeenth;
    for (auto& r : queued) LyThreadPool::Run(&RecordThread, &r);
    for (auto& r : queued) EXPECT_EQ(r.ran.load(), 0) << "queued jobs must not run while workers are busy";
    auto thrower = [](void* p) {
        RecordThread(p);
        throw 17;
    };
    EXPECT_NO_THROW(LyThreadPool::Run(thrower, &seventeenth));
    EXPECT_EQ(seventeenth.ran.load(), 1);
    EXPECT_EQ(seventeenth.id.load(), std::this_thread::get_id());
    gate.Open();
    EXPECT_THROW(LyThreadPool::Wait(), int);
    for (auto& r : queued) EXPECT_TRUE(r.ran.load() == 1 && r.id.load() != std::this_thread::get_id());
    blocker.join();
}

TEST(ThreadPool, EachWaitCoversOnlyItsOwnCallersJobs) {
    lytest::ScopedPoolThreads pool(4);
    Gate gate;
    std::atomic<bool> slowCallerDone{false};
    std::thread slowCaller([&] {
        LyThreadPool::Run(&PassGate, &gate);
        LyThreadPool::Wait();
        slowCallerDone = true;
    });
    gate.AwaitWaiting(1);

    std::atomic<int> counter{0};
    for (int round = 0; round < 20; ++round) {
        for (int i = 0; i < 8; ++i) LyThreadPool::Run(&Increment, &counter);
        LyThreadPool::Wait();
        ASSERT_EQ(counter.load(), 8 * (round + 1)) << "Wait returned before this caller's jobs finished";
    }
    EXPECT_FALSE(slowCallerDone.load()) << "the other caller's Wait must still be blocked on its job";
    gate.Open();
    slowCaller.join();
}

TEST(ThreadPool, OneFreeWorkerServesTwoCallersAlternately) {
    lytest::ScopedPoolThreads pool(2);
    // Hold both workers, then queue four jobs from each of two callers and
    // free one worker: it must take the callers' jobs turn about.
    Gate first, second;
    std::thread holder([&] {
        LyThreadPool::Run(&PassGate, &first);
        LyThreadPool::Run(&PassGate, &second);
        LyThreadPool::Wait();
    });
    first.AwaitWaiting(1);
    second.AwaitWaiting(1);

    static std::mutex m;
    static std::string order;
    static char names[] = "ab";
    auto record = [](void* name) {
        std::lock_guard<std::mutex> lk(m);
        order += *static_cast<char*>(name);
    };
    std::latch queued(2);
    auto caller = [&](char* name) {
        for (int i = 0; i < 4; ++i) LyThreadPool::Run(record, name);
        queued.count_down();
        LyThreadPool::Wait();
    };
    std::thread ta(caller, &names[0]), tb(caller, &names[1]);
    queued.wait();
    first.Open();
    ta.join(), tb.join();
    second.Open();
    holder.join();
    ASSERT_EQ(order.size(), 8u);
    for (size_t i = 1; i < order.size(); ++i) EXPECT_NE(order[i], order[i - 1]) << order;
}

TEST(ThreadPool, JobMayRunAndWaitForJobsOfItsOwn) {
    lytest::ScopedPoolThreads pool(4);
    std::atomic<int> outersThatSawAllSix{0};
    auto outer = [](void* p) {
        std::atomic<int> mine{0};
        for (int i = 0; i < 6; ++i) LyThreadPool::Run(&Increment, &mine);
        LyThreadPool::Wait();
        if (mine.load() == 6) static_cast<std::atomic<int>*>(p)->fetch_add(1);
    };
    for (int i = 0; i < 2; ++i) LyThreadPool::Run(outer, &outersThatSawAllSix);
    LyThreadPool::Wait();
    EXPECT_EQ(outersThatSawAllSix.load(), 2);
}

// One contract whatever ran the job: Run never throws, every job counts as
// done, the first exception comes out of the caller's Wait, and nothing is
// left for the next Wait.
TEST(ThreadPool, JobExceptionsComeOutOfTheCallersWaitAtEveryPoolSize) {
    for (int size : lytest::PoolSizes()) {
        lytest::ScopedPoolThreads pool(size);
        std::atomic<int> counter{0};
        auto thrower = [](void* p) {
            static_cast<std::atomic<int>*>(p)->fetch_add(1);
            throw std::runtime_error("job");
        };
        for (int round = 0; round < 5; ++round) {
            for (int i = 0; i < 40; ++i) {
                // 40 jobs overflow the queue now and then: some run inline.
                ASSERT_NO_THROW(LyThreadPool::Run(i % 3 == 1 ? +thrower : &Increment, &counter)) << size;
            }
            EXPECT_THROW(LyThreadPool::Wait(), std::runtime_error) << size;
            EXPECT_EQ(counter.load(), 40 * (round + 1)) << size;
            EXPECT_EQ(Pool()->RingQueueCount(), 0u) << size;
        }
        // The workers survived and nothing carries over.
        for (int i = 0; i < 8; ++i) LyThreadPool::Run(&Increment, &counter);
        EXPECT_NO_THROW(LyThreadPool::Wait()) << size;
        EXPECT_EQ(counter.load(), 208) << size;
    }
}

// Every queued job wakes a worker of its own, so T jobs run at once on T
// workers (the gate below hangs otherwise). Workers that find their job
// already taken by another (woken late, or beaten by one still watching for
// work) go back to waiting; none may be lost.
TEST(ThreadPool, EveryWorkerStillTakesJobsAfterManyDispatches) {
    for (int size : {2, 4, 16}) {
        lytest::ScopedPoolThreads pool(size);
        std::atomic<int> counter{0};
        for (int round = 0; round < 500; ++round) {
            for (int i = 0; i < size; ++i) LyThreadPool::Run(&Increment, &counter);
            LyThreadPool::Wait();
            if (round % 50 == 0) std::this_thread::sleep_for(1ms);  // let the workers fall asleep
        }
        EXPECT_EQ(counter.load(), 500 * size);
        Gate gate;  // one job per worker, all at once: hangs if a worker is gone
        for (int i = 0; i < size; ++i) LyThreadPool::Run(&PassGate, &gate);
        gate.AwaitWaiting(size);
        gate.Open();
        LyThreadPool::Wait();
    }
}

TEST(ThreadPool, JobsQueuedBeforeExitStillRunAndTheNextRunBuildsANewPool) {
    lytest::ScopedPoolThreads pool(2);
    const auto first = Pool();
    std::atomic<int> counter{0};
    for (int i = 0; i < 12; ++i) LyThreadPool::Run(&Increment, &counter);
    LyThreadPool::Exit();
    EXPECT_TRUE(counter.load() == 12 && CLyThreadPoolInstance::Current() == nullptr);
    LyThreadPool::Run(&Increment, &counter);
    LyThreadPool::Wait();
    EXPECT_EQ(counter.load(), 13);
    const auto second = CLyThreadPoolInstance::Current();
    EXPECT_TRUE(second != nullptr && second.get() != first.get());
    LyThreadPool::Exit();
    LyThreadPool::Exit();  // no pool: nothing happens
}

TEST(ThreadPool, ExitWhileOtherThreadsUseThePool) {
    lytest::ScopedPoolThreads pool(4);
    std::atomic<bool> stop{false};
    std::atomic<int> failures{0};
    std::vector<std::thread> users;
    for (int u = 0; u < 3; ++u) {
        users.emplace_back([&] {
            while (!stop) {
                std::atomic<int> counter{0};
                for (int i = 0; i < 6; ++i) LyThreadPool::Run(&Increment, &counter);
                LyThreadPool::Wait();
                // An Exit between Run and Wait may leave jobs that this Wait
                // no longer covers; they still run, soon.
                const auto deadline = Clock::now() + 5s;
                while (counter.load() != 6 && Clock::now() < deadline) std::this_thread::yield();
                if (counter.load() != 6) failures++;
            }
        });
    }
    for (int i = 0; i < 30; ++i) {
        std::this_thread::sleep_for(2ms);
        LyThreadPool::Exit();
    }
    stop = true;
    for (auto& t : users) t.join();
    EXPECT_EQ(failures.load(), 0);
}

TEST(ThreadPool, WaitGivesUpAfterFiveSecondsAndTheJobFinishesSafely) {
    lytest::ScopedPoolThreads pool(2);
    Gate gate;
    LyThreadPool::Run(&PassGate, &gate);
    LyThreadPool::Run(&PassGate, &gate);
    const auto start = Clock::now();
    LyThreadPool::Wait();
    const auto waited = Clock::now() - start;
    EXPECT_TRUE(waited >= 4900ms && waited < 9000ms);
    // The caller's queue is forgotten but kept alive for the running jobs.
    EXPECT_TRUE(Pool()->MappedQueueCount() == 0u && Pool()->RingQueueCount() == 1u);
    gate.Open();
    const auto deadline = Clock::now() + 5s;
    while (Pool()->RingQueueCount() != 0 && Clock::now() < deadline) std::this_thread::sleep_for(1ms);
    EXPECT_EQ(Pool()->RingQueueCount(), 0u) << "the last finished job frees the orphaned queue";
    std::atomic<int> counter{0};  // and the pool still works for this thread
    LyThreadPool::Run(&Increment, &counter);
    LyThreadPool::Wait();
    EXPECT_EQ(counter.load(), 1);
}

TEST(ThreadPool, ManyCallersManySmallJobsAllAccountedFor) {
    constexpr int kCallers = 6;
    for (int size : lytest::PoolSizes()) {
        lytest::ScopedPoolThreads pool(size);
        std::atomic<int> totals[kCallers];
        int expected[kCallers] = {};
        std::vector<std::thread> callers;
        for (int c = 0; c < kCallers; ++c) {
            callers.emplace_back([&, c] {
                std::mt19937 rng(c + 1);
                for (int round = 0; round < 300 && totals[c].load() == expected[c]; ++round) {
                    const int jobs = 1 + static_cast<int>(rng() % 20);  // sometimes more than a queue holds
                    for (int j = 0; j < jobs; ++j) LyThreadPool::Run(&Increment, &totals[c]);
                    expected[c] += jobs;
                    LyThreadPool::Wait();
                }
            });
        }
        for (auto& t : callers) t.join();
        for (int c = 0; c < kCallers; ++c) EXPECT_EQ(totals[c].load(), expected[c]) << size << " caller " << c;
        EXPECT_EQ(Pool()->RingQueueCount(), 0u);
    }
}

TEST(ThreadPool, RacingFirstUseCreatesOnePool) {
    LyThreadPool::Exit();
    std::vector<std::thread> threads;
    std::vector<CLyThreadPoolInstance*> seen(8);
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&, i] {
            LyThreadPool::Init();
            seen[i] = CLyThreadPoolInstance::Current().get();
        });
    for (auto& t : threads) t.join();
    for (auto* p : seen) EXPECT_TRUE(p == seen[0] && p != nullptr);
}

// ------------------------------------------------------------ processor detection

TEST(ProcessorDetection, CountsTheCallersAffinityAtMostSixteen) {
    ly::SLyProcessorInfo info;
    ly::DetectProcessors(info);
    EXPECT_TRUE(info.logicalCount >= 1u && info.logicalCount <= 16u && info.packageCount >= 1u);
    EXPECT_EQ(info.logicalCount, ly::AllowedProcessorCount());
    for (uint32_t i = 0; i < info.logicalCount; ++i) EXPECT_NE(info.processors[i].affinityMask, 0u);
#if LY_X86
    EXPECT_TRUE(info.cpuidUsable && (info.sse2 || !(info.isIntel || info.isAmd)));
#endif
}

#if defined(__linux__)
TEST(ProcessorDetection, ThreadPinnedToOneProcessorCountsOneAndKeepsItsAffinity) {
    std::thread t([] {
        cpu_set_t allowed, one, after;
        CPU_ZERO(&allowed);
        ASSERT_EQ(pthread_getaffinity_np(pthread_self(), sizeof(allowed), &allowed), 0);
        int first = 0;
        while (!CPU_ISSET(first, &allowed)) ++first;
        CPU_ZERO(&one);
        CPU_SET(first, &one);
        ASSERT_EQ(pthread_setaffinity_np(pthread_self(), sizeof(one), &one), 0);
        ly::SLyProcessorInfo info;
        ly::DetectProcessors(info);
        EXPECT_EQ(info.logicalCount, 1u);
        EXPECT_EQ(CLyThreadPoolInstance::DetectedThreadCount(), 1);
        CPU_ZERO(&after);
        pthread_getaffinity_np(pthread_self(), sizeof(after), &after);
        EXPECT_TRUE(CPU_EQUAL(&after, &one));
    });
    t.join();
}
#endif
