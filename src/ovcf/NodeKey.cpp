#include "NodeKey.h"

namespace ovcf {

std::string nodeName(const NodeKey& key) {
    std::string name;
    name.reserve(1 + key.level);
    name.push_back('r');
    for (std::uint32_t b = key.level; b-- > 0;) {
        // Bits above 31 of a 32-bit coordinate are zero.
        const auto bit = [b](std::uint32_t v) -> std::uint32_t { return b < 32 ? (v >> b) & 1u : 0u; };
        name.push_back(static_cast<char>('0' + bit(key.z) * 4 + bit(key.y) * 2 + bit(key.x)));
    }
    return name;
}

std::array<std::uint32_t, 3> nodeOrigin(const std::uint32_t rootOrigin[3], std::uint32_t rootExponent,
                                        const NodeKey& key) {
    const std::uint64_t side = nodeCubeSide(rootExponent, key.level);
    const std::uint32_t coordinates[3] = {key.x, key.y, key.z};
    std::array<std::uint32_t, 3> origin{};
    for (int axis = 0; axis < 3; ++axis)
        origin[axis] = static_cast<std::uint32_t>(rootOrigin[axis] + coordinates[axis] * side);
    return origin;
}

}  // namespace ovcf
