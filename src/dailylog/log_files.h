// The two files of a daily log: names, the two-file open, the index layout and the helpers the
// open, write, read and purge operations share.
#pragma once

#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "event/record_scan.h"
#include "event/record_text.h"
#include "frame/guard.h"
#include "frame/internal_api.h"
#include "kivdbxt/kiv_log.h"
#include "kivdbxt/kiv_log_info.h"
#include "kivdbxt/types.h"
#include "platform/file.h"
#include "platform/file_map.h"

namespace kiv {

class IndexCursor;

inline constexpr char16_t kExtLogData[] = u".ZLG";
inline constexpr char16_t kExtLogIndex[] = u".ZLI";

// The native names of a log's two files, worked out once for a base name.
struct LogPaths {
  std::string data;
  std::string index;
  std::string folder;  // the folder that holds them
};
LogPaths NativeLogPaths(const String& base);

// The two open files of a log and their sizes, read once both locks are held. Closing both is
// safe at any time.
struct LogFiles {
  File data;
  File index;
  int64_t data_size = 0;
  int64_t index_size = 0;
  // Set by a reader before the open to keep the index's shared lock for its whole read, instead
  // of passing through it: then no writer runs meanwhile, not even one appending to kept files.
  bool hold_index = false;
  // Kept files only: the index's count, mapped for writing without a system call.
  FileMap count;
  void Close() {
    count = FileMap();
    index.Close();
    data.Close();
  }
};

// Opens the data file, then the index file, of info's FileName (whose native names are `paths`):
// for writing (locked against all others, missing files created, emptied first when `create`)
// or for reading (others may read but not write; missing files are error 53). Only regular files
// are opened: a symlink, FIFO, device or folder in place of either file is error 75. A failure
// raises its number with "Impossibile aprire il file di log <base>" and the run time's text. On
// success info's Events holds the index count, bounded by the entries the index file really
// holds.
void OpenLogFiles(KivLogInfo& info, const LogPaths& paths, LogFiles& files, bool read_only,
                  bool create);
// The same, working out the native names from info's FileName.
void OpenLogFiles(KivLogInfo& info, LogFiles& files, bool read_only, bool create);
// Sets info's Events from the index of open files, bounded by the entries it really holds.
void ReadEventCount(KivLogInfo& info, const LogFiles& files);

// The files of a log opened with KIVLIOPT_KEEPOPEN, kept open between writes and locked per
// write, and what this writer left in them.
struct KeptFiles {
  LogFiles files;
  String name;               // the base name they are of
  FileStamp data, index;     // which files they are, and their sizes after this writer's last write
  int32_t events = 0;        // the events counted after that write
  bool known = false;        // the fields above describe the files
  bool data_locked = false;  // the write in progress holds the data file's lock
  // What tells a write, without a look at the files' paths, that they are as this writer left
  // them (log_kept_files.cc): the folder's stamp at the last look at the paths, whether any later
  // change of the folder's names must change that stamp, and a view of the data file's end.
  FileStamp folder;
  bool folder_settled = false;
  FileMap tail;
  void Close() {
    tail = FileMap();
    files.Close();
    known = folder_settled = false;
  }
};

// The records of one or more events, one after another, and the end of each in `bytes`.
struct RecordBatch {
  std::string bytes;
  std::vector<size_t> ends;
  size_t Start(size_t k) const { return k == 0 ? 0 : ends[k - 1]; }
  // Empties the batch, keeping its buffers unless a large batch left them large.
  void Clear() {
    if (bytes.capacity() > (size_t{1} << 20)) std::string().swap(bytes);
    if (ends.capacity() > 4096) std::vector<size_t>().swap(ends);
    bytes.clear();
    ends.clear();
  }
};

// An entry of the table of open logs. The native paths and the day of the descriptor's FileName
// are worked out once per name, since every write needs them.
struct OpenLogEntry {
  explicit OpenLogEntry(std::shared_ptr<KivLogInfo> descriptor) : info(std::move(descriptor)) {}
  const LogPaths& Paths();
  // The day of FileName; raises as LogDayDate does.
  Date Day();

