// The indexer's way to the writer: nodes are encoded (records, CRC, signature, LZ4) on the worker
// threads while the indexer goes on splitting, and appended to the file strictly in the order
// they were submitted, so the file is the same byte for byte whatever the thread count. With one
// thread every node is encoded and written at once, on the caller.
//
// A submitted node's points are read until drain() returns: the caller keeps them alive and
// unchanged until then. All calls come from one thread.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "core/WorkerPool.h"
#include "ovcf/OvcfWriter.h"

namespace ovcf {

class NodeWriteQueue {
public:
    // `pendingBytes`: how much encoding work (raw bytes of the points) may wait at a time.
    NodeWriteQueue(OvcfWriter& writer, WorkerPool& pool, std::uint64_t pendingBytes);
    ~NodeWriteQueue();
    NodeWriteQueue(const NodeWriteQueue&) = delete;
    NodeWriteQueue& operator=(const NodeWriteQueue&) = delete;

    // False with the message when this node, or one submitted before it, could not be encoded
    // or written.
    bool submit(const NodeKey& key, const PointRecord* points, std::size_t count, std::string& error);
    // Returns once every submitted node is in the file (or has failed): then the points given to
    // submit are free again. False with the first failure's message.
    bool drain(std::string& error);

private:
    struct Job {
        NodeKey key;
        const PointRecord* points = nullptr;
        std::size_t count = 0;
        EncodedNode encoded;
        std::string error;
        bool encodedOk = false;
        bool done = false;  // under mutex_
    };

    void encode(Job& job);
    // Appends the finished jobs at the front; with `wait`, waits for the front job first.
    void appendFront(bool wait);
    std::unique_ptr<Job> takeSpareJob();

    OvcfWriter& writer_;
    WorkerPool& pool_;
    std::uint64_t pendingLimit_;
    std::uint64_t pendingBytes_ = 0;
    std::deque<std::unique_ptr<Job>> pending_;  // in submission order
    std::vector<std::unique_ptr<Job>> spare_;   // finished jobs whose buffers are kept for reuse
    std::uint64_t spareBytes_ = 0;              // their buffers' bytes
    std::string failure_;                       // the first failure; nothing is written after it
    std::mutex mutex_;
    std::condition_variable finished_;
};

// Drains the queue when it goes out of scope, also when an exception passes through, so that
// the points given to submit may be freed afterwards.
class DrainOnExit {
public:
    explicit DrainOnExit(NodeWriteQueue& queue) : queue_(queue) {}
    ~DrainOnExit() {
        std::string ignored;
        queue_.drain(ignored);
    }
    DrainOnExit(const DrainOnExit&) = delete;
    DrainOnExit& operator=(const DrainOnExit&) = delete;

private:
    NodeWriteQueue& queue_;
};

}  // namespace ovcf
