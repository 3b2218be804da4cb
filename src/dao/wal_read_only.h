// Reading a WAL database where its shared-memory index (the "-shm" file) cannot be created, as
// in a folder the process may only read.
//
// SQLite reads such a file only as immutable: without locks and without the WAL. That is exact
// when the WAL holds nothing (the last writer closed the file and checkpointed it), and nobody
// can start writing in a folder where the index cannot be created. With a WAL that does hold
// commits the file cannot be read correctly, and the open fails with DAO's 3051.
#pragma once

#include <string>

#include "kivdbxt/types.h"

namespace kiv::dao::detail {

// For a read-only connection whose first read of the schema answered rc: true when the database
// can be read only as immutable (its shared-memory index cannot be made). Raises 3051 when it
// cannot be read at all because its WAL holds data.
bool ReadableOnlyAsUnchanging(int rc, const String& file_name);
// The URI that opens file_name read-only as immutable.
std::string UnchangingUri(const String& file_name);

}  // namespace kiv::dao::detail
