#include "view/NodeResidency.h"

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

std::size_t NodeResidency::upload(std::vector<ReadyNode>& ready) {
    std::size_t uploaded = 0;
    for (ReadyNode& node : ready) {
        if (node.nodeIndex >= entries_.size()) continue;
        release(node.nodeIndex);
        Entry& e = entries_[node.nodeIndex];
        const std::size_t bytes = node.vertices.size() * sizeof(PointVertex);
        // An empty node has nothing to draw but counts as loaded, so it is not asked for again.
        if (bytes > 0) {
            e.buffer = store_->create(node.vertices.data(), bytes);
            if (e.buffer == 0) continue;
        }
        e.pointCount = static_cast<std::uint32_t>(node.vertices.size());
        e.bytes = bytes;
        e.resident = true;
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
