// The storage engine under the DAO model: what the model asks of a database, in terms that are
// neither SQLite's nor PostgreSQL's. The model raises DAO's errors; an engine raises EngineError
// with an engine-neutral Failure, which the model maps to DAO's numbers in one table.
//
// A name that is a postgresql:// or postgres:// URI is a PostgreSQL database; any other name is
// a SQLite file.
#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <string_view>

namespace kiv::dao::engine {

// Why an engine call failed.
enum class Failure {
  kBusy,           // another connection's lock outlasted the wait
  kInUse,          // an open found the database held by another connection
  kReadOnly,       // a write on a database that may only be read
  kCorrupt,        // the database is damaged
  kNotADatabase,   // the file is no database
  kCantOpen,       // the database cannot be opened (missing file or folder)
  kUnreadableWal,  // a WAL file that holds commits, in a folder that may only be read
  kFull,           // the disk is full
  kIoError,        // the disk failed
  kResources,      // out of memory, or a value too big
  kMismatch,       // a value of the wrong type
  kRange,          // a parameter number out of range
  kAborted,        // the row under a blob handle changed
  kNotNull,        // a NOT NULL constraint
  kCheck,          // a CHECK constraint (the zero-length rule)
  kUnique,         // a unique index or key
  kNoSuchTable,    // subject: the table's name
  kNoSuchColumn,   // subject: the column's name
  kSyntax,         // the statement cannot be read
  kTableExists,    // subject: the table's name
  kIndexExists,    // subject: the index's name
  kUnreachable,    // the server cannot be reached, is starting up, or has no free connection
  kAuthFailed,     // the server refused the credentials
  kNoDatabase,     // the server has no such database
  kOther,          // anything else: message says what
};

struct EngineError : std::exception {
  EngineError(Failure f, std::string msg, std::string subj = {})
      : failure(f), message(std::move(msg)), subject(std::move(subj)) {}
  const char* what() const noexcept override { return message.c_str(); }

  Failure failure;
  std::string message;  // the engine's own text (never a password)
  std::string subject;  // the name a Failure is about, when it has one
};

// A stored value as the engine hands it out. Text is UTF-8; the bytes of a view stay valid
// until its statement steps, resets or goes.
enum class Kind { kNull, kInt, kDouble, kText, kBytes };

struct ValueView {
  Kind kind = Kind::kNull;
  int64_t i = 0;
  double d = 0;
  std::string_view bytes;
};

// A value that outlives its statement.
struct Value {
  Value() = default;
  explicit Value(const ValueView& v) : kind(v.kind), i(v.i), d(v.d), bytes(v.bytes) {}
  ValueView View() const { return {kind, i, d, bytes}; }
  bool IsNull() const { return kind == Kind::kNull; }

  Kind kind = Kind::kNull;
  int64_t i = 0;
  double d = 0;
  std::string bytes;
};

// A prepared statement. Parameters are 1-based, columns 0-based.
class Statement {
 public:
  virtual ~Statement() = default;
  virtual void BindNull(int i) = 0;
  virtual void BindInt(int i, int64_t value) = 0;
  virtual void BindDouble(int i, double value) = 0;
  virtual void BindText(int i, std::string utf8) = 0;
  virtual void BindBytes(int i, const uint8_t* data, size_t size) = 0;
  // A value of `size` zero bytes, to be written afterwards through a Blob.
  virtual void BindZeroBytes(int i, int64_t size) = 0;
  // A value as another statement gave it, bound with its own kind.
  void BindValue(int i, const ValueView& value);

  // True when a row is available; false at the end.
  virtual bool Step() = 0;
  // Back to before the first step, with every parameter unbound.
  virtual void Reset() = 0;

  virtual int ColumnCount() const = 0;
  virtual ValueView Column(int col) const = 0;
  // The column's value as text, converted as the engine converts it.
  virtual std::string ColumnText(int col) const = 0;
  virtual std::string ColumnName(int col) const = 0;
  // The table and column a result column comes from; false for a computed one.
  virtual bool ColumnOrigin(int col, std::string& table, std::string& column) const = 0;
  // True when the statement changes nothing.
  virtual bool ReadOnly() const = 0;
  // True when a write on the connection leaves the rows still to come as they are, so that
  // nothing need be read before it (a server's cursor that outlives transactions).
  virtual bool OutlivesWrites() const { return false; }
};

// Random access to one stored long binary value.
class Blob {
 public:
  virtual ~Blob() = default;
  virtual int64_t Size() const = 0;
  virtual void Read(uint8_t* out, int64_t size, int64_t offset) = 0;
  virtual void Write(const uint8_t* data, int64_t size, int64_t offset) = 0;
};

// Notices between connections of one database, delivered when the sender's transaction commits
// (in commit order, never for a rollback). A channel belongs to the connection's schema: logs in
// two schemas of one database never hear each other.
class Notifier {
 public:
  virtual ~Notifier() = default;
  // Sends `payload` on `channel` at the commit of the current transaction.
  virtual void Notify(const std::string& channel, const std::string& payload) = 0;
  // The statement that does what Notify does, to go to the engine with others.
  virtual std::string NotifySql(const std::string& channel, const std::string& payload) const = 0;
  // The same with the channel and the payload (not empty) as parameters 1 and 2, to be prepared
  // once.
  virtual std::string NotifyByParametersSql() const = 0;
  // From now on this connection hears `channel` (once is enough).
  virtual void Listen(const std::string& channel) = 0;
  // Waits up to `timeout_ms` for notices; takes all that came and returns how many (0: none).
  virtual int Wait(int timeout_ms) = 0;
};

// Statements sent to the engine together and answered together: on a server one round trip for
// all of them, where each alone costs one. The statements run in the order queued.
class Pipeline {
 public:
  virtual ~Pipeline() = default;
  // Queues statements without parameters ("BEGIN; SELECT ...").
  virtual void Add(const std::string& sql) = 0;
  // Queues a statement of this connection, with the parameters bound to it now; after Run its
  // rows are read by Step as if it had run alone.
  virtual void Add(Statement& statement) = 0;
  // The text of a check: a statement that lets the pipeline go on only when `condition` (an SQL
  // truth value, which may take parameters) holds. Prepare it once, bind it, queue it with Add.
  virtual std::string CheckSql(const std::string& condition) const = 0;
  // Sends what was queued and reads every answer. False when a check did not hold: nothing after
  // it ran. Raises the first failure, after which nothing ran either. A transaction left failed
  // by either is rolled back.
  virtual bool Run() = 0;
};

// How commits are kept: Normal may lose the last commits on a loss of power, Full never does,
// Rollback is Full without a write-ahead log (for file systems without shared memory).
enum class Durability { kNormal, kFull, kRollback };

struct OpenMode {
  bool create = false;
  bool exclusive = false;
  bool read_only = false;
};

class Connection {
 public:
  virtual ~Connection() = default;

