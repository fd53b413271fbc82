#include "cloud/LevelOfDetail.h"

#include <algorithm>
#include <limits>

namespace ovcf {

bool LevelOfDetail::lowerPriority(const Entry& a, const Entry& b) {
    if (a.priority != b.priority) return a.priority < b.priority;
    return a.nodeIndex > b.nodeIndex;  // equal sizes: lower index first, reproducibly
}

void LevelOfDetail::reset(std::size_t nodeCount) {
    heap_.clear();
    chosen_.clear();
    lastUse_.assign(nodeCount, 0);
    deepestLevel_.assign(nodeCount, 0);
    counters_ = {};
}

double LevelOfDetail::childPriority(const Vec3d& eye, const Vec3d& centre, double radius, double projectionFactor) {
    const double d = length(centre - eye);
    if (d <= radius) return kInsidePriority;
    return 2.0 * radius * projectionFactor / d;
}

void LevelOfDetail::select(const std::vector<NodeInfo>& nodes, const LodView& view, std::uint32_t threshold,
                           std::uint64_t pointBudget, std::uint64_t frameNumber, const IsLoaded& isLoaded,
                           const Request& request) {
    if (lastUse_.size() != nodes.size()) reset(nodes.size());
    chosen_.clear();
    heap_.clear();
    counters_ = {};
    if (nodes.empty()) return;

    const bool edited = edits_.deletedInNode.size() == nodes.size() && edits_.survivingInSubtree.size() == nodes.size();
    heap_.push_back({0, std::numeric_limits<float>::max()});
    std::uint64_t total = 0;
    while (!heap_.empty()) {
        std::pop_heap(heap_.begin(), heap_.end(), lowerPriority);
        const Entry entry = heap_.back();
        heap_.pop_back();
        const NodeInfo& node = nodes[entry.nodeIndex];
        ++counters_.visited;

        if (boxOutside(view.frustum, node.boxMin, node.boxMax)) {
            ++counters_.culled;
            continue;
        }
        if (view.clip && boxOutside(*view.clip, node.boxMin, node.boxMax)) {
            ++counters_.cut;
            continue;
        }
        if (edited && edits_.survivingInSubtree[entry.nodeIndex] == 0) {
            ++counters_.emptied;
            continue;
        }
        if (!isLoaded(entry.nodeIndex)) {
            ++counters_.missing;
            request(entry.nodeIndex, entry.priority);
        }
        total += edited ? node.pointCount - edits_.deletedInNode[entry.nodeIndex] : node.pointCount;
        if (total > pointBudget && !chosen_.empty()) {
            counters_.budgetReached = true;
            break;
        }
        chosen_.push_back(entry.nodeIndex);
        counters_.chosenPoints = total;

        for (std::uint32_t child : node.children) {
            if (child == kNoChild) break;
            const NodeInfo& c = nodes[child];
            const double priority = childPriority(view.eye, c.centre, c.radius, view.projectionFactor);
            if (priority >= double(threshold)) {
                heap_.push_back({child, static_cast<float>(priority)});
                std::push_heap(heap_.begin(), heap_.end(), lowerPriority);
            }
        }
    }
    heap_.clear();

    // Parents are chosen before their children, so walking the list backwards hands each node's
    // deepest level up before the parent itself is reached.
    for (std::uint32_t index : chosen_) {
        lastUse_[index] = frameNumber;
        deepestLevel_[index] = nodes[index].level;
    }
    for (auto it = chosen_.rbegin(); it != chosen_.rend(); ++it) {
        const std::uint32_t parent = nodes[*it].parent;
        if (parent != kNoChild) deepestLevel_[parent] = std::max(deepestLevel_[parent], deepestLevel_[*it]);
    }
}

}  // namespace ovcf
