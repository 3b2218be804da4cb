#include "event/record_scan.h"

#include <algorithm>
#include <cstring>

#include "event/event_access.h"
#include "frame/error.h"
#include "kivdbxt/kiv_log_event.h"

namespace kiv {
namespace {

// Reads lines forwards through a window. A line is never held whole unless it lies in the
// window at once: a line longer than the largest block is followed to its end by its key alone.
class LineReader {
 public:
  LineReader(DataWindow& window, int64_t at) : window_(window), pos_(at) {}

  bool Next(RecordLine& line) {
    if (pos_ >= window_.size()) return false;
    line = RecordLine{};
    line.start = pos_;
    char head[4];
    size_t head_size = 0;
    std::string_view text;  // the line's text, when its first view holds all of it
    for (bool first = true;; first = false) {
      const std::string_view v = window_.From(pos_, 1);
      if (v.empty()) break;  // the file ends inside the line
      const void* cr = std::memchr(v.data(), '\r', v.size());
      const size_t n = cr ? static_cast<size_t>(static_cast<const char*>(cr) - v.data()) : v.size();
      const size_t take = std::min(n, sizeof head - head_size);
      std::memcpy(head + head_size, v.data(), take);
      head_size += take;
      if (first) {
        text = v.substr(0, n);
        line.held = cr != nullptr || pos_ + static_cast<int64_t>(n) >= window_.size();
      }
      pos_ += static_cast<int64_t>(n);
      if (cr) {
        ++pos_;
        line.terminated = true;
        break;
      }
    }
    const int64_t length = pos_ - line.start - (line.terminated ? 1 : 0);
    line.length = length;
    // A line longer than Load reads is refused like a wrong key.
    line.key = static_cast<uint64_t>(length) > kMaxRecordLine
                   ? LineKey::kOther
                   : LineKeyOf(std::string_view(head, head_size));
    if (!line.terminated) {
      line.prefix_of_unk = std::string_view("UNK=").starts_with(std::string_view(head, head_size));
    }
    if (line.held && line.key != LineKey::kOther) line.value = text.substr(4);
    if (line.terminated) SkipLineFeed(line);
    line.end = pos_;
    return true;
  }

 private:
  // A CR LF pair ends one line. Looking past the CR may move the window, and the line's text
  // with it.
  void SkipLineFeed(RecordLine& line) {
    const uint64_t moves = window_.moves();
    const std::string_view next = window_.From(pos_, 1);
    if (!next.empty() && next[0] == '\n') ++pos_;
    if (window_.moves() != moves) {
      line.held = false;
      line.value = {};
    }
  }

