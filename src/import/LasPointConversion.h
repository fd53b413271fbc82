// How LAS point records (from a LAS file, or decoded from a LAZ one) become quantised point
// records: the file's integers kept exactly (only shifted) or re-quantised with a given step,
// intensity and classification kept, 16-bit colour brought down to 8 bits.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "import/LasHeader.h"
#include "import/PointSource.h"
#include "ovcf/PointRecord.h"

namespace ovcf {

// Whether the header's box can stand for the records' extent (finite, ordered, within what the
// records' 32-bit integers can express, and not all zero for more than one point).
bool lasHeaderBoundsUsable(const LasHeader& header);

class LasPointConversion {
public:
    // Chooses step and offset for the header and the box. `measured` gives the records' integer
    // extent (low x, y, z, high x, y, z) when it was scanned, else null and the box is a hint
    // that the quantised range is centred on. `step` above 0 re-quantises.
    bool setUp(const LasHeader& header, const Bounds3& bounds, const std::int64_t* measured, double step,
               std::string& reason);
    // Puts the records on a grid chosen for several files (survey tiles): their integers are
    // scaled and shifted exactly when the file's scale is a whole multiple of `step` and its
    // offset lies on the grid, else re-quantised through world coordinates.
    void setUpOnGrid(const LasHeader& header, const std::array<double, 3>& step, const std::array<double, 3>& offset);
    // Whether setUpOnGrid() found the exact case.
    bool keepsIntegers() const { return keepIntegers_; }
    // 0 keeps 8-bit values found in 16-bit fields, 8 keeps the high byte; -1 for no colour.
    void setColour(int colourOffset, unsigned shift) {
        colourOffset_ = colourOffset;
        colourShift_ = shift;
    }

    // Converts `count` records of `header.recordLength` bytes; `firstIndex` numbers the first of
    // them in the file, for the message naming a point that does not fit.
    // `failed`, when given, receives the index of a point that does not fit.
    bool convert(const std::uint8_t* records, std::size_t count, std::uint64_t firstIndex, PointRecord* out,
                 std::string& reason, std::uint64_t* failed = nullptr) const;

    std::array<double, 3> step() const { return step_; }
    std::array<double, 3> offset() const { return offset_; }
    // The records' measured integer extent (low x, y, z, high x, y, z), for exactBounds().
    void setMeasured(const std::int64_t* measured);
    // Exact quantised bounds, known when the records' extent was measured with integers kept and
    // every measured value fits the quantised range.
    bool exactBounds(std::array<std::uint32_t, 3>& min, std::array<std::uint32_t, 3>& max) const;
    // Quantised bounds measured while reading, as the records' extent from now on.
    void setMeasuredQuantized(const std::array<std::uint32_t, 3>& min, const std::array<std::uint32_t, 3>& max);

private:
    LasHeader header_;
    bool keepIntegers_ = true;
    std::array<double, 3> step_{};
    std::array<double, 3> offset_{};
    std::int64_t base_[3] = {0, 0, 0};  // the file integer that becomes quantised 0 (integers kept)
    std::int64_t multiplier_[3] = {1, 1, 1};  // grid units per file unit (integers kept)
    bool measured_ = false;
    std::int64_t measuredLow_[3] = {0, 0, 0};
    std::int64_t measuredHigh_[3] = {0, 0, 0};
    int colourOffset_ = -1;
    unsigned colourShift_ = 8;
};

// The largest 16-bit colour channel value among `count` records; 0 when the format has none.
std::uint16_t largestLasColour(const std::uint8_t* records, std::size_t count, std::uint16_t recordLength,
                               int colourOffset);

// How a LAS or LAZ source's summary line names its colour: all zero, none, 8 or 16 bits.
const char* lasColourDescription(bool allZero, int colourOffset, unsigned colourShift);

}  // namespace ovcf
