// The host's buffers sorted by elevation, highest first. The order is that of a counting sort on
// 2^20 slices of the root cube's height: slices highest first, the points of a slice in file
// order; a slice thicker than a quantum is then sorted within itself.
//
// The slices are grouped into about a thousand buckets of whole slices over the height of the
// header's box. A node's points lie in its cube, so the buckets it can reach are known before it
// is read: the nodes are read from the highest cube top down, and a bucket is placed as soon as
// every node that reaches it has been read, while reading goes on with the nodes below. Each
// node read keeps its points grouped by bucket, in file order, in an array of its own that is
// freed once its last bucket is placed; a bucket then gathers its nodes' groups in file order,
// counts its slices, orders them by slice in a worker's scratch and writes them straight through
// to its own range of the host's buffers. Held meanwhile: the nodes read whose lowest bucket is
// not placed yet (tens of MB for a cloud of millions of points rather than 16 bytes for every
// point).
//
// A point outside its node's cube (a damaged file) makes keep() refuse the node; the caller then
// starts again with the cubes ignored, every node read before any bucket is placed.
#pragma once

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
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
    static constexpr std::uint32_t kSliceBits = 20;
    static constexpr std::uint32_t kSlices = std::uint32_t{1} << kSliceBits;
    static constexpr std::uint32_t kBuckets = 1024;

public:
    // `ignoreCubes`: every node may reach every bucket. `workers`: the reading workers.
    ElevationOrder(const FileHeader& header, const std::vector<HierarchyRecord>& nodes, bool ignoreCubes,
                   unsigned workers);
    ~ElevationOrder();
    ElevationOrder(const ElevationOrder&) = delete;
    ElevationOrder& operator=(const ElevationOrder&) = delete;

    // The work in the order to hand it out: a node to read, or a bucket to place once every
    // read of its stage and the earlier stages has ended.
    struct Task {
        std::uint32_t item;  // node or bucket
        std::uint32_t stage;
        bool place;
    };
    const std::vector<Task>& tasks() const { return tasks_; }

    // A reading worker's room for one node: which of its decoded points are handed on, in file
    // order, with the bucket of each, and the count of each bucket (zero between nodes).
    class NodeScratch {
    public:
        NodeScratch();
        // Room for `count` points.
        void reserve(std::size_t count) {
            if (picked_.size() < count) {
                picked_.resize(count);
                buckets_.resize(count);
            }
        }
        std::uint32_t* picked() { return picked_.data(); }
        std::uint16_t* buckets() { return buckets_.data(); }
        std::uint32_t* counts() { return counts_.data(); }

    private:
        friend class ElevationOrder;
        std::vector<std::uint32_t> picked_;
        std::vector<std::uint16_t> buckets_;
        std::vector<std::uint32_t> counts_;
    };
    NodeScratch& room(unsigned worker) { return rooms_[worker]; }

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
    // A copy for the reading loop to hold in registers.
    Slicing slicing() const { return slicing_; }

    // Keeps the first `count` points picked in `scratch`, with their buckets and counts filled
    // in; `low` and `high` are their lowest and highest bucket, and convert(picked index) gives
    // the point to keep. False when one lies outside the node's cube.
    template <class Convert>
    bool keep(std::uint32_t node, NodeScratch& scratch, std::size_t count, std::uint32_t low, std::uint32_t high,
              const Convert& convert) {
        if (count == 0) return true;
        std::uint32_t* next = scratch.counts_.data();
        const std::uint32_t* picked = scratch.picked_.data();
        KeptPoint* points = group(node, scratch, low, high);
        if (points) {
            const std::uint16_t* buckets = scratch.buckets_.data();
            for (std::size_t i = 0; i < count; ++i) {
                KeptPoint* to = points + next[buckets[i]]++;
                prefetchForWrite(to + 8);
                *to = convert(picked[i]);
            }
        }
        std::fill(next + low, next + high + 1, 0u);
        return points != nullptr;
    }
    // Every read task ends with this, whether it kept its node or not.
    void endRead(std::uint32_t stage);
    // A read failed: the reads not begun yet may never be, so no placing worker waits for them
    // any more, and what is placed from then on is dropped.
    void abandon();
    // Before placing a bucket of `stage`: waits until every read of that stage and the earlier
    // ones has ended (tasks are handed out in order, so those reads are all under way). False,
    // without counting anything, once the read is abandoned.
    bool awaitStage(std::uint32_t stage);

    // A worker's room for placing one bucket after another.
    struct Scratch {
        std::vector<std::uint64_t> next;  // per slice of the bucket, highest first
        std::unique_ptr<KeptPoint[]> sorted;  // the bucket's points in order
        std::size_t size = 0, room = 0;
        std::vector<std::uint32_t> order;
        std::vector<bool> done;
    };

    // Calls put(first place, points, count) once for the points of `bucket` whose places in the
    // sorted order are below `capacity`, in order of place, then sorts its thick slices in `out`.
    // Returns what put returns. The bucket is ordered in `scratch` first, where the scattered
    // writes stay in cache, so that the host's buffers are written straight through.
    template <class Put>
    std::uint64_t place(std::uint32_t bucket, std::uint64_t capacity, const Put& put, const HostPointBuffers& out,
                        Scratch& scratch) {
        std::uint64_t begin = 0;
        const bool any = sortBucket(bucket, scratch, begin);
        release(bucket);
        if (!any) return 0;
        const std::uint64_t end = std::min<std::uint64_t>(begin + scratch.size, capacity);
        const std::uint64_t sum =
            begin < end ? put(static_cast<std::int64_t>(begin), scratch.sorted.get(), static_cast<std::size_t>(end - begin)) : 0;
        sortThickSlices(begin, capacity, out, scratch);
        return sum;
    }

    // The points kept in all, once every task has run.
    std::uint64_t total() const { return placedTotal_; }

