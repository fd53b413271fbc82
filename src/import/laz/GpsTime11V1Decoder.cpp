// GPS time of point formats 1 and 3 as item version 1 coded it: one time sequence, whose last
// difference predicts the next as a multiple (0 to 509) plus a corrector; two symbols of the
// multiple model say "unchanged" and "stored whole".
#include "import/laz/IntegerCodec.h"
#include "import/laz/Prediction.h"
#include "import/laz/PointwiseItems.h"
#include "ovcf/ByteOrder.h"

namespace ovcf::laz {
namespace {

constexpr std::uint32_t kMultiSymbols = 512;
constexpr std::uint32_t kMultiLargest = kMultiSymbols - 3;  // past it: extreme
constexpr std::uint32_t kMultiWhole = kMultiSymbols - 2;    // the time follows raw
// kMultiSymbols - 1: the time did not change

class GpsTime11V1Decoder final : public PointwiseItemDecoder {
public:
    GpsTime11V1Decoder() : multi_(kMultiSymbols), zeroDiff_(3), codec_(32, 6) {}

    void first(const std::uint8_t* raw) override { time_ = le::u64(raw); }

    void decode(ArithmeticDecoder& d, std::uint8_t* out) override {
        if (diff_ == 0) {
            const std::uint32_t symbol = d.decodeSymbol(zeroDiff_);
            if (symbol == 1) {
                diff_ = codec_.decode(d, 0, 0);
                advance(diff_);
            } else if (symbol == 2) {
                readWhole(d);
            }
        } else {
            const std::uint32_t multi = d.decodeSymbol(multi_);
            if (multi < kMultiWhole) {
                std::int32_t diff;
                if (multi == 1) {
                    diff = codec_.decode(d, diff_, 1);
                    diff_ = diff;
                    extremes_ = 0;
                } else if (multi == 0) {
                    diff = codec_.decode(d, diff_ / 4, 2);
                    countExtreme(diff);
                } else {
                    const unsigned context = multi < 10 ? 3 : multi < 50 ? 4 : 5;
                    diff = codec_.decode(d, wrapMul(diff_, static_cast<std::int32_t>(multi)), context);
                    if (multi == kMultiLargest) countExtreme(diff);
                }
                advance(diff);
            } else if (multi == kMultiWhole) {
                readWhole(d);
            }
        }
        le::putU64(out, time_);
    }

private:
    void advance(std::int32_t diff) { time_ += static_cast<std::uint64_t>(static_cast<std::int64_t>(diff)); }
    void readWhole(ArithmeticDecoder& d) {
        const std::uint64_t low = d.readInt();
        time_ = (static_cast<std::uint64_t>(d.readInt()) << 32) | low;
    }
    // A run of differences far from the prediction replaces it.
    void countExtreme(std::int32_t diff) {
        if (++extremes_ > 3) {
            diff_ = diff;
            extremes_ = 0;
        }
    }

    std::uint64_t time_ = 0;  // the double's bit pattern
    std::int32_t diff_ = 0;
    std::int32_t extremes_ = 0;
    SymbolModel multi_;
    SymbolModel zeroDiff_;
    IntegerCodec codec_;
};

}  // namespace

std::unique_ptr<PointwiseItemDecoder> makeGpsTime11V1Decoder() { return std::make_unique<GpsTime11V1Decoder>(); }

}  // namespace ovcf::laz
