// ovcf: builds, describes, checks, exports and cleans .ovcf point-cloud files from the command line.
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>

#include "Commands.h"

namespace {

void printUsage() {
    std::fputs(
        "usage:\n"
        "  ovcf build INPUT... -o OUTPUT.ovcf [--list FILE] [--recursive] [--ignore-crs] [--step M]\n"
        "             [--ram-mb N] [--temp-dir DIR] [--no-compression] [--threads N]\n"
        "      INPUT: LAS or LAZ 1.0-1.4 (COPC too), PLY (ASCII or binary) or XYZ[RGB] text; several\n"
        "      LAS or LAZ tiles, or a folder of them (its .las and .laz files in name order;\n"
        "      --recursive: its subfolders too), build one cloud on one grid\n"
        "      --list FILE: more inputs, one a line (relative to the list's folder)\n"
        "      --ignore-crs: builds tiles whose coordinate reference systems differ\n"
        "  ovcf info FILE.ovcf     header, levels, node statistics, metadata\n"
        "  ovcf check FILE.ovcf [--deep]\n"
        "      reads every node with CRC verification, compares the deleted-points map with its count\n"
        "      (--deep: and the current signature with the surviving points)\n"
        "  ovcf export FILE.ovcf -o OUTPUT.las|.laz|.ply|.xyz [--all] [--threads N]\n"
        "      the points that survive the confirmed deletions (--all: every point); LAS or LAZ 1.4\n"
        "      format 7, binary PLY or XYZ text\n"
        "  ovcf clean FILE.ovcf --isolated R,N[,G] | --spacing L | --cloth RES,TENSION,OFFSET | --colour RRGGBB,TOL [--dry-run]\n"
        "             [--threads N]\n"
        "      deletes what one filter selects over the whole cloud and confirms it into the file\n"
        "      (--dry-run: only reports)\n",
        stderr);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2 || std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0) {
        printUsage();
        return argc < 2 ? 2 : 0;
    }
    try {
        if (std::strcmp(argv[1], "build") == 0) return ovcf::tool::runBuild(argc - 2, argv + 2);
        if (std::strcmp(argv[1], "info") == 0) return ovcf::tool::runInfo(argc - 2, argv + 2);
        if (std::strcmp(argv[1], "check") == 0) return ovcf::tool::runCheck(argc - 2, argv + 2);
        if (std::strcmp(argv[1], "export") == 0) return ovcf::tool::runExport(argc - 2, argv + 2);
        if (std::strcmp(argv[1], "clean") == 0) return ovcf::tool::runClean(argc - 2, argv + 2);
    } catch (const std::bad_alloc&) {
        return ovcf::tool::reportFailure("out of memory");
    } catch (const std::exception& e) {
        return ovcf::tool::reportFailure(e.what());
    }
    std::fprintf(stderr, "ovcf: unknown command '%s'\n", argv[1]);
    printUsage();
    return 2;
}
