#include "dao/connection.h"

#include <optional>

#include "dao/dao_errors.h"
#include "dao/schema.h"
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

void RaiseEngine(const engine::EngineError& e, std::string_view sql, bool writing,
                 const String& file) {
  using engine::Failure;
  const String subject = FromUtf8(e.subject);
  switch (e.failure) {
    case Failure::kBusy:
      RaiseDao(writing ? kDaoUpdateLocked : kDaoCantLock);
    case Failure::kInUse:
      RaiseDao(kDaoFileInUse, file);
    case Failure::kReadOnly:
      RaiseDao(kDaoReadOnly);
    case Failure::kCorrupt:
      RaiseDao(kDaoCorrupt, file);
    case Failure::kNotADatabase:
      RaiseDao(kDaoUnrecognizedFormat, file);
    case Failure::kCantOpen:
      RaiseDao(kDaoFileNotFound, file);
    case Failure::kUnreadableWal:
      RaiseDao(kDaoCantOpen, file);
    case Failure::kFull:
      RaiseDao(kDaoDiskFull);
    case Failure::kIoError:
      RaiseDao(kDaoDiskError);
    case Failure::kResources:
      RaiseDao(kDaoResources);
    case Failure::kMismatch:
      RaiseDao(kDaoConversion);
    case Failure::kRange:
      RaiseDao(kDaoInvalidArgument);
    case Failure::kNotNull:
      RaiseDao(kDaoRequired, subject);
    case Failure::kCheck:
      RaiseDao(kDaoZeroLength, subject);
    case Failure::kUnique:
      RaiseDao(kDaoDuplicate);
    case Failure::kNoSuchTable:
      RaiseDao(kDaoTableNotFound, subject);
    case Failure::kNoSuchColumn:
      // Jet takes an unknown name in a query for a parameter that has no value.
      RaiseDao(kDaoTooFewParameters, u"1");
    case Failure::kSyntax:
      RaiseSyntax(sql);
    case Failure::kTableExists:
      RaiseDao(kDaoTableExists, subject);
    case Failure::kIndexExists:
      RaiseDao(kDaoObjectExists, subject);
    case Failure::kUnreachable:
      RaiseDao(kDaoConnectFailed, file);
    case Failure::kAuthFailed:
      RaiseDao(kDaoBadAccount);
    case Failure::kNoDatabase:
      RaiseDao(kDaoFileNotFound, file);
    default:
      RaiseDao(kDaoReserved, FromUtf8(e.message));
  }
}

Connection::Connection(std::unique_ptr<engine::Connection> handle, String file_name,
                       bool read_only_)
    : db(std::move(handle)), name(std::move(file_name)), read_only(read_only_) {}

Connection::~Connection() { Close(); }

engine::Connection* Connection::Db() const {
  if (!db) RaiseDao(kDaoObjectInvalid);
  return db.get();
}

void Connection::Close() {
  if (!db) return;
  for (ConnectionUser* user : std::set<ConnectionUser*>(users)) user->Detach();
  users.clear();
  schema_cache.clear();
  statements.clear();
  db.reset();
}

Statement& Connection::Prepared(const std::string& sql) {
  auto it = statements.find(sql);
  if (it == statements.end()) it = statements.emplace(sql, Statement(Db(), sql)).first;
  return it->second;
}

void Connection::BeforeWrite() {
  Db();
  if (read_only) RaiseDao(kDaoReadOnly);
  FinishReads();
}

void Connection::FinishReads() {
  // A user may leave the set meanwhile, so the next one is looked up again after each call
  // (without a copy of the set: this runs at every write).
  for (auto it = users.begin(); it != users.end();) {
    ConnectionUser* user = *it;
    user->FinishReads();
    it = users.upper_bound(user);
  }
}

namespace {

// A database on a server: it exists before it is "created" here, and is never held by one
// connection alone.
std::shared_ptr<Connection> OpenServerConnection(const std::string& uri, bool read_only) {
  const String shown = FromUtf8(engine::ShownName(uri));
  std::unique_ptr<engine::Connection> handle;
  try {
    handle = engine::OpenPostgres(uri, engine::OpenMode{false, false, read_only});
  } catch (const engine::EngineError& e) {
    RaiseEngine(e, {}, false, shown);
  }
  return std::make_shared<Connection>(std::move(handle), shown, read_only);
}

}  // namespace

std::shared_ptr<Connection> OpenConnection(const String& file_name, bool create, bool exclusive,
                                           bool read_only) {
  if (engine::IsServerName(Utf8(file_name)))
    return OpenServerConnection(Utf8(file_name), read_only);
  if (create && FileExists(file_name)) RaiseDao(kDaoDatabaseExists);
  if (!create && !FileExists(file_name)) {
    const String folder = ParentFolder(file_name);
    if (!folder.empty() && !FolderExists(folder)) RaiseDao(kDaoBadPath, file_name);
    RaiseDao(kDaoFileNotFound, file_name);
  }
  std::unique_ptr<engine::Connection> handle;
  try {
    handle = engine::OpenSqlite(Utf8(file_name), engine::OpenMode{create, exclusive, read_only});
  } catch (const engine::EngineError& e) {
    if (e.failure == engine::Failure::kCantOpen && create) RaiseDao(kDaoBadPath, file_name);
    RaiseEngine(e, {}, false, file_name);
  }
  auto conn = std::make_shared<Connection>(std::move(handle), file_name, read_only);
  if (create) CreateSystemTables(*conn);
  return conn;
}

