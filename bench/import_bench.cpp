// Builds .ovcf files from a generated survey-like cloud (20 million coloured points by default:
// terrain, buildings, vegetation, noise) and prints million points per second and peak memory:
//   1. the host path (MemoryCloud + buildOctree, as PC_BuildCacheFromMemory runs it) with the
//      default RAM budget, all in memory, on one thread and on all;
//   2. the same with a small budget that makes the indexer spill and split on disk;
//   3. `ovcf build` on a LAS file of the same cloud, default budget on one thread and on all,
//      and small budget;
// with, for the one-thread and all-thread pairs, the time on one thread and the time divided
// among all, and what that predicts for 8 and 16 cores.
//
// usage: import_bench [POINTS] [FOLDER] [SMALL_BUDGET_MIB]   (IMPORT_BENCH_KEEP=1 keeps the files,
//        IMPORT_BENCH_LAS_ONLY=1 skips the memory-cloud runs, IMPORT_BENCH_THREADS=N compares N
//        threads with one instead of the machine's cores)
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "core/Log.h"
#include "import/MemoryCloud.h"
#include "import/OctreeIndexer.h"
#include "ovcf/OvcfReader.h"

extern char** environ;

using namespace ovcf;

#include "BenchSupport.h"

using ovcf::bench::Clock;
using ovcf::bench::secondsSince;
using ovcf::bench::resetPeakResident;
using ovcf::bench::statusMiB;

