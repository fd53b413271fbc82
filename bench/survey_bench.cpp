// A whole survey on one workstation: tiles in, one cache built, viewed, edited and exported.
//   1. makes the survey as LAZ tiles of 20 million points each (our own LAZ writer), 500 m x 500 m
//      side by side: rolling terrain, buildings, trees and noise;
//   2. `ovcf build FOLDER` of the tiles, as its own process, with the default RAM budget;
//   3. a view in a real window (an X server is needed): the cache opened to its first complete frame;
//   4. a rectangle selection over a tenth of the view, from the top, at full resolution;
//   5. delete, 6. confirm into the file;
//   7. `ovcf export` of the surviving points to LAZ, and 8. `ovcf check` of the cache, as processes.
// For each stage: seconds, million points per second, processor seconds, the peak resident memory
// (of the tool's process for 2, 7 and 8) and, for the build, the most scratch disk in use at once.
// The last lines give each stage's cost per point, to hold a billion-point run against a 100 M one.
//
// usage: survey_bench [POINTS] [FOLDER] [--tile-points N] [--keep] [--reuse-tiles]
//   POINTS 100 million by default (run again with 1000000000); FOLDER the system's temporary
//   folder; the tiles, the cache and the export are removed at the end unless --keep; with
//   --reuse-tiles, the tiles a run kept are built again without being made anew.
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "BenchSupport.h"
#include "OrvanePC.h"
#include "ParentWindow.h"
#include "SurveyTerrain.h"
#include "ViewInput.h"
#include "core/Log.h"
#include "import/PointFileWriter.h"

extern char** environ;

using namespace ovcf;
namespace fs = std::filesystem;
using bench::Clock;
using bench::secondsSince;

