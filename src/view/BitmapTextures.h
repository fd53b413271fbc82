// The selected and deleted point maps as the shaders read them: each a buffer object viewed as
// a buffer texture of 32-bit unsigned texels (bit i of the map is bit i % 32 of texel i / 32 on
// a little-endian machine, the same bytes as the 64-bit words). Selected on unit 2, deleted on
// unit 3. An empty map is one zero texel, so both textures are always valid.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ovcf {

constexpr std::uint32_t kSelectedBitsUnit = 2;
constexpr std::uint32_t kDeletedBitsUnit = 3;

class BitmapTextures {
public:
    void initializeGl();
    void releaseGl();

    void uploadSelected(const std::uint64_t* words, std::size_t wordCount);
    void uploadDeleted(const std::uint64_t* words, std::size_t wordCount);
    // Binds both textures to their units.
    void bind() const;

private:
    struct Map {
        std::uint32_t buffer = 0;
        std::uint32_t texture = 0;
    };
    static void upload(Map& map, const std::uint64_t* words, std::size_t wordCount);

    Map selected_;
    Map deleted_;
};

}  // namespace ovcf
