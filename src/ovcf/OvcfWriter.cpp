#include "OvcfWriter.h"
#include "CommitJournal.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "MetadataText.h"
#include "core/Log.h"

namespace ovcf {
namespace {

// A journal left beside the target by a commit that died on the file just replaced belongs to
// that file, not to this one: it goes, under the lock, so that no commit of the new file is
// running meanwhile.
void forgetOldJournal(const std::string& target) {
    const std::string journal = journalPathOf(target);
    SystemFile probe;
    if (!probe.open(journal, SystemFile::Mode::Read)) return;
    probe.close();
    SystemFile file;
    if (file.open(target, SystemFile::Mode::ReadWrite) && file.lock(SystemFile::LockMode::Exclusive))
        SystemFile::deleteFile(journal);
}

// The deleted-points map is written from a zeroed buffer of at most this size, so that clouds of
// billions of points need no map in memory at build time.
constexpr std::uint64_t kZeroChunk = 1u << 20;

constexpr std::uint64_t kWriteBackBytes = std::uint64_t{64} << 20;

}  // namespace

OvcfWriter::~OvcfWriter() {
    if (finished_ || !output_.pending()) return;
    if (logLevelThreshold() <= LogWarn)
        logLine(LogWarn, "import interrotto: cancello il file parziale '%s'", output_.temporaryPath().c_str());
    output_.abandon();
}

bool OvcfWriter::open(const std::string& path, const OvcfWriterParams& params, std::string& error) {
    if (file_.isOpen()) {
        error = "OvcfWriter: file already open";
        return false;
    }
    for (int axis = 0; axis < 3; ++axis) {
        if (params.boundsMax[axis] < params.boundsMin[axis]) {
            error = "OvcfWriter: invalid bounding box";
            return false;
        }
    }
    if (recordSizeForFormat(params.pointFormat) == 0) {
        error = "OvcfWriter: unknown point format";
        return false;
    }
    if (params.rootExponent < kMinRootExponent || params.rootExponent > kMaxRootExponent) {
        error = "OvcfWriter: invalid root cube exponent";
        return false;
    }
    try {
        // A failed close of an earlier file still owes its deletion: begin() abandons it.
        // The message names the file the caller asked for: the temporary one beside it is ours.
        if (!output_.begin(path)) {
            error = "cannot create file '" + path + "': " + file_.lastErrorText();
            return false;
        }
        path_ = path;
        params_ = params;
        recordSize_ = recordSizeForFormat(params.pointFormat);
        records_.clear();
        indexOfKey_.clear();
        pointsWritten_ = 0;
        signature_ = 0;
        fileBytes_ = kHeaderSize;
        writeBackFrom_ = kHeaderSize;
        storedBytes_ = 0;
        rawBytes_ = 0;
        deepestLevel_ = 0;
        finished_ = false;
        if (!writeZeros(kHeaderSize)) {
            error = "writing the header failed: " + file_.lastErrorText();
            output_.abandon();
            return false;
        }
        return true;
    } catch (const std::bad_alloc&) {
        error = "OvcfWriter: out of memory";
        return false;
    }
}

bool OvcfWriter::writeNode(const NodeKey& key, const PointRecord* points, std::size_t count, std::string& error) {
    if (!file_.isOpen()) {
        error = "OvcfWriter: file not open";
        return false;
    }
    try {
        if (!encodeNode(params_, key, points, count, encoded_, error)) return false;
    } catch (const std::bad_alloc&) {
        error = "OvcfWriter: out of memory";
        return false;
    }
    return appendNode(key, encoded_, error);
}

bool OvcfWriter::appendNode(const NodeKey& key, const EncodedNode& block, std::string& error) {
    if (!file_.isOpen()) {
        error = "OvcfWriter: file not open";
        return false;
    }
    try {
        return appendNodeBlock(key, block, error);
    } catch (const std::bad_alloc&) {
        error = "OvcfWriter: out of memory";
        return false;
    }
}

bool OvcfWriter::appendNodeBlock(const NodeKey& key, const EncodedNode& block, std::string& error) {
    if (indexOfKey_.count(key) != 0) {
        error = "node " + nodeName(key) + " written twice";
        return false;
    }
    const auto index = static_cast<std::uint32_t>(records_.size());
    HierarchyRecord* parentRecord = nullptr;
    if (key.level > 0) {
        const auto parent = indexOfKey_.find(parentKey(key));
        if (parent == indexOfKey_.end()) {
            error = "node " + nodeName(key) + " written before its parent (internal indexer error)";
            return false;
        }
        parentRecord = &records_[parent->second];
    }

    std::uint64_t blockOffset = 0;
    if (!file_.tell(blockOffset)) {
        error = "cannot determine the file position: " + file_.lastErrorText();
        return false;
    }
    if (!file_.write(block.stored(), block.storedSize)) {
        error = "writing node " + nodeName(key) + " failed: " + file_.lastErrorText();
        return false;
    }
    if (parentRecord) {
        const std::uint32_t octant = octantOf(key);
        parentRecord->children[octant] = index;
        parentRecord->childMask = static_cast<std::uint8_t>(parentRecord->childMask | (1u << octant));
    }

    HierarchyRecord record;
    record.level = static_cast<std::uint8_t>(key.level);
    record.pointCount = block.pointCount;
    record.keyX = key.x;
    record.keyY = key.y;
    record.keyZ = key.z;
    record.crc = block.crc;
    record.blockOffset = blockOffset;
    record.storedSize = static_cast<std::uint32_t>(block.storedSize);
    record.rawSize = static_cast<std::uint32_t>(block.rawSize);
    record.firstPoint = pointsWritten_;
    records_.push_back(record);
    indexOfKey_.emplace(key, index);

    // Blocks go out to the disk while the build goes on, rather than all at the final flush.
    if (fileBytes_ + block.storedSize - writeBackFrom_ >= kWriteBackBytes) {
        file_.startWriteBack(writeBackFrom_, fileBytes_ + block.storedSize - writeBackFrom_);
        writeBackFrom_ = fileBytes_ + block.storedSize;
    }
    pointsWritten_ += block.pointCount;
    signature_ += block.signature;
    fileBytes_ += block.storedSize;
    storedBytes_ += block.storedSize;
    rawBytes_ += block.rawSize;
    deepestLevel_ = std::max(deepestLevel_, key.level);

    if (logLevelThreshold() <= LogTrace)
        logLine(LogTrace, "nodo %s: %zu punti, %zu -> %zu byte", nodeName(key).c_str(),
                static_cast<std::size_t>(block.pointCount), block.rawSize, block.storedSize);
    return true;
}

bool OvcfWriter::close(std::string& error) {
    if (!file_.isOpen()) {
        error = "OvcfWriter: file not open";
        return false;
    }
    if (records_.empty()) {
        error = "no node written: the cloud is empty";
        return false;
    }
    try {
        return writeTail(error);
    } catch (const std::bad_alloc&) {
        error = "OvcfWriter: out of memory";
        return false;
    }
}

bool OvcfWriter::writeZeros(std::uint64_t count) {
    static const std::uint8_t kZeros[64] = {};
    if (count <= sizeof kZeros) return file_.write(kZeros, static_cast<std::size_t>(count));
    const std::vector<std::uint8_t> zeros(static_cast<std::size_t>(std::min(count, kZeroChunk)));
    while (count > 0) {
        const std::size_t chunk = static_cast<std::size_t>(std::min<std::uint64_t>(count, zeros.size()));
        if (!file_.write(zeros.data(), chunk)) return false;
        count -= chunk;
    }
    return true;
}

bool OvcfWriter::writeTail(std::string& error) {
    std::uint64_t position = 0;
    if (!file_.tell(position)) {
        error = "cannot determine the file position: " + file_.lastErrorText();
        return false;
    }
    const std::uint64_t hierarchyOffset = alignSection(position);
    if (!writeZeros(hierarchyOffset - position)) {
        error = "writing the padding failed: " + file_.lastErrorText();
        return false;
    }

    const std::uint64_t hierarchySize = std::uint64_t{records_.size()} * kHierarchyRecordSize;
    std::vector<std::uint8_t> table(static_cast<std::size_t>(hierarchySize));
    encodeHierarchy(records_.data(), records_.size(), table.data());
    if (!file_.write(table.data(), table.size())) {
        error = "writing the hierarchy table failed: " + file_.lastErrorText();
        return false;
    }

    const std::uint64_t mapOffset = hierarchyOffset + hierarchySize;
    const std::uint64_t mapSize = deletedMapBytes(pointsWritten_);
    if (!writeZeros(mapSize)) {
        error = "writing the 'deleted' map failed: " + file_.lastErrorText();
        return false;
    }
    const std::uint64_t mapEnd = mapOffset + mapSize;

    const std::string metadata = composeMetadata(params_.source, localTimestamp());
    std::uint64_t metadataOffset = 0;
    if (!metadata.empty()) {
        metadataOffset = alignSection(mapEnd);
        if (!writeZeros(metadataOffset - mapEnd) || !file_.write(metadata.data(), metadata.size())) {
            error = "writing the metadata failed: " + file_.lastErrorText();
            return false;
        }
    }

    FileHeader header;
    std::memcpy(header.magic, kOvcfMagic.data(), kOvcfMagic.size());
    header.versionMajor = kOvcfVersionMajor;
    header.versionMinor = kOvcfVersionMinor;
    header.flags = params_.compression ? kOvcfFlagLz4 : 0;
    header.pointFormat = params_.pointFormat;
    header.recordSize = recordSize_;
    header.nodeCount = static_cast<std::uint32_t>(records_.size());
    header.pointCount = pointsWritten_;
    for (int axis = 0; axis < 3; ++axis) {
        header.step[axis] = params_.step[axis];
        header.offset[axis] = params_.offset[axis];
        header.boundsMin[axis] = params_.boundsMin[axis];
        header.boundsMax[axis] = params_.boundsMax[axis];
        header.rootOrigin[axis] = params_.rootOrigin[axis];
    }
    header.rootExponent = params_.rootExponent;
    header.deepestLevel = deepestLevel_;
    header.gridSize = params_.gridSize;
    header.maxNodePoints = params_.maxNodePoints;
    header.hierarchyOffset = hierarchyOffset;
    header.hierarchySize = hierarchySize;
    header.deletedMapOffset = mapOffset;
    header.deletedMapSize = mapSize;
    header.deletedCount = 0;
    header.buildSignature = signature_;
    header.currentSignature = signature_;
    header.metadataOffset = metadataOffset;
    header.metadataSize = metadata.size();

    std::uint8_t bytes[kHeaderSize];
    encodeHeader(header, bytes);
    if (!file_.seek(0) || !file_.write(bytes, sizeof bytes)) {
        error = "rewriting the header failed: " + file_.lastErrorText();
        return false;
    }
    // Blocks and header reach the disk before the rename puts the file in place.
    if (!output_.commit(error)) return false;
    forgetOldJournal(output_.target());
    finished_ = true;
    fileBytes_ = mapEnd;
    return true;
}

}  // namespace ovcf
