// What every benchmark prints besides its throughput: elapsed time and the process's memory.
#pragma once

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace ovcf::bench {

using Clock = std::chrono::steady_clock;

inline double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// A field of /proc/self/status ("VmHWM:" peak resident, "VmRSS:" resident) in MiB.
inline double statusMiB(const char* key) {
    std::FILE* f = std::fopen("/proc/self/status", "r");
    if (!f) return 0;
    char line[256];
    double kib = 0;
    const std::size_t keyLength = std::strlen(key);
    while (std::fgets(line, sizeof line, f))
        if (std::strncmp(line, key, keyLength) == 0) kib = std::atof(line + keyLength);
    std::fclose(f);
    return kib / 1024.0;
}

}  // namespace ovcf::bench
