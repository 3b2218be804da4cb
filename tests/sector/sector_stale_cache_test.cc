// A store open while another one changes the files: it reads the changes through the table
// file without reloading its cached table, and judges what it finds there as strictly.
#include "sector_support.h"

namespace kiv::testing {
namespace {

using kivtest::ReadBytes;

TEST_F(SectorTest, AReaderBehindAnotherStoresChangesReadsThemAndTheirDamage) {
  KivSector reader, writer;
  CreateOpen(reader, 128);
  ASSERT_FALSE(writer.SectorOpen(base));
  for (const char* text : {"first", "second"}) {
    int32_t id = 0;
    ASSERT_FALSE(writer.SectorWrite(id, ToVector(text)));
  }
  std::vector<uint8_t> got;
  ASSERT_FALSE(reader.SectorRead(1, got));  // the reader's table is now of this generation

  // Record 1 moves to new sectors and grows past one sector; record 3 is new; record 2 goes.
  int32_t one = 1, three = 0;
  const std::string moved(300, 'm');
  ASSERT_FALSE(writer.SectorWrite(one, ToVector(moved)));
  ASSERT_FALSE(writer.SectorWrite(three, ToVector("third")));
  ASSERT_FALSE(writer.SectorDelete(2));
  ASSERT_FALSE(reader.SectorRead(1, got));
  EXPECT_EQ(got, ToVector(moved));
  ASSERT_FALSE(reader.SectorRead(3, got));
  EXPECT_EQ(got, ToVector("third"));
  EXPECT_TRUE(reader.SectorRead(2, got));
  ExpectError(u"KivSector.SectorRead", u"Il record 2 non esiste.");

  // Record 1's second link freed in the table file, record 3's made to loop: both are damaged
  // for the reader, whose cached table is still the old one; nothing else changes.
  const std::string qvd = ReadBytes(File(".QVD"));
  const int32_t first1 = Get32(qvd, 64), first3 = Get32(qvd, 64 + 64);
  std::string fat = ReadBytes(File(".QVF"));
  const int32_t second1 = Get32(fat, 16 + 4 * first1);
  fat.replace(16 + 4 * second1, 4, Le32(uint32_t(-1)));
  fat.replace(16 + 4 * first3, 4, Le32(first3));
  Overwrite(File(".QVF"), fat);
  EXPECT_TRUE(reader.SectorRead(1, got));
  ExpectError(u"KivSector.SectorRead", u"Il record 1 è danneggiato.");
  EXPECT_TRUE(reader.SectorRead(3, got));
  ExpectError(u"KivSector.SectorRead", u"Il record 3 è danneggiato.");
}

}  // namespace
}  // namespace kiv::testing
