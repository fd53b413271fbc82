#include "selection/PointReadBack.h"

#include <algorithm>
#include <atomic>
#include <chrono>

#include "core/Log.h"
#include "core/NumberFormat.h"
#include "ovcf/OvcfReader.h"
#include "selection/ElevationOrder.h"
#include "selection/ParallelReaders.h"

namespace ovcf {
namespace {

std::uint32_t packedColour(const PointRecord& p) {
    return static_cast<std::uint32_t>(p.red) << 16 | static_cast<std::uint32_t>(p.green) << 8 | p.blue;
}

// One call's reading: the readers, and which points of each node it hands on.
class ReadBackRun {
public:
    ReadBackRun(const ReadBackSource& source, bool survivorsOnly) : source_(source), survivorsOnly_(survivorsOnly) {}

    bool open(std::string& error) {
        const bool opened = source_.opened ? first_.openSame(*source_.opened, error) : first_.open(source_.path, error);
        if (!opened) return false;
        const std::size_t nodes = first_.nodes().size();
        const unsigned threads = static_cast<unsigned>(std::clamp<std::size_t>(source_.threads, 1, std::max<std::size_t>(nodes, 1)));
        if (!readers_.open(first_, threads, error)) return false;
        // Where each node's points begin in file order.
        starts_.resize(nodes + 1);
        starts_[0] = 0;
        for (std::uint32_t n = 0; n < nodes; ++n) {
            const HierarchyRecord& node = first_.nodes()[n];
            const std::uint64_t gone = survivorsOnly_ && hasDeleted(n) ? source_.deleted->countRange(node.firstPoint, node.pointCount) : 0;
            starts_[n + 1] = starts_[n] + node.pointCount - gone;
        }
        return true;
    }
    const FileHeader& header() const { return first_.header(); }
    const std::vector<HierarchyRecord>& nodes() const { return first_.nodes(); }
    std::uint32_t nodeCount() const { return static_cast<std::uint32_t>(first_.nodes().size()); }
    std::uint64_t startOf(std::uint32_t node) const { return starts_[node]; }
    ParallelReaders& readers() { return readers_; }

