// The run time's conversions (CBool, CByte, CInt, CLng, CSng, CDbl, CCur, CDate, CStr) and the
// number texts of the locale rule. They raise the run time's errors: 13 for a value that does not
// convert, 6 for one out of range, 94 for Null.
#pragma once

#include <cstdint>
#include <optional>

#include "kivdbxt/variant.h"

namespace kiv {

bool CBool(const Variant& v);
uint8_t CByte(const Variant& v);
int16_t CInt(const Variant& v);
int32_t CLng(const Variant& v);
float CSng(const Variant& v);
double CDbl(const Variant& v);
Currency CCur(const Variant& v);
Date CDate(const Variant& v);
String CStr(const Variant& v);

// A text of plain decimal digits, with an optional leading "-", of at most `max_digits` digits
// (9 at the most): its value, which is what CInt and CLng give for it. Nothing for any other
// text, which the full conversion must then take. For the many numbers files hold.
std::optional<int32_t> PlainDecimal(StringView text, size_t max_digits = 9);

// Rounds half to even, as CInt and CLng do.
double RoundHalfEven(double value);
// Parses a number written with the locale rule (sign, thousands separators, decimal separator,
// exponent, &H and &O forms, spaces around). False when the text is not a number.
bool ParseNumber(StringView text, double& out);
bool IsNumericText(StringView text);
// A number as CStr writes it: up to `digits` significant digits, the locale's decimal separator.
String FormatNumber(double value, int digits = 15);
String FormatCurrency(Currency value);
// Decimal text of an integer.
String IntText(int64_t value);

}  // namespace kiv
