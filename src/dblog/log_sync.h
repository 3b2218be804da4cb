// How the event log's file keeps its commits, chosen by the SYNC parameter:
//
//   NORMAL    WAL journal, synchronous=NORMAL (the default): a commit costs no sync; a crash of
//             the process loses nothing committed, a loss of power may lose the last commits.
//   FULL      WAL journal, synchronous=FULL: every commit is synced before the report returns.
//   ROLLBACK  rollback journal, synchronous=FULL: for file systems without shared memory (network
//             shares), where WAL cannot work; the slowest.
#pragma once

#include <optional>

#include "kivdbxt/types.h"

namespace kiv {

namespace dao {
class Database;
}

enum class SyncMode { Normal, Full, Rollback };

// "NORMAL", "FULL" or "ROLLBACK", in any case; nullopt for any other text.
std::optional<SyncMode> ParseSyncMode(StringView text);
String SyncModeText(SyncMode mode);
// Sets the connection's sync level and, with `journal`, the file's journal. A journal that
// cannot change now (another process has the file open in WAL) is left as it is: the next
// writable open tries again.
void ApplySyncMode(dao::Database& db, SyncMode mode, bool journal);

}  // namespace kiv
