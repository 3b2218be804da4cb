#include <cerrno>

#include "frame/error.h"
#include "platform/rt_errors.h"

namespace kiv {

void Raise(int32_t number) { throw Error{number, RtErrorText(number)}; }

void Raise(int32_t number, String description) { throw Error{number, std::move(description)}; }

void RaiseLibrary(String description) { throw Error{kLibraryError, std::move(description)}; }

void RaiseErrno(int err, bool path_is_folder) {
  int32_t number = kErrPathFileAccess;
  switch (err) {
    case ENOENT:
      number = path_is_folder ? kErrPathNotFound : kErrFileNotFound;
      break;
    case ENOTDIR:
      number = kErrPathNotFound;
      break;
    case EACCES:
    case EPERM:
    case EROFS:
    case EISDIR:
      number = kErrPathFileAccess;
      break;
    case EWOULDBLOCK:
      number = kErrPermissionDenied;
      break;
    case EEXIST:
      number = kErrFileExists;
      break;
    case ENOSPC:
#if defined(EDQUOT)
    case EDQUOT:
#endif
      number = kErrDiskFull;
      break;
    case EMFILE:
    case ENFILE:
      number = kErrTooManyFiles;
      break;
    case EIO:
      number = kErrDeviceIO;
      break;
    case ENOMEM:
      number = kErrOutOfMemory;
      break;
    case ENAMETOOLONG:
    case EINVAL:
      number = kErrBadFileNumber;
      break;
    default:
      break;
  }
  throw Error{number, RtErrorText(number), err};
}

}  // namespace kiv
