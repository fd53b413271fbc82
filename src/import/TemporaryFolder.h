// The import's own scratch folder: a fresh "ovcf_import_<clock>_<number>" folder under the chosen
// parent (the system's temporary folder by default), removed again when the object goes. The
// buckets delete their files themselves; by then the folder is empty.
#pragma once

#include <string>

namespace ovcf {

class TemporaryFolder {
public:
    TemporaryFolder() = default;
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    // `parent` empty means the system's temporary folder.
    bool create(const std::string& parent, std::string& error);
    // Removes the folder now (it must be empty); harmless when there is none.
    void remove();

    const std::string& path() const { return path_; }

private:
    std::string path_;
};

}  // namespace ovcf
