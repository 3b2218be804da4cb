#include "dailylog/record_scan.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "event/event_access.h"

namespace kiv {
namespace {

// One line of the data file: where it starts and ends, its first bytes (the key), whether its
// line end is there and whether Load would take its length.
struct Line {
  int64_t start = 0;
  int64_t end = 0;  // after its line end
  char head[4] = {};
  size_t head_size = 0;
  bool terminated = false;
  bool too_long = false;
};

// Reads lines forwards from a position with a read-ahead that starts small (a writer checks one
// record of a few hundred bytes) and grows for long scans, so memory stays bounded by the
// largest read-ahead whatever the lines hold.
class LineReader {
 public:
  LineReader(const File& file, int64_t at, int64_t size) : file_(file), pos_(at), size_(size) {}

  bool Next(Line& line) {
    if (pos_ >= size_) return false;
    line = Line{};
    line.start = pos_;
    for (;;) {
      if (!Fill()) break;  // the file ends inside the line
      const char* data = buf_.data() + (pos_ - buf_start_);
      const size_t avail = buf_.size() - static_cast<size_t>(pos_ - buf_start_);
      const void* cr = std::memchr(data, '\r', avail);
      const size_t n = cr ? static_cast<size_t>(static_cast<const char*>(cr) - data) : avail;
      TakeHead(line, data, n);
      pos_ += static_cast<int64_t>(n);
      if (cr) {
        ++pos_;
        line.terminated = true;
        if (Fill() && buf_[static_cast<size_t>(pos_ - buf_start_)] == '\n') ++pos_;
        break;
      }
    }
    line.end = pos_;
    line.too_long = static_cast<uint64_t>(line.end - line.start) > kMaxRecordLine + 2;
    return true;
  }

 private:
  static constexpr size_t kFirstChunk = 1024;
  static constexpr size_t kLargestChunk = size_t{1} << 20;

  // Makes the read-ahead cover pos_; false at the end of the file.
  bool Fill() {
    if (pos_ >= size_) return false;
    if (pos_ >= buf_start_ && pos_ < buf_start_ + static_cast<int64_t>(buf_.size())) return true;
    chunk_ = buf_.empty() ? kFirstChunk : std::min(chunk_ * 4, kLargestChunk);
    const size_t want = static_cast<size_t>(std::min<int64_t>(size_ - pos_, chunk_));
    buf_.resize(want);
    buf_.resize(file_.ReadAt(pos_, buf_.data(), want));
    buf_start_ = pos_;
    return !buf_.empty();
  }

  // Keeps the first four bytes of the line, which hold its key.
  void TakeHead(Line& line, const char* data, size_t n) {
    const size_t take = std::min(n, sizeof line.head - line.head_size);
    std::memcpy(line.head + line.head_size, data, take);
    line.head_size += take;
  }

  const File& file_;
  int64_t pos_;
  const int64_t size_;
  std::string buf_;
  int64_t buf_start_ = 0;
  size_t chunk_ = 0;
};

enum class Key { kUnk, kField, kEnd, kOther };

// The key as Load sees it: the text up to the first "=", which for every key Load knows is the
// first four bytes. A line longer than Load reads is refused like a wrong key.
Key KeyOf(const Line& line) {
  if (line.too_long || line.head_size < 4) return Key::kOther;
  const std::string_view head(line.head, 4);
  if (head == "UNK=") return Key::kUnk;
  if (head == "END=") return Key::kEnd;
  for (const char* field :
       {"SRC=", "DAT=", "TYP=", "CAT=", "EID=", "USR=", "COM=", "SVR=", "DTP=", "RWD="}) {
    if (head == field) return Key::kField;
  }
  return Key::kOther;
}

// A last line the end of the file cut inside its key "UNK=" (or after it).
bool CutUnkLine(const Line& line) {
  return std::string_view("UNK=").starts_with(std::string_view(line.head, line.head_size)) ||
         KeyOf(line) == Key::kUnk;
}

// Follows a record from its "UNK=" line (already read) to its end.
RecordSpan FollowRecord(LineReader& lines) {
  Line line;
  while (lines.Next(line)) {
    const Key key = KeyOf(line);
    if (!line.terminated) {
      // The end of the file stops this line: an END line is whole without its line end, as
      // Load reads it; any other line may have been cut anywhere.
      if (key == Key::kEnd) return {RecordSpan::kWhole, line.end, false};
      return {RecordSpan::kCut, line.end};
    }
    if (key == Key::kEnd) return {RecordSpan::kWhole, line.end};
    if (key != Key::kField) return {RecordSpan::kDamaged, line.start};
  }
  return {RecordSpan::kCut, 0};
}

}  // namespace

RecordSpan ScanRecord(const File& data, int64_t start, int64_t size) {
  LineReader lines(data, start, size);
  Line first;
  if (!lines.Next(first)) return {RecordSpan::kDamaged, start};
  if (!first.terminated) {
    return {CutUnkLine(first) ? RecordSpan::kCut : RecordSpan::kDamaged, first.end};
  }
  if (KeyOf(first) != Key::kUnk) return {RecordSpan::kDamaged, start};
  RecordSpan span = FollowRecord(lines);
  if (span.kind == RecordSpan::kCut) span.end = size;
  return span;
}

DataScan ScanRecords(const File& data, int64_t from, int64_t size) {
  DataScan scan;
  LineReader lines(data, from, size);
  Line line;
  int64_t record = -1;  // start of the record being followed
  while (lines.Next(line)) {
    const Key key = KeyOf(line);
    if (!line.terminated) {
      scan.ends_at_line_start = false;
      if (record >= 0 && key == Key::kEnd) {
        scan.whole.push_back(record);
      } else if (record >= 0) {
        scan.cut = record;
      } else if (CutUnkLine(line)) {
        scan.cut = line.start;
      } else {
        ++scan.damaged;
      }
      return scan;
    }
    if (key == Key::kUnk) {
      if (record >= 0) ++scan.damaged;  // Load stops at a second "UNK=" line
      record = line.start;
    } else if (record < 0) {
      ++scan.damaged;
    } else if (key == Key::kEnd) {
      scan.whole.push_back(record);
      record = -1;
    } else if (key != Key::kField) {
      ++scan.damaged;
      record = -1;
    }
  }
  if (record >= 0) scan.cut = record;
  return scan;
}

}  // namespace kiv
