// Writers killed at random moments, and writers among busy readers: every acknowledged event
// reads exactly once, none reads twice, the day reads whole, and no write is turned away.
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <map>
#include <random>
#include <set>

#include "dailylog_support.h"
#include "platform/vb_convert.h"

namespace kiv::testing {
namespace {

using LogCrashTest = DailyLogTest;

// The raw data of a writer's event: its generation (one per process) and its sequence. Every
// sixteenth event is large, so that a kill can land inside the write of its record.
String RawFor(int32_t gen, int32_t seq) {
  String raw = u"G" + IntText(gen) + u"S" + IntText(seq);
  if (seq % 16 == 0) raw += String(size_t{256} << 10, u'x');
  return raw;
}

// A writer process: writes until killed, telling the parent of each acknowledged event.
[[noreturn]] void RunKilledWriter(const String& folder, int32_t gen, int ack_fd) {
  KivLog log;
  const int32_t id = log.EventLogOpen(u"APP", folder);
  for (int32_t seq = 1; id != 0; ++seq) {
    if (log.EventLogWrite(id, u"W", RawFor(gen, seq))) continue;
    const int32_t ack[2] = {gen, seq};
    if (::write(ack_fd, ack, sizeof ack) != sizeof ack) break;
  }
  ::_exit(1);
}

struct Child {
  pid_t pid = -1;
  int ack_fd = -1;
};

Child Spawn(const String& folder, int32_t gen) {
  int fds[2];
  if (::pipe(fds) != 0) return {};
  const pid_t pid = ::fork();
  if (pid == 0) {
    ::close(fds[0]);
    RunKilledWriter(folder, gen, fds[1]);
  }
  ::close(fds[1]);
  return {pid, fds[0]};
}

// Kills a writer and collects what it acknowledged.
void KillAndCollect(Child& c, std::set<std::pair<int32_t, int32_t>>& acked) {
  ::kill(c.pid, SIGKILL);
  ::waitpid(c.pid, nullptr, 0);
  int32_t ack[2];
  while (::read(c.ack_fd, ack, sizeof ack) == sizeof ack) acked.insert({ack[0], ack[1]});
  ::close(c.ack_fd);
}

TEST_F(LogCrashTest, WritersKilledAtRandomLoseAndDoubleNothing) {
  SetClock({});  // the writers run on the real clock: today's log
  constexpr int kWriters = 3;
  constexpr int kKills = 200;
  std::mt19937 rng(20241122);
  std::set<std::pair<int32_t, int32_t>> acked;
  std::vector<Child> writers;
  int32_t gen = 0;
  for (int w = 0; w < kWriters; ++w) writers.push_back(Spawn(folder, ++gen));
  for (int k = 0; k < kKills; ++k) {
    ::usleep(rng() % 2000);
    Child& victim = writers[rng() % kWriters];
    KillAndCollect(victim, acked);
    victim = Spawn(folder, ++gen);
    ASSERT_GT(victim.pid, 0);
  }
  for (Child& c : writers) KillAndCollect(c, acked);
  ASSERT_GT(acked.size(), 100u);

  // The next write puts the day in step; then the whole day reads.
  KivLog log;
  String path = folder;
  const int32_t id = log.EventLogOpen(u"APP", path);
  ASSERT_NE(id, 0);
  ASSERT_FALSE(log.EventLogWrite(id, u"W", u"final"));
  ASSERT_FALSE(log.EventLogClose(id));
  auto info = InfoFor(log.LogFileName(u"APP", path));
  ASSERT_FALSE(log.EventLogRead(info, 1, INT_MAX)) << U8(LastErrorRecord().Description);
  ASSERT_EQ(info->LogData()->Count(), info->Events());

  std::map<std::pair<int32_t, int32_t>, int> seen;
  int32_t last_offset = 0;
  for (const auto& e : Events(*info)) {
    EXPECT_GT(e->Offset(), last_offset) << e->Ordinal();  // no two entries share a record
    last_offset = e->Offset();
    if (e->EvSource() != u"W" || e->EvRawData() == u"final") continue;
    const String& raw = e->EvRawData();
    const size_t s = raw.find(u'S');
    ASSERT_TRUE(raw.starts_with(u"G") && s != String::npos) << e->Ordinal();
    const int32_t g = CLng(Variant(raw.substr(1, s - 1)));
    const int32_t q = CLng(Variant(raw.substr(s + 1, raw.find(u'x') - s - 1)));
    EXPECT_EQ(raw, RawFor(g, q)) << e->Ordinal();  // whole, not merged with another record
    ++seen[{g, q}];
  }
  for (const auto& [event, times] : seen) {
    EXPECT_EQ(times, 1) << "G" << event.first << "S" << event.second;
  }
  for (const auto& event : acked) {
    EXPECT_EQ(seen.count(event), 1u) << "lost G" << event.first << "S" << event.second;
  }
  EXPECT_EQ(Events(*info).back()->EvRawData(), u"Closed");
}

// Readers in tight loops do not keep writers out: a waiting writer stops new readers.
TEST_F(LogCrashTest, WritersGetThroughReadersPagingContinuously) {
  SetClock({});
  constexpr int kWriters = 2, kEvents = 200, kReaders = 6;
  KivLog log;
  String path = folder;
  const String base = log.LogFileName(u"APP", path);
  WriteAll(base + u".ZLG", "");
  WriteAll(base + u".ZLI", "");
  const String stop = folder + u"/stop";

  std::vector<pid_t> readers, writers;
  for (int r = 0; r < kReaders; ++r) {
    const pid_t pid = ::fork();
    if (pid == 0) {
      // Exit code: the reads that failed other than by the bounded wait (70).
      KivLog reader;
      auto info = InfoFor(base);
      int bad = 0;
      for (int32_t next = 1; !FileExists(stop);) {
        int32_t start = INT_MAX;
        if (reader.EventLogReadBack(info, start, 50, true) && Last_Error() != 70) ++bad;
        if (reader.EventLogRead(info, next, 100) && Last_Error() != 70) ++bad;
        next = info->LogData()->Count() < 100 ? 1 : next + 100;
      }
      ::_exit(std::min(bad, 100));
    }
    readers.push_back(pid);
  }
  ::usleep(20000);  // the readers are busy before the writers start
  for (int w = 0; w < kWriters; ++w) {
    const pid_t pid = ::fork();
    if (pid == 0) {
      KivLog writer;
      const int32_t id = writer.EventLogOpen(u"APP", folder);
      int failed = id == 0 ? kEvents : 0;
      for (int k = 1; id != 0 && k <= kEvents; ++k) {
        if (writer.EventLogWrite(id, u"W" + IntText(w), u"event " + IntText(k))) ++failed;
      }
      if (id != 0 && writer.EventLogClose(id)) ++failed;
      ::_exit(std::min(failed, 250));
    }
    writers.push_back(pid);
  }
  auto exit_code = [](pid_t pid) {
    int status = 0;
    ::waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 255;
  };
  for (pid_t pid : writers) EXPECT_EQ(exit_code(pid), 0) << "failed writes";
  WriteAll(stop, "");
  for (pid_t pid : readers) EXPECT_EQ(exit_code(pid), 0) << "reads failing other than by wait";
  EXPECT_EQ(IndexValues(base)[0], kWriters * (kEvents + 2));
}

}  // namespace
}  // namespace kiv::testing
