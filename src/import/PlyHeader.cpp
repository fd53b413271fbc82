#include "import/PlyHeader.h"

#include <charconv>

#include "import/TextLines.h"

namespace ovcf {

namespace {

constexpr std::uint64_t kMaxHeaderLines = 10000;

bool typeFromName(std::string_view name, PlyType& type) {
    struct Named {
        const char* name;
        PlyType type;
    };
    static const Named kTypes[] = {
        {"char", PlyType::Int8},     {"int8", PlyType::Int8},       {"uchar", PlyType::Uint8},
        {"uint8", PlyType::Uint8},   {"short", PlyType::Int16},     {"int16", PlyType::Int16},
        {"ushort", PlyType::Uint16}, {"uint16", PlyType::Uint16},   {"int", PlyType::Int32},
        {"int32", PlyType::Int32},   {"uint", PlyType::Uint32},     {"uint32", PlyType::Uint32},
        {"float", PlyType::Float32}, {"float32", PlyType::Float32}, {"double", PlyType::Float64},
        {"float64", PlyType::Float64},
    };
    for (const Named& t : kTypes) {
        if (name == t.name) {
            type = t.type;
            return true;
        }
    }
    return false;
}

std::string atLine(std::uint64_t line) { return " (header line " + std::to_string(line) + ")"; }

}  // namespace

std::size_t plyTypeSize(PlyType type) {
    switch (type) {
    case PlyType::Int8:
    case PlyType::Uint8: return 1;
    case PlyType::Int16:
    case PlyType::Uint16: return 2;
    case PlyType::Int32:
    case PlyType::Uint32:
    case PlyType::Float32: return 4;
    case PlyType::Float64: return 8;
    }
    return 0;
}

bool parsePlyHeader(BufferedFileReader& file, PlyHeader& header, std::string& reason) {
    header = PlyHeader{};
    file.seek(0);
    LineReader lines(file);
    std::string_view line;
    std::string readError;
    if (!lines.next(line, readError) || line != "ply") {
        reason = readError.empty() ? "not a PLY file (the first line is not 'ply')" : readError;
        return false;
    }
    bool sawFormat = false;
    for (;;) {
        if (!lines.next(line, readError)) {
            reason = readError.empty() ? "the header has no 'end_header' line" : readError;
            return false;
        }
        if (lines.lineNumber() > kMaxHeaderLines) {
            reason = "the header has no 'end_header' line within " + std::to_string(kMaxHeaderLines) + " lines";
            return false;
        }
        std::string_view words[8];
        const std::size_t count = splitFields(line, words, 8);
        if (count == 0) continue;
        const std::string_view keyword = words[0];
        if (keyword == "end_header") break;
        if (keyword == "comment" || keyword == "obj_info") continue;
        if (keyword == "format") {
            if (count < 3) {
                reason = "incomplete 'format' line" + atLine(lines.lineNumber());
                return false;
            }
            if (words[1] == "ascii") header.encoding = PlyEncoding::Ascii;
            else if (words[1] == "binary_little_endian") header.encoding = PlyEncoding::BinaryLittleEndian;
            else if (words[1] == "binary_big_endian") header.encoding = PlyEncoding::BinaryBigEndian;
            else {
                reason = "unknown format '" + std::string(words[1]) + "'" + atLine(lines.lineNumber());
                return false;
            }
            sawFormat = true;
        } else if (keyword == "element") {
            PlyElement element;
            std::uint64_t n = 0;
            if (count < 3 ||
                std::from_chars(words[2].data(), words[2].data() + words[2].size(), n).ptr != words[2].data() + words[2].size()) {
                reason = "malformed 'element' line" + atLine(lines.lineNumber());
                return false;
            }
            element.name = std::string(words[1]);
            element.count = n;
            header.elements.push_back(std::move(element));
        } else if (keyword == "property") {
            if (header.elements.empty()) {
                reason = "a property comes before any element" + atLine(lines.lineNumber());
                return false;
            }
            PlyProperty property;
            std::string_view typeName;
            if (count >= 5 && words[1] == "list") {
                property.isList = true;
                if (!typeFromName(words[2], property.countType)) {
                    reason = "unknown property type '" + std::string(words[2]) + "'" + atLine(lines.lineNumber());
                    return false;
                }
                typeName = words[3];
                property.name = std::string(words[4]);
            } else if (count >= 3 && words[1] != "list") {
                typeName = words[1];
                property.name = std::string(words[2]);
            } else {
                reason = "malformed 'property' line" + atLine(lines.lineNumber());
                return false;
            }
            if (!typeFromName(typeName, property.type)) {
                reason = "unknown property type '" + std::string(typeName) + "'" + atLine(lines.lineNumber());
                return false;
            }
            header.elements.back().properties.push_back(std::move(property));
        } else {
            reason = "unknown header keyword '" + std::string(keyword) + "'" + atLine(lines.lineNumber());
            return false;
        }
    }
    if (!sawFormat) {
        reason = "the header has no 'format' line";
        return false;
    }
    header.dataOffset = file.position();
    header.headerLines = lines.lineNumber();
    return true;
}

}  // namespace ovcf