  std::shared_ptr<KivLogInfo> info;
  KeptFiles kept;
  // Kept between writes for their buffers: a write of one event then allocates nothing.
  RecordWriter writer;
  RecordBatch batch;

 private:
  // Forgets what was worked out for an earlier FileName.
  void Follow();

  String name_;  // the FileName the fields below belong to
  std::optional<LogPaths> paths_;
  std::optional<Date> day_;  // worked out only when asked: a bad day must raise then
};

// For a write with KIVLIOPT_KEEPOPEN: locks the log's kept files against all others, index
// first, as an open does. Files that are not the day's files any more (the day changed, or
// another process purged or renamed them) are closed and the day's files opened in their place,
// so nothing is ever written to a removed file. Returns true when the files are exactly as this
// writer left them (nothing to put back in step); otherwise info's Events and the sizes in
// kept.files are read afresh. Raises as OpenLogFiles does, with the files closed.
// `single`: the write appends one record, which may go without the data file's lock.
bool LockKeptFiles(OpenLogEntry& log, bool single);
// After a write under LockKeptFiles: notes what the files now are and releases their locks.
void UnlockKeptFiles(OpenLogEntry& log);

// Whether two names are the same, compared as bytes: every write compares its log's FileName
// with the one its paths and kept files were worked out for.
inline bool SameName(const String& a, const String& b) {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(char16_t)) == 0;
}

// The 32-bit little-endian values of the index.
inline int32_t DecodeIndexValue(const unsigned char* b) {
  return static_cast<int32_t>(b[0] | b[1] << 8 | b[2] << 16 | static_cast<uint32_t>(b[3]) << 24);
}
int32_t ReadIndexValue(const File& index, int64_t offset);
void WriteIndexValue(File& index, int64_t offset, int32_t value);
// Writes the count at the head of the index: through the mapped count when there is one and the
// index already holds it (the writers' lock keeps it from being cut meanwhile).
void WriteIndexCount(LogFiles& files, int32_t count);
void AppendIndexValue(std::string& out, int32_t value);

// The events among the first `counted` entries whose records are on disk: readers and writers
// both number a day's events by this. A write stopped part way by an earlier version of this
// library, which wrote the count and entries before the records, or a data file cut short, leaves
// entries at the end that point at or past the data file's end, or at a last record the end of
// the file cuts short: those count as never written. A record that is there but damaged counts,
// so that reading it reports the damage. `last`, when given, receives what ScanRecord found at
// the last written entry's record, when the walk looked at it. The entries are read through
// `cursor` when given (a reader's, which then holds the block its page starts in).
int32_t WrittenEvents(const LogFiles& files, int32_t counted,
                      std::optional<RecordSpan>* last = nullptr, IndexCursor* cursor = nullptr);

// 0-based offset of the index entry of an ordinal.
inline int64_t IndexEntryOffset(int64_t ordinal) { return 4 * ordinal; }

// The default folder of the daily logs.
String DefaultLogFolder();
// The base name of AppId's log for the day of `when` (0 = now) in `path` (empty = the default
// folder, stored back into path): folder, one separator, AppId, "_", YYYYMMDD. Creates the folder.
String MakeLogFileName(const String& app_id, String& path, Date when);
// The same in a folder that is neither defaulted nor created, for those who only read.
KIV_INTERNAL_API String LogBaseName(const String& folder, const String& app_id, Date when);
// The date of a day written YYYYMMDD in a file name: the first four characters, characters 5
// and 6, the last two. Raises 13 when one of them is not a number.
Date CompactDayDate(StringView day);
// The day part "YYYY-MM-DD" of a base name and the date it stands for (raises 13 when the day
// is not a date).
String LogDay(const String& file_name);
Date LogDayDate(const String& file_name);

// Removes the two files of a log base name, index first, each with up to 1024 attempts; a missing
// file counts as removed. Returns True (error recorded) when a file is still there.
KIV_INTERNAL_API bool KillEventLog(const String& base);

// The decimal text of an Id, the key of the table of open logs.
String LogKey(int32_t id);

}  // namespace kiv
