// Writing under what only POSIX offers: another process's flock on the data file, and a file
// size limit that cuts a record half way.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>

#include "dailylog_support.h"
#include "support/in_child.h"
#include "support/last_error.h"

namespace kiv::testing {
namespace {

using kivtest::ExpectLastError;

class LogWritePosixTest : public DailyLogTest {
 protected:
  KivLog log;
};

TEST_F(LogWritePosixTest, LockedFilesFailAfterTheBoundedWait) {
  const String base = Base(u"APP");
  int32_t id = log.EventLogOpen(u"APP", folder);
  ASSERT_NE(id, 0);
  // Another holder of the data file's lock keeps writers out.
  int fd = ::open(ToUtf8(base + u".ZLG").c_str(), O_RDONLY);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(::flock(fd, LOCK_SH), 0);
  EXPECT_TRUE(log.EventLogWrite(id, u"blocked"));
  ExpectLastError(70, u"KivLog.EventLogWrite",
                  u"Impossibile aprire il file di log " + base + u"\r\nPermission denied");
  ::close(fd);
  EXPECT_EQ(IndexValues(base)[0], 1);
  EXPECT_FALSE(log.EventLogWrite(id, u"free again"));
  EXPECT_EQ(IndexValues(base)[0], 2);
}

// A record the disk refuses half way (here the file size limit) is taken back: the count and the
// data file stay as they were, and the writes after it leave a log that reads whole.
TEST_F(LogWritePosixTest, RecordRefusedHalfWayIsTakenBack) {
  const String base = Base(u"APP");
  int32_t id = log.EventLogOpen(u"APP", folder);
  ASSERT_NE(id, 0);
  ASSERT_FALSE(log.EventLogWrite(id, u"S", u"first"));
  const std::string data = ReadAll(base + u".ZLG");
  const std::vector<int32_t> index = IndexValues(base);

  EXPECT_EQ(kivtest::InChild([&] {
              // Only 40 more bytes of data may be written: the record is cut inside its first
              // lines.
              ::signal(SIGXFSZ, SIG_IGN);
              rlimit limit{static_cast<rlim_t>(data.size() + 40), RLIM_INFINITY};
              ::setrlimit(RLIMIT_FSIZE, &limit);
              return kivtest::Check(log.EventLogWrite(id, u"S", u"refused"), "write succeeded");
            }),
            "");
  EXPECT_EQ(ReadAll(base + u".ZLG"), data);
  EXPECT_EQ(IndexValues(base)[0], index[0]);

  ASSERT_FALSE(log.EventLogWrite(id, u"S", u"next"));
  ASSERT_FALSE(log.EventLogClose(id));
  auto events = ReadDay(base);
  ASSERT_EQ(events.size(), 4u);
  EXPECT_EQ(events[1]->EvRawData(), u"first");
  EXPECT_EQ(events[2]->EvRawData(), u"next");
  EXPECT_EQ(events[2]->Offset(), static_cast<int32_t>(data.size()) + 1);
}

}  // namespace
}  // namespace kiv::testing
