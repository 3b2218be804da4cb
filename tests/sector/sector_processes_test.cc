// Several processes on one store: writers at once, and writers killed at random moments.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <random>
#include <set>

#include "sector_support.h"
#include "support/kill_points.h"

namespace kiv::testing {
namespace {

// A record that describes itself: key, version and size, then bytes made from them, so that a
// reader can tell a whole record from a torn or mixed one.
std::vector<uint8_t> Payload(uint32_t key, uint32_t version, uint32_t size) {
  std::vector<uint8_t> out(std::max<uint32_t>(size, 12));
  const std::string head = Le32(key) + Le32(version) + Le32(static_cast<uint32_t>(out.size()));
  std::copy(head.begin(), head.end(), out.begin());
  for (size_t i = 12; i < out.size(); ++i)
    out[i] = static_cast<uint8_t>(key * 31 + version * 17 + i);
  return out;
}

struct Described {
  uint32_t key = 0, version = 0;
};

// The key and version of a whole payload; nullopt for anything else.
std::optional<Described> Describe(const std::vector<uint8_t>& data) {
  if (data.size() < 12) return std::nullopt;
  const std::string bytes(data.begin(), data.end());
  Described d{static_cast<uint32_t>(Get32(bytes, 0)), static_cast<uint32_t>(Get32(bytes, 4))};
  if (Payload(d.key, d.version, static_cast<uint32_t>(data.size())) != data) return std::nullopt;
  return d;
}

class SectorProcessesTest : public SectorTest {
 protected:
  // A new store whose records 1 to 8 hold Payload(k, 0, size(k)).
  void CreateEight(int32_t sector_size, uint32_t (*size)(uint32_t)) {
    KivSector s;
    CreateOpen(s, sector_size);
    for (uint32_t key = 1; key <= 8; ++key) {
      int32_t id = 0;
      ASSERT_FALSE(s.SectorWrite(id, Payload(key, 0, size(key))));
    }
  }
};

uint32_t Grown(uint32_t key) { return 300 * key; }

// A reader maps the ".QVS" past its end: it reads without the lock what another store adds after
// its first read, within its view and (past 64 MB) beyond it, while the ".QVD" is locked by
// another open file, where a read under the lock would wait for good.
TEST_F(SectorProcessesTest, RecordsAnotherStoreAddsAreReadWithoutTheLockAsTheFileGrows) {
  KivSector reader, writer;
  CreateOpen(reader, 4096);
  ASSERT_FALSE(writer.SectorOpen(base));
  const std::vector<std::vector<uint8_t>> records = {Payload(1, 0, 100), Payload(2, 0, 5000),
                                                     Payload(3, 0, (65 << 20) + 7)};
  int32_t id = 0;
  std::vector<uint8_t> got;
  ASSERT_FALSE(writer.SectorWrite(id, records[0]));
  // The first read maps the new entry, the second (without the lock) the file as it is now.
  ASSERT_FALSE(reader.SectorRead(1, got) || reader.SectorRead(1, got));
  for (size_t k = 1; k < records.size(); ++k) {
    id = 0;
    ASSERT_FALSE(writer.SectorWrite(id, records[k]));
  }
  kiv::File held = kiv::File::OpenNative(
      File(".QVD"), OpenOptions{Access::Read, false, false, ShareLock::Exclusive});
  EXPECT_EQ(InChild(
                [&] {
                  std::string r;
                  for (int32_t k = 1; k <= 3; ++k) {
                    r += Check(!reader.SectorRead(k, got) && got == records[k - 1],
                               "record " + std::to_string(k));
                  }
                  return r;
                },
                10),
            "");
}

constexpr int kPerWriter = 300;
constexpr uint32_t kShared = 1;  // the record both writers rewrite

// One writer: adds its records, rewrites every fifth, deletes every seventh, and rewrites the
// shared record each time. Exit code 0 when every call succeeded.
int RunWriter(const String& base, uint32_t writer) {
  KivSector s;
  if (s.SectorOpen(base)) return 10;
  for (uint32_t i = 1; i <= kPerWriter; ++i) {
    const uint32_t key = writer * 100000 + i;
    int32_t id = 0;
    if (s.SectorWrite(id, Payload(key, 0, 12 + (i * 53) % 900))) return 11;
    if (i % 5 == 0 && s.SectorWrite(id, Payload(key, 1, 12 + (i * 97) % 2500))) return 12;
    if (i % 7 == 0 && s.SectorDelete(id)) return 13;
    int32_t shared = kShared;
    if (s.SectorWrite(shared, Payload(writer, i, 12 + (i * 211) % 3000))) return 14;
  }
  return 0;
}

TEST_F(SectorProcessesTest, TwoWritersAtOnceLoseNothingAndTearNothing) {
  {
    KivSector s;
    CreateOpen(s, 256);
    int32_t id = 0;
    ASSERT_FALSE(s.SectorWrite(id, Payload(0, 0, 100)));
    ASSERT_EQ(id, int32_t(kShared));
  }
  std::vector<pid_t> children;
  for (uint32_t w = 1; w <= 2; ++w) {
    const pid_t pid = ::fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) ::_exit(RunWriter(base, w));
    children.push_back(pid);
  }
  // Meanwhile the shared record is read over and over: always whole.
  KivSector reader;
  ASSERT_FALSE(reader.SectorOpen(base, true));
  int reads = 0, failures = 0;
  for (int running = 2; running > 0;) {
    std::vector<uint8_t> data;
    if (reader.SectorRead(kShared, data)) {
      ++failures;
      ADD_FAILURE() << ToUtf8(LastErrorRecord().Description);
    } else {
      EXPECT_TRUE(Describe(data).has_value());
      ++reads;
    }
    running = 0;
    for (pid_t& pid : children) {
      int status = 0;
      if (pid != 0 && ::waitpid(pid, &status, WNOHANG) == pid) {
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
        pid = 0;
      }
      running += pid != 0;
    }
  }
  EXPECT_GT(reads, 0);
  EXPECT_EQ(failures, 0);

