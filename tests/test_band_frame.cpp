// LY_TEST_LABELS: threading
//
// The band-parallel frame: how rows are cut into bands, where bands run, and
// that every row is visited exactly once whatever the pool size and route.

#include <atomic>
#include <chrono>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "LyAVUtilsVersion.h"
#include "LyPixelUtils.h"
#include "LyThreadPool.h"
#include "test_support.h"
#include "threading/LyBandFrame.h"
#include "threading/LyThreadPoolInstance.h"

namespace {

struct BandLog {
    std::mutex m;
    std::vector<ly::SLyBandSplit> bands;
    std::set<std::thread::id> threads;
    void Add(int first, int rows) {
        std::lock_guard<std::mutex> lk(m);
        bands.push_back({first, rows});
        threads.insert(std::this_thread::get_id());
    }
};

std::vector<std::pair<int, int>> Split(int height, int threads) {
    ly::SLyBandSplit out[ly::kMaxBands];
    const int n = ly::ComputeBands(height, threads, out);
    std::vector<std::pair<int, int>> v;
    for (int i = 0; i < n; ++i) v.emplace_back(out[i].firstRow, out[i].rows);
    return v;
}

using Bands = std::vector<std::pair<int, int>>;

}  // namespace

// Under sixteen rows or one thread: one band; otherwise the last band takes the remainder.
TEST(BandSplit, Examples) {
    EXPECT_EQ(Split(15, 4), (Bands{{0, 15}}));
    EXPECT_EQ(Split(15, 16), (Bands{{0, 15}}));
    EXPECT_EQ(Split(100, 1), (Bands{{0, 100}}));
    EXPECT_EQ(Split(16, 4), (Bands{{0, 4}, {4, 4}, {8, 4}, {12, 4}}));
    EXPECT_EQ(Split(17, 4), (Bands{{0, 4}, {4, 4}, {8, 4}, {12, 5}}));
    EXPECT_EQ(Split(31, 16).back(), (std::pair<int, int>{15, 16}));
    EXPECT_EQ(Split(17, 16).back(), (std::pair<int, int>{15, 2}));
    const Bands sixteen = Split(16, 16);
    for (int i = 0; i < 16; ++i) EXPECT_EQ(sixteen.at(i), (std::pair<int, int>{i, 1}));
}

TEST(BandFrame, EveryRowOnceAtEveryPoolSizeAndRoute) {
    for (int t : lytest::PoolSizes()) {
        lytest::ScopedPoolThreads pool(t);
        for (auto route : {ly::PoolRoute::Internal, ly::PoolRoute::Exported}) {
            for (int h : {1, 2, 15, 16, 17, 31, 100, 1081}) {
                BandLog log;
                std::vector<std::atomic<int>> hits(h);
                ly::ParallelRows(route, h, [&](int first, int rows) {
                    log.Add(first, rows);
                    for (int r = first; r < first + rows; ++r) hits[r]++;
                });
                for (int r = 0; r < h; ++r) ASSERT_EQ(hits[r].load(), 1) << "T " << t << " h " << h << " row " << r;
                // The per-row form walks the same bands.
                ly::ParallelEachRow(h, [&](int r) { hits[r]++; }, route);
                for (int r = 0; r < h; ++r) ASSERT_EQ(hits[r].load(), 2) << "T " << t << " h " << h << " row " << r;
                const size_t expectBands = (t < 2 || h < 16) ? 1u : static_cast<size_t>(t);
                EXPECT_EQ(log.bands.size(), expectBands) << "T " << t << " h " << h;
                // A single band runs on the caller, several on workers.
                EXPECT_EQ(log.threads.count(std::this_thread::get_id()), expectBands == 1 ? 1u : 0u) << t << " " << h;
            }
        }
    }
}

TEST(BandFrame, ZeroOrNegativeHeightDoesNothing) {
    ly::ParallelRows(ly::PoolRoute::Internal, 0, [&](int, int) { ADD_FAILURE(); });
    ly::ParallelRows(ly::PoolRoute::Exported, -5, [&](int, int) { ADD_FAILURE(); });
}

