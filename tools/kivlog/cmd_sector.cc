// kivlog sector: a sector store (.QVD, .QVF, .QVS) from the shell.
#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

#include "commands.h"
#include "kivdbxt/kiv_sector.h"
#include "output.h"
#include "platform/date.h"
#include "platform/fs.h"

namespace kivlog {
namespace {

// Exit codes: 0 done, 1 an operation failed, 2 verify found damaged records.
constexpr int kDamaged = 2;

struct SectorArgs {
  std::string store;
  int sector_size = 512;
  int id = 0;
  std::vector<int> ids;
  std::string from, to;
  bool text = false;
  bool sync = false;
};

SectorArgs& Args() {
  static SectorArgs a;
  return a;
}

// Opens the store named on the command line.
int Open(kiv::KivSector& s, bool read_only) {
  s.SyncWrites(Args().sync);
  return s.SectorOpen(U16(Args().store), read_only) ? ReportError("open") : 0;
}

std::vector<uint8_t> ReadInput(const std::string& from) {
  if (from.empty() || from == "-") {
    return {std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>()};
  }
  std::ifstream in(from, std::ios::binary);
  if (!in) throw CLI::ValidationError("--from", "cannot read " + from);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

int Create() {
  kiv::KivSector s;
  if (s.SectorCreate(U16(Args().store), Args().sector_size)) return ReportError("create");
  if (!JsonOutput())
    std::printf("created %s (sectors of %d bytes)\n", Args().store.c_str(), Args().sector_size);
  return 0;
}

// put: bytes as they come, or with --text the input's UTF-8 kept as text.
int Put() {
  SectorArgs& a = Args();
  kiv::KivSector s;
  if (int rc = Open(s, false)) return rc;
  const std::vector<uint8_t> data = ReadInput(a.from);
  int32_t id = a.id;
  const bool failed = a.text ? s.SectorWrite(id, U16(std::string(data.begin(), data.end())))
                             : s.SectorWrite(id, data);
  if (failed) return ReportError("put");
  if (JsonOutput()) {
    std::cout << nlohmann::json{{"id", id}, {"bytes", data.size()}}.dump() << std::endl;
  } else {
    std::printf("%d\n", id);
  }
  return 0;
}

// get: a text record as UTF-8, a bytes record as it is.
int Get() {
  SectorArgs& a = Args();
  kiv::KivSector s;
  if (int rc = Open(s, true)) return rc;
  kiv::Variant data;
  if (s.SectorRead(a.id, data)) return ReportError("get");
  std::string out;
  if (data.Type() == kiv::vbString) {
    out = U8(data.StringValue());
  } else {
    out.assign(data.Bytes().begin(), data.Bytes().end());
  }
  if (a.to.empty() || a.to == "-") {
    std::fwrite(out.data(), 1, out.size(), stdout);
    return 0;
  }
  std::ofstream file(a.to, std::ios::binary | std::ios::trunc);
  file.write(out.data(), static_cast<std::streamsize>(out.size()));
  if (!file) throw CLI::ValidationError("--to", "cannot write " + a.to);
  return 0;
}

int Remove() {
  kiv::KivSector s;
  if (int rc = Open(s, false)) return rc;
  for (int id : Args().ids) {
    if (s.SectorDelete(id)) return ReportError("rm");
  }
  return 0;
}

nlohmann::json RecordJson(int32_t id, int64_t length, kiv::Date modified) {
  return {{"id", id}, {"bytes", length}, {"modified", U8(kiv::FormatIsoDateTime(modified))}};
}

int List() {
  kiv::KivSector s;
  if (int rc = Open(s, true)) return rc;
  auto ids = std::make_shared<kiv::Collection>();
  if (s.SectorList(ids)) return ReportError("ls");
  nlohmann::json items = nlohmann::json::array();
  if (!JsonOutput()) std::printf("%10s %14s  %s\n", "ID", "BYTES", "MODIFIED");
  for (int32_t i = 1; i <= ids->Count(); ++i) {
    const int32_t id = *ids->Item(kiv::Variant(i)).ToLong();
    int64_t length = 0;
    kiv::Date modified = 0;
    if (s.SectorInfo(id, length, modified)) return ReportError("ls");
    if (JsonOutput()) {
      items.push_back(RecordJson(id, length, modified));
    } else {
      std::printf("%10d %14lld  %s\n", id, static_cast<long long>(length),
                  U8(kiv::FormatIsoDateTime(modified)).c_str());
    }
  }
  if (JsonOutput()) std::cout << nlohmann::json{{"records", items}}.dump() << std::endl;
  return 0;
}

int64_t SizeOr0(const kiv::String& path) {
  return kiv::FileExists(path) ? kiv::FileLength(path) : 0;
}

// The store as a whole: its files, sector size and records.
nlohmann::json StoreJson(const kiv::KivSector& s) {
  const kiv::String base = s.FileName();
  return {{"store", U8(base)},
          {"sector_size", s.SectorSize()},
          {"records", s.Records()},
          {"directory_bytes", SizeOr0(base + u".QVD")},
          {"table_bytes", SizeOr0(base + u".QVF")},
          {"sector_bytes", SizeOr0(base + u".QVS")}};
}

void PrintStore(const nlohmann::json& j) {
  if (JsonOutput()) {
    std::cout << j.dump() << std::endl;
    return;
  }
  for (auto it = j.begin(); it != j.end(); ++it) {
    std::cout << it.key() << std::string(16 - it.key().size(), ' ')
              << (it->is_string() ? it->get<std::string>() : it->dump()) << "\n";
  }
}

int Info() {
  SectorArgs& a = Args();
  kiv::KivSector s;
  if (int rc = Open(s, true)) return rc;
  if (a.id == 0) {
    PrintStore(StoreJson(s));
    return 0;
  }
  int64_t length = 0;
  kiv::Date modified = 0;
  if (s.SectorInfo(a.id, length, modified)) return ReportError("info");
  PrintStore(RecordJson(a.id, length, modified));
  return 0;
}

int Compact() {
  kiv::KivSector s;
  if (int rc = Open(s, false)) return rc;
  const int64_t before = SizeOr0(s.FileName() + u".QVS");
  if (s.SectorCompact()) return ReportError("compact");
  const int64_t after = SizeOr0(s.FileName() + u".QVS");
  if (JsonOutput()) {
    std::cout
        << nlohmann::json{{"sector_bytes_before", before}, {"sector_bytes_after", after}}.dump()
        << std::endl;
  } else {
    std::printf("sectors file: %lld -> %lld bytes\n", static_cast<long long>(before),
                static_cast<long long>(after));
  }
  return 0;
}

int Verify() {
  kiv::KivSector s;
  if (int rc = Open(s, true)) return rc;
  auto damaged = std::make_shared<kiv::Collection>();
  if (s.SectorVerify(damaged)) return ReportError("verify");
  std::vector<int32_t> ids;
  for (int32_t i = 1; i <= damaged->Count(); ++i)
    ids.push_back(*damaged->Item(kiv::Variant(i)).ToLong());
  if (JsonOutput()) {
    std::cout << nlohmann::json{{"records", s.Records()}, {"damaged", ids}}.dump() << std::endl;
  } else if (ids.empty()) {
    std::printf("%d records, none damaged\n", s.Records());
  } else {
    for (int32_t id : ids) std::printf("record %d is damaged\n", id);
  }
  return ids.empty() ? 0 : kDamaged;
}

CLI::App* Sub(CLI::App& sector, const char* name, const char* help, int (*run)()) {
  auto* cmd = sector.add_subcommand(name, help);
  cmd->add_option("store", Args().store, "Store base name (or one of its .QVD/.QVF/.QVS files)")
      ->required();
  cmd->callback([run] { std::exit(run()); });
  return cmd;
}

}  // namespace

void AddSectorCommands(CLI::App& app) {
  SectorArgs& a = Args();
  auto* sector =
      app.add_subcommand("sector", "A sector store: records by number in .QVD/.QVF/.QVS");
  sector->require_subcommand(1);

  auto* create = Sub(*sector, "create", "Create an empty store", Create);
  create->add_option("--sector-size", a.sector_size, "Sector size: a power of two, 128 to 65536");

  auto* put =
      Sub(*sector, "put", "Write a record from a file or standard input; prints its id", Put);
  put->add_option("--id", a.id, "Record to replace (default: add a new one)");
  put->add_option("--from", a.from, "File to read (default: standard input)");
  put->add_flag("--text", a.text, "Keep the input (UTF-8) as text rather than bytes");
  put->add_flag("--sync", a.sync, "Make the record durable before returning");

  auto* get = Sub(*sector, "get", "Write a record to standard output or a file", Get);
  get->add_option("id", a.id, "Record number")->required();
  get->add_option("--to", a.to, "File to write (default: standard output)");

  auto* rm = Sub(*sector, "rm", "Delete records", Remove);
  rm->add_option("ids", a.ids, "Record numbers")->required();

  Sub(*sector, "ls", "List the records: number, size, last change", List);
  auto* info = Sub(*sector, "info", "The store's files and counts, or one record's", Info);
  info->add_option("id", a.id, "Record number (default: the whole store)");
  Sub(*sector, "compact", "Give back unused sectors and cut the files", Compact);
  Sub(*sector, "verify", "Check every record; lists the damaged ones (exit code 2)", Verify);
}

}  // namespace kivlog
