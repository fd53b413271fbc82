#include "selection/ClothSimulation.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace ovcf {
namespace {

constexpr double kEmpty = -std::numeric_limits<double>::infinity();

}  // namespace

bool ClothSimulation::solve(const LowestCellGrid& cells, double resolution, double tension) {
    *this = ClothSimulation{};
    if (cells.size() == 0) return false;
    std::int64_t minI = std::numeric_limits<std::int64_t>::max(), minJ = minI;
    std::int64_t maxI = std::numeric_limits<std::int64_t>::min(), maxJ = maxI;
    cells.forEach([&](std::int32_t i, std::int32_t j, double) {
        minI = std::min<std::int64_t>(minI, i);
        maxI = std::max<std::int64_t>(maxI, i);
        minJ = std::min<std::int64_t>(minJ, j);
        maxJ = std::max<std::int64_t>(maxJ, j);
    });
    // Coarsen: every doubling of the cell edge halves the cell numbers (rounding down).
    int shift = 0;
    const auto span = [&](std::int64_t lo, std::int64_t hi) { return static_cast<std::uint64_t>((hi >> shift) - (lo >> shift) + 1); };
    while (span(minI, maxI) * span(minJ, maxJ) > kMaxCells) ++shift;
    resolution_ = std::ldexp(resolution, shift);
    inverseResolution_ = 1.0 / resolution_;
    minI_ = minI >> shift;
    minJ_ = minJ >> shift;
    columns_ = static_cast<int>(span(minI, maxI));
    rows_ = static_cast<int>(span(minJ, maxJ));

    fillGround(cells, shift);
    spreadIntoEmptyCells();
    drop(tension);
    solved_ = true;
    return true;
}

void ClothSimulation::fillGround(const LowestCellGrid& cells, int shift) {
    ground_.assign(cellCount(), kEmpty);
    cells.forEach([&](std::int32_t i, std::int32_t j, double depth) {
        const std::size_t k = static_cast<std::size_t>(((std::int64_t{j} >> shift) - minJ_) * columns_ +
                                                       ((std::int64_t{i} >> shift) - minI_));
        ground_[k] = std::max(ground_[k], depth);
    });
}

// Breadth first from every occupied cell at once, ring by ring: a cell reached in one ring takes
// the mean of its four side neighbours that were filled in earlier rings. The result depends
// only on the occupied cells, not on the order of the queue.
void ClothSimulation::spreadIntoEmptyCells() {
    const int columns = columns_, rows = rows_;
    std::vector<std::uint32_t> ring, next;
    std::vector<std::uint8_t> queued(ground_.size(), 0);
    for (std::size_t k = 0; k < ground_.size(); ++k)
        if (ground_[k] != kEmpty) {
            ring.push_back(static_cast<std::uint32_t>(k));
            queued[k] = 1;
        }
    std::vector<double> values;
    while (!ring.empty()) {
        next.clear();
        for (std::uint32_t k : ring) {
            const int c = static_cast<int>(k % columns), r = static_cast<int>(k / columns);
            const auto reach = [&](int cc, int rr) {
                if (cc < 0 || rr < 0 || cc >= columns || rr >= rows) return;
                const std::size_t n = static_cast<std::size_t>(rr) * columns + cc;
                if (queued[n]) return;
                queued[n] = 1;
                next.push_back(static_cast<std::uint32_t>(n));
            };
            reach(c - 1, r);
            reach(c + 1, r);
            reach(c, r - 1);
            reach(c, r + 1);
        }
        values.resize(next.size());
        for (std::size_t q = 0; q < next.size(); ++q) {
            const std::uint32_t k = next[q];
            const int c = static_cast<int>(k % columns), r = static_cast<int>(k / columns);
            double sum = 0.0;
            int count = 0;
            const auto take = [&](int cc, int rr) {
                if (cc < 0 || rr < 0 || cc >= columns || rr >= rows) return;
                const double g = ground_[static_cast<std::size_t>(rr) * columns + cc];
                if (g == kEmpty) return;
                sum += g;
                ++count;
            };
            take(c - 1, r);
            take(c + 1, r);
            take(c, r - 1);
            take(c, r + 1);
            values[q] = sum / count;  // reached from a filled cell: count >= 1
        }
        for (std::size_t q = 0; q < next.size(); ++q) ground_[next[q]] = values[q];
        ring.swap(next);
    }
}

void ClothSimulation::drop(double tension) {
    const double start = *std::min_element(ground_.begin(), ground_.end()) - resolution_;
    position_.assign(ground_.size(), start);
    previous_.assign(ground_.size(), start);
    movable_.assign(ground_.size(), 1.0);
    firstMovable_.assign(static_cast<std::size_t>(rows_), 0);
    lastMovable_.assign(static_cast<std::size_t>(rows_), columns_ - 1);
    std::size_t moving = ground_.size();
    const long passes = std::lround(tension * 5.0) + 1;
    const double still = resolution_ * 0.001;
    steps_ = 0;
    while (steps_ < kMaxSteps && moving > 0) {
        ++steps_;
        const double largest = step();
        for (long p = 0; p < passes; ++p) stiffen();
        collide();
        moving = 0;
        for (int r = 0; r < rows_; ++r)
            if (firstMovable_[r] <= lastMovable_[r]) moving += static_cast<std::size_t>(lastMovable_[r] - firstMovable_[r] + 1);
        if (largest < still) break;
    }
}

