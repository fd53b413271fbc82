// Writes a .ovcf file in one pass: open with the cloud's parameters, then one writeNode per node,
// parents before children, then close. Blocks go to the file as they come; the hierarchy, an
// empty deleted-points map, the metadata and finally the real header are written by close.
//
// The file is written under a temporary name of its own beside the target (FileReplacement) and
// renamed over it only by a successful close, after everything is flushed to stable storage: a
// file already at the path (the cache being rebuilt) stays as it was until then, byte for byte,
// and readers that have it open keep reading it; two builds of one path each write their own
// file and the last to finish wins. A writer destroyed before a successful close deletes its
// temporary file.
//
// Failures return false with an English message in `error`; nothing throws. One thread uses a
// writer; the file is opened in the share-all mode, so readers may open it meanwhile.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "FileFormat.h"
#include "FileReplacement.h"
#include "NodeBlockEncoder.h"
#include "OvcfWriterParams.h"
#include "PointRecord.h"
#include "platform/SystemFile.h"

namespace ovcf {

class OvcfWriter {
public:
    OvcfWriter() = default;
    ~OvcfWriter();
    OvcfWriter(const OvcfWriter&) = delete;
    OvcfWriter& operator=(const OvcfWriter&) = delete;

    // Creates the temporary file and writes a placeholder header.
    bool open(const std::string& path, const OvcfWriterParams& params, std::string& error);
    // Encodes, checks and appends one node's block. `points` hold absolute quantised coordinates;
    // the fields the point format lacks are ignored. A failure records nothing.
    bool writeNode(const NodeKey& key, const PointRecord* points, std::size_t count, std::string& error);
    // Appends a block encoded elsewhere (encodeNode with params()), perhaps on another thread;
    // blocks go in parent-first order like writeNode's.
    bool appendNode(const NodeKey& key, const EncodedNode& block, std::string& error);
    // Writes the hierarchy, the deleted-points map, the metadata and the header, flushes, closes
    // and puts the file in place of any file at the path.
    bool close(std::string& error);

    const OvcfWriterParams& params() const { return params_; }
    bool isOpen() const { return file_.isOpen(); }
    bool isFinished() const { return finished_; }
    const std::string& path() const { return path_; }
    // Where the file is written until close puts it at path().
    const std::string& temporaryPath() const { return output_.temporaryPath(); }

    // Statistics for the import summary.
    std::uint64_t pointsWritten() const { return pointsWritten_; }
    std::uint64_t storedBytes() const { return storedBytes_; }  // all stored blocks
    std::uint64_t rawBytes() const { return rawBytes_; }        // all raw blocks
    std::uint64_t fileSize() const { return fileBytes_; }       // so far; the end of the map after close
    std::uint32_t deepestLevel() const { return deepestLevel_; }
    std::uint64_t signature() const { return signature_; }
    std::uint32_t nodeCount() const { return static_cast<std::uint32_t>(records_.size()); }
    const std::vector<HierarchyRecord>& nodes() const { return records_; }

private:
    bool appendNodeBlock(const NodeKey& key, const EncodedNode& block, std::string& error);
    bool writeTail(std::string& error);
    bool writeZeros(std::uint64_t count);

    FileReplacement output_;
    SystemFile& file_ = output_.file();
    std::string path_;
    OvcfWriterParams params_;
    std::uint32_t recordSize_ = 0;
    std::vector<HierarchyRecord> records_;
    std::unordered_map<NodeKey, std::uint32_t, NodeKeyHash> indexOfKey_;
    EncodedNode encoded_;
    std::uint64_t pointsWritten_ = 0;
    std::uint64_t signature_ = 0;
    std::uint64_t fileBytes_ = kHeaderSize;
    std::uint64_t writeBackFrom_ = kHeaderSize;  // where the blocks not yet sent to the disk begin
    std::uint64_t storedBytes_ = 0;
    std::uint64_t rawBytes_ = 0;
    std::uint32_t deepestLevel_ = 0;
    bool finished_ = false;
};

}  // namespace ovcf
