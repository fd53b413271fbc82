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

    SpacingCellBuffer() : tails_(kPartitions), chains_(kPartitions) {}
    SpacingCellBuffer(const SpacingCellBuffer&) = delete;
    SpacingCellBuffer& operator=(const SpacingCellBuffer&) = delete;
    ~SpacingCellBuffer();

    // `hash` is cellHash of the cell. Points of one cell often come one shortly after another: a
    // small table of recent cells, one per slot, settles them before they reach the partitions.
    void add(std::uint64_t hash, const SpacingCell& cell) {
        const std::size_t slot = hash & (kRecent - 1);
        SpacingCell& recent = recent_[slot];
        if (recent.sameCell(cell) && !recent.empty()) {
            if (cell.beats(recent)) recent = cell;
            return;
        }
        if (!recent.empty()) append(recentPartition_[slot], recent);
        recent = cell;
        recentPartition_[slot] = static_cast<std::uint16_t>(partitionOf(hash));
    }
    // The recent cells into their partitions; before the first drain.
    void flushRecent();

    // Calls visit(cells, count) for every run of the cells of partition p and forgets them (their
    // memory goes with the buffer). Different partitions may be drained on different threads.
    template <class Visit>
    void drain(std::size_t p, const Visit& visit) {
        forRuns(p, visit);
        tails_[p] = Tail{};
        chains_[p] = Chain{};
    }

    // Cells held now, over all partitions.
    std::uint64_t size() const;

private:
    // What every added cell touches, kept small so that the tails of all partitions stay in the
    // processor's cache; the rest of a partition is in its chain.
    struct Tail {
        SpacingCell* cursor = nullptr;
        std::uint32_t room = 0;  // cells the cursor's chunk still takes
        std::uint32_t untilFold = kFirstFold;
    };
    struct Chain {
        std::vector<SpacingCell*> chunks;
        std::uint32_t chunk = 0;  // the chunks in use, the cursor in the last of them
    };
    struct Block {
        SpacingCell* cells;
        std::size_t count;
    };

    // A partition's chunks take 64, 128, then 256 cells each: a chunk is filled to its end but
    // for the last one, and the last one's unused room still costs the pages it lies on.
    static std::size_t chunkCapacity(std::size_t i) { return std::size_t{64} << (i < 2 ? i : 2); }

    template <class Visit>
    void forRuns(std::size_t p, const Visit& visit) const {
        const Chain& chain = chains_[p];
        for (std::size_t i = 0; i < chain.chunk; ++i) {
            const std::size_t count = i + 1 < chain.chunk ? chunkCapacity(i) : chunkCapacity(i) - tails_[p].room;
            visit(static_cast<const SpacingCell*>(chain.chunks[i]), count);
        }
    }

    void append(std::size_t p, const SpacingCell& cell) {
        Tail& tail = tails_[p];
        if (tail.room == 0) nextChunk(p);
        *tail.cursor++ = cell;
        --tail.room;
        // The partition's next line is wanted only thousands of cells later: fetch it now, so
        // that the write then finds it in the cache instead of waiting for memory.
        prefetchSlot(tail.cursor + 3);
        if (--tail.untilFold == 0) fold(p);
    }
    void nextChunk(std::size_t p);
    void fold(std::size_t p);
    SpacingCell* carve(std::size_t count);

    static constexpr std::size_t kRecent = 16384;

    std::vector<SpacingCell> recent_ = std::vector<SpacingCell>(kRecent);
    std::vector<std::uint16_t> recentPartition_ = std::vector<std::uint16_t>(kRecent);
    std::vector<Tail> tails_;
    std::vector<Chain> chains_;
    std::vector<Block> blocks_;
    SpacingCell* blockCursor_ = nullptr;
    SpacingCell* blockEnd_ = nullptr;
    SpacingGrid folding_;
    std::vector<SpacingCell> kept_;
};

}  // namespace ovcf
