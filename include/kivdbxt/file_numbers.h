// The run time's file numbers, for clients that hand a file to the library by number
// (KivLogEvent::Save and Load): FreeFile, FileOpen, FileClose and EOF_.
//
// These are the automation run time's statements, not library operations: like the run time
// they report a failure through the current run-time error of the thread (kiv::Err(), with the
// run time's number and text) and return their failure value, without throwing and without
// touching the library's recorded error. A client that wants it recorded calls Set_Error.
#pragma once

#include <cstdint>

#include "kivdbxt/export.h"
#include "kivdbxt/types.h"

namespace kiv {

// How a file is opened: text lines read, text lines written (the file emptied first), text
// lines added at the end, or bytes at any position. The values are those of the run time.
enum OpenMode : int32_t {
  OPEN_INPUT = 1,
  OPEN_OUTPUT = 2,
  OPEN_APPEND = 8,
  OPEN_BINARY = 32,
};

// What this number may do with the file. The default is the mode's own (Binary: read and
// write); Input with write access, or Output and Append with read access, is error 5.
enum OpenAccess : int32_t {
  ACCESS_DEFAULT = -1,
  ACCESS_READ = 1,
  ACCESS_WRITE = 2,
  ACCESS_READWRITE = 3,
};

// What other openers may do while the file is open here. File locks cannot keep readers out
// while letting writers in, so Lock Read is held as Lock Read Write. The default locks writers
// out of a file opened for Input, everyone out of the others.
enum OpenShare : int32_t {
  SHARE_DEFAULT = -1,
  SHARE_LOCKREADWRITE = 0,
  SHARE_LOCKWRITE = 1,
  SHARE_LOCKREAD = 2,
  SHARE_SHARED = 3,
};

// The lowest file number not in use; 0 (error 67) when all 511 are.
KIV_API int32_t FreeFile();

// Opens FileName under FileNumber (1..511). True on failure: 52 for a bad number, 55 for a
// number in use, 5 for a bad mode or access, 53, 76, 70 (locked by another opener, after a
// bounded wait) and the like from the system.
KIV_API bool FileOpen(int32_t FileNumber, const String& FileName, int32_t Mode,
                      int32_t Access = ACCESS_DEFAULT, int32_t Share = SHARE_DEFAULT);

// Closes a file number; a number of 0 or less, or one not open, does nothing. The first form
// sets the caller's variable to 0.
KIV_API void FileClose(int32_t& FileNumber);
KIV_API void FileClose(const int32_t& FileNumber);

// True when the next read of FileNumber would find the end of the file, and (error 52) for a
// number that is not open, so that a reading loop ends.
KIV_API bool EOF_(int32_t FileNumber);

}  // namespace kiv
