// libFuzzer target for the LAS reader (1.0 to 1.4, point formats 0 to 10) of `ovcf build`, which reads files from anywhere.
#include "PointFileFuzz.h"
#include "import/LasSource.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::string path = ovcf::fuzz::scratchPath("las_reader_fuzz");
    ovcf::fuzz::readWholeFile<ovcf::LasSource>(path, ovcf::fuzz::splitPointFileInput(data, size));
    return 0;
}
