#include "selection/PointReadBack.h"

#include <algorithm>
#include <functional>
#include <chrono>

#include "core/Log.h"
#include "core/NumberFormat.h"
#include "ovcf/OvcfReader.h"

namespace ovcf {
namespace {

std::uint32_t packedColour(const PointRecord& p) {
    return static_cast<std::uint32_t>(p.red) << 16 | static_cast<std::uint32_t>(p.green) << 8 | p.blue;
}

// Sorting by elevation, highest first, in the host's own buffers. While the points are written a
// key is kept for each: its quantised z (z grows with it, as the step is positive) above its
// position in the buffers. The keys are sorted, then the buffers are permuted in place by
// following the permutation's cycles, so the only extra memory is the keys, 8 bytes a point,
// not a second copy of the points.
class ElevationOrder {
public:
    // A key holds a position in 32 bits.
    static constexpr std::uint64_t kMostPoints = 0xFFFFFFFFu;
    static bool fits(bool wanted, std::uint64_t expected, std::string& error) {
        if (!wanted || expected <= kMostPoints) return true;
        error = "cannot sort more than " + std::to_string(kMostPoints) + " points by elevation";
        return false;
    }

    explicit ElevationOrder(bool wanted, std::uint64_t expected) : wanted_(wanted) {
        if (wanted_) keys_.reserve(static_cast<std::size_t>(expected));
    }
    void note(const PointRecord& p, std::int64_t at) {
        if (wanted_) keys_.push_back(std::uint64_t{p.z} << 32 | static_cast<std::uint64_t>(at));
    }
    bool applies(std::int64_t written) const { return wanted_ && written > 1; }
    void apply(const HostPointBuffers& out) {
        std::sort(keys_.begin(), keys_.end(), std::greater<>());
        constexpr std::uint64_t kIndex = 0xFFFFFFFFu, kDone = std::uint64_t{1} << 63;
        for (std::uint64_t& key : keys_) key &= kIndex;
        // Position i takes the point now at keys_[i]; each cycle is walked once.
        for (std::size_t i = 0; i < keys_.size(); ++i) {
            if (keys_[i] & kDone) continue;
            if (keys_[i] == i) continue;
            const Saved held = save(out, i);
            std::size_t j = i;
            for (;;) {
                const std::size_t from = static_cast<std::size_t>(keys_[j] & kIndex);
                keys_[j] |= kDone;
                if (from == i) {
                    restore(out, j, held);
                    break;
                }
                move(out, from, j);
                j = from;
            }
        }
        keys_ = {};
    }

private:
    struct Saved {
        double xyz[3];
        std::uint32_t colour = 0;
        std::uint8_t flag = 0;
    };
    static Saved save(const HostPointBuffers& out, std::size_t i) {
        Saved s{{out.xyz[3 * i], out.xyz[3 * i + 1], out.xyz[3 * i + 2]}};
        if (out.colors) s.colour = out.colors[i];
        if (out.flags) s.flag = out.flags[i];
        return s;
    }
    static void restore(const HostPointBuffers& out, std::size_t i, const Saved& s) {
        for (int a = 0; a < 3; ++a) out.xyz[3 * i + a] = s.xyz[a];
        if (out.colors) out.colors[i] = s.colour;
        if (out.flags) out.flags[i] = s.flag;
    }
    static void move(const HostPointBuffers& out, std::size_t from, std::size_t to) {
        for (int a = 0; a < 3; ++a) out.xyz[3 * to + a] = out.xyz[3 * from + a];
        if (out.colors) out.colors[to] = out.colors[from];
        if (out.flags) out.flags[to] = out.flags[from];
    }

