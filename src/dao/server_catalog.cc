// Tables, columns and indexes on a server database, as the model keeps them.
//
// The server folds names to lower case and cuts them at 63 bytes, and its types carry no DAO
// type or size, so the model keeps each table's DAO definition in its own catalog table,
// kiv_catalog: one row per table, in creation order, with DAO's spelling and a text that lists
// the columns and indexes, one a line, fields separated by tabs:
//
//   C <name> <type> <size> <attributes> <required> <allow zero length>
//   I <name> <primary> <unique> <required> <ignore nulls> {<field> <descending> <attributes>}
//
// Every table made here has the hidden row id kiv_rowid (bookmarks, keysets, new ids). Text is
// citext (compared without case, non-ASCII letters too); long binary is bytea stored
// uncompressed, so that a slice read costs what it reads. An index lists Nulls first in
// ascending order, as Jet does, and ends with the row id, so that table order and every move
// is an index scan.
#include "dao/server_catalog.h"

#include "dao/dao_errors.h"
#include "kivdbxt/dao.h"
#include "platform/text_compare.h"

namespace kiv::dao::detail {
namespace {

constexpr char kCatalog[] = "kiv_catalog";

const char* ServerType(int16_t type) {
  switch (type) {
    case dbBoolean:
    case dbByte:
    case dbInteger:
      return "smallint";
    case dbLong:
      return "integer";
    case dbText:
    case dbMemo:
      return "citext";
    case dbBinary:
    case dbLongBinary:
      return "bytea";
    default:  // currency, single, double and date: stored as SQLite stores them, a double
      return "double precision";
  }
}

std::string ColumnDefinition(const ColumnDef& column) {
  if (!IsKnownType(column.type)) RaiseDao(kDaoInvalidFieldType);
  std::string sql = QuoteName(column.name) + " " + ServerType(column.type);
  if (column.required) sql += " NOT NULL";
  if (IsTextType(column.type) && !column.allow_zero_length) {
    sql += " CHECK (" + QuoteName(column.name) + " <> '')";
  }
  return sql;
}

std::vector<std::string> Split(const std::string& text, char separator) {
  std::vector<std::string> parts(1);
  for (char c : text) {
    if (c == separator) {
      parts.emplace_back();
    } else {
      parts.back().push_back(c);
    }
  }
  return parts;
}

int32_t Number(const std::string& text) { return static_cast<int32_t>(std::atol(text.c_str())); }

std::string Describe(const TableSchema& table) {
  auto field = [](const String& s) { return "\t" + Utf8(s); };
  auto flag = [](auto n) { return "\t" + std::to_string(n); };
  std::string out;
  for (const ColumnDef& c : table.columns) {
    out += "C" + field(c.name) + flag(c.type) + flag(c.size) + flag(c.attributes) +
           flag(c.required) + flag(c.allow_zero_length) + "\n";
  }
  for (const IndexDef& i : table.indexes) {
    out += "I" + field(i.name) + flag(i.primary) + flag(i.unique) + flag(i.required) +
           flag(i.ignore_nulls);
    for (const IndexKey& k : i.keys)
      out += field(k.field) + flag(k.descending) + flag(k.attributes);
    out += "\n";
  }
  return out;
}

void Parse(const std::string& text, TableSchema& table) {
  for (const std::string& line : Split(text, '\n')) {
    const std::vector<std::string> f = Split(line, '\t');
    if (f[0] == "C" && f.size() >= 7) {
      table.columns.push_back({FromUtf8(f[1]), static_cast<int16_t>(Number(f[2])), Number(f[3]),
                               Number(f[4]), f[6] == "1", f[5] == "1"});
    } else if (f[0] == "I" && f.size() >= 6) {
      IndexDef index{FromUtf8(f[1]), {}, f[2] == "1", f[3] == "1", f[4] == "1", f[5] == "1"};
      for (size_t k = 6; k + 2 < f.size(); k += 3) {
        index.keys.push_back({FromUtf8(f[k]), f[k + 1] == "1", Number(f[k + 2])});
      }
      table.indexes.push_back(std::move(index));
    }
  }
}

std::string IndexName(StringView table, const IndexDef& index) {
  return QuoteName(String(table) + u"!" + index.name);
}

void Store(Connection& conn, const TableSchema& table) {
  Statement put(conn.Db(), std::string("UPDATE ") + kCatalog +
                               " SET definition = ?1 WHERE lower(name) = lower(?2)");
  put.BindUtf8(1, Describe(table));
  put.BindText(2, table.name);
  put.Run();
}

// Looked for in the current schema only: another database's catalog further along the search
// path is not this one's (and its owner may not even let this role read it). Once the current
// schema has one, the plain name below finds it first.
bool HasCatalog(Connection& conn) {
  Statement find(conn.Db(), std::string("SELECT to_regclass(quote_ident(current_schema()) || '.") +
                                kCatalog + "') IS NOT NULL");
  return find.Step() && find.Int(0) != 0;
}

// A change of one table's definition: the server's and the catalog's, as one.
template <class F>
void ChangeTable(Connection& conn, StringView name, F&& change) {
  conn.BeforeWrite();
  WriteTransaction tx(conn.Db(), "kiv_schema");
  auto table = ServerCatalog().LoadSchema(conn, name);
  if (!table) RaiseDao(kDaoTableNotFound, name);
  change(*table);
  Store(conn, *table);
  tx.Commit();
}

void IndexOn(Connection& conn, StringView table, const IndexDef& index) {
  if (index.keys.empty()) RaiseDao(kDaoNoFieldDefined);
  const bool unique = index.unique || index.primary;
  std::string sql = std::string("CREATE ") + (unique ? "UNIQUE " : "") + "INDEX " +
                    IndexName(table, index) + " ON " + QuoteName(table) + " (";
  for (const IndexKey& k : index.keys) {
    sql += QuoteName(k.field) + (k.descending ? " DESC NULLS LAST, " : " NULLS FIRST, ");
  }
  // The row id orders rows of equal keys; a unique index stays unique on its keys alone.
  sql = unique ? sql.substr(0, sql.size() - 2) : sql + "kiv_rowid";
  ExecSql(conn, sql + ")");
}

}  // namespace

namespace {

class ServerCatalogImpl final : public Catalog {
 public:
  void CreateSystemTables(Connection& conn) const override {
    ExecSql(conn, std::string("CREATE TABLE IF NOT EXISTS ") + kCatalog +
                      " (seq bigint GENERATED ALWAYS AS IDENTITY, name text NOT NULL, "
                      "definition text NOT NULL)");
    ExecSql(conn, std::string("CREATE UNIQUE INDEX IF NOT EXISTS kiv_catalog_name ON ") + kCatalog +
                      " (lower(name))");
  }
  void CreateTable(Connection& conn, const TableSchema& table) const override {
    if (table.columns.empty()) RaiseDao(kDaoNoFieldDefined);
    conn.BeforeWrite();
    WriteTransaction tx(conn.Db(), "kiv_schema");
    CreateSystemTables(conn);
    // The server would name the table as it folds it.
    if (LoadSchema(conn, table.name)) RaiseDao(kDaoTableExists, table.name);
    std::string sql = "CREATE TABLE " + QuoteName(table.name) +
                      " (kiv_rowid bigint GENERATED ALWAYS AS IDENTITY PRIMARY KEY";
    for (const ColumnDef& column : table.columns) sql += ", " + ColumnDefinition(column);
    ExecSql(conn, sql + ")");
    for (const ColumnDef& column : table.columns) {
      if (column.type == dbLongBinary) {
        ExecSql(conn, "ALTER TABLE " + QuoteName(table.name) + " ALTER COLUMN " +
                          QuoteName(column.name) + " SET STORAGE EXTERNAL");
      }
    }
    Statement add(conn.Db(),
                  std::string("INSERT INTO ") + kCatalog + " (name, definition) VALUES (?1, ?2)");
    TableSchema bare = table;
    bare.indexes.clear();
    add.BindText(1, table.name);
    add.BindUtf8(2, Describe(bare));
    add.Run();
    for (const IndexDef& index : table.indexes) CreateIndex(conn, table.name, index);
    tx.Commit();
  }
  void AddColumn(Connection& conn, StringView table, const ColumnDef& column) const override {
    ChangeTable(conn, table, [&](TableSchema& schema) {
      ExecSql(conn, "ALTER TABLE " + QuoteName(table) + " ADD COLUMN " + ColumnDefinition(column));
      if (column.type == dbLongBinary) {
        ExecSql(conn, "ALTER TABLE " + QuoteName(table) + " ALTER COLUMN " +
                          QuoteName(column.name) + " SET STORAGE EXTERNAL");
      }
      schema.columns.push_back(column);
    });
  }
  void CreateIndex(Connection& conn, StringView table, const IndexDef& index) const override {
    ChangeTable(conn, table, [&](TableSchema& schema) {
      if (schema.Index(index.name)) RaiseDao(kDaoObjectExists, index.name);
      IndexOn(conn, schema.name, index);
      schema.indexes.push_back(index);
    });
  }
  void DropTable(Connection& conn, StringView table) const override {
    conn.BeforeWrite();
    WriteTransaction tx(conn.Db(), "kiv_schema");
    ExecSql(conn, "DROP TABLE " + QuoteName(table));
    if (HasCatalog(conn)) {
      Statement drop(conn.Db(),
                     std::string("DELETE FROM ") + kCatalog + " WHERE lower(name) = lower(?1)");
      drop.BindText(1, table);
      drop.Run();
    }
    tx.Commit();
  }
  void DropIndex(Connection& conn, StringView table, StringView index) const override {
    auto schema = LoadSchema(conn, table);
    const IndexDef* def = schema ? schema->Index(index) : nullptr;
    if (!def) RaiseDao(kDaoItemNotFound);
    ChangeTable(conn, table, [&](TableSchema& changed) {
      ExecSql(conn, "DROP INDEX " + IndexName(changed.name, *def));
      std::erase_if(changed.indexes, [&](const IndexDef& i) { return TextEquals(i.name, index); });
    });
  }
  void DropColumn(Connection& conn, StringView table, StringView column) const override {
    ChangeTable(conn, table, [&](TableSchema& schema) {
      // The server drops the indexes on the column with it.
      ExecSql(conn, "ALTER TABLE " + QuoteName(table) + " DROP COLUMN " + QuoteName(column));
      std::erase_if(schema.columns, [&](const ColumnDef& c) { return TextEquals(c.name, column); });
      std::erase_if(schema.indexes, [&](const IndexDef& i) {
        for (const IndexKey& k : i.keys) {
          if (TextEquals(k.field, column)) return true;
        }
        return false;
      });
    });
  }
  std::shared_ptr<TableSchema> LoadSchema(Connection& conn, StringView table) const override {
    if (!HasCatalog(conn)) return nullptr;
    Statement find(conn.Db(), std::string("SELECT name, definition FROM ") + kCatalog +
                                  " WHERE lower(name) = lower(?1)");
    find.BindText(1, table);
    if (!find.Step()) return nullptr;
    auto schema = std::make_shared<TableSchema>();
    schema->name = find.Text(0);
    Parse(Utf8(find.Text(1)), *schema);
    return schema;
  }
  std::vector<String> TableNames(Connection& conn) const override {
    std::vector<String> names;
    if (!HasCatalog(conn)) return names;
    Statement list(conn.Db(), std::string("SELECT name FROM ") + kCatalog + " ORDER BY seq");
    while (list.Step()) names.push_back(list.Text(0));
    return names;
  }
};

}  // namespace

const Catalog& ServerCatalog() {
  static const ServerCatalogImpl catalog;
  return catalog;
}

}  // namespace kiv::dao::detail
