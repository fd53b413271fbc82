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

// Where each point goes in the host's buffers: in file order, or sorted by elevation, highest
// first. Sorting is a counting sort on the quantised z, straight into the host's buffers: a first
// pass over the file counts the points of each of 2^20 slices of the root cube's height, and the
// second writes every point at the next free place of its slice. A slice one quantum high needs
// nothing more; a thicker one is sorted within itself afterwards. The only extra memory is the
// 8 MiB of counts (and an index of the largest thick slice), never a second copy.
class Placement {
public:
    Placement(bool sorted, const FileHeader& header) : sorted_(sorted) {
        if (!sorted_) return;
        zBase_ = header.rootOrigin[2];
        shift_ = header.rootExponent > kSliceBits ? header.rootExponent - kSliceBits : 0;
        slots_.assign(std::size_t{1} << kSliceBits, 0);
    }
    bool sorted() const { return sorted_; }
    // First pass: one more point in the slice of `p`.
    void count(const PointRecord& p) { ++slots_[slice(p)]; }
    // Between the passes: each slice's first place, the highest slice first.
    void startPlacing() {
        std::uint64_t next = 0;
        for (std::size_t s = slots_.size(); s-- > 0;) {
            const std::uint64_t n = slots_[s];
            slots_[s] = next;
            next += n;
        }
    }
    // Second pass (or the only one): the place of the `written`-th point.
    std::int64_t place(const PointRecord& p, std::int64_t written) {
        return sorted_ ? static_cast<std::int64_t>(slots_[slice(p)]++) : written;
    }
    // After the second pass, each slice's places end where the next lower one starts.
    void sortWithinSlices(const HostPointBuffers& out, std::int64_t written) {
        if (!sorted_ || shift_ == 0) return;
        std::uint64_t begin = 0;
        std::vector<std::uint32_t> order;
        for (std::size_t s = slots_.size(); s-- > 0;) {
            const std::uint64_t end = slots_[s];
            if (end > begin + 1) sortRange(out, begin, std::min<std::uint64_t>(end, std::uint64_t(written)), order);
            begin = std::max(begin, end);
        }
    }

private:
    static constexpr std::uint32_t kSliceBits = 20;

    std::size_t slice(const PointRecord& p) const {
        const std::uint64_t s = p.z >= zBase_ ? std::uint64_t(p.z - zBase_) >> shift_ : 0;
        return static_cast<std::size_t>(std::min<std::uint64_t>(s, slots_.size() - 1));
    }
    // Sorts places [begin, end) by z, highest first, by following the cycles of their order.
    static void sortRange(const HostPointBuffers& out, std::uint64_t begin, std::uint64_t end,
                          std::vector<std::uint32_t>& order) {
        const std::size_t n = static_cast<std::size_t>(end - begin);
        double* xyz = out.xyz + 3 * begin;
        order.resize(n);
        for (std::size_t i = 0; i < n; ++i) order[i] = static_cast<std::uint32_t>(i);
        std::sort(order.begin(), order.end(), [&](std::uint32_t a, std::uint32_t b) { return xyz[3 * a + 2] > xyz[3 * b + 2]; });
        std::vector<bool> done(n, false);
        for (std::size_t i = 0; i < n; ++i) {
            if (done[i] || order[i] == i) continue;
            const Held held = hold(out, begin + i);
            std::size_t j = i;
            for (;;) {
                const std::size_t from = order[j];
                done[j] = true;
                if (from == i) {
                    put(out, begin + j, held);
                    break;
                }
                move(out, begin + from, begin + j);
                j = from;
            }
        }
    }
    struct Held {
        double xyz[3];
        std::uint32_t colour = 0;
        std::uint8_t flag = 0;
    };
    static Held hold(const HostPointBuffers& out, std::uint64_t i) {
        Held h{{out.xyz[3 * i], out.xyz[3 * i + 1], out.xyz[3 * i + 2]}};
        if (out.colors) h.colour = out.colors[i];
        if (out.flags) h.flag = out.flags[i];
        return h;
    }
    static void put(const HostPointBuffers& out, std::uint64_t i, const Held& h) {
        for (int a = 0; a < 3; ++a) out.xyz[3 * i + a] = h.xyz[a];
        if (out.colors) out.colors[i] = h.colour;
        if (out.flags) out.flags[i] = h.flag;
    }
    static void move(const HostPointBuffers& out, std::uint64_t from, std::uint64_t to) {
        for (int a = 0; a < 3; ++a) out.xyz[3 * to + a] = out.xyz[3 * from + a];
        if (out.colors) out.colors[to] = out.colors[from];
        if (out.flags) out.flags[to] = out.flags[from];
    }

