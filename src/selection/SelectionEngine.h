// Turns a screen shape and the camera into selected points, at full resolution: the candidate
// nodes are found from the node boxes, read again from the file by worker threads (one private
// reader each) and every point is projected and tested; the result is combined into the view's
// selection bitmap. Headless: no GL, no window.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cloud/CloudNodes.h"
#include "ovcf/FileFormat.h"
#include "selection/PointBitmap.h"
#include "selection/ReaderPool.h"
#include "selection/ScreenShape.h"
#include "selection/SelectionQuery.h"

namespace ovcf {

class ScreenProjection;
class SelectionFilter;

struct SelectionCandidate {
    std::uint32_t node;
    bool whole;  // projects wholly inside the shape: every point is selected without reading
};

class SelectionEngine {
public:
    // The cloud the selection reads; readers open on the first selection. `readers` is clamped
    // to 1..16.
    void open(const std::string& path, int readers, OvcfReader* source = nullptr) { pool_.reset(path, readers, source); }
    void close() { pool_.close(); }

    // One run. `nodes` are the cloud's nodes with their boxes in the query's local frame;
    // `header` gives the quantisation. The selection bitmap is changed in place (left as it was
    // when the shape is empty or the file cannot be read) and the summary line is logged.
    SelectionReport select(const ScreenShape& shape, std::uint32_t combineMode, const SelectionQuery& query,
                           const FileHeader& header, const std::vector<NodeInfo>& nodes, PointBitmap& selection);

    ReaderPool& readers() { return pool_; }

private:
    // Reads again the candidates that still hold selected points and lets the filter keep or
    // drop each of them; returns the nodes read.
    std::uint32_t secondPass(SelectionFilter& filter, const ScreenProjection& projection,
                             const std::vector<SelectionCandidate>& candidates, const std::vector<NodeInfo>& nodes,
                             std::vector<std::vector<std::uint64_t>>& partials);

    ReaderPool pool_;
};

// The worker count for a view's selections on this machine: its hardware threads, 1..16.
int defaultSelectionReaders();

// Select all / invert leave deleted points unselected; each logs its line.
void selectAllPoints(PointBitmap& selection, const PointBitmap& deleted);
void invertSelection(PointBitmap& selection, const PointBitmap& deleted);
void clearSelection(PointBitmap& selection);

}  // namespace ovcf
