#include "event_writer.h"

#include <unistd.h>

#include <cerrno>
#include <charconv>

#include "commands.h"
#include "platform/date.h"

namespace kivlog {

bool OutBuffer::Flush() {
  const char* p = bytes_.data();
  size_t left = bytes_.size();
  while (left > 0) {
    const ssize_t n = ::write(fd_, p, left);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      bytes_.clear();
      return false;
    }
    p += n;
    left -= static_cast<size_t>(n);
  }
  bytes_.clear();
  return true;
}

namespace {

struct FieldName {
  Field field;
  const char* name;
};

// CSV's order, which is also the order of the fields in an event.
constexpr FieldName kCsvOrder[] = {
    {Field::kLog, "log"},           {Field::kOrdinal, "ordinal"},   {Field::kOffset, "offset"},
    {Field::kUnk, "unk"},           {Field::kDate, "date"},         {Field::kSource, "source"},
    {Field::kType, "type"},         {Field::kCategory, "category"}, {Field::kId, "id"},
    {Field::kUser, "user"},         {Field::kComputer, "computer"}, {Field::kServer, "server"},
    {Field::kDataType, "datatype"}, {Field::kRawData, "rawdata"}};
// JSON objects list their keys in alphabetical order.
constexpr Field kJsonOrder[] = {
    Field::kCategory, Field::kComputer, Field::kDataType, Field::kDate,    Field::kId,
    Field::kLog,      Field::kOffset,   Field::kOrdinal,  Field::kRawData, Field::kServer,
    Field::kSource,   Field::kType,     Field::kUnk,      Field::kUser};

// CSV rows end in CR LF. On Windows standard output and export files are text streams, whose
// every LF the C run time writes as CR LF.
#if defined(_WIN32)
constexpr std::string_view kCsvRowEnd = "\n";
#else
constexpr std::string_view kCsvRowEnd = "\r\n";
#endif

std::string_view NameOf(Field f) { return kCsvOrder[static_cast<int>(f)].name; }

void AppendInt(int64_t v, std::string& out) {
  char digits[24];
  auto r = std::to_chars(digits, digits + sizeof digits, v);
  out.append(digits, r.ptr);
}

// Terminal colours of an event's header line: errors red, warnings yellow, audit failures
// magenta; information and the rest as the terminal has it.
const char* ColourOf(int32_t type) {
  switch (type) {
    case kiv::EVENTLOG_ERROR_TYPE:
      return "\x1b[1;31m";
    case kiv::EVENTLOG_WARNING_TYPE:
      return "\x1b[33m";
    case 16:
      return "\x1b[35m";  // audit failure
    default:
      return nullptr;
  }
}

}  // namespace

void AppendJsonEscaped(std::string_view text, std::string& out) {
  static const char kHex[] = "0123456789abcdef";
  size_t plain = 0;  // start of the run of bytes that need no escape
  for (size_t i = 0; i < text.size(); ++i) {
    const unsigned char c = static_cast<unsigned char>(text[i]);
    if (c >= 0x20 && c != '"' && c != '\\') continue;
    out.append(text.data() + plain, i - plain);
    plain = i + 1;
    out.push_back('\\');
    switch (c) {
      case '"':
        out.push_back('"');
        break;
      case '\\':
        out.push_back('\\');
        break;
      case '\b':
        out.push_back('b');
        break;
      case '\f':
        out.push_back('f');
        break;
      case '\n':
        out.push_back('n');
        break;
      case '\r':
        out.push_back('r');
        break;
      case '\t':
        out.push_back('t');
        break;
      default:
        out.append("u00");
        out.push_back(kHex[c >> 4]);
        out.push_back(kHex[c & 15]);
    }
  }
  out.append(text.data() + plain, text.size() - plain);
}

void AppendCsvField(std::string_view text, std::string& out) {
  if (text.find_first_of(",\"\r\n") == std::string_view::npos) {
    out.append(text);
    return;
  }
  out.push_back('"');
  for (char c : text) {
    if (c == '"') out.push_back('"');
    out.push_back(c);
  }
  out.push_back('"');
}

