// Reads a .ovcf file: open validates the header and the hierarchy; readNode hands out the points
// of one node, readDeletedMap the deleted-points bitmap. Any number of readers may have the same
// file open at once, together with a writer, each used by one thread at a time; they share
// nothing. Block buffers survive between calls, so reading node after node stops allocating
// once they reach the largest node's size.
//
// Failures return false with an English message in `error`; nothing throws. A failed open leaves
// the reader closed; a failed readNode or readDeletedMap leaves it open for other nodes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "FileFormat.h"
#include "PointRecord.h"
#include "platform/SystemFile.h"

namespace ovcf {

struct NodeCoordinates {
    std::vector<std::uint32_t> x, y, z;
    std::size_t size() const { return x.size(); }
    void clear() {
        x.clear();
        y.clear();
        z.clear();
    }
};

// Answers of OvcfReader::probeHeader.
enum ProbeResult : int {
    ProbeValid = 0,       // version 1.0, header returned
    ProbeMissing = 1,     // no file at the path
    ProbeUnreadable = 2,  // cannot be opened or read, or the header is not valid
    ProbeNewer = 3,       // valid, but version 1.1 or later
};

class OvcfReader {
public:
    OvcfReader() = default;
    OvcfReader(const OvcfReader&) = delete;
    OvcfReader& operator=(const OvcfReader&) = delete;

    // Closes any open file, then opens and validates `path` (any 1.x version).
    bool open(const std::string& path, std::string& error);
    void close();
    // Opens the very file `other` has open, through a second handle, taking its validated header
    // and hierarchy: it keeps reading that file even after another one was renamed over the path.
    bool openSame(OvcfReader& other, std::string& error);

    // Points of node `nodeIndex` in block order, absolute coordinates; point j has the global
    // index nodes()[nodeIndex].firstPoint + j. The CRC check is optional because it walks the
    // whole raw block again.
    bool readNode(std::uint32_t nodeIndex, std::vector<PointRecord>& points, std::string& error,
                  bool verifyCrc = false);
    // The same node's absolute coordinates only, one array per axis, with the same checks and
    // messages; on failure the arrays are left empty.
    bool readNodeCoordinates(std::uint32_t nodeIndex, NodeCoordinates& coordinates, std::string& error);
    // The deleted-points bitmap as stored: (point count + 7) / 8 bytes, bit i%8 of byte i/8.
    bool readDeletedMap(std::vector<std::uint8_t>& bytes, std::string& error);

    const FileHeader& header() const { return header_; }
    const std::vector<HierarchyRecord>& nodes() const { return nodes_; }
    bool isOpen() const { return file_.isOpen(); }
    const std::string& path() const { return path_; }
    // The open file, for its identity and the commit lock.
    SystemFile& file() { return file_; }

    // The header check shared by every opener; a file size of 0 skips the check of the final
    // sections against the size. Messages are the Italian validation texts.
    static bool validateHeader(const FileHeader& header, std::uint64_t fileSize, std::string& error);
    // Reads and checks only the header; stricter than open: a version 1.x with x > 0 answers
    // ProbeNewer. The header is returned only with ProbeValid.
    static ProbeResult probeHeader(const std::string& path, FileHeader& header, std::string& error);

private:
    bool openFile(std::string path, std::string& error);
    // The node's raw block, read, decompressed and checked; null on failure, and for an empty
    // node (with no error).
    const std::uint8_t* loadBlock(std::uint32_t nodeIndex, std::string& error, bool verifyCrc, bool& failed);
    bool failOpen(std::string& error, std::string message);

    SystemFile file_;
    std::string path_;
    FileHeader header_;
    std::vector<HierarchyRecord> nodes_;
    std::uint64_t fileSize_ = 0;  // at open: no block is read, or allocated for, beyond it
    std::vector<std::uint8_t> storedBlock_;  // both only grow
    std::vector<std::uint8_t> rawBlock_;
};

}  // namespace ovcf
