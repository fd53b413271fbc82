// ovcf info: what a .ovcf file holds, from its header, hierarchy and metadata.
#include <algorithm>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "Commands.h"
#include "core/NumberFormat.h"
#include "ovcf/CommitRecovery.h"
#include "ovcf/ConfirmedState.h"
#include "ovcf/OvcfReader.h"
#include "platform/SystemFile.h"

namespace ovcf::tool {

namespace {

struct LevelSummary {
    std::uint64_t nodes = 0;
    std::uint64_t leaves = 0;
    std::uint64_t points = 0;
    std::uint64_t smallest = UINT64_MAX;
    std::uint64_t largest = 0;
};

std::string readMetadata(const std::string& path, const FileHeader& header) {
    if (header.metadataOffset == 0 || header.metadataSize == 0 || header.metadataSize > (1u << 20)) return {};
    SystemFile file;
    std::string text(static_cast<std::size_t>(header.metadataSize), '\0');
    if (!file.open(path, SystemFile::Mode::Read) || !file.readAt(header.metadataOffset, text.data(), text.size()))
        return "(unreadable: " + file.lastErrorText() + ")\n";
    return text;
}

}  // namespace

int runInfo(int argc, char** argv) {
    if (argc != 1) {
        std::fputs("usage: ovcf info FILE.ovcf\n", stderr);
        return 2;
    }
    const std::string path = argv[0];
    OvcfReader reader;
    std::string error;
    if (!recoverInterruptedCommit(path, error) || !reader.open(path, error)) return reportFailure(error.c_str());
    // Counts and signatures as confirmed, read under the commit lock (through the journal of a
    // commit that died half-way on a medium this cannot write).
    ConfirmedState confirmed;
    if (!readConfirmedState(reader.file(), path, confirmed, error)) return reportFailure(error.c_str());
    const FileHeader& h = confirmed.header;
    const auto& nodes = reader.nodes();

    std::printf("file            : %s\n", path.c_str());
    std::printf("version         : %u.%u\n", h.versionMajor, h.versionMinor);
    std::printf("point format    : %s, %u bytes a point\n", pointFormatName(h.pointFormat), h.recordSize);
    std::printf("points          : %s (%s deleted)\n", formatCount(h.pointCount).c_str(),
                formatCount(h.deletedCount).c_str());
    if (confirmed.mapCount != h.deletedCount)
        std::printf("                  the 'deleted' map marks %s: run ovcf check\n", formatCount(confirmed.mapCount).c_str());
    std::printf("step            : %.9g %.9g %.9g m\n", h.step[0], h.step[1], h.step[2]);
    std::printf("offset          : %.4f %.4f %.4f\n", h.offset[0], h.offset[1], h.offset[2]);
    std::printf("bounds          : X [%.3f .. %.3f]  Y [%.3f .. %.3f]  Z [%.3f .. %.3f]\n", h.boundsMin[0],
                h.boundsMax[0], h.boundsMin[1], h.boundsMax[1], h.boundsMin[2], h.boundsMax[2]);
    std::printf("root cube       : origin (%u, %u, %u), side 2^%u units = %.3f m\n", h.rootOrigin[0], h.rootOrigin[1],
                h.rootOrigin[2], h.rootExponent, std::fabs(h.step[0]) * std::ldexp(1.0, static_cast<int>(h.rootExponent)));
    std::printf("built with      : grid %u, at most %s points a node, compression %s\n", h.gridSize,
                formatCount(h.maxNodePoints).c_str(), (h.flags & kOvcfFlagLz4) ? "LZ4" : "off");

    std::vector<LevelSummary> levels(h.deepestLevel + 1u);
    std::uint64_t stored = 0, raw = 0, leaves = 0;
    for (const HierarchyRecord& r : nodes) {
        if (r.level >= levels.size()) levels.resize(r.level + 1u);
        LevelSummary& l = levels[r.level];
        l.nodes += 1;
        l.points += r.pointCount;
        l.smallest = std::min<std::uint64_t>(l.smallest, r.pointCount);
        l.largest = std::max<std::uint64_t>(l.largest, r.pointCount);
        l.leaves += r.childMask == 0 ? 1 : 0;
        leaves += r.childMask == 0 ? 1 : 0;
        stored += r.storedSize;
        raw += r.rawSize;
    }
    std::printf("nodes           : %s (%s leaves), levels 0 to %u\n", formatCount(nodes.size()).c_str(),
                formatCount(leaves).c_str(), h.deepestLevel);
    std::printf("blocks          : %s stored, %s raw (%.1f%%)\n", formatSize(stored).c_str(), formatSize(raw).c_str(),
                raw ? 100.0 * static_cast<double>(stored) / static_cast<double>(raw) : 0.0);
    std::printf("signature       : %016" PRIX64 " as built, %016" PRIX64 " current\n", h.buildSignature,
                h.currentSignature);
    std::printf("\nlevel       nodes      leaves          points    smallest     largest        mean\n");
    for (std::size_t i = 0; i < levels.size(); ++i) {
        const LevelSummary& l = levels[i];
        if (l.nodes == 0) continue;
        std::printf("%5zu %11s %11s %15s %11s %11s %11s\n", i, formatCount(l.nodes).c_str(),
                    formatCount(l.leaves).c_str(), formatCount(l.points).c_str(), formatCount(l.smallest).c_str(),
                    formatCount(l.largest).c_str(), formatCount(l.points / l.nodes).c_str());
    }
    const std::string metadata = readMetadata(path, h);
    if (!metadata.empty()) {
        std::printf("\nmetadata:\n");
        std::size_t start = 0;
        while (start < metadata.size()) {
            std::size_t end = metadata.find('\n', start);
            if (end == std::string::npos) end = metadata.size();
            std::printf("  %s\n", metadata.substr(start, end - start).c_str());
            start = end + 1;
        }
    }
    return 0;
}

}  // namespace ovcf::tool
