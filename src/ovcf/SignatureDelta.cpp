#include "ovcf/SignatureDelta.h"

#include "core/Log.h"
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

bool isSet(const std::vector<std::uint64_t>& map, std::uint64_t g) {
    return (g >> 6) < map.size() && (map[g >> 6] >> (g & 63)) & 1u;
}

}  // namespace

bool changedSignature(OvcfReader& reader, const std::vector<std::uint64_t>& before,
                      const std::vector<std::uint64_t>& after, std::uint64_t baselineSignature,
                      SignatureChange& change, std::string& error) {
    change = {baselineSignature, 0};
    const std::vector<HierarchyRecord>& nodes = reader.nodes();
    const std::uint32_t format = reader.header().pointFormat;
    std::vector<PointRecord> points;
    for (std::size_t node = 0; node < nodes.size(); ++node) {
        const std::uint64_t first = nodes[node].firstPoint, end = first + nodes[node].pointCount;
        if (first == end || !rangeDiffers(before, after, first, end)) continue;
        std::string reason;
        if (!reader.readNode(static_cast<std::uint32_t>(node), points, reason, false)) {
            error = "cannot re-read node " + std::to_string(node) + " to update the cache signature: " + reason;
            return false;
        }
        ++change.nodesRead;
        for (std::size_t j = 0; j < points.size() && first + j < end; ++j) {
            const bool was = isSet(before, first + j), now = isSet(after, first + j);
            if (was == now) continue;
            const std::uint64_t hash = pointHashForFormat(points[j], format);
            change.signature = now ? change.signature - hash : change.signature + hash;
        }
    }
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
