#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "StreamingTestSupport.h"
#include "cloud/CloudNodes.h"
#include "cloud/NodeDecoding.h"

namespace ovcf {
namespace {

// A 1024 m cube of 1 m steps at the world origin holding a flat cloud, 10 m thick.
FileHeader flatHeader() {
    FileHeader header;
    for (int a = 0; a < 3; ++a) header.step[a] = 1.0;
    header.rootExponent = 10;
    header.boundsMax[0] = 1000.0;
    header.boundsMax[1] = 600.0;
    header.boundsMax[2] = 10.0;
    return header;
}

HierarchyRecord record(std::uint32_t level, std::uint32_t x, std::uint32_t y, std::uint32_t z, std::uint32_t points) {
    HierarchyRecord r;
    r.level = std::uint8_t(level);
    r.keyX = x;
    r.keyY = y;
    r.keyZ = z;
    r.pointCount = points;
    return r;
}

TEST(CloudNodes, NodeBoxesAreTheCubesCutToTheCloudAroundTheBoxCentre) {
    const FileHeader header = flatHeader();
    const Vec3d reference = cloudReferencePoint(header);
    EXPECT_EQ(reference, (Vec3d{500, 300, 5}));
    std::vector<HierarchyRecord> records{record(0, 0, 0, 0, 10000), record(1, 1, 0, 0, 400), record(1, 0, 1, 1, 0)};
    records[0].children[1] = 1;
    records[0].children[6] = 2;
    const std::vector<NodeInfo> nodes = describeNodes(header, records, reference);
    ASSERT_EQ(nodes.size(), 3u);

    // The root: the cloud's box with one step of slack where the cube leaves room for it.
    EXPECT_EQ(nodes[0].boxMin, (Vec3d{-500, -300, -5}));
    EXPECT_EQ(nodes[0].boxMax, (Vec3d{501, 301, 6}));
    EXPECT_EQ(nodes[0].centre, (Vec3d{0.5, 0.5, 0.5}));
    EXPECT_DOUBLE_EQ(nodes[0].radius, std::sqrt(1001.0 * 1001 + 601.0 * 601 + 11.0 * 11) / 2);
    EXPECT_EQ(nodes[0].origin[0], -500.0f);
    EXPECT_EQ(nodes[0].origin[2], -5.0f);
    // Spread over its two largest extents: sqrt(1001 × 601 / 10000).
    EXPECT_FLOAT_EQ(nodes[0].spacing, static_cast<float>(std::sqrt(1001.0 * 601.0 / 10000.0)));
    EXPECT_EQ(nodes[0].children[0], 1u);
    EXPECT_EQ(nodes[0].children[1], 2u);
    EXPECT_EQ(nodes[0].children[2], kNoChild);

    // Octant 1: x from 512 to the cloud's end.
    EXPECT_EQ(nodes[1].boxMin, (Vec3d{12, -300, -5}));
    EXPECT_EQ(nodes[1].boxMax, (Vec3d{501, 212, 6}));
    EXPECT_EQ(nodes[1].origin[0], 12.0f);
    EXPECT_FLOAT_EQ(nodes[1].spacing, static_cast<float>(std::sqrt(489.0 * 512.0 / 400.0)));
    EXPECT_EQ(nodes[1].parent, 0u);
    EXPECT_EQ(nodes[1].level, 1u);

    // Octant 6 lies above the cloud: its cube is kept as it is rather than made empty.
    EXPECT_EQ(nodes[2].boxMin.z, 512.0 - 5.0);
    EXPECT_EQ(nodes[2].boxMax.z, 1024.0 - 5.0);
    EXPECT_EQ(nodes[2].boxMin.y, 512.0 - 300.0);
    EXPECT_EQ(nodes[2].boxMax.y, 301.0);
    EXPECT_FLOAT_EQ(nodes[2].spacing, 512.0f);  // empty: the cube's side
}

TEST(CloudNodes, AnUnusableBoundingBoxFallsBackToTheRootCube) {
    FileHeader header = flatHeader();
    header.boundsMin[0] = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(cloudReferencePoint(header), (Vec3d{512, 512, 512}));
    header = flatHeader();
    header.boundsMin[2] = 20.0;  // min above max
    EXPECT_EQ(cloudReferencePoint(header), (Vec3d{512, 512, 512}));
    const std::vector<NodeInfo> nodes = describeNodes(header, {record(0, 0, 0, 0, 1)}, {512, 512, 512});
    EXPECT_EQ(nodes[0].boxMin, (Vec3d{-512, -512, -512}));
    EXPECT_EQ(nodes[0].boxMax, (Vec3d{512, 512, 512}));
}

TEST(CloudNodes, ChildLinksThatWouldLoopOrLeaveTheTableAreDropped) {
    const FileHeader header = flatHeader();
    std::vector<HierarchyRecord> records{record(0, 0, 0, 0, 1), record(1, 0, 0, 0, 1), record(1, 1, 0, 0, 1),
                                         record(2, 0, 0, 0, 1)};
    records[0].children[0] = 1;
    records[0].children[1] = 2;
    records[0].children[2] = 0;    // itself
    records[0].children[3] = 99;   // beyond the table
    records[1].children[0] = 3;
    records[2].children[0] = 3;    // a second parent
    records[3].children[0] = 1;    // backwards: would loop
    const std::vector<NodeInfo> nodes = describeNodes(header, records, cloudReferencePoint(header));
    EXPECT_EQ(nodes[0].children[0], 1u);
    EXPECT_EQ(nodes[0].children[1], 2u);
    EXPECT_EQ(nodes[0].children[2], kNoChild);
    EXPECT_EQ(nodes[1].children[0], 3u);
    EXPECT_EQ(nodes[2].children[0], kNoChild);
    EXPECT_EQ(nodes[3].children[0], kNoChild);
    EXPECT_EQ(nodes[0].parent, kNoChild);
    EXPECT_EQ(nodes[3].parent, 1u);
}

TEST(NodeDecoding, FilesWithoutColourGiveGreyAndEveryVertexKeepsItsIndex) {
    const test::KnownCloud cloud = test::fullTree(0, 50, 0, false);
    FileHeader header;
    header.step[0] = header.step[1] = header.step[2] = 0.001;
    for (int a = 0; a < 3; ++a) {
        header.offset[a] = cloud.params.offset[a];
        header.rootOrigin[a] = cloud.params.rootOrigin[a];
    }
    header.rootExponent = 16;
    header.pointFormat = 0;
    HierarchyRecord root = record(0, 0, 0, 0, 50);
    root.firstPoint = 4294967290ull;  // the vertex keeps the low 32 bits
    std::vector<PointVertex> vertices;
    decodeNodeVertices(header, root, {512000, 4012000, 260}, cloud.nodes[0].points, vertices);
    ASSERT_EQ(vertices.size(), 50u);
    for (std::size_t i = 0; i < vertices.size(); ++i) {
        EXPECT_EQ(vertices[i].r, 200);
        EXPECT_EQ(vertices[i].g, 200);
        EXPECT_EQ(vertices[i].b, 200);
        EXPECT_EQ(vertices[i].a, 255);
        EXPECT_EQ(vertices[i].intensity, 0);
        EXPECT_EQ(vertices[i].classification, 0);
        EXPECT_EQ(vertices[i].index, std::uint32_t(4294967290ull + i));
    }
    decodeNodeVertices(header, root, {0, 0, 0}, {}, vertices);
    EXPECT_TRUE(vertices.empty());
}

}  // namespace
}  // namespace ovcf
