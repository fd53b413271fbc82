// A PLY file (ASCII, binary little- or big-endian) as a point source: the "vertex" element's x,
// y, z and, when present, red, green, blue. Other elements are skipped. Colours of 8-bit types are
// taken as they are, 16-bit ones keep their high byte, floating-point ones are read as 0 to 1.
//
// The vertices are read twice, once for their box and once to hand them out, so that only one
// buffer is held in memory whatever the file's size.
#pragma once

#include <string>

#include "import/BufferedFileReader.h"
#include "import/PlyHeader.h"
#include "import/PointSource.h"
#include "import/TextLines.h"

namespace ovcf {

class PlySource final : public PointSource {
public:
    // `step` above 0 is the quantisation step, else kDefaultQuantizationStep. Errors name the file.
    bool open(const std::string& path, double step, std::string& error);

    std::uint64_t pointCount() const override { return vertexCount_; }
    std::array<double, 3> step() const override { return step_; }
    std::array<double, 3> offset() const override { return offset_; }
    bool hasColour() const override { return colour_[0] >= 0; }
    Bounds3 bounds() const override { return bounds_; }
    bool read(PointRecord* points, std::size_t capacity, std::size_t& count, std::string& error) override;
    std::string description() const override;

    const PlyHeader& header() const { return header_; }

private:
    bool fail(std::string& error, const std::string& reason) const;
    bool skipElement(const PlyElement& element, std::string& reason);
    bool goToVertices(std::string& reason);
    bool readVertex(double xyz[3], std::uint8_t rgb[3], std::string& reason);
    double binaryValue(const std::uint8_t* record, int property) const;

    std::string path_;
    BufferedFileReader file_;
    LineReader lines_{file_};
    PlyHeader header_;
    std::size_t vertexElement_ = 0;
    std::uint64_t vertexCount_ = 0;
    std::vector<std::size_t> propertyOffsets_;  // binary: byte offset of each vertex property
    std::size_t recordSize_ = 0;                // binary: bytes per vertex
    int xyz_[3] = {-1, -1, -1};                 // property index of x, y, z
    int colour_[3] = {-1, -1, -1};              // of red, green, blue, -1 without colour
    std::uint64_t vertexIndex_ = 0;             // next vertex to read
    std::array<double, 3> step_{};
    std::array<double, 3> offset_{};
    Bounds3 bounds_;
};

}  // namespace ovcf
