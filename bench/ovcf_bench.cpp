// Writes and reads back a survey-like cloud (about 20 million points by default) and prints the
// write throughput, the file size and LZ4 ratio, the read-and-decode throughput with and without
// the CRC check (million points per second per thread), the cost of each stage and peak memory.
//
// usage: ovcf_bench [POINTS] [POINT_FORMAT] [FOLDER]
#include <benchmark/benchmark.h>
#include <lz4.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "ovcf/Crc32.h"
#include "ovcf/NodeBlockCodec.h"
#include "ovcf/OvcfReader.h"
#include "ovcf/OvcfWriter.h"

using namespace ovcf;

#include "BenchSupport.h"

using ovcf::bench::Clock;
using ovcf::bench::secondsSince;

namespace {

// Resident memory now, from /proc (Linux).
double residentMiB() {
    std::FILE* statm = std::fopen("/proc/self/statm", "r");
    if (!statm) return 0;
    unsigned long long size = 0, resident = 0;
    const int fields = std::fscanf(statm, "%llu %llu", &size, &resident);
    std::fclose(statm);
    return fields == 2 ? double(resident) * double(sysconf(_SC_PAGESIZE)) / 1048576.0 : 0;
}

double peakResidentMiB() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_maxrss) / 1024.0;  // kilobytes on Linux
}

struct Node {
    NodeKey key;
    std::vector<PointRecord> points;
};

constexpr std::uint32_t kRootExponent = 24;  // 2^24 units of 0.1 mm: a 1.68 km cube
constexpr std::uint32_t kDeepest = 5;        // about 1,365 nodes over a flat site

// A 1.2 km x 1.2 km site at 0.1 mm quantisation: rolling ground, trees and box-shaped buildings,
// colour and intensity following the surface. Points are spread over octree levels 0 to 5 the
// way a level-of-detail builder spreads them, each level holding about as many per node.
std::vector<Node> makeSurvey(std::size_t count, std::uint32_t pointFormat) {
    std::mt19937_64 random(20260928);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    std::normal_distribution<double> noise(0.0, 1.0);
    const double step = 0.0001;
    const double side = 1200.0;

    std::vector<double> levelWeight;
    double total = 0;
    for (std::uint32_t level = 0; level <= kDeepest; ++level) total += std::pow(4.0, level);
    double cumulative = 0;
    for (std::uint32_t level = 0; level <= kDeepest; ++level) {
        cumulative += std::pow(4.0, level) / total;
        levelWeight.push_back(cumulative);
    }

    struct Placed {
        std::uint64_t order;  // level, then key, so parents come first
        PointRecord point;
    };
    std::vector<Placed> placed(count);
    for (std::size_t i = 0; i < count; ++i) {
        const double x = unit(random) * side, y = unit(random) * side;
        double z = 40.0 + 8.0 * std::sin(x / 90.0) * std::cos(y / 130.0) + 0.02 * noise(random);
        std::uint8_t classification = 2;
        const double cellX = std::fmod(x, 60.0), cellY = std::fmod(y, 60.0);
        if (cellX < 18 && cellY < 25) {
            z += 9.0 + 0.01 * noise(random);  // roof
            classification = 6;
        } else if (unit(random) < 0.25) {
            z += unit(random) * 15.0;  // vegetation
            classification = 5;
        }
        PointRecord p;
        p.x = std::uint32_t(std::llround(x / step));
        p.y = std::uint32_t(std::llround(y / step));
        p.z = std::uint32_t(std::llround(z / step));
        if (pointFormat >= 1) {
            const double shade = 0.5 + 0.5 * std::sin(x / 7.0) * std::sin(y / 11.0);
            p.red = std::uint8_t(classification == 5 ? 60 + 40 * shade : 150 + 60 * shade);
            p.green = std::uint8_t(classification == 5 ? 120 + 60 * shade : 140 + 50 * shade);
            p.blue = std::uint8_t(classification == 6 ? 170 : 90 + 40 * shade);
        }
        if (pointFormat == 2) {
            p.intensity = std::uint16_t(classification == 6 ? 2600 + 200 * unit(random) : 900 + 1400 * unit(random));
            p.classification = classification;
        }
        const double r = unit(random);
        const std::uint32_t level = std::uint32_t(std::lower_bound(levelWeight.begin(), levelWeight.end(), r) -
                                                  levelWeight.begin());
        const std::uint32_t shift = kRootExponent - level;
        const std::uint64_t kx = p.x >> shift, ky = p.y >> shift, kz = p.z >> shift;
        placed[i] = {std::uint64_t(level) << 60 | kz << 40 | ky << 20 | kx, p};
    }
    std::sort(placed.begin(), placed.end(), [](const Placed& a, const Placed& b) { return a.order < b.order; });

    std::vector<Node> nodes;
    for (const Placed& entry : placed) {
        if (nodes.empty() || entry.order != ((std::uint64_t(nodes.back().key.level) << 60) |
                                             (std::uint64_t(nodes.back().key.z) << 40) |
                                             (std::uint64_t(nodes.back().key.y) << 20) | nodes.back().key.x)) {
            const std::uint32_t level = std::uint32_t(entry.order >> 60);
            nodes.push_back({{level, std::uint32_t(entry.order & 0xFFFFF), std::uint32_t((entry.order >> 20) & 0xFFFFF),
                              std::uint32_t((entry.order >> 40) & 0xFFFFF)},
                             {}});
        }
        nodes.back().points.push_back(entry.point);
    }
    return nodes;
}

