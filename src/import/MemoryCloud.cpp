#include "import/MemoryCloud.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <vector>

#include "core/NumberFormat.h"
#include "core/ThreadRun.h"
#include "import/Quantization.h"

namespace ovcf {

namespace {

// The bounds pass gives each thread at least this many points.
constexpr std::uint64_t kPointsPerBoundsRun = std::uint64_t{1} << 20;
constexpr unsigned kMostBoundsThreads = 64;

struct CoordinateRange {
    Bounds3 bounds;
    bool allFinite = true;
};

CoordinateRange rangeOf(const double* xyz, std::uint64_t first, std::uint64_t end) {
    CoordinateRange range;
    const double inf = std::numeric_limits<double>::infinity();
    range.bounds.min = {inf, inf, inf};
    range.bounds.max = {-inf, -inf, -inf};
    for (std::uint64_t i = first; i < end; ++i) {
        const double* p = xyz + 3 * i;
        for (int axis = 0; axis < 3; ++axis) {
            const double v = p[axis];
            if (!std::isfinite(v)) {
                range.allFinite = false;
                continue;
            }
            range.bounds.min[axis] = std::min(range.bounds.min[axis], v);
            range.bounds.max[axis] = std::max(range.bounds.max[axis], v);
        }
    }
    return range;
}

}  // namespace

MemoryCloud::MemoryCloud(const double* xyz, const std::uint32_t* colours, std::uint64_t count, double step,
                         unsigned threads)
    : xyz_(xyz), colours_(colours), count_(xyz ? count : 0) {
    const double s = step > 0.0 ? step : kDefaultQuantizationStep;
    step_ = {s, s, s};
    // A host cloud of hundreds of millions of points takes a second to measure on one thread.
    const unsigned runs = threadsFor(count_, kPointsPerBoundsRun, threads, kMostBoundsThreads);
    std::vector<CoordinateRange> ranges(runs);
    runOnThreads(runs, [&](unsigned run) { ranges[run] = rangeOf(xyz_, count_ * run / runs, count_ * (run + 1) / runs); });
    bounds_ = ranges[0].bounds;
    for (const CoordinateRange& range : ranges) {
        allFinite_ = allFinite_ && range.allFinite;
        for (int axis = 0; axis < 3; ++axis) {
            bounds_.min[axis] = std::min(bounds_.min[axis], range.bounds.min[axis]);
            bounds_.max[axis] = std::max(bounds_.max[axis], range.bounds.max[axis]);
        }
    }
    for (int axis = 0; axis < 3; ++axis)
        offset_[axis] = count_ > 0 && bounds_.min[axis] <= bounds_.max[axis] ? gridOffset(bounds_.min[axis], s) : 0.0;
}

PointRecord MemoryCloud::quantize(std::uint64_t index) const {
    const double* p = xyz_ + 3 * index;
    PointRecord record;
    record.x = quantizeCoordinate(p[0], offset_[0], step_[0]);
    record.y = quantizeCoordinate(p[1], offset_[1], step_[1]);
    record.z = quantizeCoordinate(p[2], offset_[2], step_[2]);
    if (colours_) {
        const std::uint32_t c = colours_[index];
        record.red = static_cast<std::uint8_t>(c >> 16);
        record.green = static_cast<std::uint8_t>(c >> 8);
        record.blue = static_cast<std::uint8_t>(c);
    } else {
        record.red = record.green = record.blue = kGreyWithoutColour;
    }
    return record;
}

bool MemoryCloud::read(PointRecord* points, std::size_t capacity, std::size_t& count, std::string&) {
    count = 0;
    if (!points || capacity == 0) return true;
    const std::uint64_t n = std::min<std::uint64_t>(count_ - cursor_, capacity);
    for (std::uint64_t i = 0; i < n; ++i) points[i] = quantize(cursor_ + i);
    cursor_ += n;
    count = static_cast<std::size_t>(n);
    return true;
}

bool MemoryCloud::quantizedBounds(std::array<std::uint32_t, 3>& min, std::array<std::uint32_t, 3>& max) const {
    if (count_ == 0 || !allFinite_) return false;
    for (int axis = 0; axis < 3; ++axis) {
        min[axis] = quantizeCoordinate(bounds_.min[axis], offset_[axis], step_[axis]);
        max[axis] = quantizeCoordinate(bounds_.max[axis], offset_[axis], step_[axis]);
        // Beyond 31 bits the indexer reads coordinates as negative: no order to rely on.
        if (min[axis] > max[axis] || max[axis] > 0x7FFFFFFFu) return false;
    }
    return true;
}

std::string MemoryCloud::description() const {
    char text[160];
    std::snprintf(text, sizeof text, "nuvola in memoria, %s punti, %s, passo %.4f m", formatCount(count_).c_str(),
                  colours_ ? "con colore" : "senza colore", step_[0]);
    return text;
}

bool MemoryCloud::checkRange(std::string& error) const {
    if (count_ == 0) return true;
    if (!allFinite_) {
        error = "the cloud contains coordinates that are not finite numbers";
        return false;
    }
    return checkQuantizationRange(bounds_, offset_, step_, error);
}

}  // namespace ovcf
