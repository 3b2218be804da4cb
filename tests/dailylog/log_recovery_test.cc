// Days whose files a crash, a lost index or another user left in an odd state: the next write
// puts them back in step without losing, forging or doubling an event.
#include <filesystem>

#include "dailylog_support.h"
#include "platform/vb_convert.h"
#include "support/last_error.h"

namespace kiv::testing {
namespace {

class LogRecoveryTest : public DailyLogTest {
 protected:
  // A day of three events: the "Open" marker and the writes "one" and "two".
  void SetUp() override {
    DailyLogTest::SetUp();
    base = Base(u"APP");
    id = log.EventLogOpen(u"APP", folder);
    ASSERT_NE(id, 0);
    ASSERT_FALSE(log.EventLogWrite(id, u"S", u"one"));
    ASSERT_FALSE(log.EventLogWrite(id, u"S", u"two"));
    data = ReadAll(base + u".ZLG");
    index = IndexValues(base);
    ASSERT_EQ(index.size(), 4u);
  }

  const std::vector<String> kThree{u"Open", u"one", u"two"};
  KivLog log;
  int32_t id = 0;
  String base;
  std::string data;
  std::vector<int32_t> index;
};

// An index that reads as fewer events than the data file holds is rebuilt before the append:
// the events keep their ordinals and the new record goes after them, never over the first.
TEST_F(LogRecoveryTest, LostOrDamagedIndexIsRebuiltBeforeTheAppend) {
  const std::vector<std::pair<const char*, std::optional<std::string>>> damages = {
      {"missing", std::nullopt},
      {"empty", ""},
      {"two bytes", "\x03\x00"},
      {"count 0", IndexBytes({0, index[1], index[2], index[3]})},
      {"count negative", IndexBytes({-7, index[1], index[2], index[3]})},
      {"count 1 of 3", IndexBytes({1, index[1], index[2], index[3]})},
      {"count only", IndexBytes({3})},
      {"garbage entry", IndexBytes({3, index[1], index[2], 12345678})},
  };
  for (const auto& [what, bytes] : damages) {
    SCOPED_TRACE(what);
    WriteAll(base + u".ZLG", data);
    std::filesystem::remove(U8(base) + ".ZLI");
    if (bytes) WriteAll(base + u".ZLI", *bytes);
    ASSERT_FALSE(log.EventLogWrite(id, u"S", u"new"));
    EXPECT_EQ(ReadAll(base + u".ZLG").substr(0, data.size()), data);
    const std::vector<int32_t> now = IndexValues(base);
    ASSERT_EQ(now.size(), 5u);
    EXPECT_EQ(now[0], 4);
    EXPECT_EQ(std::vector<int32_t>(now.begin() + 1, now.begin() + 4),
              std::vector<int32_t>(index.begin() + 1, index.end()));
    EXPECT_EQ(now[4], static_cast<int32_t>(data.size()) + 1);
    EXPECT_EQ(RawDatas(base), (std::vector<String>{u"Open", u"one", u"two", u"new"}));
  }

  // Records written after the last entry (an index restored from an old copy) are taken in too.
  WriteAll(base + u".ZLG", data);
  WriteAll(base + u".ZLI", IndexBytes({3, index[1], index[2], index[3]}));
  ASSERT_FALSE(log.EventLogWrite(id, u"S", u"three"));
  WriteAll(base + u".ZLI", IndexBytes({2, index[1], index[2]}));
  ASSERT_FALSE(log.EventLogWrite(id, u"S", u"four"));
  EXPECT_EQ(RawDatas(base), (std::vector<String>{u"Open", u"one", u"two", u"three", u"four"}));
  EXPECT_EQ(IndexValues(base).size(), 6u);
}

// A writer that stored the entry before its record (an older version) and crashed between them
// leaves an entry at the data file's end; one inside the record leaves it cut short, at any size.
// The next writer takes the entry back and reuses its ordinal, so that no event reads twice; the
// remains of the cut record stay, and no record merges with them.
TEST_F(LogRecoveryTest, CrashLeftoversAreTakenBackAndTheirOrdinalReused) {
  WriteAll(base + u".ZLI",
           IndexBytes({4, index[1], index[2], index[3], static_cast<int32_t>(data.size()) + 1}));
  ASSERT_FALSE(log.EventLogWrite(id, u"S", u"after phantom"));
  std::vector<int32_t> now = IndexValues(base);
  ASSERT_EQ(now.size(), 5u);
  EXPECT_EQ(now[0], 4);
  EXPECT_EQ(now[4], static_cast<int32_t>(data.size()) + 1);
  EXPECT_EQ(RawDatas(base), (std::vector<String>{u"Open", u"one", u"two", u"after phantom"}));

  // A record of more than 16 MiB cut inside its raw data, with its count and entry written.
  std::string cut = "UNK=77\r\nDAT=2024-03-05 10:00:00\r\nSRC=S\r\nDTP=0\r\nRWD=";
  cut.append(size_t{17} << 20, 'a');
  WriteAll(base + u".ZLG", data + cut);
  WriteAll(base + u".ZLI",
           IndexBytes({4, index[1], index[2], index[3], static_cast<int32_t>(data.size()) + 1}));
  auto info = InfoFor(base);
  ASSERT_FALSE(KivLog().EventLogRead(info, 1, 10));
  EXPECT_EQ(info->Events(), 3);  // readers leave the cut record out
  ASSERT_FALSE(log.EventLogWrite(id, u"S", u"after cut"));
  EXPECT_EQ(IndexValues(base)[4], static_cast<int32_t>(data.size() + cut.size() + 2) + 1);
  EXPECT_EQ(ReadAll(base + u".ZLG").substr(0, data.size() + cut.size() + 6),
            data + cut + "\r\nUNK=");
  EXPECT_EQ(RawDatas(base), (std::vector<String>{u"Open", u"one", u"two", u"after cut"}));

  // Bytes that end inside a line are not merged into the next record: it starts a line of its
  // own, so that it is found again by a rebuild of the index.
  data = ReadAll(base + u".ZLG");
  WriteAll(base + u".ZLG", data + "stray");
  ASSERT_FALSE(log.EventLogWrite(id, u"S", u"after stray"));
  now = IndexValues(base);
  EXPECT_EQ(now[5], static_cast<int32_t>(data.size() + 5 + 2) + 1);
  EXPECT_EQ(ReadAll(base + u".ZLG").substr(data.size(), 11), "stray\r\nUNK=");
  WriteAll(base + u".ZLI", "");
  ASSERT_FALSE(log.EventLogWrite(id, u"S", u"rebuilt"));
  EXPECT_EQ(RawDatas(base), (std::vector<String>{u"Open", u"one", u"two", u"after cut",
                                                 u"after stray", u"rebuilt"}));
}

// Records after the last entry's are taken in only when they read as Load reads them: one whose
// number does not convert would stop every read of the day at its ordinal.
TEST_F(LogRecoveryTest, OnlyRecordsThatReadAreTakenIn) {
  const std::string unreadable = "UNK=12x\r\nSRC=S\r\nEND=-----------------------\r\n";
  WriteAll(base + u".ZLG", data + unreadable);
  ASSERT_FALSE(log.EventLogWrite(id, u"S", u"new"));
  EXPECT_EQ(IndexValues(base),
            (std::vector<int32_t>{4, index[1], index[2], index[3],
                                  static_cast<int32_t>(data.size() + unreadable.size()) + 1}));
  EXPECT_EQ(RawDatas(base), (std::vector<String>{u"Open", u"one", u"two", u"new"}));
}

// Any line beginning "END=" ends a record, the day's last one included.
TEST_F(LogRecoveryTest, AnyEndLineEndsTheLastRecord) {
  const std::string last = data.substr(static_cast<size_t>(index[3] - 1));
  const std::string body = last.substr(0, last.size() - 29);
  for (const std::string end_line : {"END=\r\n", "END=anything at all\r\n", "END=x"}) {
    SCOPED_TRACE(end_line);
    WriteAll(base + u".ZLG", data.substr(0, static_cast<size_t>(index[3] - 1)) + body + end_line);
    WriteAll(base + u".ZLI", IndexBytes(index));
    EXPECT_EQ(RawDatas(base), kThree);
  }
  // The next record starts a line of its own after an END line without its line end.
  ASSERT_FALSE(log.EventLogWrite(id, u"S", u"next"));
  EXPECT_EQ(RawDatas(base), (std::vector<String>{u"Open", u"one", u"two", u"next"}));
}

}  // namespace
}  // namespace kiv::testing
