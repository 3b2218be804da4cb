// Writers killed inside a batch or after any of their file changes, which needs fork and
// signals: a write only appends, and the day reads whole after every kill.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <functional>
#include <map>
#include <random>

#include "dailylog/log_repair.h"
#include "log_damage_fixture.h"
#include "platform/vb_convert.h"
#include "support/kill_points.h"

namespace kiv::testing {
namespace {

using LogDamagePosixTest = LogDamageTest;

// A writer killed inside a batch of large records, round after round: the index never counts a
// record that is not whole on disk, so after every kill the whole day reads without an error,
// each event whole, and the next write appends after what the kill left.
TEST_F(LogDamagePosixTest, WritersKilledInsideABatchLeaveADayThatReadsWhole) {
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
TEST_F(LogDamagePosixTest, AKillAfterAnyFileChangeCostsNothingThatRead) {
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

}  // namespace
}  // namespace kiv::testing
