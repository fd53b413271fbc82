#include "TestSupport.h"

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace fs = std::filesystem;

namespace ovcf::test {

TempDir::TempDir(const std::string& tag) {
    static std::atomic<unsigned> counter{0};
    const auto stamp = std::chrono::steady_clock::now().time_since_epoch().count();
    fs::path dir = fs::temp_directory_path() /
                   (tag + "_" + std::to_string(stamp) + "_" + std::to_string(counter++));
    fs::create_directories(dir);
    const std::u8string utf8 = dir.generic_u8string();
    path_.assign(utf8.begin(), utf8.end());
}

TempDir::~TempDir() {
    std::error_code ignored;
    fs::remove_all(fsPath(path_), ignored);
}

std::string TempDir::file(const std::string& name) const { return path_ + "/" + name; }

std::string sharedDataFile(const std::string& name) { return std::string(ORVANE_SHARED_DATA_DIR) + "/" + name; }

std::string sourceFile(const std::string& relative) { return std::string(ORVANE_SOURCE_DIR) + "/" + relative; }

std::vector<std::uint8_t> fileBytes(const std::string& path) {
    std::ifstream in(fsPath(path), std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void writeFileBytes(const std::string& path, const std::vector<std::uint8_t>& bytes) {
    std::ofstream(fsPath(path), std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

}  // namespace ovcf::test
