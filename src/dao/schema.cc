#include "dao/schema.h"

#include <optional>

#include "dao/dao_errors.h"
#include "dao/server_catalog.h"
#include "kivdbxt/dao.h"
#include "platform/text_compare.h"

namespace kiv::dao::detail {
namespace {

constexpr char kCountTable[] = "MSysRowCounts";

struct TypeName {
  int16_t type;
  const char16_t* name;
};

// Declared type names, DAO's and their Jet synonyms; the first of each type is the one written.
constexpr TypeName kTypeNames[] = {
    {dbBoolean, u"BIT"},      {dbBoolean, u"BOOLEAN"},  {dbBoolean, u"YESNO"},
    {dbByte, u"BYTE"},        {dbByte, u"TINYINT"},     {dbInteger, u"SHORT"},
    {dbInteger, u"SMALLINT"}, {dbLong, u"LONG"},        {dbLong, u"INTEGER"},
    {dbLong, u"INT"},         {dbLong, u"COUNTER"},     {dbCurrency, u"CURRENCY"},
    {dbCurrency, u"MONEY"},   {dbSingle, u"SINGLE"},    {dbSingle, u"REAL"},
    {dbDouble, u"DOUBLE"},    {dbDouble, u"FLOAT"},     {dbDouble, u"NUMERIC"},
    {dbDate, u"DATETIME"},    {dbDate, u"DATE"},        {dbDate, u"TIMESTAMP"},
    {dbBinary, u"BINARY"},    {dbBinary, u"VARBINARY"}, {dbText, u"TEXT"},
    {dbText, u"VARCHAR"},     {dbText, u"CHAR"},        {dbLongBinary, u"LONGBINARY"},
    {dbLongBinary, u"BLOB"},  {dbLongBinary, u"IMAGE"}, {dbLongBinary, u"OLEOBJECT"},
    {dbMemo, u"LONGTEXT"},    {dbMemo, u"MEMO"},        {dbMemo, u"NOTE"},
    {dbMemo, u"CLOB"},
};

const char16_t* WrittenTypeName(int16_t type) {
  for (const TypeName& t : kTypeNames) {
    if (t.type == type) return t.name;
  }
  RaiseDao(kDaoInvalidFieldType);
}

std::string ZeroLengthCheck(StringView column) { return "CHECK (" + QuoteName(column) + " <> '')"; }

// Parses "TEXT(255)" into the DAO type and size.
void TypeFromDeclared(StringView declared, ColumnDef& column) {
  String word = Trim(declared);
  int32_t size = 0;
  const size_t paren = word.find(u'(');
  if (paren != String::npos) {
    for (size_t i = paren + 1; i < word.size() && word[i] >= u'0' && word[i] <= u'9'; ++i) {
      size = size * 10 + (word[i] - u'0');
    }
    word = Trim(word.substr(0, paren));
  }
  word = FoldCase(word);
  column.type = word.empty() ? dbMemo : 0;
  for (const TypeName& t : kTypeNames) {
    if (!column.type && word == t.name) column.type = t.type;
  }
  if (!column.type) {  // SQLite's own affinity rules for names DAO does not know
    if (word.find(u"INT") != String::npos)
      column.type = dbLong;
    else if (word.find(u"CHAR") != String::npos || word.find(u"TEXT") != String::npos)
      column.type = dbMemo;
    else if (word.find(u"BLOB") != String::npos)
      column.type = dbLongBinary;
    else
      column.type = dbDouble;
  }
  if (column.type == dbText && size == 0) size = 255;
  if (column.type == dbBinary && size == 0) size = 255;
  column.size = TypeSize(column.type, size);
}

// The index fields' Attributes, when any holds more than its key's direction says.
String AttributesFlag(const IndexDef& index) {
  bool plain = true;
  for (const IndexKey& k : index.keys) plain &= k.attributes == (k.descending ? dbDescending : 0);
  if (plain) return String();
  String flag = u"A";
  for (size_t i = 0; i < index.keys.size(); ++i) {
    flag += (i ? u"." : u"") + FromUtf8(std::to_string(index.keys[i].attributes));
  }
  return flag;
}

std::string IndexSqlName(StringView table, const IndexDef& index) {
  String name = String(table) + u"!" + index.name;
  String flags;
  if (index.primary) flags += u"P";
  if (index.required) flags += u"R";
  if (index.ignore_nulls) flags += u"N";
  flags += AttributesFlag(index);
  if (!flags.empty()) name += u"!" + flags;
  return QuoteName(name);
}

// "2.0.1" into the attributes of the keys, in order.
std::vector<int32_t> ParseAttributes(StringView text) {
  std::vector<int32_t> out(1, 0);
  for (char16_t c : text) {
    if (c == u'.') {
      out.push_back(0);
    } else if (c >= u'0' && c <= u'9') {
      out.back() = out.back() * 10 + (c - u'0');
    }
  }
  return out;
}

// Reads back the DAO name and flags from an SQLite index name; `attributes` receives the index
// fields' Attributes when the name carries them.
IndexDef IndexFromSqlName(StringView table, const String& sql_name, bool unique, bool is_pk,
                          std::vector<int32_t>& attributes) {
  IndexDef index;
  index.unique = unique;
  const String prefix = String(table) + u"!";
  if (sql_name.size() > prefix.size() && TextEquals(sql_name.substr(0, prefix.size()), prefix)) {
    String rest = sql_name.substr(prefix.size());
    const size_t bang = rest.find(u'!');
    if (bang != String::npos) {
      String flags = rest.substr(bang + 1);
      const size_t a = flags.find(u'A');
      if (a != String::npos) {
        attributes = ParseAttributes(StringView(flags).substr(a + 1));
        flags.resize(a);
      }
      for (char16_t f : flags) {
        index.primary |= f == u'P';
        index.required |= f == u'R';
        index.ignore_nulls |= f == u'N';
      }
      rest.resize(bang);
    }
    index.name = rest;
  } else {
    index.name = is_pk ? String(u"PrimaryKey") : sql_name;
    index.primary = is_pk;
  }
  if (index.primary) index.required = true;
  return index;
}

void LoadColumns(Connection& conn, TableSchema& schema, const String& table_sql) {
  Statement info(conn.Db(), "PRAGMA table_xinfo(" + QuoteName(schema.name) + ")");
  while (info.Step()) {
    if (info.Int(6) != 0) continue;  // hidden or generated
    ColumnDef column;
    column.name = info.Text(1);
    TypeFromDeclared(info.Text(2), column);
    column.required = info.Int(3) != 0;
    column.attributes = DefaultAttributes(column.type);
    column.allow_zero_length =
        IsTextType(column.type) &&
        table_sql.find(FromUtf8(ZeroLengthCheck(column.name))) == String::npos;
    schema.columns.push_back(std::move(column));
  }
}

void LoadIndexes(Connection& conn, TableSchema& schema) {
  Statement list(conn.Db(), "PRAGMA index_list(" + QuoteName(schema.name) + ")");
  std::vector<IndexDef> found;
  std::vector<String> sql_names;
  std::vector<std::vector<int32_t>> attributes;
  while (list.Step()) {
    const String sql_name = list.Text(1);
    attributes.emplace_back();
    found.push_back(IndexFromSqlName(schema.name, sql_name, list.Int(2) != 0, list.Text(3) == u"pk",
                                     attributes.back()));
    sql_names.push_back(sql_name);
  }
  for (size_t i = 0; i < found.size(); ++i) {
    Statement keys(conn.Db(), "PRAGMA index_xinfo(" + QuoteName(sql_names[i]) + ")");
    while (keys.Step()) {
      if (keys.Int(5) == 0 || keys.Int(1) < 0) continue;  // the row id and non-key columns
      const bool descending = keys.Int(3) != 0;
      const size_t k = found[i].keys.size();
      const int32_t attr =
          k < attributes[i].size() ? attributes[i][k] : (descending ? dbDescending : 0);
      found[i].keys.push_back({keys.Text(2), descending, attr});
    }
  }
  // PRAGMA index_list lists the newest first; DAO lists them in creation order.
  schema.indexes.assign(found.rbegin(), found.rend());
}

}  // namespace

int TableSchema::Column(StringView column) const {
  for (size_t i = 0; i < columns.size(); ++i) {
    if (TextEquals(columns[i].name, column)) return static_cast<int>(i);
  }
  return -1;
}

const IndexDef* TableSchema::Index(StringView index) const {
  for (const IndexDef& i : indexes) {
    if (TextEquals(i.name, index)) return &i;
  }
  return nullptr;
}

bool IsLongType(int16_t type) { return type == dbMemo || type == dbLongBinary; }
bool IsTextType(int16_t type) { return type == dbText || type == dbMemo; }
bool IsKnownType(int16_t type) { return type >= dbBoolean && type <= dbMemo; }

int32_t TypeSize(int16_t type, int32_t given) {
  switch (type) {
    case dbBoolean:
    case dbByte:
      return 1;
    case dbInteger:
      return 2;
    case dbLong:
    case dbSingle:
      return 4;
    case dbCurrency:
    case dbDouble:
    case dbDate:
      return 8;
    case dbText:
    case dbBinary:
      return given > 0 ? given : 50;
    default:
      return 0;
  }
}

int32_t DefaultAttributes(int16_t type) {
  const bool variable = IsTextType(type) || type == dbBinary || type == dbLongBinary;
  return (variable ? dbVariableField : dbFixedField) | dbUpdatableField;
}

std::string ColumnSql(const ColumnDef& column) {
  if (!IsKnownType(column.type)) RaiseDao(kDaoInvalidFieldType);
  std::string sql = QuoteName(column.name) + " " + Utf8(WrittenTypeName(column.type));
  if (column.type == dbText || column.type == dbBinary) {
    sql += "(" + std::to_string(TypeSize(column.type, column.size)) + ")";
  }
  if (IsTextType(column.type)) sql += " COLLATE NOCASE";
  if (column.required) sql += " NOT NULL";
  if (IsTextType(column.type) && !column.allow_zero_length) {
    sql += " " + ZeroLengthCheck(column.name);
  }
  return sql;
}

void ExecSql(Connection& conn, const std::string& sql) { Statement(conn.Db(), sql).Run(); }

SchemaChange::SchemaChange(Connection& conn) : conn_(conn) {
  conn_.BeforeWrite();
  ExecSql(conn_, "SAVEPOINT kiv_schema");
}

SchemaChange::~SchemaChange() {
  if (done_ || !conn_.IsOpen()) return;
  try {
    conn_.Db()->Exec("ROLLBACK TO kiv_schema; RELEASE kiv_schema");
  } catch (const engine::EngineError&) {
    // Nothing more to undo.
  }
}

void SchemaChange::Commit() {
  ExecSql(conn_, "RELEASE kiv_schema");
  done_ = true;
}

namespace {

// A file's catalog is its own schema: declared types and index names carry DAO's definitions.
class FileCatalog final : public Catalog {
 public:
  void CreateSystemTables(Connection& conn) const override {
    ExecSql(conn, std::string("CREATE TABLE IF NOT EXISTS ") + kCountTable +
                      " (name TEXT PRIMARY KEY COLLATE NOCASE, n INTEGER NOT NULL)");
  }
  void CreateTable(Connection& conn, const TableSchema& table) const override {
    if (table.columns.empty()) RaiseDao(kDaoNoFieldDefined);
    SchemaChange change(conn);
    CreateSystemTables(conn);
    std::string sql = "CREATE TABLE " + QuoteName(table.name) + " (";
    for (size_t i = 0; i < table.columns.size(); ++i) {
      sql += (i ? ", " : "") + ColumnSql(table.columns[i]);
    }
    ExecSql(conn, sql + ")");
    const std::string name = Utf8(table.name);
    const std::string lit = QuoteLiteral(table.name);
    const std::string counter = "UPDATE " + std::string(kCountTable);
    ExecSql(conn, "CREATE TRIGGER " +
                      QuoteName(FromUtf8(std::string(kCountTable) + "!" + name + "!add")) +
                      " AFTER INSERT ON " + QuoteName(table.name) + " BEGIN " + counter +
                      " SET n = n + 1 WHERE name = " + lit + "; END");
    ExecSql(conn, "CREATE TRIGGER " +
                      QuoteName(FromUtf8(std::string(kCountTable) + "!" + name + "!del")) +
                      " AFTER DELETE ON " + QuoteName(table.name) + " BEGIN " + counter +
                      " SET n = n - 1 WHERE name = " + lit + "; END");
    ExecSql(conn, "INSERT OR REPLACE INTO " + std::string(kCountTable) + " (name, n) VALUES (" +
                      lit + ", 0)");
    for (const IndexDef& index : table.indexes) CreateIndex(conn, table.name, index);
    change.Commit();
  }
  void AddColumn(Connection& conn, StringView table, const ColumnDef& column) const override {
    conn.BeforeWrite();
    ExecSql(conn, "ALTER TABLE " + QuoteName(table) + " ADD COLUMN " + ColumnSql(column));
  }
  void CreateIndex(Connection& conn, StringView table, const IndexDef& index) const override {
    if (index.keys.empty()) RaiseDao(kDaoNoFieldDefined);
    conn.BeforeWrite();
    std::string sql = std::string("CREATE ") + (index.unique || index.primary ? "UNIQUE " : "") +
                      "INDEX " + IndexSqlName(table, index) + " ON " + QuoteName(table) + " (";
    for (size_t i = 0; i < index.keys.size(); ++i) {
      sql += (i ? ", " : "") + QuoteName(index.keys[i].field) +
             (index.keys[i].descending ? " DESC" : "");
    }
    ExecSql(conn, sql + ")");
  }
  void DropTable(Connection& conn, StringView table) const override {
    SchemaChange change(conn);
    ExecSql(conn, "DROP TABLE " + QuoteName(table));
    if (LoadSchema(conn, FromUtf8(kCountTable))) {
      ExecSql(conn,
              "DELETE FROM " + std::string(kCountTable) + " WHERE name = " + QuoteLiteral(table));
    }
    change.Commit();
  }
  void DropIndex(Connection& conn, StringView table, StringView index) const override {
    auto schema = LoadSchema(conn, table);
    const IndexDef* def = schema ? schema->Index(index) : nullptr;
    if (!def) RaiseDao(kDaoItemNotFound);
    conn.BeforeWrite();
    ExecSql(conn, "DROP INDEX " + IndexSqlName(schema->name, *def));
  }
  void DropColumn(Connection& conn, StringView table, StringView column) const override {
    conn.BeforeWrite();
    ExecSql(conn, "ALTER TABLE " + QuoteName(table) + " DROP COLUMN " + QuoteName(column));
  }
  std::shared_ptr<TableSchema> LoadSchema(Connection& conn, StringView table) const override {
    Statement find(conn.Db(),
                   "SELECT name, sql FROM sqlite_master WHERE type = 'table' AND name = ?1 "
                   "COLLATE NOCASE");
    find.BindText(1, table);
    if (!find.Step()) return nullptr;
    auto schema = std::make_shared<TableSchema>();
    schema->name = find.Text(0);
    const String table_sql = find.Text(1);
    find.Reset();
    LoadColumns(conn, *schema, table_sql);
    LoadIndexes(conn, *schema);
    return schema;
  }
  std::vector<String> TableNames(Connection& conn) const override {
    Statement list(conn.Db(),
                   "SELECT name FROM sqlite_master WHERE type = 'table' AND name NOT LIKE "
                   "'sqlite\\_%' ESCAPE '\\' AND name NOT LIKE 'MSys%' ORDER BY rowid");
    std::vector<String> names;
    while (list.Step()) names.push_back(list.Text(0));
    return names;
  }
};

}  // namespace

const Catalog& CatalogOf(Connection& conn) {
  static const FileCatalog file;
  return conn.Db()->OwnCatalog() ? ServerCatalog() : file;
}

void CreateSystemTables(Connection& conn) { return CatalogOf(conn).CreateSystemTables(conn); }

void CreateTable(Connection& conn, const TableSchema& table) {
  return CatalogOf(conn).CreateTable(conn, table);
}

void AddColumn(Connection& conn, StringView table, const ColumnDef& column) {
  return CatalogOf(conn).AddColumn(conn, table, column);
}

void CreateIndex(Connection& conn, StringView table, const IndexDef& index) {
  return CatalogOf(conn).CreateIndex(conn, table, index);
}

void DropTable(Connection& conn, StringView table) {
  return CatalogOf(conn).DropTable(conn, table);
}

void DropIndex(Connection& conn, StringView table, StringView index) {
  return CatalogOf(conn).DropIndex(conn, table, index);
}

void DropColumn(Connection& conn, StringView table, StringView column) {
  return CatalogOf(conn).DropColumn(conn, table, column);
}

std::shared_ptr<TableSchema> LoadSchema(Connection& conn, StringView table) {
  return CatalogOf(conn).LoadSchema(conn, table);
}

std::vector<String> TableNames(Connection& conn) { return CatalogOf(conn).TableNames(conn); }

int64_t CountRows(Connection& conn, StringView table) {
  auto scan = [&] {
    // A wrapping log on a server counts at every report that cannot go in one round trip:
    // prepared once per connection.
    Statement& count = conn.Prepared("SELECT count(*) FROM " + QuoteName(table));
    count.Step();
    const int64_t n = count.Int(0);
    count.Reset();
    return n;
  };
  // A server counts its rows exactly, and keeps no row counters.
  if (conn.Db()->OwnCatalog()) return scan();
  std::optional<int64_t> counted;
  try {
    // Asked at every report of a wrapping log: prepared once per connection.
    Statement& count =
        conn.Prepared(std::string("SELECT n FROM ") + kCountTable + " WHERE name = ?1");
    count.BindText(1, table);
    if (count.Step()) counted = count.Int(0);
    count.Reset();
  } catch (const Error&) {
    // A database made elsewhere, without the row counters.
  }
  return counted ? *counted : scan();
}

std::shared_ptr<const TableSchema> Connection::Schema(StringView table) {
  auto found = FindSchema(table);
  if (!found) RaiseDao(kDaoTableNotFound, table);
  return found;
}

std::shared_ptr<const TableSchema> Connection::FindSchema(StringView table) {
  engine::Connection* handle = Db();
  const int current = static_cast<int>(EngineCall(handle, [&] { return handle->SchemaVersion(); }));
  if (current != schema_version) {
    schema_cache.clear();
    schema_version = current;
  }
  for (const auto& s : schema_cache) {
    if (TextEquals(s->name, table)) return s;
  }
  auto loaded = LoadSchema(*this, table);
  if (loaded) schema_cache.push_back(loaded);
  return loaded;
}

}  // namespace kiv::dao::detail
