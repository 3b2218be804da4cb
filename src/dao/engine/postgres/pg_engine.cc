// The PostgreSQL engine: one libpq connection per database connection.
//
// Statements are prepared on the server under names of their own. Parameters go as text (bytes
// as binary), results come back as text and are read by their column's type. SQL is the
// server's own dialect, apart from the parameter marks "?" and "?N" the model writes, which
// become "$N".
#include <libpq-fe.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "dao/engine/engine.h"
#include "dao/engine/postgres/pg_notifier.h"
#include "dao/engine/postgres/pg_pipeline.h"
#include "dao/engine/postgres/pg_result.h"
#include "dao/engine/postgres/pg_sql.h"

namespace kiv::dao::engine {
namespace postgres {
namespace {

// How long an open waits for the server, and a statement for another connection's lock.
constexpr const char* kConnectTimeoutSeconds = "10";
constexpr const char* kLockTimeout = "SET lock_timeout = '10s'";

// Type OIDs of the results read as numbers or bytes.
constexpr Oid kBoolOid = 16, kByteaOid = 17, kInt8Oid = 20, kInt2Oid = 21, kInt4Oid = 23,
              kOidOid = 26, kFloat4Oid = 700, kFloat8Oid = 701, kNumericOid = 1700;

bool Contains(const std::string& text, const char* part) {
  return text.find(part) != std::string::npos;
}

// The failure of an open: the server gives no SQLSTATE before a session exists, only its text
// (in English: the test server and the library expect lc_messages C).
EngineError OpenFailure(const std::string& msg, bool needs_password) {
  if (needs_password || Contains(msg, "password authentication failed") ||
      Contains(msg, "authentication failed")) {
    return {Failure::kAuthFailed, "the server refused the credentials"};
  }
  if (Contains(msg, "does not exist") && Contains(msg, "database"))
    return {Failure::kNoDatabase, msg};
  if (Contains(msg, "does not exist") && Contains(msg, "role"))
    return {Failure::kAuthFailed, "the server refused the credentials"};
  return {Failure::kUnreachable, msg};
}

// A text literal for the server, quoted and escaped by libpq.
std::string Literal(PGconn* conn, const std::string& text) {
  char* quoted = PQescapeLiteral(conn, text.data(), text.size());
  if (!quoted) throw EngineError(Failure::kResources, PQerrorMessage(conn));
  std::string out(quoted);
  PQfreemem(quoted);
  return out;
}

std::string DecodeBytea(const char* text) {
  size_t n = 0;
  unsigned char* raw = PQunescapeBytea(reinterpret_cast<const unsigned char*>(text), &n);
  std::string out(reinterpret_cast<const char*>(raw), n);
  PQfreemem(raw);
  return out;
}

class PgConnection : public Connection {
 public:
  PgConnection(PGconn* conn, std::string shown)
      : conn_(conn), shown_(std::move(shown)), notifier_(conn) {}
  ~PgConnection() override { PQfinish(conn_); }

  PGconn* Handle() const { return conn_; }
  // Rows an INSERT, UPDATE or DELETE changed; other commands (COMMIT among them) leave the count
  // of the last one, as SQLite does.
  void CountChanges(const PGresult* res) {
    const char* n = PQcmdTuples(const_cast<PGresult*>(res));
    if (*n) changes_ = std::atoll(n);
  }
  std::string NextName() { return "kiv_" + std::to_string(++statements_); }
  bool Origin(Oid table, int column, std::string& table_name, std::string& column_name);

