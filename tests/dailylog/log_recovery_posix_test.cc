// Files that are not regular files, made with what only POSIX has (symbolic links, FIFOs,
// devices): refused, never followed or waited on.
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <filesystem>

#include "dailylog_support.h"
#include "support/last_error.h"

namespace kiv::testing {
namespace {

using LogRecoveryPosixTest = DailyLogTest;

void ExpectOpenRefused(const String& base, const String& source, int expected_errno) {
  kivtest::ExpectLastError(
      75, source, u"Impossibile aprire il file di log " + base + u"\r\nPath/File access error");
  EXPECT_EQ(LastErrorRecord().LastDllError, expected_errno);
}

// A symlink, a FIFO, a device or a folder in place of either file is refused with the open's
// error; nothing is written through a link, and no reader waits on a FIFO or reads a device.
TEST_F(LogRecoveryPosixTest, OnlyRegularFilesAreOpened) {
  const std::string victim = U8(folder) + "/victim";
  WriteAll(FromUtf8(victim), "precious");
  const std::string fifo = U8(folder) + "/fifo";
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  std::filesystem::create_directory(U8(folder) + "/dir");

  struct Case {
    const char* what;
    std::string target;  // what the file is made a symlink to, or "fifo"/"dir" in its place
    int err;
  };
  const std::vector<Case> cases = {{"symlink", victim, ELOOP},
                                   {"symlink to /dev/zero", "/dev/zero", ELOOP},
                                   {"fifo", "fifo", EINVAL},
                                   {"folder", "dir", EISDIR}};
  const String other = Base(u"HOSTILE");
  for (const char* ext : {".ZLG", ".ZLI"}) {
    for (const Case& c : cases) {
      SCOPED_TRACE(std::string(c.what) + " as " + ext);
      const std::string path = U8(other) + ext;
      const std::string partner = U8(other) + (std::string(ext) == ".ZLG" ? ".ZLI" : ".ZLG");
      std::filesystem::remove_all(path);
      WriteAll(FromUtf8(partner), "");
      if (c.target == "fifo") {
        ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
      } else if (c.target == "dir") {
        std::filesystem::create_directory(path);
      } else {
        std::filesystem::create_symlink(c.target, path);
      }
      const auto began = std::chrono::steady_clock::now();
      auto info = InfoFor(other);
      EXPECT_TRUE(KivLog().EventLogRead(info, 1, 10));
      ExpectOpenRefused(other, u"KivLog.ReadEventLog", c.err);
      KivLog writer;
      EXPECT_EQ(writer.EventLogOpen(u"HOSTILE", folder), 0);
      ExpectOpenRefused(other, u"KivLog.EventLogOpenEx", c.err);
      EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(5));
      std::filesystem::remove_all(path);
    }
  }
  EXPECT_EQ(ReadAll(FromUtf8(victim)), "precious");

  // A symlinked log folder stays usable.
  const String linked = folder + u"/linked";
  std::filesystem::create_directory_symlink(U8(folder), U8(linked));
  KivLog writer;
  const int32_t other_id = writer.EventLogOpen(u"VIALINK", linked);
  ASSERT_NE(other_id, 0) << U8(LastErrorRecord().Description);
  ASSERT_FALSE(writer.EventLogClose(other_id));
  EXPECT_EQ(IndexValues(Base(u"VIALINK"))[0], 2);
}

}  // namespace
}  // namespace kiv::testing
