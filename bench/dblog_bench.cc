// The database event log: ReportEvent in each journal setting against the same SQLite work done
// by hand with the same settings, and the cost of a report as the log grows.
//
//   build/bench/dblog_bench --benchmark_counters_tabular=true
//
// The targets are printed at the end: a report in the default WAL setting at most 0.1 of one with
// the rollback journal, and within 1.3 of the hand-written work; with the rollback journal
// within 1.5; without KeepAlive within 1.5 of with it. Compare the per-report time of the /1000 and
// /1000000 rows of Held and Never.
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <cstdio>
#include <string>

#include "kivdbxt/kiv_log_file.h"
#include "platform/clock.h"
#include "platform/fs.h"
#include "platform/system.h"
#include "platform/vb_convert.h"
#include "targets.h"

namespace {

using kiv::KivLogFile;
using kiv::String;

String NewLogFile(int32_t max_records, int32_t wrapping) {
  String file = kiv::TempFileName(u"kivbench-");
  kiv::RemoveFile(file);
  KivLogFile log;
  if (log.CreateEventLog(file, max_records, wrapping, 7)) std::abort();
  return file;
}

// Adds rows straight into EVENTS, in one transaction: a fast way to a large log.
void Prefill(const String& file, int64_t rows) {
  sqlite3* db = nullptr;
  sqlite3_open(kiv::ToUtf8(file).c_str(), &db);
  sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr);
  sqlite3_stmt* st = nullptr;
  sqlite3_prepare_v2(db,
                     "INSERT INTO EVENTS (DATE, TYPE, CATEGORY, ID, UNK, USER, COMPUTER, SOURCE, "
                     "SERVER, RAWDATA) VALUES (?, 2, '', ?, ?, 'u', 'c', 'PRE', '', x'4178')",
                     -1, &st, nullptr);
  const double start = kiv::Now() - 1;
  for (int64_t i = 0; i < rows; ++i) {
    sqlite3_bind_double(st, 1, start + static_cast<double>(i) / (rows + 1));
    sqlite3_bind_int(st, 2, static_cast<int>(i));
    sqlite3_bind_int(st, 3, static_cast<int>(i));
    sqlite3_step(st);
    sqlite3_reset(st);
  }
  sqlite3_finalize(st);
  sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
  sqlite3_close(db);
}

void ReportLoop(benchmark::State& state, KivLogFile& log) {
  int64_t n = 0;
  for (auto _ : state) {
    if (log.ReportEvent(u"BENCH", u"Apayload of a typical event", 2, u"cat", 7)) {
      state.SkipWithError("report failed");
      break;
    }
    ++n;
  }
  state.counters["reports/s"] =
      benchmark::Counter(static_cast<double>(n), benchmark::Counter::kIsRate);
}

// The journal settings, as the benchmarks' second argument: 0 WAL with synchronous=NORMAL (the
// default), 1 WAL with FULL, 2 the rollback journal with FULL.
const char16_t* const kSyncModes[] = {u"NORMAL", u"FULL", u"ROLLBACK"};
const char* const kJournal[] = {"PRAGMA journal_mode=WAL", "PRAGMA journal_mode=WAL",
                                "PRAGMA journal_mode=DELETE"};
const char* const kSync[] = {"PRAGMA synchronous=NORMAL", "PRAGMA synchronous=FULL",
                             "PRAGMA synchronous=FULL"};

String NewLogFile(int32_t max_records, int32_t wrapping, int64_t sync) {
  String file = NewLogFile(max_records, wrapping);
  KivLogFile log;
  if (log.OpenEventLog(file) || log.SyncModeSet(kSyncModes[sync]) || log.CloseEventLog()) {
    std::abort();
  }
  return file;
}

void BM_ReportEvent(benchmark::State& state) {
  const bool keep_alive = state.range(0) != 0;
  String file = NewLogFile(1000, kiv::KLFWM_DONTOVERWRITE, state.range(1));
  {
    KivLogFile log;
    log.OpenEventLog(file, keep_alive);
    ReportLoop(state, log);
  }
  kiv::RemoveFile(file);
}
BENCHMARK(BM_ReportEvent)
    ->ArgNames({"keepalive", "sync"})
    ->Args({1, 0})
    ->Args({1, 1})
    ->Args({1, 2})
    ->Args({0, 0})
    ->UseRealTime();

