// libFuzzer target for the PLY reader (ASCII and binary) of `ovcf build`, which reads files from anywhere.
#include "PointFileFuzz.h"
#include "import/PlySource.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::string path = ovcf::fuzz::scratchPath("ply_reader_fuzz");
    ovcf::fuzz::readWholeFile<ovcf::PlySource>(path, ovcf::fuzz::splitPointFileInput(data, size));
    return 0;
}
