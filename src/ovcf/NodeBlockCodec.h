// The raw block of a node: its point records, each holding the point's offsets from the node's
// cube origin and the attributes of the point format, stored byte-plane transposed (byte k of
// point i at k * count + i). Grouping like bytes is what makes the blocks compress well.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "PointRecord.h"

namespace ovcf {

using NodeOrigin = std::array<std::uint32_t, 3>;

// Fills raw with count * record-size bytes. Offsets wrap at 32 bits.
void encodeNodeBlock(const PointRecord* points, std::size_t count, std::uint32_t pointFormat,
                     const NodeOrigin& origin, std::uint8_t* raw);

// Rebuilds count points from raw (count * record-size bytes), adding the origin back and setting
// the fields the format lacks to 0.
void decodeNodeBlock(const std::uint8_t* raw, std::size_t count, std::uint32_t pointFormat,
                     const NodeOrigin& origin, PointRecord* points);

// Only the absolute coordinates of the count points, one array per axis: for passes that test
// positions alone, which then skip the other planes and the records.
void decodeNodeCoordinates(const std::uint8_t* raw, std::size_t count, const NodeOrigin& origin, std::uint32_t* x,
                           std::uint32_t* y, std::uint32_t* z);

}  // namespace ovcf
