// A file handle: reads and writes at offsets, with share modes.
//
// "Locked against all other readers and writers" is an exclusive lock; "others may read but not
// write" is a shared lock. An open waits for a conflicting lock for about a second (short
// back-off) before it raises 70 "Permission denied", so that concurrent writers of one file take
// turns instead of failing.
//
// On POSIX (posix/file.cc) the locks are flock locks. On Windows (win32/file.cc) the lock given
// at the open is the open's sharing mode, and Lock/TryLock take a byte-range lock far beyond any
// data: such locks are mandatory, and one on the data itself would fail other processes' reads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "kivdbxt/types.h"

namespace kiv {

enum class Access { Read, Write, ReadWrite };
enum class ShareLock { None, Shared, Exclusive };

struct OpenOptions {
  Access access = Access::Read;
  bool create = false;    // create a missing file
  bool truncate = false;  // empty the file once the lock is held
  ShareLock lock = ShareLock::None;
  // Opens the file only if it is a regular file: the last path component is not followed when
  // it is a symlink (error 75; LastDllError ELOOP, on Windows ERROR_CANT_ACCESS_FILE), and a FIFO
  // or a device is refused at once (75, EINVAL), never waited on.
  bool regular_only = false;
  // With regular_only, on a system whose locks are not the open itself: the caller looks at the
  // file's type (RegularSize) once it holds its locks, as it must for the size anyway, so the
  // open spares a look of its own. A FIFO opened this way still never blocks the open.
  bool type_checked_after_lock = false;
};

// Which file an open file or a path is, and its size, from one look at it.
struct FileStamp {
  uint64_t device = 0;
  uint64_t inode = 0;
  int64_t size = -1;  // -1: no such file
  // When the file (for a folder: its list of names) last changed, in nanoseconds; 0 where the
  // system does not tell. A change later than a look gives a time later than the look's.
  int64_t changed = 0;
  // Whether both stamps are of one existing file. While a file is held open its inode is not
  // given to another file, so a path whose stamp matches an open file's still names that file.
  bool SameFile(const FileStamp& other) const {
    return size >= 0 && other.size >= 0 && device == other.device && inode == other.inode;
  }
};

// The stamp of the file a path (in the system's encoding) names, its last component not
// followed when it is a symlink; size -1 when the look fails. Never raises.
FileStamp PathStamp(const std::string& path);

class File {
 public:
  File() = default;
  File(File&& other) noexcept;
  File& operator=(File&& other) noexcept;
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File();

  // Raises 53 (file not found), 76 (path not found), 70 (locked), 75 (access) ...
  static File Open(const String& path, const OpenOptions& options);
  // The same with the path already in the system's encoding (UTF-8), for callers that open one
  // file many times and convert its name once.
  static File OpenNative(const std::string& path, const OpenOptions& options);

#if defined(_WIN32)
  bool IsOpen() const { return handle_ != nullptr; }
#else
  bool IsOpen() const { return fd_ >= 0; }
#endif
  int64_t Size() const;
  // The size of a regular file; raises 75 for anything else (a folder, a FIFO, a device), with
  // EISDIR or EINVAL as the system error (ERROR_DIRECTORY or ERROR_INVALID_FUNCTION on Windows).
  int64_t RegularSize() const;
  // The size of a regular file by a seek to its end: a much cheaper look than Size's, for a
  // check made on every operation (the file offset is of no use to ReadAt and WriteAt).
  int64_t EndOffset() const;
  // Reads up to n bytes at offset; returns the number read (short at end of file).
  size_t ReadAt(int64_t offset, void* buffer, size_t n) const;
  void WriteAt(int64_t offset, const void* data, size_t n);
  void Truncate(int64_t size);
  // Makes the file's data durable (fdatasync).
  void Sync();
  // A lock on a file already open, for callers that lock per operation instead of per open:
  // Lock waits as Open does and raises 70; TryLock does not wait. Unlock drops either.
  void Lock(ShareLock lock);
  bool TryLock(ShareLock lock);
  void Unlock();
  // The stamp of the open file; raises when the look fails.
  FileStamp Stamp() const;
  // A second handle on the same open file (and its lock), closed on its own.
  File Duplicate() const;
  void Close();

 private:
  friend class FileMap;
#if defined(_WIN32)
  explicit File(void* handle) : handle_(handle) {}
  void* handle_ = nullptr;            // a HANDLE; never INVALID_HANDLE_VALUE
  ShareLock held_ = ShareLock::None;  // the byte-range lock this handle holds
#else
  explicit File(int fd) : fd_(fd) {}
  int fd_ = -1;
#endif
};

// The bounded wait of an open that meets a conflicting lock, in milliseconds.
inline constexpr int kLockWaitMs = 1000;

}  // namespace kiv
