// Printing shared by the subcommands: events in every output format, errors.
#pragma once

#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "kivdbxt/constants.h"
#include "kivdbxt/error.h"
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

class EventFormatter;

// Prints events in the output format in force to a stream, one at a time: for the subcommands
// that print a few (the database log's, event, demo).
class EventPrinter {
 public:
  explicit EventPrinter(std::ostream& out = std::cout);
  ~EventPrinter();
  void Print(const EventRecord& e);

 private:
  std::ostream& out_;
  std::unique_ptr<EventFormatter> formatter_;
  std::string text_;
};

// " 2024-03-05 09:00:00 UTC": the short formats' date with --utc.
std::string UtcText(kiv::Date date);

// Prints the recorded error to stderr in one line: the library's message, then the system's
// reason when the error carries one (or a JSON object on stdout), and returns the exit code 1.
int ReportError(const std::string& what);
// The same for an error recorded earlier.
int ReportError(const std::string& what, const kiv::ErrorRecord& r);

}  // namespace kivlog
