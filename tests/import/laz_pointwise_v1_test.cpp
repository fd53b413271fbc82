// Item version 1 of point formats 0 to 3. The module writes no such file, and none is shared, so
// the records are encoded here by a minimal encoder of the version 1 items (the mirror of what
// the format's encoder does) and must come back from the chunk decoder exactly.
#include <algorithm>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "import/laz/ArithmeticEncoder.h"
#include "import/laz/ChunkCodec.h"
#include "import/laz/IntegerCodec.h"
#include "import/laz/Prediction.h"
#include "ovcf/ByteOrder.h"

namespace ovcf::laz {
namespace {

constexpr std::uint16_t kLength = 36;  // format 3 and two extra bytes

std::int32_t median3(const std::int32_t d[3]) {
    if (d[0] < d[1]) return d[1] < d[2] ? d[1] : d[0] < d[2] ? d[2] : d[0];
    return d[0] < d[2] ? d[0] : d[1] < d[2] ? d[2] : d[1];
}
std::int32_t s32(const std::uint8_t* p) { return static_cast<std::int32_t>(le::u32(p)); }

class V1Encoder {
public:
    std::vector<std::uint8_t> chunk(const std::vector<std::uint8_t>& records) {
        std::vector<std::uint8_t> out(records.begin(), records.begin() + kLength);
        last_.assign(records.begin(), records.begin() + kLength);
        time_ = le::u64(&last_[20]);
        for (std::size_t at = kLength; at < records.size(); at += kLength) {
            const std::uint8_t* r = records.data() + at;
            point(r);
            time(le::u64(r + 20));
            colour(r + 28);
            for (int b = 0; b < 2; ++b) e_.encodeSymbol(extra_[b], static_cast<std::uint8_t>(r[34 + b] - last_[34 + b]));
            last_.assign(r, r + kLength);
        }
        e_.done();
        out.insert(out.end(), e_.bytes().begin(), e_.bytes().end());
        return out;
    }

private:
    void point(const std::uint8_t* r) {
        const std::uint8_t* l = last_.data();
        const std::int32_t dx = wrapSub(s32(r), s32(l));
        const std::int32_t dy = wrapSub(s32(r + 4), s32(l + 4));
        dx_.encode(e_, median3(xDiffs_), dx, 0);
        unsigned k = dx_.k();
        dy_.encode(e_, median3(yDiffs_), dy, std::min(k, 19u));
        k = (k + dy_.k()) / 2;
        z_.encode(e_, s32(l + 8), s32(r + 8), std::min(k, 19u));
        const std::uint32_t changed = (le::u16(r + 12) != le::u16(l + 12)) << 5 | (r[14] != l[14]) << 4 |
                                      (r[15] != l[15]) << 3 | (r[16] != l[16]) << 2 | (r[17] != l[17]) << 1 |
                                      (le::u16(r + 18) != le::u16(l + 18));
        e_.encodeSymbol(changed_, changed);
        if (changed & 32) intensity_.encode(e_, le::u16(l + 12), le::u16(r + 12), 0);
        if (changed & 16) e_.encodeSymbol(returns_[l[14]], r[14]);
        if (changed & 8) e_.encodeSymbol(classes_[l[15]], r[15]);
        if (changed & 4) angle_.encode(e_, static_cast<std::int8_t>(l[16]), static_cast<std::int8_t>(r[16]), k < 3);
        if (changed & 2) e_.encodeSymbol(user_[l[17]], r[17]);
        if (changed & 1) source_.encode(e_, le::u16(l + 18), le::u16(r + 18), 0);
        xDiffs_[slot_] = dx;
        yDiffs_[slot_] = dy;
        slot_ = (slot_ + 1) % 3;
    }

    void time(std::uint64_t t) {
        const std::int64_t diff64 = static_cast<std::int64_t>(t - time_);
        const auto diff = static_cast<std::int32_t>(diff64);
        const bool small = diff64 == diff;
        if (diff_ == 0) {
            e_.encodeSymbol(zeroDiff_, t == time_ ? 0 : small ? 1 : 2);
            if (t != time_ && small) {
                time_codec_.encode(e_, 0, diff, 0);
                diff_ = diff;
            } else if (!small) {
                whole(t);
            }
        } else if (t == time_) {
            e_.encodeSymbol(multi_, 511);
        } else if (!small) {
            e_.encodeSymbol(multi_, 510);
            whole(t);
        } else {
            const int multi = std::clamp(static_cast<int>(static_cast<float>(diff) / static_cast<float>(diff_) + 0.5f), 0, 509);
            e_.encodeSymbol(multi_, static_cast<std::uint32_t>(multi));
            if (multi == 1) {
                time_codec_.encode(e_, diff_, diff, 1);
                diff_ = diff;
                extremes_ = 0;
            } else if (multi == 0) {
                time_codec_.encode(e_, diff_ / 4, diff, 2);
                extreme(diff);
            } else {
                time_codec_.encode(e_, wrapMul(diff_, multi), diff, multi < 10 ? 3 : multi < 50 ? 4 : 5);
                if (multi == 509) extreme(diff);
            }
        }
        time_ = t;
    }
    void whole(std::uint64_t t) {
        e_.writeInt(static_cast<std::uint32_t>(t));
        e_.writeInt(static_cast<std::uint32_t>(t >> 32));
    }
    void extreme(std::int32_t diff) {
        if (++extremes_ > 3) {
            diff_ = diff;
            extremes_ = 0;
        }
    }

