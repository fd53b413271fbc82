// The node vertex buffers resident on the GPU: ready nodes are uploaded into one buffer each and
// stay for later frames until the GPU budget forces them out, least recently used first.
// UI thread only; the buffers themselves are made and deleted through a NodeBufferStore, so that
// the bookkeeping runs without a GL context in tests.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "cloud/NodeLoader.h"

namespace ovcf {

// Creates and deletes the GPU buffers of node vertices.
class NodeBufferStore {
public:
    virtual ~NodeBufferStore() = default;
    // A buffer holding `bytes` bytes from `data`; 0 when none could be made.
    virtual std::uint32_t create(const void* data, std::size_t bytes) = 0;
    virtual void destroy(std::uint32_t buffer) = 0;
    // Copies `bytes` bytes from the start of a buffer into `out`; false when the store cannot.
    virtual bool read(std::uint32_t buffer, std::size_t bytes, void* out) {
        (void)buffer, (void)bytes, (void)out;
        return false;
    }
};

class NodeResidency {
public:
    struct Entry {
        std::uint32_t buffer = 0;
        std::uint32_t pointCount = 0;
        std::uint64_t bytes = 0;
        bool resident = false;
    };

    explicit NodeResidency(std::unique_ptr<NodeBufferStore> store);
    ~NodeResidency();  // releases every buffer: the context must be current
    NodeResidency(const NodeResidency&) = delete;
    NodeResidency& operator=(const NodeResidency&) = delete;

    // Releases every buffer and sizes the table for a cloud of `nodeCount` nodes.
    void reset(std::size_t nodeCount);
    // Uploads each node into a buffer of its own; nodes out of range are dropped. A node that
    // is resident already gets its buffer replaced. When the GPU refuses a buffer, resident nodes
    // that were resident before this call are evicted, least recently used first by `lastUse`
    // (then by index), and the upload is tried again until it succeeds or nothing is left to
    // evict; a node still refused stays not resident (never drawn) and keeps its vertices. The
    // resident total at the refusal becomes a limit that evict() keeps from then on. Returns the
    // number of nodes made resident.
    std::size_t upload(std::vector<ReadyNode>& ready, const std::vector<std::uint64_t>& lastUse = {});
    // When the resident bytes exceed `budgetBytes` (or the limit the GPU showed): releases
    // resident nodes whose last use is not `frameNumber`, ascending by last use and then by node
    // index, until the total is at or below it. Returns the number evicted; `evicted` (optional)
    // receives them in that order.
    std::size_t evict(std::uint64_t budgetBytes, std::uint64_t frameNumber, const std::vector<std::uint64_t>& lastUse,
                      std::vector<std::uint32_t>* evicted = nullptr);
    void releaseAll();
    // Empties the table without deleting a buffer (their context is gone or not current).
    void abandonAll();

    bool isResident(std::uint32_t nodeIndex) const {
        return nodeIndex < entries_.size() && entries_[nodeIndex].resident;
    }
    const Entry& entry(std::uint32_t nodeIndex) const { return entries_[nodeIndex]; }
    // A resident node's vertices read back from its buffer; false when it is not resident.
    bool readVertices(std::uint32_t nodeIndex, std::vector<PointVertex>& vertices) const;
    std::uint64_t totalBytes() const { return totalBytes_; }
    std::size_t residentCount() const { return residentCount_; }
    std::uint64_t evictionCount() const { return evictions_; }
    // Uploads the GPU refused, and the resident bytes it held when it first did (0: never).
    std::uint64_t failedUploads() const { return failedUploads_; }
    std::uint64_t deviceLimitBytes() const { return deviceLimit_; }

private:
    void release(std::uint32_t nodeIndex);
    // Makes the buffer of one node, evicting older nodes on refusal; 0 when it cannot be made.
    std::uint32_t createEvicting(const ReadyNode& node, std::size_t bytes, const std::vector<std::uint64_t>& lastUse,
                                 const std::vector<std::uint8_t>& uploadedNow);

    std::unique_ptr<NodeBufferStore> store_;
    std::vector<Entry> entries_;
    std::uint64_t totalBytes_ = 0;
    std::size_t residentCount_ = 0;
    std::uint64_t evictions_ = 0;
    std::uint64_t failedUploads_ = 0;
    std::uint64_t deviceLimit_ = 0;
};

}  // namespace ovcf