  DataWindow& window_;
  int64_t pos_;
};

bool IsField(LineKey key) { return key != LineKey::kOther && key != LineKey::kUnk; }

// A last line the end of the file cut inside its key "UNK=" (or after it).
bool CutUnkLine(const RecordLine& line) { return line.prefix_of_unk || line.key == LineKey::kUnk; }

// Follows a record from its "UNK=" line (already read) to its end.
RecordSpan FollowRecord(LineReader& reader, std::vector<RecordLine>* lines) {
  RecordLine line;
  while (reader.Next(line)) {
    if (lines) lines->push_back(line);
    if (!line.terminated) {
      // The end of the file stops this line: an END line is whole without its line end, as
      // Load reads it; any other line may have been cut anywhere.
      if (line.key == LineKey::kEnd) return {RecordSpan::kWhole, line.end, false};
      return {RecordSpan::kCut, line.end};
    }
    if (line.key == LineKey::kEnd) return {RecordSpan::kWhole, line.end};
    if (!IsField(line.key)) return {RecordSpan::kDamaged, line.start};
  }
  return {RecordSpan::kCut, 0};
}

bool HoldsNumberOrDate(LineKey key) {
  return key == LineKey::kUnk || key == LineKey::kDat || key == LineKey::kTyp ||
         key == LineKey::kEid || key == LineKey::kDtp;
}

// Converts the numbers and dates of a whole record's lines as Load does. The window may have
// moved since the lines were read, so each value is fetched again; the text fields need no
// look, since any bytes make a text.
bool ValuesConvert(DataWindow& window, const std::vector<RecordLine>& lines) {
  KivLogEvent probe;
  RecordFields fields;
  std::string value;
  try {
    for (size_t i = 0; i < lines.size(); ++i) {
      const RecordLine& line = lines[i];
      value.clear();
      if (HoldsNumberOrDate(line.key)) {
        const size_t length = static_cast<size_t>(line.length - 4);
        if (length > DataWindow::kLargeBlock) return false;  // no number or date is this long
        value.assign(window.From(line.start + 4, length).substr(0, length));
      }
      if (i == 0) {
        fields.First(probe, value);
      } else {
        fields.Next(probe, line.key, value);
      }
    }
  } catch (const Error&) {
    return false;
  }
  return true;
}

}  // namespace

std::string_view DataWindow::From(int64_t offset, size_t want) {
  if (offset >= size_ || offset < 0) return {};
  const int64_t end = start_ + static_cast<int64_t>(length_);
  if (offset >= start_ && offset < end &&
      (end - offset >= static_cast<int64_t>(want) || end >= size_)) {
    return {buf_.get() + (offset - start_), static_cast<size_t>(end - offset)};
  }
  int64_t start = offset;
  // Walking backwards, the new block ends a little after the old one began, so that each byte
  // is read about once in either direction.
  const int64_t overlap = static_cast<int64_t>(std::min(block_ / 2, want + 8192));
  if (length_ > 0 && offset < start_ && start_ - offset < static_cast<int64_t>(block_)) {
    start = std::max<int64_t>(0, offset - (static_cast<int64_t>(block_) - overlap));
  }
  const int64_t length = std::min<int64_t>(
      size_ - start, std::max<int64_t>(static_cast<int64_t>(block_), offset - start + want));
  Read(start, static_cast<size_t>(length));
  block_ = std::min(block_ * 4, largest_);
  if (offset >= start_ + static_cast<int64_t>(length_)) return {};  // the file was cut meanwhile
  return {buf_.get() + (offset - start_), length_ - static_cast<size_t>(offset - start_)};
}

void DataWindow::Read(int64_t start, size_t length) {
  if (length > capacity_) {
    buf_.reset(new char[length]);  // not zeroed: the read fills it
    capacity_ = length;
  }
  length_ = file_.ReadAt(start, buf_.get(), length);
  start_ = start;
  ++moves_;
}

RecordSpan ScanRecord(DataWindow& window, int64_t start, std::vector<RecordLine>* lines) {
  if (lines) lines->clear();
  LineReader reader(window, start);
  RecordLine first;
  if (!reader.Next(first)) return {RecordSpan::kDamaged, start};
  if (lines) lines->push_back(first);
  if (!first.terminated) {
    return {CutUnkLine(first) ? RecordSpan::kCut : RecordSpan::kDamaged, first.end};
  }
  if (first.key != LineKey::kUnk) return {RecordSpan::kDamaged, start};
  RecordSpan span = FollowRecord(reader, lines);
  if (span.kind == RecordSpan::kCut) span.end = window.size();
  return span;
}

RecordSpan ScanRecord(const File& data, int64_t start, int64_t size) {
  DataWindow window(data, size, DataWindow::kSmallBlock, DataWindow::kLargeBlock);
  return ScanRecord(window, start);
}

RecordSpan ReadableRecord(DataWindow& window, int64_t start) {
  std::vector<RecordLine> lines;
  RecordSpan span = ScanRecord(window, start, &lines);
  if (span.kind == RecordSpan::kWhole && !ValuesConvert(window, lines)) {
    span = {RecordSpan::kDamaged, start};
  }
  return span;
}

RecordSpan ReadableRecord(const File& data, int64_t start, int64_t size) {
  DataWindow window(data, size, DataWindow::kSmallBlock, DataWindow::kLargeBlock);
  return ReadableRecord(window, start);
}

DataScan ScanRecords(const File& data, int64_t from, int64_t size) {
  DataScan scan;
  DataWindow window(data, size, DataWindow::kSmallBlock, DataWindow::kLargeBlock);
  // A record whose lines are all there is whole when Load reads it; the reader below keeps only
  // its position between lines, so the window may move for the look.
  auto add_whole = [&](int64_t record) {
    if (ReadableRecord(window, record).kind == RecordSpan::kWhole) {
      scan.whole.push_back(record);
    } else {
      ++scan.damaged;
    }
  };
  LineReader reader(window, from);
  RecordLine line;
  int64_t record = -1;  // start of the record being followed
  while (reader.Next(line)) {
    if (!line.terminated) {
      scan.ends_at_line_start = false;
      if (record >= 0 && line.key == LineKey::kEnd) {
        add_whole(record);
      } else if (record >= 0) {
        scan.cut = record;
      } else if (CutUnkLine(line)) {
        scan.cut = line.start;
      } else {
        ++scan.damaged;
      }
      return scan;
    }
    if (line.key == LineKey::kUnk) {
      if (record >= 0) ++scan.damaged;  // Load stops at a second "UNK=" line
      record = line.start;
    } else if (record < 0) {
      ++scan.damaged;
    } else if (line.key == LineKey::kEnd) {
      add_whole(record);
      record = -1;
    } else if (!IsField(line.key)) {
      ++scan.damaged;
      record = -1;
    }
  }
  if (record >= 0) scan.cut = record;
  return scan;
}

}  // namespace kiv
