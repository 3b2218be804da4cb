// Several processes writing one day's log at once while another pages through it.
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <map>

#include "dailylog_support.h"
#include "platform/vb_convert.h"

namespace kiv::testing {
namespace {

constexpr int kWriters = 4;
// The "Open" marker, the payload, the "Closed" marker. Fewer under the sanitizers, which make every
// write several times slower: four such writers on a loaded machine can outwait a lock's bounded
// wait, which is not what this test looks for.
#if defined(__SANITIZE_ADDRESS__)
constexpr int kEventsPerWriter = 2000;
#else
constexpr int kEventsPerWriter = 10000;
#endif
constexpr int kPayload = kEventsPerWriter - 2;

using LogConcurrencyTest = DailyLogTest;

// One writer process: its events carry its number as Source and their sequence as EventId.
int RunWriter(const String& folder, int writer, int32_t options) {
  KivLog log;
  int32_t id = log.EventLogOpen(u"APP", folder);
  if (id == 0) return 10;
  log.EventLogOptions(id, options);
  for (int seq = 1; seq <= kPayload; ++seq) {
    if (log.EventLogWrite(id, u"P" + IntText(writer), u"payload " + IntText(seq), RWDT_ASCII,
                          EVENTLOG_INFORMATION_TYPE, u"load", seq)) {
      std::fprintf(stderr, "writer %d event %d: %s\n", writer, seq,
                   ToUtf8(LastErrorRecord().Description).c_str());
      return 11;
    }
  }
  return log.EventLogClose(id) ? 12 : 0;
}

void FourWritersAndAReader(const String& folder, const String& base, int32_t options) {
  WriteAll(base + u".ZLG", "");  // an empty log, so that the reader can start at once
  WriteAll(base + u".ZLI", "");

  std::vector<pid_t> children;
  for (int w = 1; w <= kWriters; ++w) {
    pid_t pid = ::fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) ::_exit(RunWriter(folder, w, options));
    children.push_back(pid);
  }

  // Page the last events and walk forwards while the writers run.
  KivLog reader;
  auto info = InfoFor(base);
  int reads = 0, failures = 0, next = 1;
  std::vector<int> exit_codes(children.size(), -1);
  auto running = [&] {
    bool any = false;
    for (size_t i = 0; i < children.size(); ++i) {
      int st = 0;
      if (exit_codes[i] >= 0) continue;
      if (::waitpid(children[i], &st, WNOHANG) == children[i]) {
        exit_codes[i] = WIFEXITED(st) ? WEXITSTATUS(st) : 128;
      } else {
        any = true;
      }
    }
    return any;
  };
  while (running()) {
    int32_t start = INT_MAX;
    failures += reader.EventLogReadBack(info, start, 50, true) ? 1 : 0;
    if (info->LogData()->Count() > 0) {
      EXPECT_EQ(Ordinals(*info).back(), start);
    }
    failures += reader.EventLogRead(info, next, 200) ? 1 : 0;
    next += info->LogData()->Count();
    reads += 2;
  }
  EXPECT_EQ(failures, 0) << ToUtf8(LastErrorRecord().Description);
  EXPECT_GT(reads, 2);
  EXPECT_EQ(exit_codes, std::vector<int>(children.size(), 0));

  std::vector<int32_t> index = IndexValues(base);
  ASSERT_EQ(index.size(), static_cast<size_t>(kWriters * kEventsPerWriter) + 1);
  EXPECT_EQ(index[0], kWriters * kEventsPerWriter);

  // Records are contiguous and whole: each starts with its UNK line right after the previous
  // record's END line, and the last ends the file.
  const std::string data = ReadAll(base + u".ZLG");
  EXPECT_EQ(index[1], 1);
  for (size_t k = 1; k < index.size(); ++k) {
    size_t at = static_cast<size_t>(index[k] - 1);
    ASSERT_EQ(data.compare(at, 4, "UNK="), 0) << k;
    if (k > 1) {
      ASSERT_EQ(data.compare(at - 3, 3, "-\r\n"), 0) << k;
    }
  }
  EXPECT_EQ(data.substr(data.size() - 29), "END=-----------------------\r\n");

  // Every event loads, and each writer's events are all there, in the order written.
  std::map<String, int> last_seq;
  int opens = 0, closes = 0;
  for (int32_t start = 1; start <= index[0]; start += 1000) {
    ASSERT_FALSE(reader.EventLogRead(info, start, 1000));
    for (const auto& e : Events(*info)) {
      if (e->EvSource() == u"EVENTLOG") {
        opens += e->EvRawData() == u"Open";
        closes += e->EvRawData() == u"Closed";
        continue;
      }
      int& seq = last_seq[e->EvSource()];
      ASSERT_EQ(e->EvId(), seq + 1) << ToUtf8(e->EvSource());
      ASSERT_EQ(e->EvRawData(), u"payload " + IntText(e->EvId()));
      seq = e->EvId();
    }
  }
  EXPECT_EQ(opens, kWriters);
  EXPECT_EQ(closes, kWriters);
  ASSERT_EQ(last_seq.size(), static_cast<size_t>(kWriters));
  for (const auto& [source, seq] : last_seq) EXPECT_EQ(seq, kPayload) << ToUtf8(source);
}

TEST_F(LogConcurrencyTest, FourWritersLoseNothingAndAReaderNeverFails) {
  FourWritersAndAReader(folder, Base(u"APP"), 0);
}

// The same with writers that keep their files open and lock them per write.
TEST_F(LogConcurrencyTest, FourWritersKeepingTheirFilesOpenLoseNothing) {
  FourWritersAndAReader(folder, Base(u"APP"), KIVLIOPT_KEEPOPEN);
}

}  // namespace
}  // namespace kiv::testing
