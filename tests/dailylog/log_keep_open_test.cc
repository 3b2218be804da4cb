// Logs that keep their files open between writes: locked per write, reopened when another
// process has purged or renamed the day's files, closed by a close, a day change or the object's
// end.
#include <unistd.h>

#include <filesystem>
#include <functional>

#include "dailylog_support.h"
#include "support/in_child.h"

namespace kiv::testing {
namespace {

using LogKeepOpenTest = DailyLogTest;

// How many descriptors of this process are open on a file.
int OpenCount(const String& path) {
  int n = 0;
  std::error_code ec;
  const auto target = std::filesystem::path(U8(path));
  for (const auto& fd : std::filesystem::directory_iterator("/proc/self/fd", ec)) {
    std::error_code e;
    if (std::filesystem::read_symlink(fd.path(), e) == target) ++n;
  }
  return n;
}

// APP's log in folder, opened with its files kept open; 0 when it cannot be opened.
int32_t OpenKeepingFiles(KivLog& log, const String& folder) {
  const int32_t id = log.EventLogOpen(u"APP", folder);
  if (id != 0) log.EventLogOptions(id, KIVLIOPT_KEEPOPEN);
  return id;
}

// Runs `work` in another process, which must succeed.
template <typename F>
void InAnotherProcess(F work) {
  EXPECT_EQ(kivtest::InChild([&] { return kivtest::Check(work(), "failed"); }), "");
}

std::vector<String> Sources(const String& base) {
  std::vector<String> out;
  for (const auto& e : ReadDay(base)) out.push_back(e->EvSource() + u":" + e->EvRawData());
  return out;
}

TEST_F(LogKeepOpenTest, PurgedOrRenamedFilesAreReopenedAndNothingIsLost) {
  const String base = Base(u"APP");
  KivLog log;
  const int32_t id = OpenKeepingFiles(log, folder);
  ASSERT_NE(id, 0);
  ASSERT_FALSE(log.EventLogWrite(id, u"A", u"1"));
  EXPECT_EQ(OpenCount(base + u".ZLG"), 1);
  EXPECT_EQ(OpenCount(base + u".ZLI"), 1);
  // Unlocked between writes: a reader gets in.
  EXPECT_EQ(Sources(base), (std::vector<String>{u"EVENTLOG:Open", u"A:1"}));

  // Another process moves the day's files aside: the next write goes to new files of the day.
  InAnotherProcess([&] { return !KivLog().RenameLog(base); });
  ASSERT_FALSE(log.EventLogWrite(id, u"B", u"2"));
  EXPECT_EQ(Sources(base + u"-01"), (std::vector<String>{u"EVENTLOG:Open", u"A:1"}));
  EXPECT_EQ(Sources(base), (std::vector<String>{u"B:2"}));

  // Another process removes them: the next write creates them again.
  InAnotherProcess([&] {
    return std::filesystem::remove(U8(base + u".ZLI")) &&
           std::filesystem::remove(U8(base + u".ZLG"));
  });
  ASSERT_FALSE(log.EventLogWrite(id, u"C", u"3"));
  ASSERT_FALSE(log.EventLogWrite(id, u"D", u"4"));
  EXPECT_EQ(Sources(base), (std::vector<String>{u"C:3", u"D:4"}));
  EXPECT_EQ(IndexValues(base).size(), 3u);
  EXPECT_EQ(OpenCount(base + u".ZLG"), 1);

  // A write of another process between two of ours is counted by the next of ours.
  InAnotherProcess([&] {
    KivLog other;
    const int32_t o = other.EventLogOpen(u"APP", folder);
    return o != 0 && !other.EventLogPurge(o);
  });
  InAnotherProcess([&] {
    KivLog other;
    const int32_t o = other.EventLogOpen(u"APP", folder);
    return o != 0 && !other.EventLogWrite(o, u"X", u"x");
  });
  ASSERT_FALSE(log.EventLogWrite(id, u"E", u"5"));
  EXPECT_EQ(Sources(base),
            (std::vector<String>{u"EVENTLOG:Open", u"X:x", u"EVENTLOG:Closed", u"E:5"}));

  // Another process appends to the files this writer keeps: its event is counted, not written
  // over.
  InAnotherProcess([&] {
    KivLog other;
    const int32_t o = other.EventLogOpen(u"APP", folder);
    return o != 0 && !other.EventLogWrite(o, u"Y", u"y") && !other.EventLogClose(o);
  });
  ASSERT_FALSE(log.EventLogWrite(id, u"F", u"6"));
  std::vector<String> expected{u"EVENTLOG:Open", u"X:x", u"EVENTLOG:Closed", u"E:5",
                               u"EVENTLOG:Open", u"Y:y", u"EVENTLOG:Closed", u"F:6"};
  EXPECT_EQ(Sources(base), expected);

  // A writer of another process stopped by a crash left a cut record and its entry: the next
  // write takes the entry back and puts its record after the remains, which stay.
  std::string data = ReadAll(base + u".ZLG");
  std::vector<int32_t> index = IndexValues(base);
  index[0] += 1;
  index.push_back(static_cast<int32_t>(data.size()) + 1);
  WriteAll(base + u".ZLI", IndexBytes(index));
  const std::string remains = "UNK=5\r\nDAT=2024-03-05 10:00:00\r\nSRC=Z";
  WriteAll(base + u".ZLG", data + remains);
  ASSERT_FALSE(log.EventLogWrite(id, u"G", u"7"));
  expected.push_back(u"G:7");
  EXPECT_EQ(Sources(base), expected);
  EXPECT_EQ(ReadAll(base + u".ZLG").find(remains + "\r\nUNK="), data.size());

  // The index lost: the next write finds the path no longer names its index, and the index
  // made anew holds every record of the data file.
  ASSERT_TRUE(std::filesystem::remove(U8(base + u".ZLI")));
  ASSERT_FALSE(log.EventLogWrite(id, u"H", u"8"));
  expected.push_back(u"H:8");
  EXPECT_EQ(Sources(base), expected);
  EXPECT_EQ(IndexValues(base)[0], static_cast<int32_t>(expected.size()));

  // Closing closes the files.
  ASSERT_FALSE(log.EventLogClose(id));
  EXPECT_EQ(OpenCount(base + u".ZLG"), 0);
  EXPECT_EQ(OpenCount(base + u".ZLI"), 0);
  EXPECT_EQ(Sources(base).back(), u"EVENTLOG:Closed");
}

// Most writes tell that nothing changed without looking at the paths. Once that holds (a few
// writes, a few milliseconds after the files were made), each change another program makes
// between two writes is still seen by the next one.
TEST_F(LogKeepOpenTest, ChangesBetweenWritesAreSeenOnceWritesStopLookingAtThePaths) {
  const String base = Base(u"APP");
  const std::string whole =
      "UNK=9\r\nDAT=2024-03-05 10:00:00\r\nSRC=Z\r\nTYP=4\r\nCAT=\r\nEID=0\r\nUSR=u\r\n"
      "COM=c\r\nSVR=\r\nDTP=0\r\nRWD=z\r\nEND=-----------------------\r\n";
  struct Case {
    const char* what;
    std::function<void()> change;
    std::vector<String> after;  // the day's events once the next write is in
  };
  const std::vector<Case> cases = {
      {"a writer killed after its record, before its entry: the record is taken in",
       [&] { WriteAll(base + u".ZLG", ReadAll(base + u".ZLG") + whole); },
       {u"EVENTLOG:Open", u"A:1", u"A:2", u"A:3", u"Z:z", u"B:4"}},
      {"the data file removed alone: the next write makes the day anew",
       [&] { std::filesystem::remove(U8(base + u".ZLG")); },
       {u"B:4"}},
      {"the index removed alone: its records are indexed again",
       [&] { std::filesystem::remove(U8(base + u".ZLI")); },
       {u"EVENTLOG:Open", u"A:1", u"A:2", u"A:3", u"B:4"}},
  };
  for (const Case& c : cases) {
    KivLog log;
    const int32_t id = log.EventLogOpen(u"APP", folder, ELOF_CREATE_ALWAYS);
    ASSERT_NE(id, 0);
    log.EventLogOptions(id, KIVLIOPT_KEEPOPEN);
    for (const char16_t* raw : {u"1", u"2", u"3"}) {
      ::usleep(20000);  // each write in a later tick of the file system's clock
      ASSERT_FALSE(log.EventLogWrite(id, u"A", raw));
    }
    c.change();
    ASSERT_FALSE(log.EventLogWrite(id, u"B", u"4")) << c.what;
    EXPECT_EQ(Sources(base), c.after) << c.what;
  }
}

TEST_F(LogKeepOpenTest, ADayChangeAndTheObjectsEndCloseTheFiles) {
  const String day1 = Base(u"APP");
  const Date next = Day1At() + 1;
  {
    KivLog log;
    const int32_t id = OpenKeepingFiles(log, folder);
    ASSERT_NE(id, 0);
    ASSERT_FALSE(log.EventLogWrite(id, u"A", u"1"));
    EXPECT_EQ(OpenCount(day1 + u".ZLG"), 1);
    SetClockTo(next);
    ASSERT_FALSE(log.EventLogWrite(id, u"B", u"2"));
    EXPECT_EQ(OpenCount(day1 + u".ZLG"), 0);
    EXPECT_EQ(OpenCount(day1 + u".ZLI"), 0);
    EXPECT_EQ(OpenCount(Base(u"APP", next) + u".ZLG"), 1);
    // Taking the option off closes them too.
    log.EventLogOptions(id, 0);
    ASSERT_FALSE(log.EventLogWrite(id, u"C", u"3"));
    EXPECT_EQ(OpenCount(Base(u"APP", next) + u".ZLG"), 0);
    log.EventLogOptions(id, KIVLIOPT_KEEPOPEN);
    ASSERT_FALSE(log.EventLogWrite(id, u"D", u"4"));
    EXPECT_EQ(OpenCount(Base(u"APP", next) + u".ZLI"), 1);
  }
  EXPECT_EQ(OpenCount(Base(u"APP", next) + u".ZLG"), 0);
  EXPECT_EQ(OpenCount(Base(u"APP", next) + u".ZLI"), 0);
  EXPECT_EQ(Sources(day1), (std::vector<String>{u"EVENTLOG:Open", u"A:1"}));
  EXPECT_EQ(Sources(Base(u"APP", next)),
            (std::vector<String>{u"B:2", u"C:3", u"D:4", u"EVENTLOG:Closed"}));
}

}  // namespace
}  // namespace kiv::testing
