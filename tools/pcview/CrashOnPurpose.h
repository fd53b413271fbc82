// Faults on purpose, to try the module's crash diagnostics from the demo host.
#pragma once

namespace pcview {

// The kinds --crash accepts, for the usage text.
constexpr const char* kCrashKinds = "null-read|far-read|null-write|divide-by-zero|abort|terminate|stack-overflow";

// True when `kind` names one of them.
bool isCrashKind(const char* kind);
// Does it; returns only when the fault did not happen (it always does).
void crashOnPurpose(const char* kind);

}  // namespace pcview
