// Keeping a day's index in step with its data file: before each write, for kivlog verify, and
// for kivlog verify --repair.
//
// The rule every write keeps: a write appends. It never removes, moves or renumbers an event or
// a byte that was there before it. The data file only grows; every entry an event is read
// through keeps its ordinal and its value; new entries go after the last one.
//
// A write stores its records first, then their entries, then the count, so that the index never
// counts a record that is not whole on disk. Stopped at any byte, it leaves at worst
//   - entries after the count, pointing at whole records: readers bound themselves by the count;
//   - whole records after the last counted one, then perhaps the start of one cut short, at the
//     end of the data file, which no entry points at.
// The next write indexes the whole records that follow the last entry's record (the reader
// numbers them in file order, as it would any entries), and puts its own records after whatever
// is left, on a line of their own: the remains of a cut record stay in the file, out of every
// reader's way. Entries that the reader counts as never written (WrittenEvents: left by an older
// writer that stored the count first, or by a data file cut short) hold no event; the next write
// reuses their ordinals.
//
// Where the scan is unsure (the last entry's record runs to no END line, so where it ends is not
// known, or the bytes after it are not records), the write guesses nothing: it appends after what
// is there and leaves those bytes to kivlog verify --repair, which copies both files aside before
// it changes anything.
#pragma once

#include <cstdint>

#include "dailylog/log_files.h"
#include "kivdbxt/types.h"

namespace kiv {

// Where the next record goes once the index and the data file are in step.
struct LogTail {
  int32_t events = 0;           // the events the index counts, every one a whole record
  int64_t append_at = 0;        // 0-based offset in the data file of the next record
  bool needs_line_end = false;  // the data file ends inside a line: a line end goes first
};

// Run by a writer holding both locks, before its append: takes back the entries of records never
// written, indexes the whole records after the last entry's record, and says where the append
// goes (always the data file's end: nothing is cut). Updates the sizes in `files`; `counted` is
// the index count the open read. The index keeps the count and entries of `events` only.
LogTail RepairLogTail(LogFiles& files, int32_t counted);

// What a check of a day's two files finds, for kivlog verify.
struct LogHealth {
  int32_t count = 0;        // the count at the head of the index
  int32_t entries = 0;      // the entries the index file holds
  int32_t not_written = 0;  // counted entries whose records never reached the disk
  int32_t records = 0;      // records in the data file that read whole
  int32_t behind = 0;       // whole records after the last written entry's record
  int32_t unreachable = 0;  // whole records no entry points at (those behind included)
  int64_t cut_bytes = 0;    // the data file ends inside a record: the bytes of its remains
};
// Reads the log of info's FileName under the readers' locks. Returns True on error, recorded
// with the Source "KivLog.CheckLog" (the two-file open's errors).
KIV_INTERNAL_API bool CheckLog(KivLogInfo& info, LogHealth& health);

// What a repair did.
struct LogRepair {
  String data_backup;  // the copies of the two files as they were
  String index_backup;
  int32_t before = 0;     // the events readers counted before
  int32_t after = 0;      // the events the new index holds
  int64_t cut_bytes = 0;  // cut from the end of the data file: a record cut short
};
// Rebuilds the index of a log under the writers' locks. Both files are first copied beside
// themselves, to base + ".ZLG.bak" and ".ZLI.bak" (".bak2", ... when taken). The new index holds
// every record that reads, in file order: those the old entries point at and those a scan of the
// data file finds, so no event that read is lost (though numbers change where entries are added
// or dropped). A record cut short at the end of the data file is cut off. The new count goes to
// info's Events. Returns True on error, recorded with the Source "KivLog.RebuildIndex".
KIV_INTERNAL_API bool RebuildLogIndex(KivLogInfo& info, LogRepair& repair);

}  // namespace kiv
