#include "selection/PointReadBack.h"

#include <algorithm>
#include <chrono>
#include <numeric>

#include "core/Log.h"
#include "core/NumberFormat.h"
#include "ovcf/OvcfReader.h"

namespace ovcf {
namespace {

std::uint32_t packedColour(const PointRecord& p) {
    return static_cast<std::uint32_t>(p.red) << 16 | static_cast<std::uint32_t>(p.green) << 8 | p.blue;
}

// Highest first; the three arrays are rearranged alike so every point keeps its fields.
void sortByElevation(const HostPointBuffers& out, std::int64_t n) {
    std::vector<std::int64_t> order(static_cast<std::size_t>(n));
    std::iota(order.begin(), order.end(), 0);
    std::sort(order.begin(), order.end(), [&](std::int64_t a, std::int64_t b) { return out.xyz[3 * a + 2] > out.xyz[3 * b + 2]; });
    const std::vector<double> xyz(out.xyz, out.xyz + 3 * n);
    for (std::int64_t i = 0; i < n; ++i)
        for (int a = 0; a < 3; ++a) out.xyz[3 * i + a] = xyz[static_cast<std::size_t>(3 * order[i] + a)];
    if (out.colors) {
        const std::vector<std::uint32_t> colors(out.colors, out.colors + n);
        for (std::int64_t i = 0; i < n; ++i) out.colors[i] = colors[static_cast<std::size_t>(order[i])];
    }
    if (out.flags) {
        const std::vector<std::uint8_t> flags(out.flags, out.flags + n);
        for (std::int64_t i = 0; i < n; ++i) out.flags[i] = flags[static_cast<std::size_t>(order[i])];
    }
}

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
    const bool ok = readEveryPoint(reader, error, [&](std::uint32_t node, std::uint64_t first,
                                                      const std::vector<PointRecord>& points, const FileHeader& h) {
        const bool nodeHasDeleted = source.deletedInNode && node < source.deletedInNode->size() &&
                                    (*source.deletedInNode)[node] > 0;
        for (std::size_t j = 0; j < points.size(); ++j) {
            if (written >= out.capacity) return false;
            const Vec3d world = worldOf(h, points[j]);
            put(out, written, world, points[j]);
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
    const bool sorted = sort && written > 1;
    if (sorted) sortByElevation(out, written);
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
    const bool ok = readEveryPoint(reader, error, [&](std::uint32_t node, std::uint64_t first,
                                                      const std::vector<PointRecord>& points, const FileHeader& h) {
        const bool nodeHasDeleted = source.deletedInNode && node < source.deletedInNode->size() &&
                                    (*source.deletedInNode)[node] > 0;
        for (std::size_t j = 0; j < points.size(); ++j) {
            if (nodeHasDeleted && first + j < deleted.pointCount() && deleted.test(first + j)) continue;
            if (written >= out.capacity) return false;
            put(out, written, worldOf(h, points[j]), points[j]);
            ++written;
        }
        return true;
    });
    if (!ok) return -1;
    const bool sorted = sort && written > 1;
    if (sorted) sortByElevation({out.xyz, out.colors, nullptr, out.capacity}, written);
    if (logLevelThreshold() <= LogInfo) {
        const double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
        logLine(LogInfo, "punti restituiti a Orvane: %s in %.0f ms%s", formatCount(static_cast<std::uint64_t>(written)).c_str(),
                ms, sorted ? " (ordinati per quota)" : "");
    }
    return written;
}

}  // namespace ovcf
