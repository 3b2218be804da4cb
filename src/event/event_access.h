// Library-internal access to KivLogEvent: the ordinal is written only by the daily log.
#pragma once

#include <string>
#include <string_view>

#include "event/record_text.h"
#include "kivdbxt/kiv_log_event.h"

namespace kiv {

// The line that ends every saved record, in the file's bytes.
inline constexpr std::string_view kRecordEndLine = "END=-----------------------\r\n";

// The longest line Load reads, in bytes of the file: a longer one is refused as misaligned
// instead of being read on (a damaged file, or something that is not a log at all). Raw data of
// type RWDT_BINARY is one line of two characters per byte, so it bounds such data to 32 MiB.
inline constexpr size_t kMaxRecordLine = size_t{64} << 20;

struct EventAccess {
  static void SetOrdinal(KivLogEvent& event, int32_t ordinal) { event.ordinal_ = ordinal; }
  // Appends the bytes of the event's text block, line ends included: what Save writes (in
  // Windows-1252), or the same block in UTF-8 for a log with KIVLIOPT_UTF8.
  static void AppendRecord(const KivLogEvent& event, std::string& block, bool utf8);
  // The event's fields, as views for a RecordWriter.
  static RecordInput InputOf(const KivLogEvent& event);
};

}  // namespace kiv
