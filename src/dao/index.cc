#include "dao/dao_errors.h"
#include "dao/object_cores.h"
#include "platform/text_compare.h"

namespace kiv::dao {
namespace {

using detail::IndexCore;

// An index's fields: fixed once the index is part of a table.
struct IndexFieldsHooks : detail::ItemsHooks<Field> {
  explicit IndexFieldsHooks(std::shared_ptr<IndexCore> core) : core_(std::move(core)) {}
  std::vector<std::shared_ptr<Field>>& List() override { return core_->fields; }
  void Append(const std::shared_ptr<Field>& item) override {
    if (core_->appended) RaiseDao(kDaoInvalidOperation);
    core_->fields.push_back(item);
  }
  void Delete(StringView name) override {
    if (core_->appended) RaiseDao(kDaoInvalidOperation);
    detail::ListHooks<Field>(core_->fields).Delete(name);
  }

 private:
  std::shared_ptr<IndexCore> core_;
};

IndexCore& Changeable(const std::shared_ptr<IndexCore>& core) {
  if (core->appended) RaiseDao(kDaoInvalidOperation);
  return *core;
}

std::shared_ptr<Field> IndexField(const String& name, bool descending) {
  auto core = std::make_shared<detail::FieldCore>();
  core->def.name = name;
  core->def.attributes = descending ? dbDescending : 0;
  core->of_index = true;
  return std::make_shared<Field>(core);
}

}  // namespace

namespace detail {

IndexDef IndexFromCore(const IndexCore& core) {
  IndexDef def = core.def;
  def.keys.clear();
  for (const auto& field : core.fields) {
    const int32_t attributes = field->Core()->def.attributes;
    def.keys.push_back({field->Name(), (attributes & dbDescending) != 0, attributes});
  }
  return def;
}

}  // namespace detail

Index::Index(std::shared_ptr<IndexCore> core)
    : core_(std::move(core)),
      fields_(std::make_unique<dao::Fields>(std::make_shared<IndexFieldsHooks>(core_))) {}

String Index::Name() const { return core_->def.name; }
void Index::Name(const String& value) { Changeable(core_).def.name = value; }

dao::Fields& Index::Fields() { return *fields_; }

// "A;-B;+C": the fields in order, "-" for a descending one.
void Index::Fields(const String& names) {
  IndexCore& core = Changeable(core_);
  std::vector<std::shared_ptr<Field>> fields;
  size_t start = 0;
  while (start <= names.size()) {
    size_t end = names.find(u';', start);
    if (end == String::npos) end = names.size();
    String name = Trim(StringView(names).substr(start, end - start));
    bool descending = false;
    if (!name.empty() && (name[0] == u'+' || name[0] == u'-')) {
      descending = name[0] == u'-';
      name = Trim(StringView(name).substr(1));
    }
    if (!name.empty()) fields.push_back(IndexField(name, descending));
    start = end + 1;
  }
  if (fields.empty()) RaiseDao(kDaoInvalidArgument);
  core.fields = std::move(fields);
}

std::shared_ptr<Field> Index::CreateField(const String& name, int16_t type, int32_t size) {
  auto field = IndexField(name, false);
  field->Core()->def.type = type ? type : static_cast<int16_t>(dbText);
  field->Core()->def.size = size;
  return field;
}

bool Index::Primary() const { return core_->def.primary; }
void Index::Primary(bool value) { Changeable(core_).def.primary = value; }
bool Index::Unique() const { return core_->def.unique || core_->def.primary; }
void Index::Unique(bool value) { Changeable(core_).def.unique = value; }
bool Index::Required() const { return core_->def.required || core_->def.primary; }
void Index::Required(bool value) { Changeable(core_).def.required = value; }
bool Index::IgnoreNulls() const { return core_->def.ignore_nulls; }
void Index::IgnoreNulls(bool value) { Changeable(core_).def.ignore_nulls = value; }

}  // namespace kiv::dao
