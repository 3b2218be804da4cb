// Damaged files: flipped bytes, cut files, missing files, and random damage to the directory and
// the allocation table. Always a clear error, never a crash or a hang, and never wrong data.
#include <filesystem>
#include <map>
#include <random>

#include "sector_support.h"

namespace kiv::testing {
namespace {

using kivtest::ReadBytes;

class SectorDamageTest : public SectorTest {
 protected:
  // Three records in 128-byte sectors: 1 in sector 0, 2 in sectors 1..3, 3 in sector 4.
  void SetUp() override {
    KivSector s;
    CreateOpen(s, 128);
    for (const std::string& data :
         {std::string(100, 'a'), std::string(300, 'b'), std::string(50, 'c')}) {
      int32_t id = 0;
      ASSERT_FALSE(s.SectorWrite(id, ToVector(data)));
      records[id] = data;
    }
  }

  void Patch(const char* ext, size_t at, const std::string& bytes) {
    std::string file = ReadBytes(File(ext));
    file.replace(at, bytes.size(), bytes);
    Overwrite(File(ext), file);
  }
  void Cut(const char* ext, size_t size) { std::filesystem::resize_file(File(ext), size); }

  // Each record reads back whole or fails with "è danneggiato"; returns the damaged ones, after
  // checking that SectorVerify names exactly those.
  // (SectorVerify may name more slots than there are records: verified).
  std::vector<int32_t> Damaged(KivSector& s, std::vector<int32_t> verified_ids = {}) {
    std::vector<int32_t> damaged;
    for (const auto& [id, data] : records) {
      std::vector<uint8_t> got;
      if (s.SectorRead(id, got)) {
        ExpectError(u"KivSector.SectorRead",
                    u"Il record " + FromUtf8(std::to_string(id)) + u" è danneggiato.");
        damaged.push_back(id);
      } else {
        EXPECT_EQ(got, ToVector(data)) << id;
      }
    }
    auto verified = std::make_shared<Collection>();
    EXPECT_FALSE(s.SectorVerify(verified));
    std::vector<int32_t> listed;
    for (int32_t i = 1; i <= verified->Count(); ++i)
      listed.push_back(*verified->Item(Variant(i)).ToLong());
    EXPECT_EQ(listed, verified_ids.empty() ? damaged : verified_ids);
    return damaged;
  }

