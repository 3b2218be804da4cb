#include "dblog/log_sync.h"

#include "dao/connection.h"
#include "kivdbxt/dao.h"
#include "platform/text_compare.h"

namespace kiv {
namespace {

constexpr const char16_t* kNames[] = {u"NORMAL", u"FULL", u"ROLLBACK"};

}  // namespace

std::optional<SyncMode> ParseSyncMode(StringView text) {
  for (int i = 0; i < 3; ++i) {
    if (TextEquals(text, kNames[i])) return static_cast<SyncMode>(i);
  }
  return std::nullopt;
}

String SyncModeText(SyncMode mode) { return kNames[static_cast<int>(mode)]; }

void ApplySyncMode(dao::Database& db, SyncMode mode, bool journal) {
  dao::engine::Connection* handle = db.Connection()->Db();
  using dao::engine::Durability;
  const Durability durability = mode == SyncMode::Normal ? Durability::kNormal
                                : mode == SyncMode::Full ? Durability::kFull
                                                         : Durability::kRollback;
  dao::detail::EngineCall(handle, [&] { handle->SetDurability(durability, journal); });
}

}  // namespace kiv
