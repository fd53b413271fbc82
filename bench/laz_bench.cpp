// LAZ in and out, printing million points per second and peak memory:
//   1. decoding alone (LazSource::forEachChunk) on 1 and on 2 threads, for point format 3
//      (pointwise, the shared pdal_autzen_trim.laz) and point format 7 (layered, our own export
//      of the generated cloud): every field, and only the fields a cache keeps (the layers of
//      the others skipped), as `ovcf build` decodes;
//   2. `ovcf build` of the generated cloud from LAZ and from LAS, on one thread and on all;
//   3. `ovcf export` of its cache to LAZ (on one thread and on all) and to LAS;
// each pair read as a part on one thread and a part divided among all, predicting 8 and 16 cores.
// The generated cloud is written with our LAS writer from a cache built from memory.
//
// usage: laz_bench [POINTS] [FOLDER]   (20 million points by default; 0: only the shared sample)
//        laz_bench FILE.laz              (decoding that file alone)
//        laz_bench FILE.laz ROUNDS       (every field ROUNDS times on one thread: the first round
//                                         untimed, for a checksum of the records that compares
//                                         decoders; the difference of the instruction counts of
//                                         two runs is one round)
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "BenchSupport.h"
#include "core/Log.h"
#include "import/FileSources.h"
#include "import/LazSource.h"
#include "import/MemoryCloud.h"
#include "import/OctreeIndexer.h"
#include "import/PointExport.h"

using namespace ovcf;
using bench::Clock;
using bench::secondsSince;

