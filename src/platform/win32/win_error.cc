#include "platform/win32/win_error.h"

#include "frame/error.h"
#include "platform/rt_errors.h"

namespace kiv {

int32_t RunTimeErrorOf(DWORD code) {
  switch (code) {
    case ERROR_FILE_NOT_FOUND:
      return kErrFileNotFound;
    case ERROR_PATH_NOT_FOUND:
    case ERROR_BAD_NETPATH:
    case ERROR_INVALID_DRIVE:
      return kErrPathNotFound;
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
    case ERROR_USER_MAPPED_FILE:
      return kErrPermissionDenied;
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS:
      return kErrFileExists;
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL:
      return kErrDiskFull;
    case ERROR_TOO_MANY_OPEN_FILES:
      return kErrTooManyFiles;
    case ERROR_CRC:
    case ERROR_READ_FAULT:
    case ERROR_WRITE_FAULT:
    case ERROR_IO_DEVICE:
      return kErrDeviceIO;
    case ERROR_NOT_ENOUGH_MEMORY:
    case ERROR_OUTOFMEMORY:
      return kErrOutOfMemory;
    case ERROR_INVALID_NAME:
    case ERROR_FILENAME_EXCED_RANGE:
    case ERROR_INVALID_HANDLE:
      return kErrBadFileNumber;
    default:
      return kErrPathFileAccess;  // access denied, write protect, a folder, a device ...
  }
}

void RaiseWinError(DWORD code) {
  const int32_t number = RunTimeErrorOf(code);
  throw Error{number, RtErrorText(number), static_cast<int32_t>(code)};
}

}  // namespace kiv
