#include "import/NodeWriteQueue.h"

#include <algorithm>
#include <new>

namespace ovcf {

namespace {

// A job whose buffers grew past this for a rare large node gives them back rather than keep them.
constexpr std::size_t kLargestSpareBuffers = std::size_t{8} << 20;

std::size_t bufferBytes(const EncodedNode& node) { return node.raw.capacity() + node.compressed.capacity(); }

}  // namespace

NodeWriteQueue::NodeWriteQueue(OvcfWriter& writer, WorkerPool& pool, std::uint64_t pendingBytes)
    : writer_(writer), pool_(pool), pendingLimit_(std::max<std::uint64_t>(pendingBytes, 1)) {}

NodeWriteQueue::~NodeWriteQueue() {
    // No worker may still read the points or the jobs once the caller goes on.
    std::string ignored;
    drain(ignored);
}

std::unique_ptr<NodeWriteQueue::Job> NodeWriteQueue::takeSpareJob() {
    if (spare_.empty()) return std::make_unique<Job>();
    std::unique_ptr<Job> job = std::move(spare_.back());
    spare_.pop_back();
    spareBytes_ -= bufferBytes(job->encoded);
    return job;
}

void NodeWriteQueue::encode(Job& job) {
    bool ok = false;
    try {
        ok = encodeNode(writer_.params(), job.key, job.points, job.count, job.encoded, job.error);
    } catch (const std::bad_alloc&) {
        job.error = "OvcfWriter: out of memory";
    }
    // Notified under the lock: once the caller sees the job done it may destroy the queue, and
    // this thread must not touch it after letting go of the mutex.
    std::lock_guard<std::mutex> lock(mutex_);
    job.encodedOk = ok;
    job.done = true;
    finished_.notify_all();
}

void NodeWriteQueue::appendFront(bool wait) {
    while (!pending_.empty()) {
        Job& job = *pending_.front();
        {
            std::unique_lock<std::mutex> lock(mutex_);
            if (!job.done) {
                if (!wait) return;
                // Rather than sleep, take on the encoding still queued; then wait for the rest.
                lock.unlock();
                while (pool_.runQueued()) {
                }
                lock.lock();
                finished_.wait(lock, [&job] { return job.done; });
            }
        }
        wait = false;
        if (failure_.empty()) {
            if (!job.encodedOk) failure_ = job.error.empty() ? "OvcfWriter: out of memory" : job.error;
            else if (!writer_.appendNode(job.key, job.encoded, failure_) && failure_.empty())
                failure_ = "OvcfWriter: out of memory";
        }
        pendingBytes_ -= std::min<std::uint64_t>(pendingBytes_, std::uint64_t{job.count} * sizeof(PointRecord));
        std::unique_ptr<Job> finished = std::move(pending_.front());
        pending_.pop_front();
        finished->points = nullptr;
        finished->done = false;
        finished->error.clear();
        // Fresh buffers would cost the system's zeroing of their pages, node after node: as many
        // are kept as the nodes waiting at a time need.
        const std::size_t buffers = bufferBytes(finished->encoded);
        if (buffers <= kLargestSpareBuffers && spareBytes_ + buffers <= 2 * pendingLimit_) {
            spareBytes_ += buffers;
            spare_.push_back(std::move(finished));
        }
    }
}

bool NodeWriteQueue::submit(const NodeKey& key, const PointRecord* points, std::size_t count, std::string& error) {
    if (pool_.threads() <= 1 && pending_.empty()) {
        if (failure_.empty() && !writer_.writeNode(key, points, count, failure_) && failure_.empty())
            failure_ = "OvcfWriter: out of memory";
        error = failure_;
        return failure_.empty();
    }
    appendFront(false);
    const std::uint64_t bytes = std::uint64_t{count} * sizeof(PointRecord);
    while (!pending_.empty() && pendingBytes_ + bytes > pendingLimit_) appendFront(true);
    if (!failure_.empty()) {
        error = failure_;
        return false;
    }
    std::unique_ptr<Job> job = takeSpareJob();
    job->key = key;
    job->points = points;
    job->count = count;
    Job* raw = job.get();
    pending_.push_back(std::move(job));
    pendingBytes_ += bytes;
    try {
        pool_.post([this, raw] { encode(*raw); });
    } catch (...) {
        pending_.pop_back();
        pendingBytes_ -= bytes;
        throw;
    }
    return true;
}

bool NodeWriteQueue::drain(std::string& error) {
    while (!pending_.empty()) appendFront(true);
    if (!failure_.empty()) {
        error = failure_;
        return false;
    }
    return true;
}

}  // namespace ovcf
