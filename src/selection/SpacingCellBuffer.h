// A selection worker's spacing cells, kept in 4096 partitions chosen by the top bits of the cell's
// hash. Cells are appended as they come and a partition is folded to one cell per grid cell (by
// the grid's own rule) whenever it has grown enough since it was last folded, so that it never
// holds more than a few times its grid cells: thinning a few hundred million points to a coarse
// grid needs little memory, and a fine grid costs sequential passes, not a table of the whole
// cloud probed at random. After the join each partition of every worker merges in a table small
// enough for the processor's cache.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "selection/SpacingGrid.h"

namespace ovcf {

class SpacingCellBuffer {
public:
    static constexpr unsigned kPartitionBits = 12;
    static constexpr std::size_t kPartitions = std::size_t{1} << kPartitionBits;
    // A partition is folded first when it reaches this many cells, which fill its first three
    // chunks exactly.
    static constexpr std::uint32_t kFirstFold = 448;

    static std::size_t partitionOf(std::uint64_t hash) { return static_cast<std::size_t>(hash >> (64 - kPartitionBits)); }

    SpacingCellBuffer() : parts_(kPartitions) {}
    SpacingCellBuffer(const SpacingCellBuffer&) = delete;
    SpacingCellBuffer& operator=(const SpacingCellBuffer&) = delete;
    ~SpacingCellBuffer();

    // `hash` is cellHash of the cell. Points of one cell often come one shortly after another: a
    // small table of recent cells, one per slot, settles them before they reach the partitions.
    void add(std::uint64_t hash, const SpacingCell& cell) {
        SpacingCell& recent = recent_[hash & (kRecent - 1)];
        if (recent.sameCell(cell) && !recent.empty()) {
            if (cell.beats(recent)) recent = cell;
            return;
        }
        if (!recent.empty()) append(cellHash(recent.x, recent.y, recent.z), recent);
        recent = cell;
    }
    // The recent cells into their partitions; before the first drain.
    void flushRecent();

    // Calls visit(cells, count) for every run of the cells of partition p and forgets them (their
    // memory goes with the buffer). Different partitions may be drained on different threads.
    template <class Visit>
    void drain(std::size_t p, const Visit& visit) {
        Part& part = parts_[p];
        forRuns(part, visit);
        part = Part{};
    }

    // Cells held now, over all partitions.
    std::uint64_t size() const;

private:
    struct Part {
        SpacingCell* cursor = nullptr;
        SpacingCell* limit = nullptr;
        std::uint32_t count = 0;
        std::uint32_t foldAt = kFirstFold;
        std::uint32_t chunk = 0;  // the chunk the cursor is in, counted from 1; 0 before the first
        std::vector<SpacingCell*> chunks;
    };
    struct Block {
        SpacingCell* cells;
        std::size_t count;
    };

    // A partition's chunks grow from 64 cells to 8192, so that a small selection costs little
    // memory and a large one few chunks.
    static std::size_t chunkCapacity(std::size_t i) { return std::size_t{64} << (i < 7 ? i : 7); }

    template <class Visit>
    static void forRuns(const Part& part, const Visit& visit) {
        for (std::size_t i = 0; i < part.chunk; ++i) {
            const std::size_t count =
                i + 1 < part.chunk ? chunkCapacity(i) : static_cast<std::size_t>(part.cursor - part.chunks[i]);
            visit(static_cast<const SpacingCell*>(part.chunks[i]), count);
        }
    }

    void append(std::uint64_t hash, const SpacingCell& cell) {
        const std::size_t p = partitionOf(hash);
        Part& part = parts_[p];
        if (part.cursor == part.limit) nextChunk(part);
        *part.cursor++ = cell;
        // The partition's next line is wanted only thousands of cells later: fetch it now, so
        // that the write then finds it in the cache instead of waiting for memory.
        prefetchSlot(part.cursor + 3);
        if (++part.count == part.foldAt) fold(part);
    }
    void nextChunk(Part& part);
    void fold(Part& part);
    SpacingCell* carve(std::size_t count);

    static constexpr std::size_t kRecent = 4096;

    std::vector<SpacingCell> recent_ = std::vector<SpacingCell>(kRecent);
    std::vector<Part> parts_;
    std::vector<Block> blocks_;
    SpacingCell* blockCursor_ = nullptr;
    SpacingCell* blockEnd_ = nullptr;
    SpacingGrid folding_;
    std::vector<SpacingCell> kept_;
};

}  // namespace ovcf
