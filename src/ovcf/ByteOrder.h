// Little-endian loads and stores for file fields, independent of the host's byte order and of
// alignment.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace ovcf::le {

template <typename T>
inline T load(const std::uint8_t* p) {
    T value;
    std::memcpy(&value, p, sizeof value);
    if constexpr (std::endian::native == std::endian::big && sizeof(T) > 1) {
        T swapped = 0;
        for (unsigned i = 0; i < sizeof(T); ++i) swapped = static_cast<T>((swapped << 8) | ((value >> (8 * i)) & 0xFF));
        value = swapped;
    }
    return value;
}

template <typename T>
inline void store(std::uint8_t* p, T value) {
    if constexpr (std::endian::native == std::endian::big && sizeof(T) > 1) {
        for (unsigned i = 0; i < sizeof(T); ++i) p[i] = static_cast<std::uint8_t>(value >> (8 * i));
    } else {
        std::memcpy(p, &value, sizeof value);
    }
}

inline std::uint16_t u16(const std::uint8_t* p) { return load<std::uint16_t>(p); }
inline std::uint32_t u32(const std::uint8_t* p) { return load<std::uint32_t>(p); }
inline std::uint64_t u64(const std::uint8_t* p) { return load<std::uint64_t>(p); }
inline double f64(const std::uint8_t* p) { return std::bit_cast<double>(u64(p)); }

inline void putU16(std::uint8_t* p, std::uint16_t v) { store(p, v); }
inline void putU32(std::uint8_t* p, std::uint32_t v) { store(p, v); }
inline void putU64(std::uint8_t* p, std::uint64_t v) { store(p, v); }
inline void putF64(std::uint8_t* p, double v) { store(p, std::bit_cast<std::uint64_t>(v)); }

}  // namespace ovcf::le
