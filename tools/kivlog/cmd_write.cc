// kivlog write: one event from the arguments, or one event per line of standard input.
#include <cstdio>
#include <iostream>

#include "commands.h"
#include "daily.h"
#include "output.h"
#include "platform/system.h"
#include "platform/text_codec.h"

namespace kivlog {
namespace {

struct WriteArgs {
  std::string app, path;
  std::vector<std::string> words;
  std::string source = "KIVLOG", category, server, computer, user;
  int type = kiv::EVENTLOG_INFORMATION_TYPE, id = 0, mode = kiv::ELOF_OPENALWAYS, max_size = 0;
  bool binary = false, anonymous = false;
};

// True when the text's Windows-1252 bytes read back as the same text: every character is in the
// code page, and the bytes cannot be taken for UTF-8 by a reader.
bool ReadsBackAsCp1252(const kiv::String& text) {
  if (!kiv::FitsCp1252(text)) return false;
  const std::string bytes = kiv::ToCp1252(text);
  for (unsigned char c : bytes) {
    if (c >= 0x80) return !kiv::IsUtf8(bytes);
  }
  return true;
}

int Write(const WriteArgs& a) {
  kiv::KivLog log;
  kiv::String computer = a.anonymous          ? kiv::String()
                         : a.computer.empty() ? kiv::ComputerName()
                                              : U16(a.computer);
  kiv::String user = a.anonymous ? kiv::String() : a.user.empty() ? kiv::UserName() : U16(a.user);
  const kiv::String source = U16(a.source), category = U16(a.category), server = U16(a.server);
  int32_t id = log.EventLogOpenEx(U16(a.app), U16(a.path), a.mode, 0, computer, user, a.max_size);
  if (id == 0) return ReportError("open");

  auto write_one = [&](const std::string& raw) {
    const kiv::String text = U16(raw);
    if (a.binary && !kiv::FitsCp1252(text)) {
      throw CLI::ValidationError("--binary",
                                 "the hexadecimal form holds Windows-1252 bytes only: " + raw);
    }
    // Windows-1252 when the event reads back from it as written, else UTF-8: never a "?".
    const bool cp1252 = ReadsBackAsCp1252(text) && ReadsBackAsCp1252(source) &&
                        ReadsBackAsCp1252(category) && ReadsBackAsCp1252(server) &&
                        ReadsBackAsCp1252(computer) && ReadsBackAsCp1252(user);
    log.EventLogOptions(id, cp1252 ? 0 : kiv::KIVLIOPT_UTF8);
    return log.EventLogWrite(id, source, text, a.binary ? kiv::RWDT_BINARY : kiv::RWDT_ASCII,
                             a.type, category, a.id, server);
  };
  int written = 0;
  if (!a.words.empty()) {
    std::string raw;
    for (const std::string& w : a.words) raw += (raw.empty() ? "" : " ") + w;
    if (write_one(raw)) return ReportError("write");
    ++written;
  } else {
    for (std::string line; std::getline(std::cin, line);) {
      if (!line.empty() && line.back() == '\r') line.pop_back();
      if (write_one(line)) return ReportError("write, line " + std::to_string(written + 1));
      ++written;
    }
  }
  std::shared_ptr<kiv::KivLogInfo> info;
  if (log.EventLogInfo(id, info)) return ReportError("info");
  if (log.EventLogClose(id)) return ReportError("close");
  if (JsonOutput()) {
    std::cout << nlohmann::json{{"log", U8(info->FileName())},
                                {"written", written},
                                {"events", info->Events() + 1}}
                     .dump()
              << std::endl;
  } else {
    std::printf(
        "wrote %d event%s to %s.ZLG (%d events in the log, with the open and close markers)\n",
        written, written == 1 ? "" : "s", U8(info->FileName()).c_str(), info->Events() + 1);
  }
  return 0;
}

}  // namespace

void AddWriteCommand(CLI::App& app) {
  static WriteArgs a;
  auto* cmd = app.add_subcommand(
      "write",
      "Write one event (the words given) or one event per line of standard input "
      "into today's log of an application");
  // A log's day is read back from its file name after the first "_", so an AppId holding one
  // makes a log whose every write fails: it is refused here with the reason.
  cmd->add_option("--app", a.app, "Application identifier (AppId), without \"_\"")
      ->required()
      ->check(CLI::Validator(
          [](const std::string& app) {
            if (app.find('_') != std::string::npos) {
              return std::string(
                  "an AppId holding \"_\" cannot be written to: the day of its log is read from "
                  "the file name after the first \"_\"");
            }
            return CheckAppId(app);
          },
          "", "no underscore"));
  cmd->add_option("--path", a.path, "Log folder (default: the default log folder)");
  cmd->add_option("raw", a.words, "Raw data of the event; without it, lines of standard input");
  cmd->add_option("--source", a.source, "Source of the events")->capture_default_str();
  cmd->add_option("--type", a.type, "Event type: 0, 1 error, 2 warning, 4 information, 8, 16")
      ->capture_default_str();
  cmd->add_option("--category", a.category, "Category");
  cmd->add_option("--id", a.id, "Event id");
  cmd->add_option("--server", a.server, "Server");
  cmd->add_option("--computer", a.computer, "Computer (default: this host's name)");
  cmd->add_option("--user", a.user, "User (default: the current user)");
  cmd->add_flag("--anonymous", a.anonymous, "Leave computer and user empty");
  cmd->add_flag("--binary", a.binary, "Store the raw data as hexadecimal");
  cmd->add_option(
         "--mode", a.mode,
         "Open mode: 0 existing, 1 new, 2 truncate, 3 open or create, 4 back up and create")
      ->capture_default_str();
  cmd->add_option("--max-size", a.max_size, "Refuse events once the data file is past this size");
  cmd->callback([] { std::exit(Write(a)); });
}

}  // namespace kivlog