struct ReadFigures {
    double seconds = 0;
    std::uint64_t points = 0;
    bool ok = true;
};

// Every thread opens its own reader and reads every node; threads take turns over the nodes.
ReadFigures readAll(const std::string& path, unsigned threads, bool verifyCrc, int rounds) {
    std::atomic<std::uint64_t> points{0};
    std::atomic<bool> ok{true};
    const auto start = Clock::now();
    std::vector<std::thread> workers;
    for (unsigned t = 0; t < threads; ++t) {
        workers.emplace_back([&, t] {
            OvcfReader reader;
            std::string error;
            if (!reader.open(path, error)) {
                std::fprintf(stderr, "%s\n", error.c_str());
                ok = false;
                return;
            }
            std::vector<PointRecord> decoded;
            std::uint64_t mine = 0;
            for (int round = 0; round < rounds; ++round) {
                for (std::uint32_t n = t; n < reader.nodes().size(); n += threads) {
                    if (!reader.readNode(n, decoded, error, verifyCrc)) {
                        std::fprintf(stderr, "%s\n", error.c_str());
                        ok = false;
                        return;
                    }
                    benchmark::DoNotOptimize(decoded.data());
                    mine += decoded.size();
                }
            }
            points += mine;
        });
    }
    for (auto& worker : workers) worker.join();
    return {secondsSince(start), points, ok};
}

