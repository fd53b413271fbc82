#include "import/XyzSource.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

#include "core/NumberFormat.h"
#include "import/MemoryCloud.h"
#include "import/Quantization.h"

namespace ovcf {

namespace {

constexpr std::size_t kMaxFields = 16;

bool isComment(std::string_view line) {
    const std::size_t start = line.find_first_not_of(" \t");
    if (start == std::string_view::npos) return true;  // blank
    return line[start] == '#' || line.substr(start, 2) == "//";
}

}  // namespace

bool XyzSource::fail(std::string& error, const std::string& reason) const {
    error = "'" + path_ + "': " + reason;
    return false;
}

XyzSource::LineKind XyzSource::parseLine(std::string_view line, bool firstDataLine, double xyz[3],
                                         std::uint8_t rgb[3], std::string& reason) {
    if (isComment(line)) return LineKind::Skip;
    std::string_view fields[kMaxFields];
    const std::size_t count = splitFields(line, fields, kMaxFields);
    if (firstDataLine) {
        double ignored;
        // Column names ("x y z r g b") before the first point.
        if (count > 0 && !parseNumber(fields[0], ignored)) return LineKind::Skip;
        hasColour_ = count >= 6;
    }
    const std::size_t needed = hasColour_ ? 6 : 3;
    if (count < needed) {
        reason = "line " + std::to_string(lines_.lineNumber()) + ": expected at least " + std::to_string(needed) +
                 " values, found " + std::to_string(count);
        return LineKind::Error;
    }
    for (int axis = 0; axis < 3; ++axis) {
        if (!parseNumber(fields[axis], xyz[axis])) {
            reason = "line " + std::to_string(lines_.lineNumber()) + ": '" + std::string(fields[axis]) +
                     "' is not a number";
            return LineKind::Error;
        }
    }
    if (hasColour_) {
        for (int c = 0; c < 3; ++c) {
            double value = 0;
            if (!parseNumber(fields[3 + c], value) || value < 0.0 || value > 255.0) {
                reason = "line " + std::to_string(lines_.lineNumber()) + ": '" + std::string(fields[3 + c]) +
                         "' is not a colour value from 0 to 255";
                return LineKind::Error;
            }
            rgb[c] = static_cast<std::uint8_t>(std::lround(value));
        }
    } else {
        rgb[0] = rgb[1] = rgb[2] = kGreyWithoutColour;
    }
    return LineKind::Point;
}

bool XyzSource::rewind(std::string& error) {
    std::string reason;
    if (!file_.open(path_, reason)) return fail(error, "cannot open the file: " + reason);
    lines_.reset();
    sawPoint_ = false;
    return true;
}

bool XyzSource::open(const std::string& path, double step, std::string& error) {
    path_ = path;
    count_ = handedOut_ = 0;
    if (!rewind(error)) return false;
    const double inf = std::numeric_limits<double>::infinity();
    bounds_.min = {inf, inf, inf};
    bounds_.max = {-inf, -inf, -inf};
    std::string_view line;
    std::string reason;
    double xyz[3];
    std::uint8_t rgb[3];
    while (lines_.next(line, reason)) {
        const LineKind kind = parseLine(line, !sawPoint_, xyz, rgb, reason);
        if (kind == LineKind::Error) return fail(error, reason);
        if (kind == LineKind::Skip) continue;
        sawPoint_ = true;
        ++count_;
        for (int axis = 0; axis < 3; ++axis) {
            bounds_.min[axis] = std::min(bounds_.min[axis], xyz[axis]);
            bounds_.max[axis] = std::max(bounds_.max[axis], xyz[axis]);
        }
    }
    if (!reason.empty()) return fail(error, "reading failed: " + reason);
    if (count_ == 0) return fail(error, "the file contains no points");
    const double s = step > 0.0 ? step : kDefaultQuantizationStep;
    for (int axis = 0; axis < 3; ++axis) {
        step_[axis] = s;
        offset_[axis] = gridOffset(bounds_.min[axis], s);
    }
    if (!checkQuantizationRange(bounds_, offset_, step_, reason)) return fail(error, reason);
    const bool colour = hasColour_;
    if (!rewind(error)) return false;
    hasColour_ = colour;
    return true;
}

bool XyzSource::read(PointRecord* points, std::size_t capacity, std::size_t& count, std::string& error) {
    count = 0;
    if (!points) return true;
    std::string_view line;
    std::string reason;
    double xyz[3];
    std::uint8_t rgb[3];
    const bool colour = hasColour_;
    while (count < capacity && handedOut_ < count_) {
        if (!lines_.next(line, reason)) {
            if (!reason.empty()) return fail(error, "reading failed: " + reason);
            return fail(error, "the file changed while it was read");
        }
        const LineKind kind = parseLine(line, !sawPoint_, xyz, rgb, reason);
        hasColour_ = colour;  // the first line of the second pass must not decide again
        if (kind == LineKind::Error) return fail(error, reason);
        if (kind == LineKind::Skip) continue;
        sawPoint_ = true;
        points[count++] = quantizedColorPoint(xyz, rgb, offset_, step_);
        ++handedOut_;
    }
    return true;
}

std::string XyzSource::description() const {
    return "file di testo XYZ, " + formatCount(count_) + " punti, " + (hasColour_ ? "con colore" : "senza colore") +
           ": " + path_;
}

}  // namespace ovcf
