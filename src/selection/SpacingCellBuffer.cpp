#include "selection/SpacingCellBuffer.h"

#include <algorithm>
#include <new>

#include "platform/LargeBlock.h"

namespace ovcf {
namespace {

// Chunks are cut from blocks that double from 4096 cells to 1.4 million (32 MiB), taken whole
// from the system: tens of millions of cells then cost a few hundred page faults (huge pages where
// the system allows) instead of a hundred thousand.
constexpr std::size_t kFirstBlock = 4096;
constexpr std::size_t kLargestBlock = (std::size_t{32} << 20) / sizeof(SpacingCell);

}  // namespace

SpacingCellBuffer::~SpacingCellBuffer() {
    for (const Block& block : blocks_) freeLargeBlock(block.cells, block.count * sizeof(SpacingCell));
}

void SpacingCellBuffer::flushRecent() {
    for (std::size_t slot = 0; slot < kRecent; ++slot) {
        if (recent_[slot].empty()) continue;
        append(recentPartition_[slot], recent_[slot]);
        recent_[slot] = SpacingCell{};
    }
}

std::uint64_t SpacingCellBuffer::size() const {
    std::uint64_t total = 0;
    for (std::size_t p = 0; p < kPartitions; ++p) forRuns(p, [&](const SpacingCell*, std::size_t count) { total += count; });
    return total;
}

SpacingCell* SpacingCellBuffer::carve(std::size_t count) {
    if (static_cast<std::size_t>(blockEnd_ - blockCursor_) < count) {
        const std::size_t size = blocks_.empty() ? kFirstBlock : std::min(blocks_.back().count * 2, kLargestBlock);
        blocks_.reserve(blocks_.size() + 1);
        void* memory = allocateLargeBlock(size * sizeof(SpacingCell));
        if (!memory) throw std::bad_alloc();
        blocks_.push_back({static_cast<SpacingCell*>(memory), size});
        blockCursor_ = blocks_.back().cells;
        blockEnd_ = blockCursor_ + size;
    }
    SpacingCell* cells = blockCursor_;
    blockCursor_ += count;
    return cells;
}

// A folded partition writes into the chunks it already has before it takes a new one.
void SpacingCellBuffer::nextChunk(std::size_t p) {
    Chain& chain = chains_[p];
    if (chain.chunk == chain.chunks.size()) {
        chain.chunks.reserve(chain.chunks.size() + 1);
        chain.chunks.push_back(carve(chunkCapacity(chain.chunks.size())));
    }
    tails_[p].cursor = chain.chunks[chain.chunk];
    tails_[p].room = static_cast<std::uint32_t>(chunkCapacity(chain.chunk));
    ++chain.chunk;
}

void SpacingCellBuffer::fold(std::size_t p) {
    std::size_t before = 0;
    forRuns(p, [&](const SpacingCell* run, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) folding_.add(cellHash(run[i].x, run[i].y, run[i].z), run[i]);
        before += count;
    });
    kept_.clear();
    folding_.takeCells([&](const SpacingCell& cell) { kept_.push_back(cell); });
    // The kept cells go back to the front of the partition's own chunks, fewer than were there.
    Tail& tail = tails_[p];
    chains_[p].chunk = 0;
    tail.room = 0;
    for (const SpacingCell& cell : kept_) {
        if (tail.room == 0) nextChunk(p);
        *tail.cursor++ = cell;
        --tail.room;
    }
    // Folding again once the partition has doubled keeps it within twice its cells; when the fold
    // hardly took anything away, points of one cell are rare here and the next fold waits longer.
    const std::size_t growth = kept_.size() * 10 >= before * 9 ? 8 : 2;
    tail.untilFold = static_cast<std::uint32_t>(std::max<std::size_t>(kFirstFold, growth * kept_.size()) - kept_.size());
}

}  // namespace ovcf
