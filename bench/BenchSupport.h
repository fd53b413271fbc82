// What every benchmark prints besides its throughput: elapsed time and the process's memory.
#pragma once

#include <sys/resource.h>

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

// Linux: writing 5 to clear_refs resets the peak resident set to the current one, so that the
// next "VmHWM:" reading shows the peak of what follows, not of the whole process.
inline void resetPeakResident() {
    if (std::FILE* f = std::fopen("/proc/self/clear_refs", "w")) {
        std::fputs("5", f);
        std::fclose(f);
    }
}

// Processor seconds of all the process's threads (user and system): on a shared machine the wall
// clock also counts the time other programs held the cores.
inline double processorSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_utime.tv_sec + usage.ru_stime.tv_sec + (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) * 1e-6;
}

// The one-minute load average, to print with each figure: other programs share the cores.
inline double loadAverage() {
    double one = 0;
    if (std::FILE* f = std::fopen("/proc/loadavg", "r")) {
        if (std::fscanf(f, "%lf", &one) != 1) one = 0;
        std::fclose(f);
    }
    return one;
}

}  // namespace ovcf::bench
