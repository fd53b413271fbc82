// SystemFile on POSIX: open() with O_CLOEXEC, pread/pwrite at 64-bit offsets. POSIX opens deny
// nothing to other openers, which is the share-all mode the file code relies on.
#include "platform/SystemFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

static_assert(sizeof(off_t) == 8, "64-bit file offsets are required");

namespace ovcf {
namespace {

// strerror_r comes in a GNU and an XSI flavour; accept either.
[[maybe_unused]] const char* pickMessage(int result, const char* buffer) { return result == 0 ? buffer : nullptr; }
[[maybe_unused]] const char* pickMessage(const char* result, const char*) { return result; }

int fd(std::intptr_t handle) { return static_cast<int>(handle); }

// Keeps each transfer below what every kernel accepts in one call.
constexpr std::size_t kMaxTransfer = std::size_t{1} << 30;

}  // namespace

bool SystemFile::open(const std::string& utf8Path, Mode mode) {
    close();
    int flags = O_CLOEXEC;
    switch (mode) {
        case Mode::Read: flags |= O_RDONLY; break;
        case Mode::Create: flags |= O_RDWR | O_CREAT | O_TRUNC; break;
        case Mode::CreateNew: flags |= O_RDWR | O_CREAT | O_EXCL; break;
        case Mode::ReadWrite: flags |= O_RDWR; break;
    }
    int result;
    do {
        result = ::open(utf8Path.c_str(), flags, 0666);
    } while (result < 0 && errno == EINTR);
    if (result < 0) {
        failWithSystemError();
        return false;
    }
    handle_ = result;
    position_ = 0;
    return true;
}

bool SystemFile::isOpen() const { return handle_ >= 0; }

bool SystemFile::close() {
    if (handle_ < 0) return true;
    const int result = ::close(fd(handle_));
    handle_ = -1;
    // After EINTR the descriptor is gone on Linux; retrying could close someone else's.
    if (result != 0 && errno != EINTR) {
        failWithSystemError();
        return false;
    }
    return true;
}

bool SystemFile::readAt(std::uint64_t offset, void* buffer, std::size_t size) {
    if (!isOpen()) {
        errno = EBADF;
        failWithSystemError();
        return false;
    }
    auto* out = static_cast<std::uint8_t*>(buffer);
    while (size > 0) {
        if (offset > static_cast<std::uint64_t>(INT64_MAX)) {
            failWithEndOfFile();
            return false;
        }
        const ssize_t got = ::pread(fd(handle_), out, size < kMaxTransfer ? size : kMaxTransfer,
                                    static_cast<off_t>(offset));
        if (got < 0) {
            if (errno == EINTR) continue;
            failWithSystemError();
            return false;
        }
        if (got == 0) {
            failWithEndOfFile();
            return false;
        }
        out += got;
        offset += static_cast<std::uint64_t>(got);
        size -= static_cast<std::size_t>(got);
    }
    return true;
}

bool SystemFile::write(const void* data, std::size_t size) {
    if (!isOpen()) {
        errno = EBADF;
        failWithSystemError();
        return false;
    }
    if (size > 0 && faultInjected(Operation::Write)) {
        errno = ENOSPC;
        failWithSystemError();
        return false;
    }
    const auto* in = static_cast<const std::uint8_t*>(data);
    while (size > 0) {
        const ssize_t put = ::pwrite(fd(handle_), in, size < kMaxTransfer ? size : kMaxTransfer,
                                     static_cast<off_t>(position_));
        if (put < 0) {
            if (errno == EINTR) continue;
            failWithSystemError();
            return false;
        }
        if (put == 0) {  // no progress and no error: treat as a full device
            errno = ENOSPC;
            failWithSystemError();
            return false;
        }
        in += put;
        position_ += static_cast<std::uint64_t>(put);
        size -= static_cast<std::size_t>(put);
    }
    return true;
}

bool SystemFile::flush() {
    if (!isOpen()) {
        errno = EBADF;
        failWithSystemError();
        return false;
    }
    if (faultInjected(Operation::Flush)) {
        errno = ENOSPC;
        failWithSystemError();
        return false;
    }
    if (::fsync(fd(handle_)) != 0) {
        failWithSystemError();
        return false;
    }
    return true;
}

void SystemFile::startWriteBack(std::uint64_t offset, std::uint64_t length) {
#if defined(__linux__)
    if (isOpen() && offset <= static_cast<std::uint64_t>(INT64_MAX) && length <= static_cast<std::uint64_t>(INT64_MAX))
        ::sync_file_range(fd(handle_), static_cast<off_t>(offset), static_cast<off_t>(length), SYNC_FILE_RANGE_WRITE);
#else
    (void)offset;
    (void)length;
#endif
}

bool SystemFile::seek(std::uint64_t offset) {
    if (handle_ < 0 || offset > static_cast<std::uint64_t>(INT64_MAX)) {
        errno = handle_ < 0 ? EBADF : EINVAL;
        failWithSystemError();
        return false;
    }
    position_ = offset;
    return true;
}

bool SystemFile::tell(std::uint64_t& offset) {
    if (handle_ < 0) {
        errno = EBADF;
        failWithSystemError();
        return false;
    }
    offset = position_;
    return true;
}

bool SystemFile::size(std::uint64_t& bytes) {
    if (!isOpen()) {
        errno = EBADF;
        failWithSystemError();
        return false;
    }
    struct stat info;
    if (::fstat(fd(handle_), &info) != 0) {
        failWithSystemError();
        return false;
    }
    bytes = static_cast<std::uint64_t>(info.st_size);
    return true;
}

std::string SystemFile::lastErrorText() const {
    if (endOfFile_) return kEndOfFileText;
    if (lastError_ == 0) return "unknown error";
    char buffer[256] = {};
    const char* message = pickMessage(strerror_r(lastError_, buffer, sizeof buffer), buffer);
    return message && *message ? std::string(message) : std::string("unknown error");
}

std::string SystemFile::diskFullText() {
    char buffer[256] = {};
    const char* message = pickMessage(strerror_r(ENOSPC, buffer, sizeof buffer), buffer);
    return message ? std::string(message) : std::string();
}

bool SystemFile::lastErrorIsNotFound() const { return !endOfFile_ && (lastError_ == ENOENT || lastError_ == ENOTDIR); }

bool SystemFile::lastErrorIsAlreadyExists() const { return !endOfFile_ && lastError_ == EEXIST; }

bool SystemFile::lastErrorIsReadOnly() const {
    return !endOfFile_ && (lastError_ == EROFS || lastError_ == EACCES || lastError_ == EPERM);
}

bool SystemFile::deleteFile(const std::string& utf8Path) {
    if (faultInjected(Operation::Remove)) {
        errno = ENOSPC;
        return false;
    }
    return ::unlink(utf8Path.c_str()) == 0;
}

bool SystemFile::fileId(FileId& id) {
    struct stat info {};
    if (!isOpen() || ::fstat(fd(handle_), &info) != 0) {
        if (!isOpen()) errno = EBADF;
        failWithSystemError();
        return false;
    }
    id = {static_cast<std::uint64_t>(info.st_dev), static_cast<std::uint64_t>(info.st_ino)};
    return true;
}

bool SystemFile::fileIdAt(const std::string& utf8Path, FileId& id) {
    struct stat info {};
    if (::stat(utf8Path.c_str(), &info) != 0) return false;
    id = {static_cast<std::uint64_t>(info.st_dev), static_cast<std::uint64_t>(info.st_ino)};
    return true;
}

namespace {

// The locked byte: far past the end of any real file, so no read or write ever meets it.
constexpr off_t kLockOffset = off_t{1} << 62;

bool setLock(int descriptor, short type) {
    struct flock request {};
    request.l_type = type;
    request.l_whence = SEEK_SET;
    request.l_start = kLockOffset;
    request.l_len = 1;
    int result;
    do {
        result = ::fcntl(descriptor, F_OFD_SETLKW, &request);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

}  // namespace

bool SystemFile::lock(LockMode mode) {
    if (!isOpen()) errno = EBADF;
    if (!isOpen() || !setLock(fd(handle_), mode == LockMode::Exclusive ? F_WRLCK : F_RDLCK)) {
        failWithSystemError();
        return false;
    }
    return true;
}

bool SystemFile::unlock() {
    if (!isOpen()) errno = EBADF;
    if (!isOpen() || !setLock(fd(handle_), F_UNLCK)) {
        failWithSystemError();
        return false;
    }
    return true;
}

bool SystemFile::duplicate(SystemFile& copy) {
    copy.close();
    if (!isOpen()) errno = EBADF;
    const int result = isOpen() ? ::fcntl(fd(handle_), F_DUPFD_CLOEXEC, 0) : -1;
    if (result < 0) {
        failWithSystemError();
        copy.failWithSystemError();
        return false;
    }
    copy.handle_ = result;
    copy.position_ = 0;
    return true;
}

bool SystemFile::syncFolderOf(const std::string& utf8Path) {
    const std::size_t slash = utf8Path.find_last_of('/');
    const std::string folder = slash == std::string::npos ? "." : slash == 0 ? "/" : utf8Path.substr(0, slash);
    const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) return false;
    const bool synced = ::fsync(descriptor) == 0;
    ::close(descriptor);
    return synced;
}

bool SystemFile::sameFile(const std::string& a, const std::string& b) {
    struct stat first {}, second {};
    return ::stat(a.c_str(), &first) == 0 && ::stat(b.c_str(), &second) == 0 && first.st_dev == second.st_dev &&
           first.st_ino == second.st_ino;
}

bool SystemFile::replaceFile(const std::string& from, const std::string& to, std::string& error) {
    if (faultInjected(Operation::Rename)) {
        error = std::strerror(ENOSPC);
        return false;
    }
    if (::rename(from.c_str(), to.c_str()) != 0) {
        error = std::strerror(errno);
        return false;
    }
    // The new name is durable once the folder's entry is; a failure here loses nothing now.
    syncFolderOf(to);
    return true;
}

void SystemFile::failWithSystemError() {
    lastError_ = errno;
    endOfFile_ = false;
}

void SystemFile::failWithEndOfFile() {
    lastError_ = 0;
    endOfFile_ = true;
}

}  // namespace ovcf
