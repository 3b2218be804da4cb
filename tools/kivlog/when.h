// Points in time on the command line, read as journalctl reads them.
#pragma once

#include <string>

#include "kivdbxt/types.h"

namespace kivlog {

// "now", "today", "yesterday", "tomorrow" (their midnight), a time relative to now ("-1h",
// "-30min", "+2d", "-1w"), a date "2024-03-05" with an optional time "2024-03-05 14:00", the
// locale's date form, or a time alone ("21:00", today). Raises CLI::ValidationError naming the
// option for anything else.
kiv::Date ParseWhen(const std::string& text, const char* option);

}  // namespace kivlog
