#include "import/TextLines.h"

#include <charconv>
#include <cmath>
#include <cstring>

namespace ovcf {

bool LineReader::next(std::string_view& line, std::string& error) {
    error.clear();
    std::size_t available = 0;
    const std::uint8_t* bytes = file_.peek(std::size_t{1} << 20, available, error);
    if (!bytes) return false;
    if (available == 0) return false;
    const void* end = std::memchr(bytes, '\n', available);
    std::size_t length = 0;
    std::size_t consumed = 0;
    if (end) {
        length = static_cast<std::size_t>(static_cast<const std::uint8_t*>(end) - bytes);
        consumed = length + 1;
    } else if (file_.position() + available >= file_.size()) {
        length = available;  // the last line has no line end
        consumed = available;
    } else {
        error = "line " + std::to_string(lineNumber_ + 1) + " is longer than 1 MiB";
        return false;
    }
    if (length > 0 && bytes[length - 1] == '\r') --length;
    line = std::string_view(reinterpret_cast<const char*>(bytes), length);
    file_.skip(consumed);
    ++lineNumber_;
    return true;
}

std::size_t splitFields(std::string_view line, std::string_view* fields, std::size_t capacity) {
    std::size_t count = 0;
    std::size_t i = 0;
    const std::size_t n = line.size();
    auto isSeparator = [](char c) { return c == ' ' || c == '\t' || c == ','; };
    while (i < n) {
        while (i < n && isSeparator(line[i])) ++i;
        if (i >= n) break;
        const std::size_t start = i;
        while (i < n && !isSeparator(line[i])) ++i;
        if (count < capacity) fields[count] = line.substr(start, i - start);
        ++count;
    }
    return count;
}

bool parseNumber(std::string_view field, double& value) {
    const char* first = field.data();
    const char* last = field.data() + field.size();
    if (first != last && *first == '+') ++first;
    const auto result = std::from_chars(first, last, value);
    return result.ec == std::errc() && result.ptr == last && std::isfinite(value);
}

}  // namespace ovcf
