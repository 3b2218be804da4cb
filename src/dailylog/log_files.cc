// The two-file open of a daily log.
#include "dailylog/log_files.h"

#include <algorithm>

#include "dailylog/index_cursor.h"
#include "event/record_scan.h"
#include "frame/error.h"
#include "platform/fs.h"
#include "platform/rt_errors.h"
#include "platform/text_codec.h"

namespace kiv {
namespace {

// The count at the head of the index, bounded by the entries that follow it: a writer stopped
// between the count and its entry leaves a count one too large.
int32_t IndexCount(const LogFiles& files) {
  if (files.index_size < 4) return 0;
  int64_t entries = files.index_size / 4 - 1;
  return static_cast<int32_t>(std::clamp<int64_t>(ReadIndexValue(files.index, 0), 0, entries));
}

// Opened without a lock: the locks are taken by OpenBoth, in the turnstile's order. A writer
// reads the data file too (the end of the last record), and creates a missing file.
File OpenOne(const std::string& path, bool read_only) {
  OpenOptions options{Access::ReadWrite, true, false, ShareLock::None};
  if (read_only) options = OpenOptions{Access::Read, false, false, ShareLock::None};
  options.regular_only = true;
  options.type_checked_after_lock = true;  // OpenBoth's RegularSize, under the locks
  return File::OpenNative(path, options);
}

// Writers come first. The index file's lock doubles as a turnstile: a writer takes it exclusively
// and keeps it while it waits for the data file's exclusive lock and while it writes; a reader
// takes it shared only to pass: it takes the data file's shared lock, then lets go of the
// index's at once. So a writer that holds the turnstile stops new readers while the readers
// already through finish their one read, instead of polling while shared locks keep being
// granted. A reader holds the data file's lock for its whole read, so no write that may cut the
// files runs under it (a writer of kept files that only appends one record takes the turnstile
// alone: see log_kept_files.cc); each of its two waits is bounded like any open's.
void LockBoth(LogFiles& files, bool read_only) {
  if (read_only) {
    files.index.Lock(ShareLock::Shared);
    files.data.Lock(ShareLock::Shared);
    if (!files.hold_index) files.index.Unlock();
  } else {
    files.index.Lock(ShareLock::Exclusive);
    files.data.Lock(ShareLock::Exclusive);
  }
}

void OpenBoth(const LogPaths& paths, LogFiles& files, bool read_only, bool create) {
  if (read_only && create) Raise(kErrInvalidCall);
  files.data = OpenOne(paths.data, read_only);
  files.index = OpenOne(paths.index, read_only);
  LockBoth(files, read_only);
  files.data_size = files.data.RegularSize();
  files.index_size = files.index.RegularSize();
  if (create) {
    // Emptied under the locks, so that no other process sees one file emptied and not the other;
    // the index first, so that a crash between the two never leaves entries pointing past the
    // end of an emptied data file. Its records then stand after the (empty) index, and the next
    // write takes them back in, as after any interrupted append.
    files.index.Truncate(0);
    files.data.Truncate(0);
    files.data_size = files.index_size = 0;
  }
}

}  // namespace

LogPaths NativeLogPaths(const String& base) {
  std::string native = ToUtf8(base);
  const String folder = ParentFolder(base);
  LogPaths paths{native, native, folder.empty() ? "." : ToUtf8(folder)};
  paths.data += ToUtf8(kExtLogData);
  paths.index += ToUtf8(kExtLogIndex);
  return paths;
}

int32_t ReadIndexValue(const File& index, int64_t offset) {
  unsigned char b[4];
  if (index.ReadAt(offset, b, 4) != 4) Raise(kErrInputPastEnd);
  return DecodeIndexValue(b);
}

void AppendIndexValue(std::string& out, int32_t value) {
  const auto v = static_cast<uint32_t>(value);
  for (int shift = 0; shift < 32; shift += 8) out.push_back(static_cast<char>(v >> shift));
}

void WriteIndexValue(File& index, int64_t offset, int32_t value) {
  std::string b;
  AppendIndexValue(b, value);
  index.WriteAt(offset, b.data(), 4);
}

void WriteIndexCount(LogFiles& files, int32_t count) {
  if (!files.count.IsMapped() || files.index_size < 4)
    return WriteIndexValue(files.index, 0, count);
  std::string b;
  AppendIndexValue(b, count);
  if (!files.count.Store(0, b.data(), 4)) Raise(kErrBadFileNumber);
}

int32_t WrittenEvents(const LogFiles& files, int32_t counted, std::optional<RecordSpan>* last,
                      IndexCursor* cursor) {
  // Walking back from the last entry (the usual case: its record is written, and only it, or the
  // reader's block that holds it, is read).
  IndexCursor own(files.index, 1);
  IndexCursor& entries = cursor ? *cursor : own;
  for (int32_t n = counted; n > 0; --n) {
    const int64_t start = int64_t{entries.Position(n, counted)} - 1;
    if (start >= files.data_size) continue;  // its record never reached the disk
    if (start < 0) return n;                 // damaged: reading it reports the damage
    const RecordSpan span = ScanRecord(files.data, start, files.data_size);
    if (span.kind == RecordSpan::kCut) return n - 1;
    if (last) *last = span;
    return n;
  }
  return 0;
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
  ReadEventCount(info, files);
}

void ReadEventCount(KivLogInfo& info, const LogFiles& files) { info.Events(IndexCount(files)); }

void OpenLogFiles(KivLogInfo& info, LogFiles& files, bool read_only, bool create) {
  OpenLogFiles(info, NativeLogPaths(info.FileName()), files, read_only, create);
}

}  // namespace kiv
