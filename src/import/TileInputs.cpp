#include "import/TileInputs.h"

#include <algorithm>
#include <cctype>

#include "import/BufferedFileReader.h"
#include "import/TextLines.h"
#include "ovcf/FileName.h"
#include "platform/SystemInfo.h"

namespace ovcf {

namespace {

bool isAbsolutePath(const std::string& path) {
    if (!path.empty() && (path[0] == '/' || path[0] == '\\')) return true;
    return path.size() >= 2 && std::isalpha(static_cast<unsigned char>(path[0])) && path[1] == ':';
}

std::string trimmed(std::string_view line) {
    const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\r'; };
    while (!line.empty() && blank(line.front())) line.remove_prefix(1);
    while (!line.empty() && blank(line.back())) line.remove_suffix(1);
    return std::string(line);
}

// Appends the folder's tile files, sorted by name.
bool addFolder(const std::string& folder, bool recursive, std::vector<std::string>& files, std::string& error) {
    std::vector<FolderEntry> entries;
    if (!listFolder(folder, entries)) {
        error = "cannot list the folder '" + folder + "'";
        return false;
    }
    std::sort(entries.begin(), entries.end(), [](const FolderEntry& a, const FolderEntry& b) { return a.name < b.name; });
    for (const FolderEntry& entry : entries) {
        const std::string path = joinPath(folder, entry.name);
        if (entry.isFolder) {
            if (recursive && !addFolder(path, recursive, files, error)) return false;
        } else if (hasTileExtension(entry.name)) {
            files.push_back(path);
        }
    }
    return true;
}

bool addInput(const std::string& path, bool recursive, std::vector<std::string>& files, std::string& error) {
    if (!isFolder(path)) {
        files.push_back(path);
        return true;
    }
    const std::size_t before = files.size();
    if (!addFolder(path, recursive, files, error)) return false;
    if (files.size() == before) {
        error = "the folder '" + path + "' holds no LAS or LAZ file" + (recursive ? "" : " (--recursive takes its subfolders too)");
        return false;
    }
    return true;
}

bool addList(const std::string& list, bool recursive, std::vector<std::string>& files, std::string& error) {
    BufferedFileReader file(std::size_t{1} << 20);
    std::string reason;
    if (!file.open(list, reason)) {
        error = "cannot read the list '" + list + "': " + reason;
        return false;
    }
    LineReader lines(file);
    const std::string base = folderOf(list);
    std::string_view line;
    const std::size_t before = files.size();
    while (lines.next(line, reason)) {
        const std::string name = trimmed(line);
        if (name.empty()) continue;
        if (!addInput(isAbsolutePath(name) ? name : joinPath(base, name), recursive, files, error)) return false;
    }
    if (!reason.empty()) {
        error = "cannot read the list '" + list + "': " + reason;
        return false;
    }
    if (files.size() == before) {
        error = "the list '" + list + "' names no file";
        return false;
    }
    return true;
}

}  // namespace

bool hasTileExtension(const std::string& name) {
    if (name.size() < 4 || name[name.size() - 4] != '.') return false;
    std::string extension = name.substr(name.size() - 3);
    for (char& c : extension) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return extension == "las" || extension == "laz";
}

bool expandTileInputs(const std::vector<TileInput>& inputs, bool recursive, std::vector<std::string>& files,
                      std::string& error) {
    files.clear();
    for (const TileInput& input : inputs)
        if (!(input.isList ? addList(input.path, recursive, files, error) : addInput(input.path, recursive, files, error)))
            return false;
    return true;
}

}  // namespace ovcf