  std::map<uint32_t, uint32_t> expected;  // key -> version
  for (uint32_t w = 1; w <= 2; ++w) {
    for (uint32_t i = 1; i <= kPerWriter; ++i) {
      if (i % 7 != 0) expected[w * 100000 + i] = i % 5 == 0 ? 1 : 0;
    }
  }
  KivSector s;
  ASSERT_FALSE(s.SectorOpen(base));
  auto ids = std::make_shared<Collection>();
  ASSERT_FALSE(s.SectorList(ids));
  std::map<uint32_t, uint32_t> found;
  for (int32_t i = 1; i <= ids->Count(); ++i) {
    const int32_t id = *ids->Item(Variant(i)).ToLong();
    std::vector<uint8_t> data;
    ASSERT_FALSE(s.SectorRead(id, data)) << id;
    auto d = Describe(data);
    ASSERT_TRUE(d.has_value()) << id;
    if (id == int32_t(kShared)) {
      EXPECT_EQ(d->version, uint32_t(kPerWriter));  // the last write of one writer or the other
    } else {
      EXPECT_TRUE(found.emplace(d->key, d->version).second) << d->key;
    }
  }
  EXPECT_EQ(found, expected);
  EXPECT_EQ(s.Records(), ids->Count());
  EXPECT_EQ(DamagedCount(s), 0);
}

// A process opens the store, reads and writes while another writes without a pause, each write
// holding the lock for a while: every call gets its turn within the library's bounded wait.
TEST_F(SectorProcessesTest, AnOpenGetsItsTurnBetweenAnotherProcesssWrites) {
  {
    KivSector s;
    CreateOpen(s, 128);
  }
  const pid_t writer = ::fork();
  ASSERT_GE(writer, 0);
  if (writer == 0) {
    KivSector s;
    s.SyncWrites(true);  // each write holds the lock while the files are made durable
    if (s.SectorOpen(base)) ::_exit(10);
    for (uint32_t i = 0;; ++i) {
      int32_t id = 0;
      if (s.SectorWrite(id, Payload(1, i, 100))) ::_exit(11);
    }
  }
  ::usleep(100000);
  std::string failures;
  for (int i = 0; i < 20; ++i) {
    KivSector s;
    std::vector<uint8_t> got;
    int32_t id = 0;
    if (s.SectorOpen(base, i % 2 == 1) || s.SectorRead(1, got) ||
        (i % 2 == 0 && s.SectorWrite(id, Payload(2, uint32_t(i), 100)))) {
      failures +=
          ToUtf8(LastErrorRecord().Source) + " " + std::to_string(LastErrorRecord().Number) + "; ";
    }
  }
  ::kill(writer, SIGKILL);
  int status = 0;
  ASSERT_EQ(::waitpid(writer, &status, 0), writer);
  EXPECT_TRUE(WIFSIGNALED(status)) << "the writer stopped by itself: " << status;
  EXPECT_EQ(failures, "");
}

// A writer for a fixed time: rewrites records 1 to 8 in turn with growing versions and sizes of
// one or two sectors, so that each takes the sectors another just gave back; now and then it adds
// a batch of records, deletes them and compacts. Exit code 0 when every call succeeded.
int RunRewriter(const String& base, std::chrono::milliseconds time) {
  KivSector s;
  if (s.SectorOpen(base)) return 10;
  const auto end = std::chrono::steady_clock::now() + time;
  for (uint32_t version = 1; std::chrono::steady_clock::now() < end; ++version) {
    int32_t id = static_cast<int32_t>(1 + version % 8);
    if (s.SectorWrite(id, Payload(static_cast<uint32_t>(id), version, 12 + (version * 37) % 240)))
      return 11;
    if (version % 64 != 0) continue;
    std::vector<int32_t> added;
    for (uint32_t i = 0; i < 200; ++i) {
      int32_t extra = 0;
      if (s.SectorWrite(extra, Payload(1000 + i, version, 12 + i % 300))) return 12;
      added.push_back(extra);
    }
    for (int32_t extra : added) {
      if (s.SectorDelete(extra)) return 13;
    }
    if (s.SectorCompact()) return 14;
  }
  return 0;
}

// Reads take no lock as long as nothing changes meanwhile: against a writer that keeps reusing
// the sectors they are about to read, a read gives the record's own bytes, never older than what
// an earlier read gave, or reports the record missing.
TEST_F(SectorProcessesTest, ReadsRacingAWriterThatReusesTheirSectorsStayWholeAndCurrent) {
  CreateEight(128, [](uint32_t) { return 100u; });
  KivSector reader;
  ASSERT_FALSE(reader.SectorOpen(base, true));
  const pid_t pid = ::fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) ::_exit(RunRewriter(base, std::chrono::milliseconds(1500)));

