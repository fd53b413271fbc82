#include "OvcfReader.h"

#include <climits>
#include <cstdio>
#include <new>
#include <utility>

#include <lz4.h>

#include "Crc32.h"
#include "NodeBlockCodec.h"

namespace ovcf {
namespace {

// LZ4 cannot expand its input more than about 255 times; a block claiming more is corrupt, and
// refusing it before allocating keeps a damaged header from asking for gigabytes.
constexpr std::uint64_t kMaxLz4Expansion = 256;

void growTo(std::vector<std::uint8_t>& buffer, std::size_t size) {
    if (buffer.size() < size) buffer.resize(size);
}

}  // namespace

bool OvcfReader::failOpen(std::string& error, std::string message) {
    close();
    error = std::move(message);
    return false;
}

void OvcfReader::close() {
    file_.close();
    path_.clear();
    header_ = FileHeader{};
    nodes_.clear();
    fileSize_ = 0;
}

bool OvcfReader::open(const std::string& path, std::string& error) {
    try {
        // A copy, because close() empties path_, which the caller may have passed as `path`.
        return openFile(std::string(path), error);
    } catch (const std::bad_alloc&) {
        return failOpen(error, "out of memory reading the hierarchy table of '" + path + "'");
    }
}

bool OvcfReader::openFile(std::string path, std::string& error) {
    close();
    if (!file_.open(path, SystemFile::Mode::Read))
        return failOpen(error, "cannot open '" + path + "': " + file_.lastErrorText());
    path_ = path;

    std::uint64_t fileSize = 0;
    if (!file_.size(fileSize)) return failOpen(error, "cannot open '" + path + "': " + file_.lastErrorText());
    if (fileSize < kHeaderSize) return failOpen(error, "'" + path + "' is too small to be a .ovcf file");

    std::uint8_t headerBytes[kHeaderSize];
    if (!file_.readAt(0, headerBytes, sizeof headerBytes))
        return failOpen(error, "reading the header failed: " + file_.lastErrorText());
    const FileHeader header = decodeHeader(headerBytes);
    std::string reason;
    if (!validateHeader(header, fileSize, reason)) return failOpen(error, reason);

    // Validation has bounded the table by the file's size, so this allocation is bounded too.
    std::vector<std::uint8_t> table(static_cast<std::size_t>(header.hierarchySize));
    if (!file_.readAt(header.hierarchyOffset, table.data(), table.size()))
        return failOpen(error, "reading the hierarchy table failed: " + file_.lastErrorText());
    nodes_.resize(header.nodeCount);
    decodeHierarchy(table.data(), nodes_.size(), nodes_.data());

    std::uint64_t sum = 0;
    for (std::size_t i = 0; i < nodes_.size(); ++i) {
        if (nodes_[i].firstPoint != sum)
            return failOpen(error, "inconsistent hierarchy table: wrong first-point index at node " + std::to_string(i));
        sum += nodes_[i].pointCount;
    }
    if (sum != header.pointCount)
        return failOpen(
            error,
            "inconsistent hierarchy table: the sum of the node point counts does not match the total declared in the header");

    header_ = header;
    fileSize_ = fileSize;
    return true;
}

bool OvcfReader::readNode(std::uint32_t nodeIndex, std::vector<PointRecord>& points, std::string& error,
                          bool verifyCrc) {
    // The caller's array is kept until the points are known, so that a reused array is not
    // cleared and zero-filled again only to be overwritten; on failure it is left empty.
    bool failed = true;
    try {
        if (const std::uint8_t* raw = loadBlock(nodeIndex, error, verifyCrc, failed)) {
            const HierarchyRecord& node = nodes_[nodeIndex];
            points.resize(node.pointCount);
            decodeNodeBlock(raw, node.pointCount, header_.pointFormat, nodeOrigin(header_, node.key()), points.data());
        } else if (!failed) {
            points.clear();
        }
    } catch (const std::bad_alloc&) {
        failed = true;
        error = "out of memory reading node " + std::to_string(nodeIndex);
    }
    if (failed) points.clear();
    return !failed;
}

bool OvcfReader::readNodeCoordinates(std::uint32_t nodeIndex, NodeCoordinates& coordinates, std::string& error) {
    bool failed = true;
    try {
        if (const std::uint8_t* raw = loadBlock(nodeIndex, error, false, failed)) {
            const HierarchyRecord& node = nodes_[nodeIndex];
            coordinates.x.resize(node.pointCount);
            coordinates.y.resize(node.pointCount);
            coordinates.z.resize(node.pointCount);
            decodeNodeCoordinates(raw, node.pointCount, nodeOrigin(header_, node.key()), coordinates.x.data(),
                                  coordinates.y.data(), coordinates.z.data());
        } else if (!failed) {
            coordinates.clear();
        }
    } catch (const std::bad_alloc&) {
        failed = true;
        error = "out of memory reading node " + std::to_string(nodeIndex);
    }
    if (failed) coordinates.clear();
    return !failed;
}

const std::uint8_t* OvcfReader::loadBlock(std::uint32_t nodeIndex, std::string& error, bool verifyCrc, bool& failed) {
    failed = true;
    if (!isOpen()) {
        error = ".ovcf file not open";
        return nullptr;
    }
    if (nodeIndex >= nodes_.size()) {
        error = "node index out of range";
        return nullptr;
    }
    const HierarchyRecord& node = nodes_[nodeIndex];
    if (node.pointCount == 0) {
        failed = false;
        return nullptr;
    }

    const std::string index = std::to_string(nodeIndex);
    if (node.rawSize != std::uint64_t{header_.recordSize} * node.pointCount) {
        error = "node " + index + ": decompressed size inconsistent with the point count";
        return nullptr;
    }

    if (node.storedSize > fileSize_ || node.blockOffset > fileSize_ - node.storedSize) {
        error = "reading the block of node " + index + " failed: " + SystemFile::kEndOfFileText;
        return nullptr;
    }
    growTo(storedBlock_, node.storedSize);
    if (!file_.readAt(node.blockOffset, storedBlock_.data(), node.storedSize)) {
        error = "reading the block of node " + index + " failed: " + file_.lastErrorText();
        return nullptr;
    }

    const std::uint8_t* raw = storedBlock_.data();
    if (node.storedSize != node.rawSize) {
        const bool plausible = node.storedSize <= INT_MAX && node.rawSize <= INT_MAX &&
                               node.rawSize <= std::uint64_t{node.storedSize} * kMaxLz4Expansion + 64;
        int produced = -1;
        if (plausible) {
            growTo(rawBlock_, node.rawSize);
            produced = LZ4_decompress_safe(reinterpret_cast<const char*>(storedBlock_.data()),
                                           reinterpret_cast<char*>(rawBlock_.data()), static_cast<int>(node.storedSize),
                                           static_cast<int>(node.rawSize));
        }
        if (produced < 0 || static_cast<std::uint32_t>(produced) != node.rawSize) {
            error = "decompression of node " + index + " failed: corrupted data";
            return nullptr;
        }
        raw = rawBlock_.data();
    }

    if (verifyCrc) {
        const std::uint32_t computed = crc32(raw, node.rawSize);
        if (computed != node.crc) {
            char text[128];
            std::snprintf(text, sizeof text, "nodo %u: CRC errato (atteso %08X, trovato %08X): dati danneggiati",
                          unsigned{nodeIndex}, unsigned{node.crc}, unsigned{computed});
            error = text;
            return nullptr;
        }
    }

    failed = false;
    return raw;
}

bool OvcfReader::openSame(OvcfReader& other, std::string& error) {
    close();
    if (!other.isOpen()) {
        error = ".ovcf file not open";
        return false;
    }
    if (!other.file_.duplicate(file_)) {
        error = "cannot open '" + other.path_ + "' again: " + file_.lastErrorText();
        return false;
    }
    path_ = other.path_;
    header_ = other.header_;
    nodes_ = other.nodes_;
    fileSize_ = other.fileSize_;
    return true;
}

bool OvcfReader::readDeletedMap(std::vector<std::uint8_t>& bytes, std::string& error) {
    if (!isOpen()) {
        error = ".ovcf file not open";
        return false;
    }
    // Validation at open has bounded the map by the file's size.
    bytes.resize(static_cast<std::size_t>(header_.deletedMapSize));
    if (bytes.empty()) return true;
    if (!file_.readAt(header_.deletedMapOffset, bytes.data(), bytes.size())) {
        bytes.clear();
        error = "reading the 'deleted' map failed: " + file_.lastErrorText();
        return false;
    }
    return true;
}

}  // namespace ovcf
