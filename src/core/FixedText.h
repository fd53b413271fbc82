// Text built into a caller's fixed buffer without ever allocating, locking or touching the C
// library's stdio: crash handlers format their reports with it, from a signal handler or after
// the heap is broken. Whatever does not fit is cut; the text stays zero-terminated.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/Log.h"

namespace ovcf {

class FixedText {
public:
    // `capacity` counts the terminating zero; a zero capacity or null buffer holds nothing.
    FixedText(char* buffer, std::size_t capacity);

    void append(const char* text);
    void append(const char* text, std::size_t length);
    // The text, then carriage return and line feed.
    void appendLine(const char* text);
    // printf-style, a subset: %s %c %d %i %u %x %X %%, the '0' and '-' flags, a width and the
    // length modifiers l, ll and z. Anything else is copied as it stands.
    void appendFormat(const char* format, ...) OVCF_PRINTF_FORMAT(2, 3);
    // A number with `decimals` digits after the point (0 to 9), right-aligned in `width`,
    // rounded half away from zero: "%8.3f" without printf.
    void appendFixed(double value, int width, int decimals);

    const char* text() const { return buffer_; }
    std::size_t size() const { return size_; }
    // Room left before the terminating zero, and a way to count bytes written there directly.
    char* tail() { return buffer_ + size_; }
    std::size_t room() const { return capacity_ == 0 ? 0 : capacity_ - 1 - size_; }
    void advance(std::size_t written);

private:
    void put(char c);
    void appendNumber(std::uint64_t magnitude, bool negative, unsigned base, bool upper, int width,
                      bool zeroPad, bool leftAlign);

    char* buffer_;
    std::size_t capacity_;
    std::size_t size_ = 0;
};

}  // namespace ovcf
