// Library-internal access to KivLogEvent: the ordinal is written only by the daily log.
#pragma once

#include <string>
#include <string_view>

#include "kivdbxt/kiv_log_event.h"

namespace kiv {

// The line that ends every saved record, in the file's bytes.
inline constexpr std::string_view kRecordEndLine = "END=-----------------------\r\n";

struct EventAccess {
  static void SetOrdinal(KivLogEvent& event, int32_t ordinal) { event.ordinal_ = ordinal; }
  // Appends the bytes of the event's text block, line ends included: what Save writes (in
  // Windows-1252), or the same block in UTF-8 for a log with KIVLIOPT_UTF8.
  static void AppendRecord(const KivLogEvent& event, std::string& block, bool utf8);
};

}  // namespace kiv
