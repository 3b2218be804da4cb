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
  // Appends the bytes Save writes: the event's text block in Windows-1252, line ends included.
  static void AppendRecord(const KivLogEvent& event, std::string& block);
};

}  // namespace kiv
