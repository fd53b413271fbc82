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
    for (std::uint64_t p = 1; p < points; ++p) {
        std::uint8_t* record = out + p * recordLength;
        offset = 0;
        for (std::size_t i = 0; i < items.size(); ++i) {
            items[i]->decode(decoder, record + offset);
            offset += vlr.items[i].size;
        }
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
    for (std::uint64_t p = 1; p < points; ++p) {
        std::uint8_t* record = out + p * recordLength;
        context = 0;
        offset = 0;
        for (std::size_t i = 0; i < items.size(); ++i) {
            items[i]->decode(record + offset, context);
            offset += vlr.items[i].size;
        }
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
