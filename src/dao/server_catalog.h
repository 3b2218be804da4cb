// The schema functions of schema.h for a database on a server, where the model keeps DAO's
// definitions in a catalog table of its own (see server_catalog.cc).
#pragma once

#include <memory>
#include <vector>

#include "dao/schema.h"

namespace kiv::dao::detail::server {

void CreateSystemTables(Connection& conn);
void CreateTable(Connection& conn, const TableSchema& table);
void AddColumn(Connection& conn, StringView table, const ColumnDef& column);
void CreateIndex(Connection& conn, StringView table, const IndexDef& index);
void DropTable(Connection& conn, StringView table);
void DropIndex(Connection& conn, StringView table, StringView index);
void DropColumn(Connection& conn, StringView table, StringView column);
std::shared_ptr<TableSchema> LoadSchema(Connection& conn, StringView table);
std::vector<String> TableNames(Connection& conn);

}  // namespace kiv::dao::detail::server
