#include "import/LazSource.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <system_error>
#include <thread>

#include "core/NumberFormat.h"
#include "core/ThreadRun.h"
#include "import/laz/ArithmeticDecoder.h"
#include "import/laz/ChunkCodec.h"
#include "import/laz/ChunkTable.h"
#include "ovcf/ByteOrder.h"

namespace ovcf {

namespace {

constexpr std::uint64_t kLargestVlrArea = 64u << 20;
// A batch holds a few chunks per thread, and at most this many points, so memory stays small.
constexpr std::size_t kChunksPerThread = 8;
constexpr std::uint64_t kBatchPoints = 4u << 20;
// Larger files than setMeasuredUpTo() says have their colour depth taken from this many evenly
// spread chunks.
constexpr std::size_t kColourChunks = 16;

}  // namespace

bool LazSource::fail(std::string& error, const std::string& reason) const {
    error = "'" + path_ + "': " + reason;
    return false;
}

unsigned LazSource::threadCount() const {
    if (threads_ > 0) return threads_;
    return std::clamp(std::thread::hardware_concurrency(), 1u, 8u);
}

bool LazSource::open(const std::string& path, double step, std::string& error) {
    waitForNextBatch();
    path_ = path;
    cursor_ = 0;
    nextChunk_ = 0;
    inChunk_ = 0;
    batch_ = {};
    std::string reason;
    if (!file_.open(path, reason)) return fail(error, "cannot open the file: " + reason);
    std::uint8_t bytes[kLasHeaderBytesToRead] = {};
    const std::size_t headerBytes = static_cast<std::size_t>(std::min<std::uint64_t>(file_.size(), sizeof bytes));
    file_.seek(0);
    if (!file_.read(bytes, headerBytes, reason)) return fail(error, "reading the LAS header failed: " + reason);
    if (!parseLasHeader(bytes, headerBytes, file_.size(), header_, reason)) return fail(error, reason);
    if (!header_.compressed) return fail(error, "the point records are not compressed: open the file as LAS");
    if (!readLaszipRecord(reason) || !laz::checkLazItems(vlr_, header_.pointFormat, header_.recordLength, reason))
        return fail(error, reason);
    if (!readChunkTable(reason)) return fail(error, reason);
    colourOffset_ = lasColourOffset(header_.pointFormat);
    zeroColour_ = false;
    for (int axis = 0; axis < 3; ++axis) {
        bounds_.min[axis] = header_.min[axis];
        bounds_.max[axis] = header_.max[axis];
    }
    if (onGrid_) {
        conversion_.setUpOnGrid(header_, gridStep_, gridOffset_);
        boundsOnTrust_ = false;
        if (colourOffset_ >= 0 && !detectColourDepth(error)) return false;
        conversion_.setColour(colourOffset_, colourShift_);
        batch_ = {};
        return true;
    }
    std::int64_t measured[6] = {};
    const bool headerBox = lasHeaderBoundsUsable(header_);
    // Smaller files are decoded once before reading (a first pass that is cheap for them): the
    // exact box lets the indexer fix the root first, as for LAS, and the colour is measured on
    // every point. A header without a box needs the pass whatever the file's size.
    const bool scan = !headerBox || header_.pointCount <= measuredUpTo_;
    std::uint16_t largest = 0;
    if (scan) {
        std::int64_t* low = measured;
        std::int64_t* high = measured + 3;
        for (int axis = 0; axis < 3; ++axis) {
            low[axis] = header_.pointCount ? std::numeric_limits<std::int64_t>::max() : 0;
            high[axis] = header_.pointCount ? std::numeric_limits<std::int64_t>::min() : 0;
        }
        const std::uint16_t length = header_.recordLength;
        if (!forEachChunk(
                [&](const std::uint8_t* records, std::uint64_t count) {
                    for (std::uint64_t i = 0; i < count; ++i)
                        for (int axis = 0; axis < 3; ++axis) {
                            const std::int64_t v = static_cast<std::int32_t>(le::u32(records + i * length + 4 * axis));
                            low[axis] = std::min(low[axis], v);
                            high[axis] = std::max(high[axis], v);
                        }
                    largest = std::max(largest, largestLasColour(records, static_cast<std::size_t>(count), length, colourOffset_));
                },
                error, laz::kFieldZ | laz::kFieldRgb))
            return false;
        for (int axis = 0; axis < 3 && !headerBox; ++axis) {
            const double a = header_.offset[axis] + header_.scale[axis] * static_cast<double>(low[axis]);
            const double b = header_.offset[axis] + header_.scale[axis] * static_cast<double>(high[axis]);
            bounds_.min[axis] = std::min(a, b);
            bounds_.max[axis] = std::max(a, b);
        }
    }
    if (!conversion_.setUp(header_, bounds_, headerBox ? nullptr : measured, step, reason)) return fail(error, reason);
    boundsOnTrust_ = false;
    if (scan) {
        conversion_.setMeasured(measured);
        setColourDepth(largest);
    } else {
        // A second decoding would cost as much as the first: the header's box, rounded to the
        // records' integers, stands for their extent. Writers fill it from the points, so it is
        // mostly exact; the indexer compares it with what it reads and starts again if not.
        for (int axis = 0; axis < 3; ++axis) {
            const double a = (header_.min[axis] - header_.offset[axis]) / header_.scale[axis];
            const double b = (header_.max[axis] - header_.offset[axis]) / header_.scale[axis];
            measured[axis] = std::llround(std::min(a, b));
            measured[3 + axis] = std::llround(std::max(a, b));
        }
        conversion_.setMeasured(measured);
        boundsOnTrust_ = true;
        if (colourOffset_ >= 0 && !detectColourDepth(error)) return false;
    }
    conversion_.setColour(colourOffset_, colourShift_);
    batch_ = {};
    return true;
}

bool LazSource::restartWithBounds(const std::array<std::uint32_t, 3>& min, const std::array<std::uint32_t, 3>& max,
                                  std::string& error) {
    (void)error;
    if (!boundsOnTrust_) return false;
    waitForNextBatch();
    batch_ = {};
    nextChunk_ = 0;
    inChunk_ = 0;
    cursor_ = 0;
    conversion_.setMeasuredQuantized(min, max);
    boundsOnTrust_ = false;
    return true;
}

bool LazSource::readLaszipRecord(std::string& reason) {
    if (header_.pointDataOffset < header_.headerSize || header_.pointDataOffset - header_.headerSize > kLargestVlrArea) {
        reason = "the LAZ file's variable-length records are too large";
        return false;
    }
    std::vector<std::uint8_t> area(header_.pointDataOffset - header_.headerSize);
    file_.seek(header_.headerSize);
    if (!area.empty() && !file_.read(area.data(), area.size(), reason)) {
        reason = "reading the variable-length records failed: " + reason;
        return false;
    }
    std::size_t at = 0;
    for (std::uint32_t i = 0; i < header_.vlrCount && at + kVlrHeaderBytes <= area.size(); ++i) {
        const std::uint8_t* vlr = area.data() + at;
        const std::size_t length = le::u16(vlr + 20);
        const bool laszip = std::strncmp(reinterpret_cast<const char*>(vlr + 2), laz::kLazVlrUserId, 16) == 0 &&
                            le::u16(vlr + 18) == laz::kLazVlrRecordId;
        if (at + kVlrHeaderBytes + length > area.size()) break;
        if (laszip) return laz::parseLazVlr(vlr + kVlrHeaderBytes, length, vlr_, reason);
        at += kVlrHeaderBytes + length;
    }
    reason = "the LAZ file has no LASzip record describing its compression";
    return false;
}

bool LazSource::readChunkTable(std::string& reason) {
    const std::uint64_t size = file_.size();
    const std::uint64_t dataStart = header_.pointDataOffset;
    std::uint8_t word[8];
    file_.seek(dataStart);
    if (!file_.read(word, 8, reason)) {
        reason = "the file ends before its compressed points";
        return false;
    }
    auto validTable = [&](std::uint64_t at) { return at > dataStart && at <= size - 8; };
    std::uint64_t tableAt = le::u64(word);
    if (!validTable(tableAt) && size >= 16) {
        // A writer that could not go back leaves the table's offset in the file's last 8 bytes.
        file_.seek(size - 8);
        if (file_.read(word, 8, reason)) tableAt = le::u64(word);
    }
    if (!validTable(tableAt)) {
        reason = "the LAZ chunk table is missing or lies beyond the end of the file at byte " + std::to_string(size) +
                 " (truncated file?)";
        return false;
    }
    file_.seek(tableAt);
    if (!file_.read(word, 8, reason)) {
        reason = "the LAZ chunk table is truncated";
        return false;
    }
    const std::uint32_t count = le::u32(word + 4);
    const bool variable = vlr_.variableChunks();
    const std::uint64_t expected =
        variable ? 0 : (header_.pointCount + vlr_.chunkSize - 1) / vlr_.chunkSize;
    // Every chunk holds at least one byte between the data's start and the table: a count beyond
    // that is damage, and must not become a huge allocation.
    const std::uint64_t room = tableAt > dataStart + 8 ? tableAt - dataStart - 8 : 0;
    if ((!variable && count != expected) || count > header_.pointCount || count > room ||
        (variable && (count == 0) != (header_.pointCount == 0))) {
        reason = "the LAZ chunk table lists " + std::to_string(count) + " chunks for " +
                 std::to_string(header_.pointCount) + " points";
        return false;
    }
    const std::uint64_t bodyAt = tableAt + 8;
    const std::uint64_t bodyBytes = std::min<std::uint64_t>(size - std::min(size, bodyAt), 24ull * count + 64);
    std::vector<std::uint8_t> body(static_cast<std::size_t>(bodyBytes));
    if (!body.empty() && !file_.read(body.data(), body.size(), reason)) {
        reason = "reading the LAZ chunk table failed: " + reason;
        return false;
    }
    std::vector<laz::ChunkEntry> entries;
    try {
        entries = laz::decodeChunkTable(body.data(), body.size(), count, variable);
    } catch (const laz::CorruptData& e) {
        reason = std::string("the LAZ chunk table is damaged: ") + e.what();
        return false;
    }
    chunks_.clear();
    std::uint64_t offset = dataStart + 8;
    std::uint64_t points = 0;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        Chunk chunk;
        chunk.offset = offset;
        chunk.bytes = entries[i].bytes;
        chunk.points = variable ? entries[i].points : std::min<std::uint64_t>(vlr_.chunkSize, header_.pointCount - points);
        if (chunk.bytes > tableAt - offset) {
            reason = "chunk " + std::to_string(i) + " at offset " + std::to_string(offset) +
                     " runs past the chunk table (truncated or damaged file)";
            return false;
        }
        offset += chunk.bytes;
        points += chunk.points;
        chunks_.push_back(chunk);
    }
    if (points != header_.pointCount) {
        reason = "the LAZ chunks hold " + std::to_string(points) + " points, but the header says " +
                 std::to_string(header_.pointCount);
        return false;
    }
    return true;
}

