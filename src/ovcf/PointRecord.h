// One point as the file side hands it around: absolute quantised coordinates and the optional
// attributes. Fields that a file's point format does not carry are 0.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ovcf {

#pragma pack(push, 1)
struct PointRecord {
    std::uint32_t x = 0;  // absolute quantised coordinates
    std::uint32_t y = 0;
    std::uint32_t z = 0;
    std::uint16_t intensity = 0;
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;
    std::uint8_t classification = 0;
};
#pragma pack(pop)

// Spill files and host buffers rely on the 18-byte packed layout.
static_assert(sizeof(PointRecord) == 18);
static_assert(offsetof(PointRecord, x) == 0 && offsetof(PointRecord, y) == 4 && offsetof(PointRecord, z) == 8);
static_assert(offsetof(PointRecord, intensity) == 12 && offsetof(PointRecord, red) == 14);
static_assert(offsetof(PointRecord, green) == 15 && offsetof(PointRecord, blue) == 16);
static_assert(offsetof(PointRecord, classification) == 17);

inline bool operator==(const PointRecord& a, const PointRecord& b) {
    return a.x == b.x && a.y == b.y && a.z == b.z && a.intensity == b.intensity && a.red == b.red &&
           a.green == b.green && a.blue == b.blue && a.classification == b.classification;
}

}  // namespace ovcf
