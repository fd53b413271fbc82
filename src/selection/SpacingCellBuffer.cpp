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
    for (SpacingCell& cell : recent_) {
        if (cell.empty()) continue;
        append(cellHash(cell.x, cell.y, cell.z), cell);
        cell = SpacingCell{};
    }
}

std::uint64_t SpacingCellBuffer::size() const {
    std::uint64_t total = 0;
    for (const Part& part : parts_) total += part.count;
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
void SpacingCellBuffer::nextChunk(Part& part) {
    if (part.chunk == part.chunks.size()) {
        part.chunks.reserve(part.chunks.size() + 1);
        part.chunks.push_back(carve(chunkCapacity(part.chunks.size())));
    }
    part.cursor = part.chunks[part.chunk];
    part.limit = part.cursor + chunkCapacity(part.chunk);
    ++part.chunk;
}

void SpacingCellBuffer::fold(Part& part) {
    forRuns(part, [&](const SpacingCell* run, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) folding_.add(cellHash(run[i].x, run[i].y, run[i].z), run[i]);
    });
    kept_.clear();
    folding_.takeCells([&](const SpacingCell& cell) { kept_.push_back(cell); });
    // The kept cells go back to the front of the partition's own chunks, fewer than were there.
    part.chunk = 0;
    part.cursor = part.limit = nullptr;
    for (const SpacingCell& cell : kept_) {
        if (part.cursor == part.limit) nextChunk(part);
        *part.cursor++ = cell;
    }
    // Folding again once the partition has doubled keeps it within twice its cells; when the fold
    // hardly took anything away, points of one cell are rare here and the next fold waits longer.
    const std::size_t before = part.count;
    part.count = static_cast<std::uint32_t>(kept_.size());
    const std::uint32_t growth = kept_.size() * 10 >= before * 9 ? 8 : 2;
    part.foldAt = std::max(kFirstFold, growth * part.count);
}

}  // namespace ovcf
