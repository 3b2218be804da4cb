#include "output.h"

#include <cstdio>
#include <ctime>
#include <iostream>

#include "commands.h"
#include "kivdbxt/error.h"
#include "platform/clock.h"
#include "platform/date.h"
#include "platform/text_codec.h"

namespace kivlog {

std::string U8(const kiv::String& s) { return kiv::ToUtf8(s); }

kiv::String U16(const std::string& s) {
  kiv::String out;
  if (!kiv::DecodeUtf8(s, out)) throw CLI::ValidationError("not valid UTF-8: " + s);
  return out;
}

EventRecord FromEvent(const kiv::KivLogEvent& e, const std::string& log) {
  return {log,
          e.Ordinal(),
          e.Offset(),
          e.EvUnk(),
          e.EvDate(),
          U8(e.EvSource()),
          U8(e.EvCategory()),
          U8(e.EvUser()),
          U8(e.EvComputer()),
          U8(e.EvServer()),
          U8(e.EvRawData()),
          e.EvType(),
          e.EvId(),
          e.EvDataType()};
}

namespace {

// Raw data as the database log stores it: a type letter, "A" text or "B" binary, then the data,
// one character per byte; a text with characters above 255 was stored as UTF-16 code units, low
// byte first. The letter becomes the data type; data stored without one is text.
void DecodeRawData(const kiv::String& stored, std::string& text, int32_t& datatype) {
  kiv::String chars = stored;
  const bool letter = !chars.empty() && (chars[0] == u'A' || chars[0] == u'B');
  if (letter && chars.size() % 2 == 0 && chars[1] == 0) {
    kiv::String units;
    for (size_t i = 0; i + 1 < chars.size(); i += 2) {
      units.push_back(static_cast<char16_t>(chars[i] | (chars[i + 1] << 8)));
    }
    chars = units;
  }
  datatype = letter && chars[0] == u'B' ? kiv::RWDT_BINARY : kiv::RWDT_ASCII;
  text = U8(letter ? chars.substr(1) : chars);
}

}  // namespace

EventRecord FromRecord(const kiv::LOGRECORDTYPE& r, const std::string& log) {
  std::string rawdata;
  int32_t datatype = 0;
  DecodeRawData(r.EvRawData, rawdata, datatype);
  return {log,
          0,
          0,
          r.EvUnk,
          r.EvDate,
          U8(r.EvSource),
          U8(r.EvCategory),
          U8(r.EvUser),
          U8(r.EvComputer),
          U8(r.EvServer),
          rawdata,
          r.EvType,
          r.EvId,
          datatype};
}

namespace {

// The moment a local OLE date stands for, as the system counts time.
std::time_t ToTimeT(kiv::Date date, std::tm& tm) {
  const kiv::DateParts p = kiv::SplitDate(date);
  tm = {};
  tm.tm_year = p.year - 1900;
  tm.tm_mon = p.month - 1;
  tm.tm_mday = p.day;
  tm.tm_hour = p.hour;
  tm.tm_min = p.minute;
  tm.tm_sec = p.second;
  tm.tm_isdst = -1;
  return std::mktime(&tm);
}

// "2024-03-05 10:00:00" local, or "2024-03-05 09:00:00" in UTC with --utc; the separator
// between date and time is given.
std::string Stamp(kiv::Date date, char sep, bool zone) {
  std::tm tm;
  std::time_t t = ToTimeT(date, tm);
  if (Globals().utc) tm = kiv::UtcTime(t);
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d%c%02d:%02d:%02d", tm.tm_year + 1900,
                tm.tm_mon + 1, tm.tm_mday, sep, tm.tm_hour, tm.tm_min, tm.tm_sec);
  std::string out = text;
  if (!zone) return out;
  if (Globals().utc) return out + "Z";
  const long off = kiv::UtcOffsetMinutes(t);
  std::snprintf(text, sizeof text, "%c%02ld:%02ld", off < 0 ? '-' : '+', std::labs(off) / 60,
                std::labs(off) % 60);
  return out + text;
}

const char kCsvHeader[] =
    "log,ordinal,offset,unk,date,source,type,category,id,user,computer,server,datatype,rawdata";

void PrintShort(const EventRecord& e, bool iso, std::ostream& out) {
  if (e.ordinal > 0) out << '#' << e.ordinal << "  ";
  if (iso) {
    out << IsoStamp(e.date);
  } else if (Globals().utc) {
    out << Stamp(e.date, ' ', false) << " UTC";
  } else {
    out << U8(kiv::GeneralDate(e.date));
  }
  out << "  " << e.source << "  type " << e.type << "  id " << e.id;
  if (!e.category.empty()) out << "  [" << e.category << ']';
  if (!e.user.empty() || !e.computer.empty()) out << "  " << e.user << '@' << e.computer;
  out << '\n';
  if (e.rawdata.empty()) return;
  // Raw data lines are indented; their CR LF ends become the platform's.
  std::string line;
  for (char c : e.rawdata) {
    if (c == '\r') continue;
    if (c == '\n') {
      out << "    " << line << '\n';
      line.clear();
    } else {
      line += c;
    }
  }
  out << "    " << line << '\n';
}

void PrintCat(const EventRecord& e, std::ostream& out) {
  for (char c : e.rawdata) {
    if (c != '\r') out << c;
  }
  out << '\n';
}

void PrintCsvRow(const EventRecord& e, std::ostream& out) {
  out << CsvField(e.log) << ',' << e.ordinal << ',' << e.offset << ',' << e.unk << ','
      << IsoStamp(e.date) << ',' << CsvField(e.source) << ',' << e.type << ','
      << CsvField(e.category) << ',' << e.id << ',' << CsvField(e.user) << ','
      << CsvField(e.computer) << ',' << CsvField(e.server) << ',' << e.datatype << ','
      << CsvField(e.rawdata) << "\r\n";
}

}  // namespace

