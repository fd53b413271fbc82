// A LAZ file (compressed LAS, COPC included: a LAZ 1.4 file whose chunks form an octree) as a
// point source. The chunk table tells where each chunk lies; chunks are read in file order
// through one buffered reader and decoded in batches on worker threads, a few chunks per thread
// at a time, so memory stays small whatever the file's size. While the points of one batch are
// handed out, the next batch is decoded in the background, so decoding overlaps the indexing. The decoded records become points
// exactly as a LAS file's would (LasPointConversion), so a LAZ file and its LAS twin build the
// same cache.
#pragma once

#include <cstdint>
#include <future>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <vector>

#include "import/BufferedFileReader.h"
#include "import/LasHeader.h"
#include "import/LasPointConversion.h"
#include "import/PointSource.h"
#include "import/laz/DecodedFields.h"
#include "import/laz/LazVlr.h"

namespace ovcf {

class LazSource final : public PointSource {
public:
    ~LazSource() override { waitForNextBatch(); }

    // `step` above 0 re-quantises with that step; 0 keeps the file's scale. Errors name the file.
    bool open(const std::string& path, double step, std::string& error);
    // Decoding threads; 0 (the default) takes the machine's cores, at most 8.
    void setThreads(unsigned threads) { threads_ = threads; }
    // Files of up to this many points (a million unless lowered, by tests) are decoded once at
    // opening, for their exact box and their colour depth; set before open().
    void setMeasuredUpTo(std::uint64_t points) { measuredUpTo_ = points; }
    // A tile of a survey (TileSetSource), set before open(): its records go onto the survey's
    // grid and open() decodes no more than the sampled chunks of the colour depth, whatever the
    // file's size, since the survey's box comes from the tiles' headers.
    void setGrid(const std::array<double, 3>& step, const std::array<double, 3>& offset) {
        gridStep_ = step;
        gridOffset_ = offset;
        onGrid_ = true;
    }
    // The byte of the file where the chunk being read starts, for messages.
    std::uint64_t failureOffset() const {
        return nextChunk_ < chunks_.size() ? chunks_[nextChunk_].offset : header_.pointDataOffset;
    }

    std::uint64_t pointCount() const override { return header_.pointCount; }
    std::array<double, 3> step() const override { return conversion_.step(); }
    std::array<double, 3> offset() const override { return conversion_.offset(); }
    bool hasColour() const override { return colourOffset_ >= 0; }
    Bounds3 bounds() const override { return bounds_; }
    bool read(PointRecord* points, std::size_t capacity, std::size_t& count, std::string& error) override;
    std::string description() const override;
    std::uint32_t fullPointFormat() const override { return 2; }
    std::string colourNote() const override { return zeroColour_ ? "RGB tutto a zero nel file: importato senza colore" : ""; }
    // Measured on smaller files; on larger ones the header's box, which reading verifies.
    bool quantizedBounds(std::array<std::uint32_t, 3>& min, std::array<std::uint32_t, 3>& max) const override {
        return conversion_.exactBounds(min, max);
    }
    bool restartWithBounds(const std::array<std::uint32_t, 3>& min, const std::array<std::uint32_t, 3>& max,
                           std::string& error) override;

    const LasHeader& header() const { return header_; }
    const laz::LazVlr& vlr() const { return vlr_; }
    std::size_t chunkCount() const { return chunks_.size(); }
    bool coloursAreEightBit() const { return colourShift_ == 0; }
    // Decodes the raw LAS records of every chunk in order, handing each chunk's to `take`
    // (records, count); the decoding of a benchmark, and of the scans before reading. Fields
    // outside `fields` (laz::DecodedFields) may be left at each chunk's first value.
    template <class Take>
    bool forEachChunk(Take&& take, std::string& error, unsigned fields = laz::kAllFields);
    // The fields that reading points decodes: what a point of the cache keeps.
    unsigned pointFields() const;

private:
    struct Chunk {
        std::uint64_t offset = 0;
        std::uint64_t bytes = 0;
        std::uint64_t points = 0;
    };