TEST(BandFrame, BandedWritesMatchOneBandWithNegativePitch) {
    // A row kernel that depends on the row index: banding must not shift rows.
    for (int t : lytest::PoolSizes()) {
        lytest::ScopedPoolThreads pool(t);
        for (int h : lytest::TestHeights()) {
            lytest::TestImage banded(13, h, 4, 5, 3, true);
            const auto before = banded.Snapshot();
            ly::ParallelRows(ly::PoolRoute::Internal, h, [&](int first, int rows) {
                unsigned char* d = ly::RowAt(banded.data(), banded.pitch(), first);
                for (int r = first; r < first + rows; ++r, d += banded.pitch())
                    for (int x = 0; x < banded.rowBytes(); ++x) d[x] = static_cast<unsigned char>(r * 7 + x);
            });
            for (int r = 0; r < h; ++r)
                for (int x = 0; x < banded.rowBytes(); ++x)
                    ASSERT_EQ(banded.row(r)[x], static_cast<unsigned char>(r * 7 + x));
            EXPECT_TRUE(banded.OutsideUnchanged(before));
        }
    }
}

TEST(BandFrame, OperationInsideAPoolJobRunsOnThatWorker) {
    lytest::ScopedPoolThreads pool(2);
    struct Ctx { std::atomic<int> rows{0}, foreignBands{0}; } ctx;
    auto job = [](void* p) {
        auto* c = static_cast<Ctx*>(p);
        const auto me = std::this_thread::get_id();
        ly::ParallelRows(ly::PoolRoute::Internal, 64, [&](int, int rows) {
            if (std::this_thread::get_id() != me) c->foreignBands++;
            c->rows += rows;
        });
    };
    // Both workers busy with a banded operation each: neither may wait for the other.
    LyThreadPool::Run(job, &ctx);
    LyThreadPool::Run(job, &ctx);
    LyThreadPool::Wait();
    EXPECT_TRUE(ctx.rows.load() == 128 && ctx.foreignBands.load() == 0);
}

TEST(BandFrame, ConcurrentCallersGetTheirOwnBands) {
    lytest::ScopedPoolThreads pool(4);
    std::atomic<int> failures{0};
    std::vector<std::thread> callers;
    for (int c = 0; c < 4; ++c) {
        callers.emplace_back([&, c] {
            for (int round = 0; round < 200; ++round) {
                const int h = 16 + (round * 7 + c) % 50;
                std::vector<int> hits(h, 0);  // each band writes only its own rows
                ly::ParallelRows(c % 2 ? ly::PoolRoute::Exported : ly::PoolRoute::Internal, h,
                                 [&](int first, int rows) {
                                     for (int r = first; r < first + rows; ++r) hits[r]++;
                                 });
                for (int r = 0; r < h; ++r)
                    if (hits[r] != 1) failures++;
            }
        });
    }
    for (auto& t : callers) t.join();
    EXPECT_EQ(failures.load(), 0);
}

// A band that throws ends only itself: every other band still runs, and the
// first band's exception (in band order) reaches the caller once all are done.
TEST(BandFrame, ThrowingBandsFinishTheFrameAndTheFirstIsRethrown) {
    for (int t : lytest::PoolSizes()) {
        lytest::ScopedPoolThreads pool(t);
        for (auto route : {ly::PoolRoute::Internal, ly::PoolRoute::Exported}) {
            const int h = 64;
            std::vector<std::atomic<int>> hits(h);
            try {
                ly::ParallelRows(route, h, [&](int first, int rows) {
                    for (int r = first; r < first + rows; ++r) hits[r]++;
                    if (first == 0 || first + rows == h) throw first;  // the first and the last band
                });
                ADD_FAILURE() << "no exception, T " << t;
            } catch (int first) {
                EXPECT_EQ(first, 0) << "T " << t;
            }
            for (int r = 0; r < h; ++r) ASSERT_EQ(hits[r].load(), 1) << "T " << t << " row " << r;
            // The pool is whole afterwards.
            std::atomic<int> rows{0};
            ly::ParallelRows(route, h, [&](int, int n) { rows += n; });
            EXPECT_EQ(rows.load(), h);
        }
    }
}

