// Finding the records of a data file by their lines, as KivLogEvent::Load reads them: a record
// begins with a "UNK=" line and ends with the first line whose key is "END="; between them
// stand only lines whose keys Load knows. Lines end at CR or CR LF, as the run time reads them.
//
// Writers use this to tell a record cut short by a crash from a whole one, and to index the
// records that follow an index's last entry; readers to leave out a cut last record, and a walk
// through a whole day to read records straight from the data file's bytes. Whatever finds
// records here counts as whole exactly the records Load reads without an error, so that an
// index built from a scan numbers the records as the reader reads them.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "event/record_fields.h"
#include "platform/file.h"

namespace kiv {

// A data file seen through a window of its bytes, read in blocks. The first block is small (a
// writer checks one record of a few hundred bytes) and each further one larger, up to a
// largest size, so that memory stays bounded whatever the lines hold.
class DataWindow {
 public:
  static constexpr size_t kSmallBlock = 1024;
  static constexpr size_t kLargeBlock = size_t{1} << 20;

  DataWindow(const File& file, int64_t size, size_t first_block, size_t largest_block)
      : file_(file), size_(size), block_(first_block), largest_(largest_block) {}

  // The bytes from the 0-based offset to the end of the window: at least `want` of them unless
  // the file ends first; empty at or past the end of the file. Valid until the window moves.
  std::string_view From(int64_t offset, size_t want);
  int64_t size() const { return size_; }
  // Counts the moves of the window, so that a caller holding views can tell they went stale.
  uint64_t moves() const { return moves_; }

 private:
  void Read(int64_t start, size_t length);

  const File& file_;
  const int64_t size_;
  size_t block_;
  const size_t largest_;
  std::unique_ptr<char[]> buf_;
  size_t capacity_ = 0;
  size_t length_ = 0;  // the bytes of the window, from start_
  int64_t start_ = 0;
  uint64_t moves_ = 0;
};

// One line of the data file.
struct RecordLine {
  int64_t start = 0;
  int64_t end = 0;     // after its line end
  int64_t length = 0;  // of its text, without the line end
  LineKey key = LineKey::kOther;
  bool terminated = false;     // its line end is there
  bool held = false;           // the whole line lay in the window at once: `value` is its text
  bool prefix_of_unk = false;  // its first bytes are "UNK=" or the start of it
  std::string_view value;      // after the key's "=", when held and the key is one Load knows
};

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

// The record that begins at the 0-based `start` (start < the window's size). With `lines`, they
// receive the record's lines; their values stay valid while the window does not move.
RecordSpan ScanRecord(DataWindow& window, int64_t start, std::vector<RecordLine>* lines = nullptr);
// The same on a data file of `size` bytes.
RecordSpan ScanRecord(const File& data, int64_t start, int64_t size);

// The record at `start` as Load reads it: whole only when, besides its lines, every number and
// date in it converts; a record Load refuses for any reason is damaged.
RecordSpan ReadableRecord(DataWindow& window, int64_t start);
RecordSpan ReadableRecord(const File& data, int64_t start, int64_t size);

// The records from the 0-based `from` to the end of the data file.
struct DataScan {
  std::vector<int64_t> whole;      // 0-based starts of records Load reads, in file order
  int64_t damaged = 0;             // records Load refuses, and lines outside any record
  int64_t cut = -1;                // 0-based start of a record cut by the end of the file
  bool ends_at_line_start = true;  // the last line has its line end (or the range is empty)
};
DataScan ScanRecords(const File& data, int64_t from, int64_t size);

}  // namespace kiv
