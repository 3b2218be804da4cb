// Daily logs: cost of a write next to the bare system calls it makes and next to a common C++
// logger's daily file, four writer processes next to four appending the same records by hand,
// cost of reading the last page of a small and a large day, and the speed of a filtered walk
// through a whole day, next to grep -c of the same key.
#include <benchmark/benchmark.h>
#ifdef KIV_BENCH_POSIX
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#endif
#ifdef KIV_BENCH_SPDLOG
#include <spdlog/sinks/daily_file_sink.h>
#include <spdlog/spdlog.h>
#endif

#include <climits>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include "bench_day.h"
#include "kivdbxt/kivdbxt.h"
#include "platform/date.h"
#include "platform/locale.h"
#include "targets.h"

namespace {

using kivbench::BenchFolder;
using kivbench::DayOfEvents;
using kivbench::kRaw;

#ifdef KIV_BENCH_POSIX
// The record the library writes for the bench's event, for the writes by hand.
std::string BenchRecord() {
  return "UNK=1234567890\r\nDAT=2024-03-05 10:00:00\r\nSRC=bench\r\nTYP=4\r\nCAT=cat\r\nEID=7\r\n"
         "USR=user\r\nCOM=host\r\nSVR=\r\nDTP=0\r\nRWD=" +
         std::string(kRaw) + "\r\nEND=-----------------------\r\n";
}

// The floor under a kept-open write, by hand: both files open once and the count mapped; for
// each event the writers' lock taken and let go, one look at the data file's size, the record
// and its entry written, the count stored through the view. No writer of a day shared between
// processes does with less: without the lock two writers interleave, without the look a write
// lands on another's record, and the count must follow the record and its entry for a crash to
// leave nothing counted that is not on disk.
class KeptByHand {
 public:
  explicit KeptByHand(const std::string& folder) {
    const int flags = O_RDWR | O_CREAT | O_CLOEXEC;
    data_ = ::open((folder + "/BENCH.ZLG").c_str(), flags, 0666);
    index_ = ::open((folder + "/BENCH.ZLI").c_str(), flags, 0666);
    struct stat st;
    if (index_ >= 0 && ::fstat(index_, &st) == 0 && st.st_size < 4) ::ftruncate(index_, 4);
    void* view = ::mmap(nullptr, 4, PROT_READ | PROT_WRITE, MAP_SHARED, index_, 0);
    count_ = view == MAP_FAILED ? nullptr : static_cast<int32_t*>(view);
  }
  ~KeptByHand() {
    if (count_) ::munmap(count_, 4);
    ::close(index_);
    ::close(data_);
  }
  KeptByHand(const KeptByHand&) = delete;
  KeptByHand& operator=(const KeptByHand&) = delete;

  bool Append(const std::string& record) {
    if (!count_ || ::flock(index_, LOCK_EX) != 0) return false;
    struct stat st;
    bool ok = ::fstat(data_, &st) == 0;
    const int32_t count = *count_, position = static_cast<int32_t>(st.st_size) + 1;
    ok = ok && ::pwrite(data_, record.data(), record.size(), st.st_size) ==
                   static_cast<ssize_t>(record.size());
    ok = ok && ::pwrite(index_, &position, 4, off_t{4} * (count + 1)) == 4;
    if (ok) *count_ = count + 1;
    return ::flock(index_, LOCK_UN) == 0 && ok;
  }

