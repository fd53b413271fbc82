// A fixture that collects the log lines its test writes, with the standard-error echo off.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/Log.h"

namespace ovcf::test {

class LogCapture : public ::testing::Test {
protected:
    struct Line {
        int level;
        std::string message;
    };

    void SetUp() override {
        setStandardErrorEcho(false);
        setLogSink([](int level, const char* message, void* self) { static_cast<LogCapture*>(self)->lines.push_back({level, message}); },
                   this);
    }
    void TearDown() override {
        setLogSink(nullptr, nullptr);
        setStandardErrorEcho(true);
    }

    std::vector<Line> lines;
};

}  // namespace ovcf::test
