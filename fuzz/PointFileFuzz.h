// The body shared by the point-file fuzz targets: the input is written as a file, opened with one
// reader, and every point is read in batches of uneven size. Any crash, out-of-bounds access,
// leak, hang or runaway allocation is a finding; refusals with a message are fine.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "PointFileInput.h"
#include "import/PointSource.h"

namespace ovcf::fuzz {

inline std::string scratchPath(const char* name) {
    std::error_code ignored;
    const std::filesystem::path memory("/dev/shm");
    const std::filesystem::path folder =
        std::filesystem::is_directory(memory, ignored) ? memory : std::filesystem::temp_directory_path();
    return (folder / (std::string(name) + "_" + std::to_string(::getpid()))).string();
}

// `Source` has open(path, step, error) and the PointSource reading interface.
template <typename Source>
void readWholeFile(const std::string& path, const PointFileInput& input) {
    std::FILE* out = std::fopen(path.c_str(), "wb");
    if (!out) return;
    const bool written = input.size == 0 || std::fwrite(input.file, 1, input.size, out) == input.size;
    if (std::fclose(out) != 0 || !written) return;

    Source source;
    std::string error;
    if (!source.open(path, input.step, error)) return;
    source.description();
    // The count comes from the file; a lying header must not make the reader run away.
    std::vector<PointRecord> batch(1000);
    std::size_t count = 0, round = 0;
    do {
        const std::size_t want = 1 + (round++ * 37) % batch.size();
        if (!source.read(batch.data(), want, count, error)) return;
    } while (count > 0);
}

}  // namespace ovcf::fuzz
