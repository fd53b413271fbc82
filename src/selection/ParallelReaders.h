// Readers on one open file for several worker threads, and the handing out of numbered pieces of
// work to them in increasing order. When a piece fails the handing out stops; the error kept is
// that of the lowest piece that failed, which is the one a single thread going in order would
// have met first, since every lower piece was handed out already and runs to its end.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "core/ThreadRun.h"
#include "ovcf/OvcfReader.h"

namespace ovcf {

class ParallelReaders {
public:
    // `first` is open and serves worker 0; up to wanted - 1 more readers are opened on the very
    // same file. False with the reader's error when one cannot be opened.
    bool open(OvcfReader& first, unsigned wanted, std::string& error) {
        first_ = &first;
        extra_.clear();
        for (unsigned t = 1; t < wanted; ++t) {
            auto reader = std::make_unique<OvcfReader>();
            if (!reader->openSame(first, error)) return false;
            extra_.push_back(std::move(reader));
        }
        return true;
    }
    unsigned count() const { return static_cast<unsigned>(extra_.size() + 1); }
    OvcfReader& reader(unsigned worker) { return worker == 0 ? *first_ : *extra_[worker - 1]; }

    // Calls work(worker, piece, error) for every piece below `pieces`, on min(count(), pieces)
    // threads; work returns false (with `error` filled) when the piece failed.
    template <class Work>
    bool forEachPiece(std::size_t pieces, const Work& work, std::string& error) {
        std::atomic<std::size_t> next{0};
        std::atomic<std::size_t> failedAt{pieces};
        std::mutex failure;
        const auto worker = [&](unsigned t) {
            std::string mine;
            for (std::size_t i = next.fetch_add(1); i < pieces && i < failedAt.load(); i = next.fetch_add(1)) {
                if (work(t, i, mine)) continue;
                const std::lock_guard<std::mutex> lock(failure);
                if (i < failedAt.load()) {
                    failedAt = i;
                    error = mine;
                }
                return;
            }
        };
        const std::size_t threads = std::min<std::size_t>(count(), pieces);
        runOnThreads(static_cast<unsigned>(std::max<std::size_t>(threads, 1)), worker);
        return failedAt.load() == pieces;
    }

private:
    OvcfReader* first_ = nullptr;
    std::vector<std::unique_ptr<OvcfReader>> extra_;
};

}  // namespace ovcf
