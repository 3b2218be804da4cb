// Statements sent to the server in libpq's pipeline mode: all of them, then one sync, then every
// answer read; one round trip where each statement alone costs one.
#pragma once

#include <libpq-fe.h>

#include <optional>
#include <string>
#include <vector>

#include "dao/engine/engine.h"
#include "dao/engine/postgres/pg_result.h"

namespace kiv::dao::engine::postgres {

// What a pipeline needs of a prepared statement.
class PipelinedStatement {
 public:
  virtual ~PipelinedStatement() = default;
  // Queues the statement with the parameters bound to it; false when libpq cannot.
  virtual bool Send() = 0;
  // Takes the statement's answer: its rows, read by Step.
  virtual void Receive(Result result) = 0;
};

class PgPipeline : public Pipeline {
 public:
  explicit PgPipeline(PGconn* conn) : conn_(conn) {}
  void Add(const std::string& sql) override;
  void Add(Statement& statement) override;
  std::string CheckSql(const std::string& condition) const override;
  bool Run() override;

 private:
  struct Item {
    std::string sql;                          // a statement without parameters, or
    PipelinedStatement* statement = nullptr;  // a prepared one
  };
  void Send();
  // Reads the answers of every item and of the sync; the first failure into `failure`.
  bool Receive(std::optional<EngineError>& failure);

  PGconn* conn_;
  std::vector<Item> items_;
};

}  // namespace kiv::dao::engine::postgres