    bool readNode(unsigned worker, std::uint32_t node, std::vector<PointRecord>& points, std::string& error) {
        return readers_.reader(worker).readNode(node, points, error);
    }
    // Whether point `g` of a node with deletions or not is left out.
    bool skips(std::uint64_t g, bool deletions) const { return survivorsOnly_ && deletions && isDeleted(g); }
    bool isDeleted(std::uint64_t g) const { return g < source_.deleted->pointCount() && source_.deleted->test(g); }
    bool hasDeleted(std::uint32_t node) const {
        return source_.deletedInNode && node < source_.deletedInNode->size() && (*source_.deletedInNode)[node] > 0;
    }

private:
    const ReadBackSource& source_;
    bool survivorsOnly_;
    OvcfReader first_;
    ParallelReaders readers_;
    std::vector<std::uint64_t> starts_;
};

// The header's quantisation, held by value.
struct Scale {
    explicit Scale(const FileHeader& h)
        : step{h.step[0], h.step[1], h.step[2]}, offset{h.offset[0], h.offset[1], h.offset[2]} {}
    template <class Point>
    Vec3d world(const Point& p) const {
        return {p.x * step[0] + offset[0], p.y * step[1] + offset[1], p.z * step[2] + offset[2]};
    }
    double step[3], offset[3];
};

KeptPoint kept(const PointRecord& p, std::uint32_t show) {
    return {p.x, p.y, p.z, packedColour(p) | show << 24};
}

// The point's coordinates and colour at position `at` of the host's buffers.
void putPoint(double* xyz, std::uint32_t* colors, std::int64_t at, const Vec3d& world, const KeptPoint& p) {
    double* out = xyz + 3 * at;
    out[0] = world.x;
    out[1] = world.y;
    out[2] = world.z;
    if (colors) colors[at] = p.colour & 0xFFFFFF;
}

// The coordinates of a run of points, in a loop of their own over locals: no byte store among
// them, so the compiler keeps the scale and the pointers in registers.
template <class Point>
void putCoordinates(const Scale& scale, const Point* points, std::size_t count, double* xyz) {
    const Scale s = scale;
    for (std::size_t j = 0; j < count; ++j) {
        const Vec3d world = s.world(points[j]);
        xyz[3 * j] = world.x;
        xyz[3 * j + 1] = world.y;
        xyz[3 * j + 2] = world.z;
    }
}

// A run of points all handed on and all shown, the common case.
void putShownRun(const Scale& scale, const PointRecord* points, std::size_t count, double* xyz, std::uint32_t* colors,
                 std::uint8_t* flags) {
    putCoordinates(scale, points, count, xyz);
    if (colors)
        for (std::size_t j = 0; j < count; ++j) colors[j] = packedColour(points[j]);
    if (flags) std::fill_n(flags, count, std::uint8_t{1});
}

// A run of kept points, flags (when given) from their show bits; returns the points hidden.
std::uint64_t putKeptRun(const Scale& scale, const KeptPoint* points, std::size_t count, double* xyz,
                         std::uint32_t* colors, std::uint8_t* flags) {
    putCoordinates(scale, points, count, xyz);
    if (colors)
        for (std::size_t j = 0; j < count; ++j) colors[j] = points[j].colour & 0xFFFFFF;
    if (!flags) return 0;
    std::uint64_t hidden = 0;
    for (std::size_t j = 0; j < count; ++j) {
        const auto flag = static_cast<std::uint8_t>(points[j].colour >> 24);
        flags[j] = flag;
        hidden += flag ^ 1u;
    }
    return hidden;
}

// What PC_ReadAllPoints writes: every point, and its show flag when there is a flag buffer.
struct AllPointsWriter {
    double* xyz;
    std::uint32_t* colors;
    std::uint8_t* flags;
    Scale scale;
    const SelectionRegion* region;
    Vec3d origin;
    const PointBitmap* deleted;

    // 1 to show the point, 0 to hide it.
    std::uint32_t show(std::uint64_t g, bool deletions, const PointRecord& p) const {
        if (!flags) return 1;
        if (deletions && g < deleted->pointCount() && deleted->test(g)) return 0;
        return !region || region->contains(scale.world(p) - origin) ? 1 : 0;
    }
    // Returns 1 for a point hidden.
    std::uint64_t put(std::int64_t at, const KeptPoint& p) const {
        putPoint(xyz, colors, at, scale.world(p), p);
        if (!flags) return 0;
        const std::uint8_t flag = static_cast<std::uint8_t>(p.colour >> 24);
        flags[at] = flag;
        return flag ? 0 : 1;
    }
    // Whether every point of a node without deletions is shown.
    bool showsAll() const { return !region; }
    void putShown(std::int64_t at, const PointRecord* points, std::size_t count) const {
        putShownRun(scale, points, count, xyz + 3 * at, colors ? colors + at : nullptr, flags ? flags + at : nullptr);
    }
    std::uint64_t putKept(std::int64_t at, const KeptPoint* points, std::size_t count) const {
        return putKeptRun(scale, points, count, xyz + 3 * at, colors ? colors + at : nullptr, flags ? flags + at : nullptr);
    }
};

// What PC_ReadSurvivingPoints writes: coordinates and colours.
struct SurvivorWriter {
    double* xyz;
    std::uint32_t* colors;
    Scale scale;

