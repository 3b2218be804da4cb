// What the damage suites share: a day written by the library, a writer of it, and the rule that
// a write only appends.
#pragma once

#include <climits>
#include <map>
#include <string>
#include <vector>

#include "dailylog_support.h"

namespace kiv::testing {

// One line per field, so that a changed field shows in a failure.
inline std::string Describe(const KivLogEvent& e) {
  return std::to_string(e.Offset()) + "|" + std::to_string(e.EvUnk()) + "|" +
         std::to_string(e.EvDate()) + "|" + U8(e.EvSource()) + "|" + std::to_string(e.EvType()) +
         "|" + U8(e.EvCategory()) + "|" + std::to_string(e.EvId()) + "|" + U8(e.EvUser()) + "|" +
         U8(e.EvComputer()) + "|" + U8(e.EvServer()) + "|" + std::to_string(e.EvDataType()) + "|" +
         U8(e.EvRawData());
}

// Every event of the day that reads on its own, by ordinal: each entry of the index is tried.
inline std::map<int32_t, std::string> Readable(const String& base) {
  std::map<int32_t, std::string> out;
  const int32_t entries = static_cast<int32_t>(IndexValues(base).size()) - 1;
  KivLog reader;
  auto info = InfoFor(base);
  for (int32_t k = 1; k <= entries; ++k) {
    if (!reader.EventLogRead(info, k, 1) && info->LogData()->Count() == 1) {
      out[k] = Describe(*Events(*info)[0]);
    }
  }
  return out;
}

// A day to damage, written by the library, and a writer of it that keeps its Id.
class LogDamageTest : public DailyLogTest {
 protected:
  // Opens APP's log (the "Open" marker) and writes `raws` as single writes.
  void WriteDay(const std::vector<String>& raws, int32_t options = 0) {
    base = Base(u"APP");
    id = log.EventLogOpen(u"APP", folder, ELOF_CREATE_ALWAYS, 0, u"pc", u"me");
    ASSERT_NE(id, 0);
    log.EventLogOptions(id, options);
    for (const String& raw : raws) ASSERT_FALSE(log.EventLogWrite(id, u"S", raw));
  }

  // Writes `raws` after the damage, in one batch or one by one, and checks the rule: what read
  // before reads after under the same numbers, the data file only grew, and the new events read
  // last. `what` names the damage in a failure.
  void ExpectWriteOnlyAppends(const std::vector<String>& raws, bool batch,
                              const std::string& what) {
    SCOPED_TRACE(what);
    const std::map<int32_t, std::string> before = Readable(base);
    const std::string data = ReadAll(base + u".ZLG");
    if (batch) {
      ASSERT_FALSE(log.EventLogWriteBatch(id, Batch(u"NEW", raws)))
          << U8(LastErrorRecord().Description);
    } else {
      for (const String& raw : raws) {
        ASSERT_FALSE(log.EventLogWrite(id, u"NEW", raw)) << U8(LastErrorRecord().Description);
      }
    }
    EXPECT_EQ(ReadAll(base + u".ZLG").substr(0, data.size()), data) << "bytes lost";
    const std::map<int32_t, std::string> after = Readable(base);
    for (const auto& [ordinal, event] : before) {
      const auto now = after.find(ordinal);
      ASSERT_NE(now, after.end()) << "event " << ordinal << " no longer reads";
      EXPECT_EQ(now->second, event) << "event " << ordinal << " changed";
    }
    KivLog reader;
    auto info = InfoFor(base);
    int32_t last = INT_MAX;
    ASSERT_FALSE(reader.EventLogReadBack(info, last, static_cast<int32_t>(raws.size())));
    ASSERT_EQ(Events(*info).size(), raws.size());
    for (size_t k = 0; k < raws.size(); ++k) {
      EXPECT_EQ(Events(*info)[k]->EvSource(), u"NEW");
      EXPECT_EQ(Events(*info)[k]->EvRawData(), raws[k]);
    }
  }

  KivLog log;
  int32_t id = 0;
  String base;
};

}  // namespace kiv::testing
