// A small cloud for the filter tests, written to a file: a root and its eight children holding
// dense clusters, scattered single points and exact repeats of other nodes' points; the camera
// looks down on it. The fixture knows every point by global index and which ones a shape holds,
// projected here as the engine projects them.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <set>
#include <vector>

#include "../streaming/StreamingTestSupport.h"
#include "TestSupport.h"
#include "cloud/CloudNodes.h"
#include "navigation/Camera.h"
#include "ovcf/OvcfReader.h"
#include "selection/SelectionEngine.h"
#include "selection/SelectionFilter.h"

namespace ovcf::test {

inline KnownCloud filterTestCloud() {
    KnownCloud cloud;
    cloud.params = knownParams(2, true);
    std::mt19937 random(97);
    std::vector<NodeKey> keys{{0, 0, 0, 0}};
    for (std::uint32_t o = 0; o < 8; ++o) keys.push_back(childKey(keys[0], o));
    std::vector<PointRecord> all;
    for (std::size_t n = 1; n < keys.size(); ++n) {
        const auto origin = nodeOrigin(cloud.params.rootOrigin, cloud.params.rootExponent, keys[n]);
        const std::uint32_t side = std::uint32_t(nodeCubeSide(cloud.params.rootExponent, keys[n].level));
        std::vector<PointRecord> points;
        const auto inCube = [&](std::uint32_t margin) {
            PointRecord p;
            p.x = origin[0] + margin + random() % (side - 2 * margin);
            p.y = origin[1] + margin + random() % (side - 2 * margin);
            p.z = origin[2] + margin + random() % (side - 2 * margin);
            return p;
        };
        // Clusters of 3 to 60 points within 0.3 m of a centre, then lone points.
        for (int c = 0; c < 10; ++c) {
            const PointRecord centre = inCube(1000);
            const int size = 3 + int(random() % 58);
            for (int i = 0; i < size; ++i) {
                PointRecord p = centre;
                p.x += random() % 601 - 300;
                p.y += random() % 601 - 300;
                p.z += random() % 601 - 300;
                points.push_back(p);
            }
        }
        for (int i = 0; i < 40; ++i) points.push_back(inCube(0));
        std::shuffle(points.begin(), points.end(), random);
        for (PointRecord& p : points) p.intensity = std::uint16_t(random());
        all.insert(all.end(), points.begin(), points.end());
        cloud.nodes.push_back({keys[n], points});
    }
    // The root repeats some of its children's points exactly.
    std::vector<PointRecord> root;
    for (std::size_t i = 0; i < all.size(); i += 7) root.push_back(all[i]);
    cloud.nodes.insert(cloud.nodes.begin(), {keys[0], root});
    return cloud;
}

class FilterCloudTest : public ::testing::Test {
protected:
    static constexpr int kWidth = 400, kHeight = 300;

    void SetUp() override {
        cloud = filterTestCloud();
        path = dir.file("filters.ovcf");
        writeCloud(path, cloud);
        std::string error;
        ASSERT_TRUE(reader.open(path, error)) << error;
        points.resize(reader.header().pointCount);
        std::vector<PointRecord> read;
        for (std::uint32_t n = 0; n < reader.nodes().size(); ++n) {
            ASSERT_TRUE(reader.readNode(n, read, error)) << error;
            std::copy(read.begin(), read.end(), points.begin() + std::ptrdiff_t(reader.nodes()[n].firstPoint));
        }
        reference = cloudReferencePoint(reader.header());
        nodes = describeNodes(reader.header(), reader.nodes(), reference);
        camera.setViewport(kWidth, kHeight);
        camera.renderOrigin = reference;
        camera.setStandardView(0);
        const FileHeader& h = reader.header();
        camera.fitBox({h.boundsMin[0], h.boundsMin[1], h.boundsMin[2]}, {h.boundsMax[0], h.boundsMax[1], h.boundsMax[2]});
        selection.reset(points.size());
    }

    SelectionQuery query(SelectionFilter* filter) const {
        SelectionQuery q;
        q.viewProjection = camera.viewProjection();
        q.localOrigin = reference;
        q.viewportWidth = kWidth;
        q.viewportHeight = kHeight;
        q.filter = filter;
        return q;
    }

    Vec3d local(const PointRecord& p) const {
        const FileHeader& h = reader.header();
        return {std::int32_t(p.x) * h.step[0] + h.offset[0] - reference.x, std::int32_t(p.y) * h.step[1] + h.offset[1] - reference.y,
                std::int32_t(p.z) * h.step[2] + h.offset[2] - reference.z};
    }

    // Whether the shape holds point g (in front of the camera and inside).
    bool inside(const ScreenShape& shape, std::uint64_t g) const {
        const std::array<float, 16> m = camera.viewProjection();
        const Vec3d d = local(points[g]);
        const double w = m[3] * d.x + m[7] * d.y + m[11] * d.z + m[15];
        if (w <= 1e-9) return false;
        const double x = ((m[0] * d.x + m[4] * d.y + m[8] * d.z + m[12]) / w + 1.0) * kWidth * 0.5;
        const double y = (1.0 - (m[1] * d.x + m[5] * d.y + m[9] * d.z + m[13]) / w) * kHeight * 0.5;
        return shape.contains(float(x), float(y));
    }

    SelectionReport run(const ScreenShape& shape, SelectionFilter& filter, int readers, const SelectionQuery* custom = nullptr) {
        engine.open(path, readers);
        const SelectionQuery q = custom ? *custom : query(&filter);
        return engine.select(shape, CombineReplace, q, reader.header(), nodes, selection);
    }

    std::set<std::uint64_t> selected() const {
        std::set<std::uint64_t> out;
        for (std::uint64_t g = 0; g < selection.pointCount(); ++g)
            if (selection.test(g)) out.insert(g);
        return out;
    }

    TempDir dir{"orvane_filters"};
    KnownCloud cloud;
    std::vector<PointRecord> points;  // by global index
    std::string path;
    OvcfReader reader;
    Vec3d reference;
    std::vector<NodeInfo> nodes;
    Camera camera;
    PointBitmap selection;
    SelectionEngine engine;
};

inline ScreenShape rectangleShape(float x0, float y0, float x1, float y1) {
    ScreenShape s;
    s.setRectangle(x0, y0, x1, y1);
    return s;
}

inline ScreenShape circleShape(float cx, float cy, float radius) {
    ScreenShape s;
    s.setCircle(cx, cy, cx + radius, cy);
    return s;
}

}  // namespace ovcf::test
