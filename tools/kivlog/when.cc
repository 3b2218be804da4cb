#include "when.h"

#include <CLI/CLI.hpp>
#include <cctype>
#include <cstdlib>

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

// A relative time, "-2 days" or "+30min": a sign, digits and a unit of small letters, with spaces
// allowed around each. False when the text has another shape.
bool SplitRelative(const std::string& text, char& sign, double& amount, std::string& unit) {
  size_t i = 0;
  auto skip_spaces = [&] {
    while (i < text.size() && std::isspace(static_cast<unsigned char>(text[i]))) ++i;
  };
  auto take = [&](int (*is)(int)) {
    const size_t from = i;
    while (i < text.size() && is(static_cast<unsigned char>(text[i]))) ++i;
    return text.substr(from, i - from);
  };
  skip_spaces();
  if (i == text.size() || (text[i] != '+' && text[i] != '-')) return false;
  sign = text[i++];
  skip_spaces();
  const std::string digits = take(isdigit);
  skip_spaces();
  unit = take(islower);
  skip_spaces();
  if (digits.empty() || unit.empty() || i != text.size()) return false;
  amount = std::strtod(digits.c_str(), nullptr);
  return true;
}

}  // namespace

kiv::Date ParseWhen(const std::string& text, const char* option) {
  const kiv::Date now = kiv::Now();
  const kiv::Date today = kiv::DateOnly(now);
  if (text == "now") return now;
  if (text == "today") return today;
  if (text == "yesterday") return today - 1;
  if (text == "tomorrow") return today + 1;
  char sign = 0;
  double amount = 0;
  std::string unit;
  if (SplitRelative(text, sign, amount, unit)) {
    const double days = UnitDays(unit);
    if (days == 0) throw CLI::ValidationError(option, "unknown time unit: " + text);
    return sign == '-' ? now - amount * days : now + amount * days;
  }
  kiv::Date d = 0;
  if (!kiv::ParseDate(U16(text), d)) throw CLI::ValidationError(option, "not a date: " + text);
  // A time alone parses as a time of day without a date: it means today.
  if (d >= 0 && d < 1) d += today;
  return d;
}

}  // namespace kivlog
