// The host's buffers sorted by elevation, highest first. The order is that of a counting sort on
// 2^20 slices of the root cube's height: slices highest first, the points of a slice in file
// order; a slice thicker than a quantum is then sorted within itself.
//
// The nodes are read once. While reading, each point is kept in 16 bytes in one of about a
// thousand buckets, each a run of whole slices over the height of the header's box, so that the
// reading workers write to few enough places to stay in cache. Runs of consecutive nodes (chunks)
// are read by one worker each into blocks of their own, and a bucket's points are those of every
// chunk in chunk order: file order, whatever the thread count. Then each bucket, independent of
// the others, is ordered by slice in a worker's scratch, where the scattered writes stay in
// cache, written straight through to its own range of the host's buffers, and its thick slices
// sorted there while that range is still in cache. Held meanwhile: 16 bytes a point in large
// pages, and under one 4 KiB block per bucket and chunk.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

#include "ovcf/FileFormat.h"

namespace ovcf {

struct HostPointBuffers;

// A point as the sort keeps it between reading and writing.
struct KeptPoint {
    std::uint32_t x, y, z;  // absolute quantised coordinates
    std::uint32_t colour;   // 0x00RRGGBB, the show flag in the top byte
};

class ElevationOrder {
public:
    // `chunkPoints`: the points each chunk is expected to keep, one entry per chunk.
    ElevationOrder(const FileHeader& header, const std::vector<std::uint64_t>& chunkPoints);
    ~ElevationOrder();
    ElevationOrder(const ElevationOrder&) = delete;
    ElevationOrder& operator=(const ElevationOrder&) = delete;

    // Reading: the points of `chunk` in file order, from the one worker reading that chunk,
    // which calls endChunk once they are all kept. A bucket's points gather in a cache line
    // of the chunk's own and go to its blocks a whole line at a time, past the cache.
    class Keeper;
    Keeper keeper(std::size_t chunk) { return Keeper(*this, chunk); }
    void endChunk(std::size_t chunk);

    // Between reading and writing: where each bucket begins. Returns the points kept.
    std::uint64_t startPlacing();
    static constexpr std::size_t buckets() { return kBuckets; }

    // A worker's room for placing one bucket after another.
    struct Scratch {
        std::vector<std::uint64_t> next;  // per slice of the bucket, highest first
        std::uint32_t high = 0;           // the bucket's highest slice
        std::unique_ptr<KeptPoint[]> sorted;  // the bucket's points in order
        std::size_t size = 0, room = 0;
        std::vector<std::uint32_t> order;
        std::vector<bool> done;
    };

    // Calls put(place, point) for the points of `bucket` whose places in the sorted order are
    // below `written`, in order of place, then sorts its thick slices in `out`. Returns the sum of
    // put's results. The bucket is ordered in `scratch` first, where the scattered writes stay
    // in cache, so that the host's buffers are written straight through.
    template <class Put>
    std::uint64_t place(std::size_t bucket, std::uint64_t written, const Put& put, const HostPointBuffers& out,
                        Scratch& scratch) const {
        if (!sortBucket(bucket, scratch)) return 0;
        const std::uint64_t begin = bucketStarts_[bucket];
        const std::uint64_t end = std::min<std::uint64_t>(begin + scratch.size, written);
        const KeptPoint* p = scratch.sorted.get();
        std::uint64_t sum = 0;
        for (std::uint64_t at = begin; at < end; ++at) sum += put(static_cast<std::int64_t>(at), *p++);
        sortThickSlices(bucket, out, written, scratch);
        return sum;
    }

private:
    static constexpr std::uint32_t kSliceBits = 20;
    static constexpr std::uint32_t kSlices = std::uint32_t{1} << kSliceBits;
    static constexpr std::uint32_t kBuckets = 1024;
    static constexpr std::size_t kBlock = 256;          // points: 4 KiB
    static constexpr std::size_t kLinePoints = 4;       // a cache line