namespace {

// A rolling terrain with colour and intensity, in scan-line order like an airborne strip.
void generateCache(std::size_t points, const std::string& cache) {
    std::vector<double> xyz(points * 3);
    std::vector<std::uint32_t> colours(points);
    std::mt19937 random(7);
    std::uniform_real_distribution<double> jitter(-0.05, 0.05);
    const std::size_t perLine = 4000;
    for (std::size_t i = 0; i < points; ++i) {
        const double x = static_cast<double>(i % perLine) * 0.25 + jitter(random);
        const double y = static_cast<double>(i / perLine) * 0.25 + jitter(random);
        xyz[3 * i] = 500000.0 + x;
        xyz[3 * i + 1] = 4500000.0 + y;
        xyz[3 * i + 2] = 200.0 + 8.0 * std::sin(x / 90.0) * std::cos(y / 70.0) + jitter(random);
        const std::uint32_t g = 90 + static_cast<std::uint32_t>(60 + 50 * std::sin(x / 13.0));
        colours[i] = (g / 2 << 16) | (g << 8) | (g / 3);
    }
    MemoryCloud cloud(xyz.data(), colours.data(), points, 0.001);
    ImportOptions options;
    options.pointFormat = 1;
    ImportStats stats;
    std::string error;
    if (!buildOctree(cloud, cache, options, stats, error)) {
        std::fprintf(stderr, "building the cache failed: %s\n", error.c_str());
        std::exit(1);
    }
}

void decodeOnly(const std::string& path, const char* label, int fixedRounds = 0) {
    for (bool all : {true, false})
    for (unsigned threads : {1u, 2u}) {
        if (fixedRounds > 0 && (!all || threads > 1)) continue;
        LazSource source;
        source.setThreads(threads);
        std::string error;
        if (!source.open(path, 0.0, error)) {
            std::fprintf(stderr, "%s\n", error.c_str());
            std::exit(1);
        }
        const unsigned fields = all ? laz::kAllFields : source.pointFields();
        if (fixedRounds > 0) {
            // The first round, untimed, for the checksum.
            std::uint64_t checksum = 14695981039346656037ull;  // FNV-1a of every record, in order
            const std::size_t length = source.header().recordLength;
            if (!source.forEachChunk(
                    [&](const std::uint8_t* records, std::uint64_t n) {
                        for (std::size_t i = 0; i < n * length; ++i) checksum = (checksum ^ records[i]) * 1099511628211ull;
                    },
                    error, fields)) {
                std::fprintf(stderr, "%s\n", error.c_str());
                std::exit(1);
            }
            std::printf("checksum of the records: %016llx\n", static_cast<unsigned long long>(checksum));
            if (fixedRounds == 1) continue;
        }
        bench::resetPeakResident();
        const auto start = Clock::now();
        const double cpuStart = bench::processorSeconds();
        std::uint64_t points = 0;
        // Small files are decoded several times over, for a measurable time.
        const int rounds = fixedRounds > 0 ? fixedRounds - 1
                                           : std::max<int>(1, static_cast<int>(2000000 / std::max<std::uint64_t>(1, source.pointCount())));
        for (int r = 0; r < rounds; ++r)
            if (!source.forEachChunk([&](const std::uint8_t*, std::uint64_t n) { points += n; }, error, fields)) {
                std::fprintf(stderr, "%s\n", error.c_str());
                std::exit(1);
            }
        const double seconds = secondsSince(start);
        std::printf("decode %-28s %-12s %u thread%s: %6.2f M points/s (%.2f M/s per processor second), peak %.0f MiB, "
                    "load %.2f\n",
                    label, all ? "all fields" : "cache fields", threads, threads > 1 ? "s" : " ", points / seconds / 1e6,
                    points / (bench::processorSeconds() - cpuStart) / 1e6, bench::statusMiB("VmHWM:"), bench::loadAverage());
    }
}

// Returns the wall time.
double build(const std::string& input, const std::string& output, const char* label, unsigned threads) {
    std::string error;
    std::filesystem::remove(output);
    auto source = openPointFile(input, 0.0, error, threads);
    if (!source) {
        std::fprintf(stderr, "%s\n", error.c_str());
        std::exit(1);
    }
    ImportOptions options;
    options.pointFormat = source->fullPointFormat();
    options.temporaryParent = std::filesystem::path(output).parent_path().string();
    options.threads = threads;
    ImportStats stats;
    bench::resetPeakResident();
    const auto start = Clock::now();
    const double cpuStart = bench::processorSeconds();
    if (!buildOctree(*source, output, options, stats, error)) {
        std::fprintf(stderr, "%s\n", error.c_str());
        std::exit(1);
    }
    const double seconds = secondsSince(start);
    const double cpu = bench::processorSeconds() - cpuStart;
    std::printf("ovcf build from %-4s %u thread%s %6.2f M points/s (%.1f s; %.1f processor s, %.2f M/s per processor "
                "second), peak %.0f MiB, load %.2f\n",
                label, threads, threads == 1 ? " " : "s", stats.pointsRead / seconds / 1e6, seconds, cpu,
                stats.pointsRead / cpu / 1e6, bench::statusMiB("VmHWM:"), bench::loadAverage());
    return seconds;
}

// Returns the wall time.
double exportTo(const std::string& cache, const std::string& output, const char* label, unsigned threads) {
    ExportStats stats;
    std::string error;
    bench::resetPeakResident();
    const auto start = Clock::now();
    const double cpuStart = bench::processorSeconds();
    std::filesystem::remove(output);
    if (!exportPoints(cache, output, true, stats, error, nullptr, nullptr, threads)) {
        std::fprintf(stderr, "%s\n", error.c_str());
        std::exit(1);
    }
    const double seconds = secondsSince(start);
    const double cpu = bench::processorSeconds() - cpuStart;
    std::printf("ovcf export to %-4s %u thread%s %6.2f M points/s (%.1f s; %.1f processor s), %.0f MiB file, "
                "peak %.0f MiB, load %.2f\n",
                label, threads, threads == 1 ? " " : "s", stats.written / seconds / 1e6, seconds, cpu,
                std::filesystem::file_size(output) / 1048576.0, bench::statusMiB("VmHWM:"), bench::loadAverage());
    return seconds;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc > 1 && std::filesystem::path(argv[1]).extension() == ".laz") {
        decodeOnly(argv[1], std::filesystem::path(argv[1]).filename().string().c_str(), argc > 2 ? std::atoi(argv[2]) : 0);
        return 0;
    }
    const std::size_t points = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 20000000;
    const std::filesystem::path folder = argc > 2 ? argv[2] : std::filesystem::temp_directory_path() / "laz_bench";
    std::filesystem::create_directories(folder);
    setStandardErrorEcho(false);  // the indexer's log lines would drown the figures
    if (points == 0) {
        decodeOnly(std::string(ORVANE_SHARED_DATA) + "/pdal_autzen_trim.laz", "format 3 (autzen, pointwise)");
        decodeOnly(std::string(ORVANE_SHARED_DATA) + "/pdal_lone-star.copc.laz", "format 6 (lone-star, COPC)");
        return 0;
    }
    const std::string cache = (folder / "cloud.ovcf").string();
    generateCache(points, cache);
    const unsigned cores = std::max(1u, std::thread::hardware_concurrency());
    exportTo(cache, (folder / "cloud.las").string(), "LAS", cores);
    const double lazOne = exportTo(cache, (folder / "cloud.laz").string(), "LAZ", 1);
    bench::printScaling("ovcf export to LAZ", lazOne, exportTo(cache, (folder / "cloud.laz").string(), "LAZ", cores), cores);

    decodeOnly(std::string(ORVANE_SHARED_DATA) + "/pdal_autzen_trim.laz", "format 3 (autzen, pointwise)");
    decodeOnly((folder / "cloud.laz").string(), "format 7 (our export)");

    const double lasOne = build((folder / "cloud.las").string(), (folder / "from_las.ovcf").string(), "LAS", 1);
    bench::printScaling("ovcf build from LAS", lasOne,
                 build((folder / "cloud.las").string(), (folder / "from_las.ovcf").string(), "LAS", cores), cores);
    const double lazBuildOne = build((folder / "cloud.laz").string(), (folder / "from_laz.ovcf").string(), "LAZ", 1);
    bench::printScaling("ovcf build from LAZ", lazBuildOne,
                 build((folder / "cloud.laz").string(), (folder / "from_laz.ovcf").string(), "LAZ", cores), cores);
    std::filesystem::remove_all(folder);
    return 0;
}
