// Files over the wide Win32 calls. The lock given at an open is the open's sharing mode, as the
// run time's Open statement gives it, and nothing more: an exclusive lock lets nobody else open
// the file, a shared one lets others open it for reading only. Lock and TryLock take a byte-range
// lock beyond any data, which excludes what flock excludes on POSIX and blocks no read or write
// of the data.
#include "platform/file.h"

#include <windows.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include "frame/error.h"
#include "platform/fs.h"
#include "platform/rt_errors.h"
#include "platform/text_codec.h"
#include "platform/win32/win_error.h"

namespace kiv {
namespace {

// The locked byte: far past the largest file any volume holds.
constexpr DWORD kLockOffsetHigh = 0x7FFFFFFF;

HANDLE H(void* handle) { return static_cast<HANDLE>(handle); }

bool IsConflict(DWORD err) { return err == ERROR_SHARING_VIOLATION || err == ERROR_LOCK_VIOLATION; }

// The longest pause between two tries of a lock, and of an open. A refused open is dearer than a
// refused lock: the system makes a file object for each try, and Wine's server keeps the
// descriptor of each one while any byte-range lock is on the file (closing it would drop the
// locks), so an opener that tried every few hundred microseconds ran the server out of
// descriptors within a second, and failed with 67 instead of 70.
constexpr auto kLockPauseMax = std::chrono::microseconds(400);
constexpr auto kOpenPauseMax = std::chrono::milliseconds(8);

// Runs attempt() until it succeeds or fails for a reason other than a conflict, with a back-off
// from 50 microseconds up to max_pause, for at most kLockWaitMs; false with the last error when
// it never succeeded.
template <typename Attempt>
bool WithBoundedWait(std::chrono::microseconds max_pause, Attempt attempt) {
  if (attempt()) return true;
  if (!IsConflict(GetLastError())) return false;
  auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kLockWaitMs);
  auto pause = std::chrono::microseconds(50);
  for (;;) {
    if (attempt()) return true;
    const DWORD err = GetLastError();
    if (!IsConflict(err) || std::chrono::steady_clock::now() >= deadline) {
      SetLastError(err);
      return false;
    }
    std::this_thread::sleep_for(pause);
    pause = std::min(pause * 2, max_pause);  // short steps: waiters get a turn
  }
}

bool LockRange(HANDLE h, ShareLock lock) {
  OVERLAPPED at{};
  at.OffsetHigh = kLockOffsetHigh;
  const DWORD flags =
      LOCKFILE_FAIL_IMMEDIATELY | (lock == ShareLock::Exclusive ? LOCKFILE_EXCLUSIVE_LOCK : 0);
  return LockFileEx(h, flags, 0, 1, 0, &at) != 0;
}

void UnlockRange(HANDLE h) {
  OVERLAPPED at{};
  at.OffsetHigh = kLockOffsetHigh;
  UnlockFileEx(h, 0, 1, 0, &at);
}

DWORD ShareModeOf(ShareLock lock) {
  switch (lock) {
    case ShareLock::Exclusive:
      return 0;
    case ShareLock::Shared:
      return FILE_SHARE_READ;
    case ShareLock::None:
      break;
  }
  // Never FILE_SHARE_DELETE: a file deleted while open keeps its name, unusable, until the last
  // handle closes, and a writer could not make the day's files again meanwhile.
  return FILE_SHARE_READ | FILE_SHARE_WRITE;
}

DWORD AccessOf(Access access) {
  switch (access) {
    case Access::Read:
      return GENERIC_READ;
    case Access::Write:
      return GENERIC_WRITE;
    case Access::ReadWrite:
      break;
  }
  return GENERIC_READ | GENERIC_WRITE;
}

BY_HANDLE_FILE_INFORMATION InfoOf(HANDLE h) {
  BY_HANDLE_FILE_INFORMATION info{};
  if (!GetFileInformationByHandle(h, &info)) RaiseWinError(GetLastError());
  return info;
}

FileStamp StampOf(const BY_HANDLE_FILE_INFORMATION& info) {
  return FileStamp{info.dwVolumeSerialNumber,
                   (uint64_t{info.nFileIndexHigh} << 32) | info.nFileIndexLow,
                   static_cast<int64_t>((uint64_t{info.nFileSizeHigh} << 32) | info.nFileSizeLow)};
}

}  // namespace

File::File(File&& other) noexcept : handle_(other.handle_), held_(other.held_) {
  other.handle_ = nullptr;
  other.held_ = ShareLock::None;
}

File& File::operator=(File&& other) noexcept {
  if (this != &other) {
    Close();
    handle_ = other.handle_;
    held_ = other.held_;
    other.handle_ = nullptr;
    other.held_ = ShareLock::None;
  }
  return *this;
}

File::~File() { Close(); }

