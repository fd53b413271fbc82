// Streams octree nodes from a .ovcf file on 1 to 16 loader threads, each with a reader of its own,
// so that the UI thread never waits for the disk. The UI thread requests nodes with a priority
// (the largest first), takes finished nodes as ready vertex arrays, and drops the requests no
// thread has started whenever the camera's wishes change.
//
// One mutex guards the request heap, the in-flight set and the ready list; the threads sleep on
// one condition variable. A node stays in the in-flight set from its request until the UI thread
// forgets it (after uploading it) or until reading it fails, so it is never queued twice.
// Loader threads never touch GL.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_set>
#include <utility>
#include <vector>

#include "cloud/RenderTypes.h"
#include "core/Vec3.h"
#include "ovcf/PointRecord.h"

namespace ovcf {

class OvcfReader;

// A node read and decoded by a loader thread, waiting for the UI thread.
struct ReadyNode {
    std::uint32_t nodeIndex = 0;
    std::uint32_t pointCount = 0;
    std::uint32_t level = 0;
    std::uint32_t childMask = 0;
    float origin[3] = {0, 0, 0};  // node origin in render space
    float spacing = 0.0f;         // typical point spacing, metres
    std::uint64_t firstPoint = 0; // global index of vertex 0
    std::vector<PointVertex> vertices;  // positions relative to origin
};

class NodeLoader {
public:
    static constexpr int kMinThreads = 1;
    static constexpr int kMaxThreads = 16;

    NodeLoader() = default;
    ~NodeLoader();  // stops
    NodeLoader(const NodeLoader&) = delete;
    NodeLoader& operator=(const NodeLoader&) = delete;

    // Stops a running loader, then checks the file with one reader on the calling thread and
    // starts the threads (count clamped to 1..16). False with the reader's message when the file
    // does not open; then no thread runs.
    // With a `source` (the cloud's own reader, which outlives the loader) every thread reads
    // through a second handle on the very file it has open, never a file renamed over the path.
    bool start(const std::string& path, int threadCount, const Vec3d& referencePoint, std::string& error,
               OvcfReader* source = nullptr);
    // Clears running, wakes and joins every thread, empties heap, in-flight set and ready list.
    // A thread busy with a node finishes that node first.
    void stop();

    // Queues the node unless it is already queued, being read, or read and not yet forgotten.
    void request(std::uint32_t nodeIndex, float priority);
    // Empties the heap; the nodes being read finish normally.
    void dropQueued();
    std::size_t queuedCount() const;
    // Lets the node be requested again (after upload or eviction).
    void forget(std::uint32_t nodeIndex);
    // Moves the ready list out (UI thread).
    std::vector<ReadyNode> takeReady();
    // Nodes whose reading failed since the last call, so that the caller stops waiting for them.
    std::vector<std::uint32_t> takeFailed();

    bool isRunning() const { return running_.load(); }
    int threadCount() const { return static_cast<int>(threads_.size()); }
    const std::string& path() const { return path_; }
    // Nodes queued, being read or ready (for tests and statistics).
    std::size_t inFlightCount() const;
    // Nodes read successfully and points in them since start (for statistics).
    std::uint64_t nodesRead() const { return nodesRead_.load(); }
    std::uint64_t pointsRead() const { return pointsRead_.load(); }

    static int clampThreadCount(int requested);

    // Called on the loader thread with each node it is about to read. Lets tests hold a thread
    // while a node is being read; set it only while the loader is stopped.
    using ReadHook = std::function<void(std::uint32_t nodeIndex)>;
    void setReadHook(ReadHook hook) { readHook_ = std::move(hook); }

private:
    struct Request {
        std::uint32_t nodeIndex;
        float priority;
    };
    static bool lowerPriority(const Request& a, const Request& b);

    void run(int threadIndex);
    bool nextRequest(std::uint32_t& nodeIndex);
    void readOne(OvcfReader& reader, std::uint32_t nodeIndex, std::vector<PointRecord>& points);
    bool decode(const OvcfReader& reader, std::uint32_t nodeIndex, const std::vector<PointRecord>& points,
                ReadyNode& node) const;

    std::string path_;
    OvcfReader* source_ = nullptr;
    Vec3d reference_;
    std::atomic<bool> running_{false};
    std::vector<std::thread> threads_;

    mutable std::mutex lock_;
    std::condition_variable wake_;
    std::vector<Request> heap_;
    std::unordered_set<std::uint32_t> inFlight_;
    std::vector<ReadyNode> ready_;
    std::vector<std::uint32_t> failed_;

    ReadHook readHook_;
    std::atomic<std::uint64_t> nodesRead_{0};
    std::atomic<std::uint64_t> pointsRead_{0};
};

}  // namespace ovcf
