// LY_TEST_LABELS: threading
//
// The per-caller job queues of the pool: each Wait covers exactly its own
// caller's jobs, a full queue or a one-thread pool runs jobs inline, Wait is
// capped, and the pool can be torn down and rebuilt under load.

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
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

// A gate jobs can block on until the test opens it.
class Gate {
public:
    void Open() {
        {
            std::lock_guard<std::mutex> lk(m_);
            open_ = true;
        }
        cv_.notify_all();
    }
    void Pass() {
        std::unique_lock<std::mutex> lk(m_);
        ++waiting_;
        cv_.notify_all();
        cv_.wait(lk, [this] { return open_; });
    }
    // Blocks until `n` jobs are waiting at the gate.
    void AwaitWaiting(int n) {
        std::unique_lock<std::mutex> lk(m_);
        cv_.wait(lk, [&] { return waiting_ >= n; });
    }

private:
    std::mutex m_;
    std::condition_variable cv_;
    bool open_ = false;
    int waiting_ = 0;
};

void PassGate(void* gate) { static_cast<Gate*>(gate)->Pass(); }
void Increment(void* counter) { static_cast<std::atomic<int>*>(counter)->fetch_add(1); }

struct ThreadRecord {
    std::atomic<int> ran{0};
    std::thread::id id;
    std::mutex m;
};
void RecordThread(void* p) {
    auto* r = static_cast<ThreadRecord*>(p);
    {
        std::lock_guard<std::mutex> lk(r->m);
        r->id = std::this_thread::get_id();
    }
    r->ran.fetch_add(1);
}

std::shared_ptr<CLyThreadPoolInstance> Pool() { return CLyThreadPoolInstance::Instance(); }

}  // namespace

TEST(ThreadPool, ThreadCountFollowsTheProcessorsThisProcessMayUse) {
    LyThreadPool::Exit();
    const int n = LyThreadPool::ThreadCount();
    EXPECT_GE(n, 1);
    EXPECT_LE(n, 16);
    EXPECT_EQ(static_cast<uint32_t>(n), ly::AllowedProcessorCount());
}

TEST(ThreadPool, SeamBuildsPoolsOfAnySizeAndClampsToSixteen) {
    for (int t : {1, 2, 4, 16, 40}) {
        lytest::ScopedPoolThreads pool(t);
        EXPECT_EQ(LyThreadPool::ThreadCount(), t > 16 ? 16 : t);
    }
}

TEST(ThreadPool, OneThreadPoolRunsEverythingOnTheCaller) {
    lytest::ScopedPoolThreads pool(1);
    ThreadRecord rec;
    for (int i = 0; i < 40; ++i) {
        LyThreadPool::Run(&RecordThread, &rec);
        EXPECT_EQ(rec.ran.load(), i + 1) << "job must have run before Run returned";
        EXPECT_EQ(rec.id, std::this_thread::get_id());
    }
    const auto start = Clock::now();
    LyThreadPool::Wait();
    EXPECT_LT(Clock::now() - start, 1s);
    EXPECT_EQ(Pool()->MappedQueueCount(), 0u);
}

TEST(ThreadPool, WaitWithoutRunReturnsAtOnceAndLeavesNoQueue) {
    lytest::ScopedPoolThreads pool(4);
    const auto start = Clock::now();
    LyThreadPool::Wait();
    EXPECT_LT(Clock::now() - start, 1s);
    EXPECT_EQ(Pool()->MappedQueueCount(), 0u);
    EXPECT_EQ(Pool()->RingQueueCount(), 0u);
}

TEST(ThreadPool, QueuedJobsRunOnWorkersAndWaitDropsTheQueue) {
    lytest::ScopedPoolThreads pool(4);
    ThreadRecord recs[4];
    for (auto& r : recs) LyThreadPool::Run(&RecordThread, &r);
    EXPECT_EQ(Pool()->MappedQueueCount(), 1u);
    LyThreadPool::Wait();
    for (auto& r : recs) {
        EXPECT_EQ(r.ran.load(), 1);
        EXPECT_NE(r.id, std::this_thread::get_id());
    }
    EXPECT_EQ(Pool()->MappedQueueCount(), 0u);
    EXPECT_EQ(Pool()->RingQueueCount(), 0u);
}

