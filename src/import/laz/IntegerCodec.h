// Integers coded as a corrector to a prediction: first the corrector's bit class k in a model per
// context, then its position inside the class (small classes through a model of their own, the
// low bits of large ones raw). The same shape serves both directions.
#pragma once

#include <cstdint>
#include <vector>

#include "import/laz/ArithmeticDecoder.h"
#include "import/laz/ArithmeticEncoder.h"
#include "import/laz/ArithmeticModel.h"

namespace ovcf::laz {

class IntegerCodec {
public:
    // `bits` of the values (32: the whole int range), `contexts` separate class models.
    explicit IntegerCodec(unsigned bits = 16, unsigned contexts = 1, unsigned bitsHigh = 8);

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
    std::vector<SymbolModel> correctorModels_;
};

}  // namespace ovcf::laz