    bool readLaszipRecord(std::string& reason);
    bool readChunkTable(std::string& reason);
    bool detectColourDepth(std::string& error);
    void setColourDepth(std::uint16_t largest);
    // Leaves new bytes as they come: the decoder writes every byte of a chunk's records, and
    // a zero fill before that cost as much as a tenth of decoding.
    template <class T>
    struct UnfilledAllocator : std::allocator<T> {
        template <class U>
        struct rebind {
            using other = UnfilledAllocator<U>;
        };
        UnfilledAllocator() = default;
        template <class U>
        UnfilledAllocator(const UnfilledAllocator<U>&) noexcept {}
        template <class U>
        void construct(U* at) noexcept {
            ::new (static_cast<void*>(at)) U;
        }
    };
    using Records = std::vector<std::uint8_t, UnfilledAllocator<std::uint8_t>>;
    struct Batch {
        std::size_t first = 0;        // index of the first chunk
        std::vector<Records> chunks;  // raw records of each chunk
    };

    // Decodes chunks [first, first + count) into `batch`, on up to threads_ threads. One call at a
    // time: a background decoding ends before the next call.
    bool decodeBatch(std::size_t first, std::size_t count, Batch& batch, std::string& error, unsigned fields);
    // Starts decoding the batch from chunk `first` in the background, into next_.
    void startNextBatch(std::size_t first);
    // Waits for a background decoding; false with its error when it failed.
    bool waitForNextBatch(std::string* error = nullptr);
    // How many chunks from `first` one batch takes, and the most it ever takes.
    std::size_t batchSize(std::size_t first) const;
    std::size_t mostChunksPerBatch() const;
    unsigned threadCount() const;
    bool fail(std::string& error, const std::string& reason) const;

    std::string path_;
    LasHeader header_;
    laz::LazVlr vlr_;
    BufferedFileReader file_;
    LasPointConversion conversion_;
    Bounds3 bounds_;
    std::vector<Chunk> chunks_;
    int colourOffset_ = -1;
    unsigned colourShift_ = 8;
    bool zeroColour_ = false;  // the format has colour fields, all zero
    bool boundsOnTrust_ = false;  // quantizedBounds() is the header's box, not yet verified
    unsigned threads_ = 0;
    std::uint64_t measuredUpTo_ = std::uint64_t{1} << 20;
    bool onGrid_ = false;
    std::array<double, 3> gridStep_{};
    std::array<double, 3> gridOffset_{};

    // A chunk's records once handed out, to decode the next ones into: fresh memory for every
    // chunk cost the system a page fault and a zero fill per page.
    Records takeSpare();
    void giveBack(Records& records);

    std::vector<Records> compressed_;  // decodeBatch's reads
    std::mutex spareMutex_;
    std::vector<Records> spare_;
    Batch batch_;                // the chunks being handed out
    Batch next_;                 // the chunks decoded in the background (only that thread touches it)
    std::size_t nextFirst_ = 0;  // the first of them
    std::string nextError_;      // why the background decoding failed
    std::size_t nextChunk_ = 0;  // the chunk read() takes next
    std::uint64_t inChunk_ = 0;  // records of it already handed out
    std::uint64_t cursor_ = 0;   // points handed out
    // Last: destroyed first, so a background decoding ends before what it uses goes.
    std::future<bool> decoding_;
};

template <class Take>
bool LazSource::forEachChunk(Take&& take, std::string& error, unsigned fields) {
    waitForNextBatch();
    Batch batch;
    for (std::size_t first = 0; first < chunks_.size();) {
        const std::size_t count = batchSize(first);
        if (!decodeBatch(first, count, batch, error, fields)) return false;
        for (std::size_t i = 0; i < count; ++i) take(batch.chunks[i].data(), chunks_[first + i].points);
        first += count;
    }
    return true;
}

}  // namespace ovcf
