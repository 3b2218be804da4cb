// The SQLite engine: one database file per connection.
#include <sqlite3.h>

#include <memory>
#include <string>
#include <vector>

#include "dao/engine/engine.h"
#include "dao/engine/sqlite/wal_read_only.h"

namespace kiv::dao::engine {
namespace sqlite {
namespace {

// How long an operation waits for another process's lock before it fails.
constexpr int kBusyTimeoutMs = 10000;

bool HasPrefix(const std::string& msg, std::string_view prefix) {
  return msg.compare(0, prefix.size(), prefix) == 0;
}

// The failure of a message SQLite gives only as text.
EngineError FromMessage(const std::string& msg) {
  auto after = [&](std::string_view prefix) { return msg.substr(prefix.size()); };
  if (HasPrefix(msg, "no such table: "))
    return {Failure::kNoSuchTable, msg, after("no such table: ")};
  if (HasPrefix(msg, "no such column: "))
    return {Failure::kNoSuchColumn, msg, after("no such column: ")};
  if (msg.find("syntax error") != std::string::npos || HasPrefix(msg, "incomplete input") ||
      HasPrefix(msg, "unrecognized token")) {
    return {Failure::kSyntax, msg};
  }
  const size_t exists = msg.find(" already exists");
  if (HasPrefix(msg, "table ") && exists != std::string::npos)
    return {Failure::kTableExists, msg, msg.substr(6, exists - 6)};
  if (HasPrefix(msg, "index ") && exists != std::string::npos)
    return {Failure::kIndexExists, msg, msg.substr(6, exists - 6)};
  return {Failure::kOther, msg};
}

EngineError Classify(int rc, const std::string& msg) {
  const size_t colon = msg.find(": ");
  const std::string subject = colon == std::string::npos ? std::string() : msg.substr(colon + 2);
  switch (rc & 0xff) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return {Failure::kBusy, msg};
    case SQLITE_READONLY:
      return {Failure::kReadOnly, msg};
    case SQLITE_CORRUPT:
      return {Failure::kCorrupt, msg};
    case SQLITE_NOTADB:
      return {Failure::kNotADatabase, msg};
    case SQLITE_FULL:
      return {Failure::kFull, msg};
    case SQLITE_IOERR:
      return {Failure::kIoError, msg};
    case SQLITE_NOMEM:
    case SQLITE_TOOBIG:
      return {Failure::kResources, msg};
    case SQLITE_CANTOPEN:
      return {Failure::kCantOpen, msg};
    case SQLITE_MISMATCH:
      return {Failure::kMismatch, msg};
    case SQLITE_RANGE:
      return {Failure::kRange, msg};
    case SQLITE_ABORT:
      return {Failure::kAborted, msg};
    case SQLITE_CONSTRAINT:
      if (rc == SQLITE_CONSTRAINT_NOTNULL) return {Failure::kNotNull, msg, subject};
      if (rc == SQLITE_CONSTRAINT_CHECK) return {Failure::kCheck, msg, subject};
      return {Failure::kUnique, msg};
    default:
      return FromMessage(msg);
  }
}

[[noreturn]] void Raise(sqlite3* db, int rc) {
  throw Classify(rc, db ? sqlite3_errmsg(db) : sqlite3_errstr(rc));
}

// Waits for another connection's lock in steps of about a millisecond, up to kBusyTimeoutMs. A
// writer waiting in long sleeps keeps missing the short gaps between a busy writer's
// transactions; short steps give it its turn.
int WaitForLock(void*, int attempts) {
  if (attempts >= kBusyTimeoutMs) return 0;
  sqlite3_sleep(1);
  return 1;
}

void Exec(sqlite3* db, const char* sql) {
  const int rc = sqlite3_exec(db, sql, nullptr, nullptr, nullptr);
  if (rc != SQLITE_OK) Raise(db, rc);
}

class SqliteStatement : public Statement {
 public:
  explicit SqliteStatement(sqlite3_stmt* stmt) : stmt_(stmt) {}
  ~SqliteStatement() override { sqlite3_finalize(stmt_); }