std::size_t LazSource::mostChunksPerBatch() const { return threadCount() * kChunksPerThread; }

std::size_t LazSource::batchSize(std::size_t first) const {
    const std::size_t most = mostChunksPerBatch();
    std::size_t count = 0;
    std::uint64_t points = 0;
    while (first + count < chunks_.size() && count < most && (count == 0 || points + chunks_[first + count].points <= kBatchPoints)) {
        points += chunks_[first + count].points;
        ++count;
    }
    return count;
}

unsigned LazSource::pointFields() const {
    return laz::kFieldZ | laz::kFieldIntensity | laz::kFieldClass | (colourOffset_ >= 0 ? laz::kFieldRgb : 0u);
}

bool LazSource::decodeBatch(std::size_t first, std::size_t count, Batch& batch, std::string& error, unsigned fields) {
    if (compressed_.size() < count) compressed_.resize(count);
    std::vector<Records>& compressed = compressed_;  // filled by the reads
    std::string reason;
    for (std::size_t i = 0; i < count; ++i) {
        const Chunk& chunk = chunks_[first + i];
        compressed[i].resize(static_cast<std::size_t>(chunk.bytes));
        file_.seek(chunk.offset);
        if (!compressed[i].empty() && !file_.read(compressed[i].data(), compressed[i].size(), reason))
            return fail(error, "chunk " + std::to_string(first + i) + " at offset " + std::to_string(chunk.offset) +
                                   ": reading failed: " + reason);
    }
    batch.chunks.resize(count);
    batch.first = first;
    std::vector<std::string> failures(count);
    const unsigned threads = static_cast<unsigned>(std::min<std::size_t>(threadCount(), count));
    const std::uint16_t length = header_.recordLength;
    // Chunks are handed out one at a time: a thread held up by the other work of the import
    // leaves its share to the others instead of keeping the whole batch waiting.
    std::atomic<std::size_t> next{0};
    runOnThreads(threads, [&](unsigned) {
        for (std::size_t i = next++; i < count; i = next++) {
            const Chunk& chunk = chunks_[first + i];
            try {
                if (batch.chunks[i].capacity() == 0) batch.chunks[i] = takeSpare();
                batch.chunks[i].resize(static_cast<std::size_t>(chunk.points) * length);
                laz::decodeChunk(vlr_, compressed[i].data(), compressed[i].size(), chunk.points, length,
                                 batch.chunks[i].data(), fields);
            } catch (const laz::CorruptData& e) {
                failures[i] = e.what();
            } catch (const std::bad_alloc&) {
                failures[i] = "not enough memory for its points";
            }
        }
    });
    for (std::size_t i = 0; i < count; ++i)
        if (!failures[i].empty())
            return fail(error, "chunk " + std::to_string(first + i) + " at offset " +
                                   std::to_string(chunks_[first + i].offset) + " is damaged: " + failures[i]);
    return true;
}