namespace {

// ---------------------------------------------------------------------------------------------
// The cloud: a 2 km x 2 km site scanned in 50 m tiles in serpentine order (points arrive with
// the locality of a real survey), each tile with terrain, some with a building, trees and noise.

struct Cloud {
    std::vector<double> xyz;
    std::vector<std::uint32_t> colours;
    std::vector<std::uint8_t> classes;
    std::vector<std::uint16_t> intensities;
    std::size_t size() const { return colours.size(); }
};

double terrainHeight(double x, double y) {
    return 180.0 + 12.0 * std::sin(x / 310.0) * std::cos(y / 270.0) + 4.0 * std::sin((x + 2 * y) / 95.0) +
           0.8 * std::sin(x / 13.0) * std::sin(y / 17.0);
}

std::uint32_t rgb(int r, int g, int b) {
    auto clamp = [](int v) { return static_cast<std::uint32_t>(std::clamp(v, 0, 255)); };
    return (clamp(r) << 16) | (clamp(g) << 8) | clamp(b);
}

Cloud generateCloud(std::size_t count) {
    constexpr int kTiles = 40;
    constexpr double kTile = 50.0;
    const double originX = 681000.0, originY = 5021000.0;
    Cloud cloud;
    cloud.xyz.reserve(3 * count);
    cloud.colours.reserve(count);
    cloud.classes.reserve(count);
    cloud.intensities.reserve(count);
    std::mt19937_64 random(20240611);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    std::normal_distribution<double> jitter(0.0, 0.02);
    auto add = [&](double x, double y, double z, std::uint32_t colour, std::uint8_t cls, double reflectance) {
        cloud.xyz.insert(cloud.xyz.end(), {originX + x, originY + y, z});
        cloud.colours.push_back(colour);
        cloud.classes.push_back(cls);
        cloud.intensities.push_back(static_cast<std::uint16_t>(std::clamp(reflectance, 0.0, 1.0) * 65535.0));
    };
    const std::size_t perTile = count / (kTiles * kTiles);
    for (int row = 0; row < kTiles && cloud.size() < count; ++row) {
        for (int column = 0; column < kTiles && cloud.size() < count; ++column) {
            const int tx = row % 2 == 0 ? column : kTiles - 1 - column;
            const double x0 = tx * kTile, y0 = row * kTile;
            const bool hasBuilding = (tx * 7 + row * 13) % 3 == 0;
            // A building: footprint 12-35 m, 5-30 m high, centred in the tile.
            const double bw = 12.0 + 23.0 * unit(random), bd = 12.0 + 23.0 * unit(random);
            const double bx = x0 + (kTile - bw) / 2, by = y0 + (kTile - bd) / 2;
            const double bh = 5.0 + 25.0 * unit(random);
            const double base = terrainHeight(bx, by);
            const std::uint32_t roof = unit(random) < 0.5 ? rgb(150, 60, 50) : rgb(110, 110, 115);
            double treeX = x0 + kTile * unit(random), treeY = y0 + kTile * unit(random), crown = 3.0;
            const std::size_t n = std::min(perTile + (row == kTiles - 1 && column == kTiles - 1 ? count % (kTiles * kTiles) : 0),
                                           count - cloud.size());
            for (std::size_t i = 0; i < n; ++i) {
                const double kind = unit(random);
                if (kind < 0.03) {  // noise: birds, multipath, low points
                    const double x = x0 + kTile * unit(random), y = y0 + kTile * unit(random);
                    const double z = terrainHeight(x, y) + (unit(random) < 0.5 ? -5.0 : 80.0) * unit(random);
                    add(x, y, z, static_cast<std::uint32_t>(random()) & 0xFFFFFF, 7, unit(random));
                } else if (kind < 0.20 && hasBuilding) {  // roof and walls
                    double x = bx + bw * unit(random), y = by + bd * unit(random), z = base + bh + jitter(random);
                    if (unit(random) < 0.25) {  // a wall point
                        if (unit(random) < 0.5) x = unit(random) < 0.5 ? bx : bx + bw;
                        else y = unit(random) < 0.5 ? by : by + bd;
                        z = base + bh * unit(random);
                    }
                    const int shade = static_cast<int>(20 * unit(random));
                    add(x, y, z, roof + rgb(shade, shade, shade), 6, 0.3 + 0.2 * unit(random));
                } else if (kind < 0.37) {  // vegetation: crowns of trees, one tree after another
                    if (unit(random) < 0.002) {
                        treeX = x0 + kTile * unit(random);
                        treeY = y0 + kTile * unit(random);
                        crown = 2.0 + 4.0 * unit(random);
                    }
                    const double a = 2 * 3.14159265358979 * unit(random), r = crown * std::sqrt(unit(random));
                    const double x = treeX + r * std::cos(a), y = treeY + r * std::sin(a);
                    const double z = terrainHeight(treeX, treeY) + crown * 1.5 + crown * (unit(random) - 0.3);
                    add(x, y, z, rgb(40 + static_cast<int>(40 * unit(random)), 90 + static_cast<int>(60 * unit(random)), 40),
                        5, 0.5 + 0.3 * unit(random));
                } else {  // bare earth and grass
                    const double x = x0 + kTile * unit(random), y = y0 + kTile * unit(random);
                    const double z = terrainHeight(x, y) + jitter(random);
                    const int g = static_cast<int>(z - 170.0) * 4;
                    add(x, y, z, rgb(120 + g / 2, 110 + g, 70), 2, 0.2 + 0.2 * unit(random));
                }
            }
        }
    }
    return cloud;
}

// ---------------------------------------------------------------------------------------------
// A LAS 1.2 writer (point format 3, 16-bit colour), for the command-line run only.

template <typename T>
void put(std::vector<char>& out, std::size_t at, T value) {
    std::memcpy(out.data() + at, &value, sizeof(T));
}

bool writeLas(const Cloud& cloud, const std::string& path) {
    constexpr std::size_t kHeader = 227, kRecord = 34;
    const double scale = 0.001;
    double low[3] = {1e300, 1e300, 1e300}, high[3] = {-1e300, -1e300, -1e300};
    for (std::size_t i = 0; i < cloud.size(); ++i)
        for (int a = 0; a < 3; ++a) {
            low[a] = std::min(low[a], cloud.xyz[3 * i + a]);
            high[a] = std::max(high[a], cloud.xyz[3 * i + a]);
        }
    double offset[3];
    for (int a = 0; a < 3; ++a) offset[a] = std::floor(low[a]);
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file) return false;
    std::vector<char> header(kHeader, 0);
    std::memcpy(header.data(), "LASF", 4);
    header[24] = 1;
    header[25] = 2;
    std::memcpy(header.data() + 26, "import_bench", 12);
    put<std::uint16_t>(header, 94, kHeader);
    put<std::uint32_t>(header, 96, kHeader);
    header[104] = 3;
    put<std::uint16_t>(header, 105, kRecord);
    put<std::uint32_t>(header, 107, static_cast<std::uint32_t>(cloud.size()));
    for (int a = 0; a < 3; ++a) {
        put<double>(header, 131 + 8 * a, scale);
        put<double>(header, 155 + 8 * a, offset[a]);
        put<double>(header, 179 + 16 * a, high[a]);
        put<double>(header, 187 + 16 * a, low[a]);
    }
    bool ok = std::fwrite(header.data(), 1, header.size(), file) == header.size();
    std::vector<char> records;
    constexpr std::size_t kChunk = 1 << 16;
    for (std::size_t start = 0; ok && start < cloud.size(); start += kChunk) {
        const std::size_t n = std::min(kChunk, cloud.size() - start);
        records.assign(n * kRecord, 0);
        for (std::size_t i = 0; i < n; ++i) {
            const std::size_t p = start + i, r = i * kRecord;
            for (int a = 0; a < 3; ++a)
                put<std::int32_t>(records, r + 4 * a,
                                  static_cast<std::int32_t>(std::llround((cloud.xyz[3 * p + a] - offset[a]) / scale)));
            put<std::uint16_t>(records, r + 12, cloud.intensities[p]);
            records[r + 14] = 0x09;  // return 1 of 1
            records[r + 15] = static_cast<char>(cloud.classes[p]);
            put<double>(records, r + 20, static_cast<double>(p) * 1e-5);  // GPS time
            const std::uint32_t c = cloud.colours[p];
            put<std::uint16_t>(records, r + 28, static_cast<std::uint16_t>(((c >> 16) & 0xFF) * 257));
            put<std::uint16_t>(records, r + 30, static_cast<std::uint16_t>(((c >> 8) & 0xFF) * 257));
            put<std::uint16_t>(records, r + 32, static_cast<std::uint16_t>((c & 0xFF) * 257));
        }
        ok = std::fwrite(records.data(), 1, records.size(), file) == records.size();
    }
    return std::fclose(file) == 0 && ok;
}

