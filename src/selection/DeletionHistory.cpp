#include "selection/DeletionHistory.h"

#include <algorithm>
#include <bit>
#include <chrono>

#include "core/Log.h"
#include "core/NumberFormat.h"
#include "ovcf/DeletedMapCommit.h"
#include "ovcf/FileFormat.h"
#include "ovcf/OvcfReader.h"
#include "ovcf/SignatureDelta.h"
#include "platform/SystemInfo.h"

namespace ovcf {
namespace {

static_assert(std::endian::native == std::endian::little, "the file's map bytes are the words' own bytes");

constexpr std::size_t kLeastUndoBudget = std::size_t{64} << 20;

std::size_t defaultUndoBudget() {
    std::uint64_t available = 0;
    if (!availablePhysicalMemory(available)) return kLeastUndoBudget;
    return static_cast<std::size_t>(std::max<std::uint64_t>(kLeastUndoBudget, available / 8));
}

double millisecondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

void DeletionHistory::open(const std::string& path, const std::vector<NodeInfo>& nodes,
                           const std::vector<std::uint64_t>& fileDeletedWords, std::uint64_t pointCount,
                           std::uint64_t fileSignature) {
    path_ = path;
    nodes_ = nodes;
    deleted_.reset(pointCount);
    deleted_.loadWords(fileDeletedWords);
    inFile_ = deleted_;
    fileSignature_ = fileSignature;
    opened_.reset();
    dropUndo();
    undoBudget_ = defaultUndoBudget();
    unsaved_ = false;
    countPerNode();
}

void DeletionHistory::open(const std::string& path, const std::vector<NodeInfo>& nodes, const ConfirmedState& state) {
    open(path, nodes, state.map, state.header.pointCount, state.header.currentSignature);
    opened_ = state.file;
}

void DeletionHistory::close() {
    path_.clear();
    nodes_.clear();
    deleted_.reset(0);
    inFile_.reset(0);
    fileSignature_ = 0;
    opened_.reset();
    dropUndo();
    unsaved_ = false;
    deletedInNode_.clear();
    survivingInSubtree_.clear();
}

std::uint64_t DeletionHistory::deleteSelected(PointBitmap& selection, bool& changed) {
    changed = false;
    if (selection.count() == 0) {
        logLine(LogInfo, "nessun punto selezionato: niente da eliminare");
        return 0;
    }
    const auto start = std::chrono::steady_clock::now();
    pushUndo(selection);
    const std::uint64_t newly = deleted_.orWith(selection);
    if (newly > 0) {
        unsaved_ = true;
        countPerNode();
    }
    selection.clearAll();
    changed = true;
    if (logLevelThreshold() <= LogInfo)
        logLine(LogInfo,
                "eliminati %s punti in %.0f ms (%s cancellati in tutto). Il file non e' ancora stato toccato: conferma per scriverli",
                formatCount(newly).c_str(), millisecondsSince(start), formatCount(deleted_.count()).c_str());
    return newly;
}

std::uint64_t DeletionHistory::undo(PointBitmap& selection, bool& changed) {
    changed = false;
    if (undo_.empty()) {
        logLine(LogInfo, "non c'e' nessuna cancellazione da annullare");
        return 0;
    }
    const BitmapRuns record = std::move(undo_.back());
    undo_.pop_back();
    undoBytes_ -= record.storedBytes();
    const std::uint64_t restored = record.clearFrom(deleted_);
    if (restored > 0) {
        unsaved_ = true;
        countPerNode();
    }
    record.orInto(selection);
    changed = true;
    if (logLevelThreshold() <= LogInfo)
        logLine(LogInfo, "cancellazione annullata: %s punti ripristinati e riselezionati (%s ancora cancellati, %zu annullamenti rimasti)",
                formatCount(restored).c_str(), formatCount(deleted_.count()).c_str(), undo_.size());
    return restored;
}

std::uint64_t DeletionHistory::restoreAll(bool& changed) {
    changed = false;
    const std::uint64_t n = deleted_.count();
    if (n == 0) {
        logLine(LogInfo, "non c'e' nessun punto cancellato da ripristinare");
        return 0;
    }
    deleted_.clearAll();
    dropUndo();
    unsaved_ = true;
    countPerNode();
    changed = true;
    if (logLevelThreshold() <= LogInfo)
        logLine(LogInfo, "ripristinati %s punti: la nuvola e' tornata completa. Conferma per scriverlo anche sul file",
                formatCount(n).c_str());
    return n;
}

bool DeletionHistory::confirm(OvcfReader& reader, bool& wrote, std::string& error) {
    wrote = false;
    if (path_.empty()) {
        error = "no file open";
        return false;
    }
    if (!unsaved_) {
        logLine(LogInfo, "nessuna modifica da confermare: il file e' gia' aggiornato");
        return true;
    }
    const auto start = std::chrono::steady_clock::now();
    CommitRequest request;
    request.opened = opened_ ? &*opened_ : nullptr;
    request.lastSynced = &inFile_.words();
    request.wanted = &deleted_.words();
    CommitOutcome outcome;
    if (!commitDeletions(reader, request, outcome, error)) return false;
    adopted_ = outcome.deletedElsewhere != 0 || outcome.restoredElsewhere != 0;
    if (adopted_) {
        deleted_.loadWords(outcome.map);
        countPerNode();
        logLine(LogInfo, "confermate anche le modifiche di un altro programma: %s punti cancellati e %s ripristinati",
                formatCount(outcome.deletedElsewhere).c_str(), formatCount(outcome.restoredElsewhere).c_str());
    }
    inFile_ = deleted_;
    fileSignature_ = outcome.signature;
    if (outcome.signature != 0)
        logSignatureRefresh(deleted_.pointCount() - deleted_.count(), outcome.nodesRead, millisecondsSince(start));
    unsaved_ = false;
    dropUndo();
    wrote = true;
    if (logLevelThreshold() <= LogInfo)
        logLine(LogInfo, "modifiche confermate in %.0f ms. I punti restano nel file: si possono rimettere in gioco tutti insieme",
                millisecondsSince(start));
    return true;
}

void DeletionHistory::pushUndo(const PointBitmap& selection) {
    undo_.emplace_back(selection);
    undoBytes_ += undo_.back().storedBytes();
    std::size_t dropped = 0;
    while (undoBytes_ > undoBudget_ && undo_.size() > 1) {
        undoBytes_ -= undo_.front().storedBytes();
        undo_.pop_front();
        ++dropped;
    }
    if (dropped != 0)
        logLine(LogWarn, "memoria per gli annullamenti piena (%s): le %zu cancellazioni piu' vecchie non si possono piu' annullare",
                formatSize(undoBudget_).c_str(), dropped);
}

void DeletionHistory::dropUndo() {
    undo_.clear();
    undoBytes_ = 0;
}

void DeletionHistory::countPerNode() {
    const auto start = std::chrono::steady_clock::now();
    deletedInNode_.assign(nodes_.size(), 0);
    survivingInSubtree_.assign(nodes_.size(), 0);
    const bool anyDeleted = deleted_.count() != 0;
    for (std::size_t i = 0; i < nodes_.size(); ++i) {
        const NodeInfo& node = nodes_[i];
        if (anyDeleted) deletedInNode_[i] = static_cast<std::uint32_t>(deleted_.countRange(node.firstPoint, node.pointCount));
        survivingInSubtree_[i] = node.pointCount - deletedInNode_[i];
    }
    // Parents come before their children in the file, so one backward pass sums the subtrees.
    for (std::size_t i = nodes_.size(); i-- > 0;)
        for (std::uint32_t child : nodes_[i].children) {
            if (child == kNoChild) break;
            if (child < nodes_.size()) survivingInSubtree_[i] += survivingInSubtree_[child];
        }
    if (logLevelThreshold() <= LogDebug)
        logLine(LogDebug, "cancellati contati per nodo in %.0f ms", millisecondsSince(start));
}

}  // namespace ovcf
