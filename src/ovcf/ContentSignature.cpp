#include "ContentSignature.h"

namespace ovcf {

std::uint64_t pointHashForFormat(const PointRecord& p, std::uint32_t pointFormat) {
    switch (pointFormat) {
        case 0: return pointHash(p.x, p.y, p.z, 0, 0, 0, 0, 0);
        case 1: return pointHash(p.x, p.y, p.z, 0, p.red, p.green, p.blue, 0);
        default: return pointHash(p);
    }
}

std::uint64_t signatureOf(const PointRecord* points, std::size_t count, std::uint32_t pointFormat) {
    std::uint64_t sum = 0;
    for (std::size_t i = 0; i < count; ++i) sum += pointHashForFormat(points[i], pointFormat);
    return sum;
}

}  // namespace ovcf
