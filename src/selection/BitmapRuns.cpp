#include "selection/BitmapRuns.h"

#include <bit>

namespace ovcf {
namespace {

// Zero words shorter than this between two runs are stored rather than starting a new run.
constexpr std::size_t kJoinGap = 4;

std::size_t varintBytes(std::uint64_t value) {
    std::size_t n = 1;
    while (value >= 0x80) {
        value >>= 7;
        ++n;
    }
    return n;
}

void putVarint(std::vector<std::uint8_t>& out, std::uint64_t value) {
    while (value >= 0x80) {
        out.push_back(static_cast<std::uint8_t>(value | 0x80));
        value >>= 7;
    }
    out.push_back(static_cast<std::uint8_t>(value));
}

// The runs of non-zero words, joined across short gaps; calls take(first word, length).
template <typename Take>
void scanRuns(const std::vector<std::uint64_t>& words, Take&& take) {
    std::size_t w = 0;
    while (w < words.size()) {
        if (!words[w]) {
            ++w;
            continue;
        }
        std::size_t end = w + 1, zeros = 0;
        for (std::size_t k = w + 1; k < words.size() && zeros < kJoinGap; ++k) {
            if (words[k]) {
                end = k + 1;
                zeros = 0;
            } else {
                ++zeros;
            }
        }
        take(w, end - w);
        w = end;
    }
}

}  // namespace

BitmapRuns::BitmapRuns(const PointBitmap& bitmap) : count_(bitmap.count()) {
    const std::vector<std::uint64_t>& words = bitmap.words();
    // The size of each form, then the smaller one is built.
    std::size_t runBytes = 0, gapBytes = 0;
    scanRuns(words, [&](std::size_t, std::size_t length) { runBytes += sizeof(Run) + 8 * length; });
    std::uint64_t previous = 0;
    for (std::size_t w = 0; w < words.size(); ++w)
        for (std::uint64_t bits = words[w]; bits; bits &= bits - 1) {
            const std::uint64_t g = 64 * w + static_cast<std::uint64_t>(std::countr_zero(bits));
            gapBytes += varintBytes(g - previous);
            previous = g;
        }
    sparse_ = gapBytes < runBytes;
    if (sparse_) {
        gaps_.reserve(gapBytes);
        previous = 0;
        for (std::size_t w = 0; w < words.size(); ++w)
            for (std::uint64_t bits = words[w]; bits; bits &= bits - 1) {
                const std::uint64_t g = 64 * w + static_cast<std::uint64_t>(std::countr_zero(bits));
                putVarint(gaps_, g - previous);
                previous = g;
            }
        return;
    }
    scanRuns(words, [&](std::size_t first, std::size_t length) {
        runs_.push_back({first, length});
        words_.insert(words_.end(), words.begin() + static_cast<std::ptrdiff_t>(first),
                      words.begin() + static_cast<std::ptrdiff_t>(first + length));
    });
    runs_.shrink_to_fit();
}

template <typename Visit>
void BitmapRuns::forEachWord(Visit&& visit) const {
    if (sparse_) {
        // Bits of one word arrive together: gather them before visiting.
        std::uint64_t g = 0, shift = 0, gap = 0, word = 0;
        std::size_t current = SIZE_MAX;
        for (std::uint8_t byte : gaps_) {
            gap |= std::uint64_t{byte & 0x7Fu} << shift;
            shift += 7;
            if (byte & 0x80) continue;
            g += gap;
            gap = shift = 0;
            const std::size_t w = static_cast<std::size_t>(g >> 6);
            if (w != current) {
                if (word) visit(current, word);
                current = w;
                word = 0;
            }
            word |= std::uint64_t{1} << (g & 63);
        }
        if (word) visit(current, word);
        return;
    }
    const std::uint64_t* in = words_.data();
    for (const Run& run : runs_) {
        for (std::size_t k = 0; k < run.length; ++k)
            if (in[k]) visit(run.firstWord + k, in[k]);
        in += run.length;
    }
}

std::uint64_t BitmapRuns::orInto(PointBitmap& target) const {
    std::uint64_t* out = target.data();
    const std::size_t size = target.words().size();
    std::uint64_t added = 0;
    forEachWord([&](std::size_t w, std::uint64_t word) {
        if (w >= size) return;
        const std::uint64_t fresh = word & ~out[w];
        added += static_cast<std::uint64_t>(std::popcount(fresh));
        out[w] |= fresh;
    });
    target.recount();
    return added;
}

std::uint64_t BitmapRuns::clearFrom(PointBitmap& target) const {
    std::uint64_t* out = target.data();
    const std::size_t size = target.words().size();
    std::uint64_t cleared = 0;
    forEachWord([&](std::size_t w, std::uint64_t word) {
        if (w >= size) return;
        const std::uint64_t hit = word & out[w];
        cleared += static_cast<std::uint64_t>(std::popcount(hit));
        out[w] &= ~hit;
    });
    target.recount();
    return cleared;
}

std::size_t BitmapRuns::storedBytes() const {
    return sizeof(*this) + runs_.capacity() * sizeof(Run) + words_.capacity() * 8 + gaps_.capacity();
}

}  // namespace ovcf
