// Only the first fatal error of the process writes a report; later ones wait for it and write
// nothing. Header-only and lock-free, for the platform's crash handlers.
#pragma once

#include <atomic>

namespace ovcf::firstfault {

inline std::atomic<int> gState{0};  // 0 none, 1 reporting, 2 reported

// True for the one caller that will write the report.
inline bool claim() {
    int expected = 0;
    return gState.compare_exchange_strong(expected, 1);
}
inline void finish() { gState.store(2); }
inline bool finished() { return gState.load() == 2; }

}  // namespace ovcf::firstfault
