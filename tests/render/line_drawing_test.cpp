#include "RenderTestSupport.h"

namespace ovcf::test {
namespace {

LineVertex vertex(double x, double y, double z, float r, float g, float b) {
    LineVertex v;
    v.position[0] = static_cast<float>(x);
    v.position[1] = static_cast<float>(y);
    v.position[2] = static_cast<float>(z);
    v.color[0] = r;
    v.color[1] = g;
    v.color[2] = b;
    return v;
}

class LineDrawingTest : public RenderTest {};

TEST_F(LineDrawingTest, OverlayLinesAreDrawnInWindowPixelsWithTheirBrightness) {
    // A horizontal line along the centre of row 20 and a vertical one along column 50.
    const std::vector<LineVertex> band = {vertex(10, 20.5, 0, 0.5f, 1.0f, 0.25f), vertex(40, 20.5, 0, 0.5f, 1.0f, 0.25f),
                                          vertex(50.5, 5, 0, 0.2f, 0.2f, 0.2f), vertex(50.5, 40, 0, 0.2f, 0.2f, 0.2f)};
    const LineDrawing drawing{LineBufferSlot::RubberBand, LinePrimitive::Lines, band, 1.5f};
    FrameScene frame = scene();
    frame.overlayLines = std::span<const LineDrawing>(&drawing, 1);
    const Picture picture = draw(frame);
    EXPECT_TRUE(colorNear(picture.at(25, 20), toBytes(0.75, 1.0, 0.375)));  // capped at 1 per channel
    EXPECT_EQ(picture.at(25, 19), background());
    EXPECT_EQ(picture.at(25, 21), background());
    EXPECT_TRUE(colorNear(picture.at(50, 30), toBytes(0.3, 0.3, 0.3)));
    EXPECT_EQ(picture.at(45, 20), background());
}

TEST_F(LineDrawingTest, ABufferDrawsNoMoreThanItHolds) {
    // Ten vertices into the eight-vertex rubber band: the fifth segment is cut off.
    std::vector<LineVertex> many;
    for (int i = 0; i < 5; ++i) {
        many.push_back(vertex(4, 4.5 + 8 * i, 0, 1, 1, 1));
        many.push_back(vertex(60, 4.5 + 8 * i, 0, 1, 1, 1));
    }
    const LineDrawing drawing{LineBufferSlot::RubberBand, LinePrimitive::Lines, many, 1.0f};
    FrameScene frame = scene();
    frame.overlayLines = std::span<const LineDrawing>(&drawing, 1);
    const Picture picture = draw(frame);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(picture.at(30, 4 + 8 * i), (Rgb{255, 255, 255})) << i;
    EXPECT_EQ(picture.at(30, 36), background());

    // The polygon's buffer holds 256 vertices: all five segments.
    const LineDrawing polygon{LineBufferSlot::Polygon, LinePrimitive::Lines, many, 1.0f};
    frame.overlayLines = std::span<const LineDrawing>(&polygon, 1);
    EXPECT_EQ(draw(frame).at(30, 36), (Rgb{255, 255, 255}));
}

TEST_F(LineDrawingTest, InSceneLinesAreDepthTestedButLeaveTheDepthAlone) {
    // A patch of points 20..30 × 20..30 at depth 8, a line behind it along row 25 at depth 12
    // and one in front of it just above it, along row 19 at depth 6.
    const Rgb patch{90, 90, 200};
    std::vector<PointVertex> points;
    for (int y = 20; y <= 30; ++y)
        for (int x = 20; x <= 30; ++x) points.push_back(pointAt(x, y, 8.0, patch, 0));
    addNode(points);
    auto lineAlongRow = [this](double row, double depth) {
        const Vec3d from = camera.toRenderSpace(camera.unproject(5.0, row + 0.5, depth));
        const Vec3d to = camera.toRenderSpace(camera.unproject(60.0, row + 0.5, depth));
        return std::vector<LineVertex>{vertex(from.x, from.y, from.z, 1, 1, 0), vertex(to.x, to.y, to.z, 1, 1, 0)};
    };
    const std::vector<LineVertex> behind = lineAlongRow(25, 12.0);
    const std::vector<LineVertex> above = lineAlongRow(19, 6.0);
    const LineDrawing drawings[] = {{LineBufferSlot::ClipBox, LinePrimitive::LineStrip, behind, 1.0f},
                                    {LineBufferSlot::PlaneMarkers, LinePrimitive::Lines, above, 1.0f}};
    FrameScene frame = scene();
    frame.sceneLines = drawings;
    settings.edlEnabled = true;
    const Picture picture = draw(frame);
    const Rgb yellow{255, 255, 0};
    EXPECT_EQ(picture.at(10, 25), yellow);
    EXPECT_EQ(picture.at(50, 25), yellow);
    EXPECT_EQ(picture.at(25, 25), patch);
    EXPECT_EQ(picture.at(25, 19), yellow);
    // Had the nearer line written its depth, eye-dome lighting would darken the patch's top row.
    EXPECT_EQ(picture.at(25, 20), patch);
    EXPECT_EQ(picture.at(21, 20), patch);
}

}  // namespace
}  // namespace ovcf::test
