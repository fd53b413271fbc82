// ovcf clean: runs one of the view's selection filters over a whole .ovcf file and deletes what
// it selects, confirmed into the file as the view confirms (map, count, content signature), so
// that a scan goes LAS -> ovcf -> cleaned -> LAS without a host program.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "Commands.h"
#include "core/NumberFormat.h"
#include "selection/CloudCleaning.h"

namespace ovcf::tool {

namespace {

constexpr const char* kCleanUsage =
    "usage: ovcf clean FILE.ovcf --isolated R,N[,G] | --spacing L | --cloth RES,TENSION,OFFSET | --colour RRGGBB,TOL [--dry-run]\n"
    "                  [--threads N]\n";

// Comma-separated finite numbers; false when any is not one.
bool parseNumbers(const std::string& text, std::vector<double>& values) {
    values.clear();
    std::size_t at = 0;
    while (true) {
        const std::size_t comma = text.find(',', at);
        const std::string part = text.substr(at, comma == std::string::npos ? std::string::npos : comma - at);
        char* end = nullptr;
        const double value = std::strtod(part.c_str(), &end);
        if (part.empty() || *end != '\0' || !std::isfinite(value)) return false;
        values.push_back(value);
        if (comma == std::string::npos) return true;
        at = comma + 1;
    }
}

// A whole number as the filters take it: below `least` becomes `least`, above 2^32 - 1 is cut.
bool wholeNumber(double value, std::int64_t least, std::uint32_t& out) {
    if (value != std::floor(value)) return false;
    out = static_cast<std::uint32_t>(std::min(std::max(value, static_cast<double>(least)), 4294967295.0));
    return true;
}

// Fills the filter settings from one filter option; false after printing what is wrong.
bool parseFilter(const std::string& option, const std::string& value, SelectionSettings& settings) {
    std::vector<double> v;
    if (option == "--colour") {
        const std::size_t comma = value.find(',');
        char* end = nullptr;
        const std::string hex = value.substr(0, comma);
        const unsigned long rgb = std::strtoul(hex.c_str(), &end, 16);
        if (hex.size() != 6 || *end != '\0' || comma == std::string::npos || !parseNumbers(value.substr(comma + 1), v) ||
            v.size() != 1) {
            std::fprintf(stderr, "ovcf: --colour needs RRGGBB,TOL (a hexadecimal colour and a tolerance in delta E), not '%s'\n",
                         value.c_str());
            return false;
        }
        settings.filter = 4;
        settings.colorReference = static_cast<std::uint32_t>(rgb);
        settings.colorTolerance = v[0];
        return true;
    }
    const bool numbers = parseNumbers(value, v);
    if (option == "--spacing") {
        if (!numbers || v.size() != 1 || !(v[0] > 0.0)) {
            std::fprintf(stderr, "ovcf: --spacing needs a length in metres above 0, not '%s'\n", value.c_str());
            return false;
        }
        settings.filter = 1;
        settings.spacing = v[0];
        return true;
    }
    if (option == "--isolated") {
        if (!numbers || v.size() < 2 || v.size() > 3 || !wholeNumber(v[1], 0, settings.isolatedNeighbors) ||
            (v.size() == 3 && !wholeNumber(v[2], 1, settings.isolatedGroup))) {
            std::fprintf(stderr,
                         "ovcf: --isolated needs R,N[,G] (radius in metres, least neighbours, largest detached group), not '%s'\n",
                         value.c_str());
            return false;
        }
        settings.filter = 3;
        settings.isolatedRadius = v[0];
        if (v.size() == 2) settings.isolatedGroup = 1;
        return true;
    }
    if (!numbers || v.size() != 3) {
        std::fprintf(stderr, "ovcf: --cloth needs RES,TENSION,OFFSET (cell in metres, tension 0 to 1, offset in metres), not '%s'\n",
                     value.c_str());
        return false;
    }
    settings.filter = 2;
    settings.clothResolution = v[0];
    settings.clothTension = v[1];
    settings.clothOffset = v[2];
    return true;
}

}  // namespace

int runClean(int argc, char** argv) {
    std::string path;
    bool dryRun = false;
    unsigned threads = 0;
    int filters = 0;
    SelectionSettings settings;
    for (int i = 0; i < argc; ++i) {
        const std::string a = argv[i];
        if ((a == "--isolated" || a == "--spacing" || a == "--cloth" || a == "--colour") && i + 1 < argc) {
            if (++filters > 1) {
                std::fputs("ovcf: choose one filter: --isolated, --spacing, --cloth or --colour\n", stderr);
                return 2;
            }
            if (!parseFilter(a, argv[++i], settings)) return 2;
        } else if (a == "--threads" && i + 1 < argc) {
            if (!parseThreadCount(argv[++i], threads)) return 2;
        } else if (a == "--dry-run") {
            dryRun = true;
        } else if (!a.empty() && a[0] == '-') {
            std::fprintf(stderr, "ovcf: unknown or incomplete option '%s'\n", a.c_str());
            return 2;
        } else if (path.empty()) {
            path = a;
        } else {
            std::fprintf(stderr, "ovcf: more than one cache ('%s')\n", a.c_str());
            return 2;
        }
    }
    if (path.empty() || filters == 0) {
        std::fputs(kCleanUsage, stderr);
        return 2;
    }
    CleaningResult result;
    std::string error;
    if (!cleanCloud(path, settings, dryRun, result, error, threads)) return reportFailure(error.c_str());
    if (dryRun)
        std::printf("ovcf: %s points would be deleted (dry run: %s left unchanged)\n",
                    formatCount(result.newlyDeleted).c_str(), path.c_str());
    else
        std::printf("ovcf: %s points deleted and confirmed into %s (%s deleted in all)\n",
                    formatCount(result.newlyDeleted).c_str(), path.c_str(), formatCount(result.deletedInFile).c_str());
    return 0;
}

}  // namespace ovcf::tool
