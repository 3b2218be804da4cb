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

void PrintEventText(const kiv::KivLogEvent& e) {
  std::printf("#%d  %s  %s  type %d  id %d", e.Ordinal(), U8(kiv::GeneralDate(e.EvDate())).c_str(),
              U8(e.EvSource()).c_str(), e.EvType(), e.EvId());
  if (!e.EvCategory().empty()) std::printf("  [%s]", U8(e.EvCategory()).c_str());
  if (!e.EvUser().empty() || !e.EvComputer().empty()) {
    std::printf("  %s@%s", U8(e.EvUser()).c_str(), U8(e.EvComputer()).c_str());
  }
  std::printf("\n");
  if (!e.EvRawData().empty()) {
    std::string raw = U8(e.EvRawData());
    std::string line;
    for (char c : raw) {
      if (c == '\r') continue;
      if (c == '\n') {
        std::printf("    %s\n", line.c_str());
        line.clear();
      } else {
        line += c;
      }
    }
    std::printf("    %s\n", line.c_str());
  }
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