// ---------------------------------------------------------------------------------------------

struct RunResult {
    bool ok = false;
    double seconds = 0;
    double processorSeconds = 0;  // user + system, all threads (tool runs only)
    double peakMiB = 0;       // peak resident set during the run
    double baselineMiB = 0;   // resident set before it
    ImportStats stats;
    std::string error;
};

RunResult buildFromMemory(const Cloud& cloud, const std::string& output, std::uint64_t budget, const std::string& folder,
                          unsigned threads) {
    RunResult result;
    resetPeakResident();
    result.baselineMiB = statusMiB("VmRSS:");
    const Clock::time_point start = Clock::now();
    MemoryCloud source(cloud.xyz.data(), cloud.colours.data(), cloud.size(), 0.001, threads);
    ImportOptions options;
    options.pointFormat = 1;
    options.readingShare = 0.15;
    options.sourceDescription = "import_bench";
    options.temporaryParent = folder;
    if (budget > 0) options.ramBudget = budget;
    options.threads = threads;
    result.ok = source.checkRange(result.error) && buildOctree(source, output, options, result.stats, result.error);
    result.seconds = secondsSince(start);
    result.peakMiB = statusMiB("VmHWM:");
    return result;
}

// Runs the ovcf tool and measures its wall time and peak resident set.
RunResult runTool(const std::string& tool, std::vector<std::string> arguments) {
    RunResult result;
    arguments.insert(arguments.begin(), tool);
    std::vector<char*> argv;
    for (std::string& a : arguments) argv.push_back(a.data());
    argv.push_back(nullptr);
    resetPeakResident();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);  // the tool's log
    const Clock::time_point start = Clock::now();
    pid_t child = 0;
    if (posix_spawn(&child, tool.c_str(), &actions, nullptr, argv.data(), environ) != 0) {
        result.error = "cannot start " + tool;
        posix_spawn_file_actions_destroy(&actions);
        return result;
    }
    posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    rusage usage{};
    wait4(child, &status, 0, &usage);
    result.seconds = secondsSince(start);
    result.peakMiB = static_cast<double>(usage.ru_maxrss) / 1024.0;
    const auto seconds = [](const timeval& t) { return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) * 1e-6; };
    result.processorSeconds = seconds(usage.ru_utime) + seconds(usage.ru_stime);
    result.ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    if (!result.ok) result.error = "ovcf exited with status " + std::to_string(WEXITSTATUS(status));
    return result;
}

