#include "selection/ElevationOrder.h"

#include <algorithm>

#include "selection/PointReadBack.h"

namespace ovcf {
namespace {

// Points in thick slices add up to groups of about this many, so that the groups spread evenly
// over the workers.
constexpr std::uint64_t kGroupPoints = std::uint64_t{1} << 14;

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

}  // namespace

ElevationOrder::ElevationOrder(const FileHeader& header, unsigned workers, std::size_t chunks)
    : zBase_(header.rootOrigin[2]),
      shift_(header.rootExponent > kSliceBits ? header.rootExponent - kSliceBits : 0),
      counts_(workers, std::vector<std::uint32_t>(kSlices, 0)),
      spans_(workers),
      chunks_(chunks) {}

void ElevationOrder::endChunk(unsigned worker, std::size_t chunk) {
    Span& span = spans_[worker];
    ChunkSlices& c = chunks_[chunk];
    c.next.clear();
    if (span.low <= span.high) {
        std::uint32_t* counts = counts_[worker].data();
        c.low = span.low;
        c.next.assign(counts + span.low, counts + span.high + 1);
        std::fill(counts + span.low, counts + span.high + 1, 0u);
    }
    span = Span{};
}

std::uint64_t ElevationOrder::startPlacing() {
    std::uint32_t low = kSlices, high = 0;
    for (const ChunkSlices& c : chunks_)
        if (!c.next.empty()) {
            low = std::min(low, c.low);
            high = std::max<std::uint32_t>(high, c.low + static_cast<std::uint32_t>(c.next.size()) - 1);
        }
    const bool thick = shift_ > 0;
    if (thick) ends_.assign(kSlices, 0);
    std::uint64_t next = 0, groupPoints = 0;
    for (std::uint32_t s = kSlices; low <= high && s-- > low;) {
        if (s > high) continue;
        const std::uint64_t begin = next;
        for (ChunkSlices& c : chunks_) {
            if (s < c.low || s - c.low >= c.next.size()) continue;
            const std::uint64_t n = c.next[s - c.low];
            c.next[s - c.low] = next;
            next += n;
        }
        if (!thick) continue;
        ends_[s] = next;
        // A group starts at the highest slice, and again once the one before holds enough.
        if (groups_.empty() || groupPoints >= kGroupPoints) {
            groups_.push_back(s);
            groupPoints = 0;
        }
        groupPoints += next - begin;
    }
    return next;
}

void ElevationOrder::sortGroup(std::size_t group, const HostPointBuffers& out, std::uint64_t written) const {
    const std::uint32_t top = groups_[group];
    const std::uint32_t bottom = group + 1 < groups_.size() ? groups_[group + 1] + 1 : 0;
    std::vector<std::uint32_t> order;
    std::vector<bool> done;
    for (std::uint32_t s = top + 1; s-- > bottom;) {
        const std::uint64_t begin = s + 1 < kSlices ? ends_[s + 1] : 0;
        const std::uint64_t end = std::min(ends_[s], written);
        if (end > begin + 1) sortRange(out, begin, end, order, done);
    }
}

}  // namespace ovcf
