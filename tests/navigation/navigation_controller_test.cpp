#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/Log.h"
#include "navigation/NavigationController.h"
#include "navigation/RightClickTracker.h"

namespace ovcf {
namespace {

// Collects the log lines written while it lives.
struct LogCapture {
    std::vector<std::string> lines;
    LogCapture() {
        setLogSink([](int, const char* message, void* self) { static_cast<LogCapture*>(self)->lines.push_back(message); },
                   this);
    }
    ~LogCapture() { setLogSink(nullptr, nullptr); }
};

struct Navigation : ::testing::Test {
    Camera camera;
    NavigationController nav{camera};
    Navigation() {
        camera.setViewport(800, 600);
        camera.fitBox({0, 0, 0}, {100, 100, 10});
    }
    // A drag of (dx, dy) pixels with the given button, from the middle of the view.
    void drag(std::uint32_t button, double dx, double dy, bool alt = false, bool ctrl = false, bool shift = false) {
        nav.press(button, 400, 300, alt, ctrl, shift);
        nav.move(400 + dx / 2, 300 + dy / 2);
        nav.move(400 + dx, 300 + dy);
        nav.release(button);
    }
    bool orbited(double yaw, double pitch) const { return camera.yaw != yaw || camera.pitch != pitch; }
};

TEST_F(Navigation, RightDragPansAndMiddleDragOrbits) {
    const Vec3d target = camera.target;
    const double yaw = camera.yaw, pitch = camera.pitch;
    drag(ButtonRight, 40, 10);
    EXPECT_NE(camera.target, target);
    EXPECT_EQ(camera.yaw, yaw);
    EXPECT_EQ(camera.pitch, pitch);
    EXPECT_FALSE(nav.dragging());

    const Vec3d panned = camera.target;
    drag(ButtonMiddle, 20, -10);  // right turns the eye clockwise seen from above, up lowers it
    EXPECT_NEAR(camera.yaw, yaw - 6.0, 1e-12);
    EXPECT_NEAR(camera.pitch, pitch - 3.0, 1e-12);
    EXPECT_EQ(camera.target, panned);
}

TEST_F(Navigation, LeftButtonNeedsAltTheCubeOrAnArmedTool) {
    const double yaw = camera.yaw, pitch = camera.pitch;
    const Vec3d target = camera.target;
    EXPECT_FALSE(nav.press(ButtonLeft, 400, 300, false, false, false));
    drag(ButtonLeft, 30, 30);
    EXPECT_FALSE(orbited(yaw, pitch));
    EXPECT_EQ(camera.target, target);

    drag(ButtonLeft, 10, 0, /*alt=*/true);
    EXPECT_NEAR(camera.yaw, yaw - 3.0, 1e-12);

    nav.setCubeHover(true);
    drag(ButtonLeft, 10, 0);
    EXPECT_NEAR(camera.yaw, yaw - 6.0, 1e-12);
    nav.setCubeHover(false);

    nav.setNavigationTool(NavigationPan);
    drag(ButtonLeft, 25, 0);
    EXPECT_NE(camera.target, target);
    const Vec3d panned = camera.target;
    drag(ButtonLeft, 25, 0, false, /*ctrl=*/true);  // Ctrl and Shift belong to the selection tools
    drag(ButtonLeft, 25, 0, false, false, /*shift=*/true);
    EXPECT_EQ(camera.target, panned);

    nav.setNavigationTool(NavigationOrbit);
    drag(ButtonLeft, 0, 10);
    EXPECT_NEAR(camera.pitch, pitch + 3.0, 1e-12);
}

TEST_F(Navigation, APressDuringADragIsSwallowed) {
    ASSERT_TRUE(nav.press(ButtonRight, 100, 100, false, false, false));
    EXPECT_FALSE(nav.press(ButtonMiddle, 100, 100, false, false, false));
    EXPECT_EQ(nav.dragMode(), DragPan);
    nav.release(ButtonMiddle);  // not the button that started it
    EXPECT_TRUE(nav.dragging());
    nav.release(ButtonRight);
    EXPECT_FALSE(nav.dragging());
    EXPECT_FALSE(nav.move(150, 150));  // no drag, no motion
}

TEST_F(Navigation, OrbitLockBlocksEveryOrbitButNotPanOrZoom) {
    ASSERT_TRUE(nav.press(ButtonMiddle, 400, 300, false, false, false));
    nav.move(410, 300);
    LogCapture log;
    const auto change = nav.setOrbitLocked(true);
    EXPECT_TRUE(change.changed);
    EXPECT_FALSE(change.toolDisarmed);
    EXPECT_FALSE(nav.dragging());  // locking ended the orbit drag
    ASSERT_EQ(log.lines.size(), 1u);
    EXPECT_EQ(log.lines[0], "rotazione della vista: bloccata (restano spostamento e zoom)");

    const double yaw = camera.yaw, pitch = camera.pitch;
    drag(ButtonMiddle, 50, 50);
    drag(ButtonLeft, 50, 50, /*alt=*/true);
    nav.setCubeHover(true);
    drag(ButtonLeft, 50, 50);
    nav.setCubeHover(false);
    nav.setNavigationTool(NavigationOrbit);  // may be armed while locked, starts nothing
    EXPECT_EQ(nav.navigationTool(), NavigationOrbit);
    drag(ButtonLeft, 50, 50);
    EXPECT_FALSE(orbited(yaw, pitch));

    const Vec3d target = camera.target;
    drag(ButtonRight, 30, 0);
    EXPECT_NE(camera.target, target);
    const double distance = camera.distance;
    nav.wheel(2.0);
    EXPECT_NEAR(camera.distance, distance * 0.85 * 0.85, 1e-12 * distance);
}

TEST_F(Navigation, LockingDisarmsTheOrbitToolAndSaysSo) {
    nav.setNavigationTool(NavigationOrbit);
    LogCapture log;
    const auto change = nav.setOrbitLocked(true);
    EXPECT_TRUE(change.toolDisarmed);
    EXPECT_EQ(nav.navigationTool(), NavigationNone);
    ASSERT_EQ(log.lines.size(), 1u);
    EXPECT_EQ(log.lines[0],
              "rotazione della vista: bloccata (restano spostamento e zoom); l'orbita armata dalla barra e' stata disarmata");
    EXPECT_FALSE(nav.setOrbitLocked(true).changed);  // same value: nothing, no line
    EXPECT_EQ(log.lines.size(), 1u);
    const auto unlock = nav.setOrbitLocked(false);
    EXPECT_TRUE(unlock.changed);
    EXPECT_FALSE(unlock.toolDisarmed);
    EXPECT_EQ(log.lines.back(), "rotazione della vista: libera");

    nav.setNavigationTool(NavigationPan);  // a pan tool survives locking
    EXPECT_FALSE(nav.setOrbitLocked(true).toolDisarmed);
    EXPECT_EQ(nav.navigationTool(), NavigationPan);
}

TEST_F(Navigation, NavigationToolChangesAreLoggedOnce) {
    LogCapture log;
    EXPECT_FALSE(nav.setNavigationTool(NavigationNone));  // already none
    EXPECT_FALSE(nav.setNavigationTool(3));
    EXPECT_TRUE(log.lines.empty());
    EXPECT_TRUE(nav.setNavigationTool(NavigationPan));
    EXPECT_FALSE(nav.setNavigationTool(NavigationPan));
    EXPECT_TRUE(nav.setNavigationTool(NavigationOrbit));
    // Escape disarms: the result tells whether a tool had been armed.
    EXPECT_TRUE(nav.setNavigationTool(NavigationNone));
    EXPECT_FALSE(nav.setNavigationTool(NavigationNone));
    const std::vector<std::string> expected = {"navigazione col tasto sinistro: spostamento armato",
                                               "navigazione col tasto sinistro: rotazione armata",
                                               "navigazione col tasto sinistro: disarmata"};
    EXPECT_EQ(log.lines, expected);
    EXPECT_STREQ(navigationToolName(7), "?");
}

TEST(RightClick, FourPixelsIsStillAClick) {
    RightClickTracker click;
    click.press(100, 100);
    click.move(104, 96);
    EXPECT_TRUE(click.release());
    click.press(100, 100);
    click.move(104.5, 100);
    click.move(100, 100);  // coming back does not make it a click again
    EXPECT_FALSE(click.release());
    EXPECT_FALSE(click.release());  // nothing pressed any more
    click.move(500, 500);
    EXPECT_FALSE(click.moved());
}

}  // namespace
}  // namespace ovcf
