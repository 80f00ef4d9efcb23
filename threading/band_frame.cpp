#include <chrono>
#include <thread>

#include "LyThreadPool.h"
#include "threading/LyBandFrame.h"
#include "threading/LyThreadPoolInstance.h"

namespace ly {
namespace {

void RunTask(void* p) {
    auto* task = static_cast<SLyBandJob*>(p);
    task->run(task->context, task->firstRow, task->rows);
    // Last touch of the record: once the submitter sees this, it may free it.
    task->done.store(true, std::memory_order_release);
}

void AwaitTasks(SLyBandJob* tasks, int count) {
    for (int i = 0; i < count; ++i)
        while (!tasks[i].done.load(std::memory_order_acquire))
            std::this_thread::sleep_for(std::chrono::microseconds(200));
}

}  // namespace

int ComputeBands(int height, int threads, SLyBandSplit out[kMaxBands]) {
    if (threads > kMaxBands) threads = kMaxBands;
    if (threads < 2 || height < kBandRowThreshold) {
        out[0] = {0, height};
        return 1;
    }
    const int rowsPerBand = height / threads;
    for (int i = 0; i < threads; ++i) {
        const int first = i * rowsPerBand;
        const int end = i == threads - 1 ? height : first + rowsPerBand;
        out[i] = {first, end - first};
    }
    return threads;
}

int FrameThreadCount(PoolRoute route) {
    if (CLyThreadPoolInstance::OnWorkerThread()) return 1;
    if (route == PoolRoute::Exported) {
        LyThreadPool::Init();
        return LyThreadPool::ThreadCount();
    }
    const auto pool = CLyThreadPoolInstance::Instance();
    return pool ? pool->ThreadCount() : 1;
}

void RunBandTasks(PoolRoute route, SLyBandJob* tasks, int count) {
    if (route == PoolRoute::Exported) {
        for (int i = 0; i < count; ++i) LyThreadPool::Run(&RunTask, &tasks[i]);
        LyThreadPool::Wait();
    } else {
        // Holding the reference keeps the pool alive across a concurrent Exit.
        const auto pool = CLyThreadPoolInstance::Instance();
        if (!pool) {
            for (int i = 0; i < count; ++i) RunTask(&tasks[i]);
            return;
        }
        for (int i = 0; i < count; ++i) pool->Run(&RunTask, &tasks[i]);
        pool->Wait();
    }
    AwaitTasks(tasks, count);
}

}  // namespace ly