// The same conversion as kiv::ToUtf8 (a lone surrogate becomes U+FFFD), into a reused string.
// Most text is ASCII: it is copied a character to a byte with no per-character growth.
void AssignUtf8(kiv::StringView text, std::string& out) {
  size_t ascii = 0;
  while (ascii < text.size() && text[ascii] < 0x80) ++ascii;
  out.resize(ascii);
  char* p = out.data();
  for (size_t i = 0; i < ascii; ++i) p[i] = static_cast<char>(text[i]);
  for (size_t i = ascii; i < text.size(); ++i) {
    uint32_t cp = text[i];
    if (cp < 0x80) {
      out.push_back(static_cast<char>(cp));
      continue;
    }
    if (cp >= 0xD800 && cp <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 &&
        text[i + 1] <= 0xDFFF) {
      cp = 0x10000 + ((cp - 0xD800) << 10) + (text[i + 1] - 0xDC00);
      ++i;
    } else if (cp >= 0xD800 && cp <= 0xDFFF) {
      cp = 0xFFFD;
    }
    char bytes[4];
    size_t n = 0;
    if (cp < 0x800) {
      bytes[n++] = static_cast<char>(0xC0 | (cp >> 6));
    } else {
      if (cp < 0x10000) {
        bytes[n++] = static_cast<char>(0xE0 | (cp >> 12));
      } else {
        bytes[n++] = static_cast<char>(0xF0 | (cp >> 18));
        bytes[n++] = static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
      }
      bytes[n++] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    }
    bytes[n++] = static_cast<char>(0x80 | (cp & 0x3F));
    out.append(bytes, n);
  }
}

void FillRecord(const kiv::KivLogEvent& event, const std::string& log, EventRecord& e) {
  e.log = log;
  e.ordinal = event.Ordinal();
  e.offset = event.Offset();
  e.unk = event.EvUnk();
  e.date = event.EvDate();
  AssignUtf8(event.EvSource(), e.source);
  AssignUtf8(event.EvCategory(), e.category);
  AssignUtf8(event.EvUser(), e.user);
  AssignUtf8(event.EvComputer(), e.computer);
  AssignUtf8(event.EvServer(), e.server);
  AssignUtf8(event.EvRawData(), e.rawdata);
  e.type = event.EvType();
  e.id = event.EvId();
  e.datatype = event.EvDataType();
}

std::vector<Field> ParseFields(const std::vector<std::string>& names) {
  std::vector<bool> wanted(std::size(kCsvOrder));
  for (const std::string& list : names) {
    size_t start = 0;
    while (start <= list.size()) {
      size_t end = list.find(',', start);
      if (end == std::string::npos) end = list.size();
      const std::string name = list.substr(start, end - start);
      bool known = false;
      for (const FieldName& f : kCsvOrder) {
        if (name == f.name) wanted[static_cast<size_t>(f.field)] = known = true;
      }
      if (!known) throw CLI::ValidationError("--output-fields", "not a field: " + name);
      start = end + 1;
    }
  }
  std::vector<Field> out;
  for (const FieldName& f : kCsvOrder) {
    if (wanted[static_cast<size_t>(f.field)]) out.push_back(f.field);
  }
  return out;
}

EventFormatter::EventFormatter() {
  const std::string& f = OutputFormat();
  format_ = f == "short-iso"     ? kShortIso
            : f == "cat"         ? kCat
            : f == "json"        ? kJson
            : f == "json-pretty" ? kJsonPretty
            : f == "csv"         ? kCsv
                                 : kShort;
  // Each JSON key with what comes before it: ",\"id\":", or ",\n    \"id\": " pretty.
  for (const FieldName& n : kCsvOrder) {
    json_keys_[static_cast<int>(n.field)] = format_ == kJsonPretty
                                                ? std::string(",\n    \"") + n.name + "\": "
                                                : std::string(",\"") + n.name + "\":";
  }
  fields_ = ParseFields(Globals().output_fields);
  if (fields_.empty()) {
    for (const FieldName& n : kCsvOrder) fields_.push_back(n.field);
  }
}

const std::string& EventFormatter::DateText(kiv::Date date, int style) {
  if (dates_[style] != date) {
    dates_[style] = date;
    if (style == 1) {
      date_texts_[style] = IsoStamp(date);
    } else if (Globals().utc) {
      date_texts_[style] = UtcText(date);
    } else {
      AssignUtf8(kiv::GeneralDate(date), date_texts_[style]);
    }
  }
  return date_texts_[style];
}

