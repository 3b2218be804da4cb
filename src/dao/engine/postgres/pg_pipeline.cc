#include "dao/engine/postgres/pg_pipeline.h"

#include <optional>

#include "dao/engine/postgres/pg_sql.h"

namespace kiv::dao::engine::postgres {
namespace {

// The server has no conditional statement outside procedures: a check that does not hold fails,
// with a text that is no boolean and names itself, and the pipeline stops there as at any failure.
constexpr char kCheckFailed[] = "kiv: the check did not hold";

bool IsCheckFailure(const PGresult* res) {
  const char* state = PQresultErrorField(res, PG_DIAG_SQLSTATE);
  const char* msg = PQresultErrorField(res, PG_DIAG_MESSAGE_PRIMARY);
  return state && std::string(state) == "22P02" && msg &&
         std::string(msg).find(kCheckFailed) != std::string::npos;
}

EngineError Broken(PGconn* conn) { return {Failure::kUnreachable, PQerrorMessage(conn)}; }

}  // namespace

void PgPipeline::Add(const std::string& sql) {
  for (size_t at = 0; at < sql.size();) {
    size_t used = 0;
    ServerSql one = ToServerSql(std::string_view(sql).substr(at), &used);
    at += used;
    if (!one.blank) items_.push_back({std::move(one.text), nullptr});
  }
}

void PgPipeline::Add(Statement& statement) {
  auto* pipelined = dynamic_cast<PipelinedStatement*>(&statement);
  if (!pipelined) throw EngineError(Failure::kOther, "a statement of another engine");
  items_.push_back({{}, pipelined});
}

std::string PgPipeline::CheckSql(const std::string& condition) const {
  return "SELECT CAST(CASE WHEN " + condition + " THEN 'true' ELSE '" + kCheckFailed +
         "' END AS boolean)";
}

bool PgPipeline::Run() {
  if (!PQenterPipelineMode(conn_)) throw Broken(conn_);
  std::optional<EngineError> failure;
  bool held = true;
  try {
    Send();
    held = Receive(failure);
  } catch (...) {
    PQexitPipelineMode(conn_);
    items_.clear();
    throw;
  }
  PQexitPipelineMode(conn_);
  items_.clear();
  // A transaction begun in the pipeline and failed there can only be rolled back.
  if (PQtransactionStatus(conn_) == PQTRANS_INERROR) Result(PQexec(conn_, "ROLLBACK"));
  if (failure) throw *failure;
  return held;
}

void PgPipeline::Send() {
  for (const Item& item : items_) {
    const bool sent = item.statement ? item.statement->Send()
                                     : PQsendQueryParams(conn_, item.sql.c_str(), 0, nullptr,
                                                         nullptr, nullptr, nullptr, 0) != 0;
    if (!sent) throw Broken(conn_);
  }
  if (!PQpipelineSync(conn_)) throw Broken(conn_);
}

bool PgPipeline::Receive(std::optional<EngineError>& failure) {
  bool held = true;
  for (const Item& item : items_) {
    Result res(PQgetResult(conn_));
    if (!res) throw Broken(conn_);
    const ExecStatusType st = PQresultStatus(res.get());
    if (st == PGRES_FATAL_ERROR) {
      if (IsCheckFailure(res.get())) {
        held = false;
      } else if (!failure) {
        failure = FromResult(res.get(), PQerrorMessage(conn_));
      }
    } else if (st != PGRES_PIPELINE_ABORTED && item.statement) {
      item.statement->Receive(std::move(res));
    }
    // Each statement's answers end with a null result.
    while (PGresult* more = PQgetResult(conn_)) PQclear(more);
  }
  Result sync(PQgetResult(conn_));
  if (!sync || PQresultStatus(sync.get()) != PGRES_PIPELINE_SYNC) throw Broken(conn_);
  return held;
}

}  // namespace kiv::dao::engine::postgres
