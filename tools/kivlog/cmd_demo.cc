// kivlog demo: the README's main job, a short tour of the library on the default log folder.
#include <cstdio>

#include "commands.h"
#include "kivdbxt/class_table.h"
#include "kivdbxt/kiv_log.h"
#include "kivdbxt/kiv_log_event.h"
#include "kivdbxt/kiv_log_file.h"
#include "output.h"
#include "platform/date.h"
#include "platform/fs.h"
#include "platform/system.h"

namespace kivlog {
namespace {

// Writes a few events into today's log of KIVDEMO in the default folder and reads them back.
int DailyLogTour() {
  kiv::KivLog log;
  std::printf("\ndefault log folder: %s\n", U8(log.LogDefaultPath()).c_str());
  int32_t id = log.EventLogOpen(u"KIVDEMO", u"", kiv::ELOF_OPENALWAYS, 0, kiv::ComputerName(),
                                kiv::UserName());
  if (id == 0) return ReportError("open");
  const bool failed =
      log.EventLogWrite(id, u"demo", u"service started", kiv::RWDT_ASCII,
                        kiv::EVENTLOG_INFORMATION_TYPE, u"Startup", 100) ||
      log.EventLogWrite(id, u"demo", u"disk almost full\r\n92% used", kiv::RWDT_ASCII,
                        kiv::EVENTLOG_WARNING_TYPE, u"Disk", 200) ||
      log.EventLogWrite(id, u"demo",
                        u"\x01\x02"
                        u"binary",
                        kiv::RWDT_BINARY, kiv::EVENTLOG_ERROR_TYPE, u"Disk", 201);
  if (failed) return ReportError("write");
  std::shared_ptr<kiv::KivLogInfo> info;
  if (log.EventLogInfo(id, info) || log.EventLogClose(id)) return ReportError("close");
  std::printf("wrote 3 events (between the Open and Closed markers) to %s.ZLG\n\n",
              U8(info->FileName()).c_str());
  int32_t start = INT32_MAX;  // from the last event backwards
  if (log.EventLogReadBack(info, start, 5, true)) return ReportError("read");
  EventPrinter printer;
  for (int32_t i = 1; i <= info->LogData()->Count(); ++i) {
    printer.Print(FromEvent(*info->LogData()->ObjectAt<kiv::KivLogEvent>(i), U8(info->FileName())));
  }
  std::printf(
      "\n%d events in today's KIVDEMO log. Try: kivlog show --app KIVDEMO --back "
      "--start 999 -n 10\n",
      start);
  return 0;
}

// Reports into an event log database beside the daily logs, watching its change notice.
int EventLogTour() {
  kiv::KivLog daily;
  const kiv::String file = daily.LogDefaultPath() + u"/KIVDEMO-events.db";
  kiv::KivLogFile log;
  if (!kiv::FileExists(file) && log.CreateEventLog(file, 1000, kiv::KLFWM_OVERWRITEASNEEDED)) {
    return ReportError("create event log");
  }
  if (log.OpenEventLog(file, true)) return ReportError("open event log");
  log.SubscribeEventLogChanged([](int32_t unk, int32_t type, int32_t id) {
    std::printf("  EventLogChanged: unk %d, type %d, id %d\n", unk, type, id);
  });
  std::printf("\nevent log database: %s\n", U8(file).c_str());
  if (log.ReportEventEx(u"demo", u"nightly backup done", kiv::RWDT_ASCII,
                        kiv::EVENTLOG_INFORMATION_TYPE, u"Backup", 300) ||
      log.ReportEventEx(u"demo", u"backup took 41 minutes", kiv::RWDT_ASCII,
                        kiv::EVENTLOG_WARNING_TYPE, u"Backup", 301)) {
    return ReportError("report");
  }
  int32_t count = 0, pos = 0, max = 3;
  if (log.ReadEventLog(kiv::ELREF_COUNT, count) < 0) return ReportError("count");
  pos = count > 3 ? count - 3 : 0;
  if (log.ReadEventLogEx(pos == 0 ? kiv::ELREF_FIRST : kiv::ELREF_ABSOLUTE, pos, u"", u"", max) <
      0) {
    return ReportError("read");
  }
  std::printf("%d records; the last %d:\n", count, max);
  for (int32_t i = 1; i <= max; ++i) {
    const kiv::LOGRECORDTYPE r = log.LogRecordEx(i);
    std::printf("  %s  %-11s id %-4d %s\n", U8(kiv::GeneralDate(r.EvDate)).c_str(),
                U8(r.EvSource).c_str(), r.EvId, U8(r.EvRawData).c_str());
  }
  if (log.CloseEventLog()) return ReportError("close event log");
  std::printf("Try: kivlog db show \"%s\" --mode count\n", U8(file).c_str());
  return 0;
}

int Demo() {
  std::printf("kivdbxt type library %s %d.%d\n", U8(kiv::TypeLibrary().Id).c_str(),
              kiv::TypeLibrary().MajorVersion, kiv::TypeLibrary().MinorVersion);
  for (const kiv::ClassInfo& c : kiv::ClassTable()) {
    auto obj = kiv::CreateObject(c.ProgId);
    std::printf("  %-13s %s %s\n", U8(c.Name).c_str(), U8(c.Clsid).c_str(),
                obj ? "available" : "not in this build");
  }
  if (int rc = DailyLogTour()) return rc;
  return EventLogTour();
}

}  // namespace

void AddDemoCommand(CLI::App& app) {
  auto* cmd = app.add_subcommand("demo", "Show the library at work on the default log folder");
  cmd->callback([] { std::exit(Demo()); });
}

}  // namespace kivlog
