// Crash tests run the fault in a child process: GoogleTest's death tests re-run this program,
// which runs the test body again up to the statement that must end the process. The scratch
// folder therefore travels to the child through the environment, and LOCALAPPDATA points the
// module's diagnostics folder into it.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "TestSupport.h"

namespace ovcf::test {

enum class Fault { NullRead, FarRead, Abort, Terminate, StackOverflow };

// The faults themselves, out of the optimiser's and the sanitizers' reach.
[[noreturn]] void causeFault(Fault fault);
// The address FarRead reads: unmapped, far above the near-null range.
constexpr unsigned long long kFarReadAddress = 0x10000000000ull;

class CrashFolder {
public:
    // In the parent: a fresh scratch folder; in the child: the parent's. LOCALAPPDATA is set to it.
    CrashFolder();
    // Restores LOCALAPPDATA; the parent removes the folder.
    ~CrashFolder();

    // The module's diagnostics folder inside it (LOCALAPPDATA's OrvaneN).
    std::string diagnostics() const;
    // Files of the diagnostics folder ending in `extension`, full paths, sorted.
    std::vector<std::string> files(const std::string& extension) const;

private:
    std::unique_ptr<TempDir> scratch_;
    std::string root_;
    std::string savedLocalAppData_;
    bool hadLocalAppData_ = false;
};

// False when something in the process (a sanitizer run with allow_user_segv_handler=0) keeps the
// fault signals for itself, so that a crash handler installed now would never run.
bool crashHandlersCanBeInstalled();

// The whole file as bytes, empty when it cannot be read.
std::string readWholeFile(const std::string& path);
void setEnvironment(const char* name, const std::string& value);

}  // namespace ovcf::test
