#include "import/LazWriter.h"

#include <algorithm>
#include <cstring>
#include <thread>

#include "core/ThreadRun.h"
#include "import/laz/ChunkCodec.h"
#include "ovcf/ByteOrder.h"

namespace ovcf {
namespace {

constexpr std::size_t kVlrHeaderBytes = 54;

std::vector<std::uint8_t> laszipRecord(const laz::LazVlr& vlr) {
    const std::vector<std::uint8_t> body = laz::encodeLazVlr(vlr);
    std::vector<std::uint8_t> out(kVlrHeaderBytes, 0);
    std::memcpy(out.data() + 2, laz::kLazVlrUserId, sizeof laz::kLazVlrUserId - 1);
    le::putU16(out.data() + 18, laz::kLazVlrRecordId);
    le::putU16(out.data() + 20, static_cast<std::uint16_t>(body.size()));
    std::memcpy(out.data() + 22, "OrvanePC LAZ", 12);
    out.insert(out.end(), body.begin(), body.end());
    return out;
}

}  // namespace

LazWriter::LazWriter()
    : vlr_(laz::layeredVlrFor(7, 0)), threads_(std::clamp(std::thread::hardware_concurrency(), 1u, 8u)) {
    vlr_.chunkSize = kChunkPoints;
}

void LazWriter::encodeHeader(std::vector<char>& out) const {
    LasWriter::encodeHeader(out);
    const std::vector<std::uint8_t> record = laszipRecord(vlr_);
    std::uint8_t* header = reinterpret_cast<std::uint8_t*>(out.data());
    le::putU32(header + 96, static_cast<std::uint32_t>(kHeaderSize + record.size()));  // point data after the record
    le::putU32(header + 100, 1);                                                       // one variable-length record
    header[104] = static_cast<std::uint8_t>(header[104] | 0x80);                       // compressed records
    out.insert(out.end(), record.begin(), record.end());
}

void LazWriter::writeHeader() {
    LasWriter::writeHeader();
    const std::uint8_t placeholder[8] = {};  // the chunk table's offset, known at the end
    put(placeholder, sizeof placeholder);
    pending_.reserve(std::size_t{kRecordSize} * kChunkPoints * threads_);
}

void LazWriter::writePoint(const PointRecord& point) {
    const std::size_t at = pending_.size();
    pending_.resize(at + kRecordSize);
    encodeRecord(point, reinterpret_cast<char*>(pending_.data() + at));
    if (pending_.size() == std::size_t{kRecordSize} * kChunkPoints * threads_) compressPending(false);
}

void LazWriter::compressPending(bool all) {
    const std::size_t chunkBytes = std::size_t{kRecordSize} * kChunkPoints;
    const std::size_t records = pending_.size() / kRecordSize;
    const std::size_t count = all ? (records + kChunkPoints - 1) / kChunkPoints : records / kChunkPoints;
    if (count == 0) return;
    std::vector<std::vector<std::uint8_t>> compressed(count);
    const unsigned threads = static_cast<unsigned>(std::min<std::size_t>(threads_, count));
    runOnThreads(threads, [&](unsigned t) {
        for (std::size_t c = t; c < count; c += threads) {
            const std::size_t first = c * kChunkPoints;
            const std::size_t points = std::min<std::size_t>(kChunkPoints, records - first);
            laz::encodeLayeredChunk(vlr_, pending_.data() + first * kRecordSize, points, kRecordSize, compressed[c]);
        }
    });
    for (std::size_t c = 0; c < count; ++c) {
        put(compressed[c].data(), compressed[c].size());
        chunks_.push_back({std::min<std::uint64_t>(kChunkPoints, records - c * kChunkPoints), compressed[c].size()});
        chunkBytes_ += compressed[c].size();
    }
    pending_.erase(pending_.begin(), pending_.begin() + static_cast<std::ptrdiff_t>(std::min(pending_.size(), count * chunkBytes)));
}

bool LazWriter::patchHeader(std::string& error) {
    compressPending(true);
    const std::vector<std::uint8_t> table = laz::encodeChunkTable(chunks_, false);
    put(table.data(), table.size());
    if (!flush(error)) return false;
    std::vector<char> header;
    encodeHeader(header);
    const std::uint64_t dataStart = header.size();
    std::uint8_t tableAt[8];
    le::putU64(tableAt, dataStart + 8 + chunkBytes_);
    if (!file_.seek(dataStart) || !file_.write(tableAt, sizeof tableAt)) return fail(error, "writing the chunk table's offset failed for");
    return LasWriter::patchHeader(error);
}

}  // namespace ovcf