    std::uint32_t show(std::uint64_t, bool, const PointRecord&) const { return 1; }
    std::uint64_t put(std::int64_t at, const KeptPoint& p) const {
        putPoint(xyz, colors, at, scale.world(p), p);
        return 0;
    }
    bool showsAll() const { return true; }
    void putShown(std::int64_t at, const PointRecord* points, std::size_t count) const {
        putShownRun(scale, points, count, xyz + 3 * at, colors ? colors + at : nullptr, nullptr);
    }
    std::uint64_t putKept(std::int64_t at, const KeptPoint* points, std::size_t count) const {
        return putKeptRun(scale, points, count, xyz + 3 * at, colors ? colors + at : nullptr, nullptr);
    }
};

// One read task of the sorted fill: reads the node with worker `worker`'s reader, counts the
// buckets and slices of the points it hands on, then keeps them, each through the writer's show().
template <class Writer>
bool keepNode(ReadBackRun& run, ElevationOrder& order, unsigned worker, ElevationOrder::Task task,
              std::vector<PointRecord>& decoded, std::string& failure, const Writer& writer) {
    struct Ended {  // even when the read throws: placing workers wait for it
        ElevationOrder& order;
        std::uint32_t stage;
        bool kept = false;
        ~Ended() {
            // Reads handed out after a failure may never begin: nobody may wait for them.
            if (!kept) order.abandon();
            order.endRead(stage);
        }
    } ended{order, task.stage};
    const Writer own = writer;
    if (!run.readNode(worker, task.item, decoded, failure)) return false;
    ElevationOrder::NodeScratch& room = order.room(worker);
    room.reserve(decoded.size());
    std::uint32_t* picked = room.picked();
    std::uint16_t* buckets = room.buckets();
    std::uint32_t* counts = room.counts();
    const ElevationOrder::Slicing slicing = order.slicing();
    const std::uint64_t first = run.nodes()[task.item].firstPoint;
    const bool deletions = run.hasDeleted(task.item);
    std::size_t count = 0;
    std::uint32_t low = ~0u, high = 0;
    for (std::uint32_t j = 0; j < decoded.size(); ++j) {
        if (run.skips(first + j, deletions)) continue;
        const std::uint32_t s = slicing.slice(decoded[j].z);
        const std::uint32_t b = slicing.bucket(s);
        ++counts[b];
        picked[count] = j;
        buckets[count++] = static_cast<std::uint16_t>(b);
        low = std::min(low, b);
        high = std::max(high, b);
    }
    ended.kept = order.keep(task.item, room, count, low, high, [&](std::uint32_t j) {
        const PointRecord& p = decoded[j];
        return kept(p, own.show(first + j, deletions, p));
    });
    return ended.kept;
}

// Fills the host's buffers: every point handed on by `run` goes through the writer's show(global
// index, node has deletions, point) and then put(at, kept point), at its place in file order or
// sorted by elevation; `tally` sums the points hidden. Runs of points are written by putShown
// (a node without deletions whose points are all shown) and putKept (a sorted bucket), in plain
// loops over locals. Returns the points written, or -1.
template <class Writer>
std::int64_t fill(ReadBackRun& run, const HostPointBuffers& out, bool sorted, std::string& error, const Writer& writer,
                  std::uint64_t& tally) {
    const std::int64_t capacity = out.capacity;
    std::vector<std::vector<PointRecord>> scratch(run.readers().count());  // per worker, one node's points
    struct alignas(64) Sum {  // a cache line each
        std::uint64_t n = 0;
    };
    std::vector<Sum> sums(run.readers().count());
    const auto addSums = [&] {
        for (const Sum& sum : sums) tally += sum.n;
    };
    if (!sorted) {
        std::atomic<std::uint64_t> written{0};
        const bool ok = run.readers().forEachPiece(run.nodeCount(), [&](unsigned worker, std::size_t piece, std::string& failure) {
            const auto node = static_cast<std::uint32_t>(piece);
            std::vector<PointRecord>& decoded = scratch[worker];
            if (!run.readNode(worker, node, decoded, failure)) return false;
            // Everything the loop needs is held locally: a flag is a byte, and a byte store may
            // alias anything whose address has escaped, which would be read again at every point.
            const Writer own = writer;
            const PointRecord* points = decoded.data();
            const std::size_t count = decoded.size();
            const std::uint64_t first = run.nodes()[node].firstPoint;
            const bool deletions = run.hasDeleted(node);
            const auto start = static_cast<std::int64_t>(run.startOf(node));
            std::int64_t at = start;
            std::uint64_t sum = 0;
            if (!deletions && own.showsAll()) {
                const auto n = static_cast<std::size_t>(std::clamp<std::int64_t>(capacity - at, 0, static_cast<std::int64_t>(count)));
                own.putShown(at, points, n);
                at += static_cast<std::int64_t>(n);
            } else {
                for (std::size_t j = 0; j < count && at < capacity; ++j) {
                    const std::uint64_t g = first + j;
                    if (deletions && run.skips(g, true)) continue;
                    sum += own.put(at++, kept(points[j], own.show(g, deletions, points[j])));
                }
            }
            written += static_cast<std::uint64_t>(at - start);
            sums[worker].n += sum;
            return true;
        }, error);
        addSums();
        return ok ? static_cast<std::int64_t>(written.load()) : -1;
    }

    // Sorted: every node read once, from the highest cube down, and each bucket placed as soon
    // as no node left to read can reach it. A point outside its node's cube, or a failed read,
    // starts it again in file order with the cubes ignored, which also reports the first node
    // in file order that fails.
    std::vector<ElevationOrder::Scratch> placing(run.readers().count());
    for (const bool ignoreCubes : {false, true}) {
        for (Sum& sum : sums) sum.n = 0;
        ElevationOrder order(run.header(), run.nodes(), ignoreCubes, run.readers().count());
        const std::vector<ElevationOrder::Task>& tasks = order.tasks();
        const bool ok = run.readers().forEachPiece(tasks.size(), [&](unsigned worker, std::size_t i, std::string& failure) {
            const ElevationOrder::Task task = tasks[i];
            if (task.place) {
                const Writer own = writer;
                if (!order.awaitStage(task.stage)) return true;  // the failed read says why
                sums[worker].n += order.place(task.item, static_cast<std::uint64_t>(capacity),
                                              [&](std::int64_t at, const KeptPoint* points, std::size_t count) {
                                                  return own.putKept(at, points, count);
                                              },
                                              out,
                                              placing[worker]);
                return true;
            }
            return keepNode(run, order, worker, task, scratch[worker], failure, writer);
        }, error);
        if (ok) {
            addSums();
            return static_cast<std::int64_t>(std::min<std::uint64_t>(order.total(), static_cast<std::uint64_t>(capacity)));
        }
    }
    return -1;
}

double millisecondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
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
    ReadBackRun run(source, false);
    if (!run.open(error)) return -1;
    const bool sorted = sort && pointCount > 1;
    std::uint64_t hidden = 0;
    const AllPointsWriter writer{out.xyz, out.colors, out.flags, Scale(run.header()), source.region, source.origin, source.deleted};
    const std::int64_t written = fill(run, out, sorted, error, writer, hidden);
    if (written < 0) return -1;
    if (logLevelThreshold() <= LogInfo) {
        logLine(LogInfo, "punti restituiti a Orvane: %s, di cui %s da nascondere%s, in %.0f ms%s",
                formatCount(static_cast<std::uint64_t>(written)).c_str(), formatCount(hidden).c_str(),
                source.region ? " (cancellati + fuori scatola)" : " (cancellati)", millisecondsSince(start),
                sorted ? " (ordinati per quota)" : "");
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
    ReadBackRun run(source, true);
    if (!run.open(error)) return -1;
    const bool sorted = sort && surviving > 1;
    const HostPointBuffers noFlags{out.xyz, out.colors, nullptr, out.capacity};
    std::uint64_t none = 0;
    const std::int64_t written = fill(run, noFlags, sorted, error, SurvivorWriter{out.xyz, out.colors, Scale(run.header())}, none);
    if (written < 0) return -1;
    if (logLevelThreshold() <= LogInfo)
        logLine(LogInfo, "punti restituiti a Orvane: %s in %.0f ms%s", formatCount(static_cast<std::uint64_t>(written)).c_str(),
                millisecondsSince(start), sorted ? " (ordinati per quota)" : "");
    return written;
}

}  // namespace ovcf
