// The selected and deleted point maps as the shaders read them: each a buffer object viewed as
// a buffer texture of 32-bit unsigned texels (bit i of the map is bit i % 32 of texel i / 32 on
// a little-endian machine, the same bytes as the 64-bit words). Selected on unit 2, deleted on
// unit 3. An empty map is one zero texel, so both textures are always valid.
//
// A map whose buffer the driver could not give storage (out of GPU memory) is not ready: the
// frame then draws without it (no highlight, no hidden points) instead of reading a buffer that
// holds nothing, and the failure is logged once until an upload of that map succeeds again.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ovcf {

constexpr std::uint32_t kSelectedBitsUnit = 2;
constexpr std::uint32_t kDeletedBitsUnit = 3;

// Gives a map's buffer its storage with the words. The GL default is glNamedBufferData; tests put
// one in its place that fails as a driver out of memory would.
using BitmapStorage = void (*)(std::uint32_t buffer, std::size_t bytes, const void* data);

class BitmapTextures {
public:
    explicit BitmapTextures(BitmapStorage storage = nullptr);

    void initializeGl();
    void releaseGl();

    void uploadSelected(const std::uint64_t* words, std::size_t wordCount);
    void uploadDeleted(const std::uint64_t* words, std::size_t wordCount);
    // Binds both textures to their units.
    void bind() const;

    // Whether the map's last upload got its storage, so that the shaders may read it.
    bool selectedReady() const { return selected_.ready; }
    bool deletedReady() const { return deleted_.ready; }

    void setStorage(BitmapStorage storage);

private:
    struct Map {
        const char* consequence;  // what the frame goes without, for the log
        std::uint32_t buffer = 0;
        std::uint32_t texture = 0;
        bool ready = false;
        bool failureLogged = false;
    };
    void upload(Map& map, const std::uint64_t* words, std::size_t wordCount);

    BitmapStorage storage_;
    Map selected_{"i punti selezionati non sono evidenziati"};
    Map deleted_{"i punti cancellati restano visibili"};
};

}  // namespace ovcf
