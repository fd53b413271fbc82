#include "import/NodeOutput.h"

#include <algorithm>

#include "core/NumberFormat.h"

namespace ovcf {

bool emitNode(IndexerRun& run, const NodeKey& key, const PointRecord* points, std::size_t count, std::string& error) {
    if (!run.output.submit(key, points, count, error)) return false;
    run.pointsWritten += count;
    ImportStats& stats = run.stats;
    if (stats.levels.size() <= key.level) stats.levels.resize(key.level + 1);
    stats.levels[key.level].nodes += 1;
    stats.levels[key.level].points += count;
    stats.largestNode = std::max<std::uint64_t>(stats.largestNode, count);
    if (run.progress) run.progress->update(run.pointsWritten);
    return reportIndexingProgress(run, error);
}

bool emitLeaf(IndexerRun& run, const NodeKey& key, const PointRecord* points, std::size_t count, std::string& error) {
    if (count > run.options.largestInseparableNode) {
        error = "node " + nodeName(key) + " contains " + formatCount(count) +
                " points that cannot be separated: the cloud has too many points coincident at the quantisation resolution of the source file";
        return false;
    }
    if (count > run.largestLeaf) {
        error = "node " + nodeName(key) + " contains " + formatCount(count) + " coincident points, more than a RAM budget of " +
                formatSize(run.options.ramBudget) + " can hold in one node: raise the budget";
        return false;
    }
    return emitNode(run, key, points, count, error);
}

}  // namespace ovcf
