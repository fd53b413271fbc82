// A real view window with a GL context and an initialised Renderer, a top-down camera, and
// helpers that put points on chosen pixel centres, draw a frame and read the presented picture
// back. Settings start deterministic: fixed one-pixel square points, no eye-dome lighting.
#pragma once

#include <gtest/gtest.h>

#include <glad/gl.h>

#include <cmath>
#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "LogCapture.h"
#include "ParentWindow.h"
#include "navigation/Camera.h"
#include "platform/ViewWindow.h"
#include "view/Renderer.h"

namespace ovcf::test {

struct Rgb {
    int r = 0, g = 0, b = 0;
    bool operator==(const Rgb&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Rgb& c) {
    return out << "(" << c.r << ", " << c.g << ", " << c.b << ")";
}

// A colour 0..1 as the 8-bit target stores it.
inline Rgb toBytes(double r, double g, double b) {
    auto byte = [](double v) { return static_cast<int>(std::lround(std::fmin(std::fmax(v, 0.0), 1.0) * 255.0)); };
    return {byte(r), byte(g), byte(b)};
}
inline Rgb toBytes(const ColorRgbF& c) { return toBytes(c.r, c.g, c.b); }

inline ::testing::AssertionResult colorNear(const Rgb& actual, const Rgb& expected, int tolerance = 1) {
    if (std::abs(actual.r - expected.r) <= tolerance && std::abs(actual.g - expected.g) <= tolerance &&
        std::abs(actual.b - expected.b) <= tolerance)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << actual << " is not within " << tolerance << " of " << expected;
}

// A read-back picture, addressed in window pixels (origin top-left).
struct Picture {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> rgb;  // bottom row first

    Rgb at(int x, int y) const {
        const std::size_t i = (static_cast<std::size_t>(height - 1 - y) * width + x) * 3;
        return {rgb[i], rgb[i + 1], rgb[i + 2]};
    }
};

// Creating a window costs seconds under Wine, so the tests share one view window at a time,
// replaced when a test needs another size; the renderer and everything it made are new in every
// test.
class SharedViewWindow {
public:
    static ViewWindow* get(int width, int height) {
        SharedViewWindow& shared = instance();
        if (shared.window_ && shared.width_ == width && shared.height_ == height) return shared.window_.get();
        // The new window comes first: while one stays open Mesa keeps its driver loaded, and
        // LeakSanitizer can still name (and the suppressions match) what the driver keeps.
        auto parent = harness::ParentWindow::create(width, height);
        if (!parent) {
            ADD_FAILURE() << "no display to create a parent window on";
            return nullptr;
        }
        std::string error;
        auto window = ViewWindow::create(parent->handle(), error);
        if (!window) {
            ADD_FAILURE() << error;
            return nullptr;
        }
        shared.release();
        shared.parent_ = std::move(parent);
        shared.window_ = std::move(window);
        shared.width_ = width;
        shared.height_ = height;
        return shared.window_.get();
    }

private:
    // Never destroyed: the last window stays open until the process ends, since closing it would
    // unload Mesa's driver before LeakSanitizer runs and leave the suppressions nothing to name.
    static SharedViewWindow& instance() {
        static SharedViewWindow* shared = new SharedViewWindow;
        return *shared;
    }
    void release() {
        if (window_) window_->destroy();
        window_.reset();
        parent_.reset();
    }

    std::unique_ptr<harness::ParentWindow> parent_;
    std::unique_ptr<ViewWindow> window_;
    int width_ = 0;
    int height_ = 0;
};


class RenderTest : public ::testing::Test {
protected:
    static constexpr int kWidth = 64;
    static constexpr int kHeight = 48;
    // Eye height above the z = 0 plane the points lie on by default.
    static constexpr double kEyeDistance = 10.0;

    void SetUp() override { open(kWidth, kHeight); }

    void open(int width, int height) {
        window_ = SharedViewWindow::get(width, height);
        ASSERT_TRUE(window_);
        ASSERT_TRUE(window_->makeCurrent());
        std::string error;
        ASSERT_TRUE(renderer.initializeGl(error)) << error;

        camera.setViewport(width, height);
        camera.sceneRadius = 10.0;
        camera.distance = kEyeDistance;
        camera.setStandardView(0);  // looking straight down, +X right, +Y up on screen

        settings.pointSizeMode = 0;
        settings.pixelSize = 1.0f;
        settings.minPointSize = 1.0f;
        settings.maxPointSize = 12.0f;
        settings.roundPoints = false;
        settings.edlEnabled = false;
        settings.backgroundGradient = false;
        settings.backgroundBottom = {0.0f, 0.0f, 0.0f};
    }

    void TearDown() override {
        if (!window_) return;
        window_->makeCurrent();
        clearNodes();
        renderer.releaseGl();
    }

    // A point whose render position lies on the centre of window pixel (px, py) at `depth`
    // metres in front of the eye, relative to `origin`.
    PointVertex pointAt(int px, int py, double depth, Rgb color, std::uint32_t index,
                        const Vec3d& origin = {}) const {
        const Vec3d p = camera.toRenderSpace(camera.unproject(px + 0.5, py + 0.5, depth)) - origin;
        PointVertex v{};
        v.x = static_cast<float>(p.x);
        v.y = static_cast<float>(p.y);
        v.z = static_cast<float>(p.z);
        v.r = static_cast<std::uint8_t>(color.r);
        v.g = static_cast<std::uint8_t>(color.g);
        v.b = static_cast<std::uint8_t>(color.b);
        v.index = index;
        return v;
    }

    // Uploads a node the way the node loader does and adds it to the frame.
    DrawableNode& addNode(const std::vector<PointVertex>& points, const Vec3d& origin = {}, std::uint32_t level = 0,
                          float spacing = 0.1f) {
        DrawableNode node;
        glCreateBuffers(1, &node.buffer);
        glNamedBufferData(node.buffer, static_cast<GLsizeiptr>(points.size() * sizeof(PointVertex)), points.data(),
                          GL_STATIC_DRAW);
        node.pointCount = static_cast<std::uint32_t>(points.size());
        node.origin[0] = static_cast<float>(origin.x);
        node.origin[1] = static_cast<float>(origin.y);
        node.origin[2] = static_cast<float>(origin.z);
        node.spacing = spacing;
        node.level = level;
        nodes.push_back(node);
        return nodes.back();
    }

    void clearNodes() {
        for (const DrawableNode& node : nodes) glDeleteBuffers(1, &node.buffer);
        nodes.clear();
    }

    FrameScene scene() const {
        FrameScene frame(camera, settings);
        frame.nodes = nodes;
        return frame;
    }

    Picture draw() { return draw(scene()); }

    Picture draw(const FrameScene& frame) {
        Picture picture;
        EXPECT_TRUE(renderer.drawFrame(frame));
        std::string error;
        EXPECT_TRUE(renderer.readLastFrame(picture.rgb, picture.width, picture.height, error)) << error;
        EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
        return picture;
    }

    Rgb background() const { return toBytes(settings.backgroundBottom); }

    Camera camera;
    RenderSettings settings;
    Renderer renderer;
    std::vector<DrawableNode> nodes;

private:
    ViewWindow* window_ = nullptr;
};

}  // namespace ovcf::test
