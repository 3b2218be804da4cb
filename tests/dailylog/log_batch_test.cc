// Batches of events: the same bytes as the same single writes, and the failures of a batch.
#include "dailylog_support.h"
#include "platform/vb_convert.h"
#include "support/last_error.h"

namespace kiv::testing {
namespace {

using LogBatchTest = DailyLogTest;

std::shared_ptr<KivLogEvent> Event(const String& source, const String& raw, int32_t data_type,
                                   int32_t type, const String& category, int32_t id,
                                   const String& server) {
  auto e = std::make_shared<KivLogEvent>();
  e->EvSource(source);
  e->EvRawData(raw);
  e->EvDataType(data_type);
  e->EvType(type);
  e->EvCategory(category);
  e->EvId(id);
  e->EvServer(server);
  e->EvUser(u"not used");  // the log's User is written, as by a single write
  e->EvUnk(42);
  return e;
}

// Events that take every turn of the record form: several raw lines, binary raw data, fields
// that cleaning changes, characters outside the code page.
std::vector<std::shared_ptr<KivLogEvent>> Sample() {
  return {
      Event(u"S1", u"one", RWDT_ASCII, EVENTLOG_ERROR_TYPE, u"cat", 1, u""),
      Event(u"S\t2\r\n", u"a\r\nb\nc\rd\x01", RWDT_ASCII, EVENTLOG_WARNING_TYPE, u"", -7, u"srv"),
      Event(u"S3", u"AB\xe9", RWDT_BINARY, EVENTLOG_SUCCESS, u"c\x02t", 3, u"x"),
      Event(u"", u"", RWDT_ASCII, EVENTLOG_AUDIT_FAILURE, u"Città €", 0, u"\x4e2d")};
}

// Opens APP's log with the unique numbers restarted, so that two logs draw the same numbers.
int32_t OpenSeeded(KivLog& log, const String& app, const String& folder) {
  SeedUniqueNumbers(12345);
  return log.EventLogOpen(app, folder, ELOF_OPENALWAYS, 0, u"pc", u"me");
}

// Opens APP's log with the unique numbers restarted, leaves `tail` at the end of its data file
// (what a crash or damage left there) and sets the log's options.
int32_t OpenWithTail(KivLog& log, const String& app, const String& folder, const String& base,
                     const std::string& tail, int32_t options) {
  const int32_t id = OpenSeeded(log, app, folder);
  WriteAll(base + u".ZLG", ReadAll(base + u".ZLG") + tail);
  log.EventLogOptions(id, options);
  return id;
}

TEST_F(LogBatchTest, ABatchWritesTheBytesOfTheSameSingleWrites) {
  // A clean end, a record cut short by a crash, a line of damage without its line end: the
  // batch appends after them, as the first single write does.
  const std::vector<std::string> tails = {"", "UNK=99\r\nDAT=2024-03-05 10:00:00\r\nSR", "junk"};
  int round = 0;
  for (const std::string& tail : tails) {
    for (int32_t options : {0, int32_t{KIVLIOPT_UTF8}}) {
      const String one = u"ONE" + IntText(round), many = u"MANY" + IntText(round);
      ++round;
      KivLog log;
      const int32_t single = OpenWithTail(log, one, folder, Base(one), tail, options);
      ASSERT_NE(single, 0);
      for (const auto& e : Sample()) {
        ASSERT_FALSE(log.EventLogWrite(single, e->EvSource(), e->EvRawData(), e->EvDataType(),
                                       e->EvType(), e->EvCategory(), e->EvId(), e->EvServer()));
      }
      ASSERT_FALSE(log.EventLogClose(single));

      const int32_t batched = OpenWithTail(log, many, folder, Base(many), tail, options);
      ASSERT_NE(batched, 0);
      const auto events = Batch(Sample());
      ASSERT_FALSE(log.EventLogWriteBatch(batched, events));
      ASSERT_FALSE(log.EventLogClose(batched));

      const std::string data = ReadAll(Base(one) + u".ZLG");
      EXPECT_EQ(ReadAll(Base(many) + u".ZLG"), data) << round;
      EXPECT_EQ(ReadAll(Base(many) + u".ZLI"), ReadAll(Base(one) + u".ZLI")) << round;
      EXPECT_EQ(IndexValues(Base(many))[0], 6) << round;
      EXPECT_NE(data.find("RWD=a\r\nRWD=b\r\nRWD=c\r\nRWD=d\r\n"), std::string::npos);
      EXPECT_NE(data.find("RWD=4142E9\r\n"), std::string::npos);
      // What the crash or the damage left stays, and the first record starts a line after it.
      if (!tail.empty()) {
        EXPECT_NE(data.find(tail + "\r\nUNK="), std::string::npos);
      }
      auto info = InfoFor(Base(many));
      ASSERT_FALSE(log.EventLogRead(info, 1, 10));
      ASSERT_EQ(Events(*info).size(), 6u);
      EXPECT_EQ(Events(*info)[4]->EvServer(), options ? u"\x4e2d" : u"?");
      // The items are left as they were.
      EXPECT_EQ(events->ObjectAt<KivLogEvent>(3)->EvRawData(), u"AB\xe9");
      EXPECT_EQ(events->ObjectAt<KivLogEvent>(1)->EvUnk(), 42);
    }
  }
}

TEST_F(LogBatchTest, FailuresOfABatch) {
  const String base = Base(u"APP");
  KivLog log;
  const auto events = Batch(Sample());

  EXPECT_TRUE(log.EventLogWriteBatch(77, events));
  EXPECT_EQ(LastErrorRecord().Description, u"Eventlog not started.");
  EXPECT_EQ(LastErrorRecord().Source, u"KivLog.EventLogWriteBatch");

  const int32_t id = log.EventLogOpen(u"APP", folder);
  ASSERT_NE(id, 0);
  const std::string marker = ReadAll(base + u".ZLG");
  EXPECT_FALSE(log.EventLogWriteBatch(id, std::make_shared<Collection>()));
  EXPECT_TRUE(log.EventLogWriteBatch(id, nullptr));
  EXPECT_EQ(LastErrorRecord().Number, 91);

  // An item that is not an event: nothing is written.
  auto mixed = Batch({Sample()[0]});
  mixed->Add(Variant(String(u"text")));
  EXPECT_TRUE(log.EventLogWriteBatch(id, mixed));
  EXPECT_EQ(kivtest::LastRecorded(), kivtest::Recorded(13, u"KivLog.EventLogWriteBatch"));
  EXPECT_EQ(ReadAll(base + u".ZLG"), marker);
  EXPECT_EQ(IndexValues(base), (std::vector<int32_t>{1, 1}));

  // The size limit reached part way: the events before it are written, then the call fails as a
  // single write past the limit does.
  log.EventLogMaxSize(id, static_cast<int32_t>(marker.size()) + 1);
  EXPECT_TRUE(log.EventLogWriteBatch(id, events));
  EXPECT_EQ(LastErrorRecord().Description,
            u"Il file di log " + base + u" ha superato la dimensione massima.");
  EXPECT_EQ(IndexValues(base),
            (std::vector<int32_t>{2, 1, static_cast<int32_t>(marker.size()) + 1}));
  auto info = InfoFor(base);
  ASSERT_FALSE(log.EventLogRead(info, 1, 10));
  ASSERT_EQ(Events(*info).size(), 2u);
  EXPECT_EQ(Events(*info)[1]->EvSource(), u"S1");
}

}  // namespace
}  // namespace kiv::testing
