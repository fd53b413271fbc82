// The view's deletions: which points are hidden, how to take each deletion back, whether the
// file is behind, and what deletion left of each node. Nothing here touches the file until
// confirm(), which writes the map and count in place and brings the content signature up to date.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "cloud/CloudNodes.h"
#include "ovcf/ConfirmedState.h"
#include "selection/BitmapRuns.h"
#include "selection/PointBitmap.h"

namespace ovcf {

class OvcfReader;

class DeletionHistory {
public:
    // A cloud was opened: maps sized, the file's own map (words as CloudStreaming reads them)
    // taken as deleted and as what the file holds, no undo record, no unsaved change.
    // `fileSignature` is the file's current content signature.
    void open(const std::string& path, const std::vector<NodeInfo>& nodes,
              const std::vector<std::uint64_t>& fileDeletedWords, std::uint64_t pointCount,
              std::uint64_t fileSignature);
    // The same from the state read when the file was opened, whose identity every confirmation
    // then checks: a file replaced since is never written.
    void open(const std::string& path, const std::vector<NodeInfo>& nodes, const ConfirmedState& state);
    void close();
    bool isOpen() const { return !path_.empty(); }

    // Each returns the points it changed; `changed` tells whether the deleted set or the
    // selection changed at all (the view then redraws and tells the host).
    std::uint64_t deleteSelected(PointBitmap& selection, bool& changed);
    std::uint64_t undo(PointBitmap& selection, bool& changed);
    std::uint64_t restoreAll(bool& changed);

    // Writes the deletions into the file (`reader` open on it, for the signature), merged with
    // what other writers confirmed since this history last synced with the file; their changes
    // are then taken over here (not as undoable steps). True with `wrote` false when nothing had
    // changed. On failure everything stays as it was, marked unsaved, deletions and undo records
    // kept, so that the next confirmation writes it all again.
    bool confirm(OvcfReader& reader, bool& wrote, std::string& error);

    const PointBitmap& deleted() const { return deleted_; }
    std::uint64_t deletedCount() const { return deleted_.count(); }
    bool hasUnsavedChanges() const { return unsaved_; }
    // The last confirmation took over changes that another writer had confirmed.
    bool adoptedOtherChanges() const { return adopted_; }
    std::size_t undoDepth() const { return undo_.size(); }
    // The memory the undo records hold, and how much they may: beyond it the oldest records go
    // (the newest always stays). By default an eighth of the memory available when the cloud is
    // opened, at least 64 MiB.
    std::size_t undoBytes() const { return undoBytes_; }
    void setUndoBudget(std::size_t bytes) { undoBudget_ = bytes; }
    std::size_t undoBudget() const { return undoBudget_; }
    // Per node, in node-record order.
    const std::vector<std::uint32_t>& deletedInNode() const { return deletedInNode_; }
    const std::vector<std::uint64_t>& survivingInSubtree() const { return survivingInSubtree_; }

private:
    void countPerNode();

    std::string path_;
    std::vector<NodeInfo> nodes_;
    PointBitmap deleted_;
    PointBitmap inFile_;                 // the map as the file holds it
    std::uint64_t fileSignature_ = 0;    // the signature that goes with inFile_
    std::optional<OpenedFile> opened_;   // the file this history belongs to
    void pushUndo(const PointBitmap& selection);
    void dropUndo();

    std::deque<BitmapRuns> undo_;
    std::size_t undoBytes_ = 0;
    std::size_t undoBudget_ = 0;
    bool unsaved_ = false;
    bool adopted_ = false;
    std::vector<std::uint32_t> deletedInNode_;
    std::vector<std::uint64_t> survivingInSubtree_;
};

}  // namespace ovcf
