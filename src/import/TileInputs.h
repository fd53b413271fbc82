// The inputs of a survey build as files: a named file stays as it is, a folder gives its LAS and
// LAZ files (COPC ones are named .copc.laz) sorted by name, and a list file gives its lines, each
// taken as a named file or folder, relative ones from the list file's folder.
#pragma once

#include <string>
#include <vector>

namespace ovcf {

struct TileInput {
    std::string path;
    bool isList = false;  // a text file naming inputs, one a line (blank lines are skipped)
};

// Expands `inputs` in order into `files`; `recursive` also takes the folders within folders, each
// where its name sorts. False with the reason: a folder that cannot be listed or holds no LAS or
// LAZ file, a list that cannot be read.
bool expandTileInputs(const std::vector<TileInput>& inputs, bool recursive, std::vector<std::string>& files,
                      std::string& error);

// A name ending ".las" or ".laz", in any case.
bool hasTileExtension(const std::string& name);

}  // namespace ovcf
