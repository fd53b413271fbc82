// Coders of the layered items (point formats 6 to 8, item versions 3 and 4). Each field group
// has a layer of its own, coded by its own arithmetic coder, so that a reader could skip the
// layers it does not need; the point item chooses a context (the scanner channel) that the
// later items of the same point follow.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "import/laz/DecodedFields.h"

namespace ovcf::laz {

struct Layer {
    const std::uint8_t* bytes = nullptr;
    std::size_t size = 0;
};

class LayeredItemDecoder {
public:
    virtual ~LayeredItemDecoder() = default;
    virtual std::size_t layerCount() const = 0;
    // The chunk's first point, raw; the point item sets `context`, the others follow it.
    virtual void first(const std::uint8_t* raw, unsigned& context) = 0;
    // This item's layers, in order; an empty layer means the field never changes in the chunk.
    // Layers of fields outside `fields` (DecodedFields) are left undecoded, as if empty.
    virtual void attach(const Layer* layers, unsigned fields) = 0;
    virtual void decode(std::uint8_t* out, unsigned& context) = 0;
};

class LayeredItemEncoder {
public:
    virtual ~LayeredItemEncoder() = default;
    virtual void first(const std::uint8_t* raw, unsigned& context) = 0;
    virtual void encode(const std::uint8_t* raw, unsigned& context) = 0;
    // Appends this item's finished layers (empty for a field that never changed).
    virtual void finish(std::vector<std::vector<std::uint8_t>>& layers) = 0;
};

std::unique_ptr<LayeredItemDecoder> makePoint14Decoder();
std::unique_ptr<LayeredItemDecoder> makeRgb14Decoder(bool withNir);
std::unique_ptr<LayeredItemDecoder> makeExtraBytes14Decoder(std::size_t count);

std::unique_ptr<LayeredItemEncoder> makePoint14Encoder();
std::unique_ptr<LayeredItemEncoder> makeRgb14Encoder(bool withNir);
std::unique_ptr<LayeredItemEncoder> makeExtraBytes14Encoder(std::size_t count);

}  // namespace ovcf::laz
