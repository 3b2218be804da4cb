// Sector store: a write and a read next to the bare system calls they make, read and rewrite in
// a store of 10,000 and of 1,000,000 records, inserts and reads against SQLite, a read against
// LMDB's and against a copy from a mapping, compaction of a 64 MB and a 640 MB store, and a record
// of 256 MB.
#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <zlib.h>
#ifdef KIV_BENCH_POSIX
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>
#endif
#ifdef KIV_BENCH_LMDB
#include <lmdb.h>
#endif

#include <algorithm>
#include <bit>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "kivdbxt/kivdbxt.h"
#include "sector/crc32.h"
#include "targets.h"

namespace {

constexpr int32_t kPage = 4096;

std::string BenchFolder(const std::string& name) {
  auto dir = std::filesystem::temp_directory_path() / ("kivbench-sector-" + name);
  std::filesystem::remove_all(dir);
  std::filesystem::create_directories(dir);
  return dir.string();
}

std::vector<uint8_t> Bytes(size_t n, uint8_t seed) {
  std::vector<uint8_t> v(n);
  for (size_t i = 0; i < n; ++i) v[i] = static_cast<uint8_t>(seed + i * 7);
  return v;
}

void Put32(uint8_t* p, uint32_t v) { std::memcpy(p, &v, 4); }

// A new, open store in its own folder.
kiv::String NewStore(kiv::KivSector& s, const std::string& name, int32_t sector_size) {
  const kiv::String base = kiv::FromUtf8(BenchFolder(name) + "/store");
  if (s.SectorCreate(base, sector_size) || s.SectorOpen(base)) std::abort();
  return base;
}

// --- A new 4 KB record, and a read of one ----------------------------------------------------

void LibraryWriteNew4K(benchmark::State& state) {
  kiv::KivSector s;
  NewStore(s, "write", kPage);
  const std::vector<uint8_t> data = Bytes(kPage, 1);
  for (auto _ : state) {
    int32_t id = 0;
    if (s.SectorWrite(id, data)) state.SkipWithError("write failed");
  }
}

#ifdef KIV_BENCH_POSIX
// The writes a new record needs, by hand: its sector, its chain entry and its directory entry,
// with the CRC-32 of the data and of the entry.
void BaselineWriteNew4K(benchmark::State& state) {
  const std::string folder = BenchFolder("write-baseline");
  const int dir = ::open((folder + "/b.QVD").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  const int fat = ::open((folder + "/b.QVF").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  const int sec = ::open((folder + "/b.QVS").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  const std::vector<uint8_t> data = Bytes(kPage, 1);
  int64_t n = 0;
  for (auto _ : state) {
    ::pwrite(sec, data.data(), data.size(), n * kPage);
    const int32_t end = -2;
    ::pwrite(fat, &end, 4, 16 + 4 * n);
    uint8_t entry[32] = {};
    Put32(entry, static_cast<uint32_t>(n));
    const int64_t length = kPage;
    std::memcpy(entry + 8, &length, 8);
    Put32(entry + 24, static_cast<uint32_t>(crc32(0, data.data(), kPage)));
    Put32(entry + 28, static_cast<uint32_t>(crc32(0, entry, 28)));
    ::pwrite(dir, entry, sizeof entry, 64 + 32 * n);
    ++n;
  }
  ::close(dir);
  ::close(fat);
  ::close(sec);
}
#endif  // KIV_BENCH_POSIX

void LibraryRead4K(benchmark::State& state) {
  kiv::KivSector s;
  NewStore(s, "read", kPage);
  const std::vector<uint8_t> data = Bytes(kPage, 2);
  for (int i = 0; i < 1000; ++i) {
    int32_t id = 0;
    s.SectorWrite(id, data);
  }
  std::vector<uint8_t> out;
  int32_t id = 0;
  for (auto _ : state) {
    id = id % 1000 + 1;
    if (s.SectorRead(id, out)) state.SkipWithError("read failed");
    benchmark::DoNotOptimize(out.data());
  }
}

#ifdef KIV_BENCH_POSIX
// A read by hand: one pread of the record's sector into a buffer of the record's size, and the
// CRC-32 of what came back.
void BaselineRead4K(benchmark::State& state) {
  const std::string path = BenchFolder("read-baseline") + "/b.QVS";
  const int sec = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  const std::vector<uint8_t> data = Bytes(kPage, 2);
  for (int i = 0; i < 1000; ++i) ::pwrite(sec, data.data(), data.size(), int64_t{i} * kPage);
  int64_t n = 0;
  for (auto _ : state) {
    n = (n + 1) % 1000;
    std::vector<uint8_t> out(kPage);
    ::pread(sec, out.data(), out.size(), n * kPage);
    benchmark::DoNotOptimize(crc32(0, out.data(), kPage));
  }
  ::close(sec);
}

// The floor under any store that reads with pread: one pread of the same 4 KB into a buffer kept
// between reads, nothing else. A memory-mapped store such as LMDB copies from its mapping without
// entering the kernel, which no pread can match.
void PreadRead4K(benchmark::State& state) {
  const std::string path = BenchFolder("read-pread") + "/b.QVS";
  const int sec = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  const std::vector<uint8_t> data = Bytes(kPage, 2);
  for (int i = 0; i < 1000; ++i) ::pwrite(sec, data.data(), data.size(), int64_t{i} * kPage);
  std::vector<uint8_t> out(kPage);
  int64_t n = 0;
  for (auto _ : state) {
    n = (n + 1) % 1000;
    if (::pread(sec, out.data(), out.size(), n * kPage) != kPage) state.SkipWithError("pread");
    benchmark::DoNotOptimize(out.data());
  }
  ::close(sec);
}

// The floor under a read from a mapping, as the store's reads without a lock are: the same 4 KB
// copied from a mapping of the file into a buffer kept between reads, with its CRC-32 computed
// on the way (the store's own routine, nothing else of it).
void MmapRead4K(benchmark::State& state) {
  const std::string path = BenchFolder("read-mmap") + "/b.QVS";
  const int sec = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  const std::vector<uint8_t> data = Bytes(kPage, 2);
  for (int i = 0; i < 1000; ++i) ::pwrite(sec, data.data(), data.size(), int64_t{i} * kPage);
  const size_t size = size_t{1000} * kPage;
  void* map = ::mmap(nullptr, size, PROT_READ, MAP_SHARED, sec, 0);
  if (map == MAP_FAILED) std::abort();
  const auto* sectors = static_cast<const uint8_t*>(map);
  std::vector<uint8_t> out(kPage);
  int64_t n = 0;
  for (auto _ : state) {
    n = (n + 1) % 1000;
    benchmark::DoNotOptimize(kiv::sector::Crc32Copy(out.data(), sectors + n * kPage, kPage));
    benchmark::DoNotOptimize(out.data());
  }
  ::munmap(map, size);
  ::close(sec);
}
#endif  // KIV_BENCH_POSIX

// --- Cost against the size of the store --------------------------------------------------------

// Writes a store of `records` records of 100 bytes in 128-byte sectors straight from the file
// layout (record k in sector k - 1), much faster than a million calls; its CRCs are real.
// The hand-written baselines change their own copy (`copy`), which the library never opens.
kiv::String BulkStore(int64_t records, const std::string& copy = "") {
  static std::map<std::string, kiv::String> made;  // each once: a run calls a benchmark often
  const std::string name = "bulk-" + std::to_string(records) + copy;
  if (auto it = made.find(name); it != made.end()) return it->second;
  const std::string base = BenchFolder(name) + "/store";
  const int32_t sector = 128;
  const std::vector<uint8_t> data = Bytes(100, 3);
  const uint32_t crc = static_cast<uint32_t>(crc32(0, data.data(), data.size()));
  std::vector<uint8_t> dir(64 + 32 * records), fat(16 + 4 * records), sec(sector * records);
  std::memcpy(dir.data(), "QVDIR001", 8);
  Put32(&dir[8], sector);
  Put32(&dir[12], static_cast<uint32_t>(records));
  Put32(&dir[16], static_cast<uint32_t>(records));
  Put32(&dir[60], static_cast<uint32_t>(crc32(0, dir.data(), 60)));
  std::memcpy(fat.data(), "QVFAT001", 8);
  Put32(&fat[8], sector);
  Put32(&fat[12], static_cast<uint32_t>(records));
  for (int64_t k = 0; k < records; ++k) {
    uint8_t* e = &dir[64 + 32 * k];
    Put32(e, static_cast<uint32_t>(k));
    const int64_t length = 100;
    std::memcpy(e + 8, &length, 8);
    const double modified = 45356.5;
    std::memcpy(e + 16, &modified, 8);
    Put32(e + 24, crc);
    Put32(e + 28, static_cast<uint32_t>(crc32(0, e, 28)));
    Put32(&fat[16 + 4 * k], static_cast<uint32_t>(-2));
    std::memcpy(&sec[sector * k], data.data(), data.size());
  }
  for (auto [ext, bytes] :
       {std::pair{".QVD", &dir}, std::pair{".QVF", &fat}, std::pair{".QVS", &sec}}) {
#ifdef KIV_BENCH_POSIX
    const int fd = ::open((base + ext).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    // In pages, as a store grown record by record is written: one large write would leave the
    // file in the page cache in large folios, which make every later small write slower.
    for (size_t at = 0; at < bytes->size(); at += kPage) {
      ::pwrite(fd, bytes->data() + at, std::min<size_t>(kPage, bytes->size() - at), at);
    }
    ::close(fd);
#else
    std::ofstream(base + ext, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes->data()), std::streamsize(bytes->size()));
#endif
  }
  return made[name] = kiv::FromUtf8(base);
}

void ReadAt(benchmark::State& state) {
  kiv::KivSector s;
  if (s.SectorOpen(BulkStore(state.range(0)))) state.SkipWithError("open failed");
  std::mt19937 rng(1);
  std::vector<uint8_t> out;
  for (auto _ : state) {
    const int32_t id = static_cast<int32_t>(1 + rng() % state.range(0));
    if (s.SectorRead(id, out)) state.SkipWithError("read failed");
  }
}

void RewriteAt(benchmark::State& state) {
  kiv::KivSector s;
  if (s.SectorOpen(BulkStore(state.range(0)))) state.SkipWithError("open failed");
  std::mt19937 rng(1);
  const std::vector<uint8_t> data = Bytes(100, 4);
  for (auto _ : state) {
    int32_t id = static_cast<int32_t>(1 + rng() % state.range(0));
    if (s.SectorWrite(id, data)) state.SkipWithError("rewrite failed");
  }
}

#ifdef KIV_BENCH_POSIX
// What any reader and writer of these files must do at least, by hand, in a store of range(0)
// records: the floor under the two ratios above, set by the caches and the kernel's page cache
// rather than by the store's own work. A read: the entry from a mapping of the ".QVD", its CRC,
// one pread of the sector, the data's CRC.
struct BulkFiles {
  explicit BulkFiles(int64_t records) : records(records) {
    const std::string base = kiv::ToUtf8(BulkStore(records, "-by-hand"));
    dir = ::open((base + ".QVD").c_str(), O_RDWR | O_CLOEXEC);
    fat = ::open((base + ".QVF").c_str(), O_RDWR | O_CLOEXEC);
    sec = ::open((base + ".QVS").c_str(), O_RDWR | O_CLOEXEC);
    map = static_cast<uint8_t*>(::mmap(nullptr, 64 + 32 * records, PROT_READ, MAP_SHARED, dir, 0));
  }
  ~BulkFiles() {
    ::munmap(map, 64 + 32 * records);
    for (int fd : {dir, fat, sec}) ::close(fd);
  }
  int64_t records;
  int dir, fat, sec;
  uint8_t* map;
};

void BaselineReadAt(benchmark::State& state) {
  BulkFiles f(state.range(0));
  std::mt19937 rng(1);
  uint8_t entry[32], data[100];
  for (auto _ : state) {
    const int64_t k = rng() % state.range(0);
    std::memcpy(entry, f.map + 64 + 32 * k, 32);
    int32_t first;
    std::memcpy(&first, entry, 4);
    benchmark::DoNotOptimize(crc32(0, entry, 28));
    ::pread(f.sec, data, sizeof data, int64_t{first} * 128);
    benchmark::DoNotOptimize(crc32(0, data, sizeof data));
  }
}

// A rewrite: the entry and the old chain read, the data written to the sector the last rewrite
// freed, its chain entry, the entry with its CRCs, the old sector marked free.
void BaselineRewriteAt(benchmark::State& state) {
  BulkFiles f(state.range(0));
  std::mt19937 rng(1);
  const std::vector<uint8_t> data = Bytes(100, 4);
  int32_t free_sector = -1;
  for (auto _ : state) {
    const int64_t k = rng() % state.range(0);
    uint8_t entry[32];
    std::memcpy(entry, f.map + 64 + 32 * k, 32);
    int32_t old;
    std::memcpy(&old, entry, 4);
    int32_t next;
    ::pread(f.fat, &next, 4, 16 + 4 * int64_t{old});
    const int32_t target = free_sector < 0 ? old : free_sector;
    ::pwrite(f.sec, data.data(), data.size(), int64_t{target} * 128);
    const int32_t end = -2, freed = -1;
    ::pwrite(f.fat, &end, 4, 16 + 4 * int64_t{target});
    Put32(entry, static_cast<uint32_t>(target));
    Put32(entry + 24, static_cast<uint32_t>(crc32(0, data.data(), data.size())));
    Put32(entry + 28, static_cast<uint32_t>(crc32(0, entry, 28)));
    ::pwrite(f.dir, entry, sizeof entry, 64 + 32 * k);
    if (target != old) ::pwrite(f.fat, &freed, 4, 16 + 4 * int64_t{old});
    free_sector = target != old ? old : -1;
  }
}
#endif  // KIV_BENCH_POSIX

// A rewrite by one open store, then a read by another: the reader's cached table is then of an
// older generation, and its chain comes from the table file instead of a reload of the table.
void RewriteThenReadElsewhere(benchmark::State& state) {
  kiv::KivSector reader, writer;
  const kiv::String base = BulkStore(state.range(0));
  if (reader.SectorOpen(base) || writer.SectorOpen(base)) state.SkipWithError("open failed");
  std::mt19937 rng(1);
  const std::vector<uint8_t> data = Bytes(100, 4);
  std::vector<uint8_t> out;
  for (auto _ : state) {
    int32_t changed = static_cast<int32_t>(1 + rng() % state.range(0));
    const int32_t id = static_cast<int32_t>(1 + rng() % state.range(0));
    if (writer.SectorWrite(changed, data) || reader.SectorRead(id, out)) {
      state.SkipWithError("rewrite or read failed");
    }
  }
}

// Two open stores rewriting in turn: each finds the other's change, and reloads the allocation
// table (a whole pass over the ".QVF") before it can allocate. Reported, no target.
void RewriteInTurns(benchmark::State& state) {
  kiv::KivSector stores[2];
  const kiv::String base = BulkStore(state.range(0));
  if (stores[0].SectorOpen(base) || stores[1].SectorOpen(base)) state.SkipWithError("open failed");
  std::mt19937 rng(1);
  const std::vector<uint8_t> data = Bytes(100, 4);
  int turn = 0;
  for (auto _ : state) {
    int32_t id = static_cast<int32_t>(1 + rng() % state.range(0));
    if (stores[turn ^= 1].SectorWrite(id, data)) state.SkipWithError("rewrite failed");
  }
}

// --- Against SQLite --------------------------------------------------------------------------

// The same records by key in SQLite: INTEGER PRIMARY KEY and BLOB, one transaction per insert,
// WAL and synchronous OFF (the store does not sync either unless SyncWrites is set).
sqlite3* OpenSqlite(const std::string& name) {
  sqlite3* db = nullptr;
  sqlite3_open((BenchFolder(name) + "/b.db").c_str(), &db);
  sqlite3_exec(db,
               "PRAGMA journal_mode=WAL; PRAGMA synchronous=OFF;"
               "CREATE TABLE r (id INTEGER PRIMARY KEY, data BLOB)",
               nullptr, nullptr, nullptr);
  return db;
}

void SqliteInsert4K(benchmark::State& state) {
  sqlite3* db = OpenSqlite("sqlite-insert");
  sqlite3_stmt* insert = nullptr;
  sqlite3_prepare_v2(db, "INSERT INTO r (data) VALUES (?)", -1, &insert, nullptr);
  const std::vector<uint8_t> data = Bytes(kPage, 1);
  for (auto _ : state) {
    sqlite3_bind_blob(insert, 1, data.data(), kPage, SQLITE_STATIC);
    if (sqlite3_step(insert) != SQLITE_DONE) state.SkipWithError("insert failed");
    sqlite3_reset(insert);
  }
  sqlite3_finalize(insert);
  sqlite3_close(db);
}

void SqliteRead4K(benchmark::State& state) {
  sqlite3* db = OpenSqlite("sqlite-read");
  sqlite3_stmt* insert = nullptr;
  sqlite3_prepare_v2(db, "INSERT INTO r (data) VALUES (?)", -1, &insert, nullptr);
  const std::vector<uint8_t> data = Bytes(kPage, 2);
  for (int i = 0; i < 1000; ++i) {
    sqlite3_bind_blob(insert, 1, data.data(), kPage, SQLITE_STATIC);
    sqlite3_step(insert);
    sqlite3_reset(insert);
  }
  sqlite3_finalize(insert);
  sqlite3_stmt* select = nullptr;
  sqlite3_prepare_v2(db, "SELECT data FROM r WHERE id = ?", -1, &select, nullptr);
  std::vector<uint8_t> out;
  int64_t id = 0;
  for (auto _ : state) {
    id = id % 1000 + 1;
    sqlite3_bind_int64(select, 1, id);
    if (sqlite3_step(select) != SQLITE_ROW) state.SkipWithError("select failed");
    const auto* blob = static_cast<const uint8_t*>(sqlite3_column_blob(select, 0));
    out.assign(blob, blob + sqlite3_column_bytes(select, 0));
    sqlite3_reset(select);
  }
  sqlite3_finalize(select);
  sqlite3_close(db);
}

#ifdef KIV_BENCH_LMDB
// --- Against LMDB ----------------------------------------------------------------------------

// The same 1,000 records of 4 KB by key in LMDB, a memory-mapped store: each read in its own
// read-only transaction (reset and renewed, as a reader that keeps one does), the record copied
// into the caller's buffer as SectorRead gives it.
void LmdbRead4K(benchmark::State& state) {
  MDB_env* env = nullptr;
  mdb_env_create(&env);
  mdb_env_set_mapsize(env, size_t{64} << 20);
  if (mdb_env_open(env, BenchFolder("lmdb-read").c_str(), MDB_NOSYNC, 0664) != 0) std::abort();
  MDB_txn* txn = nullptr;
  MDB_dbi dbi;
  mdb_txn_begin(env, nullptr, 0, &txn);
  mdb_dbi_open(txn, nullptr, MDB_INTEGERKEY, &dbi);
  std::vector<uint8_t> data = Bytes(kPage, 2);
  for (uint32_t id = 1; id <= 1000; ++id) {
    MDB_val key{sizeof id, &id}, value{data.size(), data.data()};
    mdb_put(txn, dbi, &key, &value, 0);
  }
  mdb_txn_commit(txn);
  mdb_txn_begin(env, nullptr, MDB_RDONLY, &txn);
  mdb_txn_reset(txn);
  std::vector<uint8_t> out;
  uint32_t id = 0;
  for (auto _ : state) {
    id = id % 1000 + 1;
    MDB_val key{sizeof id, &id}, value;
    mdb_txn_renew(txn);
    if (mdb_get(txn, dbi, &key, &value) != 0) state.SkipWithError("get failed");
    const auto* bytes = static_cast<const uint8_t*>(value.mv_data);
    out.assign(bytes, bytes + value.mv_size);
    mdb_txn_reset(txn);
    benchmark::DoNotOptimize(out.data());
  }
  mdb_txn_abort(txn);
  mdb_env_close(env);
}
#endif  // KIV_BENCH_LMDB

// --- Compaction and large records --------------------------------------------------------------

// A store of range(0) MB in records of 1 MB, every other one deleted: compaction moves the upper
// half of what is left down and cuts the files to half.
void Compact(benchmark::State& state) {
  kiv::KivSector s;
  NewStore(s, "compact-" + std::to_string(state.range(0)), kPage);
  const std::vector<uint8_t> data = Bytes(1 << 20, 5);
  for (int64_t i = 0; i < state.range(0); ++i) {
    int32_t id = 0;
    s.SectorWrite(id, data);
  }
  for (int32_t id = 1; id <= state.range(0); id += 2) s.SectorDelete(id);
  for (auto _ : state) {
    if (s.SectorCompact()) state.SkipWithError("compact failed");
  }
  state.SetBytesProcessed(state.range(0) << 20);
}

#ifdef KIV_BENCH_POSIX
// The floor under compaction's ratio: the same moves done by hand in a file of range(0) records
// of 1 MB, every other one a hole, the upper half of the rest read and written down into the
// holes in 1 MB calls, and the file cut to half.
void BaselineCompact(benchmark::State& state) {
  const std::string path = BenchFolder("compact-baseline-" + std::to_string(state.range(0))) + "/b";
  const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  std::vector<uint8_t> data = Bytes(1 << 20, 5);
  const int64_t n = state.range(0);
  for (int64_t i = 0; i < n; ++i) ::pwrite(fd, data.data(), data.size(), i << 20);
  for (auto _ : state) {
    for (int64_t k = 0; k < n / 4; ++k) {
      ::pread(fd, data.data(), data.size(), (n / 2 + 2 * k + 1) << 20);
      ::pwrite(fd, data.data(), data.size(), (2 * k) << 20);
    }
    benchmark::DoNotOptimize(::ftruncate(fd, (n / 2) << 20));
  }
  ::close(fd);
  state.SetBytesProcessed(n << 20);
}
#endif  // KIV_BENCH_POSIX

void LargeRecord(benchmark::State& state) {
  kiv::KivSector s;
  NewStore(s, "large", kPage);
  const std::vector<uint8_t> data = Bytes(size_t(state.range(0)) << 20, 6);
  std::vector<uint8_t> out;
  for (auto _ : state) {
    int32_t id = 0;
    if (s.SectorWrite(id, data) || s.SectorRead(id, out) || out != data) {
      state.SkipWithError("large record failed");
    }
  }
  state.SetBytesProcessed(2 * int64_t(data.size()) * state.iterations());
}

BENCHMARK(LibraryWriteNew4K)->Iterations(20000);
#ifdef KIV_BENCH_POSIX
BENCHMARK(BaselineWriteNew4K)->Iterations(20000);
#endif
BENCHMARK(LibraryRead4K);
#ifdef KIV_BENCH_POSIX
BENCHMARK(BaselineRead4K);
BENCHMARK(PreadRead4K);
BENCHMARK(MmapRead4K);
#endif
BENCHMARK(ReadAt)->Arg(10000)->Arg(1000000);
BENCHMARK(RewriteAt)->Arg(10000)->Arg(1000000);
#ifdef KIV_BENCH_POSIX
BENCHMARK(BaselineReadAt)->Arg(10000)->Arg(1000000);
BENCHMARK(BaselineRewriteAt)->Arg(10000)->Arg(1000000);
#endif
BENCHMARK(RewriteThenReadElsewhere)->Arg(1000000);
BENCHMARK(RewriteInTurns)->Arg(1000000);
BENCHMARK(SqliteInsert4K)->Iterations(20000);
BENCHMARK(SqliteRead4K);
#ifdef KIV_BENCH_LMDB
BENCHMARK(LmdbRead4K);
#endif
BENCHMARK(Compact)->Arg(64)->Arg(640)->Iterations(1)->Unit(benchmark::kMillisecond);
#ifdef KIV_BENCH_POSIX
BENCHMARK(BaselineCompact)->Arg(64)->Arg(640)->Iterations(1)->Unit(benchmark::kMillisecond);
#endif
BENCHMARK(LargeRecord)->Arg(256)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  return kivbench::RunWithTargets(
      argc, argv,
      {{"a new 4 KB record against its pwrite calls by hand", "LibraryWriteNew4K/iterations:20000",
        "BaselineWriteNew4K/iterations:20000", 1.5},
       {"a 4 KB read against a pread and its CRC by hand", "LibraryRead4K", "BaselineRead4K", 1.3},
       {"a read in 1,000,000 records against one in 10,000", "ReadAt/1000000", "ReadAt/10000", 1.2},
       {"a rewrite in 1,000,000 records against one in 10,000", "RewriteAt/1000000",
        "RewriteAt/10000", 1.2},
       {"the floor: a read by hand in 1,000,000 records against one in 10,000",
        "BaselineReadAt/1000000", "BaselineReadAt/10000", 0},
       {"the floor: a rewrite by hand in 1,000,000 records against one in 10,000",
        "BaselineRewriteAt/1000000", "BaselineRewriteAt/10000", 0},
       {"a rewrite and a read by another store against the rewrite (1,000,000 records)",
        "RewriteThenReadElsewhere/1000000", "RewriteAt/1000000", 1.5},
       {"a 4 KB insert against SQLite's (goal: at most 0.5)", "LibraryWriteNew4K/iterations:20000",
        "SqliteInsert4K/iterations:20000", 0.5},
       {"a 4 KB read against SQLite's by key (goal: at most 0.5)", "LibraryRead4K", "SqliteRead4K",
        0.5},
       {"a 4 KB read against LMDB's mdb_get by key", "LibraryRead4K", "LmdbRead4K", 2},
       {"the floor: a plain pread of the same 4 KB against LMDB's mdb_get", "PreadRead4K",
        "LmdbRead4K", 0},
       {"the floor: a copy from a mapping and its CRC-32 by hand against LMDB's mdb_get",
        "MmapRead4K", "LmdbRead4K", 0},
       {"a 4 KB read against the plain pread of the same bytes", "LibraryRead4K", "PreadRead4K", 0},
       {"compaction of 640 MB against 64 MB", "Compact/640/iterations:1", "Compact/64/iterations:1",
        12},
       {"the floor: the same moves and cut by hand, 640 MB against 64 MB",
        "BaselineCompact/640/iterations:1", "BaselineCompact/64/iterations:1", 0}});
}
