// The 30-byte core of point formats 6 to 10, decoded from nine layers: channel, returns and
// x, y in the first; z, classification, flags, intensity, scan angle, user data, point source
// and GPS time in one layer each.
#include "import/laz/ArithmeticDecoder.h"
#include "import/laz/LayeredItems.h"
#include "import/laz/Point14Context.h"

namespace ovcf::laz {
namespace {

class Point14Decoder final : public LayeredItemDecoder {
public:
    std::size_t layerCount() const override { return kLayers; }

    void first(const std::uint8_t* raw, unsigned& context) override {
        Point14 point;
        point.load(raw);
        current_ = point.channel();
        context = current_;
        contexts_[current_] = std::make_unique<Point14Context>();
        contexts_[current_]->start(point);
    }

    void attach(const Layer* layers, unsigned fields) override {
        // The field of each layer after the first, in layer order.
        static constexpr unsigned kLayerField[kLayers] = {0,          kFieldZ,         kFieldClass,    kFieldFlags,
                                                          kFieldIntensity, kFieldScanAngle, kFieldUserData, kFieldSource,
                                                          kFieldGpsTime};
        for (int i = 0; i < kLayers; ++i) {
            present_[i] = layers[i].size > 0 && (i == kXy || (fields & kLayerField[i]) != 0);
            if (present_[i]) decoders_[i].start(layers[i].bytes, layers[i].size);
        }
        if (!present_[kXy]) throw CorruptData("the layer of coordinates is empty");
    }

    void decode(std::uint8_t* out, unsigned& context) override {
        // A copy of the first layer's decoder keeps its state in registers through its symbols.
        ArithmeticDecoder xy = decoders_[kXy];
        const std::uint32_t changed = xy.decodeSymbol(contexts_[current_]->changed[contexts_[current_]->lastReturnContext()]);
        if (changed & 64) {
            const unsigned channel = (current_ + xy.decodeSymbol(contexts_[current_]->channel) + 1) % 4;
            if (!contexts_[channel]) {
                contexts_[channel] = std::make_unique<Point14Context>();
                contexts_[channel]->start(contexts_[current_]->last);
            }
            current_ = channel;
            Point14& moved = contexts_[current_]->last;
            moved.flags = static_cast<std::uint8_t>((moved.flags & ~0x30u) | (channel << 4));
        }
        context = current_;
        Point14Context& c = *contexts_[current_];
        Point14& p = c.last;
        const bool sourceChanged = changed & 32;
        const bool gpsChanged = changed & 16;
        const bool scanAngleChanged = changed & 8;

        const unsigned lastN = p.returnCount();
        const unsigned lastR = p.returnNumber();
        const unsigned n = changed & 4 ? xy.decodeSymbol(c.returnCount[lastN]) : lastN;
        unsigned r;
        switch (changed & 3) {
            case 0: r = lastR; break;
            case 1: r = (lastR + 1) % 16; break;
            case 2: r = (lastR + 15) % 16; break;
            default:
                r = gpsChanged ? xy.decodeSymbol(c.returnNumber[lastR])
                               : (lastR + xy.decodeSymbol(c.returnNumberSameTime) + 2) % 16;
        }
        p.returns = static_cast<std::uint8_t>((n << 4) | r);
        const unsigned m = kReturnMap6[n][r];
        const unsigned l = kReturnLevel8[n][r];
        const unsigned cpr = returnContext(r, n);
        const unsigned single = n == 1 ? 1u : 0u;

        const unsigned medianIndex = (m << 1) | (gpsChanged ? 1u : 0u);
        const std::int32_t dx = c.dx.decode(xy, c.xDiffs[medianIndex].get(), single);
        p.x = wrapAdd(p.x, dx);
        c.xDiffs[medianIndex].add(dx);
        unsigned k = c.dx.k();
        const std::int32_t dy = c.dy.decode(xy, c.yDiffs[medianIndex].get(), single + (k < 20 ? withoutLowBit(k) : 20));
        p.y = wrapAdd(p.y, dy);
        c.yDiffs[medianIndex].add(dy);
        decoders_[kXy] = xy;

        if (present_[kZ]) {
            k = (c.dx.k() + c.dy.k()) / 2;
            p.z = c.z.decode(decoders_[kZ], c.lastZ[l], single + (k < 18 ? withoutLowBit(k) : 18));
            c.lastZ[l] = p.z;
        }
        if (present_[kClass])
            p.classification = static_cast<std::uint8_t>(
                decoders_[kClass].decodeSymbol(c.classification[((p.classification & 0x1Fu) << 1) + (cpr == 3 ? 1u : 0u)]));
        if (present_[kFlags]) {
            const std::uint32_t f = decoders_[kFlags].decodeSymbol(c.flags[p.codedFlags()]);
            p.flags = static_cast<std::uint8_t>((((f >> 5) & 1u) << 7) | (((f >> 4) & 1u) << 6) | (p.channel() << 4) | (f & 15u));
        }
        if (present_[kIntensity]) {
            const unsigned slot = (cpr << 1) | (gpsChanged ? 1u : 0u);
            p.intensity = static_cast<std::uint16_t>(c.intensity.decode(decoders_[kIntensity], c.lastIntensity[slot], cpr));
            c.lastIntensity[slot] = p.intensity;
        }
        if (present_[kScanAngle] && scanAngleChanged)
            p.scanAngle = static_cast<std::uint16_t>(c.scanAngle.decode(decoders_[kScanAngle], p.scanAngle, gpsChanged ? 1u : 0u));
        if (present_[kUserData])
            p.userData = static_cast<std::uint8_t>(decoders_[kUserData].decodeSymbol(c.userData[p.userData / 4]));
        if (present_[kSource] && sourceChanged)
            p.source = static_cast<std::uint16_t>(c.source.decode(decoders_[kSource], p.source, 0));
        if (present_[kGps] && gpsChanged) {
            readGpsTime(c);
            p.gpsTime = c.gpsTimes[c.gpsLast];
        }
        p.gpsTimeChanged = gpsChanged;
        p.store(out);
    }

private:
    void readGpsTime(Point14Context& c) {
        ArithmeticDecoder& d = decoders_[kGps];
        // A damaged stream could switch sequences forever; a valid one switches once.
        for (int switches = 0; switches < 4; ++switches) {
            unsigned& last = c.gpsLast;
            if (c.gpsDiffs[last] == 0) {
                const std::uint32_t symbol = d.decodeSymbol(c.gpsNoDiff);
                if (symbol == 0) {
                    c.gpsDiffs[last] = c.gps.decode(d, 0, 0);
                    c.gpsTimes[last] += static_cast<std::uint64_t>(static_cast<std::int64_t>(c.gpsDiffs[last]));
                    c.gpsExtremes[last] = 0;
                } else if (symbol == 1) {
                    startSequence(c, d);
                } else {
                    last = (last + symbol - 1) & 3;
                    continue;
                }
                return;
            }
            std::int32_t multi = static_cast<std::int32_t>(d.decodeSymbol(c.gpsMulti));
            if (multi == 1) {
                advance(c, c.gps.decode(d, c.gpsDiffs[last], 1));
                c.gpsExtremes[last] = 0;
            } else if (multi < kGpsMultiCodeFull) {
                std::int32_t diff;
                if (multi == 0) {
                    diff = c.gps.decode(d, 0, 7);
                    countExtreme(c, diff);
                } else if (multi < kGpsMulti) {
                    diff = c.gps.decode(d, wrapMul(multi, c.gpsDiffs[last]), multi < 10 ? 2 : 3);
                } else if (multi == kGpsMulti) {
                    diff = c.gps.decode(d, wrapMul(kGpsMulti, c.gpsDiffs[last]), 4);
                    countExtreme(c, diff);
                } else {
                    multi = kGpsMulti - multi;
                    if (multi > kGpsMultiMinus) {
                        diff = c.gps.decode(d, wrapMul(multi, c.gpsDiffs[last]), 5);
                    } else {
                        diff = c.gps.decode(d, wrapMul(kGpsMultiMinus, c.gpsDiffs[last]), 6);
                        countExtreme(c, diff);
                    }
                }
                advance(c, diff);
            } else if (multi == kGpsMultiCodeFull) {
                startSequence(c, d);
            } else {
                last = (last + static_cast<unsigned>(multi - kGpsMultiCodeFull)) & 3;
                continue;
            }
            return;
        }
        throw CorruptData("invalid GPS time sequence");
    }

