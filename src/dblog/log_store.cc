#include "dblog/log_store.h"

#include "dao/connection.h"
#include "dao/schema.h"
#include "dblog/log_schema.h"
#include "platform/fs.h"

namespace kiv {
namespace {

bool OnServer(const String& name) { return dao::engine::IsServerName(ToUtf8(name)); }

}  // namespace

bool LogExists(const String& name) {
  if (!OnServer(name)) return FileExists(name);
  auto conn = dao::detail::OpenConnection(name, false, false, true);
  const bool exists = conn->FindSchema(kParmsTable) || conn->FindSchema(kEventsTable);
  conn->Close();
  return exists;
}

void RemoveLog(const String& name) {
  if (!OnServer(name)) {
    RemoveFile(name);
    return;
  }
  auto conn = dao::detail::OpenConnection(name, false, false, false);
  for (const char16_t* table : {kParmsTable, kEventsTable}) {
    if (conn->FindSchema(table)) dao::detail::DropTable(*conn, table);
  }
  conn->Close();
}

String ShownLogName(const String& name) {
  return OnServer(name) ? FromUtf8(dao::engine::ShownName(ToUtf8(name))) : name;
}

}  // namespace kiv
