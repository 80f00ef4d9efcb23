#ifndef LYAVUTILS_THREADING_LYBANDFRAME_H
#define LYAVUTILS_THREADING_LYBANDFRAME_H

// Internal: the band-parallel frame shared by every image operation.
//
// An operation validates its arguments, then hands the frame its row count
// and a callable `band(firstRow, rows)`. The frame reads the pool's thread
// count T; with T < 2 or fewer than 16 rows it calls band(0, rows) once on
// the calling thread. Otherwise it cuts the rows into T bands of rows / T
// (the last band takes the remainder), submits one job per band in band order
// and waits for them. The callable runs concurrently on disjoint bands and
// must only write its own band's rows.
//
// Called on a pool worker (an operation invoked from inside a pool job) the
// frame runs on the calling thread: that worker would otherwise wait for jobs
// that other busy workers may never get to.
//
// Exceptions: a band that throws ends only itself. Every band still runs to
// its end; once all have, the frame rethrows on the calling thread the
// exception of the first throwing band in band order (others are dropped).
// Terminating instead would take the host down for one bad band, and
// swallowing would hide it; rethrowing after the last band is the only point
// where the caller's stack, holding the records, may unwind. An exception the
// pool's Wait itself raises (a pending job of the caller's own that threw) is
// rethrown the same way, after the bands' own. With one band (under 16 rows,
// a one-thread pool, or on a worker) the band runs directly and its exception
// simply propagates.
//
// The pool's Wait gives up after 5 s. The frame's job records live on the
// caller's stack, so after Wait the frame also checks that each of its own
// bands has run to the end, and keeps waiting if one has not; no job ever
// runs on a record that has gone.

#include <atomic>
#include <exception>
#include <type_traits>

namespace ly {

constexpr int kBandRowThreshold = 16;
constexpr int kMaxBands = 16;

// Which entry points submit the jobs. Both behave the same; the exported
// route goes through LyThreadPool::Init / ThreadCount / Run / Wait, the
// internal one straight to the pool singleton.
enum class PoolRoute {
    Internal,
    Exported,
};

struct SLyBandSplit {
    int firstRow;
    int rows;
};

// The split the frame uses for `height` rows on `threads` workers: one band
// when threads < 2 or height < 16, else `threads` bands. Returns the count.
int ComputeBands(int height, int threads, SLyBandSplit out[kMaxBands]);

// One band's job record, on a cache line of its own: workers write their
// records' `done` while the others still read theirs.
struct alignas(64) SLyBandJob {
    void (*run)(void* context, int firstRow, int rows);
    void* context;
    int firstRow;
    int rows;
    std::exception_ptr error;  // what the band threw, if anything
    std::atomic<bool> done{false};
};

// Submits each task (tasks[0] .. tasks[count-1]) on the route, waits, and
// returns only when every task has finished.
void RunBandTasks(PoolRoute route, SLyBandJob* tasks, int count);

// The thread count the frame uses on this route now (1 on a pool worker or
// when no pool could be built).
int FrameThreadCount(PoolRoute route);

template <class Band>
void ParallelRows(PoolRoute route, int height, Band&& band) {
    if (height < 1) return;
    const int threads = FrameThreadCount(route);  // creates the pool on first use
    SLyBandSplit split[kMaxBands];
    const int count = ComputeBands(height, threads, split);
    if (count == 1) {
        band(0, height);
        return;
    }
    using B = std::remove_reference_t<Band>;
    SLyBandJob tasks[kMaxBands];
    for (int i = 0; i < count; ++i) {
        tasks[i].run = [](void* context, int firstRow, int rows) { (*static_cast<B*>(context))(firstRow, rows); };
        tasks[i].context = const_cast<void*>(static_cast<const void*>(&band));
        tasks[i].firstRow = split[i].firstRow;
        tasks[i].rows = split[i].rows;
    }
    RunBandTasks(route, tasks, count);
}

// The usual band: row(r) for every row r of the image, each band walking its
// own rows top to bottom. Operations whose bands carry state from row to row
// use ParallelRows itself.
template <class Row>
void ParallelEachRow(int height, Row&& row, PoolRoute route = PoolRoute::Internal) {
    ParallelRows(route, height, [&row](int firstRow, int rows) {
        for (int r = firstRow; r < firstRow + rows; ++r) row(r);
    });
}

// Row pointer arithmetic for band workers: the row `row` rows below `p`
// (negative pitches walk upwards).
template <class T>
inline T* RowAt(T* p, int pitch, int row) {
    return reinterpret_cast<T*>(reinterpret_cast<std::conditional_t<std::is_const_v<T>, const unsigned char*,
                                                                     unsigned char*>>(p) +
                                static_cast<std::ptrdiff_t>(pitch) * row);
}

}  // namespace ly

#endif
