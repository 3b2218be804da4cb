#include "output.h"

#include <cstdio>
#include <iostream>

#include "commands.h"
#include "kivdbxt/error.h"
#include "platform/date.h"

namespace kivlog {

std::string U8(const kiv::String& s) { return kiv::ToUtf8(s); }
kiv::String U16(const std::string& s) { return kiv::FromUtf8(s); }

nlohmann::json EventJson(const kiv::KivLogEvent& e) {
  return {{"ordinal", e.Ordinal()},
          {"offset", e.Offset()},
          {"unk", e.EvUnk()},
          {"date", U8(kiv::FormatIsoDateTime(e.EvDate()))},
          {"source", U8(e.EvSource())},
          {"type", e.EvType()},
          {"category", U8(e.EvCategory())},
          {"id", e.EvId()},
          {"user", U8(e.EvUser())},
          {"computer", U8(e.EvComputer())},
          {"server", U8(e.EvServer())},
          {"datatype", e.EvDataType()},
          {"rawdata", U8(e.EvRawData())}};
}

void PrintEventText(const kiv::KivLogEvent& e, std::ostream& out) {
  out << '#' << e.Ordinal() << "  " << U8(kiv::GeneralDate(e.EvDate())) << "  " << U8(e.EvSource())
      << "  type " << e.EvType() << "  id " << e.EvId();
  if (!e.EvCategory().empty()) out << "  [" << U8(e.EvCategory()) << ']';
  if (!e.EvUser().empty() || !e.EvComputer().empty()) {
    out << "  " << U8(e.EvUser()) << '@' << U8(e.EvComputer());
  }
  out << '\n';
  if (e.EvRawData().empty()) return;
  // Raw data lines are indented; their CR LF ends become the platform's.
  std::string line;
  for (char c : U8(e.EvRawData())) {
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
  kiv::ErrorRecord r = kiv::LastErrorRecord();
  if (Globals().json) {
    nlohmann::json j = {{"error",
                         {{"what", what},
                          {"number", r.Number},
                          {"source", U8(r.Source)},
                          {"description", U8(r.Description)}}}};
    std::cout << j.dump() << std::endl;
  } else {
    std::cerr << "kivlog: " << what << ": " << U8(r.Description) << " (error " << r.Number << ", "
              << U8(r.Source) << ")" << std::endl;
  }
  return 1;
}

}  // namespace kivlog