void LazSource::startNextBatch(std::size_t first) {
    if (first >= chunks_.size()) return;
    nextFirst_ = first;
    try {
        decoding_ = std::async(std::launch::async,
                               [this, first] { return decodeBatch(first, batchSize(first), next_, nextError_, pointFields()); });
    } catch (const std::system_error&) {
        // No thread to spare: read() decodes the batch itself when it gets there.
    }
}

bool LazSource::waitForNextBatch(std::string* error) {
    if (!decoding_.valid()) return true;
    const bool ok = decoding_.get();
    if (!ok && error) *error = nextError_;
    return ok;
}

bool LazSource::detectColourDepth(std::string& error) {
    std::vector<std::size_t> sample;
    if (chunks_.size() <= kColourChunks) {
        for (std::size_t i = 0; i < chunks_.size(); ++i) sample.push_back(i);
    } else {
        for (std::size_t w = 0; w < kColourChunks; ++w) sample.push_back((chunks_.size() - 1) * w / (kColourChunks - 1));
    }
    std::uint16_t largest = 0;
    for (std::size_t i = 0; i < sample.size() && largest <= 255;) {
        // Consecutive chunks decode together; a sampled one on its own.
        std::size_t count = 1;
        const std::size_t most = batchSize(sample[i]);
        while (i + count < sample.size() && count < most && sample[i + count] == sample[i] + count) ++count;
        if (!decodeBatch(sample[i], count, batch_, error, laz::kFieldRgb)) return false;
        for (std::size_t j = 0; j < count; ++j)
            largest = std::max(largest, largestLasColour(batch_.chunks[j].data(), static_cast<std::size_t>(chunks_[sample[i] + j].points),
                                                         header_.recordLength, colourOffset_));
        i += count;
    }
    setColourDepth(largest);
    return true;
}

