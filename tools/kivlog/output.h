// Printing helpers shared by the subcommands: events as text or JSON, errors.
#pragma once

#include <iostream>
#include <nlohmann/json.hpp>
#include <string>

#include "kivdbxt/kiv_log_event.h"

namespace kivlog {

std::string U8(const kiv::String& s);
kiv::String U16(const std::string& s);

nlohmann::json EventJson(const kiv::KivLogEvent& e);
// One line per field, "KEY value", as a person reads it.
void PrintEventText(const kiv::KivLogEvent& e, std::ostream& out = std::cout);
// A CSV field: quoted, with its quotes doubled, when it holds a comma, a quote or a line end.
std::string CsvField(const std::string& text);
// Prints the recorded error to stderr (or as JSON to stdout) and returns the exit code 1.
int ReportError(const std::string& what);

}  // namespace kivlog