  std::unique_ptr<Statement> Prepare(std::string_view sql, size_t* used) override;
  std::unique_ptr<Statement> PrepareInBlocks(std::string_view sql) override;
  void Exec(const std::string& sql) override {
    Result res = Checked(conn_, PQexec(conn_, sql.c_str()));
    CountChanges(res.get());
  }
  std::string BeginWriteSql() const override { return "BEGIN"; }
  bool InTransaction() const override { return PQtransactionStatus(conn_) != PQTRANS_IDLE; }
  // An advisory lock of the transaction, keyed by the schema and the resource: writers of one
  // log wait for each other, logs in other schemas do not.
  std::string BeginWritersSql(const std::string& resource) const override {
    return "BEGIN; " + LockWritersSql(resource);
  }
  std::string LockWritersSql(const std::string& resource) const override {
    return "SELECT pg_advisory_xact_lock(hashtext(current_schema() || '/' || " +
           Literal(conn_, resource) + "))";
  }
  Notifier* Notices() override { return &notifier_; }
  std::unique_ptr<Pipeline> NewPipeline() override { return std::make_unique<PgPipeline>(conn_); }
  int64_t LastInsertId() const override {
    Result res(PQexec(conn_, "SELECT lastval()"));
    if (PQresultStatus(res.get()) != PGRES_TUPLES_OK || PQntuples(res.get()) != 1) return 0;
    return std::atoll(PQgetvalue(res.get(), 0, 0));
  }
  int64_t Changes() const override { return changes_; }
  std::unique_ptr<Blob> OpenBlob(const std::string& table, const std::string& column, int64_t rowid,
                                 bool write) override;
  int64_t SchemaVersion() override {
    // Every change of a table or an index rewrites its row in pg_class or pg_index.
    Result res = Checked(
        conn_, PQexec(conn_,
                      "SELECT coalesce(sum(xmin::text::bigint), 0) + count(*) FROM pg_class "
                      "WHERE relnamespace = current_schema()::regnamespace"));
    return std::atoll(PQgetvalue(res.get(), 0, 0));
  }
  void CompactInto(const std::string&) override {
    throw EngineError(Failure::kOther, "a server database is compacted in place (VACUUM)");
  }
  void SetDurability(Durability durability, bool) override {
    // Asked at every open of a log, which without KeepAlive is every call: a setting the session
    // has already costs no round trip. A SET inside a transaction goes with its rollback.
    if (durability == durability_ && !InTransaction()) return;
    Exec(durability == Durability::kNormal ? "SET synchronous_commit = off"
                                           : "SET synchronous_commit = on");
    durability_ = InTransaction() ? std::nullopt : std::optional(durability);
  }
  const char* RowIdName() const override { return "kiv_rowid"; }
  const char* NullsOrder(bool descending) const override {
    return descending ? " NULLS LAST" : " NULLS FIRST";
  }
  bool OwnCatalog() const override { return true; }
  bool BlobsWrittenInPlace() const override { return false; }
  std::string FileName() const override { return shown_; }

 private:
  PGconn* conn_;
  std::string shown_;
  int64_t changes_ = 0;
  int64_t statements_ = 0;
  std::optional<Durability> durability_;  // as set on the session, when known
  std::map<std::pair<Oid, int>, std::pair<std::string, std::string>> origins_;
  PgNotifier notifier_;
};

class PgStatement : public Statement, public PipelinedStatement {
 public:
  PgStatement(PgConnection& conn, std::string name, int params, Result description, bool read_only)
      : conn_(conn),
        name_(std::move(name)),
        params_(params),
        description_(std::move(description)),
        read_only_(read_only) {
    values_.resize(params_);
    binary_.resize(params_);
  }
  ~PgStatement() override {
    if (PQtransactionStatus(conn_.Handle()) == PQTRANS_INERROR) return;  // gone with the session
    CloseCursor();
    PQclear(PQexec(conn_.Handle(), ("DEALLOCATE " + name_).c_str()));
  }
  // From now on the rows come through a cursor of its own, kBlockRows at a time.
  void ReadInBlocks(std::string server_sql) { cursor_sql_ = std::move(server_sql); }

