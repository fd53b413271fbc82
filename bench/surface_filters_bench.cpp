// The cloth and colour filters on a survey-like cloud (20 million points by default, 1 % of them
// scattered outliers): a selection over the whole view on 2 worker threads, once without a
// filter and once with each filter (cloth at 1 m, colour with tolerance 8). Prints million points
// per second, the peak memory of each run, and what each filter took by the points' classes.
//
// usage: surface_filters_bench [POINTS] [FOLDER]   (the cache is kept in FOLDER and reused)
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
#include "cloud/PointColors.h"
#include "navigation/Camera.h"
#include "ovcf/OvcfReader.h"
#include "selection/ClothFilter.h"
#include "selection/ColorFilter.h"
#include "selection/SelectionEngine.h"

using namespace ovcf;
using ovcf::bench::Clock;
using ovcf::bench::secondsSince;
using ovcf::bench::processorSeconds;
using ovcf::bench::resetPeakResident;
using ovcf::bench::statusMiB;

namespace {

// Selected points by class: ground, vegetation, building, outliers.
void printClasses(OvcfReader& reader, const PointBitmap& selection) {
    std::uint64_t taken[256] = {}, all[256] = {};
    std::vector<PointRecord> points;
    std::string error;
    for (std::uint32_t n = 0; n < reader.nodes().size(); ++n) {
        if (!reader.readNode(n, points, error)) continue;
        for (std::size_t j = 0; j < points.size(); ++j) {
            ++all[points[j].classification];
            if (selection.test(reader.nodes()[n].firstPoint + j)) ++taken[points[j].classification];
        }
    }
    std::printf("    taken: ground %llu of %llu, vegetation %llu of %llu, building %llu of %llu, outliers %llu of %llu (%.1f %%)\n",
                (unsigned long long)taken[bench::kClassGround], (unsigned long long)all[bench::kClassGround],
                (unsigned long long)taken[bench::kClassVegetation], (unsigned long long)all[bench::kClassVegetation],
                (unsigned long long)taken[bench::kClassBuilding], (unsigned long long)all[bench::kClassBuilding],
                (unsigned long long)taken[bench::kClassOutlier], (unsigned long long)all[bench::kClassOutlier],
                all[bench::kClassOutlier] ? taken[bench::kClassOutlier] * 100.0 / all[bench::kClassOutlier] : 0.0);
}

}  // namespace

int main(int argc, char** argv) {
    const std::uint64_t count = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 20000000;
    const std::string folder = argc > 2 ? argv[2] : std::filesystem::temp_directory_path().string();
    const std::string path = folder + "/surface_filters_bench.ovcf";
    std::string error;
    bool reuse = false;
    {
        OvcfReader probe;
        reuse = probe.open(path, error) && probe.header().pointCount == count;
    }
    if (!reuse) {
        const auto start = Clock::now();
        ImportStats stats;
        if (!bench::buildSurveyCloud(count, path, folder, stats, error)) {
            std::fprintf(stderr, "surface_filters_bench: %s\n", error.c_str());
            return 1;
        }
        std::printf("cache of %llu points built in %.1f s\n", (unsigned long long)count, secondsSince(start));
    }
    OvcfReader reader;
    if (!reader.open(path, error)) {
        std::fprintf(stderr, "surface_filters_bench: %s\n", error.c_str());
        return 1;
    }
    const FileHeader& header = reader.header();
    const Vec3d reference = cloudReferencePoint(header);
    const std::vector<NodeInfo> nodes = describeNodes(header, reader.nodes(), reference);
    SelectionQuery query = bench::topViewQuery(header, reference);
    SelectionEngine engine;
    engine.open(path, 2);
    PointBitmap selection;
    selection.reset(header.pointCount);
    ScreenShape whole;
    whole.setRectangle(0, 0, bench::kViewWidth, bench::kViewHeight);
    engine.select(whole, CombineReplace, query, header, nodes, selection);  // readers open, file cached

    ClothParameters clothParameters;  // 1 m, tension 0.5, offset 0.2 m, vertical
    RenderSettings render;            // the surveyed colours
    const PointColoring coloring = pointColoring(render, header.boundsMin[2] - reference.z, header.boundsMax[2] - reference.z,
                                                 header.pointFormat);
    struct Run {
        const char* name;
        std::unique_ptr<SelectionFilter> filter;
    };
    Run runs[3];
    runs[0].name = "no filter (every point read)";
    runs[0].filter = std::make_unique<SelectionFilter>();
    runs[1].name = "cloth, 1 m, tension 0.5, offset 0.2 m";
    runs[1].filter = std::make_unique<ClothFilter>(clothParameters, Vec3d{0, 0, -1});
    runs[2].name = "colour #7D8241, tolerance 8";  // a ground colour of the generated site
    runs[2].filter = std::make_unique<ColorFilter>(coloring, 0x7D8241, 8.0, false);
    for (Run& run : runs) {
        query.filter = run.filter.get();
        resetPeakResident();
        const double before = statusMiB("VmRSS:");
        const double cpu = processorSeconds();
        const SelectionReport r = engine.select(whole, CombineReplace, query, header, nodes, selection);
        const double used = processorSeconds() - cpu;
        const double peak = statusMiB("VmHWM:");
        std::printf("%s: %llu points in %.0f ms (first pass %.0f ms, second %.0f ms), %.1f M points/s, %llu selected, "
                    "peak %.0f MiB (%.0f MiB above the %.0f MiB before); %.0f ms of processor time, %.1f M points per "
                    "processor second\n",
                    run.name, (unsigned long long)r.examined, r.seconds * 1e3, r.firstPassSeconds * 1e3,
                    r.secondPassSeconds * 1e3, r.examined / r.seconds / 1e6, (unsigned long long)r.totalSelected, peak,
                    peak - before, before, used * 1e3, r.examined / used / 1e6);
        if (const auto* cloth = dynamic_cast<const ClothFilter*>(run.filter.get()))
            std::printf("    cloth: %llu cells, %d fall steps\n", (unsigned long long)cloth->cloth().cellCount(),
                        cloth->cloth().fallSteps());
        printClasses(reader, selection);
    }
    return 0;
}
