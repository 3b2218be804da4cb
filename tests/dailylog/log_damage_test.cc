// Damaged days and writers killed inside a batch: a write only appends. Every event that read
// before a write reads after it under the same number with the same fields, and the data file
// keeps every byte it had.
//
// The random-damage property runs a fixed set of seeds; with KIV_DAMAGE_SECONDS=<n> it goes on
// through further seeds for n seconds (CI runs it so for a minute).
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <climits>
#include <cstdlib>
#include <functional>
#include <map>
#include <random>

#include "dailylog/log_repair.h"
#include "dailylog_support.h"
#include "platform/vb_convert.h"
#include "support/kill_points.h"

namespace kiv::testing {
namespace {

// One line per field, so that a changed field shows in a failure.
std::string Describe(const KivLogEvent& e) {
  return std::to_string(e.Offset()) + "|" + std::to_string(e.EvUnk()) + "|" +
         std::to_string(e.EvDate()) + "|" + U8(e.EvSource()) + "|" + std::to_string(e.EvType()) +
         "|" + U8(e.EvCategory()) + "|" + std::to_string(e.EvId()) + "|" + U8(e.EvUser()) + "|" +
         U8(e.EvComputer()) + "|" + U8(e.EvServer()) + "|" + std::to_string(e.EvDataType()) + "|" +
         U8(e.EvRawData());
}

// Every event of the day that reads on its own, by ordinal: each entry of the index is tried.
std::map<int32_t, std::string> Readable(const String& base) {
  std::map<int32_t, std::string> out;
  const int32_t entries = static_cast<int32_t>(IndexValues(base).size()) - 1;
  KivLog reader;
  auto info = InfoFor(base);
  for (int32_t k = 1; k <= entries; ++k) {
    if (!reader.EventLogRead(info, k, 1) && info->LogData()->Count() == 1) {
      out[k] = Describe(*Events(*info)[0]);
    }
  }
  return out;
}

// A day to damage, written by the library, and a writer of it that keeps its Id.
class LogDamageTest : public DailyLogTest {
 protected:
  // Opens APP's log (the "Open" marker) and writes `raws` as single writes.
  void WriteDay(const std::vector<String>& raws, int32_t options = 0) {
    base = Base(u"APP");
    id = log.EventLogOpen(u"APP", folder, ELOF_CREATE_ALWAYS, 0, u"pc", u"me");
    ASSERT_NE(id, 0);
    log.EventLogOptions(id, options);
    for (const String& raw : raws) ASSERT_FALSE(log.EventLogWrite(id, u"S", raw));
  }

  // Writes `raws` after the damage, in one batch or one by one, and checks the rule: what read
  // before reads after under the same numbers, the data file only grew, and the new events read
  // last. `what` names the damage in a failure.
  void ExpectWriteOnlyAppends(const std::vector<String>& raws, bool batch,
                              const std::string& what) {
    SCOPED_TRACE(what);
    const std::map<int32_t, std::string> before = Readable(base);
    const std::string data = ReadAll(base + u".ZLG");
    if (batch) {
      ASSERT_FALSE(log.EventLogWriteBatch(id, Batch(u"NEW", raws)))
          << U8(LastErrorRecord().Description);
    } else {
      for (const String& raw : raws) {
        ASSERT_FALSE(log.EventLogWrite(id, u"NEW", raw)) << U8(LastErrorRecord().Description);
      }
    }
    EXPECT_EQ(ReadAll(base + u".ZLG").substr(0, data.size()), data) << "bytes lost";
    const std::map<int32_t, std::string> after = Readable(base);
    for (const auto& [ordinal, event] : before) {
      const auto now = after.find(ordinal);
      ASSERT_NE(now, after.end()) << "event " << ordinal << " no longer reads";
      EXPECT_EQ(now->second, event) << "event " << ordinal << " changed";
    }
    KivLog reader;
    auto info = InfoFor(base);
    int32_t last = INT_MAX;
    ASSERT_FALSE(reader.EventLogReadBack(info, last, static_cast<int32_t>(raws.size())));
    ASSERT_EQ(Events(*info).size(), raws.size());
    for (size_t k = 0; k < raws.size(); ++k) {
      EXPECT_EQ(Events(*info)[k]->EvSource(), u"NEW");
      EXPECT_EQ(Events(*info)[k]->EvRawData(), raws[k]);
    }
  }

