#include "import/SignatureRefresh.h"

#include <algorithm>
#include <chrono>
#include <vector>

#include "core/Log.h"
#include "core/NumberFormat.h"
#include "import/SignatureUpdate.h"
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

}  // namespace

bool changedSignature(OvcfReader& reader, const std::vector<std::uint64_t>& before,
                      const std::vector<std::uint64_t>& after,
                      std::uint64_t baselineSignature, SignatureChange& change, std::string& error) {
    change = {baselineSignature, 0};
    const std::vector<HierarchyRecord>& nodes = reader.nodes();
    const std::vector<std::uint64_t>& a = before;
    const std::vector<std::uint64_t>& b = after;
    const std::uint32_t format = reader.header().pointFormat;
    std::vector<PointRecord> points;
    for (std::size_t node = 0; node < nodes.size(); ++node) {
        const std::uint64_t first = nodes[node].firstPoint, end = first + nodes[node].pointCount;
        if (first == end || !rangeDiffers(a, b, first, end)) continue;
        std::string reason;
        if (!reader.readNode(static_cast<std::uint32_t>(node), points, reason, false)) {
            error = "cannot re-read node " + std::to_string(node) + " to update the cache signature: " + reason;
            return false;
        }
        ++change.nodesRead;
        for (std::size_t j = 0; j < points.size() && first + j < end; ++j) {
            const std::uint64_t g = first + j;
            if ((g >> 6) >= a.size() || (g >> 6) >= b.size()) break;
            const std::uint64_t bit = std::uint64_t{1} << (g & 63);
            const bool was = a[g >> 6] & bit, now = b[g >> 6] & bit;
            if (was == now) continue;
            const std::uint64_t hash = pointHashForFormat(points[j], format);
            change.signature = now ? change.signature - hash : change.signature + hash;
        }
    }
    return true;
}

bool refreshCacheSignature(OvcfReader& reader, const std::vector<std::uint64_t>& before,
                      const std::vector<std::uint64_t>& after,
                           std::uint64_t baselineSignature, std::uint64_t aliveAfter, std::uint64_t& newSignature,
                           std::string& error) {
    newSignature = baselineSignature;
    if (baselineSignature == 0) return true;
    const auto start = std::chrono::steady_clock::now();
    SignatureChange change;
    if (!changedSignature(reader, before, after, baselineSignature, change, error)) return false;
    if (!updateSignature(reader.path(), aliveAfter, change.signature, error)) return false;
    newSignature = change.signature;
    logSignatureRefresh(aliveAfter, change.nodesRead,
                        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
    return true;
}

void logSignatureRefresh(std::uint64_t alive, std::uint32_t nodesRead, double milliseconds) {
    if (logLevelThreshold() <= LogInfo)
        logLine(LogInfo, "firma della cache aggiornata: %s punti vivi, %u nodi riletti in %.0f ms",
                formatCount(alive).c_str(), nodesRead, milliseconds);
}

}  // namespace ovcf
