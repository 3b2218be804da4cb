#include "platform/vb_convert.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string>

#include "frame/error.h"
#include "platform/date.h"
#include "platform/locale.h"
#include "platform/rt_errors.h"
#include "platform/text_compare.h"

namespace kiv {
namespace {

String Ascii(const std::string& s) { return String(s.begin(), s.end()); }

double NumberOf(const Variant& v) {
  switch (v.Type()) {
    case vbEmpty:
      return 0;
    case vbNull:
      Raise(kErrInvalidUseOfNull);
    case vbBoolean:
      return v.BoolValue() ? -1 : 0;
    case vbByte:
    case vbInteger:
    case vbLong:
      return static_cast<double>(v.IntValue());
    case vbSingle:
    case vbDouble:
    case vbDate:
      return v.DoubleValue();
    case vbCurrency:
      return static_cast<double>(v.IntValue()) / 10000.0;
    case vbString: {
      double d;
      if (ParseNumber(v.StringValue(), d)) return d;
      if (TextEquals(Trim(v.StringValue()), u"True")) return -1;
      if (TextEquals(Trim(v.StringValue()), u"False")) return 0;
      Date date;
      if (ParseDate(v.StringValue(), date)) return date;
      Raise(kErrTypeMismatch);
    }
    default:
      Raise(kErrTypeMismatch);
  }
}

double InRange(double d, double lo, double hi) {
  if (std::isnan(d) || d < lo || d > hi) Raise(kErrOverflow);
  return d;
}

}  // namespace

double RoundHalfEven(double value) { return std::nearbyint(value); }

bool ParseNumber(StringView text, double& out) {
  String t = Trim(text);
  if (t.empty()) return false;
  if (t.size() > 2 && t[0] == u'&' &&
      (t[1] == u'H' || t[1] == u'h' || t[1] == u'O' || t[1] == u'o')) {
    int base = (t[1] == u'H' || t[1] == u'h') ? 16 : 8;
    int64_t v = 0;
    for (size_t i = 2; i < t.size(); ++i) {
      int digit = -1;
      char16_t c = t[i];
      if (c >= u'0' && c <= u'9')
        digit = c - u'0';
      else if (c >= u'a' && c <= u'f')
        digit = c - u'a' + 10;
      else if (c >= u'A' && c <= u'F')
        digit = c - u'A' + 10;
      if (digit < 0 || digit >= base || v > 0xFFFFFFFFLL) return false;
      v = v * base + digit;
    }
    // &H literals are 16-bit up to FFFF and 32-bit above, signed as the run time reads them.
    if (v <= 0xFFFF)
      v = static_cast<int16_t>(static_cast<uint16_t>(v));
    else if (v <= 0xFFFFFFFFLL)
      v = static_cast<int32_t>(static_cast<uint32_t>(v));
    out = static_cast<double>(v);
    return true;
  }
  const LocaleRule& loc = CurrentLocale();
  std::string c;  // canonical form for strtod
  size_t i = 0;
  if (t[i] == u'+' || t[i] == u'-') c.push_back(static_cast<char>(t[i++]));
  bool digits = false, point = false;
  for (; i < t.size(); ++i) {
    char16_t ch = t[i];
    if (ch >= u'0' && ch <= u'9') {
      c.push_back(static_cast<char>(ch));
      digits = true;
    } else if (ch == loc.decimal && !point) {
      c.push_back('.');
      point = true;
    } else if (ch == loc.thousands && !point && digits) {
      continue;
    } else {
      break;
    }
  }
  if (!digits) return false;
  if (i < t.size() && (t[i] == u'E' || t[i] == u'e' || t[i] == u'D' || t[i] == u'd')) {
    c.push_back('e');
    ++i;
    if (i < t.size() && (t[i] == u'+' || t[i] == u'-')) c.push_back(static_cast<char>(t[i++]));
    bool exp_digits = false;
    while (i < t.size() && t[i] >= u'0' && t[i] <= u'9') {
      c.push_back(static_cast<char>(t[i++]));
      exp_digits = true;
    }
    if (!exp_digits) return false;
  }
  if (i != t.size()) return false;
  out = std::strtod(c.c_str(), nullptr);
  return std::isfinite(out);
}

bool IsNumericText(StringView text) {
  double d;
  return ParseNumber(text, d);
}

String FormatNumber(double value, int digits) {
  if (value == 0) return u"0";
  char buf[64];
  std::snprintf(buf, sizeof buf, "%.*G", digits, value);
  std::string s = buf;
  // Drop the zero padding of the exponent beyond two digits ("1E+020" never appears here, but
  // "%G" writes "1E-05" as the run time does).
  size_t e = s.find('E');
  std::string mant = e == std::string::npos ? s : s.substr(0, e);
  std::string exp = e == std::string::npos ? "" : s.substr(e);
  if (mant.find('.') != std::string::npos) {
    while (!mant.empty() && mant.back() == '0') mant.pop_back();
    if (!mant.empty() && mant.back() == '.') mant.pop_back();
  }
  String out = Ascii(mant + exp);
  for (char16_t& ch : out) {
    if (ch == u'.') ch = CurrentLocale().decimal;
  }
  return out;
}

String FormatCurrency(Currency value) {
  int64_t v = value.scaled;
  bool neg = v < 0;
  uint64_t mag = neg ? 0 - static_cast<uint64_t>(v) : static_cast<uint64_t>(v);
  std::string s = std::to_string(mag / 10000);
  uint64_t frac = mag % 10000;
  if (frac) {
    char buf[8];
    std::snprintf(buf, sizeof buf, "%04llu", static_cast<unsigned long long>(frac));
    std::string f = buf;
    while (f.back() == '0') f.pop_back();
    s += '.';
    s += f;
  }
  if (neg) s.insert(s.begin(), '-');
  String out = Ascii(s);
  for (char16_t& ch : out) {
    if (ch == u'.') ch = CurrentLocale().decimal;
  }
  return out;
}

String IntText(int64_t value) {
  char16_t buf[24];
  char16_t* end = buf + 24;
  char16_t* p = end;
  uint64_t v = value < 0 ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
  do {
    *--p = static_cast<char16_t>(u'0' + v % 10);
    v /= 10;
  } while (v != 0);
  if (value < 0) *--p = u'-';
  return String(p, end);
}

bool CBool(const Variant& v) {
  if (v.Type() == vbBoolean) return v.BoolValue();
  if (v.Type() == vbString) {
    String t = Trim(v.StringValue());
    if (TextEquals(t, u"True")) return true;
    if (TextEquals(t, u"False")) return false;
    double d;
    if (!ParseNumber(t, d)) Raise(kErrTypeMismatch);
    return d != 0;
  }
  return NumberOf(v) != 0;
}

uint8_t CByte(const Variant& v) {
  return static_cast<uint8_t>(InRange(RoundHalfEven(NumberOf(v)), 0, 255));
}

int16_t CInt(const Variant& v) {
  return static_cast<int16_t>(InRange(RoundHalfEven(NumberOf(v)), -32768, 32767));
}

int32_t CLng(const Variant& v) {
  return static_cast<int32_t>(InRange(RoundHalfEven(NumberOf(v)), -2147483648.0, 2147483647.0));
}

float CSng(const Variant& v) {
  double d = NumberOf(v);
  InRange(std::fabs(d), 0, std::numeric_limits<float>::max());
  return static_cast<float>(d);
}

double CDbl(const Variant& v) {
  if (v.Type() == vbCurrency) return static_cast<double>(v.IntValue()) / 10000.0;
  return NumberOf(v);
}

Currency CCur(const Variant& v) {
  if (v.Type() == vbCurrency) return Currency{v.IntValue()};
  double scaled = RoundHalfEven(NumberOf(v) * 10000.0);
  InRange(scaled, -9.223372036854775808e18, 9.223372036854775e18);
  return Currency{static_cast<int64_t>(scaled)};
}

std::optional<int32_t> PlainDecimal(StringView text, size_t max_digits) {
  const size_t sign = !text.empty() && text[0] == u'-' ? 1 : 0;
  const size_t digits = text.size() - sign;
  if (digits == 0 || digits > max_digits || digits > 9) return std::nullopt;
  int32_t value = 0;
  for (size_t i = sign; i < text.size(); ++i) {
    if (text[i] < u'0' || text[i] > u'9') return std::nullopt;
    value = value * 10 + (text[i] - u'0');
  }
  return sign ? -value : value;
}

Date CDate(const Variant& v) {
  if (v.Type() == vbDate) return v.DoubleValue();
  if (v.Type() == vbString) {
    Date d;
    if (ParseDate(v.StringValue(), d)) return d;
    double n;
    if (ParseNumber(v.StringValue(), n)) return InRange(n, kMinDate, kMaxDate);
    Raise(kErrTypeMismatch);
  }
  if (v.Type() == vbNull) Raise(kErrInvalidUseOfNull);
  double n = NumberOf(v);
  if (n < kMinDate || n > kMaxDate) Raise(kErrOverflow);
  return n;
}

String CStr(const Variant& v) {
  switch (v.Type()) {
    case vbEmpty:
      return String();
    case vbNull:
      Raise(kErrInvalidUseOfNull);
    case vbBoolean:
      return v.BoolValue() ? u"True" : u"False";
    case vbByte:
    case vbInteger:
    case vbLong:
      return IntText(v.IntValue());
    case vbSingle:
      return FormatNumber(v.DoubleValue(), 7);
    case vbDouble:
      return FormatNumber(v.DoubleValue(), 15);
    case vbCurrency:
      return FormatCurrency(Currency{v.IntValue()});
    case vbDate:
      return GeneralDate(v.DoubleValue());
    case vbString:
      return v.StringValue();
    case vbError:
      return u"Error " + IntText(v.IntValue());
    default:
      Raise(kErrTypeMismatch);
  }
}

}  // namespace kiv