namespace {

constexpr int kWidth = 1280, kHeight = 720;
constexpr double kStep = 0.001;
constexpr double kTileSide = 500.0;  // metres: 10 x 10 cells of the terrain
constexpr double kSiteX = 681000.0, kSiteY = 5021000.0;

struct Costs {
    std::vector<std::pair<std::string, double>> rows;  // stage, seconds
    void add(const std::string& stage, double seconds) { rows.emplace_back(stage, seconds); }
};

// The disk the folder's files take: their allocated blocks, so that the holes the indexer punches
// in a bucket file it has read do not count.
std::uint64_t folderBytes(const fs::path& folder) {
    std::uint64_t total = 0;
    std::error_code ec;
    for (fs::recursive_directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
        struct stat info{};
        if (::stat(it->path().c_str(), &info) == 0 && S_ISREG(info.st_mode)) total += std::uint64_t(info.st_blocks) * 512;
    }
    return total;
}

double mib(std::uint64_t bytes) { return double(bytes) / 1048576.0; }

// One tile: 100 cells in serpentine order, its points quantised against the tile's own corner
// (a whole number of metres, so every tile's integers lie on one survey-wide grid).
bool writeTile(const std::string& path, int tileX, int tileY, std::uint64_t points, std::string& error) {
    const double cornerX = kSiteX + tileX * kTileSide, cornerY = kSiteY + tileY * kTileSide;
    FileHeader header;
    header.pointFormat = 2;
    for (int a = 0; a < 3; ++a) header.step[a] = kStep;
    header.offset[0] = cornerX;
    header.offset[1] = cornerY;
    header.offset[2] = 0.0;
    header.boundsMin[0] = cornerX;
    header.boundsMin[1] = cornerY;
    header.boundsMax[0] = cornerX + kTileSide;
    header.boundsMax[1] = cornerY + kTileSide;
    header.boundsMax[2] = 400.0;
    auto writer = pointFileWriterFor(path, error);
    if (!writer || !writer->begin(path, header, points, error)) return false;
    std::vector<PointRecord> batch;
    batch.reserve(1 << 20);
    auto flush = [&] {
        const bool ok = writer->write(batch.data(), batch.size(), error);
        batch.clear();
        return ok;
    };
    bench::FastRandom random{0x5EED0000ull + static_cast<std::uint64_t>(tileY * 1000 + tileX)};
    constexpr int kCells = static_cast<int>(kTileSide / bench::kSurveyCell);
    const std::uint64_t perCell = points / (kCells * kCells);
    std::uint64_t made = 0;
    bool ok = true;
    for (int row = 0; row < kCells && ok; ++row)
        for (int column = 0; column < kCells && ok; ++column) {
            const int cx = row % 2 == 0 ? column : kCells - 1 - column;
            const std::uint64_t count = row == kCells - 1 && column == kCells - 1 ? points - made : perCell;
            const double x0 = tileX * kTileSide + cx * bench::kSurveyCell, y0 = tileY * kTileSide + row * bench::kSurveyCell;
            bench::generateSurveyCell(x0, y0, count, random,
                                      [&](double x, double y, double z, std::uint32_t colour, std::uint8_t pointClass) {
                                          PointRecord p;
                                          p.x = static_cast<std::uint32_t>(std::llround((x - tileX * kTileSide) / kStep));
                                          p.y = static_cast<std::uint32_t>(std::llround((y - tileY * kTileSide) / kStep));
                                          p.z = static_cast<std::uint32_t>(std::llround(z / kStep));
                                          p.red = static_cast<std::uint8_t>(colour >> 16);
                                          p.green = static_cast<std::uint8_t>(colour >> 8);
                                          p.blue = static_cast<std::uint8_t>(colour);
                                          p.classification = pointClass;
                                          p.intensity = static_cast<std::uint16_t>(pointClass * 900 + (colour & 0x1FF));
                                          batch.push_back(p);
                                          if (batch.size() == batch.capacity()) ok = ok && flush();
                                      });
            made += count;
        }
    return ok && flush() && writer->finish(error);
}

// The child's peak resident memory so far ("VmHWM:" of /proc/PID/status). Its rusage would not
// do: a child made by vfork and exec starts its peak from this process's resident memory.
double childPeakMiB(pid_t child) {
    std::ifstream in("/proc/" + std::to_string(child) + "/status");
    for (std::string line; std::getline(in, line);)
        if (line.rfind("VmHWM:", 0) == 0) return std::atof(line.c_str() + 6) / 1024.0;
    return 0;
}

struct ToolRun {
    bool ok = false;
    double seconds = 0, processor = 0, peakMiB = 0;
    std::uint64_t mostScratch = 0;
};

// Runs the ovcf tool beside this program with `arguments`, its messages to `log`, sampling the
// size of `scratch` (when not empty) while it runs.
ToolRun runTool(const std::vector<std::string>& arguments, const std::string& log, const std::string& scratch) {
    ToolRun run;
    const std::string tool = (fs::read_symlink("/proc/self/exe").parent_path() / "ovcf").string();
    std::vector<char*> argv{const_cast<char*>(tool.c_str())};
    for (const std::string& a : arguments) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 2, log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    pid_t child = 0;
    const auto start = Clock::now();
    const int spawned = posix_spawn(&child, tool.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) {
        std::printf("cannot start %s: %s\n", tool.c_str(), std::strerror(spawned));
        return run;
    }
    int status = 0;
    rusage usage{};
    for (;;) {
        const pid_t done = wait4(child, &status, WNOHANG, &usage);
        if (done == child) break;
        if (done < 0) return run;
        if (!scratch.empty()) run.mostScratch = std::max(run.mostScratch, folderBytes(scratch));
        run.peakMiB = std::max(run.peakMiB, childPeakMiB(child));
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    run.seconds = secondsSince(start);
    run.processor = bench::processorSeconds(usage);
    run.ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    return run;
}

// The tool's log lines that start with one of `starts`, echoed under its figures.
void echoLog(const std::string& log, std::initializer_list<const char*> starts) {
    std::ifstream in(log);
    for (std::string line; std::getline(in, line);) {
        const std::size_t text = line.find("INFO  ");
        const std::string message = text == std::string::npos ? line : line.substr(text + 6);
        for (const char* start : starts)
            if (message.rfind(start, 0) == 0) std::printf("      %s\n", message.c_str());
    }
}

void reportTool(const char* name, const ToolRun& run, std::uint64_t points, Costs& costs, const std::string& log) {
    if (!run.ok) {
        std::printf("%s failed; its messages:\n", name);
        echoLog(log, {""});
        return;
    }
    std::printf("%-31s %7.2f s %8.2f M points/s  cpu %6.2f s  peak %6.0f MiB (its process)  %s\n", name, run.seconds,
                double(points) / run.seconds / 1e6, run.processor, run.peakMiB, bench::loadText().c_str());
    std::fflush(stdout);
    costs.add(name, run.seconds);
}

std::string lastError() {
    char text[512];
    PC_LastError(text, sizeof text);
    return text;
}

// Opens the cache in a view, selects a tenth of it, deletes and confirms; false when a stage failed.
bool editInView(const std::string& cache, std::uint64_t count, Costs& costs) {
    auto parent = harness::ParentWindow::create(kWidth, kHeight);
    if (!parent) {
        std::printf("no display: the view stages need an X server (source scripts/xvfb.sh; start_private_xvfb)\n");
        return false;
    }
    PcView view = PC_CreateView(reinterpret_cast<PcParentWindow>(parent->handle()));
    if (!view) {
        std::printf("no view: %s\n", lastError().c_str());
        return false;
    }
    const std::uintptr_t child = parent->firstChild();
    bool ok;
    {
        bench::StageFigures stage("open to first complete frame");
        ok = PC_OpenFile(view, cache.c_str()) == PC_OK;
        int frames = 1;
        while (ok && PC_Render(view) == 1 && frames < 100000) ++frames;
        char note[64];
        std::snprintf(note, sizeof note, "  (%d frames)", frames);
        if (ok) {
            stage.report(count, note);
            costs.add(stage.name, secondsSince(stage.start));
        } else {
            std::printf("open failed: %s\n", lastError().c_str());
        }
    }
    std::uint64_t selected = 0;
    if (ok) {
        // Zoom-all turns to the three-quarter view; the top view then keeps its distance.
        PC_ZoomAll(view);
        PC_SetStandardView(view, 0);
        while (PC_Render(view) == 1) {
        }
        PC_SetSelectionTool(view, 1);
        // A tenth of the window's area, in its middle.
        const int w = static_cast<int>(kWidth * std::sqrt(0.1)), h = static_cast<int>(kHeight * std::sqrt(0.1));
        const int left = (kWidth - w) / 2, top = (kHeight - h) / 2;
        bench::StageFigures stage("select a tenth of the view");
        harness::dragInView(*parent, child, view, 0, left, top + h, left + w, top);
        selected = PC_SelectedCount(view);
        char note[80];
        std::snprintf(note, sizeof note, "  (%llu points selected, %.1f %%)", static_cast<unsigned long long>(selected),
                      100.0 * double(selected) / double(count));
        stage.report(count, note);
        costs.add(stage.name, secondsSince(stage.start));
        ok = selected > 0;
    }
    if (ok) {
        bench::StageFigures stage("delete the selection");
        PC_DeleteSelected(view);
        stage.report(selected);
        costs.add(stage.name, secondsSince(stage.start));
    }
    if (ok) {
        bench::StageFigures stage("confirm into the file");
        ok = PC_ConfirmChanges(view) == PC_OK;
        if (ok) {
            stage.report(selected);
            costs.add(stage.name, secondsSince(stage.start));
        } else {
            std::printf("confirm failed: %s\n", lastError().c_str());
        }
    }
    PC_DestroyView(view);
    return ok;
}

}  // namespace

int main(int argc, char** argv) {
    std::uint64_t count = 100000000, tilePoints = 20000000;
    std::string folderArgument;
    bool keep = false, reuseTiles = false, countGiven = false;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--keep") keep = true;
        else if (a == "--reuse-tiles") reuseTiles = true;
        else if (a == "--tile-points" && i + 1 < argc) tilePoints = std::strtoull(argv[++i], nullptr, 10);
        else if (!countGiven && std::isdigit(static_cast<unsigned char>(a[0]))) count = std::strtoull(a.c_str(), nullptr, 10), countGiven = true;
        else folderArgument = a;
    }
    if (count == 0 || tilePoints < 100) {
        std::fputs("usage: survey_bench [POINTS] [FOLDER] [--tile-points N] [--keep] [--reuse-tiles]\n", stderr);
        return 2;
    }
    const fs::path folder = fs::path(folderArgument.empty() ? fs::temp_directory_path().string() : folderArgument) /
                            ("survey_bench_" + std::to_string(count));
    const fs::path tiles = folder / "tiles", scratch = folder / "scratch";
    const std::string cache = (folder / "survey.ovcf").string(), exported = (folder / "survivors.laz").string();
    const std::uint64_t tileCount = (count + tilePoints - 1) / tilePoints;
    std::error_code listError;
    const bool tilesThere = reuseTiles && fs::is_directory(tiles) &&
                            std::uint64_t(std::distance(fs::directory_iterator(tiles, listError), fs::directory_iterator())) == tileCount;
    for (const fs::path& old : {scratch, fs::path(cache), fs::path(exported)}) fs::remove_all(old);
    if (!tilesThere) fs::remove_all(folder);
    fs::create_directories(tiles);
    fs::create_directories(scratch);
    setStandardErrorEcho(false);
    Costs costs;

