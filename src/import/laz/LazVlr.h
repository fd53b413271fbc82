// The LASzip record ("laszip encoded", 22204) that says how a LAZ file's points are compressed:
// the compressor, the chunk size and the items a point record is made of.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace ovcf::laz {

enum class ItemType : std::uint16_t {
    Byte = 0,
    Point10 = 6,
    GpsTime11 = 7,
    Rgb12 = 8,
    WavePacket13 = 9,
    Point14 = 10,
    Rgb14 = 11,
    RgbNir14 = 12,
    WavePacket14 = 13,
    Byte14 = 14,
};

struct LazItem {
    std::uint16_t type = 0;
    std::uint16_t size = 0;
    std::uint16_t version = 0;
};

enum class Compressor : std::uint16_t { None = 0, Pointwise = 1, PointwiseChunked = 2, LayeredChunked = 3 };

struct LazVlr {
    static constexpr std::uint32_t kVariableChunks = 0xFFFFFFFFu;

    std::uint16_t compressor = 0;
    std::uint16_t coder = 0;
    std::uint8_t versionMajor = 3;
    std::uint8_t versionMinor = 4;
    std::uint16_t revision = 3;
    std::uint32_t options = 0;
    std::uint32_t chunkSize = 50000;
    std::vector<LazItem> items;

    bool layered() const { return compressor == static_cast<std::uint16_t>(Compressor::LayeredChunked); }
    bool variableChunks() const { return chunkSize == kVariableChunks; }
};

constexpr char kLazVlrUserId[] = "laszip encoded";
constexpr std::uint16_t kLazVlrRecordId = 22204;

bool parseLazVlr(const std::uint8_t* data, std::size_t size, LazVlr& vlr, std::string& reason);
std::vector<std::uint8_t> encodeLazVlr(const LazVlr& vlr);

// Checks that the items describe the records of `pointFormat` and that this reader can decode
// them; the reason names what is not supported.
bool checkLazItems(const LazVlr& vlr, std::uint8_t pointFormat, std::uint16_t recordLength, std::string& reason);

// The items this module writes for a point format of 6 to 8 with `extraBytes` extra bytes.
LazVlr layeredVlrFor(std::uint8_t pointFormat, std::uint16_t extraBytes);

}  // namespace ovcf::laz
