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

    std::vector<Entry> slots_;
    std::size_t count_ = 0;
    std::size_t last_ = 0;  // the slot of the previous add: consecutive points often share a cell
};

}  // namespace ovcf
