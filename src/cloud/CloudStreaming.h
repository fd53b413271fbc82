// One cloud open in a view, as far as drawing it is concerned: the file's reader, what is known
// of every node, the loader threads, the resident node buffers and the level-of-detail state.
// Every frame, update() hands the finished nodes to the GPU, chooses the nodes to draw, requests
// the missing ones, keeps the GPU memory within its budget and returns what the point pass draws.
//
// UI thread only. open, update and close go through the buffer store: with the view's GL store,
// the view's context must be current for them and for destruction.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cloud/CloudNodes.h"
#include "cloud/LevelOfDetail.h"
#include "cloud/NearestPoint.h"
#include "cloud/NodeLoader.h"
#include "cloud/NodeResidency.h"
#include "cloud/RenderTypes.h"
#include "cloud/ViewSettings.h"
#include "ovcf/ConfirmedState.h"
#include "ovcf/OvcfReader.h"

namespace ovcf {

// What one frame of streaming produced.
struct StreamingFrame {
    // The chosen nodes that are resident and hold points, parents before children.
    std::vector<DrawableNode> drawables;
    // Nodes arrived in this frame, or chosen nodes are still on their way: draw again soon.
    bool moreFramesWanted = false;
    std::uint32_t chosen = 0;    // nodes chosen for drawing, loaded or not
    std::uint32_t loaded = 0;    // of those, the resident ones
    std::uint32_t uploaded = 0;  // nodes uploaded in this frame
    std::uint32_t evicted = 0;   // nodes evicted in this frame
    LodCounters lod;             // visited, culled, cut, missing, budget reached
};

class CloudStreaming {
public:
    // Loader threads of PC_OpenFile.
    static constexpr int kOpenFileLoaderThreads = 3;

    // A null store means the GL one.
    explicit CloudStreaming(std::unique_ptr<NodeBufferStore> store);
    ~CloudStreaming();  // closes
    CloudStreaming(const CloudStreaming&) = delete;
    CloudStreaming& operator=(const CloudStreaming&) = delete;

    // Closes any open cloud, opens the file, starts `loaderThreads` loader threads (clamped to
    // 1..16) and reads the deleted map when the file records confirmed deletions. False with the
    // reader's message when the file cannot be opened or the loader cannot start; then nothing
    // is open and no thread runs. An unreadable deleted map is logged and the cloud opens with
    // nothing deleted.
    bool open(const std::string& path, int loaderThreads, std::string& error);
    // Stops the loader (threads joined), releases the node buffers, closes the reader.
    void close();
    // Forgets the node buffers without deleting them: for when the context that owns them cannot
    // be made current. close() then makes no GL call.
    void abandonGpuBuffers() { residency_.abandonAll(); }
    bool isOpen() const { return open_; }

    // One frame. `frameNumber` starts at 1 and grows by frame. `view` is in the render space
    // around referencePoint().
    const StreamingFrame& update(const LodView& view, const RenderSettings& settings, std::uint64_t frameNumber);
    const StreamingFrame& lastFrame() const { return frame_; }
    // Per-node deletion counts for the level of detail; the spans must live until the next
    // call or close().
    void setEditCounts(const LodEditCounts& counts) { lod_.setEditCounts(counts); }

    // "nuvola aperta: ..." with the point, node and level counts; the last line of an open.
    void logOpened() const;

    const std::string& path() const { return path_; }
    const FileHeader& header() const { return reader_.header(); }
    // The view's render origin for this cloud: the centre of its bounding box.
    const Vec3d& referencePoint() const { return reference_; }
    // The cloud's bounding box, world coordinates (for fitting the camera).
    Vec3d boundsMin() const;
    Vec3d boundsMax() const;
    std::uint64_t pointCount() const { return open_ ? reader_.header().pointCount : 0; }
    std::uint32_t nodeCount() const { return static_cast<std::uint32_t>(nodes_.size()); }
    std::uint32_t levelCount() const { return levelCount_; }
    const std::vector<NodeInfo>& nodes() const { return nodes_; }

    // The deleted map read at open as 64-bit words (bit g % 64 of word g / 64 is point g), sized
    // to the point count, bits beyond it clear; all clear when the file has none.
    // The deletions confirmed in the file when it was opened, with the file's identity.
    const ConfirmedState& confirmed() const { return confirmed_; }
    std::uint64_t deletedCount() const { return confirmed_.mapCount; }

    // The nearest point that `shown` accepts within `radius` of a render-space position, among
    // the resident nodes (context current: their vertices are read back from the GPU).
    std::optional<NearPoint> nearestPoint(const Vec3d& position, double radius, const PointShown& shown) const;

    // The parts, for the renderer's statistics and for tests.
    OvcfReader& reader() { return reader_; }
    NodeLoader& loader() { return loader_; }
    const NodeResidency& residency() const { return residency_; }
    const LevelOfDetail& levelOfDetail() const { return lod_; }

private:
    bool openFile(const std::string& path, int loaderThreads, std::string& error);
    void loadDeletedMap();
    void clearState();

    OvcfReader reader_;
    NodeLoader loader_;
    NodeResidency residency_;
    LevelOfDetail lod_;
    std::vector<NodeInfo> nodes_;
    std::vector<std::uint8_t> unreadable_;  // reading failed and has not succeeded since
    std::string path_;
    Vec3d reference_;
    std::uint32_t levelCount_ = 0;
    ConfirmedState confirmed_;
    StreamingFrame frame_;
    bool open_ = false;
};

}  // namespace ovcf
