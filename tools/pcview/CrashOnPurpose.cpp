#include "CrashOnPurpose.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <initializer_list>

namespace pcview {
namespace {

// Volatile on the way in, so that the compiler neither proves the fault nor removes it.
volatile std::uintptr_t gAddress = 0;
volatile int gDivisor = 0;
volatile int gDepth = 0;

#if defined(__GNUC__)
#define PCVIEW_FAULT __attribute__((noinline, no_sanitize("address", "undefined")))
#else
#define PCVIEW_FAULT
#endif

PCVIEW_FAULT int readAt(std::uintptr_t address) {
    gAddress = address;
    return *reinterpret_cast<volatile int*>(gAddress);
}

PCVIEW_FAULT void writeAt(std::uintptr_t address) {
    gAddress = address;
    *reinterpret_cast<volatile int*>(gAddress) = 1;
}

volatile int gQuotient = 0;

PCVIEW_FAULT void divide(int value) { gQuotient = value / gDivisor; }

PCVIEW_FAULT int recurse(int depth) {
    volatile char frame[1024];
    frame[depth % 1024] = static_cast<char>(depth);
    gDepth = depth;
    return depth >= 0 ? recurse(depth + 1) + frame[0] : 0;
}

}  // namespace

bool isCrashKind(const char* kind) {
    for (const char* known :
         {"null-read", "far-read", "null-write", "divide-by-zero", "abort", "terminate", "stack-overflow"})
        if (std::strcmp(kind, known) == 0) return true;
    return false;
}

void crashOnPurpose(const char* kind) {
    if (std::strcmp(kind, "null-read") == 0) readAt(0);
    if (std::strcmp(kind, "far-read") == 0) readAt(std::uintptr_t{1} << 40);
    if (std::strcmp(kind, "null-write") == 0) writeAt(8);
    if (std::strcmp(kind, "divide-by-zero") == 0) divide(7);
    if (std::strcmp(kind, "abort") == 0) std::abort();
    if (std::strcmp(kind, "terminate") == 0) std::terminate();
    if (std::strcmp(kind, "stack-overflow") == 0) recurse(0);
}

}  // namespace pcview
