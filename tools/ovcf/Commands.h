// The subcommands of the ovcf tool; each returns the process exit code (0 success, 1 failure,
// 2 wrong usage).
#pragma once

namespace ovcf::tool {

int runBuild(int argc, char** argv);
int runInfo(int argc, char** argv);
int runCheck(int argc, char** argv);
int runExport(int argc, char** argv);
int runClean(int argc, char** argv);

// Prints "ovcf: <message>" on standard error; returns 1.
int reportFailure(const char* message);

// The value of --threads: a whole number from 1 to 1024. False after printing what is wrong.
bool parseThreadCount(const char* text, unsigned& threads);

}  // namespace ovcf::tool