std::string IsoStamp(kiv::Date date) { return Stamp(date, 'T', true); }

nlohmann::json EventJson(const EventRecord& e) {
  nlohmann::json j = {{"log", e.log},           {"ordinal", nullptr},       {"offset", nullptr},
                      {"unk", e.unk},           {"date", IsoStamp(e.date)}, {"source", e.source},
                      {"type", e.type},         {"category", e.category},   {"id", e.id},
                      {"user", e.user},         {"computer", e.computer},   {"server", e.server},
                      {"datatype", e.datatype}, {"rawdata", e.rawdata}};
  if (e.ordinal > 0) {
    j["ordinal"] = e.ordinal;
    j["offset"] = e.offset;
  }
  return j;
}

EventPrinter::EventPrinter(std::ostream& out) : out_(out), format_(OutputFormat()) {}

bool EventPrinter::Json() const { return format_ == "json" || format_ == "json-pretty"; }

void EventPrinter::Print(const EventRecord& e) {
  if (format_ == "json") {
    out_ << EventJson(e).dump() << '\n';
  } else if (format_ == "json-pretty") {
    out_ << EventJson(e).dump(4) << '\n';
  } else if (format_ == "csv") {
    if (!header_done_) out_ << kCsvHeader << "\r\n";
    header_done_ = true;
    PrintCsvRow(e, out_);
  } else if (format_ == "cat") {
    PrintCat(e, out_);
  } else {
    PrintShort(e, format_ == "short-iso", out_);
  }
}

std::string CsvField(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
  std::string quoted = "\"";
  for (char c : text) {
    if (c == '"') quoted += '"';
    quoted += c;
  }
  return quoted + '"';
}

int ReportError(const std::string& what) {
  const kiv::ErrorRecord r = kiv::LastErrorRecord();
  // The library's message may run over lines ("... file di log X" CR LF "Path/File access
  // error"): one line here, its parts joined by ": ".
  std::string message;
  for (char c : U8(r.Description)) {
    if (c == '\n') continue;
    message += c == '\r' ? std::string(": ") : std::string(1, c);
  }
  const std::string reason = r.LastDllError != 0 ? U8(kiv::SystemMessage(r.LastDllError)) : "";
  if (JsonOutput()) {
    nlohmann::json j = {{"error",
                         {{"what", what},
                          {"number", r.Number},
                          {"source", U8(r.Source)},
                          {"description", U8(r.Description)},
                          {"system_error", r.LastDllError},
                          {"reason", reason}}}};
    std::cout << j.dump() << std::endl;
  } else {
    std::cerr << "kivlog: " << what << ": " << message << (reason.empty() ? "" : ": ") << reason
              << " (error " << r.Number << ", " << U8(r.Source) << ")" << std::endl;
  }
  return 1;
}

}  // namespace kivlog
