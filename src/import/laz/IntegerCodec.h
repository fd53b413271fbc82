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

    // The value, in [0, 2^bits) below 32 bits: a prediction in that range plus the corrector,
    // folded back into it. Always inline: a point decodes several values, and in a caller that
    // holds its own copy of the decoder, the coder's state then stays in registers throughout,
    // instead of passing through memory at every call.
    [[gnu::always_inline]] std::int32_t decode(ArithmeticDecoder& decoder, std::int32_t prediction, unsigned context);
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
    std::uint32_t valueMask_;  // 2^bits - 1; all ones for 32 bits
    std::vector<SymbolModel> classModels_;
    BitModel zeroOrOne_;
    // Made on first use: of the 32 classes of a 32-bit value a chunk meets a few, and building
    // all of them cost more than decoding the small chunks of a COPC file.
    std::vector<std::unique_ptr<SymbolModel>> correctorModels_;

    SymbolModel& correctorModel(unsigned k) {
        SymbolModel* model = correctorModels_[k - 1].get();
        if (!model) [[unlikely]]
            model = makeCorrectorModel(k);
        return *model;
    }
    SymbolModel* makeCorrectorModel(unsigned k);
};

inline std::int32_t IntegerCodec::decode(ArithmeticDecoder& shared, std::int32_t prediction, unsigned context) {
    // A copy keeps the coder's state in registers across the two or three symbols, where the
    // caller's decoder is not a copy of its own already.
    ArithmeticDecoder decoder = shared;
    const unsigned k = decoder.decodeSymbol(classModels_[context]);
    k_ = k;
    std::int32_t corrector;
    if (k == 0) {
        corrector = static_cast<std::int32_t>(decoder.decodeBit(zeroOrOne_));
    } else if (k < 32) {
        // Large classes: the model codes the high bits, the low ones come raw.
        std::uint32_t c = decoder.decodeSymbol(correctorModel(k));
        if (k > bitsHigh_) {
            const unsigned lowBits = k - bitsHigh_;
            c = (c << lowBits) | decoder.readBits(lowBits);
        }
        // Back from [0, 2^k) to [-(2^k - 1), -2^(k-1)] or [2^(k-1) + 1, 2^k]. The sign is as
        // random as the data: masks, as the compiler turned a selection into a branch.
        const std::uint32_t negative = 0u - static_cast<std::uint32_t>(c < (1u << (k - 1)));
        corrector = static_cast<std::int32_t>(c + 1 - (negative & (1u << k)));
    } else {
        corrector = correctorMin_;
    }
    shared = decoder;
    // The format folds the sum into range by adding or subtracting 2^bits once. Its low bits are
    // all that callers keep, and from a prediction in range the fold leaves no others.
    return static_cast<std::int32_t>((static_cast<std::uint32_t>(prediction) + static_cast<std::uint32_t>(corrector)) & valueMask_);
}

}  // namespace ovcf::laz
