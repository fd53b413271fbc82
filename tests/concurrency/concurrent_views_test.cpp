// Process-wide state under threads: views made, drawn and destroyed on two UI threads at once
// while a third thread keeps changing the host's log callback (run under the thread sanitizer).
#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "OrvanePC.h"
#include "ParentWindow.h"
#include "TestSupport.h"
#include "ViewCloud.h"

namespace {

using namespace ovcf::test;

std::atomic<int> gLinesA{0};
std::atomic<int> gLinesB{0};
void count(int, const char*, void* user) { static_cast<std::atomic<int>*>(user)->fetch_add(1); }

std::mutex gFailuresMutex;
std::vector<std::string> gFailures;

void fail(const char* what) {
    char text[512];
    PC_LastError(text, sizeof text);
    std::lock_guard<std::mutex> lock(gFailuresMutex);
    gFailures.push_back(std::string(what) + ": " + text);
}

// One host UI thread: its own window, views on it one after the other.
void uiThread(const std::string& cloud, const std::string& shot) {
    auto parent = ovcf::harness::ParentWindow::create(160, 120);
    if (!parent) return fail("parent window");
    for (int round = 0; round < 3; ++round) {
        PcView view = PC_CreateView(reinterpret_cast<PcParentWindow>(parent->handle()));
        if (!view) {
            fail("PC_CreateView");
            continue;
        }
        if (PC_OpenFile(view, cloud.c_str()) != PC_OK) fail("PC_OpenFile");
        renderUntilComplete(view);
        if (PC_SaveScreenshot(view, shot.c_str()) != PC_OK) fail("PC_SaveScreenshot");
        PC_DestroyView(view);
    }
}

TEST(ConcurrentViews, TwoUiThreadsAndALogCallbackChangingMeanwhile) {
    TempDir dir{"orvane_concurrent"};
    const std::string cloud = dir.file("grid.ovcf");
    ASSERT_TRUE(buildGridCloud(cloud, 80));
    std::atomic<bool> done{false};
    std::thread switcher([&] {
        for (int i = 0; !done.load(); ++i) {
            if (i % 3 == 0) PC_SetLogCallback(&count, &gLinesA);
            else if (i % 3 == 1) PC_SetLogCallback(&count, &gLinesB);
            else PC_SetLogCallback(nullptr, nullptr);
            std::this_thread::yield();
        }
        PC_SetLogCallback(&count, &gLinesA);
    });
    std::thread first(uiThread, cloud, dir.file("first.png"));
    std::thread second(uiThread, cloud, dir.file("second.png"));
    first.join();
    second.join();
    done = true;
    switcher.join();
    PC_SetLogCallback(nullptr, nullptr);
    EXPECT_EQ(gFailures, std::vector<std::string>{});
    // The callbacks were in place while views logged (creation, opening a cloud).
    EXPECT_GT(gLinesA.load() + gLinesB.load(), 0);
}

}  // namespace
