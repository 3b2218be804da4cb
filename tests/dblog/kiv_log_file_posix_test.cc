// KivLogFile where POSIX lets a file be removed while a process has it open.
#include <gtest/gtest.h>

#include "kivdbxt/kiv_log_file.h"
#include "log_file_fixture.h"
#include "platform/fs.h"
#include "support/last_error.h"

namespace kiv {
namespace {

using kivtest::LastRecorded;
using kivtest::Recorded;

using KivLogFilePosixTest = KivLogFileTest;

// A log that disappears under an open object: the report fails where the open failed.
TEST_P(KivLogFilePosixTest, ReportOnALogRemovedUnderTheOpenObjectFailsAtTheOpen) {
  KIV_FILES_ONLY();
  ASSERT_FALSE(log.CreateEventLog(file));
  ASSERT_FALSE(log.OpenEventLog(file));
  ASSERT_TRUE(RemoveFile(file));
  EXPECT_TRUE(log.ReportEvent(u"S", u"Ax"));
  EXPECT_EQ(LastRecorded(), Recorded(3024, u"KivLogFile.OpenLog"));
}

KIV_ON_BOTH_ENGINES(KivLogFilePosixTest);

}  // namespace
}  // namespace kiv
