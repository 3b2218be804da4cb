// Shared by the daily log tests: a fresh folder per test, a fixed clock, raw file access.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "kivdbxt/kivdbxt.h"
#include "platform/clock.h"
#include "platform/date.h"
#include "platform/fs.h"
#include "platform/system.h"
#include "support/temp_dir.h"

namespace kiv::testing {

// 5 March 2024 at 10:00:00, the day most tests write on.
inline Date Day1At(int hour = 10, int minute = 0) {
  return MakeDate(DateParts{2024, 3, 5, hour, minute, 0});
}

class DailyLogTest : public ::testing::Test {
 protected:
  void SetUp() override {
    folder = dir_.Path();
    SetClockTo(Day1At());
    ClearLastError();
  }
  void TearDown() override { SetClock({}); }

  void SetClockTo(Date when) {
    now_ = when;
    SetClock([this] { return now_; });
  }

  // The base name of app's log on a day in the test folder.
  String Base(const String& app, Date day = Day1At()) const {
    return folder + kPathSeparator + app + u"_" + FormatYYYYMMDD(day);
  }

  String folder;

 private:
  kivtest::TempDir dir_;
  Date now_ = 0;
};

inline std::string ReadAll(const String& path) { return kivtest::ReadBytes(ToUtf8(path)); }
inline void WriteAll(const String& path, const std::string& bytes) {
  kivtest::WriteBytes(ToUtf8(path), bytes);
}

// The index file as 32-bit little-endian numbers.
inline std::vector<int32_t> IndexValues(const String& base) {
  std::string bytes = ReadAll(base + u".ZLI");
  std::vector<int32_t> out;
  for (size_t i = 0; i + 4 <= bytes.size(); i += 4) {
    uint32_t v = 0;
    for (int b = 3; b >= 0; --b) v = v << 8 | static_cast<uint8_t>(bytes[i + b]);
    out.push_back(static_cast<int32_t>(v));
  }
  return out;
}

inline std::string IndexBytes(const std::vector<int32_t>& values) {
  std::string out;
  for (int32_t v : values) {
    for (int b = 0; b < 4; ++b)
      out.push_back(static_cast<char>(static_cast<uint32_t>(v) >> (8 * b)));
  }
  return out;
}

// The events of a descriptor's LogData.
inline std::vector<std::shared_ptr<KivLogEvent>> Events(const KivLogInfo& info) {
  std::vector<std::shared_ptr<KivLogEvent>> out;
  for (int32_t i = 1; i <= info.LogData()->Count(); ++i) {
    out.push_back(info.LogData()->ObjectAt<KivLogEvent>(i));
  }
  return out;
}

inline std::vector<int32_t> Ordinals(const KivLogInfo& info) {
  std::vector<int32_t> out;
  for (const auto& e : Events(info)) out.push_back(e->Ordinal());
  return out;
}

// A descriptor pointing at a log base name, as a reader fills one.
inline std::shared_ptr<KivLogInfo> InfoFor(const String& base) {
  auto info = std::make_shared<KivLogInfo>();
  info->FileName(base);
  return info;
}

// Every event of a day, read forwards in one call that must succeed.
inline std::vector<std::shared_ptr<KivLogEvent>> ReadDay(const String& base) {
  auto info = InfoFor(base);
  EXPECT_FALSE(KivLog().EventLogRead(info, 1, 1000000)) << ToUtf8(LastErrorRecord().Description);
  return Events(*info);
}

inline std::vector<String> RawDatas(const String& base) {
  std::vector<String> out;
  for (const auto& e : ReadDay(base)) out.push_back(e->EvRawData());
  return out;
}

// A collection of events, as EventLogWriteBatch takes it.
inline std::shared_ptr<Collection> Batch(const std::vector<std::shared_ptr<KivLogEvent>>& events) {
  auto out = std::make_shared<Collection>();
  for (const auto& e : events) out->Add(Variant(std::static_pointer_cast<Object>(e)));
  return out;
}

// A batch of events of one source, one for each raw data.
inline std::shared_ptr<Collection> Batch(const String& source, const std::vector<String>& raws) {
  std::vector<std::shared_ptr<KivLogEvent>> events;
  for (const String& raw : raws) {
    events.push_back(std::make_shared<KivLogEvent>());
    events.back()->EvSource(source);
    events.back()->EvRawData(raw);
  }
  return Batch(events);
}

// One record of a data file: its UNK and DAT lines, its other lines, its END line.
inline std::string RecordBytes(const std::string& unk, const std::string& date,
                               const std::string& body) {
  return "UNK=" + unk + "\r\nDAT=" + date + "\r\n" + body + "END=-----------------------\r\n";
}

// Writes a day holding these records, each with its entry; returns the index.
inline std::vector<int32_t> WriteDay(const String& base, const std::vector<std::string>& records) {
  std::string data;
  std::vector<int32_t> index{static_cast<int32_t>(records.size())};
  for (const std::string& r : records) {
    index.push_back(static_cast<int32_t>(data.size()) + 1);
    data += r;
  }
  WriteAll(base + u".ZLG", data);
  WriteAll(base + u".ZLI", IndexBytes(index));
  return index;
}

inline std::string U8(const String& s) { return ToUtf8(s); }

// A day of base with a little data and an empty index, for the purges to remove.
inline void MakeLog(const String& base) {
  WriteAll(base + u".ZLG", "data");
  WriteAll(base + u".ZLI", IndexBytes({0}));
}
inline bool HasData(const String& base) { return FileExists(base + u".ZLG"); }
inline bool HasIndex(const String& base) { return FileExists(base + u".ZLI"); }

}  // namespace kiv::testing