    void colour(const std::uint8_t* c) {
        std::uint32_t mask = 0;
        for (int b = 0; b < 6; ++b) mask |= (c[b] != last_[28 + b] ? 1u : 0u) << b;  // low red, high red, low green...
        e_.encodeSymbol(rgbChanged_, mask);
        for (int b = 0; b < 6; ++b)
            if (mask & (1u << b)) rgb_.encode(e_, last_[28 + b], c[b], static_cast<unsigned>(b));
    }

    ArithmeticEncoder e_;
    std::vector<std::uint8_t> last_;
    std::int32_t xDiffs_[3] = {}, yDiffs_[3] = {};
    unsigned slot_ = 0;
    SymbolModel changed_{64};
    IntegerCodec dx_{32, 1}, dy_{32, 20}, z_{32, 20}, intensity_{16, 1}, angle_{8, 2}, source_{16, 1};
    LazyModels<256> returns_{256}, classes_{256}, user_{256};
    std::uint64_t time_ = 0;
    std::int32_t diff_ = 0, extremes_ = 0;
    SymbolModel multi_{512}, zeroDiff_{3};
    IntegerCodec time_codec_{32, 6};
    SymbolModel rgbChanged_{64};
    IntegerCodec rgb_{8, 6};
    SymbolModel extra_[2] = {SymbolModel(256), SymbolModel(256)};
};

// Scan lines with every field moving: returns, negative angles, 16-bit colours whose high byte
// alone changes, times that repeat, double their step, run backwards or jump past 32 bits.
std::vector<std::uint8_t> records(std::size_t count) {
    std::mt19937 random(11);
    std::vector<std::uint8_t> out(count * kLength);
    double time = 3.5e5;
    for (std::size_t i = 0; i < count; ++i) {
        std::uint8_t* r = out.data() + i * kLength;
        le::putU32(r, static_cast<std::uint32_t>(static_cast<std::int32_t>(i % 500 * 40 + random() % 9) - 7000));
        le::putU32(r + 4, static_cast<std::uint32_t>(i / 500 * 35 + random() % 5));
        le::putU32(r + 8, static_cast<std::uint32_t>(static_cast<std::int32_t>(random() % 3000) - 1500));
        le::putU16(r + 12, static_cast<std::uint16_t>(i % 3 ? 200 + random() % 60 : 200));
        const unsigned n = 1 + random() % 4;
        r[14] = static_cast<std::uint8_t>((i % 500 == 0) << 7 | (i / 500 % 2) << 6 | n << 3 | (1 + random() % n));
        r[15] = static_cast<std::uint8_t>(i % 50 < 40 ? 2 : 1 + random() % 6);
        r[16] = static_cast<std::uint8_t>(static_cast<std::int8_t>(static_cast<int>(i % 500) / 9 - 27));
        r[17] = static_cast<std::uint8_t>(i % 700 < 10 ? random() : 0);
        le::putU16(r + 18, static_cast<std::uint16_t>(i / 1500 + 1));
        const unsigned kind = random() % 20;
        time += kind == 0 ? 0.0 : kind == 1 ? 2e-5 : kind == 2 ? -3e-5 : kind == 3 && i % 97 == 0 ? 5e9 : 1e-5;
        le::putF64(r + 20, time);
        for (int c = 0; c < 3; ++c)
            le::putU16(r + 28 + 2 * c, static_cast<std::uint16_t>(i % 13 == 0 ? random() : (i / 40 % 3) << 8 | (c * 60 + i % 7)));
        r[34] = static_cast<std::uint8_t>(i / 100);
        r[35] = static_cast<std::uint8_t>(random() % 4);
    }
    return out;
}

TEST(LazPointwiseV1Test, VersionOneItemsDecodeToTheRecordsEncoded) {
    LazVlr vlr;
    vlr.compressor = static_cast<std::uint16_t>(Compressor::PointwiseChunked);
    vlr.items = {{static_cast<std::uint16_t>(ItemType::Point10), 20, 1},
                 {static_cast<std::uint16_t>(ItemType::GpsTime11), 8, 1},
                 {static_cast<std::uint16_t>(ItemType::Rgb12), 6, 1},
                 {static_cast<std::uint16_t>(ItemType::Byte), 2, 1}};
    std::string reason;
    ASSERT_TRUE(checkLazItems(vlr, 3, kLength, reason)) << reason;
    for (std::size_t count : {1u, 2u, 20000u}) {
        SCOPED_TRACE(count);
        const std::vector<std::uint8_t> expected = records(count);
        const std::vector<std::uint8_t> chunk = V1Encoder().chunk(expected);
        std::vector<std::uint8_t> decoded(expected.size());
        decodeChunk(vlr, chunk.data(), chunk.size(), count, kLength, decoded.data());
        ASSERT_EQ(decoded.size(), expected.size());
        for (std::size_t i = 0; i < count; ++i) {
            ASSERT_TRUE(std::equal(decoded.begin() + i * kLength, decoded.begin() + (i + 1) * kLength, expected.begin() + i * kLength))
                << "record " << i;
        }
        // Cut short, the chunk is damage, not a crash.
        if (count > 2) {
            EXPECT_THROW(decodeChunk(vlr, chunk.data(), chunk.size() / 2, count, kLength, decoded.data()), CorruptData);
        }
    }
}

}  // namespace
}  // namespace ovcf::laz
