#include "import/PlySource.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

#include "core/NumberFormat.h"
#include "import/MemoryCloud.h"
#include "import/Quantization.h"

namespace ovcf {

namespace {

constexpr std::size_t kMaxAsciiFields = 64;

template <typename T>
T loadValue(const std::uint8_t* bytes, bool bigEndian) {
    std::uint8_t copy[sizeof(T)];
    std::memcpy(copy, bytes, sizeof(T));
    if (bigEndian != (std::endian::native == std::endian::big)) std::reverse(copy, copy + sizeof(T));
    T value;
    std::memcpy(&value, copy, sizeof(T));
    return value;
}

double decodeValue(const std::uint8_t* bytes, PlyType type, bool bigEndian) {
    switch (type) {
    case PlyType::Int8: return static_cast<std::int8_t>(bytes[0]);
    case PlyType::Uint8: return bytes[0];
    case PlyType::Int16: return loadValue<std::int16_t>(bytes, bigEndian);
    case PlyType::Uint16: return loadValue<std::uint16_t>(bytes, bigEndian);
    case PlyType::Int32: return loadValue<std::int32_t>(bytes, bigEndian);
    case PlyType::Uint32: return loadValue<std::uint32_t>(bytes, bigEndian);
    case PlyType::Float32: return loadValue<float>(bytes, bigEndian);
    case PlyType::Float64: return loadValue<double>(bytes, bigEndian);
    }
    return 0.0;
}

std::uint8_t colourByte(double value, PlyType type) {
    double scaled = value;
    if (type == PlyType::Int16 || type == PlyType::Uint16) scaled = std::floor(value / 256.0);
    else if (type == PlyType::Float32 || type == PlyType::Float64) scaled = std::round(value * 255.0);
    if (!(scaled > 0.0)) return 0;  // negatives and NaN
    return scaled >= 255.0 ? 255 : static_cast<std::uint8_t>(scaled);
}

int findProperty(const PlyElement& element, std::initializer_list<const char*> names) {
    for (const char* name : names)
        for (std::size_t i = 0; i < element.properties.size(); ++i)
            if (element.properties[i].name == name) return static_cast<int>(i);
    return -1;
}

}  // namespace

bool PlySource::fail(std::string& error, const std::string& reason) const {
    error = "'" + path_ + "': " + reason;
    return false;
}

bool PlySource::skipElement(const PlyElement& element, std::string& reason) {
    if (header_.encoding == PlyEncoding::Ascii) {
        std::string_view line;
        for (std::uint64_t i = 0; i < element.count; ++i) {
            if (!lines_.next(line, reason)) {
                if (reason.empty()) reason = "the file ends inside the '" + element.name + "' element";
                return false;
            }
        }
        return true;
    }
    const bool bigEndian = header_.encoding == PlyEncoding::BinaryBigEndian;
    const bool hasList = std::any_of(element.properties.begin(), element.properties.end(),
                                     [](const PlyProperty& p) { return p.isList; });
    if (!hasList) {
        std::size_t size = 0;
        for (const PlyProperty& p : element.properties) size += plyTypeSize(p.type);
        const std::uint64_t left = file_.size() > file_.position() ? file_.size() - file_.position() : 0;
        if (size > 0 && element.count > left / size) {
            reason = "the file ends inside the '" + element.name + "' element";
            return false;
        }
        file_.skip(static_cast<std::size_t>(element.count * size));
        return true;
    }
    for (std::uint64_t i = 0; i < element.count; ++i) {
        for (const PlyProperty& p : element.properties) {
            if (!p.isList) {
                file_.skip(plyTypeSize(p.type));
                continue;
            }
            std::uint8_t bytes[8];
            if (!file_.read(bytes, plyTypeSize(p.countType), reason)) {
                reason = "the file ends inside the '" + element.name + "' element";
                return false;
            }
            const double items = decodeValue(bytes, p.countType, bigEndian);
            if (!(items >= 0.0) || items > 1e9) {
                reason = "invalid list length in the '" + element.name + "' element";
                return false;
            }
            file_.skip(static_cast<std::size_t>(items) * plyTypeSize(p.type));
        }
        if (file_.position() > file_.size()) {
            reason = "the file ends inside the '" + element.name + "' element";
            return false;
        }
    }
    return true;
}

bool PlySource::goToVertices(std::string& reason) {
    file_.seek(header_.dataOffset);
    lines_.reset();
    for (std::size_t e = 0; e < vertexElement_; ++e)
        if (!skipElement(header_.elements[e], reason)) return false;
    vertexIndex_ = 0;
    return true;
}

double PlySource::binaryValue(const std::uint8_t* record, int property) const {
    const PlyType type = header_.elements[vertexElement_].properties[static_cast<std::size_t>(property)].type;
    return decodeValue(record + propertyOffsets_[static_cast<std::size_t>(property)], type,
                       header_.encoding == PlyEncoding::BinaryBigEndian);
}

bool PlySource::readVertex(double xyz[3], std::uint8_t rgb[3], std::string& reason) {
    const PlyElement& vertex = header_.elements[vertexElement_];
    const std::uint64_t index = vertexIndex_;
    auto endOfFile = [&] {
        reason = "the file ends after " + std::to_string(index) + " of " + std::to_string(vertexCount_) + " vertices";
        return false;
    };
    if (header_.encoding == PlyEncoding::Ascii) {
        std::string_view line;
        if (!lines_.next(line, reason)) return reason.empty() ? endOfFile() : false;
        std::string_view fields[kMaxAsciiFields];
        const std::size_t count = splitFields(line, fields, kMaxAsciiFields);
        if (count < vertex.properties.size()) {
            reason = "vertex " + std::to_string(index) + " has " + std::to_string(count) + " values, the header declares " +
                     std::to_string(vertex.properties.size());
            return false;
        }
        double value = 0;
        for (int axis = 0; axis < 3; ++axis) {
            if (!parseNumber(fields[xyz_[axis]], value)) {
                reason = "vertex " + std::to_string(index) + ": '" + std::string(fields[xyz_[axis]]) + "' is not a number";
                return false;
            }
            xyz[axis] = value;
        }
        for (int c = 0; c < 3; ++c) {
            if (colour_[c] < 0) {
                rgb[c] = kGreyWithoutColour;
                continue;
            }
            if (!parseNumber(fields[colour_[c]], value)) {
                reason = "vertex " + std::to_string(index) + ": '" + std::string(fields[colour_[c]]) + "' is not a number";
                return false;
            }
            rgb[c] = colourByte(value, vertex.properties[static_cast<std::size_t>(colour_[c])].type);
        }
    } else {
        std::size_t available = 0;
        const std::uint8_t* record = file_.peek(recordSize_, available, reason);
        if (!record) return false;
        if (available < recordSize_) return endOfFile();
        for (int axis = 0; axis < 3; ++axis) {
            xyz[axis] = binaryValue(record, xyz_[axis]);
            if (!std::isfinite(xyz[axis])) {
                reason = "vertex " + std::to_string(index) + " has a coordinate that is not a finite number";
                return false;
            }
        }
        for (int c = 0; c < 3; ++c)
            rgb[c] = colour_[c] < 0 ? kGreyWithoutColour
                                    : colourByte(binaryValue(record, colour_[c]),
                                                 vertex.properties[static_cast<std::size_t>(colour_[c])].type);
        file_.skip(recordSize_);
    }
    ++vertexIndex_;
    return true;
}

bool PlySource::open(const std::string& path, double step, std::string& error) {
    path_ = path;
    std::string reason;
    if (!file_.open(path, reason)) return fail(error, "cannot open the file: " + reason);
    if (!parsePlyHeader(file_, header_, reason)) return fail(error, reason);
    const auto vertex = std::find_if(header_.elements.begin(), header_.elements.end(),
                                     [](const PlyElement& e) { return e.name == "vertex"; });
    if (vertex == header_.elements.end()) return fail(error, "the file has no 'vertex' element");
    vertexElement_ = static_cast<std::size_t>(vertex - header_.elements.begin());
    vertexCount_ = vertex->count;
    const char* axisNames[3] = {"x", "y", "z"};
    for (int axis = 0; axis < 3; ++axis) {
        xyz_[axis] = findProperty(*vertex, {axisNames[axis]});
        if (xyz_[axis] < 0)
            return fail(error, std::string("the 'vertex' element has no '") + axisNames[axis] + "' property");
    }
    colour_[0] = findProperty(*vertex, {"red", "r", "diffuse_red"});
    colour_[1] = findProperty(*vertex, {"green", "g", "diffuse_green"});
    colour_[2] = findProperty(*vertex, {"blue", "b", "diffuse_blue"});
    if (colour_[0] < 0 || colour_[1] < 0 || colour_[2] < 0) colour_[0] = colour_[1] = colour_[2] = -1;
    for (const PlyProperty& p : vertex->properties) {
        if (p.isList) return fail(error, "list properties in the 'vertex' element are not supported");
        propertyOffsets_.push_back(recordSize_);
        recordSize_ += plyTypeSize(p.type);
    }
    if (header_.encoding == PlyEncoding::Ascii && vertex->properties.size() > kMaxAsciiFields)
        return fail(error, "the 'vertex' element has more than " + std::to_string(kMaxAsciiFields) + " properties");
    if (header_.encoding != PlyEncoding::Ascii && vertexCount_ > 0 &&
        (file_.size() < header_.dataOffset || vertexCount_ > (file_.size() - header_.dataOffset) / recordSize_))
        return fail(error, "the file is truncated: the header declares " + std::to_string(vertexCount_) +
                               " vertices of " + std::to_string(recordSize_) + " bytes");

    // First pass: the box, and every vertex checked.
    if (!goToVertices(reason)) return fail(error, reason);
    const double inf = std::numeric_limits<double>::infinity();
    bounds_.min = {inf, inf, inf};
    bounds_.max = {-inf, -inf, -inf};
    double xyz[3];
    std::uint8_t rgb[3];
    for (std::uint64_t i = 0; i < vertexCount_; ++i) {
        if (!readVertex(xyz, rgb, reason)) return fail(error, reason);
        for (int axis = 0; axis < 3; ++axis) {
            bounds_.min[axis] = std::min(bounds_.min[axis], xyz[axis]);
            bounds_.max[axis] = std::max(bounds_.max[axis], xyz[axis]);
        }
    }
    if (vertexCount_ == 0) return fail(error, "the file contains no vertices");
    const double s = step > 0.0 ? step : kDefaultQuantizationStep;
    for (int axis = 0; axis < 3; ++axis) {
        step_[axis] = s;
        offset_[axis] = gridOffset(bounds_.min[axis], s);
    }
    if (!checkQuantizationRange(bounds_, offset_, step_, reason)) return fail(error, reason);
    if (!goToVertices(reason)) return fail(error, reason);
    return true;
}

bool PlySource::read(PointRecord* points, std::size_t capacity, std::size_t& count, std::string& error) {
    count = 0;
    if (!points) return true;
    std::string reason;
    double xyz[3];
    std::uint8_t rgb[3];
    while (count < capacity && vertexIndex_ < vertexCount_) {
        if (!readVertex(xyz, rgb, reason)) return fail(error, reason);
        points[count++] = quantizedColorPoint(xyz, rgb, offset_, step_);
    }
    return true;
}

std::string PlySource::description() const {
    const char* encoding = header_.encoding == PlyEncoding::Ascii                ? "ASCII"
                           : header_.encoding == PlyEncoding::BinaryLittleEndian ? "binario little-endian"
                                                                                 : "binario big-endian";
    return std::string("file PLY ") + encoding + ", " + formatCount(vertexCount_) + " punti, " +
           (hasColour() ? "con colore" : "senza colore") + ": " + path_;
}

}  // namespace ovcf
