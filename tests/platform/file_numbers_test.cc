// The run time's file statements of clients: modes, access, locks, EOF, and failures reported
// through Err, never through the recorded error.
#include "kivdbxt/file_numbers.h"

#include <gtest/gtest.h>

#include "kivdbxt/err.h"
#include "kivdbxt/error.h"
#include "kivdbxt/kiv_log_event.h"
#include "support/last_error.h"
#include "support/temp_dir.h"

namespace kiv {
namespace {

using kivtest::ReadBytes;
using kivtest::TempDir;
using kivtest::WriteBytes;

TEST(FileNumbers, EventsSavedAndLoadedOnAClientsNumbers) {
  TempDir dir;
  const String path = dir.File("mine.ZLG");
  int32_t n = FreeFile();
  ASSERT_GT(n, 0);
  ASSERT_FALSE(FileOpen(n, path, OPEN_OUTPUT));
  EXPECT_NE(FreeFile(), n);
  KivLogEvent a, b;
  a.EvUnk(1);
  a.EvRawData(u"first");
  b.EvUnk(2);
  b.EvRawData(u"second");
  EXPECT_FALSE(a.Save(n));
  EXPECT_FALSE(b.Save(n));
  FileClose(n);
  EXPECT_EQ(n, 0);
  EXPECT_EQ(ReadBytes(dir.FileU8("mine.ZLG")).substr(0, 7), "UNK=1\r\n");

  n = FreeFile();
  ASSERT_FALSE(FileOpen(n, path, OPEN_INPUT));
  KivLogEvent back;
  EXPECT_FALSE(EOF_(n));
  EXPECT_FALSE(back.Load(n));
  EXPECT_EQ(back.EvRawData(), u"first");
  EXPECT_FALSE(back.Load(n));
  EXPECT_EQ(back.EvUnk(), 2);
  EXPECT_TRUE(EOF_(n));
  EXPECT_TRUE(back.Load(n));  // past the end
  EXPECT_EQ(kivtest::LastRecorded(), kivtest::Recorded(62, u"KivLogEvent.Load"));
  FileClose(n);

  // Append adds at the end; Output empties the file first.
  const size_t two = ReadBytes(dir.FileU8("mine.ZLG")).size();
  n = FreeFile();
  ASSERT_FALSE(FileOpen(n, path, OPEN_APPEND));
  EXPECT_FALSE(a.Save(n));
  FileClose(n);
  EXPECT_EQ(ReadBytes(dir.FileU8("mine.ZLG")).find("UNK=1", 10), two);
  ASSERT_FALSE(FileOpen(n = FreeFile(), path, OPEN_OUTPUT));
  FileClose(n);
  EXPECT_EQ(ReadBytes(dir.FileU8("mine.ZLG")), "");
}

TEST(FileNumbers, FailuresSetErrAndLeaveTheRecordedErrorAlone) {
  TempDir dir;
  ClearLastError();
  Err().Clear();
  const int32_t n = FreeFile();
  EXPECT_TRUE(FileOpen(n, dir.File("missing"), OPEN_INPUT));
  EXPECT_EQ(Err().Number(), 53);
  EXPECT_EQ(Err().Description(), u"File not found");
  EXPECT_EQ(Err().Source(), u"KivDbXtOle");
  EXPECT_EQ(Err().LastDllError(), 2);  // ENOENT
  EXPECT_EQ(Last_Error(), 0);
  EXPECT_EQ(FreeFile(), n);  // the number stays free

  struct Case {
    int32_t number, mode, access, share, error;
  } cases[] = {
      {0, OPEN_OUTPUT, ACCESS_DEFAULT, SHARE_DEFAULT, 52},
      {512, OPEN_OUTPUT, ACCESS_DEFAULT, SHARE_DEFAULT, 52},
      {n, 4, ACCESS_DEFAULT, SHARE_DEFAULT, 5},  // Random is not offered
      {n, OPEN_INPUT, ACCESS_WRITE, SHARE_DEFAULT, 5},
      {n, OPEN_APPEND, ACCESS_READ, SHARE_DEFAULT, 5},
      {n, OPEN_BINARY, 7, SHARE_DEFAULT, 5},
      {n, OPEN_BINARY, ACCESS_DEFAULT, 9, 5},
  };
  for (const Case& c : cases) {
    Err().Clear();
    EXPECT_TRUE(FileOpen(c.number, dir.File("x"), c.mode, c.access, c.share)) << c.mode;
    EXPECT_EQ(Err().Number(), c.error) << c.number << " " << c.mode << " " << c.access;
  }
  EXPECT_FALSE(FileOpen(n, dir.File("x"), OPEN_BINARY));
  EXPECT_TRUE(FileOpen(n, dir.File("y"), OPEN_BINARY));
  EXPECT_EQ(Err().Number(), 55);
  FileClose(n);  // the const form: the caller's number stays as it was
  Err().Clear();
  EXPECT_TRUE(EOF_(n));
  EXPECT_EQ(Err().Number(), 52);
  FileClose(-1);
  Err().Clear();
}

TEST(FileNumbers, LocksKeepOtherOpenersOutAsAsked) {
  TempDir dir;
  const String path = dir.File("shared.txt");
  WriteBytes(dir.FileU8("shared.txt"), "x\r\n");
  int32_t reader = FreeFile();
  ASSERT_FALSE(FileOpen(reader, path, OPEN_INPUT, ACCESS_DEFAULT, SHARE_LOCKWRITE));
  int32_t other = FreeFile();
  EXPECT_FALSE(FileOpen(other, path, OPEN_INPUT));  // readers may share
  FileClose(other);
  EXPECT_TRUE(FileOpen(other = FreeFile(), path, OPEN_APPEND));  // a writer waits, then gives up
  EXPECT_EQ(Err().Number(), 70);
  FileClose(reader);
  int32_t writer = FreeFile();
  ASSERT_FALSE(FileOpen(writer, path, OPEN_BINARY, ACCESS_READWRITE, SHARE_LOCKREADWRITE));
  EXPECT_TRUE(FileOpen(other = FreeFile(), path, OPEN_INPUT));
  EXPECT_EQ(Err().Number(), 70);
  FileClose(writer);
  Err().Clear();
}

}  // namespace
}  // namespace kiv
