// The child window a view draws in. The size the parent sees and the refusal of an invalid parent
// are checked through PC_CreateView and PC_Resize (api tests).
#include <gtest/gtest.h>

#include <glad/gl.h>

#include <vector>

#include "ParentWindow.h"
#include "platform/ViewWindow.h"

namespace ovcf {
namespace {

using harness::ParentWindow;

std::unique_ptr<harness::ParentWindow> makeParent(int width, int height) {
    auto parent = harness::ParentWindow::create(width, height);
    if (!parent) ADD_FAILURE() << "no display to create a parent window on";
    return parent;
}

void collectEvent(const InputEvent& event, void* context) {
    static_cast<std::vector<InputEvent>*>(context)->push_back(event);
}

TEST(ViewWindow, FillsTheParentClientAreaWithACoreContext) {
    auto parent = makeParent(320, 240);
    ASSERT_TRUE(parent);
    std::string error;
    auto window = ViewWindow::create(parent->handle(), error);
    ASSERT_TRUE(window) << error;
    EXPECT_EQ(window->width(), 320);
    EXPECT_EQ(window->height(), 240);

    ASSERT_TRUE(window->makeCurrent());
    GLint major = 0;
    GLint minor = 0;
    GLint profile = 0;
    glGetIntegerv(GL_MAJOR_VERSION, &major);
    glGetIntegerv(GL_MINOR_VERSION, &minor);
    glGetIntegerv(GL_CONTEXT_PROFILE_MASK, &profile);
    EXPECT_TRUE(major > 4 || (major == 4 && minor >= 5)) << major << "." << minor;
    EXPECT_TRUE(profile & GL_CONTEXT_CORE_PROFILE_BIT);
    EXPECT_FALSE(profile & GL_CONTEXT_COMPATIBILITY_PROFILE_BIT);
}

TEST(ViewWindow, AnEmptyClientAreaGivesOnePixel) {
    auto parent = makeParent(0, 0);
    ASSERT_TRUE(parent);
    std::string error;
    auto window = ViewWindow::create(parent->handle(), error);
    ASSERT_TRUE(window) << error;
    EXPECT_EQ(window->width(), 1);
    EXPECT_EQ(window->height(), 1);
    EXPECT_TRUE(window->makeCurrent());
}

TEST(ViewWindow, FollowsTheParentSizeOnlyWhenItChanged) {
    auto parent = makeParent(200, 100);
    ASSERT_TRUE(parent);
    std::string error;
    auto window = ViewWindow::create(parent->handle(), error);
    ASSERT_TRUE(window) << error;
    EXPECT_FALSE(window->followParentSize());

    parent->resizeClient(410, 290);
    EXPECT_TRUE(window->followParentSize());
    EXPECT_EQ(window->width(), 410);
    EXPECT_EQ(window->height(), 290);
    EXPECT_FALSE(window->followParentSize());
}

TEST(ViewWindow, TurnsWindowMessagesIntoInputEvents) {
    auto parent = makeParent(300, 200);
    ASSERT_TRUE(parent);
    std::string error;
    auto window = ViewWindow::create(parent->handle(), error);
    ASSERT_TRUE(window) << error;
    std::vector<InputEvent> events;
    window->setInputSink(&collectEvent, &events);
    const std::uintptr_t child = window->childWindow();

    parent->sendButton(child, ButtonLeft, true, 10, 20);
    parent->sendButton(child, ButtonLeft, false, 11, 21);
    parent->sendButton(child, ButtonRight, true, 30, 40);
    parent->sendButton(child, ButtonRight, false, 30, 40);
    parent->sendButton(child, ButtonMiddle, true, 50, 60);
    parent->sendButton(child, ButtonMiddle, false, 50, 60);
    parent->sendMove(child, 70, 80);
    parent->sendLeave(child);
    parent->sendWheel(child, 120, 90, 100);
    parent->sendWheel(child, -120, 90, 100);
    parent->sendKey(child, KeyEscape);
    parent->sendKey(child, KeyEnter);
    parent->sendSize(child, 123, 45);
    parent->flush();
    window->processPendingEvents();

    struct Expected {
        int type;
        int button;
        double x;
        double y;
    };
    const Expected expected[] = {
        {InputButtonDown, ButtonLeft, 10, 20},   {InputButtonUp, ButtonLeft, 11, 21},
        {InputButtonDown, ButtonRight, 30, 40},  {InputButtonUp, ButtonRight, 30, 40},
        {InputButtonDown, ButtonMiddle, 50, 60}, {InputButtonUp, ButtonMiddle, 50, 60},
        {InputPointerMove, 0, 70, 80},
    };
    // The window system may post pointer moves and leaves of its own (capture changes, the real
    // pointer elsewhere); those are queued, so they come after the messages sent here.
    ASSERT_GE(events.size(), 13u);
    for (std::size_t i = 13; i < events.size(); ++i)
        EXPECT_TRUE(events[i].type == InputPointerMove || events[i].type == InputPointerLeft) << i;
    for (std::size_t i = 0; i < std::size(expected); ++i) {
        EXPECT_EQ(events[i].type, expected[i].type) << i;
        EXPECT_EQ(events[i].button, expected[i].button) << i;
        EXPECT_EQ(events[i].x, expected[i].x) << i;
        EXPECT_EQ(events[i].y, expected[i].y) << i;
    }
    EXPECT_EQ(events[7].type, InputPointerLeft);
    EXPECT_EQ(events[8].type, InputWheel);
    EXPECT_EQ(events[8].wheel, 1.0);
    EXPECT_EQ(events[8].x, 90);
    EXPECT_EQ(events[8].y, 100);
    EXPECT_EQ(events[9].type, InputWheel);
    EXPECT_EQ(events[9].wheel, -1.0);
    EXPECT_EQ(events[10].type, InputKeyDown);
    EXPECT_EQ(events[10].key, KeyEscape);
    EXPECT_EQ(events[11].key, KeyEnter);
    EXPECT_EQ(events[12].type, InputSizeChanged);
    EXPECT_EQ(events[12].x, 123);
    EXPECT_EQ(events[12].y, 45);
    EXPECT_EQ(window->width(), 123);
    EXPECT_EQ(window->height(), 45);
}

TEST(ViewWindow, DestroyLeavesNoWindowBehindAndMayBeRepeated) {
    auto parent = makeParent(64, 64);
    ASSERT_TRUE(parent);
    std::string error;
    auto window = ViewWindow::create(parent->handle(), error);
    ASSERT_TRUE(window) << error;
    const std::uintptr_t child = window->childWindow();
    EXPECT_EQ(parent->childCount(), 1);
    window->destroy();
    window->destroy();
    EXPECT_EQ(parent->childCount(), 0);
    EXPECT_FALSE(parent->windowExists(child));
    EXPECT_FALSE(window->makeCurrent());
}

}  // namespace
}  // namespace ovcf
