// The bytes of a saved record, built from views of the caller's texts into a buffer that is kept
// between records: a writer of many events makes no string per field.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "kivdbxt/types.h"
#include "platform/locale.h"
#include "platform/text_codec.h"

namespace kiv {

// The fields of one record, as KivLogEvent holds them.
struct RecordInput {
  int32_t unk = 0;
  Date date = 0;
  StringView source;
  int32_t type = 0;
  StringView category;
  int32_t id = 0;
  StringView user;
  StringView computer;
  StringView server;
  int32_t data_type = 0;
  StringView raw;
};

// What TranslateData does to a text field: a tab becomes three spaces and the other controls
// below 32 are dropped; `full` drops CR and LF too (raw text keeps them as its line ends).
// False when the text has nothing to clean (the common case); otherwise `out` holds the result.
bool CleanText(StringView text, bool full, String& out);
// Appends two hexadecimal digits per Windows-1252 byte of the text: how TranslateData writes raw
// data that is not text.
void AppendHex(StringView text, std::string& out);

class RecordWriter {
 public:
  // Appends the lines of a record, END line included, in Windows-1252 or (utf8) UTF-8.
  // `translate`: the fields are first cleaned as TranslateData cleans them, as EventLogWrite
  // saves an event; otherwise written as they are, as Save writes them.
  void Append(const RecordInput& in, bool translate, bool utf8, std::string& out);

 private:
  TextKinds Clean(StringView& text, bool translate, bool full);
  void Line(std::string_view key, StringView value, TextKinds kinds, bool utf8, std::string& out);
  void Text(std::string_view key, StringView value, bool translate, bool utf8, std::string& out);
  void Raw(const RecordInput& in, bool translate, bool utf8, std::string& out);
  void DateLine(Date date, std::string& out);

  String cleaned_;  // a field being cleaned, kept for its capacity
  // Events of one second share their date text: the last one is kept, with its locale.
  Date date_ = 0;
  LocaleKind locale_ = LocaleKind::Iso;
  std::string date_text_;
  bool have_date_ = false;
};

}  // namespace kiv
