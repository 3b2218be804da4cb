// The run time's error numbers and texts.
#pragma once

#include <cstdint>

#include "kivdbxt/types.h"

namespace kiv {

enum RtError : int32_t {
  kErrInvalidCall = 5,
  kErrOverflow = 6,
  kErrOutOfMemory = 7,
  kErrSubscript = 9,
  kErrDivisionByZero = 11,
  kErrTypeMismatch = 13,
  kErrInternal = 51,
  kErrBadFileNumber = 52,
  kErrFileNotFound = 53,
  kErrBadFileMode = 54,
  kErrFileAlreadyOpen = 55,
  kErrDeviceIO = 57,
  kErrFileExists = 58,
  kErrDiskFull = 61,
  kErrInputPastEnd = 62,
  kErrTooManyFiles = 67,
  kErrBadRecordNumber = 63,
  kErrPermissionDenied = 70,
  kErrPathFileAccess = 75,
  kErrPathNotFound = 76,
  kErrObjectNotSet = 91,
  kErrInvalidUseOfNull = 94,
  kErrObjectRequired = 424,
  kErrCantCreateObject = 429,
  kErrNotSupported = 438,
  kErrDuplicateKey = 457,
};

// The run time's text for an error number; "Application-defined or object-defined error" for
// numbers it does not know.
String RtErrorText(int32_t number);

}  // namespace kiv
