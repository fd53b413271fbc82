// A text file of points, one a line: x y z, optionally followed by red green blue (0 to 255),
// separated by blanks, tabs or commas. Blank lines and lines starting with '#' or "//" are
// skipped, and so is a first line of column names. Lines with three to five values are points
// without colour, lines with six or more carry colour in values 4 to 6 (further values are
// ignored); every point line must have as many values as the first one needs.
//
// The file is read twice: once to count the points, find their box and check every line, then
// again to hand them out, so that nothing but one buffer is held in memory.
#pragma once

#include <string>

#include "import/BufferedFileReader.h"
#include "import/PointSource.h"
#include "import/TextLines.h"

namespace ovcf {

class XyzSource final : public PointSource {
public:
    // `step` above 0 is the quantisation step, else kDefaultQuantizationStep. Errors name the
    // file and the line.
    bool open(const std::string& path, double step, std::string& error);

    std::uint64_t pointCount() const override { return count_; }
    std::array<double, 3> step() const override { return step_; }
    std::array<double, 3> offset() const override { return offset_; }
    bool hasColour() const override { return hasColour_; }
    Bounds3 bounds() const override { return bounds_; }
    bool read(PointRecord* points, std::size_t capacity, std::size_t& count, std::string& error) override;
    std::string description() const override;

private:
    enum class LineKind { Skip, Point, Error };
    // Classifies a line and, for a point line, parses it.
    LineKind parseLine(std::string_view line, bool firstDataLine, double xyz[3], std::uint8_t rgb[3],
                       std::string& reason);
    bool fail(std::string& error, const std::string& reason) const;
    bool rewind(std::string& error);

    std::string path_;
    BufferedFileReader file_;
    LineReader lines_{file_};
    std::uint64_t count_ = 0;
    std::uint64_t handedOut_ = 0;
    bool hasColour_ = false;
    bool sawPoint_ = false;
    std::array<double, 3> step_{};
    std::array<double, 3> offset_{};
    Bounds3 bounds_;
};

}  // namespace ovcf
