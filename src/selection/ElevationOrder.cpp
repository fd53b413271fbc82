#include "selection/ElevationOrder.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "platform/LargeBlock.h"

#include "selection/PointReadBack.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#define OVCF_STREAM_LINES 1
#endif

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

// A quantised coordinate, held within the 32 bits of one.
std::uint32_t quantum(double q) {
    return q <= 0 ? 0u : q >= 4294967295.0 ? 4294967295u : static_cast<std::uint32_t>(q);
}

}  // namespace

ElevationOrder::ElevationOrder(const FileHeader& header, const std::vector<std::uint64_t>& chunkPoints)
    : stores_(chunkPoints.size()),
      stagings_(chunkPoints.size()),
      lists_(chunkPoints.size() * kBuckets) {
    for (std::size_t chunk = 0; chunk < stores_.size(); ++chunk) stores_[chunk].expected = chunkPoints[chunk];
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
}

ElevationOrder::~ElevationOrder() {
    for (const Store& store : stores_)
        for (const Slab& slab : store.slabs) freeLargeBlock(slab.points, slab.count * sizeof(KeptPoint));
}

void ElevationOrder::grow(std::size_t chunk, List& list) {
    Store& store = stores_[chunk];
    if (store.free == store.freeEnd) {
        // The first slab holds the chunk's points as expected and a block begun in every
        // bucket; a chunk that brings more gets more.
        const std::uint64_t blocks = (store.slabs.empty() ? (store.expected + kBlock - 1) / kBlock : 0) + kBuckets;
        const std::size_t count = static_cast<std::size_t>(blocks * kBlock);
        void* memory = allocateLargeBlock(count * sizeof(KeptPoint));
        if (!memory) throw std::bad_alloc();
        store.slabs.push_back({static_cast<KeptPoint*>(memory), count});
        store.free = store.slabs.back().points;
        store.freeEnd = store.free + count;
    }
    list.blocks.push_back(store.free);
    list.at = store.free;
    list.end = store.free + kBlock;
    store.free += kBlock;
}

void ElevationOrder::flushLine(std::size_t chunk, std::uint32_t b) {
    List& list = lists_[chunk * kBuckets + b];
    if (list.at == list.end) grow(chunk, list);
    const Line& line = stagings_[chunk].lines[b];
#if OVCF_STREAM_LINES
    // Blocks are read again only once every node is read: no reason to fetch their lines first.
    const __m128i* from = reinterpret_cast<const __m128i*>(line.points);
    __m128i* to = reinterpret_cast<__m128i*>(list.at);
    for (std::size_t i = 0; i < sizeof(Line) / sizeof(__m128i); ++i) _mm_stream_si128(to + i, _mm_load_si128(from + i));
#else
    std::copy(line.points, line.points + kLinePoints, list.at);
#endif
    list.at += kLinePoints;
}

void ElevationOrder::endChunk(std::size_t chunk) {
    Staging& staging = stagings_[chunk];
    for (std::uint32_t b = 0; b < kBuckets; ++b) {
        List& list = lists_[chunk * kBuckets + b];
        for (std::uint8_t i = 0; i < staging.filled[b]; ++i) {
            if (list.at == list.end) grow(chunk, list);
            *list.at++ = staging.lines[b].points[i];
        }
        staging.filled[b] = 0;
    }
#if OVCF_STREAM_LINES
    _mm_sfence();  // the streamed lines are seen by whichever thread places the buckets
#endif
}

std::uint64_t ElevationOrder::startPlacing() {
    bucketStarts_.assign(kBuckets, 0);
    std::uint64_t next = 0;
    for (std::uint32_t b = kBuckets; b-- > 0;) {
        bucketStarts_[b] = next;
        for (std::size_t chunk = 0; chunk < stores_.size(); ++chunk) next += lists_[chunk * kBuckets + b].size();
    }
    total_ = next;
    return next;
}

bool ElevationOrder::sortBucket(std::size_t bucket, Scratch& scratch) const {
    const std::uint64_t begin = bucketStarts_[bucket];
    const std::uint64_t size = (bucket > 0 ? bucketStarts_[bucket - 1] : total_) - begin;
    if (size == 0) return false;
    std::uint32_t low = kSlices, high = 0;
    if (bucket == 0 || bucket == kBuckets - 1) {
        // The end buckets also hold whatever lies outside the box.
        forEachKept(bucket, [&](const KeptPoint& p) {
            const std::uint32_t s = slice(p.z);
            low = std::min(low, s);
            high = std::max(high, s);
        });
    } else {
        const std::uint64_t first = std::uint64_t(slicing_.lowBucket + bucket) << slicing_.bucketShift;
        low = static_cast<std::uint32_t>(std::min<std::uint64_t>(first, kSlices - 1));
        high = static_cast<std::uint32_t>(std::min<std::uint64_t>(first + (std::uint64_t{1} << slicing_.bucketShift) - 1, kSlices - 1));
    }
    scratch.high = high;
    scratch.next.assign(high - low + 1, 0);
    std::uint64_t* next = scratch.next.data();
    forEachKept(bucket, [&](const KeptPoint& p) { ++next[high - slice(p.z)]; });
    std::uint64_t at = 0;
    for (std::uint64_t& n : scratch.next) {
        const std::uint64_t count = n;
        n = at;
        at += count;
    }
    scratch.size = static_cast<std::size_t>(size);
    if (scratch.room < scratch.size) {
        scratch.sorted.reset(new KeptPoint[scratch.size]);  // left uninitialised, as it is all written
        scratch.room = scratch.size;
    }
    KeptPoint* sorted = scratch.sorted.get();
    forEachKept(bucket, [&](const KeptPoint& p) { sorted[next[high - slice(p.z)]++] = p; });
    return true;
}

void ElevationOrder::sortThickSlices(std::size_t bucket, const HostPointBuffers& out, std::uint64_t written,
                                     Scratch& scratch) const {
    if (slicing_.shift == 0) return;  // a slice one quantum high is in order already
    std::uint64_t begin = bucketStarts_[bucket];
    for (const std::uint64_t next : scratch.next) {  // where each slice ends within the bucket, now it is sorted
        const std::uint64_t sliceEnd = bucketStarts_[bucket] + next;
        const std::uint64_t end = std::min(sliceEnd, written);
        if (end > begin + 1) sortRange(out, begin, end, scratch.order, scratch.done);
        begin = sliceEnd;
    }
}

}  // namespace ovcf
