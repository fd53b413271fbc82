// The colour and extra-byte items of point formats 0 to 3 (item version 2).
#include <vector>

#include "import/laz/PointwiseItems.h"
#include "import/laz/RgbCoding.h"

namespace ovcf::laz {
namespace {

class Rgb12Decoder final : public PointwiseItemDecoder {
public:
    void first(const std::uint8_t* raw) override { last_ = loadRgb(raw); }
    void decode(ArithmeticDecoder& d, std::uint8_t* out) override {
        last_ = decodeRgb(d, models_, last_);
        storeRgb(last_, out);
    }

private:
    Rgb last_;
    RgbModels models_;
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
std::unique_ptr<PointwiseItemDecoder> makeExtraBytesDecoder(std::size_t count) {
    return std::make_unique<ExtraBytesDecoder>(count);
}

}  // namespace ovcf::laz
