#include "selection/SelectionEngine.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

#include "core/Log.h"
#include "core/ThreadRun.h"
#include "core/NumberFormat.h"
#include "selection/PointScreenTest.h"
#include "selection/ScreenProjection.h"
#include "selection/SelectionFilter.h"

namespace ovcf {
namespace {

struct Totals {
    std::atomic<std::uint64_t> examined{0};
    std::atomic<std::uint64_t> inShape{0};
    std::atomic<std::uint64_t> rejected{0};
    std::atomic<std::uint32_t> nodesRead{0};
};

// Screen box of a node's eight corners; false when a corner is at or behind the camera.
bool screenBox(const ScreenProjection& projection, const NodeInfo& node, double margin, double box[4]) {
    box[0] = box[1] = 1e300;
    box[2] = box[3] = -1e300;
    for (int c = 0; c < 8; ++c) {
        const Vec3d corner{(c & 1 ? node.boxMax.x + margin : node.boxMin.x - margin),
                           (c & 2 ? node.boxMax.y + margin : node.boxMin.y - margin),
                           (c & 4 ? node.boxMax.z + margin : node.boxMin.z - margin)};
        double x, y;
        if (!projection.project(corner, x, y)) return false;
        box[0] = std::min(box[0], x);
        box[1] = std::min(box[1], y);
        box[2] = std::max(box[2], x);
        box[3] = std::max(box[3], y);
    }
    return true;
}

// A convex shape holds the projected box when it holds the box's corners; a pixel of slack
// keeps the single-precision per-point test from deciding otherwise at the rim.
bool shapeHoldsBox(const ScreenShape& shape, const double box[4]) {
    const double minX = box[0] - 1, minY = box[1] - 1, maxX = box[2] + 1, maxY = box[3] + 1;
    if (shape.kind() == ShapeRectangle)
        return minX >= shape.minX() && maxX <= shape.maxX() && minY >= shape.minY() && maxY <= shape.maxY();
    if (shape.kind() != ShapeCircle) return false;
    const double r2 = static_cast<double>(shape.radius()) * shape.radius();
    for (double x : {minX, maxX})
        for (double y : {minY, maxY}) {
            const double dx = x - shape.centreX(), dy = y - shape.centreY();
            if (dx * dx + dy * dy > r2) return false;
        }
    return true;
}

std::vector<std::uint64_t> sizedPartial(const NodeInfo& node) {
    const std::uint64_t firstWord = node.firstPoint >> 6;
    const std::uint64_t lastWord = (node.firstPoint + node.pointCount - 1) >> 6;
    return std::vector<std::uint64_t>(static_cast<std::size_t>(lastWord - firstWord + 1), 0);
}

void setBit(std::vector<std::uint64_t>& part, std::uint64_t bit) { part[bit >> 6] |= std::uint64_t{1} << (bit & 63); }

bool anyBit(const std::vector<std::uint64_t>& part) {
    return std::any_of(part.begin(), part.end(), [](std::uint64_t word) { return word != 0; });
}

// The candidates' span of global words, which their partial maps share the alignment of.
DroppedPoints dropSpan(const std::vector<SelectionCandidate>& candidates, const std::vector<NodeInfo>& nodes,
                       const std::vector<std::vector<std::uint64_t>>& partials) {
    std::uint64_t firstWord = ~std::uint64_t{0}, endWord = 0;
    for (std::size_t c = 0; c < candidates.size(); ++c) {
        const NodeInfo& node = nodes[candidates[c].node];
        firstWord = std::min(firstWord, node.firstPoint >> 6);
        endWord = std::max(endWord, (node.firstPoint >> 6) + partials[c].size());
    }
    return DroppedPoints(firstWord, endWord);
}

void clearDropped(const DroppedPoints& drop, const std::vector<SelectionCandidate>& candidates,
                  const std::vector<NodeInfo>& nodes, std::vector<std::vector<std::uint64_t>>& partials) {
    if (!drop.any()) return;
    for (std::size_t c = 0; c < candidates.size(); ++c) {
        const std::uint64_t firstWord = nodes[candidates[c].node].firstPoint >> 6;
        for (std::size_t k = 0; k < partials[c].size(); ++k) partials[c][k] &= ~drop.word(firstWord + k);
    }
}

}  // namespace

const char* combineModeName(std::uint32_t mode) {
    switch (mode) {
        case CombineReplace: return "sostituisci";
        case CombineAdd: return "aggiungi";
        case CombineSubtract: return "sottrai";
        default: return "";
    }
}

int defaultSelectionReaders() {
    const unsigned hardware = std::thread::hardware_concurrency();
    return static_cast<int>(std::clamp(hardware, 1u, static_cast<unsigned>(ReaderPool::kMaxReaders)));
}

SelectionReport SelectionEngine::select(const ScreenShape& shape, std::uint32_t combineMode, const SelectionQuery& query,
                                        const FileHeader& header, const std::vector<NodeInfo>& nodes,
                                        PointBitmap& selection) {
    const auto start = std::chrono::steady_clock::now();
    const auto elapsed = [&] { return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(); };
    SelectionReport report;
    if (shape.kind() == ShapeNone || !pool_.open() || pool_.size() == 0) {
        report.totalSelected = selection.count();
        report.seconds = elapsed();
        return report;
    }

    // Candidates, depth first; a subtree whose box misses the shape or the region goes whole.
    const ScreenProjection projection(query.viewProjection, query.localOrigin, header, query.viewportWidth,
                                      query.viewportHeight);
    SelectionFilter* filter = query.filter;
    const double margin = filter ? std::max(0.0, filter->nodeMargin()) : 0.0;
    const bool wholeAllowed = !query.region && (!filter || !filter->needsPoints());
    std::vector<SelectionCandidate> candidates;
    if (!nodes.empty() && pool_.reader(0).nodes().size() == nodes.size()) {
        std::vector<std::uint32_t> stack;
        stack.reserve(256);
        stack.push_back(0);
        while (!stack.empty()) {
            const std::uint32_t index = stack.back();
            stack.pop_back();
            const NodeInfo& node = nodes[index];
            double box[4];
            const bool inFront = screenBox(projection, node, margin, box);
            if (inFront && !shape.boxOverlaps(static_cast<float>(box[0]), static_cast<float>(box[1]),
                                              static_cast<float>(box[2]), static_cast<float>(box[3]))) {
                ++report.subtreesDiscarded;
                continue;
            }
            if (query.region && !query.region->meetsBox(node.boxMin, node.boxMax, margin)) {
                ++report.subtreesDiscarded;
                continue;
            }
            if (node.pointCount > 0) candidates.push_back({index, wholeAllowed && inFront && shapeHoldsBox(shape, box)});
            for (std::uint32_t child : node.children) {
                if (child == kNoChild) break;
                if (child < nodes.size()) stack.push_back(child);
            }
        }
    }
    if (candidates.empty()) {
        if (combineMode == CombineReplace) selection.clearAll();
        report.totalSelected = selection.count();
        report.seconds = elapsed();
        return report;
    }

    const unsigned threads = static_cast<unsigned>(std::min<std::size_t>(candidates.size(), pool_.size()));
    if (filter) filter->prepare(threads, query.region);
    std::vector<std::vector<std::uint64_t>> partials(candidates.size());
    std::atomic<std::size_t> next{0};
    Totals totals;
    const PointBitmap* deleted = query.deleted && query.deleted->count() > 0 ? query.deleted : nullptr;

    const unsigned calls = filter ? filter->pointCalls() : 0u;
    const bool observes = calls & SelectionFilter::CallsObserve, accepts = calls & SelectionFilter::CallsAccept,
               collects = calls & SelectionFilter::CallsCollect;
    const bool plain = !query.region && !observes && !accepts && !collects;
    const PointScreenTest test(projection, shape);
    const auto work = [&](unsigned worker) {
        OvcfReader& reader = pool_.reader(worker);
        std::vector<PointRecord> points;
        NodeCoordinates coordinates;
        std::uint32_t xs[PointScreenTest::kBatch], ys[PointScreenTest::kBatch], zs[PointScreenTest::kBatch];
        std::int32_t results[PointScreenTest::kBatch];
        std::string error;
        std::uint64_t examined = 0, inShape = 0, rejected = 0;
        std::uint32_t read = 0;
        for (std::size_t i = next.fetch_add(1); i < candidates.size(); i = next.fetch_add(1)) {
            const SelectionCandidate& candidate = candidates[i];
            const NodeInfo& node = nodes[candidate.node];
            std::vector<std::uint64_t>& part = partials[i];
            part = sizedPartial(node);
            const std::uint64_t base = node.firstPoint & 63;  // bit of point 0 within the partial map
            if (candidate.whole) {
                for (std::uint64_t j = 0; j < node.pointCount; ++j) setBit(part, base + j);
                examined += node.pointCount;
                inShape += node.pointCount;
                continue;
            }
            if (plain) {  // the common run, no clip box and no filter: the coordinates are enough
                if (!reader.readNodeCoordinates(candidate.node, coordinates, error)) {
                    logLine(LogWarn, "selezione: nodo %u non leggibile (%s)", candidate.node, error.c_str());
                    continue;
                }
                ++read;
                if (filter) filter->enterNode(worker, candidate.node, node.level);
                const std::size_t count = std::min<std::size_t>(coordinates.size(), node.pointCount);
                const PointScreenTest::Counts counts = test.markInside(coordinates.x.data(), coordinates.y.data(),
                                                                       coordinates.z.data(), count, part.data(), base);
                examined += counts.inFront;
                inShape += counts.inside;
                continue;
            }
            if (!reader.readNode(candidate.node, points, error)) {
                logLine(LogWarn, "selezione: nodo %u non leggibile (%s)", candidate.node, error.c_str());
                continue;
            }
            ++read;
            if (filter) filter->enterNode(worker, candidate.node, node.level);
            const std::size_t count = std::min<std::size_t>(points.size(), node.pointCount);
            for (std::size_t at = 0; at < count; at += PointScreenTest::kBatch) {
                const std::size_t batch = std::min(PointScreenTest::kBatch, count - at);
                for (std::size_t i = 0; i < batch; ++i) {
                    xs[i] = points[at + i].x;
                    ys[i] = points[at + i].y;
                    zs[i] = points[at + i].z;
                }
                test.classify(xs, ys, zs, batch, results);
                for (std::size_t i = 0; i < batch; ++i) {
                    const std::size_t j = at + i;
                    const PointRecord& point = points[j];
                    const Vec3d local = projection.local(point);
                    if (observes && !(deleted && deleted->test(node.firstPoint + j))) filter->observe(worker, point, local);
                    if (query.region && !query.region->contains(local)) continue;
                    if (results[i] == PointScreenTest::Behind) continue;
                    ++examined;
                    if (results[i] == PointScreenTest::Outside) continue;
                    ++inShape;
                    if (accepts && !filter->accept(worker, point, local)) {
                        ++rejected;
                        continue;
                    }
                    setBit(part, base + j);
                    if (collects) filter->collect(worker, point, node.firstPoint + j, local);
                }
            }
        }
        totals.examined += examined;
        totals.inShape += inShape;
        totals.rejected += rejected;
        totals.nodesRead += read;
    };

    const double workersStart = elapsed();
    runOnThreads(threads, work);
    report.firstPassSeconds = elapsed();
    report.workerSeconds = report.firstPassSeconds - workersStart;

    if (filter) {
        DroppedPoints drop = dropSpan(candidates, nodes, partials);
        filter->finish(drop);
        clearDropped(drop, candidates, nodes, partials);
        const double solved = elapsed();
        if (filter->needsSecondPass()) report.nodesReread = secondPass(*filter, projection, candidates, nodes, partials);
        report.secondPassSeconds = elapsed() - solved;
        report.workerSeconds += report.secondPassSeconds;
    }

    // Combine: each partial map starts at its node's first word of the global map.
    if (combineMode == CombineReplace) selection.clearAll();
    std::uint64_t* words = selection.data();
    const std::size_t wordCount = selection.words().size();
    for (std::size_t i = 0; i < candidates.size(); ++i) {
        const std::size_t firstWord = static_cast<std::size_t>(nodes[candidates[i].node].firstPoint >> 6);
        const std::vector<std::uint64_t>& part = partials[i];
        for (std::size_t k = 0; k < part.size() && firstWord + k < wordCount; ++k) {
            const std::uint64_t word = part[k];
            if (!word) continue;
            report.found += countBits(&word, 1);
            if (combineMode == CombineSubtract)
                words[firstWord + k] &= ~word;
            else
                words[firstWord + k] |= word;
        }
    }
    selection.recount();

    report.totalSelected = selection.count();
    report.examined = totals.examined;
    report.inShape = totals.inShape;
    report.rejectedByFilter = totals.rejected;
    report.nodesRead = totals.nodesRead;
    report.nodesWhole = static_cast<std::uint32_t>(
        std::count_if(candidates.begin(), candidates.end(), [](const SelectionCandidate& c) { return c.whole; }));
    report.seconds = elapsed();
    if (filter) filter->fillReport(report);
    if (logLevelThreshold() <= LogInfo) {
        logLine(LogInfo,
                "selezione %s con %s: %s punti trovati, %s selezionati in tutto (%s esaminati, %u nodi letti, %u sottoalberi scartati) in %.0f ms",
                combineModeName(combineMode), shape.name(), formatCount(report.found).c_str(),
                formatCount(report.totalSelected).c_str(), formatCount(report.examined).c_str(), report.nodesRead,
                report.subtreesDiscarded, report.seconds * 1000.0);
        if (filter) filter->log(report);
    }
    return report;
}

std::uint32_t SelectionEngine::secondPass(SelectionFilter& filter, const ScreenProjection& projection,
                                          const std::vector<SelectionCandidate>& candidates, const std::vector<NodeInfo>& nodes,
                                          std::vector<std::vector<std::uint64_t>>& partials) {
    std::vector<std::size_t> again;
    for (std::size_t i = 0; i < candidates.size(); ++i)
        if (anyBit(partials[i])) again.push_back(i);
    if (again.empty()) return 0;
    std::atomic<std::size_t> next{0};
    std::atomic<std::uint32_t> reread{0};
    const auto work = [&](unsigned worker) {
        OvcfReader& reader = pool_.reader(worker);
        std::vector<PointRecord> points;
        std::string error;
        std::uint32_t read = 0;
        for (std::size_t i = next.fetch_add(1); i < again.size(); i = next.fetch_add(1)) {
            const std::size_t c = again[i];
            const NodeInfo& node = nodes[candidates[c].node];
            if (!reader.readNode(candidates[c].node, points, error)) {
                logLine(LogWarn, "%s: nodo %u non rileggibile (%s)", filter.passName(), candidates[c].node,
                        error.c_str());
                continue;
            }
            ++read;
            std::vector<std::uint64_t>& part = partials[c];
            const std::uint64_t base = node.firstPoint & 63;
            const std::size_t count = std::min<std::size_t>(points.size(), node.pointCount);
            for (std::size_t j = 0; j < count; ++j) {
                const std::uint64_t bit = base + j;
                const std::uint64_t mask = std::uint64_t{1} << (bit & 63);
                if (!(part[bit >> 6] & mask)) continue;
                if (!filter.keep(worker, points[j], node.firstPoint + j, projection.local(points[j])))
                    part[bit >> 6] &= ~mask;
            }
        }
        reread += read;
    };
    runOnThreads(static_cast<unsigned>(std::min<std::size_t>(again.size(), pool_.size())), work);
    return reread;
}

}  // namespace ovcf
