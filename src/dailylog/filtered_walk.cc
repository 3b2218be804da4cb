#include "dailylog/filtered_walk.h"

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
  window_.From(start, kFirstLook);
  const uint64_t moves = window_.moves();
  if (ScanRecord(window_, start, &lines_).kind != RecordSpan::kWhole) return Verdict::kUnsure;
  if (window_.moves() != moves) return Verdict::kUnsure;  // the record straddles two blocks
  for (const RecordLine& line : lines_) {
    if (!line.held) return Verdict::kUnsure;
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
