#include "dao/compact.h"
#include "dao/dao_errors.h"
#include "dao/object_cores.h"
#include "frame/error.h"
#include "platform/fs.h"

namespace kiv::dao {

Workspace::Workspace(String name) : name_(std::move(name)) {}

std::shared_ptr<Database> Workspace::CreateDatabase(const String& name, const String& /*locale*/,
                                                    int32_t /*options*/) {
  auto db = std::make_shared<Database>(detail::OpenConnection(name, true, false, false));
  databases_.push_back(db);
  return db;
}

std::shared_ptr<Database> Workspace::OpenDatabase(const String& name, bool exclusive,
                                                  bool read_only, const String& /*connect*/) {
  auto db = std::make_shared<Database>(detail::OpenConnection(name, false, exclusive, read_only));
  std::erase_if(databases_, [](const std::weak_ptr<Database>& w) { return w.expired(); });
  databases_.push_back(db);
  return db;
}

void Workspace::Close() {
  for (const auto& weak : databases_) {
    if (auto db = weak.lock()) db->Connection()->Close();
  }
  databases_.clear();
}

std::shared_ptr<DBEngine> DBEngine::ForThread() {
  thread_local std::shared_ptr<DBEngine> engine = std::make_shared<DBEngine>();
  return engine;
}

std::shared_ptr<Workspace> DBEngine::Workspaces(int32_t index) {
  if (index != 0) RaiseDao(kDaoItemNotFound);
  if (!default_workspace_) default_workspace_ = std::make_shared<Workspace>(u"#Default Workspace#");
  return default_workspace_;
}

std::shared_ptr<Workspace> DBEngine::CreateWorkspace(const String& name, const String& /*user*/,
                                                     const String& /*password*/) {
  return std::make_shared<Workspace>(name);
}

std::shared_ptr<Database> DBEngine::CreateDatabase(const String& name, const String& locale,
                                                   int32_t options) {
  return Workspaces(0)->CreateDatabase(name, locale, options);
}

std::shared_ptr<Database> DBEngine::OpenDatabase(const String& name, bool exclusive, bool read_only,
                                                 const String& connect) {
  return Workspaces(0)->OpenDatabase(name, exclusive, read_only, connect);
}

// VACUUM INTO writes a fresh, defragmented copy. The source is held exclusively meanwhile, so
// that nobody changes it half way.
void DBEngine::CompactDatabase(const String& src, const String& dst, const String& /*locale*/,
                               int32_t /*options*/, const String& /*password*/) {
  if (FileExists(dst)) RaiseDao(kDaoDatabaseExists);
  auto conn = detail::OpenConnection(src, false, true, false);
  try {
    detail::VacuumInto(*conn, dst);
  } catch (...) {
    conn->Close();
    throw;
  }
  conn->Close();
}

}  // namespace kiv::dao
