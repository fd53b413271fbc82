// The LAZ range decoder over one block of compressed bytes. Damaged data never reads outside the
// block: running past its end, or a state no encoder produces, throws CorruptData.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>

#include "import/laz/ArithmeticModel.h"

namespace ovcf::laz {

struct CorruptData : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class ArithmeticDecoder {
public:
    // Starts decoding `size` bytes at `bytes` (the first four prime the state).
    void start(const std::uint8_t* bytes, std::size_t size);
    bool started() const { return begin_ != nullptr; }

    std::uint32_t decodeBit(BitModel& model);
    std::uint32_t decodeSymbol(SymbolModel& model);
    std::uint32_t readBits(unsigned bits);  // 1 to 32 raw bits
    std::uint32_t readInt() { const std::uint32_t low = readShort(); return (readShort() << 16) | low; }

private:
    std::uint32_t readShort();
    std::uint8_t nextByte();
    void renormalize();

    const std::uint8_t* begin_ = nullptr;
    const std::uint8_t* next_ = nullptr;
    const std::uint8_t* end_ = nullptr;
    std::uint32_t value_ = 0;
    std::uint32_t length_ = 0xFFFFFFFFu;
};

}  // namespace ovcf::laz
