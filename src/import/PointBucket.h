// The points of one pending octree cell. They stay in memory while they fit the bucket's limit
// (and the shared pool, when there is one); beyond that the bucket moves them to a temporary file
// "<folder>/<name>.pts" of raw 18-byte records and appends through a 65,536-point write buffer,
// so that many small additions become large sequential writes. Reading hands the points back in
// the order they were added. Failures return false with an English message; nothing throws.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "import/BucketMemoryPool.h"
#include "import/PointArray.h"
#include "ovcf/PointRecord.h"
#include "platform/SystemFile.h"

namespace ovcf {

constexpr std::size_t kBucketWriteBufferPoints = 65536;

class PointBucket {
public:
    // `pool` may be null: then only the bucket's own limit counts.
    PointBucket(std::string folder, std::string name, std::uint64_t ramLimitPoints,
                BucketMemoryPool* pool = nullptr);
    ~PointBucket();
    PointBucket(const PointBucket&) = delete;
    PointBucket& operator=(const PointBucket&) = delete;

    // A hint that about `points` will be added: a bucket that will hold them in memory makes room
    // once instead of growing. One that could not hold them spills at once rather than filling
    // its memory only to write it all out at the spill: the file is the same either way.
    bool expect(std::uint64_t points, std::string& error);
    bool add(const PointRecord* points, std::size_t count, std::string& error);
    // Moves the bucket to its file now, for a bucket that is known to end up there.
    bool spillNow(std::string& error) { return isSpilled() || spill(error); }
    // Writes out what the buffer holds; the buffer's memory is given back until the next add.
    bool finishWriting(std::string& error);
    bool beginReading(std::string& error);
    // Up to `capacity` points from the cursor; `count` 0 at the end.
    bool read(PointRecord* points, std::size_t capacity, std::size_t& count, std::string& error);
    // For a spilled bucket read once from front to back: gives back the file's space and cached
    // pages for the points read so far, which can then not be read again.
    void discardReadPoints();
    // Every point, in order, into `points` (resized).
    bool readAll(PointArray& points, std::string& error);
    // For a bucket still in memory: moves its points into `points` and releases the bucket.
    void takePoints(PointArray& points);
    // Deletes the file and frees both arrays; the bucket is empty and in memory again.
    void release();

    std::uint64_t totalPoints() const { return total_; }
    bool isSpilled() const { return file_.isOpen(); }
    std::uint64_t bytesOnDisk() const { return bytesOnDisk_; }
    const std::string& name() const { return name_; }
    const std::string& filePath() const { return filePath_; }

private:
    bool appendInMemory(const PointRecord* points, std::size_t count);
    bool spill(std::string& error);
    bool writeOutBuffer(std::string& error, const char* failure);
    bool fail(std::string& error, const std::string& message);
    void giveBackMemory();

    std::string folder_;
    std::string name_;
    std::string filePath_;
    std::uint64_t ramLimit_;
    BucketMemoryPool* pool_;
    PointArray memory_;
    std::uint64_t poolTaken_ = 0;  // points of memory_'s capacity charged to the pool
    std::vector<PointRecord> writeBuffer_;
    SystemFile file_;
    std::uint64_t total_ = 0;
    std::uint64_t bytesOnDisk_ = 0;
    std::uint64_t cursor_ = 0;
    std::uint64_t discarded_ = 0;  // points at the file's start already given back
    bool reading_ = false;
};

}  // namespace ovcf
