// libFuzzer target for the XYZ text reader of `ovcf build`, which reads files from anywhere.
#include "PointFileFuzz.h"
#include "import/XyzSource.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::string path = ovcf::fuzz::scratchPath("xyz_reader_fuzz");
    ovcf::fuzz::readWholeFile<ovcf::XyzSource>(path, ovcf::fuzz::splitPointFileInput(data, size));
    return 0;
}