TEST(ThreadPool, SeventeenthOutstandingJobRunsInlineOnTheCaller) {
    lytest::ScopedPoolThreads pool(2);
    // Occupy both workers from another caller so that nothing of ours is taken.
    Gate gate;
    std::thread blocker([&] {
        LyThreadPool::Run(&PassGate, &gate);
        LyThreadPool::Run(&PassGate, &gate);
        LyThreadPool::Wait();
    });
    gate.AwaitWaiting(2);

    ThreadRecord queued[16];
    for (auto& r : queued) LyThreadPool::Run(&RecordThread, &r);
    for (auto& r : queued) EXPECT_EQ(r.ran.load(), 0) << "queued jobs must not run while workers are busy";
    ThreadRecord seventeenth;
    LyThreadPool::Run(&RecordThread, &seventeenth);
    EXPECT_EQ(seventeenth.ran.load(), 1);
    EXPECT_EQ(seventeenth.id, std::this_thread::get_id());

    gate.Open();
    LyThreadPool::Wait();
    for (auto& r : queued) {
        EXPECT_EQ(r.ran.load(), 1);
        EXPECT_NE(r.id, std::this_thread::get_id());
    }
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
    EXPECT_TRUE(slowCallerDone.load());
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

    struct Order {
        std::mutex m;
        std::string seq;
    } order;
    struct Tag {
        Order* order;
        char name;
    };
    auto record = [](void* p) {
        auto* t = static_cast<Tag*>(p);
        std::lock_guard<std::mutex> lk(t->order->m);
        t->order->seq += t->name;
    };
    Tag a{&order, 'a'}, b{&order, 'b'};
    std::atomic<int> queued{0};
    Gate release;
    auto caller = [&](Tag* tag) {
        for (int i = 0; i < 4; ++i) LyThreadPool::Run(record, tag);
        queued++;
        release.Pass();
        LyThreadPool::Wait();
    };
    std::thread ta(caller, &a), tb(caller, &b);
    release.AwaitWaiting(2);
    release.Open();
    first.Open();
    ta.join();
    tb.join();
    second.Open();
    holder.join();
    ASSERT_EQ(order.seq.size(), 8u);
    for (size_t i = 1; i < order.seq.size(); ++i) EXPECT_NE(order.seq[i], order.seq[i - 1]) << order.seq;
}

TEST(ThreadPool, TwoCallersInterleaveAndBothFinish) {
    lytest::ScopedPoolThreads pool(2);
    std::atomic<int> a{0}, b{0};
    auto caller = [](std::atomic<int>* c) {
        for (int round = 0; round < 200; ++round) {
            for (int i = 0; i < 5; ++i) LyThreadPool::Run(&Increment, c);
            LyThreadPool::Wait();
            if (c->load() != 5 * (round + 1)) return;
        }
    };
    std::thread ta(caller, &a), tb(caller, &b);
    ta.join();
    tb.join();
    EXPECT_EQ(a.load(), 1000);
    EXPECT_EQ(b.load(), 1000);
}

TEST(ThreadPool, JobMayRunAndWaitForJobsOfItsOwn) {
    lytest::ScopedPoolThreads pool(4);
    struct Nested {
        std::atomic<int> inner{0};
        std::atomic<int> outerSawAll{0};
    } n;
    auto outer = [](void* p) {
        auto* n = static_cast<Nested*>(p);
        std::atomic<int> mine{0};
        for (int i = 0; i < 6; ++i) LyThreadPool::Run(&Increment, &mine);
        LyThreadPool::Wait();
        n->inner.fetch_add(mine.load());
        if (mine.load() == 6) n->outerSawAll.fetch_add(1);
    };
    for (int i = 0; i < 2; ++i) LyThreadPool::Run(outer, &n);
    LyThreadPool::Wait();
    EXPECT_EQ(n.inner.load(), 12);
    EXPECT_EQ(n.outerSawAll.load(), 2);
}

TEST(ThreadPool, NullFunctionIsIgnoredAndThrowingJobDoesNotKillTheWorker) {
    lytest::ScopedPoolThreads pool(2);
    LyThreadPool::Run(nullptr, nullptr);
    LyThreadPool::Run([](void*) { throw 42; }, nullptr);
    std::atomic<int> counter{0};
    for (int i = 0; i < 4; ++i) LyThreadPool::Run(&Increment, &counter);
    LyThreadPool::Wait();
    EXPECT_EQ(counter.load(), 4);
}

TEST(ThreadPool, ExitThenRunBuildsANewPool) {
    lytest::ScopedPoolThreads pool(3);
    const auto first = Pool();
    LyThreadPool::Exit();
    EXPECT_EQ(CLyThreadPoolInstance::Current(), nullptr);
    std::atomic<int> counter{0};
    LyThreadPool::Run(&Increment, &counter);
    LyThreadPool::Wait();
    EXPECT_EQ(counter.load(), 1);
    const auto second = CLyThreadPoolInstance::Current();
    ASSERT_NE(second, nullptr);
    EXPECT_NE(second.get(), first.get());
    LyThreadPool::Exit();
    LyThreadPool::Exit();  // no pool: nothing happens
}

