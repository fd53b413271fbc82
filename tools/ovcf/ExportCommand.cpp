// ovcf export: a cache's surviving points (or all of them) to LAS 1.4, binary PLY or XYZ text,
// so that a scan goes LAS -> ovcf -> cleaned -> LAS without a host program.
#include <cstdio>
#include <optional>
#include <string>

#include "Commands.h"
#include "TerminalProgress.h"
#include "core/NumberFormat.h"
#include "import/PointExport.h"
#include "platform/SystemInfo.h"

namespace ovcf::tool {

int runExport(int argc, char** argv) {
    std::string input, output;
    bool all = false;
    unsigned threads = 0;
    for (int i = 0; i < argc; ++i) {
        const std::string a = argv[i];
        if ((a == "-o" || a == "--output") && i + 1 < argc) {
            output = argv[++i];
        } else if (a == "--threads" && i + 1 < argc) {
            if (!parseThreadCount(argv[++i], threads)) return 2;
        } else if (a == "--all") {
            all = true;
        } else if (!a.empty() && a[0] == '-') {
            std::fprintf(stderr, "ovcf: unknown or incomplete option '%s'\n", a.c_str());
            return 2;
        } else if (input.empty()) {
            input = a;
        } else {
            std::fprintf(stderr, "ovcf: more than one cache ('%s')\n", a.c_str());
            return 2;
        }
    }
    if (input.empty() || output.empty()) {
        std::fputs("usage: ovcf export FILE.ovcf -o OUTPUT.las|.laz|.ply|.xyz [--all] [--threads N]\n", stderr);
        return 2;
    }
    std::optional<TerminalProgress> bar;
    if (standardErrorIsTerminal()) bar.emplace("ovcf export");
    ExportStats stats;
    std::string error;
    const bool done = exportPoints(input, output, all, stats, error, bar ? &TerminalProgress::hook : nullptr,
                                   bar ? &*bar : nullptr, threads);
    bar.reset();
    if (!done) return reportFailure(error.c_str());
    std::printf("ovcf: %s points written to %s in %s (%s deleted points left out)\n", formatCount(stats.written).c_str(),
                output.c_str(), formatDuration(stats.seconds).c_str(), formatCount(stats.skipped).c_str());
    return 0;
}

}  // namespace ovcf::tool
