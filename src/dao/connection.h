// One open database behind a dao::Database, and the prepared statements run on it.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "dao/engine/engine.h"
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

// A prepared statement of the engine, raising DAO's errors.
class Statement {
 public:
  Statement() = default;
  Statement(engine::Connection* db, std::string sql);
  // Takes a statement the engine has prepared from `sql`.
  Statement(engine::Connection* db, std::unique_ptr<engine::Statement> prepared, std::string sql);

  bool Valid() const { return stmt_ != nullptr; }
  engine::Statement& Raw() const { return *stmt_; }
  const std::string& Sql() const { return sql_; }

  // Parameters are 1-based.
  void BindNull(int i) { stmt_->BindNull(i); }
  void BindInt(int i, int64_t value) { stmt_->BindInt(i, value); }
  void BindDouble(int i, double value) { stmt_->BindDouble(i, value); }
  void BindText(int i, StringView value);
  // Text already in UTF-8, bound as it is.
  void BindUtf8(int i, std::string value) { stmt_->BindText(i, std::move(value)); }
  void BindBlob(int i, const uint8_t* data, size_t size) { stmt_->BindBytes(i, data, size); }
  void BindZeroBlob(int i, int64_t size) { stmt_->BindZeroBytes(i, size); }
  void BindValue(int i, const engine::ValueView& value) { stmt_->BindValue(i, value); }

  // Steps once: true when a row is available. Raises the DAO error of a failure.
  bool Step();
  // Steps to the end (an action statement).
  void Run();
  // The same for a write that returns a row (INSERT ... RETURNING): its first column, as a number.
  int64_t RunReturning();
  // Steps to the end, a failure being a write's (a lock that outlasted the wait is "locked").
  void RunAsWrite();
  void Reset() { stmt_->Reset(); }

  // Columns are 0-based.
  int ColumnCount() const { return stmt_->ColumnCount(); }
  engine::ValueView Value(int col) const { return stmt_->Column(col); }
  bool IsNull(int col) const { return Value(col).kind == engine::Kind::kNull; }
  int64_t Int(int col) const;
  String Text(int col) const;

 private:
  bool Step(bool writing);

  engine::Connection* db_ = nullptr;
  std::unique_ptr<engine::Statement> stmt_;
  std::string sql_;
};

struct Connection {
  Connection(std::unique_ptr<engine::Connection> handle, String file_name, bool read_only);
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  bool IsOpen() const { return db != nullptr; }
  // The engine's connection; 3420 once closed.
  engine::Connection* Db() const;
  void Close();
  // Called before every write: finishes the reads of every user of the connection.
  void BeforeWrite();
  void FinishReads();
  void Register(ConnectionUser* user) { users.insert(user); }
  void Unregister(ConnectionUser* user) { users.erase(user); }
  // The table's schema, cached until the database's schema changes. 3078 when it is missing.
  std::shared_ptr<const TableSchema> Schema(StringView table);
  // The same, nullptr when the table is missing.
  std::shared_ptr<const TableSchema> FindSchema(StringView table);
  // A statement prepared once for the life of the connection, for the writes a recordset runs
  // again and again. Each use binds, runs and resets it within one call.
  Statement& Prepared(const std::string& sql);

  std::unique_ptr<engine::Connection> db;
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

// Raises the DAO error for a failed engine call. The statement text (may be empty) selects the
// syntax error DAO reports for it; `file` is the database a message names.
[[noreturn]] void RaiseEngine(const engine::EngineError& error, std::string_view sql = {},
                              bool writing = false, const String& file = {});

// Runs an engine call on `db`, raising the DAO error of its failure.
template <class F>
decltype(auto) EngineCall(const engine::Connection* db, F&& call, std::string_view sql = {},
                          bool writing = false) {
  try {
    return call();
  } catch (const engine::EngineError& e) {
    RaiseEngine(e, sql, writing, db ? FromUtf8(db->FileName()) : String());
  }
}

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
  WriteTransaction(engine::Connection* db, std::string name);
  // The same, with its BEGIN and COMMIT (or SAVEPOINT and RELEASE) prepared once on the
  // connection: a writer that commits at every call does not parse them every time.
  WriteTransaction(Connection& conn, std::string name);
  // The same, begun by `begin` when it is the outer transaction (several statements go to the
  // engine as one).
  WriteTransaction(Connection& conn, std::string name, const std::string& begin);
  ~WriteTransaction();
  WriteTransaction(const WriteTransaction&) = delete;
  WriteTransaction& operator=(const WriteTransaction&) = delete;
  void Commit();
  // Runs `sql` and commits, in one call to the engine when this is the outer transaction.
  void CommitWith(const std::string& sql);
  // Forgets the transaction without a rollback: its connection was closed, which rolled it back.
  void Abandon() { done_ = true; }

 private:
  void Run(const std::string& sql);

  Connection* conn_ = nullptr;
  engine::Connection* db_;
  std::string name_;
  bool outer_;
  bool done_ = false;
};

}  // namespace kiv::dao::detail