private:
    std::uint32_t slice(std::uint32_t z) const { return slicing_.slice(z); }

    // A node's points grouped by bucket: those of bucket low + i are at [starts[i], starts[i + 1]).
    struct KeptNode {
        std::unique_ptr<KeptPoint[]> points;
        std::vector<std::uint32_t> starts;
        std::uint32_t low = 0, high = 0;      // the buckets it reaches: its cube's, then its points'
        std::atomic<std::uint32_t> unplaced{0};  // its buckets with points not placed yet
    };
    static void prefetchForWrite(const KeptPoint* at) {
#if defined(__GNUC__)
        __builtin_prefetch(at, 1);
#else
        (void)at;
#endif
    }
    KeptPoint* group(std::uint32_t node, NodeScratch& scratch, std::uint32_t low, std::uint32_t high);
    void planTasks(const FileHeader& header, const std::vector<HierarchyRecord>& nodes, bool ignoreCubes);
    void countStage(std::uint32_t stage);
    bool sortBucket(std::uint32_t bucket, Scratch& scratch, std::uint64_t& begin);
    void release(std::uint32_t bucket);
    void sortThickSlices(std::uint64_t begin, std::uint64_t capacity, const HostPointBuffers& out, Scratch& scratch) const;

    Slicing slicing_;
    std::vector<NodeScratch> rooms_;
    std::vector<Task> tasks_;
    std::unique_ptr<KeptNode[]> nodes_;
    // Per stage: the reads not ended yet, its nodes in file order and its lowest bucket.
    std::unique_ptr<std::atomic<std::uint32_t>[]> unread_;
    std::mutex reading_;                  // with readEnded_: a stage's last read ended, or abandon()
    std::condition_variable readEnded_;
    bool abandoned_ = false;              // under reading_
    std::vector<std::vector<std::uint32_t>> stageNodes_;
    std::vector<std::uint32_t> stageLow_;

    // Filled stage by stage under the lock, by the first placing worker that needs it: for each
    // bucket its nodes' points in file order and where it begins in the sorted order.
    std::mutex counting_;
    std::atomic<std::uint32_t> countedStages_{0};
    std::vector<std::uint32_t> open_;  // nodes read with buckets not counted yet, in file order
    // One node's points of one bucket.
    struct Segment {
        const KeptPoint* points;
        std::uint32_t node, count;
    };
    std::vector<std::vector<Segment>> bucketSegments_;
    std::vector<std::uint64_t> bucketStarts_, bucketSizes_;
    std::uint64_t placedTotal_ = 0;
};

}  // namespace ovcf
