// Sequential reading of a large file through one big buffer, for the file point sources: few,
// large system reads, and the bytes handed out in place.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/SystemFile.h"

namespace ovcf {

class BufferedFileReader {
public:
    static constexpr std::size_t kDefaultBufferBytes = std::size_t{4} << 20;

    // The buffer is made at open, no larger than the file: small files cost no large allocation.
    explicit BufferedFileReader(std::size_t bufferBytes = kDefaultBufferBytes) : capacity_(bufferBytes) {}

    // False with the system's reason in `error`.
    bool open(const std::string& path, std::string& error);
    std::uint64_t size() const { return size_; }
    std::uint64_t position() const { return position_; }

    // Positions the next read anywhere in the file.
    void seek(std::uint64_t offset);
    // Copies exactly `count` bytes; false at the end of the file (with `error` saying so) or on a
    // read failure.
    bool read(void* out, std::size_t count, std::string& error);
    // Makes up to `wanted` bytes (at most the buffer's size) available from the position without
    // moving it; returns the pointer and sets `available` (0 at the end of the file).
    const std::uint8_t* peek(std::size_t wanted, std::size_t& available, std::string& error);
    void skip(std::size_t count) { position_ += count; }

private:
    bool fill(std::size_t wanted, std::string& error);

    SystemFile file_;
    std::size_t capacity_;
    std::vector<std::uint8_t> buffer_;
    std::uint64_t bufferStart_ = 0;  // file offset of buffer_[0]
    std::size_t bufferFill_ = 0;
    std::uint64_t position_ = 0;
    std::uint64_t size_ = 0;
};

}  // namespace ovcf
