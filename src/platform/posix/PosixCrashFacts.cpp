#include "platform/posix/PosixCrashFacts.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <ctime>

namespace ovcf {
namespace {

std::atomic<long> gUtcOffsetSeconds{0};

const char* parseHex(const char* p, std::uint64_t& value) {
    value = 0;
    for (;; ++p) {
        const char c = *p;
        unsigned digit;
        if (c >= '0' && c <= '9') digit = static_cast<unsigned>(c - '0');
        else if (c >= 'a' && c <= 'f') digit = static_cast<unsigned>(c - 'a' + 10);
        else if (c >= 'A' && c <= 'F') digit = static_cast<unsigned>(c - 'A' + 10);
        else return p;
        value = value * 16 + digit;
    }
}

const char* skipField(const char* p) {
    while (*p && *p != ' ') ++p;
    while (*p == ' ') ++p;
    return p;
}

// One line of /proc/self/maps: "start-end perms offset dev inode   path".
struct MapsScan {
    std::uint64_t address;
    CrashFacts* facts;
    char lastPath[kCrashPathBytes];
    std::uint64_t lastBase;
    bool done;

    void line(const char* text) {
        std::uint64_t start, end, offset;
        const char* p = parseHex(text, start);
        if (*p != '-') return;
        p = parseHex(p + 1, end);
        p = skipField(p + 1);  // perms
        p = parseHex(p, offset);
        p = skipField(skipField(skipField(p)));  // offset, dev, inode
        const bool named = *p == '/';
        // A file's first mapping (offset 0) is its load base; later segments count from it.
        if (named && offset == 0) {
            std::strncpy(lastPath, p, sizeof lastPath - 1);
            lastBase = start;
        }
        if (address < start || address >= end) return;
        done = true;
        if (!named) return;
        const std::uint64_t base = std::strcmp(lastPath, p) == 0 ? lastBase : start - offset;
        const char* name = std::strrchr(p, '/') + 1;
        std::strncpy(facts->moduleName, name, sizeof facts->moduleName - 1);
        facts->moduleOffset = address - base;
        facts->moduleKnown = true;
    }
};

// civil_from_days: days since 1970-01-01 to year, month, day (proleptic Gregorian).
void civilFromDays(long long days, unsigned& year, unsigned& month, unsigned& day) {
    days += 719468;
    const long long era = (days >= 0 ? days : days - 146096) / 146097;
    const unsigned dayOfEra = static_cast<unsigned>(days - era * 146097);
    const unsigned yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const unsigned dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const unsigned monthIndex = (5 * dayOfYear + 2) / 153;
    day = dayOfYear - (153 * monthIndex + 2) / 5 + 1;
    month = monthIndex < 10 ? monthIndex + 3 : monthIndex - 9;
    year = static_cast<unsigned>(static_cast<long long>(yearOfEra) + era * 400 + (month <= 2 ? 1 : 0));
}

}  // namespace

void findCrashModule(CrashFacts& facts) {
    static MapsScan scan;
    static char chunk[4096];
    static char line[kCrashPathBytes + 128];
    std::memset(&scan, 0, sizeof scan);
    scan.address = facts.address;
    scan.facts = &facts;
    const int descriptor = ::open("/proc/self/maps", O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) return;
    std::size_t used = 0;
    ssize_t got;
    while (!scan.done && (got = ::read(descriptor, chunk, sizeof chunk)) > 0) {
        for (ssize_t i = 0; i < got && !scan.done; ++i) {
            if (chunk[i] != '\n') {
                if (used < sizeof line - 1) line[used++] = chunk[i];  // overlong paths are cut
                continue;
            }
            line[used] = '\0';
            scan.line(line);
            used = 0;
        }
    }
    ::close(descriptor);
}

void fillCrashProcessFacts(CrashFacts& facts) {
    facts.processId = static_cast<std::uint64_t>(::getpid());
    const ssize_t length = ::readlink("/proc/self/exe", facts.executablePath, kCrashPathBytes - 1);
    facts.executablePath[length > 0 ? length : 0] = '\0';

    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    const long long local = static_cast<long long>(now.tv_sec) + gUtcOffsetSeconds.load();
    long long days = local / 86400;
    long long secondsOfDay = local % 86400;
    if (secondsOfDay < 0) {
        secondsOfDay += 86400;
        --days;
    }
    CrashTime& t = facts.time;
    civilFromDays(days, t.year, t.month, t.day);
    t.hour = static_cast<unsigned>(secondsOfDay / 3600);
    t.minute = static_cast<unsigned>(secondsOfDay / 60 % 60);
    t.second = static_cast<unsigned>(secondsOfDay % 60);
    t.millisecond = static_cast<unsigned>(now.tv_nsec / 1000000);
}

void rememberUtcOffset() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    if (::localtime_r(&now, &local)) gUtcOffsetSeconds.store(local.tm_gmtoff);
}

}  // namespace ovcf