  void BindNull(int i) override { Set(i, std::nullopt, false); }
  void BindInt(int i, int64_t value) override { Set(i, std::to_string(value), false); }
  void BindDouble(int i, double value) override {
    char text[32];
    std::snprintf(text, sizeof text, "%.17g", value);
    Set(i, std::string(text), false);
  }
  void BindText(int i, std::string utf8) override { Set(i, std::move(utf8), false); }
  void BindBytes(int i, const uint8_t* data, size_t size) override {
    Set(i, std::string(reinterpret_cast<const char*>(data), size), true);
  }
  void BindZeroBytes(int i, int64_t size) override {
    Set(i, std::string(static_cast<size_t>(size), '\0'), true);
  }

  bool Step() override {
    if (!result_) cursor_sql_.empty() ? Execute() : OpenCursor();
    while (row_ + 1 >= PQntuples(result_.get())) {
      if (!cursor_open_ || cursor_done_) {
        row_ = PQntuples(result_.get());
        return false;
      }
      FetchBlock();
    }
    ++row_;
    return true;
  }
  void Reset() override {
    CloseCursor();
    result_.reset();
    row_ = -1;
    for (auto& value : values_) value.reset();
  }

  int ColumnCount() const override { return PQnfields(description_.get()); }
  ValueView Column(int col) const override {
    ValueView v;
    if (!result_ || row_ < 0 || row_ >= PQntuples(result_.get())) return v;
    if (PQgetisnull(result_.get(), row_, col)) return v;
    const char* text = PQgetvalue(result_.get(), row_, col);
    const int length = PQgetlength(result_.get(), row_, col);
    switch (PQftype(result_.get(), col)) {
      case kBoolOid:
        v.kind = Kind::kInt;
        v.i = text[0] == 't' ? 1 : 0;
        break;
      case kInt2Oid:
      case kInt4Oid:
      case kInt8Oid:
      case kOidOid:
        v.kind = Kind::kInt;
        v.i = std::strtoll(text, nullptr, 10);
        break;
      case kFloat4Oid:
      case kFloat8Oid:
      case kNumericOid:
        v.kind = Kind::kDouble;
        v.d = std::strtod(text, nullptr);
        break;
      case kByteaOid:
        decoded_[col] = DecodeBytea(text);
        v.kind = Kind::kBytes;
        v.bytes = decoded_[col];
        break;
      default:
        v.kind = Kind::kText;
        v.bytes = std::string_view(text, length);
    }
    return v;
  }
  std::string ColumnText(int col) const override {
    if (!result_ || row_ < 0 || PQgetisnull(result_.get(), row_, col)) return {};
    return PQgetvalue(result_.get(), row_, col);
  }
  std::string ColumnName(int col) const override { return PQfname(description_.get(), col); }
  bool ColumnOrigin(int col, std::string& table, std::string& column) const override {
    const Oid t = PQftable(description_.get(), col);
    const int c = PQftablecol(description_.get(), col);
    return t != InvalidOid && c > 0 && conn_.Origin(t, c, table, column);
  }
  bool ReadOnly() const override { return read_only_; }
  bool OutlivesWrites() const override { return !cursor_sql_.empty(); }

 private:
  static constexpr int kBlockRows = 1000;

  // WITH HOLD: the cursor stays open across the commits of writes made meanwhile.
  void OpenCursor() {
    const Params p = Bound();
    PGconn* pg = conn_.Handle();
    const std::string declare = "DECLARE " + name_ + "_c CURSOR WITH HOLD FOR " + cursor_sql_;
    cursor_done_ = false;
    if (params_ == 0) {  // the declaration and the first block in one round trip
      Result block = Checked(pg, PQexec(pg, (declare + "; " + FetchSql()).c_str()));
      cursor_open_ = true;
      return Received(std::move(block));
    }
    Checked(pg, PQexecParams(pg, declare.c_str(), params_, nullptr, p.values.data(),
                             p.lengths.data(), binary_.data(), 0));
    cursor_open_ = true;
    FetchBlock();
  }
  std::string FetchSql() const {
    return "FETCH " + std::to_string(kBlockRows) + " FROM " + name_ + "_c";
  }
  void FetchBlock() {
    PGconn* pg = conn_.Handle();
    Received(Checked(pg, PQexec(pg, FetchSql().c_str())));
  }
  void Received(Result block) {
    Receive(std::move(block));
    cursor_done_ = PQntuples(result_.get()) < kBlockRows;
  }
  void CloseCursor() {
    if (!cursor_open_) return;
    cursor_open_ = false;
    PQclear(PQexec(conn_.Handle(), ("CLOSE " + name_ + "_c").c_str()));
  }

