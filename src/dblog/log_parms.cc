#include "dblog/log_parms.h"

#include "dao/connection.h"

namespace kiv {

dao::detail::Statement& BoundParmUpdate(dao::detail::Connection& conn, StringView key,
                                        StringView value) {
  // Written at every report (LASTCHANGE): prepared once per connection.
  dao::detail::Statement& update =
      conn.Prepared(R"(UPDATE "PARMS" SET "VALUE" = ?2 WHERE "KEY" = ?1)");
  update.BindText(1, key);
  update.BindText(2, value);
  return update;
}

void WriteParm(dao::detail::Connection& conn, StringView key, StringView value) {
  conn.BeforeWrite();
  // In the usual case of one row per key a single UPDATE.
  BoundParmUpdate(conn, key, value).Run();
  const int64_t changed = conn.Db()->Changes();
  if (changed == 1) return;
  if (changed == 0) {
    dao::detail::Statement& add =
        conn.Prepared(R"(INSERT INTO "PARMS" ("KEY", "VALUE") VALUES (?1, ?2))");
    add.BindText(1, key);
    add.BindText(2, value);
    add.Run();
    return;
  }
  // Rows of the same key left by older versions that could add a key twice: reads take the
  // first, so the rest go.
  const std::string rowid = conn.Db()->RowIdName();
  dao::detail::Statement& drop =
      conn.Prepared(R"(DELETE FROM "PARMS" WHERE "KEY" = ?1 AND )" + rowid + " > (SELECT min(" +
                    rowid + R"() FROM "PARMS" WHERE "KEY" = ?1))");
  drop.BindText(1, key);
  drop.Run();
}

}  // namespace kiv
