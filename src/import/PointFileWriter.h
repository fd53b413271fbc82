// Point files written from a cache, one format each (LAS 1.4, LAZ 1.4, binary PLY, XYZ text), all through
// one interface so that an export streams node by node into any of them. Output is buffered and
// goes to a temporary name beside the target, put in place by finish(); a writer destroyed before
// that deletes its temporary file and leaves any file at the target as it was.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ovcf/FileFormat.h"
#include "ovcf/FileReplacement.h"
#include "ovcf/PointRecord.h"
#include "platform/SystemFile.h"

namespace ovcf {

class PointFileWriter {
public:
    virtual ~PointFileWriter() = default;

    // Starts the file that will replace `path`, for `count` points of a cloud with the cache's header (quantisation, bounds).
    bool begin(const std::string& path, const FileHeader& cloud, std::uint64_t count, std::string& error);
    bool write(const PointRecord* points, std::size_t n, std::string& error);
    // Writes what is buffered and anything the header needed to know at the end, flushes, closes
    // and puts the file in place.
    bool finish(std::string& error);

protected:
    virtual void writeHeader() = 0;
    virtual void writePoint(const PointRecord& point) = 0;
    virtual bool patchHeader(std::string& error) { return true; }

    // Little-endian machines only, as the whole module.
    void put(const void* bytes, std::size_t n);
    bool flush(std::string& error);
    bool fail(std::string& error, const char* what);

    FileReplacement output_;
    SystemFile& file_ = output_.file();
    std::string path_;
    FileHeader cloud_;
    std::uint64_t count_ = 0;
    std::vector<char> buffer_;  // allocated once; `used_` bytes of it wait to be written
    std::size_t used_ = 0;
    bool failed_ = false;
};

// The writer for the output's extension (.las, .laz, .ply, .xyz, any case); null with the reason.
// `threads` compress a LAZ file (0: every core).
std::unique_ptr<PointFileWriter> pointFileWriterFor(const std::string& path, std::string& error, unsigned threads = 0);

// World coordinates of a cache point.
inline double worldCoordinate(const FileHeader& h, int axis, std::uint32_t q) { return h.offset[axis] + h.step[axis] * q; }

}  // namespace ovcf
