// The three files byte for byte, and the operations' effect on them.
#include "platform/clock.h"
#include "sector_support.h"

namespace kiv::testing {
namespace {

using kivtest::ReadBytes;

constexpr Date kWhen = 45356.5;  // 2024-03-05 12:00:00

class SectorFilesTest : public SectorTest {
 protected:
  void SetUp() override {
    SetClock([] { return kWhen; });
  }
  void TearDown() override { SetClock({}); }
};

std::string Table(std::initializer_list<int32_t> next) {
  std::string t = "QVFAT001" + Le32(128) + Le32(static_cast<uint32_t>(next.size()));
  for (int32_t n : next) t += Le32(n);
  return t;
}

TEST_F(SectorFilesTest, ASmallStoreHoldsExactlyTheseBytes) {
  KivSector s;
  ASSERT_FALSE(s.SectorCreate(base, 128));
  EXPECT_EQ(ReadBytes(File(".QVD")), DirHeaderBytes(128, 0, 0, 0));
  EXPECT_EQ(ReadBytes(File(".QVF")), "QVFAT001" + Le32(128) + Le32(0));
  EXPECT_EQ(ReadBytes(File(".QVS")), "");

  ASSERT_FALSE(s.SectorOpen(base));
  const std::string r1 = "abc", r3(200, 'z');
  const String r2 = u"é€";  // 00E9 20AC: text above 255 kept as UTF-16
  int32_t id1 = 0, id2 = 0, id3 = 0;
  ASSERT_FALSE(s.SectorWrite(id1, ToVector(r1)));
  ASSERT_FALSE(s.SectorWrite(id2, r2));
  ASSERT_FALSE(s.SectorWrite(id3, ToVector(r3)));
  EXPECT_EQ(id1, 1);
  EXPECT_EQ(id2, 2);
  EXPECT_EQ(id3, 3);

  // Slots and sectors grow by 16 at a time; free ones are written before they are counted.
  std::string qvd = DirHeaderBytes(128, 16, 3, 3) + EntryBytes(0, 0, 3, kWhen, Crc(r1)) +
                    EntryBytes(1, 1, 4, kWhen, Crc(Utf16Bytes(r2))) +
                    EntryBytes(2, 0, 200, kWhen, Crc(r3));
  for (int i = 4; i <= 16; ++i) qvd += FreeEntryBytes();
  EXPECT_EQ(ReadBytes(File(".QVD")), qvd);
  EXPECT_EQ(ReadBytes(File(".QVF")),
            Table({-2, -2, 3, -2, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1}));
  EXPECT_EQ(ReadBytes(File(".QVS")),
            r1 + std::string(125, '\0') + Utf16Bytes(r2) + std::string(124, '\0') + r3);

  // A delete frees the entry and the sector; a larger rewrite takes the lowest free sectors
  // (1, then 4 and 5), commits, and only then frees the old one (0).
  ASSERT_FALSE(s.SectorDelete(id2));
  const std::string big(300, 'q');
  ASSERT_FALSE(s.SectorWrite(id1, ToVector(big)));
  const std::string after = ReadBytes(File(".QVD"));
  EXPECT_EQ(after.substr(0, 64), DirHeaderBytes(128, 16, 2, 5));
  EXPECT_EQ(after.substr(64, 32), EntryBytes(1, 0, 300, kWhen, Crc(big)));
  EXPECT_EQ(after.substr(96, 32), FreeEntryBytes());
  EXPECT_EQ(ReadBytes(File(".QVF")),
            Table({-1, 4, 3, -2, 5, -2, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1}));
  const std::string qvs = ReadBytes(File(".QVS"));
  EXPECT_EQ(qvs.substr(128, 128) + qvs.substr(512, 172), big);

  // A record of 0 bytes has no sectors: its first sector is the end of a chain.
  int32_t empty = 0;
  ASSERT_FALSE(s.SectorWrite(empty, std::vector<uint8_t>{}));
  EXPECT_EQ(empty, 2);
  EXPECT_EQ(ReadBytes(File(".QVD")).substr(96, 32), EntryBytes(-2, 0, 0, kWhen, 0));
}

TEST_F(SectorFilesTest, CompactionCutsTheFilesAndKeepsEveryRecordAndItsNumber) {
  KivSector s;
  CreateOpen(s, 128);
  std::map<int32_t, std::string> kept;
  for (int i = 0; i < 200; ++i) {
    const std::string data(size_t(1 + (i * 37) % 700), static_cast<char>('A' + i % 26));
    int32_t id = 0;
    ASSERT_FALSE(s.SectorWrite(id, ToVector(data)));
    kept[id] = data;
  }
  for (int32_t id = 1; id <= 200; ++id) {
    if (id % 4 != 0 && id != 199) {
      ASSERT_FALSE(s.SectorDelete(id));
      kept.erase(id);
    }
  }
  int64_t needed = 0;
  for (const auto& [id, data] : kept) needed += (data.size() + 127) / 128;
  const size_t before = ReadBytes(File(".QVS")).size();

  ASSERT_FALSE(s.SectorCompact()) << ToUtf8(LastErrorRecord().Description);
  EXPECT_EQ(ReadBytes(File(".QVS")).size(), size_t(needed * 128));
  EXPECT_LT(ReadBytes(File(".QVS")).size(), before / 2);
  const std::string fat = ReadBytes(File(".QVF"));
  EXPECT_EQ(Get32(fat, 12), needed);
  EXPECT_EQ(fat.size(), size_t(16 + 4 * needed));
  const std::string qvd = ReadBytes(File(".QVD"));
  EXPECT_EQ(Get32(qvd, 12), 200);  // the last record in use is 200: no slot to cut
  EXPECT_EQ(qvd.size(), size_t(64 + 32 * 200));

  auto check = [&](KivSector& store) {
    auto ids = std::make_shared<Collection>();
    ASSERT_FALSE(store.SectorList(ids));
    ASSERT_EQ(ids->Count(), static_cast<int32_t>(kept.size()));
    int pos = 1;
    for (const auto& [id, data] : kept) {
      EXPECT_EQ(ids->Item(pos++), Variant(id));
      std::vector<uint8_t> got;
      ASSERT_FALSE(store.SectorRead(id, got)) << id;
      EXPECT_EQ(got, ToVector(data)) << id;
    }
    EXPECT_EQ(DamagedCount(store), 0);
  };
  check(s);
  KivSector other;  // another reader sees the same after its cached state is reloaded
  ASSERT_FALSE(other.SectorOpen(base, true));
  check(other);

  // Trailing free slots and sectors are cut from the directory and the table only once no other
  // open store maps them: until then the headers stop counting them and the files keep them. The
  // lowest free slot is reused.
  const int64_t still_needed = needed - int64_t(kept[200].size() + 127) / 128;
  ASSERT_FALSE(s.SectorDelete(200));
  kept.erase(200);
  ASSERT_FALSE(s.SectorCompact());
  EXPECT_EQ(Get32(ReadBytes(File(".QVD")), 12), 199);
  EXPECT_EQ(ReadBytes(File(".QVD")).size(), size_t(64 + 32 * 200));
  EXPECT_EQ(Get32(ReadBytes(File(".QVF")), 12), still_needed);
  EXPECT_EQ(ReadBytes(File(".QVF")).size(), size_t(16 + 4 * needed));
  EXPECT_EQ(ReadBytes(File(".QVS")).size(), size_t(still_needed * 128));
  check(other);
  ASSERT_FALSE(other.SectorClose());
  ASSERT_FALSE(s.SectorCompact());
  EXPECT_EQ(ReadBytes(File(".QVD")).size(), size_t(64 + 32 * 199));
  EXPECT_EQ(ReadBytes(File(".QVF")).size(), size_t(16 + 4 * still_needed));
  int32_t id = 0;
  ASSERT_FALSE(s.SectorWrite(id, u"new"));
  EXPECT_EQ(id, 1);
}

TEST_F(SectorFilesTest, CompactionFreesSectorsThatNoRecordReaches) {
  KivSector s;
  CreateOpen(s, 128);
  int32_t id = 0;
  ASSERT_FALSE(s.SectorWrite(id, ToVector(std::string(128, 'x'))));
  ASSERT_FALSE(s.SectorClose());
  // A writer that died after writing its chain leaves sectors marked in use that no entry
  // reaches: sectors 3 -> 4 -> end.
  std::string fat = ReadBytes(File(".QVF"));
  fat.replace(16 + 12, 8, Le32(4) + Le32(-2));
  kivtest::WriteBytes(File(".QVF"), fat);
  kivtest::WriteBytes(File(".QVS"), std::string(128, 'x') + std::string(512, 'y'));

  ASSERT_FALSE(s.SectorOpen(base));
  EXPECT_EQ(DamagedCount(s), 0);  // lost sectors damage no record
  ASSERT_FALSE(s.SectorCompact());
  EXPECT_EQ(ReadBytes(File(".QVF")), Table({-2}));
  EXPECT_EQ(ReadBytes(File(".QVS")), std::string(128, 'x'));
}

}  // namespace
}  // namespace kiv::testing