  KivLog log;
  int32_t id = 0;
  String base;
};

// The record of event k (1-based) in the data file, as the index places it.
std::pair<size_t, size_t> RecordOf(const std::vector<int32_t>& index, const std::string& data,
                                   int32_t k) {
  const size_t start = static_cast<size_t>(index[static_cast<size_t>(k)] - 1);
  const size_t end = static_cast<size_t>(k) + 1 < index.size()
                         ? static_cast<size_t>(index[static_cast<size_t>(k) + 1] - 1)
                         : data.size();
  return {start, end};
}

// Damage seen in the field. Each row: how many events read before the write.
TEST_F(LogDamageTest, ADamagedDayKeepsItsEventsAndNumbersThroughAWrite) {
  struct Case {
    const char* what;
    int32_t events;  // written after the "Open" marker
    std::function<void(std::string& data, const std::vector<int32_t>& index)> damage;
    size_t readable;
  };
  const std::vector<Case> cases = {
      {"every CR LF made LF (an editor, a checkout)", 5,
       [](std::string& data, const std::vector<int32_t>&) { std::erase(data, '\r'); }, 0},
      {"the CR of event 1's END line changed, a field name of the last record garbled", 7,
       [](std::string& data, const std::vector<int32_t>& index) {
         data[RecordOf(index, data, 1).second - 2] = 'Z';
         data[data.find("SRC=", RecordOf(index, data, 8).first)] = 'Q';
       },
       7},
      {"a byte garbled in a middle record and one in the last", 11,
       [](std::string& data, const std::vector<int32_t>& index) {
         data[data.find("TYP=", RecordOf(index, data, 5).first) + 1] = '#';
         data[data.find("EID=", RecordOf(index, data, 12).first)] = '~';
       },
       10},
  };
  for (const Case& c : cases) {
    std::vector<String> raws;
    for (int32_t k = 1; k <= c.events; ++k) raws.push_back(u"event " + IntText(k));
    WriteDay(raws);
    std::string data = ReadAll(base + u".ZLG");
    c.damage(data, IndexValues(base));
    WriteAll(base + u".ZLG", data);
    EXPECT_EQ(Readable(base).size(), c.readable) << c.what;
    ExpectWriteOnlyAppends({u"after"}, false, c.what);
  }
}

// A writer killed inside a batch of large records, round after round: the index never counts a
// record that is not whole on disk, so after every kill the whole day reads without an error,
// each event whole, and the next write appends after what the kill left.
TEST_F(LogDamageTest, WritersKilledInsideABatchLeaveADayThatReadsWhole) {
  constexpr int kRounds = 60, kBatch = 35;
  const String big(size_t{16} << 10, u'b');
  base = Base(u"APP");
  auto read_whole = [&](int round) {
    auto info = InfoFor(base);
    ASSERT_FALSE(KivLog().EventLogRead(info, 1, INT_MAX))
        << "round " << round << ": " << U8(LastErrorRecord().Description) << " (" << Last_Error()
        << ")";
    ASSERT_EQ(info->LogData()->Count(), info->Events());
    for (const auto& e : Events(*info)) {
      ASSERT_TRUE(e->EvRawData() == big || e->EvRawData() == u"Open") << "round " << round;
    }
    LogHealth health;
    ASSERT_FALSE(CheckLog(*info, health));
    EXPECT_EQ(health.not_written, 0) << "round " << round << ": counted ahead of the data";
  };
  // The day exists before the first child, which a busy machine may kill before its open.
  ASSERT_NE(log.EventLogOpen(u"APP", folder, ELOF_CREATE_ALWAYS), 0);
  std::mt19937 rng(19);
  for (int round = 0; round < kRounds; ++round) {
    const pid_t pid = ::fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
      KivLog writer;
      const int32_t w = writer.EventLogOpen(u"APP", folder, ELOF_CREATE_ALWAYS);
      const auto events = Batch(u"", std::vector<String>(kBatch, big));
      while (w != 0 && !writer.EventLogWriteBatch(w, events)) {
      }
      ::_exit(1);
    }
    ::usleep(1000 + rng() % 5000);
    ::kill(pid, SIGKILL);
    ::waitpid(pid, nullptr, 0);
    read_whole(round);
    ASSERT_NE(log.EventLogOpen(u"APP", folder), 0);  // its "Open" marker is the next write
    read_whole(round);
  }
}

// A writer killed right after each of its file changes in turn, for each way of writing: after
// every kill the day reads whole and counts nothing that is not on disk, and once the next write
// has put it back in step, every event that read before reads under its number. An open that
// empties the day may leave it as it was or empty, never part of each.
TEST_F(LogDamageTest, AKillAfterAnyFileChangeCostsNothingThatRead) {
  auto writer = [this](int32_t options, int writes, bool batch) {
    return [this, options, writes, batch] {
      KivLog w;
      const int32_t wid = w.EventLogOpen(u"APP", folder);
      w.EventLogOptions(wid, options);
      std::vector<String> raws;
      for (int k = 0; k < writes; ++k) raws.push_back(u"new " + IntText(k));
      if (batch) w.EventLogWriteBatch(wid, Batch(u"", raws));
      for (size_t k = 0; !batch && k < raws.size(); ++k) w.EventLogWrite(wid, u"NEW", raws[k]);
    };
  };
  // The last entry dropped and the count lowered, as an append killed before its entry leaves.
  auto drop_last_entry = [this] {
    std::vector<int32_t> index = IndexValues(base);
    index.pop_back();
    index[0] -= 1;
    WriteAll(base + u".ZLI", IndexBytes(index));
  };
  struct Case {
    const char* what;
    std::function<void()> damage;
    std::function<void()> work;
    bool may_empty;
  };
  const std::vector<Case> cases = {
      {"single writes", [] {}, writer(0, 2, false), false},
      {"a batch", [] {}, writer(0, 3, true), false},
      {"kept-open writes", [] {}, writer(KIVLIOPT_KEEPOPEN, 3, false), false},
      {"a write after an interrupted append", drop_last_entry, writer(0, 1, false), false},
      {"an open that empties the day", [] {},
       [this] { KivLog().EventLogOpen(u"APP", folder, ELOF_CREATE_ALWAYS); }, true},
  };
  for (const Case& c : cases) {
    int n = 1;
    for (;; ++n) {
      SCOPED_TRACE(std::string(c.what) + ", killed after file change " + std::to_string(n));
      WriteDay({u"a", u"b", u"c"});
      c.damage();
      const std::map<int32_t, std::string> before = Readable(base);
      if (!RunKilledAfterChange(n, c.work)) break;
      auto info = InfoFor(base);
      ASSERT_FALSE(KivLog().EventLogRead(info, 1, INT_MAX)) << U8(LastErrorRecord().Description);
      LogHealth health;
      ASSERT_FALSE(CheckLog(*info, health));
      EXPECT_EQ(health.not_written, 0) << "counted ahead of the data";
      ASSERT_FALSE(log.EventLogWrite(id, u"NEXT", u"after"));
      const std::map<int32_t, std::string> after = Readable(base);
      ASSERT_FALSE(after.empty());
      EXPECT_NE(after.rbegin()->second.find("|NEXT|"), std::string::npos);
      size_t kept = 0;
      for (const auto& [ordinal, event] : before) {
        const auto now = after.find(ordinal);
        kept += now != after.end() && now->second == event;
      }
      if (!c.may_empty || kept > 0) {
        EXPECT_EQ(kept, before.size()) << "events lost";
      }
    }
    EXPECT_GE(n, 4) << c.what << ": the work got through before its writes were reached";
  }
}

// Damage of a random kind at a random place, as many times as the seeds go.
enum class Damage { kFlip, kInsert, kDelete, kCrLfToLf, kTruncate, kIndexFlip, kIndexTruncate };

std::string ApplyDamage(std::mt19937& rng, std::string& data, std::string& index) {
  const auto kind = static_cast<Damage>(rng() % 7);
  std::string& target = kind == Damage::kIndexFlip || kind == Damage::kIndexTruncate ? index : data;
  if (target.empty()) return "none";
  const size_t at = rng() % target.size();
  const char bytes[] = {'\r', '\n', '=', 'U', 'E', '-', '0', static_cast<char>(rng())};
  const char byte = bytes[rng() % sizeof bytes];
  switch (kind) {
    case Damage::kFlip:
    case Damage::kIndexFlip:
      target[at] = byte;
      return "byte " + std::to_string(at) + " set to " + std::to_string(byte);
    case Damage::kInsert:
      target.insert(at, 1, byte);
      return "byte " + std::to_string(byte) + " inserted at " + std::to_string(at);
    case Damage::kDelete:
      target.erase(at, 1);
      return "byte " + std::to_string(at) + " deleted";
    case Damage::kCrLfToLf: {
      const size_t end = std::min(target.size(), at + rng() % 4096);
      std::string part = target.substr(at, end - at);
      std::erase(part, '\r');
      target.replace(at, end - at, part);
      return "CR LF made LF from " + std::to_string(at) + " to " + std::to_string(end);
    }
    case Damage::kTruncate:
    case Damage::kIndexTruncate:
      target.resize(at);
      return "cut to " + std::to_string(at);
  }
  return "none";
}

// The raw data of a random event: lines, empty, long.
String RandomRaw(std::mt19937& rng) {
  static const std::vector<String> kRaws = {
      u"", u"plain", u"a\r\nb\r\nc", u"Citt\u00e0 \u20ac", u"UNK=1\r\nEND=x", String(3000, u'z')};
  return kRaws[rng() % kRaws.size()] + IntText(static_cast<int32_t>(rng() % 1000));
}

TEST_F(LogDamageTest, RandomDamageNeverCostsAnEventThatRead) {
  const char* seconds = std::getenv("KIV_DAMAGE_SECONDS");
  const auto until =
      std::chrono::steady_clock::now() + std::chrono::seconds(seconds ? std::atoi(seconds) : 0);
  constexpr uint32_t kCorpus = 150;  // the fixed seeds, always run
  uint32_t seed = 1;
  for (; seed <= kCorpus || std::chrono::steady_clock::now() < until; ++seed) {
    std::mt19937 rng(seed);
    std::vector<String> raws(rng() % 12);
    for (String& raw : raws) raw = RandomRaw(rng);
    WriteDay(raws, rng() % 2 ? KIVLIOPT_UTF8 : 0);
    std::string data = ReadAll(base + u".ZLG");
    std::string index = ReadAll(base + u".ZLI");
    std::string what = "seed " + std::to_string(seed) + ":";
    for (uint32_t n = 1 + rng() % 3; n > 0; --n) what += " " + ApplyDamage(rng, data, index) + ";";
    WriteAll(base + u".ZLG", data);
    WriteAll(base + u".ZLI", index);
    std::vector<String> added(1 + rng() % 3);
    for (String& raw : added) raw = RandomRaw(rng);
    ExpectWriteOnlyAppends(added, rng() % 2, what);
    if (HasFailure()) break;
  }
  std::printf("random damage: %u days\n", seed - 1);
}

}  // namespace
}  // namespace kiv::testing
