#include "ovcf/FileCheck.h"

#include <cinttypes>
#include <cstdio>
#include <vector>

#include "ovcf/CommitRecovery.h"
#include "ovcf/ConfirmedState.h"
#include "ovcf/ContentSignature.h"
#include "ovcf/OvcfReader.h"

namespace ovcf {


namespace {

// The hierarchy links of node i: children written after it, one level down, at the keys of
// their octants, and the child mask telling the same.
std::string linkFault(const std::vector<HierarchyRecord>& nodes, std::size_t i) {
    const HierarchyRecord& r = nodes[i];
    for (std::uint32_t o = 0; o < 8; ++o) {
        const std::uint32_t c = r.children[o];
        const bool flagged = (r.childMask >> o) & 1u;
        if (c == kNoChild) {
            if (flagged) return "the child mask names octant " + std::to_string(o) + " but there is no child";
            continue;
        }
        if (!flagged) return "child in octant " + std::to_string(o) + " missing from the child mask";
        if (c >= nodes.size() || c <= i) return "child in octant " + std::to_string(o) + " has an invalid index";
        const NodeKey expected = childKey(r.key(), o);
        if (!(nodes[c].key() == expected)) return "child in octant " + std::to_string(o) + " has the wrong key";
    }
    return {};
}

}  // namespace

bool checkFile(const std::string& path, bool deep, FileCheckResult& result, std::string& fault,
               const std::function<void(double)>& progress) {
    result = {};
    auto fail = [&](const std::string& message) {
        fault = path + ": " + message;
        return false;
    };
    OvcfReader reader;
    std::string error;
    if (!recoverInterruptedCommit(path, error) || !reader.open(path, error)) return fail(error);
    const FileHeader& header = reader.header();
    const auto& nodes = reader.nodes();
    std::vector<std::uint8_t> raw;
    if (!reader.readDeletedMap(raw, error)) return fail(error);
    if (!raw.empty() && header.pointCount % 8 != 0 && raw.back() >> (header.pointCount % 8))
        return fail("bits beyond the last point are set in the 'deleted' map");
    ConfirmedState confirmed;
    if (!readConfirmedState(reader.file(), path, confirmed, error)) return fail(error);
    auto nodeFault = [&](std::size_t node, const std::string& message) {
        return fail("node " + std::to_string(node) + " (" + nodeName(nodes[node].key()) + "): " + message);
    };
    std::vector<PointRecord> points;
    std::uint64_t signature = 0, surviving = 0;
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        const std::string links = linkFault(nodes, i);
        if (!links.empty()) return nodeFault(i, links);
        if (!reader.readNode(static_cast<std::uint32_t>(i), points, error, true)) return nodeFault(i, error);
        const auto origin = nodeOrigin(header, nodes[i].key());
        const std::uint64_t side = nodeCubeSide(header.rootExponent, nodes[i].level);
        for (std::size_t j = 0; j < points.size(); ++j) {
            const PointRecord& p = points[j];
            if (std::uint32_t(p.x - origin[0]) >= side || std::uint32_t(p.y - origin[1]) >= side ||
                std::uint32_t(p.z - origin[2]) >= side)
                return nodeFault(i, "point " + std::to_string(j) + " lies outside the node's cube");
            const std::uint64_t hash = pointHashForFormat(p, header.pointFormat);
            signature += hash;
            const std::uint64_t g = nodes[i].firstPoint + j;
            if (deep && !((confirmed.map[g / 64] >> (g % 64)) & 1u)) surviving += hash;
        }
        if (progress) progress(static_cast<double>(i + 1) / static_cast<double>(nodes.size()));
    }
    char text[160];
    if (signature != header.buildSignature) {
        std::snprintf(text, sizeof text, "the points do not match the signature in the header (%016" PRIX64
                      " stored, %016" PRIX64 " computed)", header.buildSignature, signature);
        return fail(text);
    }
    if (confirmed.mapCount != confirmed.header.deletedCount)
        return fail("the 'deleted' map marks " + std::to_string(confirmed.mapCount) + " points, the header says " +
                    std::to_string(confirmed.header.deletedCount));
    if (deep && confirmed.header.currentSignature != 0 && surviving != confirmed.header.currentSignature) {
        std::snprintf(text, sizeof text, "the current signature does not match the surviving points (%016" PRIX64
                      " stored, %016" PRIX64 " computed)", confirmed.header.currentSignature, surviving);
        return fail(text);
    }
    result.nodes = nodes.size();
    result.points = header.pointCount;
    return true;
}

}  // namespace ovcf
