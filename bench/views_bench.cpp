// Frames per second of views drawing side by side in one process, as a host with several views
// has them: 1 view, 4 views each on a UI thread of its own, and 4 views on one UI thread. Every
// view has its own parent window, shows the same cloud through the exported interface and, once
// its picture is complete, draws as fast as PC_Render lets it for the given seconds. An X server
// is needed (source scripts/xvfb.sh; start_private_xvfb).
//
// usage: views_bench [SECONDS] [POINTS] [WIDTHxHEIGHT]   (defaults: 10 s, 1000000 points, 640x480)
#include <barrier>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "BenchSupport.h"
#include "OrvanePC.h"
#include "ParentWindow.h"
#include "core/Log.h"

using namespace ovcf;
using ovcf::bench::Clock;
using ovcf::bench::processorSeconds;
using ovcf::bench::secondsSince;

namespace {

int gWidth = 640, gHeight = 480;

// Rolling ground with coloured stripes, as dense as a small survey.
bool buildCloud(const std::string& path, std::uint64_t count) {
    const auto side = static_cast<std::uint64_t>(std::sqrt(double(count)));
    std::vector<double> xyz;
    std::vector<std::uint32_t> rgb;
    xyz.reserve(3 * side * side);
    rgb.reserve(side * side);
    for (std::uint64_t i = 0; i < side; ++i)
        for (std::uint64_t j = 0; j < side; ++j) {
            const double x = double(i) * 0.05, y = double(j) * 0.05;
            xyz.insert(xyz.end(), {681000.0 + x, 5021000.0 + y, 100.0 + 2.0 * std::sin(x / 7.0) * std::cos(y / 5.0)});
            rgb.push_back(static_cast<std::uint32_t>((i * 3) % 256) << 16 |
                          static_cast<std::uint32_t>((j * 5) % 256) << 8 | 90u);
        }
    return PC_BuildCacheFromMemory(path.c_str(), xyz.data(), rgb.data(), static_cast<std::int64_t>(rgb.size()), 0.001,
                                   nullptr, nullptr) == PC_OK;
}

// One view in a window of its own, drawn to completion.
struct DrawnView {
    std::unique_ptr<harness::ParentWindow> parent;
    PcView view = nullptr;

    bool open(const std::string& cache) {
        parent = harness::ParentWindow::create(gWidth, gHeight);
        if (!parent) return false;
        view = PC_CreateView(reinterpret_cast<PcParentWindow>(parent->handle()));
        if (!view || PC_OpenFile(view, cache.c_str()) != PC_OK) return false;
        for (int frame = 0; frame < 10000 && PC_Render(view) == 1; ++frame) {
        }
        return true;
    }
    ~DrawnView() {
        if (view) PC_DestroyView(view);
    }
};

// Draws every view in turn until `seconds` have passed; the frames drawn per view.
long drawFor(std::vector<DrawnView>& views, double seconds) {
    long rounds = 0;
    const Clock::time_point start = Clock::now();
    while (secondsSince(start) < seconds) {
        for (DrawnView& v : views) PC_Render(v.view);
        ++rounds;
    }
    return rounds;
}

void report(const char* label, int views, long frames, double seconds, double processor) {
    std::printf("%-30s %2d view%s %8.1f frames/s in all  %7.1f per view  cpu %5.1f s\n", label, views,
                views == 1 ? " " : "s", double(frames) / seconds, double(frames) / seconds / views, processor);
    std::fflush(stdout);
}

// `threads` UI threads with `perThread` views each, all drawing at once.
bool run(const char* label, const std::string& cache, int threads, int perThread, double seconds) {
    std::barrier ready(threads + 1);
    std::barrier finished(threads + 1);
    std::vector<long> frames(static_cast<std::size_t>(threads), -1);
    std::vector<std::thread> workers;
    for (int t = 0; t < threads; ++t)
        workers.emplace_back([&, t] {
            std::vector<DrawnView> views(static_cast<std::size_t>(perThread));
            bool ok = true;
            for (DrawnView& v : views) ok = ok && v.open(cache);
            ready.arrive_and_wait();
            if (ok) frames[static_cast<std::size_t>(t)] = drawFor(views, seconds) * perThread;
            finished.arrive_and_wait();  // every view stays until all are done drawing
        });
    ready.arrive_and_wait();
    const double processorAtStart = processorSeconds();
    const Clock::time_point start = Clock::now();
    finished.arrive_and_wait();
    const double elapsed = secondsSince(start);
    const double processor = processorSeconds() - processorAtStart;
    for (std::thread& w : workers) w.join();
    long total = 0;
    for (long f : frames) {
        if (f < 0) {
            char text[256];
            PC_LastError(text, sizeof text);
            std::printf("%s: a view could not be opened: %s\n", label, text);
            return false;
        }
        total += f;
    }
    report(label, threads * perThread, total, elapsed, processor);
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    const double seconds = argc > 1 ? std::atof(argv[1]) : 10.0;
    const std::uint64_t points = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 1000000;
    if (argc > 3 && std::sscanf(argv[3], "%dx%d", &gWidth, &gHeight) != 2) {
        std::printf("the size is WIDTHxHEIGHT, e.g. 640x480\n");
        return 2;
    }
    setStandardErrorEcho(false);
    if (!harness::ParentWindow::create(1, 1)) {
        std::printf("no display: the views need an X server (source scripts/xvfb.sh; start_private_xvfb)\n");
        return 1;
    }
    const std::string cache = (std::filesystem::temp_directory_path() / "views_bench_cache.ovcf").string();
    if (!buildCloud(cache, points)) {
        std::printf("the cloud could not be built\n");
        return 1;
    }
    std::printf("%llu points, %d x %d pixels per view, %.0f s per run\n", static_cast<unsigned long long>(points),
                gWidth, gHeight, seconds);
    const bool ok = run("one view", cache, 1, 1, seconds) && run("four UI threads", cache, 4, 1, seconds) &&
                    run("one UI thread", cache, 1, 4, seconds);
    std::filesystem::remove(cache);
    return ok ? 0 : 1;
}
