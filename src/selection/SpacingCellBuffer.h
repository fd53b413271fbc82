// A selection worker's spacing cells, appended as they come into 1024 buffers chosen by the top
// bits of the cell's hash. After the join each buffer of every worker merges into a table small
// enough for the processor's cache: one table of the whole cloud, hundreds of megabytes probed at
// random, is several times slower than reading the cells twice in order.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>
#include <vector>

#include "platform/LargeBlock.h"
#include "selection/SpacingGrid.h"

namespace ovcf {

class SpacingCellBuffer {
public:
    static constexpr unsigned kPartitionBits = 12;
    static constexpr std::size_t kPartitions = std::size_t{1} << kPartitionBits;

    static std::size_t partitionOf(std::uint64_t hash) { return static_cast<std::size_t>(hash >> (64 - kPartitionBits)); }

    SpacingCellBuffer() : tails_(kPartitions), chunks_(kPartitions) {}
    SpacingCellBuffer(const SpacingCellBuffer&) = delete;
    SpacingCellBuffer& operator=(const SpacingCellBuffer&) = delete;
    ~SpacingCellBuffer() {
        for (const Block& block : blocks_) freeLargeBlock(block.cells, block.count * sizeof(SpacingCell));
    }

    void add(std::uint64_t hash, const SpacingCell& cell) {
        const std::size_t p = partitionOf(hash);
        Tail& tail = tails_[p];
        if (tail.cursor == tail.limit) grow(p);
        *tail.cursor++ = cell;
        ++size_;
    }

    // Calls visit(cells, count) for every run of the cells of partition p, in the order they came,
    // and forgets them (their memory goes with the buffer). Different partitions may be drained on
    // different threads at once.
    template <class Visit>
    void drain(std::size_t p, const Visit& visit) {
        std::vector<SpacingCell*>& chunks = chunks_[p];
        for (std::size_t i = 0; i < chunks.size(); ++i) {
            const std::size_t count =
                i + 1 < chunks.size() ? chunkCapacity(i) : static_cast<std::size_t>(tails_[p].cursor - chunks[i]);
            visit(static_cast<const SpacingCell*>(chunks[i]), count);
        }
        std::vector<SpacingCell*>().swap(chunks);
        tails_[p] = Tail{};
    }

    // Cells added since construction (drained ones included).
    std::uint64_t size() const { return size_; }

private:
    struct Tail {
        SpacingCell* cursor = nullptr;
        SpacingCell* limit = nullptr;
    };
    struct Block {
        SpacingCell* cells;
        std::size_t count;
    };
    // A partition's chunks grow from 64 cells to 8192, so that a small selection costs little
    // memory and a large one few chunks. They are cut from blocks that double from 4096 cells to
    // 1.4 million (32 MiB), taken whole from the system: tens of millions of cells then cost a few
    // hundred page faults (huge pages where the system allows) instead of a hundred thousand.
    static std::size_t chunkCapacity(std::size_t i) { return std::size_t{64} << std::min<std::size_t>(i, 7); }

    void grow(std::size_t p) {
        std::vector<SpacingCell*>& chunks = chunks_[p];
        const std::size_t capacity = chunkCapacity(chunks.size());
        chunks.reserve(chunks.size() + 1);
        if (static_cast<std::size_t>(blockEnd_ - blockCursor_) < capacity) {
            const std::size_t count = blocks_.empty() ? 4096 : std::min<std::size_t>(blocks_.back().count * 2, kLargestBlock);
            blocks_.reserve(blocks_.size() + 1);
            void* memory = allocateLargeBlock(count * sizeof(SpacingCell));
            if (!memory) throw std::bad_alloc();
            blocks_.push_back({static_cast<SpacingCell*>(memory), count});
            blockCursor_ = blocks_.back().cells;
            blockEnd_ = blockCursor_ + count;
        }
        chunks.push_back(blockCursor_);
        tails_[p] = {blockCursor_, blockCursor_ + capacity};
        blockCursor_ += capacity;
    }

    static constexpr std::size_t kLargestBlock = (std::size_t{32} << 20) / sizeof(SpacingCell);

    std::vector<Tail> tails_;
    std::vector<std::vector<SpacingCell*>> chunks_;
    std::vector<Block> blocks_;
    SpacingCell* blockCursor_ = nullptr;
    SpacingCell* blockEnd_ = nullptr;
    std::uint64_t size_ = 0;
};

}  // namespace ovcf
