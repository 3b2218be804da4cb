// The database event log: ReportEvent in each journal setting against the same SQLite work done
// by hand with the same settings, and the cost of a report as the log grows.
//
//   build/bench/dblog_bench --benchmark_counters_tabular=true
//
// The targets are printed at the end: a report in the default WAL setting at most 0.1 of one with
// the rollback journal, and within 1.3 of the hand-written work; with the rollback journal
// within 1.5; without KeepAlive within 1.5 of with it. Compare the per-report time of the /1000 and
// /1000000 rows of Held and Never.
//
// On PostgreSQL (KIV_BENCH_PG_URI names a database, e.g. the test server's:
// scripts/pg-test-server start /tmp/pgb && KIV_BENCH_PG_URI=$(cat /tmp/pgb/uri) ...), four
// processes report at once with synchronous_commit off, against a hand-written libpq pipeline
// doing the same statements; and the delay from a report's commit to a watcher's wake-up.
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <vector>
#ifdef KIV_WITH_POSTGRESQL
#include <libpq-fe.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

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

#ifdef KIV_WITH_POSTGRESQL

constexpr int kPgProcesses = 4;

std::string DateText(double date) {
  char text[32];
  std::snprintf(text, sizeof text, "%.17g", date);
  return text;
}
constexpr int kPgReports = 1500;  // per process and iteration

// A fresh schema of the benchmark's database, as a URI whose search_path names it.
std::string PgSchemaUri(const char* uri) {
  static int serial = 0;
  const std::string schema = "bench" + std::to_string(getpid()) + "_" + std::to_string(++serial);
  PGconn* conn = PQconnectdb(uri);
  PQclear(PQexec(conn, ("CREATE SCHEMA " + schema).c_str()));
  PQfinish(conn);
  return std::string(uri) + "&options=-csearch_path%3D" + schema + "%2Cpublic";
}

String NewServerLog(const char* uri) {
  const String name = kiv::FromUtf8(PgSchemaUri(uri));
  KivLogFile log;
  if (log.CreateEventLog(name, 1000, kiv::KLFWM_DONTOVERWRITE)) std::abort();
  return name;
}

