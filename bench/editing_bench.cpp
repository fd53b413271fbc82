// The editing path on a survey-sized cloud (20 million points by default): selection by a
// rectangle over the whole view and over a tenth of it on 2 worker threads, deleting, undoing and
// restoring a whole-cloud selection, confirming 10,000 deletions scattered over a few nodes,
// reading every point back on 1 and 2 threads, and exporting to LAS. Prints million points per
// second beside the bound of the same run (every node read and decoded on 2 threads), where a
// selection's time goes, the processor time of its parts on one thread and on all, times, the
// memory each read-back holds beyond the host's buffers and peak memory.
//
// usage: editing_bench [POINTS] [FOLDER]
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include <algorithm>
#include <atomic>

#include "BenchSupport.h"
#include "SurveyFile.h"
#include "TopViewQuery.h"
#include "cloud/CloudNodes.h"
#include "core/ThreadRun.h"
#include "import/PointExport.h"
#include "navigation/Camera.h"
#include "ovcf/OvcfReader.h"
#include "ovcf/OvcfWriter.h"
#include "selection/DeletionHistory.h"
#include "selection/PointReadBack.h"
#include "selection/SelectionEngine.h"
#include "selection/PointScreenTest.h"
#include "selection/ScreenProjection.h"
#include "selection/SelectionFilter.h"

using namespace ovcf;
using ovcf::bench::Clock;
using ovcf::bench::secondsSince;

namespace {

double peakMiB() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_maxrss) / 1024.0;
}

// Nodes inside the shape are read, not taken whole; with `calls` the engine calls the filter at
// every point as well, as the spacing, isolated-point and colour filters need it to.
struct ReadEveryPoint : SelectionFilter {
    explicit ReadEveryPoint(unsigned calls) : calls(calls) {}
    unsigned pointCalls() const override { return calls; }
    unsigned calls;
};

double processorSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) + 1e-6 * double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
}

// The processor time a point of the last bestRate took at best, in ns: steadier than the rate
// on a machine that other work keeps busy.
double lastProcessorNs = 0;

// The best of `passes` runs of `run`, which returns the points it handled, in M points/s: on a
// shared machine other work only ever makes a run slower.
template <class Run>
double bestRate(int passes, const Run& run) {
    double best = 0;
    lastProcessorNs = 1e30;
    for (int pass = 0; pass < passes; ++pass) {
        const auto start = Clock::now();
        const double cpu = processorSeconds();
        const double points = double(run());
        best = std::max(best, points / secondsSince(start) / 1e6);
        lastProcessorNs = std::min(lastProcessorNs, (processorSeconds() - cpu) / points * 1e9);
    }
    return best;
}

// Every node read on `threads` threads, one reader each, nodes handed out in turn; perNode(points,
// node) does what else is measured. Returns the points read.
template <class PerNode>
std::uint64_t readEveryNode(std::vector<OvcfReader>& readers, unsigned threads, const PerNode& perNode) {
    std::atomic<std::uint32_t> next{0};
    std::atomic<std::uint64_t> total{0};
    runOnThreads(threads, [&](unsigned t) {
        std::vector<PointRecord> points;
        std::string error;
        std::uint64_t mine = 0;
        for (std::uint32_t n = next++; n < readers[t].nodes().size(); n = next++) {
            if (!readers[t].readNode(n, points, error)) std::abort();
            perNode(points, n);
            mine += points.size();
        }
        total += mine;
    });
    return total;
}

}  // namespace