  void Set(int i, std::optional<std::string> value, bool binary) {
    if (i < 1 || i > params_) throw EngineError(Failure::kRange, "no such parameter");
    values_[i - 1] = std::move(value);
    binary_[i - 1] = binary ? 1 : 0;
  }
  // The bound parameters as libpq takes them, valid until the next bind.
  struct Params {
    std::vector<const char*> values;
    std::vector<int> lengths;
  };
  Params Bound() const {
    Params p{std::vector<const char*>(params_), std::vector<int>(params_)};
    for (int i = 0; i < params_; ++i) {
      p.values[i] = values_[i] ? values_[i]->data() : nullptr;
      p.lengths[i] = values_[i] ? static_cast<int>(values_[i]->size()) : 0;
    }
    return p;
  }
  void Execute() {
    const Params p = Bound();
    PGconn* pg = conn_.Handle();
    Receive(Checked(pg, PQexecPrepared(pg, name_.c_str(), params_, p.values.data(),
                                       p.lengths.data(), binary_.data(), 0)));
  }

 public:
  bool Send() override {
    const Params p = Bound();
    return PQsendQueryPrepared(conn_.Handle(), name_.c_str(), params_, p.values.data(),
                               p.lengths.data(), binary_.data(), 0) != 0;
  }
  void Receive(Result result) override {
    result_ = std::move(result);
    conn_.CountChanges(result_.get());
    decoded_.assign(PQnfields(result_.get()), std::string());
    row_ = -1;
  }

 private:
  PgConnection& conn_;
  std::string name_;
  int params_;
  Result description_;
  bool read_only_;
  std::vector<std::optional<std::string>> values_;
  std::vector<int> binary_;
  Result result_;
  int row_ = -1;
  mutable std::vector<std::string> decoded_;
  std::string cursor_sql_;  // the query, when its rows come through a cursor
  bool cursor_open_ = false;
  bool cursor_done_ = false;  // the cursor's last block has come
};

// A long binary value read and written in slices on the server (stored uncompressed, so that a
// slice costs what it reads).
class PgBlob : public Blob {
 public:
  PgBlob(PgConnection& conn, std::string table, std::string column, int64_t rowid)
      : conn_(conn), table_(std::move(table)), column_(std::move(column)), rowid_(rowid) {
    auto size = conn_.Prepare("SELECT octet_length(" + QuoteIdent(column_) + ") FROM " +
                                  QuoteIdent(table_) + " WHERE kiv_rowid = ?1",
                              nullptr);
    size->BindInt(1, rowid_);
    if (!size->Step()) throw EngineError(Failure::kAborted, "the row is gone");
    size_ = size->Column(0).i;
  }
  int64_t Size() const override { return size_; }
  void Read(uint8_t* out, int64_t size, int64_t offset) override {
    auto slice =
        conn_.Prepare("SELECT substring(" + QuoteIdent(column_) + " FROM ?1 FOR ?2) FROM " +
                          QuoteIdent(table_) + " WHERE kiv_rowid = ?3",
                      nullptr);
    slice->BindInt(1, offset + 1);
    slice->BindInt(2, size);
    slice->BindInt(3, rowid_);
    if (!slice->Step()) throw EngineError(Failure::kAborted, "the row is gone");
    const ValueView v = slice->Column(0);
    if (static_cast<int64_t>(v.bytes.size()) != size)
      throw EngineError(Failure::kAborted, "the value changed");
    std::copy(v.bytes.begin(), v.bytes.end(), out);
  }
  void Write(const uint8_t* data, int64_t size, int64_t offset) override {
    auto put = conn_.Prepare("UPDATE " + QuoteIdent(table_) + " SET " + QuoteIdent(column_) +
                                 " = overlay(" + QuoteIdent(column_) + " PLACING ?1 FROM ?2) " +
                                 "WHERE kiv_rowid = ?3",
                             nullptr);
    put->BindBytes(1, data, static_cast<size_t>(size));
    put->BindInt(2, offset + 1);
    put->BindInt(3, rowid_);
    put->Step();
  }

