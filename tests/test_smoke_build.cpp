#include <atomic>
#include <set>
#include <thread>

#include "LyAVUtils.h"
#include "test_support.h"
#include "threading/LyBandFrame.h"

TEST(Smoke, BandsCoverRows) {
    for (int t : lytest::PoolSizes()) {
        lytest::ScopedPoolThreads pool(t);
        for (int h : {1, 15, 16, 17, 100}) {
            std::vector<std::atomic<int>> hits(h);
            ly::ParallelRows(ly::PoolRoute::Internal, h, [&](int first, int rows) {
                for (int r = first; r < first + rows; ++r) hits[r]++;
            });
            for (int r = 0; r < h; ++r) ASSERT_EQ(hits[r].load(), 1) << t << " " << h << " " << r;
            ly::ParallelRows(ly::PoolRoute::Exported, h, [&](int first, int rows) {
                for (int r = first; r < first + rows; ++r) hits[r]++;
            });
            for (int r = 0; r < h; ++r) ASSERT_EQ(hits[r].load(), 2);
        }
    }
}
