// Where each point goes in the host's buffers when they are sorted by elevation, highest first.
// A counting sort on the quantised z, straight into the host's buffers: a first pass over the
// file counts the points of each of 2^20 slices of the root cube's height, the second writes
// every point at the next free place of its slice. A slice one quantum high needs nothing more;
// a thicker one is sorted within itself afterwards.
//
// Both passes run on several threads over chunks: runs of consecutive nodes, each counted and
// later placed by one thread in file order. Within a slice a chunk's places follow those of
// every earlier chunk, so the result is the one a single pass in file order gives, whatever the
// thread count. The extra memory is 4 MiB of counts per worker, each chunk's counts over the
// slices it occupies, and 8 MiB of slice ends when slices are thicker than a quantum.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "ovcf/FileFormat.h"
#include "ovcf/PointRecord.h"

namespace ovcf {

struct HostPointBuffers;

class ElevationOrder {
public:
    ElevationOrder(const FileHeader& header, unsigned workers, std::size_t chunks);

    // First pass: one more point in the slice of `p`, counted by `worker`; once its chunk is
    // done, the worker hands the counts over with endChunk.
    void count(unsigned worker, const PointRecord& p) {
        const std::uint32_t s = slice(p);
        ++counts_[worker][s];
        Span& span = spans_[worker];
        span.low = std::min(span.low, s);
        span.high = std::max(span.high, s);
    }
    void endChunk(unsigned worker, std::size_t chunk);

    // Between the passes: every chunk's first place in each slice, the highest slice first.
    // Returns the number of points counted.
    std::uint64_t startPlacing();

    // Second pass: the place of the next point of `chunk` (its points in file order). A point
    // the first pass did not count there (the file changed between the passes) gets no place:
    // the largest number, which no buffer holds.
    std::uint64_t place(std::size_t chunk, const PointRecord& p) {
        ChunkSlices& c = chunks_[chunk];
        const std::uint32_t s = slice(p);
        if (s < c.low || s - c.low >= c.next.size()) return ~std::uint64_t{0};
        return c.next[s - c.low]++;
    }

    // After the second pass: the slices thicker than a quantum are sorted within themselves,
    // group by group (groups are independent), `written` points in all.
    std::size_t sortGroups() const { return groups_.size(); }
    void sortGroup(std::size_t group, const HostPointBuffers& out, std::uint64_t written) const;

private:
    static constexpr std::uint32_t kSliceBits = 20;
    static constexpr std::uint32_t kSlices = std::uint32_t{1} << kSliceBits;

    struct alignas(64) Span {  // a cache line each: every worker updates its own per point
        std::uint32_t low = kSlices, high = 0;
    };
    struct ChunkSlices {
        std::uint32_t low = 0;
        std::vector<std::uint64_t> next;  // counts after the first pass, places after startPlacing
    };

    std::uint32_t slice(const PointRecord& p) const {
        const std::uint64_t s = p.z >= zBase_ ? std::uint64_t(p.z - zBase_) >> shift_ : 0;
        return static_cast<std::uint32_t>(std::min<std::uint64_t>(s, kSlices - 1));
    }

    std::uint32_t zBase_ = 0, shift_ = 0;
    std::vector<std::vector<std::uint32_t>> counts_;  // per worker, all slices
    std::vector<Span> spans_;                         // per worker, the slices its chunk touched
    std::vector<ChunkSlices> chunks_;
    std::vector<std::uint64_t> ends_;                 // thick slices only: where each slice ends
    std::vector<std::uint32_t> groups_;               // thick slices only: first (highest) slice of each group
};

}  // namespace ovcf
