#include "when.h"

#include <CLI/CLI.hpp>
#include <cctype>
#include <regex>

#include "output.h"
#include "platform/clock.h"
#include "platform/date.h"

namespace kivlog {
namespace {

// The length of one unit of a relative time, in days; 0 for an unknown unit.
double UnitDays(const std::string& unit) {
  static const std::pair<const char*, double> kUnits[] = {
      {"s", 1.0 / 86400}, {"sec", 1.0 / 86400}, {"second", 1.0 / 86400},
      {"m", 1.0 / 1440},  {"min", 1.0 / 1440},  {"minute", 1.0 / 1440},
      {"h", 1.0 / 24},    {"hour", 1.0 / 24},   {"d", 1.0},
      {"day", 1.0},       {"w", 7.0},           {"week", 7.0},
  };
  for (const auto& [name, days] : kUnits) {
    if (unit == name || unit == std::string(name) + "s") return days;
  }
  return 0;
}

}  // namespace

kiv::Date ParseWhen(const std::string& text, const char* option) {
  const kiv::Date now = kiv::Now();
  const kiv::Date today = kiv::DateOnly(now);
  if (text == "now") return now;
  if (text == "today") return today;
  if (text == "yesterday") return today - 1;
  if (text == "tomorrow") return today + 1;
  static const std::regex kRelative(R"(^\s*([+-])\s*(\d+)\s*([a-z]+)\s*$)");
  std::smatch m;
  if (std::regex_match(text, m, kRelative)) {
    const double unit = UnitDays(m[3]);
    if (unit == 0) throw CLI::ValidationError(option, "unknown time unit: " + text);
    const double amount = std::stod(m[2]) * unit;
    return m[1] == "-" ? now - amount : now + amount;
  }
  kiv::Date d = 0;
  if (!kiv::ParseDate(U16(text), d)) throw CLI::ValidationError(option, "not a date: " + text);
  // A time alone parses as a time of day without a date: it means today.
  if (d >= 0 && d < 1) d += today;
  return d;
}

}  // namespace kivlog
