// Other programs at the store's files: a symlink, a FIFO or another user's file in place of one,
// a file emptied or rewritten while a store has it open. Each is a clear error of the operation
// that meets it, at once; never a write through a link, a wait, or a signal that kills.
#include <signal.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>

#include "sector_support.h"
#include "support/kivlog_tool.h"

namespace kiv::testing {
namespace {

using kivtest::ReadBytes;
using kivtest::WriteBytes;

const std::vector<uint8_t> kKept = ToVector("kept");

class SectorHostileTest : public SectorTest {
 protected:
  void SetUp() override {
    KivSector s;
    CreateOpen(s, 128);
    int32_t id = 0;
    ASSERT_FALSE(s.SectorWrite(id, kKept));
  }

  // Empties a file as `: > file` does, or rewrites it in place as `cp backup file` does.
  void Rewrite(const char* ext, const std::string& bytes) {
    const int fd = ::open(File(ext).c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(::write(fd, bytes.data(), bytes.size()), ssize_t(bytes.size()));
    ::close(fd);
  }
};

// The open fails with 75 and the system's error; an open that succeeds anyway writes a record,
// to show where it would have gone.
std::string OpenRefused(const String& base, bool read_only, int err) {
  KivSector s;
  if (!s.SectorOpen(base, read_only)) {
    int32_t id = 0;
    s.SectorWrite(id, ToVector("intruder"));
    return "opened";
  }
  return LastErrorIs(75, u"KivSector.SectorOpen", u"Path/File access error") +
         Check(LastErrorRecord().LastDllError == err,
               "LastDllError " + std::to_string(LastErrorRecord().LastDllError));
}

TEST_F(SectorHostileTest, SymlinksFifosAndOtherUsersFilesAreRefusedAtOnce) {
  const bool root = ::geteuid() == 0;
  const std::string victim = dir.FileU8("victim");  // a file of root's that only root may read
  WriteBytes(victim, "precious");
  ASSERT_EQ(::chmod(victim.c_str(), 0600), 0);
  ASSERT_EQ(::chmod(dir.path().c_str(), 0755), 0);
  struct Case {
    const char* what;
    int err;
  };
  for (const char* ext : {".QVD", ".QVF", ".QVS"}) {
    const std::string path = File(ext), saved = ReadBytes(path);
    for (const Case c : {Case{"symlink", ELOOP}, Case{"fifo", EINVAL}, Case{"owner", EACCES}}) {
      const bool other_user = c.err == EACCES;
      if (other_user && !root) continue;  // only root can hand a file to another user
      SCOPED_TRACE(std::string(c.what) + " as " + ext);
      std::filesystem::remove(path);
      if (c.err == ELOOP) std::filesystem::create_symlink(victim, path);
      if (c.err == EINVAL) {
        ASSERT_EQ(::mkfifo(path.c_str(), 0666), 0);
      }
      if (other_user) {
        // Every other file of the store is open to all: only this one is root's alone.
        for (const char* e : {".QVD", ".QVF", ".QVS"}) ::chmod(File(e).c_str(), 0666);
        WriteBytes(path, saved);
        ASSERT_EQ(::chmod(path.c_str(), 0600), 0);
      }
      const auto began = std::chrono::steady_clock::now();
      for (const bool read_only : {false, true}) {
        EXPECT_EQ(InChild([&] {
                    if (other_user && (::setgid(65534) != 0 || ::setuid(65534) != 0))
                      return std::string("setuid");
                    return OpenRefused(base, read_only, c.err);
                  }),
                  "")
            << (read_only ? "read-only" : "read-write");
      }
      if (!other_user) {
        int rc = -1;
        kivtest::RunShell("timeout 10 " + kivtest::KivlogPath() + " sector verify " + ToUtf8(base) +
                              " 2>/dev/null",
                          &rc);
        EXPECT_EQ(rc, 1) << "kivlog sector verify";
      }
      EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(5));
      std::filesystem::remove(path);
      WriteBytes(path, saved);
    }
  }
  EXPECT_EQ(ReadBytes(victim), "precious");
  KivSector s;
  ASSERT_FALSE(s.SectorOpen(base));
  std::vector<uint8_t> got;
  ASSERT_FALSE(s.SectorRead(1, got));
  EXPECT_EQ(got, kKept);

