// The 20-byte core of point formats 0 to 5 as the first LAZ release coded it (item version 1):
// x and y predicted from the median of the last three differences, z from the last z, then a
// change mask for the other fields, each coded against the last point's value.
#include <cstring>
#include <vector>

#include "import/laz/IntegerCodec.h"
#include "import/laz/Prediction.h"
#include "import/laz/PointwiseItems.h"
#include "ovcf/ByteOrder.h"

namespace ovcf::laz {
namespace {

// The median of three, ties resolved as the format's encoder resolves them.
std::int32_t medianOfThree(const std::int32_t d[3]) {
    if (d[0] < d[1]) {
        if (d[1] < d[2]) return d[1];
        return d[0] < d[2] ? d[2] : d[0];
    }
    if (d[0] < d[2]) return d[0];
    return d[1] < d[2] ? d[2] : d[1];
}

class Point10V1Decoder final : public PointwiseItemDecoder {
public:
    Point10V1Decoder()
        : changed_(64), dx_(32, 1), dy_(32, 20), z_(32, 20), intensity_(16, 1), scanAngle_(8, 2), source_(16, 1) {}

    void first(const std::uint8_t* raw) override { std::memcpy(last_, raw, sizeof last_); }

    void decode(ArithmeticDecoder& d, std::uint8_t* out) override {
        const std::int32_t dx = dx_.decode(d, medianOfThree(xDiffs_), 0);
        le::putU32(last_, static_cast<std::uint32_t>(wrapAdd(field32(0), dx)));
        unsigned k = dx_.k();
        const std::int32_t dy = dy_.decode(d, medianOfThree(yDiffs_), k < 19 ? k : 19);
        le::putU32(last_ + 4, static_cast<std::uint32_t>(wrapAdd(field32(4), dy)));
        k = (k + dy_.k()) / 2;
        le::putU32(last_ + 8, static_cast<std::uint32_t>(z_.decode(d, field32(8), k < 19 ? k : 19)));

        const std::uint32_t changed = d.decodeSymbol(changed_);
        if (changed & 32) le::putU16(last_ + 12, static_cast<std::uint16_t>(intensity_.decode(d, le::u16(last_ + 12), 0)));
        if (changed & 16) last_[14] = static_cast<std::uint8_t>(d.decodeSymbol(returns_[last_[14]]));
        if (changed & 8) last_[15] = static_cast<std::uint8_t>(d.decodeSymbol(classification_[last_[15]]));
        if (changed & 4) {
            // The angle is a signed byte; its prediction is the sign-extended last value.
            const std::int32_t angle = static_cast<std::int8_t>(last_[16]);
            last_[16] = static_cast<std::uint8_t>(scanAngle_.decode(d, angle, k < 3 ? 1 : 0));
        }
        if (changed & 2) last_[17] = static_cast<std::uint8_t>(d.decodeSymbol(userData_[last_[17]]));
        if (changed & 1) le::putU16(last_ + 18, static_cast<std::uint16_t>(source_.decode(d, le::u16(last_ + 18), 0)));

        xDiffs_[next_] = dx;
        yDiffs_[next_] = dy;
        next_ = next_ == 2 ? 0 : next_ + 1;
        std::memcpy(out, last_, sizeof last_);
    }

private:
    std::int32_t field32(int at) const { return static_cast<std::int32_t>(le::u32(last_ + at)); }

    std::uint8_t last_[20] = {};  // the last record, raw
    std::int32_t xDiffs_[3] = {};
    std::int32_t yDiffs_[3] = {};
    unsigned next_ = 0;  // the slot the next differences replace
    SymbolModel changed_;
    IntegerCodec dx_;
    IntegerCodec dy_;
    IntegerCodec z_;
    IntegerCodec intensity_;
    IntegerCodec scanAngle_;
    IntegerCodec source_;
    // Per last value, created when first needed.
    LazyModels<256> returns_{256};
    LazyModels<256> classification_{256};
    LazyModels<256> userData_{256};
};

}  // namespace

std::unique_ptr<PointwiseItemDecoder> makePoint10V1Decoder() { return std::make_unique<Point10V1Decoder>(); }

}  // namespace ovcf::laz
