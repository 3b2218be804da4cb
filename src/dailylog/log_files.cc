// The two-file open of a daily log.
#include "dailylog/log_files.h"

#include <algorithm>

#include "frame/error.h"
#include "platform/file_table.h"
#include "platform/rt_errors.h"

namespace kiv {
namespace {

// Creates a file empty, truncating an existing one.
void EmptyFile(const String& path) {
  int32_t n = FileOpenNext(path, FileMode::Output, ShareLock::Exclusive);
  FileClose(n);
}

// The count at the head of the index, bounded by the entries that follow it: a writer stopped
// between the count and its entry leaves a count one too large.
int32_t IndexCount(int32_t index) {
  int64_t length = FileLof(index);
  if (length < 4) return 0;
  int64_t entries = length / 4 - 1;
  return static_cast<int32_t>(std::clamp<int64_t>(GetLong(index, 1), 0, entries));
}

void OpenBoth(const String& base, LogFiles& files, bool read_only, bool create) {
  if (read_only && create) Raise(kErrInvalidCall);
  const String data = base + kExtLogData;
  const String index = base + kExtLogIndex;
  if (create) {
    EmptyFile(data);
    EmptyFile(index);
  }
  if (read_only) {
    files.data = FileOpenNext(data, FileMode::Input, ShareLock::Shared);
    files.index = FileOpenNext(index, FileMode::Binary, ShareLock::Shared, Access::Read);
  } else {
    files.data = FileOpenNext(data, FileMode::Append, ShareLock::Exclusive);
    files.index = FileOpenNext(index, FileMode::Binary, ShareLock::Exclusive, Access::ReadWrite);
  }
}

}  // namespace

void LogFiles::Close() {
  FileClose(index);
  FileClose(data);
}

void OpenLogFiles(KivLogInfo& info, LogFiles& files, bool read_only, bool create) {
  const String& base = info.FileName();
  try {
    OpenBoth(base, files, read_only, create);
  } catch (const Error& e) {
    files.Close();
    throw Error{e.number,
                u"Impossibile aprire il file di log " + base + u"\r\n" + RtErrorText(e.number),
                e.last_dll_error};
  }
  info.Events(IndexCount(files.index));
}

}  // namespace kiv
