#include "import/SourcePrefetch.h"

#include <new>

#include "ovcf/ContentSignature.h"

namespace ovcf {

namespace {

// The signature counts only what the file will keep: fields the point format lacks are 0.
std::uint64_t batchSignature(const PointRecord* points, std::size_t count, std::uint32_t pointFormat) {
    std::uint64_t sum = 0;
    if (pointFormat >= 2) {
        for (std::size_t i = 0; i < count; ++i) sum += pointHash(points[i]);
    } else if (pointFormat == 1) {
        for (std::size_t i = 0; i < count; ++i) {
            const PointRecord& p = points[i];
            sum += pointHash(p.x, p.y, p.z, 0, p.red, p.green, p.blue, 0);
        }
    } else {
        for (std::size_t i = 0; i < count; ++i) sum += pointHash(points[i].x, points[i].y, points[i].z, 0, 0, 0, 0, 0);
    }
    return sum;
}

// Enough batches that the reading thread rarely waits for the caller, or the caller for it.
constexpr std::size_t kBatchesAhead = 3;

}  // namespace

SourcePrefetch::SourcePrefetch(PointSource& source, std::size_t batchPoints, std::uint32_t pointFormat, bool ahead)
    : source_(source), pointFormat_(pointFormat), batches_(ahead ? kBatchesAhead : 1) {
    for (Batch& batch : batches_) batch.points.resize(batchPoints);
    if (!ahead) return;
    for (Batch& batch : batches_) free_.push_back(&batch);
    try {
        reader_ = std::thread([this] { readAhead(); });
    } catch (...) {
        // No thread to spare: next() reads on the caller's thread instead.
        free_.clear();
    }
}

SourcePrefetch::~SourcePrefetch() {
    if (!reader_.joinable()) return;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    changed_.notify_all();
    reader_.join();
}

void SourcePrefetch::readAhead() {
    for (;;) {
        Batch* batch = nullptr;
        {
            std::unique_lock<std::mutex> lock(mutex_);
            changed_.wait(lock, [this] { return stopping_ || !free_.empty(); });
            if (stopping_) return;
            batch = free_.front();
            free_.pop_front();
        }
        fill(*batch);
        const bool last = batch->failed || batch->count == 0;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            filled_.push_back(batch);
        }
        changed_.notify_all();
        if (last) return;
    }
}

void SourcePrefetch::fill(Batch& batch) {
    batch.count = 0;
    batch.failed = false;
    batch.summary = BatchSummary{};
    try {
        batch.failed = !source_.read(batch.points.data(), batch.points.size(), batch.count, batch.error);
    } catch (const std::bad_alloc&) {
        batch.failed = true;
        batch.error = "out of memory while reading the source";
    }
    if (batch.failed) return;
    const PointRecord* points = batch.points.data();
    IntegerBox box;
    for (std::size_t i = 0; i < batch.count; ++i) box.add(points[i]);
    batch.summary.box = box;
}

bool SourcePrefetch::next(const PointRecord*& points, std::size_t& count, BatchSummary& summary, std::string& error) {
    Batch* batch = nullptr;
    if (!reader_.joinable()) {
        batch = &batches_.front();
        fill(*batch);
    } else {
        std::unique_lock<std::mutex> lock(mutex_);
        if (current_) free_.push_back(current_);
        current_ = nullptr;
        changed_.notify_all();
        changed_.wait(lock, [this] { return !filled_.empty(); });
        batch = filled_.front();
        filled_.pop_front();
        current_ = batch;
    }
    if (batch->failed) {
        error = batch->error;
        return false;
    }
    points = batch->points.data();
    count = batch->count;
    summary = batch->summary;
    // Summed on the caller's thread: parsing the file keeps the reading thread the busier of the two.
    summary.signature = batchSignature(points, count, pointFormat_);
    return true;
}

}  // namespace ovcf
