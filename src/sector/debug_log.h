// The store's debug log: one line per operation in the host program's name + ".log", in the
// default log folder.
#pragma once

#include <string>

#include "kivdbxt/types.h"

namespace kiv {

// The log's full name.
String DebugLogFile();
// Appends "time pid operation arguments -> result[ error]" to the log. Never raises: a log that
// cannot be written loses the line.
void WriteDebugLine(const std::string& operation, const std::string& arguments, bool failed);

}  // namespace kiv
