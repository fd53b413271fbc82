// libFuzzer target for the LAZ reader (pointwise and layered chunks, COPC) of `ovcf build`: the
// chunk table, the LASzip record and every point codec see damaged input here.
#include "PointFileFuzz.h"
#include "import/LazSource.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::string path = ovcf::fuzz::scratchPath("laz_reader_fuzz");
    ovcf::fuzz::readWholeFile<ovcf::LazSource>(path, ovcf::fuzz::splitPointFileInput(data, size));
    return 0;
}
