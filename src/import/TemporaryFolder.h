// The import's own scratch folder: a fresh "ovcf_import_<clock>_<number>" folder under the chosen
// parent (the system's temporary folder by default), removed again when the object goes. The
// buckets delete their files themselves; by then the folder holds only its owner mark.
//
// The owner mark (a file "owner": the process id and start time) lets a later import remove the
// folders that a crashed or killed import left behind: only folders so named and so marked,
// whose process no longer runs, and in them only the mark and the ".pts" spill files.
#pragma once

#include <string>

namespace ovcf {

class TemporaryFolder {
public:
    TemporaryFolder() = default;
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    // `parent` empty means the system's temporary folder. Removes the folders of earlier imports
    // whose process is gone first.
    bool create(const std::string& parent, std::string& error);
    // Removes the folder now (it must be empty); harmless when there is none.
    void remove();

    const std::string& path() const { return path_; }

    // Removes the leftovers of ended processes under `parent`; returns how many folders went.
    static int removeAbandoned(const std::string& parent);

    static constexpr const char* kOwnerFile = "owner";

private:
    std::string path_;
};

}  // namespace ovcf