void LazSource::setColourDepth(std::uint16_t largest) {
    colourShift_ = largest > 255 ? 8 : 0;
    // Colour fields that are zero everywhere (on every point of smaller files, in the sampled
    // chunks of larger ones) hold no colour: the cloud is imported as one without.
    if (colourOffset_ >= 0 && largest == 0 && header_.pointCount > 0) {
        colourOffset_ = -1;
        zeroColour_ = true;
    }
}

bool LazSource::read(PointRecord* points, std::size_t capacity, std::size_t& count, std::string& error) {
    count = 0;
    if (!points || capacity == 0) return true;
    std::string reason;
    while (count < capacity && nextChunk_ < chunks_.size()) {
        if (nextChunk_ < batch_.first || nextChunk_ >= batch_.first + batch_.chunks.size()) {
            const bool ready = decoding_.valid() && nextFirst_ == nextChunk_;
            if (ready) {
                if (!waitForNextBatch(&error)) return false;
                std::swap(batch_, next_);
            } else {
                waitForNextBatch();
                if (!decodeBatch(nextChunk_, batchSize(nextChunk_), batch_, error, pointFields())) return false;
            }
            startNextBatch(batch_.first + batch_.chunks.size());
        }
        const Chunk& chunk = chunks_[nextChunk_];
        const std::uint64_t take = std::min<std::uint64_t>(capacity - count, chunk.points - inChunk_);
        const std::uint8_t* records = batch_.chunks[nextChunk_ - batch_.first].data() + inChunk_ * header_.recordLength;
        if (!conversion_.convert(records, static_cast<std::size_t>(take), cursor_, points + count, reason))
            return fail(error, reason);
        count += static_cast<std::size_t>(take);
        cursor_ += take;
        inChunk_ += take;
        if (inChunk_ == chunk.points) {
            giveBack(batch_.chunks[nextChunk_ - batch_.first]);
            ++nextChunk_;
            inChunk_ = 0;
        }
    }
    return true;
}

LazSource::Records LazSource::takeSpare() {
    const std::lock_guard<std::mutex> lock(spareMutex_);
    if (spare_.empty()) return {};
    Records records = std::move(spare_.back());
    spare_.pop_back();
    return records;
}

void LazSource::giveBack(Records& records) {
    Records handed = std::move(records);
    records = Records();
    // No more than one batch's worth waits: the rest of the memory goes back.
    const std::lock_guard<std::mutex> lock(spareMutex_);
    if (spare_.size() < mostChunksPerBatch()) spare_.push_back(std::move(handed));
}

std::string LazSource::description() const {
    char text[128];
    std::snprintf(text, sizeof text, "file LAZ %u.%u, formato punto %u, %s punti in %s blocchi, ", header_.versionMajor,
                  header_.versionMinor, header_.pointFormat, formatCount(header_.pointCount).c_str(),
                  formatCount(chunks_.size()).c_str());
    return text + std::string(lasColourDescription(zeroColour_, colourOffset_, colourShift_)) + ": " + path_;
}

}  // namespace ovcf
