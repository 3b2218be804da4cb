#include "platform/file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>

#include "frame/error.h"
#include "platform/fs.h"
#include "platform/rt_errors.h"
#include "platform/text_codec.h"

namespace kiv {
namespace {

// Takes the lock, retrying with a short back-off until kLockWaitMs has passed.
bool AcquireLock(int fd, ShareLock lock) {
  if (lock == ShareLock::None) return true;
  const int op = (lock == ShareLock::Exclusive ? LOCK_EX : LOCK_SH) | LOCK_NB;
  if (flock(fd, op) == 0) return true;  // the usual case: no wait, no clock reading
  auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kLockWaitMs);
  auto pause = std::chrono::microseconds(50);
  for (;;) {
    if (flock(fd, op) == 0) return true;
    if (errno != EWOULDBLOCK && errno != EINTR) return false;
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(pause);
    if (pause < std::chrono::microseconds(400)) pause *= 2;  // short steps: waiters get a turn
  }
}

}  // namespace

File::File(File&& other) noexcept : fd_(other.fd_) { other.fd_ = -1; }

File& File::operator=(File&& other) noexcept {
  if (this != &other) {
    Close();
    fd_ = other.fd_;
    other.fd_ = -1;
  }
  return *this;
}

File::~File() { Close(); }

File File::Open(const String& path, const OpenOptions& options) {
  if (path.empty()) Raise(kErrBadFileNumber);
  return OpenNative(ToUtf8(path), options);
}

File File::OpenNative(const std::string& path, const OpenOptions& options) {
  if (path.empty()) Raise(kErrBadFileNumber);
  int flags = O_CLOEXEC;
  switch (options.access) {
    case Access::Read:
      flags |= O_RDONLY;
      break;
    case Access::Write:
      flags |= O_WRONLY;
      break;
    case Access::ReadWrite:
      flags |= O_RDWR;
      break;
  }
  if (options.create) flags |= O_CREAT;
  // O_NONBLOCK keeps the open of a FIFO from waiting for its other end; it changes nothing for
  // a regular file.
  if (options.regular_only) flags |= O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
  int fd = ::open(path.c_str(), flags, 0666);
  if (fd < 0) {
    int err = errno;
    RaiseErrno(err, err == ENOENT && !FolderExists(ParentFolder(FromUtf8(path))));
  }
  File file(fd);
  // A folder opens for reading only: an open for writing has already failed with EISDIR (75).
  // A FIFO or a device opened as a regular file is refused before anything waits on it.
  struct stat st;
  if (options.regular_only) {
    if (!options.type_checked_after_lock) file.RegularSize();
  } else if (options.access == Access::Read && fstat(fd, &st) == 0 && S_ISDIR(st.st_mode)) {
    Raise(kErrPathFileAccess);
  }
  file.Lock(options.lock);
  if (options.truncate) file.Truncate(0);
  return file;
}

int64_t File::RegularSize() const {
  struct stat st;
  if (fstat(fd_, &st) != 0) RaiseErrno(errno);
  if (!S_ISREG(st.st_mode)) {
    const int err = S_ISDIR(st.st_mode) ? EISDIR : EINVAL;
    throw Error{kErrPathFileAccess, RtErrorText(kErrPathFileAccess), err};
  }
  return st.st_size;
}

int64_t File::EndOffset() const {
  const off_t end = ::lseek(fd_, 0, SEEK_END);
  if (end < 0) RaiseErrno(errno);
  return end;
}

int64_t File::Size() const {
  struct stat st;
  if (fstat(fd_, &st) != 0) RaiseErrno(errno);
  return st.st_size;
}

size_t File::ReadAt(int64_t offset, void* buffer, size_t n) const {
  if (fd_ < 0) Raise(kErrBadFileNumber);
  size_t done = 0;
  while (done < n) {
    ssize_t r = ::pread(fd_, static_cast<char*>(buffer) + done, n - done, offset + done);
    if (r < 0) {
      if (errno == EINTR) continue;
      RaiseErrno(errno);
    }
    if (r == 0) break;
    done += static_cast<size_t>(r);
  }
  return done;
}

void File::WriteAt(int64_t offset, const void* data, size_t n) {
  if (fd_ < 0) Raise(kErrBadFileNumber);
  size_t done = 0;
  while (done < n) {
    ssize_t r = ::pwrite(fd_, static_cast<const char*>(data) + done, n - done, offset + done);
    if (r < 0) {
      if (errno == EINTR) continue;
      RaiseErrno(errno);
    }
    done += static_cast<size_t>(r);
  }
}

void File::Truncate(int64_t size) {
  if (::ftruncate(fd_, size) != 0) RaiseErrno(errno);
}

void File::Sync() {
  if (::fdatasync(fd_) != 0) RaiseErrno(errno);
}

void File::Lock(ShareLock lock) {
  if (!AcquireLock(fd_, lock)) {
    int err = errno;
    throw Error{kErrPermissionDenied, RtErrorText(kErrPermissionDenied), err};
  }
}

bool File::TryLock(ShareLock lock) {
  if (lock == ShareLock::None) return true;
  return ::flock(fd_, (lock == ShareLock::Exclusive ? LOCK_EX : LOCK_SH) | LOCK_NB) == 0;
}

void File::Unlock() {
  if (fd_ >= 0) ::flock(fd_, LOCK_UN);
}

namespace {

FileStamp StampOf(const struct stat& st) {
  return FileStamp{static_cast<uint64_t>(st.st_dev), static_cast<uint64_t>(st.st_ino),
                   static_cast<int64_t>(st.st_size),
                   int64_t{st.st_ctim.tv_sec} * 1000000000 + st.st_ctim.tv_nsec};
}

}  // namespace

FileStamp PathStamp(const std::string& path) {
  struct stat st;
  if (::lstat(path.c_str(), &st) != 0) return FileStamp{};
  return StampOf(st);
}

FileStamp File::Stamp() const {
  struct stat st;
  if (::fstat(fd_, &st) != 0) RaiseErrno(errno);
  return StampOf(st);
}

File File::Duplicate() const {
  if (fd_ < 0) Raise(kErrBadFileNumber);
  const int fd = ::fcntl(fd_, F_DUPFD_CLOEXEC, 0);
  if (fd < 0) RaiseErrno(errno);
  return File(fd);
}

void File::Close() {
  if (fd_ >= 0) {
    ::close(fd_);  // closing the descriptor releases its flock
    fd_ = -1;
  }
}

}  // namespace kiv