 private:
  int data_ = -1, index_ = -1;
  int32_t* count_ = nullptr;
};

void KeptFloorWrite(benchmark::State& state) {
  KeptByHand files(BenchFolder("kept-floor"));
  const std::string record = BenchRecord();
  for (auto _ : state) {
    if (!files.Append(record)) {
      state.SkipWithError("write failed");
      break;
    }
  }
  state.SetItemsProcessed(state.iterations());
}
#endif  // KIV_BENCH_POSIX

// A write that opens and closes the files (argument 0), or with KIVLIOPT_KEEPOPEN (argument 1).
void LibraryWrite(benchmark::State& state) {
  const std::string folder = BenchFolder("write" + std::to_string(state.range(0)));
  kiv::KivLog log;
  int32_t id = log.EventLogOpen(u"BENCH", kiv::FromUtf8(folder), kiv::ELOF_CREATE_ALWAYS, 0,
                                u"host", u"user");
  log.EventLogOptions(id, state.range(0) ? kiv::KIVLIOPT_KEEPOPEN : 0);
  const kiv::String raw = kiv::FromUtf8(kRaw);
  for (auto _ : state) {
    if (log.EventLogWrite(id, u"bench", raw, kiv::RWDT_ASCII, kiv::EVENTLOG_INFORMATION_TYPE,
                          u"cat", 7)) {
      state.SkipWithError("write failed");
      break;
    }
  }
  state.SetItemsProcessed(state.iterations());
}

// 1,000 events by single writes, and the same 1,000 as one batch.
void ThousandWrites(benchmark::State& state) {
  const bool batch = state.range(0) != 0;
  const std::string folder = BenchFolder(batch ? "batch" : "singles");
  kiv::KivLog log;
  int32_t id = log.EventLogOpen(u"BENCH", kiv::FromUtf8(folder), kiv::ELOF_CREATE_ALWAYS, 0,
                                u"host", u"user");
  const kiv::String raw = kiv::FromUtf8(kRaw);
  auto events = std::make_shared<kiv::Collection>();
  for (int k = 0; k < 1000; ++k) {
    auto e = std::make_shared<kiv::KivLogEvent>();
    e->EvSource(u"bench");
    e->EvRawData(raw);
    e->EvType(kiv::EVENTLOG_INFORMATION_TYPE);
    e->EvCategory(u"cat");
    e->EvId(7);
    events->Add(kiv::Variant(std::static_pointer_cast<kiv::Object>(e)));
  }
  for (auto _ : state) {
    bool failed = false;
    if (batch) {
      failed = log.EventLogWriteBatch(id, events);
    } else {
      for (int k = 0; k < 1000 && !failed; ++k) {
        failed = log.EventLogWrite(id, u"bench", raw, kiv::RWDT_ASCII,
                                   kiv::EVENTLOG_INFORMATION_TYPE, u"cat", 7);
      }
    }
    if (failed) {
      state.SkipWithError("write failed");
      break;
    }
  }
  state.SetItemsProcessed(state.iterations() * 1000);
}

#ifdef KIV_BENCH_POSIX
// The same work by hand, system call for system call: open both files (regular files only),
// lock the index, then the data file (the writers' turnstile), check that both are regular
// files and take their sizes, read the count and the last entry, read the last record (where a
// writer checks that it is whole and ends the data file), write count, entry and a record of the
// same size, close both.
void BaselineWrite(benchmark::State& state) {
  const std::string folder = BenchFolder("baseline");
  const std::string data = folder + "/BENCH.ZLG", index = folder + "/BENCH.ZLI";
  const std::string record = BenchRecord();
  std::string last(record.size(), '\0');
  const int flags = O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
  for (auto _ : state) {
    int d = ::open(data.c_str(), flags, 0666);
    int x = ::open(index.c_str(), flags, 0666);
    ::flock(x, LOCK_EX | LOCK_NB);
    ::flock(d, LOCK_EX | LOCK_NB);
    struct stat ds, xs;
    ::fstat(d, &ds);
    ::fstat(x, &xs);
    if (!S_ISREG(ds.st_mode) || !S_ISREG(xs.st_mode)) break;
    int32_t count = 0, entry = 0;
    if (xs.st_size >= 4) ::pread(x, &count, 4, 0);
    if (count > 0) ::pread(x, &entry, 4, 4 * count);
    if (ds.st_size >= static_cast<off_t>(last.size())) {
      ::pread(d, last.data(), last.size(), ds.st_size - static_cast<off_t>(last.size()));
    }
    ++count;
    ::pwrite(x, &count, 4, 0);
    int32_t position = static_cast<int32_t>(ds.st_size) + 1;
    ::pwrite(x, &position, 4, 4 * count);
    ::pwrite(d, record.data(), record.size(), ds.st_size);
    ::close(x);
    ::close(d);
  }
  state.SetItemsProcessed(state.iterations());
}
#endif  // KIV_BENCH_POSIX

#ifdef KIV_BENCH_SPDLOG
// The same event through spdlog's daily file (Debian's libspdlog-dev), flushed after every
// message as a log that must survive a crash is: about 100 bytes a line with its prefix.
void SpdlogDailyWrite(benchmark::State& state) {
  const std::string folder = BenchFolder("spdlog");
  auto sink = std::make_shared<spdlog::sinks::daily_file_sink_st>(folder + "/bench.log", 0, 0);
  spdlog::logger logger("bench", sink);
  logger.flush_on(spdlog::level::trace);
  for (auto _ : state) logger.info("bench cat 7 {}", kRaw);
  state.SetItemsProcessed(state.iterations());
}
#endif  // KIV_BENCH_SPDLOG

#ifdef KIV_BENCH_POSIX

// Four processes writing kEvents each to one day at once: the library's writers keeping their
// files open (argument 1), or plain O_APPEND writes of the same records to one file (0).
void FourWriters(benchmark::State& state) {
  constexpr int kProcesses = 4, kEvents = 2000;
  const int64_t kind = state.range(0);
  const bool library = kind == 1;
  const std::string folder = BenchFolder("four-" + std::to_string(kind));
  const std::string record = BenchRecord();
  auto write_events = [&] {
    if (kind == 2) {
      KeptByHand files(folder);
      for (int k = 0; k < kEvents; ++k) {
        if (!files.Append(record)) return false;
      }
      return true;
    }
    if (!library) {
      const int fd =
          ::open((folder + "/BENCH.ZLG").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
      for (int k = 0; k < kEvents; ++k) {
        if (::write(fd, record.data(), record.size()) != static_cast<ssize_t>(record.size())) {
          return false;
        }
      }
      return ::close(fd) == 0;
    }
    kiv::KivLog log;
    const int32_t id = log.EventLogOpen(u"BENCH", kiv::FromUtf8(folder), kiv::ELOF_OPENALWAYS, 0,
                                        u"host", u"user");
    log.EventLogOptions(id, kiv::KIVLIOPT_KEEPOPEN);
    const kiv::String raw = kiv::FromUtf8(kRaw);
    for (int k = 0; k < kEvents; ++k) {
      if (log.EventLogWrite(id, u"bench", raw, kiv::RWDT_ASCII, kiv::EVENTLOG_INFORMATION_TYPE,
                            u"cat", 7)) {
        return false;
      }
    }
    return true;
  };
  for (auto _ : state) {
    pid_t pids[kProcesses];
    for (pid_t& pid : pids) {
      pid = ::fork();
      if (pid == 0) ::_exit(write_events() ? 0 : 1);
    }
    bool failed = false;
    for (pid_t pid : pids) {
      int status = 0;
      failed |= pid < 0 || ::waitpid(pid, &status, 0) != pid || !WIFEXITED(status) ||
                WEXITSTATUS(status) != 0;
    }
    if (failed) {
      state.SkipWithError("a writer failed");
      break;
    }
  }
  state.SetItemsProcessed(state.iterations() * kProcesses * kEvents);
}
#endif  // KIV_BENCH_POSIX

void ReadBackLastPage(benchmark::State& state) {
  const int events = static_cast<int>(state.range(0));
  kiv::KivLog log;
  auto info = std::make_shared<kiv::KivLogInfo>();
  info->FileName(kiv::FromUtf8(DayOfEvents(events)));
  for (auto _ : state) {
    int32_t start = INT_MAX;
    if (log.EventLogReadBack(info, start, 100, true) || info->LogData()->Count() != 100) {
      state.SkipWithError("read failed");
      break;
    }
  }
  state.SetItemsProcessed(state.iterations() * 100);
}

void FilteredWalk(benchmark::State& state) {
  const std::string base = DayOfEvents(static_cast<int>(state.range(0)));
  kiv::KivLog log;
  auto info = std::make_shared<kiv::KivLogInfo>();
  info->FileName(kiv::FromUtf8(base));
  auto filter = std::make_shared<kiv::KivLogFilter>();
  filter->Checks(kiv::LGFF_CHECKID);
  filter->IdsAdd(-1);  // nothing passes: the whole day is walked
  const int64_t bytes = static_cast<int64_t>(std::filesystem::file_size(base + ".ZLG"));
  for (auto _ : state) {
    if (log.EventLogFilter(info, 1, filter, INT_MAX)) {
      state.SkipWithError("walk failed");
      break;
    }
  }
  state.SetBytesProcessed(state.iterations() * bytes);
}

#ifdef KIV_BENCH_POSIX
// A walk through the whole day keeping the events of one source, as `kivlog export --source`
// does (one event in 7 passes), or of one event id (one in 100), next to `grep -c` of the same
// key line on the same data file.
// The count `grep -c` gives for lines that begin with key (-1 when it cannot run). The ids and
// sources of the bench day are such that the key alone finds exactly the events of its value.
int GrepCountOf(const std::string& key, const std::string& file) {
  const std::string command = "grep -c '^" + key + "' '" + file + "'";
  std::FILE* out = ::popen(command.c_str(), "r");
  int count = -1;
  if (!out || std::fscanf(out, "%d", &count) != 1) count = -1;
  if (out) ::pclose(out);
  return count;
}

void WalkFor(benchmark::State& state, int32_t check, const std::string& key) {
  const std::string base = DayOfEvents(static_cast<int>(state.range(0)));
  kiv::KivLog log;
  auto info = std::make_shared<kiv::KivLogInfo>();
  info->FileName(kiv::FromUtf8(base));
  auto filter = std::make_shared<kiv::KivLogFilter>();
  filter->Checks(check);
  filter->SourcesAdd(u"app3");
  filter->IdsAdd(42);
  const int64_t bytes = static_cast<int64_t>(std::filesystem::file_size(base + ".ZLG"));
  const int expected = GrepCountOf(key, base + ".ZLG");
  for (auto _ : state) {
    if (log.EventLogFilter(info, 1, filter, INT_MAX) || info->LogData()->Count() != expected) {
      state.SkipWithError("walk failed");
      break;
    }
  }
  state.SetBytesProcessed(state.iterations() * bytes);
}

void FilteredWalkSource(benchmark::State& state) {
  WalkFor(state, kiv::LGFF_CHECKSOURCE, "SRC=APP3");
}
void FilteredWalkId(benchmark::State& state) { WalkFor(state, kiv::LGFF_CHECKID, "EID=42"); }

void GrepCount(benchmark::State& state) {
  const std::string base = DayOfEvents(static_cast<int>(state.range(0)));
  const int64_t bytes = static_cast<int64_t>(std::filesystem::file_size(base + ".ZLG"));
  for (auto _ : state) {
    if (GrepCountOf("EID=42", base + ".ZLG") != static_cast<int>(state.range(0) / 100)) {
      state.SkipWithError("grep failed");
      break;
    }
  }
  state.SetBytesProcessed(state.iterations() * bytes);
}
#endif  // KIV_BENCH_POSIX

BENCHMARK(LibraryWrite)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
#ifdef KIV_BENCH_POSIX
BENCHMARK(BaselineWrite)->Unit(benchmark::kMicrosecond);
#endif
#ifdef KIV_BENCH_SPDLOG
BENCHMARK(SpdlogDailyWrite)->Unit(benchmark::kMicrosecond);
#endif
#ifdef KIV_BENCH_POSIX
BENCHMARK(KeptFloorWrite)->Unit(benchmark::kMicrosecond);
BENCHMARK(FourWriters)->Arg(0)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();
#endif
BENCHMARK(ThousandWrites)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(ReadBackLastPage)->Arg(10000)->Arg(1000000)->Unit(benchmark::kMicrosecond);
BENCHMARK(FilteredWalk)->Arg(100000)->Unit(benchmark::kMillisecond);
#ifdef KIV_BENCH_POSIX
BENCHMARK(FilteredWalkSource)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(FilteredWalkId)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(GrepCount)->Arg(1000000)->Unit(benchmark::kMillisecond);
#endif

}  // namespace

int main(int argc, char** argv) {
  kiv::SetLocale(kiv::LocaleKind::Iso);
  return kivbench::RunWithTargets(
      argc, argv,
      {{"a write against the same system calls by hand", "LibraryWrite/0", "BaselineWrite", 1.3},
       {"a write keeping the files open against one opening them", "LibraryWrite/1",
        "LibraryWrite/0", 0.5},
       {"a write keeping the files open against spdlog's daily file flushed per message",
        "LibraryWrite/1", "SpdlogDailyWrite", 3.0},
       {"4 processes writing with kept files against 4 appending the same records (at most 2: "
        "half their events per second)",
        "FourWriters/1/real_time", "FourWriters/0/real_time", 2.0},
       {"the floor: a kept-open write's system calls by hand against spdlog's daily file",
        "KeptFloorWrite", "SpdlogDailyWrite", 0},
       {"a write keeping the files open against its system calls by hand", "LibraryWrite/1",
        "KeptFloorWrite", 0},
       {"the floor: 4 processes making those system calls by hand against 4 appending",
        "FourWriters/2/real_time", "FourWriters/0/real_time", 0},
       {"a batch of 1,000 events against 1,000 single writes", "ThousandWrites/1",
        "ThousandWrites/0", 0.1},
       {"the last page of a 1,000,000-event day against a 10,000-event one",
        "ReadBackLastPage/1000000", "ReadBackLastPage/10000", 1.25},
       {"a filtered walk of a whole day against grep -c of the same key", "FilteredWalkId/1000000",
        "GrepCount/1000000", 4.0}});
}
