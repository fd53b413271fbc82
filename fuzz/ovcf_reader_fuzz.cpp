// libFuzzer target for the .ovcf reader: the input is written as a file, opened, every node is
// read (with and without the CRC check), the deleted map is read and the header probed. Any
// crash, out-of-bounds access, leak, hang or runaway allocation is a finding.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "ovcf/OvcfReader.h"

namespace {

std::string scratchPath() {
    std::error_code ignored;
    const std::filesystem::path memory("/dev/shm");
    const std::filesystem::path folder =
        std::filesystem::is_directory(memory, ignored) ? memory : std::filesystem::temp_directory_path();
    return (folder / ("ovcf_reader_fuzz_" + std::to_string(::getpid()) + ".ovcf")).string();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::string path = scratchPath();
    std::FILE* out = std::fopen(path.c_str(), "wb");
    if (!out) return 0;
    const bool written = size == 0 || std::fwrite(data, 1, size, out) == size;
    if (std::fclose(out) != 0 || !written) return 0;

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
