// Tables, columns and indexes of a SQLite database as DAO describes them, and the statements
// that create them.
//
// A column's declared type keeps its DAO type and size ("TEXT(255)", "LONG", "DATETIME",
// "LONGBINARY", ...); text compares without case (COLLATE NOCASE). A DAO index is an SQLite index
// named "<table>!<name>", with "!" and the letters P (primary), R (required), N (ignore nulls)
// appended when any is set, and "A" with the index fields' Attributes separated by "." when any
// holds more than the descending bit ("PARMS!KEY!A2"). The system table MSysRowCounts keeps every
// table's row count, maintained by triggers, so that a table's RecordCount is exact without a scan.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "dao/connection.h"
#include "kivdbxt/types.h"

namespace kiv::dao::detail {

struct ColumnDef {
  String name;
  int16_t type = 10;
  int32_t size = 0;
  int32_t attributes = 0;
  bool allow_zero_length = false;
  bool required = false;
};

struct IndexKey {
  String field;
  bool descending = false;
  int32_t attributes = 0;  // the index field's Attributes as created (dbDescending among them)
};

struct IndexDef {
  String name;
  std::vector<IndexKey> keys;
  bool primary = false;
  bool unique = false;
  bool required = false;
  bool ignore_nulls = false;
};

struct TableSchema {
  String name;
  std::vector<ColumnDef> columns;
  std::vector<IndexDef> indexes;

  int Column(StringView column) const;            // -1 when absent
  const IndexDef* Index(StringView index) const;  // nullptr when absent
};

bool IsLongType(int16_t type);
bool IsTextType(int16_t type);
bool IsKnownType(int16_t type);
// The size DAO reports for a type (text and binary: their given size).
int32_t TypeSize(int16_t type, int32_t given);
int32_t DefaultAttributes(int16_t type);
// The column's definition in CREATE TABLE and ALTER TABLE.
std::string ColumnSql(const ColumnDef& column);

// Where a database keeps its tables' DAO definitions: a file in its own schema (declared types,
// index names), a server in the model's catalog table. The functions below take the connection's
// own.
class Catalog {
 public:
  virtual ~Catalog() = default;
  virtual void CreateSystemTables(Connection& conn) const = 0;
  virtual void CreateTable(Connection& conn, const TableSchema& table) const = 0;
  virtual void AddColumn(Connection& conn, StringView table, const ColumnDef& column) const = 0;
  virtual void CreateIndex(Connection& conn, StringView table, const IndexDef& index) const = 0;
  virtual void DropTable(Connection& conn, StringView table) const = 0;
  virtual void DropIndex(Connection& conn, StringView table, StringView index) const = 0;
  virtual void DropColumn(Connection& conn, StringView table, StringView column) const = 0;
  virtual std::shared_ptr<TableSchema> LoadSchema(Connection& conn, StringView table) const = 0;
  virtual std::vector<String> TableNames(Connection& conn) const = 0;
};

// The catalog of the connection's database.
const Catalog& CatalogOf(Connection& conn);

// The system tables every database made here carries.
void CreateSystemTables(Connection& conn);
void CreateTable(Connection& conn, const TableSchema& table);
void AddColumn(Connection& conn, StringView table, const ColumnDef& column);
void CreateIndex(Connection& conn, StringView table, const IndexDef& index);
void DropTable(Connection& conn, StringView table);
void DropIndex(Connection& conn, StringView table, StringView index);
void DropColumn(Connection& conn, StringView table, StringView column);

// The schema of a table, nullptr when there is no such table.
std::shared_ptr<TableSchema> LoadSchema(Connection& conn, StringView table);
// User tables in creation order.
std::vector<String> TableNames(Connection& conn);
// The exact number of rows, from the row counter when the table has one.
int64_t CountRows(Connection& conn, StringView table);

// Runs a statement that returns no rows.
void ExecSql(Connection& conn, const std::string& sql);

// Runs a group of schema changes as one: all or nothing.
class SchemaChange {
 public:
  explicit SchemaChange(Connection& conn);
  ~SchemaChange();
  void Commit();

 private:
  Connection& conn_;
  bool done_ = false;
};

}  // namespace kiv::dao::detail
