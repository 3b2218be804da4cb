// A filtered walk judges records in the data file's bytes; what it returns, and where it fails,
// must be exactly what loading every event and testing it with IsValid gives.
#include "dailylog/filtered_walk.h"

#include <climits>
#include <random>

#include "dailylog/log_files.h"
#include "dailylog_support.h"
#include "platform/vb_convert.h"

namespace kiv::testing {
namespace {

using FilteredWalkTest = DailyLogTest;

std::string Record(const std::string& body) {
  return RecordBytes("7", "2024-03-05 10:00:00", body);
}

// A day of records with everything Load accepts that a plain record does not show.
std::vector<std::string> OddRecords() {
  return {
      Record("SRC=Alpha\r\nTYP=1\r\nEID=5\r\nRWD=disk error\r\n"),
      Record("SRC=beta\r\nTYP=2\r\nEID=6\r\nCAT=Disk\r\nRWD=ok\r\n"),
      // CR alone ends a line; a lone LF is part of the value.
      "UNK=8\rDAT=2024-03-05 10:00:01\rSRC=ALPHA\rTYP=4\rEID=5\rRWD=a\nb\rEND=--\r",
      // A repeated key: the last line wins; raw lines accumulate, an empty first one is lost.
      Record("SRC=beta\r\nSRC=alpha\r\nEID=7\r\nRWD=\r\nRWD=x\r\nRWD=\r\nRWD=y\r\n"),
      // No SRC line at all; numbers and dates that only CLng and CDate read.
      "UNK= 12 \r\nDAT=2024-03-05\r\nTYP=+4\r\nEID=0005\r\nDTP=1\r\nRWD=\r\nEND=x\r\n",
      // A record larger than the walk's first look at the bytes, in Windows-1252.
      Record("SRC=Alpha\r\nEID=5\r\nCAT=caf\xe9\r\nRWD=" + std::string(10000, 'z') + "\r\n"),
      Record("SRC=gamma\r\nUSR=Ann\r\nCOM=pc1\r\nSVR=S\r\nEID=9\r\n"),
      // All text valid UTF-8: the record is decoded from UTF-8.
      Record("SRC=Citt\xc3\xa0\r\nCAT=\xe2\x82\xac\r\nEID=5\r\nRWD=caf\xc3\xa9\r\n"),
      // One field that is not UTF-8: the whole record is decoded from Windows-1252, the source
      // included, though the source alone would read as UTF-8.
      Record("SRC=Citt\xc3\xa0\r\nEID=5\r\nRWD=caf\xe9\r\n"),
      // A raw data line longer than the blocks the walk reads.
      Record("SRC=alpha\r\nEID=5\r\nRWD=" + std::string(size_t{3} << 19, 'q') + "\r\n"),
      // Lines that only begin like a key, and an END line with text after its key.
      "UNK=11\r\nDAT=2024-03-05 10:00:00\r\nSRC=SRC=alpha\r\nEID=6\r\nRWD=END=\r\nEND=x y\r\n",
      // The last record without the line end of its END line.
      "UNK=9\r\nDAT=2024-03-05 11:00:00\r\nSRC=alpha\r\nEID=5\r\nEND=",
  };
}

std::vector<std::shared_ptr<KivLogFilter>> Filters() {
  std::vector<std::shared_ptr<KivLogFilter>> out;
  auto add = [&](int32_t checks) {
    out.push_back(std::make_shared<KivLogFilter>());
    out.back()->Checks(checks);
    return out.back();
  };
  add(LGFF_CHECKSOURCE)->SourcesAdd(u"alpha");
  add(LGFF_CHECKSOURCE)->SourcesAdd(u"CITTÀ");
  add(LGFF_CHECKID)->IdsAdd(5);
  add(LGFF_CHECKTYPE | LGFF_CHECKID)->TypesAdd(4);
  add(LGFF_CHECKRAWDATA)->RawDatasAdd(u"B");
  add(LGFF_CHECKCATEGORY)->CategoriesAdd(u"CAFÉ");
  auto users = add(LGFF_CHECKUSER | LGFF_CHECKCOMPUTER | LGFF_CHECKSERVER);
  users->UsersAdd(u"ann");
  users->ComputersAdd(u"PC1");
  users->ServersAdd(u"s");
  auto dates = add(LGFF_CHECKDATE | LGFF_CHECKSOURCE);
  dates->DateStart(Day1At(10, 0));
  dates->DateEnd(Day1At(10, 0));
  dates->SourcesAdd(u"");  // with one item, only events without a source pass
  return out;
}

// What a read of the whole day gives: failure, error, and every field of every event.
struct Outcome {
  bool failed;
  ErrorRecord error;
  std::vector<std::string> events;
};

std::string Describe(const KivLogEvent& e) {
  return std::to_string(e.Ordinal()) + "@" + std::to_string(e.Offset()) + " " +
         std::to_string(e.EvUnk()) + " " + std::to_string(e.EvDate()) + " " +
         std::to_string(e.EvType()) + " " + std::to_string(e.EvId()) + " " +
         std::to_string(e.EvDataType()) + " " + U8(e.EvSource()) + "|" + U8(e.EvCategory()) + "|" +
         U8(e.EvUser()) + "|" + U8(e.EvComputer()) + "|" + U8(e.EvServer()) + "|" +
         U8(e.EvRawData());
}

Outcome Walk(KivLog& log, const String& base, const std::shared_ptr<KivLogFilter>& filter) {
  auto info = InfoFor(base);
  ClearLastError();
  Outcome out{log.EventLogFilter(info, 1, filter, INT_MAX), LastErrorRecord(), {}};
  for (const auto& e : Events(*info)) out.events.push_back(Describe(*e));
  return out;
}

// The same by loading every event and testing it.
Outcome Reference(KivLog& log, const String& base, const KivLogFilter& filter) {
  auto info = InfoFor(base);
  ClearLastError();
  Outcome out{log.EventLogRead(info, 1, INT_MAX), LastErrorRecord(), {}};
  for (const auto& e : Events(*info)) {
    if (filter.IsValid(*e)) out.events.push_back(Describe(*e));
  }
  return out;
}

void ExpectSame(const Outcome& walk, const Outcome& reference, const std::string& where) {
  EXPECT_EQ(walk.failed, reference.failed) << where;
  EXPECT_EQ(walk.error.Number, reference.error.Number) << where;
  EXPECT_EQ(U8(walk.error.Description), U8(reference.error.Description)) << where;
  EXPECT_EQ(U8(walk.error.Source), U8(reference.error.Source)) << where;
  EXPECT_EQ(walk.events, reference.events) << where;
}

TEST_F(FilteredWalkTest, OddRecordsGiveWhatLoadingEveryEventGives) {
  const String base = Base(u"ODD");
  KivLog log;
  // The day as it is, and with a last record cut short (readers leave it out).
  std::vector<std::string> cut = OddRecords();
  cut.push_back("UNK=12\r\nDAT=2024-03-05 11:00:00\r\nSRC=alpha\r\nEID=5\r\nRW");
  for (const auto& records : {OddRecords(), cut}) {
    WriteDay(base, records);
    int passed = 0;
    for (size_t f = 0; f < Filters().size(); ++f) {
      const auto filter = Filters()[f];
      const Outcome reference = Reference(log, base, *filter);
      ASSERT_FALSE(reference.failed) << U8(reference.error.Description);
      passed += static_cast<int>(reference.events.size());
      ExpectSame(Walk(log, base, filter), reference, "filter " + std::to_string(f));
    }
    EXPECT_GT(passed, 10);  // the filters pass some of the events and reject others
  }

  // Backwards, with Adjust: the same events as the forward walk, in the same order.
  auto info = InfoFor(base);
  int32_t start = 100;
  ASSERT_FALSE(log.EventLogFilterBack(info, start, Filters()[0], 100, true));
  std::vector<std::string> back;
  for (const auto& e : Events(*info)) back.push_back(Describe(*e));
  EXPECT_EQ(back, Walk(log, base, Filters()[0]).events);
}

// The walk judges plain records itself, and leaves to Load only what it cannot: a record that
// straddles its blocks, numbers and dates outside the plain form, a cut or damaged record.
TEST_F(FilteredWalkTest, PlainRecordsAreJudgedInTheBytes) {
  const String base = Base(u"ODD");
  std::vector<std::string> records = OddRecords();
  records.push_back(Record("SRC=alpha\r\nTYP=x\r\n"));
  records.push_back("UNK=13\r\nDAT=2024-03-05 11:00:00\r\nSRC=alpha\r\nEID=5\r\nRW");
  WriteDay(base, records);
  const std::string data = ReadAll(base + u".ZLG");
  LogFiles files;
  auto info = InfoFor(base);
  OpenLogFiles(*info, files, true, false);
  KivLogFilter filter;
  filter.Checks(LGFF_CHECKSOURCE);
  filter.SourcesAdd(u"alpha");
  FilteredWalk walk(files.data.Duplicate(), files.data_size, filter);
  std::vector<FilteredWalk::Verdict> verdicts;
  std::vector<String> sources;
  for (int32_t k = 1; k <= static_cast<int32_t>(records.size()); ++k) {
    std::shared_ptr<KivLogEvent> event;
    verdicts.push_back(walk.Judge(IndexValues(base)[k], event));
    sources.push_back(event ? event->EvSource() : u"-");
  }
  using V = FilteredWalk::Verdict;
  EXPECT_EQ(verdicts,
            (std::vector<V>{V::kPassed, V::kRejected, V::kPassed, V::kPassed, V::kRejected,
                            V::kPassed, V::kRejected, V::kRejected, V::kRejected, V::kUnsure,
                            V::kRejected, V::kPassed, V::kUnsure, V::kUnsure}));
  EXPECT_EQ(sources[3], u"alpha");
  EXPECT_EQ(sources[11], u"alpha");
}

// A damaged record fails the walk where loading it fails, with the same error, even when the
// filter would have rejected it; the events passed before it stay.
TEST_F(FilteredWalkTest, DamagedRecordsFailWhereLoadFails) {
  const String base = Base(u"BAD");
  KivLog log;
  const auto by_source = Filters()[0];
  for (const std::string& bad :
       {Record("SRC=other\r\nFOO=1\r\n"), Record("SRC=other\r\nTYP=x\r\n"),
        Record("SRC=other\r\nDAT=not a date\r\n"), std::string("SRC=other\r\nEND=\r\n"),
        Record("SRC=other\r\n").substr(0, 33)}) {
    std::vector<std::string> records = OddRecords();
    records.insert(records.begin() + 2, bad);
    WriteDay(base, records);
    const Outcome reference = Reference(log, base, *by_source);
    ASSERT_TRUE(reference.failed) << bad;
    const Outcome walk = Walk(log, base, by_source);
    ExpectSame(walk, reference, bad);
    EXPECT_EQ(walk.events.size(), 1u) << bad;
  }

  // Random damage to a real day: the walk and the reference always agree.
  const String real = Base(u"APP");
  KivLog writer;
  const int32_t id = writer.EventLogOpen(u"APP", folder);
  // Records in UTF-8 and in Windows-1252 by turns, with text outside ASCII.
  for (int k = 0; k < 30; ++k) {
    writer.EventLogOptions(id, k % 2 ? KIVLIOPT_UTF8 : 0);
    ASSERT_FALSE(writer.EventLogWrite(id, k % 3 ? u"alpha" : u"beta",
                                      u"raw \x4e2d\u00e8\r\n" + IntText(k), RWDT_ASCII,
                                      EVENTLOG_ERROR_TYPE, u"c\u00e0", k % 4 ? 5 : 6));
  }
  ASSERT_FALSE(writer.EventLogClose(id));
  const std::string data = ReadAll(real + u".ZLG");
  const Outcome whole = Reference(log, real, *Filters()[0]);
  ASSERT_EQ(whole.events.size(), 20u);
  EXPECT_NE(whole.events[0].find("raw \xe4\xb8\xad\xc3\xa8"), std::string::npos);  // UTF-8
  EXPECT_NE(whole.events[1].find("raw ?\xc3\xa8"), std::string::npos);             // Windows-1252
  ExpectSame(Walk(log, real, Filters()[0]), whole, "undamaged");
  std::mt19937 rng(777);
  for (int round = 0; round < 150; ++round) {
    std::string d = data;
    for (int k = 0; k < 3; ++k) d[rng() % d.size()] = "=\r\nX5-"[rng() % 5];
    if (round % 5 == 0) d.resize(rng() % d.size());
    WriteAll(real + u".ZLG", d);
    for (const auto& filter : {Filters()[0], Filters()[2]}) {
      ExpectSame(Walk(log, real, filter), Reference(log, real, *filter),
                 "round " + std::to_string(round));
    }
  }
}

}  // namespace
}  // namespace kiv::testing
