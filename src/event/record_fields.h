// What KivLogEvent::Load does with the lines of one record, line by line. Load reads the lines
// from a file number; a walk through a whole day reads them from blocks of the data file. Both
// hand them here, so a record means the same event whichever way it was read.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "kivdbxt/kiv_log_event.h"
#include "kivdbxt/types.h"

namespace kiv {

// The key of a record line as Load reads it: the text up to and including the first "=". Every
// key Load knows is four bytes, so only a line whose fourth byte is its first "=" can have one.
enum class LineKey : uint8_t {
  kOther,  // no "=", or a key Load refuses
  kUnk,
  kDat,
  kSrc,
  kTyp,
  kCat,
  kEid,
  kUsr,
  kCom,
  kSvr,
  kDtp,
  kRwd,
  kEnd,
};
// The key of a line from its first bytes (at least four of them when there are four).
LineKey LineKeyOf(std::string_view head);

// The text fields of a record, as bit flags, to decode only some of them.
enum : uint32_t {
  kTextSource = 1,
  kTextCategory = 2,
  kTextUser = 4,
  kTextComputer = 8,
  kTextServer = 16,
  kTextRaw = 32,
  kAllText = 63,
};

// The fields of one record being read. Numbers and the date are converted as their lines come,
// raising what Load raises; the text fields are kept as the file's bytes until Assign, because a
// record is decoded as a whole: from UTF-8 when all its text is valid UTF-8, otherwise from
// Windows-1252, so that records of both kinds can follow one another in one day.
class RecordFields {
 public:
  // The "UNK=" line's value: EvUnk set, the raw data emptied.
  void First(KivLogEvent& event, std::string_view value);
  // A line after the first. Returns true for the "END=" line; raises the misalignment error for
  // any key that is not a field's.
  bool Next(KivLogEvent& event, LineKey key, std::string_view value);
  // Decodes the text fields read so far into the event; `which` (kText... flags) limits the
  // fields set, but every field read takes part in the choice of decoding. A field whose line
  // was not read keeps its value.
  void Assign(KivLogEvent& event, uint32_t which = kAllText) const;

 private:
  enum Field { kSource, kCategory, kUser, kComputer, kServer, kRaw, kCount };
  void Set(Field f, std::string_view bytes);
  Date DateOf(std::string_view bytes);

  std::array<std::string, kCount> bytes_;
  std::array<bool, kCount> seen_{};
  // Records of one second share their date text: the last conversion is kept.
  std::string date_text_;
  Date date_ = 0;
  bool have_date_ = false;
};

// The misalignment error of Load: the data file is not in step with what is being read.
[[noreturn]] void RaiseMisaligned();

}  // namespace kiv
