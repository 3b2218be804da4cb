// Putting a day's index back in step with its data file: before a write, for kivlog verify, and
// for kivlog verify --repair. The rule they keep is written in log_repair.h.
#include "dailylog/log_repair.h"

#include <algorithm>
#include <filesystem>
#include <limits>
#include <optional>
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
  if (starts.size() > static_cast<size_t>(std::numeric_limits<int32_t>::max() - first)) {
    Raise(kErrOverflow);
  }
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

// Leaves the index holding the count `events` and exactly its entries. The count goes first:
// the entries it drops are those of no event.
void SetCount(LogFiles& files, int32_t events) {
  WriteIndexValue(files.index, 0, events);
  const int64_t length = IndexEntryOffset(int64_t{events} + 1);
  if (files.index_size > length) files.index.Truncate(length);
  files.index_size = std::max<int64_t>(length, 4);
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

// The records a write indexes after entry n, whose record's lines are `last` (as WrittenEvents
// found them): the whole ones that follow the end of that record (from the start of the file
// when n is 0). None when its lines do not run to an END line: where it ends, and so where
// records may begin, is not known. A damaged entry may point further on than the last one: a
// record at or before any entry's is left out, so none is indexed twice.
std::vector<int64_t> RecordsBehind(const LogFiles& files, int32_t n,
                                   const std::optional<RecordSpan>& last) {
  int64_t from = 0;
  if (n > 0) {
    if (!last || last->kind != RecordSpan::kWhole) return {};
    from = last->end;
  }
  if (from >= files.data_size) return {};
  std::vector<int64_t> starts = ScanRecords(files.data, from, files.data_size).whole;
  if (!starts.empty() && n > 0) {
    const std::vector<int64_t> held = ReadStarts(files.index, n);
    const int64_t furthest = *std::max_element(held.begin(), held.end());
    std::erase_if(starts, [&](int64_t s) { return s <= furthest; });
  }
  return starts;
}

// A line ends at CR (a CR LF pair counting as one end); a lone LF ends nothing, so a record put
// after it would join the line before. `last` is the last written entry's record, which often
// ends the file.
bool EndsAtLineStart(const LogFiles& files, const std::optional<RecordSpan>& last) {
  if (files.data_size == 0) return true;
  if (last && last->kind == RecordSpan::kWhole && last->end == files.data_size) {
    return last->line_end;
  }
  char tail[2] = {};
  const int64_t at = std::max<int64_t>(0, files.data_size - 2);
  const size_t got = files.data.ReadAt(at, tail, static_cast<size_t>(files.data_size - at));
  if (got == 0) return true;
  const char final_byte = tail[got - 1];
  return final_byte == '\r' || (final_byte == '\n' && got == 2 && tail[0] == '\r');
}

bool NameTaken(const String& path) {
  std::error_code ec;
  return std::filesystem::exists(std::filesystem::symlink_status(ToUtf8(path), ec));
}

// Copies `size` bytes of an open file to `name`, a name found free.
void CopyAside(const File& from, int64_t size, const String& name) {
  OpenOptions options{Access::Write, true, true, ShareLock::Exclusive};
  options.regular_only = true;
  File copy = File::Open(name, options);
  copy.RegularSize();
  std::string block(std::min<int64_t>(size, int64_t{1} << 20), '\0');
  for (int64_t at = 0; at < size;) {
    const size_t got = from.ReadAt(at, block.data(), block.size());
    if (got == 0) break;
    copy.WriteAt(at, block.data(), got);
    at += static_cast<int64_t>(got);
  }
  copy.Sync();
}

// Copies both files, as they stand, under the first suffix free for both: ".bak", ".bak2", ...
void BackUpFiles(const LogFiles& files, const String& base, LogRepair& repair) {
  String suffix = u".bak";
  for (int k = 2; NameTaken(base + kExtLogData + suffix) || NameTaken(base + kExtLogIndex + suffix);
       ++k) {
    suffix = u".bak" + FromUtf8(std::to_string(k));
  }
  repair.data_backup = base + kExtLogData + suffix;
  repair.index_backup = base + kExtLogIndex + suffix;
  CopyAside(files.data, files.data_size, repair.data_backup);
  CopyAside(files.index, files.index_size, repair.index_backup);
}

}  // namespace

