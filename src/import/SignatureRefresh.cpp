#include "import/SignatureRefresh.h"

#include <chrono>

#include "core/Log.h"
#include "core/NumberFormat.h"
#include "import/SignatureUpdate.h"
#include "ovcf/ContentSignature.h"

namespace ovcf {

bool refreshCacheSignature(OvcfReader& reader, const std::uint64_t* committedBits,
                           const std::vector<std::uint64_t>& deletedPerNode, std::uint64_t aliveAfter,
                           std::string& error) {
    const auto start = std::chrono::steady_clock::now();
    const std::uint32_t format = reader.header().pointFormat;
    std::uint64_t removed = 0;
    std::uint32_t reread = 0;
    std::vector<PointRecord> points;
    const std::size_t nodes = std::min(deletedPerNode.size(), reader.nodes().size());
    for (std::size_t n = 0; n < nodes; ++n) {
        if (deletedPerNode[n] == 0) continue;
        std::string reason;
        if (!reader.readNode(static_cast<std::uint32_t>(n), points, reason, false)) {
            error = "cannot re-read node " + std::to_string(n) + " to update the cache signature: " + reason;
            return false;
        }
        ++reread;
        const std::uint64_t first = reader.nodes()[n].firstPoint;
        for (std::size_t j = 0; j < points.size(); ++j) {
            const std::uint64_t g = first + j;
            if ((committedBits[g >> 6] >> (g & 63)) & 1u) removed += pointHashForFormat(points[j], format);
        }
    }
    // The file's current signature as it is now, not as this reader found it when it opened.
    FileHeader header;
    if (OvcfReader::probeHeader(reader.path(), header, error) != ProbeValid) return false;
    if (!updateSignature(reader.path(), aliveAfter, header.currentSignature - removed, error)) return false;
    if (logLevelThreshold() <= LogInfo) {
        const double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
        logLine(LogInfo, "firma della cache aggiornata: %s punti vivi, %u nodi riletti in %.0f ms",
                formatCount(aliveAfter).c_str(), reread, ms);
    }
    return true;
}

}  // namespace ovcf
