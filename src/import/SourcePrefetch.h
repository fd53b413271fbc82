// Hands out a source's points batch by batch, reading the next batches on a thread of its own
// while the caller works on the current one, so that parsing the file overlaps with sampling and
// bucketing. The batches are the ones the source would give in order, so the result is the same
// as reading on the caller's thread, which is what happens when `ahead` is false.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "import/PointSource.h"
#include "import/RootCube.h"

namespace ovcf {

// What the reading pass keeps of a batch besides its points: their integer box and their share
// of the content signature (fields the point format lacks count as 0).
struct BatchSummary {
    IntegerBox box;
    std::uint64_t signature = 0;
};

class SourcePrefetch {
public:
    SourcePrefetch(PointSource& source, std::size_t batchPoints, std::uint32_t pointFormat, bool ahead);
    // Stops the reading thread (after the batch it is on) and joins it.
    ~SourcePrefetch();
    SourcePrefetch(const SourcePrefetch&) = delete;
    SourcePrefetch& operator=(const SourcePrefetch&) = delete;

    // The next batch, valid until the next call; `count` 0 at the end. False with the source's
    // message when it could not be read.
    bool next(const PointRecord*& points, std::size_t& count, BatchSummary& summary, std::string& error);

private:
    struct Batch {
        std::vector<PointRecord> points;
        std::size_t count = 0;
        BatchSummary summary;
        bool failed = false;
        std::string error;
    };

    void readAhead();
    // Reads the next batch into `batch` and sums it up.
    void fill(Batch& batch);

    PointSource& source_;
    std::uint32_t pointFormat_;
    std::vector<Batch> batches_;
    std::deque<Batch*> free_;    // for the reading thread to fill
    std::deque<Batch*> filled_;  // for the caller, in order
    Batch* current_ = nullptr;   // the batch the caller holds
    bool stopping_ = false;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::thread reader_;
};

}  // namespace ovcf
