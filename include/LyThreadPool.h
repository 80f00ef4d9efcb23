#ifndef LYAVUTILS_THREADPOOL_H
#define LYAVUTILS_THREADPOOL_H

#include "LyAVUtilsTypes.h"

// One process-wide pool of worker threads (one per logical processor the
// process may run on, at most 16), created on first use.
//
// Every calling thread has a job queue of its own: a thread submits jobs with
// Run and then calls Wait, and Wait waits only for the jobs that same thread
// submitted, so several host threads can share the pool without waiting for
// each other. Workers serve the callers' queues round-robin, one job at a time.
//
// A queue holds at most 16 outstanding jobs: a Run that finds it full runs the
// job on the calling thread at once, and so does every Run on a one-thread
// pool. Run never blocks.
namespace LyThreadPool {

// Creates the pool if none exists. If the pool cannot be built (out of memory
// or threads), nothing is created and every later Run executes inline.
LYAVUTILS_API void Init();

// The pool's worker count (1..16), creating the pool if needed; 1 when the
// pool could not be built.
LYAVUTILS_API int ThreadCount();

// Queues function(argument) on the calling thread's queue. The pool never owns
// the argument: keep it alive until this thread's Wait returns. A null
// function is ignored. An exception escaping a job is swallowed.
LYAVUTILS_API void Run(void (*function)(void*), void* argument);

// Waits until every job this thread queued since its last Wait has finished,
// but never longer than 5000 ms, then forgets this thread's queue. After a
// time-out the remaining jobs still run; the pool keeps their bookkeeping alive
// until the last of them has finished, and a later Wait of this thread does
// not cover them.
LYAVUTILS_API void Wait();

// Stops the workers and destroys the pool; a later call of any operation
// builds a new one. Jobs already queued are still run. Exit waits at most
// 1000 ms per worker; a worker still busy after that is left to finish its job
// and end on its own. Calling Exit while other threads are using the pool is
// safe (operations in flight complete on the old pool, which is released when
// the last of them returns), but a thread that queued jobs before the Exit
// cannot wait for them afterwards.
LYAVUTILS_API void Exit();

}  // namespace LyThreadPool

#endif
