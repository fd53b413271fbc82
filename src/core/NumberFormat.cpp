#include "core/NumberFormat.h"

#include <cstdio>

namespace ovcf {
namespace {

// Italian style: the first "." of a printed number becomes the decimal comma.
std::string withDecimalComma(std::string text) {
    const auto dot = text.find('.');
    if (dot != std::string::npos) text[dot] = ',';
    return text;
}

}  // namespace

std::string formatCount(std::uint64_t value) {
    char digits[32];
    const int length = std::snprintf(digits, sizeof digits, "%llu", static_cast<unsigned long long>(value));
    if (length <= 0) return "0";
    std::string grouped;
    grouped.reserve(static_cast<std::size_t>(length) + static_cast<std::size_t>(length) / 3);
    for (int i = 0; i < length; ++i) {
        if (i > 0 && (length - i) % 3 == 0) grouped.push_back('.');
        grouped.push_back(digits[i]);
    }
    return grouped;
}

std::string formatSize(std::uint64_t bytes) {
    char text[64];
    if (bytes < 1024) {
        std::snprintf(text, sizeof text, "%llu B", static_cast<unsigned long long>(bytes));
        return text;
    }
    static const char* const units[] = {"KiB", "MiB", "GiB", "TiB", "PiB"};
    double value = static_cast<double>(bytes);
    int unit = -1;
    while (value >= 1024.0 && unit < 4) {
        value /= 1024.0;
        ++unit;
    }
    std::snprintf(text, sizeof text, "%.2f %s", value, units[unit]);
    return withDecimalComma(text);
}

std::string formatDuration(double seconds) {
    char text[64];
    if (seconds < 1.0) {
        std::snprintf(text, sizeof text, "%.0f ms", seconds * 1000.0);
    } else if (seconds >= 60.0) {
        const int minutes = static_cast<int>(seconds / 60.0);
        std::snprintf(text, sizeof text, "%d m %.1f s", minutes, seconds - minutes * 60.0);
    } else {
        std::snprintf(text, sizeof text, "%.2f s", seconds);
    }
    return withDecimalComma(text);
}

}  // namespace ovcf