    bool wanted_;
    std::vector<std::uint64_t> keys_;
};

bool openFor(const ReadBackSource& source, OvcfReader& reader, std::string& error) {
    return source.opened ? reader.openSame(*source.opened, error) : reader.open(source.path, error);
}

// Reads every node in record order and hands each point to `take` (global index, record,
// world position) until it returns false.
template <typename Take>
bool readEveryPoint(OvcfReader& reader, std::string& error, Take&& take) {
    const FileHeader& h = reader.header();
    std::vector<PointRecord> points;
    for (std::uint32_t node = 0; node < reader.nodes().size(); ++node) {
        if (!reader.readNode(node, points, error)) return false;
        if (!take(node, reader.nodes()[node].firstPoint, points, h)) return true;
    }
    return true;
}

Vec3d worldOf(const FileHeader& h, const PointRecord& p) {
    return {p.x * h.step[0] + h.offset[0], p.y * h.step[1] + h.offset[1], p.z * h.step[2] + h.offset[2]};
}

// The point's coordinates and colour at position `at` of the host's buffers.
void put(const HostPointBuffers& out, std::int64_t at, const Vec3d& world, const PointRecord& p) {
    double* xyz = out.xyz + 3 * at;
    xyz[0] = world.x;
    xyz[1] = world.y;
    xyz[2] = world.z;
    if (out.colors) out.colors[at] = packedColour(p);
}

}  // namespace

std::int64_t readAllPoints(const ReadBackSource& source, const HostPointBuffers& out, bool sort, std::string& error) {
    if (!out.xyz || out.capacity < 0) {
        error = "invalid output buffer";
        return -1;
    }
    const std::uint64_t pointCount = source.deleted ? source.deleted->pointCount() : 0;
    if (static_cast<std::uint64_t>(out.capacity) < pointCount) {
        error = "the buffer holds " + std::to_string(out.capacity) + " points but the cloud has " +
                std::to_string(pointCount) + ": resize it first";
        return -1;
    }
    const auto start = std::chrono::steady_clock::now();
    OvcfReader reader;
    if (!openFor(source, reader, error)) return -1;
    const PointBitmap& deleted = *source.deleted;
    std::int64_t written = 0;
    std::uint64_t hidden = 0;
    if (!ElevationOrder::fits(sort, pointCount, error)) return -1;
    ElevationOrder order(sort, pointCount);
    const bool ok = readEveryPoint(reader, error, [&](std::uint32_t node, std::uint64_t first,
                                                      const std::vector<PointRecord>& points, const FileHeader& h) {
        const bool nodeHasDeleted = source.deletedInNode && node < source.deletedInNode->size() &&
                                    (*source.deletedInNode)[node] > 0;
        for (std::size_t j = 0; j < points.size(); ++j) {
            if (written >= out.capacity) return false;
            const Vec3d world = worldOf(h, points[j]);
            put(out, written, world, points[j]);
            order.note(points[j], written);
            if (out.flags) {
                const std::uint64_t g = first + j;
                bool show = !(nodeHasDeleted && g < deleted.pointCount() && deleted.test(g));
                if (show && source.region) show = source.region->contains(world - source.origin);
                out.flags[written] = show ? 1 : 0;
                hidden += show ? 0 : 1;
            }
            ++written;
        }
        return true;
    });
    if (!ok) return -1;
    const bool sorted = order.applies(written);
    if (sorted) order.apply(out);
    if (logLevelThreshold() <= LogInfo) {
        const double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
        logLine(LogInfo, "punti restituiti a Orvane: %s, di cui %s da nascondere%s, in %.0f ms%s",
                formatCount(static_cast<std::uint64_t>(written)).c_str(), formatCount(hidden).c_str(),
                source.region ? " (cancellati + fuori scatola)" : " (cancellati)", ms, sorted ? " (ordinati per quota)" : "");
    }
    return written;
}

std::int64_t readSurvivingPoints(const ReadBackSource& source, const HostPointBuffers& out, bool sort,
                                 std::string& error) {
    if (!out.xyz || out.capacity < 0) {
        error = "invalid output buffer";
        return -1;
    }
    const PointBitmap& deleted = *source.deleted;
    const std::uint64_t surviving = deleted.pointCount() - deleted.count();
    if (static_cast<std::uint64_t>(out.capacity) < surviving) {
        error = "the buffer holds " + std::to_string(out.capacity) + " points but " + std::to_string(surviving) +
                " survive: resize it first";
        return -1;
    }
    const auto start = std::chrono::steady_clock::now();
    OvcfReader reader;
    if (!openFor(source, reader, error)) return -1;
    std::int64_t written = 0;
    if (!ElevationOrder::fits(sort, surviving, error)) return -1;
    ElevationOrder order(sort, surviving);
    const bool ok = readEveryPoint(reader, error, [&](std::uint32_t node, std::uint64_t first,
                                                      const std::vector<PointRecord>& points, const FileHeader& h) {
        const bool nodeHasDeleted = source.deletedInNode && node < source.deletedInNode->size() &&
                                    (*source.deletedInNode)[node] > 0;
        for (std::size_t j = 0; j < points.size(); ++j) {
            if (nodeHasDeleted && first + j < deleted.pointCount() && deleted.test(first + j)) continue;
            if (written >= out.capacity) return false;
            put(out, written, worldOf(h, points[j]), points[j]);
            order.note(points[j], written);
            ++written;
        }
        return true;
    });
    if (!ok) return -1;
    const bool sorted = order.applies(written);
    if (sorted) order.apply({out.xyz, out.colors, nullptr, out.capacity});
    if (logLevelThreshold() <= LogInfo) {
        const double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
        logLine(LogInfo, "punti restituiti a Orvane: %s in %.0f ms%s", formatCount(static_cast<std::uint64_t>(written)).c_str(),
                ms, sorted ? " (ordinati per quota)" : "");
    }
    return written;
}

}  // namespace ovcf
