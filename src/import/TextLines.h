// Line-by-line reading of text point files (XYZ, ASCII PLY) and the number parsing they share.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "import/BufferedFileReader.h"

namespace ovcf {

class LineReader {
public:
    explicit LineReader(BufferedFileReader& file) : file_(file) {}

    // The next line without its line end ("\n" or "\r\n"); false at the end of the file (then
    // `error` is empty) or on a read failure (then it says why). The view lasts until the next call.
    bool next(std::string_view& line, std::string& error);
    // Starts counting again, after the file was reopened.
    void reset() { lineNumber_ = 0; }
    // 1-based number of the line last returned.
    std::uint64_t lineNumber() const { return lineNumber_; }

private:
    BufferedFileReader& file_;
    std::uint64_t lineNumber_ = 0;
};

// Splits at blanks, tabs and commas into at most `capacity` fields; returns how many fields the
// line has in all (which may be more than were stored).
std::size_t splitFields(std::string_view line, std::string_view* fields, std::size_t capacity);

// A whole field as a finite number ("1.5", "-2e3"); false for anything else.
bool parseNumber(std::string_view field, double& value);

}  // namespace ovcf
