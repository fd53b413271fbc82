// ovcf check: the whole check of a file, with a progress bar on a terminal; the first fault is
// reported and the exit code is 1.
#include <cstdio>
#include <optional>
#include <string>

#include "Commands.h"
#include "TerminalProgress.h"
#include "core/NumberFormat.h"
#include "ovcf/FileCheck.h"
#include "platform/SystemInfo.h"

namespace ovcf::tool {

int runCheck(int argc, char** argv) {
    const bool deep = argc == 2 && std::string(argv[1]) == "--deep";
    if (argc != 1 && !deep) {
        std::fputs("usage: ovcf check FILE.ovcf [--deep]\n", stderr);
        return 2;
    }
    const std::string path = argv[0];
    std::optional<TerminalProgress> bar;
    if (standardErrorIsTerminal()) bar.emplace("ovcf check");
    FileCheckResult result;
    std::string fault;
    const bool ok = checkFile(path, deep, result, fault, [&](double share) {
        if (bar) bar->show(share);
    });
    bar.reset();
    if (!ok) return reportFailure(fault.c_str());
    std::printf("%s: OK, %s nodes and %s points read with CRC verification%s\n", path.c_str(),
                formatCount(result.nodes).c_str(), formatCount(result.points).c_str(),
                deep ? ", current signature of the surviving points verified" : "");
    return 0;
}

}  // namespace ovcf::tool