  std::map<int32_t, uint32_t> seen;  // record -> the latest version read
  int reads = 0, wrong = 0, missing = 0;
  int status = 0;
  for (uint32_t n = 0; ::waitpid(pid, &status, WNOHANG) == 0; ++n) {
    // Mostly the rewritten records; now and then one of the batch, which may be gone.
    const int32_t id = static_cast<int32_t>(n % 16 == 15 ? 9 + n % 200 : 1 + n % 8);
    std::vector<uint8_t> data;
    if (reader.SectorRead(id, data)) {
      const ErrorRecord e = LastErrorRecord();
      if (id > 8 &&
          e.Description == u"Il record " + FromUtf8(std::to_string(id)) + u" non esiste.") {
        ++missing;
        continue;
      }
      ++wrong;
      ADD_FAILURE() << "record " << id << ": " << ToUtf8(e.Description);
      continue;
    }
    ++reads;
    const auto d = Describe(data);
    const bool whole = d.has_value() && (id > 8 ? d->key >= 1000 : d->key == uint32_t(id));
    if (!whole || (id <= 8 && d->version < seen[id])) {
      if (++wrong <= 5) ADD_FAILURE() << "record " << id << " read back another's or older bytes";
      continue;
    }
    if (id <= 8) seen[id] = d->version;
  }
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  EXPECT_EQ(wrong, 0);
  EXPECT_GT(reads, 1000);
  // The writer really did rewrite: the last versions seen moved on.
  for (int32_t id = 1; id <= 8; ++id) EXPECT_GT(seen[id], 0u) << id;
}

// A writer that never stops: rewrites the fixed records, adds and deletes others, compacts now
// and then.
[[noreturn]] void RunVictim(const String& base, unsigned seed) {
  KivSector s;
  if (s.SectorOpen(base)) ::_exit(10);
  std::mt19937 rng(seed);
  for (uint32_t version = 1;; ++version) {
    const unsigned op = rng() % 100;
    if (op < 75) {
      int32_t id = static_cast<int32_t>(1 + rng() % 8);
      const uint32_t size = rng() % 10 == 0 ? 12 + rng() % 40000 : 12 + rng() % 2000;
      s.SectorWrite(id, Payload(static_cast<uint32_t>(id), version, size));
    } else if (op < 88) {
      int32_t id = 0;
      s.SectorWrite(id, Payload(1000 + version, version, 12 + rng() % 3000));
    } else if (op < 98) {
      auto ids = std::make_shared<Collection>();
      s.SectorList(ids);
      if (ids->Count() > 8) s.SectorDelete(*ids->Item(Variant(ids->Count())).ToLong());
    } else {
      s.SectorCompact();
    }
  }
}

