// Streams a generated 20-million-point cloud (a 1 km x 1 km survey: terrain, trees, noise,
// indexed by buildOctree) and prints:
//   1. loader throughput: nodes and million points per second read and decoded into vertices by
//      1 and 3 loader threads, with the file's pages dropped from the cache first ("cold") and
//      again with the file cached ("warm");
//   2. the time from opening the cloud to the first complete frame: open, then update + glFinish
//      per frame with the camera fitted to the cloud, until no more frames are wanted; with a GL
//      4.5 context on $DISPLAY, CPU-only (buffers not made) when there is none;
//   3. the CPU time of one frame's level-of-detail traversal (LevelOfDetail::select) and of a whole
//      streaming update once everything is resident, while the camera orbits;
// and the peak resident memory.
//
// usage: streaming_bench [POINTS] [FOLDER]   (STREAMING_BENCH_KEEP=1 keeps the file and reuses it)
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <glad/gl.h>

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

#include "ParentWindow.h"
#include "cloud/CloudStreaming.h"
#include "core/Log.h"
#include "import/OctreeIndexer.h"
#include "import/PointSource.h"
#include "navigation/CameraLod.h"
#include "ovcf/OvcfReader.h"
#include "platform/ViewWindow.h"
#include "view/GlNodeBufferStore.h"

using namespace ovcf;

#include "BenchSupport.h"

using ovcf::bench::Clock;
using ovcf::bench::secondsSince;
using ovcf::bench::statusMiB;

namespace {

// Drops the file's cached pages, so that the next reads go to the disk.
void dropFromCache(const std::string& path) {
    const int fd = ::open(path.c_str(), O_RDONLY);
    if (fd < 0) return;
    ::fdatasync(fd);
    ::posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
    ::close(fd);
}

// A 1 km x 1 km site in 25 m tiles, scanned tile by tile: rolling terrain with 1 cm noise, tree
// crowns on a fifth of the points, 1 % noise above and below.
class SurveySource final : public PointSource {
public:
    explicit SurveySource(std::uint64_t count) : count_(count) {}

    std::uint64_t pointCount() const override { return count_; }
    std::array<double, 3> step() const override { return {kStep, kStep, kStep}; }
    std::array<double, 3> offset() const override { return {681000.0, 5021000.0, 100.0}; }
    bool hasColour() const override { return true; }
    std::uint32_t fullPointFormat() const override { return 2; }
    Bounds3 bounds() const override {
        Bounds3 b;
        b.min = {681000.0, 5021000.0, 100.0};
        b.max = {682000.0, 5022000.0, 300.0};
        return b;
    }
    std::string description() const override { return "streaming bench survey"; }

    bool read(PointRecord* points, std::size_t capacity, std::size_t& count, std::string&) override {
        count = std::min<std::uint64_t>(capacity, count_ - cursor_);
        const std::uint64_t perTile = std::max<std::uint64_t>(1, count_ / (kTiles * kTiles));
        for (std::size_t i = 0; i < count; ++i, ++cursor_) {
            const std::uint64_t tile = std::min<std::uint64_t>(cursor_ / perTile, kTiles * kTiles - 1);
            const std::uint64_t row = tile / kTiles, column = row % 2 == 0 ? tile % kTiles : kTiles - 1 - tile % kTiles;
            const double x = (column + unit_(random_)) * kTileSide, y = (row + unit_(random_)) * kTileSide;
            double z = terrain(x, y) + 0.01 * unit_(random_);
            std::uint8_t cls = 2;
            const double kind = unit_(random_);
            if (kind < 0.01) {
                z += (unit_(random_) - 0.3) * 60.0;
                cls = 7;
            } else if (kind < 0.21) {
                z += 4.0 + 8.0 * unit_(random_) * unit_(random_);
                cls = 5;
            }
            z = std::clamp(z, 100.0, 300.0);
            PointRecord& p = points[i];
            p.x = static_cast<std::uint32_t>(std::llround(x / kStep));
            p.y = static_cast<std::uint32_t>(std::llround(y / kStep));
            p.z = static_cast<std::uint32_t>(std::llround((z - 100.0) / kStep));
            const int shade = static_cast<int>((z - 150.0) * 3.0);
            p.red = static_cast<std::uint8_t>(std::clamp(cls == 5 ? 50 + shade / 4 : 120 + shade, 0, 255));
            p.green = static_cast<std::uint8_t>(std::clamp(cls == 5 ? 120 + shade / 2 : 110 + shade, 0, 255));
            p.blue = static_cast<std::uint8_t>(std::clamp(70 + shade / 3, 0, 255));
            p.intensity = static_cast<std::uint16_t>(unit_(random_) * 65535.0);
            p.classification = cls;
        }
        return true;
    }

private:
    static constexpr double kStep = 0.001;
    static constexpr std::uint64_t kTiles = 40;
    static constexpr double kTileSide = 25.0;
    static double terrain(double x, double y) {
        return 180.0 + 12.0 * std::sin(x / 310.0) * std::cos(y / 270.0) + 4.0 * std::sin((x + 2 * y) / 95.0) +
               0.8 * std::sin(x / 13.0) * std::sin(y / 17.0);
    }

