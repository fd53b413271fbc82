#include "selection/NeighbourGrid.h"

#include <algorithm>
#include <cstdint>
#include <thread>

#include "core/ThreadRun.h"

namespace ovcf {
namespace {

constexpr std::uint32_t kVisiting = 0xFFFFFFFFu;

// Calls visit(x, y, z) for the 27 cells of the block around a cell (itself included), leaving out
// coordinates beyond the 32-bit range.
template <class Visit>
void forBlock(const NeighbourCell& cell, const Visit& visit) {
    const auto inRange = [](std::int64_t v) { return v >= INT32_MIN && v <= INT32_MAX; };
    for (std::int64_t z = std::int64_t{cell.z} - 1; z <= std::int64_t{cell.z} + 1; ++z)
        for (std::int64_t y = std::int64_t{cell.y} - 1; y <= std::int64_t{cell.y} + 1; ++y)
            for (std::int64_t x = std::int64_t{cell.x} - 1; x <= std::int64_t{cell.x} + 1; ++x)
                if (inRange(x) && inRange(y) && inRange(z))
                    visit(static_cast<std::int32_t>(x), static_cast<std::int32_t>(y), static_cast<std::int32_t>(z));
}

}  // namespace

void NeighbourGrid::add(std::int32_t x, std::int32_t y, std::int32_t z, std::uint32_t n) {
    if (n == 0) return;
    const std::uint64_t hash = cellHash(x, y, z);
    const std::size_t mask = slots_.size() - 1;
    for (std::size_t s = hash & mask;; s = (s + 1) & mask) {
        NeighbourCell& slot = slots_[s];
        if (slot.count == 0) {
            if (cellTableFull(entries_ + 1, slots_.size())) {
                rehash(cellTableCapacity(entries_ + 1));
                const std::size_t grown = slots_.size() - 1;
                std::size_t t = hash & grown;
                while (slots_[t].count != 0) t = (t + 1) & grown;
                slots_[t] = NeighbourCell{x, y, z, n, 0, 0};
            } else {
                slot = NeighbourCell{x, y, z, n, 0, 0};
            }
            ++entries_;
            return;
        }
        if (slot.x == x && slot.y == y && slot.z == z) {
            slot.count = saturatingAdd(slot.count, n);
            return;
        }
    }
}

void NeighbourGrid::rehash(std::size_t capacity) {
    CellSlots<NeighbourCell> old(capacity, NeighbourCell{});
    old.swap(slots_);
    const std::size_t mask = slots_.size() - 1;
    for (const NeighbourCell& cell : old) {
        if (cell.count == 0) continue;
        std::size_t s = cellHash(cell.x, cell.y, cell.z) & mask;
        while (slots_[s].count != 0) s = (s + 1) & mask;
        slots_[s] = cell;
    }
}

void NeighbourGrid::reserve(std::size_t n) {
    const std::size_t capacity = cellTableCapacity(n);
    if (capacity > slots_.size()) rehash(capacity);
}

void NeighbourGrid::mergeFrom(const NeighbourGrid& other) {
    reserve(entries_ + other.entries_);
    for (const NeighbourCell& cell : other.slots_)
        if (cell.count != 0) add(cell.x, cell.y, cell.z, cell.count);
}

void NeighbourGrid::halve() {
    NeighbourGrid coarse;
    for (const NeighbourCell& cell : slots_)
        if (cell.count != 0) coarse.add(cell.x >> 1, cell.y >> 1, cell.z >> 1, cell.count);
    *this = std::move(coarse);
}

// The block sums of a run of cells, a few cells at a time: all the probes of a few blocks are
// prefetched before any is made, so that their cache misses overlap.
void NeighbourGrid::countRange(const std::size_t* occupied, std::size_t count) {
    constexpr std::size_t kBatch = 4;
    struct Probe {
        std::uint64_t hash;
        std::int32_t x, y, z;
    };
    Probe probes[kBatch][27];
    std::size_t probeCount[kBatch];
    const std::size_t mask = slots_.size() - 1;
    for (std::size_t i = 0; i < count; i += kBatch) {
        const std::size_t batch = std::min(kBatch, count - i);
        for (std::size_t b = 0; b < batch; ++b) {
            probeCount[b] = 0;
            forBlock(slots_[occupied[i + b]], [&](std::int32_t x, std::int32_t y, std::int32_t z) {
                const std::uint64_t hash = cellHash(x, y, z);
                prefetchSlot(&slots_[hash & mask]);
                probes[b][probeCount[b]++] = {hash, x, y, z};
            });
        }
        for (std::size_t b = 0; b < batch; ++b) {
            std::uint64_t sum = 0;
            for (std::size_t p = 0; p < probeCount[b]; ++p)
                if (const NeighbourCell* n = find(probes[b][p].hash, probes[b][p].x, probes[b][p].y, probes[b][p].z))
                    sum += n->count;
            slots_[occupied[i + b]].neighbours = sum > 0xFFFFFFFFull ? 0xFFFFFFFFu : static_cast<std::uint32_t>(sum);
        }
    }
}

void NeighbourGrid::countNeighbourhoods(unsigned threads, std::size_t parallelFrom) {
    std::vector<std::size_t> occupied;
    occupied.reserve(entries_);
    for (std::size_t s = 0; s < slots_.size(); ++s)
        if (slots_[s].count != 0) occupied.push_back(s);
    // Each range writes only the neighbourhood field of its own cells and reads counts alone.
    const auto range = [&](std::size_t from, std::size_t to) { countRange(occupied.data() + from, to - from); };
    threads = std::clamp(threads, 1u, 16u);
    if (threads == 1 || occupied.size() < parallelFrom) {
        range(0, occupied.size());
        return;
    }
    const std::size_t n = occupied.size();
    runOnThreads(threads, [&](unsigned t) { range(n * t / threads, n * (t + 1) / threads); });
}

std::uint64_t NeighbourGrid::formGroups() {
    std::uint64_t groups = 0;
    std::vector<std::size_t> members;
    for (std::size_t start = 0; start < slots_.size(); ++start) {
        if (slots_[start].count == 0 || slots_[start].group != 0) continue;
        ++groups;
        members.clear();
        members.push_back(start);
        slots_[start].group = kVisiting;
        std::uint64_t total = 0;
        // The member list is the breadth-first queue.
        for (std::size_t head = 0; head < members.size(); ++head) {
            const NeighbourCell cell = slots_[members[head]];
            total += cell.count;
            forBlock(cell, [&](std::int32_t x, std::int32_t y, std::int32_t z) {
                const NeighbourCell* n = find(x, y, z);
                if (!n || n->group != 0) return;
                const std::size_t s = static_cast<std::size_t>(n - slots_.data());
                slots_[s].group = kVisiting;
                members.push_back(s);
            });
        }
        const std::uint32_t size = total > 0xFFFFFFFFull ? 0xFFFFFFFFu : static_cast<std::uint32_t>(total);
        for (std::size_t s : members) slots_[s].group = size;
    }
    return groups;
}

}  // namespace ovcf
