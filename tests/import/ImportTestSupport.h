// Helpers of the import tests: point sources made in memory, generated clouds, reading a built
// file back, and looking into scratch folders.
#pragma once

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "TestSupport.h"
#include "import/ImportOptions.h"
#include "import/PointSource.h"
#include "ovcf/ContentSignature.h"
#include "ovcf/OvcfReader.h"

namespace ovcf::test {

// Hands out given records with a unit step, optionally failing after some points.
class RecordSource final : public PointSource {
public:
    explicit RecordSource(std::vector<PointRecord> points) : points_(std::move(points)) {}

    std::uint64_t pointCount() const override { return points_.size(); }
    std::array<double, 3> step() const override { return {0.01, 0.01, 0.01}; }
    std::array<double, 3> offset() const override { return {1000.0, 2000.0, 0.0}; }
    bool hasColour() const override { return true; }
    Bounds3 bounds() const override { return {}; }
    bool read(PointRecord* out, std::size_t capacity, std::size_t& count, std::string& error) override {
        count = std::min<std::size_t>(capacity, points_.size() - cursor_);
        if (failAfter_ && cursor_ + count > *failAfter_) {
            count = 0;
            error = "simulated read failure";
            return false;
        }
        std::copy(points_.begin() + cursor_, points_.begin() + cursor_ + count, out);
        cursor_ += count;
        return true;
    }
    std::string description() const override { return "sorgente di prova"; }
    std::uint32_t fullPointFormat() const override { return 2; }

    void failAfter(std::size_t points) { failAfter_ = points; }

private:
    std::vector<PointRecord> points_;
    std::size_t cursor_ = 0;
    std::optional<std::size_t> failAfter_;
};

// Options for small test clouds: scratch under `scratch`, small nodes and grid, a fixed budget
// rather than the host's memory.
inline ImportOptions smallOptions(const TempDir& scratch, std::uint64_t ramBudget = std::uint64_t{256} << 20) {
    ImportOptions options;
    options.temporaryParent = scratch.path();
    options.maxNodePoints = 1000;
    options.gridSize = 16;
    options.ramBudget = ramBudget;
    return options;
}

// Points spread over a box of `extent` units, every field filled, clustered the way scans are.
inline std::vector<PointRecord> randomRecords(std::size_t count, std::uint32_t extent, std::uint32_t seed) {
    std::mt19937 random(seed);
    std::uniform_int_distribution<std::uint32_t> coordinate(0, extent - 1);
    std::normal_distribution<double> around(0.0, extent / 50.0);
    std::vector<PointRecord> points(count);
    PointRecord centre;
    for (std::size_t i = 0; i < count; ++i) {
        PointRecord& p = points[i];
        if (i % 1000 == 0) centre = {coordinate(random), coordinate(random), coordinate(random)};
        auto near = [&](std::uint32_t c) {
            const double v = c + around(random);
            return static_cast<std::uint32_t>(std::clamp(v, 0.0, static_cast<double>(extent - 1)));
        };
        p.x = near(centre.x) + 100;
        p.y = near(centre.y) + 200;
        p.z = near(centre.z) / 4 + 300;
        p.intensity = static_cast<std::uint16_t>(random());
        p.red = static_cast<std::uint8_t>(random());
        p.green = static_cast<std::uint8_t>(random());
        p.blue = static_cast<std::uint8_t>(random());
        p.classification = static_cast<std::uint8_t>(random() % 8);
    }
    return points;
}

// Coordinates (3 doubles a point) and packed colours of a small terrain-like host cloud.
struct HostCloud {
    std::vector<double> xyz;
    std::vector<std::uint32_t> colours;
    std::size_t size() const { return colours.size(); }
};

inline HostCloud hostCloud(std::size_t count, std::uint32_t seed, double originX = 512000.0, double originY = 4650000.0) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> across(0.0, 200.0);
    std::uniform_real_distribution<double> noise(-0.05, 0.05);
    HostCloud cloud;
    for (std::size_t i = 0; i < count; ++i) {
        const double x = across(random), y = across(random);
        cloud.xyz.push_back(originX + x);
        cloud.xyz.push_back(originY + y);
        cloud.xyz.push_back(120.0 + 0.05 * x + noise(random));
        cloud.colours.push_back(static_cast<std::uint32_t>(random()) & 0xFFFFFFu);
    }
    return cloud;
}

struct NodeContent {
    HierarchyRecord record;
    std::vector<PointRecord> points;
};

// Every node of a file with its points, read with CRC verification; fails the test on error.
inline std::vector<NodeContent> readWholeFile(const std::string& path, FileHeader* header = nullptr) {
    OvcfReader reader;
    std::string error;
    std::vector<NodeContent> nodes;
    if (!reader.open(path, error)) {
        ADD_FAILURE() << error;
        return nodes;
    }
    if (header) *header = reader.header();
    for (std::uint32_t i = 0; i < reader.nodes().size(); ++i) {
        NodeContent node{reader.nodes()[i], {}};
        if (!reader.readNode(i, node.points, error, true)) ADD_FAILURE() << error;
        nodes.push_back(std::move(node));
    }
    return nodes;
}

// Records are packed: their fields are compared as copies, never through references.
inline bool operator<(const PointRecord& a, const PointRecord& b) {
    auto fields = [](const PointRecord& p) {
        return std::make_tuple(+p.x, +p.y, +p.z, +p.intensity, +p.red, +p.green, +p.blue, +p.classification);
    };
    return fields(a) < fields(b);
}

// The names of the entries of a folder (empty when it does not exist).
inline std::vector<std::string> folderEntries(const std::string& folder) {
    std::vector<std::string> names;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(fsPath(folder), ignored))
        names.push_back(entry.path().filename().string());
    return names;
}

inline bool fileExists(const std::string& path) {
    std::error_code ignored;
    return std::filesystem::exists(fsPath(path), ignored);
}

// Writes any contiguous bytes (a string, a byte vector) as the whole file; returns the path.
template <typename Bytes>
std::string writeFile(const std::string& path, const Bytes& bytes) {
    std::ofstream(fsPath(path), std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return path;
}

inline std::vector<std::uint8_t> wholeFile(const std::string& path) {
    std::ifstream in(fsPath(path), std::ios::binary);
    return std::vector<std::uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// The file with its metadata's creation time blanked: the only bytes a second build changes.
inline std::vector<std::uint8_t> cacheBytesApartFromCreation(const std::string& path) {
    std::vector<std::uint8_t> bytes = wholeFile(path);
    FileHeader header;
    std::string error;
    EXPECT_EQ(OvcfReader::probeHeader(path, header, error), ProbeValid) << error;
    const std::string key = "created=";
    const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(header.metadataOffset);
    const auto end = begin + static_cast<std::ptrdiff_t>(header.metadataSize);
    auto at = std::search(begin, end, key.begin(), key.end());
    EXPECT_NE(at, end) << "no creation time in the metadata";
    for (at = at == end ? end : at + static_cast<std::ptrdiff_t>(key.size()); at != end && *at != '\n'; ++at) *at = '0';
    return bytes;
}

// Every point of a source, read `batch` points a call until it gives none.
inline std::vector<PointRecord> readPoints(PointSource& source, std::size_t batch = 1000) {
    std::vector<PointRecord> all, buffer(batch);
    std::string error;
    for (;;) {
        std::size_t count = 0;
        EXPECT_TRUE(source.read(buffer.data(), batch, count, error)) << error;
        if (count == 0) return all;
        all.insert(all.end(), buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(count));
    }
}

}  // namespace ovcf::test
