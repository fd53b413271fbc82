// Work spread over threads: every thread runs and is joined, and a failure in one of them comes
// back to the caller instead of ending the process; a worker pool runs every part of a loop once,
// on any number of threads, and every task posted before it goes.
#include <gtest/gtest.h>

#include <atomic>
#include <new>
#include <stdexcept>
#include <vector>

#include "core/ThreadRun.h"
#include "core/WorkerPool.h"

namespace ovcf {
namespace {

TEST(RunOnThreads, EveryThreadRunsAndAThreadsFailureReachesTheCallerAfterTheJoin) {
    for (unsigned threads : {1u, 4u}) {
        std::atomic<unsigned> ran{0}, finished{0};
        const auto work = [&](unsigned t) {
            ++ran;
            if (t == threads - 1) throw std::bad_alloc();
            ++finished;
        };
        EXPECT_THROW(runOnThreads(threads, work), std::bad_alloc) << threads;
        EXPECT_EQ(ran.load(), threads);
        EXPECT_EQ(finished.load(), threads - 1) << "the others ran to their end";
    }
    std::atomic<unsigned> sum{0};
    runOnThreads(3, [&](unsigned t) { sum += t + 1; });
    EXPECT_EQ(sum.load(), 6u);
}

TEST(WorkerPool, EveryPartRunsOnceAPartsFailureReachesTheCallerAndPostedTasksAllRun) {
    for (unsigned threads : {1u, 3u}) {
        std::atomic<unsigned> tasks{0};
        {
            WorkerPool pool(threads);
            for (int i = 0; i < 50; ++i) pool.post([&] { ++tasks; });
            std::vector<std::atomic<unsigned>> runs(40);
            for (int loop = 0; loop < 20; ++loop) pool.forEach(40, [&](unsigned part) { ++runs[part]; });
            for (const auto& r : runs) EXPECT_EQ(r.load(), 20u) << threads << " threads";
            EXPECT_THROW(pool.forEach(8,
                                      [&](unsigned part) {
                                          if (part == 5) throw std::runtime_error("part 5");
                                      }),
                         std::runtime_error);
            std::atomic<unsigned> after{0};
            pool.forEach(8, [&](unsigned) { ++after; });
            EXPECT_EQ(after.load(), 8u) << "a loop after a failed one runs whole";
        }
        EXPECT_EQ(tasks.load(), 50u) << threads << " threads";
    }
}

}  // namespace
}  // namespace ovcf