// Several passes, each reading the whole file; the best and the median pass are printed, since
// on a shared machine the other processes only ever make a pass slower.
bool measureRead(const std::string& path, const char* what, unsigned threads, bool verifyCrc) {
    constexpr int kPasses = 7;
    std::vector<double> rates;
    std::uint64_t points = 0;
    for (int pass = 0; pass < kPasses; ++pass) {
        const ReadFigures figures = readAll(path, threads, verifyCrc, 1);
        if (!figures.ok) return false;
        rates.push_back(double(figures.points) / figures.seconds / 1e6 / threads);
        points = figures.points;
    }
    std::sort(rates.begin(), rates.end());
    std::printf("  %-20s %u thread%s: best %6.1f, median %6.1f M points/s per thread (%d passes of %.1f M points)\n",
                what, threads, threads == 1 ? " " : "s", rates.back(), rates[kPasses / 2], kPasses,
                double(points) / 1e6);
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    const std::size_t count = argc > 1 ? std::size_t(std::strtoull(argv[1], nullptr, 10)) : 20000000;
    const std::uint32_t pointFormat = argc > 2 ? std::uint32_t(std::atoi(argv[2])) : 2;
    const std::filesystem::path folder = argc > 3 ? std::filesystem::path(argv[3]) : std::filesystem::temp_directory_path();
    const std::string path = (folder / "ovcf_bench.ovcf").string();
    std::printf("ovcf_bench: %.1f M points, point format %u, file %s\n", double(count) / 1e6, pointFormat, path.c_str());

    auto start = Clock::now();
    std::vector<Node> nodes = makeSurvey(count, pointFormat);
    std::printf("cloud generated in %.2f s: %zu nodes, peak memory so far %.0f MiB\n", secondsSince(start),
                nodes.size(), peakResidentMiB());

    // Writing.
    OvcfWriterParams params;
    params.step[0] = params.step[1] = params.step[2] = 0.0001;
    params.offset[0] = 500000.0;
    params.offset[1] = 5000000.0;
    params.boundsMax[0] = params.boundsMax[1] = 1200.0;
    params.boundsMax[2] = 80.0;
    params.rootExponent = kRootExponent;
    params.pointFormat = pointFormat;
    params.compression = true;
    params.source = "ovcf_bench survey";
    OvcfWriter writer;
    std::string error;
    start = Clock::now();
    bool written = writer.open(path, params, error);
    for (std::size_t i = 0; written && i < nodes.size(); ++i)
        written = writer.writeNode(nodes[i].key, nodes[i].points.data(), nodes[i].points.size(), error);
    written = written && writer.close(error);
    const double writeSeconds = secondsSince(start);
    if (!written) {
        std::fprintf(stderr, "writing failed: %s\n", error.c_str());
        return 1;
    }
    const std::uint64_t fileBytes = std::filesystem::file_size(path);
    std::printf("write: %.2f s, %.1f M points/s, %.0f MB/s raw; file %.1f MiB (%.2f bytes/point)\n", writeSeconds,
                double(writer.pointsWritten()) / writeSeconds / 1e6, double(writer.rawBytes()) / writeSeconds / 1e6,
                double(fileBytes) / 1048576.0, double(fileBytes) / double(writer.pointsWritten()));
    std::printf("LZ4: raw %.1f MiB -> stored %.1f MiB, ratio %.2f\n", double(writer.rawBytes()) / 1048576.0,
                double(writer.storedBytes()) / 1048576.0, double(writer.rawBytes()) / double(writer.storedBytes()));
    nodes.clear();
    nodes.shrink_to_fit();

    // Reading, from the page cache: one warm-up pass, then the measured passes.
    readAll(path, 1, false, 1);
    std::printf("read and decode (file in the page cache):\n");
    const unsigned cores = std::max(1u, std::thread::hardware_concurrency());
    for (bool verify : {false, true}) {
        for (unsigned threads : {1u, std::min(cores, 4u)}) {
            if (!measureRead(path, verify ? "with CRC check" : "without CRC check", threads, verify)) return 1;
            if (cores == 1) break;
        }
    }
    std::printf("resident memory after reading (cloud released): %.0f MiB\n", residentMiB());

    // Stages, over the largest node, to tell where the time goes.
    OvcfReader reader;
    if (!reader.open(path, error)) {
        std::fprintf(stderr, "%s\n", error.c_str());
        return 1;
    }
    std::uint32_t largest = 0;
    for (std::uint32_t n = 0; n < reader.nodes().size(); ++n)
        if (reader.nodes()[n].pointCount > reader.nodes()[largest].pointCount) largest = n;
    const HierarchyRecord& node = reader.nodes()[largest];
    std::vector<std::uint8_t> stored(node.storedSize), raw(node.rawSize);
    std::vector<PointRecord> decoded(node.pointCount);
    {
        SystemFile file;
        file.open(path, SystemFile::Mode::Read);
        file.readAt(node.blockOffset, stored.data(), stored.size());
    }
    const int repeats = std::max(1, int(200000000 / std::max<std::uint32_t>(node.pointCount, 1)));
    const auto stage = [&](const char* name, auto&& body) {
        double seconds = 1e30;
        for (int pass = 0; pass < 5; ++pass) {
            const auto begin = Clock::now();
            for (int r = 0; r < repeats / 5 + 1; ++r) body();
            seconds = std::min(seconds, secondsSince(begin) * repeats / (repeats / 5 + 1));
        }
        std::printf("  %-28s %7.1f M points/s, %6.2f GB/s of raw block\n", name,
                    double(node.pointCount) * repeats / seconds / 1e6, double(node.rawSize) * repeats / seconds / 1e9);
    };
    std::printf("stages (best of 5), node %u (%u points, %.1f KiB stored):\n", largest, node.pointCount, node.storedSize / 1024.0);
    stage("LZ4 decompression", [&] {
        if (node.storedSize != node.rawSize)
            LZ4_decompress_safe(reinterpret_cast<const char*>(stored.data()), reinterpret_cast<char*>(raw.data()),
                                int(node.storedSize), int(node.rawSize));
        else
            raw = stored;
        benchmark::DoNotOptimize(raw.data());
    });
    const auto origin = nodeOrigin(reader.header(), node.key());
    stage("byte-plane decoding", [&] {
        decodeNodeBlock(raw.data(), node.pointCount, pointFormat, origin, decoded.data());
        benchmark::DoNotOptimize(decoded.data());
    });
    stage("CRC-32", [&] {
        std::uint32_t crc = crc32(raw.data(), raw.size());
        benchmark::DoNotOptimize(crc);
    });
    stage("byte-plane encoding", [&] {
        encodeNodeBlock(decoded.data(), node.pointCount, pointFormat, origin, raw.data());
        benchmark::DoNotOptimize(raw.data());
    });

    std::printf("peak resident memory: %.0f MiB (the generated cloud and its sorting dominate)\n", peakResidentMiB());
    std::filesystem::remove(path);
    return 0;
}
