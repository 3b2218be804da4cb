// The databases a test runs on, of either engine, so that one suite covers both: files in a fresh
// folder, or schemas of their own on the test server (the URI sets search_path; citext comes from
// public).
#pragma once

#include <gtest/gtest.h>

#include <cctype>
#include <random>
#include <string>

#include "dao/engine/engine.h"
#include "support/pg_server.h"
#include "support/temp_dir.h"

namespace kivtest {

enum class Db { kSqlite, kPostgres };

inline std::string DbName(const testing::TestParamInfo<Db>& info) {
  return info.param == Db::kSqlite ? "sqlite" : "postgres";
}

class TestDatabases {
 public:
  explicit TestDatabases(Db engine) : engine_(engine) {}

  bool OnServer() const { return engine_ == Db::kPostgres; }
  // True when the test can run: always on SQLite, under CTest's test server on PostgreSQL.
  bool Available() const { return !OnServer() || PgTestUri().has_value(); }

  // Database `file` of the test: a file of the folder, or the URI of a schema made for it.
  kiv::String Name(const std::string& file) {
    if (!OnServer()) return dir.File(file);
    if (!Available()) return kiv::String();
    std::string schema = "t" + std::to_string(Run()) + "_" + std::to_string(++Serial()) + "_";
    for (char c : file) schema.push_back(std::isalnum(static_cast<unsigned char>(c)) ? c : '_');
    kiv::dao::engine::OpenPostgres(*PgTestUri(), {})->Exec("CREATE SCHEMA " + schema);
    return kiv::FromUtf8(*PgTestUri() + "&options=-csearch_path%3D" + schema + "%2Cpublic");
  }

  TempDir dir;

 private:
  // Test processes run side by side on one server: each has schemas of its own.
  static uint32_t Run() {
    static const uint32_t run = std::random_device()();
    return run;
  }
  static int& Serial() {
    static int serial = 0;
    return serial;
  }
  Db engine_;
};

// The fixture of a suite run on both engines (the test's parameter), skipped on PostgreSQL
// outside CTest.
class OnBothEngines : public testing::TestWithParam<Db> {
 protected:
  void SetUp() override {
    if (!TestDatabases(GetParam()).Available()) GTEST_SKIP() << "no test server: run through ctest";
  }
};

}  // namespace kivtest

// The suite's engines; a suite names its parameterised fixture.
#define KIV_ON_BOTH_ENGINES(Fixture)                                                      \
  INSTANTIATE_TEST_SUITE_P(Engines, Fixture,                                              \
                           testing::Values(kivtest::Db::kSqlite, kivtest::Db::kPostgres), \
                           kivtest::DbName)