// Runs a reporter in each of kPgProcesses processes. A reporter connects, then calls `start`,
// which returns when every reporter has connected; the time measured is from then until the last
// reporter has made its kPgReports reports: connecting, and closing after, are not measured.
template <class Reporter>
void InProcesses(benchmark::State& state, Reporter reporter) {
  for (auto _ : state) {
    int ready[2], go[2], done[2];
    if (pipe(ready) || pipe(go) || pipe(done)) return state.SkipWithError("no pipe");
    std::vector<pid_t> pids;
    for (int p = 0; p < kPgProcesses; ++p) {
      const pid_t pid = fork();
      if (pid == 0) {
        close(go[1]);
        char c = 'r';
        const bool ok = reporter([&] {
          if (write(ready[1], &c, 1) != 1 || read(go[0], &c, 1) != 0) _exit(2);
        });
        c = ok ? 'y' : 'n';
        _exit(write(done[1], &c, 1) == 1 && ok ? 0 : 1);
      }
      pids.push_back(pid);
    }
    close(go[0]);
    char c = 0;
    bool ok = true;
    for (int p = 0; p < kPgProcesses; ++p) ok &= read(ready[0], &c, 1) == 1;
    const auto start = std::chrono::steady_clock::now();
    close(go[1]);  // every reporter's read ends at once
    for (int p = 0; p < kPgProcesses; ++p) ok &= read(done[0], &c, 1) == 1 && c == 'y';
    state.SetIterationTime(
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    for (pid_t pid : pids) {
      int status = 0;
      waitpid(pid, &status, 0);
      ok &= WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }
    for (int fd : {ready[0], ready[1], done[0], done[1]}) close(fd);
    if (!ok) state.SkipWithError("a process failed");
  }
  state.counters["reports/s"] = benchmark::Counter(
      static_cast<double>(kPgProcesses * kPgReports) * static_cast<double>(state.iterations()),
      benchmark::Counter::kIsRate);
}

void BM_PgReportEvent(benchmark::State& state) {
  const char* uri = std::getenv("KIV_BENCH_PG_URI");
  if (!uri) return state.SkipWithError("KIV_BENCH_PG_URI names no database");
  const String name = NewServerLog(uri);
  InProcesses(state, [&](auto start) {
    KivLogFile log;
    if (log.OpenEventLog(name, true)) return false;
    start();
    for (int i = 0; i < kPgReports; ++i) {
      if (log.ReportEvent(u"BENCH", u"Apayload of a typical event", 2, u"cat", 7)) return false;
    }
    return true;
  });
}
BENCHMARK(BM_PgReportEvent)->UseManualTime()->Iterations(3);

// The same statements by hand, sent as one libpq pipeline per report: the transaction, the
// writers' lock, the record with every field bound as the library binds it, LASTCHANGE and the
// notice; the tick counter and the date taken for each report, the user and computer names once.
bool PgPipelineReports(const std::string& uri, const std::function<void()>& start) {
  PGconn* conn = PQconnectdb(uri.c_str());
  if (PQstatus(conn) != CONNECTION_OK) return false;
  PQclear(PQexec(conn, "SET synchronous_commit = off"));
  const char* insert =
      "INSERT INTO events (date, type, category, id, unk, \"user\", computer, source, server, "
      "rawdata) VALUES ($1, $2, $3, $4, $5, $6, $7, $8, $9, $10)";
  PQclear(PQprepare(conn, "ins", insert, 0, nullptr));
  PQclear(PQprepare(conn, "upd", "UPDATE parms SET value = $2 WHERE key = $1", 0, nullptr));
  PQclear(PQprepare(conn, "lock",
                    "SELECT pg_advisory_xact_lock(hashtext(current_schema() || '/kivlog'))", 0,
                    nullptr));
  PQclear(
      PQprepare(conn, "notify", "SELECT pg_notify('kivlog@' || current_schema(), $1)", 0, nullptr));
  const std::string raw = "Apayload of a typical event";
  const std::string user = kiv::ToUtf8(kiv::UserName()),
                    computer = kiv::ToUtf8(kiv::ComputerName());
  start();
  PQenterPipelineMode(conn);
  bool ok = true;
  for (int i = 0; i < kPgReports && ok; ++i) {
    const std::string unk = std::to_string(static_cast<int32_t>(kiv::TickCount())),
                      date = DateText(kiv::Now()), notice = unk + " 2 7";
    const char* values[] = {date.c_str(),     "2",     "cat", "7",       unk.c_str(), user.c_str(),
                            computer.c_str(), "BENCH", "",    raw.data()};
    int lengths[10] = {};
    lengths[9] = static_cast<int>(raw.size());
    int formats[10] = {};
    formats[9] = 1;
    const char* last[] = {"LASTCHANGE", unk.c_str()};
    const char* one[] = {notice.c_str()};
    PQsendQueryParams(conn, "BEGIN", 0, nullptr, nullptr, nullptr, nullptr, 0);
    PQsendQueryPrepared(conn, "lock", 0, nullptr, nullptr, nullptr, 0);
    PQsendQueryPrepared(conn, "ins", 10, values, lengths, formats, 0);
    PQsendQueryPrepared(conn, "upd", 2, last, nullptr, nullptr, 0);
    PQsendQueryPrepared(conn, "notify", 1, one, nullptr, nullptr, 0);
    PQsendQueryParams(conn, "COMMIT", 0, nullptr, nullptr, nullptr, nullptr, 0);
    PQpipelineSync(conn);
    for (int results = 0; results < 7;) {  // six statements and the sync
      PGresult* res = PQgetResult(conn);
      if (!res) continue;  // the end of one statement's results
      const ExecStatusType st = PQresultStatus(res);
      ok &= st != PGRES_FATAL_ERROR && st != PGRES_PIPELINE_ABORTED;
      ++results;
      PQclear(res);
    }
  }
  PQexitPipelineMode(conn);
  PQfinish(conn);
  return ok;
}

void BM_PgPipeline(benchmark::State& state) {
  const char* uri = std::getenv("KIV_BENCH_PG_URI");
  if (!uri) return state.SkipWithError("KIV_BENCH_PG_URI names no database");
  const std::string name = kiv::ToUtf8(NewServerLog(uri));
  InProcesses(state, [&](auto start) { return PgPipelineReports(name, start); });
}
BENCHMARK(BM_PgPipeline)->UseManualTime()->Iterations(3);

// From the call of a report to the wake-up of a watcher blocked in WaitEventLogChanges on another
// connection, in milliseconds (median and 95th percentile): the notice's delay after the commit,
// and the report's own time before it (a bound from above; the commit is not seen from outside).
void BM_PgNoticeDelay(benchmark::State& state) {
  const char* uri = std::getenv("KIV_BENCH_PG_URI");
  if (!uri) return state.SkipWithError("KIV_BENCH_PG_URI names no database");
  const String name = NewServerLog(uri);
  using Clock = std::chrono::steady_clock;
  constexpr int kNotices = 200;
  std::vector<double> delays;
  for (auto _ : state) {
    std::atomic<int> seen{-1};  // -1 until the reporter has opened the log (a change of its own)
    std::atomic<int64_t> committed{0};  // when the current report was called
    KivLogFile watcher;
    int32_t unk = 0;
    if (watcher.OpenEventLogReadOnly(name, true) || watcher.CheckEventLogChanges(unk) < 0)
      return state.SkipWithError("the watcher cannot open the log");
    std::thread reporter([&] {
      KivLogFile log;
      log.OpenEventLog(name, true);
      seen.store(0);
      for (int i = 0; i < kNotices; ++i) {
        while (seen.load() < i) std::this_thread::yield();
        std::this_thread::sleep_for(std::chrono::milliseconds(2));  // the watcher is waiting
        committed.store(Clock::now().time_since_epoch().count());
        log.ReportEvent(u"BENCH", u"Ax", 2, u"", i);
      }
    });
    while (seen.load() < 0) std::this_thread::yield();
    watcher.CheckEventLogChanges(unk);  // the reporter's open is no notice of a report
    for (int i = 0; i < kNotices; ++i) {
      if (watcher.WaitEventLogChanges(5000, unk) != 1) {
        seen.store(kNotices);  // the reporter waits no more
        break;
      }
      const int64_t woke = Clock::now().time_since_epoch().count();
      while (committed.load() == 0) std::this_thread::yield();
      delays.push_back(std::max<double>(0, static_cast<double>(woke - committed.exchange(0))) /
                       1e6);
      seen.store(i + 1);
    }
    reporter.join();
  }
  if (delays.empty()) return state.SkipWithError("no notice came");
  std::sort(delays.begin(), delays.end());
  state.counters["median_ms"] = delays[delays.size() / 2];
  state.counters["p95_ms"] = delays[delays.size() * 95 / 100];
}
BENCHMARK(BM_PgNoticeDelay)->Iterations(1)->UseRealTime();

#endif  // KIV_WITH_POSTGRESQL

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
       {"a report on a log wrapping at 10,000 records against the same SQLite work by hand",
        "BM_Held/iterations:2000/real_time", "BM_Baseline/sync:0/real_time", 0},
       {"a report on a never-overwrite log of 1,000 events against the same SQLite work by hand",
        "BM_Never/1000/iterations:1000/real_time", "BM_Baseline/sync:0/real_time", 0},
       {"a report on a never-overwrite log of 1,000,000 events against the same work by hand",
        "BM_Never/1000000/iterations:1000/real_time", "BM_Baseline/sync:0/real_time", 0},
       {"a report without KeepAlive against one with it",
        "BM_ReportEvent/keepalive:0/sync:0/real_time",
        "BM_ReportEvent/keepalive:1/sync:0/real_time", 1.5},
       {"four processes reporting to a server against a hand-written libpq pipeline (at least "
        "half its rate)",
        "BM_PgReportEvent/iterations:3/manual_time", "BM_PgPipeline/iterations:3/manual_time",
        2.0}});
}
