// The host's whole path on a large cloud (100 million points by default; run it again with
// 300000000), through the exported interface as the host drives it:
//   1. PC_BuildCacheFromMemory from the host's arrays, with the default RAM budget;
//   2. a view in a real window (an X server is needed): PC_OpenFile to the first complete frame;
//   3. a rectangle selection over the whole view, drawn with the mouse, from the top;
//   4. PC_DeleteSelected, 5. PC_ConfirmChanges, 6. PC_ReadAllPoints back into the host's arrays.
// For each stage: seconds, million points per second, the peak resident memory and how far it
// rose above the resident memory at the stage's start (the host's arrays are part of that), and
// the processor seconds of all the process's threads. The load average goes with the figures:
// the machine may be shared.
//
// usage: scale_bench [POINTS] [FOLDER]   (the cache and the import's scratch files go to FOLDER)
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>

#include "BenchSupport.h"
#include "SurveyTerrain.h"
#include "OrvanePC.h"
#include "ParentWindow.h"
#include "ViewInput.h"
#include "core/Log.h"

using namespace ovcf;
using ovcf::bench::Clock;
using ovcf::bench::processorSeconds;
using ovcf::bench::resetPeakResident;
using ovcf::bench::secondsSince;
using ovcf::bench::statusMiB;
using Stage = ovcf::bench::StageFigures;

namespace {

constexpr int kWidth = 1280, kHeight = 720;
constexpr double kStep = 0.001;

// The host's cloud, as a host holds it: count x 3 doubles and count packed colours, allocated
// once at their final size (no growth, no copy) and filled in place. A 2 km x 2 km site at the
// 1 mm step, scanned in 50 m tiles in serpentine order: terrain (bilinear over each tile's
// corners), a building in a third of the tiles, tree crowns, 3 % noise above and below.
struct HostCloud {
    std::unique_ptr<double[]> xyz;
    std::unique_ptr<std::uint32_t[]> colours;
    std::uint64_t count = 0;

    explicit HostCloud(std::uint64_t n) : xyz(new double[3 * n]), colours(new std::uint32_t[n]), count(n) {
        constexpr int kTiles = 40;
        constexpr double kOriginX = 681000.0, kOriginY = 5021000.0;
        bench::FastRandom random{20261123};
        std::uint64_t at = 0;
        const std::uint64_t perTile = n / (kTiles * kTiles);
        for (int row = 0; row < kTiles; ++row)
            for (int column = 0; column < kTiles; ++column) {
                const int tx = row % 2 == 0 ? column : kTiles - 1 - column;
                const std::uint64_t end = row == kTiles - 1 && column == kTiles - 1 ? n : at + perTile;
                bench::generateSurveyCell(tx * bench::kSurveyCell, row * bench::kSurveyCell, end - at, random,
                                          [&](double x, double y, double z, std::uint32_t colour, std::uint8_t) {
                                              double* p = xyz.get() + 3 * at++;
                                              p[0] = kOriginX + x;
                                              p[1] = kOriginY + y;
                                              p[2] = z;
                                              colours[at - 1] = colour;
                                          });
            }
    }
};

std::string lastError() {
    char text[512];
    PC_LastError(text, sizeof text);
    return text;
}

// The import's summary lines that split its time, echoed under the build's figures.
void onLog(int, const char* message, void*) {
    for (const char* start : {"tempo lettura", "tempo indicizzazione", "temporanei su disco", "budget RAM", "nodi    "})
        if (std::strncmp(message, start, std::strlen(start)) == 0) std::printf("      %s\n", message);
}

}  // namespace

