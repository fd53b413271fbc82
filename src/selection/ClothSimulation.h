// A stiff cloth dropped onto the lowest points of a grid of cells. Depths grow downwards (along
// the drop direction); cell (i, j) covers [i, i + 1) × [j, j + 1) resolutions in the frame's
// first two axes. The ground of a dense grid over the occupied cells' range is filled outwards
// into the empty cells, then the cloth falls from above the highest ground, kept smooth by
// stiffness passes, until every node rests on the ground, nothing moves any more or 500 steps
// have passed.
#pragma once

#include <cstdint>
#include <vector>

#include "selection/LowestCellGrid.h"

namespace ovcf {

class ClothSimulation {
public:
    static constexpr std::uint64_t kMaxCells = 4000000;
    static constexpr int kMaxSteps = 500;

    // False when no cell is occupied (the cloth stays unsolved).
    bool solve(const LowestCellGrid& cells, double resolution, double tension);

    bool solved() const { return solved_; }
    // The resolution after coarsening the grid to at most kMaxCells cells.
    double effectiveResolution() const { return resolution_; }
    std::uint64_t cellCount() const { return static_cast<std::uint64_t>(columns_) * rows_; }
    int columns() const { return columns_; }
    int rows() const { return rows_; }
    int fallSteps() const { return steps_; }

    // The cloth's depth above frame position (a, b) = (p·u, p·v): bilinear between the four
    // nearest cloth nodes, which sit at the cells' centres; clamped to the grid at its edges.
    double depthAt(double a, double b) const;

    // Read by tests: the filled ground and the cloth, row by row.
    const std::vector<double>& ground() const { return ground_; }
    const std::vector<double>& cloth() const { return position_; }

private:
    void fillGround(const LowestCellGrid& cells, int shift);
    void spreadIntoEmptyCells();
    void drop(double tension);
    double step();  // one fall step's move; returns the largest displacement
    void stiffen();
    void collide();

    bool solved_ = false;
    double resolution_ = 0.0;
    double inverseResolution_ = 0.0;
    std::int64_t minI_ = 0, minJ_ = 0;
    int columns_ = 0, rows_ = 0;
    int steps_ = 0;
    std::vector<double> ground_;
    std::vector<double> position_;
    std::vector<double> previous_;
    std::vector<double> movable_;  // 1 while the node may move, 0 once it rests on the ground
    // Per row, the first and last column holding a movable node (first > last: none), so that
    // settled parts of the cloth cost nothing.
    std::vector<int> firstMovable_, lastMovable_;
};

}  // namespace ovcf
