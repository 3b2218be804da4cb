// A shared read-only view of a file: what any descriptor writes afterwards is in it at once.
#include "platform/file_map.h"

#include <gtest/gtest.h>
#if !defined(_WIN32)
#include <unistd.h>
#endif

#include <string>

#include "platform/file.h"
#include "support/temp_dir.h"

namespace kiv {
namespace {

TEST(FileMap, ShowsLaterWritesAndRefusesBytesPastItsLength) {
  kivtest::TempDir dir;
  kivtest::WriteBytes(dir.FileU8("m.bin"), std::string(5000, 'a'));
  OpenOptions rw;
  rw.access = Access::ReadWrite;
  File writer = File::Open(dir.File("m.bin"), rw);
  const FileMap view = FileMap::Map(File::Open(dir.File("m.bin"), OpenOptions{}), 5000);
  ASSERT_EQ(view.Length(), 5000);

  // Written through another descriptor after mapping, across the first page's end.
  writer.WriteAt(4090, "0123456789ab", 12);
  char got[12] = {};
  ASSERT_TRUE(view.Copy(4090, got, sizeof got));
  EXPECT_EQ(std::string(got, sizeof got), "0123456789ab");
  ASSERT_TRUE(view.Copy(4999, got, 1));
  EXPECT_EQ(got[0], 'a');

  // Past the mapped length nothing is read, even where the file has grown since.
  writer.WriteAt(5000, "zz", 2);
  EXPECT_FALSE(view.Copy(4999, got, 2));
  EXPECT_FALSE(view.Copy(-1, got, 1));
  EXPECT_EQ(FileMap::Map(writer, 0).Length(), 0);
  EXPECT_FALSE(FileMap().Copy(0, got, 1));
}

// A whole store lands in the file in one piece, or is refused and leaves the file alone.
TEST(FileMap, StoresWholeBlocksOnlyWhereAlignedAndWritable) {
  kivtest::TempDir dir;
  kivtest::WriteBytes(dir.FileU8("w.bin"), std::string(4096 + 64, '.'));
  OpenOptions rw;
  rw.access = Access::ReadWrite;
  File file = File::Open(dir.File("w.bin"), rw);
  FileMap view = FileMap::Map(file, 4096 + 64, true);
  const std::string block(64, 'x');

  std::string expected(4096 + 64, '.');
  for (auto [offset, n] : {std::pair{int64_t{0}, size_t{64}}, std::pair{int64_t{4096}, size_t{32}},
                           std::pair{int64_t{4128}, size_t{32}}}) {
    if (view.StoreWhole(offset, block.data(), n)) expected.replace(offset, n, n, 'x');
  }
  // Misaligned, partly past the end, of another size, or through a read-only view: refused.
  EXPECT_FALSE(view.StoreWhole(16, block.data(), 32));
  EXPECT_FALSE(view.StoreWhole(4096 + 32, block.data(), 64));
  EXPECT_FALSE(view.StoreWhole(64, block.data(), 16));
  FileMap read_only = FileMap::Map(file, 4096 + 64);
  EXPECT_FALSE(read_only.StoreWhole(128, block.data(), 32));

  std::string got(4096 + 64, '\0');
  ASSERT_EQ(file.ReadAt(0, got.data(), got.size()), got.size());
  EXPECT_EQ(got, expected);
}

#if !defined(_WIN32)
// (Windows refuses to cut a file under a view: platform_windows_test.cc.)
// Another program cuts the file under two views: a touch of a page past the new end neither kills
// the process nor reads bytes that are not there; that view reports itself cut (the other is
// untouched so far), and a view mapped afresh reads what the file now holds.
TEST(FileMap, PosixAFileCutUnderItsViewsFailsTheirCopiesNotTheProcess) {
  kivtest::TempDir dir;
  const std::string path = dir.FileU8("c.bin");
  kivtest::WriteBytes(path, std::string(3 * 4096, 'a'));
  OpenOptions rw;
  rw.access = Access::ReadWrite;
  File file = File::Open(dir.File("c.bin"), rw);
  auto cut_under_views = [&] {
    FileMap view = FileMap::Map(file, 3 * 4096, true), other = FileMap::Map(file, 3 * 4096);
    if (::truncate(path.c_str(), 4096) != 0) std::exit(2);
    char got[8] = {};
    const std::string block(32, 'x');
    const bool refused = !view.Copy(2 * 4096, got, sizeof got) && got[0] == 0 && view.Cut() &&
                         !view.Copy(0, got, 1) && !view.StoreWhole(2 * 4096, block.data(), 32);
    const bool untouched = !other.Cut() && other.Copy(0, got, 1) && got[0] == 'a';
    const FileMap again = FileMap::Map(file, file.Size());
    const bool fresh = again.Length() == 4096 && again.Copy(4088, got, 8) && !again.Cut();
    std::exit(refused && untouched && fresh ? 0 : 1);
  };
  EXPECT_EXIT(cut_under_views(), ::testing::ExitedWithCode(0), "");
}
#endif

}  // namespace
}  // namespace kiv