LogTail RepairLogTail(LogFiles& files, int32_t counted) {
  std::optional<RecordSpan> last;
  int32_t n = WrittenEvents(files, counted, &last);
  const std::vector<int64_t> behind = RecordsBehind(files, n, last);
  WriteEntries(files, n + 1, behind);  // the entries before the count that takes them in
  if (!behind.empty()) last.reset();
  n += static_cast<int32_t>(behind.size());
  if (n != counted || files.index_size > IndexEntryOffset(int64_t{n} + 1)) SetCount(files, n);
  return LogTail{n, files.data_size, !EndsAtLineStart(files, last)};
}

bool CheckLog(KivLogInfo& info, LogHealth& result) {
  return Guard(u"KivLog.CheckLog", true, [&] {
    LogFiles files;
    files.hold_index = true;  // a write in progress would look like the damage of a crash
    OpenLogFiles(info, files, true, false);
    LogHealth health;
    health.count = files.index_size >= 4 ? ReadIndexValue(files.index, 0) : 0;
    health.entries = static_cast<int32_t>(std::max<int64_t>(files.index_size / 4 - 1, 0));
    std::optional<RecordSpan> last;
    const int32_t written = WrittenEvents(files, info.Events(), &last);
    health.not_written = info.Events() - written;
    health.behind = static_cast<int32_t>(RecordsBehind(files, written, last).size());
    const DataScan scan = ScanRecords(files.data, 0, files.data_size);
    health.records = static_cast<int32_t>(scan.whole.size());
    if (scan.cut >= 0) health.cut_bytes = files.data_size - scan.cut;
    const std::vector<int64_t> starts = ReadStarts(files.index, written);
    const std::unordered_set<int64_t> indexed(starts.begin(), starts.end());
    for (int64_t start : scan.whole) health.unreachable += indexed.count(start) == 0;
    result = health;
    return false;
  });
}

bool RebuildLogIndex(KivLogInfo& info, LogRepair& result) {
  return Guard(u"KivLog.RebuildIndex", true, [&] {
    LogFiles files;
    OpenLogFiles(info, files, false, false);
    LogRepair repair;
    BackUpFiles(files, info.FileName(), repair);
    repair.before = WrittenEvents(files, info.Events());
    // Every record that reads: those the entries point at, and those a scan finds.
    DataWindow window(files.data, files.data_size, DataWindow::kSmallBlock,
                      DataWindow::kLargeBlock);
    std::vector<int64_t> starts;
    for (int64_t start : ReadStarts(files.index, info.Events())) {
      if (start >= 0 && start < files.data_size &&
          ReadableRecord(window, start).kind == RecordSpan::kWhole) {
        starts.push_back(start);
      }
    }
    const DataScan scan = ScanRecords(files.data, 0, files.data_size);
    starts.insert(starts.end(), scan.whole.begin(), scan.whole.end());
    std::sort(starts.begin(), starts.end());
    starts.erase(std::unique(starts.begin(), starts.end()), starts.end());
    if (scan.cut >= 0 && (starts.empty() || scan.cut > starts.back())) {
      repair.cut_bytes = files.data_size - scan.cut;
      files.data.Truncate(scan.cut);
      files.data_size = scan.cut;
    }
    WriteEntries(files, 1, starts);
    SetCount(files, static_cast<int32_t>(starts.size()));
    repair.after = static_cast<int32_t>(starts.size());
    info.Events(repair.after);
    result = repair;
    return false;
  });
}

}  // namespace kiv
