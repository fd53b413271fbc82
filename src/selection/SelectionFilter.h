// Where a filter plugs into a selection run: per-worker state made before the workers start,
// a per-point decision, the points it is handed, a pass after the join that names the points to
// drop again, and optionally a second reading of the nodes that still hold selected points, in
// which the filter keeps or drops each of them. A run without a filter calls none of it.
#pragma once

#include <cstdint>
#include <vector>

#include "core/Vec3.h"
#include "ovcf/PointRecord.h"
#include "selection/DroppedPoints.h"
#include "selection/SelectionQuery.h"

namespace ovcf {

class SelectionFilter {
public:
    virtual ~SelectionFilter() = default;
    // Node boxes are widened by this much before the shape and region tests (neighbours just
    // outside the shape may count).
    virtual double nodeMargin() const { return 0.0; }
    // The per-point calls below that the filter makes use of: a run makes only those, as they
    // come for every one of tens of millions of points.
    enum PointCalls : unsigned { CallsObserve = 1, CallsAccept = 2, CallsCollect = 4 };
    virtual unsigned pointCalls() const { return CallsObserve | CallsAccept | CallsCollect; }
    // Called once before the workers start; `region` is the clip box in use, or null.
    virtual void prepare(unsigned workerCount, const SelectionRegion* region) {}
    // Before a worker goes through the points of a node it has read (first pass).
    virtual void enterNode(unsigned worker, std::uint32_t node, std::uint32_t level) {}
    // Every point read by a worker that is not deleted, inside the shape or not.
    virtual void observe(unsigned worker, const PointRecord& point, const Vec3d& local) {}
    // Per-point decision for points in the shape; false rejects the point.
    virtual bool accept(unsigned worker, const PointRecord& point, const Vec3d& local) { return true; }
    // Points kept in the shape, with their global index.
    virtual void collect(unsigned worker, const PointRecord& point, std::uint64_t global, const Vec3d& local) {}
    // After the join, called on the calling thread: marks the points to remove from this run's
    // result (it may mark them from threads of its own, joined before it returns).
    virtual void finish(DroppedPoints& drop) {}
    // Whether the filter needs every point read (no node may be taken whole without reading).
    virtual bool needsPoints() const { return true; }
    // Whether, after finish(), the candidate nodes with a selected point are read again (on the
    // workers, one reader each) and keep() decides for each of their selected points.
    virtual bool needsSecondPass() const { return false; }
    virtual bool keep(unsigned worker, const PointRecord& point, std::uint64_t global, const Vec3d& local) { return true; }
    // Its name in the warning of a node that cannot be read again ("isolati", "sporgenze").
    virtual const char* passName() const { return "filtro"; }
    // After the combine, before the lines: the filter's own fields of the report.
    virtual void fillReport(SelectionReport& report) const {}
    // After the run's summary line: the filter's own lines, from the run's report.
    virtual void log(const SelectionReport& report) const {}
};

}  // namespace ovcf
