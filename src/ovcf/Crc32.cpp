#include "Crc32.h"

#include <array>

#include "ByteOrder.h"

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#define OVCF_CRC_FOLDING 1
#include <immintrin.h>
#endif

namespace ovcf {
namespace {

constexpr std::uint32_t kPolynomial = 0xEDB88320u;

// Slicing tables: table[0] is the classic byte table; table[k][b] is the CRC of byte b followed
// by k zero bytes, so eight bytes fold in with eight independent lookups.
using SliceTables = std::array<std::array<std::uint32_t, 256>, 8>;

constexpr SliceTables makeTables() {
    SliceTables t{};
    for (std::uint32_t b = 0; b < 256; ++b) {
        std::uint32_t c = b;
        for (int bit = 0; bit < 8; ++bit) c = (c & 1u) ? (c >> 1) ^ kPolynomial : c >> 1;
        t[0][b] = c;
    }
    for (std::size_t k = 1; k < t.size(); ++k)
        for (std::uint32_t b = 0; b < 256; ++b) t[k][b] = (t[k - 1][b] >> 8) ^ t[0][t[k - 1][b] & 0xFFu];
    return t;
}

constexpr SliceTables kTables = makeTables();
static_assert(kTables[0][1] == 0x77073096u);

// Advances the raw (uncomplemented) CRC state over data.
std::uint32_t sliceBy8(std::uint32_t crc, const std::uint8_t* p, std::size_t size) {
    while (size >= 8) {
        const std::uint32_t lo = le::u32(p) ^ crc;
        const std::uint32_t hi = le::u32(p + 4);
        crc = kTables[7][lo & 0xFFu] ^ kTables[6][(lo >> 8) & 0xFFu] ^ kTables[5][(lo >> 16) & 0xFFu] ^
              kTables[4][lo >> 24] ^ kTables[3][hi & 0xFFu] ^ kTables[2][(hi >> 8) & 0xFFu] ^
              kTables[1][(hi >> 16) & 0xFFu] ^ kTables[0][hi >> 24];
        p += 8;
        size -= 8;
    }
    while (size-- > 0) crc = (crc >> 8) ^ kTables[0][(crc ^ *p++) & 0xFFu];
    return crc;
}

#if OVCF_CRC_FOLDING
// Folding with carry-less multiplication. A 16-byte lane loaded little-endian holds a polynomial
// whose bit k is the coefficient of x^(127 - k) (bit 0 of the first byte comes first in the
// stream, as the reflected CRC wants). Moving a lane D bits further down the stream multiplies it
// by x^D; splitting it into its halves, that is low * (x^(64+D) mod P) + high * (x^D mod P), two
// 64 x 32-bit products that fit the lane again. A product of PCLMULQDQ comes out one position off
// in this bit order, which the constants absorb by being x^(e-1) instead of x^e.

// x^e mod P in the reflected 32-bit form (bit j is the coefficient of x^(31 - j)).
constexpr std::uint32_t xPowerModP(unsigned e) {
    std::uint32_t v = 0x80000000u;  // x^0
    for (unsigned i = 0; i < e; ++i) v = (v & 1u) ? (v >> 1) ^ kPolynomial : v >> 1;
    return v;
}

// The 64-bit multiplier standing for x^e, placed where the coefficients line up.
constexpr std::uint64_t foldConstant(unsigned e) { return std::uint64_t{xPowerModP(e - 1)} << 32; }

// Multipliers for the high-degree half (the lane's low qword) and the low-degree half (its high
// qword), for moving a lane by 512 bits (four lanes at a time) and by 128 bits.
constexpr std::uint64_t kFold512High = foldConstant(512 + 64), kFold512Low = foldConstant(512);
constexpr std::uint64_t kFold128High = foldConstant(128 + 64), kFold128Low = foldConstant(128);

__attribute__((target("pclmul,sse4.1"))) inline __m128i fold(__m128i lane, __m128i constants, __m128i next) {
    const __m128i low = _mm_clmulepi64_si128(lane, constants, 0x00);
    const __m128i high = _mm_clmulepi64_si128(lane, constants, 0x11);
    return _mm_xor_si128(_mm_xor_si128(low, high), next);
}

__attribute__((target("pclmul,sse4.1"))) std::uint32_t foldBlocks(std::uint32_t crc, const std::uint8_t*& p,
                                                                   std::size_t& size) {
    const auto load = [](const std::uint8_t* at) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at)); };
    // The running state enters as the first 32 bits of the stream.
    __m128i x0 = _mm_xor_si128(load(p), _mm_cvtsi32_si128(static_cast<int>(crc)));
    __m128i x1 = load(p + 16), x2 = load(p + 32), x3 = load(p + 48);
    p += 64;
    size -= 64;
    const __m128i by512 = _mm_set_epi64x(static_cast<long long>(kFold512Low), static_cast<long long>(kFold512High));
    while (size >= 64) {
        x0 = fold(x0, by512, load(p));
        x1 = fold(x1, by512, load(p + 16));
        x2 = fold(x2, by512, load(p + 32));
        x3 = fold(x3, by512, load(p + 48));
        p += 64;
        size -= 64;
    }
    const __m128i by128 = _mm_set_epi64x(static_cast<long long>(kFold128Low), static_cast<long long>(kFold128High));
    __m128i x = fold(fold(fold(x0, by128, x1), by128, x2), by128, x3);
    while (size >= 16) {
        x = fold(x, by128, load(p));
        p += 16;
        size -= 16;
    }
    // What is left is a 16-byte stream congruent to everything so far; its CRC from a zero state
    // is the state after everything so far.
    alignas(16) std::uint8_t rest[16];
    _mm_store_si128(reinterpret_cast<__m128i*>(rest), x);
    return sliceBy8(0, rest, sizeof rest);
}

bool foldingAvailable() {
    static const bool available = [] {
        __builtin_cpu_init();
        return __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("sse4.1");
    }();
    return available;
}
#endif

}  // namespace

std::uint32_t crc32(const void* data, std::size_t size, std::uint32_t previous) {
    const auto* p = static_cast<const std::uint8_t*>(data);
    std::uint32_t crc = ~previous;
#if OVCF_CRC_FOLDING
    // Below a few hundred bytes the set-up costs more than the tables.
    if (size >= 256 && foldingAvailable()) crc = foldBlocks(crc, p, size);
#endif
    return ~sliceBy8(crc, p, size);
}

std::uint32_t crc32Portable(const void* data, std::size_t size, std::uint32_t previous) {
    return ~sliceBy8(~previous, static_cast<const std::uint8_t*>(data), size);
}

std::uint32_t crc32Bitwise(const void* data, std::size_t size, std::uint32_t previous) {
    const auto* p = static_cast<const std::uint8_t*>(data);
    std::uint32_t crc = ~previous;
    for (std::size_t i = 0; i < size; ++i) {
        crc ^= p[i];
        for (int bit = 0; bit < 8; ++bit) crc = (crc & 1u) ? (crc >> 1) ^ kPolynomial : crc >> 1;
    }
    return ~crc;
}

}  // namespace ovcf
