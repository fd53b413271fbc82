// What a survey tile's first bytes tell before its points are read: the LAS header and the
// coordinate reference system records, read with the file open only for that, so that a survey of
// thousands of tiles never holds more than one file open.
#pragma once

#include <string>

#include "import/LasHeader.h"

namespace ovcf {

struct TileHeader {
    std::string path;
    LasHeader header;
    // The "LASF_Projection" records (OGC WKT 2112, GeoKey directory 34735, doubles 34736, ASCII
    // 34737) of the VLRs and, for LAS 1.4, the EVLRs, as one comparable text: record id and
    // payload of each, in record id order. Empty when the file has none.
    std::string crs;
};

// False with the reason, naming the file, in `error`.
bool readTileHeader(const std::string& path, TileHeader& tile, std::string& error);

// A short description of a tile's reference system for messages: "OGC WKT", "GeoTIFF keys" or
// "none".
std::string describeCrs(const std::string& crs);

}  // namespace ovcf