    bool sorted_;
    std::uint32_t zBase_ = 0, shift_ = 0;
    std::vector<std::uint64_t> slots_;
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
    const bool sorted = sort && pointCount > 1;
    Placement placement(sorted, reader.header());
    if (sorted && !readEveryPoint(reader, error, [&](std::uint32_t, std::uint64_t, const std::vector<PointRecord>& points,
                                                     const FileHeader&) {
            for (const PointRecord& p : points) placement.count(p);
            return true;
        }))
        return -1;
    placement.startPlacing();
    const bool ok = readEveryPoint(reader, error, [&](std::uint32_t node, std::uint64_t first,
                                                      const std::vector<PointRecord>& points, const FileHeader& h) {
        const bool nodeHasDeleted = source.deletedInNode && node < source.deletedInNode->size() &&
                                    (*source.deletedInNode)[node] > 0;
        for (std::size_t j = 0; j < points.size(); ++j) {
            if (written >= out.capacity) return false;
            const Vec3d world = worldOf(h, points[j]);
            const std::int64_t at = placement.place(points[j], written);
            put(out, at, world, points[j]);
            if (out.flags) {
                const std::uint64_t g = first + j;
                bool show = !(nodeHasDeleted && g < deleted.pointCount() && deleted.test(g));
                if (show && source.region) show = source.region->contains(world - source.origin);
                out.flags[at] = show ? 1 : 0;
                hidden += show ? 0 : 1;
            }
            ++written;
        }
        return true;
    });
    if (!ok) return -1;
    placement.sortWithinSlices(out, written);
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
    const bool sorted = sort && surviving > 1;
    Placement placement(sorted, reader.header());
    // Calls take(record) for every surviving point, in record order.
    const auto eachSurvivor = [&](auto&& take) {
        return readEveryPoint(reader, error, [&](std::uint32_t node, std::uint64_t first,
                                                 const std::vector<PointRecord>& points, const FileHeader& h) {
            const bool nodeHasDeleted = source.deletedInNode && node < source.deletedInNode->size() &&
                                        (*source.deletedInNode)[node] > 0;
            for (std::size_t j = 0; j < points.size(); ++j) {
                if (nodeHasDeleted && first + j < deleted.pointCount() && deleted.test(first + j)) continue;
                if (!take(points[j], h)) return false;
            }
            return true;
        });
    };
    if (sorted && !eachSurvivor([&](const PointRecord& p, const FileHeader&) {
            placement.count(p);
            return true;
        }))
        return -1;
    placement.startPlacing();
    const bool ok = eachSurvivor([&](const PointRecord& p, const FileHeader& h) {
        if (written >= out.capacity) return false;
        put(out, placement.place(p, written), worldOf(h, p), p);
        ++written;
        return true;
    });
    if (!ok) return -1;
    placement.sortWithinSlices({out.xyz, out.colors, nullptr, out.capacity}, written);
    if (logLevelThreshold() <= LogInfo) {
        const double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
        logLine(LogInfo, "punti restituiti a Orvane: %s in %.0f ms%s", formatCount(static_cast<std::uint64_t>(written)).c_str(),
                ms, sorted ? " (ordinati per quota)" : "");
    }
    return written;
}

}  // namespace ovcf
