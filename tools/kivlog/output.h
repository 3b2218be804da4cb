// Printing shared by the subcommands: events in every output format, errors.
#pragma once

#include <iostream>
#include <nlohmann/json.hpp>
#include <string>

#include "kivdbxt/constants.h"
#include "kivdbxt/kiv_log_event.h"

namespace kivlog {

// UTF-8 of a library string, and a command-line string for the library. U16 refuses text that
// is not strict UTF-8 (CLI::ValidationError) rather than turn it into replacement characters.
std::string U8(const kiv::String& s);
kiv::String U16(const std::string& s);

// One event as every output format sees it, from a daily log or from the database event log.
struct EventRecord {
  std::string log;
  int32_t ordinal = 0, offset = 0;  // 0 for a database record
  int32_t unk = 0;
  kiv::Date date = 0;
  std::string source, category, user, computer, server, rawdata;
  int32_t type = 0, id = 0, datatype = 0;
};
EventRecord FromEvent(const kiv::KivLogEvent& e, const std::string& log);
EventRecord FromRecord(const kiv::LOGRECORDTYPE& r, const std::string& log);

// A date as text: ISO 8601 with the local offset ("2024-03-05T10:00:00+01:00"), or in UTC
// ("2024-03-05T09:00:00Z") with --utc.
std::string IsoStamp(kiv::Date date);
// The one JSON shape of an event, in every subcommand.
nlohmann::json EventJson(const EventRecord& e);

// Prints events in the output format in force: short (a header line and the raw data lines),
// short-iso (the same with ISO dates), cat (the raw data only), json (one object per line),
// json-pretty, csv (a header, then one row per event).
class EventPrinter {
 public:
  explicit EventPrinter(std::ostream& out = std::cout);
  void Print(const EventRecord& e);
  bool Json() const;

 private:
  std::ostream& out_;
  const std::string& format_;
  bool header_done_ = false;
};

// A CSV field: quoted, with its quotes doubled, when it holds a comma, a quote or a line end.
std::string CsvField(const std::string& text);
// Prints the recorded error to stderr in one line: the library's message, then the system's
// reason when the error carries one (or a JSON object on stdout), and returns the exit code 1.
int ReportError(const std::string& what);

}  // namespace kivlog
