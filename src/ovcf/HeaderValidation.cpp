// The header check every opener runs (reader, cache check, commit of deletions, signature
// update): checks in a fixed order, the first failure wins.
#include <cstdio>
#include <cstring>

#include "OvcfReader.h"

namespace ovcf {
namespace {

// offset + size <= fileSize without overflowing.
bool sectionFits(std::uint64_t offset, std::uint64_t size, std::uint64_t fileSize) {
    return size <= fileSize && offset <= fileSize - size;
}

}  // namespace

bool OvcfReader::validateHeader(const FileHeader& header, std::uint64_t fileSize, std::string& error) {
    char text[160];
    if (std::memcmp(header.magic, kOvcfMagic.data(), kOvcfMagic.size()) != 0) {
        error = "non e' un file .ovcf (firma iniziale errata)";
        return false;
    }
    if (header.versionMajor != kOvcfVersionMajor) {
        std::snprintf(text, sizeof text, "versione di formato %u.%u non supportata (questo programma legge la %u.x)",
                      unsigned{header.versionMajor}, unsigned{header.versionMinor}, unsigned{kOvcfVersionMajor});
        error = text;
        return false;
    }
    if (header.pointFormat > kMaxPointFormat) {
        std::snprintf(text, sizeof text, "formato punto %u sconosciuto", unsigned{header.pointFormat});
        error = text;
        return false;
    }
    if (header.recordSize != recordSizeForFormat(header.pointFormat)) {
        error = "dimensione del record punto incoerente con il formato dichiarato";
        return false;
    }
    if (header.nodeCount == 0) {
        error = "il file non contiene nodi";
        return false;
    }
    if (header.rootExponent < kMinRootExponent || header.rootExponent > kMaxRootExponent) {
        error = "dimensione del cubo radice non valida";
        return false;
    }
    if (header.hierarchySize != std::uint64_t{header.nodeCount} * kHierarchyRecordSize) {
        error = "dimensione della tabella gerarchia incoerente con il numero di nodi";
        return false;
    }
    if (header.deletedMapSize != deletedMapBytes(header.pointCount)) {
        error = "dimensione della bitmap 'deleted' incoerente con il numero di punti";
        return false;
    }
    if (fileSize != 0 && (!sectionFits(header.hierarchyOffset, header.hierarchySize, fileSize) ||
                          !sectionFits(header.deletedMapOffset, header.deletedMapSize, fileSize))) {
        error = "il file e' troncato (le sezioni finali escono dalla sua dimensione)";
        return false;
    }
    return true;
}

}  // namespace ovcf
