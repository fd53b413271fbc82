#include "import/CacheSignature.h"

#include "import/MemoryCloud.h"
#include "import/Quantization.h"
#include "ovcf/ContentSignature.h"
#include "ovcf/OvcfReader.h"

namespace ovcf {

std::uint64_t hostCloudSignature(const FileHeader& cache, const double* xyz, const std::uint32_t* colours,
                                 std::uint64_t count) {
    const bool keepsColour = cache.pointFormat != PointFormatXyz;
    std::uint64_t sum = 0;
    for (std::uint64_t i = 0; i < count; ++i) {
        const double* p = xyz + 3 * i;
        const std::uint32_t x = quantizeCoordinate(p[0], cache.offset[0], cache.step[0]);
        const std::uint32_t y = quantizeCoordinate(p[1], cache.offset[1], cache.step[1]);
        const std::uint32_t z = quantizeCoordinate(p[2], cache.offset[2], cache.step[2]);
        std::uint8_t r = 0, g = 0, b = 0;
        if (keepsColour) {
            if (colours) {
                r = static_cast<std::uint8_t>(colours[i] >> 16);
                g = static_cast<std::uint8_t>(colours[i] >> 8);
                b = static_cast<std::uint8_t>(colours[i]);
            } else {
                r = g = b = kGreyWithoutColour;
            }
        }
        sum += pointHash(x, y, z, 0, r, g, b, 0);
    }
    return sum;
}

bool computeCacheSignature(const std::string& cachePath, const double* xyz, const std::uint32_t* colours,
                           std::uint64_t count, std::uint64_t& signature, std::string& error) {
    signature = 0;
    FileHeader header;
    if (OvcfReader::probeHeader(cachePath, header, error) != ProbeValid) return false;
    signature = hostCloudSignature(header, xyz, colours, count);
    return true;
}

}  // namespace ovcf
