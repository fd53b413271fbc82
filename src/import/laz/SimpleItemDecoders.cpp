// The colour and extra-byte items of point formats 0 to 3 (item versions 1 and 2; the extra
// bytes are coded alike in both).
#include <vector>

#include "import/laz/IntegerCodec.h"
#include "import/laz/PointwiseItems.h"
#include "import/laz/RgbCoding.h"

namespace ovcf::laz {
namespace {

class Rgb12Decoder final : public PointwiseItemDecoder {
public:
    void first(const std::uint8_t* raw) override { last_ = loadRgb(raw); }
    void decode(ArithmeticDecoder& d, std::uint8_t* out) override {
        decodeRgb(d, models_, last_);
        storeRgb(last_, out);
    }

private:
    Rgb last_;
    RgbModels models_;
};

// Version 1: each changed byte of the three colours is coded against the same byte of the last
// colour, in a context of its own.
class Rgb12V1Decoder final : public PointwiseItemDecoder {
public:
    Rgb12V1Decoder() : changed_(64), bytes_(8, 6) {}
    void first(const std::uint8_t* raw) override { last_ = loadRgb(raw); }
    void decode(ArithmeticDecoder& d, std::uint8_t* out) override {
        const std::uint32_t mask = d.decodeSymbol(changed_);
        std::uint16_t* channels[3] = {&last_.red, &last_.green, &last_.blue};
        for (unsigned c = 0; c < 3; ++c) {
            std::uint16_t& v = *channels[c];
            if (mask & (1u << (2 * c)))
                v = static_cast<std::uint16_t>((v & 0xFF00) | bytes_.decode(d, v & 0xFF, 2 * c));
            if (mask & (2u << (2 * c)))
                v = static_cast<std::uint16_t>((v & 0x00FF) | (bytes_.decode(d, v >> 8, 2 * c + 1) << 8));
        }
        storeRgb(last_, out);
    }

private:
    Rgb last_;
    SymbolModel changed_;
    IntegerCodec bytes_;
};

// Each extra byte is coded as its change from the last point's, in a model of its own.
class ExtraBytesDecoder final : public PointwiseItemDecoder {
public:
    explicit ExtraBytesDecoder(std::size_t count) : last_(count), models_(count, SymbolModel(256)) {}
    void first(const std::uint8_t* raw) override { last_.assign(raw, raw + last_.size()); }
    void decode(ArithmeticDecoder& d, std::uint8_t* out) override {
        for (std::size_t i = 0; i < last_.size(); ++i) {
            last_[i] = static_cast<std::uint8_t>(last_[i] + d.decodeSymbol(models_[i]));
            out[i] = last_[i];
        }
    }

private:
    std::vector<std::uint8_t> last_;
    std::vector<SymbolModel> models_;
};

}  // namespace

std::unique_ptr<PointwiseItemDecoder> makeRgb12Decoder() { return std::make_unique<Rgb12Decoder>(); }
std::unique_ptr<PointwiseItemDecoder> makeRgb12V1Decoder() { return std::make_unique<Rgb12V1Decoder>(); }
std::unique_ptr<PointwiseItemDecoder> makeExtraBytesDecoder(std::size_t count) {
    return std::make_unique<ExtraBytesDecoder>(count);
}

}  // namespace ovcf::laz
