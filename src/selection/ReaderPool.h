// Private readers on the view's file for the selection workers, one per worker thread. They are
// opened on first use, not with the cloud, so a view that never selects never holds them.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ovcf/OvcfReader.h"

namespace ovcf {

class ReaderPool {
public:
    static constexpr int kMaxReaders = 16;

    // Forgets any readers; `wanted` is clamped to 1..16. With a `source` (the view's own reader,
    // which must outlive the pool's use) the readers are second handles on the very file it has
    // open, so a file renamed over the path meanwhile is never read by mistake.
    void reset(const std::string& path, int wanted, OvcfReader* source = nullptr);
    void close() { reset({}, 1); }

    // Opens readers until the pool holds the wanted count; false (and the error line) when one
    // cannot be opened, keeping those already open.
    bool open();
    std::size_t size() const { return readers_.size(); }
    OvcfReader& reader(std::size_t index) { return *readers_[index]; }
    int wanted() const { return wanted_; }

private:
    std::string path_;
    OvcfReader* source_ = nullptr;
    int wanted_ = 1;
    std::vector<std::unique_ptr<OvcfReader>> readers_;
};

}  // namespace ovcf
