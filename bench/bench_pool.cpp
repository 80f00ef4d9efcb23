// The cost of one band-parallel dispatch, and the speed-up of a memory-bound
// band operation with the pool. A dispatch after idle is shown next to the
// plain kernel round trip it cannot beat: wake one sleeping thread and be
// woken back by it, through a condition variable and through a bare atomic
// wait (a futex), measured in the same run.

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "LyThreadPool.h"
#include "bench_support.h"
#include "threading/LyBandFrame.h"

namespace {

void Nothing(void*) {}

// Run x T + Wait with empty jobs: the fixed cost a banded operation pays.
void BM_DispatchEmptyJobs(benchmark::State& state) {
    lybench::PoolForState(state);
    const int t = LyThreadPool::ThreadCount();
    for (auto _ : state) {
        for (int i = 0; i < t; ++i) LyThreadPool::Run(&Nothing, nullptr);
        LyThreadPool::Wait();
    }
}

// The band frame with a band body that does nothing (height 1080).
void BM_ParallelRowsEmpty(benchmark::State& state) {
    lybench::PoolForState(state);
    for (auto _ : state) {
        ly::ParallelRows(ly::PoolRoute::Internal, lybench::kHeight, [](int first, int rows) {
            benchmark::DoNotOptimize(first + rows);
        });
    }
}

// The same after the workers have gone idle, as when a host calls once a
// frame: the pause (not timed) outlasts the workers' spin.
void BM_ParallelRowsAfterIdle(benchmark::State& state) {
    lybench::PoolForState(state);
    for (auto _ : state) {
        state.PauseTiming();
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        state.ResumeTiming();
        ly::ParallelRows(ly::PoolRoute::Internal, lybench::kHeight, [](int first, int rows) {
            benchmark::DoNotOptimize(first + rows);
        });
    }
}

// Run x T + Wait with empty jobs after the workers have gone to sleep.
void BM_DispatchAfterIdle(benchmark::State& state) {
    lybench::PoolForState(state);
    const int t = LyThreadPool::ThreadCount();
    for (auto _ : state) {
        state.PauseTiming();
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        state.ResumeTiming();
        for (int i = 0; i < t; ++i) LyThreadPool::Run(&Nothing, nullptr);
        LyThreadPool::Wait();
    }
}

// The peer: one thread sleeps on a condition variable; each iteration (after
// the same idle pause) wakes it and sleeps until it answers.
void BM_PlainWakeRoundTripCondVar(benchmark::State& state) {
    std::mutex m;
    std::condition_variable toPeer, toMain;
    int sent = 0, answered = 0;
    bool stop = false;
    std::thread peer([&] {
        std::unique_lock<std::mutex> lk(m);
        for (int seen = 0;;) {
            toPeer.wait(lk, [&] { return stop || sent != seen; });
            if (stop) return;
            seen = sent;
            answered = seen;
            lk.unlock();
            toMain.notify_one();
            lk.lock();
        }
    });
    for (auto _ : state) {
        state.PauseTiming();
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        state.ResumeTiming();
        std::unique_lock<std::mutex> lk(m);
        const int ticket = ++sent;
        lk.unlock();
        toPeer.notify_one();
        lk.lock();
        toMain.wait(lk, [&] { return answered == ticket; });
    }
    {
        std::lock_guard<std::mutex> lk(m);
        stop = true;
    }
    toPeer.notify_one();
    peer.join();
}

// The same round trip on bare atomics (futex wait and wake, no mutex).
void BM_PlainWakeRoundTripFutex(benchmark::State& state) {
    std::atomic<int> sent{0}, answered{0};
    std::thread peer([&] {
        for (int seen = 0;;) {
            sent.wait(seen);
            seen = sent.load();
            if (seen < 0) return;
            answered.store(seen);
            answered.notify_one();
        }
    });
    int ticket = 0;
    for (auto _ : state) {
        state.PauseTiming();
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        state.ResumeTiming();
        sent.store(++ticket);
        sent.notify_one();
        for (int a = answered.load(); a != ticket; a = answered.load()) answered.wait(a);
    }
    sent.store(-1);
    sent.notify_one();
    peer.join();
}

// A 1920x1080x4 row copy through the frame, against one memcpy of the frame.
void BM_BandedRowCopy(benchmark::State& state) {
    lybench::PoolForState(state);
    const int pitch = lybench::kWidth * 4;
    lybench::Frame src(static_cast<size_t>(pitch) * lybench::kHeight), dst(src.size, 2);
    for (auto _ : state) {
        ly::ParallelRows(ly::PoolRoute::Internal, lybench::kHeight, [&](int first, int rows) {
            const unsigned char* s = ly::RowAt(src.data, pitch, first);
            unsigned char* d = ly::RowAt(dst.data, pitch, first);
            for (int r = 0; r < rows; ++r, s += pitch, d += pitch) std::memcpy(d, s, pitch);
        });
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, src.size);
}

void BM_MemcpyFrame(benchmark::State& state) {
    lybench::Frame src(static_cast<size_t>(lybench::kWidth) * 4 * lybench::kHeight), dst(src.size, 2);
    for (auto _ : state) {
        std::memcpy(dst.data, src.data, src.size);
        benchmark::ClobberMemory();
    }
    lybench::SetFrameBytes(state, src.size);
}

}  // namespace

BENCHMARK(BM_DispatchEmptyJobs)->Arg(1)->Arg(2)->Arg(4)->UseRealTime();
BENCHMARK(BM_ParallelRowsEmpty)->Arg(1)->Arg(2)->Arg(4)->UseRealTime();
BENCHMARK(BM_ParallelRowsAfterIdle)->Arg(1)->Arg(2)->Iterations(200)->UseRealTime();
BENCHMARK(BM_DispatchAfterIdle)->Arg(1)->Arg(2)->Iterations(200)->Repetitions(3)->UseRealTime();
BENCHMARK(BM_PlainWakeRoundTripCondVar)->Iterations(200)->Repetitions(3)->UseRealTime();
BENCHMARK(BM_PlainWakeRoundTripFutex)->Iterations(200)->Repetitions(3)->UseRealTime();
BENCHMARK(BM_MemcpyFrame)->UseRealTime();
BENCHMARK(BM_BandedRowCopy)->Arg(1)->Arg(2)->UseRealTime();
BENCHMARK_MAIN();
