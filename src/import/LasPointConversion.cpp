#include "import/LasPointConversion.h"

#include <algorithm>
#include <cmath>

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

}  // namespace

bool lasHeaderBoundsUsable(const LasHeader& h) {
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

bool LasPointConversion::setUp(const LasHeader& header, const Bounds3& bounds, const std::int64_t* measured,
                               double step, std::string& reason) {
    header_ = header;
    keepIntegers_ = !(step > 0.0);
    measured_ = measured != nullptr;
    for (std::int64_t& m : multiplier_) m = 1;
    for (int axis = 0; axis < 3; ++axis) {
        measuredLow_[axis] = measured ? measured[axis] : 0;
        measuredHigh_[axis] = measured ? measured[3 + axis] : 0;
    }
    if (keepIntegers_) {
        for (int axis = 0; axis < 3; ++axis) {
            const double scale = header.scale[axis];
            // The integer range of the box, whatever the sign of the scale. Measured integers
            // when there are some: going through world coordinates could overflow with extreme
            // scales and offsets.
            const double a = measured_ ? static_cast<double>(measuredLow_[axis]) : (bounds.min[axis] - header.offset[axis]) / scale;
            const double b = measured_ ? static_cast<double>(measuredHigh_[axis]) : (bounds.max[axis] - header.offset[axis]) / scale;
            const double low = std::floor(std::min(a, b));
            const double high = std::ceil(std::max(a, b));
            if (!(std::fabs(low) <= 4294967296.0) || !(std::fabs(high) <= 4294967296.0)) {
                reason = "invalid scale factor or offset in the LAS header";
                return false;
            }
            if (high - low > kLargestQuantized) {
                reason = "the cloud is too large for 31-bit coordinates at the file's scale: use --step";
                return false;
            }
            base_[axis] = static_cast<std::int64_t>(low - slackUnits(high - low));
            step_[axis] = scale;
            offset_[axis] = header.offset[axis] + scale * static_cast<double>(base_[axis]);
        }
        return true;
    }
    for (int axis = 0; axis < 3; ++axis) {
        step_[axis] = step;
        const double width = (bounds.max[axis] - bounds.min[axis]) / step;
        offset_[axis] = gridOffset(bounds.min[axis], step) - slackUnits(std::ceil(width) + 1.0) * step;
    }
    return checkQuantizationRange(bounds, offset_, step_, reason);
}

void LasPointConversion::setUpOnGrid(const LasHeader& header, const std::array<double, 3>& step,
                                     const std::array<double, 3>& offset) {
    header_ = header;
    measured_ = false;
    step_ = step;
    offset_ = offset;
    keepIntegers_ = true;
    for (int axis = 0; axis < 3; ++axis) {
        // Within a millionth of a unit of whole numbers: decimal scales and offsets written as
        // doubles never divide exactly, but points on the grid must not go through rounding.
        const double ratio = header.scale[axis] / step[axis];
        const double shift = (header.offset[axis] - offset[axis]) / step[axis];
        const double m = std::round(ratio);
        const double k = std::round(shift);
        keepIntegers_ = keepIntegers_ && m >= 1.0 && m <= 65536.0 && std::fabs(ratio - m) <= 1e-9 * m &&
                        std::fabs(shift) < 4e15 && std::fabs(shift - k) <= 1e-6;
        multiplier_[axis] = keepIntegers_ ? static_cast<std::int64_t>(m) : 1;
        base_[axis] = keepIntegers_ ? -static_cast<std::int64_t>(k) : 0;
    }
    if (!keepIntegers_)
        for (int axis = 0; axis < 3; ++axis) multiplier_[axis] = 1, base_[axis] = 0;
}

void LasPointConversion::setMeasured(const std::int64_t* measured) {
    measured_ = true;
    for (int axis = 0; axis < 3; ++axis) {
        measuredLow_[axis] = measured[axis];
        measuredHigh_[axis] = measured[3 + axis];
    }
}

void LasPointConversion::setMeasuredQuantized(const std::array<std::uint32_t, 3>& min,
                                              const std::array<std::uint32_t, 3>& max) {
    measured_ = true;
    for (int axis = 0; axis < 3; ++axis) {
        measuredLow_[axis] = static_cast<std::int64_t>(min[axis]) + base_[axis];
        measuredHigh_[axis] = static_cast<std::int64_t>(max[axis]) + base_[axis];
    }
}

bool LasPointConversion::exactBounds(std::array<std::uint32_t, 3>& min, std::array<std::uint32_t, 3>& max) const {
    if (!measured_ || !keepIntegers_ || header_.pointCount == 0) return false;
    for (int axis = 0; axis < 3; ++axis) {
        // Quantised values follow the integers whatever the sign of the scale.
        const std::int64_t low = measuredLow_[axis] - base_[axis];
        const std::int64_t high = measuredHigh_[axis] - base_[axis];
        // Out of range: reading will name the point that does not fit.
        if (low < 0 || high > static_cast<std::int64_t>(kLargestQuantized)) return false;
        min[axis] = static_cast<std::uint32_t>(low);
        max[axis] = static_cast<std::uint32_t>(high);
    }
    return true;
}

bool LasPointConversion::convert(const std::uint8_t* records, std::size_t count, std::uint64_t firstIndex,
                                 PointRecord* out, std::string& reason, std::uint64_t* failed) const {
    const std::size_t length = header_.recordLength;
    const bool fullClass = lasHasFullClassByte(header_.pointFormat);
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint8_t* r = records + i * length;
        PointRecord& p = out[i];
        std::uint32_t q[3];
        for (int axis = 0; axis < 3; ++axis) {
            const std::int64_t v = static_cast<std::int32_t>(le::u32(r + 4 * axis));
            std::int64_t quantized;
            if (keepIntegers_) {
                quantized = v * multiplier_[axis] - base_[axis];
            } else {
                const double world = header_.offset[axis] + header_.scale[axis] * static_cast<double>(v);
                const double units = (world - offset_[axis]) / step_[axis];
                quantized = units < -0.5 ? -1 : units > kLargestQuantized ? std::int64_t{1} << 31 : roundToQuantized(units);
            }
            if (quantized < 0 || quantized > static_cast<std::int64_t>(kLargestQuantized)) {
                if (failed) *failed = firstIndex + i;
                reason = "point " + std::to_string(firstIndex + i) +
                         " lies too far outside the bounding box declared in the header for 31-bit coordinates";
                return false;
            }
            q[axis] = static_cast<std::uint32_t>(quantized);
        }
        p.x = q[0];
        p.y = q[1];
        p.z = q[2];
        p.intensity = le::u16(r + 12);
        p.classification = fullClass ? r[16] : static_cast<std::uint8_t>(r[15] & 0x1F);
        if (colourOffset_ >= 0) {
            const std::uint8_t* c = r + colourOffset_;
            p.red = static_cast<std::uint8_t>(std::min<unsigned>(le::u16(c) >> colourShift_, 255u));
            p.green = static_cast<std::uint8_t>(std::min<unsigned>(le::u16(c + 2) >> colourShift_, 255u));
            p.blue = static_cast<std::uint8_t>(std::min<unsigned>(le::u16(c + 4) >> colourShift_, 255u));
        } else {
            p.red = p.green = p.blue = kGreyWithoutColour;
        }
    }
    return true;
}

std::uint16_t largestLasColour(const std::uint8_t* records, std::size_t count, std::uint16_t recordLength,
                               int colourOffset) {
    if (colourOffset < 0) return 0;
    std::uint16_t largest = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint8_t* c = records + i * recordLength + colourOffset;
        largest = std::max({largest, le::u16(c), le::u16(c + 2), le::u16(c + 4)});
    }
    return largest;
}

const char* lasColourDescription(bool allZero, int colourOffset, unsigned colourShift) {
    return allZero           ? "RGB tutto a zero, importato senza colore"
           : colourOffset < 0 ? "senza colore"
           : colourShift == 0 ? "colore a 8 bit"
                              : "colore a 16 bit";
}

}  // namespace ovcf
