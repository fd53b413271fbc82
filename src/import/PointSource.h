// Where the octree indexer gets its points: a source hands out quantised point records in
// batches and tells how they were quantised. The host's in-memory cloud (MemoryCloud) is one;
// the command-line tool adds one per file format (LasSource, PlySource, XyzSource).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "ovcf/PointRecord.h"

namespace ovcf {

// Minimum x, y, z then maximum x, y, z, world units.
struct Bounds3 {
    std::array<double, 3> min{};
    std::array<double, 3> max{};
};

class PointSource {
public:
    virtual ~PointSource() = default;

    // Points the source will hand out in all (a file's header may be trusted for this).
    virtual std::uint64_t pointCount() const = 0;
    // Metres per quantised unit along x, y, z.
    virtual std::array<double, 3> step() const = 0;
    // World coordinate of quantised value 0 along x, y, z.
    virtual std::array<double, 3> offset() const = 0;
    virtual bool hasColour() const = 0;
    virtual Bounds3 bounds() const = 0;
    // Hands out up to `capacity` points after the ones already read; `count` 0 means the end.
    // False, with the reason in `error`, when the source cannot be read (a damaged file).
    virtual bool read(PointRecord* points, std::size_t capacity, std::size_t& count, std::string& error) = 0;
    // One line for the log.
    virtual std::string description() const = 0;

    // The file point format that keeps everything the source has: 2 (XYZ+RGB+intensity+class)
    // for sources with intensity and classification, else 1 with colour and 0 without.
    virtual std::uint32_t fullPointFormat() const { return hasColour() ? 1u : 0u; }
    // What the import summary should say about the source's colour (empty: nothing special).
    virtual std::string colourNote() const { return {}; }
    // The smallest and largest quantised x, y, z among all the points, when the source knows them
    // before it is read: the indexer can then fix the octree's root cube first and split the root
    // while reading. A file's header may not be trusted for this, unless the source can start
    // again (restartWithBounds) when the reading shows the header wrong.
    virtual bool quantizedBounds(std::array<std::uint32_t, 3>& min, std::array<std::uint32_t, 3>& max) const {
        (void)min;
        (void)max;
        return false;
    }
    // For bounds taken from a header that the points read do not match: goes back to the first
    // point, with `min` and `max` (what the reading measured) as its bounds from then on. False
    // when the source's bounds were certain or it cannot read again.
    virtual bool restartWithBounds(const std::array<std::uint32_t, 3>& min, const std::array<std::uint32_t, 3>& max,
                                   std::string& error) {
        (void)min;
        (void)max;
        (void)error;
        return false;
    }
};

}  // namespace ovcf