// A caller's queue is one queue: an operation on a thread with its own
// pending job waits for that job too, and consumes it, so the thread's own
// Wait afterwards has nothing left to wait for.
TEST(BandFrame, OperationWaitsForTheCallersOwnPendingJob) {
    lytest::ScopedPoolThreads pool(4);
    struct HostJob { std::atomic<bool> release{false}, finished{false}; } job;
    LyThreadPool::Run(
        [](void* p) {
            auto* j = static_cast<HostJob*>(p);
            while (!j->release.load()) std::this_thread::yield();
            j->finished = true;
        },
        &job);
    std::atomic<int> bandsDone{0};
    // Releases the host's job only once every band has run: if the operation
    // returned before the job finished, `finished` would still be false.
    std::thread releaser([&] {
        while (bandsDone.load() != 4) std::this_thread::yield();
        job.release = true;
    });
    ly::ParallelRows(ly::PoolRoute::Internal, 64, [&](int, int) { bandsDone++; });
    EXPECT_TRUE(job.finished.load()) << "the operation's Wait covered the host's own job";
    EXPECT_EQ(CLyThreadPoolInstance::Instance()->MappedQueueCount(), 0u) << "and ended the host's queue";
    LyThreadPool::Wait();  // returns at once: nothing of this thread is queued
    releaser.join();

    // An exception of the host's own job comes out of the operation.
    LyThreadPool::Run([](void*) { throw 5; }, nullptr);
    std::atomic<int> rows{0};
    EXPECT_THROW(ly::ParallelRows(ly::PoolRoute::Internal, 64, [&](int, int n) { rows += n; }), int);
    EXPECT_EQ(rows.load(), 64);
    EXPECT_NO_THROW(LyThreadPool::Wait());
}

// When the pool's Wait gives up (its cap, shortened here through the test
// seam), the frame still returns only after its last band has finished: the
// band records live on the caller's stack.
TEST(BandFrame, CallerThatStopsWaitingEarlyStillSeesEveryBandFinished) {
    lytest::ScopedPoolThreads pool(2);
    struct CapGuard {
        CapGuard() { CLyThreadPoolInstance::SetWaitCapForTesting(std::chrono::milliseconds(20)); }
        ~CapGuard() { CLyThreadPoolInstance::SetWaitCapForTesting(std::chrono::milliseconds(5000)); }
    } cap;
    std::atomic<bool> started{false}, release{false};
    std::atomic<int> rowsDone{0};
    std::thread releaser([&] {
        // The caller's queue leaves the map only when its Wait has given up.
        while (!started.load() || CLyThreadPoolInstance::Instance()->MappedQueueCount() != 0)
            std::this_thread::yield();
        release = true;
    });
    ly::ParallelRows(ly::PoolRoute::Internal, 32, [&](int first, int rows) {
        if (first == 0) {
            started = true;
            while (!release.load()) std::this_thread::yield();
        }
        rowsDone += rows;
    });
    EXPECT_TRUE(release.load()) << "the frame returned before its blocked band was released";
    EXPECT_EQ(rowsDone.load(), 32);
    releaser.join();
}

// A host may change the instruction-set cap while operations run on other
// threads: each operation keeps one level for all its bands, and every level
// gives the same bytes, so no result may change (and ThreadSanitizer sees the
// cap only through atomics).
TEST(BandFrame, CapChangesWhileOperationsRun) {
    lytest::ScopedPoolThreads pool(4);
    const ELyInstructionSet before = LySetInstructionSetCap(InstructionSet_AVX2);
    lytest::TestImage start(61, 40, 4, 3, 5, true), mask(61, 40, 1, 1), expected(61, 40, 4, 3, 5, true);
    start.FillRandomWithExtremes();
    mask.FillRandomWithExtremes();
    expected.CopyPixelsFrom(start);
    LyPixelUtils::MaskImage(expected.data(), expected.pitch(), mask.data(), mask.pitch(), 61, 40);
    std::atomic<bool> stop{false};
    std::thread flipper([&] {
        for (int i = 0; !stop.load(); ++i) LySetInstructionSetCap(static_cast<ELyInstructionSet>(i % 3));
    });
    for (int round = 0; round < 100; ++round) {
        lytest::TestImage image(61, 40, 4, 3, 5, true);
        image.CopyPixelsFrom(start);
        LyPixelUtils::MaskImage(image.data(), image.pitch(), mask.data(), mask.pitch(), 61, 40);
        ASSERT_TRUE(lytest::SameBytes(expected.Pixels(), image.Pixels())) << "round " << round;
    }
    stop = true;
    flipper.join();
    LySetInstructionSetCap(before);
}
