// The spacing and isolated-points filters on a survey-like cloud (20 million points by default,
// 1 % scattered outliers): a selection over the whole view on 2 worker threads with spacing
// 0.05 m, then with isolated points of radius 0.5 m and 5 neighbours. Prints million points per
// second, the peak memory of each run and, for the isolated points, the outliers found (recall)
// and the ground points wrongly taken.
//
// usage: filters_bench [POINTS] [FOLDER] [spacing|isolated [RUNS]]   (the cache is kept in FOLDER
// and reused when it already holds that many points; the third argument runs one filter only,
// RUNS is how many times the 0.05 m spacing runs, 2 by default)
#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "BenchSupport.h"
#include "SurveyCloud.h"
#include "TopViewQuery.h"
#include "cloud/CloudNodes.h"
#include "core/Log.h"
#include "navigation/Camera.h"
#include "ovcf/OvcfReader.h"
#include "selection/FilterFactory.h"
#include "selection/SelectionEngine.h"
#include "selection/SelectionFilter.h"

using namespace ovcf;
using ovcf::bench::Clock;
using ovcf::bench::secondsSince;
using ovcf::bench::processorSeconds;
using ovcf::bench::resetPeakResident;
using ovcf::bench::statusMiB;

namespace {

struct ReadEveryPoint : SelectionFilter {};

}  // namespace

int main(int argc, char** argv) {
    const std::uint64_t count = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 20000000;
    const std::string folder = argc > 2 ? argv[2] : std::filesystem::temp_directory_path().string();
    const std::string path = folder + "/filters_bench_" + std::to_string(count) + ".ovcf";
    const std::string only = argc > 3 ? argv[3] : "";
    std::string error;
    OvcfReader reader;
    if (!reader.open(path, error) || reader.header().pointCount != count) {
        reader.close();
        const auto start = Clock::now();
        ImportStats stats;
        setStandardErrorEcho(false);
        if (!bench::buildSurveyCloud(count, path, folder, stats, error)) {
            std::fprintf(stderr, "filters_bench: %s\n", error.c_str());
            return 1;
        }
        std::printf("survey cloud of %llu points built in %.1f s\n", (unsigned long long)count, secondsSince(start));
        if (!reader.open(path, error)) {
            std::fprintf(stderr, "filters_bench: %s\n", error.c_str());
            return 1;
        }
    }
    setStandardErrorEcho(true);
    const FileHeader& header = reader.header();
    const Vec3d reference = cloudReferencePoint(header);
    const std::vector<NodeInfo> nodes = describeNodes(header, reader.nodes(), reference);
    std::printf("%llu points in %zu nodes\n", (unsigned long long)header.pointCount, nodes.size());

    SelectionQuery query = bench::topViewQuery(header, reference);
    ScreenShape whole;
    whole.setRectangle(0, 0, bench::kViewWidth, bench::kViewHeight);
    SelectionEngine engine;
    engine.open(path, 2);
    PointBitmap selection;
    selection.reset(header.pointCount);

    // Readers open and the file in the system's cache; then the plain read for comparison.
    ReadEveryPoint reading;
    query.filter = &reading;
    engine.select(whole, CombineReplace, query, header, nodes, selection);
    double cpu = processorSeconds();
    SelectionReport r = engine.select(whole, CombineReplace, query, header, nodes, selection);
    cpu = processorSeconds() - cpu;
    std::printf("no filter, every point read: %.0f ms, %.1f M points/s (processor %.2f s)\n", r.seconds * 1e3,
                r.examined / r.seconds / 1e6, cpu);

    FilterContext context;
    context.header = &header;
    SelectionSettings settings;
    settings.filter = 1;
    settings.spacing = 0.05;
    const double base = statusMiB("VmRSS:");
    // RUNS times at 0.05 m (the first run takes its memory fresh from the system), then a coarse
    // thinning, which must need far less memory.
    const unsigned fineRuns = argc > 4 ? static_cast<unsigned>(std::strtoul(argv[4], nullptr, 10)) : 2;
    std::vector<double> spacings(fineRuns, 0.05);
    spacings.push_back(0.5);
    for (double spacingMetres : spacings) {
        if (only == "isolated") break;
        settings.spacing = spacingMetres;
        std::unique_ptr<SelectionFilter> spacing = makeSelectionFilter(settings, context);
        query.filter = spacing.get();
        resetPeakResident();
        cpu = processorSeconds();
        r = engine.select(whole, CombineReplace, query, header, nodes, selection);
        cpu = processorSeconds() - cpu;
        std::printf("spacing %.2f m: %llu in shape, %llu kept, %llu selected, %.0f ms (first pass %.0f ms, merge and marking %.0f ms), %.1f M points/s (processor %.2f s), peak %.0f MiB (%.0f MiB above the cloud's maps)\n",
                    spacingMetres, (unsigned long long)r.inShape, (unsigned long long)r.filterKept, (unsigned long long)r.found,
                    r.seconds * 1e3, r.firstPassSeconds * 1e3, r.solveSeconds * 1e3, r.examined / r.seconds / 1e6, cpu, statusMiB("VmHWM:"),
                    statusMiB("VmHWM:") - base);
    }

    settings.filter = 3;
    settings.isolatedRadius = 0.5;
    settings.isolatedNeighbors = 5;
    settings.isolatedGroup = 1;
    if (only == "spacing") return 0;
    for (int run = 0; run < 2; ++run) {
        std::unique_ptr<SelectionFilter> isolated = makeSelectionFilter(settings, context);
        query.filter = isolated.get();
        resetPeakResident();
        cpu = processorSeconds();
        r = engine.select(whole, CombineReplace, query, header, nodes, selection);
        cpu = processorSeconds() - cpu;
        std::printf("isolated 0.5 m / 5: %llu selected, %.0f ms (first pass %.0f, counts %.0f, second pass %.0f), %.1f M points/s (processor %.2f s), peak %.0f MiB (%.0f MiB above)\n",
                    (unsigned long long)r.found, r.seconds * 1e3, r.firstPassSeconds * 1e3, r.solveSeconds * 1e3,
                    r.secondPassSeconds * 1e3, r.examined / r.seconds / 1e6, cpu, statusMiB("VmHWM:"), statusMiB("VmHWM:") - base);
    }

    // What the isolated points found, by the classes the generator gave.
    std::uint64_t outliers = 0, found = 0, ground = 0, groundTaken = 0, otherTaken = 0;
    std::vector<PointRecord> points;
    for (std::uint32_t n = 0; n < nodes.size(); ++n) {
        if (!reader.readNode(n, points, error)) {
            std::fprintf(stderr, "filters_bench: %s\n", error.c_str());
            return 1;
        }
        for (std::size_t j = 0; j < points.size(); ++j) {
            const bool taken = selection.test(nodes[n].firstPoint + j);
            if (points[j].classification == bench::kClassOutlier) {
                ++outliers;
                found += taken;
            } else if (points[j].classification == bench::kClassGround) {
                ++ground;
                groundTaken += taken;
            } else {
                otherTaken += taken;
            }
        }
    }
    std::printf("isolated: %llu of %llu outliers found (recall %.2f %%), %llu of %llu ground points taken, %llu other points taken\n",
                (unsigned long long)found, (unsigned long long)outliers, outliers ? found * 100.0 / outliers : 0.0,
                (unsigned long long)groundTaken, (unsigned long long)ground, (unsigned long long)otherTaken);
    return 0;
}
