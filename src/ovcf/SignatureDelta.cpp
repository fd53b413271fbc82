#include "ovcf/SignatureDelta.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <thread>

#include "core/Log.h"
#include "core/ThreadRun.h"
#include "core/NumberFormat.h"
#include "ovcf/ContentSignature.h"

namespace ovcf {
namespace {

// Whether any bit of points [first, end) differs between the two maps.
bool rangeDiffers(const std::vector<std::uint64_t>& a, const std::vector<std::uint64_t>& b, std::uint64_t first,
                  std::uint64_t end) {
    const std::size_t lastWord = static_cast<std::size_t>((end - 1) >> 6);
    for (std::size_t v = static_cast<std::size_t>(first >> 6); v <= lastWord && v < a.size() && v < b.size(); ++v) {
        std::uint64_t diff = a[v] ^ b[v];
        if (v == (first >> 6)) diff &= ~std::uint64_t{0} << (first & 63);
        if (v == lastWord && (end & 63)) diff &= (std::uint64_t{1} << (end & 63)) - 1;
        if (diff) return true;
    }
    return false;
}

constexpr std::size_t kNodesPerThread = 16;
constexpr unsigned kMaxThreads = 8;

bool isSet(const std::vector<std::uint64_t>& map, std::uint64_t g) {
    return (g >> 6) < map.size() && (map[g >> 6] >> (g & 63)) & 1u;
}

}  // namespace

bool changedSignature(OvcfReader& reader, const std::vector<std::uint64_t>& before,
                      const std::vector<std::uint64_t>& after, std::uint64_t baselineSignature,
                      SignatureChange& change, std::string& error) {
    change = {baselineSignature, 0};
    const std::vector<HierarchyRecord>& nodes = reader.nodes();
    std::vector<std::uint32_t> touched;
    for (std::size_t node = 0; node < nodes.size(); ++node) {
        const std::uint64_t first = nodes[node].firstPoint, end = first + nodes[node].pointCount;
        if (first != end && rangeDiffers(before, after, first, end)) touched.push_back(static_cast<std::uint32_t>(node));
    }
    // Scattered edits touch most nodes: they are read again on several threads, each through a
    // handle of its own on the same file. The sum wraps, so the order of the parts is free.
    const unsigned threads = static_cast<unsigned>(std::clamp<std::size_t>(
        touched.size() / kNodesPerThread, 1, std::clamp(std::thread::hardware_concurrency(), 1u, kMaxThreads)));
    std::vector<std::unique_ptr<OvcfReader>> readers(threads);
    for (unsigned t = 1; t < threads; ++t) {
        readers[t] = std::make_unique<OvcfReader>();
        if (!readers[t]->openSame(reader, error)) return false;
    }
    std::atomic<std::size_t> next{0};
    std::vector<std::uint64_t> sums(threads, 0);
    std::vector<std::size_t> failedAt(threads, SIZE_MAX);
    std::vector<std::string> reasons(threads);
    const std::uint32_t format = reader.header().pointFormat;
    runOnThreads(threads, [&](unsigned t) {
        OvcfReader& mine = t == 0 ? reader : *readers[t];
        std::vector<PointRecord> points;
        for (std::size_t i = next++; i < touched.size(); i = next++) {
            const std::uint32_t node = touched[i];
            if (!mine.readNode(node, points, reasons[t], false)) {
                failedAt[t] = i;
                return;
            }
            const std::uint64_t first = nodes[node].firstPoint, end = first + nodes[node].pointCount;
            for (std::size_t j = 0; j < points.size() && first + j < end; ++j) {
                const bool was = isSet(before, first + j), now = isSet(after, first + j);
                if (was == now) continue;
                const std::uint64_t hash = pointHashForFormat(points[j], format);
                sums[t] += now ? 0 - hash : hash;
            }
        }
    });
    const auto failed = std::min_element(failedAt.begin(), failedAt.end());
    if (*failed != SIZE_MAX) {
        error = "cannot re-read node " + std::to_string(touched[*failed]) + " to update the cache signature: " +
                reasons[static_cast<std::size_t>(failed - failedAt.begin())];
        return false;
    }
    for (std::uint64_t sum : sums) change.signature += sum;
    change.nodesRead = static_cast<std::uint32_t>(touched.size());
    return true;
}

bool survivorsSignature(OvcfReader& reader, const std::vector<std::uint64_t>& deleted, std::uint64_t& signature,
                        std::string& error) {
    signature = 0;
    const std::uint32_t format = reader.header().pointFormat;
    std::vector<PointRecord> points;
    for (std::size_t node = 0; node < reader.nodes().size(); ++node) {
        std::string reason;
        if (!reader.readNode(static_cast<std::uint32_t>(node), points, reason, false)) {
            error = "cannot read node " + std::to_string(node) + " to compute the signature: " + reason;
            return false;
        }
        const std::uint64_t first = reader.nodes()[node].firstPoint;
        for (std::size_t j = 0; j < points.size(); ++j)
            if (!isSet(deleted, first + j)) signature += pointHashForFormat(points[j], format);
    }
    return true;
}

void logSignatureRefresh(std::uint64_t alive, std::uint32_t nodesRead, double milliseconds) {
    if (logLevelThreshold() <= LogInfo)
        logLine(LogInfo, "firma della cache aggiornata: %s punti vivi, %u nodi riletti in %.0f ms",
                formatCount(alive).c_str(), nodesRead, milliseconds);
}

}  // namespace ovcf
