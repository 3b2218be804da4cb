// The two-file open of a daily log.
#include "dailylog/log_files.h"

#include <algorithm>

#include "event/event_access.h"
#include "frame/error.h"
#include "platform/rt_errors.h"
#include "platform/text_codec.h"

namespace kiv {
namespace {

// The count at the head of the index, bounded by the entries that follow it: a writer stopped
// between the count and its entry leaves a count one too large.
int32_t IndexCount(const File& index) {
  int64_t length = index.Size();
  if (length < 4) return 0;
  int64_t entries = length / 4 - 1;
  return static_cast<int32_t>(std::clamp<int64_t>(ReadIndexValue(index, 0), 0, entries));
}

// For reading, others may read too; for writing, the file is locked against all others and
// created when missing.
File OpenOne(const std::string& path, bool read_only) {
  if (read_only) {
    return File::OpenNative(path, OpenOptions{Access::Read, false, false, ShareLock::Shared});
  }
  return File::OpenNative(path, OpenOptions{Access::ReadWrite, true, false, ShareLock::Exclusive});
}

void OpenBoth(const LogPaths& paths, LogFiles& files, bool read_only, bool create) {
  if (read_only && create) Raise(kErrInvalidCall);
  if (create) {
    // Both files are emptied before either is opened for the write that follows.
    File::OpenNative(paths.data, OpenOptions{Access::Write, true, true, ShareLock::Exclusive});
    File::OpenNative(paths.index, OpenOptions{Access::Write, true, true, ShareLock::Exclusive});
  }
  // A writer reads the end of the data file too, to find a record cut short.
  files.data = OpenOne(paths.data, read_only);
  files.index = OpenOne(paths.index, read_only);
}

}  // namespace

LogPaths NativeLogPaths(const String& base) {
  std::string native = ToUtf8(base);
  LogPaths paths{native, native};
  paths.data += ToUtf8(kExtLogData);
  paths.index += ToUtf8(kExtLogIndex);
  return paths;
}

int32_t ReadIndexValue(const File& index, int64_t offset) {
  unsigned char b[4];
  if (index.ReadAt(offset, b, 4) != 4) Raise(kErrInputPastEnd);
  return DecodeIndexValue(b);
}

void WriteIndexValue(File& index, int64_t offset, int32_t value) {
  const auto v = static_cast<uint32_t>(value);
  const char b[4] = {static_cast<char>(v), static_cast<char>(v >> 8), static_cast<char>(v >> 16),
                     static_cast<char>(v >> 24)};
  index.WriteAt(offset, b, 4);
}

bool EndsWithEndLine(const File& data, int64_t length) {
  const size_t n = kRecordEndLine.size();
  if (length < static_cast<int64_t>(n)) return false;
  char tail[64];
  return data.ReadAt(length - static_cast<int64_t>(n), tail, n) == n &&
         std::string_view(tail, n) == kRecordEndLine;
}

bool LastRecordWhole(const File& data, int64_t length, int64_t position) {
  return position >= 1 && position <= length - static_cast<int64_t>(kRecordEndLine.size()) + 1 &&
         EndsWithEndLine(data, length);
}

void OpenLogFiles(KivLogInfo& info, const LogPaths& paths, LogFiles& files, bool read_only,
                  bool create) {
  try {
    OpenBoth(paths, files, read_only, create);
  } catch (const Error& e) {
    files.Close();
    throw Error{
        e.number,
        u"Impossibile aprire il file di log " + info.FileName() + u"\r\n" + RtErrorText(e.number),
        e.last_dll_error};
  }
  info.Events(IndexCount(files.index));
}

void OpenLogFiles(KivLogInfo& info, LogFiles& files, bool read_only, bool create) {
  OpenLogFiles(info, NativeLogPaths(info.FileName()), files, read_only, create);
}

}  // namespace kiv
