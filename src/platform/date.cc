#include "platform/date.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <optional>
#include <vector>

#include "frame/error.h"
#include "platform/locale.h"
#include "platform/rt_errors.h"

namespace kiv {
namespace {

// Days from 1970-01-01 to a civil date (proleptic Gregorian). Years repeat every 400 years
// (146097 days), which keeps any int year within the range std::chrono::year holds.
int64_t DaysFromCivil(int64_t y, int m, int d) {
  const int64_t era = (y >= 0 ? y : y - 399) / 400;
  const std::chrono::year_month_day ymd{std::chrono::year{static_cast<int>(y - era * 400)},
                                        std::chrono::month{static_cast<unsigned>(m)},
                                        std::chrono::day{static_cast<unsigned>(d)}};
  return std::chrono::sys_days{ymd}.time_since_epoch().count() + era * 146097;
}

void CivilFromDays(int64_t z, int& y, int& m, int& d) {
  const std::chrono::year_month_day ymd{std::chrono::sys_days{std::chrono::days{z}}};
  y = static_cast<int>(ymd.year());
  m = static_cast<int>(static_cast<unsigned>(ymd.month()));
  d = static_cast<int>(static_cast<unsigned>(ymd.day()));
}

const int64_t kEpoch = DaysFromCivil(1899, 12, 30);

// Combines a day number and a time of day the OLE way: before day 0 the fraction still counts
// forwards from midnight, so it is subtracted.
Date Combine(int64_t day, double time) {
  return day >= 0 ? static_cast<double>(day) + time : static_cast<double>(day) - time;
}

bool IsLeap(int y) { return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0; }
int DaysInMonth(int y, int m) {
  static const int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return m == 2 && IsLeap(y) ? 29 : kDays[m - 1];
}

String Ascii(const char* s) {
  String out;
  while (*s) out.push_back(static_cast<char16_t>(*s++));
  return out;
}

// ---- parsing ----

struct Token {
  enum Kind { Number, Word, Sep };
  explicit Token(Kind k, char16_t s = 0) : kind(k), sep(s) {}
  Kind kind;
  int value = 0;
  int digits = 0;
  char16_t sep = 0;
  String word;
};

std::optional<std::vector<Token>> Tokenize(StringView text) {
  std::vector<Token> out;
  out.reserve(16);  // a date and a time with AM/PM: no growing on the way
  size_t i = 0;
  while (i < text.size()) {
    char16_t c = text[i];
    if (c >= u'0' && c <= u'9') {
      Token t(Token::Number);
      while (i < text.size() && text[i] >= u'0' && text[i] <= u'9') {
        if (t.digits > 6) return std::nullopt;
        t.value = t.value * 10 + (text[i] - u'0');
        ++t.digits;
        ++i;
      }
      out.push_back(t);
    } else if ((c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z')) {
      Token t(Token::Word);
      while (i < text.size() &&
             ((text[i] >= u'a' && text[i] <= u'z') || (text[i] >= u'A' && text[i] <= u'Z'))) {
        t.word.push_back(text[i] >= u'a' ? text[i] - 32 : text[i]);
        ++i;
      }
      out.push_back(t);
    } else if (c == u' ' || c == u'\t') {
      ++i;
      if (!out.empty() && out.back().kind != Token::Sep) out.push_back(Token(Token::Sep, u' '));
    } else if (c == u'/' || c == u'-' || c == u'.' || c == u':' || c == u'T') {
      out.push_back(Token(Token::Sep, c));
      ++i;
    } else {
      return std::nullopt;
    }
  }
  while (!out.empty() && out.back().kind == Token::Sep && out.back().sep == u' ') out.pop_back();
  return out;
}

int ExpandYear(const Token& t) {
  if (t.digits <= 2) return t.value < 30 ? 2000 + t.value : 1900 + t.value;
  return t.value;
}

bool ValidDay(int y, int m, int d) {
  return y >= 100 && y <= 9999 && m >= 1 && m <= 12 && d >= 1 && d <= DaysInMonth(y, m);
}

// Parses "h:mm[:ss] [AM|PM]" from tokens[i..]; true and the time when it is exactly that.
bool ParseTime(const std::vector<Token>& t, size_t i, double& time) {
  int part[3] = {0, 0, 0};
  int n = 0;
  while (i < t.size() && t[i].kind == Token::Number && n < 3) {
    part[n++] = t[i].value;
    ++i;
    if (i < t.size() && t[i].kind == Token::Sep && t[i].sep == u':') {
      ++i;
      continue;
    }
    break;
  }
  if (n < 2) return false;
  if (i < t.size() && t[i].kind == Token::Sep && t[i].sep == u' ') ++i;
  if (i < t.size() && t[i].kind == Token::Word) {
    bool pm = t[i].word == u"PM";
    if (!pm && t[i].word != u"AM") return false;
    if (part[0] < 1 || part[0] > 12) return false;
    part[0] = part[0] % 12 + (pm ? 12 : 0);
    ++i;
  }
  if (i != t.size()) return false;
  if (part[0] > 23 || part[1] > 59 || part[2] > 59) return false;
  time = (part[0] * 3600 + part[1] * 60 + part[2]) / 86400.0;
  return true;
}

}  // namespace

Date MakeDate(const DateParts& p) {
  int64_t months = static_cast<int64_t>(p.year) * 12 + (p.month - 1);
  int64_t y = months >= 0 ? months / 12 : (months - 11) / 12;
  int m = static_cast<int>(months - y * 12) + 1;
  int64_t day = DaysFromCivil(y, m, 1) + (p.day - 1) - kEpoch;
  int64_t secs = static_cast<int64_t>(p.hour) * 3600 + p.minute * 60 + p.second;
  int64_t extra_days = secs >= 0 ? secs / 86400 : (secs - 86399) / 86400;
  day += extra_days;
  secs -= extra_days * 86400;
  Date d = Combine(day, secs / 86400.0);
  if (d < kMinDate || d > kMaxDate) Raise(kErrInvalidCall);
  return d;
}

Date DateSerial(int year, int month, int day) { return MakeDate(DateParts{year, month, day}); }

int64_t DayNumber(Date date) { return static_cast<int64_t>(std::trunc(date)); }

double TimeOfDay(Date date) { return std::fabs(date - std::trunc(date)); }

Date DateOnly(Date date) { return static_cast<double>(DayNumber(date)); }

int64_t DateDiffDays(Date from, Date to) { return DayNumber(to) - DayNumber(from); }

DateParts SplitDate(Date date) {
  int64_t day = DayNumber(date);
  int64_t secs = std::llround(TimeOfDay(date) * 86400.0);
  if (secs >= 86400) {
    secs -= 86400;
    day += 1;
  }
  DateParts p;
  CivilFromDays(day + kEpoch, p.year, p.month, p.day);
  p.hour = static_cast<int>(secs / 3600);
  p.minute = static_cast<int>(secs / 60 % 60);
  p.second = static_cast<int>(secs % 60);
  return p;
}

namespace {

// Appends a number of at least `width` digits (zero-filled).
void AppendDigits(String& out, int value, int width) {
  char16_t digits[12];
  int n = 0;
  unsigned v = static_cast<unsigned>(value < 0 ? -value : value);
  do {
    digits[n++] = static_cast<char16_t>(u'0' + v % 10);
    v /= 10;
  } while (v != 0);
  if (value < 0) out.push_back(u'-');
  for (int i = n; i < width; ++i) out.push_back(u'0');
  while (n > 0) out.push_back(digits[--n]);
}

void AppendDatePart(String& out, const DateParts& p) {
  // Three fields and their separator, in the locale's order, with their widths.
  auto fields = [&](int a, int wa, int b, int wb, int c, int wc, char16_t sep) {
    AppendDigits(out, a, wa);
    out.push_back(sep);
    AppendDigits(out, b, wb);
    out.push_back(sep);
    AppendDigits(out, c, wc);
  };
  switch (CurrentLocale().kind) {
    case LocaleKind::Italian:
      fields(p.day, 2, p.month, 2, p.year, 4, u'/');
      break;
    case LocaleKind::English:
      fields(p.month, 1, p.day, 1, p.year, 4, u'/');
      break;
    case LocaleKind::Iso:
      fields(p.year, 4, p.month, 2, p.day, 2, u'-');
      break;
  }
}

void AppendTimePart(String& out, const DateParts& p) {
  const bool english = CurrentLocale().kind == LocaleKind::English;
  AppendDigits(out, english ? (p.hour % 12 == 0 ? 12 : p.hour % 12) : p.hour, english ? 1 : 2);
  out.push_back(u':');
  AppendDigits(out, p.minute, 2);
  out.push_back(u':');
  AppendDigits(out, p.second, 2);
  if (english) out += p.hour < 12 ? u" AM" : u" PM";
}

}  // namespace

// Written digit by digit: every event saved to a daily log formats its date.
String GeneralDate(Date date) {
  DateParts p = SplitDate(date);
  const bool has_time = p.hour || p.minute || p.second;
  String out;
  out.reserve(24);
  AppendDatePart(out, p);
  if (has_time) {
    out.push_back(u' ');
    AppendTimePart(out, p);
  }
  return out;
}

bool ParseDate(StringView text, Date& out) {
  auto tokens = Tokenize(text);
  if (!tokens || tokens->empty()) return false;
  const std::vector<Token>& t = *tokens;
  double time = 0;
  // A time alone.
  if (t.size() >= 3 && t[1].kind == Token::Sep && t[1].sep == u':') {
    if (!ParseTime(t, 0, time)) return false;
    out = time;
    return true;
  }
  // A date: three numbers joined by one kind of separator.
  if (t.size() < 5 || t[0].kind != Token::Number || t[1].kind != Token::Sep ||
      t[2].kind != Token::Number || t[3].kind != Token::Sep || t[4].kind != Token::Number ||
      t[1].sep != t[3].sep || t[1].sep == u':' || t[1].sep == u' ' || t[1].sep == u'T') {
    return false;
  }
  int y, m, d;
  if (t[0].digits == 4) {  // ISO order in any locale
    y = t[0].value;
    m = t[2].value;
    d = t[4].value;
  } else if (CurrentLocale().kind == LocaleKind::English) {
    m = t[0].value;
    d = t[2].value;
    y = ExpandYear(t[4]);
  } else if (CurrentLocale().kind == LocaleKind::Italian) {
    d = t[0].value;
    m = t[2].value;
    y = ExpandYear(t[4]);
  } else {
    return false;
  }
  if (!ValidDay(y, m, d)) return false;
  if (t.size() > 5) {
    if (t[5].kind != Token::Sep || (t[5].sep != u' ' && t[5].sep != u'T')) return false;
    if (!ParseTime(t, 6, time)) return false;
  }
  int64_t day = DaysFromCivil(y, m, d) - kEpoch;
  out = Combine(day, time);
  return true;
}

String FormatYYYYMMDD(Date date) {
  DateParts p = SplitDate(date);
  char buf[16];
  std::snprintf(buf, sizeof buf, "%04d%02d%02d", p.year, p.month, p.day);
  return Ascii(buf);
}

String FormatIsoDateTime(Date date) {
  DateParts p = SplitDate(date);
  char buf[32];
  std::snprintf(buf, sizeof buf, "%04d-%02d-%02d %02d:%02d:%02d", p.year, p.month, p.day, p.hour,
                p.minute, p.second);
  return Ascii(buf);
}

}  // namespace kiv
