#include "dao/compact.h"

#include "dao/dao_errors.h"
#include "dao/schema.h"
#include "platform/fs.h"

namespace kiv::dao::detail {

void VacuumInto(Connection& source, const String& dst) {
  if (FileExists(dst)) RaiseDao(kDaoDatabaseExists);
  try {
    engine::Connection* db = source.Db();
    EngineCall(
        db, [&] { db->CompactInto(Utf8(dst)); }, "VACUUM INTO ?1", true);
  } catch (...) {
    RemoveFile(dst);
    throw;
  }
}

namespace {

// A server database is compacted in place, table by table, and its statistics renewed; the
// model's own catalog with it.
void VacuumServer(const String& name) {
  auto conn = OpenConnection(name, false, false, false);
  std::string sql = "VACUUM (ANALYZE) kiv_catalog";
  for (const String& table : TableNames(*conn)) sql += ", " + QuoteName(table);
  ExecSql(*conn, sql);
  conn->Close();
}

}  // namespace

void CompactInPlace(const String& name, const String& tmp) {
  if (engine::IsServerName(Utf8(name))) return VacuumServer(name);
  if (FileExists(tmp)) RaiseDao(kDaoDatabaseExists);
  // The checks and messages of an ordinary open, before the engine holds the file.
  OpenConnection(name, false, false, false)->Close();
  try {
    engine::CompactSqliteInPlace(Utf8(name), Utf8(tmp));
  } catch (const engine::EngineError& e) {
    RemoveFile(tmp);
    RaiseEngine(e, {}, true, name);
  } catch (...) {
    RemoveFile(tmp);
    throw;
  }
  RemoveFile(tmp);
}

}  // namespace kiv::dao::detail
