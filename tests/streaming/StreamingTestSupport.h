// Helpers of the streaming tests: small octree files with known nodes, byte patches for damaging
// them, a thread-safe log capture, and a gate that holds a loader thread inside a node.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "core/Log.h"
#include "ovcf/FileFormat.h"
#include "ovcf/OvcfWriter.h"
#include "ovcf/PointRecord.h"
#include "TestPoints.h"
#include "TestSupport.h"

namespace ovcf::test {

struct KnownNode {
    NodeKey key;
    std::vector<PointRecord> points;
};

// A cloud written to a file: its parameters and its nodes in file order (node index = position).
struct KnownCloud {
    OvcfWriterParams params;
    std::vector<KnownNode> nodes;

    std::uint64_t pointCount() const {
        std::uint64_t total = 0;
        for (const KnownNode& node : nodes) total += node.points.size();
        return total;
    }
    std::uint64_t firstPoint(std::size_t node) const {
        std::uint64_t first = 0;
        for (std::size_t i = 0; i < node; ++i) first += nodes[i].points.size();
        return first;
    }
};

// A cube of 65.536 m (2^16 steps of 1 mm) far from the world origin, as surveys are.
inline OvcfWriterParams knownParams(std::uint32_t pointFormat, bool compression) {
    OvcfWriterParams params;
    params.step[0] = params.step[1] = params.step[2] = 0.001;
    params.offset[0] = 512345.0;
    params.offset[1] = 4012345.0;
    params.offset[2] = 250.0;
    params.rootOrigin[0] = 7000;
    params.rootOrigin[1] = 9000;
    params.rootOrigin[2] = 11000;
    params.rootExponent = 16;
    params.pointFormat = pointFormat;
    params.compression = compression;
    for (int a = 0; a < 3; ++a) {
        params.boundsMin[a] = params.offset[a] + params.rootOrigin[a] * params.step[a];
        params.boundsMax[a] = params.boundsMin[a] + 65.536;
    }
    return params;
}

// Every node of a full octree down to `depth` (root = 0), breadth first so parents come first;
// node i holds `points + i` points.
inline KnownCloud fullTree(std::uint32_t depth, std::size_t points, std::uint32_t pointFormat = 2,
                           bool compression = true) {
    KnownCloud cloud;
    cloud.params = knownParams(pointFormat, compression);
    std::vector<NodeKey> keys{{0, 0, 0, 0}};
    for (std::size_t i = 0; i < keys.size(); ++i)
        if (keys[i].level < depth)
            for (std::uint32_t o = 0; o < 8; ++o) keys.push_back(childKey(keys[i], o));
    for (std::size_t i = 0; i < keys.size(); ++i)
        cloud.nodes.push_back({keys[i], pointsInNode(cloud.params, keys[i], points + i, std::uint32_t(i + 1))});
    return cloud;
}

inline void writeCloud(const std::string& path, const KnownCloud& cloud) {
    OvcfWriter writer;
    std::string error;
    ASSERT_TRUE(writer.open(path, cloud.params, error)) << error;
    for (const KnownNode& node : cloud.nodes)
        ASSERT_TRUE(writer.writeNode(node.key, node.points.data(), node.points.size(), error)) << error;
    ASSERT_TRUE(writer.close(error)) << error;
}

inline std::uint64_t readLe(const std::vector<std::uint8_t>& bytes, std::size_t offset, int width) {
    std::uint64_t value = 0;
    for (int i = 0; i < width; ++i) value |= std::uint64_t(bytes[offset + i]) << (8 * i);
    return value;
}

inline void writeLe(std::vector<std::uint8_t>& bytes, std::size_t offset, std::uint64_t value, int width) {
    for (int i = 0; i < width; ++i) bytes[offset + i] = std::uint8_t(value >> (8 * i));
}

// Overwrites the stored block of `node` with 0xFF bytes: its LZ4 stream no longer decodes.
inline void corruptBlock(const std::string& path, std::uint32_t node) {
    std::vector<std::uint8_t> bytes = fileBytes(path);
    const std::size_t record = std::size_t(readLe(bytes, 160, 8)) + node * kHierarchyRecordSize;
    const std::size_t offset = std::size_t(readLe(bytes, record + 24, 8));
    const std::size_t stored = std::size_t(readLe(bytes, record + 32, 4));
    for (std::size_t i = 0; i < stored; ++i) bytes[offset + i] = 0xFF;
    writeFileBytes(path, bytes);
}

// Collects log lines from any thread while it lives (the log calls its sink under its lock).
class LogCapture {
public:
    LogCapture() {
        setLogSink(
            [](int level, const char* message, void* self) {
                auto* capture = static_cast<LogCapture*>(self);
                std::lock_guard<std::mutex> guard(capture->lock_);
                capture->lines_.push_back({level, message});
            },
            this);
    }
    ~LogCapture() { setLogSink(nullptr, nullptr); }

    struct Line {
        int level;
        std::string text;
    };
    std::vector<Line> lines() const {
        std::lock_guard<std::mutex> guard(lock_);
        return lines_;
    }
    int count(int level, const std::string& text) const {
        int n = 0;
        for (const Line& line : lines())
            if (line.level == level && line.text == text) ++n;
        return n;
    }

private:
    mutable std::mutex lock_;
    std::vector<Line> lines_;
};

// Holds a loader thread inside the read hook for chosen nodes until released.
class ReadGate {
public:
    explicit ReadGate(std::vector<std::uint32_t> held) : held_(std::move(held)) {}

    void enter(std::uint32_t node) {
        std::unique_lock<std::mutex> guard(lock_);
        order_.push_back(node);
        if (std::find(held_.begin(), held_.end(), node) == held_.end()) return;
        ++inside_;
        changed_.notify_all();
        changed_.wait(guard, [this] { return open_; });
        --inside_;
    }
    // Waits until `count` threads are held (false after 20 s).
    bool waitHeld(int count) {
        std::unique_lock<std::mutex> guard(lock_);
        return changed_.wait_for(guard, std::chrono::seconds(20), [&] { return inside_ >= count; });
    }
    void release() {
        std::lock_guard<std::mutex> guard(lock_);
        open_ = true;
        changed_.notify_all();
    }
    // The nodes in the order the threads started reading them.
    std::vector<std::uint32_t> order() const {
        std::lock_guard<std::mutex> guard(lock_);
        return order_;
    }

private:
    mutable std::mutex lock_;
    std::condition_variable changed_;
    std::vector<std::uint32_t> held_;
    std::vector<std::uint32_t> order_;
    int inside_ = 0;
    bool open_ = false;
};

// Polls `done` every millisecond for up to 30 s.
template <typename Done>
bool eventually(Done done) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace ovcf::test