void EventFormatter::AppendShort(const EventRecord& e, std::string& out, std::string_view label) {
  const char* colour = colour_ ? ColourOf(e.type) : nullptr;
  if (colour) out.append(colour);
  if (!label.empty()) out.append(label).push_back(' ');
  if (e.ordinal > 0) {
    out.push_back('#');
    AppendInt(e.ordinal, out);
    out.append("  ");
  }
  out.append(DateText(e.date, format_ == kShortIso ? 1 : 0));
  out.append("  ").append(e.source).append("  type ");
  AppendInt(e.type, out);
  out.append("  id ");
  AppendInt(e.id, out);
  if (!e.category.empty()) out.append("  [").append(e.category).push_back(']');
  if (!e.user.empty() || !e.computer.empty()) {
    out.append("  ").append(e.user).append(1, '@').append(e.computer);
  }
  if (colour) out.append("\x1b[0m");
  out.push_back('\n');
  if (e.rawdata.empty()) return;
  // Raw data lines are indented; their CR LF ends become the platform's.
  out.append("    ");
  for (char c : e.rawdata) {
    if (c == '\r') continue;
    out.push_back(c);
    if (c == '\n') out.append("    ");
  }
  out.push_back('\n');
}

void EventFormatter::AppendField(const EventRecord& e, Field f, bool json, std::string& out) {
  auto text = [&](const std::string& s) {
    if (!json) return AppendCsvField(s, out);
    out.push_back('"');
    AppendJsonEscaped(s, out);
    out.push_back('"');
  };
  switch (f) {
    case Field::kLog:
      return text(e.log);
    case Field::kOrdinal:
    case Field::kOffset:
      // A database record has no place in a day's files: null in JSON, 0 in CSV.
      if (json && e.ordinal <= 0) return void(out.append("null"));
      return AppendInt(f == Field::kOrdinal ? e.ordinal : e.offset, out);
    case Field::kUnk:
      return AppendInt(e.unk, out);
    case Field::kDate:
      if (json) out.push_back('"');
      out.append(DateText(e.date, 1));
      if (json) out.push_back('"');
      return;
    case Field::kSource:
      return text(e.source);
    case Field::kType:
      return AppendInt(e.type, out);
    case Field::kCategory:
      return text(e.category);
    case Field::kId:
      return AppendInt(e.id, out);
    case Field::kUser:
      return text(e.user);
    case Field::kComputer:
      return text(e.computer);
    case Field::kServer:
      return text(e.server);
    case Field::kDataType:
      return AppendInt(e.datatype, out);
    case Field::kRawData:
      return text(e.rawdata);
  }
}

void EventFormatter::AppendJson(const EventRecord& e, std::string& out, bool pretty) {
  bool first = true;
  out.push_back('{');
  for (Field f : kJsonOrder) {
    if (std::find(fields_.begin(), fields_.end(), f) == fields_.end()) continue;
    const std::string_view key = json_keys_[static_cast<int>(f)];
    out.append(first ? key.substr(1) : key);  // the first key has no comma before it
    first = false;
    AppendField(e, f, true, out);
  }
  if (pretty) out.push_back('\n');
  out.append("}\n");
}

void EventFormatter::AppendCsv(const EventRecord& e, std::string& out) {
  if (!header_done_) {
    for (size_t i = 0; i < fields_.size(); ++i) {
      if (i > 0) out.push_back(',');
      out.append(NameOf(fields_[i]));
    }
    out.append(kCsvRowEnd);
    header_done_ = true;
  }
  for (size_t i = 0; i < fields_.size(); ++i) {
    if (i > 0) out.push_back(',');
    AppendField(e, fields_[i], false, out);
  }
  out.append(kCsvRowEnd);
}

void EventFormatter::Append(const EventRecord& e, std::string& out, std::string_view label) {
  switch (format_) {
    case kJson:
      return AppendJson(e, out, false);
    case kJsonPretty:
      return AppendJson(e, out, true);
    case kCsv:
      return AppendCsv(e, out);
    case kCat:
      for (char c : e.rawdata) {
        if (c != '\r') out.push_back(c);
      }
      out.push_back('\n');
      return;
    default:
      return AppendShort(e, out, label);
  }
}

}  // namespace kivlog
