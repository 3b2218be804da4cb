// OLE dates: calendar fields, day differences, and the date texts of the locale rule.
#pragma once

#include <cstdint>

#include "frame/internal_api.h"
#include "kivdbxt/types.h"

namespace kiv {

struct DateParts {
  int year = 1899, month = 12, day = 30;
  int hour = 0, minute = 0, second = 0;
};

// Dates the run time accepts: years 100 to 9999.
inline constexpr Date kMinDate = -657434.0;
inline constexpr Date kMaxDate = 2958465.99998843;

// The date of the fields. Months and days out of range roll over as DateSerial does; a result
// outside years 100..9999 raises error 5.
Date MakeDate(const DateParts& parts);
Date DateSerial(int year, int month, int day);
// The fields of a date, rounded to the nearest second.
KIV_INTERNAL_API DateParts SplitDate(Date date);
// The day of a date (its integer part) and its time of day (0 <= t < 1).
KIV_INTERNAL_API int64_t DayNumber(Date date);
double TimeOfDay(Date date);
// The date part only (midnight).
KIV_INTERNAL_API Date DateOnly(Date date);
// DateDiff("d", from, to): whole calendar days from the day of `from` to the day of `to`.
int64_t DateDiffDays(Date from, Date to);

// The general date text of the locale rule: short date, a space, long time; only the date when
// the time part is zero.
KIV_INTERNAL_API String GeneralDate(Date date);
// Parses the text of the locale rule, or ISO "yyyy-mm-dd[ hh:mm[:ss]]" in any locale, or a time
// alone. False when the text is not a date.
KIV_INTERNAL_API bool ParseDate(StringView text, Date& out);
// "YYYYMMDD".
String FormatYYYYMMDD(Date date);
// "YYYY-MM-DD hh:mm:ss".
KIV_INTERNAL_API String FormatIsoDateTime(Date date);

}  // namespace kiv
