#include "dao/dao_errors.h"
#include "dao/object_cores.h"

namespace kiv::dao {
namespace {

using detail::TableDefCore;

std::shared_ptr<Index> StoredIndex(const detail::IndexDef& def) {
  auto core = std::make_shared<detail::IndexCore>();
  core->def = def;
  for (const detail::IndexKey& key : def.keys) {
    auto field = std::make_shared<detail::FieldCore>();
    field->def.name = key.field;
    field->def.attributes = key.attributes;
    field->of_index = true;
    field->appended = true;
    core->fields.push_back(std::make_shared<Field>(field));
  }
  core->appended = true;
  return std::make_shared<Index>(core);
}

// A table's fields: the definition of a new table, or the columns of a stored one, where
// Append adds a column and Delete drops one.
struct TableFieldsHooks : detail::ItemsHooks<Field> {
  explicit TableFieldsHooks(std::shared_ptr<TableDefCore> core) : core_(std::move(core)) {}

  std::vector<std::shared_ptr<Field>>& List() override {
    if (!core_->Stored()) return core_->fields;
    if (!loaded_) Refresh();
    return stored_;
  }
  void Append(const std::shared_ptr<Field>& item) override {
    if (!core_->Stored()) return core_->fields.push_back(item);
    detail::AddColumn(*core_->conn, core_->name, item->Core()->def);
    item->Core()->appended = true;
    Refresh();
  }
  void Delete(StringView name) override {
    if (!core_->Stored()) return detail::ListHooks<Field>(core_->fields).Delete(name);
    detail::DropColumn(*core_->conn, core_->name, name);
    Refresh();
  }
  void Refresh() override {
    stored_.clear();
    if (!core_->Stored()) return;
    auto schema = core_->conn->Schema(core_->name);
    for (size_t i = 0; i < schema->columns.size(); ++i) {
      stored_.push_back(detail::StoredField(schema->columns[i], static_cast<int16_t>(i)));
    }
    loaded_ = true;
  }

 private:
  std::shared_ptr<TableDefCore> core_;
  std::vector<std::shared_ptr<Field>> stored_;
  bool loaded_ = false;
};

// A table's indexes: Append on a stored table creates the index at once.
struct TableIndexesHooks : detail::ItemsHooks<Index> {
  explicit TableIndexesHooks(std::shared_ptr<TableDefCore> core) : core_(std::move(core)) {}

  std::vector<std::shared_ptr<Index>>& List() override {
    if (!core_->Stored()) return core_->indexes;
    if (!loaded_) Refresh();
    return stored_;
  }
  void Append(const std::shared_ptr<Index>& item) override {
    if (item->Core()->appended) RaiseDao(kDaoInvalidOperation);
    if (!core_->Stored()) return core_->indexes.push_back(item);
    detail::CreateIndex(*core_->conn, core_->name, detail::IndexFromCore(*item->Core()));
    item->Core()->appended = true;
    Refresh();
  }
  void Delete(StringView name) override {
    if (!core_->Stored()) return detail::ListHooks<Index>(core_->indexes).Delete(name);
    detail::DropIndex(*core_->conn, core_->name, name);
    Refresh();
  }
  void Refresh() override {
    stored_.clear();
    if (!core_->Stored()) return;
    for (const detail::IndexDef& def : core_->conn->Schema(core_->name)->indexes) {
      stored_.push_back(StoredIndex(def));
    }
    loaded_ = true;
  }

 private:
  std::shared_ptr<TableDefCore> core_;
  std::vector<std::shared_ptr<Index>> stored_;
  bool loaded_ = false;
};

}  // namespace

TableDef::TableDef(std::shared_ptr<TableDefCore> core)
    : core_(std::move(core)),
      fields_(std::make_unique<dao::Fields>(std::make_shared<TableFieldsHooks>(core_))),
      indexes_(std::make_unique<dao::Indexes>(std::make_shared<TableIndexesHooks>(core_))) {}

String TableDef::Name() const { return core_->name; }

void TableDef::Name(const String& value) {
  if (core_->Stored()) RaiseDao(kDaoNotSupported);
  core_->name = value;
}

dao::Fields& TableDef::Fields() {
  if (core_->Stored()) core_->conn->Db();  // 3420 once the database is closed
  return *fields_;
}

dao::Indexes& TableDef::Indexes() {
  if (core_->Stored()) core_->conn->Db();
  return *indexes_;
}

std::shared_ptr<Field> TableDef::CreateField(const String& name, int16_t type, int32_t size) {
  if (type && !detail::IsKnownType(type)) RaiseDao(kDaoInvalidFieldType);
  auto core = std::make_shared<detail::FieldCore>();
  core->def.name = name;
  core->def.type = type ? type : static_cast<int16_t>(dbText);
  core->def.size = size;
  core->def.attributes = detail::DefaultAttributes(core->def.type);
  return std::make_shared<Field>(core);
}

std::shared_ptr<Index> TableDef::CreateIndex(const String& name) {
  auto core = std::make_shared<detail::IndexCore>();
  core->def.name = name;
  return std::make_shared<Index>(core);
}

int32_t TableDef::RecordCount() const {
  if (!core_->Stored()) return 0;
  return static_cast<int32_t>(detail::CountRows(*core_->conn, core_->name));
}

std::shared_ptr<Recordset> TableDef::OpenRecordset(int32_t type, int32_t options,
                                                   int32_t lock_edit) {
  if (!core_->Stored()) RaiseDao(kDaoInvalidOperation);
  return Database(core_->conn).OpenRecordset(core_->name, type, options, lock_edit);
}

}  // namespace kiv::dao
