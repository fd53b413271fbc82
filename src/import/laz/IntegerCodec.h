// Integers coded as a corrector to a prediction: first the corrector's bit class k in a model per
// context, then its position inside the class (small classes through a model of their own, the
// low bits of large ones raw). The same shape serves both directions.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "import/laz/ArithmeticDecoder.h"
#include "import/laz/ArithmeticEncoder.h"
#include "import/laz/ArithmeticModel.h"

namespace ovcf::laz {

class IntegerCodec {
public:
    // `bits` of the values (32: the whole int range), `contexts` separate class models.
    explicit IntegerCodec(unsigned bits = 16, unsigned contexts = 1, unsigned bitsHigh = 8);

    // Inline: the point decoders spend most of their time in here.
    std::int32_t decode(ArithmeticDecoder& decoder, std::int32_t prediction, unsigned context);
    void encode(ArithmeticEncoder& encoder, std::int32_t prediction, std::int32_t value, unsigned context);
    // The class of the last corrector, which callers use to choose later contexts.
    unsigned k() const { return k_; }

private:
    unsigned k_ = 0;
    unsigned bitsHigh_;
    unsigned correctorBits_;
    std::uint32_t correctorRange_;
    std::int32_t correctorMin_;
    std::int32_t correctorMax_;
    std::vector<SymbolModel> classModels_;
    BitModel zeroOrOne_;
    // Made on first use: of the 32 classes of a 32-bit value a chunk meets a few, and building
    // all of them cost more than decoding the small chunks of a COPC file.
    std::vector<std::unique_ptr<SymbolModel>> correctorModels_;

    SymbolModel& correctorModel(unsigned k) {
        std::unique_ptr<SymbolModel>& model = correctorModels_[k - 1];
        if (!model) [[unlikely]]
            model = std::make_unique<SymbolModel>(k <= bitsHigh_ ? 1u << k : 1u << bitsHigh_);
        return *model;
    }
};

inline std::int32_t IntegerCodec::decode(ArithmeticDecoder& shared, std::int32_t prediction, unsigned context) {
    // A copy keeps the coder's state in registers across the two or three symbols; the shared
    // decoder, which the compiler must keep up to date in memory at every step, is written once.
    ArithmeticDecoder decoder = shared;
    k_ = decoder.decodeSymbol(classModels_[context]);
    std::int32_t corrector;
    if (k_ == 0) {
        corrector = static_cast<std::int32_t>(decoder.decodeBit(zeroOrOne_));
    } else if (k_ < 32) {
        std::uint32_t c;
        if (k_ <= bitsHigh_) {
            c = decoder.decodeSymbol(correctorModel(k_));
        } else {
            const unsigned lowBits = k_ - bitsHigh_;
            c = decoder.decodeSymbol(correctorModel(k_));
            c = (c << lowBits) | decoder.readBits(lowBits);
        }
        // Back from [0, 2^k) to [-(2^k - 1), -2^(k-1)] or [2^(k-1) + 1, 2^k]. The sign is as
        // random as the data: masks, as the compiler turned a selection into a branch.
        const std::uint32_t negative = 0u - static_cast<std::uint32_t>(c < (1u << (k_ - 1)));
        corrector = static_cast<std::int32_t>(c + 1 - (negative & (1u << k_)));
    } else {
        corrector = correctorMin_;
    }
    shared = decoder;
    // Folded back into the range of `bits`, without a branch either: a coordinate's change is
    // as often below zero as above.
    const std::uint32_t sum = static_cast<std::uint32_t>(prediction) + static_cast<std::uint32_t>(corrector);
    const std::uint32_t below = 0u - static_cast<std::uint32_t>(static_cast<std::int32_t>(sum) < 0);
    const std::uint32_t above = 0u - (static_cast<std::uint32_t>(correctorRange_ != 0) & (sum >> 31 ^ 1u) &
                                      static_cast<std::uint32_t>(sum >= correctorRange_));
    const std::int32_t value = static_cast<std::int32_t>(sum + (below & correctorRange_) - (above & correctorRange_));
    return value;
}

}  // namespace ovcf::laz
