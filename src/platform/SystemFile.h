// A file opened in the share-all mode: any number of readers and one writer may hold the same
// file at once (Windows: FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE). Paths are UTF-8
// and opened in the platform's wide form. Offsets and sizes are 64-bit. Reads are positional, so
// readers on different threads share no file position.
//
// Every failing call returns false and keeps the system's error, whose English description
// lastErrorText() gives. No call throws. One object is used by one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace ovcf {

// Which file a handle or a path names, independent of how the path is spelt: device and file
// number on POSIX, volume serial and file index on Windows. A file renamed over another has a
// different one, which is how a view tells that its file was replaced.
struct FileId {
    std::uint64_t device = 0;
    std::uint64_t number = 0;
    bool operator==(const FileId&) const = default;
};

class SystemFile {
public:
    enum class Mode {
        Read,       // existing file, read only
        Create,     // created or truncated, read and write
        CreateNew,  // created only where no file has the name yet, read and write
        ReadWrite,  // existing file, read and write, not truncated
    };

    SystemFile() = default;
    ~SystemFile();  // closes, ignoring errors
    SystemFile(const SystemFile&) = delete;
    SystemFile& operator=(const SystemFile&) = delete;
    SystemFile(SystemFile&& other) noexcept;
    SystemFile& operator=(SystemFile&& other) noexcept;

    // Closes any file already open first.
    bool open(const std::string& utf8Path, Mode mode);
    bool isOpen() const;
    // Closes the file; false when the system reported an error while closing (the file is
    // closed either way). Closing a closed file succeeds.
    bool close();

    // Reads exactly size bytes at offset; the position used by write() does not move. A read
    // that ends early at the end of the file fails with "unexpected end of file".
    bool readAt(std::uint64_t offset, void* buffer, std::size_t size);
    // Writes all bytes at the current position and advances it (the position starts at 0).
    bool write(const void* data, std::size_t size);
    // Makes everything written so far reach stable storage (fsync, FlushFileBuffers).
    bool flush();
    // Asks the system to start writing [offset, offset + length) out to the disk now, without
    // waiting, so that a long file's final flush has only its tail left to wait for. A hint:
    // nothing happens where the system has no such request.
    void startWriteBack(std::uint64_t offset, std::uint64_t length);
    bool seek(std::uint64_t offset);
    bool tell(std::uint64_t& offset);
    bool size(std::uint64_t& bytes);

    // The identity of the open file, and of the file a path names now.
    bool fileId(FileId& id);
    static bool fileIdAt(const std::string& utf8Path, FileId& id);

    // Advisory locks that serialise commits between threads and processes: open-file-description
    // locks (fcntl) on Linux, LockFileEx on Windows, both held per handle and released when the
    // handle closes or the process dies. They cover one byte far past any data, so they never
    // stand in the way of reads or writes of the file itself. Both block until granted; an
    // exclusive lock needs a handle open for writing.
    enum class LockMode { Shared, Exclusive };
    bool lock(LockMode mode);
    bool unlock();

    // A second handle on the same open file, which keeps reading that file even after another
    // one has been renamed over its path.
    bool duplicate(SystemFile& copy);

    // Makes the folder entries of `utf8Path` (a file created, renamed or removed there) durable.
    static bool syncFolderOf(const std::string& utf8Path);

    // The text of a read that ended early.
    static constexpr const char* kEndOfFileText = "unexpected end of file";

    // Description of the error of the last failing call ("unknown error" when none can be had).
    std::string lastErrorText() const;
    // The last failing call failed because the file or a folder of its path does not exist.
    bool lastErrorIsNotFound() const;
    // The last failing call failed because the file or its medium cannot be written.
    bool lastErrorIsReadOnly() const;
    // The last failing call failed because a file of that name already exists (CreateNew).
    bool lastErrorIsAlreadyExists() const;

    // The system's text for a full disk, as lastErrorText() gives it.
    static std::string diskFullText();

    // Removes a file; other handles opened in the share-all mode do not prevent it. Asks the
    // fault hook (Operation::Remove) first.
    static bool deleteFile(const std::string& utf8Path);
    // Renames `from` to `to`, replacing a file already there, and makes the rename durable; false
    // with the system's reason in `error`. Readers that have the old file open keep reading it
    // (on Windows, where it cannot be replaced while open, it first moves aside under a name
    // ending ".old" and is deleted, to vanish when its last reader closes it).
    static bool replaceFile(const std::string& from, const std::string& to, std::string& error);
    // True when both paths name one existing file, however they are spelt (links, "./", case
    // on Windows): compared by device and file number, not as text.
    static bool sameFile(const std::string& a, const std::string& b);

    // Fault injection for tests, as SQLite does it: while a hook is set, every write(), flush()
    // replaceFile() and deleteFile() asks it first, and fails with the system's disk-full error
    // when it answers true. Process-wide; set it only while no other thread writes files.
    enum class Operation { Write, Flush, Rename, Remove };
    using FaultHook = bool (*)(Operation operation, void* context);
    static void setFaultHook(FaultHook hook, void* context);

private:
    static bool faultInjected(Operation operation);
    void failWithSystemError();
    void failWithEndOfFile();

    std::intptr_t handle_ = -1;  // file descriptor or HANDLE
    std::uint64_t position_ = 0; // all I/O is positional; this is write()'s position
    int lastError_ = 0;          // errno or GetLastError() value; 0 with endOfFile_ for early ends
    bool endOfFile_ = false;
};

}  // namespace ovcf
