#include "selection/ElevationOrder.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <new>

#include "selection/PointReadBack.h"

namespace ovcf {
namespace {

struct Held {
    double xyz[3];
    std::uint32_t colour = 0;
    std::uint8_t flag = 0;
};

Held hold(const HostPointBuffers& out, std::uint64_t i) {
    Held h{{out.xyz[3 * i], out.xyz[3 * i + 1], out.xyz[3 * i + 2]}};
    if (out.colors) h.colour = out.colors[i];
    if (out.flags) h.flag = out.flags[i];
    return h;
}

void put(const HostPointBuffers& out, std::uint64_t i, const Held& h) {
    for (int a = 0; a < 3; ++a) out.xyz[3 * i + a] = h.xyz[a];
    if (out.colors) out.colors[i] = h.colour;
    if (out.flags) out.flags[i] = h.flag;
}

void move(const HostPointBuffers& out, std::uint64_t from, std::uint64_t to) {
    for (int a = 0; a < 3; ++a) out.xyz[3 * to + a] = out.xyz[3 * from + a];
    if (out.colors) out.colors[to] = out.colors[from];
    if (out.flags) out.flags[to] = out.flags[from];
}

// Sorts places [begin, end) by z, highest first, by following the cycles of their order.
void sortRange(const HostPointBuffers& out, std::uint64_t begin, std::uint64_t end, std::vector<std::uint32_t>& order,
               std::vector<bool>& done) {
    const std::size_t n = static_cast<std::size_t>(end - begin);
    const double* xyz = out.xyz + 3 * begin;
    order.resize(n);
    for (std::size_t i = 0; i < n; ++i) order[i] = static_cast<std::uint32_t>(i);
    std::sort(order.begin(), order.end(), [&](std::uint32_t a, std::uint32_t b) { return xyz[3 * a + 2] > xyz[3 * b + 2]; });
    done.assign(n, false);
    for (std::size_t i = 0; i < n; ++i) {
        if (done[i] || order[i] == i) continue;
        const Held held = hold(out, begin + i);
        std::size_t j = i;
        for (;;) {
            const std::size_t from = order[j];
            done[j] = true;
            if (from == i) {
                put(out, begin + j, held);
                break;
            }
            move(out, begin + from, begin + j);
            j = from;
        }
    }
}

void prefetchLines(const KeptPoint* points, std::size_t count) {
#if defined(__GNUC__)
    const char* from = reinterpret_cast<const char*>(points);
    for (std::size_t at = 0; at < count * sizeof(KeptPoint); at += 64) __builtin_prefetch(from + at);
#else
    (void)points;
    (void)count;
#endif
}

// A quantised coordinate, held within the 32 bits of one.
std::uint32_t quantum(double q) {
    return q <= 0 ? 0u : q >= 4294967295.0 ? 4294967295u : static_cast<std::uint32_t>(q);
}

}  // namespace

ElevationOrder::NodeScratch::NodeScratch() : counts_(kBuckets, 0) {}

ElevationOrder::ElevationOrder(const FileHeader& header, const std::vector<HierarchyRecord>& nodes, bool ignoreCubes,
                               unsigned workers)
    : rooms_(std::max(workers, 1u)) {
    slicing_.zBase = header.rootOrigin[2];
    slicing_.shift = header.rootExponent > kSliceBits ? header.rootExponent - kSliceBits : 0;
    // The buckets share the slices of the header's box; points outside it (a box that is wrong)
    // go to the end buckets, which costs time only.
    std::uint32_t low = 0, high = kSlices - 1;
    const double step = header.step[2], offset = header.offset[2];
    const double qLow = (header.boundsMin[2] - offset) / step, qHigh = (header.boundsMax[2] - offset) / step;
    if (step > 0 && std::isfinite(qLow) && std::isfinite(qHigh) && qLow <= qHigh) {
        low = slice(quantum(std::floor(qLow)));
        high = slice(quantum(std::ceil(qHigh)));
    }
    while ((high >> slicing_.bucketShift) - (low >> slicing_.bucketShift) >= kBuckets) ++slicing_.bucketShift;
    slicing_.lowBucket = low >> slicing_.bucketShift;
    bucketSegments_.resize(kBuckets);
    bucketStarts_.assign(kBuckets, 0);
    bucketSizes_.assign(kBuckets, 0);
    planTasks(header, nodes, ignoreCubes);
}

ElevationOrder::~ElevationOrder() = default;

void ElevationOrder::planTasks(const FileHeader& header, const std::vector<HierarchyRecord>& nodes, bool ignoreCubes) {
    const std::uint32_t count = static_cast<std::uint32_t>(nodes.size());
    nodes_ = std::make_unique<KeptNode[]>(count);
    for (std::uint32_t n = 0; n < count; ++n) {
        KeptNode& node = nodes_[n];
        node.high = kBuckets - 1;
        if (ignoreCubes) continue;
        // A cube that wraps past the top of the 32-bit range may hold any height.
        const std::uint64_t bottom = nodeOrigin(header, nodes[n].key())[2];
        const std::uint64_t top = bottom + nodeCubeSide(header.rootExponent, nodes[n].level) - 1;
        if (top > std::numeric_limits<std::uint32_t>::max()) continue;
        node.low = slicing_.bucket(slice(static_cast<std::uint32_t>(bottom)));
        node.high = slicing_.bucket(slice(static_cast<std::uint32_t>(top)));
    }
    // Highest cube top first, file order among equal tops; a stage is the nodes of one top, and
    // the buckets from that top down to the next stage's are placed after it.
    std::vector<std::uint32_t> reading(count);
    for (std::uint32_t n = 0; n < count; ++n) reading[n] = n;
    std::stable_sort(reading.begin(), reading.end(),
                     [&](std::uint32_t a, std::uint32_t b) { return nodes_[a].high > nodes_[b].high; });
    std::vector<std::uint32_t> unread;
    std::uint32_t nextBucket = kBuckets;  // the highest bucket not given to a stage yet
    for (std::size_t i = 0; i < reading.size();) {
        const std::uint32_t top = nodes_[reading[i]].high;
        const std::uint32_t stage = static_cast<std::uint32_t>(stageNodes_.size());
        stageNodes_.emplace_back();
        for (; i < reading.size() && nodes_[reading[i]].high == top; ++i) {
            tasks_.push_back({reading[i], stage, false});
            stageNodes_.back().push_back(reading[i]);
        }
        unread.push_back(static_cast<std::uint32_t>(stageNodes_.back().size()));
        const std::uint32_t low = i < reading.size() ? nodes_[reading[i]].high + 1 : 0;
        stageLow_.push_back(low);
        for (std::uint32_t b = nextBucket; b-- > low;) tasks_.push_back({b, stage, true});
        nextBucket = low;
    }
    unread_ = std::make_unique<std::atomic<std::uint32_t>[]>(unread.size());
    for (std::size_t s = 0; s < unread.size(); ++s) unread_[s].store(unread[s]);
}

// Where the node's points go, grouped by bucket and in file order within each (a counting sort
// over its own buckets), with `scratch`'s counts turned into the next place of each bucket; null
// when the node's points reach a bucket its cube does not.
KeptPoint* ElevationOrder::group(std::uint32_t index, NodeScratch& scratch, std::uint32_t low, std::uint32_t high) {
    KeptNode& node = nodes_[index];
    if (low < node.low || high > node.high) return nullptr;
    node.low = low;
    node.high = high;
    std::uint32_t* const next = scratch.counts_.data();
    node.starts.resize(high - low + 2);
    std::uint32_t at = 0, used = 0;
    for (std::uint32_t b = low; b <= high; ++b) {
        node.starts[b - low] = at;
        used += next[b] > 0;
        const std::uint32_t n = next[b];
        next[b] = at;
        at += n;
    }
    node.starts[high - low + 1] = at;
    node.points.reset(new KeptPoint[at]);  // left uninitialised, as it is all written
    node.unplaced.store(used, std::memory_order_relaxed);
    return node.points.get();
}

void ElevationOrder::endRead(std::uint32_t stage) {
    if (unread_[stage].fetch_sub(1) != 1) return;
    // Under the lock, so that a worker between testing the count and waiting cannot miss it.
    const std::lock_guard<std::mutex> lock(reading_);
    readEnded_.notify_all();
}

void ElevationOrder::abandon() {
    const std::lock_guard<std::mutex> lock(reading_);
    abandoned_ = true;
    readEnded_.notify_all();
}

bool ElevationOrder::awaitStage(std::uint32_t stage) {
    if (countedStages_.load() > stage) return true;
    {
        std::unique_lock<std::mutex> lock(reading_);
        readEnded_.wait(lock, [&] {
            if (abandoned_) return true;
            for (std::uint32_t s = countedStages_.load(); s <= stage; ++s)
                if (unread_[s].load() != 0) return false;
            return true;
        });
        if (abandoned_) return false;
    }
    const std::lock_guard<std::mutex> lock(counting_);
    for (std::uint32_t s = countedStages_.load(); s <= stage; ++s) {
        countStage(s);
        countedStages_.store(s + 1);
    }
    return true;
}

void ElevationOrder::countStage(std::uint32_t stage) {
    // The stage's nodes join those read before with buckets still to come, all in file order.
    std::vector<std::uint32_t> joined;
    joined.reserve(open_.size() + stageNodes_[stage].size());
    std::merge(open_.begin(), open_.end(), stageNodes_[stage].begin(), stageNodes_[stage].end(), std::back_inserter(joined));
    const std::uint32_t low = stageLow_[stage];
    const std::uint32_t high = stage == 0 ? kBuckets - 1 : stageLow_[stage - 1] - 1;
    open_.clear();
    for (const std::uint32_t n : joined) {
        const KeptNode& node = nodes_[n];
        if (!node.points) continue;  // nothing kept, or not read
        for (std::uint32_t b = std::max(node.low, low); b <= std::min(node.high, high); ++b) {
            const std::uint32_t first = node.starts[b - node.low], size = node.starts[b - node.low + 1] - first;
            if (size == 0) continue;
            bucketSegments_[b].push_back({node.points.get() + first, n, size});
            bucketSizes_[b] += size;
        }
        if (node.low < low) open_.push_back(n);
    }
    for (std::uint32_t b = high + 1; b-- > low;) {
        bucketStarts_[b] = placedTotal_;
        placedTotal_ += bucketSizes_[b];
    }
}

void ElevationOrder::release(std::uint32_t bucket) {
    for (const Segment& segment : bucketSegments_[bucket])
        if (nodes_[segment.node].unplaced.fetch_sub(1) == 1) nodes_[segment.node].points.reset();
    std::vector<Segment>().swap(bucketSegments_[bucket]);
}

bool ElevationOrder::sortBucket(std::uint32_t bucket, Scratch& scratch, std::uint64_t& begin) {
    begin = bucketStarts_[bucket];
    const std::uint64_t size = bucketSizes_[bucket];
    if (size == 0) return false;
    // The segments are short and apart: each one's lines are asked for while the one before is
    // gone through, as the processor's own prefetching does not look across them.
    const std::vector<Segment>& segments = bucketSegments_[bucket];
    const auto eachPoint = [&](const auto& visit) {
        for (std::size_t i = 0; i < segments.size(); ++i) {
            if (i + 1 < segments.size()) prefetchLines(segments[i + 1].points, segments[i + 1].count);
            for (const KeptPoint *p = segments[i].points, *end = p + segments[i].count; p < end; ++p) visit(*p);
        }
    };
    // The bucket's slices are counted here, from points the placing brings into the cache anyway:
    // counting them while reading scattered increments over every slice of the cloud. An inner
    // bucket spans its own slices; the end buckets, which also hold whatever lies outside the
    // box, span only those their points lie in.
    const auto firstSlice = [&](std::uint64_t b) {
        return static_cast<std::uint32_t>(std::min<std::uint64_t>((slicing_.lowBucket + b) << slicing_.bucketShift, kSlices - 1));
    };
    std::uint32_t low = 0, high = 0;
    if (bucket == 0 || bucket == kBuckets - 1) {
        low = kSlices - 1;
        eachPoint([&](const KeptPoint& p) {
            const std::uint32_t s = slice(p.z);
            low = std::min(low, s);
            high = std::max(high, s);
        });
    } else {
        low = firstSlice(bucket);
        high = firstSlice(bucket + 1) - 1;
    }
    scratch.next.assign(high - low + 1, 0);
    std::uint64_t* next = scratch.next.data();
    // Every point's slice lies in the range by construction; the clamp keeps memory safe anyway.
    const auto rank = [&](const KeptPoint& p) { return high - std::clamp(slice(p.z), low, high); };
    eachPoint([&](const KeptPoint& p) { ++next[rank(p)]; });
    std::uint64_t at = 0;
    for (std::uint64_t& n : scratch.next) {
        const std::uint64_t count = n;
        n = at;
        at += count;
    }
    if (at != size) return false;  // the segments disagree with the sizes counted with them: never
    scratch.size = static_cast<std::size_t>(size);
    if (scratch.room < scratch.size) {
        scratch.sorted.reset(new KeptPoint[scratch.size]);  // left uninitialised, as it is all written
        scratch.room = scratch.size;
    }
    KeptPoint* sorted = scratch.sorted.get();
    eachPoint([&](const KeptPoint& p) { sorted[next[rank(p)]++] = p; });
    return true;
}

void ElevationOrder::sortThickSlices(std::uint64_t begin, std::uint64_t capacity, const HostPointBuffers& out,
                                     Scratch& scratch) const {
    if (slicing_.shift == 0) return;  // a slice one quantum high is in order already
    const std::uint64_t bucketBegin = begin;
    for (const std::uint64_t next : scratch.next) {  // where each slice ends within the bucket, now it is sorted
        const std::uint64_t sliceEnd = bucketBegin + next;
        const std::uint64_t end = std::min(sliceEnd, capacity);
        if (end > begin + 1) sortRange(out, begin, end, scratch.order, scratch.done);
        begin = sliceEnd;
    }
}

}  // namespace ovcf