  // A symlink where a new store would go is not followed either.
  const String other = dir.File("other");
  std::filesystem::create_symlink(victim, ToUtf8(other) + ".QVS");
  EXPECT_TRUE(s.SectorCreate(other));
  EXPECT_EQ(ReadBytes(victim), "precious");
}

// A child opens the store and reads it, then the file is emptied (`: > file`) under it: its
// operations fail with the store's error, the process lives, and once a copy of the file is put
// back (`cp backup file`) they work again.
TEST_F(SectorHostileTest, AFileEmptiedUnderAnOpenStoreFailsItsOperationsNotTheProcess) {
  for (const char* ext : {".QVD", ".QVF"}) {
    SCOPED_TRACE(ext);
    const std::string backup = ReadBytes(File(ext));
    const String not_a_store =
        u"Il file " + base + FromUtf8(ext) + u" non è un archivio di settori.";
    EXPECT_EQ(InChild([&] {
                KivSector s;
                std::vector<uint8_t> got;
                if (s.SectorOpen(base) || s.SectorRead(1, got)) return std::string("open");
                Rewrite(ext, "");
                std::string r;
                // An emptied directory fails every operation; an emptied table fails every change
                // (reads go on from the table the store holds).
                if (ext == std::string(".QVD")) {
                  r += Check(s.SectorRead(1, got), "read succeeded");
                  r += LastErrorIs(20000, u"KivSector.SectorRead", not_a_store);
                }
                for (int i = 0; i < 3; ++i) {
                  int32_t id = 0;
                  r += Check(s.SectorWrite(id, kKept), "write succeeded");
                  r += LastErrorIs(20000, u"KivSector.SectorWrite", not_a_store);
                }
                Rewrite(ext, backup);
                int32_t id = 0;
                r += Check(!s.SectorRead(1, got) && got == kKept, "read after the copy");
                r += Check(!s.SectorWrite(id, kKept) && !s.SectorRead(id, got) && got == kKept,
                           "write after the copy");
                return r + Check(DamagedCount(s) == 0, "damaged after the copy");
              }),
              "");
  }
}

// The ".QVS" cut by hand under a store that has read from it: a record whose sectors went is
// damaged, as a read under the lock finds it, even one of zeros, which is what the store's view
// shows in place of the cut pages. Once the file is back, so are the records.
TEST_F(SectorHostileTest, ASectorsFileCutUnderAnOpenStoreGivesDamageNeverZerosOrASignal) {
  const std::vector<uint8_t> zeros(128, 0);
  {
    KivSector s;
    int32_t id = 0;
    ASSERT_FALSE(s.SectorOpen(base) || s.SectorWrite(id, zeros));
  }
  const std::string backup = ReadBytes(File(".QVS"));
  EXPECT_EQ(InChild([&] {
              KivSector s;
              std::vector<uint8_t> got;
              if (s.SectorOpen(base) || s.SectorRead(1, got) || s.SectorRead(2, got)) {
                return std::string("open");
              }
              Rewrite(".QVS", "");
              std::string r;
              for (int32_t id : {2, 1}) {
                r += Check(s.SectorRead(id, got), "read succeeded");
                r += LastErrorIs(20000, u"KivSector.SectorRead",
                                 u"Il record " + FromUtf8(std::to_string(id)) + u" è danneggiato.");
              }
              Rewrite(".QVS", backup);
              r += Check(!s.SectorRead(1, got) && got == kKept, "record 1 after the copy");
              return r + Check(!s.SectorRead(2, got) && got == zeros, "record 2 after the copy");
            }),
            "");
}

// `cp backup file` over the directory again and again while a child reads and writes: every
// operation succeeds or fails with one of the store's own errors, and the child lives.
TEST_F(SectorHostileTest, ADirectoryRewrittenWhileInUseNeverKillsTheProcess) {
  const std::string backup = ReadBytes(File(".QVD"));
  const pid_t copier = ::fork();
  ASSERT_GE(copier, 0);
  if (copier == 0) {
    ::usleep(20000);  // the store opens first
    for (;;) Rewrite(".QVD", backup);
  }
  const std::string report = InChild([&] {
    KivSector s;
    if (s.SectorOpen(base)) return std::string("open");
    std::string r;
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(500);
    for (int i = 0; std::chrono::steady_clock::now() < end; ++i) {
      std::vector<uint8_t> got;
      int32_t id = 0;
      if ((i % 2 ? s.SectorWrite(id, kKept) : s.SectorRead(1, got)) &&
          LastErrorRecord().Number != 20000) {
        r += ToUtf8(LastErrorRecord().Description) + "; ";
      }
    }
    return r;
  });
  ::kill(copier, SIGKILL);
  ::waitpid(copier, nullptr, 0);
  EXPECT_EQ(report, "");
}

}  // namespace
}  // namespace kiv::testing
