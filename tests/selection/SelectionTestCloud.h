// Cloud files opened as the selection sees them: every point by global index, a camera fitted to
// the cloud and the engine to select with. Points are projected here as the engine projects them,
// so that tests hold the engine against an answer of their own. Two clouds: one for the spacing
// and isolated filters (clusters, lone points and repeats over a root and its eight children), and
// one of chosen points for the cloth and colour filters (each point in the leaf of a depth-2 tree
// whose cube holds it).
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
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

inline std::int64_t floorDiv(std::int64_t a, std::int64_t b) { return a >= 0 ? a / b : -((-a + b - 1) / b); }

class SelectionCloudTest : public ::testing::Test {
protected:
    static constexpr int kWidth = 400, kHeight = 300;

    // Writes `known` and opens it, seen from standard view `view`, with nothing selected.
    void openCloud(const KnownCloud& known, int view) {
        path = dir.file("cloud.ovcf");
        writeCloud(path, known);
        std::string error;
        ASSERT_TRUE(reader.open(path, error)) << error;
        const FileHeader& h = reader.header();
        points.resize(h.pointCount);
        std::vector<PointRecord> read;
        for (std::uint32_t n = 0; n < reader.nodes().size(); ++n) {
            ASSERT_TRUE(reader.readNode(n, read, error)) << error;
            std::copy(read.begin(), read.end(), points.begin() + std::ptrdiff_t(reader.nodes()[n].firstPoint));
        }
        reference = cloudReferencePoint(h);
        nodes = describeNodes(h, reader.nodes(), reference);
        camera.setViewport(kWidth, kHeight);
        camera.renderOrigin = reference;
        camera.setStandardView(view);
        camera.fitBox({h.boundsMin[0], h.boundsMin[1], h.boundsMin[2]}, {h.boundsMax[0], h.boundsMax[1], h.boundsMax[2]});
        selection.reset(h.pointCount);
    }

    SelectionQuery query(SelectionFilter* filter = nullptr) const {
        SelectionQuery q;
        q.viewProjection = camera.viewProjection();
        q.localOrigin = reference;
        q.viewportWidth = kWidth;
        q.viewportHeight = kHeight;
        q.filter = filter;
        return q;
    }

    // World minus the local origin, as the engine computes it.
    Vec3d local(const PointRecord& p) const {
        const FileHeader& h = reader.header();
        return {std::int32_t(p.x) * h.step[0] + h.offset[0] - reference.x, std::int32_t(p.y) * h.step[1] + h.offset[1] - reference.y,
                std::int32_t(p.z) * h.step[2] + h.offset[2] - reference.z};
    }

    // Whether the point lies in front of the camera and the shape holds its projection.
    bool inside(const ScreenShape& shape, std::uint64_t g, std::uint64_t* behind = nullptr) const {
        const std::array<float, 16> m = camera.viewProjection();
        const Vec3d d = local(points[g]);
        const double w = m[3] * d.x + m[7] * d.y + m[11] * d.z + m[15];
        if (w <= 1e-9) {
            if (behind) ++*behind;
            return false;
        }
        const double x = ((m[0] * d.x + m[4] * d.y + m[8] * d.z + m[12]) / w + 1.0) * kWidth * 0.5;
        const double y = (1.0 - (m[1] * d.x + m[5] * d.y + m[9] * d.z + m[13]) / w) * kHeight * 0.5;
        return shape.contains(float(x), float(y));
    }

    std::vector<bool> insideAll(const ScreenShape& shape) const {
        std::vector<bool> in(points.size());
        for (std::uint64_t g = 0; g < points.size(); ++g) in[g] = inside(shape, g);
        return in;
    }

    std::set<std::uint64_t> selected() const {
        std::set<std::uint64_t> out;
        for (std::uint64_t g = 0; g < selection.pointCount(); ++g)
            if (selection.test(g)) out.insert(g);
        return out;
    }

    TempDir dir{"orvane_selection"};
    std::string path;
    OvcfReader reader;
    std::vector<PointRecord> points;  // by global index
    Vec3d reference;
    std::vector<NodeInfo> nodes;
    Camera camera;
    PointBitmap selection;
    SelectionEngine engine;
};

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

// The filter cloud seen from above.
class FilterCloudTest : public SelectionCloudTest {
protected:
    void SetUp() override { openCloud(cloud, 0); }

    SelectionReport run(const ScreenShape& shape, SelectionFilter& filter, int readers, const SelectionQuery* custom = nullptr) {
        engine.open(path, readers);
        return engine.select(shape, CombineReplace, custom ? *custom : query(&filter), reader.header(), nodes, selection);
    }

    KnownCloud cloud = filterTestCloud();
};

// A point at (x, y, z) metres from the corner of the test cube (65.536 m on a side, 1 mm steps).
inline PointRecord pointAt(double x, double y, double z) {
    const OvcfWriterParams params = knownParams(2, true);
    PointRecord p;
    p.x = params.rootOrigin[0] + static_cast<std::uint32_t>(std::lround(x / params.step[0]));
    p.y = params.rootOrigin[1] + static_cast<std::uint32_t>(std::lround(y / params.step[1]));
    p.z = params.rootOrigin[2] + static_cast<std::uint32_t>(std::lround(z / params.step[2]));
    return p;
}

struct ReadPoint {
    PointRecord record;
    Vec3d local;
    std::uint32_t level = 0;
};

class ChosenPointsTest : public SelectionCloudTest {
protected:
    // Writes the points and opens the cloud; `points[k]` becomes whatever global index its leaf
    // gives it, so tests work on `cloud` (by global index) afterwards.
    void makeCloud(const std::vector<PointRecord>& chosen) {
        KnownCloud known;
        known.params = knownParams(2, true);
        std::vector<NodeKey> keys{{0, 0, 0, 0}};
        for (std::size_t i = 0; i < keys.size(); ++i)
            if (keys[i].level < 2)
                for (std::uint32_t o = 0; o < 8; ++o) keys.push_back(childKey(keys[i], o));
        for (const NodeKey& key : keys) known.nodes.push_back({key, {}});
        for (const PointRecord& p : chosen) {
            const std::uint32_t shift = known.params.rootExponent - 2;
            const NodeKey leaf{2, (p.x - known.params.rootOrigin[0]) >> shift, (p.y - known.params.rootOrigin[1]) >> shift,
                               (p.z - known.params.rootOrigin[2]) >> shift};
            for (KnownNode& node : known.nodes)
                if (node.key == leaf) node.points.push_back(p);
        }
        openCloud(known, 0);
        cloud.clear();
        for (const HierarchyRecord& node : reader.nodes())
            for (std::uint64_t g = node.firstPoint; g < node.firstPoint + node.pointCount; ++g)
                cloud.push_back({points[g], local(points[g]), node.level});
    }

    // The global indices the engine selects with `filter` over the whole cloud.
    std::set<std::uint64_t> select(SelectionFilter& filter, int readers, SelectionReport* report = nullptr) {
        engine.open(path, readers);
        const SelectionReport r =
            engine.select(rectangleShape(-1e6f, -1e6f, 1e6f, 1e6f), CombineReplace, query(&filter), reader.header(), nodes, selection);
        if (report) *report = r;
        return selected();
    }

    template <typename Rule>
    std::set<std::uint64_t> predicted(Rule rule) const {
        std::set<std::uint64_t> out;
        for (std::uint64_t g = 0; g < cloud.size(); ++g)
            if (rule(cloud[g])) out.insert(g);
        return out;
    }

    std::vector<ReadPoint> cloud;  // by global index
};

}  // namespace ovcf::test
