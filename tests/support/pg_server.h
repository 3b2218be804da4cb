// The throwaway PostgreSQL server CTest starts for the database tests (the pg_server fixture):
// its URI and the password of its password-only role, read from the state folder CTest names in
// KIV_TEST_PG_STATE. Outside CTest there is none.
#pragma once

#include <cstdlib>
#include <fstream>
#include <optional>
#include <string>

namespace kivtest {

inline std::optional<std::string> PgState(const char* file) {
  const char* state = std::getenv("KIV_TEST_PG_STATE");
  if (!state) return std::nullopt;
  std::ifstream in(std::string(state) + "/" + file);
  std::string line;
  if (!std::getline(in, line) || line.empty()) return std::nullopt;
  return line;
}

// postgresql:///kivtest?host=<socket folder>&user=postgres
inline std::optional<std::string> PgTestUri() { return PgState("uri"); }

// The socket folder of the server.
inline std::string PgSocketDir() {
  const std::string uri = PgTestUri().value_or("");
  const size_t host = uri.find("host=");
  return uri.substr(host + 5, uri.find('&', host) - host - 5);
}

}  // namespace kivtest

// Skips the test when no test server runs (the binary was started outside CTest).
#define KIV_REQUIRE_PG_SERVER() \
  if (!kivtest::PgTestUri()) GTEST_SKIP() << "no test server: run through ctest"
