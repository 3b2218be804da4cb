// Reading a WAL database where its shared-memory index (the "-shm" file) cannot be created, as
// in a folder the process may only read.
//
// SQLite reads such a file only as immutable: without locks and without the WAL. That is exact
// when the WAL holds nothing (the last writer closed the file and checkpointed it), and nobody
// can start writing in a folder where the index cannot be created. With a WAL that does hold
// commits the file cannot be read correctly, and the open fails (kUnreadableWal).
#pragma once

#include <string>

namespace kiv::dao::engine::sqlite {

// For a read-only connection whose first read of the schema answered rc: true when the database
// can be read only as immutable (its shared-memory index cannot be made). Raises kUnreadableWal
// when it cannot be read at all because its WAL holds data.
bool ReadableOnlyAsUnchanging(int rc, const std::string& file);
// The URI that opens the file read-only as immutable.
std::string UnchangingUri(const std::string& file);

}  // namespace kiv::dao::engine::sqlite
