// The X11 error trap (native builds only): traps on different display connections neither wait
// for each other nor see each other's errors, an idle trap costs no request, and errors that are
// not a trap's own go to their owner.
#include <gtest/gtest.h>

#include <X11/Xlib.h>
#include <X11/Xproto.h>

#include <chrono>
#include <future>

#include "platform/x11/X11ErrorTrap.h"

namespace ovcf {
namespace {

constexpr Window kNoSuchWindow = 0x1;  // never a client's window id

struct Connection {
    Display* display = XOpenDisplay(nullptr);
    ~Connection() {
        if (display) XCloseDisplay(display);
    }
};

int gHostErrors = 0;
int countHostError(Display*, XErrorEvent*) {
    ++gHostErrors;
    return 0;
}

TEST(X11ErrorTrap, TrapsOnTwoConnectionsNeitherWaitForNorSeeEachOther) {
    Connection a, b;
    ASSERT_TRUE(a.display && b.display) << "no display";
    auto trapA = std::make_unique<X11ErrorTrap>(a.display);
    // Another view's UI thread, while this one's trap stays open.
    auto other = std::async(std::launch::async, [&] {
        X11ErrorTrap trap(b.display);
        XDestroyWindow(b.display, kNoSuchWindow);
        const bool failed = trap.failed();
        return std::make_pair(failed, trap.errorCode());
    });
    const bool finished = other.wait_for(std::chrono::seconds(20)) == std::future_status::ready;
    EXPECT_TRUE(finished) << "a trap on one connection waited for a trap on another";
    EXPECT_FALSE(trapA->failed()) << "the other connection's error counted here";
    trapA.reset();
    const auto [failed, code] = other.get();
    EXPECT_TRUE(failed);
    EXPECT_EQ(code, BadWindow);
}

TEST(X11ErrorTrap, CostsNoRequestWhenIdleAndCountsOnlyItsOwnRequests) {
    Connection a, b;
    ASSERT_TRUE(a.display && b.display) << "no display";
    XSync(a.display, False);
    const unsigned long before = XNextRequest(a.display);
    {
        X11ErrorTrap idle(a.display);
        EXPECT_FALSE(idle.failed());
    }
    EXPECT_EQ(XNextRequest(a.display), before) << "an idle trap went to the server";

    gHostErrors = 0;
    const XErrorHandler hostHandler = XSetErrorHandler(&countHostError);
    XDestroyWindow(a.display, kNoSuchWindow);  // the host's own request, answered during the traps
    {
        X11ErrorTrap outer(a.display);
        XDestroyWindow(a.display, kNoSuchWindow);  // its error is still on the way
        {
            X11ErrorTrap inner(a.display);
            XMapWindow(a.display, DefaultRootWindow(a.display));
            EXPECT_FALSE(inner.failed()) << "an earlier request's error counted for a later trap";
        }
        EXPECT_TRUE(outer.failed());
        EXPECT_EQ(gHostErrors, 1) << "the host's error was kept from it";
        // A connection that no trap watches keeps the host's handler.
        XDestroyWindow(b.display, kNoSuchWindow);
        XSync(b.display, False);
        EXPECT_EQ(gHostErrors, 2);
    }
    EXPECT_EQ(XSetErrorHandler(hostHandler), &countHostError) << "the host's handler was not put back";
}

}  // namespace
}  // namespace ovcf
