#include "dblog/log_sync.h"

#include <sqlite3.h>

#include <string>

#include "kivdbxt/dao.h"
#include "dao/connection.h"
#include "platform/text_compare.h"

namespace kiv {
namespace {

constexpr const char16_t* kNames[] = {u"NORMAL", u"FULL", u"ROLLBACK"};

std::string JournalMode(sqlite3* db) {
  std::string mode;
  sqlite3_stmt* st = nullptr;
  if (sqlite3_prepare_v2(db, "PRAGMA journal_mode", -1, &st, nullptr) == SQLITE_OK &&
      sqlite3_step(st) == SQLITE_ROW) {
    mode = reinterpret_cast<const char*>(sqlite3_column_text(st, 0));
  }
  sqlite3_finalize(st);
  return mode;
}

}  // namespace

std::optional<SyncMode> ParseSyncMode(StringView text) {
  for (int i = 0; i < 3; ++i) {
    if (TextEquals(text, kNames[i])) return static_cast<SyncMode>(i);
  }
  return std::nullopt;
}

String SyncModeText(SyncMode mode) { return kNames[static_cast<int>(mode)]; }

void ApplySyncMode(dao::Database& db, SyncMode mode, bool journal) {
  sqlite3* handle = db.Connection()->Db();
  const bool wal = mode != SyncMode::Rollback;
  if (journal && (JournalMode(handle) == "wal") != wal) {
    sqlite3_exec(handle, wal ? "PRAGMA journal_mode=WAL" : "PRAGMA journal_mode=DELETE", nullptr,
                 nullptr, nullptr);
  }
  const char* sync =
      mode == SyncMode::Normal ? "PRAGMA synchronous=NORMAL" : "PRAGMA synchronous=FULL";
  const int rc = sqlite3_exec(handle, sync, nullptr, nullptr, nullptr);
  if (rc != SQLITE_OK) dao::detail::RaiseSqlite(handle, rc, sync);
}

}  // namespace kiv
