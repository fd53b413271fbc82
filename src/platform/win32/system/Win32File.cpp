// SystemFile on Windows: CreateFileW on the UTF-8 path converted to UTF-16, shared for reading,
// writing and deletion so that readers, the writer and the commit of deletions coexist; reads and
// writes carry their offset in an OVERLAPPED, so no call depends on the handle's file pointer.
#include "platform/SystemFile.h"
#include "platform/win32/system/WideString.h"

#include <windows.h>

#include <atomic>
#include <iterator>
#include <string>

namespace ovcf {
namespace {

HANDLE toHandle(std::intptr_t handle) { return reinterpret_cast<HANDLE>(handle); }

constexpr DWORD kMaxTransfer = DWORD{1} << 30;

OVERLAPPED overlappedAt(std::uint64_t offset) {
    OVERLAPPED overlapped{};
    overlapped.Offset = static_cast<DWORD>(offset);
    overlapped.OffsetHigh = static_cast<DWORD>(offset >> 32);
    return overlapped;
}

}  // namespace

bool SystemFile::open(const std::string& utf8Path, Mode mode) {
    close();
    std::wstring wide;
    if (!widenUtf8(utf8Path, wide)) {
        failWithSystemError();
        return false;
    }
    DWORD access = GENERIC_READ;
    DWORD disposition = OPEN_EXISTING;
    if (mode == Mode::Create || mode == Mode::CreateNew) {
        access |= GENERIC_WRITE;
        disposition = mode == Mode::Create ? CREATE_ALWAYS : CREATE_NEW;
    } else if (mode == Mode::ReadWrite) {
        access |= GENERIC_WRITE;
    }
    const HANDLE handle = CreateFileW(wide.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        failWithSystemError();
        return false;
    }
    handle_ = reinterpret_cast<std::intptr_t>(handle);
    position_ = 0;
    return true;
}

bool SystemFile::isOpen() const { return handle_ != -1; }

bool SystemFile::close() {
    if (handle_ == -1) return true;
    const BOOL closed = CloseHandle(toHandle(handle_));
    handle_ = -1;
    if (!closed) {
        failWithSystemError();
        return false;
    }
    return true;
}

bool SystemFile::readAt(std::uint64_t offset, void* buffer, std::size_t size) {
    if (!isOpen()) {
        SetLastError(ERROR_INVALID_HANDLE);
        failWithSystemError();
        return false;
    }
    auto* out = static_cast<std::uint8_t*>(buffer);
    while (size > 0) {
        const DWORD chunk = size < kMaxTransfer ? static_cast<DWORD>(size) : kMaxTransfer;
        OVERLAPPED overlapped = overlappedAt(offset);
        DWORD got = 0;
        if (!ReadFile(toHandle(handle_), out, chunk, &got, &overlapped)) {
            if (GetLastError() == ERROR_HANDLE_EOF) {
                failWithEndOfFile();
            } else {
                failWithSystemError();
            }
            return false;
        }
        if (got == 0) {
            failWithEndOfFile();
            return false;
        }
        out += got;
        offset += got;
        size -= got;
    }
    return true;
}

bool SystemFile::write(const void* data, std::size_t size) {
    if (!isOpen()) {
        SetLastError(ERROR_INVALID_HANDLE);
        failWithSystemError();
        return false;
    }
    if (size > 0 && faultInjected(Operation::Write)) {
        SetLastError(ERROR_DISK_FULL);
        failWithSystemError();
        return false;
    }
    const auto* in = static_cast<const std::uint8_t*>(data);
    while (size > 0) {
        const DWORD chunk = size < kMaxTransfer ? static_cast<DWORD>(size) : kMaxTransfer;
        OVERLAPPED overlapped = overlappedAt(position_);
        DWORD put = 0;
        if (!WriteFile(toHandle(handle_), in, chunk, &put, &overlapped)) {
            failWithSystemError();
            return false;
        }
        if (put == 0) {
            SetLastError(ERROR_DISK_FULL);
            failWithSystemError();
            return false;
        }
        in += put;
        position_ += put;
        size -= put;
    }
    return true;
}

// The cache manager's lazy writer already writes dirty pages out within seconds.
void SystemFile::startWriteBack(std::uint64_t, std::uint64_t) {}

bool SystemFile::flush() {
    if (!isOpen()) {
        SetLastError(ERROR_INVALID_HANDLE);
        failWithSystemError();
        return false;
    }
    if (faultInjected(Operation::Flush)) {
        SetLastError(ERROR_DISK_FULL);
        failWithSystemError();
        return false;
    }
    if (!FlushFileBuffers(toHandle(handle_))) {
        failWithSystemError();
        return false;
    }
    return true;
}

bool SystemFile::seek(std::uint64_t offset) {
    if (handle_ == -1) {
        SetLastError(ERROR_INVALID_HANDLE);
        failWithSystemError();
        return false;
    }
    position_ = offset;
    return true;
}

bool SystemFile::tell(std::uint64_t& offset) {
    if (handle_ == -1) {
        SetLastError(ERROR_INVALID_HANDLE);
        failWithSystemError();
        return false;
    }
    offset = position_;
    return true;
}

bool SystemFile::size(std::uint64_t& bytes) {
    if (!isOpen()) {
        SetLastError(ERROR_INVALID_HANDLE);
        failWithSystemError();
        return false;
    }
    LARGE_INTEGER length{};
    if (!GetFileSizeEx(toHandle(handle_), &length)) {
        failWithSystemError();
        return false;
    }
    bytes = static_cast<std::uint64_t>(length.QuadPart);
    return true;
}

std::string SystemFile::lastErrorText() const {
    if (endOfFile_) return kEndOfFileText;
    if (lastError_ == 0) return "unknown error";
    return win32ErrorText(static_cast<unsigned long>(lastError_));
}

std::string SystemFile::diskFullText() { return win32ErrorText(ERROR_DISK_FULL); }

bool SystemFile::lastErrorIsNotFound() const {
    return !endOfFile_ && (lastError_ == ERROR_FILE_NOT_FOUND || lastError_ == ERROR_PATH_NOT_FOUND);
}

bool SystemFile::lastErrorIsReadOnly() const {
    return !endOfFile_ && (lastError_ == ERROR_ACCESS_DENIED || lastError_ == ERROR_WRITE_PROTECT);
}

bool SystemFile::lastErrorIsAlreadyExists() const {
    return !endOfFile_ && (lastError_ == ERROR_FILE_EXISTS || lastError_ == ERROR_ALREADY_EXISTS);
}

bool SystemFile::deleteFile(const std::string& utf8Path) {
    if (faultInjected(Operation::Remove)) {
        SetLastError(ERROR_DISK_FULL);
        return false;
    }
    std::wstring wide;
    return widenUtf8(utf8Path, wide) && DeleteFileW(wide.c_str()) != 0;
}

namespace {

FileId idOf(const BY_HANDLE_FILE_INFORMATION& info) {
    return {info.dwVolumeSerialNumber,
            static_cast<std::uint64_t>(info.nFileIndexHigh) << 32 | info.nFileIndexLow};
}

// The locked byte: far past the end of any real file, so no read or write ever meets it
// (Windows locks are mandatory for the bytes they cover).
constexpr std::uint64_t kLockOffset = std::uint64_t{1} << 62;

}  // namespace

bool SystemFile::fileId(FileId& id) {
    BY_HANDLE_FILE_INFORMATION info{};
    if (!isOpen()) SetLastError(ERROR_INVALID_HANDLE);
    if (!isOpen() || !GetFileInformationByHandle(toHandle(handle_), &info)) {
        failWithSystemError();
        return false;
    }
    id = idOf(info);
    return true;
}

bool SystemFile::lock(LockMode mode) {
    OVERLAPPED at = overlappedAt(kLockOffset);
    if (!isOpen()) SetLastError(ERROR_INVALID_HANDLE);
    if (!isOpen() ||
        !LockFileEx(toHandle(handle_), mode == LockMode::Exclusive ? LOCKFILE_EXCLUSIVE_LOCK : 0, 0, 1, 0, &at)) {
        failWithSystemError();
        return false;
    }
    return true;
}

bool SystemFile::unlock() {
    OVERLAPPED at = overlappedAt(kLockOffset);
    if (!isOpen()) SetLastError(ERROR_INVALID_HANDLE);
    if (!isOpen() || !UnlockFileEx(toHandle(handle_), 0, 1, 0, &at)) {
        failWithSystemError();
        return false;
    }
    return true;
}

bool SystemFile::duplicate(SystemFile& copy) {
    copy.close();
    HANDLE twin = nullptr;
    if (!isOpen()) SetLastError(ERROR_INVALID_HANDLE);
    if (!isOpen() || !DuplicateHandle(GetCurrentProcess(), toHandle(handle_), GetCurrentProcess(), &twin, 0, FALSE,
                                      DUPLICATE_SAME_ACCESS)) {
        failWithSystemError();
        copy.failWithSystemError();
        return false;
    }
    copy.handle_ = reinterpret_cast<std::intptr_t>(twin);
    copy.position_ = 0;
    return true;
}

// NTFS journals its folder entries itself; there is no folder handle to flush.
bool SystemFile::syncFolderOf(const std::string&) { return true; }

namespace {

bool fileIdentity(const std::string& path, BY_HANDLE_FILE_INFORMATION& info) {
    std::wstring wide;
    if (!widenUtf8(path, wide)) return false;
    const HANDLE handle = CreateFileW(wide.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                      OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (handle == INVALID_HANDLE_VALUE) return false;
    const bool ok = GetFileInformationByHandle(handle, &info) != 0;
    CloseHandle(handle);
    return ok;
}

}  // namespace

bool SystemFile::fileIdAt(const std::string& utf8Path, FileId& id) {
    BY_HANDLE_FILE_INFORMATION info{};
    if (!fileIdentity(utf8Path, info)) return false;
    id = idOf(info);
    return true;
}

bool SystemFile::sameFile(const std::string& a, const std::string& b) {
    BY_HANDLE_FILE_INFORMATION first{}, second{};
    return fileIdentity(a, first) && fileIdentity(b, second) &&
           first.dwVolumeSerialNumber == second.dwVolumeSerialNumber &&
           first.nFileIndexHigh == second.nFileIndexHigh && first.nFileIndexLow == second.nFileIndexLow;
}

bool SystemFile::replaceFile(const std::string& from, const std::string& to, std::string& error) {
    std::wstring wideFrom, wideTo;
    if (!widenUtf8(from, wideFrom) || !widenUtf8(to, wideTo)) {
        error = "the path is not valid UTF-8";
        return false;
    }
    if (faultInjected(Operation::Rename)) {
        error = win32ErrorText(ERROR_DISK_FULL);
        return false;
    }
    if (MoveFileExW(wideFrom.c_str(), wideTo.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) return true;
    DWORD failure = GetLastError();
    if (failure == ERROR_ACCESS_DENIED || failure == ERROR_SHARING_VIOLATION) {
        // The target is open (a view reading the old cache), which forbids replacing it where
        // rename-over-open is not supported; its name can still move, since every opener shares
        // deletion. The old file moves aside, the new one takes its name, and the old one is
        // deleted: it goes when its last reader closes it.
        // Two replacements of one target in the same tick each move it aside under a name of their own.
        static std::atomic<unsigned> asides{0};
        const std::wstring aside = wideTo + L"." + std::to_wstring(GetCurrentProcessId()) + L"-" +
                                   std::to_wstring(GetTickCount64()) + L"-" + std::to_wstring(asides.fetch_add(1)) +
                                   L".old";
        if (MoveFileExW(wideTo.c_str(), aside.c_str(), MOVEFILE_WRITE_THROUGH)) {
            if (MoveFileExW(wideFrom.c_str(), wideTo.c_str(), MOVEFILE_WRITE_THROUGH)) {
                DeleteFileW(aside.c_str());
                return true;
            }
            failure = GetLastError();
            MoveFileExW(aside.c_str(), wideTo.c_str(), MOVEFILE_WRITE_THROUGH);  // the old one back
        }
    }
    error = win32ErrorText(failure);
    return false;
}

void SystemFile::failWithSystemError() {
    lastError_ = static_cast<int>(GetLastError());
    endOfFile_ = false;
}

void SystemFile::failWithEndOfFile() {
    lastError_ = 0;
    endOfFile_ = true;
}

}  // namespace ovcf
