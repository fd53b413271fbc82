#pragma once

namespace ovcf::laz {

// The fields a reader needs. The layered compressor codes groups of fields in layers of their
// own, and the layers of fields not asked for are skipped: those fields keep the chunk's first
// value in every record. Pointwise chunks are one stream and always decode whole.
enum DecodedFields : unsigned {
    kFieldZ = 1u << 0,
    kFieldClass = 1u << 1,
    kFieldFlags = 1u << 2,
    kFieldIntensity = 1u << 3,
    kFieldScanAngle = 1u << 4,
    kFieldUserData = 1u << 5,
    kFieldSource = 1u << 6,
    kFieldGpsTime = 1u << 7,
    kFieldRgb = 1u << 8,
    kFieldNir = 1u << 9,
    kFieldExtraBytes = 1u << 10,
    kAllFields = (1u << 11) - 1,  // x, y, returns and channel are always decoded
};

}  // namespace ovcf::laz
