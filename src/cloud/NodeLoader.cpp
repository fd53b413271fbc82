#include "cloud/NodeLoader.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "cloud/CloudNodes.h"
#include "cloud/NodeDecoding.h"
#include "core/Log.h"
#include "ovcf/OvcfReader.h"

namespace ovcf {

NodeLoader::~NodeLoader() { stop(); }

int NodeLoader::clampThreadCount(int requested) { return std::clamp(requested, kMinThreads, kMaxThreads); }

bool NodeLoader::lowerPriority(const Request& a, const Request& b) {
    // Equal priorities go to the lower node index first, which keeps the order reproducible.
    if (a.priority != b.priority) return a.priority < b.priority;
    return a.nodeIndex > b.nodeIndex;
}

bool NodeLoader::start(const std::string& path, int threadCount, const Vec3d& referencePoint, std::string& error,
                       OvcfReader* source) {
    stop();
    const int count = clampThreadCount(threadCount);
    if (!source) {
        OvcfReader check;
        if (!check.open(path, error)) return false;
    }
    path_ = path;  // read by the threads, which start below
    source_ = source;
    reference_ = referencePoint;
    nodesRead_ = 0;
    pointsRead_ = 0;
    running_ = true;
    try {
        threads_.reserve(std::size_t(count));
        for (int k = 0; k < count; ++k) threads_.emplace_back(&NodeLoader::run, this, k);
    } catch (const std::exception& e) {
        stop();
        error = std::string("cannot start the loader threads: ") + e.what();
        return false;
    }
    logLine(LogInfo, "caricamento nodi: %d thread di lettura su '%s'", count, path.c_str());
    return true;
}

void NodeLoader::stop() {
    {
        // Cleared under the lock, so that no thread can miss the wake-up between its check of
        // the flag and its wait.
        std::lock_guard<std::mutex> guard(lock_);
        running_ = false;
    }
    wake_.notify_all();
    for (std::thread& thread : threads_) thread.join();
    threads_.clear();
    std::lock_guard<std::mutex> guard(lock_);
    heap_.clear();
    inFlight_.clear();
    ready_.clear();
    failed_.clear();
}

void NodeLoader::request(std::uint32_t nodeIndex, float priority) {
    {
        std::lock_guard<std::mutex> guard(lock_);
        if (!inFlight_.insert(nodeIndex).second) return;
        heap_.push_back({nodeIndex, priority});
        std::push_heap(heap_.begin(), heap_.end(), lowerPriority);
    }
    wake_.notify_one();
}

void NodeLoader::dropQueued() {
    std::lock_guard<std::mutex> guard(lock_);
    for (const Request& queued : heap_) inFlight_.erase(queued.nodeIndex);
    heap_.clear();
}

std::size_t NodeLoader::queuedCount() const {
    std::lock_guard<std::mutex> guard(lock_);
    return heap_.size();
}

std::size_t NodeLoader::inFlightCount() const {
    std::lock_guard<std::mutex> guard(lock_);
    return inFlight_.size();
}

void NodeLoader::forget(std::uint32_t nodeIndex) {
    std::lock_guard<std::mutex> guard(lock_);
    inFlight_.erase(nodeIndex);
}

std::vector<ReadyNode> NodeLoader::takeReady() {
    std::lock_guard<std::mutex> guard(lock_);
    return std::exchange(ready_, {});
}

std::vector<std::uint32_t> NodeLoader::takeFailed() {
    std::lock_guard<std::mutex> guard(lock_);
    return std::exchange(failed_, {});
}

bool NodeLoader::nextRequest(std::uint32_t& nodeIndex) {
    std::unique_lock<std::mutex> guard(lock_);
    wake_.wait(guard, [this] { return !running_ || !heap_.empty(); });
    if (!running_) return false;
    std::pop_heap(heap_.begin(), heap_.end(), lowerPriority);
    nodeIndex = heap_.back().nodeIndex;
    heap_.pop_back();
    return true;
}

void NodeLoader::run(int threadIndex) {
    OvcfReader reader;
    std::string error;
    if (!(source_ ? reader.openSame(*source_, error) : reader.open(path_, error))) {
        logLine(LogError, "thread di caricamento %d: %s", threadIndex, error.c_str());
        return;
    }
    std::vector<PointRecord> points;  // reused: the reader's buffers and this one only grow
    std::uint32_t nodeIndex = 0;
    while (nextRequest(nodeIndex)) {
        if (readHook_) readHook_(nodeIndex);
        readOne(reader, nodeIndex, points);
    }
}

void NodeLoader::readOne(OvcfReader& reader, std::uint32_t nodeIndex, std::vector<PointRecord>& points) {
    std::string error;
    ReadyNode node;
    bool read = false;
    try {
        read = reader.readNode(nodeIndex, points, error) && decode(reader, nodeIndex, points, node);
    } catch (const std::exception&) {
        // A node too large for the memory left is skipped like a damaged one; the thread goes on.
        error = "not enough memory for the node";
        read = false;
    }
    if (!read) {
        logLine(LogWarn, "nodo %u non leggibile: %s", nodeIndex, error.c_str());
        std::lock_guard<std::mutex> guard(lock_);
        inFlight_.erase(nodeIndex);
        failed_.push_back(nodeIndex);
        return;
    }
    nodesRead_.fetch_add(1);
    pointsRead_.fetch_add(node.pointCount);
    std::lock_guard<std::mutex> guard(lock_);
    ready_.push_back(std::move(node));
}

bool NodeLoader::decode(const OvcfReader& reader, std::uint32_t nodeIndex, const std::vector<PointRecord>& points,
                        ReadyNode& node) const {
    const HierarchyRecord& record = reader.nodes()[nodeIndex];
    node.nodeIndex = nodeIndex;
    node.pointCount = static_cast<std::uint32_t>(points.size());
    node.level = record.level;
    node.childMask = record.childMask;
    nodeRenderOrigin(reader.header(), record, reference_, node.origin);
    node.spacing = typicalSpacing(reader.header(), record);
    node.firstPoint = record.firstPoint;
    decodeNodeVertices(reader.header(), record, reference_, points, node.vertices);
    return true;
}

}  // namespace ovcf