TEST_F(SectorProcessesTest, WritersKilledAtRandomMomentsLeaveEveryRecordWhole) {
  CreateEight(256, Grown);
  KivSector checker;  // stays open: its cached state must follow what the dead writers left
  ASSERT_FALSE(checker.SectorOpen(base));
  std::mt19937 rng(4242);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(15);
  int rounds = 0;
  for (; rounds < 300 && std::chrono::steady_clock::now() < deadline; ++rounds) {
    const pid_t pid = ::fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) RunVictim(base, rng());
    ::usleep(200 + rng() % 4000);
    ::kill(pid, SIGKILL);
    int status = 0;
    ASSERT_EQ(::waitpid(pid, &status, 0), pid);
    ASSERT_TRUE(WIFSIGNALED(status)) << "the writer stopped by itself: " << status;

    KivSector fresh;
    KivSector& s = rounds % 2 ? checker : fresh;
    if (&s == &fresh) {
      ASSERT_FALSE(fresh.SectorOpen(base));
    }
    auto ids = std::make_shared<Collection>();
    ASSERT_FALSE(s.SectorList(ids));
    ASSERT_GE(ids->Count(), 8);
    for (int32_t i = 1; i <= ids->Count(); ++i) {
      const int32_t id = *ids->Item(Variant(i)).ToLong();
      std::vector<uint8_t> data;
      ASSERT_FALSE(s.SectorRead(id, data)) << "round " << rounds << " record " << id << ": "
                                           << ToUtf8(LastErrorRecord().Description);
      auto d = Describe(data);
      ASSERT_TRUE(d.has_value()) << "round " << rounds << " record " << id;
      if (id <= 8) {
        EXPECT_EQ(d->key, uint32_t(id));
      }
    }
    EXPECT_EQ(s.Records(), ids->Count());
    ASSERT_EQ(DamagedCount(s), 0) << "round " << rounds;
  }
  EXPECT_GE(rounds, 50);  // 300 on an idle machine; fewer under a sanitizer on a busy one

  // What the dead writers left unreachable goes back at the next compaction.
  ASSERT_FALSE(checker.SectorCompact()) << ToUtf8(LastErrorRecord().Description);
  EXPECT_EQ(DamagedCount(checker), 0);
  const std::string fat = kivtest::ReadBytes(File(".QVF"));
  for (size_t at = 16; at < fat.size(); at += 4) EXPECT_NE(Get32(fat, at), -1) << at;
}

// A writer killed right after each of its file changes in turn, through a rewrite that grows a
// record, one that shrinks another, an add, a delete and a compaction: after every kill, a fresh
// open finds each record whole, in its old or its new version, and nothing damaged.
TEST_F(SectorProcessesTest, AKillAfterAnyFileChangeLeavesEveryRecordOldOrNew) {
  auto work = [this] {
    KivSector s;
    if (s.SectorOpen(base)) return;
    int32_t grown = 2, shrunk = 3, added = 0, deleted = 5;
    s.SectorWrite(grown, Payload(2, 1, 5000));
    s.SectorWrite(shrunk, Payload(3, 1, 20));
    s.SectorWrite(added, Payload(9, 1, 700));
    s.SectorDelete(deleted);
    s.SectorCompact();
  };
  int n = 1;
  for (;; ++n) {
    SCOPED_TRACE("killed after file change " + std::to_string(n));
    for (const auto& entry : std::filesystem::directory_iterator(dir.path())) {
      std::filesystem::remove(entry.path());
    }
    CreateEight(256, Grown);
    if (!RunKilledAfterChange(n, work)) break;
    KivSector s;
    ASSERT_FALSE(s.SectorOpen(base)) << ToUtf8(LastErrorRecord().Description);
    auto ids = std::make_shared<Collection>();
    ASSERT_FALSE(s.SectorList(ids));
    std::set<int32_t> listed;
    for (int32_t i = 1; i <= ids->Count(); ++i) {
      const int32_t id = *ids->Item(Variant(i)).ToLong();
      listed.insert(id);
      std::vector<uint8_t> data;
      ASSERT_FALSE(s.SectorRead(id, data)) << id << ": " << ToUtf8(LastErrorRecord().Description);
      const auto d = Describe(data);
      ASSERT_TRUE(d.has_value()) << "record " << id << " is not whole";
      EXPECT_EQ(d->key, id <= 8 ? uint32_t(id) : 9u);
      EXPECT_LE(d->version, 1u);
    }
    for (int32_t id : {1, 2, 3, 4, 6, 7, 8}) EXPECT_EQ(listed.count(id), 1u) << "record " << id;
    EXPECT_EQ(DamagedCount(s), 0);
  }
  EXPECT_GE(n, 6) << "the work got through before its writes were reached";
}

}  // namespace
}  // namespace kiv::testing