File File::Open(const String& path, const OpenOptions& options) {
  if (path.empty()) Raise(kErrBadFileNumber);
  DWORD flags = FILE_ATTRIBUTE_NORMAL;
  // A reparse point (a symbolic link) in the last place is opened itself, and then refused.
  if (options.regular_only) flags |= FILE_FLAG_OPEN_REPARSE_POINT;
  HANDLE h = INVALID_HANDLE_VALUE;
  const bool opened = WithBoundedWait(kOpenPauseMax, [&] {
    h = CreateFileW(Wide(path), AccessOf(options.access), ShareModeOf(options.lock), nullptr,
                    options.create ? OPEN_ALWAYS : OPEN_EXISTING, flags, nullptr);
    return h != INVALID_HANDLE_VALUE;
  });
  if (!opened) {
    const DWORD err = GetLastError();
    // A missing file in a missing folder is reported as the folder's absence, as on POSIX.
    if (err == ERROR_FILE_NOT_FOUND && !FolderExists(ParentFolder(path))) {
      RaiseWinError(ERROR_PATH_NOT_FOUND);
    }
    RaiseWinError(err);
  }
  File file(static_cast<void*>(h));
  if (options.regular_only && (InfoOf(h).dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
    throw Error{kErrPathFileAccess, RtErrorText(kErrPathFileAccess), ERROR_CANT_ACCESS_FILE};
  }
  if (options.regular_only) file.RegularSize();  // a folder or a device is refused at once
  // No byte-range lock beside the sharing mode: it would keep out nobody the mode lets in, and
  // while it stood every open the mode refuses would cost Wine's server a descriptor.
  if (options.truncate) file.Truncate(0);
  return file;
}

File File::OpenNative(const std::string& path, const OpenOptions& options) {
  return Open(FromUtf8(path), options);
}

int64_t File::RegularSize() const {
  const BY_HANDLE_FILE_INFORMATION info = InfoOf(H(handle_));
  if ((info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
    throw Error{kErrPathFileAccess, RtErrorText(kErrPathFileAccess), ERROR_DIRECTORY};
  }
  if (GetFileType(H(handle_)) != FILE_TYPE_DISK) {
    throw Error{kErrPathFileAccess, RtErrorText(kErrPathFileAccess), ERROR_INVALID_FUNCTION};
  }
  return StampOf(info).size;
}

int64_t File::EndOffset() const { return Size(); }  // as cheap a look on Windows

int64_t File::Size() const {
  LARGE_INTEGER size{};
  if (!GetFileSizeEx(H(handle_), &size)) RaiseWinError(GetLastError());
  return size.QuadPart;
}

size_t File::ReadAt(int64_t offset, void* buffer, size_t n) const {
  if (!handle_) Raise(kErrBadFileNumber);
  size_t done = 0;
  while (done < n) {
    const uint64_t at = static_cast<uint64_t>(offset) + done;
    OVERLAPPED where{};
    where.Offset = static_cast<DWORD>(at);
    where.OffsetHigh = static_cast<DWORD>(at >> 32);
    const DWORD want = static_cast<DWORD>(std::min<size_t>(n - done, 1u << 30));
    DWORD got = 0;
    if (!ReadFile(H(handle_), static_cast<char*>(buffer) + done, want, &got, &where)) {
      const DWORD err = GetLastError();
      if (err == ERROR_HANDLE_EOF) break;
      RaiseWinError(err);
    }
    if (got == 0) break;
    done += got;
  }
  return done;
}

void File::WriteAt(int64_t offset, const void* data, size_t n) {
  if (!handle_) Raise(kErrBadFileNumber);
  size_t done = 0;
  while (done < n) {
    const uint64_t at = static_cast<uint64_t>(offset) + done;
    OVERLAPPED where{};
    where.Offset = static_cast<DWORD>(at);
    where.OffsetHigh = static_cast<DWORD>(at >> 32);
    const DWORD want = static_cast<DWORD>(std::min<size_t>(n - done, 1u << 30));
    DWORD put = 0;
    if (!WriteFile(H(handle_), static_cast<const char*>(data) + done, want, &put, &where)) {
      RaiseWinError(GetLastError());
    }
    done += put;
  }
}

void File::Truncate(int64_t size) {
  // Fails with ERROR_USER_MAPPED_FILE (70) while any process maps the part that would go.
  FILE_END_OF_FILE_INFO end{};
  end.EndOfFile.QuadPart = size;
  if (!SetFileInformationByHandle(H(handle_), FileEndOfFileInfo, &end, sizeof end)) {
    RaiseWinError(GetLastError());
  }
}

void File::Sync() {
  if (!FlushFileBuffers(H(handle_))) RaiseWinError(GetLastError());
}

void File::Lock(ShareLock lock) {
  if (lock == ShareLock::None) return;
  Unlock();  // a lock changes kind by being dropped and taken again, as a flock does
  if (!WithBoundedWait(kLockPauseMax, [&] { return LockRange(H(handle_), lock); })) {
    const DWORD err = GetLastError();
    throw Error{kErrPermissionDenied, RtErrorText(kErrPermissionDenied), static_cast<int32_t>(err)};
  }
  held_ = lock;
}

bool File::TryLock(ShareLock lock) {
  if (lock == ShareLock::None) return true;
  Unlock();
  if (!LockRange(H(handle_), lock)) return false;
  held_ = lock;
  return true;
}

void File::Unlock() {
  if (handle_ && held_ != ShareLock::None) UnlockRange(H(handle_));
  held_ = ShareLock::None;
}

FileStamp PathStamp(const std::string& path) {
  // No access asked, every sharing allowed: the look succeeds whoever holds the file.
  HANDLE h = CreateFileW(
      Wide(FromUtf8(path)), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
      OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT | FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (h == INVALID_HANDLE_VALUE) return FileStamp{};
  BY_HANDLE_FILE_INFORMATION info{};
  const bool ok = GetFileInformationByHandle(h, &info) != 0;
  CloseHandle(h);
  return ok ? StampOf(info) : FileStamp{};
}

FileStamp File::Stamp() const { return StampOf(InfoOf(H(handle_))); }

File File::Duplicate() const {
  if (!handle_) Raise(kErrBadFileNumber);
  HANDLE process = GetCurrentProcess();
  HANDLE copy = nullptr;
  if (!DuplicateHandle(process, H(handle_), process, &copy, 0, FALSE, DUPLICATE_SAME_ACCESS)) {
    RaiseWinError(GetLastError());
  }
  return File(static_cast<void*>(copy));  // the lock belongs to the original handle
}

void File::Close() {
  if (handle_) {
    Unlock();
    CloseHandle(H(handle_));
    handle_ = nullptr;
  }
}

}  // namespace kiv
