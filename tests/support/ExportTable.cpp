#include "ExportTable.h"

#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>

namespace ovcf::test {
namespace {

template <typename T>
bool readAt(const std::vector<unsigned char>& file, std::uint64_t offset, T& value) {
    if (offset > file.size() || file.size() - offset < sizeof(T)) return false;
    std::memcpy(&value, file.data() + offset, sizeof(T));
    return true;
}

std::string stringAt(const std::vector<unsigned char>& file, std::uint64_t offset) {
    std::string text;
    while (offset < file.size() && file[offset] != 0) text.push_back(static_cast<char>(file[offset++]));
    return text;
}

bool readPe(const std::vector<unsigned char>& file, std::vector<std::string>& names, std::string& error) {
    std::uint32_t peOffset = 0;
    std::uint32_t signature = 0;
    if (!readAt(file, 0x3C, peOffset) || !readAt(file, peOffset, signature) || signature != 0x00004550) {
        error = "not a PE file";
        return false;
    }
    const std::uint64_t coff = peOffset + 4;
    std::uint16_t sectionCount = 0;
    std::uint16_t optionalSize = 0;
    readAt(file, coff + 2, sectionCount);
    readAt(file, coff + 16, optionalSize);
    const std::uint64_t optional = coff + 20;
    std::uint16_t magic = 0;
    readAt(file, optional, magic);
    if (magic != 0x20B) {
        error = "not a PE32+ (64-bit) image";
        return false;
    }
    std::uint32_t exportRva = 0;
    readAt(file, optional + 112, exportRva);  // data directory 0 of a PE32+ optional header
    const std::uint64_t sections = optional + optionalSize;
    auto toOffset = [&](std::uint32_t rva, std::uint64_t& offset) {
        for (std::uint16_t i = 0; i < sectionCount; ++i) {
            const std::uint64_t header = sections + i * 40ull;
            std::uint32_t virtualSize = 0, virtualAddress = 0, rawSize = 0, rawOffset = 0;
            readAt(file, header + 8, virtualSize);
            readAt(file, header + 12, virtualAddress);
            readAt(file, header + 16, rawSize);
            readAt(file, header + 20, rawOffset);
            const std::uint32_t extent = virtualSize > rawSize ? virtualSize : rawSize;
            if (rva >= virtualAddress && rva < virtualAddress + extent) {
                offset = rawOffset + (rva - virtualAddress);
                return true;
            }
        }
        return false;
    };
    std::uint64_t directory = 0;
    if (exportRva == 0 || !toOffset(exportRva, directory)) {
        error = "the DLL has no export directory";
        return false;
    }
    std::uint32_t nameCount = 0;
    std::uint32_t namesRva = 0;
    readAt(file, directory + 24, nameCount);
    readAt(file, directory + 32, namesRva);
    std::uint64_t namesOffset = 0;
    if (!toOffset(namesRva, namesOffset)) {
        error = "bad export name table";
        return false;
    }
    for (std::uint32_t i = 0; i < nameCount; ++i) {
        std::uint32_t nameRva = 0;
        std::uint64_t nameOffset = 0;
        if (!readAt(file, namesOffset + i * 4ull, nameRva) || !toOffset(nameRva, nameOffset)) {
            error = "bad export name";
            return false;
        }
        names.push_back(stringAt(file, nameOffset));
    }
    return true;
}

bool readElf(const std::vector<unsigned char>& file, std::vector<std::string>& names, std::string& error) {
    if (file.size() < 64 || file[4] != 2) {
        error = "not an ELF64 file";
        return false;
    }
    std::uint64_t sectionTable = 0;
    std::uint16_t sectionSize = 0;
    std::uint16_t sectionCount = 0;
    readAt(file, 0x28, sectionTable);
    readAt(file, 0x3A, sectionSize);
    readAt(file, 0x3C, sectionCount);
    for (std::uint16_t i = 0; i < sectionCount; ++i) {
        const std::uint64_t header = sectionTable + static_cast<std::uint64_t>(i) * sectionSize;
        std::uint32_t type = 0;
        readAt(file, header + 4, type);
        if (type != 11) continue;  // SHT_DYNSYM
        std::uint64_t offset = 0, size = 0, entrySize = 0;
        std::uint32_t link = 0;
        readAt(file, header + 24, offset);
        readAt(file, header + 32, size);
        readAt(file, header + 40, link);
        readAt(file, header + 56, entrySize);
        std::uint64_t stringsOffset = 0;
        readAt(file, sectionTable + static_cast<std::uint64_t>(link) * sectionSize + 24, stringsOffset);
        for (std::uint64_t symbol = offset; entrySize && symbol + entrySize <= offset + size; symbol += entrySize) {
            std::uint32_t nameIndex = 0;
            unsigned char info = 0;
            std::uint16_t sectionIndex = 0;
            readAt(file, symbol, nameIndex);
            readAt(file, symbol + 4, info);
            readAt(file, symbol + 6, sectionIndex);
            const int binding = info >> 4;
            const int symbolType = info & 0xF;
            if (sectionIndex == 0 || (binding != 1 && binding != 2) || symbolType == 4) continue;  // undefined/local/file
            names.push_back(stringAt(file, stringsOffset + nameIndex));
        }
        return true;
    }
    error = "the shared object has no dynamic symbol table";
    return false;
}

}  // namespace

bool readExportedNames(const std::string& path, std::vector<std::string>& names, std::string& error) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        error = "cannot open " + path;
        return false;
    }
    const std::vector<unsigned char> file((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    names.clear();
    if (file.size() > 2 && file[0] == 'M' && file[1] == 'Z') return readPe(file, names, error);
    if (file.size() > 4 && file[0] == 0x7F && file[1] == 'E' && file[2] == 'L' && file[3] == 'F')
        return readElf(file, names, error);
    error = "neither a PE nor an ELF file";
    return false;
}

}  // namespace ovcf::test
