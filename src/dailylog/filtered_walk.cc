#include "dailylog/filtered_walk.h"

#include <algorithm>
#include <cstring>

#include "kivdbxt/constants.h"

namespace kiv {
namespace {

// The usual record is a few hundred bytes: the window is made to hold this much of it at once,
// so that records rarely straddle two blocks.
constexpr size_t kFirstLook = 4096;

uint32_t CheckedText(int32_t checks) {
  uint32_t text = 0;
  if (checks & LGFF_CHECKCATEGORY) text |= kTextCategory;
  if (checks & LGFF_CHECKUSER) text |= kTextUser;
  if (checks & LGFF_CHECKCOMPUTER) text |= kTextComputer;
  if (checks & LGFF_CHECKSOURCE) text |= kTextSource;
  if (checks & LGFF_CHECKSERVER) text |= kTextServer;
  if (checks & LGFF_CHECKRAWDATA) text |= kTextRaw;
  return text;
}

}  // namespace

bool FilteredWalk::QuickLines(std::string_view bytes, int64_t start) {
  lines_.clear();
  for (size_t pos = 0;;) {
    const char* line = bytes.data() + pos;
    const void* cr = std::memchr(line, '\r', bytes.size() - pos);
    if (!cr) return false;  // the record runs past what the window shows
    const size_t n = static_cast<size_t>(static_cast<const char*>(cr) - line);
    size_t next = pos + n + 1;
    if (next >= bytes.size()) return false;  // whether a line feed follows is not in view
    if (bytes[next] == '\n') ++next;
    const LineKey key = LineKeyOf(std::string_view(line, std::min<size_t>(n, 4)));
    // A first line that is not "UNK=", a second "UNK=" line or a key Load refuses: the full scan
    // says what it is.
    if ((key == LineKey::kUnk) != lines_.empty() || key == LineKey::kOther) return false;
    RecordLine l;
    l.start = start + static_cast<int64_t>(pos);
    l.end = start + static_cast<int64_t>(next);
    l.key = key;
    l.terminated = l.held = true;
    l.value = std::string_view(line + 4, n - 4);
    lines_.push_back(l);
    if (key == LineKey::kEnd) return true;
    pos = next;
  }
}

FilteredWalk::FilteredWalk(File data, int64_t size, const KivLogFilter& filter)
    : file_(std::move(data)),
      window_(file_, size, DataWindow::kLargeBlock, DataWindow::kLargeBlock),
      filter_(filter),
      checked_text_(CheckedText(filter.Checks())) {}

void FilteredWalk::Apply(KivLogEvent& event, uint32_t text) {
  fields_.First(event, lines_.front().value);
  for (size_t i = 1; i < lines_.size(); ++i) {
    if (fields_.Next(event, lines_[i].key, lines_[i].value)) break;
  }
  fields_.Assign(event, text);
}

FilteredWalk::Verdict FilteredWalk::Judge(int32_t position, std::shared_ptr<KivLogEvent>& event) {
  const int64_t start = int64_t{position} - 1;
  if (start < 0 || start >= window_.size()) return Verdict::kUnsure;
  const std::string_view bytes = window_.From(start, kFirstLook);
  // The usual record lies whole in the window: its lines are split right there. Anything else
  // goes through the full scan of its lines.
  if (!QuickLines(bytes, start)) {
    const uint64_t moves = window_.moves();
    if (ScanRecord(window_, start, &lines_).kind != RecordSpan::kWhole) return Verdict::kUnsure;
    if (window_.moves() != moves) return Verdict::kUnsure;  // the record straddles two blocks
    for (const RecordLine& line : lines_) {
      if (!line.held) return Verdict::kUnsure;
    }
  }
  try {
    // A first look converts every number and date, as Load does, but decodes only the text
    // fields the filter checks.
    KivLogEvent probe;
    Apply(probe, checked_text_);
    if (!filter_.IsValid(probe)) return Verdict::kRejected;
    event = std::make_shared<KivLogEvent>();
    Apply(*event, kAllText);
    return Verdict::kPassed;
  } catch (...) {
    return Verdict::kUnsure;  // Load raises the same error, under its own Source
  }
}

}  // namespace kiv
