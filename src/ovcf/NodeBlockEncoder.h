// Turns one node's points into the block the file stores: the raw records relative to the node's
// origin, their CRC, the node's share of the content signature, and the LZ4 form when that is
// smaller. Needs nothing but the file's parameters, so several threads can encode nodes at once,
// each with its own EncodedNode, while one writer appends them in order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "NodeKey.h"
#include "OvcfWriterParams.h"
#include "PointRecord.h"

namespace ovcf {

struct EncodedNode {
    std::vector<std::uint8_t> raw;         // the records; kept between nodes to save allocations
    std::vector<std::uint8_t> compressed;  // its LZ4 form, when that was tried
    bool isCompressed = false;
    std::size_t storedSize = 0;
    std::size_t rawSize = 0;
    std::uint32_t pointCount = 0;
    std::uint32_t crc = 0;
    std::uint64_t signature = 0;

    const std::uint8_t* stored() const { return isCompressed ? compressed.data() : raw.data(); }
};

// False, with the message, for a node too deep or too large for the file's records.
bool encodeNode(const OvcfWriterParams& params, const NodeKey& key, const PointRecord* points, std::size_t count,
                EncodedNode& out, std::string& error);

}  // namespace ovcf
