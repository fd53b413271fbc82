#include "import/laz/ChunkCodec.h"

#include <cstring>
#include <memory>

#include "import/laz/LayeredItems.h"
#include "import/laz/PointwiseItems.h"
#include "ovcf/ByteOrder.h"

namespace ovcf::laz {
namespace {

std::unique_ptr<PointwiseItemDecoder> pointwiseDecoder(const LazItem& item) {
    if (item.version == 1) {
        switch (static_cast<ItemType>(item.type)) {
            case ItemType::Point10: return makePoint10V1Decoder();
            case ItemType::GpsTime11: return makeGpsTime11V1Decoder();
            case ItemType::Rgb12: return makeRgb12V1Decoder();
            default: return makeExtraBytesDecoder(item.size);
        }
    }
    switch (static_cast<ItemType>(item.type)) {
        case ItemType::Point10: return makePoint10Decoder();
        case ItemType::GpsTime11: return makeGpsTime11Decoder();
        case ItemType::Rgb12: return makeRgb12Decoder();
        default: return makeExtraBytesDecoder(item.size);
    }
}

std::unique_ptr<LayeredItemDecoder> layeredDecoder(const LazItem& item) {
    switch (static_cast<ItemType>(item.type)) {
        case ItemType::Point14: return makePoint14Decoder();
        case ItemType::Rgb14: return makeRgb14Decoder(false);
        case ItemType::RgbNir14: return makeRgb14Decoder(true);
        default: return makeExtraBytes14Decoder(item.size);
    }
}

std::unique_ptr<LayeredItemEncoder> layeredEncoder(const LazItem& item) {
    switch (static_cast<ItemType>(item.type)) {
        case ItemType::Point14: return makePoint14Encoder();
        case ItemType::Rgb14: return makeRgb14Encoder(false);
        case ItemType::RgbNir14: return makeRgb14Encoder(true);
        default: return makeExtraBytes14Encoder(item.size);
    }
}

// An item's decoder and where its field lies in the record.
template <class Decoder>
struct Slot {
    Decoder* item;
    std::size_t offset;
};

template <class Decoder>
std::vector<Slot<Decoder>> slotsOf(const std::vector<std::unique_ptr<Decoder>>& items, const LazVlr& vlr) {
    std::vector<Slot<Decoder>> slots;
    std::size_t offset = 0;
    for (std::size_t i = 0; i < items.size(); ++i) {
        slots.push_back({items[i].get(), offset});
        offset += vlr.items[i].size;
    }
    return slots;
}

void decodePointwise(const LazVlr& vlr, const std::uint8_t* data, std::size_t size, std::uint64_t points,
                     std::uint16_t recordLength, std::uint8_t* out) {
    if (size < recordLength) throw CorruptData("the chunk ends inside its first point");
    std::vector<std::unique_ptr<PointwiseItemDecoder>> items;
    std::size_t offset = 0;
    for (const LazItem& item : vlr.items) {
        items.push_back(pointwiseDecoder(item));
        items.back()->first(data + offset);
        offset += item.size;
    }
    std::memcpy(out, data, recordLength);
    if (points < 2) return;
    ArithmeticDecoder decoder;
    decoder.start(data + recordLength, size - recordLength);
    // Each item with its place in the record, walked from locals: the item calls could change any
    // memory the compiler cannot see is private, so the vectors would be read again at every one.
    const std::vector<Slot<PointwiseItemDecoder>> slots = slotsOf(items, vlr);
    const Slot<PointwiseItemDecoder>* const first = slots.data();
    const Slot<PointwiseItemDecoder>* const last = first + slots.size();
    for (std::uint64_t p = 1; p < points; ++p) {
        std::uint8_t* record = out + p * recordLength;
        for (const Slot<PointwiseItemDecoder>* slot = first; slot != last; ++slot) slot->item->decode(decoder, record + slot->offset);
    }
}

void decodeLayered(const LazVlr& vlr, const std::uint8_t* data, std::size_t size, std::uint64_t points,
                   std::uint16_t recordLength, std::uint8_t* out, unsigned fields) {
    if (size < recordLength + 4u) throw CorruptData("the chunk ends inside its first point");
    std::vector<std::unique_ptr<LayeredItemDecoder>> items;
    unsigned context = 0;
    std::size_t offset = 0;
    std::size_t layerCount = 0;
    for (const LazItem& item : vlr.items) {
        items.push_back(layeredDecoder(item));
        items.back()->first(data + offset, context);
        offset += item.size;
        layerCount += items.back()->layerCount();
    }
    std::memcpy(out, data, recordLength);
    if (le::u32(data + recordLength) != points) throw CorruptData("the chunk's point count does not match the chunk table");
    const std::uint8_t* cursor = data + recordLength + 4;
    const std::uint8_t* end = data + size;
    if (points < 2) return;
    if (static_cast<std::size_t>(end - cursor) < 4 * layerCount) throw CorruptData("the chunk ends inside its layer sizes");
    std::vector<Layer> layers(layerCount);
    for (Layer& layer : layers) {
        layer.size = le::u32(cursor);
        cursor += 4;
    }
    for (Layer& layer : layers) {
        if (layer.size > static_cast<std::size_t>(end - cursor)) throw CorruptData("a layer runs past the end of the chunk");
        layer.bytes = cursor;
        cursor += layer.size;
    }
    std::size_t first = 0;
    for (auto& item : items) {
        item->attach(layers.data() + first, fields);
        first += item->layerCount();
    }
    const std::vector<Slot<LayeredItemDecoder>> slots = slotsOf(items, vlr);
    const Slot<LayeredItemDecoder>* const firstSlot = slots.data();
    const Slot<LayeredItemDecoder>* const lastSlot = firstSlot + slots.size();
    for (std::uint64_t p = 1; p < points; ++p) {
        std::uint8_t* record = out + p * recordLength;
        unsigned pointContext = 0;
        for (const Slot<LayeredItemDecoder>* slot = firstSlot; slot != lastSlot; ++slot)
            slot->item->decode(record + slot->offset, pointContext);
    }
}

}  // namespace

void decodeChunk(const LazVlr& vlr, const std::uint8_t* data, std::size_t size, std::uint64_t points,
                 std::uint16_t recordLength, std::uint8_t* out, unsigned fields) {
    if (points == 0) return;
    if (vlr.layered())
        decodeLayered(vlr, data, size, points, recordLength, out, fields);
    else
        decodePointwise(vlr, data, size, points, recordLength, out);
}

void encodeLayeredChunk(const LazVlr& vlr, const std::uint8_t* records, std::uint64_t points,
                        std::uint16_t recordLength, std::vector<std::uint8_t>& out) {
    if (points == 0) return;
    std::vector<std::unique_ptr<LayeredItemEncoder>> items;
    unsigned context = 0;
    std::size_t offset = 0;
    for (const LazItem& item : vlr.items) {
        items.push_back(layeredEncoder(item));
        items.back()->first(records + offset, context);
        offset += item.size;
    }
    out.insert(out.end(), records, records + recordLength);
    std::uint8_t count[4];
    le::putU32(count, static_cast<std::uint32_t>(points));
    out.insert(out.end(), count, count + 4);
    for (std::uint64_t p = 1; p < points; ++p) {
        const std::uint8_t* record = records + p * recordLength;
        context = 0;
        offset = 0;
        for (std::size_t i = 0; i < items.size(); ++i) {
            items[i]->encode(record + offset, context);
            offset += vlr.items[i].size;
        }
    }
    std::vector<std::vector<std::uint8_t>> layers;
    for (auto& item : items) item->finish(layers);
    for (const auto& layer : layers) {
        le::putU32(count, static_cast<std::uint32_t>(layer.size()));
        out.insert(out.end(), count, count + 4);
    }
    for (const auto& layer : layers) out.insert(out.end(), layer.begin(), layer.end());
}

}  // namespace ovcf::laz
