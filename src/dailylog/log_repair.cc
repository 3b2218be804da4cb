// Putting a day's index back in step with its data file: before a write, for kivlog verify, and
// for kivlog verify --repair.
#include "dailylog/log_repair.h"

#include <algorithm>
#include <filesystem>
#include <limits>
#include <string>
#include <unordered_set>
#include <vector>

#include "event/record_scan.h"
#include "frame/error.h"
#include "frame/guard.h"
#include "platform/rt_errors.h"
#include "platform/text_codec.h"

namespace kiv {
namespace {

// Writes the entries of the records starting (0-based) at `starts`, from ordinal `first` on.
void WriteEntries(LogFiles& files, int32_t first, const std::vector<int64_t>& starts) {
  if (starts.empty()) return;
  std::string bytes;
  bytes.reserve(starts.size() * 4);
  for (int64_t start : starts) {
    if (start + 1 > std::numeric_limits<int32_t>::max()) Raise(kErrOverflow);
    AppendIndexValue(bytes, static_cast<int32_t>(start + 1));
  }
  files.index.WriteAt(IndexEntryOffset(first), bytes.data(), bytes.size());
  files.index_size =
      std::max(files.index_size, IndexEntryOffset(first) + static_cast<int64_t>(bytes.size()));
}

// Leaves the index holding the count `events` and exactly its entries.
void SetCount(LogFiles& files, int32_t events) {
  WriteIndexValue(files.index, 0, events);
  const int64_t length = IndexEntryOffset(int64_t{events} + 1);
  if (files.index_size > length) files.index.Truncate(length);
  files.index_size = std::max<int64_t>(length, 4);
}

void CutDataAt(LogFiles& files, int64_t at) {
  files.data.Truncate(at);
  files.data_size = at;
}

// Adds the whole records from `from` to the end of the data file after entry `events`, and cuts
// off a record cut short at the end. Returns the events now indexed.
int32_t IndexRecordsFrom(LogFiles& files, int32_t events, int64_t from, LogTail& tail) {
  const DataScan scan = ScanRecords(files.data, from, files.data_size);
  if (scan.cut >= 0) {
    CutDataAt(files, scan.cut);  // a record starts at a line start: nothing more to add
  } else {
    tail.needs_line_end = !scan.ends_at_line_start;
  }
  WriteEntries(files, events + 1, scan.whole);
  return events + static_cast<int32_t>(scan.whole.size());
}

// The 0-based record starts of entries 1 to n.
std::vector<int64_t> ReadStarts(const File& index, int32_t n) {
  std::vector<int64_t> starts;
  if (n <= 0) return starts;
  std::string bytes(static_cast<size_t>(n) * 4, '\0');
  if (index.ReadAt(IndexEntryOffset(1), bytes.data(), bytes.size()) != bytes.size()) {
    Raise(kErrInputPastEnd);
  }
  const auto* b = reinterpret_cast<const unsigned char*>(bytes.data());
  starts.reserve(static_cast<size_t>(n));
  for (int32_t k = 0; k < n; ++k) starts.push_back(int64_t{DecodeIndexValue(b + 4 * k)} - 1);
  return starts;
}

bool NameTaken(const String& path) {
  std::error_code ec;
  return std::filesystem::exists(std::filesystem::symlink_status(ToUtf8(path), ec));
}

// Copies the index as it stands to the first free backup name beside it.
String BackUpIndex(const LogFiles& files, const String& base) {
  String backup = base + kExtLogIndex + u".bak";
  for (int k = 2; NameTaken(backup); ++k) {
    backup = base + kExtLogIndex + u".bak" + FromUtf8(std::to_string(k));
  }
  std::string bytes(static_cast<size_t>(files.index_size), '\0');
  bytes.resize(files.index.ReadAt(0, bytes.data(), bytes.size()));
  OpenOptions options{Access::Write, true, true, ShareLock::Exclusive};
  options.regular_only = true;
  File copy = File::Open(backup, options);
  copy.RegularSize();
  copy.WriteAt(0, bytes.data(), bytes.size());
  return backup;
}

}  // namespace

LogTail RepairLogTail(LogFiles& files, int32_t counted) {
  LogTail tail;
  int32_t n = counted;
  int64_t from = 0;  // where records the index does not hold may begin
  while (n > 0) {
    const int64_t start = int64_t{ReadIndexValue(files.index, IndexEntryOffset(n))} - 1;
    if (start == files.data_size) {  // an entry written, its record not: take it back
      --n;
      continue;
    }
    const RecordSpan span = start >= 0 && start < files.data_size
                                ? ScanRecord(files.data, start, files.data_size)
                                : RecordSpan{};
    if (span.kind == RecordSpan::kCut) {
      CutDataAt(files, start);
      --n;
      continue;
    }
    if (span.kind == RecordSpan::kDamaged) {
      n = 0;  // the entry points at no record: the index is rebuilt from the data file
      break;
    }
    from = span.end;
    tail.needs_line_end = !span.line_end;
    break;
  }
  if (from < files.data_size) n = IndexRecordsFrom(files, n, from, tail);
  if (n != counted || files.index_size > IndexEntryOffset(int64_t{n} + 1)) SetCount(files, n);
  tail.events = n;
  tail.append_at = files.data_size;
  return tail;
}

bool CheckLog(KivLogInfo& info, LogHealth& result) {
  return Guard(u"KivLog.CheckLog", true, [&] {
    LogFiles files;
    files.hold_index = true;  // a write in progress would look like the damage of a crash
    OpenLogFiles(info, files, true, false);
    LogHealth health;
    health.count = files.index_size >= 4 ? ReadIndexValue(files.index, 0) : 0;
    health.entries = static_cast<int32_t>(std::max<int64_t>(files.index_size / 4 - 1, 0));
    const std::vector<int64_t> starts = ReadStarts(files.index, info.Events());
    health.phantom = !starts.empty() && starts.back() == files.data_size;
    const DataScan scan = ScanRecords(files.data, 0, files.data_size);
    health.records = static_cast<int32_t>(scan.whole.size());
    health.cut_tail = scan.cut >= 0;
    int64_t last = -1;  // the last record an entry points at
    for (int64_t start : starts) {
      if (start < files.data_size) last = std::max(last, start);
    }
    const std::unordered_set<int64_t> indexed(starts.begin(), starts.end());
    for (int64_t start : scan.whole) {
      health.behind += start > last;
      health.unreachable += indexed.count(start) == 0;
    }
    result = health;
    return false;
  });
}

bool RebuildLogIndex(KivLogInfo& info, String& backup) {
  return Guard(u"KivLog.RebuildIndex", true, [&] {
    LogFiles files;
    OpenLogFiles(info, files, false, false);
    backup = BackUpIndex(files, info.FileName());
    LogTail tail;
    const int32_t n = IndexRecordsFrom(files, 0, 0, tail);
    SetCount(files, n);
    info.Events(n);
    return false;
  });
}

}  // namespace kiv
