// Keeping a day's index in step with its data file. A writer stopped by a crash leaves an entry
// whose record is missing or cut short; an index lost, emptied or overwritten reads as fewer
// events than the data file holds. Before each append the writer puts both back in step, so
// that no event is written over, lost or read twice.
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

// Run by a writer holding both locks. Takes back a last entry that points at the end of the
// data file (its ordinal is reused), cuts off a last record a crash cut short, whatever its size,
// and adds to the index the whole records that follow its last entry's record (an index behind
// its data file), keeping the ordinals of the events already there. When the last entry does not
// point at a record at all, the index is rebuilt from the whole data file. Updates the sizes in
// `files`; `counted` is the index count the open read. The index keeps the count and entries
// of `events` only.
LogTail RepairLogTail(LogFiles& files, int32_t counted);

// What a check of a day's two files finds, for kivlog verify.
struct LogHealth {
  int32_t count = 0;        // the count at the head of the index
  int32_t entries = 0;      // the entries the index file holds
  int32_t records = 0;      // whole records in the data file
  int32_t behind = 0;       // whole records after the last entry's record
  int32_t unreachable = 0;  // whole records no entry points at (those behind included)
  bool phantom = false;     // the last counted entry points at the end of the data file
  bool cut_tail = false;    // the data file ends inside a record
};
// Reads the log of info's FileName under the readers' locks. Returns True on error, recorded
// with the Source "KivLog.CheckLog" (the two-file open's errors).
KIV_INTERNAL_API bool CheckLog(KivLogInfo& info, LogHealth& health);

// Rebuilds the index of a log from its data file under the writers' locks: one entry per whole
// record, in file order, and a record cut short at the end of the data file is cut off. The old
// index is first copied beside it, to the first free name of base + ".ZLI.bak", ".ZLI.bak2" ...,
// which is stored in `backup`. The new index's count goes to info's Events. Returns True on error,
// recorded with the Source "KivLog.RebuildIndex".
KIV_INTERNAL_API bool RebuildLogIndex(KivLogInfo& info, String& backup);

}  // namespace kiv
