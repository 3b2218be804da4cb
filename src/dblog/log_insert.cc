#include "dblog/log_insert.h"

#include "dao/connection.h"
#include "dbhelpers/blob_codec.h"

namespace kiv {
namespace {

constexpr size_t kTextLimit = 255;

StringView Left255(StringView s) { return s.substr(0, kTextLimit); }

}  // namespace

dao::detail::Statement& BoundInsert(dao::detail::Connection& conn, const EventRow& row) {
  dao::detail::Statement& insert = conn.Prepared(
      R"(INSERT INTO "EVENTS" ("DATE", "TYPE", "CATEGORY", "ID", "UNK", "USER", "COMPUTER", )"
      R"("SOURCE", "SERVER", "RAWDATA") VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?))");
  insert.BindDouble(1, row.date);
  insert.BindInt(2, row.type);
  insert.BindText(3, Left255(row.category));
  insert.BindInt(4, row.id);
  insert.BindInt(5, row.unk);
  insert.BindText(6, Left255(row.user));
  insert.BindText(7, Left255(row.computer));
  insert.BindText(8, Left255(row.source));
  insert.BindText(9, Left255(row.server));
  if (row.raw_data.empty()) {
    insert.BindNull(10);
  } else {
    const std::vector<uint8_t> bytes = QvDbXtMod::StringBytes(row.raw_data);
    insert.BindBlob(10, bytes.data(), bytes.size());
  }
  return insert;
}

void InsertEvent(dao::detail::Connection& conn, const EventRow& row) {
  conn.BeforeWrite();
  BoundInsert(conn, row).Run();
}

}  // namespace kiv
