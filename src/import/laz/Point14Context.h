// What the point item of formats 6 to 10 remembers per scanner channel: the last point, the
// prediction state and the models, created when the channel first appears in a chunk.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "import/laz/IntegerCodec.h"
#include "import/laz/Prediction.h"
#include "ovcf/ByteOrder.h"

namespace ovcf::laz {

// The layers of a formats 6 to 10 chunk, in the order the chunk lists them.
enum : int { kXy, kZ, kClass, kFlags, kIntensity, kScanAngle, kUserData, kSource, kGps, kLayers };

struct Point14 {
    std::int32_t x = 0, y = 0, z = 0;
    std::uint16_t intensity = 0;
    std::uint8_t returns = 0;  // return number (low nibble), number of returns (high nibble)
    std::uint8_t flags = 0;    // classification flags, scanner channel, scan direction, edge of flight line
    std::uint8_t classification = 0;
    std::uint8_t userData = 0;
    std::uint16_t scanAngle = 0;
    std::uint16_t source = 0;
    std::uint64_t gpsTime = 0;  // the double's bit pattern
    bool gpsTimeChanged = false;

    unsigned returnNumber() const { return returns & 15u; }
    unsigned returnCount() const { return returns >> 4; }
    unsigned channel() const { return (flags >> 4) & 3u; }
    // Classification flags, scan direction and edge of flight line as the flag models see them.
    unsigned codedFlags() const { return (flags & 15u) | (((flags >> 6) & 1u) << 4) | (((flags >> 7) & 1u) << 5); }

    void load(const std::uint8_t* raw);
    // Inline, as lastReturnContext(): both run at every point.
    void store(std::uint8_t* r) const {
        le::putU32(r, static_cast<std::uint32_t>(x));
        le::putU32(r + 4, static_cast<std::uint32_t>(y));
        le::putU32(r + 8, static_cast<std::uint32_t>(z));
        le::putU16(r + 12, intensity);
        r[14] = returns;
        r[15] = flags;
        r[16] = classification;
        r[17] = userData;
        le::putU16(r + 18, scanAngle);
        le::putU16(r + 20, source);
        le::putU64(r + 22, gpsTime);
    }
};

constexpr std::int32_t kGpsMulti = 500;
constexpr std::int32_t kGpsMultiMinus = -10;
constexpr std::int32_t kGpsMultiCodeFull = kGpsMulti - kGpsMultiMinus + 1;
constexpr std::int32_t kGpsMultiTotal = kGpsMulti - kGpsMultiMinus + 5;

struct Point14Context {
    bool unused = true;
    Point14 last;
    std::uint16_t lastIntensity[8] = {};
    std::array<StreamingMedian5, 12> xDiffs{};
    std::array<StreamingMedian5, 12> yDiffs{};
    std::int32_t lastZ[8] = {};

    std::array<SymbolModel, 8> changed{SymbolModel(128), SymbolModel(128), SymbolModel(128), SymbolModel(128),
                                       SymbolModel(128), SymbolModel(128), SymbolModel(128), SymbolModel(128)};
    SymbolModel channel{3};
    LazyModels<16> returnCount{16};
    LazyModels<16> returnNumber{16};
    SymbolModel returnNumberSameTime{13};
    LazyModels<64> classification{256};
    LazyModels<64> flags{64};
    LazyModels<64> userData{256};
    SymbolModel gpsMulti{static_cast<std::uint32_t>(kGpsMultiTotal)};
    SymbolModel gpsNoDiff{5};

    IntegerCodec dx{32, 2};
    IntegerCodec dy{32, 22};
    IntegerCodec z{32, 20};
    IntegerCodec intensity{16, 4};
    IntegerCodec scanAngle{16, 2};
    IntegerCodec source{16, 1};
    IntegerCodec gps{32, 9};

    // Up to four interleaved GPS time sequences.
    unsigned gpsLast = 0;
    unsigned gpsNext = 0;
    std::uint64_t gpsTimes[4] = {};
    std::int32_t gpsDiffs[4] = {};
    std::int32_t gpsExtremes[4] = {};

    // A fresh context continuing from `point`.
    void start(const Point14& point);
    // Single, first, last or intermediate return of the last point, and whether its time changed.
    unsigned lastReturnContext() const {
        const unsigned r = last.returnNumber();
        return (r == 1 ? 1u : 0u) + (r >= last.returnCount() ? 2u : 0u) + (last.gpsTimeChanged ? 4u : 0u);
    }
};

// The context of the current point's return: 3 single, 2 first, 1 last, 0 intermediate.
inline unsigned returnContext(unsigned r, unsigned n) { return (r == 1 ? 2u : 0u) + (r >= n ? 1u : 0u); }
}  // namespace ovcf::laz
