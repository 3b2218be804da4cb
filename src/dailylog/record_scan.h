// Finding the records of a data file by their lines, as KivLogEvent::Load reads them: a record
// begins with a "UNK=" line and ends with the first line whose key is "END="; between them
// stand only lines whose keys Load knows. Lines end at CR or CR LF, as the run time reads them.
//
// Writers use this to tell a record cut short by a crash from a whole one, and to rebuild an
// index that has fallen behind its data file; readers to leave out a cut last record.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/file.h"

namespace kiv {

// What begins at a position of the data file.
struct RecordSpan {
  enum Kind {
    kWhole,    // a record Load reads through to its END line
    kCut,      // a record that the end of the file cuts short: no END line, and every line
               // it has is one Load accepts (its last line may stop anywhere)
    kDamaged,  // not a record: no "UNK=" line there, or a line Load refuses before the END line
  };
  Kind kind = kDamaged;
  int64_t end = 0;       // whole: just after its END line (and the line's end, if any)
  bool line_end = true;  // whole: its END line has its line end
};

// The record that begins at the 0-based `start` of a data file of `size` bytes (start < size).
RecordSpan ScanRecord(const File& data, int64_t start, int64_t size);

// The records from the 0-based `from` to the end of the data file.
struct DataScan {
  std::vector<int64_t> whole;      // 0-based starts of whole records, in file order
  int64_t damaged = 0;             // records Load refuses, and lines outside any record
  int64_t cut = -1;                // 0-based start of a record cut by the end of the file
  bool ends_at_line_start = true;  // the last line has its line end (or the range is empty)
};
DataScan ScanRecords(const File& data, int64_t from, int64_t size);

}  // namespace kiv