    const int columns = static_cast<int>(std::ceil(std::sqrt(double(tileCount))));
    if (tilesThere) {
        std::printf("the LAZ tiles of the last run: %llu tiles, %.0f MiB\n", static_cast<unsigned long long>(tileCount),
                    mib(folderBytes(tiles)));
    } else {
        bench::StageFigures stage("make the LAZ tiles");
        std::string error;
        std::uint64_t made = 0;
        for (std::uint64_t t = 0; t < tileCount; ++t) {
            const std::uint64_t points = std::min(tilePoints, count - made);
            char name[32];
            std::snprintf(name, sizeof name, "tile_%04llu.laz", static_cast<unsigned long long>(t));
            if (!writeTile((tiles / name).string(), static_cast<int>(t % columns), static_cast<int>(t / columns), points,
                           error)) {
                std::printf("writing tile %s failed: %s\n", name, error.c_str());
                return 1;
            }
            made += points;
        }
        char note[96];
        std::snprintf(note, sizeof note, "  (%llu tiles, %.0f MiB)", static_cast<unsigned long long>(tileCount),
                      mib(folderBytes(tiles)));
        stage.report(count, note);
    }

    const std::string buildLog = (folder / "build.log").string();
    const ToolRun build = runTool({"build", tiles.string(), "-o", cache, "--temp-dir", scratch.string()}, buildLog,
                                  scratch.string());
    reportTool("ovcf build of the tiles", build, count, costs, buildLog);
    if (!build.ok) return 1;
    std::printf("      cache %.0f MiB; most scratch disk in use %.0f MiB\n", mib(fs::file_size(cache)), mib(build.mostScratch));
    echoLog(buildLog, {"budget RAM", "tempo lettura", "tempo indicizzazione", "temporanei su disco", "nodi    "});

    if (!editInView(cache, count, costs)) return 1;

    const std::string exportLog = (folder / "export.log").string();
    const ToolRun exportRun = runTool({"export", cache, "-o", exported}, exportLog, "");
    reportTool("ovcf export of the survivors", exportRun, count, costs, exportLog);
    if (!exportRun.ok) return 1;
    std::printf("      %s %.0f MiB\n", fs::path(exported).filename().c_str(), mib(fs::file_size(exported)));

    const std::string checkLog = (folder / "check.log").string();
    const ToolRun check = runTool({"check", cache}, checkLog, "");
    reportTool("ovcf check of the cache", check, count, costs, checkLog);
    if (!check.ok) return 1;

    std::printf("cost per point, %llu points (hold against a run with another count):\n",
                static_cast<unsigned long long>(count));
    for (const auto& [stage, seconds] : costs.rows)
        std::printf("      %-31s %8.1f ns per point\n", stage.c_str(), seconds * 1e9 / double(count));
    std::printf("peak resident memory of this process: %.0f MiB\n", bench::runPeakMiB());
    if (!keep) fs::remove_all(folder);
    return 0;
}
