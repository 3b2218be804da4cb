// A shared read-only view of a file: what any descriptor writes afterwards is in it at once.
#include "platform/file_map.h"

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace kiv
