// libFuzzer target for the point-file readers of `ovcf build`, which reads files from anywhere;
// built once per reader with ORVANE_FUZZ_SOURCE naming it (LAS 1.0 to 1.4 with point formats 0 to
// 10, LAZ pointwise and layered chunks and COPC, PLY ASCII and binary, XYZ text). The file the
// input holds (PointFileInput.h) is opened and read whole in batches of uneven size. Any crash,
// out-of-bounds access, leak, hang or runaway allocation is a finding; refusals are fine.
#include <cstdint>
#include <string>
#include <vector>

#include "FuzzScratch.h"
#include "PointFileInput.h"
#include "import/LasSource.h"
#include "import/LazSource.h"
#include "import/PlySource.h"
#include "import/XyzSource.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::string path = ovcf::fuzz::scratchPath(ORVANE_FUZZ_NAME);
    const ovcf::fuzz::PointFileInput input = ovcf::fuzz::splitPointFileInput(data, size);
    if (!ovcf::fuzz::writeScratchFile(path, input.file, input.size)) return 0;

    ORVANE_FUZZ_SOURCE source;
    std::string error;
    if (!source.open(path, input.step, error)) return 0;
    source.description();
    // The count comes from the file; a lying header must not make the reader run away.
    std::vector<ovcf::PointRecord> batch(1000);
    std::size_t count = 0, round = 0;
    do {
        const std::size_t want = 1 + (round++ * 37) % batch.size();
        if (!source.read(batch.data(), want, count, error)) return 0;
    } while (count > 0);
    return 0;
}
