// A survey-like cloud for the filter benchmarks, generated on the fly as a point source (no copy
// of the cloud is held): a 160 m square site at 1 mm, scanned in 10 m tiles in serpentine order
// at about 800 points per square metre, with rolling terrain, buildings (roofs and walls),
// trees and 1 % scattered outliers in the air above everything and below the ground.
//
// Classes tell the parts apart in the file: 2 ground, 5 vegetation, 6 building, 7 outlier, so a
// benchmark can measure what a filter found. Outliers keep at least 1.5 m from every surface:
// they are the points a surveyor calls noise, not points of a sparse object.
//
// buildSurveyCloud() writes the .ovcf through the importer, as the host's cache is built.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "import/ImportOptions.h"
#include "import/ImportStats.h"
#include "import/OctreeIndexer.h"
#include "import/PointSource.h"

namespace ovcf::bench {

constexpr std::uint8_t kClassGround = 2, kClassVegetation = 5, kClassBuilding = 6, kClassOutlier = 7;

class SurveyCloud final : public PointSource {
public:
    static constexpr int kTiles = 16;          // per side
    static constexpr double kTile = 10.0;      // metres
    static constexpr double kStep = 0.001;     // metres per unit
    static constexpr double kOriginX = 681000.0, kOriginY = 5021000.0, kOriginZ = 100.0;
    static constexpr double kOutlierShare = 0.01;

    explicit SurveyCloud(std::uint64_t count) : count_(count) {}

    std::uint64_t pointCount() const override { return count_; }
    std::array<double, 3> step() const override { return {kStep, kStep, kStep}; }
    std::array<double, 3> offset() const override { return {kOriginX, kOriginY, kOriginZ}; }
    bool hasColour() const override { return true; }
    std::uint32_t fullPointFormat() const override { return 2; }
    Bounds3 bounds() const override {
        Bounds3 b;
        b.min = {kOriginX, kOriginY, 160.0};
        b.max = {kOriginX + kTiles * kTile, kOriginY + kTiles * kTile, 260.0};
        return b;
    }
    std::string description() const override { return "survey-like generated cloud"; }

    bool read(PointRecord* points, std::size_t capacity, std::size_t& count, std::string&) override {
        count = 0;
        while (count < capacity && handed_ < count_) {
            if (cursor_ == tile_.size()) nextTile();
            const std::size_t n = std::min<std::size_t>({capacity - count, tile_.size() - cursor_, std::size_t(count_ - handed_)});
            std::copy_n(tile_.begin() + static_cast<std::ptrdiff_t>(cursor_), n, points + count);
            cursor_ += n;
            count += n;
            handed_ += n;
        }
        return true;
    }

    // Ground height of the site at (x, y), metres from the site's corner.
    static double terrain(double x, double y) {
        return 180.0 + 3.0 * std::sin(x / 37.0) * std::cos(y / 29.0) + 1.2 * std::sin((x + 2.0 * y) / 11.0) +
               0.3 * std::sin(x / 2.3) * std::sin(y / 3.1);
    }

private:
    struct Building {
        double x0, y0, x1, y1, base, height;
    };
    struct Tree {
        double x, y, crown, centreZ;
    };

    static std::uint32_t quantise(double v, double origin) { return static_cast<std::uint32_t>(std::llround((v - origin) / kStep)); }

    void add(double x, double y, double z, int r, int g, int b, std::uint8_t cls, double reflectance) {
        PointRecord p;
        p.x = quantise(kOriginX + x, kOriginX);
        p.y = quantise(kOriginY + y, kOriginY);
        p.z = quantise(z, kOriginZ);
        p.red = static_cast<std::uint8_t>(std::clamp(r, 0, 255));
        p.green = static_cast<std::uint8_t>(std::clamp(g, 0, 255));
        p.blue = static_cast<std::uint8_t>(std::clamp(b, 0, 255));
        p.intensity = static_cast<std::uint16_t>(std::clamp(reflectance, 0.0, 1.0) * 65535.0);
        p.classification = cls;
        tile_.push_back(p);
    }

    // Height of the highest surface at (x, y) within `margin` around it, for placing outliers
    // clear of everything.
    double topSurface(double x, double y, double margin, const std::vector<Building>& buildings,
                      const std::vector<Tree>& trees) const {
        double top = terrain(x, y) + 0.5;
        for (const Building& b : buildings)
            if (x >= b.x0 - margin && x <= b.x1 + margin && y >= b.y0 - margin && y <= b.y1 + margin)
                top = std::max(top, b.base + b.height);
        for (const Tree& t : trees)
            if (std::hypot(x - t.x, y - t.y) <= t.crown + margin) top = std::max(top, t.centreZ + t.crown);
        return top;
    }

