// Helpers shared by the test programs: scratch folders and the shared sample data.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace ovcf::test {

// A fresh folder under the system's temporary folder, removed with everything in it.
class TempDir {
public:
    explicit TempDir(const std::string& tag = "orvane_test");
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return path_; }
    // path() + "/" + name, as UTF-8.
    std::string file(const std::string& name) const;

private:
    std::string path_;
};

// A file of the shared LiDAR samples (../shared/data beside the checkout).
std::string sharedDataFile(const std::string& name);
// A file of this source tree.
std::string sourceFile(const std::string& relative);

// A UTF-8 path as the file system takes it (Windows included).
inline std::filesystem::path fsPath(const std::string& utf8) {
    return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

// The whole file's bytes (none when it cannot be read); the path is UTF-8.
std::vector<std::uint8_t> fileBytes(const std::string& path);
// Writes the bytes as the whole file, replacing what it held.
void writeFileBytes(const std::string& path, const std::vector<std::uint8_t>& bytes);

}  // namespace ovcf::test
