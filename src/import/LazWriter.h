// LAZ 1.4, point format 7: exactly the records of the LAS writer, compressed with the layered
// compressor in chunks of 50,000 points, with the chunk table after them and the LASzip record
// that readers look for. Chunks are compressed a batch at a time on worker threads, in the
// background while the next batch's points arrive, and written in order.
#pragma once

#include <cstdint>
#include <future>
#include <vector>

#include "import/LasWriter.h"
#include "import/laz/ChunkTable.h"
#include "import/laz/LazVlr.h"

namespace ovcf {

class LazWriter final : public LasWriter {
public:
    static constexpr std::uint32_t kChunkPoints = 50000;

    // `threads` compress the chunks (0: the machine's cores, at most 8); the file is the same
    // whatever their number.
    explicit LazWriter(unsigned threads = 0);

private:
    void writeHeader() override;
    void writePoint(const PointRecord& point) override;
    bool patchHeader(std::string& error) override;
    void encodeHeader(std::vector<char>& out) const override;
    struct Compressed {
        std::vector<std::vector<std::uint8_t>> chunks;
        std::vector<std::uint64_t> points;
    };
    // Compresses records (whole chunks but for the last) on worker threads.
    Compressed compress(const std::vector<std::uint8_t>& records) const;
    // Puts compressed chunks after the ones already written and notes them for the table.
    void putChunks(const Compressed& compressed);
    // Waits for the batch being compressed in the background and puts it.
    void finishInFlight();

    laz::LazVlr vlr_;
    std::vector<std::uint8_t> pending_;   // records of chunks not compressed yet
    std::vector<std::uint8_t> inFlight_;  // records being compressed in the background
    std::vector<laz::ChunkEntry> chunks_;
    std::uint64_t chunkBytes_ = 0;  // compressed bytes put so far
    unsigned threads_;
    // Last: destroyed first, so a background compression ends before what it uses goes.
    std::future<Compressed> compressing_;
};

}  // namespace ovcf
