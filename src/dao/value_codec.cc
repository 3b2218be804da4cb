#include "dao/value_codec.h"

#include <cmath>

#include "dao/dao_errors.h"
#include "frame/error.h"
#include "kivdbxt/dao.h"
#include "platform/text_codec.h"
#include "platform/vb_convert.h"

namespace kiv::dao::detail {
namespace {

std::vector<uint8_t> Utf16Bytes(StringView text) {
  std::vector<uint8_t> out;
  out.reserve(text.size() * 2);
  for (char16_t c : text) {
    out.push_back(static_cast<uint8_t>(c & 0xff));
    out.push_back(static_cast<uint8_t>(c >> 8));
  }
  return out;
}

std::vector<uint8_t> BinaryOf(const Variant& value) {
  if (value.Type() == (vbArray | vbByte)) return value.Bytes();
  if (value.Type() == vbString) {
    const String& s = value.StringValue();
    return IsByteString(s) ? StringToBytes(s) : Utf16Bytes(s);
  }
  RaiseDao(kDaoConversion);
}

String TextOf(const Variant& value, int16_t type) {
  if (type == dbMemo && value.Type() == (vbArray | vbByte)) return BytesToString(value.Bytes());
  return CStr(value);
}

Variant Convert(const ColumnDef& column, const Variant& value) {
  switch (column.type) {
    case dbBoolean:
      return Variant(CBool(value));
    case dbByte:
      return Variant(CByte(value));
    case dbInteger:
      return Variant(CInt(value));
    case dbLong:
      return Variant(CLng(value));
    case dbCurrency:
      return Variant(CCur(value));
    case dbSingle:
      return Variant(CSng(value));
    case dbDouble:
      return Variant(CDbl(value));
    case dbDate:
      return Variant::FromDate(CDate(value));
    case dbText:
    case dbMemo: {
      String text = TextOf(value, column.type);
      if (column.type == dbText && text.size() > static_cast<size_t>(column.size)) {
        RaiseDao(kDaoFieldTooSmall);
      }
      return Variant(std::move(text));
    }
    case dbBinary:
    case dbLongBinary: {
      std::vector<uint8_t> bytes = BinaryOf(value);
      if (column.type == dbBinary && bytes.size() > static_cast<size_t>(column.size)) {
        RaiseDao(kDaoFieldTooSmall);
      }
      return Variant(std::move(bytes));
    }
    default:
      RaiseDao(kDaoInvalidFieldType);
  }
}

double NumberOf(const Variant& value) {
  if (value.Type() == vbCurrency) return static_cast<double>(value.IntValue()) / 10000.0;
  return value.ToDouble().value_or(0);
}

}  // namespace

Variant CoerceToField(const ColumnDef& column, const Variant& value) {
  if (value.IsEmpty() || value.IsNull()) return Variant::Null();
  if (value.IsMissing()) RaiseDao(kDaoConversion);
  try {
    return Convert(column, value);
  } catch (const Error& e) {
    if (e.number == kDaoFieldTooSmall) throw;
    RaiseDao(kDaoConversion);  // the run time's 13, 6 or 94 of a value that does not fit
  }
}

void BindStored(Statement& statement, int index, int16_t type, const Variant& value) {
  if (value.IsNull() || value.IsEmpty()) return statement.BindNull(index);
  switch (type) {
    case dbBoolean:
      return statement.BindInt(index, value.ToBool().value_or(false) ? -1 : 0);
    case dbByte:
    case dbInteger:
    case dbLong:
      return statement.BindInt(index, value.ToLong().value_or(0));
    case dbText:
    case dbMemo:
      return statement.BindText(index, value.StringValue());
    case dbBinary:
    case dbLongBinary:
      return statement.BindBlob(index, value.Bytes().data(), value.Bytes().size());
    default:
      return statement.BindDouble(index, NumberOf(value));
  }
}

Variant ReadStored(const Statement& statement, int col, int16_t type) {
  using engine::Kind;
  const engine::ValueView value = statement.Value(col);
  const Kind storage = value.kind;
  if (storage == Kind::kNull) return Variant::Null();
  auto text = [&] { return statement.Text(col); };
  auto bytes = [&] {
    const auto* p = reinterpret_cast<const uint8_t*>(value.bytes.data());
    return std::vector<uint8_t>(p, p + value.bytes.size());
  };
  const bool numeric = storage == Kind::kInt || storage == Kind::kDouble;
  const int64_t i = storage == Kind::kInt ? value.i : static_cast<int64_t>(value.d);
  const double d = storage == Kind::kInt ? static_cast<double>(value.i) : value.d;
  if (type == kNaturalType) {  // a computed column: the value's own storage class decides
    if (storage == Kind::kInt && i >= INT32_MIN && i <= INT32_MAX) {
      return Variant(static_cast<int32_t>(i));
    }
    if (numeric) return Variant(d);
    if (storage == Kind::kBytes) return Variant(bytes());
    return Variant(text());
  }
  switch (type) {
    case dbText:
    case dbMemo:
      return Variant(storage == Kind::kBytes ? BytesToString(bytes()) : text());
    case dbBinary:
    case dbLongBinary:
      return Variant(bytes());
    default:
      break;
  }
  if (!numeric) return Variant(text());  // a value that SQL put in a numeric column as text
  switch (type) {
    case dbBoolean:
      return Variant(i != 0);
    case dbByte:
      return Variant(static_cast<uint8_t>(i));
    case dbInteger:
      return Variant(static_cast<int16_t>(i));
    case dbLong:
      return Variant(static_cast<int32_t>(i));
    case dbCurrency:
      return Variant(Currency{std::llround(d * 10000.0)});
    case dbSingle:
      return Variant(static_cast<float>(d));
    case dbDate:
      return Variant::FromDate(d);
    default:
      return Variant(d);
  }
}

std::vector<uint8_t> ChunkBytes(const Variant& data) {
  if (data.Type() == (vbArray | vbByte)) return data.Bytes();
  if (data.IsNull() || data.IsEmpty()) return {};
  if (data.Type() == vbString) {
    const String& s = data.StringValue();
    std::vector<uint8_t> out(s.size());
    for (size_t i = 0; i < s.size(); ++i) out[i] = static_cast<uint8_t>(s[i] & 0xff);
    return out;
  }
  RaiseDao(kDaoConversion);
}

}  // namespace kiv::dao::detail
