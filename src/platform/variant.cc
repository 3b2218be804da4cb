#include "kivdbxt/variant.h"

#include "frame/error.h"
#include "platform/date.h"
#include "platform/vb_convert.h"

namespace kiv {
namespace {

// The code the run time gives a missing optional argument (DISP_E_PARAMNOTFOUND).
constexpr int32_t kParamNotFound = static_cast<int32_t>(0x80020004u);

template <class T, class F>
std::optional<T> Try(F&& convert) {
  try {
    return convert();
  } catch (...) {
    return std::nullopt;
  }
}

}  // namespace

Variant::Variant(bool v) : type_(vbBoolean) { num_.i = v ? -1 : 0; }
Variant::Variant(uint8_t v) : type_(vbByte) { num_.i = v; }
Variant::Variant(int16_t v) : type_(vbInteger) { num_.i = v; }
Variant::Variant(int32_t v) : type_(vbLong) { num_.i = v; }
Variant::Variant(float v) : type_(vbSingle) { num_.d = v; }
Variant::Variant(double v) : type_(vbDouble) { num_.d = v; }
Variant::Variant(Currency v) : type_(vbCurrency) { num_.i = v.scaled; }
Variant::Variant(const char16_t* v) : type_(vbString), str_(v ? v : u"") {}
Variant::Variant(String v) : type_(vbString), str_(std::move(v)) {}
Variant::Variant(std::shared_ptr<Object> v) : type_(vbObject), obj_(std::move(v)) {}
Variant::Variant(std::vector<uint8_t> bytes) : type_(vbArray | vbByte), bytes_(std::move(bytes)) {}
Variant::Variant(std::vector<Variant> items)
    : type_(vbArray | vbVariant), items_(std::move(items)) {}

Variant Variant::Null() {
  Variant v;
  v.type_ = vbNull;
  return v;
}

Variant Variant::Missing() {
  Variant v = Error(kParamNotFound);
  v.missing_ = true;
  return v;
}

Variant Variant::FromDate(Date d) {
  Variant v(d);
  v.type_ = vbDate;
  return v;
}

Variant Variant::Error(int32_t code) {
  Variant v;
  v.type_ = vbError;
  v.num_.i = code;
  return v;
}

bool Variant::IsNumeric() const {
  switch (type_) {
    case vbEmpty:
    case vbBoolean:
    case vbByte:
    case vbInteger:
    case vbLong:
    case vbSingle:
    case vbDouble:
    case vbCurrency:
      return true;
    case vbString:
      return IsNumericText(str_);
    default:
      return false;
  }
}

bool Variant::IsDate() const {
  if (type_ == vbDate) return true;
  Date d;
  return type_ == vbString && ParseDate(str_, d);
}

std::optional<bool> Variant::ToBool() const {
  return Try<bool>([&] { return CBool(*this); });
}
std::optional<uint8_t> Variant::ToByte() const {
  return Try<uint8_t>([&] { return CByte(*this); });
}
std::optional<int16_t> Variant::ToInteger() const {
  return Try<int16_t>([&] { return CInt(*this); });
}
std::optional<int32_t> Variant::ToLong() const {
  return Try<int32_t>([&] { return CLng(*this); });
}
std::optional<float> Variant::ToSingle() const {
  return Try<float>([&] { return CSng(*this); });
}
std::optional<double> Variant::ToDouble() const {
  return Try<double>([&] { return CDbl(*this); });
}
std::optional<Currency> Variant::ToCurrency() const {
  return Try<Currency>([&] { return CCur(*this); });
}
std::optional<Date> Variant::ToDate() const {
  return Try<Date>([&] { return CDate(*this); });
}
std::optional<String> Variant::ToString() const {
  return Try<String>([&] { return CStr(*this); });
}

bool operator==(const Variant& a, const Variant& b) {
  if (a.type_ != b.type_ || a.missing_ != b.missing_) return false;
  switch (a.type_) {
    case vbEmpty:
    case vbNull:
      return true;
    case vbSingle:
    case vbDouble:
    case vbDate:
      return a.num_.d == b.num_.d;
    case vbString:
      return a.str_ == b.str_;
    case vbObject:
      return a.obj_ == b.obj_;
    case vbArray | vbByte:
      return a.bytes_ == b.bytes_;
    case vbArray | vbVariant:
      return a.items_ == b.items_;
    default:
      return a.num_.i == b.num_.i;
  }
}

}  // namespace kiv
