// Process-wide state under threads: views made, drawn and destroyed on two UI threads at once
// while a third thread keeps changing the host's log callback (run under the thread sanitizer).
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "OrvanePC.h"
#include "TestParentWindow.h"
#include "TestSupport.h"
#include "ViewCloud.h"

namespace {

using namespace ovcf::test;

std::atomic<int> gLinesA{0};
std::atomic<int> gLinesB{0};
void countA(int, const char*, void* user) { static_cast<std::atomic<int>*>(user)->fetch_add(1); }
void countB(int, const char*, void* user) { static_cast<std::atomic<int>*>(user)->fetch_add(1); }

// One host UI thread: its own window, views on it one after the other.
void uiThread(const std::string& cloud, const std::string& shot, std::atomic<int>& failures) {
    auto parent = TestParentWindow::create(160, 120);
    if (!parent) {
        ++failures;
        return;
    }
    for (int round = 0; round < 3; ++round) {
        PcView view = PC_CreateView(reinterpret_cast<PcParentWindow>(parent->handle()));
        if (!view) {
            ++failures;
            continue;
        }
        if (PC_OpenFile(view, cloud.c_str()) != PC_OK) ++failures;
        renderUntilComplete(view);
        if (PC_SaveScreenshot(view, shot.c_str()) != PC_OK) ++failures;
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
            if (i % 3 == 0) PC_SetLogCallback(&countA, &gLinesA);
            else if (i % 3 == 1) PC_SetLogCallback(&countB, &gLinesB);
            else PC_SetLogCallback(nullptr, nullptr);
            std::this_thread::yield();
        }
        PC_SetLogCallback(&countA, &gLinesA);
    });
    std::atomic<int> failures{0};
    std::thread first(uiThread, cloud, dir.file("first.png"), std::ref(failures));
    std::thread second(uiThread, cloud, dir.file("second.png"), std::ref(failures));
    first.join();
    second.join();
    done = true;
    switcher.join();
    PC_SetLogCallback(nullptr, nullptr);
    EXPECT_EQ(failures.load(), 0);
    // The callbacks were in place while views logged (creation, opening a cloud).
    EXPECT_GT(gLinesA.load() + gLinesB.load(), 0);
}

}  // namespace
