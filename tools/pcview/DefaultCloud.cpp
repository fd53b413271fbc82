#include "DefaultCloud.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <random>
#include <vector>

#include "OrvanePC.h"

namespace {

struct Scene {
    std::vector<double> xyz;
    std::vector<uint32_t> rgb;

    void add(double x, double y, double z, int r, int g, int b) {
        xyz.insert(xyz.end(), {x, y, z});
        auto clampByte = [](int v) { return static_cast<uint32_t>(v < 0 ? 0 : v > 255 ? 255 : v); };
        rgb.push_back(clampByte(r) << 16 | clampByte(g) << 8 | clampByte(b));
    }
};

double terrain(double x, double y) {
    return 3.0 * std::sin(x * 0.021) * std::cos(y * 0.017) + 0.02 * x + 1.5 * std::sin((x + y) * 0.05);
}

// A gently rolling field around a few houses and trees, in metres, far from the origin as
// survey coordinates are.
Scene generate() {
    std::mt19937 random(20261121);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    std::normal_distribution<double> noise(0.0, 0.01);
    Scene scene;
    const double x0 = 652000.0;
    const double y0 = 5123000.0;
    const double z0 = 210.0;
    for (int i = 0; i < 400000; ++i) {
        const double x = unit(random) * 200.0;
        const double y = unit(random) * 200.0;
        const double shade = 0.8 + 0.2 * std::sin(x * 0.3) * std::cos(y * 0.2);
        scene.add(x0 + x, y0 + y, z0 + terrain(x, y) + noise(random), static_cast<int>(95 * shade),
                  static_cast<int>(125 * shade), static_cast<int>(60 * shade));
    }
    for (int house = 0; house < 6; ++house) {
        const double cx = 30.0 + house * 27.0;
        const double cy = 60.0 + (house % 2) * 70.0;
        const double ground = terrain(cx, cy);
        for (int i = 0; i < 25000; ++i) {
            const double u = unit(random) * 12.0 - 6.0;
            const double v = unit(random) * 9.0 - 4.5;
            const double roof = 6.0 + 2.5 * (1.0 - std::fabs(v) / 4.5);  // a gabled roof
            scene.add(x0 + cx + u, y0 + cy + v, z0 + ground + roof + noise(random), 170, 70, 55);
            const double h = unit(random) * 6.0;
            const bool longWall = unit(random) < 0.6;
            const double wx = longWall ? u : (unit(random) < 0.5 ? -6.0 : 6.0);
            const double wy = longWall ? (unit(random) < 0.5 ? -4.5 : 4.5) : v;
            scene.add(x0 + cx + wx, y0 + cy + wy, z0 + ground + h, 205, 195, 175);
        }
    }
    for (int tree = 0; tree < 40; ++tree) {
        const double cx = unit(random) * 200.0;
        const double cy = unit(random) * 200.0;
        const double ground = terrain(cx, cy);
        const double radius = 2.0 + unit(random) * 2.5;
        for (int i = 0; i < 4000; ++i) {
            const double a = unit(random) * 6.2831853;
            const double e = std::acos(2.0 * unit(random) - 1.0);
            const double r = radius * std::cbrt(unit(random));
            scene.add(x0 + cx + r * std::sin(e) * std::cos(a), y0 + cy + r * std::sin(e) * std::sin(a),
                      z0 + ground + 4.0 + radius + r * std::cos(e), 40 + static_cast<int>(40 * unit(random)),
                      100 + static_cast<int>(60 * unit(random)), 35);
        }
    }
    return scene;
}

int reportProgress(double fraction, void*) {
    std::printf("\rpcview: building the default cloud %3.0f%%", fraction * 100.0);
    std::fflush(stdout);
    return 1;
}

}  // namespace

bool buildDefaultCloud(const std::string& cachePath, std::string& error) {
    if (std::FILE* existing = std::fopen(cachePath.c_str(), "rb")) {
        std::fclose(existing);
        return true;
    }
    const Scene scene = generate();
    const int64_t count = static_cast<int64_t>(scene.rgb.size());
    const int status = PC_BuildCacheFromMemory(cachePath.c_str(), scene.xyz.data(), scene.rgb.data(), count, 0.001,
                                               &reportProgress, nullptr);
    std::printf("\n");
    if (status != PC_OK) {
        char text[512];
        PC_LastError(text, sizeof text);
        error = text;
        return false;
    }
    return true;
}
