// What every test that drives a view with real window messages starts from: a cloud built from
// host memory, a parent window with the view in it, and the library's log lines and the view's
// events captured.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "../view/PngInspect.h"
#include "LibraryError.h"
#include "OrvanePC.h"
#include "ParentWindow.h"
#include "TestSupport.h"
#include "ViewInput.h"

namespace ovcf::test {

class ViewInputTest : public ::testing::Test {
protected:
    explicit ViewInputTest(const char* folder) : dir(folder) {}

    void TearDown() override {
        PC_SetLogCallback(nullptr, nullptr);
        if (view) PC_DestroyView(view);
    }

    // Builds `cache` from the points (rgb may be empty) and opens it in a new view of width × height.
    void buildAndOpen(const std::string& cache, const std::vector<double>& xyz, const std::vector<std::uint32_t>& rgb,
                      int width, int height) {
        ASSERT_EQ(PC_BuildCacheFromMemory(cache.c_str(), xyz.data(), rgb.empty() ? nullptr : rgb.data(),
                                          std::int64_t(xyz.size() / 3), 0.001, nullptr, nullptr),
                  PC_OK)
            << lastLibraryError();
        parent = harness::ParentWindow::create(width, height);
        ASSERT_TRUE(parent) << "no display";
        view = PC_CreateView(reinterpret_cast<PcParentWindow>(parent->handle()));
        ASSERT_NE(view, nullptr) << lastLibraryError();
        child = parent->firstChild();
        PC_SetLogCallback(&onLog, this);
        PC_SetEventCallback(view, &onEvent, this);
        ASSERT_EQ(PC_OpenFile(view, cache.c_str()), PC_OK) << lastLibraryError();
    }

    void render(int frames = 300) {
        for (int frame = 0; frame < frames && PC_Render(view) == 1; ++frame) {
        }
    }
    void pump() { harness::pumpView(*parent, view); }
    void drag(int fromX, int fromY, int toX, int toY) { harness::dragInView(*parent, child, view, 0, fromX, fromY, toX, toY); }
    void click(int button, int x, int y) { harness::clickInView(*parent, child, view, button, x, y); }

    int logCount(const std::string& line) {
        std::lock_guard<std::mutex> lock(logMutex);
        return int(std::count(logLines.begin(), logLines.end(), line));
    }
    bool logged(const std::string& line) { return logCount(line) > 0; }
    std::vector<std::string> linesStarting(const std::string& start) {
        std::lock_guard<std::mutex> lock(logMutex);
        std::vector<std::string> found;
        for (const std::string& l : logLines)
            if (l.rfind(start, 0) == 0) found.push_back(l);
        return found;
    }
    bool loggedStart(const std::string& start) { return !linesStarting(start).empty(); }

    // The picture on screen, rows from the top.
    InspectedPng screenshot() {
        render();
        const std::string path = dir.file("shot.png");
        EXPECT_EQ(PC_SaveScreenshot(view, path.c_str()), PC_OK) << lastLibraryError();
        std::ifstream in(path, std::ios::binary);
        const std::vector<std::uint8_t> file((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        return inspectPng(file);
    }

    static std::array<std::uint8_t, 3> pixel(const InspectedPng& png, int x, int y) {
        const std::size_t at = std::size_t(y) * (1 + 3 * png.width) + 1 + 3 * std::size_t(x);
        return {png.raw.at(at), png.raw.at(at + 1), png.raw.at(at + 2)};
    }

    TempDir dir;
    std::unique_ptr<harness::ParentWindow> parent;
    PcView view = nullptr;
    std::uintptr_t child = 0;
    std::mutex logMutex;
    std::vector<std::string> logLines;
    std::vector<int> events;
    PcViewState lastState{};

private:
    static void onLog(int, const char* message, void* user) {
        auto* self = static_cast<ViewInputTest*>(user);
        std::lock_guard<std::mutex> lock(self->logMutex);
        self->logLines.emplace_back(message);
    }
    static void onEvent(int event, const PcViewState* state, void* user) {
        auto* self = static_cast<ViewInputTest*>(user);
        self->events.push_back(event);
        if (state) self->lastState = *state;
    }
};

}  // namespace ovcf::test
