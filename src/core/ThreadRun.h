// Runs one piece of work per thread and joins them all before returning.
#pragma once

#include <algorithm>
#include <cstdint>
#include <exception>
#include <thread>
#include <vector>

namespace ovcf {

// How many threads share `items` when each should take at least `itemsPerThread`: at least one,
// at most `wanted` (0: the machine's cores) and `most`.
inline unsigned threadsFor(std::uint64_t items, std::uint64_t itemsPerThread, unsigned wanted, unsigned most) {
    const unsigned cores = wanted > 0 ? wanted : std::max(1u, std::thread::hardware_concurrency());
    return static_cast<unsigned>(std::clamp<std::uint64_t>(items / itemsPerThread, 1, std::min(cores, most)));
}

// Calls work(t) for every t below `threads`, each on a thread of its own (on the calling thread
// when there is one). Every thread is joined before anything goes up, and the first exception a
// thread threw is thrown again here: a failure inside a thread must not end the host's process.
template <class Work>
void runOnThreads(unsigned threads, const Work& work) {
    if (threads <= 1) {
        work(0u);
        return;
    }
    std::vector<std::exception_ptr> failures(threads);
    const auto guarded = [&](unsigned t) {
        try {
            work(t);
        } catch (...) {
            failures[t] = std::current_exception();
        }
    };
    std::vector<std::thread> running;
    running.reserve(threads);
    try {
        for (unsigned t = 0; t < threads; ++t) running.emplace_back(guarded, t);
    } catch (...) {
        for (std::thread& thread : running) thread.join();
        throw;
    }
    for (std::thread& thread : running) thread.join();
    for (const std::exception_ptr& failure : failures)
        if (failure) std::rethrow_exception(failure);
}

}  // namespace ovcf