void printRun(const char* name, const RunResult& r, std::size_t points, bool inProcess) {
    if (!r.ok) {
        std::printf("%-38s FAILED: %s\n", name, r.error.c_str());
        return;
    }
    std::printf("%-38s %7.2f s  %6.2f M points/s", name, r.seconds, static_cast<double>(points) / r.seconds / 1e6);
    if (inProcess) {
        std::printf("  peak %7.0f MiB (%+6.0f MiB over the host cloud)  read %5.2f s  index %5.2f s  temp %s MiB",
                    r.peakMiB, r.peakMiB - r.baselineMiB, r.stats.readingSeconds, r.stats.indexingSeconds,
                    std::to_string(r.stats.temporaryBytes >> 20).c_str());
    } else {
        std::printf("  peak %7.0f MiB (whole process)  processor %6.2f s", r.peakMiB, r.processorSeconds);
    }
    std::printf("\n");
    std::fflush(stdout);
}

// The reading pipeline overlaps two stages rather than dividing, so the figures for many cores
// are an upper bound.
void printScaling(const RunResult& one, const RunResult& all, unsigned threads) {
    if (one.ok && all.ok) bench::printScaling("", one.seconds, all.seconds, threads);
}

bool sameOctree(const std::string& a, const std::string& b) {
    OvcfReader ra, rb;
    std::string error;
    if (!ra.open(a, error) || !rb.open(b, error) || ra.nodes().size() != rb.nodes().size()) return false;
    for (std::size_t i = 0; i < ra.nodes().size(); ++i)
        if (std::memcmp(&ra.nodes()[i], &rb.nodes()[i], sizeof(HierarchyRecord)) != 0) return false;
    return ra.header().buildSignature == rb.header().buildSignature;
}

}  // namespace

