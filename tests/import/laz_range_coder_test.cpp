// The range coder on its own: symbols of models of every size the items use, most of them
// skewed so that long runs fill the decoding tables and the last symbol comes often, mixed with
// bits and raw bits, decode as encoded; and any bytes at all decode without a fault, or fail
// with CorruptData, never with a state the decoder cannot handle.
#include <algorithm>
#include <iterator>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "import/laz/ArithmeticDecoder.h"
#include "import/laz/ArithmeticEncoder.h"

namespace ovcf::laz {
namespace {

constexpr std::uint32_t kSizes[] = {2, 3, 5, 6, 13, 17, 64, 128, 255, 256, 511, 2048};

struct Models {
    std::vector<SymbolModel> symbols;
    BitModel bit;
    Models() {
        for (std::uint32_t size : kSizes) symbols.emplace_back(size);
    }
};

TEST(LazRangeCoderTest, SymbolsBitsAndRawBitsDecodeAsEncodedWithAnySkew) {
    std::mt19937 random(11);
    struct Step {
        std::size_t model;
        std::uint32_t value;
        unsigned rawBits;  // 0: a symbol of the model, or a bit where the model is the first
    };
    std::vector<Step> steps;
    for (int i = 0; i < 200000; ++i) {
        const std::size_t model = random() % std::size(kSizes);
        const std::uint32_t size = kSizes[model];
        // Half the draws pile on the last symbol or on the first few: runs of many slices.
        const std::uint32_t draw = random() % 4;
        const std::uint32_t value = draw == 0 ? size - 1 : draw == 1 ? random() % std::min(size, 3u) : random() % size;
        steps.push_back({model, value, i % 7 == 0 ? 1 + static_cast<unsigned>(random() % 32) : 0u});
        if (steps.back().rawBits) steps.back().value = static_cast<std::uint32_t>(random()) >> (32 - steps.back().rawBits);
    }
    Models in;
    ArithmeticEncoder encoder;
    for (const Step& s : steps) {
        if (s.rawBits)
            encoder.writeBits(s.rawBits, s.value);
        else if (s.model == 0)
            encoder.encodeBit(in.bit, s.value);
        else
            encoder.encodeSymbol(in.symbols[s.model], s.value);
    }
    encoder.done();
    Models out;
    ArithmeticDecoder decoder;
    decoder.start(encoder.bytes().data(), encoder.bytes().size());
    for (std::size_t i = 0; i < steps.size(); ++i) {
        const Step& s = steps[i];
        const std::uint32_t value = s.rawBits ? decoder.readBits(s.rawBits)
                                    : s.model == 0 ? decoder.decodeBit(out.bit)
                                                   : decoder.decodeSymbol(out.symbols[s.model]);
        ASSERT_EQ(value, s.value) << "step " << i;
    }
}

TEST(LazRangeCoderTest, AnyBytesDecodeToSymbolsInRangeOrFailAsCorrupt) {
    std::mt19937 random(5);
    int failed = 0;
    for (int block = 0; block < 300; ++block) {
        std::vector<std::uint8_t> bytes(4 + random() % 400);
        for (auto& b : bytes) b = static_cast<std::uint8_t>(block % 3 == 0 ? 0xFF : random());  // all ones too
        Models models;
        try {
            ArithmeticDecoder decoder;
            decoder.start(bytes.data(), bytes.size());
            for (int i = 0;; ++i) {
                const std::size_t model = static_cast<std::size_t>(i) % std::size(kSizes);
                if (i % 5 == 4) decoder.readBits(1 + i % 32);
                ASSERT_LT(decoder.decodeSymbol(models.symbols[model]), kSizes[model]);
            }
        } catch (const CorruptData&) {
            ++failed;
        }
    }
    EXPECT_EQ(failed, 300);  // every block ends, at the latest when its bytes run out
}

}  // namespace
}  // namespace ovcf::laz
