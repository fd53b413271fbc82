#include "view/PngWriter.h"

#include <algorithm>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>

#include "ovcf/Crc32.h"

namespace ovcf {
namespace {

using ByteSink = std::function<bool(const std::uint8_t* data, std::size_t size)>;

constexpr std::uint8_t kSignature[8] = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A};
constexpr std::uint32_t kAdlerModulus = 65521;
// The largest run of bytes whose Adler sums cannot overflow 32 bits before the modulo.
constexpr std::size_t kAdlerRun = 5552;
constexpr std::uint64_t kMaxChunkLength = 0x7FFFFFFF;

class Adler32 {
public:
    void update(const std::uint8_t* p, std::size_t n) {
        while (n > 0) {
            const std::size_t run = std::min(n, kAdlerRun);
            for (std::size_t i = 0; i < run; ++i) {
                a_ += p[i];
                b_ += a_;
            }
            a_ %= kAdlerModulus;
            b_ %= kAdlerModulus;
            p += run;
            n -= run;
        }
    }
    std::uint32_t value() const { return (b_ << 16) | a_; }

private:
    std::uint32_t a_ = 1;
    std::uint32_t b_ = 0;
};

// Buffers the output and keeps the CRC of the current chunk's type and data.
class ChunkStream {
public:
    explicit ChunkStream(const ByteSink& sink) : sink_(sink) { buffer_.reserve(kBufferSize); }

    void put(const std::uint8_t* p, std::size_t n) {
        if (inChunk_) crc_ = crc32(p, n, crc_);
        while (n > 0 && ok_) {
            const std::size_t room = kBufferSize - buffer_.size();
            const std::size_t take = std::min(room, n);
            buffer_.insert(buffer_.end(), p, p + take);
            p += take;
            n -= take;
            if (buffer_.size() == kBufferSize) flush();
        }
    }
    void putU32(std::uint32_t v) {
        const std::uint8_t b[4] = {std::uint8_t(v >> 24), std::uint8_t(v >> 16), std::uint8_t(v >> 8),
                                   std::uint8_t(v)};
        put(b, 4);
    }
    void beginChunk(const char* type, std::uint32_t length) {
        putU32(length);
        inChunk_ = true;
        crc_ = 0;
        put(reinterpret_cast<const std::uint8_t*>(type), 4);
    }
    void endChunk() {
        inChunk_ = false;
        putU32(crc_);
    }
    bool finish() {
        flush();
        return ok_;
    }

private:
    static constexpr std::size_t kBufferSize = 1 << 16;

    void flush() {
        if (ok_ && !buffer_.empty()) ok_ = sink_(buffer_.data(), buffer_.size());
        buffer_.clear();
    }

    const ByteSink& sink_;
    std::vector<std::uint8_t> buffer_;
    std::uint32_t crc_ = 0;
    bool inChunk_ = false;
    bool ok_ = true;
};

// Cuts the raw image data into stored deflate blocks as it arrives.
class StoredBlocks {
public:
    StoredBlocks(ChunkStream& out, std::uint64_t total) : out_(out), remaining_(total) {}

    void put(const std::uint8_t* p, std::size_t n) {
        adler_.update(p, n);
        while (n > 0) {
            if (blockLeft_ == 0) startBlock();
            const std::size_t take = static_cast<std::size_t>(std::min<std::uint64_t>(blockLeft_, n));
            out_.put(p, take);
            p += take;
            n -= take;
            blockLeft_ -= take;
            remaining_ -= take;
        }
    }
    std::uint32_t adler() const { return adler_.value(); }

private:
    void startBlock() {
        const std::uint64_t length = std::min<std::uint64_t>(remaining_, kStoredBlockMax);
        const bool last = remaining_ == length;
        const std::uint16_t len = static_cast<std::uint16_t>(length);
        const std::uint16_t nlen = static_cast<std::uint16_t>(~len);
        const std::uint8_t header[5] = {std::uint8_t(last ? 1 : 0), std::uint8_t(len & 0xFF), std::uint8_t(len >> 8),
                                        std::uint8_t(nlen & 0xFF), std::uint8_t(nlen >> 8)};
        out_.put(header, sizeof header);
        blockLeft_ = length;
    }

