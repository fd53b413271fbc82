#include "import/laz/IntegerCodec.h"

#include <limits>

namespace ovcf::laz {

IntegerCodec::IntegerCodec(unsigned bits, unsigned contexts, unsigned bitsHigh) : bitsHigh_(bitsHigh) {
    if (bits >= 1 && bits < 32) {
        correctorBits_ = bits;
        correctorRange_ = 1u << bits;
        correctorMin_ = -static_cast<std::int32_t>(correctorRange_ / 2);
        correctorMax_ = correctorMin_ + static_cast<std::int32_t>(correctorRange_ - 1);
        valueMask_ = correctorRange_ - 1;
    } else {
        correctorBits_ = 32;
        correctorRange_ = 0;
        correctorMin_ = std::numeric_limits<std::int32_t>::min();
        correctorMax_ = std::numeric_limits<std::int32_t>::max();
        valueMask_ = 0xFFFFFFFFu;
    }
    classModels_.assign(contexts, SymbolModel(correctorBits_ + 1));
    correctorModels_.resize(correctorBits_);
}

SymbolModel* IntegerCodec::makeCorrectorModel(unsigned k) {
    correctorModels_[k - 1] = std::make_unique<SymbolModel>(k <= bitsHigh_ ? 1u << k : 1u << bitsHigh_);
    return correctorModels_[k - 1].get();
}

void IntegerCodec::encode(ArithmeticEncoder& encoder, std::int32_t prediction, std::int32_t value, unsigned context) {
    std::int32_t c = static_cast<std::int32_t>(static_cast<std::uint32_t>(value) - static_cast<std::uint32_t>(prediction));
    if (c < correctorMin_)
        c = static_cast<std::int32_t>(static_cast<std::uint32_t>(c) + correctorRange_);
    else if (c > correctorMax_)
        c = static_cast<std::int32_t>(static_cast<std::uint32_t>(c) - correctorRange_);
    // The tightest class [-(2^k - 1), 2^k] that holds c.
    std::uint32_t magnitude = c <= 0 ? 0u - static_cast<std::uint32_t>(c) : static_cast<std::uint32_t>(c) - 1;
    k_ = 0;
    while (magnitude) {
        magnitude >>= 1;
        ++k_;
    }
    encoder.encodeSymbol(classModels_[context], k_);
    if (k_ == 0) {
        encoder.encodeBit(zeroOrOne_, static_cast<std::uint32_t>(c));
    } else if (k_ < 32) {
        std::uint32_t u = c >= 0 ? static_cast<std::uint32_t>(c) - 1 : static_cast<std::uint32_t>(c) + ((1u << k_) - 1);
        if (k_ <= bitsHigh_) {
            encoder.encodeSymbol(correctorModel(k_), u);
        } else {
            const unsigned lowBits = k_ - bitsHigh_;
            encoder.encodeSymbol(correctorModel(k_), u >> lowBits);
            encoder.writeBits(lowBits, u & ((1u << lowBits) - 1));
        }
    }
}

}  // namespace ovcf::laz
