#include "import/FileSources.h"

#include <cstring>

#include "import/LasSource.h"
#include "import/LazSource.h"
#include "import/PlySource.h"
#include "import/XyzSource.h"
#include "platform/SystemFile.h"

namespace ovcf {

std::unique_ptr<PointSource> openPointFile(const std::string& path, double step, std::string& error,
                                           unsigned threads) {
    SystemFile probe;
    if (!probe.open(path, SystemFile::Mode::Read)) {
        error = "'" + path + "': cannot open the file: " + probe.lastErrorText();
        return nullptr;
    }
    std::uint64_t size = 0;
    probe.size(size);
    char magic[4] = {};
    std::uint8_t formatByte = 0;
    if (size >= 4 && !probe.readAt(0, magic, 4)) {
        error = "'" + path + "': reading failed: " + probe.lastErrorText();
        return nullptr;
    }
    // LAZ keeps the LAS header and marks its compressed records in the point format's top bits.
    if (std::memcmp(magic, "LASF", 4) == 0 && size > 104 && !probe.readAt(104, &formatByte, 1)) {
        error = "'" + path + "': reading failed: " + probe.lastErrorText();
        return nullptr;
    }
    probe.close();
    if (std::memcmp(magic, "LASF", 4) == 0 && (formatByte & 0xC0)) {
        auto source = std::make_unique<LazSource>();
        source->setThreads(threads);
        if (!source->open(path, step, error)) return nullptr;
        return source;
    }
    if (std::memcmp(magic, "LASF", 4) == 0) {
        auto source = std::make_unique<LasSource>();
        source->setThreads(threads);
        if (!source->open(path, step, error)) return nullptr;
        return source;
    }
    if (std::memcmp(magic, "ply", 3) == 0 && (magic[3] == '\n' || magic[3] == '\r')) {
        auto source = std::make_unique<PlySource>();
        if (!source->open(path, step, error)) return nullptr;
        return source;
    }
    auto source = std::make_unique<XyzSource>();
    if (!source->open(path, step, error)) return nullptr;
    return source;
}

}  // namespace ovcf
