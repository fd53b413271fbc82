#include "ovcf/CommitJournal.h"

#include <algorithm>
#include <cstring>

#include "ovcf/ByteOrder.h"
#include "ovcf/Crc32.h"

namespace ovcf {
namespace {

constexpr char kJournalMagic[8] = {'O', 'V', 'C', 'F', 'J', 'R', 'N', '1'};
constexpr std::size_t kPreamble = 8 + 8 + 4;  // magic, file size, range count
// Larger than any map of a real file: a damaged length never turns into a huge allocation.
constexpr std::uint64_t kMaxRange = std::uint64_t{1} << 34;

void append64(std::vector<std::uint8_t>& out, std::uint64_t value) {
    std::uint8_t bytes[8];
    le::putU64(bytes, value);
    out.insert(out.end(), bytes, bytes + 8);
}

void append32(std::vector<std::uint8_t>& out, std::uint32_t value) {
    std::uint8_t bytes[4];
    le::putU32(bytes, value);
    out.insert(out.end(), bytes, bytes + 4);
}

}  // namespace

std::string journalPathOf(const std::string& filePath) { return filePath + "-journal"; }

bool writeJournal(const std::string& journalPath, const CommitJournal& journal, std::string& error) {
    std::vector<std::uint8_t> bytes(kJournalMagic, kJournalMagic + sizeof kJournalMagic);
    append64(bytes, journal.fileSize);
    append32(bytes, static_cast<std::uint32_t>(journal.ranges.size()));
    for (const JournalRange& range : journal.ranges) {
        append64(bytes, range.offset);
        append64(bytes, range.bytes.size());
        bytes.insert(bytes.end(), range.bytes.begin(), range.bytes.end());
    }
    append32(bytes, crc32(bytes.data(), bytes.size()));
    SystemFile file;
    if (!file.open(journalPath, SystemFile::Mode::Create)) {
        error = "cannot create the commit journal '" + journalPath + "': " + file.lastErrorText();
        return false;
    }
    if (!file.write(bytes.data(), bytes.size()) || !file.flush() || !file.close()) {
        error = "writing the commit journal failed: " + file.lastErrorText();
        file.close();
        SystemFile::deleteFile(journalPath);
        return false;
    }
    // The journal protects the file only once its folder entry is durable too.
    SystemFile::syncFolderOf(journalPath);
    return true;
}

JournalState readJournal(const std::string& journalPath, std::uint64_t fileSize, const FileHeader& header,
                         CommitJournal& journal) {
    journal = {};
    SystemFile file;
    if (!file.open(journalPath, SystemFile::Mode::Read))
        return file.lastErrorIsNotFound() ? JournalState::Absent : JournalState::Unusable;
    std::uint64_t size = 0;
    if (!file.size(size) || size < kPreamble + 4 || size > 2 * kMaxRange) return JournalState::Unusable;
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(size));
    if (!file.readAt(0, bytes.data(), bytes.size())) return JournalState::Unusable;
    if (std::memcmp(bytes.data(), kJournalMagic, sizeof kJournalMagic) != 0 ||
        crc32(bytes.data(), bytes.size() - 4) != le::u32(bytes.data() + bytes.size() - 4))
        return JournalState::Unusable;
    journal.fileSize = le::u64(bytes.data() + 8);
    const std::uint32_t count = le::u32(bytes.data() + 16);
    std::size_t at = kPreamble;
    const std::size_t end = bytes.size() - 4;
    for (std::uint32_t i = 0; i < count; ++i) {
        if (end - at < 16) return JournalState::Unusable;
        JournalRange range;
        range.offset = le::u64(bytes.data() + at);
        const std::uint64_t length = le::u64(bytes.data() + at + 8);
        at += 16;
        if (length > end - at || range.offset > fileSize || length > fileSize - range.offset)
            return JournalState::Unusable;
        range.bytes.assign(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                           bytes.begin() + static_cast<std::ptrdiff_t>(at + length));
        at += static_cast<std::size_t>(length);
        journal.ranges.push_back(std::move(range));
    }
    if (at != end || journal.ranges.empty() || journal.ranges.front().offset != 0 ||
        journal.ranges.front().bytes.size() != kHeaderSize)
        return JournalState::Unusable;
    // A journal left by a commit on an earlier file at this path (since rebuilt) is not this one's.
    const FileHeader saved = journalHeader(journal);
    if (journal.fileSize != fileSize || saved.pointCount != header.pointCount ||
        saved.buildSignature != header.buildSignature || saved.deletedMapOffset != header.deletedMapOffset ||
        saved.deletedMapSize != header.deletedMapSize)
        return JournalState::Unusable;
    return JournalState::Usable;
}

bool rollBack(SystemFile& file, const CommitJournal& journal, std::string& error) {
    // The header last, as in a commit: it is what tells a reader the map's count.
    for (auto range = journal.ranges.rbegin(); range != journal.ranges.rend(); ++range)
        if (!file.seek(range->offset) || !file.write(range->bytes.data(), range->bytes.size())) {
            error = "restoring the file from the commit journal failed: " + file.lastErrorText();
            return false;
        }
    if (!file.flush()) {
        error = "restoring the file from the commit journal failed: " + file.lastErrorText();
        return false;
    }
    return true;
}

FileHeader journalHeader(const CommitJournal& journal) { return decodeHeader(journal.ranges.front().bytes.data()); }

void applyJournal(const CommitJournal& journal, std::uint64_t offset, std::uint8_t* bytes, std::size_t size) {
    for (const JournalRange& range : journal.ranges) {
        const std::uint64_t from = std::max(offset, range.offset);
        const std::uint64_t to = std::min(offset + size, range.offset + range.bytes.size());
        if (from >= to) continue;
        std::memcpy(bytes + (from - offset), range.bytes.data() + (from - range.offset), static_cast<std::size_t>(to - from));
    }
}

}  // namespace ovcf
