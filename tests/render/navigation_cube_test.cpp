#include "RenderTestSupport.h"
#include "navigation/NavigationCube.h"
#include "view/NavigationCubeRenderer.h"
#include "view/StrokeFont.h"

namespace ovcf::test {
namespace {

const CubeColors kColors;

Rgb faceColor(const float base[3], double facing) {
    const double shade = cubeFaceShade(facing);
    return toBytes(base[0] * shade, base[1] * shade, base[2] * shade);
}

// A pixel inside a face, well away from its edges and its label.
std::pair<int, int> insideFace(const CubeFaceQuad& face) {
    const double x = face.centre.x - 0.6 * face.textRight.x - 0.6 * face.textUp.x;
    const double y = face.centre.y - 0.6 * face.textRight.y - 0.6 * face.textUp.y;
    return {static_cast<int>(std::floor(x)), static_cast<int>(std::floor(y))};
}

class NavigationCubeDrawingTest : public RenderTest {
protected:
    static constexpr int kViewWidth = 300;
    static constexpr int kViewHeight = 240;

    void SetUp() override {
        open(kViewWidth, kViewHeight);
        if (HasFatalFailure()) return;
        settings.cubeVisible = true;
        settings.cubeSize = 98;  // a third of the height wins: 80 pixels
        cube.setViewport(kViewWidth, kViewHeight);
    }

    Picture drawWithCube() {
        FrameScene frame = scene();
        frame.cube = &cube;
        return draw(frame);
    }

