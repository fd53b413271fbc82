// The "riquadro elastico" program with its four fixed line buffers: the rubber band, the clip
// box, the plane markers and the polygon. The tools fill LineDrawing records; the renderer
// draws the in-scene ones through the camera (depth-tested against the points) and the
// overlay ones in window pixels.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>

namespace ovcf {

// 24 bytes: position at 0, colour (0..1) at 12.
struct LineVertex {
    float position[3] = {0, 0, 0};
    float color[3] = {0, 0, 0};
};
static_assert(sizeof(LineVertex) == 24, "24-byte line vertices");

enum class LineBufferSlot : std::uint32_t { RubberBand = 0, ClipBox = 1, PlaneMarkers = 2, Polygon = 3 };
constexpr std::size_t kLineBufferCount = 4;
// Vertices each buffer holds: 192, 1440, 792 and 6144 bytes.
constexpr std::array<std::uint32_t, kLineBufferCount> kLineBufferVertices = {8, 60, 33, 256};

enum class LinePrimitive : std::uint32_t { Lines = 0, LineStrip = 1, LineLoop = 2 };

// One drawing from one buffer. Vertices beyond the buffer's capacity are not drawn.
struct LineDrawing {
    LineBufferSlot slot = LineBufferSlot::RubberBand;
    LinePrimitive primitive = LinePrimitive::Lines;
    std::span<const LineVertex> vertices;
    float brightness = 1.0f;  // colour × brightness, capped at 1 per channel
};

// Column-major matrix taking window pixels (origin top-left, y down) to clip space.
std::array<float, 16> windowPixelMatrix(int width, int height);

class LineRenderer {
public:
    bool initializeGl(std::string& error);
    void releaseGl();

    // Uploads the drawing's vertices into its buffer and draws them with the given matrix;
    // the caller sets depth testing.
    void draw(const LineDrawing& drawing, const std::array<float, 16>& mvp);

private:
    std::uint32_t program_ = 0;
    std::uint32_t vertexArray_ = 0;
    std::array<std::uint32_t, kLineBufferCount> buffers_{};
    int mvpLocation_ = -1;
    int brightnessLocation_ = -1;
};

// The line vertex layout on binding 0 of a vertex-array object: position (0), colour (1).
void setLineVertexLayout(std::uint32_t vertexArray);

}  // namespace ovcf
