// kivlog event: builds one event, writes its text block to a file and reads it back.
#include <iostream>

#include "commands.h"
#include "kivdbxt/kiv_log_event.h"
#include "output.h"
#include "platform/clock.h"
#include "platform/file_table.h"
#include "platform/fs.h"
#include "platform/text_codec.h"

namespace kivlog {
namespace {

struct EventArgs {
  std::string file, source = "KIVLOG", raw, category, user, computer, server;
  int type = kiv::EVENTLOG_INFORMATION_TYPE, id = 0, datatype = kiv::RWDT_ASCII;
};

int RoundTrip(const EventArgs& a) {
  // A record's text form is Windows-1252: text it cannot hold is refused, never turned into "?".
  for (const std::string* text :
       {&a.source, &a.raw, &a.category, &a.user, &a.computer, &a.server}) {
    if (!kiv::FitsCp1252(U16(*text))) {
      throw CLI::ValidationError("text outside Windows-1252 cannot be saved in a record: " + *text);
    }
  }
  auto e = std::make_shared<kiv::KivLogEvent>();
  e->EvDate(kiv::Now());
  e->EvSource(U16(a.source));
  e->EvRawData(U16(a.raw));
  e->EvCategory(U16(a.category));
  e->EvUser(U16(a.user));
  e->EvComputer(U16(a.computer));
  e->EvServer(U16(a.server));
  e->EvType(a.type);
  e->EvId(a.id);
  e->EvDataType(a.datatype);
  if (e->TranslateData()) return ReportError("translate");
  kiv::String path = a.file.empty() ? kiv::TempFileName(u"kivlog-event-") : U16(a.file);
  int32_t out = kiv::FileOpenNext(path, kiv::FileMode::Append, kiv::ShareLock::Exclusive);
  int64_t start = kiv::FileLof(out);
  bool failed = e->Save(out);
  kiv::FileClose(out);
  if (failed) return ReportError("save");
  int32_t in = kiv::FileOpenNext(path, kiv::FileMode::Input, kiv::ShareLock::Shared);
  kiv::FileSeek(in, start + 1);
  auto back = std::make_shared<kiv::KivLogEvent>();
  failed = back->Load(in);
  kiv::FileClose(in);
  if (a.file.empty()) kiv::RemoveFile(path);
  if (failed) return ReportError("load");
  EventPrinter printer;
  printer.Print(FromEvent(*back, U8(path)));
  return 0;
}

}  // namespace

void AddEventCommands(CLI::App& app) {
  auto* cmd = app.add_subcommand("event", "Write one event record to a file and read it back");
  static EventArgs a;
  cmd->add_option("--file", a.file, "Append the record to this file (default: a temporary file)");
  cmd->add_option("--source", a.source, "Source");
  cmd->add_option("--raw", a.raw, "Raw data");
  cmd->add_option("--category", a.category, "Category");
  cmd->add_option("--user", a.user, "User");
  cmd->add_option("--computer", a.computer, "Computer");
  cmd->add_option("--server", a.server, "Server");
  cmd->add_option("--type", a.type, "Event type (0, 1, 2, 4, 8, 16)");
  cmd->add_option("--id", a.id, "Event id");
  cmd->add_option("--datatype", a.datatype, "0 text, 1 binary (stored as hexadecimal)");
  cmd->callback([] { std::exit(RoundTrip(a)); });
}

}  // namespace kivlog
