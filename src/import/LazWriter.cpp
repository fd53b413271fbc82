#include "import/LazWriter.h"

#include <algorithm>
#include <cstring>
#include <system_error>
#include <thread>

#include "core/ThreadRun.h"
#include "import/LasHeader.h"
#include "import/laz/ChunkCodec.h"
#include "ovcf/ByteOrder.h"

namespace ovcf {
namespace {

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

LazWriter::LazWriter(unsigned threads)
    : vlr_(laz::layeredVlrFor(7, 0)),
      threads_(threads > 0 ? threads : std::clamp(std::thread::hardware_concurrency(), 1u, 8u)) {
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
    if (pending_.size() < std::size_t{kRecordSize} * kChunkPoints * threads_) return;
    // A whole batch: compressed in the background while the next one fills.
    finishInFlight();
    inFlight_.swap(pending_);
    pending_.clear();
    try {
        compressing_ = std::async(std::launch::async, [this] { return compress(inFlight_); });
    } catch (const std::system_error&) {
        putChunks(compress(inFlight_));  // no thread to spare: compressed here
    }
}

LazWriter::Compressed LazWriter::compress(const std::vector<std::uint8_t>& records) const {
    const std::size_t count = records.size() / kRecordSize;
    const std::size_t chunks = (count + kChunkPoints - 1) / kChunkPoints;
    Compressed out;
    out.chunks.resize(chunks);
    out.points.resize(chunks);
    const unsigned threads = static_cast<unsigned>(std::min<std::size_t>(threads_, chunks));
    if (threads == 0) return out;
    runOnThreads(threads, [&](unsigned t) {
        for (std::size_t c = t; c < chunks; c += threads) {
            const std::size_t first = c * kChunkPoints;
            out.points[c] = std::min<std::size_t>(kChunkPoints, count - first);
            laz::encodeLayeredChunk(vlr_, records.data() + first * kRecordSize, out.points[c], kRecordSize, out.chunks[c]);
        }
    });
    return out;
}

void LazWriter::putChunks(const Compressed& compressed) {
    for (std::size_t c = 0; c < compressed.chunks.size(); ++c) {
        put(compressed.chunks[c].data(), compressed.chunks[c].size());
        chunks_.push_back({compressed.points[c], compressed.chunks[c].size()});
        chunkBytes_ += compressed.chunks[c].size();
    }
}

void LazWriter::finishInFlight() {
    if (compressing_.valid()) putChunks(compressing_.get());
}

bool LazWriter::patchHeader(std::string& error) {
    finishInFlight();
    putChunks(compress(pending_));
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
