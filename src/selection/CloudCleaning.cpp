#include "selection/CloudCleaning.h"

#include <algorithm>
#include <memory>
#include <vector>

#include "cloud/CloudNodes.h"
#include "ovcf/CommitRecovery.h"
#include "ovcf/ConfirmedState.h"
#include "ovcf/OvcfReader.h"
#include "selection/DeletionHistory.h"
#include "selection/FilterFactory.h"
#include "selection/ReaderPool.h"
#include "selection/SelectionEngine.h"
#include "selection/SelectionFilter.h"

namespace ovcf {
namespace {

const char* filterName(std::uint32_t kind) {
    switch (kind) {
        case 1: return "spacing";
        case 2: return "cloth";
        case 3: return "isolated-points";
        case 4: return "colour";
        default: return "";
    }
}


}  // namespace

bool cleanCloud(const std::string& path, const SelectionSettings& settings, bool dryRun, CleaningResult& result,
                std::string& error, unsigned threads) {
    result = {};
    if (settings.filter < 1 || settings.filter > 4) {
        error = "no filter chosen";
        return false;
    }
    if (settings.filter == 1 && !(settings.spacing > 0.0)) {
        error = "the spacing must be above 0";
        return false;
    }
    OvcfReader reader;
    ConfirmedState confirmed;
    if (!recoverInterruptedCommit(path, error) || !reader.open(path, error) ||
        !readConfirmedState(reader.file(), path, confirmed, error)) {
        error = path + ": " + error;
        return false;
    }
    warnWhenCountDisagrees(path, confirmed);
    const FileHeader& header = reader.header();
    PointBitmap deleted;
    deleted.reset(header.pointCount);
    deleted.loadWords(confirmed.map);
    result.deletedInFile = deleted.count();

    // The cloth drops vertically; colours are compared as the default view shows them.
    SelectionSettings chosen = settings;
    chosen.clothAxis = 0;
    const RenderSettings render;
    FilterContext context;
    context.header = &header;
    context.render = &render;
    context.threads = threads;
    const std::unique_ptr<SelectionFilter> filter = makeSelectionFilter(chosen, context);
    if (!filter) {
        result.filterAvailable = false;
        error = std::string("the ") + filterName(settings.filter) + " filter is not available in this build";
        return false;
    }

    // Every point inside: a projection that puts the whole cloud on one pixel, in front of the
    // camera, and a shape around that pixel.
    const Vec3d reference = cloudReferencePoint(header);
    const std::vector<NodeInfo> nodes = describeNodes(header, reader.nodes(), reference);
    SelectionQuery query;
    query.viewProjection[15] = 1.0f;
    query.localOrigin = reference;
    query.viewportWidth = query.viewportHeight = 2;
    query.deleted = &deleted;
    query.filter = filter.get();
    ScreenShape everything;
    everything.setRectangle(0.0f, 0.0f, 2.0f, 2.0f);
    SelectionEngine engine;
    const int readers = threads > 0 ? static_cast<int>(std::min<unsigned>(threads, ReaderPool::kMaxReaders))
                                    : defaultSelectionReaders();
    engine.open(path, readers, &reader);
    if (!engine.readers().open()) {
        error = path + ": the file cannot be opened for reading";
        return false;
    }
    PointBitmap selection;
    selection.reset(header.pointCount);
    result.report = engine.select(everything, CombineReplace, query, header, nodes, selection);
    engine.close();
    if (result.report.nodesRead < nodes.size()) {
        std::uint32_t withPoints = 0;
        for (const NodeInfo& node : nodes) withPoints += node.pointCount > 0;
        if (result.report.nodesRead < withPoints) {
            error = path + ": some nodes cannot be read; nothing was changed";
            return false;
        }
    }
    PointBitmap fresh = selection;
    fresh.andNot(deleted);
    result.newlyDeleted = fresh.count();
    if (dryRun || result.newlyDeleted == 0) return true;

    DeletionHistory history;
    // The commit merges with whatever a view confirmed into the file while the filter ran.
    history.open(path, nodes, confirmed);
    bool changed = false, wrote = false;
    history.deleteSelected(selection, changed);
    if (!history.confirm(reader, wrote, error)) {
        error = path + ": " + error;
        return false;
    }
    result.deletedInFile = history.deletedCount();
    return true;
}

}  // namespace ovcf