  void BindNull(int i) override { sqlite3_bind_null(stmt_, i); }
  void BindInt(int i, int64_t value) override { sqlite3_bind_int64(stmt_, i, value); }
  void BindDouble(int i, double value) override { sqlite3_bind_double(stmt_, i, value); }
  void BindText(int i, std::string text) override {
    if (i < 1 || sqlite3_stmt_busy(stmt_)) {  // SQLite refuses it; keep nothing
      sqlite3_bind_text64(stmt_, i, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
      return;
    }
    if (texts_.size() < static_cast<size_t>(i)) texts_.resize(i);
    std::unique_ptr<std::string>& kept = texts_[i - 1];
    if (!kept) kept = std::make_unique<std::string>();
    *kept = std::move(text);
    sqlite3_bind_text64(stmt_, i, kept->data(), kept->size(), SQLITE_STATIC, SQLITE_UTF8);
  }
  void BindBytes(int i, const uint8_t* data, size_t size) override {
    static const uint8_t kEmpty = 0;
    sqlite3_bind_blob64(stmt_, i, size ? data : &kEmpty, size, SQLITE_TRANSIENT);
  }
  void BindZeroBytes(int i, int64_t size) override { sqlite3_bind_zeroblob64(stmt_, i, size); }

  bool Step() override {
    const int rc = sqlite3_step(stmt_);
    if (rc == SQLITE_ROW) return true;
    if (rc == SQLITE_DONE) return false;
    sqlite3* db = sqlite3_db_handle(stmt_);
    EngineError error = Classify(rc, sqlite3_errmsg(db));
    sqlite3_reset(stmt_);
    throw error;
  }
  void Reset() override {
    sqlite3_reset(stmt_);
    sqlite3_clear_bindings(stmt_);
  }

  int ColumnCount() const override { return sqlite3_column_count(stmt_); }
  ValueView Column(int col) const override {
    ValueView v;
    switch (sqlite3_column_type(stmt_, col)) {
      case SQLITE_INTEGER:
        v.kind = Kind::kInt;
        v.i = sqlite3_column_int64(stmt_, col);
        break;
      case SQLITE_FLOAT:
        v.kind = Kind::kDouble;
        v.d = sqlite3_column_double(stmt_, col);
        break;
      case SQLITE_TEXT: {
        v.kind = Kind::kText;
        const auto* p = reinterpret_cast<const char*>(sqlite3_column_text(stmt_, col));
        v.bytes = std::string_view(p ? p : "", sqlite3_column_bytes(stmt_, col));
        break;
      }
      case SQLITE_BLOB: {
        v.kind = Kind::kBytes;
        const auto* p = static_cast<const char*>(sqlite3_column_blob(stmt_, col));
        v.bytes = std::string_view(p ? p : "", sqlite3_column_bytes(stmt_, col));
        break;
      }
      default:
        break;
    }
    return v;
  }
  std::string ColumnText(int col) const override {
    const auto* p = reinterpret_cast<const char*>(sqlite3_column_text(stmt_, col));
    return p ? std::string(p, sqlite3_column_bytes(stmt_, col)) : std::string();
  }
  std::string ColumnName(int col) const override {
    const char* name = sqlite3_column_name(stmt_, col);
    return name ? name : "";
  }
  bool ColumnOrigin(int col, std::string& table, std::string& column) const override {
    const char* t = sqlite3_column_table_name(stmt_, col);
    const char* c = sqlite3_column_origin_name(stmt_, col);
    if (!t || !c) return false;
    table = t;
    column = c;
    return true;
  }
  bool ReadOnly() const override { return sqlite3_stmt_readonly(stmt_) != 0; }

 private:
  sqlite3_stmt* stmt_;
  // The UTF-8 of each text parameter, read by SQLite in place until the parameter is bound again
  // (no copy of its own); each on the heap, so that growing the vector does not move it.
  std::vector<std::unique_ptr<std::string>> texts_;
};

class SqliteBlob : public Blob {
 public:
  SqliteBlob(sqlite3* db, sqlite3_blob* blob) : db_(db), blob_(blob) {}
  ~SqliteBlob() override { sqlite3_blob_close(blob_); }
  int64_t Size() const override { return sqlite3_blob_bytes(blob_); }
  void Read(uint8_t* out, int64_t size, int64_t offset) override {
    const int rc = sqlite3_blob_read(blob_, out, static_cast<int>(size), static_cast<int>(offset));
    if (rc != SQLITE_OK) Raise(db_, rc);
  }
  void Write(const uint8_t* data, int64_t size, int64_t offset) override {
    const int rc =
        sqlite3_blob_write(blob_, data, static_cast<int>(size), static_cast<int>(offset));
    if (rc != SQLITE_OK) Raise(db_, rc);
  }