    NavigationCube cube{settings};
};

TEST_F(NavigationCubeDrawingTest, TheTopViewShowsTheTopFaceInTheCornerWithEdgesAndItsName) {
    const std::vector<CubeFaceQuad> faces = cube.visibleFaces(camera);
    ASSERT_EQ(faces.size(), 1u);
    const CubeFaceQuad& top = faces[0];
    const Picture picture = drawWithCube();

    const auto [x, y] = insideFace(top);
    EXPECT_TRUE(x > kViewWidth - 80 && y < 80);
    EXPECT_TRUE(colorNear(picture.at(x, y), faceColor(kColors.face, 1.0)));
    // Outside the corner square nothing is drawn.
    EXPECT_EQ(picture.at(kViewWidth - 90, 40), background());
    EXPECT_EQ(picture.at(kViewWidth - 40, 90), background());

    // The edge crosses the column through the face centre near the face's top.
    const Rgb edge = toBytes(kColors.edge[0], kColors.edge[1], kColors.edge[2]);
    const int column = static_cast<int>(top.centre.x);
    const int topEdge = static_cast<int>(std::min({top.corners[0].y, top.corners[1].y, top.corners[2].y,
                                                   top.corners[3].y}));
    bool edgeFound = false;
    for (int row = topEdge - 1; row <= topEdge + 1; ++row) edgeFound |= picture.at(column, row) == edge;
    EXPECT_TRUE(edgeFound);

    // The label: strokes of the label colour, all within a band around the face centre.
    const Rgb label = toBytes(kColors.label[0], kColors.label[1], kColors.label[2]);
    int strokes = 0;
    for (int py = 0; py < 80; ++py)
        for (int px = kViewWidth - 80; px < kViewWidth; ++px)
            if (picture.at(px, py) == label) {
                ++strokes;
                EXPECT_LT(std::abs(px - top.centre.x), 18.0) << px << ", " << py;
                EXPECT_LT(std::abs(py - top.centre.y), 6.0) << px << ", " << py;
            }
    EXPECT_GT(strokes, 25);
}

TEST_F(NavigationCubeDrawingTest, ThreeFacesOfTheDefaultViewAreShadedByHowTheyFaceTheViewer) {
    camera.setStandardView(-1);
    const std::vector<CubeFaceQuad> faces = cube.visibleFaces(camera);
    ASSERT_EQ(faces.size(), 3u);
    const Picture picture = drawWithCube();
    for (const CubeFaceQuad& face : faces) {
        const auto [x, y] = insideFace(face);
        EXPECT_TRUE(colorNear(picture.at(x, y), faceColor(kColors.face, face.facing), 2)) << face.label;
    }
}

TEST_F(NavigationCubeDrawingTest, AHiddenCubeDrawsNothing) {
    settings.cubeVisible = false;
    const Picture picture = drawWithCube();
    for (int py = 0; py < 80; ++py)
        for (int px = kViewWidth - 80; px < kViewWidth; ++px) ASSERT_EQ(picture.at(px, py), background());
}

CubeFaceQuad squareFace(double facing, bool highlighted) {
    CubeFaceQuad face;
    face.face = CubeFaceTop;
    face.corners = {ScreenPoint{0, 20}, ScreenPoint{20, 20}, ScreenPoint{20, 0}, ScreenPoint{0, 0}};
    face.centre = {10, 10};
    face.textRight = {10, 0};
    face.textUp = {0, -10};
    face.facing = facing;
    face.label = "Sud";
    face.highlighted = highlighted;
    return face;
}

TEST(NavigationCubeMesh, FacesEdgesAndLabelStrokes) {
    const CubeMesh mesh = buildCubeMesh({squareFace(1.0, false)}, kColors);
    ASSERT_EQ(mesh.triangles.size(), 6u);
    EXPECT_FLOAT_EQ(mesh.triangles[0].color[0], kColors.face[0]);
    // Four edges, then the strokes of S, U, D.
    ASSERT_GT(mesh.lines.size(), 8u + 2 * 3);
    EXPECT_FLOAT_EQ(mesh.lines[0].color[0], kColors.edge[0]);
    for (std::size_t i = 8; i < mesh.lines.size(); ++i) {
        EXPECT_FLOAT_EQ(mesh.lines[i].color[2], kColors.label[2]);
        // Inside the face, centred: at most 0.75 of the half edge across, 0.275 up or down.
        EXPECT_LE(std::abs(mesh.lines[i].position[0] - 10.0f), 7.5f + 1e-4f);
        EXPECT_LE(std::abs(mesh.lines[i].position[1] - 10.0f), 2.75f + 1e-4f);
    }
}

TEST(NavigationCubeMesh, HighlightAndShadingAndNoLabelOnAFaceSeenEdgeOn) {
    const CubeMesh hovered = buildCubeMesh({squareFace(1.0, true)}, kColors);
    EXPECT_FLOAT_EQ(hovered.triangles[0].color[2], kColors.hovered[2]);
    const CubeMesh oblique = buildCubeMesh({squareFace(0.1, false)}, kColors);
    EXPECT_EQ(oblique.lines.size(), 8u);
    EXPECT_FLOAT_EQ(oblique.triangles[0].color[1], kColors.face[1] * cubeFaceShade(0.1));
    EXPECT_LT(cubeFaceShade(0.1), cubeFaceShade(0.9));
    EXPECT_FLOAT_EQ(cubeFaceShade(1.0), 1.0f);
}

TEST(StrokeFont, EveryLetterHasStrokesInsideItsCell) {
    for (char c = 'A'; c <= 'Z'; ++c) {
        std::vector<StrokeSegment> segments;
        EXPECT_FLOAT_EQ(layoutStrokeText(std::string(1, c), segments), kStrokeGlyphWidth);
        EXPECT_FALSE(segments.empty()) << c;
        for (const StrokeSegment& s : segments) {
            for (float x : {s.x0, s.x1}) EXPECT_TRUE(x >= 0.0f && x <= kStrokeGlyphWidth) << c;
            for (float y : {s.y0, s.y1}) EXPECT_TRUE(y >= 0.0f && y <= kStrokeGlyphHeight) << c;
            EXPECT_TRUE(s.x0 != s.x1 || s.y0 != s.y1) << c << ": a stroke of no length";
        }
    }
}

TEST(StrokeFont, LettersFollowEachOtherAndLowerCaseIsDrawnAsCapitals) {
    std::vector<StrokeSegment> lower, upper;
    EXPECT_FLOAT_EQ(layoutStrokeText("Ovest", lower), 5 * kStrokeAdvance - (kStrokeAdvance - kStrokeGlyphWidth));
    layoutStrokeText("OVEST", upper);
    ASSERT_EQ(lower.size(), upper.size());
    for (std::size_t i = 0; i < lower.size(); ++i) EXPECT_EQ(lower[i].x0, upper[i].x0);
    // The last letter starts four advances along.
    EXPECT_GE(upper.back().x0, 4 * kStrokeAdvance);

    std::vector<StrokeSegment> spaced;
    EXPECT_FLOAT_EQ(layoutStrokeText("A-A", spaced), 3 * kStrokeAdvance - 2.0f);
    EXPECT_FALSE(strokeGlyphDefined('-'));
    EXPECT_TRUE(strokeGlyphDefined('q'));
    std::vector<StrokeSegment> none;
    EXPECT_FLOAT_EQ(layoutStrokeText("", none), 0.0f);
    EXPECT_TRUE(none.empty());
}

}  // namespace
}  // namespace ovcf::test
