#include "kivdbxt/kiv_log_event.h"

#include <charconv>
#include <string>

#include "event/event_access.h"
#include "event/record_fields.h"
#include "frame/factory.h"
#include "frame/guard.h"
#include "platform/date.h"
#include "platform/file_table.h"
#include "platform/text_codec.h"

namespace kiv {
namespace {

const ClassRegistrar kRegistrar(u"KivLogEvent", [] {
  return std::static_pointer_cast<Object>(std::make_shared<KivLogEvent>());
});

bool IsStrippedControl(char16_t c) { return c < 32 && c != 10 && c != 13; }

// Cleans a text field in place. Full mode also removes line ends; raw mode keeps them, so that
// they become separate raw data lines.
void Clean(String& text, bool full) {
  bool plain = true;
  for (char16_t c : text) plain = plain && c >= 32;
  if (plain) return;  // the common case: nothing to remove or replace
  String out;
  out.reserve(text.size());
  for (char16_t c : text) {
    if (full && (c == u'\r' || c == u'\n')) continue;
    if (c == u'\t') {
      out += u"   ";
    } else if (!IsStrippedControl(c)) {
      out.push_back(c);
    }
  }
  text = std::move(out);
}

String HexForm(const String& text) {
  static const char16_t kDigits[] = u"0123456789ABCDEF";
  String out;
  out.reserve(text.size() * 2);
  for (char16_t c : text) {
    uint8_t b = ToCp1252(c);
    out.push_back(kDigits[b >> 4]);
    out.push_back(kDigits[b & 15]);
  }
  return out;
}

// Appends text in the record's encoding: UTF-8 for a log with KIVLIOPT_UTF8, else Windows-1252.
void AppendText(StringView text, bool utf8, std::string& block) {
  if (utf8) {
    block += ToUtf8(text);
  } else {
    AppendCp1252(text, block);
  }
}

// Appends the "RWD=" lines of text raw data: a line ends at the earlier of the first CR and the
// first LF, and one LF right after that end is dropped.
void AppendRawLines(StringView rest, bool utf8, std::string& block) {
  do {
    size_t end = rest.find_first_of(u"\r\n");
    if (end == StringView::npos) end = rest.size();
    block += "RWD=";
    AppendText(rest.substr(0, end), utf8, block);
    block += "\r\n";
    rest = end < rest.size() ? rest.substr(end + 1) : StringView();
    if (!rest.empty() && rest.front() == u'\n') rest.remove_prefix(1);
  } while (!rest.empty());
}

// The block is built as the bytes of the file in one pass.
void AppendLine(std::string& block, const char* key, StringView value, bool utf8) {
  block += key;
  AppendText(value, utf8, block);
  block += "\r\n";
}

void AppendLine(std::string& block, const char* key, int32_t value) {
  char digits[16];
  auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
  block += key;
  block.append(digits, end);
  block += "\r\n";
}

}  // namespace

void EventAccess::AppendRecord(const KivLogEvent& event, std::string& block, bool utf8) {
  block.reserve(block.size() + 160 + event.ev_raw_data_.size());
  AppendLine(block, "UNK=", event.ev_unk_);
  AppendLine(block, "DAT=", GeneralDate(event.ev_date_), utf8);
  AppendLine(block, "SRC=", event.ev_source_, utf8);
  AppendLine(block, "TYP=", event.ev_type_);
  AppendLine(block, "CAT=", event.ev_category_, utf8);
  AppendLine(block, "EID=", event.ev_id_);
  AppendLine(block, "USR=", event.ev_user_, utf8);
  AppendLine(block, "COM=", event.ev_computer_, utf8);
  AppendLine(block, "SVR=", event.ev_server_, utf8);
  AppendLine(block, "DTP=", event.ev_data_type_);
  if (event.ev_data_type_ == RWDT_BINARY) {
    AppendLine(block, "RWD=", event.ev_raw_data_, utf8);
  } else {
    AppendRawLines(event.ev_raw_data_, utf8, block);
  }
  block += kRecordEndLine;
}

bool KivLogEvent::Save(int32_t& hndl) {
  return Guard(u"KivLogEvent.Save", true, [&] {
    std::string block;
    EventAccess::AppendRecord(*this, block, false);
    WriteText(hndl, block);  // the whole block in one write
    return false;
  });
}

bool KivLogEvent::Load(int32_t& hndl) {
  RecordFields fields;
  return Guard(
      u"KivLogEvent.Load", true,
      [&] {
        std::string line;
        // A line longer than any record holds is not read on: the file is damaged or not a log.
        auto next_line = [&] {
          if (!LineInputBytes(hndl, line, kMaxRecordLine)) RaiseMisaligned();
          return LineKeyOf(line);
        };
        // The value of a line with a key Load knows: all after the key's "=".
        auto value = [&] { return std::string_view(line).substr(4); };
        if (next_line() != LineKey::kUnk) RaiseMisaligned();
        fields.First(*this, value());
        for (;;) {
          const LineKey key = next_line();
          if (fields.Next(*this, key, key == LineKey::kOther ? std::string_view() : value())) {
            fields.Assign(*this);
            return false;
          }
        }
      },
      [&] { fields.Assign(*this); });  // the fields read before a failure keep their new values
}

bool KivLogEvent::TranslateData() {
  return Guard(u"KivLogEvent.TranslateData", true, [&] {
    for (String* field : {&ev_category_, &ev_user_, &ev_computer_, &ev_server_, &ev_source_}) {
      Clean(*field, true);
    }
    if (ev_data_type_ != RWDT_ASCII) {
      ev_raw_data_ = HexForm(ev_raw_data_);
    } else {
      Clean(ev_raw_data_, false);
    }
    return false;
  });
}

bool KivLogEvent::RestoreData() {
  return Guard(u"KivLogEvent.RestoreData", true, [] { return false; });
}

}  // namespace kiv