 private:
  sqlite3* db_;
  sqlite3_blob* blob_;
};

std::string JournalMode(sqlite3* db) {
  std::string mode;
  sqlite3_stmt* st = nullptr;
  if (sqlite3_prepare_v2(db, "PRAGMA journal_mode", -1, &st, nullptr) == SQLITE_OK &&
      sqlite3_step(st) == SQLITE_ROW) {
    mode = reinterpret_cast<const char*>(sqlite3_column_text(st, 0));
  }
  sqlite3_finalize(st);
  return mode;
}

class SqliteConnection : public Connection {
 public:
  explicit SqliteConnection(sqlite3* db) : db_(db) {}
  ~SqliteConnection() override { sqlite3_close_v2(db_); }
  sqlite3* Handle() const { return db_; }

  std::unique_ptr<Statement> Prepare(std::string_view sql, size_t* used) override {
    sqlite3_stmt* st = nullptr;
    const char* tail = nullptr;
    const int rc = sqlite3_prepare_v2(db_, sql.data(), static_cast<int>(sql.size()), &st, &tail);
    if (rc != SQLITE_OK) Raise(db_, rc);
    if (used) *used = tail ? static_cast<size_t>(tail - sql.data()) : sql.size();
    if (!st) return nullptr;
    return std::make_unique<SqliteStatement>(st);
  }
  void Exec(const std::string& sql) override { sqlite::Exec(db_, sql.c_str()); }
  std::string BeginWriteSql() const override { return "BEGIN IMMEDIATE"; }
  bool InTransaction() const override { return !sqlite3_get_autocommit(db_); }
  int64_t LastInsertId() const override { return sqlite3_last_insert_rowid(db_); }
  int64_t Changes() const override { return sqlite3_changes(db_); }
  std::unique_ptr<Blob> OpenBlob(const std::string& table, const std::string& column, int64_t rowid,
                                 bool write) override {
    sqlite3_blob* blob = nullptr;
    const int rc =
        sqlite3_blob_open(db_, "main", table.c_str(), column.c_str(), rowid, write ? 1 : 0, &blob);
    if (rc != SQLITE_OK) {
      EngineError error = Classify(rc, sqlite3_errmsg(db_));
      sqlite3_blob_close(blob);
      throw error;
    }
    return std::make_unique<SqliteBlob>(db_, blob);
  }
  int64_t SchemaVersion() override {
    if (!version_) version_ = Prepare("PRAGMA schema_version", nullptr);
    version_->Step();
    const int64_t v = version_->Column(0).i;
    version_->Reset();
    return v;
  }
  void CompactInto(const std::string& dst) override {
    auto vacuum = Prepare("VACUUM INTO ?1", nullptr);
    vacuum->BindText(1, dst);
    while (vacuum->Step()) {
    }
  }
  void SetDurability(Durability durability, bool journal) override {
    const bool wal = durability != Durability::kRollback;
    if (journal && (JournalMode(db_) == "wal") != wal) {
      // Another process with the file open in WAL keeps it so; the next open tries again.
      sqlite3_exec(db_, wal ? "PRAGMA journal_mode=WAL" : "PRAGMA journal_mode=DELETE", nullptr,
                   nullptr, nullptr);
    }
    Exec(durability == Durability::kNormal ? "PRAGMA synchronous=NORMAL"
                                           : "PRAGMA synchronous=FULL");
  }
  const char* RowIdName() const override { return "rowid"; }
  const char* NullsOrder(bool) const override { return ""; }  // SQLite's own order
  bool OwnCatalog() const override { return false; }
  // BEGIN IMMEDIATE takes the file's one write lock.
  std::string BeginWritersSql(const std::string&) const override { return BeginWriteSql(); }
  std::string LockWritersSql(const std::string&) const override { return {}; }
  Notifier* Notices() override { return nullptr; }
  std::unique_ptr<Pipeline> NewPipeline() override { return nullptr; }
  bool BlobsWrittenInPlace() const override { return true; }
  std::string FileName() const override {
    const char* f = sqlite3_db_filename(db_, "main");
    return f ? f : "";
  }

