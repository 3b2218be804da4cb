// A log file read (or changed) with SQLite itself, apart from the library's database layer.
#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <string>
#include <vector>

#include "kivdbxt/types.h"

namespace kiv {

// The rows of one statement, each column as text ("<null>" for Null). The file is opened for
// writing, with a generous busy wait, so that SQLite rolls back what a killed writer left.
inline std::vector<std::vector<std::string>> SqlRows(const String& file, const char* sql) {
  sqlite3* db = nullptr;
  sqlite3_open_v2(ToUtf8(file).c_str(), &db, SQLITE_OPEN_READWRITE, nullptr);
  sqlite3_busy_timeout(db, 10000);
  sqlite3_stmt* q = nullptr;
  EXPECT_EQ(sqlite3_prepare_v2(db, sql, -1, &q, nullptr), SQLITE_OK) << sqlite3_errmsg(db);
  std::vector<std::vector<std::string>> rows;
  while (q && sqlite3_step(q) == SQLITE_ROW) {
    std::vector<std::string> row;
    for (int i = 0; i < sqlite3_column_count(q); ++i) {
      const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(q, i));
      row.push_back(text ? text : "<null>");
    }
    rows.push_back(std::move(row));
  }
  sqlite3_finalize(q);
  sqlite3_close(db);
  return rows;
}

}  // namespace kiv
