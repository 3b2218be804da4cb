// A filtered walk through a day looks at each record in the data file's bytes first: a record
// the filter rejects is never built as an event, and a record it passes is built from the same
// bytes, by the same rules as Load. The data file is read in large blocks. Anything out of the
// ordinary (a damaged record, a number or date that does not convert, a record cut short, a line
// too long for a block) is left to Load, which reports it.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "event/record_fields.h"
#include "event/record_scan.h"
#include "kivdbxt/kiv_log_event.h"
#include "kivdbxt/kiv_log_filter.h"
#include "platform/file.h"

namespace kiv {

class FilteredWalk {
 public:
  // `data` is a handle of its own on the data file, of `size` bytes, held for the walk.
  FilteredWalk(File data, int64_t size, const KivLogFilter& filter);

  enum class Verdict { kRejected, kPassed, kUnsure };
  // Judges the record at the 1-based position. Passed: `event` holds it, as Load reads it.
  // Unsure: the caller loads the record itself.
  Verdict Judge(int32_t position, std::shared_ptr<KivLogEvent>& event);

 private:
  // Splits the lines of a whole record that lies in `bytes` (the window from the record's
  // 0-based `start`) into lines_. False when the record is not plainly whole in view.
  bool QuickLines(std::string_view bytes, int64_t start);
  // Sets the fields of a fresh event from the scanned lines; raises what Load raises.
  void Apply(KivLogEvent& event, uint32_t text);

  File file_;
  DataWindow window_;
  const KivLogFilter& filter_;
  uint32_t checked_text_ = 0;  // the text fields the filter looks at
  std::vector<RecordLine> lines_;
  RecordFields fields_;
};

}  // namespace kiv