    ChunkStream& out_;
    Adler32 adler_;
    std::uint64_t remaining_;
    std::uint64_t blockLeft_ = 0;
};

bool validImage(int width, int height, const std::uint8_t* rgb, std::uint64_t& rawSize,
                std::uint64_t& idatLength) {
    if (width < 1 || height < 1 || !rgb) return false;
    rawSize = (std::uint64_t(width) * 3 + 1) * std::uint64_t(height);
    const std::uint64_t blocks = (rawSize + kStoredBlockMax - 1) / kStoredBlockMax;
    idatLength = 2 + rawSize + 5 * blocks + 4;
    return idatLength <= kMaxChunkLength;
}

bool streamPng(int width, int height, const std::uint8_t* rgb, bool rowsBottomUp, const ByteSink& sink,
               std::string& error) {
    std::uint64_t rawSize = 0, idatLength = 0;
    if (!validImage(width, height, rgb, rawSize, idatLength)) {
        error = "immagine non valida";
        return false;
    }
    ChunkStream out(sink);
    out.put(kSignature, sizeof kSignature);

    out.beginChunk("IHDR", 13);
    out.putU32(static_cast<std::uint32_t>(width));
    out.putU32(static_cast<std::uint32_t>(height));
    const std::uint8_t format[5] = {8, 2, 0, 0, 0};  // depth, RGB, deflate, no filter, no interlace
    out.put(format, sizeof format);
    out.endChunk();

    out.beginChunk("IDAT", static_cast<std::uint32_t>(idatLength));
    const std::uint8_t zlibHeader[2] = {0x78, 0x01};
    out.put(zlibHeader, sizeof zlibHeader);
    StoredBlocks blocks(out, rawSize);
    const std::size_t stride = std::size_t(width) * 3;
    const std::uint8_t noFilter = 0;
    for (int row = 0; row < height; ++row) {
        const int source = rowsBottomUp ? height - 1 - row : row;
        blocks.put(&noFilter, 1);
        blocks.put(rgb + std::size_t(source) * stride, stride);
    }
    out.putU32(blocks.adler());
    out.endChunk();

    out.beginChunk("IEND", 0);
    out.endChunk();
    return out.finish();
}

}  // namespace

bool encodePng(int width, int height, const std::uint8_t* rgb, bool rowsBottomUp,
               std::vector<std::uint8_t>& out, std::string& error) {
    out.clear();
    const ByteSink sink = [&out](const std::uint8_t* p, std::size_t n) {
        out.insert(out.end(), p, p + n);
        return true;
    };
    return streamPng(width, height, rgb, rowsBottomUp, sink, error);
}

bool writePng(const std::string& utf8Path, int width, int height, const std::uint8_t* rgb,
              bool rowsBottomUp, std::string& error) {
    std::uint64_t rawSize = 0, idatLength = 0;
    if (!validImage(width, height, rgb, rawSize, idatLength)) {
        error = "immagine non valida";
        return false;
    }
    std::filesystem::path path;
    try {
        path = std::filesystem::path(std::u8string(utf8Path.begin(), utf8Path.end()));
    } catch (const std::exception&) {
        error = "impossibile creare '" + utf8Path + "'";
        return false;
    }
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    if (!file) {
        error = "impossibile creare '" + utf8Path + "'";
        return false;
    }
    const ByteSink sink = [&file](const std::uint8_t* p, std::size_t n) {
        file.write(reinterpret_cast<const char*>(p), static_cast<std::streamsize>(n));
        return static_cast<bool>(file);
    };
    bool ok = streamPng(width, height, rgb, rowsBottomUp, sink, error);
    file.close();
    if (!ok || file.fail()) {
        error = "scrittura di '" + utf8Path + "' fallita";
        return false;
    }
    return true;
}

}  // namespace ovcf
