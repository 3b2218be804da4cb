// Files: text lines in Windows-1252, binary values, share-mode locks, the file-number table.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "frame/error.h"
#include "platform/file_table.h"
#include "platform/fs.h"
#include "support/raised.h"
#include "support/temp_dir.h"

namespace kiv {
namespace {

using kivtest::NumberRaisedBy;

using kivtest::ReadBytes;
using kivtest::TempDir;
using kivtest::WriteBytes;

TEST(TextFiles, LinesAreWindows1252WithCrLfAndEndAtCrOrCrLf) {
  TempDir dir;
  const String path = dir.File("t.txt");
  int32_t h = FileOpenNext(path, FileMode::Append, ShareLock::Exclusive);
  PrintLine(h,
            u"caf\u00e9 \u20ac \u4e2d");  // e-acute and euro are in the code page; the CJK is not
  PrintLine(h, u"");
  FileClose(h);
  EXPECT_EQ(h, 0);
  EXPECT_EQ(ReadBytes(dir.FileU8("t.txt")), "caf\xE9 \x80 ?\r\n\r\n");

  WriteBytes(dir.FileU8("r.txt"), "one\rtwo\r\nthree\nstill three\r\r\nlast");
  h = FileOpenNext(dir.File("r.txt"), FileMode::Input, ShareLock::Shared);
  EXPECT_EQ(LineInput(h), u"one");
  EXPECT_EQ(LineInput(h), u"two");
  EXPECT_EQ(LineInput(h), u"three\nstill three");  // a lone LF is an ordinary character
  EXPECT_EQ(LineInput(h), u"");
  EXPECT_EQ(FileLoc(h), 30);
  EXPECT_EQ(LineInput(h), u"last");  // the last line needs no end
  EXPECT_EQ(NumberRaisedBy([&] { LineInput(h); }), 62);
  FileSeek(h, 5);
  EXPECT_EQ(LineInput(h), u"two");
  EXPECT_EQ(NumberRaisedBy([&] { PrintLine(h, u"x"); }), 54);  // input mode
  FileClose(h);
  EXPECT_EQ(NumberRaisedBy([&] { LineInput(h); }), 52);  // closed number
  int32_t none = 0;
  FileClose(none);  // closing 0 does nothing
  int32_t negative = -3;
  FileClose(negative);
  EXPECT_EQ(negative, -3);
}

TEST(TextFiles, LongLinesAndBackwardSeeksReadWhole) {
  TempDir dir;
  std::string big(1 << 20, 'x');
  std::string content;
  for (int i = 0; i < 3; ++i) content += big + "\r\n" + std::to_string(i) + "\r\n";
  WriteBytes(dir.FileU8("big.txt"), content);
  int32_t h = FileOpenNext(dir.File("big.txt"), FileMode::Input, ShareLock::Shared);
  for (int i = 2; i >= 0; --i) {  // walk backwards, as a reader paging back does
    FileSeek(h, static_cast<int64_t>(i) * (big.size() + 5) + 1);
    EXPECT_EQ(LineInput(h).size(), big.size());
    EXPECT_EQ(LineInput(h), FromUtf8(std::to_string(i)));
  }
  FileClose(h);
}

TEST(BinaryFiles, LittleEndianLongsAndReadsPastTheEndFail) {
  TempDir dir;
  int32_t h = FileOpenNext(dir.File("b.bin"), FileMode::Binary, ShareLock::Exclusive);
  PutLong(h, 1, 3);
  PutLong(h, 5, -2);
  PutLong(h, 0, 0x01020304);  // current position: after the previous write
  EXPECT_EQ(FileLof(h), 12);
  EXPECT_EQ(GetLong(h, 5), -2);
  EXPECT_EQ(GetLong(h), 0x01020304);
  EXPECT_EQ(NumberRaisedBy([&] { GetLong(h); }), 62);
  EXPECT_EQ(NumberRaisedBy([&] { GetLong(h, 11); }), 62);  // only two bytes left there
  FileClose(h);
  EXPECT_EQ(ReadBytes(dir.FileU8("b.bin")),
            std::string("\x03\0\0\0\xFE\xFF\xFF\xFF\x04\x03\x02\x01", 12));
}

TEST(FileOpen, MissingFilesPathsAndNumbers) {
  TempDir dir;
  EXPECT_EQ(
      NumberRaisedBy([&] { FileOpenNext(dir.File("none"), FileMode::Input, ShareLock::Shared); }),
      53);
  EXPECT_EQ(NumberRaisedBy([&] {
              FileOpenNext(dir.File("no/such/dir/f"), FileMode::Append, ShareLock::Exclusive);
            }),
            76);
  EXPECT_EQ(NumberRaisedBy([&] { FileOpenNext(dir.Path(), FileMode::Input, ShareLock::None); }),
            75);
  EXPECT_EQ(
      NumberRaisedBy([&] { FileOpenAs(0, dir.File("x"), FileMode::Output, ShareLock::None); }), 52);
  int32_t n = FreeFile();
  FileOpenAs(n, dir.File("x"), FileMode::Output, ShareLock::None);
  EXPECT_EQ(
      NumberRaisedBy([&] { FileOpenAs(n, dir.File("y"), FileMode::Output, ShareLock::None); }), 55);
  EXPECT_NE(FreeFile(), n);
  FileClose(n);
}

TEST(FileLocks, ExclusiveKeepsEveryoneOutSharedOnlyWriters) {
  TempDir dir;
  const String path = dir.File("l");
  WriteBytes(dir.FileU8("l"), "data\r\n");
  int32_t writer = FileOpenNext(path, FileMode::Append, ShareLock::Exclusive);
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(NumberRaisedBy([&] { FileOpenNext(path, FileMode::Input, ShareLock::Shared); }), 70);
  auto waited = std::chrono::steady_clock::now() - start;
  EXPECT_GE(waited, std::chrono::milliseconds(kLockWaitMs - 50));  // it waited before giving up
  EXPECT_LT(waited, std::chrono::milliseconds(kLockWaitMs * 3));
  FileClose(writer);

  int32_t r1 = FileOpenNext(path, FileMode::Input, ShareLock::Shared);
  int32_t r2 = FileOpenNext(path, FileMode::Input, ShareLock::Shared);  // readers share
  EXPECT_EQ(LineInput(r2), u"data");
  // A writer waiting on the readers gets in as soon as they are gone.
  std::thread release([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    FileClose(r1);
    FileClose(r2);
  });
  int32_t w = FileOpenNext(path, FileMode::Append, ShareLock::Exclusive);
  release.join();
  PrintLine(w, u"more");
  FileClose(w);
  EXPECT_EQ(ReadBytes(dir.FileU8("l")), "data\r\nmore\r\n");
}

TEST(FileLocks, OutputTruncatesOnlyOnceTheLockIsHeld) {
  TempDir dir;
  const String path = dir.File("t");
  WriteBytes(dir.FileU8("t"), "keep me\r\n");
  int32_t reader = FileOpenNext(path, FileMode::Input, ShareLock::Shared);
  File f;
  EXPECT_EQ(NumberRaisedBy([&] {
              f = File::Open(path, OpenOptions{Access::Write, true, true, ShareLock::Exclusive});
            }),
            70);
  EXPECT_EQ(LineInput(reader), u"keep me");  // the failed open did not empty the file
  FileClose(reader);
}

}  // namespace
}  // namespace kiv
