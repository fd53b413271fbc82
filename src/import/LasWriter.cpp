#include "import/LasWriter.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <ctime>

namespace ovcf {
namespace {

template <typename T>
void at(std::vector<char>& out, std::size_t offset, T value) {
    std::memcpy(out.data() + offset, &value, sizeof value);
}

}  // namespace

void LasWriter::writeHeader() {
    chooseBase();
    std::vector<char> header;
    encodeHeader(header);
    put(header.data(), header.size());
}

void LasWriter::chooseBase() {
    // LAS integers are signed: measure them from the cloud's lowest corner, a whole number of
    // steps from the cache's offset, so that values stay small and exact.
    for (int a = 0; a < 3; ++a) {
        const double steps = std::floor((cloud_.boundsMin[a] - cloud_.offset[a]) / cloud_.step[a]);
        base_[a] = steps > 0 && steps < 4e9 ? static_cast<std::uint32_t>(steps) : 0;
        lasOffset_[a] = cloud_.offset[a] + cloud_.step[a] * base_[a];
    }
}

void LasWriter::encodeHeader(std::vector<char>& out) const {
    out.assign(kHeaderSize, 0);
    std::memcpy(out.data(), "LASF", 4);
    at<std::uint16_t>(out, 6, 16);  // global encoding: coordinate system as WKT, as format 7 requires
    out[24] = 1;
    out[25] = 4;
    std::strncpy(out.data() + 26, "OrvanePC", 32);
    std::strncpy(out.data() + 58, "OrvanePC ovcf", 32);
    const std::time_t now = std::time(nullptr);
    std::tm date{};
#if defined(_WIN32)
    gmtime_s(&date, &now);
#else
    gmtime_r(&now, &date);
#endif
    at<std::uint16_t>(out, 90, static_cast<std::uint16_t>(date.tm_yday + 1));
    at<std::uint16_t>(out, 92, static_cast<std::uint16_t>(date.tm_year + 1900));
    at<std::uint16_t>(out, 94, kHeaderSize);
    at<std::uint32_t>(out, 96, kHeaderSize);  // point data right after the header, no VLR
    out[104] = 7;
    at<std::uint16_t>(out, 105, kRecordSize);
    // The legacy counts stay 0: LAS 1.4 wants them so for formats 6 to 10.
    for (int a = 0; a < 3; ++a) {
        at<double>(out, 131 + 8 * a, cloud_.step[a]);
        at<double>(out, 155 + 8 * a, lasOffset_[a]);
        const bool any = written_ > 0;
        const double lo = any ? lasOffset_[a] + cloud_.step[a] * (min_[a] - base_[a]) : 0.0;
        const double hi = any ? lasOffset_[a] + cloud_.step[a] * (max_[a] - base_[a]) : 0.0;
        at<double>(out, 179 + 16 * a, hi);
        at<double>(out, 187 + 16 * a, lo);
    }
    at<std::uint64_t>(out, 247, written_);
    at<std::uint64_t>(out, 255, written_);  // all first returns
}

void LasWriter::writePoint(const PointRecord& p) {
    char record[kRecordSize];
    encodeRecord(p, record);
    put(record, sizeof record);
}

void LasWriter::encodeRecord(const PointRecord& p, char* record) {
    std::memset(record, 0, kRecordSize);
    const std::uint32_t q[3] = {p.x, p.y, p.z};
    for (int a = 0; a < 3; ++a) {
        const std::uint32_t v = q[a] - base_[a];
        if (q[a] < base_[a] || v > 0x7FFFFFFFu) tooFar_ = true;
        std::memcpy(record + 4 * a, &v, 4);
        min_[a] = std::min(min_[a], q[a]);
        max_[a] = std::max(max_[a], q[a]);
    }
    std::memcpy(record + 12, &p.intensity, 2);
    record[14] = 0x11;  // return 1 of 1; flags, user data, scan angle, source and GPS time stay 0
    record[16] = static_cast<char>(p.classification);
    const std::uint16_t colour[3] = {static_cast<std::uint16_t>(p.red * 257), static_cast<std::uint16_t>(p.green * 257),
                                     static_cast<std::uint16_t>(p.blue * 257)};
    std::memcpy(record + 30, colour, 6);
    ++written_;
}

bool LasWriter::patchHeader(std::string& error) {
    if (tooFar_) {
        error = "the cloud spans more than LAS coordinates hold at the cache's step";
        return false;
    }
    std::vector<char> header;
    encodeHeader(header);
    if (!file_.seek(0) || !file_.write(header.data(), header.size())) return fail(error, "writing the header failed for");
    return true;
}

}  // namespace ovcf
