// Writes the seed corpora of the point-file fuzz targets: small valid LAS files of several
// versions and point formats, the small shared LAZ samples (pointwise and COPC), PLY files in ASCII and both binary byte orders, and XYZ texts with
// and without colour and column names. Each seed starts with the byte that picks the step.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "LasTestFile.h"
#include "LazTestFile.h"
#include "import/LasHeader.h"

namespace {

namespace fs = std::filesystem;

bool writeSeed(const fs::path& folder, const std::string& name, std::uint8_t stepByte, const std::string& file) {
    std::ofstream out(folder / name, std::ios::binary);
    out.put(static_cast<char>(stepByte));
    out.write(file.data(), static_cast<std::streamsize>(file.size()));
    return static_cast<bool>(out);
}

std::string lasSeed(std::uint8_t versionMinor, std::uint8_t format, std::size_t count) {
    ovcf::test::LasTestFile las;
    las.versionMinor = versionMinor;
    las.pointFormat = format;
    las.extraBytes = format == 1 ? 3 : 0;
    for (std::size_t i = 0; i < count; ++i) {
        ovcf::test::LasTestPoint p;
        p.x = static_cast<std::int32_t>(i * 7 % 50) - 20;
        p.y = static_cast<std::int32_t>(i * 13 % 40);
        p.z = static_cast<std::int32_t>(i % 5);
        p.intensity = static_cast<std::uint16_t>(i * 100);
        p.classification = static_cast<std::uint8_t>(i % 7);
        p.red = static_cast<std::uint16_t>(i * 4000);
        p.green = static_cast<std::uint16_t>(i * 20);
        p.blue = 255;
        las.points.push_back(p);
    }
    const std::vector<std::uint8_t> bytes = las.bytes();
    return std::string(bytes.begin(), bytes.end());
}

std::string binaryPly(bool bigEndian) {
    std::string text = std::string("ply\nformat ") + (bigEndian ? "binary_big_endian" : "binary_little_endian") +
                       " 1.0\nelement face 1\nproperty list uchar int vertex_indices\nelement vertex 3\n"
                       "property float x\nproperty double y\nproperty int z\nproperty ushort red\n"
                       "property uchar green\nproperty float blue\nend_header\n";
    auto put = [&](const void* value, std::size_t n) {
        const auto* bytes = static_cast<const char*>(value);
        for (std::size_t i = 0; i < n; ++i) text += bytes[bigEndian ? n - 1 - i : i];
    };
    const std::uint8_t corners = 3;
    put(&corners, 1);
    for (std::int32_t i = 0; i < 3; ++i) put(&i, 4);
    for (int i = 0; i < 3; ++i) {
        const float x = 1.5f * static_cast<float>(i);
        const double y = -2.25 * i;
        const std::int32_t z = 7 * i;
        const std::uint16_t red = static_cast<std::uint16_t>(20000 * i);
        const std::uint8_t green = static_cast<std::uint8_t>(90 * i);
        const float blue = 0.4f * static_cast<float>(i);
        put(&x, 4);
        put(&y, 8);
        put(&z, 4);
        put(&red, 2);
        put(&green, 1);
        put(&blue, 4);
    }
    return text;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s OUTPUT_FOLDER\n", argv[0]);
        return 2;
    }
    const fs::path root(argv[1]);
    std::error_code failure;
    for (const char* kind : {"las_reader", "laz_reader", "ply_reader", "xyz_reader"}) fs::create_directories(root / kind, failure);
    if (failure) {
        std::fprintf(stderr, "cannot create '%s': %s\n", argv[1], failure.message().c_str());
        return 1;
    }
    bool ok = true;
    const fs::path las = root / "las_reader", ply = root / "ply_reader", xyz = root / "xyz_reader";
    const struct { std::uint8_t minor, format; } kLas[] = {{0, 0}, {2, 1}, {2, 3}, {3, 5}, {4, 6}, {4, 8}, {4, 10}};
    for (const auto& f : kLas)
        for (std::uint8_t step : {0, 1, 2})
            ok &= writeSeed(las, "v1" + std::to_string(f.minor) + "_f" + std::to_string(f.format) + "_s" +
                                     std::to_string(step) + ".las",
                            step, lasSeed(f.minor, f.format, 12));
    ok &= writeSeed(las, "empty.las", 0, lasSeed(2, 0, 0));
    // Our own layered files: every point format of 6 to 8, NIR and extra bytes, fixed and
    // variable chunks, small enough for the fuzzer to change any byte.
    for (std::uint8_t format : {6, 7, 8})
        for (std::uint16_t extra : {0, 2}) {
            const std::uint16_t length = static_cast<std::uint16_t>(ovcf::lasMinimumRecordLength(format) + extra);
            const auto records = ovcf::test::variedLayeredRecords(format, extra, 40, length);
            const bool variable = extra > 0;
            const auto file = ovcf::test::layeredLazFile(format, extra, records, length,
                                                         variable ? std::vector<std::uint32_t>{7, 30} : std::vector<std::uint32_t>{16},
                                                         variable);
            ok &= writeSeed(root / "laz_reader", "f" + std::to_string(format) + "_e" + std::to_string(extra) + ".laz", 0,
                            std::string(file.begin(), file.end()));
        }
    for (const char* sample : {"pdal_simple.laz", "pdal_1.2-with-color.copc.laz"}) {
        std::ifstream in(fs::path(ORVANE_SHARED_DATA_DIR) / sample, std::ios::binary);
        const std::string file((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        ok &= !file.empty() && writeSeed(root / "laz_reader", sample, 0, file);
        if (std::string(sample) == "pdal_simple.laz" && file.size() > 400) {
            // The same bytes labelled as item version 1, so the first release's decoders meet
            // real chunks too. The LASzip record is the file's only one.
            std::string v1 = file;
            const std::size_t items = ovcf::le::u16(reinterpret_cast<const std::uint8_t*>(v1.data()) + 94) + 54 + 34;
            for (std::size_t at = items + 4; at + 2 <= v1.size() && at < items + 6 * 3; at += 6) v1[at] = 1;
            ok &= writeSeed(root / "laz_reader", "pdal_simple_items_v1.laz", 0, v1);
        }
    }

    ok &= writeSeed(ply, "ascii.ply", 1,
                    "ply\nformat ascii 1.0\ncomment seed\nelement vertex 3\nproperty float x\nproperty float y\n"
                    "property float z\nproperty uchar red\nproperty uchar green\nproperty uchar blue\n"
                    "element face 1\nproperty list uchar int vertex_indices\nend_header\n"
                    "0 0 0 255 0 0\n1.5 2.5 -3 0 255 0\n-4 5e2 6 0 0 255\n3 0 1 2\n");
    ok &= writeSeed(ply, "ascii_plain.ply", 2,
                    "ply\r\nformat ascii 1.0\r\nelement vertex 2\r\nproperty double x\r\nproperty double y\r\n"
                    "property double z\r\nend_header\r\n1 2 3\r\n4 5 6\r\n");
    ok &= writeSeed(ply, "binary_le.ply", 0, binaryPly(false));
    ok &= writeSeed(ply, "binary_be.ply", 1, binaryPly(true));

    ok &= writeSeed(xyz, "plain.xyz", 0, "1 2 3\n4.5 5.5 6.5\n-7 8e1 9\n");
    ok &= writeSeed(xyz, "colour.txt", 1,
                    "# exported\r\nX,Y,Z,R,G,B\r\n10.5, 20.25, -3.0, 255, 0, 128\r\n\r\n11.5\t20.75 -2.5 1 2 3 99\r\n"
                    "// comment\n12 21 -1 7 8 9");
    ok &= writeSeed(xyz, "intensity.xyz", 2, "0.001 0.002 0.003 17\n1e3 -1e3 0 4\n");
    if (!ok) {
        std::fprintf(stderr, "writing the seeds to '%s' failed\n", argv[1]);
        return 1;
    }
    std::printf("point-file seeds written to %s\n", argv[1]);
    return 0;
}
