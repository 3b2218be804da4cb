// Names of the daily logs: the default folder, the base name of a day's log, the day in a name.
#include "dailylog/log_files.h"
#include "frame/error.h"
#include "frame/guard.h"
#include "kivdbxt/kiv_log.h"
#include "platform/clock.h"
#include "platform/date.h"
#include "platform/fs.h"
#include "platform/rt_errors.h"
#include "platform/system.h"
#include "platform/vb_convert.h"

namespace kiv {
namespace {

StringView Left(StringView s, size_t n) { return s.substr(0, std::min(n, s.size())); }
StringView Mid(StringView s, size_t start1, size_t n) {
  return start1 - 1 < s.size() ? s.substr(start1 - 1, n) : StringView();
}
StringView Right(StringView s, size_t n) { return s.substr(s.size() - std::min(n, s.size())); }

// A field of a day: plain digits directly (every write checks its day), anything else as the run
// time's CInt converts it.
int DayField(StringView text) {
  if (auto value = PlainDecimal(text, 4)) return *value;
  return CInt(Variant(String(text)));
}

Date DateFromFields(StringView year, StringView month, StringView day) {
  auto field = DayField;
  return DateSerial(field(year), field(month), field(day));
}

}  // namespace

Date CompactDayDate(StringView day) {
  return DateFromFields(Left(day, 4), Mid(day, 5, 2), Right(day, 2));
}

String DefaultLogFolder() {
  String root;
  if (!ProgramFilesFolder(root)) {
    // A missing value is not the caller's failure: forget it and build on an empty root.
    ClearLastError();
    root.clear();
  }
  if (root.empty() || root.back() != kPathSeparator) root.push_back(kPathSeparator);
  return root + u"Q&V" + kPathSeparator + u"Log";
}

String MakeLogFileName(const String& app_id, String& path, Date when) {
  if (path.empty()) path = DefaultLogFolder();
  PrepareFolder(path);
  return LogBaseName(path, app_id, when);
}

String LogBaseName(const String& folder, const String& app_id, Date when) {
  String base = folder;
  if (base.empty() || base.back() != kPathSeparator) base.push_back(kPathSeparator);
  return base + app_id + u"_" + FormatYYYYMMDD(when == 0 ? Now() : when);
}

String LogDay(const String& file_name) {
  size_t sep = file_name.rfind(kPathSeparator);
  if (sep == String::npos) return String();
  StringView name = StringView(file_name).substr(sep + 1);
  size_t underscore = name.find(u'_');
  if (underscore == StringView::npos) return String();
  StringView day = name.substr(underscore + 1);
  String out(Left(day, 4));
  out += u'-';
  out += Mid(day, 5, 2);
  out += u'-';
  out += Right(day, 2);
  return out;
}

Date LogDayDate(const String& file_name) {
  String day = LogDay(file_name);
  StringView d(day);
  return DateFromFields(Left(d, 4), Mid(d, 6, 2), Right(d, 2));
}

String LogKey(int32_t id) { return IntText(id); }

String KivLog::LogDefaultPath() const {
  return Guard(u"KivLog.LogDefaultPath", String(), [] { return DefaultLogFolder(); });
}

String KivLog::LogFileName(const String& AppId, const String& Path, Date CurrDate) {
  String folder = Path;
  return LogFileName(AppId, folder, CurrDate);
}

String KivLog::LogFileName(const String& AppId, String& Path, Date CurrDate) {
  return Guard(u"KivLog.LogFileName", String(),
               [&] { return MakeLogFileName(AppId, Path, CurrDate); });
}

}  // namespace kiv