TEST(ThreadPool, JobsQueuedBeforeExitStillRun) {
    lytest::ScopedPoolThreads pool(2);
    std::atomic<int> counter{0};
    for (int i = 0; i < 12; ++i) LyThreadPool::Run(&Increment, &counter);
    LyThreadPool::Exit();
    EXPECT_EQ(counter.load(), 12);
    LyThreadPool::Wait();  // new pool, no queue for this thread
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
    auto caller = [&] {
        LyThreadPool::Run(&PassGate, &gate);
        LyThreadPool::Run(&PassGate, &gate);
        const auto start = Clock::now();
        LyThreadPool::Wait();
        return Clock::now() - start;
    };
    const auto waited = caller();
    EXPECT_GE(waited, 4900ms);
    EXPECT_LT(waited, 9000ms);
    // The caller's queue is forgotten but kept alive for the running jobs.
    EXPECT_EQ(Pool()->MappedQueueCount(), 0u);
    EXPECT_EQ(Pool()->RingQueueCount(), 1u);
    gate.Open();
    const auto deadline = Clock::now() + 5s;
    while (Pool()->RingQueueCount() != 0 && Clock::now() < deadline) std::this_thread::sleep_for(1ms);
    EXPECT_EQ(Pool()->RingQueueCount(), 0u) << "the last finished job frees the orphaned queue";
    // The pool still works for this thread afterwards.
    std::atomic<int> counter{0};
    LyThreadPool::Run(&Increment, &counter);
    LyThreadPool::Wait();
    EXPECT_EQ(counter.load(), 1);
}

TEST(ThreadPool, ManyCallersManySmallJobsAllAccountedFor) {
    lytest::ScopedPoolThreads pool(4);
    constexpr int kCallers = 6;
    constexpr int kRounds = 300;
    std::atomic<int> totals[kCallers];
    std::atomic<int> expected[kCallers];
    for (auto& t : totals) t = 0;
    for (auto& e : expected) e = 0;
    std::vector<std::thread> callers;
    for (int c = 0; c < kCallers; ++c) {
        callers.emplace_back([&, c] {
            std::mt19937 rng(c + 1);
            for (int round = 0; round < kRounds; ++round) {
                const int jobs = 1 + static_cast<int>(rng() % 20);  // sometimes more than a queue holds
                for (int j = 0; j < jobs; ++j) LyThreadPool::Run(&Increment, &totals[c]);
                expected[c] += jobs;
                LyThreadPool::Wait();
                if (totals[c].load() != expected[c].load()) return;
            }
        });
    }
    for (auto& t : callers) t.join();
    for (int c = 0; c < kCallers; ++c) EXPECT_EQ(totals[c].load(), expected[c].load()) << "caller " << c;
    EXPECT_EQ(Pool()->RingQueueCount(), 0u);
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
    for (auto* p : seen) EXPECT_EQ(p, seen[0]);
    EXPECT_NE(seen[0], nullptr);
}

// ------------------------------------------------------------ processor detection

TEST(ProcessorDetection, CountsTheCallersAffinityAtMostSixteen) {
    ly::SLyProcessorInfo info;
    ly::DetectProcessors(info);
    EXPECT_GE(info.logicalCount, 1u);
    EXPECT_LE(info.logicalCount, 16u);
    EXPECT_EQ(info.logicalCount, ly::AllowedProcessorCount());
    EXPECT_GE(info.packageCount, 1u);
    for (uint32_t i = 0; i < info.logicalCount; ++i) EXPECT_NE(info.processors[i].affinityMask, 0u);
#if LY_X86
    EXPECT_TRUE(info.cpuidUsable);
    if (info.isIntel || info.isAmd) {
        EXPECT_TRUE(info.sse2);
    }
#endif
}

#if defined(__linux__)
TEST(ProcessorDetection, ThreadPinnedToOneProcessorCountsOneAndKeepsItsAffinity) {
    std::thread t([] {
        cpu_set_t allowed;
        CPU_ZERO(&allowed);
        ASSERT_EQ(pthread_getaffinity_np(pthread_self(), sizeof(allowed), &allowed), 0);
        int first = 0;
        while (!CPU_ISSET(first, &allowed)) ++first;
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(first, &one);
        ASSERT_EQ(pthread_setaffinity_np(pthread_self(), sizeof(one), &one), 0);
        ly::SLyProcessorInfo info;
        ly::DetectProcessors(info);
        EXPECT_EQ(info.logicalCount, 1u);
        EXPECT_EQ(CLyThreadPoolInstance::DetectedThreadCount(), 1);
        cpu_set_t after;
        CPU_ZERO(&after);
        pthread_getaffinity_np(pthread_self(), sizeof(after), &after);
        EXPECT_TRUE(CPU_EQUAL(&after, &one));
    });
    t.join();
}
#endif
