// Work spread over threads: every thread runs and is joined, and a failure in one of them comes
// back to the caller instead of ending the process.
#include <gtest/gtest.h>

#include <atomic>
#include <new>
#include <stdexcept>

#include "core/ThreadRun.h"

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

}  // namespace
}  // namespace ovcf
