// KivLogFile on real database files: schema and settings, wrapping, reading, notification,
// backup, damaged files.
#include "kivdbxt/kiv_log_file.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <thread>

#include "kivdbxt/dao.h"
#include "kivdbxt/error.h"
#include "log_file_fixture.h"
#include "platform/clock.h"
#include "platform/date.h"
#include "platform/fs.h"
#include "platform/vb_convert.h"
#include "support/last_error.h"
#include "support/temp_dir.h"

namespace kiv {
namespace {

using kivtest::LastRecorded;
using kivtest::ReadBytes;
using kivtest::Recorded;
using kivtest::TempDir;
using kivtest::WriteBytes;

// Takes away or gives back the right to write a file: its mode on POSIX, its read-only
// attribute on Windows.
void SetReadOnly(const String& path, bool read_only) {
  namespace fs = std::filesystem;
  const auto write = fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write;
  fs::permissions(fs::path(path), write,
                  read_only ? fs::perm_options::remove : fs::perm_options::add);
}

int32_t Count(KivLogFile& log) {
  int32_t pos = 0;
  EXPECT_EQ(log.ReadEventLog(ELREF_COUNT, pos), 0);
  return pos;
}

// Every record, in date order.
std::vector<LOGRECORDTYPE> All(KivLogFile& log) {
  std::vector<LOGRECORDTYPE> out;
  int32_t pos = 0, max = 100000;
  if (log.ReadEventLogEx(ELREF_FIRST, pos, String(), String(), max) != 0) return out;
  for (int32_t i = 1; i <= max; ++i) out.push_back(log.LogRecordEx(i));
  return out;
}

// Every PARMS row, duplicates included; a Null value as "<null>".
std::multimap<String, String> ParmRows(const String& file) {
  auto db = dao::DBEngine::ForThread()->OpenDatabase(file);
  auto rs = db->OpenRecordset(u"PARMS", dao::dbOpenTable);
  std::multimap<String, String> out;
  for (; !rs->EOF_(); rs->MoveNext()) {
    Variant v = rs->Fields()[u"VALUE"]->Value();
    out.emplace(rs->Fields()[u"KEY"]->Value().StringValue(),
                v.IsNull() ? u"<null>" : v.StringValue());
  }
  rs->Close();
  db->Close();
  return out;
}

// The first PARMS row of each key.
std::map<String, String> Parms(const String& file) {
  const auto rows = ParmRows(file);
  return {rows.begin(), rows.end()};
}

// The last recorded error, description before Source as the calls below read best.
void ExpectError(int32_t number, const String& description, const String& source) {
  kivtest::ExpectLastError(number, source, description);
}

TEST_P(KivLogFileTest, CreateWithDefaultsWritesTheSchemaSettingsAndOneRecord) {
  ASSERT_FALSE(log.CreateEventLog(file)) << ToUtf8(LastErrorRecord().Description);
  EXPECT_EQ(log.FileName(), file);
  auto parms = Parms(file);
  EXPECT_EQ(parms[u"WRAPPING"], u"7");
  EXPECT_EQ(parms[u"MAXRECORDS"], u"1000");
  EXPECT_EQ(parms[u"BACKUPFILE"], u"");
  ASSERT_FALSE(log.OpenEventLog(file));
  auto all = All(log);
  ASSERT_EQ(all.size(), 2u);
  EXPECT_EQ(all[0].EvRawData, u"AEvent Log Created");
  EXPECT_EQ(all[0].EvSource, u"KIVEVENTLOG");
  EXPECT_EQ(all[0].EvType, EVENTLOG_INFORMATION_TYPE);
  EXPECT_EQ(all[0].EvId, 0);
  EXPECT_FALSE(all[0].EvUser.empty());  // filled in by the report
  EXPECT_EQ(all[1].EvRawData, u"AEvent Log Started");
  EXPECT_EQ(all[1].EvId, 1);

  auto db = dao::DBEngine::ForThread()->OpenDatabase(file);
  ASSERT_EQ(db->TableDefs().Item(u"PARMS")->Fields().Count(), 2);
  auto events = db->TableDefs().Item(u"EVENTS");
  const char16_t* names[] = {u"DATE", u"TYPE",     u"CATEGORY", u"ID",     u"UNK",
                             u"USER", u"COMPUTER", u"SOURCE",   u"SERVER", u"RAWDATA"};
  const int16_t types[] = {8, 4, 10, 4, 4, 10, 10, 10, 10, 11};
  ASSERT_EQ(events->Fields().Count(), 10);
  for (int32_t i = 0; i < 10; ++i) {
    auto f = events->Fields().Item(i);
    EXPECT_EQ(f->Name(), names[i]);
    EXPECT_EQ(f->Type(), types[i]);
    if (types[i] == 10) {
      EXPECT_EQ(f->Size(), 255);
      EXPECT_TRUE(f->AllowZeroLength());
    }
  }
  auto idx = events->Indexes().Item(u"DATE");
  EXPECT_FALSE(idx->Unique());
  EXPECT_FALSE(idx->Primary());
  auto key = db->TableDefs().Item(u"PARMS")->Indexes().Item(u"KEY");
  EXPECT_FALSE(key->Unique());
  EXPECT_EQ(key->Fields().Item(0)->Attributes(), 2);  // as created
  EXPECT_EQ(idx->Fields().Item(0)->Attributes(), 0);
  db->Close();
}

TEST_P(KivLogFileTest, CreateAndSettingsErrorsCarryTheirExactTexts) {
  // Each failure stays under the procedure it happened in, not the public operation's.
  EXPECT_TRUE(log.CreateEventLog(file, 99));
  ExpectError(20000, u"Errore nel parametro MaxRecords: Valore minimo=100",
              u"KivLogFile.MaxRecordsSet");
  EXPECT_FALSE(FileExists(file));  // a half-made file is removed
  EXPECT_TRUE(log.CreateEventLog(file, 1000, KLFWM_OVERWRITEOLDER, 0));
  ExpectError(20000, u"Errore nel parametro WrappingDays.", u"KivLogFile.WrappingSet");
  EXPECT_TRUE(log.CreateEventLog(file, 1000, 5));
  ExpectError(20000, u"Errore nel parametro Wrapping.", u"KivLogFile.WrappingSet");
  EXPECT_FALSE(FileExists(file));

  ASSERT_FALSE(log.CreateEventLog(file, 100, KLFWM_OVERWRITEASNEEDED));
  EXPECT_TRUE(log.CreateEventLog(file));
  ExpectError(20000, u"Il file " + file + u" esiste già.", u"KivLogFile.CreateEventLog");

  ASSERT_FALSE(log.OpenEventLog(file));
  int32_t w = 9, d = 9;
  EXPECT_FALSE(log.WrappingSet(0, 30));
  EXPECT_FALSE(log.WrappingGet(w, d));
  EXPECT_EQ(w, 0);
  EXPECT_EQ(d, 0);
  EXPECT_FALSE(log.WrappingSet(-1, 30));
  EXPECT_EQ(Parms(file)[u"WRAPPING"], u"30");
  EXPECT_FALSE(log.WrappingGet(w, d));
  EXPECT_EQ(w, -1);
  EXPECT_EQ(d, 30);
  EXPECT_TRUE(log.MaxRecordsSet(5));
  ExpectError(20000, u"Errore nel parametro MaxRecords: Valore minimo=100",
              u"KivLogFile.MaxRecordsSet");
  int32_t m = 0;
  EXPECT_FALSE(log.MaxRecordsSet(250));
  EXPECT_FALSE(log.MaxRecordsGet(m));
  EXPECT_EQ(m, 250);
  EXPECT_TRUE(log.BackupFileSet(String(256, u'x')));
  ExpectError(20000, u"Il valore del  parametro eccede la dimensione massima.",
              u"KivLogFile.ParmWrite");
  EXPECT_FALSE(log.BackupFileSet(String(255, u'y')));
  String b;
  EXPECT_FALSE(log.BackupFileGet(b));
  EXPECT_EQ(b, String(255, u'y'));
  EXPECT_TRUE(log.PurgeEventLog(-2));
  ExpectError(20000, u"Il parametro Records dev'essere >= 0 o -1", u"KivLogFile.PurgeEventLog");
  EXPECT_TRUE(log.PurgeEventLog(0, -1));
  ExpectError(20000, u"Il parametro Days dev'essere >= 0", u"KivLogFile.PurgeEventLog");
}

TEST_P(KivLogFileTest, OverwriteAsNeededTrimsOneHundredOldestAtATime) {
  CreateOpen(100, KLFWM_OVERWRITEASNEEDED, true);
  for (int i = 0; Count(log) < 100; ++i) ASSERT_FALSE(log.ReportEvent(u"T", u"Ax"));
  ASSERT_EQ(Count(log), 100);
  ASSERT_FALSE(log.ReportEvent(u"T", u"Alast", EVENTLOG_ERROR_TYPE, u"cat", 77));
  auto all = All(log);
  ASSERT_EQ(all.size(), 2u);
  EXPECT_EQ(all[0].EvRawData, u"AEvent Log Purged");
  EXPECT_EQ(all[0].EvId, 2);
  EXPECT_EQ(all[1].EvRawData, u"Alast");
  EXPECT_EQ(all[1].EvCategory, u"cat");
  EXPECT_EQ(Parms(file)[u"LOCK"], u"0");  // released after the purge
}

// Compaction while another writer keeps the log open: that writer's later reports are kept.
TEST_P(KivLogFileTest, CompactionKeepsTheReportsOfWritersHoldingTheLogOpen) {
  KivLogFile other;
  CreateOpen(1000, KLFWM_DONTOVERWRITE, true);
  ASSERT_FALSE(other.OpenEventLog(file, true));
  const String pad(2000, u'x');
  for (int i = 0; i < 200; ++i) ASSERT_FALSE(log.ReportEvent(u"T", pad));
  ASSERT_FALSE(other.ReportEvent(u"OTHER", u"before"));

  ASSERT_FALSE(log.CompactEventLog());
  ASSERT_FALSE(other.ReportEvent(u"OTHER", u"after"));
  ASSERT_FALSE(log.ReportEvent(u"T", u"last"));
  other.CloseEventLog();
  log.CloseEventLog();

  // Every report is there, in order, around the markers of the opens and closes.
  KivLogFile reader;
  ASSERT_FALSE(reader.OpenEventLog(file, false));
  int pads = 0;
  std::vector<String> rest;
  for (const LOGRECORDTYPE& r : All(reader)) {
    if (r.EvRawData == pad) {
      ++pads;
    } else {
      rest.push_back(r.EvRawData);
    }
  }
  EXPECT_EQ(pads, 200);
  const std::vector<String> expected = {u"AEvent Log Created",
                                        u"AEvent Log Started",
                                        u"AEvent Log Started",
                                        u"before",
                                        u"AEvent Log Closed",
                                        u"AEvent Log Started",
                                        u"after",
                                        u"last",
                                        u"AEvent Log Closed",
                                        u"AEvent Log Closed",
                                        u"AEvent Log Started"};
  EXPECT_EQ(rest, expected);
}

TEST_P(KivLogFileTest, OverwriteOlderDeletesByCalendarDaysAndNeverKeepsAll) {
  const Date today = MakeDate({2025, 6, 20, 9, 0, 0});
  Date now = today - 30;
  ClockScope clock(&now);
  CreateOpen(1000, KLFWM_DONTOVERWRITE, true);
  for (int days : {10, 8, 7, 6, 1}) {
    now = today - days + 0.3;  // late that day: only calendar days count
    ASSERT_FALSE(log.ReportEvent(u"T", u"A" + FromUtf8(std::to_string(days))));
  }
  EXPECT_EQ(Count(log), 7);  // never overwrite: nothing went
  now = today;
  ASSERT_FALSE(log.WrappingSet(KLFWM_OVERWRITEOLDER, 7));
  ASSERT_FALSE(log.ReportEvent(u"T", u"Anow"));
  std::vector<String> raws;
  for (const auto& r : All(log)) raws.push_back(r.EvRawData);
  EXPECT_EQ(raws, (std::vector<String>{u"A6", u"A1", u"AEvent Log Purged", u"Anow"}));
  // A record 6 days old stops the next purge at once: nothing more goes.
  ASSERT_FALSE(log.ReportEvent(u"T", u"Aagain"));
  EXPECT_EQ(Count(log), 5);
}

TEST_P(KivLogFileTest, SubsetPurgeTakesTheCountADynasetGivesBeforeMoveLast) {
  CreateOpen(1000, KLFWM_DONTOVERWRITE, true);
  for (int i = 1; i <= 3; ++i) ASSERT_FALSE(log.ReportEvent(u"X", u"A", 2, String(), i));
  // Right after opening, a dynaset has visited one row: the purge of three matching records
  // removes the oldest one only, then writes its own record.
  ASSERT_FALSE(log.PurgeEventLog(5, 0, u"where SOURCE = 'X'"))
      << ToUtf8(LastErrorRecord().Description);
  int32_t pos = 0;
  EXPECT_EQ(log.ReadEventLog(ELREF_COUNT, pos, u"where SOURCE = 'X'"), 0);
  EXPECT_EQ(pos, 2);
  EXPECT_EQ(log.ReadEventLog(ELREF_FIRST, pos, u"where SOURCE = 'X'", u"order by ID"), 0);
  EXPECT_EQ(log.LogRecord().EvId, 2);
  EXPECT_EQ(log.ReadEventLog(ELREF_LAST, pos), 0);
  EXPECT_EQ(log.LogRecord().EvRawData, u"AEvent Log Purged");
}

TEST_P(KivLogFileTest, ReportStoresRawDataAndFillsUserAndComputer) {
  CreateOpen(1000, KLFWM_DONTOVERWRITE);
  String user, computer;
  ASSERT_FALSE(log.ReportEvent(u"S", u"no letter", 2, u"C", 5, user, computer, u"SRV"));
  EXPECT_FALSE(user.empty());
  EXPECT_FALSE(computer.empty());
  ASSERT_FALSE(log.ReportEventEx(u"S", u"0D0A", RWDT_BINARY, 1, String(), 6, u"me", u"pc"));
  ASSERT_FALSE(log.ReportEventEx(u"S", u"text", RWDT_ASCII, 4, String(256, u'c'), 7));
  int32_t pos = 0;
  ASSERT_EQ(log.ReadEventLog(ELREF_LAST, pos), 0);
  EXPECT_EQ(log.LogRecord().EvRawData, u"Atext");
  EXPECT_EQ(log.LogRecord().EvCategory, String(255, u'c'));  // cut to 255 characters
  auto all = All(log);
  ASSERT_EQ(all.size(), 5u);
  EXPECT_EQ(all[2].EvRawData, u"no letter");
  EXPECT_EQ(all[2].EvUser, user);
  EXPECT_EQ(all[2].EvServer, u"SRV");
  EXPECT_EQ(all[3].EvRawData, u"B0D0A");
  EXPECT_EQ(all[3].EvUser, u"me");
  EXPECT_EQ(all[3].EvComputer, u"pc");
}

TEST_P(KivLogFileTest, QueryTextsAndPositionedReads) {
  EXPECT_EQ(log.ReadEventLogQueryStr(), u"select * from EVENTS order by DATE");
  EXPECT_EQ(log.ReadEventLogQueryStr(0, 0, u"where TYPE = 1"),
            u"select * from EVENTS where TYPE = 1");
  EXPECT_EQ(log.ReadEventLogQueryStr(0, 0, u"where TYPE = 1", u"order by ID desc"),
            u"select * from EVENTS where TYPE = 1 order by ID desc");
  EXPECT_EQ(log.ReadEventLogQueryStr(0, 0, String(), u"order by ID"),
            u"select * from EVENTS order by ID");

  CreateOpen(1000, KLFWM_DONTOVERWRITE, true);
  for (int i = 1; i <= 8; ++i) ASSERT_FALSE(log.ReportEvent(u"T", u"A", 2, String(), i));
  // 10 records: Created, Started, ids 1..8 (reported in one second: ordered by ID here).
  const String only = u"where SOURCE = 'T'";
  const String by_id = u"order by ID";
  int32_t pos = 0;
  EXPECT_EQ(log.ReadEventLog(ELREF_FIRST, pos, only, by_id), 0);
  EXPECT_EQ(log.LogRecord().EvId, 1);
  pos = 2;
  EXPECT_EQ(log.ReadEventLog(ELREF_NEXT, pos, only, by_id), 0);
  EXPECT_EQ(log.LogRecord().EvId, 4);
  EXPECT_EQ(pos, 3);
  pos = 7;
  EXPECT_EQ(log.ReadEventLog(ELREF_NEXT, pos, only, by_id), 1);  // nothing after the last
  EXPECT_EQ(log.ReadEventLog(ELREF_LAST, pos, only, by_id), 0);
  EXPECT_EQ(log.LogRecord().EvId, 8);
  EXPECT_EQ(log.ReadEventLog(ELREF_COUNT, pos, only), 0);
  EXPECT_EQ(pos, 8);
  EXPECT_EQ(log.ReadEventLog(ELREF_ABSOLUTE, pos, only), -1);
  ExpectError(20000, u"Errore nel parametro Flags: operazione sconosciuta.",
              u"KivLogFile.ReadEventLog");
  EXPECT_EQ(log.ReadEventLog(ELREF_FIRST, pos, u"where ID = 99"), 1);

  // Paging: FIRST then ABSOLUTE from the position returned.
  pos = 0;
  int32_t max = 3;
  ASSERT_EQ(log.ReadEventLogEx(ELREF_FIRST, pos, only, by_id, max), 0);
  EXPECT_EQ(max, 3);
  EXPECT_EQ(pos, 3);
  EXPECT_EQ(log.LogRecordEx(3).EvId, 3);
  max = 10;
  ASSERT_EQ(log.ReadEventLogEx(ELREF_ABSOLUTE, pos, only, by_id, max), 0);
  EXPECT_EQ(max, 5);  // 10 asked, 5 remain
  EXPECT_EQ(pos, 8);
  EXPECT_EQ(log.LogRecordEx(1).EvId, 4);
  EXPECT_EQ(log.LogRecordEx(5).EvId, 8);
  EXPECT_EQ(log.LogRecordEx(11).EvId, 0);
  ExpectError(9, u"Subscript out of range", u"KivLogFile.LogRecordEx");
  max = 2;
  EXPECT_EQ(log.ReadEventLogEx(ELREF_ABSOLUTE, pos, only, by_id, max), 1);
  EXPECT_EQ(log.ReadEventLogEx(5, pos, only, by_id, max), -1);
  ExpectError(20000, u"Errore nel parametro Flags: operazione sconosciuta.",
              u"KivLogFile.ReadEventLogEx");
}

TEST_P(KivLogFileTest, EmptyLogReadsAnswerNoRecordForEveryFlag) {
  CreateOpen(1000, KLFWM_DONTOVERWRITE);
  const String none = u"where ID = -1";
  for (int32_t flags = 0; flags <= 3; ++flags) {
    int32_t pos = 0, max = 5;
    EXPECT_EQ(log.ReadEventLog(flags, pos, none), 1) << flags;
    EXPECT_EQ(log.ReadEventLogEx(flags, pos, none, String(), max), 1) << flags;
  }
  EXPECT_FALSE(log.PurgeEventLog(0, 0, none));  // nothing to purge, nothing written
  EXPECT_EQ(Count(log), 2);
}

TEST_P(KivLogFileTest, ChangesAreSeenAndNotified) {
  struct Seen {
    int32_t unk, type, id;
  };
  std::vector<Seen> seen;
  auto token = log.SubscribeEventLogChanged([&](int32_t u, int32_t t, int32_t i) {
    seen.push_back({u, t, i});
  });
  CreateOpen(100, KLFWM_OVERWRITEASNEEDED);
  EXPECT_TRUE(seen.empty());  // no notice for create or open

  int32_t unk = 0;
  EXPECT_EQ(log.CheckEventLogChanges(unk), 1);
  EXPECT_EQ(log.CheckEventLogChanges(unk), 0);
  // A report's UNK is the millisecond tick: one made in the open's millisecond would leave
  // LASTCHANGE as it was, and no change could be seen.
  for (const uint32_t opened = TickCount(); TickCount() == opened;) {
    std::this_thread::sleep_for(std::chrono::microseconds(200));
  }
  ASSERT_FALSE(log.ReportEvent(u"S", u"Ax", EVENTLOG_ERROR_TYPE, String(), 42));
  ASSERT_EQ(seen.size(), 1u);
  EXPECT_EQ(seen[0].type, EVENTLOG_ERROR_TYPE);
  EXPECT_EQ(seen[0].id, 42);
  EXPECT_EQ(log.CheckEventLogChanges(unk), 1);
  EXPECT_EQ(unk, seen[0].unk);  // LASTCHANGE is the UNK of the last report
  EXPECT_EQ(log.LogRecord().EvUnk, 0);
  int32_t pos = 0;
  ASSERT_EQ(log.ReadEventLog(ELREF_LAST, pos), 0);
  EXPECT_EQ(log.LogRecord().EvUnk, seen[0].unk);

  seen.clear();
  ASSERT_FALSE(log.PurgeEventLog(1))
      << ToUtf8(LastErrorRecord().Description) << " " << ToUtf8(LastErrorRecord().Source);
  ASSERT_EQ(seen.size(), 1u);  // the purge record is notified
  EXPECT_EQ(seen[0].id, 2);
  EXPECT_EQ(seen[0].type, EVENTLOG_INFORMATION_TYPE);

  seen.clear();
  ASSERT_FALSE(log.OpenEventLog(file, true));
  ASSERT_FALSE(log.CloseEventLog());  // writes "Closed", without a notice
  EXPECT_TRUE(seen.empty());
  log.UnsubscribeEventLogChanged(token);
  ASSERT_FALSE(log.OpenEventLog(file));
  ASSERT_FALSE(log.ReportEvent(u"S", u"Ay"));
  EXPECT_TRUE(seen.empty());
  auto all = All(log);
  EXPECT_EQ(all[all.size() - 3].EvRawData, u"AEvent Log Closed");
}

// A follower reads each record once, in the order committed, through wrapping and an emptied
// log; a wait ends at a change made by another object, or at its timeout.
TEST_P(KivLogFileTest, FollowersReadOnByIdAndWaitForChanges) {
  CreateOpen(150, KLFWM_OVERWRITEASNEEDED);
  KivLogFile follower;
  ASSERT_FALSE(follower.OpenEventLogReadOnly(file));
  int64_t last = -1;
  int32_t max = 10;
  ASSERT_EQ(follower.ReadEventLogAfter(last, max), 1)
      << ToUtf8(LastErrorRecord().Description);  // from now on
  EXPECT_EQ(max, 0);
  std::vector<int32_t> ids;
  auto follow = [&] {
    for (int32_t got = 7; (got = 7, follower.ReadEventLogAfter(last, got)) == 0;) {
      for (int32_t k = 1; k <= got; ++k) {
        const LOGRECORDTYPE r = follower.LogRecordEx(k);
        if (r.EvSource == u"S") ids.push_back(r.EvId);
      }
    }
  };
  for (int32_t i = 0; i < 250; ++i) {  // wraps, 100 oldest at a time
    ASSERT_FALSE(log.ReportEvent(u"S", u"Ax", 2, String(), i));
    if (i % 20 == 19) follow();
  }
  follow();
  std::vector<int32_t> expected(250);
  for (int32_t i = 0; i < 250; ++i) expected[i] = i;
  EXPECT_EQ(ids, expected);

  ASSERT_FALSE(log.PurgeEventLog(-1));  // every record, and its ids start again
  ids.clear();
  ASSERT_FALSE(log.ReportEvent(u"S", u"Ax", 2, String(), 1000));
  follow();
  EXPECT_EQ(ids, std::vector<int32_t>{1000});

  int32_t unk = 0;
  ASSERT_EQ(follower.CheckEventLogChanges(unk), 1);
  const uint32_t start = TickCount();
  EXPECT_EQ(follower.WaitEventLogChanges(150, unk), 0);
  EXPECT_GE(TickCount() - start, 150u);
  std::thread reporter([&] {
    KivLogFile other;
    SleepMilliseconds(100);
    EXPECT_FALSE(other.OpenEventLog(file) || other.ReportEvent(u"T", u"Ay"));
  });
  EXPECT_EQ(follower.WaitEventLogChanges(10000, unk), 1);
  reporter.join();
  EXPECT_LT(TickCount() - start, 5000u);

  // Two reports in one millisecond leave LASTCHANGE as the first left it: a follower that read
  // the first still wakes for the second.
  follow();
  ASSERT_FALSE(log.ReportEvent(u"S", u"Ax", 2, String(), 2000));
  auto db = dao::DBEngine::ForThread()->OpenDatabase(file);
  db->Execute(u"update PARMS set VALUE = '" + IntText(unk) + u"' where KEY = 'LASTCHANGE'",
              dao::dbFailOnError);
  db->Close();
  EXPECT_EQ(follower.WaitEventLogChanges(3000, unk), 1);
  ids.clear();
  follow();
  EXPECT_EQ(ids, std::vector<int32_t>{2000});
}

TEST_P(KivLogFileTest, PurgeMovesRecordsIntoTheBackupLogFieldForField) {
  const String backup = dir.File("backup.db");
  // One instant for everything: records then sort by date and, within it, by arrival.
  Date now = MakeDate({2025, 6, 20, 9, 0, 0});
  ClockScope clock(&now);
  ASSERT_FALSE(log.CreateEventLog(file, 1000, KLFWM_DONTOVERWRITE, 7, backup));
  ASSERT_FALSE(log.OpenEventLog(file, true));
  ASSERT_FALSE(log.ReportEventEx(u"S", u"\x01\xff", RWDT_BINARY, 8, u"cat", 3, u"u", u"c", u"v"));
  auto before = All(log);
  ASSERT_EQ(before.size(), 3u);
  ASSERT_FALSE(log.PurgeEventLog(2));
  auto after = All(log);
  ASSERT_EQ(after.size(), 2u);  // the one left, then the purge record
  EXPECT_EQ(after[0].EvRawData, before[2].EvRawData);
  EXPECT_EQ(after[1].EvRawData, u"AEvent Log Purged");

  KivLogFile b;
  ASSERT_FALSE(b.OpenEventLog(backup));
  auto copied = All(b);
  // The backup log was created for the occasion: its own "Created", the two copies, "Started".
  ASSERT_EQ(copied.size(), 4u);
  EXPECT_EQ(copied[0].EvRawData, u"AEvent Log Created");
  for (int i = 0; i < 2; ++i) {
    const LOGRECORDTYPE &x = copied[i + 1], &y = before[i];
    EXPECT_EQ(x.EvUnk, y.EvUnk);
    EXPECT_EQ(x.EvDate, y.EvDate);
    EXPECT_EQ(x.EvType, y.EvType);
    EXPECT_EQ(x.EvId, y.EvId);
    EXPECT_EQ(x.EvUser, y.EvUser);
    EXPECT_EQ(x.EvComputer, y.EvComputer);
    EXPECT_EQ(x.EvSource, y.EvSource);
    EXPECT_EQ(x.EvRawData, y.EvRawData);
  }
  int32_t w, d;
  ASSERT_FALSE(b.WrappingGet(w, d));
  EXPECT_EQ(w, KLFWM_DONTOVERWRITE);  // a backup never trims itself

  // A backup file that cannot be made stops the purge with every record kept.
  ASSERT_FALSE(log.BackupFileSet(dir.File("no/such/folder/b.db")));
  const size_t kept = All(log).size();
  EXPECT_TRUE(log.PurgeEventLog(1));
  ExpectError(20000, u"Impossibile accedere/creare il file " + dir.File("no/such/folder/b.db"),
              u"KivLogFile.PurgeEventLog");
  EXPECT_EQ(All(log).size(), kept);
}

TEST_P(KivLogFileTest, BackupEventLogAsDatabaseAndAsText) {
  CreateOpen(1000, KLFWM_DONTOVERWRITE);
  ASSERT_FALSE(log.ReportEventEx(u"S", u"line1\r\nline2", RWDT_ASCII, 2, u"c", 9, u"u", u"pc"));
  ASSERT_FALSE(log.Backup(dir.File("copy.db")));
  KivLogFile copy;
  ASSERT_FALSE(copy.OpenEventLog(dir.File("copy.db")));
  EXPECT_EQ(All(copy).size(), 1u + 3u + 1u);  // Created, 3 copied, Started

  ASSERT_FALSE(log.BackupEventLog(dir.File("copy.txt"), ELRC_BACKUPASTEXT));
  std::string text = ReadBytes(dir.FileU8("copy.txt"));
  EXPECT_NE(text.find("SRC=S\r\nTYP=2\r\nCAT=c\r\nEID=9\r\nUSR=u\r\nCOM=pc\r\nSVR=\r\nDTP=0\r\n"
                      "RWD=line1\r\nRWD=line2\r\nEND=-----------------------\r\n"),
            std::string::npos);
  EXPECT_NE(text.find("RWD=Event Log Created\r\n"), std::string::npos);

  int32_t pos = 0;
  ASSERT_EQ(log.ReadEventLog(ELREF_FIRST, pos), 0);
  ASSERT_FALSE(log.BackupEventLog(dir.File("one.txt"), ELRC_BACKUPASTEXT | ELRC_BACKUPCURRENTREC));
  std::string one = ReadBytes(dir.FileU8("one.txt"));
  EXPECT_EQ(one.find("UNK="), 0u);
  EXPECT_EQ(one.find("UNK=", 1), std::string::npos);  // exactly one record
}

TEST_P(KivLogFileTest, DamagedOrForeignFilesFailCleanlyAndStayAsTheyWere) {
  KIV_FILES_ONLY();
  log.RetryWaitMilliseconds(1);
  const std::string junk = "this is not a database at all\r\n" + std::string(5000, '\x7f');
  WriteBytes(dir.FileU8("junk.db"), junk);
  EXPECT_TRUE(log.OpenEventLog(dir.File("junk.db")));
  EXPECT_EQ(LastRecorded(), Recorded(3343, u"KivLogFile.OpenLog"));
  EXPECT_EQ(ReadBytes(dir.FileU8("junk.db")), junk);

  // A database without PARMS.
  const String other = dir.File("other.db");
  {
    auto db = dao::DBEngine::ForThread()->CreateDatabase(other, dao::dbLangGeneral);
    db->Execute(u"create table T (A long)");
    db->Close();
  }
  const std::string before = ReadBytes(ToUtf8(other));
  EXPECT_TRUE(log.OpenEventLog(other));
  EXPECT_EQ(LastRecorded(), Recorded(3078, u"KivLogFile.OpenLog"));  // opening EVENTS
  EXPECT_EQ(ReadBytes(ToUtf8(other)), before);

  // PARMS without WRAPPING.
  ASSERT_FALSE(log.CreateEventLog(file));
  {
    auto db = dao::DBEngine::ForThread()->OpenDatabase(file);
    db->Execute(u"delete from PARMS where KEY = 'WRAPPING'", dao::dbFailOnError);
    db->Close();
  }
  EXPECT_TRUE(log.OpenEventLog(file));
  ExpectError(20000, u"Il parametro WRAPPINGnon esiste.", u"KivLogFile.ParmRead");
  EXPECT_TRUE(log.OpenEventLog(dir.File("missing.db")));
  EXPECT_EQ(LastRecorded(), Recorded(3024, u"KivLogFile.OpenLog"));
  EXPECT_FALSE(FileExists(dir.File("missing.db")));  // opening never creates
}

// A log that disappears under an open object: the report fails where the open failed.
TEST_P(KivLogFileTest, ReportOnALogRemovedUnderTheOpenObjectFailsAtTheOpen) {
  KIV_FILES_ONLY();
  ASSERT_FALSE(log.CreateEventLog(file));
  ASSERT_FALSE(log.OpenEventLog(file));
  ASSERT_TRUE(RemoveFile(file));
  EXPECT_TRUE(log.ReportEvent(u"S", u"Ax"));
  EXPECT_EQ(LastRecorded(), Recorded(3024, u"KivLogFile.OpenLog"));
}

// Rows added twice by older versions: reads take the first, and the next write of the key leaves
// one row.
TEST_P(KivLogFileTest, DuplicateParameterRowsAreReadFirstAndMendedByTheNextWrite) {
  ASSERT_FALSE(log.CreateEventLog(file, 100, KLFWM_OVERWRITEASNEEDED));
  {
    auto db = dao::DBEngine::ForThread()->OpenDatabase(file);
    db->Execute(u"insert into PARMS (KEY, VALUE) values ('WRAPPING', '-2')", dao::dbFailOnError);
    db->Execute(u"insert into PARMS (KEY, VALUE) values ('lock', '1')", dao::dbFailOnError);
    db->Execute(u"insert into PARMS (KEY, VALUE) values ('LOCK', '1')", dao::dbFailOnError);
    db->Execute(u"insert into PARMS (KEY, VALUE) values ('lastchange', '1')", dao::dbFailOnError);
    db->Close();
  }
  ASSERT_FALSE(log.OpenEventLog(file, true));
  // The open's own report moved LASTCHANGE, in one row again.
  const auto opened = ParmRows(file);
  EXPECT_EQ(opened.count(u"LASTCHANGE") + opened.count(u"lastchange"), 1u);
  int32_t w = 9, d = 9;
  ASSERT_FALSE(log.WrappingGet(w, d));
  EXPECT_EQ(w, KLFWM_OVERWRITEASNEEDED);  // the first row, not the later "-2"
  ASSERT_FALSE(log.WrappingSet(KLFWM_OVERWRITEOLDER, 3));
  ASSERT_FALSE(log.PurgeEventLog(1));
  log.CloseEventLog();
  const auto rows = ParmRows(file);
  EXPECT_EQ(rows.count(u"WRAPPING"), 1u);
  EXPECT_EQ(rows.find(u"WRAPPING")->second, u"3");
  EXPECT_EQ(rows.count(u"LOCK") + rows.count(u"lock"), 1u);
  EXPECT_EQ(rows.size(), 5u);
}

// A report the database refuses leaves neither its record nor a new LASTCHANGE, fails with the
// report's Source, and the next report on the same open log is stored as usual.
TEST_P(KivLogFileTest, RefusedReportLeavesNothingAndTheNextOneIsStored) {
  CreateOpen(1000, KLFWM_OVERWRITEASNEEDED, true);
  ASSERT_FALSE(log.ReportEvent(u"OK", u"Afirst"));
  {
    auto db = dao::DBEngine::ForThread()->OpenDatabase(file);
    db->Execute(dbs.OnServer() ? u"ALTER TABLE events ADD CONSTRAINT refuse CHECK (source <> 'BAD')"
                               : u"CREATE TRIGGER refuse BEFORE INSERT ON EVENTS WHEN NEW.SOURCE = "
                                 u"'BAD' BEGIN SELECT RAISE(ABORT, 'refused'); END",
                dao::dbFailOnError);
    db->Close();
  }
  int32_t unk = 0;
  ASSERT_EQ(log.CheckEventLogChanges(unk), 1);
  const int32_t count = Count(log);

  EXPECT_TRUE(log.ReportEvent(u"BAD", u"Ano"));
  EXPECT_NE(Last_Error(), 0);
  EXPECT_EQ(LastErrorRecord().Source, u"KivLogFile.ReportEvent");
  EXPECT_EQ(log.CheckEventLogChanges(unk), 0);
  EXPECT_EQ(Count(log), count);

  ASSERT_FALSE(log.ReportEvent(u"OK", u"Asecond")) << ToUtf8(LastErrorRecord().Description);
  std::vector<String> raws;
  for (const auto& r : All(log)) {
    if (r.EvSource == u"OK") raws.push_back(r.EvRawData);
  }
  EXPECT_EQ(raws, (std::vector<String>{u"Afirst", u"Asecond"}));
  ASSERT_FALSE(log.CloseEventLog());
}

// Looking at a log changes nothing in it, works where the file may only be read, and refuses
// every change with one clear error.
TEST_P(KivLogFileTest, ReadOnlyOpenWritesNothingAndRefusesChanges) {
  KIV_FILES_ONLY();
  CreateOpen(100, KLFWM_OVERWRITEASNEEDED);
  ASSERT_FALSE(log.ReportEvent(u"S", u"Alast one", 2, u"", 42));
  ASSERT_FALSE(log.CloseEventLog());
  const std::string before = ReadBytes(ToUtf8(file));
  SetReadOnly(file, true);
  KivLogFile ro;
  ASSERT_FALSE(ro.OpenEventLogReadOnly(file)) << ToUtf8(LastErrorRecord().Description);
  EXPECT_TRUE(ro.ReadOnly());
  EXPECT_EQ(Count(ro), 3);
  int32_t pos = 0;
  ASSERT_EQ(ro.ReadEventLog(ELREF_LAST, pos), 0);
  EXPECT_EQ(ro.LogRecord().EvRawData, u"Alast one");  // no marker of its own
  int32_t unk = 0, w = 0, d = 0;
  EXPECT_EQ(ro.CheckEventLogChanges(unk), 1);
  EXPECT_EQ(ro.CheckEventLogChanges(unk), 0);
  EXPECT_FALSE(ro.WrappingGet(w, d));

  const std::pair<const char16_t*, std::function<bool()>> changes[] = {
      {u"KivLogFile.ReportEvent", [&] { return ro.ReportEvent(u"S", u"Ax"); }},
      {u"KivLogFile.ReportEventEx", [&] { return ro.ReportEventEx(u"S", u"x", RWDT_ASCII); }},
      {u"KivLogFile.PurgeEventLog", [&] { return ro.PurgeEventLog(-1); }},
      {u"KivLogFile.ParmWrite", [&] { return ro.MaxRecordsSet(500); }},
      {u"KivLogFile.CompactEventLog", [&] { return ro.CompactEventLog(); }},
  };
  for (const auto& [source, change] : changes) {
    SCOPED_TRACE(ToUtf8(source));
    ClearLastError();
    EXPECT_TRUE(change());
    ExpectError(20000, u"Il file " + file + u" è aperto in sola lettura.", source);
  }
  EXPECT_FALSE(ro.CloseEventLog());
  EXPECT_EQ(ReadBytes(ToUtf8(file)), before);

  // The next ordinary open writes again.
  SetReadOnly(file, false);
  ASSERT_FALSE(ro.OpenEventLog(file));
  EXPECT_FALSE(ro.ReadOnly());
  EXPECT_FALSE(ro.ReportEvent(u"S", u"Aagain"));
  EXPECT_EQ(Count(ro), 5);
}

KIV_ON_BOTH_ENGINES(KivLogFileTest);

}  // namespace
}  // namespace kiv
