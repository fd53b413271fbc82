// A cloud of chosen points for the cloth and colour filter tests: written into a full octree of depth 2 (each point
// in the leaf whose cube holds it), read back so that every global index has its record, its
// position in the view's local frame and its node's level, and selected through the engine with
// a top view and a shape that holds everything.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
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
    Vec3d local;  // world minus the local origin, as the engine computes it
    std::uint32_t level = 0;
};

class ChosenPointsTest : public ::testing::Test {
protected:
    static constexpr int kWidth = 320, kHeight = 240;

    // Writes the points and opens the cloud; `points[k]` becomes whatever global index its leaf
    // gives it, so tests work on `cloud` (by global index) afterwards.
    void makeCloud(const std::vector<PointRecord>& points) {
        KnownCloud known;
        known.params = knownParams(2, true);
        std::vector<NodeKey> keys{{0, 0, 0, 0}};
        for (std::size_t i = 0; i < keys.size(); ++i)
            if (keys[i].level < 2)
                for (std::uint32_t o = 0; o < 8; ++o) keys.push_back(childKey(keys[i], o));
        for (const NodeKey& key : keys) known.nodes.push_back({key, {}});
        for (const PointRecord& p : points) {
            const std::uint32_t shift = known.params.rootExponent - 2;
            const NodeKey leaf{2, (p.x - known.params.rootOrigin[0]) >> shift, (p.y - known.params.rootOrigin[1]) >> shift,
                               (p.z - known.params.rootOrigin[2]) >> shift};
            for (KnownNode& node : known.nodes)
                if (node.key == leaf) node.points.push_back(p);
        }
        path = dir.file("cloud.ovcf");
        writeCloud(path, known);
        std::string error;
        ASSERT_TRUE(reader.open(path, error)) << error;
        const FileHeader& h = reader.header();
        reference = cloudReferencePoint(h);
        nodes = describeNodes(h, reader.nodes(), reference);
        cloud.assign(h.pointCount, {});
        std::vector<PointRecord> read;
        for (std::uint32_t n = 0; n < reader.nodes().size(); ++n) {
            ASSERT_TRUE(reader.readNode(n, read, error)) << error;
            for (std::size_t j = 0; j < read.size(); ++j) {
                ReadPoint& r = cloud[reader.nodes()[n].firstPoint + j];
                r.record = read[j];
                r.local = {std::int32_t(read[j].x) * h.step[0] + h.offset[0] - reference.x,
                           std::int32_t(read[j].y) * h.step[1] + h.offset[1] - reference.y,
                           std::int32_t(read[j].z) * h.step[2] + h.offset[2] - reference.z};
                r.level = reader.nodes()[n].level;
            }
        }
        camera.setViewport(kWidth, kHeight);
        camera.renderOrigin = reference;
        camera.fitBox({h.boundsMin[0], h.boundsMin[1], h.boundsMin[2]}, {h.boundsMax[0], h.boundsMax[1], h.boundsMax[2]});
        camera.setStandardView(0);
        selection.reset(h.pointCount);
    }

    // The global indices the engine selects with `filter` over the whole cloud.
    std::set<std::uint64_t> select(SelectionFilter& filter, int readers, SelectionReport* report = nullptr) {
        engine.open(path, readers);
        SelectionQuery q;
        q.viewProjection = camera.viewProjection();
        q.localOrigin = camera.renderOrigin;
        q.viewportWidth = kWidth;
        q.viewportHeight = kHeight;
        q.filter = &filter;
        ScreenShape everything;
        everything.setRectangle(-1e6f, -1e6f, 1e6f, 1e6f);
        const SelectionReport r = engine.select(everything, CombineReplace, q, reader.header(), nodes, selection);
        if (report) *report = r;
        std::set<std::uint64_t> out;
        for (std::uint64_t g = 0; g < selection.pointCount(); ++g)
            if (selection.test(g)) out.insert(g);
        return out;
    }

    template <typename Rule>
    std::set<std::uint64_t> predicted(Rule rule) const {
        std::set<std::uint64_t> out;
        for (std::uint64_t g = 0; g < cloud.size(); ++g)
            if (rule(cloud[g])) out.insert(g);
        return out;
    }

    TempDir dir{"orvane_filters"};
    std::string path;
    OvcfReader reader;
    Vec3d reference;
    std::vector<NodeInfo> nodes;
    std::vector<ReadPoint> cloud;
    Camera camera;
    PointBitmap selection;
    SelectionEngine engine;
};

}  // namespace ovcf::test
