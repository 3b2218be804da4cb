// The day's files are the same bytes on Linux and on Windows: each side writes exactly the files
// stored in data/ (written once on Linux) and reads them back as the events written.
#include <filesystem>

#include "dailylog_support.h"

namespace kiv::testing {
namespace {

using LogPortableTest = DailyLogTest;

struct Sample {
  String source, raw;
  int32_t data_type;
};

// A line end inside the raw data, a character of the code page and one outside it, binary data.
const Sample kSamples[] = {{u"S1", u"one\r\ntwo", RWDT_ASCII},
                           {u"Citt\u00e0", u"\u20ac \u4e2d", RWDT_ASCII},
                           {u"S3", u"AB\u00e9\x01", RWDT_BINARY}};

std::string Stored(const std::string& name) {
  return kivtest::ReadBytes(std::string(KIV_TEST_DATA) + "/" + name);
}

TEST_F(LogPortableTest, DayFilesAreTheSameBytesOnEveryPlatform) {
  KivLog log;
  SeedUniqueNumbers(12345);
  const int32_t id = log.EventLogOpen(u"GOLD", folder, ELOF_OPENALWAYS, 0, u"pc", u"me");
  ASSERT_NE(id, 0);
  for (const Sample& s : kSamples) {
    ASSERT_FALSE(log.EventLogWrite(id, s.source, s.raw, s.data_type, EVENTLOG_WARNING_TYPE, u"cat",
                                   7, u"srv"));
  }
  ASSERT_FALSE(log.EventLogClose(id));
  for (const char* ext : {".ZLG", ".ZLI"}) {
    const std::string stored = Stored(std::string("GOLD_20240305") + ext);
    ASSERT_FALSE(stored.empty()) << ext;
    EXPECT_EQ(ReadAll(Base(u"GOLD") + FromUtf8(ext)), stored) << ext;
  }

  // The stored files, under another name, read back as what was written.
  for (const char* ext : {".ZLG", ".ZLI"}) {
    WriteAll(Base(u"OTHER") + FromUtf8(ext), Stored(std::string("GOLD_20240305") + ext));
  }
  KivLog reader;
  auto info = InfoFor(Base(u"OTHER"));
  EXPECT_FALSE(reader.EventLogRead(info, 1, 10));
  const auto events = Events(*info);
  ASSERT_EQ(events.size(), std::size(kSamples) + 2);  // between the log's open and close records
  EXPECT_EQ(events[0]->EvRawData(), u"Open");
  EXPECT_EQ(events[4]->EvRawData(), u"Closed");
  for (size_t i = 0; i < std::size(kSamples); ++i) {
    EXPECT_EQ(events[i + 1]->EvSource(), kSamples[i].source) << i;
    EXPECT_EQ(events[i + 1]->EvComputer(), u"pc") << i;
  }
  EXPECT_EQ(events[1]->EvRawData(), u"one\r\ntwo");
  EXPECT_EQ(events[2]->EvRawData(), u"\u20ac ?");  // outside the code page: "?"
  EXPECT_EQ(events[3]->EvRawData(), u"4142E901");  // binary data as hexadecimal text
}

}  // namespace
}  // namespace kiv::testing