Statement::Statement(engine::Connection* db, std::string sql) : db_(db), sql_(std::move(sql)) {
  stmt_ = EngineCall(
      db_, [&] { return db_->Prepare(sql_); }, sql_);
  if (!stmt_) RaiseDao(kDaoInvalidStatement);  // nothing but blanks
}

Statement::Statement(engine::Connection* db, std::unique_ptr<engine::Statement> prepared,
                     std::string sql)
    : db_(db), stmt_(std::move(prepared)), sql_(std::move(sql)) {}

void Statement::BindText(int i, StringView value) { stmt_->BindText(i, Utf8(value)); }

bool Statement::Step() {
  try {
    return stmt_->Step();
  } catch (const engine::EngineError& e) {
    RaiseEngine(e, sql_, !stmt_->ReadOnly(), FromUtf8(db_->FileName()));
  }
}

bool Statement::Step(bool writing) {
  return EngineCall(
      db_, [&] { return stmt_->Step(); }, sql_, writing);
}

void Statement::Run() { RunReturning(); }

int64_t Statement::RunReturning() {
  // A write on its own gets its own transaction; VACUUM cannot run inside one. Inside an open
  // transaction one statement needs no savepoint: the engine undoes a failed statement by itself.
  std::optional<WriteTransaction> tx;
  if (!stmt_->ReadOnly() && !db_->InTransaction() && sql_.compare(0, 6, "VACUUM") != 0) {
    tx.emplace(db_, "kiv_run");
  }
  std::optional<int64_t> first;
  while (Step()) {
    if (!first) first = Int(0);
  }
  Reset();
  if (tx) tx->Commit();
  return first.value_or(0);
}

void Statement::RunAsWrite() {
  while (Step(true)) {
  }
  Reset();
}

int64_t Statement::Int(int col) const {
  const engine::ValueView v = Value(col);
  switch (v.kind) {
    case engine::Kind::kInt:
      return v.i;
    case engine::Kind::kDouble:
      return static_cast<int64_t>(v.d);
    case engine::Kind::kNull:
      return 0;
    default:
      return std::strtoll(std::string(v.bytes).c_str(), nullptr, 10);
  }
}

String Statement::Text(int col) const {
  const engine::ValueView v = Value(col);
  switch (v.kind) {
    case engine::Kind::kNull:
      return String();
    case engine::Kind::kText:
    case engine::Kind::kBytes:
      return FromUtf8(v.bytes);
    default:
      return FromUtf8(stmt_->ColumnText(col));
  }
}

WriteTransaction::WriteTransaction(engine::Connection* db, std::string name)
    : db_(db), name_(std::move(name)), outer_(!db->InTransaction()) {
  Run(outer_ ? db_->BeginWriteSql() : "SAVEPOINT " + name_);
}

WriteTransaction::WriteTransaction(Connection& conn, std::string name)
    : conn_(&conn), db_(conn.Db()), name_(std::move(name)), outer_(!db_->InTransaction()) {
  Run(outer_ ? db_->BeginWriteSql() : "SAVEPOINT " + name_);
}

WriteTransaction::WriteTransaction(Connection& conn, std::string name, const std::string& begin)
    : conn_(&conn), db_(conn.Db()), name_(std::move(name)), outer_(!db_->InTransaction()) {
  if (!outer_) {
    Run("SAVEPOINT " + name_);
  } else if (begin.find(';') == std::string::npos) {
    Run(begin);  // prepared once
  } else {
    EngineCall(
        db_, [&] { db_->Exec(begin); }, begin, true);
  }
}

// A failure is a write's failure: a lock that outlasted the wait is "locked", not "can't read".
void WriteTransaction::Run(const std::string& sql) {
  if (conn_) return conn_->Prepared(sql).RunAsWrite();
  EngineCall(
      db_, [&] { db_->Exec(sql); }, sql, true);
}

WriteTransaction::~WriteTransaction() {
  if (done_) return;
  try {
    db_->Exec(outer_ ? "ROLLBACK" : "ROLLBACK TO " + name_ + "; RELEASE " + name_);
  } catch (const engine::EngineError&) {
    // Nothing more to undo: a failed rollback leaves the engine's own.
  }
}

void WriteTransaction::CommitWith(const std::string& sql) {
  const std::string all = outer_ ? sql + "; COMMIT" : sql;
  EngineCall(
      db_, [&] { db_->Exec(all); }, all, true);
  if (outer_) {
    done_ = true;
  } else {
    Commit();
  }
}

void WriteTransaction::Commit() {
  Run(outer_ ? "COMMIT" : "RELEASE " + name_);
  done_ = true;
}

}  // namespace kiv::dao::detail
