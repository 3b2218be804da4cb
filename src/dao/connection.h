// One open SQLite database behind a dao::Database, and the prepared statements run on it.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "kivdbxt/types.h"

namespace kiv::dao::detail {

struct TableSchema;

// An object that keeps statements or blob handles on a connection (a recordset).
class ConnectionUser {
 public:
  virtual ~ConnectionUser() = default;
  // Finishes every pending read, so that a write on the connection commits at once.
  virtual void FinishReads() = 0;
  // Drops every statement: the connection is closing.
  virtual void Detach() = 0;
};

// How long an operation waits for another process's lock before it fails.
inline constexpr int kBusyTimeoutMs = 10000;

// A prepared statement; finalized when it goes.
class Statement {
 public:
  Statement() = default;
  Statement(sqlite3* db, std::string sql);
  Statement(Statement&& other) noexcept;
  Statement& operator=(Statement&& other) noexcept;
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;
  ~Statement();

  bool Valid() const { return stmt_ != nullptr; }
  sqlite3_stmt* Raw() const { return stmt_; }
  const std::string& Sql() const { return sql_; }

  // Parameters are 1-based, as SQLite counts them.
  void BindNull(int i);
  void BindInt(int i, int64_t value);
  void BindDouble(int i, double value);
  void BindText(int i, StringView value);
  void BindBlob(int i, const uint8_t* data, size_t size);
  void BindZeroBlob(int i, int64_t size);
  void BindValue(int i, const sqlite3_value* value);

  // Steps once: true when a row is available. Raises the DAO error of a failure.
  bool Step();
  // Steps to the end (an action statement).
  void Run();
  void Reset();

  // Columns are 0-based.
  int ColumnCount() const { return sqlite3_column_count(stmt_); }
  int ColumnType(int col) const { return sqlite3_column_type(stmt_, col); }
  int64_t Int(int col) const { return sqlite3_column_int64(stmt_, col); }
  double Double(int col) const { return sqlite3_column_double(stmt_, col); }
  String Text(int col) const;
  sqlite3_value* Value(int col) const { return sqlite3_column_value(stmt_, col); }

 private:
  sqlite3_stmt* stmt_ = nullptr;
  std::string sql_;
  // The UTF-8 of each text parameter, read by SQLite in place until the parameter is bound again
  // (no copy of its own); each on the heap, so that moving the statement does not move it.
  std::vector<std::unique_ptr<std::string>> texts_;
};

struct Connection {
  Connection(sqlite3* handle, String file_name, bool read_only);
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  bool IsOpen() const { return db != nullptr; }
  // The handle of an open connection; 3420 once closed.
  sqlite3* Db() const;
  void Close();
  // Called before every write: finishes the reads of every user of the connection.
  void BeforeWrite();
  void Register(ConnectionUser* user) { users.insert(user); }
  void Unregister(ConnectionUser* user) { users.erase(user); }
  // The table's schema, cached until the database's schema changes. 3078 when it is missing.
  std::shared_ptr<const TableSchema> Schema(StringView table);
  // A statement prepared once for the life of the connection, for the writes a recordset runs
  // again and again. Each use binds, runs and resets it within one call.
  Statement& Prepared(const std::string& sql);

  sqlite3* db = nullptr;
  String name;
  bool read_only = false;
  int32_t records_affected = 0;
  std::set<ConnectionUser*> users;
  int schema_version = -1;
  std::vector<std::shared_ptr<const TableSchema>> schema_cache;
  std::map<std::string, Statement> statements;
};

// Opens (or creates) a database file. Raises DAO's errors: 3024 missing file, 3343 not a
// database, 3045 locked by another process, ...
std::shared_ptr<Connection> OpenConnection(const String& file_name, bool create, bool exclusive,
                                           bool read_only);

// Raises the DAO error for a failed SQLite call. The statement text (may be empty) selects the
// syntax error DAO reports for it.
[[noreturn]] void RaiseSqlite(sqlite3* db, int rc, std::string_view sql = {}, bool writing = false);

// Text as SQLite takes it.
std::string Utf8(StringView text);
// A name quoted for SQL: "name", with inner quotes doubled.
std::string QuoteName(StringView name);
// A text literal for SQL: 'text', with inner apostrophes doubled.
std::string QuoteLiteral(StringView text);

// The transaction of one write. With none open it begins with BEGIN IMMEDIATE: the write lock is
// taken first, so two processes writing one file wait for each other (an autocommit write that
// takes the read lock first can deadlock with another writer, and SQLite then answers BUSY at
// once). Inside an open transaction it is a savepoint. Rolled back unless committed.
class WriteTransaction {
 public:
  WriteTransaction(sqlite3* db, std::string name);
  // The same, with its BEGIN and COMMIT (or SAVEPOINT and RELEASE) prepared once on the
  // connection: a writer that commits at every call does not parse them every time.
  WriteTransaction(Connection& conn, std::string name);
  ~WriteTransaction();
  WriteTransaction(const WriteTransaction&) = delete;
  WriteTransaction& operator=(const WriteTransaction&) = delete;
  void Commit();
  // Forgets the transaction without a rollback: its connection was closed, which rolled it back.
  void Abandon() { done_ = true; }

 private:
  void Run(const std::string& sql);

  Connection* conn_ = nullptr;
  sqlite3* db_;
  std::string name_;
  bool outer_;
  bool done_ = false;
};

// A copy of a column value that outlives its statement's step.
struct ValueCopy {
  ValueCopy() = default;
  explicit ValueCopy(const sqlite3_value* v) : value(sqlite3_value_dup(v)) {}
  ValueCopy(ValueCopy&& other) noexcept : value(other.value) { other.value = nullptr; }
  ValueCopy& operator=(ValueCopy&& other) noexcept {
    std::swap(value, other.value);
    return *this;
  }
  ~ValueCopy() { sqlite3_value_free(value); }
  bool IsNull() const { return !value || sqlite3_value_type(value) == SQLITE_NULL; }
  sqlite3_value* value = nullptr;
};

}  // namespace kiv::dao::detail
