// A fixed set of worker threads for one long piece of work, such as an import: the parts of a
// loop that the caller waits for, and background tasks that the caller collects later. The
// threads live as long as the pool, so that thousands of small loops cost no thread creation.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace ovcf {

class WorkerPool {
public:
    // `threads` in all, the caller's included; 1 (or 0) starts no thread and runs everything on
    // the caller.
    explicit WorkerPool(unsigned threads);
    // Runs what is still queued, then joins the threads.
    ~WorkerPool();
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

    unsigned threads() const { return static_cast<unsigned>(workers_.size()) + 1; }

    // Calls work(part) once for every part below `parts`, on the workers and on the calling
    // thread, and returns when every call has. Parts are handed out one by one, so a worker busy
    // with a background task leaves its share to the others. The first exception a part throws
    // is thrown again here, once the parts begun have ended; those not begun yet are skipped.
    // Not called from inside a part or task.
    void forEach(unsigned parts, const std::function<void(unsigned)>& work);

    // Queues a task for a worker (run at once on a pool without workers). Tasks must not throw.
    void post(std::function<void()> task);
    // Runs one queued background task on the calling thread; false when none was queued.
    bool runQueued();

private:
    struct Loop {
        const std::function<void(unsigned)>* work = nullptr;
        unsigned parts = 0;
        unsigned next = 0;     // the next part to hand out
        unsigned running = 0;  // parts handed out and not yet ended
        std::exception_ptr failure;
    };

    void workerMain();
    // Runs parts of the current loop while there are any; the lock is held on entry and exit.
    void runParts(std::unique_lock<std::mutex>& lock);

    std::mutex mutex_;
    std::condition_variable wake_;      // workers: a loop part or a task is there, or stop
    std::condition_variable loopDone_;  // caller: the last running part ended
    Loop loop_;
    std::deque<std::function<void()>> tasks_;
    bool stopping_ = false;
    std::vector<std::thread> workers_;
};

}  // namespace ovcf