    struct List {  // one bucket's points of one chunk: full blocks, the last one filling
        std::vector<KeptPoint*> blocks;
        KeptPoint* at = nullptr;
        KeptPoint* end = nullptr;
        std::uint64_t size() const {
            return blocks.empty() ? 0 : (blocks.size() - 1) * kBlock + static_cast<std::uint64_t>(at - blocks.back());
        }
    };
    struct alignas(64) Line {
        KeptPoint points[kLinePoints];
    };
    struct Staging {  // one chunk's lines being filled, one per bucket
        std::unique_ptr<Line[]> lines{new Line[kBuckets]};
        std::uint8_t filled[kBuckets] = {};
    };
    struct Slab {
        KeptPoint* points;
        std::size_t count;
    };
    struct Store {  // one chunk's blocks, cut from slabs of large pages
        std::uint64_t expected = 0;
        std::vector<Slab> slabs;
        KeptPoint* free = nullptr;
        KeptPoint* freeEnd = nullptr;
    };

    // Height to slice, and whole slices to a bucket in the same order.
    struct Slicing {
        std::uint32_t zBase = 0, shift = 0, bucketShift = 0, lowBucket = 0;
        std::uint32_t slice(std::uint32_t z) const {
            const std::uint64_t s = z >= zBase ? std::uint64_t(z - zBase) >> shift : 0;
            return static_cast<std::uint32_t>(std::min<std::uint64_t>(s, kSlices - 1));
        }
        std::uint32_t bucket(std::uint32_t slice) const {
            const std::uint32_t b = slice >> bucketShift;
            return b <= lowBucket ? 0 : std::min(b - lowBucket, kBuckets - 1);
        }
    };
    std::uint32_t slice(std::uint32_t z) const { return slicing_.slice(z); }

    void grow(std::size_t chunk, List& list);
    void flushLine(std::size_t chunk, std::uint32_t bucket);
    template <class Visit>
    void forEachKept(std::size_t bucket, const Visit& visit) const {
        for (std::size_t chunk = 0; chunk < stores_.size(); ++chunk) {
            const List& list = lists_[chunk * kBuckets + bucket];
            for (const KeptPoint* block : list.blocks) {
                const KeptPoint* end = block == list.blocks.back() ? list.at : block + kBlock;
                for (const KeptPoint* p = block; p < end; ++p) visit(*p);
            }
        }
    }
    bool sortBucket(std::size_t bucket, Scratch& scratch) const;
    void sortThickSlices(std::size_t bucket, const HostPointBuffers& out, std::uint64_t written, Scratch& scratch) const;

    Slicing slicing_;
    std::vector<Store> stores_;                  // per chunk
    std::vector<Staging> stagings_;              // per chunk
    std::vector<List> lists_;                    // per chunk and bucket
    std::vector<std::uint64_t> bucketStarts_;    // per bucket
    std::uint64_t total_ = 0;

public:
    class Keeper {
    public:
        void keep(const KeptPoint& p) {
            const std::uint32_t b = slicing_.bucket(slicing_.slice(p.z));
            const std::uint8_t n = filled_[b];
            lines_[b].points[n] = p;
            if (n + 1u < kLinePoints) {
                filled_[b] = static_cast<std::uint8_t>(n + 1);
                return;
            }
            filled_[b] = 0;
            order_.flushLine(chunk_, b);
        }

    private:
        friend class ElevationOrder;
        Keeper(ElevationOrder& order, std::size_t chunk)
            : order_(order),
              slicing_(order.slicing_),
              chunk_(chunk),
              lines_(order.stagings_[chunk].lines.get()),
              filled_(order.stagings_[chunk].filled) {}
        ElevationOrder& order_;
        const Slicing slicing_;  // a copy, kept in registers
        std::size_t chunk_;
        Line* lines_;
        std::uint8_t* filled_;
    };
};

}  // namespace ovcf
