#include "import/LasSource.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <vector>

#include "core/NumberFormat.h"
#include "core/ThreadRun.h"
#include "import/MemoryCloud.h"
#include "import/Quantization.h"
#include "ovcf/ByteOrder.h"

namespace ovcf {

namespace {

constexpr std::size_t kRecordsPerPeek = 65536;
// A tile's colour depth is taken from this many evenly spread runs of records.
constexpr std::size_t kColourSamples = 16;
constexpr std::size_t kRecordsPerColourSample = 4096;

// The first pass gives each thread at least this many records (2 MiB and more).
constexpr std::uint64_t kRecordsPerScanRun = std::uint64_t{1} << 16;
constexpr unsigned kMostScanThreads = 8;

// What the first pass finds in a run of records.
struct RecordScan {
    std::int64_t low[3] = {std::numeric_limits<std::int64_t>::max(), std::numeric_limits<std::int64_t>::max(),
                           std::numeric_limits<std::int64_t>::max()};
    std::int64_t high[3] = {std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::min(),
                            std::numeric_limits<std::int64_t>::min()};
    std::uint16_t largestColour = 0;
    std::string failure;  // empty when the run was read whole

    void merge(const RecordScan& other) {
        for (int axis = 0; axis < 3; ++axis) {
            low[axis] = std::min(low[axis], other.low[axis]);
            high[axis] = std::max(high[axis], other.high[axis]);
        }
        largestColour = std::max(largestColour, other.largestColour);
    }
};

// Records [first, first + count) of the file through `file`: their integer box and largest colour.
void scanRun(BufferedFileReader& file, const LasHeader& header, int colourOffset, std::uint64_t first,
             std::uint64_t count, RecordScan& scan) {
    const std::size_t length = header.recordLength;
    std::string reason;
    file.seek(header.pointDataOffset + first * length);
    for (std::uint64_t done = 0; done < count;) {
        const std::size_t want = static_cast<std::size_t>(std::min<std::uint64_t>(kRecordsPerPeek, count - done));
        std::size_t available = 0;
        const std::uint8_t* bytes = file.peek(want * length, available, reason);
        if (!bytes) {
            scan.failure = "reading the point records failed: " + reason;
            return;
        }
        const std::size_t records = std::min(available / length, want);
        if (records == 0) {
            scan.failure = "the file ends before its last point record";
            return;
        }
        for (std::size_t i = 0; i < records; ++i) {
            const std::uint8_t* r = bytes + i * length;
            for (int axis = 0; axis < 3; ++axis) {
                const std::int64_t v = static_cast<std::int32_t>(le::u32(r + 4 * axis));
                scan.low[axis] = std::min(scan.low[axis], v);
                scan.high[axis] = std::max(scan.high[axis], v);
            }
        }
        if (colourOffset >= 0)
            scan.largestColour = std::max(scan.largestColour, largestLasColour(bytes, records, length, colourOffset));
        file.skip(records * length);
        done += records;
    }
}

}  // namespace

bool LasSource::fail(std::string& error, const std::string& reason) const {
    error = "'" + path_ + "': " + reason;
    return false;
}

bool LasSource::open(const std::string& path, double step, std::string& error) {
    path_ = path;
    cursor_ = 0;
    std::string reason;
    if (!file_.open(path, reason)) return fail(error, "cannot open the file: " + reason);
    std::uint8_t bytes[kLasHeaderBytesToRead] = {};
    const std::size_t headerBytes = static_cast<std::size_t>(std::min<std::uint64_t>(file_.size(), sizeof bytes));
    file_.seek(0);
    if (!file_.read(bytes, headerBytes, reason)) return fail(error, "reading the LAS header failed: " + reason);
    if (!parseLasHeader(bytes, headerBytes, file_.size(), header_, reason)) return fail(error, reason);
    if (header_.compressed) return fail(error, "compressed LAS (LAZ) records: open the file as LAZ");
    colourOffset_ = lasColourOffset(header_.pointFormat);
    zeroColour_ = false;
    if (onGrid_) {
        if (!sampleColourDepth(error)) return false;
        for (int axis = 0; axis < 3; ++axis) {
            bounds_.min[axis] = header_.min[axis];
            bounds_.max[axis] = header_.max[axis];
        }
        conversion_.setUpOnGrid(header_, gridStep_, gridOffset_);
        conversion_.setColour(colourOffset_, colourShift_);
        file_.seek(header_.pointDataOffset);
        return true;
    }
    // One pass over the records first: the exact integer box lets the indexer fix the octree's
    // root before reading, and the colour depth needs every record to be certain.
    if (!scanRecords(error)) return false;
    const bool headerBox = lasHeaderBoundsUsable(header_);
    for (int axis = 0; axis < 3; ++axis) {
        const double a = header_.offset[axis] + header_.scale[axis] * static_cast<double>(measured_[axis]);
        const double b = header_.offset[axis] + header_.scale[axis] * static_cast<double>(measured_[3 + axis]);
        bounds_.min[axis] = headerBox ? header_.min[axis] : std::min(a, b);
        bounds_.max[axis] = headerBox ? header_.max[axis] : std::max(a, b);
    }
    // The quantised range stays centred on the header's box when it has one, so that a LAZ twin,
    // which cannot measure its points before reading them, quantises the same way.
    if (!conversion_.setUp(header_, bounds_, headerBox ? nullptr : measured_, step, reason)) return fail(error, reason);
    conversion_.setMeasured(measured_);
    conversion_.setColour(colourOffset_, colourShift_);
    file_.seek(header_.pointDataOffset);
    return true;
}

bool LasSource::scanRecords(std::string& error) {
    // A long file is scanned in one run a thread, each through a reader of its own.
    const std::uint64_t count = header_.pointCount;
    const unsigned runs = threadsFor(count, kRecordsPerScanRun, threads_, kMostScanThreads);
    const auto first = [count, runs](unsigned run) { return count * run / runs; };
    std::vector<RecordScan> scans(runs);
    runOnThreads(runs, [&](unsigned run) {
        if (run == 0) {
            scanRun(file_, header_, colourOffset_, 0, first(1), scans[0]);
            return;
        }
        BufferedFileReader reader;
        std::string reason;
        if (!reader.open(path_, reason)) scans[run].failure = "cannot open the file: " + reason;
        else scanRun(reader, header_, colourOffset_, first(run), first(run + 1) - first(run), scans[run]);
    });

    RecordScan all;
    for (const RecordScan& scan : scans) {
        if (!scan.failure.empty()) return fail(error, scan.failure);
        all.merge(scan);
    }
    for (int axis = 0; axis < 3; ++axis) {
        if (count == 0) all.low[axis] = all.high[axis] = 0;
        measured_[axis] = all.low[axis];
        measured_[3 + axis] = all.high[axis];
    }
    setColourDepth(all.largestColour);
    return true;
}

bool LasSource::sampleColourDepth(std::string& error) {
    std::uint16_t largest = 0;
    const std::uint64_t count = header_.pointCount;
    const std::size_t length = header_.recordLength;
    std::string reason;
    for (std::size_t s = 0; s < kColourSamples && colourOffset_ >= 0 && count > 0 && largest <= 255; ++s) {
        const std::uint64_t first = count * s / kColourSamples;
        const std::size_t want = static_cast<std::size_t>(std::min<std::uint64_t>(kRecordsPerColourSample, count - first));
        file_.seek(header_.pointDataOffset + first * length);
        std::size_t available = 0;
        const std::uint8_t* bytes = file_.peek(want * length, available, reason);
        if (!bytes || available < want * length) {
            failureOffset_ = header_.pointDataOffset + first * length;
            return fail(error, "reading the point records at byte " + std::to_string(failureOffset_) + " failed: " +
                                   (bytes ? std::string(SystemFile::kEndOfFileText) : reason));
        }
        largest = std::max(largest, largestLasColour(bytes, want, header_.recordLength, colourOffset_));
    }
    setColourDepth(largest);
    return true;
}

void LasSource::setColourDepth(std::uint16_t largest) {
    // 8-bit values in 16-bit fields are kept as they are; fields that are zero everywhere hold no
    // colour at all, and the cloud is imported as one without.
    colourShift_ = largest > 255 ? 8 : 0;
    if (colourOffset_ >= 0 && largest == 0 && header_.pointCount > 0) {
        colourOffset_ = -1;
        zeroColour_ = true;
    }
}

bool LasSource::read(PointRecord* points, std::size_t capacity, std::size_t& count, std::string& error) {
    count = 0;
    if (!points || capacity == 0) return true;
    const std::size_t length = header_.recordLength;
    std::string reason;
    while (count < capacity && cursor_ < header_.pointCount) {
        const std::size_t want = static_cast<std::size_t>(
            std::min<std::uint64_t>(std::min<std::uint64_t>(capacity - count, kRecordsPerPeek), header_.pointCount - cursor_));
        std::size_t available = 0;
        const std::uint8_t* bytes = file_.peek(want * length, available, reason);
        failureOffset_ = header_.pointDataOffset + cursor_ * length;
        if (!bytes) return fail(error, "reading the point records failed: " + reason);
        const std::size_t records = std::min(available / length, want);
        if (records == 0) return fail(error, "the file ends after " + std::to_string(cursor_) + " of " +
                                                 std::to_string(header_.pointCount) + " points");
        std::uint64_t failed = cursor_;
        if (!conversion_.convert(bytes, records, cursor_, points + count, reason, &failed)) {
            failureOffset_ = header_.pointDataOffset + failed * length;
            return fail(error, reason);
        }
        file_.skip(records * length);
        cursor_ += records;
        count += records;
    }
    return true;
}

std::string LasSource::description() const {
    char text[96];
    std::snprintf(text, sizeof text, "file LAS %u.%u, formato punto %u, %s punti, ", header_.versionMajor,
                  header_.versionMinor, header_.pointFormat, formatCount(header_.pointCount).c_str());
    return text + std::string(lasColourDescription(zeroColour_, colourOffset_, colourShift_)) + ": " + path_;
}

}  // namespace ovcf
