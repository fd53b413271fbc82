// libFuzzer target for the .ovcf reader: the input is written as a file, opened, every node is
// read (with and without the CRC check), the deleted map is read and the header probed. Any
// crash, out-of-bounds access, leak, hang or runaway allocation is a finding.
#include <cstdint>
#include <string>
#include <vector>

#include "FuzzScratch.h"
#include "ovcf/OvcfReader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::string path = ovcf::fuzz::scratchPath("ovcf_reader_fuzz") + ".ovcf";
    if (!ovcf::fuzz::writeScratchFile(path, data, size)) return 0;

    ovcf::OvcfReader reader;
    std::string error;
    if (reader.open(path, error)) {
        std::vector<ovcf::PointRecord> points;
        const auto count = static_cast<std::uint32_t>(reader.nodes().size());
        for (std::uint32_t i = 0; i < count; ++i) {
            reader.readNode(i, points, error, false);
            reader.readNode(i, points, error, true);
        }
        reader.readNode(count, points, error);
        std::vector<std::uint8_t> map;
        reader.readDeletedMap(map, error);
    }
    ovcf::FileHeader header;
    ovcf::OvcfReader::probeHeader(path, header, error);
    return 0;
}