 private:
  sqlite3* db_;
  std::unique_ptr<Statement> version_;
};

// Opens the SQLite handle of a connection and sets it up as every connection is.
std::unique_ptr<SqliteConnection> OpenHandle(const std::string& target, int flags) {
  sqlite3* db = nullptr;
  const int rc = sqlite3_open_v2(target.c_str(), &db, flags | SQLITE_OPEN_NOMUTEX, nullptr);
  auto conn = std::make_unique<SqliteConnection>(db);
  if (rc != SQLITE_OK) {
    if ((rc & 0xff) == SQLITE_CANTOPEN) throw EngineError(Failure::kCantOpen, "cannot open");
    Raise(db, rc);
  }
  sqlite3_extended_result_codes(db, 1);
  sqlite3_busy_handler(db, &WaitForLock, nullptr);
  // Rows that REPLACE removes must also lower the row counters.
  Exec(db, "PRAGMA recursive_triggers = ON");
  return conn;
}

// Reads the schema once: this is where a file that is no database, or one locked by another
// process, shows itself. Returns SQLite's answer, for CheckProbe.
int Probe(sqlite3* db) {
  return sqlite3_exec(db, "SELECT count(*) FROM sqlite_master", nullptr, nullptr, nullptr);
}

void CheckProbe(sqlite3* db, int rc) {
  switch (rc & 0xff) {
    case SQLITE_OK:
      return;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      throw EngineError(Failure::kInUse, "database is locked");
    default:
      Raise(db, rc);
  }
}

// Holds the lock of an exclusive open for as long as the connection lives.
void TakeExclusive(sqlite3* db, bool read_only) {
  Exec(db, "PRAGMA locking_mode=EXCLUSIVE");
  int rc = sqlite3_exec(db, read_only ? "BEGIN" : "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr);
  if (rc == SQLITE_OK && read_only) rc = Probe(db);
  if (rc == SQLITE_OK) rc = sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
  if ((rc & 0xff) == SQLITE_BUSY) throw EngineError(Failure::kInUse, "database is locked");
  if (rc != SQLITE_OK) Raise(db, rc);
}

std::unique_ptr<SqliteConnection> Open(const std::string& file, const OpenMode& mode) {
  int flags = mode.read_only ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE;
  if (mode.create) flags |= SQLITE_OPEN_CREATE;
  auto conn = OpenHandle(file, flags);
  if (mode.exclusive) TakeExclusive(conn->Handle(), mode.read_only);
  int rc = Probe(conn->Handle());
  if (mode.read_only && !mode.exclusive && ReadableOnlyAsUnchanging(rc, file)) {
    // A WAL file in a folder this process may only read: its shared-memory index cannot be made.
    conn = OpenHandle(UnchangingUri(file), SQLITE_OPEN_READONLY | SQLITE_OPEN_URI);
    rc = Probe(conn->Handle());
  }
  CheckProbe(conn->Handle(), rc);
  return conn;
}

// Copies every page of the file `from` over the main database of `to`; the destination shrinks
// to the copy's size. Its connection's lock is kept: locking mode is exclusive.
void CopyBack(SqliteConnection& to, const std::string& from) {
  auto source = Open(from, OpenMode{false, false, true});
  sqlite3_backup* backup = sqlite3_backup_init(to.Handle(), "main", source->Handle(), "main");
  if (!backup) Raise(to.Handle(), sqlite3_errcode(to.Handle()));
  const int rc = sqlite3_backup_step(backup, -1);
  sqlite3_backup_finish(backup);
  if (rc != SQLITE_DONE) Raise(to.Handle(), rc);
}

// A database in WAL mode is kept open by every connection to it (each holds the shared memory),
// so it is never free for an exclusive hold: it is compacted by one write transaction instead,
// which writers wait for and readers read beside, through SQLite's own unnamed copy.
bool CompactedInWal(const std::string& name) {
  auto conn = Open(name, OpenMode{});
  if (JournalMode(conn->Handle()) != "wal") return false;
  Exec(conn->Handle(), "VACUUM");
  sqlite3_exec(conn->Handle(), "PRAGMA wal_checkpoint(TRUNCATE)", nullptr, nullptr, nullptr);
  return true;
}

}  // namespace
}  // namespace sqlite

std::unique_ptr<Connection> OpenSqlite(const std::string& file, const OpenMode& mode) {
  return sqlite::Open(file, mode);
}

void CompactSqliteInPlace(const std::string& name, const std::string& tmp) {
  if (sqlite::CompactedInWal(name)) return;
  auto conn = sqlite::Open(name, OpenMode{false, true, false});
  conn->CompactInto(tmp);
  sqlite::CopyBack(*conn, tmp);
}

}  // namespace kiv::dao::engine
