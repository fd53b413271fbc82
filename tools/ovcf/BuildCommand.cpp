// ovcf build: a LAS, LAZ, PLY or XYZ file, or a survey of many LAS and LAZ tiles (files, folders,
// lists of them), into a .ovcf file, through the same out-of-core indexer as the host's in-memory
// clouds.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Commands.h"
#include "TerminalProgress.h"
#include "core/Log.h"
#include "import/FileSources.h"
#include "import/ImportSummary.h"
#include "import/OctreeIndexer.h"
#include "import/TileInputs.h"
#include "import/TileSetSource.h"
#include "platform/SystemFile.h"
#include "platform/SystemInfo.h"

namespace ovcf::tool {

namespace {

struct BuildArguments {
    std::vector<TileInput> inputs;
    bool recursive = false;
    bool ignoreCrs = false;
    std::string output;
    double step = 0.0;
    std::uint64_t ramMegabytes = 0;  // 0: the default budget
    std::string temporaryParent;
    bool compression = true;
    unsigned threads = 0;  // 0: every core
};

bool parseNumberArgument(const char* text, double& value) {
    char* end = nullptr;
    value = std::strtod(text, &end);
    return end != text && *end == '\0';
}

// False after printing what is wrong.
bool parseBuildArguments(int argc, char** argv, BuildArguments& args) {
    for (int i = 0; i < argc; ++i) {
        const std::string a = argv[i];
        const bool hasValue = i + 1 < argc;
        double number = 0;
        if ((a == "-o" || a == "--output") && hasValue) {
            args.output = argv[++i];
        } else if (a == "--step" && hasValue) {
            if (!parseNumberArgument(argv[++i], number) || !(number > 0.0)) {
                std::fprintf(stderr, "ovcf: --step needs a positive number of metres, not '%s'\n", argv[i]);
                return false;
            }
            args.step = number;
        } else if (a == "--ram-mb" && hasValue) {
            if (!parseNumberArgument(argv[++i], number) || !(number >= 1.0) || number > 1e9) {
                std::fprintf(stderr, "ovcf: --ram-mb needs a whole number of MiB, at least 1, not '%s'\n", argv[i]);
                return false;
            }
            args.ramMegabytes = static_cast<std::uint64_t>(number);
        } else if (a == "--threads" && hasValue) {
            if (!parseThreadCount(argv[++i], args.threads)) return false;
        } else if (a == "--temp-dir" && hasValue) {
            args.temporaryParent = argv[++i];
        } else if (a == "--no-compression") {
            args.compression = false;
        } else if (a == "--list" && hasValue) {
            args.inputs.push_back({argv[++i], true});
        } else if (a == "--recursive") {
            args.recursive = true;
        } else if (a == "--ignore-crs") {
            args.ignoreCrs = true;
        } else if (!a.empty() && a[0] == '-') {
            std::fprintf(stderr, "ovcf: unknown or incomplete option '%s'\n", a.c_str());
            return false;
        } else {
            args.inputs.push_back({a, false});
        }
    }
    if (args.inputs.empty() || args.output.empty()) {
        std::fputs("usage: ovcf build INPUT... -o OUTPUT.ovcf [--list FILE] [--recursive] [--ignore-crs] [--step M]\n"
                   "                  [--ram-mb N] [--temp-dir DIR] [--no-compression] [--threads N]\n",
                   stderr);
        return false;
    }
    return true;
}

// False after printing the complaint when the output is one of the inputs, however spelt.
bool outputIsNotAnInput(const std::vector<std::string>& files, const std::string& output) {
    for (const std::string& file : files)
        if (file == output || SystemFile::sameFile(file, output)) {
            std::fputs("ovcf: the output would overwrite the input\n", stderr);
            return false;
        }
    return true;
}

// The metadata's source: the file, or the first and last of a survey and how many.
std::string describeInputs(const std::vector<std::string>& files) {
    if (files.size() == 1) return files.front();
    return std::to_string(files.size()) + " file: " + files.front() + " .. " + files.back();
}

}  // namespace

bool parseThreadCount(const char* text, unsigned& threads) {
    char* end = nullptr;
    const unsigned long value = std::strtoul(text, &end, 10);
    if (end == text || *end != '\0' || value < 1 || value > kMostThreads) {
        std::fprintf(stderr, "ovcf: --threads needs a whole number from 1 to %u, not '%s'\n", kMostThreads, text);
        return false;
    }
    threads = static_cast<unsigned>(value);
    return true;
}

int reportFailure(const char* message) {
    std::fprintf(stderr, "ovcf: %s\n", message);
    return 1;
}

int runBuild(int argc, char** argv) {
    BuildArguments args;
    if (!parseBuildArguments(argc, argv, args)) return 2;

    std::string error;
    std::vector<std::string> files;
    if (!expandTileInputs(args.inputs, args.recursive, files, error)) return reportFailure(error.c_str());
    if (!outputIsNotAnInput(files, args.output)) return 2;
    // One file builds as it always has; several make a survey of tiles.
    std::unique_ptr<PointSource> source;
    TileSetSource* tiles = nullptr;
    if (files.size() == 1) {
        source = openPointFile(files.front(), args.step, error, args.threads);
    } else {
        auto set = std::make_unique<TileSetSource>();
        TileSetOptions tileOptions;
        tileOptions.step = args.step;
        tileOptions.threads = args.threads;
        tileOptions.ignoreCrs = args.ignoreCrs;
        if (set->open(files, tileOptions, error)) tiles = set.get(), source = std::move(set);
    }
    if (!source) return reportFailure(error.c_str());

    ImportOptions options;
    if (args.ramMegabytes > 0) options.ramBudget = args.ramMegabytes << 20;
    options.compression = args.compression;
    options.threads = args.threads;
    options.pointFormat = source->fullPointFormat();
    options.temporaryParent = args.temporaryParent;
    options.sourceDescription = describeInputs(files);

    std::optional<TerminalProgress> bar;
    if (standardErrorIsTerminal()) {
        bar.emplace("ovcf build");
        options.progressHook = &TerminalProgress::hook;
        options.progressContext = &*bar;
    }
    ImportStats stats;
    const bool built = buildOctree(*source, args.output, options, stats, error);
    if (built) {
        if (tiles)
            for (std::size_t i = 0; i < files.size(); ++i) stats.inputs.push_back({files[i], tiles->pointsPerTile()[i]});
        logImportSummary(stats);
        const std::string note = source->colourNote();
        if (!note.empty()) logLine(LogInfo, "colore               : %s", note.c_str());
    }
    bar.reset();
    if (!built) return reportFailure(error.c_str());
    return 0;
}

}  // namespace ovcf::tool
