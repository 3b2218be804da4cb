#include "dao/dao_errors.h"
#include "dao/object_cores.h"
#include "dao/value_codec.h"

namespace kiv::dao {
namespace {

using detail::FieldCore;

// A recordset's field, checked to be usable.
detail::RecordsetCore& Bound(const FieldCore& core) {
  if (!core.rs) RaiseDao(kDaoInvalidOperation);
  core.rs->Check();
  return *core.rs;
}

// Properties of a stored or bound field's definition cannot change.
FieldCore& Changeable(const std::shared_ptr<FieldCore>& core) {
  if (core->appended || core->rs) RaiseDao(kDaoInvalidOperation);
  return *core;
}

int16_t NaturalType(const Variant& value) {
  switch (value.Type()) {
    case vbLong:
      return dbLong;
    case vbDouble:
      return dbDouble;
    case vbArray | vbByte:
      return dbLongBinary;
    default:
      return dbText;
  }
}

}  // namespace

namespace detail {

std::shared_ptr<Field> StoredField(const ColumnDef& column, int16_t ordinal) {
  auto core = std::make_shared<FieldCore>();
  core->def = column;
  core->appended = true;
  core->ordinal = ordinal;
  return std::make_shared<Field>(core);
}

}  // namespace detail

Field::Field(std::shared_ptr<FieldCore> core) : core_(std::move(core)) {}

String Field::Name() const { return core_->def.name; }
void Field::Name(const String& value) { Changeable(core_).def.name = value; }

int16_t Field::Type() const {
  if (core_->def.type == detail::kNaturalType && core_->rs) {
    return NaturalType(Bound(*core_).Value(core_->col));
  }
  return core_->def.type;
}

void Field::Type(int16_t value) {
  if (!detail::IsKnownType(value)) RaiseDao(kDaoInvalidFieldType);
  FieldCore& core = Changeable(core_);
  core.def.type = value;
  core.def.attributes = detail::DefaultAttributes(value);
}

int32_t Field::Size() const { return detail::TypeSize(core_->def.type, core_->def.size); }
void Field::Size(int32_t value) {
  if (value < 0 || value > 255) RaiseDao(kDaoInvalidArgument);
  Changeable(core_).def.size = value;
}

int32_t Field::Attributes() const {
  if (core_->of_index) return core_->def.attributes;
  return core_->def.attributes ? core_->def.attributes : detail::DefaultAttributes(core_->def.type);
}
void Field::Attributes(int32_t value) { Changeable(core_).def.attributes = value; }

bool Field::AllowZeroLength() const { return core_->def.allow_zero_length; }
void Field::AllowZeroLength(bool value) { Changeable(core_).def.allow_zero_length = value; }

bool Field::Required() const { return core_->def.required; }
void Field::Required(bool value) { Changeable(core_).def.required = value; }

int16_t Field::OrdinalPosition() const { return core_->ordinal; }

Variant Field::Value() const { return Bound(*core_).Value(core_->col); }
void Field::Value(const Variant& value) { Bound(*core_).SetValue(core_->col, value); }

void Field::AppendChunk(const Variant& data) { Bound(*core_).AppendChunk(core_->col, data); }

Variant Field::GetChunk(int32_t offset, int32_t bytes) const {
  return Bound(*core_).GetChunk(core_->col, offset, bytes);
}

int32_t Field::FieldSize() const { return Bound(*core_).FieldSize(core_->col); }

}  // namespace kiv::dao
