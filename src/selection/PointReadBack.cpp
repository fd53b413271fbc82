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
    std::uint32_t nodeCount() const { return static_cast<std::uint32_t>(first_.nodes().size()); }
    std::uint64_t startOf(std::uint32_t node) const { return starts_[node]; }
    ParallelReaders& readers() { return readers_; }

    // Runs of consecutive nodes holding about equal numbers of the points handed on, two per
    // worker so that a worker held up by the machine's other work holds up no one, and each
    // below 2^31 points (the sort counts a run's points in 32 bits). Returns the first node
    // of each run and, last, the node count.
    std::vector<std::uint32_t> runs() const {
        const std::uint64_t total = starts_.back();
        const std::uint64_t pieces = std::max<std::uint64_t>(2 * readers_.count(), total >> 31);
        const std::uint64_t target = std::min<std::uint64_t>(std::max<std::uint64_t>(total / pieces, 1), std::uint64_t{1} << 31);
        std::vector<std::uint32_t> bounds{0};
        for (std::uint32_t n = 0; n < nodeCount(); ++n)
            if (starts_[n + 1] - starts_[bounds.back()] > target && n > bounds.back()) bounds.push_back(n);
        bounds.push_back(nodeCount());
        return bounds;
    }

    // Reads nodes [first, end) in order with worker `worker`'s reader and calls take(node,
    // global index, point) for each point handed on: every point, or the survivors only.
    template <class Take>
    bool readNodes(unsigned worker, std::uint32_t first, std::uint32_t end, std::vector<PointRecord>& points,
                   std::string& error, const Take& take) {
        OvcfReader& reader = readers_.reader(worker);
        for (std::uint32_t node = first; node < end; ++node) {
            if (!reader.readNode(node, points, error)) return false;
            const std::uint64_t firstPoint = reader.nodes()[node].firstPoint;
            const bool deletions = hasDeleted(node);
            for (std::size_t j = 0; j < points.size(); ++j) {
                const std::uint64_t g = firstPoint + j;
                if (survivorsOnly_ && deletions && isDeleted(g)) continue;
                if (!take(node, g, deletions, points[j])) break;
            }
        }
        return true;
    }

    bool isDeleted(std::uint64_t g) const { return g < source_.deleted->pointCount() && source_.deleted->test(g); }

private:
    bool hasDeleted(std::uint32_t node) const {
        return source_.deletedInNode && node < source_.deletedInNode->size() && (*source_.deletedInNode)[node] > 0;
    }

    const ReadBackSource& source_;
    bool survivorsOnly_;
    OvcfReader first_;
    ParallelReaders readers_;
    std::vector<std::uint64_t> starts_;
};

