#include "import/laz/Point14Context.h"

#include "ovcf/ByteOrder.h"

namespace ovcf::laz {

void Point14::load(const std::uint8_t* r) {
    x = static_cast<std::int32_t>(le::u32(r));
    y = static_cast<std::int32_t>(le::u32(r + 4));
    z = static_cast<std::int32_t>(le::u32(r + 8));
    intensity = le::u16(r + 12);
    returns = r[14];
    flags = r[15];
    classification = r[16];
    userData = r[17];
    scanAngle = le::u16(r + 18);
    source = le::u16(r + 20);
    gpsTime = le::u64(r + 22);
}

void Point14::store(std::uint8_t* r) const {
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

void Point14Context::start(const Point14& point) {
    unused = false;
    last = point;
    last.gpsTimeChanged = false;
    for (auto& v : lastIntensity) v = point.intensity;
    for (auto& v : lastZ) v = point.z;
    gpsTimes[0] = point.gpsTime;
}

unsigned Point14Context::lastReturnContext() const {
    const unsigned r = last.returnNumber();
    return (r == 1 ? 1u : 0u) + (r >= last.returnCount() ? 2u : 0u) + (last.gpsTimeChanged ? 4u : 0u);
}

}  // namespace ovcf::laz
