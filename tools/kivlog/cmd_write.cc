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

  // The log's options for an event of this raw data: Windows-1252 when the event reads back
  // from it as written, else UTF-8, never a "?".
  auto options_for = [&](const std::string& raw, const kiv::String& text) {
    if (a.binary && !kiv::FitsCp1252(text)) {
      throw CLI::ValidationError("--binary",
                                 "the hexadecimal form holds Windows-1252 bytes only: " + raw);
    }
    const bool cp1252 = ReadsBackAsCp1252(text) && ReadsBackAsCp1252(source) &&
                        ReadsBackAsCp1252(category) && ReadsBackAsCp1252(server) &&
                        ReadsBackAsCp1252(computer) && ReadsBackAsCp1252(user);
    return cp1252 ? 0 : kiv::KIVLIOPT_UTF8;
  };
  const int32_t data_type = a.binary ? kiv::RWDT_BINARY : kiv::RWDT_ASCII;
  int written = 0;
  if (!a.words.empty()) {
    std::string raw;
    for (const std::string& w : a.words) raw += (raw.empty() ? "" : " ") + w;
    const kiv::String text = U16(raw);
    log.EventLogOptions(id, options_for(raw, text));
    if (log.EventLogWrite(id, source, text, data_type, a.type, category, a.id, server)) {
      return ReportError("write");
    }
    ++written;
  } else {
    // Lines go in as batches of up to 1,000: one lock and one index update each, and a bounded
    // amount of standard input held at a time. A batch is written in one encoding, so a line
    // that needs the other one starts a new batch.
    constexpr int kBatch = 1000;
    auto batch = std::make_shared<kiv::Collection>();
    int32_t batch_options = 0;
    auto flush = [&] {
      if (batch->Count() == 0) return false;
      log.EventLogOptions(id, batch_options);
      if (log.EventLogWriteBatch(id, batch)) return true;
      written += batch->Count();
      batch->Clear();
      return false;
    };
    bool failed = false;
    for (std::string line; !failed && std::getline(std::cin, line);) {
      if (!line.empty() && line.back() == '\r') line.pop_back();
      auto event = std::make_shared<kiv::KivLogEvent>();
      event->EvRawData(U16(line));
      const int32_t options = options_for(line, event->EvRawData());
      if (options != batch_options && (failed = flush())) break;
      batch_options = options;
      event->EvSource(source);
      event->EvDataType(data_type);
      event->EvType(a.type);
      event->EvCategory(category);
      event->EvId(a.id);
      event->EvServer(server);
      batch->Add(kiv::Variant(std::static_pointer_cast<kiv::Object>(event)));
      if (batch->Count() == kBatch) failed = flush();
    }
    if (failed || flush()) {
      return ReportError("write, lines " + std::to_string(written + 1) + " to " +
                         std::to_string(written + batch->Count()));
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
