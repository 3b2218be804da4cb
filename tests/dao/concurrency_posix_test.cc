// Sharing one database file between processes (started with fork), and exclusive opens.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "dao/dao_test_util.h"

using namespace kiv;
using namespace kiv::dao;
using kivtest::NumberRaisedBy;

namespace {

void AddRow(Recordset& rs, int32_t who) {
  rs.AddNew();
  rs.Fields()[u"WHO"]->Value(Variant(who));
  rs.Update();
}

// Runs body in a child process; its exit status is 0 when body returned true.
template <class F>
int InChild(F body) {
  const pid_t pid = fork();
  if (pid == 0) {
    bool ok = false;
    try {
      ok = body();
    } catch (...) {
    }
    _exit(ok ? 0 : 1);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 99;
}

}  // namespace

TEST(DaoConcurrency, TwoProcessesShareOneDatabase) {
  kivtest::TempFolder dir;
  const String name = dir.File("shared.mdb");
  auto db = kivtest::CountersDb(name);
  auto rs = db->OpenRecordset(u"T", dbOpenTable);
  rs->Index(u"WHO");
  AddRow(*rs, 1);

  // While this process holds the database and a table recordset open, another one reads it,
  // writes to it and sees its own rows.
  const int status = InChild([&] {
    auto other = DBEngine::ForThread()->OpenDatabase(name, false, false);
    auto t = other->OpenRecordset(u"T", dbOpenTable);
    if (t->RecordCount() != 1) return false;
    for (int32_t i = 0; i < 50; ++i) AddRow(*t, 100 + i);
    t->Index(u"WHO");
    t->Seek(u"=", Variant(int32_t{1}));
    if (t->NoMatch()) return false;
    t->Edit();
    t->Fields()[u"PAD"]->Value(Variant(u"from the child"));
    t->Update();
    return t->RecordCount() == 51;
  });
  ASSERT_EQ(status, 0);

  EXPECT_EQ(rs->RecordCount(), 51);
  rs->Seek(u"=", Variant(int32_t{1}));
  ASSERT_FALSE(rs->NoMatch());
  EXPECT_EQ(rs->Fields()[u"PAD"]->Value(), Variant(u"from the child"));
  rs->MoveLast();
  EXPECT_EQ(rs->Fields()[u"WHO"]->Value(), Variant(int32_t{149}));
  AddRow(*rs, 2);  // and this process still writes
  EXPECT_EQ(rs->RecordCount(), 52);

  // A database held exclusively turns other processes away.
  db->Close();
  auto exclusive = kivtest::Engine()->OpenDatabase(name, true, false);
  const int refused = InChild(
      [&] { return NumberRaisedBy([&] { DBEngine::ForThread()->OpenDatabase(name); }) == 3045; });
  EXPECT_EQ(refused, 0);
  exclusive->Close();
}
