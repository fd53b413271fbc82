#include "import/TileSetSource.h"

#include "core/Log.h"
#include "core/NumberFormat.h"
#include "import/LasPointConversion.h"
#include "import/LasSource.h"
#include "import/LazSource.h"

namespace ovcf {

TileSetSource::TileSetSource() = default;
TileSetSource::~TileSetSource() = default;

std::string TileSetSource::tileLabel(std::size_t index) const {
    return "tile " + std::to_string(index + 1) + " of " + std::to_string(tiles_.size());
}

bool TileSetSource::open(const std::vector<std::string>& paths, const TileSetOptions& options, std::string& error) {
    closeTile();
    options_ = options;
    tiles_.assign(paths.size(), TileHeader{});
    pointsPerTile_.assign(paths.size(), 0);
    current_ = 0;
    pointCount_ = 0;
    colourTiles_ = zeroColourTiles_ = 0;
    boundsOnTrust_ = true;
    if (paths.empty()) {
        error = "no input file";
        return false;
    }
    std::vector<Bounds3> boxes(paths.size());
    for (std::size_t i = 0; i < paths.size(); ++i) {
        TileHeader& tile = tiles_[i];
        if (!readTileHeader(paths[i], tile, error)) {
            error += " (" + tileLabel(i) + ")";
            return false;
        }
        pointCount_ += tile.header.pointCount;
        colourTiles_ += lasColourOffset(tile.header.pointFormat) >= 0 ? 1 : 0;
        for (int axis = 0; axis < 3; ++axis) {
            boxes[i].min[axis] = tile.header.min[axis];
            boxes[i].max[axis] = tile.header.max[axis];
        }
        if (lasHeaderBoundsUsable(tile.header)) continue;
        // No box in the header: this tile alone is measured first, as a single file would be.
        std::unique_ptr<PointSource> measured;
        if (tile.header.compressed) {
            auto laz = std::make_unique<LazSource>();
            laz->setThreads(options.threads);
            if (!laz->open(paths[i], 0.0, error)) return error += " (" + tileLabel(i) + ")", false;
            measured = std::move(laz);
        } else {
            auto las = std::make_unique<LasSource>();
            if (!las->open(paths[i], 0.0, error)) return error += " (" + tileLabel(i) + ")", false;
            measured = std::move(las);
        }
        boxes[i] = measured->bounds();
    }
    if (!checkReferenceSystems(error)) return false;
    return chooseTileGrid(tiles_, boxes, options.step, grid_, error);
}

bool TileSetSource::checkReferenceSystems(std::string& error) const {
    for (std::size_t i = 1; i < tiles_.size(); ++i) {
        if (tiles_[i].crs == tiles_[0].crs) continue;
        const std::string& a = tiles_[0].path;
        const std::string& b = tiles_[i].path;
        if (!options_.ignoreCrs) {
            error = "'" + a + "' and '" + b + "' have different coordinate reference systems (" + describeCrs(tiles_[0].crs) +
                    ", " + describeCrs(tiles_[i].crs) + "): use --ignore-crs to build them together anyway";
            return false;
        }
        if (logLevelThreshold() <= LogWarn)
            logLine(LogWarn, "sistemi di riferimento diversi tra '%s' e '%s': costruito comunque (--ignore-crs)", a.c_str(),
                    b.c_str());
        return true;
    }
    return true;
}

bool TileSetSource::quantizedBounds(std::array<std::uint32_t, 3>& min, std::array<std::uint32_t, 3>& max) const {
    if (!grid_.quantizedKnown) return false;
    min = grid_.quantizedMin;
    max = grid_.quantizedMax;
    return true;
}

// Reads the tiles again from the first, with the box the first reading measured.
bool TileSetSource::restartWithBounds(const std::array<std::uint32_t, 3>& min, const std::array<std::uint32_t, 3>& max,
                                      std::string&) {
    if (!boundsOnTrust_) return false;
    closeTile();
    current_ = 0;
    pointsPerTile_.assign(tiles_.size(), 0);
    zeroColourTiles_ = 0;
    grid_.quantizedMin = min;
    grid_.quantizedMax = max;
    boundsOnTrust_ = false;
    return true;
}

bool TileSetSource::openTile(std::size_t index, std::string& error) {
    const TileHeader& tile = tiles_[index];
    PointSource* source = nullptr;
    bool opened = false;
    if (tile.header.compressed) {
        laz_ = std::make_unique<LazSource>();
        laz_->setThreads(options_.threads);
        laz_->setGrid(grid_.step, grid_.offset);
        opened = laz_->open(tile.path, 0.0, error);
        source = laz_.get();
    } else {
        las_ = std::make_unique<LasSource>();
        las_->setGrid(grid_.step, grid_.offset);
        opened = las_->open(tile.path, 0.0, error);
        source = las_.get();
    }
    if (opened && source->pointCount() != tile.header.pointCount) {
        error = "'" + tile.path + "': the file changed while the survey was being built";
        opened = false;
    }
    if (!opened) {
        error += " (" + tileLabel(index) + ")";
        closeTile();
        return false;
    }
    if (lasColourOffset(tile.header.pointFormat) >= 0 && !source->hasColour()) ++zeroColourTiles_;
    return true;
}

void TileSetSource::closeTile() {
    las_.reset();
    laz_.reset();
}

bool TileSetSource::read(PointRecord* points, std::size_t capacity, std::size_t& count, std::string& error) {
    count = 0;
    if (!points || capacity == 0) return true;
    while (count < capacity && current_ < tiles_.size()) {
        if (!las_ && !laz_ && !openTile(current_, error)) return false;
        PointSource& source = las_ ? static_cast<PointSource&>(*las_) : *laz_;
        std::size_t got = 0;
        if (!source.read(points + count, capacity - count, got, error)) {
            const std::uint64_t at = las_ ? las_->failureOffset() : laz_->failureOffset();
            error += " (" + tileLabel(current_) + ", at byte " + std::to_string(at) + ")";
            closeTile();
            return false;
        }
        if (got == 0) {
            closeTile();
            ++current_;
            continue;
        }
        count += got;
        pointsPerTile_[current_] += got;
    }
    return true;
}

std::string TileSetSource::description() const {
    std::string text = "rilievo di " + formatCount(tiles_.size()) + " file LAS/LAZ, " + formatCount(pointCount_) + " punti, " +
                       formatCount(colourTiles_) + " con colore";
    if (!tiles_.empty()) text += ": " + tiles_.front().path + (tiles_.size() > 1 ? " .. " + tiles_.back().path : "");
    return text;
}

std::string TileSetSource::colourNote() const {
    const std::size_t without = tiles_.size() - colourTiles_ + zeroColourTiles_;
    if (without == 0 || without == tiles_.size()) return {};
    return formatCount(without) + " file su " + formatCount(tiles_.size()) +
           " senza colore (o con RGB tutto a zero): i loro punti sono grigi (200, 200, 200)";
}

}  // namespace ovcf