  std::map<int32_t, std::string> records;
};

TEST_F(SectorDamageTest, AFlippedByteDamagesOnlyWhatItHits) {
  using V = std::vector<int32_t>;
  KivSector s;
  // The directory's header: the store does not open; the allocation table's magic: likewise.
  Patch(".QVD", 20, "\x7f");
  EXPECT_TRUE(s.SectorOpen(base));
  ExpectError(u"KivSector.SectorOpen", u"Il file " + base + u".QVD non è un archivio di settori.");
  Patch(".QVD", 20, std::string(1, '\x03'));
  Patch(".QVF", 2, "X");
  EXPECT_TRUE(s.SectorOpen(base));
  ExpectError(u"KivSector.SectorOpen", u"Il file " + base + u".QVF non è un archivio di settori.");
  Patch(".QVF", 2, "F");
  ASSERT_FALSE(s.SectorOpen(base));
  EXPECT_EQ(Damaged(s), V{});

  // An entry (record 2's length), a sector's data (record 3), one at a time.
  Patch(".QVD", 64 + 32 + 9, "\x02");
  EXPECT_EQ(Damaged(s), V{2});
  int64_t length = 0;
  Date modified = 0;
  EXPECT_TRUE(s.SectorInfo(2, length, modified));
  ExpectError(u"KivSector.SectorInfo", u"Il record 2 è danneggiato.");
  Patch(".QVD", 64 + 32 + 9, std::string(1, '\x01'));  // 300 = 0x12C: byte 9 is 0x01
  Patch(".QVS", 4 * 128 + 10, "!");
  EXPECT_EQ(Damaged(s), V{3});
  // Compaction checks chains, not data: it runs, and the record stays damaged.
  ASSERT_FALSE(s.SectorCompact());
  EXPECT_EQ(Damaged(s), V{3});

  // A damaged record can be rewritten or deleted; then everything checks again.
  int32_t three = 3;
  ASSERT_FALSE(s.SectorWrite(three, ToVector(records[3])));
  EXPECT_EQ(Damaged(s), V{});

  // The header damaged while the store is open: every operation says so, and a read leaves the
  // caller's data as it was.
  Patch(".QVD", 30, "x");
  std::vector<uint8_t> got = ToVector("before");
  EXPECT_TRUE(s.SectorRead(1, got));
  ExpectError(u"KivSector.SectorRead", u"Il file " + base + u".QVD non è un archivio di settori.");
  EXPECT_EQ(got, ToVector("before"));
}

TEST_F(SectorDamageTest, CutAndMissingFiles) {
  using V = std::vector<int32_t>;
  KivSector s;
  Cut(".QVS", 4 * 128 + 20);  // record 3 cut short
  ASSERT_FALSE(s.SectorOpen(base));
  EXPECT_EQ(Damaged(s), V{3});
  ASSERT_FALSE(s.SectorClose());

  Cut(".QVF", 16 + 4 * 2);  // the table keeps sectors 0 and 1: record 2's chain runs off its end
  ASSERT_FALSE(s.SectorOpen(base));
  EXPECT_EQ(Damaged(s), (V{2, 3}));
  ASSERT_FALSE(s.SectorClose());

  // Record 2's entry torn, record 3's gone, and with it every slot the header counts: none of
  // them can be told from a record.
  Cut(".QVD", 64 + 32 + 10);
  ASSERT_FALSE(s.SectorOpen(base));
  V cut;
  for (int32_t id = 2; id <= 16; ++id) cut.push_back(id);
  EXPECT_EQ(Damaged(s, cut), (V{2, 3}));
  std::vector<uint8_t> got;
  ASSERT_FALSE(s.SectorRead(1, got));
  EXPECT_EQ(got, ToVector(records[1]));
  // The table is still cut short of its count: no change is made, compaction included.
  EXPECT_TRUE(s.SectorCompact());
  ExpectError(u"KivSector.SectorCompact",
              u"Il file " + base + u".QVF non è un archivio di settori.");
  ASSERT_FALSE(s.SectorClose());

  for (const char* ext : {".QVS", ".QVF", ".QVD"}) {
    const std::string saved = ReadBytes(File(ext));
    std::filesystem::remove(File(ext));
    EXPECT_TRUE(s.SectorOpen(base)) << ext;
    EXPECT_EQ(LastErrorRecord().Number, 53) << ext;
    EXPECT_EQ(LastErrorRecord().Source, u"KivSector.SectorOpen");
    Overwrite(File(ext), saved);
  }
}

TEST_F(SectorDamageTest, ChainsThatLoopRunPastTheEndOrDisagreeWithTheLength) {
  using V = std::vector<int32_t>;
  KivSector s;
  const std::string fat = ReadBytes(File(".QVF")), qvd = ReadBytes(File(".QVD"));
  struct Case {
    const char* what;
    size_t sector;
    int32_t next;
    V damaged;
  };
  const Case cases[] = {
      {"record 2 loops back to its start", 3, 1, {2}},
      {"record 2 loops on itself", 2, 2, {2}},
      {"record 2 points past the end", 2, 1000000, {2}},
      {"record 2 ends a sector early", 2, -2, {2}},
      {"record 1 runs on into record 2", 0, 1, {1}},
      {"record 1 runs into a free sector", 0, 7, {1}},
      {"record 2 meets a free sector", 2, -1, {2}},
      {"record 3 points at a negative sector", 4, -7, {3}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    Overwrite(File(".QVF"), fat);
    Patch(".QVF", 16 + 4 * c.sector, Le32(c.next));
    ASSERT_FALSE(s.SectorOpen(base));
    EXPECT_EQ(Damaged(s), c.damaged);
    ASSERT_FALSE(s.SectorClose());
  }
  Overwrite(File(".QVF"), fat);

  // Entries whose length disagrees with the chain, with a CRC that checks.
  for (int64_t length : {int64_t{299}, int64_t{257}, int64_t{384}, int64_t{385}, int64_t{0},
                         int64_t{-5}, int64_t{1} << 40}) {
    SCOPED_TRACE(length);
    Overwrite(File(".QVD"), qvd);
    const std::string entry = qvd.substr(64 + 32, 32);
    Patch(".QVD", 64 + 32,
          EntryBytes(Get32(entry, 0), 0, length, 0, static_cast<uint32_t>(Get32(entry, 24))));
    ASSERT_FALSE(s.SectorOpen(base));
    // 299 and 257 still need three sectors: the chain checks and the data CRC does not.
    EXPECT_EQ(Damaged(s), V{2});
    ASSERT_FALSE(s.SectorClose());
  }
}

// Random damage to either file, many times: every operation returns, a record either reads its
// own bytes or is reported damaged, and writing, verifying and compacting never crash.
TEST_F(SectorDamageTest, RandomDamageNeverCrashesNorGivesWrongData) {
  const std::string fat = ReadBytes(File(".QVF")), qvd = ReadBytes(File(".QVD"));
  const std::string qvs = ReadBytes(File(".QVS"));
  std::mt19937 rng(20240305);
  const int32_t interesting[] = {-3, -2, -1, 0, 1, 2, 3, 4, 5, 6, 1 << 30, -(1 << 30)};
  for (int round = 0; round < 300; ++round) {
    SCOPED_TRACE(round);
    std::string f = fat, d = qvd;
    for (int hits = 1 + rng() % 3; hits > 0; --hits) {
      if (rng() % 2) {  // a table entry, or any byte of the table
        const size_t sector = rng() % 6;
        if (rng() % 2 && 16 + 4 * sector + 4 <= f.size()) {
          f.replace(16 + 4 * sector, 4, Le32(interesting[rng() % std::size(interesting)]));
        } else {
          f[rng() % f.size()] ^= static_cast<char>(1 + rng() % 255);
        }
      } else {
        d[64 + rng() % (d.size() - 64)] ^= static_cast<char>(1 + rng() % 255);
      }
    }
    if (rng() % 8 == 0) f.resize(rng() % f.size());
    if (rng() % 8 == 0) d.resize(64 + rng() % (d.size() - 64));
    Overwrite(File(".QVF"), f);
    Overwrite(File(".QVD"), d);
    Overwrite(File(".QVS"), qvs);
    KivSector s;
    if (s.SectorOpen(base)) {
      EXPECT_EQ(LastErrorRecord().Number, 20000);
      continue;
    }
    for (const auto& [id, data] : records) {
      std::vector<uint8_t> got;
      if (!s.SectorRead(id, got)) {
        EXPECT_EQ(got, ToVector(data)) << id;
      }
    }
    auto damaged = std::make_shared<Collection>();
    EXPECT_FALSE(s.SectorVerify(damaged));
    // A table shorter than its own count takes no change; any other damage stops none.
    int32_t id = 0;
    if (f.size() < 16 + 4 * size_t(Get32(f, 12))) {
      EXPECT_TRUE(s.SectorWrite(id, u"new record"));
      ExpectError(u"KivSector.SectorWrite",
                  u"Il file " + base + u".QVF non è un archivio di settori.");
      continue;
    }
    EXPECT_FALSE(s.SectorWrite(id, u"new record")) << ToUtf8(LastErrorRecord().Description);
    String back;
    if (!s.SectorRead(id, back)) {
      EXPECT_EQ(back, u"new record");
    }
    if (damaged->Count() == 0) {
      EXPECT_FALSE(s.SectorCompact()) << ToUtf8(LastErrorRecord().Description);
    } else {
      s.SectorCompact();
    }
    EXPECT_FALSE(s.SectorVerify(damaged));
  }
}

}  // namespace
}  // namespace kiv::testing
