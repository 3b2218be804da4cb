// What the database log's tests share: a clock the test moves, and a log file in a fresh folder
// with the object the test drives it with.
#pragma once

#include <gtest/gtest.h>

#include "kivdbxt/error.h"
#include "kivdbxt/kiv_log_file.h"
#include "platform/clock.h"
#include "support/temp_dir.h"

namespace kiv {

// The library's clock reads *now until the scope ends.
class ClockScope {
 public:
  explicit ClockScope(Date* now) {
    SetClock([now] { return *now; });
  }
  ~ClockScope() { SetClock(nullptr); }
};

class KivLogFileTest : public testing::Test {
 protected:
  void CreateOpen(int32_t max_records, int32_t wrapping, bool keep_alive = false) {
    ASSERT_FALSE(log.CreateEventLog(file, max_records, wrapping))
        << ToUtf8(LastErrorRecord().Description);
    ASSERT_FALSE(log.OpenEventLog(file, keep_alive));
  }

  kivtest::TempDir dir;
  const String file = dir.File("log.db");
  KivLogFile log;
};

}  // namespace kiv
