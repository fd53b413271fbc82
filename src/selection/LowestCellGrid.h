// The lowest point of every occupied cloth cell: an open-addressing table keyed by the cell's two
// signed coordinates (linear probing, power-of-two capacity, load at most 0.6) that keeps, per
// cell, the largest depth seen. One per selection worker; merged after the join.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ovcf {

class LowestCellGrid {
public:
    // Keeps `depth` when it is the largest the cell has seen.
    void add(std::int32_t i, std::int32_t j, double depth);
    // Every cell of `other` into this one by the same rule; room for both is made first.
    void mergeFrom(const LowestCellGrid& other);

    std::size_t size() const { return count_; }
    std::size_t capacity() const { return slots_.size(); }

    template <typename Visit>
    void forEach(Visit visit) const {
        for (const Entry& e : slots_)
            if (e.occupied) visit(e.i, e.j, e.depth);
    }

    // The capacity a table that must hold `entries` takes.
    static std::size_t capacityFor(std::size_t entries);

private:
    struct Entry {
        double depth;
        std::int32_t i;
        std::int32_t j;
        bool occupied;
    };

    std::size_t slotOf(std::int32_t i, std::int32_t j) const;
    void growFor(std::size_t entries);
    Entry& find(std::int32_t i, std::int32_t j, bool& fresh);

    // The slots of recently added cells, by the low bits of their numbers: a node's points cover
    // a small patch of cells, so most points skip the hashing and the probe. Emptied when the
    // table grows and the slots move.
    static constexpr int kRecentBits = 4;
    struct Recent {
        std::int32_t i = 0;
        std::int32_t j = 0;
        std::uint32_t slot = kNoSlot;
    };
    static constexpr std::uint32_t kNoSlot = 0xFFFFFFFFu;

    std::vector<Entry> slots_;
    std::size_t count_ = 0;
    std::vector<Recent> recent_ = std::vector<Recent>(std::size_t{1} << (2 * kRecentBits));
};

}  // namespace ovcf
