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
//
// ONE QUEUE PER THREAD, SHARED WITH THE IMAGE OPERATIONS. The library's banded
// image operations (LyFormatUtils, LyPixelUtils, ScaleImage4x8bits, and the
// LySurfaceUtils operations built on them) submit their bands through the
// same per-thread queue and end with a Wait of that thread. So a thread that
// calls an image operation while jobs of its own are still pending waits for
// those jobs inside the operation (a 2 ms conversion can take as long as the
// slowest of them), the operation rethrows their exception, and the thread's
// own Wait afterwards returns at once. A host should either Wait for its own
// jobs before calling an image operation, or submit its jobs from a thread
// that calls no image operation before its Wait.
//
// Exceptions: a job's exception never escapes into a worker, nor out of Run.
// Wherever the job ran (on a worker, or inline on the caller because the
// queue was full or the pool has one thread or is being stopped), the job
// counts as done and the first exception of the thread's jobs is kept; the
// thread's Wait rethrows it once every job has finished (later ones are
// dropped). A Wait that gives up at its 5000 ms cap rethrows what it has by
// then; exceptions of the jobs still running are lost, as are those of jobs
// that ran inline on a pool that Exit had already replaced.
namespace LyThreadPool {

// Creates the pool if none exists. If the pool cannot be built (out of memory
// or threads), nothing is created and every later Run executes inline.
LYAVUTILS_API void Init();

// The pool's worker count (1..16), creating the pool if needed; 1 when the
// pool could not be built.
LYAVUTILS_API int ThreadCount();

// Queues function(argument) on the calling thread's queue. The pool never owns
// the argument: keep it alive until this thread's Wait returns. A null
// function is ignored. Never throws for the job (see Exceptions above).
LYAVUTILS_API void Run(void (*function)(void*), void* argument);

// Waits until every job this thread queued since its last Wait has finished,
// but never longer than 5000 ms, then forgets this thread's queue. After a
// time-out the remaining jobs still run; the pool keeps their bookkeeping alive
// until the last of them has finished, and a later Wait of this thread does
// not cover them. Rethrows the first exception of this thread's jobs.
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