int main(int argc, char** argv) {
    const std::size_t points = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 20000000;
    const std::string folder = argc > 2 ? argv[2] : std::filesystem::temp_directory_path().string();
    const std::uint64_t smallBudget = (argc > 3 ? std::strtoull(argv[3], nullptr, 10) : 128) << 20;
    const std::string tool = (std::filesystem::read_symlink("/proc/self/exe").parent_path() / "ovcf").string();
    setStandardErrorEcho(false);  // the indexer's log lines would drown the figures

    Clock::time_point start = Clock::now();
    Cloud cloud = generateCloud(points);
    std::printf("cloud: %zu points generated in %.1f s, %.0f MiB of host arrays\n", cloud.size(), secondsSince(start),
                (cloud.xyz.size() * 8.0 + cloud.colours.size() * 4.0) / 1048576.0);

    const std::string memoryFile = folder + "/import_bench_memory.ovcf";
    const std::string spilledFile = folder + "/import_bench_spilled.ovcf";
    // IMPORT_BENCH_LAS_ONLY=1 measures only `ovcf build` of the LAS file (100 M and 300 M points).
    const bool lasOnly = std::getenv("IMPORT_BENCH_LAS_ONLY") != nullptr;
    // IMPORT_BENCH_THREADS sets the thread count compared with one thread (default: the cores).
    const char* threadsText = std::getenv("IMPORT_BENCH_THREADS");
    const unsigned cores = threadsText ? static_cast<unsigned>(std::strtoul(threadsText, nullptr, 10))
                                       : std::max(1u, std::thread::hardware_concurrency());
    const std::string coresName = std::to_string(cores) + (cores == 1 ? " thread" : " threads");
    const RunResult oneThread = lasOnly ? RunResult{} : buildFromMemory(cloud, memoryFile, 0, folder, 1);
    if (!lasOnly) printRun("memory cloud, default budget, 1 thread", oneThread, points, true);
    const RunResult inMemory = lasOnly ? RunResult{} : buildFromMemory(cloud, memoryFile, 0, folder, cores);
    if (!lasOnly) {
        printRun(("memory cloud, default budget, " + coresName).c_str(), inMemory, points, true);
        printScaling(oneThread, inMemory, cores);
    }
    const RunResult spilled = lasOnly ? RunResult{} : buildFromMemory(cloud, spilledFile, smallBudget, folder, cores);
    if (!lasOnly) {
        std::printf("%-38s budget %llu MiB\n", "", static_cast<unsigned long long>(smallBudget >> 20));
        printRun("memory cloud, small budget (spilling)", spilled, points, true);
    }
    if (inMemory.ok && spilled.ok) {
        // A small budget may lower the sampling grid, and then the octree differs by design.
        FileHeader a, b;
        std::string error;
        const bool sameGrid = OvcfReader::probeHeader(memoryFile, a, error) == ProbeValid &&
                              OvcfReader::probeHeader(spilledFile, b, error) == ProbeValid && a.gridSize == b.gridSize;
        std::printf("spilled / in memory: %.2f x the time; same octree: %s\n", spilled.seconds / inMemory.seconds,
                    !sameGrid ? "not comparable (the small budget lowered the grid)"
                              : sameOctree(memoryFile, spilledFile) ? "yes" : "NO");
        std::printf("file: %s MiB, LZ4 %.1f%% of raw, %llu nodes, levels 0 to %u\n",
                    std::to_string(inMemory.stats.fileSize >> 20).c_str(),
                    100.0 * static_cast<double>(inMemory.stats.storedBytes) / static_cast<double>(inMemory.stats.rawBytes),
                    static_cast<unsigned long long>(inMemory.stats.nodeCount), inMemory.stats.deepestLevel);
    }

    const std::string las = folder + "/import_bench.las";
    start = Clock::now();
    if (!writeLas(cloud, las)) {
        std::printf("cannot write %s\n", las.c_str());
        return 1;
    }
    std::printf("LAS file written in %.1f s (%s MiB)\n", secondsSince(start),
                std::to_string(std::filesystem::file_size(las) >> 20).c_str());
    // A spawned child's peak resident set starts from the peak of the parent's memory at the spawn
    // (the child runs in it until exec): free the cloud and reset that peak first.
    cloud = Cloud{};
    resetPeakResident();
    const std::string lasCache = folder + "/import_bench_las.ovcf";
    const RunResult toolOne = runTool(tool, {"build", las, "-o", lasCache, "--temp-dir", folder, "--threads", "1"});
    printRun("ovcf build, default budget, 1 thread", toolOne, points, false);
    std::filesystem::remove(lasCache);  // replacing a file costs its deletion
    const RunResult toolDefault =
        runTool(tool, {"build", las, "-o", lasCache, "--temp-dir", folder, "--threads", std::to_string(cores)});
    printRun(("ovcf build, default budget, " + coresName).c_str(), toolDefault, points, false);
    printScaling(toolOne, toolDefault, cores);
    const RunResult toolSmall = runTool(tool, {"build", las, "-o", folder + "/import_bench_las_small.ovcf", "--temp-dir",
                                               folder, "--ram-mb", std::to_string(smallBudget >> 20), "--threads",
                                               std::to_string(cores)});
    printRun("ovcf build, small budget (spilling)", toolSmall, points, false);
    if (toolDefault.ok && toolSmall.ok)
        std::printf("spilled / in memory: %.2f x the time\n", toolSmall.seconds / toolDefault.seconds);

    if (std::getenv("IMPORT_BENCH_KEEP")) return 0;  // leave the files for profiling the tool
    for (const std::string& file : {memoryFile, spilledFile, las, folder + "/import_bench_las.ovcf",
                                    folder + "/import_bench_las_small.ovcf"})
        std::filesystem::remove(file);
    return (lasOnly || (inMemory.ok && spilled.ok)) && toolDefault.ok && toolSmall.ok ? 0 : 1;
}
