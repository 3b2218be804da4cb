// Reading a day forwards and backwards, with Adjust and filters, and reading damaged days.
#include "dailylog/log_read.h"

#include <random>

#include "dailylog_support.h"
#include "platform/file_table.h"
#include "platform/vb_convert.h"
#include "support/last_error.h"

namespace kiv::testing {
namespace {

class LogReadTest : public DailyLogTest {
 protected:
  // A log of ten events: the "Open" marker, eight writes with EventId 2..9, the "Closed" marker.
  void SetUp() override {
    DailyLogTest::SetUp();
    base = Base(u"APP");
    KivLog writer;
    int32_t id = writer.EventLogOpen(u"APP", folder);
    ASSERT_NE(id, 0);
    for (int k = 2; k <= 9; ++k) {
      ASSERT_FALSE(writer.EventLogWrite(id, u"S" + IntText(k), u"raw " + IntText(k), RWDT_ASCII,
                                        EVENTLOG_ERROR_TYPE, String(), k));
    }
    ASSERT_FALSE(writer.EventLogClose(id));
    info = InfoFor(base);
    ClearLastError();
  }

  String base;
  std::shared_ptr<KivLogInfo> info;
  KivLog log;
};

TEST_F(LogReadTest, ForwardAndBackwardPages) {
  const std::vector<int32_t> index = IndexValues(base);
  ASSERT_EQ(index[0], 10);

  // Backwards from 3 with Adjust runs off the first event and completes the page after it.
  int32_t start = 3;
  ASSERT_FALSE(log.EventLogReadBack(info, start, 5, true));
  EXPECT_EQ(Ordinals(*info), (std::vector<int32_t>{1, 2, 3, 4, 5}));
  EXPECT_EQ(start, 3);
  EXPECT_EQ(info->Events(), 10);
  for (const auto& e : Events(*info)) {
    // Each event carries its ordinal and where its record starts.
    EXPECT_EQ(e->Offset(), index[e->Ordinal()]);
    if (e->Ordinal() > 1 && e->Ordinal() < 10) {
      EXPECT_EQ(e->EvId(), e->Ordinal());
    }
  }
  EXPECT_EQ(Events(*info)[0]->EvRawData(), u"Open");
  // Without Adjust the page stops at the first event.
  ASSERT_FALSE(log.EventLogReadBack(info, 3, 5));
  EXPECT_EQ(Ordinals(*info), (std::vector<int32_t>{1, 2, 3}));

  // Forwards there is no Adjust: only 9 and 10.
  ASSERT_FALSE(log.EventLogRead(info, 9, 5));
  EXPECT_EQ(Ordinals(*info), (std::vector<int32_t>{9, 10}));
  EXPECT_EQ(Events(*info)[1]->EvRawData(), u"Closed");

  // Start past the end: nothing forwards, Start unchanged; backwards it becomes the last event.
  start = 40;
  ASSERT_FALSE(log.EventLogRead(info, start, 5));
  EXPECT_EQ(info->LogData()->Count(), 0);
  EXPECT_EQ(start, 40);
  ASSERT_FALSE(log.EventLogReadBack(info, start, 2));
  EXPECT_EQ(start, 10);
  EXPECT_EQ(Ordinals(*info), (std::vector<int32_t>{9, 10}));

  // Count 1 is the default; a count of 0 reads nothing.
  ASSERT_FALSE(log.EventLogRead(info, 4));
  EXPECT_EQ(Ordinals(*info), (std::vector<int32_t>{4}));
  ASSERT_FALSE(log.EventLogRead(info, 4, 0));
  EXPECT_EQ(info->LogData()->Count(), 0);

  // The whole day, forwards and backwards, gives the same events in the same order.
  ASSERT_FALSE(log.EventLogRead(info, 1, 100));
  std::vector<int32_t> fwd = Ordinals(*info);
  ASSERT_FALSE(log.EventLogReadBack(info, 100, 100));
  EXPECT_EQ(Ordinals(*info), fwd);
  EXPECT_EQ(fwd.size(), 10u);
  EXPECT_EQ(Events(*info)[4]->EvRawData(), u"raw 5");
  EXPECT_EQ(Events(*info)[4]->EvSource(), u"S5");
  EXPECT_EQ(Events(*info)[4]->EvDate(), Day1At());
}

// A filter passing the events of these EventIds.
std::shared_ptr<KivLogFilter> IdFilter(std::initializer_list<int32_t> ids) {
  auto f = std::make_shared<KivLogFilter>();
  f->Checks(LGFF_CHECKID);
  for (int32_t id : ids) f->IdsAdd(id);
  return f;
}

TEST_F(LogReadTest, FiltersAndTheForwardAdjust) {
  const auto none = IdFilter({999});
  for (bool adjust : {false, true}) {
    // Nothing passes: the day is walked and the read succeeds with nothing.
    int32_t start = 6;
    ASSERT_FALSE(log.EventLogFilterBack(info, start, none, 3, adjust));
    EXPECT_EQ(info->LogData()->Count(), 0);
    ASSERT_FALSE(log.EventLogFilter(info, 1, none, 3));
    EXPECT_EQ(info->LogData()->Count(), 0);
  }

  const auto some = IdFilter({2, 5, 8, 9});
  ASSERT_FALSE(log.EventLogFilterBack(info, 10, some, 2));
  EXPECT_EQ(Ordinals(*info), (std::vector<int32_t>{8, 9}));
  ASSERT_FALSE(log.EventLogFilter(info, 3, some, 2));
  EXPECT_EQ(Ordinals(*info), (std::vector<int32_t>{5, 8}));
  // Backwards from 4 finds only 2, then Adjust goes on after it: 5 and 8.
  ASSERT_FALSE(log.EventLogFilterBack(info, 4, some, 3, true));
  EXPECT_EQ(Ordinals(*info), (std::vector<int32_t>{2, 5, 8}));
  // Nothing passes from 4 down to 1 (only id 9 wanted): Adjust restarts after Start.
  ASSERT_FALSE(log.EventLogFilterBack(info, 4, IdFilter({9}), 3, true));
  EXPECT_EQ(Ordinals(*info), (std::vector<int32_t>{9}));
  // A null filter passes everything.
  ASSERT_FALSE(log.EventLogFilter(info, 2, nullptr, 2));
  EXPECT_EQ(Ordinals(*info), (std::vector<int32_t>{2, 3}));

  // A forward read with Adjust (not offered by the public reads) turns back before the run and
  // appends what it finds after the turn.
  int32_t start = 9;
  ASSERT_FALSE(ReadEventLog(info, start, 5, nullptr, false, true));
  EXPECT_EQ(Ordinals(*info), (std::vector<int32_t>{9, 10, 8, 7, 6}));
  start = 3;
  ASSERT_FALSE(ReadEventLog(info, start, 3, none, false, true));
  EXPECT_EQ(info->LogData()->Count(), 0);
}

TEST_F(LogReadTest, FailuresAreRecordedAndKeepWhatWasRead) {
  // No such log.
  auto missing = InfoFor(Base(u"NOPE"));
  EXPECT_TRUE(log.EventLogRead(missing, 1, 5));
  kivtest::ExpectLastError(
      53, u"KivLog.ReadEventLog",
      u"Impossibile aprire il file di log " + Base(u"NOPE") + u"\r\nFile not found");
  EXPECT_TRUE(log.EventLogReadBack(nullptr, 1, 5));
  EXPECT_EQ(Last_Error(), 91);
  info->LogData(nullptr);
  EXPECT_TRUE(log.EventLogRead(info, 1));
  EXPECT_EQ(Last_Error(), 91);
  info->LogData(std::make_shared<Collection>());
  EXPECT_TRUE(log.EventLogRead(info, 0, 2));
  EXPECT_EQ(Last_Error(), 63);

  // A record out of step: reading stops there with the event's own message.
  std::vector<int32_t> index = IndexValues(base);
  std::string data = ReadAll(base + u".ZLG");
  data[static_cast<size_t>(index[5] - 1)] = 'X';  // "UNK=" of event 5 becomes "XNK="
  WriteAll(base + u".ZLG", data);
  EXPECT_TRUE(log.EventLogRead(info, 2, 10));
  kivtest::ExpectLastError(20000, u"KivLog.ReadEventLog",
                           u"Disallineamento dei dati nel file di log.");
  EXPECT_EQ(Ordinals(*info), (std::vector<int32_t>{2, 3, 4}));
  EXPECT_TRUE(log.EventLogReadBack(info, 8, 10));
  EXPECT_EQ(Ordinals(*info), (std::vector<int32_t>{6, 7, 8}));

  // An entry pointing past the data file or before its start.
  index[3] = static_cast<int32_t>(data.size()) + 100;
  index[4] = -7;
  WriteAll(base + u".ZLI", IndexBytes(index));
  EXPECT_TRUE(log.EventLogRead(info, 3, 1));
  EXPECT_EQ(Last_Error(), 62);
  EXPECT_TRUE(log.EventLogRead(info, 4, 1));
  EXPECT_EQ(Last_Error(), 63);
}

// Each way out of a read or a write, early returns and failures included, gives back its file
// numbers and locks: a leak would use up the process's numbers and lock writers out for good.
TEST_F(LogReadTest, EveryWayOutReleasesFilesAndLocks) {
  const int32_t free_before = FreeFile();
  const String empty = Base(u"EMPTY");
  WriteAll(empty + u".ZLI", IndexBytes({0}));
  WriteAll(empty + u".ZLG", "");
  std::vector<int32_t> index = IndexValues(base);
  std::string damaged = ReadAll(base + u".ZLG");
  damaged[static_cast<size_t>(index[7] - 1)] = 'X';
  const String bad = Base(u"BAD");
  WriteAll(bad + u".ZLI", IndexBytes(index));
  WriteAll(bad + u".ZLG", damaged);

  for (int round = 0; round < 2 * kMaxFileNumber / 3; ++round) {
    ASSERT_FALSE(log.EventLogRead(info, 2, 3));
    ASSERT_FALSE(log.EventLogRead(info, 50, 3));  // past the end, forwards: nothing to read
    ASSERT_FALSE(log.EventLogReadBack(InfoFor(empty), 1, 3));
    ASSERT_TRUE(log.EventLogRead(InfoFor(Base(u"NOPE")), 1, 3));
    ASSERT_TRUE(log.EventLogRead(InfoFor(bad), 6, 3));
    ASSERT_EQ(Last_Error(), 20000);
  }
  EXPECT_EQ(FreeFile(), free_before);

  // No lock is left behind either: a writer gets both files at once, and one refused for its
  // size does not keep them.
  int32_t id = log.EventLogOpen(u"APP", folder);
  ASSERT_NE(id, 0);
  log.EventLogMaxSize(id, 1);
  EXPECT_TRUE(log.EventLogWrite(id, u"too big"));
  EXPECT_EQ(Last_Error(), 20000);
  ASSERT_FALSE(log.EventLogRead(info, 11, 1));
  ASSERT_EQ(info->LogData()->Count(), 1);
  EXPECT_EQ(Events(*info)[0]->EvRawData(), u"Open");
  log.EventLogMaxSize(id, 0);
  EXPECT_FALSE(log.EventLogClose(id));
  EXPECT_EQ(IndexValues(base)[0], 12);
  EXPECT_EQ(FreeFile(), free_before);
}

TEST_F(LogReadTest, EmptyDaysAndInterruptedWrites) {
  // An index holding 0 and an empty data file are a valid empty log; so is a short index.
  const String empty = Base(u"EMPTY");
  WriteAll(empty + u".ZLI", IndexBytes({0}));
  WriteAll(empty + u".ZLG", "");
  auto e = InfoFor(empty);
  EXPECT_FALSE(log.EventLogReadBack(e, 5, 5, true));
  EXPECT_EQ(e->LogData()->Count(), 0);
  EXPECT_EQ(e->Events(), 0);
  WriteAll(empty + u".ZLI", "\x01\x00");
  EXPECT_FALSE(log.EventLogRead(e, 1, 5));
  EXPECT_EQ(e->Events(), 0);

  const std::vector<int32_t> index = IndexValues(base);
  const std::string data = ReadAll(base + u".ZLG");
  const int32_t n = index[0];
  // Stopped after the count: one more than the entries.
  std::vector<int32_t> more = index;
  more[0] = n + 1;
  WriteAll(base + u".ZLI", IndexBytes(more));
  int32_t start = 1000;
  ASSERT_FALSE(log.EventLogReadBack(info, start, 3));
  EXPECT_EQ(Ordinals(*info), (std::vector<int32_t>{n - 2, n - 1, n}));
  EXPECT_EQ(info->Events(), n);
  EXPECT_EQ(start, n);
  // A count far beyond the file is bounded the same way.
  more[0] = 0x7FFFFFFF;
  WriteAll(base + u".ZLI", IndexBytes(more));
  ASSERT_FALSE(log.EventLogRead(info, n - 1, 5));
  EXPECT_EQ(Ordinals(*info), (std::vector<int32_t>{n - 1, n}));

  // Stopped after the entry: the last record is missing, or cut short anywhere inside it.
  std::vector<int32_t> entry = index;
  entry[0] = n + 1;
  entry.push_back(static_cast<int32_t>(data.size()) + 1);
  WriteAll(base + u".ZLI", IndexBytes(entry));
  ASSERT_FALSE(log.EventLogReadBack(info, 1000, 2));
  EXPECT_EQ(Ordinals(*info), (std::vector<int32_t>{n - 1, n}));
  const size_t last = static_cast<size_t>(index[n] - 1);
  for (size_t cut : {size_t{1}, size_t{9}, size_t{40}, data.size() - last - 27}) {
    WriteAll(base + u".ZLI", IndexBytes(index));
    WriteAll(base + u".ZLG", data.substr(0, last + cut));
    ASSERT_FALSE(log.EventLogReadBack(info, 1000, 2)) << cut;
    EXPECT_EQ(Ordinals(*info), (std::vector<int32_t>{n - 2, n - 1})) << cut;
    EXPECT_EQ(info->Events(), n - 1);
    ASSERT_FALSE(log.EventLogRead(info, n - 1, 5));
    EXPECT_EQ(Ordinals(*info), (std::vector<int32_t>{n - 1}));
  }
  // Cut inside its END line, after "END=", the record is whole as Load reads it.
  for (size_t cut : {data.size() - last - 1, data.size() - last - 3}) {
    WriteAll(base + u".ZLG", data.substr(0, last + cut));
    ASSERT_FALSE(log.EventLogReadBack(info, 1000, 2)) << cut;
    EXPECT_EQ(Ordinals(*info), (std::vector<int32_t>{n - 1, n})) << cut;
  }

  // A write after an interruption puts the log back in step.
  WriteAll(base + u".ZLG", data);
  WriteAll(base + u".ZLI", IndexBytes(more));
  {
    KivLog writer;
    ASSERT_NE(writer.EventLogOpen(u"APP", folder), 0);
    std::vector<int32_t> healed = IndexValues(base);
    ASSERT_EQ(healed.size(), static_cast<size_t>(n) + 2);
    EXPECT_EQ(healed[0], n + 1);
    EXPECT_EQ(healed[n + 1], static_cast<int32_t>(data.size()) + 1);
  }
  ASSERT_FALSE(log.EventLogRead(info, 1, 100));
  EXPECT_EQ(info->LogData()->Count(), n + 2);
  EXPECT_EQ(Events(*info)[n]->EvRawData(), u"Open");
}

TEST_F(LogReadTest, DamagedFilesNeverCrash) {
  const std::string data = ReadAll(base + u".ZLG");
  const std::string idx = ReadAll(base + u".ZLI");
  std::mt19937 rng(12345);
  for (int round = 0; round < 200; ++round) {
    std::string d = data, i = idx;
    for (int k = 0; k < 6; ++k) {
      std::string& target = rng() % 2 ? d : i;
      if (target.empty()) continue;
      switch (rng() % 3) {
        case 0:
          target[rng() % target.size()] = static_cast<char>(rng());
          break;
        case 1:
          target.resize(rng() % target.size());
          break;
        default:
          target.insert(rng() % target.size(), 1, static_cast<char>(rng()));
          break;
      }
    }
    WriteAll(base + u".ZLG", d);
    WriteAll(base + u".ZLI", i);
    int32_t start = static_cast<int32_t>(rng() % 14);
    bool failed =
        round % 2 ? log.EventLogReadBack(info, start, 20, true) : log.EventLogRead(info, start, 20);
    // Either a clean read or a recorded failure; whatever was read is in ascending order.
    if (failed) {
      EXPECT_NE(Last_Error(), 0);
    }
    std::vector<int32_t> ords = Ordinals(*info);
    EXPECT_TRUE(std::is_sorted(ords.begin(), ords.end())) << round;
  }
}

}  // namespace
}  // namespace kiv::testing
