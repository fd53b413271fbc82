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

void Point14Context::start(const Point14& point) {
    unused = false;
    last = point;
    last.gpsTimeChanged = false;
    for (auto& v : lastIntensity) v = point.intensity;
    for (auto& v : lastZ) v = point.z;
    gpsTimes[0] = point.gpsTime;
}

}  // namespace ovcf::laz
