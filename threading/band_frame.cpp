#include <chrono>
#include <exception>
#include <thread>

#include "LyThreadPool.h"
#include "threading/LyBandFrame.h"
#include "threading/LyThreadPoolInstance.h"

namespace ly {
namespace {

void RunTask(void* p) {
    auto* task = static_cast<SLyBandJob*>(p);
    try {
        task->run(task->context, task->firstRow, task->rows);
    } catch (...) {
        // Kept for the caller: the band still counts as done.
        task->error = std::current_exception();
    }
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
    // Holding the reference keeps the pool alive across a concurrent Exit.
    const auto pool = route == PoolRoute::Internal ? CLyThreadPoolInstance::Instance() : nullptr;
    // An exception out of the pool itself (a job of the caller's own that
    // threw, or no memory for the caller's queue) must not leave before every
    // band has finished: the records live on this stack.
    std::exception_ptr poolError;
    int submitted = 0;
    try {
        for (; submitted < count; ++submitted) {
            if (route == PoolRoute::Exported)
                LyThreadPool::Run(&RunTask, &tasks[submitted]);
            else if (pool)
                pool->Run(&RunTask, &tasks[submitted]);
            else
                RunTask(&tasks[submitted]);
        }
    } catch (...) {
        poolError = std::current_exception();
    }
    for (int i = submitted; i < count; ++i) RunTask(&tasks[i]);
    try {
        if (route == PoolRoute::Exported)
            LyThreadPool::Wait();
        else if (pool)
            pool->Wait();
    } catch (...) {
        if (!poolError) poolError = std::current_exception();
    }
    AwaitTasks(tasks, count);
    for (int i = 0; i < count; ++i)
        if (tasks[i].error) std::rethrow_exception(tasks[i].error);
    if (poolError) std::rethrow_exception(poolError);
}

}  // namespace ly