// Fills the host's buffers: every point handed on by `run` goes through write(at, global index,
// node has deletions, point), at its place in file order or sorted by elevation; `tally` sums
// what write returns. Each worker calls a copy of `write` of its own, so that the compiler may
// keep what it holds in registers even across the byte stores of the flags. Returns the points
// written, or -1.
template <class Write>
std::int64_t fill(ReadBackRun& run, const HostPointBuffers& out, bool sorted, std::string& error, const Write& write,
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
        const bool ok = run.readers().forEachPiece(run.nodeCount(), [&](unsigned worker, std::size_t node, std::string& failure) {
            std::vector<PointRecord>& points = scratch[worker];
            std::int64_t at = static_cast<std::int64_t>(run.startOf(static_cast<std::uint32_t>(node)));
            std::uint64_t mine = 0, sum = 0;
            const Write own = write;
            const bool read = run.readNodes(worker, static_cast<std::uint32_t>(node), static_cast<std::uint32_t>(node) + 1, points,
                                            failure, [&](std::uint32_t, std::uint64_t g, bool deletions, const PointRecord& p) {
                                                if (at >= capacity) return false;
                                                sum += own(at++, g, deletions, p);
                                                ++mine;
                                                return true;
                                            });
            written += mine;
            sums[worker].n += sum;
            return read;
        }, error);
        addSums();
        return ok ? static_cast<std::int64_t>(written.load()) : -1;
    }

    const std::vector<std::uint32_t> runs = run.runs();
    const std::size_t chunks = runs.size() - 1;
    ElevationOrder order(run.header(), run.readers().count(), chunks);
    const auto eachChunk = [&](const auto& visit) {
        return run.readers().forEachPiece(chunks, [&](unsigned worker, std::size_t chunk, std::string& failure) {
            return visit(worker, chunk, scratch[worker], failure);
        }, error);
    };
    const bool counted = eachChunk([&](unsigned worker, std::size_t chunk, std::vector<PointRecord>& points, std::string& failure) {
        const bool read = run.readNodes(worker, runs[chunk], runs[chunk + 1], points, failure,
                                        [&](std::uint32_t, std::uint64_t, bool, const PointRecord& p) {
                                            order.count(worker, p);
                                            return true;
                                        });
        order.endChunk(worker, chunk);
        return read;
    });
    if (!counted) return -1;
    const std::uint64_t total = order.startPlacing();
    const bool placed = eachChunk([&](unsigned worker, std::size_t chunk, std::vector<PointRecord>& points, std::string& failure) {
        std::uint64_t sum = 0;
        const Write own = write;
        const bool read = run.readNodes(worker, runs[chunk], runs[chunk + 1], points, failure,
                                        [&](std::uint32_t, std::uint64_t g, bool deletions, const PointRecord& p) {
                                            const std::uint64_t at = order.place(chunk, p);
                                            if (at < static_cast<std::uint64_t>(capacity))
                                                sum += own(static_cast<std::int64_t>(at), g, deletions, p);
                                            return true;
                                        });
        sums[worker].n += sum;
        return read;
    });
    if (!placed) return -1;
    addSums();
    const std::uint64_t written = std::min<std::uint64_t>(total, static_cast<std::uint64_t>(capacity));
    std::atomic<std::size_t> next{0};
    runOnThreads(std::min<unsigned>(run.readers().count(), static_cast<unsigned>(std::max<std::size_t>(order.sortGroups(), 1))),
                 [&](unsigned) {
                     for (std::size_t g = next.fetch_add(1); g < order.sortGroups(); g = next.fetch_add(1))
                         order.sortGroup(g, out, written);
                 });
    return static_cast<std::int64_t>(written);
}

// The header's quantisation, held by value.
struct Scale {
    explicit Scale(const FileHeader& h)
        : step{h.step[0], h.step[1], h.step[2]}, offset{h.offset[0], h.offset[1], h.offset[2]} {}
    Vec3d world(const PointRecord& p) const {
        return {p.x * step[0] + offset[0], p.y * step[1] + offset[1], p.z * step[2] + offset[2]};
    }
    double step[3], offset[3];
};

// The point's coordinates and colour at position `at` of the host's buffers.
void put(double* xyz, std::uint32_t* colors, std::int64_t at, const Vec3d& world, const PointRecord& p) {
    double* out = xyz + 3 * at;
    out[0] = world.x;
    out[1] = world.y;
    out[2] = world.z;
    if (colors) colors[at] = packedColour(p);
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
    const std::int64_t written = fill(run, out, sorted, error,
                                      [xyz = out.xyz, colors = out.colors, flags = out.flags, scale = Scale(run.header()),
                                       region = source.region, origin = source.origin, deleted = source.deleted](
                                          std::int64_t at, std::uint64_t g, bool deletions, const PointRecord& p) -> std::uint64_t {
        const Vec3d world = scale.world(p);
        put(xyz, colors, at, world, p);
        if (!flags) return 0;
        bool show = !(deletions && g < deleted->pointCount() && deleted->test(g));
        if (show && region) show = region->contains(world - origin);
        flags[at] = show ? 1 : 0;
        return show ? 0 : 1;
    }, hidden);
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
    const std::int64_t written = fill(run, noFlags, sorted, error,
                                      [xyz = out.xyz, colors = out.colors, scale = Scale(run.header())](
                                          std::int64_t at, std::uint64_t, bool, const PointRecord& p) -> std::uint64_t {
        put(xyz, colors, at, scale.world(p), p);
        return 0;
    }, none);
    if (written < 0) return -1;
    if (logLevelThreshold() <= LogInfo)
        logLine(LogInfo, "punti restituiti a Orvane: %s in %.0f ms%s", formatCount(static_cast<std::uint64_t>(written)).c_str(),
                millisecondsSince(start), sorted ? " (ordinati per quota)" : "");
    return written;
}

}  // namespace ovcf
