// A WAL log in a folder the reader may not write to: no index file can be made beside it.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "kivdbxt/error.h"
#include "kivdbxt/kiv_log_file.h"
#include "platform/fs.h"
#include "support/temp_dir.h"

namespace kiv {
namespace {

using kivtest::ReadBytes;
using kivtest::TempDir;
using kivtest::WriteBytes;

// Runs `read` in a child process that cannot write to the folder (a root test run drops to the
// unprivileged user first) and returns what it wrote.
template <class Read>
std::string ReadAsOutsider(Read read) {
  int out[2];
  if (pipe(out) != 0) return "pipe failed";
  const pid_t pid = fork();
  if (pid == 0) {
    close(out[0]);
    if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) _exit(2);
    const std::string text = read();
    const bool written = write(out[1], text.data(), text.size()) == ssize_t(text.size());
    _exit(written ? 0 : 3);
  }
  close(out[1]);
  std::string text;
  char buf[512];
  for (ssize_t n; (n = ::read(out[0], buf, sizeof buf)) > 0;) text.append(buf, n);
  close(out[0]);
  int status = 0;
  waitpid(pid, &status, 0);
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) text += " [child failed]";
  return text;
}

std::string Error() {
  const ErrorRecord r = LastErrorRecord();
  return std::to_string(r.Number) + " " + ToUtf8(r.Source) + " " + ToUtf8(r.Description);
}

TEST(ReadOnlyFolder, WalLogIsReadAndAWalWithCommitsIsRefusedClearly) {
  TempDir dir;
  ASSERT_EQ(chmod(dir.path().c_str(), 0755), 0);
  const std::string folder = dir.FileU8("ro");
  ASSERT_EQ(mkdir(folder.c_str(), 0755), 0);
  // Characters that a URI must escape.
  const String file = FromUtf8(folder + "/log ?#%\u00e8.db");
  {
    KivLogFile log;
    ASSERT_FALSE(log.CreateEventLog(file, 1000, KLFWM_DONTOVERWRITE));
    ASSERT_FALSE(log.OpenEventLog(file));
    ASSERT_FALSE(log.ReportEvent(u"S", u"Alast one", 2, u"", 42));
    ASSERT_FALSE(log.CloseEventLog());
  }
  ASSERT_FALSE(FileExists(file + u"-wal"));  // the last writer left everything in the file

  // A copy taken while a writer still had commits in the WAL, without the index.
  const String busy = FromUtf8(folder + "/busy.db"), stale = FromUtf8(folder + "/stale.db");
  {
    KivLogFile writer;
    ASSERT_FALSE(writer.CreateEventLog(busy, 1000, KLFWM_DONTOVERWRITE));
    ASSERT_FALSE(writer.OpenEventLog(busy, true));
    ASSERT_FALSE(writer.ReportEvent(u"S", u"Ain the WAL"));
    WriteBytes(ToUtf8(stale), ReadBytes(ToUtf8(busy)));
    WriteBytes(ToUtf8(stale + u"-wal"), ReadBytes(ToUtf8(busy + u"-wal")));
    ASSERT_GT(FileLength(stale + u"-wal"), 0);
  }
  ASSERT_EQ(chmod(folder.c_str(), 0555), 0);

  const std::string seen = ReadAsOutsider([&] {
    std::string out;
    KivLogFile ro;
    ro.RetryWaitMilliseconds(10);
    if (ro.OpenEventLogReadOnly(file)) return "open: " + Error();
    int32_t pos = 0;
    if (ro.ReadEventLog(ELREF_COUNT, pos) != 0) return "count: " + Error();
    out += "count " + std::to_string(pos);
    pos = 0;
    String where = u"where ID = 42";
    if (ro.ReadEventLog(ELREF_FIRST, pos, where) != 0) return out + " read: " + Error();
    out += ", " + ToUtf8(ro.LogRecord().EvRawData);
    KivLogFile refused;
    refused.RetryWaitMilliseconds(10);
    out += refused.OpenEventLogReadOnly(stale) ? "; " + Error() : "; stale opened";
    return out;
  });
  const std::string expected =
      "count 3, Alast one; 3051 KivLogFile.OpenLog The Microsoft Jet database engine cannot open "
      "the file '" +
      ToUtf8(stale) +
      "'.  It is already opened exclusively by another user, or you need permission "
      "to view its data.";
  EXPECT_EQ(seen, expected);
  // Nothing was made in the folder.
  int entries = 0;
  for (const auto& e : std::filesystem::directory_iterator(folder)) entries += e.exists();
  EXPECT_EQ(entries, 4);  // the log, busy.db, stale.db and its WAL
  chmod(folder.c_str(), 0755);
}

}  // namespace
}  // namespace kiv
