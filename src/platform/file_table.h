// The run time's table of file numbers: files opened by number, read and written as text lines
// (Windows-1252, CR LF) or as binary values, positions 1-based as the run time counts them.
//
// Numbers run from 1 to 511 and are shared by the whole process; FileOpenNext picks and opens a
// free number in one step, so threads never race for one.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "kivdbxt/types.h"
#include "platform/file.h"

namespace kiv {

enum class FileMode {
  Input,   // text, read
  Output,  // text, write, emptied on open
  Append,  // text, write at the end
  Binary,  // binary, with the access given
};

inline constexpr int32_t kMaxFileNumber = 511;

// The lowest free number; raises 67 when none is free.
int32_t FreeFile();
// Opens a file under a number; raises 52 for a bad number, 55 when it is in use, and the open's
// own errors (53, 70, 75, 76 ...).
void FileOpen(int32_t number, const String& path, FileMode mode, ShareLock lock,
              Access access = Access::ReadWrite);
// Opens a file under the lowest free number and returns it.
int32_t FileOpenNext(const String& path, FileMode mode, ShareLock lock,
                     Access access = Access::ReadWrite);
// Puts a file opened by the caller under the lowest free number, positioned at its start (at its
// end for Append), and returns the number.
int32_t FileAdopt(File file, FileMode mode);
// Closes a number that is greater than 0 and sets it to 0; never raises.
void FileClose(int32_t& number);

// A file number that is closed when it goes out of scope.
class ScopedFileNumber {
 public:
  ScopedFileNumber() = default;
  explicit ScopedFileNumber(int32_t number) : number_(number) {}
  ScopedFileNumber(const ScopedFileNumber&) = delete;
  ScopedFileNumber& operator=(const ScopedFileNumber&) = delete;
  ~ScopedFileNumber() { FileClose(number_); }
  int32_t get() const { return number_; }
  void Reset(int32_t number) {
    FileClose(number_);
    number_ = number;
  }

 private:
  int32_t number_ = 0;
};

// Reads one line: it ends at CR or CR LF (a lone LF is an ordinary character). Raises 62 at the
// end of the file.
String LineInput(int32_t number);
// The same into `line`, whose storage is reused: a reader of many lines allocates once.
void LineInput(int32_t number, String& line);
// The same line as the file's bytes, undecoded, for readers that choose the encoding themselves.
void LineInputBytes(int32_t number, std::string& line);
// Writes the text and CR LF in one write.
void PrintLine(int32_t number, StringView text);
// Writes text already in the file's bytes (Windows-1252, line ends included) in one write.
void WriteText(int32_t number, std::string_view bytes);

// The run time's Seek statement and function: 1-based position of the next read or write.
void FileSeek(int32_t number, int64_t position);
int64_t FileLoc(int32_t number);
int64_t FileLof(int32_t number);
bool FileEof(int32_t number);

// Binary access at a 1-based position (0 = the current position). A read that finds fewer bytes
// than it needs raises 62.
int32_t GetLong(int32_t number, int64_t position = 0);
void PutLong(int32_t number, int64_t position, int32_t value);
std::string GetBytes(int32_t number, int64_t position, size_t count);
void PutBytes(int32_t number, int64_t position, std::string_view bytes);

}  // namespace kiv
