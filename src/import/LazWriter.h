// LAZ 1.4, point format 7: exactly the records of the LAS writer, compressed with the layered
// compressor in chunks of 50,000 points, with the chunk table after them and the LASzip record
// that readers look for. Chunks are compressed a batch at a time on worker threads, in order.
#pragma once

#include <cstdint>
#include <vector>

#include "import/LasWriter.h"
#include "import/laz/ChunkTable.h"
#include "import/laz/LazVlr.h"

namespace ovcf {

class LazWriter final : public LasWriter {
public:
    static constexpr std::uint32_t kChunkPoints = 50000;

    LazWriter();

private:
    void writeHeader() override;
    void writePoint(const PointRecord& point) override;
    bool patchHeader(std::string& error) override;
    void encodeHeader(std::vector<char>& out) const override;
    // Compresses the pending records (all of them, or only whole chunks) and puts the chunks.
    void compressPending(bool all);

    laz::LazVlr vlr_;
    std::vector<std::uint8_t> pending_;  // records of chunks not compressed yet
    std::vector<laz::ChunkEntry> chunks_;
    std::uint64_t chunkBytes_ = 0;  // compressed bytes put so far
    unsigned threads_;
};

}  // namespace ovcf
