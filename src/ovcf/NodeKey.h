// Octree node keys: level and integer cell coordinates, with the parent, octant, printable name
// and cube origin derived from them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace ovcf {

struct NodeKey {
    std::uint32_t level = 0;  // root = 0
    std::uint32_t x = 0;
    std::uint32_t y = 0;
    std::uint32_t z = 0;

    friend bool operator==(const NodeKey&, const NodeKey&) = default;
};

// Parent of a non-root key: (L - 1, x >> 1, y >> 1, z >> 1).
inline NodeKey parentKey(const NodeKey& key) {
    return NodeKey{key.level - 1, key.x >> 1, key.y >> 1, key.z >> 1};
}

// Octant of a key within its parent: (z & 1) * 4 + (y & 1) * 2 + (x & 1).
inline std::uint32_t octantOf(const NodeKey& key) {
    return ((key.z & 1u) << 2) | ((key.y & 1u) << 1) | (key.x & 1u);
}

// Child key in octant 0..7.
inline NodeKey childKey(const NodeKey& key, std::uint32_t octant) {
    return NodeKey{key.level + 1, (key.x << 1) | (octant & 1u), (key.y << 1) | ((octant >> 1) & 1u),
                   (key.z << 1) | ((octant >> 2) & 1u)};
}

// "r" followed by one octant digit per level, from the top; the root is "r".
std::string nodeName(const NodeKey& key);

// Side of the node's cube in quantised units: 2^(E - L), 1 once L >= E.
inline std::uint64_t nodeCubeSide(std::uint32_t rootExponent, std::uint32_t level) {
    return level >= rootExponent ? 1u : (std::uint64_t{1} << (rootExponent - level));
}

// Origin of the node's cube in quantised units: root origin + key * side, wrapping at 32 bits
// like the stored offsets that are added to it.
std::array<std::uint32_t, 3> nodeOrigin(const std::uint32_t rootOrigin[3], std::uint32_t rootExponent,
                                        const NodeKey& key);

// Hash for maps keyed by node key.
struct NodeKeyHash {
    std::size_t operator()(const NodeKey& key) const noexcept {
        std::uint64_t h = std::uint64_t{key.x} * 0x9E3779B97F4A7C15ull ^ std::uint64_t{key.y} * 0xC2B2AE3D27D4EB4Full ^
                          std::uint64_t{key.z} * 0x165667B19E3779F9ull ^
                          std::uint64_t{key.level} * 0x27D4EB2F165667C5ull;
        h = (h ^ (h >> 29)) * 0xBF58476D1CE4E5B9ull;
        return static_cast<std::size_t>(h ^ (h >> 32));
    }
};

}  // namespace ovcf
