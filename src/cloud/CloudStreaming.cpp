#include "cloud/CloudStreaming.h"

#include <algorithm>
#include <cmath>
#include <bit>
#include <new>

#include "core/Log.h"
#include "core/NumberFormat.h"
#include "ovcf/CommitRecovery.h"

namespace ovcf {
CloudStreaming::CloudStreaming(std::unique_ptr<NodeBufferStore> store)
    : residency_(std::move(store)) {}

CloudStreaming::~CloudStreaming() { close(); }

void CloudStreaming::clearState() {
    nodes_.clear();
    unreadable_.clear();
    path_.clear();
    reference_ = {};
    levelCount_ = 0;
    confirmed_ = {};
    frame_ = {};
    lod_.reset(0);
    lod_.setEditCounts({});
    residency_.reset(0);
}

bool CloudStreaming::open(const std::string& path, int loaderThreads, std::string& error) {
    close();
    try {
        return openFile(path, loaderThreads, error);
    } catch (const std::bad_alloc&) {
        close();
        error = "not enough memory to open the cloud";
        return false;
    }
}

bool CloudStreaming::openFile(const std::string& path, int loaderThreads, std::string& error) {
    // A commit that died half-way is undone before anything is read; where that cannot be
    // done (a read-only medium) the file is read through its journal.
    std::string recovery;
    if (!recoverInterruptedCommit(path, recovery)) logLine(LogWarn, "%s", recovery.c_str());
    if (!reader_.open(path, error)) return false;

    clearState();
    reference_ = cloudReferencePoint(reader_.header());
    if (!loader_.start(path, loaderThreads, reference_, error, &reader_)) {
        reader_.close();
        clearState();
        return false;
    }
    nodes_ = describeNodes(reader_.header(), reader_.nodes(), reference_);
    unreadable_.assign(nodes_.size(), 0);
    for (const NodeInfo& node : nodes_) levelCount_ = std::max(levelCount_, node.level + 1);
    lod_.reset(nodes_.size());
    residency_.reset(nodes_.size());
    path_ = path;
    open_ = true;
    loadDeletedMap();
    return true;
}

void CloudStreaming::loadDeletedMap() {
    std::string error;
    if (!readConfirmedState(reader_.file(), path_, confirmed_, error)) {
        logLine(LogWarn, "mappa dei cancellati non leggibile: %s", error.c_str());
        const OpenedFile file = confirmed_.file;
        confirmed_.map.assign(std::size_t((reader_.header().pointCount + 63) / 64), 0);
        confirmed_.mapCount = 0;
        confirmed_.header = reader_.header();
        confirmed_.file = file;
        return;
    }
    warnWhenCountDisagrees(path_, confirmed_);
    if (confirmed_.mapCount != 0)
        logLine(LogInfo, "cancellazioni gia' confermate nel file: %s punti", formatCount(confirmed_.mapCount).c_str());
}

void CloudStreaming::close() {
    loader_.stop();
    residency_.releaseAll();
    reader_.close();
    clearState();
    open_ = false;
}

void CloudStreaming::logOpened() const {
    logLine(LogInfo, "nuvola aperta: %s punti in %s nodi, %u livelli", formatCount(pointCount()).c_str(),
            formatCount(nodeCount()).c_str(), levelCount_);
}

Vec3d CloudStreaming::boundsMin() const {
    const FileHeader& h = reader_.header();
    return {h.boundsMin[0], h.boundsMin[1], h.boundsMin[2]};
}

Vec3d CloudStreaming::boundsMax() const {
    const FileHeader& h = reader_.header();
    return {h.boundsMax[0], h.boundsMax[1], h.boundsMax[2]};
}

std::optional<NearPoint> CloudStreaming::nearestPoint(const Vec3d& position, double radius,
                                                     const PointShown& shown) const {
    if (!open_) return std::nullopt;
    return findNearestPoint(
        nodes_, position, radius,
        [this](std::uint32_t index, std::vector<PointVertex>& vertices) { return residency_.readVertices(index, vertices); },
        shown);
}

const StreamingFrame& CloudStreaming::update(const LodView& view, const RenderSettings& settings,
                                             std::uint64_t frameNumber) {
    frame_ = {};
    if (!open_) return frame_;

    for (std::uint32_t index : loader_.takeFailed())
        if (index < unreadable_.size()) unreadable_[index] = 1;
    std::vector<ReadyNode> ready = loader_.takeReady();
    frame_.uploaded = static_cast<std::uint32_t>(residency_.upload(ready, lod_.lastUse()));
    for (const ReadyNode& node : ready) {
        loader_.forget(node.nodeIndex);
        if (node.nodeIndex < unreadable_.size()) unreadable_[node.nodeIndex] = 0;
    }

    // Requests nobody started belong to the previous camera; this frame asks afresh.
    loader_.dropQueued();
    lod_.select(
        nodes_, view, settings.detailThreshold, settings.pointBudget, frameNumber,
        [this](std::uint32_t index) { return residency_.isResident(index); },
        [this](std::uint32_t index, float priority) { loader_.request(index, priority); });
    frame_.lod = lod_.counters();
    frame_.evicted = static_cast<std::uint32_t>(residency_.evict(settings.gpuBudgetBytes, frameNumber, lod_.lastUse()));

    bool waiting = false;
    frame_.chosen = static_cast<std::uint32_t>(lod_.chosen().size());
    frame_.drawables.reserve(lod_.chosen().size());
    for (std::uint32_t index : lod_.chosen()) {
        if (!residency_.isResident(index)) {
            // A node that could not be read is asked for again, but not waited for.
            if (!unreadable_[index]) waiting = true;
            continue;
        }
        ++frame_.loaded;
        const NodeResidency::Entry& entry = residency_.entry(index);
        if (entry.pointCount == 0) continue;
        const NodeInfo& node = nodes_[index];
        DrawableNode drawable;
        drawable.buffer = entry.buffer;
        drawable.pointCount = entry.pointCount;
        std::copy(std::begin(node.origin), std::end(node.origin), drawable.origin);
        // Where descendants are drawn too, their points fill the gaps between the node's own:
        // the spacing on screen is that of the deepest chosen level, halving at every level.
        const std::uint32_t deepest = std::max(lod_.deepestChosenLevel(index), node.level);
        drawable.spacing = std::ldexp(node.spacing, -static_cast<int>(std::min(deepest - node.level, 30u)));
        drawable.level = node.level;
        frame_.drawables.push_back(drawable);
    }
    frame_.moreFramesWanted = frame_.uploaded > 0 || waiting;
    return frame_;
}

}  // namespace ovcf
