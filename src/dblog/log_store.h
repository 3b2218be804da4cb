// Where a log lives: a file, or its two tables in a database on a server (which exists before any
// log is made in it, and stays when the log goes).
#pragma once

#include "kivdbxt/types.h"

namespace kiv {

// True when a file, or the log's tables on a server, stand at `name`.
bool LogExists(const String& name);
// Removes what a failed create left at `name`: the file, or the log's tables.
void RemoveLog(const String& name);
// The name as messages show it: a server URI without its password.
String ShownLogName(const String& name);

}  // namespace kiv
