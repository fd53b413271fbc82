// The inputs kept from fuzzing the LAS, LAZ, PLY and XYZ readers, replayed as the fuzz targets run
// them: each opens and reads to the end or is refused with a message, and never breaks the reader
// (the sanitizer builds catch what a plain build would not).
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "../../fuzz/PointFileInput.h"
#include "ImportTestSupport.h"
#include "TestSupport.h"
#include "import/LasSource.h"
#include "import/LazSource.h"
#include "import/PlySource.h"
#include "import/XyzSource.h"

namespace ovcf {
namespace {

template <typename Source>
void replay(const std::string& path, const std::vector<std::uint8_t>& input) {
    const fuzz::PointFileInput split = fuzz::splitPointFileInput(input.data(), input.size());
    std::ofstream(test::fsPath(path), std::ios::binary)
        .write(reinterpret_cast<const char*>(split.file), static_cast<std::streamsize>(split.size));
    Source source;
    std::string error;
    if (!source.open(path, split.step, error)) {
        EXPECT_FALSE(error.empty());
        return;
    }
    std::vector<PointRecord> batch(1000);
    std::uint64_t total = 0;
    for (std::size_t count = 1; count > 0;) {
        if (!source.read(batch.data(), batch.size(), count, error)) {
            EXPECT_FALSE(error.empty());
            return;
        }
        total += count;
    }
    EXPECT_EQ(total, source.pointCount());
}

template <typename Source>
std::size_t replayFolder(const test::TempDir& dir, const char* reader) {
    std::size_t replayed = 0;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(test::fsPath(test::sourceFile(std::string("fuzz/regressions/") + reader)), ignored)) {
        if (!entry.is_regular_file() || entry.path().filename() == "README.md") continue;
        SCOPED_TRACE(entry.path().filename().string());
        std::ifstream in(entry.path(), std::ios::binary);
        const std::vector<std::uint8_t> input((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        replay<Source>(dir.file("input"), input);
        ++replayed;
    }
    return replayed;
}

TEST(PointFileFuzzFindings, StayHandled) {
    test::TempDir dir("fuzz_findings");
    EXPECT_GT(replayFolder<LasSource>(dir, "las_reader"), 0u);
    replayFolder<LazSource>(dir, "laz_reader");
    EXPECT_GT(replayFolder<PlySource>(dir, "ply_reader"), 0u);
    EXPECT_GT(replayFolder<XyzSource>(dir, "xyz_reader"), 0u);
}

}  // namespace
}  // namespace ovcf
