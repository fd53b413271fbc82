#include "selection/BitmapRuns.h"

namespace ovcf {
namespace {

// Zero words shorter than this between two runs are stored rather than starting a new run.
constexpr std::size_t kJoinGap = 4;

}  // namespace

BitmapRuns::BitmapRuns(const PointBitmap& bitmap) : count_(bitmap.count()) {
    const std::vector<std::uint64_t>& words = bitmap.words();
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
        runs_.push_back({w, end - w});
        words_.insert(words_.end(), words.begin() + static_cast<std::ptrdiff_t>(w),
                      words.begin() + static_cast<std::ptrdiff_t>(end));
        w = end;
    }
}

std::uint64_t BitmapRuns::orInto(PointBitmap& target) const {
    std::uint64_t* out = target.data();
    const std::size_t size = target.words().size();
    std::uint64_t added = 0;
    const std::uint64_t* in = words_.data();
    for (const Run& run : runs_) {
        for (std::size_t k = 0; k < run.length && run.firstWord + k < size; ++k) {
            const std::uint64_t fresh = in[k] & ~out[run.firstWord + k];
            if (!fresh) continue;
            added += countBits(&fresh, 1);
            out[run.firstWord + k] |= fresh;
        }
        in += run.length;
    }
    target.recount();
    return added;
}

std::uint64_t BitmapRuns::clearFrom(PointBitmap& target) const {
    std::uint64_t* out = target.data();
    const std::size_t size = target.words().size();
    std::uint64_t cleared = 0;
    const std::uint64_t* in = words_.data();
    for (const Run& run : runs_) {
        for (std::size_t k = 0; k < run.length && run.firstWord + k < size; ++k) {
            const std::uint64_t hit = in[k] & out[run.firstWord + k];
            if (!hit) continue;
            cleared += countBits(&hit, 1);
            out[run.firstWord + k] &= ~hit;
        }
        in += run.length;
    }
    target.recount();
    return cleared;
}

}  // namespace ovcf
