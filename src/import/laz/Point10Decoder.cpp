// The 20-byte core of point formats 0 to 5. Coordinates are predicted from the median of recent
// differences of points with the same return pattern, z from the last point of the same return
// level; the other fields are coded only when a change mask says they changed.
#include <array>
#include <cstring>
#include <vector>

#include "import/laz/IntegerCodec.h"
#include "import/laz/Prediction.h"
#include "import/laz/PointwiseItems.h"
#include "ovcf/ByteOrder.h"

namespace ovcf::laz {
namespace {

struct Point10 {
    std::int32_t x = 0, y = 0, z = 0;
    std::uint16_t intensity = 0;
    std::uint8_t returns = 0;  // return number, number of returns, scan direction, edge of flight line
    std::uint8_t classification = 0;
    std::uint8_t scanAngle = 0;
    std::uint8_t userData = 0;
    std::uint16_t source = 0;

    void load(const std::uint8_t* r) {
        x = static_cast<std::int32_t>(le::u32(r));
        y = static_cast<std::int32_t>(le::u32(r + 4));
        z = static_cast<std::int32_t>(le::u32(r + 8));
        intensity = le::u16(r + 12);
        returns = r[14];
        classification = r[15];
        scanAngle = r[16];
        userData = r[17];
        source = le::u16(r + 18);
    }
    void store(std::uint8_t* r) const {
        le::putU32(r, static_cast<std::uint32_t>(x));
        le::putU32(r + 4, static_cast<std::uint32_t>(y));
        le::putU32(r + 8, static_cast<std::uint32_t>(z));
        le::putU16(r + 12, intensity);
        r[14] = returns;
        r[15] = classification;
        r[16] = scanAngle;
        r[17] = userData;
        le::putU16(r + 18, source);
    }
};

class Point10Decoder final : public PointwiseItemDecoder {
public:
    Point10Decoder()
        : changed_(64), scanAngle_(2, SymbolModel(256)), intensity_(16, 4), source_(16), dx_(32, 2), dy_(32, 22),
          z_(32, 20) {}

    void first(const std::uint8_t* raw) override {
        last_.load(raw);
        last_.intensity = 0;  // the intensity predictions start from 0, not from the first point
    }

    void decode(ArithmeticDecoder& shared, std::uint8_t* out) override {
        // A copy of the decoder keeps its state in registers through the point's dozen symbols.
        ArithmeticDecoder d = shared;
        const std::uint32_t changed = d.decodeSymbol(changed_);
        if (changed & 32) last_.returns = static_cast<std::uint8_t>(d.decodeSymbol(returns_[last_.returns]));
        const unsigned r = last_.returns & 7;
        const unsigned n = (last_.returns >> 3) & 7;
        const unsigned m = kReturnMap[n][r];
        const unsigned l = kReturnLevel[n][r];
        if (changed & 16) {
            last_.intensity = static_cast<std::uint16_t>(intensity_.decode(d, lastIntensity_[m], m < 3 ? m : 3));
            lastIntensity_[m] = last_.intensity;
        } else {
            last_.intensity = lastIntensity_[m];
        }
        if (changed & 8) last_.classification = static_cast<std::uint8_t>(d.decodeSymbol(classification_[last_.classification]));
        if (changed & 4) {
            const std::uint32_t delta = d.decodeSymbol(scanAngle_[(last_.returns >> 6) & 1]);
            last_.scanAngle = static_cast<std::uint8_t>(last_.scanAngle + delta);
        }
        if (changed & 2) last_.userData = static_cast<std::uint8_t>(d.decodeSymbol(userData_[last_.userData]));
        if (changed & 1) last_.source = static_cast<std::uint16_t>(source_.decode(d, last_.source, 0));

        const std::int32_t dx = dx_.decode(d, xDiffs_[m].get(), n == 1);
        last_.x = wrapAdd(last_.x, dx);
        xDiffs_[m].add(dx);
        unsigned k = dx_.k();
        const std::int32_t dy = dy_.decode(d, yDiffs_[m].get(), (n == 1) + (k < 20 ? withoutLowBit(k) : 20));
        last_.y = wrapAdd(last_.y, dy);
        yDiffs_[m].add(dy);
        k = (dx_.k() + dy_.k()) / 2;
        last_.z = z_.decode(d, lastHeight_[l], (n == 1) + (k < 18 ? withoutLowBit(k) : 18));
        lastHeight_[l] = last_.z;
        shared = d;
        last_.store(out);
    }

private:
    Point10 last_;
    std::uint16_t lastIntensity_[16] = {};
    std::array<StreamingMedian5, 16> xDiffs_{};
    std::array<StreamingMedian5, 16> yDiffs_{};
    std::int32_t lastHeight_[8] = {};
    SymbolModel changed_;
    std::vector<SymbolModel> scanAngle_;
    // Per last value, created when first needed: a chunk meets few of the 256.
    LazyModels<256> returns_{256};
    LazyModels<256> classification_{256};
    LazyModels<256> userData_{256};
    IntegerCodec intensity_;
    IntegerCodec source_;
    IntegerCodec dx_;
    IntegerCodec dy_;
    IntegerCodec z_;
};

}  // namespace

std::unique_ptr<PointwiseItemDecoder> makePoint10Decoder() { return std::make_unique<Point10Decoder>(); }

}  // namespace ovcf::laz
