#include "dao/engine/postgres/pg_notifier.h"

#include <poll.h>

#include <chrono>
#include <memory>

#include "dao/engine/postgres/pg_result.h"

namespace kiv::dao::engine::postgres {
namespace {

Result Run(PGconn* conn, const char* sql, const std::string& a, const std::string& b = {}) {
  const char* params[] = {a.c_str(), b.c_str()};
  Result res(PQexecParams(conn, sql, b.empty() ? 1 : 2, nullptr, params, nullptr, nullptr, 0));
  const ExecStatusType st = res ? PQresultStatus(res.get()) : PGRES_FATAL_ERROR;
  if (st != PGRES_COMMAND_OK && st != PGRES_TUPLES_OK)
    throw EngineError(Failure::kUnreachable, PQerrorMessage(conn));
  return res;
}

}  // namespace

void PgNotifier::Notify(const std::string& channel, const std::string& payload) {
  Run(conn_, "SELECT pg_notify($1 || '@' || current_schema(), $2)", channel,
      payload.empty() ? " " : payload);
}

std::string PgNotifier::NotifySql(const std::string& channel, const std::string& payload) const {
  auto literal = [&](const std::string& text) {
    char* quoted = PQescapeLiteral(conn_, text.data(), text.size());
    if (!quoted) throw EngineError(Failure::kResources, PQerrorMessage(conn_));
    std::string out(quoted);
    PQfreemem(quoted);
    return out;
  };
  return "SELECT pg_notify(" + literal(channel) + " || '@' || current_schema(), " +
         literal(payload.empty() ? " " : payload) + ")";
}

void PgNotifier::Listen(const std::string& channel) {
  if (listening_.count(channel)) return;
  Result name = Run(conn_, "SELECT $1 || '@' || current_schema()", channel);
  char* quoted =
      PQescapeIdentifier(conn_, PQgetvalue(name.get(), 0, 0), PQgetlength(name.get(), 0, 0));
  if (!quoted) throw EngineError(Failure::kResources, PQerrorMessage(conn_));
  Result listen(PQexec(conn_, ("LISTEN " + std::string(quoted)).c_str()));
  PQfreemem(quoted);
  if (PQresultStatus(listen.get()) != PGRES_COMMAND_OK)
    throw EngineError(Failure::kUnreachable, PQerrorMessage(conn_));
  listening_.insert(channel);
}

int PgNotifier::Wait(int timeout_ms) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(timeout_ms);
  for (;;) {
    if (!PQconsumeInput(conn_)) throw EngineError(Failure::kUnreachable, PQerrorMessage(conn_));
    int heard = 0;
    while (PGnotify* notice = PQnotifies(conn_)) {
      ++heard;
      PQfreemem(notice);
    }
    if (heard) return heard;
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    if (left <= 0) return 0;
    pollfd socket{PQsocket(conn_), POLLIN, 0};
    if (poll(&socket, 1, static_cast<int>(left)) < 0 && errno != EINTR)
      throw EngineError(Failure::kIoError, "poll failed");
  }
}

}  // namespace kiv::dao::engine::postgres
