// A server's answer to one statement, and the failure it reports.
#pragma once

#include <libpq-fe.h>

#include <memory>
#include <string>

#include "dao/engine/engine.h"

namespace kiv::dao::engine::postgres {

struct ResultDeleter {
  void operator()(PGresult* r) const { PQclear(r); }
};
using Result = std::unique_ptr<PGresult, ResultDeleter>;

// The failure of a statement, by its SQLSTATE; `fallback` is the message when it has none.
EngineError FromResult(const PGresult* res, const std::string& fallback);

// Checks a command's result; raises the failure it reports.
Result Checked(PGconn* conn, PGresult* raw);

}  // namespace kiv::dao::engine::postgres
