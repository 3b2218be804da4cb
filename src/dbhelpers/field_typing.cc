// Field typing, validation and conversion: sizes and alignment of DAO types, type checks of
// text, SQL arguments, and values read from and written to fields.
#include "dbhelpers/module_support.h"
#include "kivdbxt/constants.h"
#include "kivdbxt/qv_db_xt_mod.h"
#include "platform/date.h"
#include "platform/text_compare.h"
#include "platform/vb_convert.h"

namespace kiv::QvDbXtMod {
namespace {

constexpr int16_t kAlignLeft = 3;
constexpr int16_t kAlignRight = 4;

bool IsNumericType(int16_t type) { return type >= dao::dbInteger && type <= dao::dbDouble; }

// Trimmed and upper-cased text of a validated value; Empty and Null count as empty.
String Normalised(const Variant& value) {
  if (value.IsEmpty() || value.IsNull()) return String();
  return FoldCase(Trim(CStr(value)));
}

// Whether a non-empty text holds a value of the type; a date is replaced by its date value.
bool MatchesType(Variant& value, int16_t type) {
  const String& text = value.StringValue();
  switch (type) {
    case dao::dbDate: {
      Date d = 0;
      if (!ParseDate(text, d)) return false;
      value = Variant::FromDate(d);
      return true;
    }
    case dao::dbBoolean:
      return value.ToBool().has_value();
    case dao::dbByte:
      return value.ToByte().has_value();
    default:
      return !IsNumericType(type) || IsNumericText(text);
  }
}

bool Differs(const Variant& value, const Variant& previous) {
  if (value.Type() == vbDate) {
    Date d = 0;
    return previous.Type() != vbString || !ParseDate(previous.StringValue(), d) ||
           d != value.DoubleValue();
  }
  return value.StringValue() != previous.StringValue();
}

bool IsTextField(const dao::Field& field) { return field.Type() == dao::dbText; }

}  // namespace

int16_t Field_Size(int16_t FType, int16_t FSize) {
  switch (FType) {
    case dao::dbBoolean:
    case dao::dbByte:
      return 1;
    case dao::dbInteger:
      return 2;
    case dao::dbLong:
    case dao::dbSingle:
      return 4;
    case dao::dbCurrency:
    case dao::dbDouble:
    case dao::dbDate:
      return 8;
    case dao::dbText:
      return FSize > 0 ? FSize : static_cast<int16_t>(DEFAULTTEXTLEN);
    default:
      return 0;
  }
}

int16_t Field_Lenght(int16_t FType, int16_t FSize) {
  switch (FType) {
    case dao::dbBoolean:
    case dao::dbByte:
      return 1;
    case dao::dbInteger:
      return 6;
    case dao::dbLong:
      return 11;
    case dao::dbCurrency:
    case dao::dbDouble:
      return 22;
    case dao::dbSingle:
      return 13;
    case dao::dbDate:
      return 10;
    case dao::dbText:
      return FSize;
    default:
      return 0;
  }
}

// A Byte field is aligned left on purpose, although it is numeric.
int16_t Field_Align(int16_t FType) { return IsNumericType(FType) ? kAlignRight : kAlignLeft; }

bool Type_StrCheck(const String& FieldVal, int16_t FldType) {
  const Variant v(FieldVal);
  switch (FldType) {
    case dao::dbBoolean:
      return v.ToBool().has_value();
    case dao::dbByte:
      return v.ToByte().has_value();
    case dao::dbInteger:
      return v.ToInteger().has_value();
    case dao::dbLong:
      return v.ToLong().has_value();
    case dao::dbCurrency:
      return v.ToCurrency().has_value();
    case dao::dbSingle:
      return v.ToSingle().has_value();
    case dao::dbDouble:
      return v.ToDouble().has_value();
    case dao::dbDate:
      return v.ToDate().has_value();
    default:
      return true;
  }
}

String Query_Argument(String fVal, int16_t FType) {
  if (FType == dao::dbText) {
    for (size_t k = fVal.find(u'\''); k != String::npos; k = fVal.find(u'\'', k + 2)) {
      fVal.insert(k + 1, 1, u'\'');
    }
    return u"'" + fVal + u"'";
  }
  if (FType == dao::dbDate) {
    // A text that is no date leaves the date part empty; nothing is recorded.
    String text = Quietly(String(), [&] { return FormatIsoDateTime(CDate(Variant(fVal))); });
    // The separators are forced whatever the date format produced.
    if (text.size() >= 19) {
      text[4] = text[7] = u'-';
      text[13] = text[16] = u':';
    }
    return u"CONVERT(DATETIME, '" + text + u"', 102)";
  }
  return fVal;
}

int16_t Field_Validate(Variant& FValue, Variant& PValue, int16_t FType, int16_t Mand,
                       int16_t Changed) {
  return Guard(u"QvDbXtMod.FieldValidate", int16_t{-1}, [&]() -> int16_t {
    FValue = Variant(Normalised(FValue));
    PValue = Variant(Normalised(PValue));
    if (FValue.StringValue().empty()) {
      if (Mand != 0) return 1;
    } else if (!MatchesType(FValue, FType)) {
      return -1;
    }
    if (Changed != 0 && Differs(FValue, PValue)) return 2;
    return 0;
  });
}

String Field_Convert(const String& SrcVal, int16_t /*SrcType*/, int16_t DstType) {
  Variant value(SrcVal);
  Variant previous{String()};
  if (Field_Validate(value, previous, DstType, 0, 0) != 0) return String();
  if (value.Type() == vbDate) return GeneralDate(value.DoubleValue());
  return value.StringValue();
}

Variant Field_Value(const FieldRef& Fld) {
  return Quietly(Variant(), [&] {
    dao::Field& field = Need(Fld);
    const Variant value = field.Value();
    if (!value.IsNull() && !value.IsEmpty()) return value;
    switch (field.Type()) {
      case dao::dbBoolean:
        return Variant(false);
      case dao::dbByte:
        return Variant(uint8_t{0});
      case dao::dbInteger:
        return Variant(int16_t{0});
      case dao::dbLong:
        return Variant(int32_t{0});
      case dao::dbCurrency:
        return Variant(Currency{0});
      case dao::dbSingle:
        return Variant(0.0f);
      case dao::dbDouble:
        return Variant(0.0);
      case dao::dbDate:
        return Variant::FromDate(0);
      default:
        return Variant(String());
    }
  });
}

bool Field_ValueSet(const FieldRef& Fld, const Variant& Value) {
  return Guard(u"QvDbXtMod.Field_ValueSet", true, [&] {
    dao::Field& field = Need(Fld);
    if (field.Type() == dao::dbLongBinary || field.Type() == dao::dbMemo) {
      return Str_2_Blob(Fld, Value.IsNull() || Value.IsEmpty() ? String() : CStr(Value));
    }
    field.Value(Value);
    return false;
  });
}

String Field_TruncStr(const FieldRef& Fld, const String& Value) {
  return Guard(u"QvDbXtMod.FieldTruncStr", String(), [&] {
    dao::Field& field = Need(Fld);
    if (!IsTextField(field)) return Value;
    return Value.substr(0, static_cast<size_t>(std::max(field.Size(), 0)));
  });
}

bool Field_StrAssign(const FieldRef& Fld, String Value) {
  return Guard(u"QvDbXtMod.FieldStrAssign", true, [&] {
    dao::Field& field = Need(Fld);
    if (IsTextField(field)) Value.resize(std::min(Value.size(), static_cast<size_t>(field.Size())));
    field.Value(Variant(Value));
    return false;
  });
}

}  // namespace kiv::QvDbXtMod
