// ovcf check: reads every node of a .ovcf file with CRC verification and checks the structure
// around it, and that the deleted-points map agrees with the header's count; with --deep also
// that the current signature is that of the surviving points. The first fault is reported and
// the exit code is 1. A commit that died half-way is undone first.
#include <bit>
#include <cinttypes>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "Commands.h"
#include "TerminalProgress.h"
#include "core/NumberFormat.h"
#include "ovcf/ContentSignature.h"
#include "ovcf/CommitRecovery.h"
#include "ovcf/ConfirmedState.h"
#include "ovcf/OvcfReader.h"
#include "platform/SystemInfo.h"

namespace ovcf::tool {

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

int runCheck(int argc, char** argv) {
    const bool deep = argc == 2 && std::string(argv[1]) == "--deep";
    if (argc != 1 && !deep) {
        std::fputs("usage: ovcf check FILE.ovcf [--deep]\n", stderr);
        return 2;
    }
    const std::string path = argv[0];
    OvcfReader reader;
    std::string error;
    if (!recoverInterruptedCommit(path, error)) return reportFailure((path + ": " + error).c_str());
    if (!reader.open(path, error)) return reportFailure((path + ": " + error).c_str());
    const FileHeader& header = reader.header();
    const auto& nodes = reader.nodes();
    std::vector<std::uint8_t> raw;
    if (!reader.readDeletedMap(raw, error)) return reportFailure((path + ": " + error).c_str());
    if (!raw.empty() && header.pointCount % 8 != 0 && raw.back() >> (header.pointCount % 8))
        return reportFailure((path + ": bits beyond the last point are set in the 'deleted' map").c_str());
    ConfirmedState confirmed;
    if (!readConfirmedState(reader.file(), path, confirmed, error)) return reportFailure((path + ": " + error).c_str());
    std::optional<TerminalProgress> bar;
    if (standardErrorIsTerminal()) bar.emplace("ovcf check");
    auto fault = [&](std::size_t node, const std::string& message) {
        bar.reset();
        return reportFailure((path + ": node " + std::to_string(node) + " (" + nodeName(nodes[node].key()) + "): " + message).c_str());
    };
    std::vector<PointRecord> points;
    std::uint64_t signature = 0, surviving = 0;
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        const std::string links = linkFault(nodes, i);
        if (!links.empty()) return fault(i, links);
        if (!reader.readNode(static_cast<std::uint32_t>(i), points, error, true)) return fault(i, error);
        const auto origin = nodeOrigin(header, nodes[i].key());
        const std::uint64_t side = nodeCubeSide(header.rootExponent, nodes[i].level);
        for (std::size_t j = 0; j < points.size(); ++j) {
            const PointRecord& p = points[j];
            if (std::uint32_t(p.x - origin[0]) >= side || std::uint32_t(p.y - origin[1]) >= side ||
                std::uint32_t(p.z - origin[2]) >= side)
                return fault(i, "point " + std::to_string(j) + " lies outside the node's cube");
            const std::uint64_t hash = pointHashForFormat(p, header.pointFormat);
            signature += hash;
            const std::uint64_t g = nodes[i].firstPoint + j;
            if (deep && !((confirmed.map[g / 64] >> (g % 64)) & 1u)) surviving += hash;
        }
        if (bar) bar->show(static_cast<double>(i + 1) / static_cast<double>(nodes.size()));
    }
    bar.reset();
    char text[200];
    if (signature != header.buildSignature) {
        std::snprintf(text, sizeof text, "%s: the points do not match the signature in the header (%016" PRIX64
                      " stored, %016" PRIX64 " computed)", path.c_str(), header.buildSignature, signature);
        return reportFailure(text);
    }
    if (confirmed.mapCount != confirmed.header.deletedCount)
        return reportFailure((path + ": the 'deleted' map marks " + std::to_string(confirmed.mapCount) +
                              " points, the header says " + std::to_string(confirmed.header.deletedCount)).c_str());
    if (deep && confirmed.header.currentSignature != 0 && surviving != confirmed.header.currentSignature) {
        std::snprintf(text, sizeof text, "%s: the current signature does not match the surviving points (%016" PRIX64
                      " stored, %016" PRIX64 " computed)", path.c_str(), confirmed.header.currentSignature, surviving);
        return reportFailure(text);
    }
    std::printf("%s: OK, %s nodes and %s points read with CRC verification%s\n", path.c_str(),
                formatCount(nodes.size()).c_str(), formatCount(header.pointCount).c_str(),
                deep ? ", current signature of the surviving points verified" : "");
    return 0;
}

}  // namespace ovcf::tool
