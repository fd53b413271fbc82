// A survey delivered as LAS or LAZ tiles (COPC included) as one point source. Opening reads each
// tile's header and reference system records with the file open only for that; reading then
// streams the tiles in order, one open at a time, each onto the survey's one grid (TileGrid).
//
// The survey's box is the union of the headers' boxes, not measured: the indexer compares it with
// the points it reads and, when a header was wrong, reads once more with the measured box
// (restartWithBounds). Tiles whose header has no usable box are measured at opening.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "import/PointSource.h"
#include "import/TileGrid.h"
#include "import/TileHeader.h"

namespace ovcf {

class LasSource;
class LazSource;

struct TileSetOptions {
    double step = 0.0;        // above 0: this step instead of the finest scale of the tiles
    unsigned threads = 0;     // decoding threads of a LAZ tile; 0: every core
    bool ignoreCrs = false;   // tiles with different reference systems build, with a warning
};

class TileSetSource final : public PointSource {
public:
    TileSetSource();
    ~TileSetSource() override;

    // False with the reason in `error`: a tile that cannot be read (named, as every message
    // names its tile), tiles whose reference systems differ (naming two of them), or a survey too
    // wide for the grid.
    bool open(const std::vector<std::string>& paths, const TileSetOptions& options, std::string& error);

    std::uint64_t pointCount() const override { return pointCount_; }
    std::array<double, 3> step() const override { return grid_.step; }
    std::array<double, 3> offset() const override { return grid_.offset; }
    bool hasColour() const override { return colourTiles_ > 0; }
    Bounds3 bounds() const override { return grid_.bounds; }
    bool read(PointRecord* points, std::size_t capacity, std::size_t& count, std::string& error) override;
    std::string description() const override;
    std::uint32_t fullPointFormat() const override { return 2; }
    std::string colourNote() const override;
    bool quantizedBounds(std::array<std::uint32_t, 3>& min, std::array<std::uint32_t, 3>& max) const override;
    bool restartWithBounds(const std::array<std::uint32_t, 3>& min, const std::array<std::uint32_t, 3>& max,
                           std::string& error) override;

    const std::vector<TileHeader>& tiles() const { return tiles_; }
    // Points read from each tile so far, in the tiles' order.
    const std::vector<std::uint64_t>& pointsPerTile() const { return pointsPerTile_; }

private:
    bool openTile(std::size_t index, std::string& error);
    void closeTile();
    std::string tileLabel(std::size_t index) const;
    bool checkReferenceSystems(std::string& error) const;

    std::vector<TileHeader> tiles_;
    TileSetOptions options_;
    TileGrid grid_;
    bool boundsOnTrust_ = true;
    std::uint64_t pointCount_ = 0;
    std::size_t colourTiles_ = 0;      // tiles whose point format has colour
    std::size_t zeroColourTiles_ = 0;  // of those, read so far with colour fields all zero
    std::vector<std::uint64_t> pointsPerTile_;
    std::size_t current_ = 0;  // the tile being read
    std::unique_ptr<LasSource> las_;
    std::unique_ptr<LazSource> laz_;
};

}  // namespace ovcf
