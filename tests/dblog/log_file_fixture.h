// What the database log's tests share: a clock the test moves, and a log of either engine with
// the object the test drives it with.
#pragma once

#include <gtest/gtest.h>

#include "kivdbxt/error.h"
#include "kivdbxt/kiv_log_file.h"
#include "platform/clock.h"
#include "support/test_database.h"

// Ends a test about a log's file (its bytes, its mode, its removal) on a server.
#define KIV_FILES_ONLY() \
  if (dbs.OnServer()) GTEST_SKIP() << "about the file of a log"

namespace kiv {

// The library's clock reads *now until the scope ends.
class ClockScope {
 public:
  explicit ClockScope(Date* now) {
    SetClock([now] { return *now; });
  }
  ~ClockScope() { SetClock(nullptr); }
};

// Runs on either engine: the name of a log is a file or a server URI.
class KivLogFileTest : public kivtest::OnBothEngines {
 protected:
  void CreateOpen(int32_t max_records, int32_t wrapping, bool keep_alive = false) {
    ASSERT_FALSE(log.CreateEventLog(file, max_records, wrapping))
        << ToUtf8(LastErrorRecord().Description);
    ASSERT_FALSE(log.OpenEventLog(file, keep_alive));
  }

  kivtest::TestDatabases dbs{GetParam()};
  kivtest::TempDir& dir = dbs.dir;
  const String file = dbs.Name("log.db");
  KivLogFile log;
};

}  // namespace kiv
