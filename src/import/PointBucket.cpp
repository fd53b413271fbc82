#include "import/PointBucket.h"

#include <algorithm>
#include <cstring>

#include "core/Log.h"
#include "core/NumberFormat.h"
#include "platform/LargeBlock.h"
#include "platform/SystemInfo.h"

namespace ovcf {

namespace {

constexpr std::uint64_t kRecordBytes = sizeof(PointRecord);
constexpr std::uint64_t kFirstCapacity = 4096;
// Reads from the file go in pieces of at most this many points (18 MiB).
constexpr std::size_t kLargestFileRead = std::size_t{1} << 20;

}  // namespace

PointBucket::PointBucket(std::string folder, std::string name, std::uint64_t ramLimitPoints, BucketMemoryPool* pool)
    : folder_(std::move(folder)), name_(std::move(name)), ramLimit_(ramLimitPoints), pool_(pool) {}

PointBucket::~PointBucket() { release(); }

bool PointBucket::fail(std::string& error, const std::string& message) {
    error = message;
    return false;
}

void PointBucket::giveBackMemory() {
    if (pool_) pool_->giveBack(poolTaken_);
    poolTaken_ = 0;
}

bool PointBucket::appendInMemory(const PointRecord* points, std::size_t count) {
    const std::uint64_t needed = memory_.size() + count;
    if (needed > memory_.capacity()) {
        // Grow geometrically but never past the limit.
        const std::uint64_t doubled = std::max<std::uint64_t>(kFirstCapacity, 2 * memory_.capacity());
        const std::uint64_t capacity = std::max(needed, std::min(doubled, ramLimit_));
        if (largeBlockResizeCopies()) {
            // Both arrays exist while the points are copied: the new one is charged before the
            // old one is given back.
            if (pool_ && !pool_->tryTake(capacity)) return false;
            memory_.reserve(static_cast<std::size_t>(capacity));
            giveBackMemory();
            poolTaken_ = pool_ ? capacity : 0;
        } else {
            memory_.reserve(static_cast<std::size_t>(capacity));
        }
    }
    // Where growing moves pages, only the points held cost memory, and only they are charged:
    // a doubled capacity would otherwise claim up to twice the pool's worth.
    if (pool_ && needed > poolTaken_) {
        if (!pool_->tryTake(needed - poolTaken_)) return false;
        poolTaken_ = needed;
    }
    memory_.append(points, count);
    return true;
}

bool PointBucket::expect(std::uint64_t points, std::string& error) {
    if (isSpilled() || points <= memory_.capacity()) return true;
    if (total_ + points > ramLimit_) return spill(error);
    if (pool_ && !pool_->tryTake(points)) return true;
    memory_.reserve(static_cast<std::size_t>(points));
    giveBackMemory();
    poolTaken_ = pool_ ? points : 0;
    return true;
}

bool PointBucket::add(const PointRecord* points, std::size_t count, std::string& error) {
    if (count == 0) return true;
    if (!isSpilled()) {
        if (total_ + count <= ramLimit_ && appendInMemory(points, count)) {
            total_ += count;
            return true;
        }
        if (!spill(error)) return false;
    }
    if (writeBuffer_.capacity() < kBucketWriteBufferPoints) writeBuffer_.reserve(kBucketWriteBufferPoints);
    std::size_t done = 0;
    while (done < count) {
        const std::size_t room = kBucketWriteBufferPoints - writeBuffer_.size();
        const std::size_t piece = std::min(room, count - done);
        writeBuffer_.insert(writeBuffer_.end(), points + done, points + done + piece);
        done += piece;
        if (writeBuffer_.size() == kBucketWriteBufferPoints &&
            !writeOutBuffer(error, "writing to the temporary file failed: "))
            return false;
    }
    total_ += count;
    return true;
}

bool PointBucket::spill(std::string& error) {
    filePath_ = joinPath(folder_, name_ + ".pts");
    if (!file_.open(filePath_, SystemFile::Mode::Create))
        return fail(error, "cannot create temporary file '" + filePath_ + "': " + file_.lastErrorText());
    if (logLevelThreshold() <= LogDebug)
        logLine(LogDebug, "secchio '%s': passo su disco (%s punti gia' in RAM)", name_.c_str(),
                formatCount(memory_.size()).c_str());
    if (!memory_.empty()) {
        if (!file_.write(memory_.data(), memory_.size() * kRecordBytes))
            return fail(error, "writing to the temporary file failed: " + file_.lastErrorText());
        bytesOnDisk_ += memory_.size() * kRecordBytes;
    }
    memory_.release();
    giveBackMemory();
    return true;
}

bool PointBucket::writeOutBuffer(std::string& error, const char* failure) {
    if (writeBuffer_.empty()) return true;
    const std::uint64_t bytes = writeBuffer_.size() * kRecordBytes;
    if (!file_.write(writeBuffer_.data(), static_cast<std::size_t>(bytes)))
        return fail(error, failure + file_.lastErrorText());
    bytesOnDisk_ += bytes;
    writeBuffer_.clear();
    return true;
}

bool PointBucket::finishWriting(std::string& error) {
    if (!isSpilled()) return true;
    // The file is written without a cache of its own: flushing is writing out the buffer.
    if (!writeOutBuffer(error, "flushing the temporary file failed: ")) return false;
    // Nothing more will be added for a while (or ever): the buffer's 1,1 MiB goes back.
    std::vector<PointRecord>().swap(writeBuffer_);
    return true;
}

bool PointBucket::beginReading(std::string& error) {
    if (isSpilled()) {
        if (!writeOutBuffer(error, "flushing the temporary file failed: ")) return false;
        if (!file_.seek(0)) return fail(error, "seeking in the temporary file failed: " + file_.lastErrorText());
        std::vector<PointRecord>().swap(writeBuffer_);
    }
    reading_ = true;
    cursor_ = 0;
    discarded_ = 0;
    return true;
}

bool PointBucket::read(PointRecord* points, std::size_t capacity, std::size_t& count, std::string& error) {
    count = 0;
    if (!reading_) return fail(error, "PointBucket: read() called without beginReading()");
    const std::size_t n = static_cast<std::size_t>(std::min<std::uint64_t>(capacity, total_ - cursor_));
    if (n == 0) return true;
    if (isSpilled()) {
        if (!file_.readAt(cursor_ * kRecordBytes, points, n * kRecordBytes))
            return fail(error, "reading from temporary file '" + filePath_ + "' failed: " + file_.lastErrorText());
    } else {
        std::memcpy(static_cast<void*>(points), memory_.data() + cursor_, n * kRecordBytes);
    }
    cursor_ += n;
    count = n;
    return true;
}

void PointBucket::discardReadPoints() {
    if (!isSpilled() || cursor_ <= discarded_) return;
    discardFileRange(filePath_, discarded_ * kRecordBytes, (cursor_ - discarded_) * kRecordBytes);
    discarded_ = cursor_;
}

bool PointBucket::readAll(PointArray& points, std::string& error) {
    points.clear();
    if (total_ == 0) return true;
    if (!beginReading(error)) return false;
    points.resize(static_cast<std::size_t>(total_));
    std::size_t got = 0;
    while (got < points.size()) {
        std::size_t count = 0;
        const std::size_t want = std::min(points.size() - got, kLargestFileRead);
        if (!read(points.data() + got, want, count, error)) return false;
        if (count == 0) return fail(error, "bucket '" + name_ + "' contains fewer points than expected");
        got += count;
    }
    return true;
}

void PointBucket::takePoints(PointArray& points) {
    points.clear();
    points.swap(memory_);
    release();
}

void PointBucket::release() {
    if (file_.isOpen()) file_.close();
    if (!filePath_.empty()) SystemFile::deleteFile(filePath_);  // a file left over is not worth a failure
    filePath_.clear();
    memory_.release();
    std::vector<PointRecord>().swap(writeBuffer_);
    giveBackMemory();
    total_ = 0;
    bytesOnDisk_ = 0;
    cursor_ = 0;
    discarded_ = 0;
    reading_ = false;
}

}  // namespace ovcf
