// The header of a PLY file ("ply", "format ...", "element ...", "property ...", "end_header"):
// its encoding and the layout of every element.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "import/BufferedFileReader.h"

namespace ovcf {

enum class PlyEncoding { Ascii, BinaryLittleEndian, BinaryBigEndian };
enum class PlyType { Int8, Uint8, Int16, Uint16, Int32, Uint32, Float32, Float64 };

struct PlyProperty {
    std::string name;
    PlyType type = PlyType::Float32;  // of the value, or of the list's items
    bool isList = false;
    PlyType countType = PlyType::Uint8;  // of a list's item count
};

struct PlyElement {
    std::string name;
    std::uint64_t count = 0;
    std::vector<PlyProperty> properties;
};

struct PlyHeader {
    PlyEncoding encoding = PlyEncoding::Ascii;
    std::vector<PlyElement> elements;
    std::uint64_t dataOffset = 0;  // first byte after "end_header" and its line end
    std::uint64_t headerLines = 0;
};

std::size_t plyTypeSize(PlyType type);

// Reads the header from the start of the file; the reason names what is wrong and the header
// line, not the file.
bool parsePlyHeader(BufferedFileReader& file, PlyHeader& header, std::string& reason);

}  // namespace ovcf