  // Prepares the first statement of `sql`; `used` receives the length of the text it took.
  // nullptr when that text holds only blanks or comments.
  virtual std::unique_ptr<Statement> Prepare(std::string_view sql, size_t* used = nullptr) = 0;
  // Prepares a query (one statement) whose rows may be many and are read as it is stepped: a
  // server sends them a block per round trip through a cursor that outlives the connection's
  // transactions. A file steps them as Prepare's statements do.
  virtual std::unique_ptr<Statement> PrepareInBlocks(std::string_view sql) { return Prepare(sql); }
  // Runs statements that return no rows.
  virtual void Exec(const std::string& sql) = 0;
  // Begins the write transaction of one change: the write lock is taken first, so that writers
  // of one database wait for each other rather than deadlock.
  virtual std::string BeginWriteSql() const = 0;
  virtual bool InTransaction() const = 0;
  // The statements that begin a write transaction and wait for the lock of `resource` that
  // writers of one database take first, held to its end: their commits then come one at a time,
  // in the order they took it. Several statements go to the engine as one (one round trip).
  virtual std::string BeginWritersSql(const std::string& resource) const = 0;
  // The statement of BeginWritersSql that waits for that lock, after BeginWriteSql; empty when
  // BeginWriteSql takes it itself.
  virtual std::string LockWritersSql(const std::string& resource) const = 0;
  // Notices between connections; nullptr when the engine has none (a file is polled).
  virtual Notifier* Notices() = 0;
  // A new pipeline; nullptr when statements cost no round trip (a file).
  virtual std::unique_ptr<Pipeline> NewPipeline() = 0;
  // The row id of the last row inserted on this connection.
  virtual int64_t LastInsertId() const = 0;
  // Rows changed by the last statement.
  virtual int64_t Changes() const = 0;
  virtual std::unique_ptr<Blob> OpenBlob(const std::string& table, const std::string& column,
                                         int64_t rowid, bool write) = 0;
  // A number that changes whenever the schema does.
  virtual int64_t SchemaVersion() = 0;
  // Writes a compacted copy of the database to `dst` (a new file).
  virtual void CompactInto(const std::string& dst) = 0;
  // With `journal` the database's journal follows the durability too.
  virtual void SetDurability(Durability durability, bool journal) = 0;
  // The name of the hidden column that identifies a row (what a bookmark holds).
  virtual const char* RowIdName() const = 0;
  // What follows a key in ORDER BY so that Nulls come first in ascending order and last in
  // descending order, as Jet orders them.
  virtual const char* NullsOrder(bool descending) const = 0;
  // True when the model keeps its tables' DAO types, sizes and indexes in a catalog table of its
  // own (a server, whose names and types cannot carry them), false when the database's own
  // schema holds them.
  virtual bool OwnCatalog() const = 0;
  // True when a long value is best written in place through a Blob after a zero-filled insert;
  // false when every slice written rewrites the value, so that it goes whole with its row.
  virtual bool BlobsWrittenInPlace() const = 0;
  // The database's name as messages show it (a file's full path; never a password).
  virtual std::string FileName() const = 0;
};

// True for a postgresql:// or postgres:// URI.
bool IsServerName(std::string_view name);
// The name as it may be shown: a URI without its password (user:secret@, password=...).
std::string ShownName(std::string_view name);

// Opens a PostgreSQL database named by a URI. A connect timeout is always set. Failures that can
// pass by waiting (server unreachable, starting up, no free connection) are kUnreachable; a
// refused password is kAuthFailed, a missing database kNoDatabase.
std::unique_ptr<Connection> OpenPostgres(const std::string& uri, const OpenMode& mode);

// Opens (or creates) a SQLite file; the caller has checked that it exists, or not.
std::unique_ptr<Connection> OpenSqlite(const std::string& file, const OpenMode& mode);

// Compacts the SQLite file `name` in place through the temporary file `tmp`: other connections
// keep working on the one file and see the compacted content.
void CompactSqliteInPlace(const std::string& name, const std::string& tmp);

}  // namespace kiv::dao::engine