    void nextTile() {
        tile_.clear();
        cursor_ = 0;
        const int row = tileIndex_ / kTiles, column = tileIndex_ % kTiles;
        const int tx = row % 2 == 0 ? column : kTiles - 1 - column;  // serpentine, as a scanner moves
        ++tileIndex_;
        const std::uint64_t tiles = std::uint64_t(kTiles) * kTiles;
        std::uint64_t n = count_ / tiles;
        if (std::uint64_t(tileIndex_) == tiles) n = count_ - handed_;  // the last tile takes the rest
        std::mt19937_64 random(0x5EED0000u + std::uint64_t(tileIndex_));
        std::uniform_real_distribution<double> unit(0.0, 1.0);
        std::normal_distribution<double> jitter(0.0, 0.01);
        const double x0 = tx * kTile, y0 = row * kTile;

        // A building in a third of the tiles, 4-8 m on a side, 3-25 m high; one to three trees
        // with crowns of 1.5-4 m in the others' open ground.
        std::vector<Building> buildings;
        std::vector<Tree> trees;
        if ((tx * 7 + row * 13) % 3 == 0) {
            const double w = 4.0 + 4.0 * unit(random), d = 4.0 + 4.0 * unit(random);
            const double bx = x0 + (kTile - w) / 2, by = y0 + (kTile - d) / 2;
            buildings.push_back({bx, by, bx + w, by + d, terrain(bx, by), 3.0 + 22.0 * unit(random)});
        } else {
            const int count = 1 + static_cast<int>(3 * unit(random));
            for (int t = 0; t < count; ++t) {
                const double crown = 1.5 + 2.5 * unit(random);
                const double x = x0 + crown + (kTile - 2 * crown) * unit(random), y = y0 + crown + (kTile - 2 * crown) * unit(random);
                trees.push_back({x, y, crown, terrain(x, y) + 2.0 + 2.0 * crown});
            }
        }
        const auto inBuilding = [&](double x, double y) {
            for (const Building& b : buildings)
                if (x >= b.x0 && x <= b.x1 && y >= b.y0 && y <= b.y1) return true;
            return false;
        };

        tile_.reserve(n);
        const std::uint64_t outliers = static_cast<std::uint64_t>(std::llround(double(n) * kOutlierShare));
        for (std::uint64_t i = 0; i < outliers; ++i) {
            // In the air 1.5 to 40 m above the highest surface nearby (two in three), or 1.5 to
            // 8 m under the ground (multipath).
            const double x = x0 + kTile * unit(random), y = y0 + kTile * unit(random);
            const double z = unit(random) < 0.67 ? topSurface(x, y, 1.5, buildings, trees) + 1.5 + 38.5 * unit(random)
                                                 : terrain(x, y) - 1.5 - 6.5 * unit(random);
            add(x, y, z, int(255 * unit(random)), int(255 * unit(random)), int(255 * unit(random)), kClassOutlier, unit(random));
        }
        while (tile_.size() < n) {
            const double kind = unit(random);
            if (kind < 0.22 && !buildings.empty()) {  // roofs and walls
                const Building& b = buildings.front();
                double x = b.x0 + (b.x1 - b.x0) * unit(random), y = b.y0 + (b.y1 - b.y0) * unit(random);
                double z = b.base + b.height + jitter(random);
                if (unit(random) < 0.4) {  // a wall
                    if (unit(random) < 0.5) x = unit(random) < 0.5 ? b.x0 : b.x1;
                    else y = unit(random) < 0.5 ? b.y0 : b.y1;
                    z = b.base + b.height * unit(random);
                    const int shade = int(30 * unit(random));
                    add(x, y, z, 200 + shade, 195 + shade, 180 + shade, kClassBuilding, 0.6);
                } else {
                    const int shade = int(25 * unit(random));
                    add(x, y, z, 150 + shade, 60 + shade, 50 + shade, kClassBuilding, 0.35);
                }
            } else if (kind < 0.30 && !trees.empty()) {  // crowns: points on and inside a sphere
                const Tree& t = trees[static_cast<std::size_t>(unit(random) * trees.size()) % trees.size()];
                const double u = 2 * unit(random) - 1, a = 2 * 3.14159265358979 * unit(random);
                const double r = t.crown * std::cbrt(0.3 + 0.7 * unit(random)), s = std::sqrt(1 - u * u);
                add(t.x + r * s * std::cos(a), t.y + r * s * std::sin(a), t.centreZ + r * u, 40 + int(40 * unit(random)),
                    90 + int(70 * unit(random)), 35, kClassVegetation, 0.5 + 0.3 * unit(random));
            } else {  // bare earth and grass, none under a building
                const double x = x0 + kTile * unit(random), y = y0 + kTile * unit(random);
                if (inBuilding(x, y)) continue;
                const double z = terrain(x, y) + jitter(random);
                const int g = int((z - 176.0) * 8);
                add(x, y, z, 110 + g / 2, 100 + g, 65, kClassGround, 0.2 + 0.2 * unit(random));
            }
        }
    }

    std::uint64_t count_;
    std::uint64_t handed_ = 0;
    int tileIndex_ = 0;
    std::vector<PointRecord> tile_;
    std::size_t cursor_ = 0;
};

// Writes the cloud of `count` points to `path` through the octree indexer.
inline bool buildSurveyCloud(std::uint64_t count, const std::string& path, const std::string& scratch, ImportStats& stats,
                             std::string& error) {
    SurveyCloud cloud(count);
    ImportOptions options;
    options.pointFormat = 2;
    options.sourceDescription = "survey-like generated cloud";
    options.temporaryParent = scratch;
    return buildOctree(cloud, path, options, stats, error);
}

}  // namespace ovcf::bench
