// An airborne survey's ground, made up 50 m cell by 50 m cell: rolling terrain, a building in a
// third of the cells, tree crowns, 3 % noise above and below. The large-cloud benchmarks build
// their clouds from it, whether as a host's arrays or as tiles on disk.
#pragma once

#include <cmath>
#include <cstdint>

namespace ovcf::bench {

constexpr double kSurveyCell = 50.0;  // metres
constexpr std::uint8_t kGroundClass = 2, kTreeClass = 5, kRoofClass = 6, kNoiseClass = 7;

// A splitmix generator, cheap enough that making a billion points stays a small part of a run.
struct FastRandom {
    std::uint64_t s;
    std::uint64_t next() {
        s += 0x9E3779B97F4A7C15ull;
        std::uint64_t z = s;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }
    double unit() { return static_cast<double>(next() >> 11) * 0x1.0p-53; }
};

inline double terrainHeight(double x, double y) {
    return 180.0 + 12.0 * std::sin(x / 310.0) * std::cos(y / 270.0) + 4.0 * std::sin((x + 2 * y) / 95.0);
}

inline std::uint32_t packedRgb(int r, int g, int b) {
    auto clamp = [](int v) { return static_cast<std::uint32_t>(v < 0 ? 0 : v > 255 ? 255 : v); };
    return (clamp(r) << 16) | (clamp(g) << 8) | clamp(b);
}

// `count` points of the cell whose south-west corner lies `x0`, `y0` metres from the site's
// origin, each handed to emit(x, y, z, packed colour, class), x and y from the site's origin.
template <class Emit>
void generateSurveyCell(double x0, double y0, std::uint64_t count, FastRandom& random, Emit&& emit) {
    const double h00 = terrainHeight(x0, y0), h10 = terrainHeight(x0 + kSurveyCell, y0);
    const double h01 = terrainHeight(x0, y0 + kSurveyCell), h11 = terrainHeight(x0 + kSurveyCell, y0 + kSurveyCell);
    auto ground = [&](double u, double v) { return (h00 * (1 - u) + h10 * u) * (1 - v) + (h01 * (1 - u) + h11 * u) * v; };
    const long cellX = std::lround(x0 / kSurveyCell), cellY = std::lround(y0 / kSurveyCell);
    const bool building = (cellX * 7 + cellY * 13) % 3 == 0;
    const double bw = 12 + 23 * random.unit(), bd = 12 + 23 * random.unit(), bh = 5 + 25 * random.unit();
    const double bu = (kSurveyCell - bw) / 2 / kSurveyCell, bv = (kSurveyCell - bd) / 2 / kSurveyCell;
    const double roofBase = ground(0.5, 0.5) + bh;
    double treeU = random.unit(), treeV = random.unit(), crown = 3.0;
    for (std::uint64_t i = 0; i < count; ++i) {
        double u = random.unit(), v = random.unit(), z;
        std::uint32_t colour;
        std::uint8_t pointClass;
        const double kind = random.unit(), r = random.unit();
        if (kind < 0.03) {  // birds, multipath
            z = ground(u, v) + (r < 0.5 ? -5.0 * r : 80.0 * r);
            colour = static_cast<std::uint32_t>(random.next()) & 0xFFFFFF;
            pointClass = kNoiseClass;
        } else if (kind < 0.20 && building) {
            u = bu + u * bw / kSurveyCell;
            v = bv + v * bd / kSurveyCell;
            z = roofBase + 0.04 * (r - 0.5);
            colour = packedRgb(150 + int(20 * r), 60, 50);
            pointClass = kRoofClass;
        } else if (kind < 0.37) {  // one tree after another
            if (r < 0.002) {
                treeU = random.unit();
                treeV = random.unit();
                crown = 2 + 4 * random.unit();
            }
            const double a = 6.283185307179586 * u, d = crown * std::sqrt(v) / kSurveyCell;
            u = std::fmin(std::fmax(treeU + d * std::cos(a), 0.0), 1.0);
            v = std::fmin(std::fmax(treeV + d * std::sin(a), 0.0), 1.0);
            z = ground(treeU, treeV) + crown * (1.2 + r);
            colour = packedRgb(40 + int(40 * r), 90 + int(60 * kind), 40);
            pointClass = kTreeClass;
        } else {  // bare earth and grass
            z = ground(u, v) + 0.04 * (r - 0.5);
            colour = packedRgb(120 + int(20 * r), 110 + int(30 * v), 70);
            pointClass = kGroundClass;
        }
        emit(x0 + u * kSurveyCell, y0 + v * kSurveyCell, z, colour, pointClass);
    }
}

}  // namespace ovcf::bench
