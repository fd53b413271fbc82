// The log lines written while it lives, with the standard-error echo off.
#pragma once

#include <string>
#include <vector>

#include "core/Log.h"

namespace ovcf::test {

struct LogCapture {
    struct Line {
        int level;
        std::string text;
    };
    std::vector<Line> lines;

    LogCapture() {
        setStandardErrorEcho(false);
        setLogSink(&collect, this);
    }
    ~LogCapture() {
        setLogSink(nullptr, nullptr);
        setStandardErrorEcho(true);
    }
    bool has(int level, const std::string& text) const {
        for (const Line& line : lines)
            if (line.level == level && line.text == text) return true;
        return false;
    }

private:
    static void collect(int level, const char* message, void* self) {
        static_cast<LogCapture*>(self)->lines.push_back({level, message});
    }
};

}  // namespace ovcf::test
