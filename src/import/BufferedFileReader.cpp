#include "import/BufferedFileReader.h"

#include <algorithm>
#include <cstring>

namespace ovcf {

bool BufferedFileReader::open(const std::string& path, std::string& error) {
    bufferStart_ = 0;
    bufferFill_ = 0;
    position_ = 0;
    size_ = 0;
    if (!file_.open(path, SystemFile::Mode::Read) || !file_.size(size_)) {
        error = file_.lastErrorText();
        file_.close();
        return false;
    }
    const std::size_t wanted = static_cast<std::size_t>(std::clamp<std::uint64_t>(size_, 1, capacity_));
    if (buffer_.size() != wanted) std::vector<std::uint8_t>(wanted).swap(buffer_);
    return true;
}

void BufferedFileReader::seek(std::uint64_t offset) { position_ = offset; }

bool BufferedFileReader::fill(std::size_t wanted, std::string& error) {
    const std::uint64_t bufferEnd = bufferStart_ + bufferFill_;
    if (position_ >= bufferStart_ && position_ + wanted <= bufferEnd) return true;
    if (position_ >= size_) return true;
    // Keep the bytes from the position that are already here, then read behind them.
    std::size_t kept = 0;
    if (position_ >= bufferStart_ && position_ < bufferEnd) {
        kept = static_cast<std::size_t>(bufferEnd - position_);
        std::memmove(buffer_.data(), buffer_.data() + (position_ - bufferStart_), kept);
    }
    bufferStart_ = position_;
    bufferFill_ = kept;
    const std::uint64_t left = size_ - (bufferStart_ + kept);
    const std::size_t toRead = static_cast<std::size_t>(std::min<std::uint64_t>(buffer_.size() - kept, left));
    if (toRead > 0 && !file_.readAt(bufferStart_ + kept, buffer_.data() + kept, toRead)) {
        error = file_.lastErrorText();
        bufferFill_ = 0;
        return false;
    }
    bufferFill_ = kept + toRead;
    return true;
}

const std::uint8_t* BufferedFileReader::peek(std::size_t wanted, std::size_t& available, std::string& error) {
    available = 0;
    wanted = std::min(wanted, buffer_.size());
    if (!fill(wanted, error)) return nullptr;
    if (position_ < bufferStart_ || position_ >= bufferStart_ + bufferFill_) return buffer_.data();
    const std::size_t at = static_cast<std::size_t>(position_ - bufferStart_);
    available = std::min(wanted, bufferFill_ - at);
    return buffer_.data() + at;
}

bool BufferedFileReader::read(void* out, std::size_t count, std::string& error) {
    auto* target = static_cast<std::uint8_t*>(out);
    while (count > 0) {
        std::size_t available = 0;
        const std::uint8_t* bytes = peek(count, available, error);
        if (!bytes) return false;
        if (available == 0) {
            error = "unexpected end of file";
            return false;
        }
        std::memcpy(target, bytes, available);
        target += available;
        count -= available;
        position_ += available;
    }
    return true;
}

}  // namespace ovcf
