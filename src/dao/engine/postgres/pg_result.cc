#include "dao/engine/postgres/pg_result.h"

#include "dao/engine/postgres/pg_sql.h"

namespace kiv::dao::engine::postgres {
namespace {

bool Contains(const std::string& text, const char* part) {
  return text.find(part) != std::string::npos;
}

}  // namespace

EngineError FromResult(const PGresult* res, const std::string& fallback) {
  const char* state = res ? PQresultErrorField(res, PG_DIAG_SQLSTATE) : nullptr;
  const char* primary = res ? PQresultErrorField(res, PG_DIAG_MESSAGE_PRIMARY) : nullptr;
  const std::string msg = primary ? primary : fallback;
  const std::string code = state ? state : "";
  const char* table = res ? PQresultErrorField(res, PG_DIAG_TABLE_NAME) : nullptr;
  const char* column = res ? PQresultErrorField(res, PG_DIAG_COLUMN_NAME) : nullptr;
  const std::string subject =
      std::string(table ? table : "") + (table && column ? "." : "") + (column ? column : "");
  if (code == "55P03" || code == "40P01" || code == "40001") return {Failure::kBusy, msg};
  if (code == "25006") return {Failure::kReadOnly, msg};
  if (code == "23502") return {Failure::kNotNull, msg, subject};
  if (code == "23514") return {Failure::kCheck, msg, subject};
  if (code == "23505") return {Failure::kUnique, msg};
  if (code == "42P01") return {Failure::kNoSuchTable, msg, QuotedIn(msg)};
  if (code == "42703") return {Failure::kNoSuchColumn, msg, QuotedIn(msg)};
  if (code == "42601") return {Failure::kSyntax, msg};
  if (code == "42P07") {
    return {Contains(msg, "relation") && !Contains(msg, "index") ? Failure::kTableExists
                                                                 : Failure::kIndexExists,
            msg, QuotedIn(msg)};
  }
  if (code == "53100") return {Failure::kFull, msg};
  if (code == "53200") return {Failure::kResources, msg};
  if (code == "22P02" || code == "42804") return {Failure::kMismatch, msg};
  if (code == "08P01" || code == "57P01" || code == "57P03" || code.rfind("08", 0) == 0)
    return {Failure::kUnreachable, msg};
  if (code == "XX001" || code == "XX002") return {Failure::kCorrupt, msg};
  return {Failure::kOther, msg};
}

Result Checked(PGconn* conn, PGresult* raw) {
  Result res(raw);
  const ExecStatusType st = res ? PQresultStatus(res.get()) : PGRES_FATAL_ERROR;
  if (st == PGRES_COMMAND_OK || st == PGRES_TUPLES_OK || st == PGRES_EMPTY_QUERY) return res;
  throw FromResult(res.get(), PQerrorMessage(conn));
}

}  // namespace kiv::dao::engine::postgres
