// The encoding side of the point item of formats 6 to 10: the mirror of Point14Decoder, so that
// every choice made here is one the decoder can follow from what it has already decoded.
#include <cmath>

#include "import/laz/ArithmeticEncoder.h"
#include "import/laz/LayeredItems.h"
#include "import/laz/Point14Context.h"

namespace ovcf::laz {
namespace {

class Point14Encoder final : public LayeredItemEncoder {
public:
    void first(const std::uint8_t* raw, unsigned& context) override {
        Point14 point;
        point.load(raw);
        current_ = point.channel();
        context = current_;
        contexts_[current_] = std::make_unique<Point14Context>();
        contexts_[current_]->start(point);
    }

    void encode(const std::uint8_t* raw, unsigned& context) override {
        Point14 point;
        point.load(raw);
        ArithmeticEncoder& xy = encoders_[kXy];
        const unsigned channel = point.channel();
        const bool channelChanged = channel != current_;
        // The fields are compared with the last point of the point's own channel.
        const Point14* last = &contexts_[current_]->last;
        if (channelChanged && contexts_[channel]) last = &contexts_[channel]->last;
        const bool sourceChanged = last->source != point.source;
        const bool gpsChanged = last->gpsTime != point.gpsTime;
        const bool scanAngleChanged = last->scanAngle != point.scanAngle;
        const unsigned lastN = last->returnCount();
        const unsigned lastR = last->returnNumber();
        const unsigned n = point.returnCount();
        const unsigned r = point.returnNumber();
        std::uint32_t changed = (channelChanged ? 64u : 0u) | (sourceChanged ? 32u : 0u) | (gpsChanged ? 16u : 0u) |
                                (scanAngleChanged ? 8u : 0u) | (n != lastN ? 4u : 0u);
        if (r != lastR) changed |= r == (lastR + 1) % 16 ? 1u : r == (lastR + 15) % 16 ? 2u : 3u;
        xy.encodeSymbol(contexts_[current_]->changed[contexts_[current_]->lastReturnContext()], changed);
        if (channelChanged) {
            xy.encodeSymbol(contexts_[current_]->channel, (channel + 4 - current_ - 1) % 4);
            if (!contexts_[channel]) {
                contexts_[channel] = std::make_unique<Point14Context>();
                contexts_[channel]->start(*last);
            }
            current_ = channel;
        }
        context = current_;
        Point14Context& c = *contexts_[current_];
        Point14& p = c.last;

        if (changed & 4) xy.encodeSymbol(c.returnCount[lastN], n);
        if ((changed & 3) == 3) {
            if (gpsChanged)
                xy.encodeSymbol(c.returnNumber[lastR], r);
            else
                xy.encodeSymbol(c.returnNumberSameTime, (r + 16 - lastR - 2) % 16);
        }
        const unsigned m = kReturnMap6[n][r];
        const unsigned l = kReturnLevel8[n][r];
        const unsigned cpr = returnContext(r, n);
        const unsigned single = n == 1 ? 1u : 0u;

        const unsigned medianIndex = (m << 1) | (gpsChanged ? 1u : 0u);
        const std::int32_t dx = wrapSub(point.x, p.x);
        c.dx.encode(xy, c.xDiffs[medianIndex].get(), dx, single);
        c.xDiffs[medianIndex].add(dx);
        unsigned k = c.dx.k();
        const std::int32_t dy = wrapSub(point.y, p.y);
        c.dy.encode(xy, c.yDiffs[medianIndex].get(), dy, single + (k < 20 ? withoutLowBit(k) : 20));
        c.yDiffs[medianIndex].add(dy);

        k = (c.dx.k() + c.dy.k()) / 2;
        c.z.encode(encoders_[kZ], c.lastZ[l], point.z, single + (k < 18 ? withoutLowBit(k) : 18));
        c.lastZ[l] = point.z;

        changed_[kClass] |= point.classification != p.classification;
        encoders_[kClass].encodeSymbol(c.classification[((p.classification & 0x1Fu) << 1) + (cpr == 3 ? 1u : 0u)],
                                       point.classification);
        changed_[kFlags] |= point.codedFlags() != p.codedFlags();
        encoders_[kFlags].encodeSymbol(c.flags[p.codedFlags()], point.codedFlags());

        const unsigned slot = (cpr << 1) | (gpsChanged ? 1u : 0u);
        changed_[kIntensity] |= point.intensity != p.intensity;
        c.intensity.encode(encoders_[kIntensity], c.lastIntensity[slot], point.intensity, cpr);
        c.lastIntensity[slot] = point.intensity;

        if (scanAngleChanged) {
            changed_[kScanAngle] = true;
            c.scanAngle.encode(encoders_[kScanAngle], p.scanAngle, point.scanAngle, gpsChanged ? 1u : 0u);
        }
        changed_[kUserData] |= point.userData != p.userData;
        encoders_[kUserData].encodeSymbol(c.userData[p.userData / 4], point.userData);
        if (sourceChanged) {
            changed_[kSource] = true;
            c.source.encode(encoders_[kSource], p.source, point.source, 0);
        }
        p = point;
        p.gpsTimeChanged = gpsChanged;
        if (gpsChanged) {
            changed_[kGps] = true;
            writeGpsTime(c, point.gpsTime);
        }
    }

