#include "import/laz/ArithmeticEncoder.h"

namespace ovcf::laz {

namespace {
constexpr std::uint32_t kMinLength = 0x01000000u;
}

void ArithmeticEncoder::propagateCarry() {
    for (std::size_t i = out_.size(); i-- > 0;) {
        if (out_[i] != 0xFF) {
            ++out_[i];
            return;
        }
        out_[i] = 0;
    }
}

void ArithmeticEncoder::renormalize() {
    do {
        out_.push_back(static_cast<std::uint8_t>(base_ >> 24));
        base_ <<= 8;
        length_ <<= 8;
    } while (length_ < kMinLength);
}

void ArithmeticEncoder::encodeBit(BitModel& model, std::uint32_t bit) {
    const std::uint32_t x = model.zeroProbability * (length_ >> kBitLengthShift);
    if (bit == 0) {
        length_ = x;
        ++model.zeroCount;
    } else {
        const std::uint32_t before = base_;
        base_ += x;
        length_ -= x;
        if (before > base_) propagateCarry();
    }
    if (length_ < kMinLength) renormalize();
    if (--model.untilUpdate == 0) model.update();
}

void ArithmeticEncoder::encodeSymbol(SymbolModel& model, std::uint32_t symbol) {
    const std::uint32_t before = base_;
    if (symbol == model.lastSymbol) {
        const std::uint32_t x = model.distribution()[symbol] * (length_ >> kSymbolLengthShift);
        base_ += x;
        length_ -= x;
    } else {
        length_ >>= kSymbolLengthShift;
        const std::uint32_t x = model.distribution()[symbol] * length_;
        base_ += x;
        length_ = model.distribution()[symbol + 1] * length_ - x;
    }
    if (before > base_) propagateCarry();
    if (length_ < kMinLength) renormalize();
    ++model.counts()[symbol];
    if (--model.untilUpdate == 0) model.update();
}

void ArithmeticEncoder::writeShort(std::uint32_t value) {
    const std::uint32_t before = base_;
    length_ >>= 16;
    base_ += value * length_;
    if (before > base_) propagateCarry();
    if (length_ < kMinLength) renormalize();
}

void ArithmeticEncoder::writeBits(unsigned bits, std::uint32_t value) {
    if (bits > 19) {
        writeShort(value & 0xFFFF);
        value >>= 16;
        bits -= 16;
    }
    const std::uint32_t before = base_;
    length_ >>= bits;
    base_ += value * length_;
    if (before > base_) propagateCarry();
    if (length_ < kMinLength) renormalize();
}

void ArithmeticEncoder::done() {
    const std::uint32_t before = base_;
    bool anotherByte = true;
    if (length_ > 2 * kMinLength) {
        base_ += kMinLength;
        length_ = kMinLength >> 1;
    } else {
        base_ += kMinLength >> 1;
        length_ = kMinLength >> 9;
        anotherByte = false;
    }
    if (before > base_) propagateCarry();
    renormalize();
    out_.push_back(0);
    out_.push_back(0);
    if (anotherByte) out_.push_back(0);
}

}  // namespace ovcf::laz
