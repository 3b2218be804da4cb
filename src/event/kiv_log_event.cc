#include "kivdbxt/kiv_log_event.h"

#include <array>
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

// Saved events hold plain decimal numbers: those directly, anything else as CLng converts it.
int32_t ToLong(std::string_view bytes) {
  const String text = FromCp1252(bytes);
  if (auto value = PlainDecimal(text)) return *value;
  return CLng(Variant(text));
}

// The three letters of a line's key ("SRC=" ...) as one number, so that a line finds its field
// with one switch; 0 for any other key.
constexpr uint32_t Letters(char a, char b, char c) {
  return static_cast<uint8_t>(a) | uint32_t{static_cast<uint8_t>(b)} << 8 |
         uint32_t{static_cast<uint8_t>(c)} << 16;
}

constexpr uint32_t KeyCode(const char (&key)[5]) { return Letters(key[0], key[1], key[2]); }

uint32_t KeyOf(std::string_view key) {
  return key.size() == 4 && key[3] == '=' ? Letters(key[0], key[1], key[2]) : 0;
}

// A line is its key up to and including the first "=", and the value after it; a line without
// "=" has an empty key and value.
void SplitLine(std::string_view line, std::string_view& key, std::string_view& value) {
  const size_t eq = line.find('=');
  key = eq == std::string_view::npos ? std::string_view() : line.substr(0, eq + 1);
  value = eq == std::string_view::npos ? std::string_view() : line.substr(eq + 1);
}

// The text fields of a record being loaded, kept as the file's bytes until the record ends (or
// fails): a record is decoded as a whole, from UTF-8 when all its text is valid UTF-8 and from
// Windows-1252 otherwise, so that records of both kinds can follow one another in one day.
class RecordText {
 public:
  enum Field { kSource, kCategory, kUser, kComputer, kServer, kRaw, kCount };

  explicit RecordText(std::array<String*, kCount> targets) : targets_(targets) {}

  void Set(Field f, std::string_view bytes) {
    bytes_[f].assign(bytes);
    seen_[f] = true;
  }

  // Raw data lines accumulate, joined by CR LF (an empty first line adds nothing).
  void AppendRawLine(std::string_view bytes) {
    if (!bytes_[kRaw].empty()) bytes_[kRaw] += "\r\n";
    bytes_[kRaw].append(bytes);
    seen_[kRaw] = true;
  }

  // Decodes the fields read so far into the event; a field whose line was not read keeps its
  // value.
  void Assign() {
    bool utf8 = true;
    for (int f = 0; f < kCount; ++f) utf8 = utf8 && (!seen_[f] || IsUtf8(bytes_[f]));
    for (int f = 0; f < kCount; ++f) {
      if (seen_[f]) *targets_[f] = utf8 ? FromUtf8(bytes_[f]) : FromCp1252(bytes_[f]);
    }
  }

 private:
  std::array<String*, kCount> targets_;
  std::array<std::string, kCount> bytes_;
  std::array<bool, kCount> seen_{};
};

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
  RecordText text(
      {&ev_source_, &ev_category_, &ev_user_, &ev_computer_, &ev_server_, &ev_raw_data_});
  return Guard(
      u"KivLogEvent.Load", true,
      [&] {
        std::string line;
        std::string_view key, value;
        LineInputBytes(hndl, line);
        SplitLine(line, key, value);
        if (KeyOf(key) != KeyCode("UNK=")) RaiseMisaligned();
        ev_unk_ = ToLong(value);
        text.Set(RecordText::kRaw, {});
        for (;;) {
          LineInputBytes(hndl, line);
          SplitLine(line, key, value);
          switch (KeyOf(key)) {
            case KeyCode("SRC="):
              text.Set(RecordText::kSource, value);
              break;
            case KeyCode("DAT="):
              ev_date_ = CDate(Variant(FromCp1252(value)));
              break;
            case KeyCode("TYP="):
              ev_type_ = ToLong(value);
              break;
            case KeyCode("CAT="):
              text.Set(RecordText::kCategory, value);
              break;
            case KeyCode("EID="):
              ev_id_ = ToLong(value);
              break;
            case KeyCode("USR="):
              text.Set(RecordText::kUser, value);
              break;
            case KeyCode("COM="):
              text.Set(RecordText::kComputer, value);
              break;
            case KeyCode("SVR="):
              text.Set(RecordText::kServer, value);
              break;
            case KeyCode("DTP="):
              ev_data_type_ = ToLong(value);
              break;
            case KeyCode("RWD="):
              text.AppendRawLine(value);
              break;
            case KeyCode("END="):
              text.Assign();
              return false;
            default:
              RaiseMisaligned();
          }
        }
      },
      [&] { text.Assign(); });  // the fields read before a failure keep their new values
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