int main(int argc, char** argv) {
    const std::uint64_t count = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 100000000;
    const std::string folder = argc > 2 ? argv[2] : std::filesystem::temp_directory_path().string();
    const std::string cache = folder + "/scale_bench_" + std::to_string(count) + "_cache.ovcf";
    setStandardErrorEcho(false);  // the module's log lines would drown the figures
    PC_SetLogCallback(&onLog, nullptr);

    Clock::time_point start = Clock::now();
    HostCloud cloud(count);
    std::printf("host cloud: %llu points generated in %.1f s, %.0f MiB of arrays (resident %.0f MiB), %s\n",
                static_cast<unsigned long long>(count), secondsSince(start), double(count) * 28.0 / 1048576.0,
                statusMiB("VmRSS:"), bench::loadText().c_str());

    {
        Stage stage("build from memory");
        const int status = PC_BuildCacheFromMemory(cache.c_str(), cloud.xyz.get(), cloud.colours.get(),
                                                   static_cast<std::int64_t>(count), kStep, nullptr, nullptr);
        if (status != PC_OK) {
            std::printf("build failed (%d): %s\n", status, lastError().c_str());
            return 1;
        }
        stage.report(count);
    }
    std::printf("      cache %.0f MiB\n", double(std::filesystem::file_size(cache)) / 1048576.0);

    auto parent = harness::ParentWindow::create(kWidth, kHeight);
    if (!parent) {
        std::printf("no display: the view stages need an X server (source scripts/xvfb.sh; start_private_xvfb)\n");
        std::filesystem::remove(cache);
        return 1;
    }
    PcView view = PC_CreateView(reinterpret_cast<PcParentWindow>(parent->handle()));
    if (!view) {
        std::printf("no view: %s\n", lastError().c_str());
        std::filesystem::remove(cache);
        return 1;
    }
    const std::uintptr_t child = parent->firstChild();
    bool ok = true;
    {
        Stage stage("open to first complete frame");
        ok = PC_OpenFile(view, cache.c_str()) == PC_OK;
        int frames = 1;
        while (ok && PC_Render(view) == 1 && frames < 100000) ++frames;
        char note[64];
        std::snprintf(note, sizeof note, "  (%d frames)", frames);
        if (ok) stage.report(count, note);
        else std::printf("open failed: %s\n", lastError().c_str());
    }
    if (ok) {
        // Zoom-all turns to the three-quarter view; the top view then keeps its distance.
        PC_ZoomAll(view);
        PC_SetStandardView(view, 0);
        while (PC_Render(view) == 1) {
        }
        PC_SetSelectionTool(view, 1);
        Stage stage("select, rectangle over the view");
        // From the bottom-left corner: the navigation cube sits top right.
        harness::dragInView(*parent, child, view, 0, 1, kHeight - 2, kWidth - 2, 1);
        const std::uint64_t selected = PC_SelectedCount(view);
        stage.report(count);
        if (selected != count)
            std::printf("      %llu of %llu points selected\n", static_cast<unsigned long long>(selected),
                        static_cast<unsigned long long>(count));
    }
    if (ok) {
        Stage stage("delete the selection");
        const std::uint64_t deleted = PC_DeleteSelected(view);
        stage.report(deleted);
    }
    if (ok) {
        Stage stage("confirm into the file");
        ok = PC_ConfirmChanges(view) == PC_OK;
        if (ok) stage.report(count);
        else std::printf("confirm failed: %s\n", lastError().c_str());
    }
    if (ok) {
        // Into the host's own arrays, as a host replacing its cloud would; the flags are new.
        std::unique_ptr<std::uint8_t[]> flags(new std::uint8_t[count]);
        Stage stage("read all points back");
        const std::int64_t back = PC_ReadAllPoints(view, cloud.xyz.get(), cloud.colours.get(), flags.get(),
                                                   static_cast<std::int64_t>(count), 0, 0);
        ok = back == static_cast<std::int64_t>(count);
        if (ok) stage.report(count);
        else std::printf("read back failed (%lld): %s\n", static_cast<long long>(back), lastError().c_str());
    }
    PC_DestroyView(view);
    PC_SetLogCallback(nullptr, nullptr);
    std::printf("peak resident memory of the whole run: %.0f MiB\n", bench::runPeakMiB());
    std::filesystem::remove(cache);
    return ok ? 0 : 1;
}
