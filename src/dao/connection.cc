#include "dao/connection.h"

#include <cstring>
#include <optional>

#include "dao/dao_errors.h"
#include "dao/schema.h"
#include "dao/wal_read_only.h"
#include "platform/fs.h"
#include "platform/text_compare.h"

namespace kiv::dao::detail {
namespace {

bool StartsWithWord(std::string_view text, std::string_view word) {
  size_t i = text.find_first_not_of(" \t\r\n(");
  if (i == std::string_view::npos || text.size() - i < word.size()) return false;
  return TextEquals(FromUtf8(text.substr(i, word.size())), FromUtf8(word));
}

// The where-clause of a statement, up to its ORDER BY, for DAO's "query expression" message.
String WhereExpression(std::string_view sql) {
  const String text = FromUtf8(sql);
  size_t at = TextFind(text, u" WHERE ");
  if (at == String::npos) return String();
  String rest = text.substr(at + 7);
  size_t order = TextFind(rest, u" ORDER BY ");
  if (order != String::npos) rest.resize(order);
  return Trim(rest);
}

[[noreturn]] void RaiseSyntax(std::string_view sql) {
  if (StartsWithWord(sql, "INSERT")) RaiseDao(kDaoSyntaxInsert);
  if (StartsWithWord(sql, "UPDATE")) RaiseDao(kDaoSyntaxUpdate);
  if (StartsWithWord(sql, "SELECT") || StartsWithWord(sql, "DELETE")) {
    String where = WhereExpression(sql);
    if (!where.empty()) RaiseDao(kDaoSyntaxExpression, where);
    RaiseDao(kDaoSyntaxFrom);
  }
  RaiseDao(kDaoInvalidStatement);
}

// The name after "prefix" in an SQLite message ("no such table: EVENTS").
String AfterPrefix(const std::string& msg, std::string_view prefix) {
  return FromUtf8(std::string_view(msg).substr(prefix.size()));
}

bool HasPrefix(const std::string& msg, std::string_view prefix) {
  return msg.compare(0, prefix.size(), prefix) == 0;
}

[[noreturn]] void RaiseGeneralError(const std::string& msg, std::string_view sql) {
  if (HasPrefix(msg, "no such table: "))
    RaiseDao(kDaoTableNotFound, AfterPrefix(msg, "no such table: "));
  // Jet takes an unknown name in a query for a parameter that has no value.
  if (HasPrefix(msg, "no such column: ")) RaiseDao(kDaoTooFewParameters, u"1");
  if (msg.find("syntax error") != std::string::npos || HasPrefix(msg, "incomplete input") ||
      HasPrefix(msg, "unrecognized token")) {
    RaiseSyntax(sql);
  }
  if (HasPrefix(msg, "table ") && msg.find(" already exists") != std::string::npos) {
    RaiseDao(kDaoTableExists, FromUtf8(msg.substr(6, msg.find(" already exists") - 6)));
  }
  if (HasPrefix(msg, "index ") && msg.find(" already exists") != std::string::npos) {
    RaiseDao(kDaoObjectExists, FromUtf8(msg.substr(6, msg.find(" already exists") - 6)));
  }
  RaiseDao(kDaoReserved, FromUtf8(msg));
}

[[noreturn]] void RaiseConstraint(int rc, const std::string& msg) {
  const size_t colon = msg.find(": ");
  const String subject = colon == std::string::npos ? String() : FromUtf8(msg.substr(colon + 2));
  switch (rc) {
    case SQLITE_CONSTRAINT_NOTNULL:
      RaiseDao(kDaoRequired, subject);
    case SQLITE_CONSTRAINT_CHECK:
      RaiseDao(kDaoZeroLength, subject);
    default:
      RaiseDao(kDaoDuplicate);
  }
}

[[noreturn]] void RaiseFor(int rc, const std::string& msg, std::string_view sql, bool writing,
                           const String& file) {
  switch (rc & 0xff) {
    // A lock held by another process outlasted the busy timeout.
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      RaiseDao(writing ? kDaoUpdateLocked : kDaoCantLock);
    case SQLITE_READONLY:
      RaiseDao(kDaoReadOnly);
    case SQLITE_CORRUPT:
      RaiseDao(kDaoCorrupt, file);
    case SQLITE_NOTADB:
      RaiseDao(kDaoUnrecognizedFormat, file);
    case SQLITE_FULL:
      RaiseDao(kDaoDiskFull);
    case SQLITE_IOERR:
      RaiseDao(kDaoDiskError);
    case SQLITE_NOMEM:
    case SQLITE_TOOBIG:
      RaiseDao(kDaoResources);
    case SQLITE_CANTOPEN:
      RaiseDao(kDaoFileNotFound, file);
    case SQLITE_MISMATCH:
      RaiseDao(kDaoConversion);
    case SQLITE_RANGE:
      RaiseDao(kDaoInvalidArgument);
    case SQLITE_CONSTRAINT:
      RaiseConstraint(rc, msg);
    default:
      RaiseGeneralError(msg, sql);
  }
}

String FileOf(sqlite3* db) {
  const char* f = db ? sqlite3_db_filename(db, "main") : nullptr;
  return f ? FromUtf8(f) : String();
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
  char* err = nullptr;
  int rc = sqlite3_exec(db, sql, nullptr, nullptr, &err);
  sqlite3_free(err);
  if (rc != SQLITE_OK) RaiseSqlite(db, rc, sql);
}

// Reads the schema once: this is where a file that is no database, or one locked by another
// process, shows itself. Returns SQLite's answer, for CheckProbe.
int Probe(sqlite3* db) {
  return sqlite3_exec(db, "SELECT count(*) FROM sqlite_master", nullptr, nullptr, nullptr);
}

void CheckProbe(sqlite3* db, int rc, const String& file_name) {
  switch (rc & 0xff) {
    case SQLITE_OK:
      return;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      RaiseDao(kDaoFileInUse, file_name);
    case SQLITE_NOTADB:
      RaiseDao(kDaoUnrecognizedFormat, file_name);
    case SQLITE_CORRUPT:
      RaiseDao(kDaoCorrupt, file_name);
    default:
      RaiseSqlite(db, rc);
  }
}

// Holds the lock of an exclusive open for as long as the connection lives.
void TakeExclusive(sqlite3* db, const String& file_name, bool read_only) {
  Exec(db, "PRAGMA locking_mode=EXCLUSIVE");
  int rc = sqlite3_exec(db, read_only ? "BEGIN" : "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr);
  if (rc == SQLITE_OK && read_only) {
    rc = sqlite3_exec(db, "SELECT count(*) FROM sqlite_master", nullptr, nullptr, nullptr);
  }
  if (rc == SQLITE_OK) rc = sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
  if ((rc & 0xff) == SQLITE_BUSY) RaiseDao(kDaoFileInUse, file_name);
  if (rc != SQLITE_OK) RaiseSqlite(db, rc);
}

}  // namespace

std::string Utf8(StringView text) { return ToUtf8(text); }

namespace {

// Text between two `quote` characters, the quote doubled inside: SQL's one escaping rule.
std::string Quoted(StringView text, char quote) {
  std::string out(1, quote);
  for (char c : Utf8(text)) {
    out.push_back(c);
    if (c == quote) out.push_back(quote);
  }
  out.push_back(quote);
  return out;
}

}  // namespace

std::string QuoteName(StringView name) { return Quoted(name, '"'); }

std::string QuoteLiteral(StringView text) { return Quoted(text, '\''); }

void RaiseSqlite(sqlite3* db, int rc, std::string_view sql, bool writing) {
  const std::string msg = db ? sqlite3_errmsg(db) : sqlite3_errstr(rc);
  RaiseFor(rc, msg, sql, writing, FileOf(db));
}

Connection::Connection(sqlite3* handle, String file_name, bool read_only_)
    : db(handle), name(std::move(file_name)), read_only(read_only_) {}

Connection::~Connection() { Close(); }

sqlite3* Connection::Db() const {
  if (!db) RaiseDao(kDaoObjectInvalid);
  return db;
}

void Connection::Close() {
  if (!db) return;
  for (ConnectionUser* user : std::set<ConnectionUser*>(users)) user->Detach();
  users.clear();
  schema_cache.clear();
  statements.clear();
  sqlite3_close_v2(db);
  db = nullptr;
}

Statement& Connection::Prepared(const std::string& sql) {
  auto it = statements.find(sql);
  if (it == statements.end()) it = statements.emplace(sql, Statement(Db(), sql)).first;
  return it->second;
}

void Connection::BeforeWrite() {
  Db();
  if (read_only) RaiseDao(kDaoReadOnly);
  // A copy, in case a user leaves the set meanwhile; a vector, as this runs at every write.
  for (ConnectionUser* user : std::vector<ConnectionUser*>(users.begin(), users.end())) {
    user->FinishReads();
  }
}

namespace {

// Opens the SQLite handle of a connection and sets it up as every connection is.
std::shared_ptr<Connection> OpenHandle(const String& file_name, const std::string& target,
                                       int flags, bool create, bool read_only) {
  sqlite3* db = nullptr;
  int rc = sqlite3_open_v2(target.c_str(), &db, flags | SQLITE_OPEN_NOMUTEX, nullptr);
  auto conn = std::make_shared<Connection>(db, file_name, read_only);
  if (rc != SQLITE_OK) {
    if ((rc & 0xff) == SQLITE_CANTOPEN)
      RaiseDao(create ? kDaoBadPath : kDaoFileNotFound, file_name);
    RaiseSqlite(db, rc);
  }
  sqlite3_extended_result_codes(db, 1);
  sqlite3_busy_handler(db, &WaitForLock, nullptr);
  // Rows that REPLACE removes must also lower the row counters.
  Exec(db, "PRAGMA recursive_triggers = ON");
  return conn;
}

}  // namespace

std::shared_ptr<Connection> OpenConnection(const String& file_name, bool create, bool exclusive,
                                           bool read_only) {
  if (create && FileExists(file_name)) RaiseDao(kDaoDatabaseExists);
  if (!create && !FileExists(file_name)) {
    const String folder = ParentFolder(file_name);
    if (!folder.empty() && !FolderExists(folder)) RaiseDao(kDaoBadPath, file_name);
    RaiseDao(kDaoFileNotFound, file_name);
  }
  int flags = read_only ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE;
  if (create) flags |= SQLITE_OPEN_CREATE;
  auto conn = OpenHandle(file_name, Utf8(file_name), flags, create, read_only);
  if (exclusive) TakeExclusive(conn->db, file_name, read_only);
  int rc = Probe(conn->db);
  if (read_only && !exclusive && ReadableOnlyAsUnchanging(rc, file_name)) {
    // A WAL file in a folder this process may only read: its shared-memory index cannot be made.
    conn = OpenHandle(file_name, UnchangingUri(file_name), SQLITE_OPEN_READONLY | SQLITE_OPEN_URI,
                      false, true);
    rc = Probe(conn->db);
  }
  CheckProbe(conn->db, rc, file_name);
  if (create) CreateSystemTables(*conn);
  return conn;
}

Statement::Statement(sqlite3* db, std::string sql) : sql_(std::move(sql)) {
  int rc = sqlite3_prepare_v2(db, sql_.c_str(), static_cast<int>(sql_.size()), &stmt_, nullptr);
  if (rc != SQLITE_OK) RaiseSqlite(db, rc, sql_);
}

Statement::Statement(Statement&& other) noexcept
    : stmt_(other.stmt_), sql_(std::move(other.sql_)), texts_(std::move(other.texts_)) {
  other.stmt_ = nullptr;
}

Statement& Statement::operator=(Statement&& other) noexcept {
  std::swap(stmt_, other.stmt_);
  std::swap(sql_, other.sql_);
  std::swap(texts_, other.texts_);
  return *this;
}

Statement::~Statement() { sqlite3_finalize(stmt_); }

void Statement::BindNull(int i) { sqlite3_bind_null(stmt_, i); }
void Statement::BindInt(int i, int64_t value) { sqlite3_bind_int64(stmt_, i, value); }
void Statement::BindDouble(int i, double value) { sqlite3_bind_double(stmt_, i, value); }
void Statement::BindText(int i, StringView value) {
  std::string text = Utf8(value);
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
void Statement::BindBlob(int i, const uint8_t* data, size_t size) {
  static const uint8_t kEmpty = 0;
  sqlite3_bind_blob64(stmt_, i, size ? data : &kEmpty, size, SQLITE_TRANSIENT);
}
void Statement::BindZeroBlob(int i, int64_t size) { sqlite3_bind_zeroblob64(stmt_, i, size); }
void Statement::BindValue(int i, const sqlite3_value* value) {
  sqlite3_bind_value(stmt_, i, value);
}

bool Statement::Step() {
  const int rc = sqlite3_step(stmt_);
  if (rc == SQLITE_ROW) return true;
  if (rc == SQLITE_DONE) return false;
  sqlite3* db = sqlite3_db_handle(stmt_);
  const std::string msg = sqlite3_errmsg(db);
  const bool writing = !sqlite3_stmt_readonly(stmt_);
  sqlite3_reset(stmt_);
  RaiseFor(rc, msg, sql_, writing, FileOf(db));
}

void Statement::Run() {
  // A write on its own gets its own transaction; VACUUM cannot run inside one. Inside an open
  // transaction one statement needs no savepoint: SQLite undoes a failed statement by itself.
  std::optional<WriteTransaction> tx;
  sqlite3* db = sqlite3_db_handle(stmt_);
  if (!sqlite3_stmt_readonly(stmt_) && sqlite3_get_autocommit(db) &&
      sql_.compare(0, 6, "VACUUM") != 0) {
    tx.emplace(db, "kiv_run");
  }
  while (Step()) {
  }
  Reset();
  if (tx) tx->Commit();
}

WriteTransaction::WriteTransaction(sqlite3* db, std::string name)
    : db_(db), name_(std::move(name)), outer_(sqlite3_get_autocommit(db) != 0) {
  Run(outer_ ? "BEGIN IMMEDIATE" : "SAVEPOINT " + name_);
}

WriteTransaction::WriteTransaction(Connection& conn, std::string name)
    : conn_(&conn),
      db_(conn.Db()),
      name_(std::move(name)),
      outer_(sqlite3_get_autocommit(db_) != 0) {
  Run(outer_ ? "BEGIN IMMEDIATE" : "SAVEPOINT " + name_);
}

// A failure is a write's failure: a lock that outlasted the wait is "locked", not "can't read".
void WriteTransaction::Run(const std::string& sql) {
  int rc;
  if (conn_) {
    sqlite3_stmt* st = conn_->Prepared(sql).Raw();
    rc = sqlite3_step(st);
    if (rc == SQLITE_DONE) rc = SQLITE_OK;
    if (rc != SQLITE_OK) {
      const std::string msg = sqlite3_errmsg(db_);
      sqlite3_reset(st);
      RaiseFor(rc, msg, sql, true, FileOf(db_));
    }
    sqlite3_reset(st);
    return;
  }
  rc = sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, nullptr);
  if (rc != SQLITE_OK) RaiseFor(rc, sqlite3_errmsg(db_), sql, true, FileOf(db_));
}

WriteTransaction::~WriteTransaction() {
  if (done_) return;
  const std::string sql = outer_ ? "ROLLBACK" : "ROLLBACK TO " + name_ + "; RELEASE " + name_;
  sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, nullptr);
}

void WriteTransaction::Commit() {
  Run(outer_ ? "COMMIT" : "RELEASE " + name_);
  done_ = true;
}

void Statement::Reset() {
  sqlite3_reset(stmt_);
  sqlite3_clear_bindings(stmt_);
}

String Statement::Text(int col) const {
  const auto* p = reinterpret_cast<const char*>(sqlite3_column_text(stmt_, col));
  return p ? FromUtf8(std::string_view(p, sqlite3_column_bytes(stmt_, col))) : String();
}

}  // namespace kiv::dao::detail
