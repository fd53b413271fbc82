// The LAZ range encoder, writing into a growing byte vector; a carry reaches back into bytes
// already written, which is why the output stays in memory until done().
#pragma once

#include <cstdint>
#include <vector>

#include "import/laz/ArithmeticModel.h"

namespace ovcf::laz {

class ArithmeticEncoder {
public:
    void encodeBit(BitModel& model, std::uint32_t bit);
    void encodeSymbol(SymbolModel& model, std::uint32_t symbol);
    void writeBits(unsigned bits, std::uint32_t value);  // 1 to 32 raw bits
    void writeInt(std::uint32_t value) {
        writeShort(value & 0xFFFF);
        writeShort(value >> 16);
    }
    // Flushes the state so that a decoder never reads past the returned bytes.
    void done();
    const std::vector<std::uint8_t>& bytes() const { return out_; }

private:
    void writeShort(std::uint32_t value);
    void propagateCarry();
    void renormalize();

    std::vector<std::uint8_t> out_;
    std::uint32_t base_ = 0;
    std::uint32_t length_ = 0xFFFFFFFFu;
};

}  // namespace ovcf::laz
