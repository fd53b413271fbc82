// The scratch file every fuzz target writes its input to before a reader opens it: in memory
// (/dev/shm) where there is one, one per process so parallel fuzzers never share it.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>

namespace ovcf::fuzz {

inline std::string scratchPath(const std::string& name) {
    std::error_code ignored;
    const std::filesystem::path memory("/dev/shm");
    const std::filesystem::path folder =
        std::filesystem::is_directory(memory, ignored) ? memory : std::filesystem::temp_directory_path();
    return (folder / (name + "_" + std::to_string(::getpid()))).string();
}

inline bool writeScratchFile(const std::string& path, const std::uint8_t* data, std::size_t size) {
    std::FILE* out = std::fopen(path.c_str(), "wb");
    if (!out) return false;
    const bool written = size == 0 || std::fwrite(data, 1, size, out) == size;
    return std::fclose(out) == 0 && written;
}

}  // namespace ovcf::fuzz
