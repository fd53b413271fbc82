// What every benchmark prints besides its throughput: elapsed time, the process's memory, and
// how a job divides among threads.
#pragma once

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

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
inline double processorSeconds(const rusage& usage) {
    return usage.ru_utime.tv_sec + usage.ru_stime.tv_sec + (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) * 1e-6;
}

inline double processorSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return processorSeconds(usage);
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

// One job timed on one thread and on `threads`, read as a part that stays on one thread (S) and
// a part divided among all (P): one = S + P, all = S + P / threads; printed with what that
// predicts for 8 and 16 cores after `label`.
inline void printScaling(const char* label, double one, double all, unsigned threads) {
    if (threads < 2 || all <= 0.0) return;
    const double n = threads;
    const double parallel = std::max(0.0, (one - all) * n / (n - 1));
    const double serial = std::max(0.0, one - parallel);
    std::printf("%-38s %.2f x on %u threads; on one thread %.2f s, divided among all %.2f s: 8 cores %.2f s, "
                "16 cores %.2f s\n",
                label, one / all, threads, serial, parallel, serial + parallel / 8, serial + parallel / 16);
}

// "load 1.23/1.10": the one- and five-minute load averages, printed beside each stage's figures.
inline std::string loadText() {
    double one = 0, five = 0;
    if (std::FILE* f = std::fopen("/proc/loadavg", "r")) {
        if (std::fscanf(f, "%lf %lf", &one, &five) != 2) one = five = 0;
        std::fclose(f);
    }
    char text[48];
    std::snprintf(text, sizeof text, "load %.2f/%.2f", one, five);
    return text;
}

// The peak resident memory of the whole run: each stage resets the kernel's peak to measure its
// own, so the peak seen before every reset is kept here.
inline double runPeakMiB() {
    static double peak = 0;
    peak = std::max(peak, statusMiB("VmHWM:"));
    return peak;
}

// One stage of a long run, timed from its construction: seconds, million points per second, the
// peak resident memory and how far it rose above the resident memory at the stage's start, and the
// processor seconds of all the process's threads.
struct StageFigures {
    const char* name;
    Clock::time_point start;
    double residentAtStart;
    double processorAtStart;
    explicit StageFigures(const char* label) : name(label) {
        runPeakMiB();
        resetPeakResident();
        residentAtStart = statusMiB("VmRSS:");
        processorAtStart = processorSeconds();
        start = Clock::now();
    }
    // `points` is what the stage went through; `note` ends the line.
    void report(std::uint64_t points, const char* note = "") const {
        const double seconds = secondsSince(start);
        const double peak = statusMiB("VmHWM:");
        std::printf("%-31s %7.2f s %8.2f M points/s  cpu %6.2f s  peak %6.0f MiB (%+5.0f MiB over its start)  %s%s\n",
                    name, seconds, double(points) / seconds / 1e6, processorSeconds() - processorAtStart, peak,
                    peak - residentAtStart, loadText().c_str(), note);
        std::fflush(stdout);
    }
};

}  // namespace ovcf::bench
