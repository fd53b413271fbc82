// The editing path on a survey-sized cloud (20 million points by default): selection by a
// rectangle over the whole view and over a tenth of it on 2 worker threads, deleting, undoing and
// restoring a whole-cloud selection, confirming 10,000 deletions scattered over a few nodes,
// reading every point back, and exporting to LAS. Prints million points per second, times and
// peak memory.
//
// usage: editing_bench [POINTS] [FOLDER]
#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "BenchSupport.h"
#include "SurveyFile.h"
#include "TopViewQuery.h"
#include "cloud/CloudNodes.h"
#include "import/PointExport.h"
#include "navigation/Camera.h"
#include "ovcf/OvcfReader.h"
#include "ovcf/OvcfWriter.h"
#include "selection/DeletionHistory.h"
#include "selection/PointReadBack.h"
#include "selection/SelectionEngine.h"
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

struct ReadEveryPoint : SelectionFilter {};  // nodes inside the shape are read, not taken whole

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
    ReadEveryPoint reading;
    for (SelectionFilter* filter : {static_cast<SelectionFilter*>(nullptr), static_cast<SelectionFilter*>(&reading)}) {
        query.filter = filter;
        for (const ScreenShape* shape : {&whole, &tenth}) {
            const SelectionReport r = engine.select(*shape, CombineReplace, query, header, nodes, selection);
            std::printf("select %-13s %s: %llu found, %llu examined, %u nodes read, %u taken whole, %.1f ms, %.0f M points tested/s\n",
                        shape == &whole ? "whole view" : "tenth of view", filter ? "(every point read)" : "(nodes inside taken whole)",
                        (unsigned long long)r.found, (unsigned long long)r.examined, r.nodesRead, r.nodesWhole,
                        r.seconds * 1e3, r.examined / r.seconds / 1e6);
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

    std::vector<double> xyz(3 * points);
    std::vector<std::uint32_t> rgb(points);
    std::vector<std::uint8_t> flags(points);
    const ReadBackSource source{path, nullptr, &history.deleted(), &history.deletedInNode(), nullptr, reference};
    start = Clock::now();
    const std::int64_t back = readAllPoints(source, {xyz.data(), rgb.data(), flags.data(), std::int64_t(points)}, false, error);
    double seconds = secondsSince(start);
    std::printf("read back all: %lld points in %.0f ms, %.0f M points/s\n", (long long)back, seconds * 1e3, back / seconds / 1e6);
    start = Clock::now();
    const std::int64_t alive = readSurvivingPoints(source, {xyz.data(), rgb.data(), nullptr, std::int64_t(points)}, false, error);
    seconds = secondsSince(start);
    std::printf("read back surviving: %lld points in %.0f ms, %.0f M points/s\n", (long long)alive, seconds * 1e3, alive / seconds / 1e6);
    xyz = {};
    rgb = {};
    flags = {};

    ExportStats exported;
    const std::string las = folder + "/editing_bench.las";
    if (!exportPoints(path, las, false, exported, error)) std::printf("export failed: %s\n", error.c_str());
    std::printf("export to LAS: %llu points in %.0f ms, %.1f M points/s\n", (unsigned long long)exported.written,
                exported.seconds * 1e3, exported.written / exported.seconds / 1e6);
    std::printf("peak memory %.0f MiB\n", peakMiB());
    std::filesystem::remove(path);
    std::filesystem::remove(las);
    return 0;
}
