#include "dao/compact.h"

#include "dao/dao_errors.h"
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

void CompactInPlace(const String& name, const String& tmp) {
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
