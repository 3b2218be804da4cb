#include "dao/dao_errors.h"
#include "dao/object_cores.h"

namespace kiv::dao {
namespace {

using detail::RecordsetCore;

// A recordset's fields, one per column, bound to its current record.
struct RecordsetFieldsHooks : detail::ItemsHooks<Field> {
  explicit RecordsetFieldsHooks(std::shared_ptr<RecordsetCore> core) : core_(std::move(core)) {
    for (size_t i = 0; i < core_->columns.size(); ++i) {
      auto field = std::make_shared<detail::FieldCore>();
      field->def = core_->columns[i];
      field->ordinal = static_cast<int16_t>(i);
      field->rs = core_;
      field->col = static_cast<int>(i);
      fields_.push_back(std::make_shared<Field>(field));
    }
  }
  std::vector<std::shared_ptr<Field>>& List() override {
    core_->Check();
    return fields_;
  }
  void Append(const std::shared_ptr<Field>&) override { RaiseDao(kDaoInvalidOperation); }
  void Delete(StringView) override { RaiseDao(kDaoInvalidOperation); }

 private:
  std::shared_ptr<RecordsetCore> core_;
  std::vector<std::shared_ptr<Field>> fields_;
};

Variant RowIdBookmark(int64_t rowid) {
  std::vector<uint8_t> bytes(8);
  for (int i = 0; i < 8; ++i)
    bytes[i] = static_cast<uint8_t>(static_cast<uint64_t>(rowid) >> (8 * i));
  return Variant(std::move(bytes));
}

}  // namespace

Recordset::Recordset(std::shared_ptr<RecordsetCore> core)
    : core_(std::move(core)),
      fields_(std::make_unique<dao::Fields>(std::make_shared<RecordsetFieldsHooks>(core_))) {}

String Recordset::Name() const {
  core_->Check();
  return core_->name;
}

int32_t Recordset::Type() const {
  core_->Check();
  return core_->type;
}

bool Recordset::Updatable() const {
  core_->Check();
  return core_->updatable;
}

String Recordset::Index() const {
  core_->Check();
  if (!core_->table_nav) RaiseDao(kDaoNotSupported);
  return core_->index;
}

void Recordset::Index(const String& name) { core_->SetIndex(name); }

void Recordset::Seek(const String& comparison, const Variant& key1, const Variant& key2,
                     const Variant& key3, const Variant& key4, const Variant& key5) {
  std::vector<Variant> keys;
  for (const Variant* k : {&key1, &key2, &key3, &key4, &key5}) {
    if (k->IsMissing()) break;
    keys.push_back(*k);
  }
  Seek(comparison, keys);
}

void Recordset::Seek(const String& comparison, const std::vector<Variant>& keys) {
  core_->Seek(ToUtf8(comparison), keys);
}

bool Recordset::NoMatch() const {
  core_->Check();
  return core_->no_match;
}

void Recordset::MoveFirst() { core_->MoveFirst(); }
void Recordset::MoveLast() { core_->MoveLast(); }
void Recordset::MoveNext() { core_->MoveNext(); }
void Recordset::MovePrevious() { core_->MovePrevious(); }

void Recordset::Move(int32_t rows, const Variant& start_bookmark) {
  if (!start_bookmark.IsMissing()) core_->SetBookmark(start_bookmark);
  core_->Move(rows);
}

bool Recordset::BOF() const { return core_->IsBOF(); }
bool Recordset::EOF_() const { return core_->IsEOF(); }
int32_t Recordset::RecordCount() const { return core_->RecordCount(); }

Variant Recordset::Bookmark() const { return core_->GetBookmark(); }
void Recordset::Bookmark(const Variant& value) { core_->SetBookmark(value); }

Variant Recordset::LastModified() const {
  core_->Check();
  if (!core_->last_modified) RaiseDao(kDaoNoCurrentRecord);
  return RowIdBookmark(*core_->last_modified);
}

void Recordset::AddNew() { core_->AddNew(); }
void Recordset::Edit() { core_->Edit(); }
void Recordset::Update() { core_->Update(); }
void Recordset::CancelUpdate() { core_->CancelUpdate(); }
void Recordset::Delete() { core_->Delete(); }

int32_t Recordset::EditMode() const {
  core_->Check();
  return core_->edit_mode;
}

dao::Fields& Recordset::Fields() {
  core_->Check();
  return *fields_;
}

void Recordset::Close() { core_->Close(); }

}  // namespace kiv::dao
