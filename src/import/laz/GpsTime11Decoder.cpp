// GPS time of point formats 1 and 3 (item version 2). The double is handled as its 64-bit
// pattern; up to four interleaved time sequences are tracked, each with its last difference,
// and a new value is coded as a multiple of that difference plus a corrector.
#include "import/laz/IntegerCodec.h"
#include "import/laz/PointwiseItems.h"
#include "ovcf/ByteOrder.h"

namespace ovcf::laz {
namespace {

constexpr std::int32_t kMulti = 500;
constexpr std::int32_t kMultiMinus = -10;
constexpr std::int32_t kMultiUnchanged = kMulti - kMultiMinus + 1;
constexpr std::int32_t kMultiCodeFull = kMulti - kMultiMinus + 2;
constexpr std::int32_t kMultiTotal = kMulti - kMultiMinus + 6;

std::int32_t times(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}

class GpsTime11Decoder final : public PointwiseItemDecoder {
public:
    GpsTime11Decoder() : multi_(kMultiTotal), zeroDiff_(6), codec_(32, 9) {}

    void first(const std::uint8_t* raw) override { times_[0] = le::u64(raw); }

    void decode(ArithmeticDecoder& d, std::uint8_t* out) override {
        // A damaged stream could switch sequences forever; a valid one switches once.
        for (int switches = 0;; ++switches) {
            if (switches > 4) throw CorruptData("invalid GPS time sequence");
            if (step(d)) break;
        }
        le::putU64(out, times_[last_]);
    }

private:
    // False when the value belongs to another sequence and must be decoded again there.
    bool step(ArithmeticDecoder& d) {
        if (diffs_[last_] == 0) {
            const std::uint32_t symbol = d.decodeSymbol(zeroDiff_);
            if (symbol == 1) {
                diffs_[last_] = codec_.decode(d, 0, 0);
                advance(diffs_[last_]);
                extremes_[last_] = 0;
            } else if (symbol == 2) {
                startSequence(d);
            } else if (symbol > 2) {
                last_ = (last_ + symbol - 2) & 3;
                return false;
            }
            return true;
        }
        std::int32_t multi = static_cast<std::int32_t>(d.decodeSymbol(multi_));
        if (multi == 1) {
            advance(codec_.decode(d, diffs_[last_], 1));
            extremes_[last_] = 0;
        } else if (multi < kMultiUnchanged) {
            std::int32_t diff;
            if (multi == 0) {
                diff = codec_.decode(d, 0, 7);
                countExtreme(diff);
            } else if (multi < kMulti) {
                diff = codec_.decode(d, times(multi, diffs_[last_]), multi < 10 ? 2 : 3);
            } else if (multi == kMulti) {
                diff = codec_.decode(d, times(kMulti, diffs_[last_]), 4);
                countExtreme(diff);
            } else {
                multi = kMulti - multi;
                if (multi > kMultiMinus) {
                    diff = codec_.decode(d, times(multi, diffs_[last_]), 5);
                } else {
                    diff = codec_.decode(d, times(kMultiMinus, diffs_[last_]), 6);
                    countExtreme(diff);
                }
            }
            advance(diff);
        } else if (multi == kMultiCodeFull) {
            startSequence(d);
        } else if (multi > kMultiCodeFull) {
            last_ = (last_ + static_cast<unsigned>(multi - kMultiCodeFull)) & 3;
            return false;
        }
        return true;
    }

    void advance(std::int32_t diff) { times_[last_] += static_cast<std::uint64_t>(static_cast<std::int64_t>(diff)); }

    void countExtreme(std::int32_t diff) {
        if (++extremes_[last_] > 3) {
            diffs_[last_] = diff;
            extremes_[last_] = 0;
        }
    }

    void startSequence(ArithmeticDecoder& d) {
        next_ = (next_ + 1) & 3;
        const std::int32_t high = codec_.decode(d, static_cast<std::int32_t>(static_cast<std::uint32_t>(times_[last_] >> 32)), 8);
        const std::uint32_t low = d.readInt();
        times_[next_] = (static_cast<std::uint64_t>(static_cast<std::uint32_t>(high)) << 32) | low;
        last_ = next_;
        diffs_[last_] = 0;
        extremes_[last_] = 0;
    }

    unsigned last_ = 0;
    unsigned next_ = 0;
    std::uint64_t times_[4] = {};  // the doubles' bit patterns
    std::int32_t diffs_[4] = {};
    std::int32_t extremes_[4] = {};
    SymbolModel multi_;
    SymbolModel zeroDiff_;
    IntegerCodec codec_;
};

}  // namespace

std::unique_ptr<PointwiseItemDecoder> makeGpsTime11Decoder() { return std::make_unique<GpsTime11Decoder>(); }

}  // namespace ovcf::laz
