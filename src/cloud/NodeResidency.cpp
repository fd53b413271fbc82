#include "cloud/NodeResidency.h"

#include <algorithm>
#include <utility>

namespace ovcf {

NodeResidency::NodeResidency(std::unique_ptr<NodeBufferStore> store) : store_(std::move(store)) {}

NodeResidency::~NodeResidency() { releaseAll(); }

void NodeResidency::reset(std::size_t nodeCount) {
    releaseAll();
    entries_.assign(nodeCount, Entry{});
}

void NodeResidency::release(std::uint32_t nodeIndex) {
    Entry& e = entries_[nodeIndex];
    if (!e.resident) return;
    if (e.buffer != 0) store_->destroy(e.buffer);
    totalBytes_ -= e.bytes;
    --residentCount_;
    e = Entry{};
}

bool NodeResidency::readVertices(std::uint32_t nodeIndex, std::vector<PointVertex>& vertices) const {
    vertices.clear();
    if (!isResident(nodeIndex)) return false;
    const Entry& e = entries_[nodeIndex];
    if (e.pointCount == 0) return true;
    vertices.resize(e.pointCount);
    if (store_->read(e.buffer, e.pointCount * sizeof(PointVertex), vertices.data())) return true;
    vertices.clear();
    return false;
}

void NodeResidency::releaseAll() {
    for (std::size_t i = 0; i < entries_.size(); ++i) release(static_cast<std::uint32_t>(i));
    totalBytes_ = 0;
    residentCount_ = 0;
}

void NodeResidency::abandonAll() {
    for (Entry& e : entries_) e = Entry{};
    totalBytes_ = 0;
    residentCount_ = 0;
}

std::uint32_t NodeResidency::createEvicting(const ReadyNode& node, std::size_t bytes,
                                           const std::vector<std::uint64_t>& lastUse,
                                           const std::vector<std::uint8_t>& uploadedNow) {
    std::uint32_t buffer = store_->create(node.vertices.data(), bytes);
    if (buffer != 0) return buffer;
    ++failedUploads_;
    if (deviceLimit_ == 0 || totalBytes_ < deviceLimit_) deviceLimit_ = totalBytes_;
    std::vector<std::pair<std::uint64_t, std::uint32_t>> candidates;
    for (std::size_t i = 0; i < entries_.size(); ++i)
        if (entries_[i].resident && entries_[i].bytes > 0 && !uploadedNow[i])
            candidates.emplace_back(i < lastUse.size() ? lastUse[i] : 0, static_cast<std::uint32_t>(i));
    std::sort(candidates.begin(), candidates.end());
    for (const auto& [used, index] : candidates) {
        release(index);
        ++evictions_;
        buffer = store_->create(node.vertices.data(), bytes);
        if (buffer != 0) return buffer;
        ++failedUploads_;
    }
    return 0;
}

std::size_t NodeResidency::upload(std::vector<ReadyNode>& ready, const std::vector<std::uint64_t>& lastUse) {
    std::size_t uploaded = 0;
    std::vector<std::uint8_t> uploadedNow(entries_.size(), 0);
    for (ReadyNode& node : ready) {
        if (node.nodeIndex >= entries_.size()) continue;
        release(node.nodeIndex);
        Entry& e = entries_[node.nodeIndex];
        const std::size_t bytes = node.vertices.size() * sizeof(PointVertex);
        // An empty node has nothing to draw but counts as loaded, so it is not asked for again.
        if (bytes > 0) {
            e.buffer = createEvicting(node, bytes, lastUse, uploadedNow);
            if (e.buffer == 0) continue;
        }
        e.pointCount = static_cast<std::uint32_t>(node.vertices.size());
        e.bytes = bytes;
        e.resident = true;
        uploadedNow[node.nodeIndex] = 1;
        totalBytes_ += bytes;
        ++residentCount_;
        ++uploaded;
        // The CPU copy is not needed once the GPU has it.
        std::vector<PointVertex>().swap(node.vertices);
    }
    return uploaded;
}

std::size_t NodeResidency::evict(std::uint64_t budgetBytes, std::uint64_t frameNumber,
                                 const std::vector<std::uint64_t>& lastUse, std::vector<std::uint32_t>* evicted) {
    // Above what the GPU could hold, uploads would only fail again.
    if (deviceLimit_ > 0 && deviceLimit_ < budgetBytes) budgetBytes = deviceLimit_;
    if (totalBytes_ <= budgetBytes) return 0;
    std::vector<std::pair<std::uint64_t, std::uint32_t>> candidates;
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        if (!entries_[i].resident) continue;
        const std::uint64_t used = i < lastUse.size() ? lastUse[i] : 0;
        if (used != frameNumber) candidates.emplace_back(used, static_cast<std::uint32_t>(i));
    }
    std::sort(candidates.begin(), candidates.end());
    std::size_t count = 0;
    for (const auto& [used, index] : candidates) {
        if (totalBytes_ <= budgetBytes) break;
        release(index);
        ++count;
        ++evictions_;
        if (evicted) evicted->push_back(index);
    }
    return count;
}

}  // namespace ovcf
