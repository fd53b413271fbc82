// LAS 1.4, point data record format 7: coordinates as scaled 32-bit integers with the cache's
// own step as the scale, so the cache's quantised points come out exactly; intensity,
// classification and 16-bit colour (8-bit value × 257); every point return 1 of 1.
#pragma once

#include "import/PointFileWriter.h"

namespace ovcf {

class LasWriter : public PointFileWriter {
public:
    static constexpr std::uint16_t kHeaderSize = 375;
    static constexpr std::uint16_t kRecordSize = 36;

protected:
    void writeHeader() override;
    void writePoint(const PointRecord& point) override;
    bool patchHeader(std::string& error) override;
    // Everything before the point records; the LAZ writer adds its record description.
    virtual void encodeHeader(std::vector<char>& out) const;
    // Fixes the integers' base from the cloud's box; before the first record.
    void chooseBase();
    // The 36-byte record of a point; notes its extent for the header.
    void encodeRecord(const PointRecord& point, char* record);

private:
    double lasOffset_[3] = {0, 0, 0};
    std::uint32_t base_[3] = {0, 0, 0};  // subtracted from the cache's quantised values
    std::uint32_t min_[3] = {0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu};
    std::uint32_t max_[3] = {0, 0, 0};
    std::uint64_t written_ = 0;
    bool tooFar_ = false;
};

}  // namespace ovcf