    void finish(std::vector<std::vector<std::uint8_t>>& layers) override {
        for (int i = 0; i < kLayers; ++i) {
            // Coordinates and heights always; the other fields only when they ever changed.
            if (i <= kZ || changed_[i]) {
                encoders_[i].done();
                layers.push_back(encoders_[i].bytes());
            } else {
                layers.emplace_back();
            }
        }
    }

private:
    void writeGpsTime(Point14Context& c, std::uint64_t time) {
        ArithmeticEncoder& e = encoders_[kGps];
        for (;;) {
            unsigned& last = c.gpsLast;
            const std::int64_t diff64 = static_cast<std::int64_t>(time - c.gpsTimes[last]);
            const bool fits = diff64 == static_cast<std::int32_t>(diff64);
            const std::int32_t diff = static_cast<std::int32_t>(diff64);
            if (fits && c.gpsDiffs[last] == 0) {
                e.encodeSymbol(c.gpsNoDiff, 0);
                c.gps.encode(e, 0, diff, 0);
                c.gpsDiffs[last] = diff;
                c.gpsExtremes[last] = 0;
            } else if (fits) {
                const float ratio = static_cast<float>(diff) / static_cast<float>(c.gpsDiffs[last]);
                const std::int32_t multi = static_cast<std::int32_t>(std::lround(std::fmax(-1e9f, std::fmin(1e9f, ratio))));
                if (multi == 1) {
                    e.encodeSymbol(c.gpsMulti, 1);
                    c.gps.encode(e, c.gpsDiffs[last], diff, 1);
                    c.gpsExtremes[last] = 0;
                } else if (multi > 0 && multi < kGpsMulti) {
                    e.encodeSymbol(c.gpsMulti, static_cast<std::uint32_t>(multi));
                    c.gps.encode(e, wrapMul(multi, c.gpsDiffs[last]), diff, multi < 10 ? 2 : 3);
                } else if (multi >= kGpsMulti) {
                    e.encodeSymbol(c.gpsMulti, kGpsMulti);
                    c.gps.encode(e, wrapMul(kGpsMulti, c.gpsDiffs[last]), diff, 4);
                    countExtreme(c, diff);
                } else if (multi < 0 && multi > kGpsMultiMinus) {
                    e.encodeSymbol(c.gpsMulti, static_cast<std::uint32_t>(kGpsMulti - multi));
                    c.gps.encode(e, wrapMul(multi, c.gpsDiffs[last]), diff, 5);
                } else if (multi < 0) {
                    e.encodeSymbol(c.gpsMulti, static_cast<std::uint32_t>(kGpsMulti - kGpsMultiMinus));
                    c.gps.encode(e, wrapMul(kGpsMultiMinus, c.gpsDiffs[last]), diff, 6);
                    countExtreme(c, diff);
                } else {
                    e.encodeSymbol(c.gpsMulti, 0);
                    c.gps.encode(e, 0, diff, 7);
                    countExtreme(c, diff);
                }
            } else {
                // Too far for 32 bits: another sequence, or a new one.
                int other = 0;
                for (int i = 1; i < 4 && other == 0; ++i) {
                    const std::int64_t d = static_cast<std::int64_t>(time - c.gpsTimes[(last + i) & 3]);
                    if (d == static_cast<std::int32_t>(d)) other = i;
                }
                const bool noDiff = c.gpsDiffs[last] == 0;
                if (other != 0) {
                    if (noDiff)
                        e.encodeSymbol(c.gpsNoDiff, static_cast<std::uint32_t>(other + 1));
                    else
                        e.encodeSymbol(c.gpsMulti, static_cast<std::uint32_t>(kGpsMultiCodeFull + other));
                    last = (last + static_cast<unsigned>(other)) & 3;
                    continue;
                }
                if (noDiff)
                    e.encodeSymbol(c.gpsNoDiff, 1);
                else
                    e.encodeSymbol(c.gpsMulti, kGpsMultiCodeFull);
                c.gps.encode(e, static_cast<std::int32_t>(static_cast<std::uint32_t>(c.gpsTimes[last] >> 32)),
                             static_cast<std::int32_t>(static_cast<std::uint32_t>(time >> 32)), 8);
                e.writeInt(static_cast<std::uint32_t>(time));
                c.gpsNext = (c.gpsNext + 1) & 3;
                last = c.gpsNext;
                c.gpsDiffs[last] = 0;
                c.gpsExtremes[last] = 0;
            }
            c.gpsTimes[last] = time;
            return;
        }
    }

    static void countExtreme(Point14Context& c, std::int32_t diff) {
        if (++c.gpsExtremes[c.gpsLast] > 3) {
            c.gpsDiffs[c.gpsLast] = diff;
            c.gpsExtremes[c.gpsLast] = 0;
        }
    }

    std::unique_ptr<Point14Context> contexts_[4];
    unsigned current_ = 0;
    ArithmeticEncoder encoders_[kLayers];
    bool changed_[kLayers] = {};
};

}  // namespace

std::unique_ptr<LayeredItemEncoder> makePoint14Encoder() { return std::make_unique<Point14Encoder>(); }

}  // namespace ovcf::laz
