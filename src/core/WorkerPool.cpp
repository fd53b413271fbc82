#include "core/WorkerPool.h"

#include <exception>

namespace ovcf {

WorkerPool::WorkerPool(unsigned threads) {
    const unsigned workers = threads > 1 ? threads - 1 : 0;
    workers_.reserve(workers);
    try {
        for (unsigned i = 0; i < workers; ++i) workers_.emplace_back([this] { workerMain(); });
    } catch (...) {
        // Fewer threads than asked still work: the caller takes what no worker does.
    }
}

WorkerPool::~WorkerPool() {
    while (runQueued()) {
    }
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    for (std::thread& worker : workers_) worker.join();
}

void WorkerPool::workerMain() {
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        wake_.wait(lock, [this] { return stopping_ || loop_.next < loop_.parts || !tasks_.empty(); });
        if (loop_.next < loop_.parts) {
            runParts(lock);
        } else if (!tasks_.empty()) {
            std::function<void()> task = std::move(tasks_.front());
            tasks_.pop_front();
            lock.unlock();
            task();
            lock.lock();
        } else if (stopping_) {
            return;
        }
    }
}

void WorkerPool::runParts(std::unique_lock<std::mutex>& lock) {
    while (loop_.next < loop_.parts) {
        const unsigned part = loop_.next++;
        ++loop_.running;
        const std::function<void(unsigned)>& work = *loop_.work;
        lock.unlock();
        std::exception_ptr failure;
        try {
            work(part);
        } catch (...) {
            failure = std::current_exception();
        }
        lock.lock();
        if (failure && !loop_.failure) {
            loop_.failure = failure;
            loop_.next = loop_.parts;  // the parts not begun yet are skipped
        }
        if (--loop_.running == 0 && loop_.next >= loop_.parts) loopDone_.notify_all();
    }
}

void WorkerPool::forEach(unsigned parts, const std::function<void(unsigned)>& work) {
    if (parts == 0) return;
    if (workers_.empty() || parts == 1) {
        for (unsigned part = 0; part < parts; ++part) work(part);
        return;
    }
    std::unique_lock<std::mutex> lock(mutex_);
    loop_ = Loop{&work, parts, 0, 0, nullptr};
    wake_.notify_all();
    runParts(lock);
    loopDone_.wait(lock, [this] { return loop_.running == 0; });
    const std::exception_ptr failure = loop_.failure;
    loop_ = Loop{};
    lock.unlock();
    if (failure) std::rethrow_exception(failure);
}

void WorkerPool::post(std::function<void()> task) {
    if (workers_.empty()) {
        task();
        return;
    }
    {
        std::lock_guard<std::mutex> lock(mutex_);
        tasks_.push_back(std::move(task));
    }
    wake_.notify_one();
}

bool WorkerPool::runQueued() {
    std::function<void()> task;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (tasks_.empty()) return false;
        task = std::move(tasks_.front());
        tasks_.pop_front();
    }
    task();
    return true;
}

}  // namespace ovcf
