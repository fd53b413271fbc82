// Writes the fuzzer's seed corpus: small valid .ovcf files of every kind (the same files the
// damaged-file tests start from).
#include <cstdio>
#include <filesystem>
#include <string>

#include "OvcfTestFiles.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s OUTPUT_FOLDER\n", argv[0]);
        return 2;
    }
    std::error_code failure;
    std::filesystem::create_directories(argv[1], failure);
    if (failure) {
        std::fprintf(stderr, "cannot create '%s': %s\n", argv[1], failure.message().c_str());
        return 1;
    }
    std::string error;
    const auto paths = ovcf::test::writeSeedFiles(argv[1], error);
    if (paths.empty()) {
        std::fprintf(stderr, "writing the seeds failed: %s\n", error.c_str());
        return 1;
    }
    std::printf("%zu seed files in %s\n", paths.size(), argv[1]);
    return 0;
}
