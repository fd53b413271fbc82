#include "import/laz/LazVlr.h"

#include "ovcf/ByteOrder.h"

namespace ovcf::laz {
namespace {

constexpr std::size_t kFixedPart = 34;  // up to and including the item count

const char* itemName(std::uint16_t type) {
    switch (static_cast<ItemType>(type)) {
        case ItemType::Byte: return "BYTE";
        case ItemType::Point10: return "POINT10";
        case ItemType::GpsTime11: return "GPSTIME11";
        case ItemType::Rgb12: return "RGB12";
        case ItemType::WavePacket13: return "WAVEPACKET13";
        case ItemType::Point14: return "POINT14";
        case ItemType::Rgb14: return "RGB14";
        case ItemType::RgbNir14: return "RGBNIR14";
        case ItemType::WavePacket14: return "WAVEPACKET14";
        case ItemType::Byte14: return "BYTE14";
    }
    return nullptr;
}

}  // namespace

bool parseLazVlr(const std::uint8_t* d, std::size_t size, LazVlr& vlr, std::string& reason) {
    if (size < kFixedPart) {
        reason = "the LASzip record is truncated";
        return false;
    }
    vlr.compressor = le::u16(d);
    vlr.coder = le::u16(d + 2);
    vlr.versionMajor = d[4];
    vlr.versionMinor = d[5];
    vlr.revision = le::u16(d + 6);
    vlr.options = le::u32(d + 8);
    vlr.chunkSize = le::u32(d + 12);
    const std::uint16_t count = le::u16(d + 32);
    if (size < kFixedPart + 6u * count) {
        reason = "the LASzip record is truncated";
        return false;
    }
    vlr.items.clear();
    for (std::uint16_t i = 0; i < count; ++i) {
        const std::uint8_t* item = d + kFixedPart + 6u * i;
        vlr.items.push_back({le::u16(item), le::u16(item + 2), le::u16(item + 4)});
    }
    return true;
}

std::vector<std::uint8_t> encodeLazVlr(const LazVlr& vlr) {
    std::vector<std::uint8_t> out(kFixedPart + 6 * vlr.items.size());
    le::putU16(out.data(), vlr.compressor);
    le::putU16(out.data() + 2, vlr.coder);
    out[4] = vlr.versionMajor;
    out[5] = vlr.versionMinor;
    le::putU16(out.data() + 6, vlr.revision);
    le::putU32(out.data() + 8, vlr.options);
    le::putU32(out.data() + 12, vlr.chunkSize);
    le::putU64(out.data() + 16, ~std::uint64_t{0});  // no special extended records
    le::putU64(out.data() + 24, ~std::uint64_t{0});
    le::putU16(out.data() + 32, static_cast<std::uint16_t>(vlr.items.size()));
    for (std::size_t i = 0; i < vlr.items.size(); ++i) {
        std::uint8_t* item = out.data() + kFixedPart + 6 * i;
        le::putU16(item, vlr.items[i].type);
        le::putU16(item + 2, vlr.items[i].size);
        le::putU16(item + 4, vlr.items[i].version);
    }
    return out;
}

bool checkLazItems(const LazVlr& vlr, std::uint8_t pointFormat, std::uint16_t recordLength, std::string& reason) {
    if (pointFormat == 4 || pointFormat == 5 || pointFormat == 9 || pointFormat == 10) {
        reason = "LAZ point format " + std::to_string(pointFormat) + " (with waveform packets) is not supported";
        return false;
    }
    if (vlr.coder != 0) {
        reason = "LAZ coder " + std::to_string(vlr.coder) + " is not supported (only the arithmetic coder is)";
        return false;
    }
    const bool layered = vlr.layered();
    if (!layered && vlr.compressor != static_cast<std::uint16_t>(Compressor::PointwiseChunked)) {
        reason = "LAZ compressor " + std::to_string(vlr.compressor) + " is not supported";
        return false;
    }
    if (layered != (pointFormat >= 6)) {
        reason = "the LAZ compressor does not match point format " + std::to_string(pointFormat);
        return false;
    }
    if (vlr.items.empty()) {
        reason = "the LASzip record lists no items";
        return false;
    }
    std::size_t total = 0;
    for (const LazItem& item : vlr.items) {
        const char* name = itemName(item.type);
        if (!name) {
            reason = "unknown LAZ item type " + std::to_string(item.type) + " is not supported";
            return false;
        }
        const std::string label = std::string("LAZ item ") + name + " version " + std::to_string(item.version);
        if (item.type == static_cast<std::uint16_t>(ItemType::WavePacket13) ||
            item.type == static_cast<std::uint16_t>(ItemType::WavePacket14)) {
            reason = label + " (waveform packets) is not supported";
            return false;
        }
        const bool layeredItem = item.type >= static_cast<std::uint16_t>(ItemType::Point14);
        const bool known = layeredItem ? (item.version == 3 || item.version == 4) : (item.version == 1 || item.version == 2);
        if (!known || layeredItem != layered) {
            reason = label + " is not supported (point formats 0 to 3 need items of version 1 or 2, 6 to 8 versions 3 or 4)";
            return false;
        }
        const std::uint16_t expected = item.type == static_cast<std::uint16_t>(ItemType::Point10)     ? 20
                                       : item.type == static_cast<std::uint16_t>(ItemType::GpsTime11) ? 8
                                       : item.type == static_cast<std::uint16_t>(ItemType::Rgb12)     ? 6
                                       : item.type == static_cast<std::uint16_t>(ItemType::Point14)   ? 30
                                       : item.type == static_cast<std::uint16_t>(ItemType::Rgb14)     ? 6
                                       : item.type == static_cast<std::uint16_t>(ItemType::RgbNir14)  ? 8
                                                                                                      : item.size;
        if (item.size != expected || item.size == 0) {
            reason = label + " has an invalid size of " + std::to_string(item.size) + " bytes";
            return false;
        }
        total += item.size;
    }
    const ItemType core = layered ? ItemType::Point14 : ItemType::Point10;
    if (vlr.items.front().type != static_cast<std::uint16_t>(core)) {
        reason = "the LAZ items do not start with the point item";
        return false;
    }
    if (total != recordLength) {
        reason = "the LAZ items make records of " + std::to_string(total) + " bytes, but the header says " +
                 std::to_string(recordLength);
        return false;
    }
    if (vlr.chunkSize == 0) {
        reason = "the LAZ chunk size is 0";
        return false;
    }
    return true;
}

LazVlr layeredVlrFor(std::uint8_t pointFormat, std::uint16_t extraBytes) {
    LazVlr vlr;
    vlr.compressor = static_cast<std::uint16_t>(Compressor::LayeredChunked);
    vlr.items.push_back({static_cast<std::uint16_t>(ItemType::Point14), 30, 3});
    if (pointFormat == 7) vlr.items.push_back({static_cast<std::uint16_t>(ItemType::Rgb14), 6, 3});
    if (pointFormat == 8) vlr.items.push_back({static_cast<std::uint16_t>(ItemType::RgbNir14), 8, 3});
    if (extraBytes > 0) vlr.items.push_back({static_cast<std::uint16_t>(ItemType::Byte14), extraBytes, 3});
    return vlr;
}

}  // namespace ovcf::laz