    static void advance(Point14Context& c, std::int32_t diff) {
        c.gpsTimes[c.gpsLast] += static_cast<std::uint64_t>(static_cast<std::int64_t>(diff));
    }

    static void countExtreme(Point14Context& c, std::int32_t diff) {
        if (++c.gpsExtremes[c.gpsLast] > 3) {
            c.gpsDiffs[c.gpsLast] = diff;
            c.gpsExtremes[c.gpsLast] = 0;
        }
    }

    static void startSequence(Point14Context& c, ArithmeticDecoder& d) {
        c.gpsNext = (c.gpsNext + 1) & 3;
        const std::int32_t high =
            c.gps.decode(d, static_cast<std::int32_t>(static_cast<std::uint32_t>(c.gpsTimes[c.gpsLast] >> 32)), 8);
        const std::uint32_t low = d.readInt();
        c.gpsTimes[c.gpsNext] = (static_cast<std::uint64_t>(static_cast<std::uint32_t>(high)) << 32) | low;
        c.gpsLast = c.gpsNext;
        c.gpsDiffs[c.gpsLast] = 0;
        c.gpsExtremes[c.gpsLast] = 0;
    }

    std::unique_ptr<Point14Context> contexts_[4];
    unsigned current_ = 0;
    ArithmeticDecoder decoders_[kLayers];
    bool present_[kLayers] = {};
};

}  // namespace

std::unique_ptr<LayeredItemDecoder> makePoint14Decoder() { return std::make_unique<Point14Decoder>(); }

}  // namespace ovcf::laz