int main(int argc, char** argv) {
    const std::size_t count = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 20000000;
    const std::string folder = argc > 2 ? argv[2] : std::filesystem::temp_directory_path().string();
    const std::string path = folder + "/editing_bench.ovcf";
    std::string error;
    auto start = Clock::now();
    if (!bench::writeSurvey(path, count, error)) {
        std::fprintf(stderr, "editing_bench: %s\n", error.c_str());
        return 1;
    }
    std::printf("cache of %zu points written in %.1f s\n", count, secondsSince(start));

    OvcfReader reader;
    if (!reader.open(path, error)) return 1;
    const FileHeader& header = reader.header();
    const std::uint64_t points = header.pointCount;
    const Vec3d reference = cloudReferencePoint(header);
    const std::vector<NodeInfo> nodes = describeNodes(header, reader.nodes(), reference);
    SelectionQuery query = bench::topViewQuery(header, reference);
    SelectionEngine engine;
    engine.open(path, 2);
    PointBitmap selection;
    selection.reset(points);
    ScreenShape whole, tenth;
    whole.setRectangle(0, 0, bench::kViewWidth, bench::kViewHeight);
    tenth.setRectangle(500, 300, 500 + bench::kViewWidth * 0.316f, 300 + bench::kViewHeight * 0.316f);
    engine.select(whole, CombineReplace, query, header, nodes, selection);  // readers open, file cached
    // The bound: every node read and decoded on 2 threads, nothing else.
    std::vector<OvcfReader> readers(2);
    for (OvcfReader& r : readers)
        if (!r.open(path, error)) return 1;
    double boundNs = 0;
    const auto bound = [&] {
        const double rate = bestRate(5, [&] { return readEveryNode(readers, 2, [](auto&, auto) {}); });
        boundNs = lastProcessorNs;
        return rate;
    };
    const double boundBefore = bound();
    std::printf("bound: every node read and decoded on 2 threads: %.0f M points/s, %.1f ns of processor time a point\n",
                boundBefore, boundNs);

    ReadEveryPoint reading(0), calling(SelectionFilter::CallsObserve | SelectionFilter::CallsAccept | SelectionFilter::CallsCollect);
    for (SelectionFilter* filter : {static_cast<SelectionFilter*>(nullptr), static_cast<SelectionFilter*>(&reading),
                                    static_cast<SelectionFilter*>(&calling)}) {
        query.filter = filter;
        for (const ScreenShape* shape : {&whole, &tenth}) {
            SelectionReport r;
            const double rate = bestRate(3, [&] {
                r = engine.select(*shape, CombineReplace, query, header, nodes, selection);
                return r.examined;
            });
            std::printf("select %-13s %s: %llu found, %llu examined, %u nodes read, %u taken whole, %.1f ms, %.0f M points tested/s (%.2f of the bound), %.1f ns of processor time a point\n",
                        shape == &whole ? "whole view" : "tenth of view",
                        !filter ? "(nodes inside taken whole)" : filter == &reading ? "(every point read)" : "(every point read, a filter called at each)",
                        (unsigned long long)r.found, (unsigned long long)r.examined, r.nodesRead, r.nodesWhole,
                        r.seconds * 1e3, rate, rate / boundBefore, lastProcessorNs);
        }
    }

    // Where a whole-view selection that reads every point spends its time: the same reading on 2
    // threads with one more part at a time, then the engine itself. The projection, the shape
    // test and the marking of bits run fused in one vector loop.
    {
        const ScreenProjection projection(query.viewProjection, query.localOrigin, header, query.viewportWidth,
                                          query.viewportHeight);
        const PointScreenTest test(projection, whole);
        const auto coordinatesRate = [&](bool tested) {
            return bestRate(3, [&] {
                std::atomic<std::uint32_t> next{0};
                std::atomic<std::uint64_t> total{0};
                runOnThreads(2, [&](unsigned t) {
                    NodeCoordinates coordinates;
                    std::string failure;
                    std::vector<std::uint64_t> part;
                    std::uint64_t mine = 0;
                    for (std::uint32_t n = next++; n < readers[t].nodes().size(); n = next++) {
                        if (!readers[t].readNodeCoordinates(n, coordinates, failure)) std::abort();
                        mine += coordinates.size();
                        if (!tested) continue;
                        part.assign((coordinates.size() + 127) / 64, 0);
                        const auto counts = test.markInside(coordinates.x.data(), coordinates.y.data(), coordinates.z.data(),
                                                            coordinates.size(), part.data(), nodes[n].firstPoint & 63);
                        benchmark::DoNotOptimize(counts);
                    }
                    total += mine;
                });
                return total.load();
            });
        };
        // Processor time a point rather than rates: other work on the machine stretches the
        // wall clock of each stage differently, far less the processor time.
        bound();
        const double decode = boundNs;
        coordinatesRate(false);
        const double coordinates = lastProcessorNs;
        coordinatesRate(true);
        const double tested = lastProcessorNs;
        query.filter = &reading;
        bestRate(3, [&] { return engine.select(whole, CombineReplace, query, header, nodes, selection).examined; });
        const double all = lastProcessorNs;
        std::printf("where a whole-view selection reading every point spends its time on 2 threads, ns of processor time a point:\n"
                    "  reading and decoding whole points %.2f (the bound); the selection: reading and decoding the coordinates %.2f,"
                    " projection, shape test and marking bits %.2f, engine (candidates, partial maps, combine, reader pool) %.2f: %.2f in all\n",
                    decode, coordinates, tested - coordinates, all - tested, all);

        // Processor time of the parts on one thread and on all, with 1 and 2 workers, and what
        // they predict for a bigger machine.
        for (int workers : {1, 2}) {
            SelectionEngine counted;
            counted.open(path, workers);
            counted.select(whole, CombineReplace, query, header, nodes, selection);  // readers open
            double serial = 1e30, parallel = 1e30, wall = 1e30;
            for (int pass = 0; pass < 3; ++pass) {
                const double cpu = processorSeconds();
                const SelectionReport r = counted.select(whole, CombineReplace, query, header, nodes, selection);
                const double spent = processorSeconds() - cpu;
                if (r.seconds >= wall) continue;
                wall = r.seconds;
                serial = r.seconds - r.workerSeconds;
                parallel = std::max(0.0, spent - serial);
            }
            std::printf("  %d worker%s: %.1f ms, of which %.1f ms on one thread and %.1f ms of processor time on the workers;"
                        " predicted on 8 cores %.1f ms, on 16 cores %.1f ms\n",
                        workers, workers == 1 ? " " : "s", wall * 1e3, serial * 1e3, parallel * 1e3,
                        (serial + parallel / 8) * 1e3, (serial + parallel / 16) * 1e3);
        }
    }
    query.filter = nullptr;

    DeletionHistory history;
    history.open(path, nodes, {}, points, header.currentSignature);
    selectAllPoints(selection, history.deleted());
    bool changed = false;
    start = Clock::now();
    history.deleteSelected(selection, changed);
    const double del = secondsSince(start);
    start = Clock::now();
    history.undo(selection, changed);
    const double undo = secondsSince(start);
    history.deleteSelected(selection, changed);
    start = Clock::now();
    history.restoreAll(changed);
    const double restore = secondsSince(start);
    std::printf("delete %.1f ms, undo %.1f ms, restore all %.1f ms (%llu points)\n", del * 1e3, undo * 1e3,
                restore * 1e3, (unsigned long long)points);

    // 10,000 deletions in five nodes of the deepest level, then confirmed.
    selection.clearAll();
    std::size_t marked = 0;
    for (std::uint32_t n : {600u, 1800u, 2500u, 3300u, 4600u})
        for (std::uint32_t j = 0; j < 2000 && n < nodes.size(); ++j) {
            selection.set(nodes[n].firstPoint + j * 2);
            ++marked;
        }
    history.deleteSelected(selection, changed);
    bool wrote = false;
    start = Clock::now();
    const bool confirmed = history.confirm(reader, wrote, error);
    std::printf("confirm %zu deletions in 5 nodes: %.1f ms%s\n", marked, secondsSince(start) * 1e3,
                confirmed ? "" : (" FAILED: " + error).c_str());

    double peakSoFar = 0;  // the whole run's, before the read-back measures its own
    std::vector<double> xyz(3 * points);
    std::vector<std::uint32_t> rgb(points);
    std::vector<std::uint8_t> flags(points);
    // What writing alone allows: the host's buffers filled with made-up points on 2 threads.
    const double writing = bestRate(3, [&] {
        runOnThreads(2, [&](unsigned t) {
            const std::size_t begin = points * t / 2, end = points * (t + 1) / 2;
            for (std::size_t i = begin; i < end; ++i) {
                xyz[3 * i] = double(i);
                xyz[3 * i + 1] = double(i) * 0.5;
                xyz[3 * i + 2] = double(i) * 0.25;
                rgb[i] = std::uint32_t(i);
                flags[i] = std::uint8_t(i);
            }
        });
        return points;
    });
    std::printf("filling the host's buffers alone (29 bytes a point, 2 threads): %.0f M points/s\n", writing);
    for (unsigned threads : {1u, 2u}) {
        const ReadBackSource source{path, nullptr, &history.deleted(), &history.deletedInNode(), nullptr, reference, threads};
        const double boundNow = bound();
        for (bool sorted : {false, true}) {
            // The memory the read-back holds beyond the host's buffers, at its peak.
            peakSoFar = std::max(peakSoFar, bench::statusMiB("VmHWM:"));
            bench::resetPeakResident();
            const double resident = bench::statusMiB("VmRSS:");
            const double all = bestRate(3, [&] {
                return readAllPoints(source, {xyz.data(), rgb.data(), flags.data(), std::int64_t(points)}, sorted, error);
            });
            const double allNs = lastProcessorNs;
            const double alive = bestRate(3, [&] {
                return readSurvivingPoints(source, {xyz.data(), rgb.data(), nullptr, std::int64_t(points)}, sorted, error);
            });
            std::printf("read back on %u thread%s%s: all %.0f M points/s (%.2f of the bound, %.1f ns of processor time a point),"
                        " surviving %.0f M points/s (%.2f, %.1f ns); bound %.0f M points/s, %.1f ns; %.0f MiB held\n",
                        threads, threads == 1 ? " " : "s", sorted ? ", sorted" : "", all, all / boundNow, allNs, alive,
                        alive / boundNow, lastProcessorNs, boundNow, boundNs, bench::statusMiB("VmHWM:") - resident);
        }
    }
    xyz = {};
    rgb = {};
    flags = {};

    ExportStats exported;
    const std::string las = folder + "/editing_bench.las";
    if (!exportPoints(path, las, false, exported, error)) std::printf("export failed: %s\n", error.c_str());
    std::printf("export to LAS: %llu points in %.0f ms, %.1f M points/s\n", (unsigned long long)exported.written,
                exported.seconds * 1e3, exported.written / exported.seconds / 1e6);
    const double boundAfter = bound();
    std::printf("bound again at the end: %.0f M points/s, %.1f ns\n", boundAfter, boundNs);
    std::printf("peak memory %.0f MiB\n", std::max({peakSoFar, peakMiB(), bench::statusMiB("VmHWM:")}));
    std::filesystem::remove(path);
    std::filesystem::remove(las);
    return 0;
}
