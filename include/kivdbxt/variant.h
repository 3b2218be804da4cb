// The automation variant.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "kivdbxt/export.h"
#include "kivdbxt/types.h"

namespace kiv {

// The run time's VarType values.
enum VarType : int16_t {
  vbEmpty = 0,
  vbNull = 1,
  vbInteger = 2,
  vbLong = 3,
  vbSingle = 4,
  vbDouble = 5,
  vbCurrency = 6,
  vbDate = 7,
  vbString = 8,
  vbObject = 9,
  vbError = 10,
  vbBoolean = 11,
  vbVariant = 12,
  vbByte = 17,
  vbArray = 8192,
};

// Currency: a 64-bit integer scaled by 10,000.
struct KIV_API Currency {
  int64_t scaled = 0;
  friend bool operator==(Currency, Currency) = default;
};

class KIV_API Variant {
 public:
  Variant() = default;  // Empty
  Variant(bool v);
  Variant(uint8_t v);
  Variant(int16_t v);
  Variant(int32_t v);
  Variant(float v);
  Variant(double v);
  Variant(Currency v);
  Variant(const char16_t* v);
  Variant(String v);
  Variant(std::shared_ptr<Object> v);
  Variant(std::vector<uint8_t> bytes);
  Variant(std::vector<Variant> items);

  static Variant Null();
  static Variant Missing();  // an optional argument that was not passed
  static Variant FromDate(Date d);
  static Variant Error(int32_t code);

  // VarType: vbArray | vbByte for a byte array, vbArray | vbVariant for a variant array.
  int16_t Type() const { return type_; }
  bool IsEmpty() const { return type_ == vbEmpty; }
  bool IsNull() const { return type_ == vbNull; }
  bool IsMissing() const { return type_ == vbError && missing_; }
  bool IsArray() const { return (type_ & vbArray) != 0; }
  bool IsNumeric() const;  // the run time's IsNumeric, honouring the locale rule
  bool IsDate() const;     // the run time's IsDate

  // Stored values, unconverted; valid for the matching type.
  bool BoolValue() const { return num_.i != 0; }
  int64_t IntValue() const { return num_.i; }
  double DoubleValue() const { return num_.d; }
  const String& StringValue() const { return str_; }
  const std::shared_ptr<Object>& ObjectValue() const { return obj_; }
  const std::vector<uint8_t>& Bytes() const { return bytes_; }
  const std::vector<Variant>& Items() const { return items_; }

  // Conversions with the run time's rules (CBool, CByte, CInt, CLng, CSng, CDbl, CCur, CDate,
  // CStr). They never throw: a conversion that fails gives nullopt.
  std::optional<bool> ToBool() const;
  std::optional<uint8_t> ToByte() const;
  std::optional<int16_t> ToInteger() const;
  std::optional<int32_t> ToLong() const;
  std::optional<float> ToSingle() const;
  std::optional<double> ToDouble() const;
  std::optional<Currency> ToCurrency() const;
  std::optional<Date> ToDate() const;
  std::optional<String> ToString() const;

  // Identity of type and value (not the run time's loose comparison).
  friend KIV_API bool operator==(const Variant& a, const Variant& b);

 private:
  int16_t type_ = vbEmpty;
  bool missing_ = false;
  union {
    int64_t i;
    double d;
  } num_{0};
  String str_;
  std::shared_ptr<Object> obj_;
  std::vector<uint8_t> bytes_;
  std::vector<Variant> items_;
};

}  // namespace kiv
