#include "CrashTestSupport.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#if !defined(_WIN32)
#include <signal.h>
#endif

namespace fs = std::filesystem;

namespace ovcf::test {
namespace {

constexpr const char* kRootVariable = "ORVANE_CRASH_TEST_ROOT";

#if defined(__GNUC__)
#define NO_SANITIZE __attribute__((noinline, no_sanitize("address", "undefined")))
#else
#define NO_SANITIZE
#endif

volatile unsigned long long gAddress = 0;

NO_SANITIZE int readAt(unsigned long long address) {
    gAddress = address;
    return *reinterpret_cast<volatile int*>(static_cast<std::uintptr_t>(gAddress));
}

volatile int gDepth = 0;

NO_SANITIZE int recurse(int depth) {
    volatile char frame[512];
    frame[depth % 512] = static_cast<char>(depth);
    gDepth = depth;
    return depth >= 0 ? recurse(depth + 1) + frame[0] : 0;
}

}  // namespace

void causeFault(Fault fault) {
    switch (fault) {
        case Fault::NullRead: readAt(0); break;
        case Fault::FarRead: readAt(kFarReadAddress); break;
        case Fault::Abort: std::abort();
        case Fault::Terminate: std::terminate();
        case Fault::StackOverflow: recurse(0); break;
    }
    std::abort();  // the fault did not happen: the test must not see a clean end
}

#if defined(_WIN32)
bool crashHandlersCanBeInstalled() { return true; }
#else
namespace {
void probeHandler(int) {}
}  // namespace

bool crashHandlersCanBeInstalled() {
    struct sigaction probe {}, previous {}, seen {};
    probe.sa_handler = &probeHandler;
    sigemptyset(&probe.sa_mask);
    if (sigaction(SIGSEGV, &probe, &previous) != 0) return false;
    sigaction(SIGSEGV, &previous, &seen);
    return seen.sa_handler == &probeHandler;
}
#endif

void setEnvironment(const char* name, const std::string& value) {
#if defined(_WIN32)
    _putenv_s(name, value.c_str());
#else
    setenv(name, value.c_str(), 1);
#endif
}

CrashFolder::CrashFolder() {
    const char* inherited = std::getenv(kRootVariable);
    if (inherited && *inherited) {
        root_ = inherited;
    } else {
        scratch_ = std::make_unique<TempDir>("orvane_crash");
        root_ = scratch_->path();
        setEnvironment(kRootVariable, root_);
    }
    if (const char* current = std::getenv("LOCALAPPDATA")) {
        hadLocalAppData_ = true;
        savedLocalAppData_ = current;
    }
    setEnvironment("LOCALAPPDATA", root_);
}

CrashFolder::~CrashFolder() {
    setEnvironment("LOCALAPPDATA", hadLocalAppData_ ? savedLocalAppData_ : "");
    if (scratch_) setEnvironment(kRootVariable, "");
}

std::string CrashFolder::diagnostics() const {
    const std::u8string text = (fsPath(root_) / "OrvaneN").generic_u8string();
    return std::string(text.begin(), text.end());
}

std::vector<std::string> CrashFolder::files(const std::string& extension) const {
    std::vector<std::string> result;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(fsPath(diagnostics()), error)) {
        const std::u8string name = entry.path().generic_u8string();
        std::string text(name.begin(), name.end());
        if (text.size() >= extension.size() && text.compare(text.size() - extension.size(), extension.size(), extension) == 0)
            result.push_back(text);
    }
    std::sort(result.begin(), result.end());
    return result;
}

std::string readWholeFile(const std::string& path) {
    std::ifstream in(fsPath(path), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace ovcf::test