 private:
  PgConnection& conn_;
  std::string table_, column_;
  int64_t rowid_;
  int64_t size_ = 0;
};

std::unique_ptr<Statement> PgConnection::Prepare(std::string_view sql, size_t* used) {
  size_t length = 0;
  const ServerSql server = ToServerSql(sql, &length);
  if (used) *used = length;
  if (server.blank) return nullptr;
  const std::string name = NextName();
  Checked(conn_, PQprepare(conn_, name.c_str(), server.text.c_str(), 0, nullptr));
  Result description = Checked(conn_, PQdescribePrepared(conn_, name.c_str()));
  const int params = PQnparams(description.get());
  return std::make_unique<PgStatement>(*this, name, params, std::move(description),
                                       server.read_only);
}

std::unique_ptr<Statement> PgConnection::PrepareInBlocks(std::string_view sql) {
  std::unique_ptr<Statement> statement = Prepare(sql, nullptr);
  if (statement) {
    static_cast<PgStatement&>(*statement).ReadInBlocks(ToServerSql(sql, nullptr).text);
  }
  return statement;
}

std::unique_ptr<Blob> PgConnection::OpenBlob(const std::string& table, const std::string& column,
                                             int64_t rowid, bool) {
  return std::make_unique<PgBlob>(*this, table, column, rowid);
}

bool PgConnection::Origin(Oid table, int column, std::string& table_name,
                          std::string& column_name) {
  auto it = origins_.find({table, column});
  if (it == origins_.end()) {
    const std::string t = std::to_string(table), c = std::to_string(column);
    const char* params[] = {t.c_str(), c.c_str()};
    Result res = Checked(conn_, PQexecParams(conn_,
                                             "SELECT c.relname, a.attname FROM pg_class c JOIN "
                                             "pg_attribute a ON a.attrelid = c.oid "
                                             "WHERE c.oid = $1::oid AND a.attnum = $2::int2",
                                             2, nullptr, params, nullptr, nullptr, 0));
    if (PQntuples(res.get()) != 1) return false;
    it = origins_
             .emplace(std::make_pair(table, column),
                      std::make_pair(PQgetvalue(res.get(), 0, 0), PQgetvalue(res.get(), 0, 1)))
             .first;
  }
  table_name = it->second.first;
  column_name = it->second.second;
  return true;
}

void IgnoreNotice(void*, const char*) {}

}  // namespace
}  // namespace postgres

std::unique_ptr<Connection> OpenPostgres(const std::string& uri, const OpenMode& mode) {
  using namespace postgres;
  // The URI's own connect_timeout, when it has one, wins: it comes later.
  const char* keys[] = {"connect_timeout", "dbname", nullptr};
  const char* values[] = {kConnectTimeoutSeconds, uri.c_str(), nullptr};
  PGconn* raw = PQconnectdbParams(keys, values, 1);
  auto conn = std::make_unique<PgConnection>(raw, ShownName(uri));
  if (!raw) throw EngineError(Failure::kResources, "out of memory");
  if (PQstatus(raw) != CONNECTION_OK) {
    throw OpenFailure(PQerrorMessage(raw), PQconnectionNeedsPassword(raw) != 0);
  }
  PQsetNoticeProcessor(raw, &IgnoreNotice, nullptr);
  conn->Exec(kLockTimeout);
  if (mode.read_only) conn->Exec("SET default_transaction_read_only = on");
  return conn;
}

}  // namespace kiv::dao::engine
