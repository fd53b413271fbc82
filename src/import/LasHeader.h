// The public header block of an ASPRS LAS file, versions 1.0 to 1.4, as far as reading
// uncompressed point records needs it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace ovcf {

constexpr std::size_t kLasHeaderBytesToRead = 375;  // the 1.4 header; older ones are shorter
constexpr std::size_t kVlrHeaderBytes = 54;         // what precedes a variable-length record's payload

struct LasHeader {
    std::uint8_t versionMajor = 0;
    std::uint8_t versionMinor = 0;
    std::uint16_t headerSize = 0;
    std::uint32_t pointDataOffset = 0;
    std::uint8_t pointFormat = 0;  // 0 to 10
    std::uint16_t recordLength = 0;  // of the uncompressed records
    std::uint32_t vlrCount = 0;
    bool compressed = false;  // LAZ: the records follow compressed, described by the LASzip record
    std::uint64_t pointCount = 0;
    double scale[3] = {1, 1, 1};
    double offset[3] = {0, 0, 0};
    double min[3] = {0, 0, 0};
    double max[3] = {0, 0, 0};
};

// Bytes every record of a point format needs at least; 0 for an unknown format.
std::uint16_t lasMinimumRecordLength(std::uint8_t pointFormat);
// Offset of the red, green, blue fields (16 bits each) in a record; -1 when the format has none.
int lasColourOffset(std::uint8_t pointFormat);
// Formats 6 to 10 keep the classification in a byte of its own.
inline bool lasHasFullClassByte(std::uint8_t pointFormat) { return pointFormat >= 6; }

// Decodes and checks the header from the file's first bytes (`size` of them, up to
// kLasHeaderBytesToRead) against the file's size (the size of the records only when they are not
// compressed). The reason names what is wrong, not the file.
bool parseLasHeader(const std::uint8_t* bytes, std::size_t size, std::uint64_t fileSize, LasHeader& header,
                    std::string& reason);

}  // namespace ovcf
