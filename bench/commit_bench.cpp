// What a confirmation and the undo records cost on a survey-sized cloud (20 million points by
// default): confirming 10,000 deletions scattered over the whole cloud (the journal's and the
// file's flushes timed apart), confirming a whole-cloud deletion, the memory of 100 undo records
// of 1 % of the cloud each (rectangles of a tenth by a tenth of a top view, every point read), and
// reading the survivors back sorted by elevation with the peak memory it adds.
//
// usage: commit_bench [POINTS] [FOLDER]
#include <algorithm>
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
#include "ovcf/ConfirmedState.h"
#include "ovcf/OvcfReader.h"
#include "platform/SystemFile.h"
#include "selection/DeletionHistory.h"
#include "selection/PointReadBack.h"
#include "selection/SelectionEngine.h"
#include "selection/SelectionFilter.h"

using namespace ovcf;
using ovcf::bench::Clock;
using ovcf::bench::secondsSince;

namespace {

// Times each flush: the hook runs just before an operation, so a flush lasts until the next one.
struct FlushTimer {
    Clock::time_point flushStarted;
    bool inFlush = false;
    double seconds = 0;
    int flushes = 0;
    static bool hook(SystemFile::Operation operation, void* context) {
        auto* self = static_cast<FlushTimer*>(context);
        const Clock::time_point now = Clock::now();
        if (self->inFlush) self->seconds += std::chrono::duration<double>(now - self->flushStarted).count();
        self->inFlush = operation == SystemFile::Operation::Flush;
        if (self->inFlush) {
            self->flushStarted = now;
            ++self->flushes;
        }
        return false;
    }
};

struct ReadEveryPoint : SelectionFilter {};  // nodes inside the shape are read, not taken whole

void confirmTimed(DeletionHistory& history, OvcfReader& reader, const char* what) {
    FlushTimer timer;
    SystemFile::setFaultHook(&FlushTimer::hook, &timer);
    std::string error;
    bool wrote = false;
    const auto start = Clock::now();
    const bool ok = history.confirm(reader, wrote, error);
    const double seconds = secondsSince(start);
    SystemFile::setFaultHook(nullptr, nullptr);
    // The last flush runs until the journal's removal; what follows it is not a flush.
    std::printf("confirm %s: %.1f ms, of which %d flushes %.1f ms%s\n", what, seconds * 1e3, timer.flushes,
                timer.seconds * 1e3, ok ? "" : (" FAILED: " + error).c_str());
}

}  // namespace

int main(int argc, char** argv) {
    const std::size_t count = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 20000000;
    const std::string folder = argc > 2 ? argv[2] : std::filesystem::temp_directory_path().string();
    const std::string path = folder + "/commit_bench.ovcf";
    std::string error;
    if (!bench::writeSurvey(path, count, error)) {
        std::fprintf(stderr, "commit_bench: %s\n", error.c_str());
        return 1;
    }
    OvcfReader reader;
    ConfirmedState state;
    if (!reader.open(path, error) || !readConfirmedState(reader.file(), path, state, error)) {
        std::fprintf(stderr, "commit_bench: %s\n", error.c_str());
        return 1;
    }
    const FileHeader& header = reader.header();
    const std::uint64_t points = header.pointCount;
    const Vec3d reference = cloudReferencePoint(header);
    const std::vector<NodeInfo> nodes = describeNodes(header, reader.nodes(), reference);
    std::printf("%llu points in %zu nodes\n", (unsigned long long)points, nodes.size());
    DeletionHistory history;
    history.open(path, nodes, state);
    PointBitmap selection;
    selection.reset(points);
    bool changed = false;

    // 10.000 deletions scattered over five deep nodes (a brush over a few spots), then over the
    // whole cloud (every node touched, so every node is read again for the signature).
    for (std::uint32_t n : {600u, 1800u, 2500u, 3300u, 4600u})
        for (std::uint32_t j = 0; j < 2000 && n < nodes.size(); ++j) selection.set(nodes[n].firstPoint + j * 2);
    history.deleteSelected(selection, changed);
    confirmTimed(history, reader, "10.000 deletions in 5 nodes");
    std::mt19937_64 random(11);
    for (int i = 0; i < 10000; ++i) selection.set(random() % points);
    history.deleteSelected(selection, changed);
    confirmTimed(history, reader, "10.000 deletions scattered over the cloud");

    selection.setAll();
    history.deleteSelected(selection, changed);
    confirmTimed(history, reader, "a whole-cloud deletion");
    history.restoreAll(changed);
    confirmTimed(history, reader, "restoring the whole cloud");

    // 100 rectangles of a tenth by a tenth of the view: 1 % of the cloud each, every point read.
    SelectionEngine engine;
    engine.open(path, 2, &reader);
    SelectionQuery query = bench::topViewQuery(header, reference);
    ReadEveryPoint everyPoint;
    query.filter = &everyPoint;
    query.deleted = &history.deleted();
    const float w = bench::kViewWidth / 10.0f, h = bench::kViewHeight / 10.0f;
    std::uint64_t selected = 0;
    std::size_t sparse = 0, records = 0;
    for (int row = 0; row < 10; ++row)
        for (int column = 0; column < 10; ++column) {
            ScreenShape cell;
            cell.setRectangle(column * w, row * h, (column + 1) * w, (row + 1) * h);
            engine.select(cell, CombineReplace, query, header, nodes, selection);
            if (selection.count() == 0) continue;  // outside the cloud
            selected += selection.count();
            sparse += BitmapRuns(selection).isSparse() ? 1 : 0;
            ++records;
            history.deleteSelected(selection, changed);
        }
    std::printf("undo: %zu records of %.2f %% of the cloud on average (%zu gap-coded), %.1f MiB in all, "
                "%.2f bytes a point; a full copy of the map is %.1f MiB a record\n",
                history.undoDepth(), 100.0 * double(selected) / double(records) / double(points), sparse,
                history.undoBytes() / 1048576.0, double(history.undoBytes()) / double(selected),
                double(points) / 8.0 / 1048576.0);
    history.restoreAll(changed);

    // Sorted read-back of the survivors, the buffers allocated and touched beforehand.
    for (int i = 0; i < 100000; ++i) selection.set(random() % points);
    history.deleteSelected(selection, changed);
    const std::uint64_t alive = points - history.deletedCount();
    std::vector<double> xyz(3 * alive, 0.0);
    std::vector<std::uint32_t> rgb(alive, 0);
    const ReadBackSource source{path, &reader, &history.deleted(), &history.deletedInNode(), nullptr, reference};
    const double peakSoFar = bench::statusMiB("VmHWM:");
    bench::resetPeakResident();
    const double before = bench::statusMiB("VmRSS:");
    const auto start = Clock::now();
    const std::int64_t back = readSurvivingPoints(source, {xyz.data(), rgb.data(), nullptr, std::int64_t(alive)}, true, error);
    const double seconds = secondsSince(start);
    std::printf("read back surviving, sorted by elevation: %lld points in %.2f s, %.1f M points/s, "
                "peak %.0f MiB above the host's buffers (the points held at 16 bytes each: %.0f MiB)\n",
                (long long)back, seconds, back / seconds / 1e6, bench::statusMiB("VmHWM:") - before,
                16.0 * double(alive) / 1048576.0);
    std::printf("peak memory of the whole run %.0f MiB\n", std::max(peakSoFar, bench::statusMiB("VmHWM:")));
    std::filesystem::remove(path);
    return 0;
}
