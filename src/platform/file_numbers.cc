// The run time's file statements for clients, over the table of file numbers.
#include "kivdbxt/file_numbers.h"

#include "frame/error.h"
#include "frame/run_error.h"
#include "platform/file_table.h"
#include "platform/rt_errors.h"

namespace kiv {
namespace {

FileMode ModeOf(int32_t mode) {
  switch (mode) {
    case OPEN_INPUT:
      return FileMode::Input;
    case OPEN_OUTPUT:
      return FileMode::Output;
    case OPEN_APPEND:
      return FileMode::Append;
    case OPEN_BINARY:
      return FileMode::Binary;
  }
  Raise(kErrInvalidCall);
}

// The access a number gets: text input only reads, text output only writes.
Access AccessOf(FileMode mode, int32_t access) {
  if (access != ACCESS_DEFAULT && access != ACCESS_READ && access != ACCESS_WRITE &&
      access != ACCESS_READWRITE) {
    Raise(kErrInvalidCall);
  }
  switch (mode) {
    case FileMode::Input:
      if (access != ACCESS_DEFAULT && access != ACCESS_READ) Raise(kErrInvalidCall);
      return Access::Read;
    case FileMode::Output:
    case FileMode::Append:
      if (access == ACCESS_READ) Raise(kErrInvalidCall);
      return Access::Write;
    case FileMode::Binary:
      break;
  }
  if (access == ACCESS_READ) return Access::Read;
  if (access == ACCESS_WRITE) return Access::Write;
  return Access::ReadWrite;
}

ShareLock LockOf(FileMode mode, int32_t share) {
  switch (share) {
    case SHARE_DEFAULT:
      return mode == FileMode::Input ? ShareLock::Shared : ShareLock::Exclusive;
    case SHARE_SHARED:
      return ShareLock::None;
    case SHARE_LOCKWRITE:
      return ShareLock::Shared;
    case SHARE_LOCKREAD:
    case SHARE_LOCKREADWRITE:
      return ShareLock::Exclusive;
  }
  Raise(kErrInvalidCall);
}

}  // namespace

int32_t FreeFile() {
  return RunStatement(0, [] { return LowestFreeNumber(); });
}

bool FileOpen(int32_t FileNumber, const String& FileName, int32_t Mode, int32_t Access,
              int32_t Share) {
  return RunStatement(true, [&] {
    FileMode mode = ModeOf(Mode);
    FileOpenAs(FileNumber, FileName, mode, LockOf(mode, Share), AccessOf(mode, Access));
    return false;
  });
}

void FileClose(const int32_t& FileNumber) {
  int32_t number = FileNumber;
  FileClose(number);
}

bool EOF_(int32_t FileNumber) {
  return RunStatement(true, [&] { return FileEof(FileNumber); });
}

}  // namespace kiv
