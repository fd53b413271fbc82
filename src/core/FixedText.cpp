#include "core/FixedText.h"

#include <cstdarg>

namespace ovcf {

FixedText::FixedText(char* buffer, std::size_t capacity)
    : buffer_(buffer), capacity_(buffer ? capacity : 0) {
    if (capacity_ > 0) buffer_[0] = '\0';
}

void FixedText::put(char c) {
    if (room() == 0) return;
    buffer_[size_++] = c;
    buffer_[size_] = '\0';
}

void FixedText::append(const char* text) {
    if (!text) return;
    while (*text && room() > 0) put(*text++);
}

void FixedText::append(const char* text, std::size_t length) {
    for (std::size_t i = 0; text && i < length && room() > 0; ++i) put(text[i]);
}

void FixedText::appendLine(const char* text) {
    append(text);
    append("\r\n");
}

void FixedText::advance(std::size_t written) {
    size_ += written < room() ? written : room();
    if (capacity_ > 0) buffer_[size_] = '\0';
}

void FixedText::appendNumber(std::uint64_t magnitude, bool negative, unsigned base, bool upper, int width,
                             bool zeroPad, bool leftAlign) {
    char digits[24];
    int count = 0;
    const char* set = upper ? "0123456789ABCDEF" : "0123456789abcdef";
    do {
        digits[count++] = set[magnitude % base];
        magnitude /= base;
    } while (magnitude != 0);
    const int length = count + (negative ? 1 : 0);
    const int pad = width > length ? width - length : 0;
    if (!leftAlign && !zeroPad)
        for (int i = 0; i < pad; ++i) put(' ');
    if (negative) put('-');
    if (!leftAlign && zeroPad)
        for (int i = 0; i < pad; ++i) put('0');
    while (count > 0) put(digits[--count]);
    if (leftAlign)
        for (int i = 0; i < pad; ++i) put(' ');
}

void FixedText::appendFormat(const char* format, ...) {
    va_list args;
    va_start(args, format);
    for (const char* p = format; *p; ++p) {
        if (*p != '%') {
            put(*p);
            continue;
        }
        const char* start = p++;
        bool zeroPad = false, leftAlign = false;
        for (; *p == '0' || *p == '-'; ++p) (*p == '0' ? zeroPad : leftAlign) = true;
        int width = 0;
        for (; *p >= '0' && *p <= '9'; ++p) width = width * 10 + (*p - '0');
        int longs = 0;
        bool size = false;
        for (; *p == 'l' || *p == 'z'; ++p) (*p == 'l' ? void(++longs) : void(size = true));
        switch (*p) {
            case '%': put('%'); break;
            case 'c': put(static_cast<char>(va_arg(args, int))); break;
            case 's': {
                const char* text = va_arg(args, const char*);
                if (!text) text = "(null)";
                std::size_t length = 0;
                while (text[length]) ++length;
                const int pad = width > static_cast<int>(length) ? width - static_cast<int>(length) : 0;
                if (!leftAlign)
                    for (int i = 0; i < pad; ++i) put(' ');
                append(text, length);
                if (leftAlign)
                    for (int i = 0; i < pad; ++i) put(' ');
                break;
            }
            case 'd':
            case 'i': {
                const long long value = size ? static_cast<long long>(va_arg(args, std::ptrdiff_t))
                                        : longs >= 2 ? va_arg(args, long long)
                                        : longs == 1 ? va_arg(args, long)
                                                     : va_arg(args, int);
                const std::uint64_t magnitude =
                    value < 0 ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
                appendNumber(magnitude, value < 0, 10, false, width, zeroPad, leftAlign);
                break;
            }
            case 'u':
            case 'x':
            case 'X': {
                const std::uint64_t value = size ? va_arg(args, std::size_t)
                                            : longs >= 2 ? va_arg(args, unsigned long long)
                                            : longs == 1 ? va_arg(args, unsigned long)
                                                         : va_arg(args, unsigned);
                appendNumber(value, false, *p == 'u' ? 10 : 16, *p == 'X', width, zeroPad, leftAlign);
                break;
            }
            default:
                // Unknown conversions stay visible instead of eating arguments.
                append(start, static_cast<std::size_t>(p - start) + (*p ? 1 : 0));
                if (!*p) --p;
                break;
        }
    }
    va_end(args);
}

void FixedText::appendFixed(double value, int width, int decimals) {
    if (decimals < 0) decimals = 0;
    if (decimals > 9) decimals = 9;
    const bool negative = value < 0;
    double magnitude = negative ? -value : value;
    if (!(magnitude < 1.8e19)) {  // infinite, not a number, or beyond 64 bits
        append(value != value ? "nan" : negative ? "-inf" : "inf");
        return;
    }
    std::uint64_t scale = 1;
    for (int i = 0; i < decimals; ++i) scale *= 10;
    const double scaled = magnitude * static_cast<double>(scale) + 0.5;
    std::uint64_t units = scaled < 1.8e19 ? static_cast<std::uint64_t>(scaled) : ~std::uint64_t{0};
    const std::uint64_t whole = units / scale;
    std::uint64_t fraction = units % scale;

    char digits[48];
    int count = 0;
    for (int i = 0; i < decimals; ++i) {
        digits[count++] = static_cast<char>('0' + fraction % 10);
        fraction /= 10;
    }
    if (decimals > 0) digits[count++] = '.';
    std::uint64_t w = whole;
    do {
        digits[count++] = static_cast<char>('0' + w % 10);
        w /= 10;
    } while (w != 0);
    if (negative && units != 0) digits[count++] = '-';
    for (int i = count; i < width; ++i) put(' ');
    while (count > 0) put(digits[--count]);
}

}  // namespace ovcf
