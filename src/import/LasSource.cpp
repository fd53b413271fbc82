#include "import/LasSource.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

#include "core/NumberFormat.h"
#include "import/MemoryCloud.h"
#include "import/Quantization.h"
#include "ovcf/ByteOrder.h"

namespace ovcf {

namespace {

// The header's box is only a hint: writers often miss the extreme points by a little (unrounded
// coordinates, points added after the header was made). The quantised range is therefore laid
// with the box in its middle, so that points outside it by up to half the unused range still
// fit; the indexer measures the true box while reading.
double slackUnits(double widthUnits) { return widthUnits < kLargestQuantized ? std::floor((kLargestQuantized - widthUnits) / 2) : 0.0; }

// Colour depth: every record of smaller files, else this many evenly spread windows.
constexpr std::uint64_t kColourScanAll = 1u << 20;
constexpr std::uint64_t kColourWindows = 256;
constexpr std::uint64_t kColourWindowRecords = 4096;
constexpr std::size_t kRecordsPerPeek = 65536;

bool headerBoundsUsable(const LasHeader& h) {
    bool allZero = true;
    for (int axis = 0; axis < 3; ++axis) {
        if (!std::isfinite(h.min[axis]) || !std::isfinite(h.max[axis]) || h.min[axis] > h.max[axis]) return false;
        // A box beyond what the records' 32-bit integers can express says nothing about them.
        const double a = (h.min[axis] - h.offset[axis]) / h.scale[axis];
        const double b = (h.max[axis] - h.offset[axis]) / h.scale[axis];
        const double limit = 2147483649.0;
        if (!(std::fabs(a) <= limit) || !(std::fabs(b) <= limit)) return false;
        allZero = allZero && h.min[axis] == 0.0 && h.max[axis] == 0.0;
    }
    return !allZero || h.pointCount <= 1;
}

}  // namespace

bool LasSource::fail(std::string& error, const std::string& reason) const {
    error = "'" + path_ + "': " + reason;
    return false;
}

bool LasSource::open(const std::string& path, double step, std::string& error) {
    path_ = path;
    cursor_ = 0;
    scanned_ = false;
    std::string reason;
    if (!file_.open(path, reason)) return fail(error, "cannot open the file: " + reason);
    std::uint8_t bytes[kLasHeaderBytesToRead] = {};
    const std::size_t headerBytes = static_cast<std::size_t>(std::min<std::uint64_t>(file_.size(), sizeof bytes));
    file_.seek(0);
    if (!file_.read(bytes, headerBytes, reason)) return fail(error, "reading the LAS header failed: " + reason);
    if (!parseLasHeader(bytes, headerBytes, file_.size(), header_, reason)) return fail(error, reason);
    colourOffset_ = lasColourOffset(header_.pointFormat);
    keepIntegers_ = !(step > 0.0);
    requantizeStep_ = step;

    for (int axis = 0; axis < 3; ++axis) {
        bounds_.min[axis] = header_.min[axis];
        bounds_.max[axis] = header_.max[axis];
    }
    if (!headerBoundsUsable(header_) && !scanBounds(error)) return false;

    if (keepIntegers_) {
        for (int axis = 0; axis < 3; ++axis) {
            const double scale = header_.scale[axis];
            // The integer range of the box, whatever the sign of the scale.
            // Measured integers when the box was scanned: going through world coordinates could
            // overflow with extreme scales and offsets.
            const double a = scanned_ ? static_cast<double>(scannedLow_[axis])
                                      : (bounds_.min[axis] - header_.offset[axis]) / scale;
            const double b = scanned_ ? static_cast<double>(scannedHigh_[axis])
                                      : (bounds_.max[axis] - header_.offset[axis]) / scale;
            const double low = std::floor(std::min(a, b));
            const double high = std::ceil(std::max(a, b));
            if (!(std::fabs(low) <= 4294967296.0) || !(std::fabs(high) <= 4294967296.0))
                return fail(error, "invalid scale factor or offset in the LAS header");
            if (high - low > kLargestQuantized)
                return fail(error, "the cloud is too large for 31-bit coordinates at the file's scale: use --step");
            base_[axis] = static_cast<std::int64_t>(low - slackUnits(high - low));
            step_[axis] = scale;
            offset_[axis] = header_.offset[axis] + scale * static_cast<double>(base_[axis]);
        }
    } else {
        for (int axis = 0; axis < 3; ++axis) {
            step_[axis] = step;
            const double width = (bounds_.max[axis] - bounds_.min[axis]) / step;
            offset_[axis] = gridOffset(bounds_.min[axis], step) - slackUnits(std::ceil(width) + 1.0) * step;
        }
        if (!checkQuantizationRange(bounds_, offset_, step_, reason)) return fail(error, reason);
    }
    if (colourOffset_ >= 0 && !detectColourDepth(error)) return false;
    file_.seek(header_.pointDataOffset);
    return true;
}

bool LasSource::scanBounds(std::string& error) {
    std::int64_t low[3] = {std::numeric_limits<std::int64_t>::max(), std::numeric_limits<std::int64_t>::max(),
                           std::numeric_limits<std::int64_t>::max()};
    std::int64_t high[3] = {std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::min(),
                            std::numeric_limits<std::int64_t>::min()};
    const std::size_t length = header_.recordLength;
    std::string reason;
    file_.seek(header_.pointDataOffset);
    for (std::uint64_t done = 0; done < header_.pointCount;) {
        const std::size_t want = static_cast<std::size_t>(std::min<std::uint64_t>(kRecordsPerPeek, header_.pointCount - done));
        std::size_t available = 0;
        const std::uint8_t* bytes = file_.peek(want * length, available, reason);
        if (!bytes) return fail(error, "reading the point records failed: " + reason);
        const std::size_t records = available / length;
        if (records == 0) return fail(error, "the file ends before its last point record");
        for (std::size_t i = 0; i < records; ++i) {
            const std::uint8_t* r = bytes + i * length;
            for (int axis = 0; axis < 3; ++axis) {
                const std::int64_t v = static_cast<std::int32_t>(le::u32(r + 4 * axis));
                low[axis] = std::min(low[axis], v);
                high[axis] = std::max(high[axis], v);
            }
        }
        file_.skip(records * length);
        done += records;
    }
    scanned_ = true;
    for (int axis = 0; axis < 3; ++axis) {
        if (header_.pointCount == 0) low[axis] = high[axis] = 0;
        scannedLow_[axis] = low[axis];
        scannedHigh_[axis] = high[axis];
        const double a = header_.offset[axis] + header_.scale[axis] * static_cast<double>(low[axis]);
        const double b = header_.offset[axis] + header_.scale[axis] * static_cast<double>(high[axis]);
        bounds_.min[axis] = std::min(a, b);
        bounds_.max[axis] = std::max(a, b);
    }
    return true;
}

bool LasSource::detectColourDepth(std::string& error) {
    const std::size_t length = header_.recordLength;
    const std::uint64_t count = header_.pointCount;
    const bool everyRecord = count <= kColourScanAll;
    const std::uint64_t windows = everyRecord ? 1 : kColourWindows;
    const std::uint64_t windowRecords = everyRecord ? count : kColourWindowRecords;
    std::string reason;
    std::uint16_t largest = 0;
    for (std::uint64_t w = 0; w < windows && largest <= 255; ++w) {
        const std::uint64_t first = everyRecord ? 0 : (count - windowRecords) * w / (windows - 1);
        file_.seek(header_.pointDataOffset + first * length);
        for (std::uint64_t done = 0; done < windowRecords && largest <= 255;) {
            const std::size_t want = static_cast<std::size_t>(std::min<std::uint64_t>(kRecordsPerPeek, windowRecords - done));
            std::size_t available = 0;
            const std::uint8_t* bytes = file_.peek(want * length, available, reason);
            if (!bytes) return fail(error, "reading the point records failed: " + reason);
            const std::size_t records = std::min(available / length, want);
            if (records == 0) return fail(error, "the file ends before its last point record");
            for (std::size_t i = 0; i < records; ++i) {
                const std::uint8_t* c = bytes + i * length + colourOffset_;
                largest = std::max({largest, le::u16(c), le::u16(c + 2), le::u16(c + 4)});
            }
            file_.skip(records * length);
            done += records;
        }
    }
    colourShift_ = largest > 255 ? 8 : 0;
    return true;
}

bool LasSource::read(PointRecord* points, std::size_t capacity, std::size_t& count, std::string& error) {
    count = 0;
    if (!points || capacity == 0) return true;
    const std::size_t length = header_.recordLength;
    const bool fullClass = lasHasFullClassByte(header_.pointFormat);
    const int colourAt = colourOffset_;
    std::string reason;
    while (count < capacity && cursor_ < header_.pointCount) {
        const std::size_t want = static_cast<std::size_t>(
            std::min<std::uint64_t>(std::min<std::uint64_t>(capacity - count, kRecordsPerPeek), header_.pointCount - cursor_));
        std::size_t available = 0;
        const std::uint8_t* bytes = file_.peek(want * length, available, reason);
        if (!bytes) return fail(error, "reading the point records failed: " + reason);
        const std::size_t records = std::min(available / length, want);
        if (records == 0) return fail(error, "the file ends after " + std::to_string(cursor_) + " of " +
                                                 std::to_string(header_.pointCount) + " points");
        for (std::size_t i = 0; i < records; ++i) {
            const std::uint8_t* r = bytes + i * length;
            PointRecord& p = points[count + i];
            std::uint32_t q[3];
            for (int axis = 0; axis < 3; ++axis) {
                const std::int64_t v = static_cast<std::int32_t>(le::u32(r + 4 * axis));
                std::int64_t quantized;
                if (keepIntegers_) {
                    quantized = v - base_[axis];
                } else {
                    const double world = header_.offset[axis] + header_.scale[axis] * static_cast<double>(v);
                    const double units = (world - offset_[axis]) / step_[axis];
                    quantized = units < -0.5 ? -1 : units > kLargestQuantized ? std::int64_t{1} << 31 : roundToQuantized(units);
                }
                if (quantized < 0 || quantized > static_cast<std::int64_t>(kLargestQuantized))
                    return fail(error, "point " + std::to_string(cursor_ + i) +
                                           " lies too far outside the bounding box declared in the header for 31-bit coordinates");
                q[axis] = static_cast<std::uint32_t>(quantized);
            }
            p.x = q[0];
            p.y = q[1];
            p.z = q[2];
            p.intensity = le::u16(r + 12);
            p.classification = fullClass ? r[16] : static_cast<std::uint8_t>(r[15] & 0x1F);
            if (colourAt >= 0) {
                const std::uint8_t* c = r + colourAt;
                p.red = static_cast<std::uint8_t>(std::min<unsigned>(le::u16(c) >> colourShift_, 255u));
                p.green = static_cast<std::uint8_t>(std::min<unsigned>(le::u16(c + 2) >> colourShift_, 255u));
                p.blue = static_cast<std::uint8_t>(std::min<unsigned>(le::u16(c + 4) >> colourShift_, 255u));
            } else {
                p.red = p.green = p.blue = kGreyWithoutColour;
            }
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
    std::string colour = colourOffset_ < 0 ? "senza colore" : colourShift_ == 0 ? "colore a 8 bit" : "colore a 16 bit";
    return text + colour + ": " + path_;
}

}  // namespace ovcf
