// An uncompressed LAS file (1.0 to 1.4, point formats 0 to 10) as a point source, streamed: the
// records are read in large sequential pieces, so files larger than memory work.
//
// Coordinates: with no step given, the file's own integers and scale factors are kept exactly
// (only shifted); with a step, the world coordinates are quantised again with it. The header's
// bounding box is a hint: points a little outside it import, and the built file gets the true box.
// A first pass over the records measures their exact box (handed to the indexer) and their
// colour. Intensity and classification are kept, so a LAS source fills point format 2. Colours:
// LAS stores 16-bit channels, but many writers put 8-bit values in them; when no value exceeds
// 255 the values are taken as they are, otherwise the high byte is kept. Files without colour,
// and files whose colour fields are zero for every point, read as grey 200.
#pragma once

#include <string>

#include "import/BufferedFileReader.h"
#include "import/LasHeader.h"
#include "import/LasPointConversion.h"
#include "import/PointSource.h"

namespace ovcf {

class LasSource final : public PointSource {
public:
    // `step` above 0 re-quantises with that step; 0 keeps the file's scale. Errors name the file.
    bool open(const std::string& path, double step, std::string& error);
    // A tile of a survey (TileSetSource), set before open(): its records go onto the survey's
    // grid, and open() reads no more than a sample of them (for the colour depth), since the
    // survey's box comes from the tiles' headers and the indexer verifies it while reading.
    void setGrid(const std::array<double, 3>& step, const std::array<double, 3>& offset) {
        gridStep_ = step;
        gridOffset_ = offset;
        onGrid_ = true;
    }
    // Threads for the first pass over the records: 1 (the default) scans on the caller only, 0
    // on every core.
    void setThreads(unsigned threads) { threads_ = threads; }
    // The byte of the file where the last failure was found, for messages.
    std::uint64_t failureOffset() const { return failureOffset_; }

    std::uint64_t pointCount() const override { return header_.pointCount; }
    std::array<double, 3> step() const override { return conversion_.step(); }
    std::array<double, 3> offset() const override { return conversion_.offset(); }
    bool hasColour() const override { return colourOffset_ >= 0; }
    Bounds3 bounds() const override { return bounds_; }
    bool read(PointRecord* points, std::size_t capacity, std::size_t& count, std::string& error) override;
    std::string description() const override;
    std::uint32_t fullPointFormat() const override { return 2; }
    bool quantizedBounds(std::array<std::uint32_t, 3>& min, std::array<std::uint32_t, 3>& max) const override {
        return conversion_.exactBounds(min, max);
    }
    std::string colourNote() const override { return zeroColour_ ? "RGB tutto a zero nel file: importato senza colore" : ""; }

    const LasHeader& header() const { return header_; }
    // True when the colour channels hold 8-bit values (kept as they are).
    bool coloursAreEightBit() const { return colourShift_ == 0; }

private:
    // Measures the records' integer box and largest colour value.
    bool scanRecords(std::string& error);
    // The colour depth from records spread over the file.
    bool sampleColourDepth(std::string& error);
    void setColourDepth(std::uint16_t largest);
    bool fail(std::string& error, const std::string& reason) const;

    std::string path_;
    LasHeader header_;
    BufferedFileReader file_;
    LasPointConversion conversion_;
    Bounds3 bounds_;
    std::int64_t measured_[6] = {};  // low x, y, z and high x, y, z of the records' integers
    int colourOffset_ = -1;
    bool zeroColour_ = false;  // the format has colour fields, all zero
    unsigned colourShift_ = 8;
    std::uint64_t cursor_ = 0;
    bool onGrid_ = false;
    std::array<double, 3> gridStep_{};
    std::array<double, 3> gridOffset_{};
    std::uint64_t failureOffset_ = 0;
    unsigned threads_ = 1;
};

}  // namespace ovcf