    std::uint64_t count_;
    std::uint64_t cursor_ = 0;
    std::mt19937_64 random_{20261121};
    std::uniform_real_distribution<double> unit_{0.0, 1.0};
};

// Buffers that are never made: the CPU-only run, without a context.
class NoGpuStore final : public NodeBufferStore {
public:
    std::uint32_t create(const void*, std::size_t) override { return ++next_; }
    void destroy(std::uint32_t) override {}

private:
    std::uint32_t next_ = 0;
};

void loaderThroughput(const std::string& path, std::uint32_t nodeCount, std::uint64_t pointCount, int threads,
                      bool cold) {
    if (cold) dropFromCache(path);
    OvcfReader reader;
    std::string error;
    reader.open(path, error);
    NodeLoader loader;
    const Clock::time_point start = Clock::now();
    if (!loader.start(path, threads, {0, 0, 0}, error)) {
        std::printf("loader: %s\n", error.c_str());
        return;
    }
    // Coarse levels first, as the level of detail would ask for them.
    for (std::uint32_t i = 0; i < nodeCount; ++i) loader.request(i, 100.0f - float(reader.nodes()[i].level));
    std::uint64_t nodes = 0, points = 0;
    while (nodes < nodeCount) {
        std::vector<ReadyNode> ready = loader.takeReady();
        for (const ReadyNode& node : ready) points += node.pointCount;
        nodes += ready.size();
        if (ready.empty()) std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    const double seconds = secondsSince(start);
    loader.stop();
    std::printf("  %d thread%s, %s: %6.2f s  %8.0f nodes/s  %6.2f M points/s%s\n", threads, threads == 1 ? " " : "s",
                cold ? "cold" : "warm", seconds, double(nodes) / seconds, double(points) / seconds / 1e6,
                points == pointCount ? "" : "  (POINTS MISSING)");
}

Camera fittedCamera(const CloudStreaming& streaming, int width, int height) {
    Camera camera;
    camera.setViewport(width, height);
    camera.renderOrigin = streaming.referencePoint();
    camera.setDefaultDirection();
    camera.fitBox(streaming.boundsMin(), streaming.boundsMax());
    return camera;
}

struct FirstFrame {
    double seconds = 0;
    int frames = 0;
    StreamingFrame last;
    std::uint64_t gpuBytes = 0;
};

FirstFrame untilComplete(CloudStreaming& streaming, const std::string& path, bool gl, std::uint64_t& frame) {
    FirstFrame result;
    RenderSettings settings;
    const Clock::time_point start = Clock::now();
    std::string error;
    if (!streaming.open(path, CloudStreaming::kOpenFileLoaderThreads, error)) {
        std::printf("open: %s\n", error.c_str());
        return result;
    }
    const Camera camera = fittedCamera(streaming, 1280, 720);
    for (;;) {
        const StreamingFrame& f = streaming.update(lodViewOf(camera, nullptr), settings, ++frame);
        if (gl) glFinish();
        ++result.frames;
        if (!f.moreFramesWanted) break;
        // A host redraws about 60 times a second while frames are wanted.
        std::this_thread::sleep_for(std::chrono::milliseconds(16));
    }
    result.seconds = secondsSince(start);
    result.last = streaming.lastFrame();
    result.gpuBytes = streaming.residency().totalBytes();
    return result;
}

void printFirstFrame(const char* label, const FirstFrame& r) {
    std::uint64_t drawn = 0;
    for (const DrawableNode& d : r.last.drawables) drawn += d.pointCount;
    std::printf("  %s: %.2f s, %d frames; %u nodes chosen, %llu points drawn, %.0f MiB of node buffers%s\n", label,
                r.seconds, r.frames, r.last.chosen, static_cast<unsigned long long>(drawn),
                double(r.gpuBytes) / 1048576.0, r.last.lod.budgetReached ? ", point budget reached" : "");
}

void traversalTimes(CloudStreaming& streaming, std::uint64_t& frame) {
    RenderSettings settings;
    Camera camera = fittedCamera(streaming, 1280, 720);
    // Everything the orbit will want, resident first.
    for (int i = 0; i < 360; ++i) {
        camera.orbit(1.0, 0.0);
        while (streaming.update(lodViewOf(camera, nullptr), settings, ++frame).moreFramesWanted)
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    constexpr int kFrames = 3600;
    LevelOfDetail lod;
    const LevelOfDetail::IsLoaded loaded = [](std::uint32_t) { return true; };
    const LevelOfDetail::Request none = [](std::uint32_t, float) {};
    std::uint64_t visited = 0, chosen = 0;
    Clock::time_point start = Clock::now();
    for (int i = 0; i < kFrames; ++i) {
        camera.orbit(0.1, 0.0);
        lod.select(streaming.nodes(), lodViewOf(camera, nullptr), settings.detailThreshold, settings.pointBudget,
                   std::uint64_t(i + 1), loaded, none);
        visited += lod.counters().visited;
        chosen += lod.chosen().size();
        benchmark::DoNotOptimize(lod.chosen().data());
    }
    double seconds = secondsSince(start);
    std::printf("  traversal alone: %.1f us per frame (%llu nodes visited, %llu chosen per frame)\n",
                seconds / kFrames * 1e6, static_cast<unsigned long long>(visited / kFrames),
                static_cast<unsigned long long>(chosen / kFrames));

    std::uint64_t uploads = 0;
    start = Clock::now();
    for (int i = 0; i < kFrames; ++i) {
        camera.orbit(0.1, 0.0);
        uploads += streaming.update(lodViewOf(camera, nullptr), settings, ++frame).uploaded;
    }
    seconds = secondsSince(start);
    std::printf("  whole update (upload, traversal, eviction, draw list): %.1f us per frame, %llu uploads in %d frames\n",
                seconds / kFrames * 1e6, static_cast<unsigned long long>(uploads), kFrames);
}

}  // namespace

int main(int argc, char** argv) {
    const std::uint64_t points = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 20000000;
    const std::string folder = argc > 2 ? argv[2] : std::filesystem::temp_directory_path().string();
    const bool keep = std::getenv("STREAMING_BENCH_KEEP") != nullptr;
    const std::string path = folder + "/streaming_bench_" + std::to_string(points) + ".ovcf";
    setStandardErrorEcho(false);

    if (!keep || !std::filesystem::exists(path)) {
        SurveySource source(points);
        ImportOptions options;
        ImportStats stats;
        std::string error;
        const Clock::time_point start = Clock::now();
        if (!buildOctree(source, path, options, stats, error)) {
            std::printf("building the cloud failed: %s\n", error.c_str());
            return 1;
        }
        std::printf("cloud built in %.1f s\n", secondsSince(start));
    }
    OvcfReader reader;
    std::string error;
    if (!reader.open(path, error)) {
        std::printf("%s\n", error.c_str());
        return 1;
    }
    const std::uint32_t nodeCount = reader.header().nodeCount;
    const std::uint64_t pointCount = reader.header().pointCount;
    std::printf("file: %llu points, %u nodes, levels 0 to %u, %.0f MiB\n", static_cast<unsigned long long>(pointCount),
                nodeCount, reader.header().deepestLevel, double(std::filesystem::file_size(path)) / 1048576.0);

    std::printf("loader, every node read and decoded into vertices:\n");
    for (int threads : {1, 3}) {
        loaderThroughput(path, nodeCount, pointCount, threads, true);
        loaderThroughput(path, nodeCount, pointCount, threads, false);
    }

    auto parent = harness::ParentWindow::create(1280, 720);
    std::unique_ptr<ViewWindow> window;
    if (parent) window = ViewWindow::create(parent->handle(), error);
    const bool gl = window && window->makeCurrent();
    if (gl)
        std::printf("open to first complete frame, GL 4.5 (%s), 1280 x 720, 3 loader threads, default settings:\n",
                    reinterpret_cast<const char*>(glGetString(GL_RENDERER)));
    else
        std::printf("open to first complete frame, CPU only (no GL context: %s), 3 loader threads:\n",
                    parent ? error.c_str() : "no display");
    {
        std::uint64_t frame = 0;
        CloudStreaming streaming(gl ? makeGlNodeBufferStore() : std::make_unique<NoGpuStore>());
        dropFromCache(path);
        printFirstFrame("cold", untilComplete(streaming, path, gl, frame));
        printFirstFrame("warm", untilComplete(streaming, path, gl, frame));
        std::printf("level of detail, camera orbiting 0.1 degree per frame, everything resident:\n");
        traversalTimes(streaming, frame);
        streaming.close();
    }
    if (window) window->destroy();
    std::printf("peak resident memory: %.0f MiB\n", statusMiB("VmHWM:"));
    if (!keep) std::filesystem::remove(path);
    return 0;
}
