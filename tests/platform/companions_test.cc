// Folders, listing, names, unique numbers, the registry shim and the collection.
#include <gtest/gtest.h>

#include <set>
#include <thread>

#include "kivdbxt/collection.h"
#include "kivdbxt/error.h"
#include "platform/fs.h"
#include "platform/system.h"
#include "support/env_var.h"
#include "support/temp_dir.h"

namespace kiv {
namespace {

using kivtest::TempDir;
using kivtest::WriteBytes;

TEST(Folders, PrepareListAndName) {
  TempDir dir;
  const String deep = dir.File("a/b/c");
  PrepareFolder(deep);
  EXPECT_TRUE(FolderExists(deep));
  PrepareFolder(deep);  // an existing folder is fine
  for (const char* name :
       {"B_20240102.ZLG", "A_20240101.ZLI", "A_20240101.ZLG", "X.ZLI", "n.txt"}) {
    WriteBytes(dir.FileU8(name), "");
  }
  PrepareFolder(dir.File("D_20240101.ZLI"));  // a folder matching the pattern is not listed
  std::vector<String> expected = {u"A_20240101.ZLI", u"X.ZLI"};
  EXPECT_EQ(ListFiles(WithTrailingSeparator(dir.Path()) + u"*.ZLI"), expected);
  EXPECT_TRUE(ListFiles(dir.File("missing/*.ZLI")).empty());

  const String sep(1, kPathSeparator);
  EXPECT_EQ(WithTrailingSeparator(sep + u"x" + sep + u"y"), sep + u"x" + sep + u"y" + sep);
  EXPECT_EQ(WithTrailingSeparator(u"/x/y//"), u"/x/y/");
  EXPECT_EQ(WithTrailingSeparator(u""), sep);
  EXPECT_EQ(ParentFolder(u"/x/y/z.ZLG"), u"/x/y");
  EXPECT_EQ(BaseName(u"/x/y/z.ZLG"), u"z.ZLG");
  EXPECT_EQ(ZeroPad(7, 2), u"07");
  EXPECT_EQ(ZeroPad(123, 2), u"123");

  const String a = dir.File("a.txt");
  WriteBytes(dir.FileU8("a.txt"), "1");
  RenameFile(a, dir.File("b.txt"));
  EXPECT_FALSE(FileExists(a));
  EXPECT_TRUE(FileExists(dir.File("b.txt")));
  EXPECT_TRUE(RemoveFile(dir.File("b.txt")));
  EXPECT_FALSE(RemoveFile(dir.File("b.txt")));  // a missing file: no error, just false

  String t1 = TempFileName(u"MDB");
  String t2 = TempFileName(u"MDB");
  EXPECT_NE(t1, t2);
  EXPECT_TRUE(FileExists(t1));
  EXPECT_EQ(BaseName(t1).substr(0, 3), u"MDB");
  RemoveFile(t1);
  RemoveFile(t2);
}

#if !defined(_WIN32)
// Names match with their case, as POSIX file names do: "a_" is not "A_". (Windows:
// platform_windows_test.cc.)
TEST(Folders, PosixNamesMatchWithTheirCase) {
  TempDir dir;
  for (const char* name : {"A_20240101.ZLG", "a_20240101.ZLG", "x.zli", "X.ZLI"}) {
    WriteBytes(dir.FileU8(name), "");
  }
  EXPECT_EQ(ListFiles(dir.File("*.ZLI")), std::vector<String>{u"X.ZLI"});
  EXPECT_EQ(ListFiles(dir.File("a_*.ZLG")), std::vector<String>{u"a_20240101.ZLG"});
  EXPECT_TRUE(ListFiles(dir.File("a_*.zlg")).empty());
}
#endif

TEST(UniqueNumbers, DistinctAndPositiveAcrossThreads) {
  std::vector<int32_t> seen[4];
  std::vector<std::thread> threads;
  for (auto& s : seen) {
    threads.emplace_back([&s] {
      for (int i = 0; i < 50000; ++i) s.push_back(UniqueNumber());
    });
  }
  for (auto& t : threads) t.join();
  std::set<int32_t> all;
  for (auto& s : seen) {
    for (int32_t v : s) {
      EXPECT_GT(v, 0);
      all.insert(v);
    }
  }
  EXPECT_EQ(all.size(), 200000u);
}

TEST(Names, UserAndComputer) {
  EXPECT_FALSE(UserName().empty());
  EXPECT_FALSE(ComputerName().empty());
}

#if !defined(_WIN32)
TEST(Registry, PosixProgramFilesDirComesFromTheEnvironment) {
  String out;
  // $KIV_PROGRAMFILESDIR first, then $XDG_DATA_HOME.
  const kivtest::EnvVar xdg("XDG_DATA_HOME", "/xdg");
  for (const char* pf : {"/opt/pf", static_cast<const char*>(nullptr)}) {
    const kivtest::EnvVar env("KIV_PROGRAMFILESDIR", pf);
    EXPECT_TRUE(RegistryReadString(RegistryRoot::LocalMachine,
                                   u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion",
                                   u"ProgramFilesDir", out));
    EXPECT_EQ(out, pf ? u"/opt/pf" : u"/xdg");
  }
  EXPECT_FALSE(RegistryReadString(RegistryRoot::LocalMachine, u"SOFTWARE\\Other", u"X", out));
}
#endif

TEST(Collection, PositionsKeysAndErrors) {
  Collection c;
  EXPECT_FALSE(c.Add(Variant(u"b"), u"KB"));
  EXPECT_FALSE(c.AddBefore(Variant(u"a"), Variant(int32_t{1})));
  EXPECT_FALSE(c.AddAfter(Variant(u"c"), Variant(u"kb"), u"kc"));  // keys ignore case
  EXPECT_FALSE(c.Add(Variant(u"d")));
  ASSERT_EQ(c.Count(), 4);
  const char16_t* order[] = {u"a", u"b", u"c", u"d"};
  for (int i = 0; i < 4; ++i) EXPECT_EQ(c.Item(Variant(int32_t{i + 1})).StringValue(), order[i]);
  EXPECT_EQ(c.Item(Variant(u"KC")).StringValue(), u"c");
  EXPECT_TRUE(c.Exists(u"kb"));

  ClearLastError();
  EXPECT_TRUE(c.Item(Variant(int32_t{5})).IsEmpty());
  EXPECT_EQ(Last_Error(), 9);
  EXPECT_TRUE(c.Item(Variant(u"nokey")).IsEmpty());
  EXPECT_EQ(Last_Error(), 5);
  EXPECT_TRUE(c.Add(Variant(u"again"), u"kB"));
  EXPECT_EQ(Last_Error(), 457);
  EXPECT_TRUE(c.Remove(Variant(int32_t{0})));
  EXPECT_EQ(Last_Error(), 9);
  EXPECT_EQ(c.Count(), 4);

  EXPECT_FALSE(c.Remove(Variant(u"kb")));
  EXPECT_FALSE(c.Remove(Variant(int32_t{1})));
  EXPECT_EQ(c.Item(Variant(int32_t{1})).StringValue(), u"c");
  EXPECT_FALSE(c.Exists(u"kb"));
  c.Clear();
  EXPECT_EQ(c.Count(), 0);
}

}  // namespace
}  // namespace kiv
