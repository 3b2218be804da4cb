#include "event/record_text.h"

#include <charconv>

#include "event/event_access.h"
#include "kivdbxt/kiv_log_event.h"
#include "platform/date.h"
#include "platform/text_codec.h"

namespace kiv {
namespace {

void AppendText(StringView text, bool utf8, std::string& out) {
  if (utf8) {
    AppendUtf8(text, out);
  } else {
    AppendCp1252(text, out);
  }
}

void NumberLine(std::string_view key, int32_t value, std::string& out) {
  char line[24];
  key.copy(line, key.size());
  char* end = std::to_chars(line + key.size(), line + sizeof line - 2, value).ptr;
  *end++ = '\r';
  *end++ = '\n';
  out.append(line, end);
}

// Where the first line of text ends: at its first CR or LF, else at its end.
size_t LineEnd(StringView text) {
  size_t i = 0;
  while (i < text.size() && text[i] != u'\r' && text[i] != u'\n') ++i;
  return i;
}

// The "RWD=" lines of text raw data: a line ends at the earlier of the first CR and the first
// LF, and one LF right after that end is dropped.
void RawLines(StringView rest, bool utf8, std::string& out) {
  do {
    const size_t end = LineEnd(rest);
    out += "RWD=";
    AppendText(rest.substr(0, end), utf8, out);
    out += "\r\n";
    rest = end < rest.size() ? rest.substr(end + 1) : StringView();
    if (!rest.empty() && rest.front() == u'\n') rest.remove_prefix(1);
  } while (!rest.empty());
}

}  // namespace

bool CleanText(StringView text, bool full, String& out) {
  if (!KindsOf(text).controls) return false;
  out.clear();
  out.reserve(text.size());
  for (char16_t c : text) {
    if (full && (c == u'\r' || c == u'\n')) continue;
    if (c == u'\t') {
      out += u"   ";
    } else if (c >= 32 || c == u'\r' || c == u'\n') {
      out.push_back(c);
    }
  }
  return true;
}

void AppendHex(StringView text, std::string& out) {
  static const char kDigits[] = "0123456789ABCDEF";
  for (char16_t c : text) {
    const uint8_t b = ToCp1252(c);
    out.push_back(kDigits[b >> 4]);
    out.push_back(kDigits[b & 15]);
  }
}

// A field's text, cleaned first when asked and when it has controls to clean. Returns what it
// then holds.
TextKinds RecordWriter::Clean(StringView& text, bool translate, bool full) {
  TextKinds kinds = KindsOf(text);
  if (translate && kinds.controls && CleanText(text, full, cleaned_)) {
    text = cleaned_;
    kinds = KindsOf(text);
  }
  return kinds;
}

void RecordWriter::Line(std::string_view key, StringView value, TextKinds kinds, bool utf8,
                        std::string& out) {
  out += key;
  if (kinds.non_ascii) {
    AppendText(value, utf8, out);
  } else {
    AppendAscii(value, out);  // the same bytes in either encoding
  }
  out += "\r\n";
}

void RecordWriter::Text(std::string_view key, StringView value, bool translate, bool utf8,
                        std::string& out) {
  const TextKinds kinds = Clean(value, translate, true);
  Line(key, value, kinds, utf8, out);
}

void RecordWriter::Raw(const RecordInput& in, bool translate, bool utf8, std::string& out) {
  StringView raw = in.raw;
  if (translate && in.data_type != RWDT_ASCII) {
    out += "RWD=";  // hexadecimal digits: one line, the same bytes in either encoding
    AppendHex(raw, out);
    out += "\r\n";
    return;
  }
  const TextKinds kinds = Clean(raw, translate, false);
  // Without controls there is no line end: one line.
  if (in.data_type == RWDT_BINARY || !kinds.controls) return Line("RWD=", raw, kinds, utf8, out);
  RawLines(raw, utf8, out);
}

void RecordWriter::DateLine(Date date, std::string& out) {
  const LocaleKind locale = CurrentLocale().kind;
  if (!have_date_ || date != date_ || locale != locale_) {
    date_text_.clear();
    AppendCp1252(GeneralDate(date), date_text_);  // digits and separators: the same in UTF-8
    date_ = date;
    locale_ = locale;
    have_date_ = true;
  }
  out += "DAT=";
  out += date_text_;
  out += "\r\n";
}

void RecordWriter::Append(const RecordInput& in, bool translate, bool utf8, std::string& out) {
  out.reserve(out.size() + 160 + in.raw.size() * (translate ? 2 : 1));
  NumberLine("UNK=", in.unk, out);
  DateLine(in.date, out);
  Text("SRC=", in.source, translate, utf8, out);
  NumberLine("TYP=", in.type, out);
  Text("CAT=", in.category, translate, utf8, out);
  NumberLine("EID=", in.id, out);
  Text("USR=", in.user, translate, utf8, out);
  Text("COM=", in.computer, translate, utf8, out);
  Text("SVR=", in.server, translate, utf8, out);
  NumberLine("DTP=", in.data_type, out);
  Raw(in, translate, utf8, out);
  out += kRecordEndLine;
}

}  // namespace kiv