// The same SQLite work by hand, with the same journal settings, written as a careful program
// would: every statement prepared once, every field of the record bound, the user and computer
// names taken once. A report on a never-overwrite log trims nothing and decides so without the
// database, so the work is: insert the row and update LASTCHANGE, in one transaction.
void BM_Baseline(benchmark::State& state) {
  String file = NewLogFile(1000, kiv::KLFWM_DONTOVERWRITE);
  sqlite3* db = nullptr;
  sqlite3_open(kiv::ToUtf8(file).c_str(), &db);
  sqlite3_busy_timeout(db, 5000);
  sqlite3_exec(db, kJournal[state.range(0)], nullptr, nullptr, nullptr);
  sqlite3_exec(db, kSync[state.range(0)], nullptr, nullptr, nullptr);
  sqlite3_stmt *begin = nullptr, *commit = nullptr, *ins = nullptr, *upd = nullptr;
  sqlite3_prepare_v2(db, "BEGIN IMMEDIATE", -1, &begin, nullptr);
  sqlite3_prepare_v2(db, "COMMIT", -1, &commit, nullptr);
  sqlite3_prepare_v2(db,
                     "INSERT INTO EVENTS (UNK, DATE, TYPE, CATEGORY, ID, USER, COMPUTER, SOURCE, "
                     "SERVER, RAWDATA) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
                     -1, &ins, nullptr);
  sqlite3_prepare_v2(db, "UPDATE PARMS SET VALUE = ? WHERE KEY = 'LASTCHANGE'", -1, &upd, nullptr);
  const std::string user = kiv::ToUtf8(kiv::UserName()),
                    computer = kiv::ToUtf8(kiv::ComputerName());
  const std::string raw = "Apayload of a typical event";
  auto run = [](sqlite3_stmt* st) {
    sqlite3_step(st);
    sqlite3_reset(st);
  };
  int64_t n = 0;
  for (auto _ : state) {
    run(begin);
    const int unk = static_cast<int>(kiv::TickCount());
    sqlite3_bind_int(ins, 1, unk);
    sqlite3_bind_double(ins, 2, kiv::Now());
    sqlite3_bind_int(ins, 3, 2);
    sqlite3_bind_text(ins, 4, "cat", -1, SQLITE_STATIC);
    sqlite3_bind_int(ins, 5, 7);
    sqlite3_bind_text(ins, 6, user.c_str(), -1, SQLITE_STATIC);
    sqlite3_bind_text(ins, 7, computer.c_str(), -1, SQLITE_STATIC);
    sqlite3_bind_text(ins, 8, "BENCH", -1, SQLITE_STATIC);
    sqlite3_bind_text(ins, 9, "", -1, SQLITE_STATIC);
    sqlite3_bind_blob(ins, 10, raw.data(), static_cast<int>(raw.size()), SQLITE_STATIC);
    run(ins);
    const std::string text = std::to_string(unk);
    sqlite3_bind_text(upd, 1, text.c_str(), -1, SQLITE_TRANSIENT);
    run(upd);
    run(commit);
    ++n;
  }
  state.counters["reports/s"] =
      benchmark::Counter(static_cast<double>(n), benchmark::Counter::kIsRate);
  for (sqlite3_stmt* st : {begin, commit, ins, upd}) sqlite3_finalize(st);
  sqlite3_close(db);
  kiv::RemoveFile(file);
}
BENCHMARK(BM_Baseline)->ArgName("sync")->Arg(0)->Arg(1)->Arg(2)->UseRealTime();

// A log held at MaxRecords 10,000 by wrapping: reports cost the same however many events it has
// seen, because each purge trims a fixed batch of the oldest.
void BM_Held(benchmark::State& state) {
  String file = NewLogFile(10000, kiv::KLFWM_OVERWRITEASNEEDED);
  Prefill(file, 9999);
  {
    KivLogFile log;
    log.OpenEventLog(file, true);
    ReportLoop(state, log);
  }
  kiv::RemoveFile(file);
}
BENCHMARK(BM_Held)->UseRealTime()->Iterations(2000);

// A never-overwrite log: the cost of a report does not grow with the log.
void BM_Never(benchmark::State& state) {
  String file = NewLogFile(1000, kiv::KLFWM_DONTOVERWRITE);
  Prefill(file, state.range(0));
  {
    KivLogFile log;
    log.OpenEventLog(file, true);
    ReportLoop(state, log);
  }
  kiv::RemoveFile(file);
}
BENCHMARK(BM_Never)->Arg(1000)->Arg(1000000)->UseRealTime()->Iterations(1000);

}  // namespace

int main(int argc, char** argv) {
  return kivbench::RunWithTargets(
      argc, argv,
      {{"a report in WAL against the rollback journal",
        "BM_ReportEvent/keepalive:1/sync:0/real_time",
        "BM_ReportEvent/keepalive:1/sync:2/real_time", 0.1},
       {"a report in WAL against the same SQLite work by hand",
        "BM_ReportEvent/keepalive:1/sync:0/real_time", "BM_Baseline/sync:0/real_time", 1.3},
       {"a report in WAL, FULL, against the same SQLite work by hand",
        "BM_ReportEvent/keepalive:1/sync:1/real_time", "BM_Baseline/sync:1/real_time", 1.5},
       {"a report, rollback journal, against the same SQLite work by hand",
        "BM_ReportEvent/keepalive:1/sync:2/real_time", "BM_Baseline/sync:2/real_time", 1.5},
       {"a report without KeepAlive against one with it",
        "BM_ReportEvent/keepalive:0/sync:0/real_time",
        "BM_ReportEvent/keepalive:1/sync:0/real_time", 1.5}});
}
