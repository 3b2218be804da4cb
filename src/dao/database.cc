#include "dao/dao_errors.h"
#include "dao/object_cores.h"

namespace kiv::dao {
namespace {

using detail::Connection;

// The database's tables, read from its schema at each use; Append creates a table.
struct TableDefsHooks : detail::ItemsHooks<TableDef> {
  explicit TableDefsHooks(std::shared_ptr<Connection> conn) : conn_(std::move(conn)) {}

  std::vector<std::shared_ptr<TableDef>>& List() override {
    list_.clear();
    for (const String& name : detail::TableNames(*conn_)) {
      auto core = std::make_shared<detail::TableDefCore>();
      core->conn = conn_;
      core->name = name;
      list_.push_back(std::make_shared<TableDef>(core));
    }
    return list_;
  }

  void Append(const std::shared_ptr<TableDef>& item) override {
    detail::TableDefCore& core = *item->Core();
    if (core.Stored()) RaiseDao(kDaoInvalidOperation);
    detail::TableSchema schema;
    schema.name = core.name;
    for (const auto& field : core.fields) schema.columns.push_back(field->Core()->def);
    for (const auto& index : core.indexes)
      schema.indexes.push_back(detail::IndexFromCore(*index->Core()));
    detail::CreateTable(*conn_, schema);
    for (const auto& field : core.fields) field->Core()->appended = true;
    for (const auto& index : core.indexes) index->Core()->appended = true;
    core.conn = conn_;
    item->Fields().Refresh();
    item->Indexes().Refresh();
  }

  void Delete(StringView name) override { detail::DropTable(*conn_, name); }

 private:
  std::shared_ptr<Connection> conn_;
  std::vector<std::shared_ptr<TableDef>> list_;
};

}  // namespace

Database::Database(std::shared_ptr<detail::Connection> connection)
    : connection_(std::move(connection)),
      tabledefs_(std::make_unique<dao::TableDefs>(std::make_shared<TableDefsHooks>(connection_))) {}

String Database::Name() const { return connection_->name; }

bool Database::Updatable() const {
  connection_->Db();
  return !connection_->read_only;
}

dao::TableDefs& Database::TableDefs() {
  connection_->Db();
  return *tabledefs_;
}

std::shared_ptr<TableDef> Database::CreateTableDef(const String& name) {
  connection_->Db();
  auto core = std::make_shared<detail::TableDefCore>();
  core->name = name;
  return std::make_shared<TableDef>(core);
}

std::shared_ptr<Recordset> Database::OpenRecordset(const String& source, int32_t type,
                                                   int32_t options, int32_t /*lock_edit*/) {
  connection_->Db();
  const auto table = connection_->FindSchema(source);
  if (type == 0) type = table ? dbOpenTable : dbOpenDynaset;
  if (type != dbOpenTable && type != dbOpenDynaset && type != dbOpenSnapshot &&
      type != dbOpenForwardOnly) {
    RaiseDao(kDaoInvalidArgument);
  }
  if (type == dbOpenTable) {
    return std::make_shared<Recordset>(
        detail::RecordsetCore::OpenTable(connection_, source, options));
  }
  const String sql = table ? u"SELECT * FROM " + FromUtf8(detail::QuoteName(table->name)) : source;
  return std::make_shared<Recordset>(
      detail::RecordsetCore::OpenQuery(connection_, sql, type, options));
}

// Runs each statement of the text as written. Without dbFailOnError a statement that fails while
// it runs is ignored, as DAO ignores it; a statement that cannot be read always fails.
void Database::Execute(const String& query, int32_t options) {
  engine::Connection* db = connection_->Db();
  connection_->BeforeWrite();
  connection_->records_affected = 0;
  const std::string text = detail::Utf8(query);
  std::string_view rest = text;
  while (!rest.empty()) {
    size_t used = 0;
    // An action query: a lock that outlasts the wait while it is read is a write's failure too.
    auto raw = detail::EngineCall(
        db, [&] { return db->Prepare(rest, &used); }, rest, true);
    const std::string one(rest.substr(0, used));
    rest.remove_prefix(used ? used : rest.size());
    if (!raw) continue;  // only blanks or a comment
    detail::Statement statement(db, std::move(raw), one);
    if (statement.ColumnCount() > 0 && statement.Raw().ReadOnly()) RaiseDao(kDaoExecuteSelect);
    try {
      statement.Run();
      connection_->records_affected += static_cast<int32_t>(db->Changes());
    } catch (const Error&) {
      if (options & dbFailOnError) throw;
    }
  }
}

int32_t Database::RecordsAffected() const {
  connection_->Db();
  return connection_->records_affected;
}

void Database::Close() {
  connection_->Db();
  connection_->Close();
}

}  // namespace kiv::dao
