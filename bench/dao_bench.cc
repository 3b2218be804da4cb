// Speed of the DAO layer: long values moved in 4096-byte chunks (linear in the data moved) and
// table-type operations on a large indexed table against a small one (the same order).
//
//   build/bench/dao_bench --benchmark_filter=Chunks
//   build/bench/dao_bench --benchmark_filter=Table
#include <benchmark/benchmark.h>
#include <sqlite3.h>
#ifdef KIV_BENCH_POSIX
#include <stdlib.h>
#include <sys/resource.h>
#else
// psapi.h needs windows.h before it.
// clang-format off
#include <windows.h>
#include <psapi.h>
// clang-format on
#endif

#include <filesystem>
#include <map>
#include <random>
#include <string>

#include "kivdbxt/dao.h"
#include "targets.h"

using namespace kiv;
using namespace kiv::dao;

namespace {

std::string Folder() {
  static const std::string folder = [] {
#ifdef KIV_BENCH_POSIX
    std::string pattern = (std::filesystem::temp_directory_path() / "kivbench.XXXXXX").string();
    return std::string(mkdtemp(pattern.data()));
#else
    const auto dir = std::filesystem::temp_directory_path() / "kivbench-dao";
    std::filesystem::remove_all(dir);
    std::filesystem::create_directories(dir);
    return dir.string();
#endif
  }();
  return folder;
}

double PeakRssMb() {
#ifdef KIV_BENCH_POSIX
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024.0;
#else
  PROCESS_MEMORY_COUNTERS counters{};
  GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
  return static_cast<double>(counters.PeakWorkingSetSize) / (1 << 20);
#endif
}

// Writes a field of `bytes` bytes in 4096-byte chunks, then reads it back the same way.
void BM_Chunks(benchmark::State& state) {
  const int64_t bytes = state.range(0);
  const double rss_before = PeakRssMb();
  const std::vector<uint8_t> chunk(4096, 0x5a);
  int run = 0;
  for (auto _ : state) {
    const String name = FromUtf8(Folder() + "/chunks" + std::to_string(bytes) + "_" +
                                 std::to_string(run++) + ".mdb");
    auto db = DBEngine::ForThread()->CreateDatabase(name, dbLangGeneral);
    auto t = db->CreateTableDef(u"B");
    t->Fields().Append(t->CreateField(u"DATA", dbLongBinary));
    db->TableDefs().Append(t);
    auto rs = db->OpenRecordset(u"B", dbOpenTable);
    auto field = rs->Fields()[u"DATA"];
    rs->AddNew();
    for (int64_t at = 0; at < bytes; at += 4096) field->AppendChunk(Variant(chunk));
    rs->Update();
    rs->MoveFirst();
    int64_t read = 0;
    for (int32_t at = 0; at < bytes; at += 4096) read += field->GetChunk(at, 4096).Bytes().size();
    benchmark::DoNotOptimize(read);
    db->Close();
    std::filesystem::remove(ToUtf8(name));
  }
  state.counters["MB"] = static_cast<double>(bytes) / (1 << 20);
  state.counters["peak_rss_growth_MB"] = PeakRssMb() - rss_before;
}
BENCHMARK(BM_Chunks)->Arg(64 << 20)->Arg(6710886)->Unit(benchmark::kMillisecond)->Iterations(3);

// A table of n rows (K, NAME) with an index on K, built once per size.
String TableOf(int64_t n) {
  static std::map<int64_t, String> made;
  auto it = made.find(n);
  if (it != made.end()) return it->second;
  const String name = FromUtf8(Folder() + "/table" + std::to_string(n) + ".mdb");
  auto db = DBEngine::ForThread()->CreateDatabase(name, dbLangGeneral);
  auto t = db->CreateTableDef(u"T");
  t->Fields().Append(t->CreateField(u"K", dbLong));
  t->Fields().Append(t->CreateField(u"NAME", dbText, 50));
  auto ix = t->CreateIndex(u"K");
  ix->Fields(u"K");
  t->Indexes().Append(ix);
  db->TableDefs().Append(t);
  db->Execute(u"WITH RECURSIVE s(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM s WHERE i < " +
                  FromUtf8(std::to_string(n)) + u") INSERT INTO T SELECT (i * 7919) % " +
                  FromUtf8(std::to_string(n)) + u", 'row ' || i FROM s",
              dbFailOnError);
  db->Close();
  return made[n] = name;
}

std::shared_ptr<Recordset> OpenIndexed(const std::shared_ptr<Database>& db) {
  auto rs = db->OpenRecordset(u"T", dbOpenTable);
  rs->Index(u"K");
  return rs;
}

void BM_TableSeek(benchmark::State& state) {
  auto db = DBEngine::ForThread()->OpenDatabase(TableOf(state.range(0)));
  auto rs = OpenIndexed(db);
  std::mt19937 random(1);
  for (auto _ : state) {
    rs->Seek(u"=", Variant(static_cast<int32_t>(random() % state.range(0))));
    benchmark::DoNotOptimize(rs->NoMatch());
  }
}

void BM_TableOpen(benchmark::State& state) {
  auto db = DBEngine::ForThread()->OpenDatabase(TableOf(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(db->OpenRecordset(u"T", dbOpenTable));
}

void BM_TableRecordCount(benchmark::State& state) {
  auto db = DBEngine::ForThread()->OpenDatabase(TableOf(state.range(0)));
  auto rs = OpenIndexed(db);
  for (auto _ : state) benchmark::DoNotOptimize(rs->RecordCount());
}

void BM_TableMoveFirst(benchmark::State& state) {
  auto db = DBEngine::ForThread()->OpenDatabase(TableOf(state.range(0)));
  auto rs = OpenIndexed(db);
  for (auto _ : state) rs->MoveFirst();
}

void BM_TableMoveNext(benchmark::State& state) {
  auto db = DBEngine::ForThread()->OpenDatabase(TableOf(state.range(0)));
  auto rs = OpenIndexed(db);
  for (auto _ : state) {
    rs->MoveNext();
    if (rs->EOF_()) rs->MoveFirst();
  }
}

void BM_TableAddNewUpdate(benchmark::State& state) {
  auto db = DBEngine::ForThread()->OpenDatabase(TableOf(state.range(0)));
  auto rs = OpenIndexed(db);
  int32_t k = -1;
  for (auto _ : state) {
    rs->AddNew();
    rs->Fields()[u"K"]->Value(Variant(k--));
    rs->Fields()[u"NAME"]->Value(Variant(u"added"));
    rs->Update();
  }
  db->Execute(u"DELETE FROM T WHERE K < 0", dbFailOnError);
}

// The same rows added by hand: one prepared INSERT, each row its own transaction as Update makes
// it, on the same file with SQLite's default settings.
void BM_SqliteAddNew(benchmark::State& state) {
  sqlite3* db = nullptr;
  sqlite3_open(ToUtf8(TableOf(state.range(0))).c_str(), &db);
  sqlite3_stmt* insert = nullptr;
  sqlite3_prepare_v2(db, "INSERT INTO T (K, NAME) VALUES (?, 'added')", -1, &insert, nullptr);
  int32_t k = -1;
  for (auto _ : state) {
    sqlite3_bind_int(insert, 1, k--);
    if (sqlite3_step(insert) != SQLITE_DONE) state.SkipWithError("insert failed");
    sqlite3_reset(insert);
  }
  sqlite3_finalize(insert);
  sqlite3_exec(db, "DELETE FROM T WHERE K < 0", nullptr, nullptr, nullptr);
  sqlite3_close(db);
}

#define TABLE_SIZES ->Arg(1000)->Arg(1000000)->Unit(benchmark::kMicrosecond)
BENCHMARK(BM_TableSeek) TABLE_SIZES;
BENCHMARK(BM_TableOpen) TABLE_SIZES;
BENCHMARK(BM_TableRecordCount) TABLE_SIZES;
BENCHMARK(BM_TableMoveFirst) TABLE_SIZES;
BENCHMARK(BM_TableMoveNext) TABLE_SIZES;
BENCHMARK(BM_TableAddNewUpdate) TABLE_SIZES->Iterations(200);
BENCHMARK(BM_SqliteAddNew) TABLE_SIZES->Iterations(200);

}  // namespace

int main(int argc, char** argv) {
  return kivbench::RunWithTargets(
      argc, argv,
      {{"a 64 MB field in chunks against a 6.4 MB one (linear: 10)",
        "BM_Chunks/67108864/iterations:3", "BM_Chunks/6710886/iterations:3", 12.0},
       {"a row added to a table of 1,000 through AddNew and Update against an INSERT by hand",
        "BM_TableAddNewUpdate/1000/iterations:200", "BM_SqliteAddNew/1000/iterations:200", 0},
       {"a row added to a table of 1,000,000 through AddNew and Update against an INSERT by hand",
        "BM_TableAddNewUpdate/1000000/iterations:200", "BM_SqliteAddNew/1000000/iterations:200",
        0}});
}
