#include "kivdbxt/kiv_log_event.h"

#include <charconv>
#include <string>

#include "event/event_access.h"
#include "frame/error.h"
#include "frame/factory.h"
#include "frame/guard.h"
#include "platform/date.h"
#include "platform/file_table.h"
#include "platform/text_codec.h"
#include "platform/vb_convert.h"

namespace kiv {
namespace {

const ClassRegistrar kRegistrar(u"KivLogEvent", [] {
  return std::static_pointer_cast<Object>(std::make_shared<KivLogEvent>());
});

[[noreturn]] void RaiseMisaligned() { RaiseLibrary(u"Disallineamento dei dati nel file di log."); }

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

// Appends the "RWD=" lines of text raw data: a line ends at the earlier of the first CR and the
// first LF, and one LF right after that end is dropped.
void AppendRawLines(StringView rest, std::string& block) {
  do {
    size_t end = rest.find_first_of(u"\r\n");
    if (end == StringView::npos) end = rest.size();
    block += "RWD=";
    AppendCp1252(rest.substr(0, end), block);
    block += "\r\n";
    rest = end < rest.size() ? rest.substr(end + 1) : StringView();
    if (!rest.empty() && rest.front() == u'\n') rest.remove_prefix(1);
  } while (!rest.empty());
}

// The block is built as the bytes of the file (Windows-1252) in one pass.
void AppendLine(std::string& block, const char* key, StringView value) {
  block += key;
  AppendCp1252(value, block);
  block += "\r\n";
}

void AppendLine(std::string& block, const char* key, int32_t value) {
  char digits[16];
  auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
  block += key;
  block.append(digits, end);
  block += "\r\n";
}

// Saved events hold plain decimal numbers: those directly, anything else as CLng converts it.
int32_t ToLong(StringView text) {
  if (auto value = PlainDecimal(text)) return *value;
  return CLng(Variant(String(text)));
}

// The three letters of a line's key ("SRC=" ...) as one number, so that a line finds its field
// with one switch; 0 for any other key.
constexpr uint64_t Letters(char16_t a, char16_t b, char16_t c) {
  return a | uint64_t{b} << 16 | uint64_t{c} << 32;
}

constexpr uint64_t KeyCode(const char16_t (&key)[5]) { return Letters(key[0], key[1], key[2]); }

uint64_t KeyOf(StringView key) {
  return key.size() == 4 && key[3] == u'=' ? Letters(key[0], key[1], key[2]) : 0;
}

}  // namespace

void EventAccess::AppendRecord(const KivLogEvent& event, std::string& block) {
  block.reserve(block.size() + 160 + event.ev_raw_data_.size());
  AppendLine(block, "UNK=", event.ev_unk_);
  AppendLine(block, "DAT=", GeneralDate(event.ev_date_));
  AppendLine(block, "SRC=", event.ev_source_);
  AppendLine(block, "TYP=", event.ev_type_);
  AppendLine(block, "CAT=", event.ev_category_);
  AppendLine(block, "EID=", event.ev_id_);
  AppendLine(block, "USR=", event.ev_user_);
  AppendLine(block, "COM=", event.ev_computer_);
  AppendLine(block, "SVR=", event.ev_server_);
  AppendLine(block, "DTP=", event.ev_data_type_);
  if (event.ev_data_type_ == RWDT_BINARY) {
    AppendLine(block, "RWD=", event.ev_raw_data_);
  } else {
    AppendRawLines(event.ev_raw_data_, block);
  }
  block += kRecordEndLine;
}

bool KivLogEvent::Save(int32_t& hndl) {
  return Guard(u"KivLogEvent.Save", true, [&] {
    std::string block;
    EventAccess::AppendRecord(*this, block);
    WriteText(hndl, block);  // the whole block in one write
    return false;
  });
}

bool KivLogEvent::Load(int32_t& hndl) {
  return Guard(u"KivLogEvent.Load", true, [&] {
    auto split = [](const String& line, StringView& key, StringView& value) {
      size_t eq = line.find(u'=');
      StringView all(line);
      key = eq == String::npos ? StringView() : all.substr(0, eq + 1);
      value = eq == String::npos ? StringView() : all.substr(eq + 1);
    };
    StringView key, value;
    String line;
    // A line longer than any record holds is not read on: the file is damaged or not a log.
    auto next_line = [&] {
      if (!LineInput(hndl, line, kMaxRecordLine)) RaiseMisaligned();
      split(line, key, value);
    };
    next_line();
    if (KeyOf(key) != KeyCode(u"UNK=")) RaiseMisaligned();
    ev_unk_ = ToLong(value);
    ev_raw_data_.clear();
    for (;;) {
      next_line();
      switch (KeyOf(key)) {
        case KeyCode(u"SRC="):
          ev_source_ = value;
          break;
        case KeyCode(u"DAT="):
          ev_date_ = CDate(Variant(String(value)));
          break;
        case KeyCode(u"TYP="):
          ev_type_ = ToLong(value);
          break;
        case KeyCode(u"CAT="):
          ev_category_ = value;
          break;
        case KeyCode(u"EID="):
          ev_id_ = ToLong(value);
          break;
        case KeyCode(u"USR="):
          ev_user_ = value;
          break;
        case KeyCode(u"COM="):
          ev_computer_ = value;
          break;
        case KeyCode(u"SVR="):
          ev_server_ = value;
          break;
        case KeyCode(u"DTP="):
          ev_data_type_ = ToLong(value);
          break;
        case KeyCode(u"RWD="):
          if (!ev_raw_data_.empty()) ev_raw_data_ += u"\r\n";
          ev_raw_data_ += value;
          break;
        case KeyCode(u"END="):
          return false;
        default:
          RaiseMisaligned();
      }
    }
  });
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
