// The content signature: an order-independent 64-bit hash of a point set, the wrapping sum of a
// per-point hash. Equal point sets give equal signatures whatever their order or octree, and
// removing a point subtracts its hash.
#pragma once

#include <cstddef>
#include <cstdint>

#include "PointRecord.h"

namespace ovcf {

constexpr std::uint64_t signatureMix(std::uint64_t v) {
    v ^= v >> 30;
    v *= 0xBF58476D1CE4E5B9ull;
    v ^= v >> 27;
    v *= 0x94D049BB133111EBull;
    v ^= v >> 31;
    return v;
}

// Hash of one point from its absolute quantised coordinates and attributes (0 where the file's
// point format lacks them).
constexpr std::uint64_t pointHash(std::uint32_t x, std::uint32_t y, std::uint32_t z, std::uint16_t intensity,
                                  std::uint8_t red, std::uint8_t green, std::uint8_t blue,
                                  std::uint8_t classification) {
    const std::uint64_t ha = signatureMix(0x9E3779B97F4A7C15ull + ((std::uint64_t{x} << 32) | y));
    const std::uint64_t hb = signatureMix(0xB48DE16B1D81F60Eull +
                                          (((((std::uint64_t{z} << 16) | intensity) << 8 | red) << 8) | green));
    const std::uint64_t hc = signatureMix(0xC60C64E895A0E3DAull + ((std::uint64_t{blue} << 8) | classification));
    return signatureMix(0x9E3779B97F4A7C15ull + (ha ^ hb ^ hc));
}

// Hash of a record as it stands (every field counts).
constexpr std::uint64_t pointHash(const PointRecord& p) {
    return pointHash(p.x, p.y, p.z, p.intensity, p.red, p.green, p.blue, p.classification);
}

// Hash of a record as a file of the given point format stores it: the fields the format lacks
// count as 0.
std::uint64_t pointHashForFormat(const PointRecord& p, std::uint32_t pointFormat);

// Sum of pointHashForFormat over an array (wrapping).
std::uint64_t signatureOf(const PointRecord* points, std::size_t count, std::uint32_t pointFormat);

}  // namespace ovcf