double ClothSimulation::step() {
    const double gravity = 0.2 * resolution_;
    double largest = 0.0;
    for (int r = 0; r < rows_; ++r) {
        const std::size_t row = static_cast<std::size_t>(r) * columns_;
        for (int c = firstMovable_[r]; c <= lastMovable_[r]; ++c) {
            const std::size_t k = row + c;
            if (movable_[k] == 0.0) continue;
            const double d = (position_[k] - previous_[k]) * 0.98;
            previous_[k] = position_[k];
            position_[k] += d + gravity;
            largest = std::max(largest, std::fabs(d + gravity));
        }
    }
    return largest;
}

// One stiffness pass, in place, row by row and column by column: each node is pulled halfway
// towards its right-hand neighbour, then towards the one in the next row; a resting node does
// not move (its weight is 0, so a pair of resting nodes changes nothing and only the columns near
// movable nodes are visited). Each column waits for the one before it, a chain that leaves the
// processor idle; so four rows go at once, each a column behind the row above it, each carrying
// its next node in a register. A row's pairs at column c only touch what the row above has
// finished with by column c + 1, so the result is the same, bit for bit, as row after row.
void ClothSimulation::stiffen() {
    constexpr int kBand = 4;
    const int columns = columns_;
    double* position = position_.data();
    const double* movable = movable_.data();
    for (int r0 = 0; r0 < rows_; r0 += kBand) {
        const int band = std::min(kBand, rows_ - r0);
        int first = columns, last = -1;
        for (int r = r0; r <= std::min(r0 + band, rows_ - 1); ++r) {
            first = std::min(first, firstMovable_[r]);
            last = std::max(last, lastMovable_[r]);
        }
        if (first > last) continue;
        first = std::max(first - 1, 0);
        double carried[kBand] = {};  // each row's node at its current column, already pulled from the left
        for (int t = first; t <= last + band - 1; ++t) {
#pragma GCC unroll 4
            for (int k = 0; k < kBand; ++k) {
                const int c = t - k;
                if (k >= band || c < first || c > last) continue;
                const int r = r0 + k;
                double* row = position + static_cast<std::size_t>(r) * columns;
                const double* weight = movable + static_cast<std::size_t>(r) * columns;
                double x = c == first ? row[c] : carried[k];
                if (c + 1 < columns) {
                    const double right = row[c + 1];
                    const double delta = (right - x) * 0.5;
                    x += delta * weight[c];
                    carried[k] = right - delta * weight[c + 1];
                    if (c == last) row[c + 1] = carried[k];
                }
                if (r + 1 < rows_) {
                    const double delta = (row[c + columns] - x) * 0.5;
                    x += delta * weight[c];
                    row[c + columns] -= delta * weight[c + columns];
                }
                row[c] = x;
            }
        }
    }
}

void ClothSimulation::collide() {
    for (int r = 0; r < rows_; ++r) {
        const std::size_t row = static_cast<std::size_t>(r) * columns_;
        int first = columns_, last = -1;
        for (int c = firstMovable_[r]; c <= lastMovable_[r]; ++c) {
            const std::size_t k = row + c;
            if (movable_[k] == 0.0) continue;
            if (position_[k] >= ground_[k]) {
                position_[k] = ground_[k];
                movable_[k] = 0.0;
                continue;
            }
            first = std::min(first, c);
            last = c;
        }
        firstMovable_[r] = first;
        lastMovable_[r] = last;
    }
}

double ClothSimulation::depthAt(double a, double b) const {
    if (!solved_) return 0.0;
    const auto axis = [](double t, int count, int& i0, int& i1, double& f) {
        t = std::clamp(t, 0.0, static_cast<double>(count - 1));
        if (count < 2) {
            i0 = i1 = 0;
            f = 0.0;
            return;
        }
        i0 = std::min(count - 2, static_cast<int>(t));  // t >= 0: truncation is the floor
        i1 = i0 + 1;
        f = t - i0;
    };
    int i0, i1, j0, j1;
    double fa, fb;
    // The interpolation is continuous, so a product with the reciprocal serves as the quotient.
    const double inverse = inverseResolution_;
    axis(a * inverse - 0.5 - static_cast<double>(minI_), columns_, i0, i1, fa);
    axis(b * inverse - 0.5 - static_cast<double>(minJ_), rows_, j0, j1, fb);
    const auto at = [&](int i, int j) { return position_[static_cast<std::size_t>(j) * columns_ + i]; };
    const double first = at(i0, j0) + (at(i1, j0) - at(i0, j0)) * fa;
    const double second = at(i0, j1) + (at(i1, j1) - at(i0, j1)) * fa;
    return first + (second - first) * fb;
}

}  // namespace ovcf
