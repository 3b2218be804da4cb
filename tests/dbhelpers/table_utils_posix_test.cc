// Database compaction under POSIX file modes: its temporary copy is never open to others.
#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include "dao/dao_test_util.h"
#include "kivdbxt/qv_db_xt.h"
#include "support/env_var.h"
#include "support/test_database.h"

using namespace kiv;
using namespace kiv::dao;

namespace {

// The compacted copy holds the whole database: while it exists, nobody but its owner can read
// it, and it is gone afterwards.
TEST(TableUtils, CompactionCopyIsNeverReadableByOthers) {
  kivtest::TestDatabases dbs(kivtest::Db::kSqlite);
  const String name = dbs.Name("c.mdb");
  auto db = kivtest::Engine()->CreateDatabase(name, dbLangGeneral);
  auto table = db->CreateTableDef(u"T");
  table->Fields().Append(table->CreateField(u"K", dbLong));
  table->Fields().Append(kivtest::TextField(*table, u"NAME"));
  db->TableDefs().Append(table);
  db->Execute(
      u"WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 60000) "
      u"INSERT INTO T SELECT 1000 + i, printf('%.200c', 'x') FROM n",
      dbFailOnError);
  db->Close();
  const std::string tmp = dbs.dir.path() + "/tmp";
  ASSERT_EQ(mkdir(tmp.c_str(), 0755), 0);

  // Watches the temporary folder while the compaction runs, noting every entry's mode.
  std::atomic<bool> done{false};
  int seen = 0, open_to_others = 0;
  std::thread watcher([&] {
    while (!done) {
      DIR* d = opendir(tmp.c_str());
      for (dirent* e; d && (e = readdir(d));) {
        struct stat st;
        if (e->d_name[0] == '.' || lstat((tmp + "/" + e->d_name).c_str(), &st) != 0) continue;
        ++seen;
        if (st.st_mode & 077) ++open_to_others;
      }
      if (d) closedir(d);
    }
  });
  bool failed;
  {
    const kivtest::EnvVar tmpdir("TMPDIR", tmp.c_str());
    failed = QvDbXtMod::Db_Compact(name);
  }
  done = true;
  watcher.join();
  EXPECT_FALSE(failed);
  EXPECT_GT(seen, 0) << "the compaction was not seen at work";
  EXPECT_EQ(open_to_others, 0);
  EXPECT_TRUE(std::filesystem::is_empty(tmp));
}

}  // namespace
