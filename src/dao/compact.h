// Compaction: a defragmented copy of a database, and the same copy put back in place.
#pragma once

#include "dao/connection.h"
#include "kivdbxt/types.h"

namespace kiv::dao::detail {

// Writes a compacted copy of the database open on `source` to `dst`, which must not exist (3204).
// A failed copy leaves no file behind.
void VacuumInto(Connection& source, const String& dst);

// Compacts the database `name` through the temporary file `tmp`, which must not exist and is gone
// afterwards. The database is held exclusively from start to end, and the copy goes back through
// SQLite rather than by replacing the file: other connections, in this process or another, keep
// working on the one file, see the compacted content, and nothing they write is lost.
void CompactInPlace(const String& name, const String& tmp);

}  // namespace kiv::dao::detail
