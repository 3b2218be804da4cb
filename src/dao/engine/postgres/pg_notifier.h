// Notices on a PostgreSQL connection: NOTIFY sent inside a transaction, LISTEN, and a wait on the
// connection's socket. A channel is scoped to the connection's schema ("<channel>@<schema>").
#pragma once

#include <libpq-fe.h>

#include <set>
#include <string>

#include "dao/engine/engine.h"

namespace kiv::dao::engine::postgres {

class PgNotifier : public Notifier {
 public:
  explicit PgNotifier(PGconn* conn) : conn_(conn) {}
  void Notify(const std::string& channel, const std::string& payload) override;
  std::string NotifySql(const std::string& channel, const std::string& payload) const override;
  std::string NotifyByParametersSql() const override {
    return "SELECT pg_notify(?1 || '@' || current_schema(), ?2)";
  }
  void Listen(const std::string& channel) override;
  int Wait(int timeout_ms) override;

 private:
  PGconn* conn_;
  std::set<std::string> listening_;
};

}  // namespace kiv::dao::engine::postgres
