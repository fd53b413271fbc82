#include "import/PointFileWriter.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "import/LasWriter.h"
#include "import/LazWriter.h"
#include "import/PlyWriter.h"
#include "import/XyzWriter.h"

namespace ovcf {
namespace {

constexpr std::size_t kBufferBytes = 1 << 20;

}  // namespace

bool PointFileWriter::begin(const std::string& path, const FileHeader& cloud, std::uint64_t count, std::string& error) {
    path_ = path;
    cloud_ = cloud;
    count_ = count;
    buffer_.resize(kBufferBytes + 4096);
    used_ = 0;
    failed_ = false;
    if (!output_.begin(path)) return fail(error, "cannot create");
    writeHeader();
    return flush(error);
}

bool PointFileWriter::write(const PointRecord* points, std::size_t n, std::string& error) {
    for (std::size_t i = 0; i < n; ++i) {
        writePoint(points[i]);
        if (used_ >= kBufferBytes && !flush(error)) return false;
    }
    return true;
}

bool PointFileWriter::finish(std::string& error) {
    if (!flush(error) || !patchHeader(error)) return false;
    if (!output_.commit(error)) {
        failed_ = true;
        return false;
    }
    return true;
}

void PointFileWriter::put(const void* bytes, std::size_t n) {
    if (used_ + n > buffer_.size()) buffer_.resize(used_ + n);  // only a header longer than the slack
    std::memcpy(buffer_.data() + used_, bytes, n);
    used_ += n;
}

bool PointFileWriter::flush(std::string& error) {
    if (used_ == 0) return true;
    if (!file_.write(buffer_.data(), used_)) return fail(error, "writing failed for");
    used_ = 0;
    return true;
}

bool PointFileWriter::fail(std::string& error, const char* what) {
    error = std::string(what) + " '" + path_ + "': " + file_.lastErrorText();
    failed_ = true;
    return false;
}

std::unique_ptr<PointFileWriter> pointFileWriterFor(const std::string& path, std::string& error, unsigned threads) {
    const std::size_t dot = path.find_last_of('.');
    const std::size_t slash = path.find_last_of("/\\");
    std::string extension = dot == std::string::npos || (slash != std::string::npos && dot < slash) ? "" : path.substr(dot);
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (extension == ".las") return std::make_unique<LasWriter>();
    if (extension == ".laz") return std::make_unique<LazWriter>(threads);
    if (extension == ".ply") return std::make_unique<PlyWriter>();
    if (extension == ".xyz" || extension == ".txt") return std::make_unique<XyzWriter>();
    error = "unknown output format '" + extension + "': use .las, .laz, .ply or .xyz";
    return nullptr;
}

}  // namespace ovcf
