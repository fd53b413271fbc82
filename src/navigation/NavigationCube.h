// The navigation cube in the top-right corner of the view: a small cube turned like the scene,
// whose six faces name the standard views. Hovering highlights a face, a click on a face turns
// the camera to that face's standard view, a left drag starting on it orbits (the navigation
// controller does that while its cube-hover flag is set). This class is the cube's geometry,
// hit testing and click state; the renderer draws what visibleFaces() describes.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "cloud/ViewSettings.h"
#include "navigation/Camera.h"

namespace ovcf {

// Face numbers equal the standard view that looks at the face (Camera::setStandardView).
enum CubeFace : int {
    CubeFaceNone = -1,
    CubeFaceTop = 0,     // +Z
    CubeFaceBottom = 1,  // -Z
    CubeFaceEast = 2,    // +X
    CubeFaceWest = 3,    // -X
    CubeFaceNorth = 4,   // +Y
    CubeFaceSouth = 5    // -Y
};
constexpr int kCubeFaceCount = 6;

struct ScreenPoint {
    double x = 0.0;
    double y = 0.0;
};

// One face as the renderer draws it, in window pixels (origin top-left, y down).
struct CubeFaceQuad {
    int face = CubeFaceNone;
    // Counter-clockwise as seen from outside: (-u,-v), (+u,-v), (+u,+v), (-u,+v), where u and
    // v are the face's reading directions (right and up when the face's standard view shows it).
    std::array<ScreenPoint, 4> corners;
    ScreenPoint centre;
    // Screen vectors of one half edge along u and v: a label drawn on the face reads along them.
    ScreenPoint textRight;
    ScreenPoint textUp;
    // How squarely the face looks at the viewer, 0..1: a shading factor.
    double facing = 0.0;
    const char* label = "";
    bool highlighted = false;
};

// The square the cube occupies: top-left corner and side, pixels.
struct CubeArea {
    double x = 0.0;
    double y = 0.0;
    double side = 0.0;
};

// The standard view of a face (the face number itself); -1 for no face.
int standardViewOfFace(int face);
// "Sopra", "Sotto", "Est", "Ovest", "Nord", "Sud"; "" for no face.
const char* cubeFaceLabel(int face);

class NavigationCube {
public:
    static constexpr double kMinSide = 40.0;
    static constexpr double kMaxSide = 400.0;
    // A press that moves farther than this on either axis is a drag, not a click.
    static constexpr double kClickTolerance = 4.0;

    // Reads "cube.visible" and "cube.size" from the settings at every call.
    explicit NavigationCube(const RenderSettings& settings) : settings_(settings) {}

    void setViewport(int width, int height);
    bool visible() const { return settings_.cubeVisible; }
    // side = min(cube.size, width / 3, height / 3), clamped to [40, 400], in the top-right corner.
    CubeArea area() const;

    // The face under a window pixel, or CubeFaceNone (also while the cube is hidden).
    int hitFace(double x, double y, const Camera& camera) const;

    // Recomputes the hovered face; returns whether the cursor is over the cube.
    bool updateHover(double x, double y, const Camera& camera);
    void clearHover() { hovered_ = CubeFaceNone; }
    int hoveredFace() const { return hovered_; }

    // A left press: remembers the face under it; returns whether it hit one.
    bool pressLeft(double x, double y, const Camera& camera);
    void moveTo(double x, double y);
    // Ends the press; returns the standard view to turn to when the press was a click (moved
    // at most 4 pixels on either axis) on a face, else -1.
    int releaseLeft(double x, double y);
    void cancelPress() { pressed_ = CubeFaceNone; }

    // The faces turned towards the viewer, farthest first; empty while hidden.
    std::vector<CubeFaceQuad> visibleFaces(const Camera& camera) const;

private:
    ScreenPoint centre() const;
    double halfEdgePixels() const;

    const RenderSettings& settings_;
    int width_ = 1;
    int height_ = 1;
    int hovered_ = CubeFaceNone;
    int pressed_ = CubeFaceNone;
    bool pressMoved_ = false;
    double pressX_ = 0.0;
    double pressY_ = 0.0;
};

}  // namespace ovcf
