#include "selection/LowestCellGrid.h"

#include <algorithm>


namespace ovcf {

std::size_t LowestCellGrid::capacityFor(std::size_t entries) {
    if (entries * 10 <= 384) return 64;
    std::size_t p = 64;
    while (12 * p < 10 * entries) p *= 2;
    return 2 * p;
}

std::size_t LowestCellGrid::slotOf(std::int32_t i, std::int32_t j) const {
    std::uint64_t h = static_cast<std::uint64_t>(static_cast<std::int64_t>(i)) * 0x9E3779B185EBCA87ull ^
                      static_cast<std::uint64_t>(static_cast<std::int64_t>(j)) * 0xC2B2AE3D27D4EB4Full;
    h = (h ^ (h >> 29)) * 0xBF58476D1CE4E5B9ull;
    return static_cast<std::size_t>(h ^ (h >> 32)) & (slots_.size() - 1);
}

void LowestCellGrid::growFor(std::size_t entries) {
    const std::size_t capacity = capacityFor(entries);
    if (capacity <= slots_.size()) return;
    std::vector<Entry> old(capacity, Entry{0.0, 0, 0, false});
    old.swap(slots_);
    for (const Entry& e : old) {
        if (!e.occupied) continue;
        std::size_t s = slotOf(e.i, e.j);
        while (slots_[s].occupied) s = (s + 1) & (slots_.size() - 1);
        slots_[s] = e;
    }
    std::fill(recent_.begin(), recent_.end(), Recent{});
}

LowestCellGrid::Entry& LowestCellGrid::find(std::int32_t i, std::int32_t j, bool& fresh) {
    fresh = false;
    constexpr std::uint32_t mask = (1u << kRecentBits) - 1;
    Recent& recent = recent_[(static_cast<std::uint32_t>(i) & mask) | (static_cast<std::uint32_t>(j) & mask) << kRecentBits];
    if (recent.slot != kNoSlot && recent.i == i && recent.j == j) return slots_[recent.slot];
    // Grow before the new entry would push the load past 0.6.
    if ((count_ + 1) * 10 > slots_.size() * 6) growFor(count_ + 1);
    std::size_t s = slotOf(i, j);
    while (slots_[s].occupied && !(slots_[s].i == i && slots_[s].j == j)) s = (s + 1) & (slots_.size() - 1);
    if (!slots_[s].occupied) {
        slots_[s] = Entry{0.0, i, j, true};
        ++count_;
        fresh = true;
    }
    recent = Recent{i, j, static_cast<std::uint32_t>(s)};
    return slots_[s];
}

void LowestCellGrid::add(std::int32_t i, std::int32_t j, double depth) {
    bool fresh;
    Entry& e = find(i, j, fresh);
    if (fresh || depth > e.depth) e.depth = depth;
}

void LowestCellGrid::mergeFrom(const LowestCellGrid& other) {
    growFor(count_ + other.count_);
    other.forEach([this](std::int32_t i, std::int32_t j, double depth) { add(i, j, depth); });
}

}  // namespace ovcf
