// Long values in pieces: AppendChunk, GetChunk, FieldSize.
#include <gtest/gtest.h>

#include "dao/dao_test_util.h"

using namespace kiv;
using namespace kiv::dao;
using kivtest::NumberRaisedBy;

namespace {

std::vector<uint8_t> Pattern(size_t n, uint8_t seed) {
  std::vector<uint8_t> out(n);
  for (size_t i = 0; i < n; ++i) out[i] = static_cast<uint8_t>(i * 31 + seed);
  return out;
}

}  // namespace

TEST(DaoChunks, AppendInPiecesReadInSlices) {
  kivtest::TempFolder dir;
  auto db = kivtest::Engine()->CreateDatabase(dir.File("c.mdb"), dbLangGeneral);
  auto t = db->CreateTableDef(u"B");
  t->Fields().Append(t->CreateField(u"N", dbLong));
  t->Fields().Append(t->CreateField(u"DATA", dbLongBinary));
  t->Fields().Append(t->CreateField(u"NOTE", dbMemo));
  db->TableDefs().Append(t);
  auto rs = db->OpenRecordset(u"B", dbOpenTable);
  auto data = rs->Fields()[u"DATA"];
  auto note = rs->Fields()[u"NOTE"];

  const std::vector<uint8_t> whole = Pattern(200000, 3);
  rs->AddNew();
  EXPECT_TRUE(data->GetChunk(0, 10).IsNull());
  for (size_t at = 0; at < whole.size(); at += 4096) {
    const size_t n = std::min<size_t>(4096, whole.size() - at);
    data->AppendChunk(Variant(std::vector<uint8_t>(whole.begin() + at, whole.begin() + at + n)));
  }
  EXPECT_EQ(data->FieldSize(), 200000);  // the pending value is readable before Update
  note->AppendChunk(Variant(u"abc"));
  note->AppendChunk(Variant(std::vector<uint8_t>{'d', 0xe9}));
  EXPECT_EQ(NumberRaisedBy([&] { rs->Fields()[u"N"]->AppendChunk(Variant(u"x")); }), 3259);
  rs->Update();
  EXPECT_EQ(NumberRaisedBy([&] { data->AppendChunk(Variant(u"x")); }), 3020);

  rs->MoveFirst();
  EXPECT_EQ(data->FieldSize(), 200000);
  EXPECT_EQ(data->Value(), Variant(whole));
  // Slices, including one across the end and one past it.
  for (int32_t offset : {0, 1, 4095, 4096, 65530, 199990}) {
    const Variant got = data->GetChunk(offset, 4096);
    const size_t n = std::min<size_t>(4096, whole.size() - offset);
    EXPECT_EQ(got,
              Variant(std::vector<uint8_t>(whole.begin() + offset, whole.begin() + offset + n)))
        << offset;
  }
  EXPECT_TRUE(data->GetChunk(200000, 10).Bytes().empty());
  EXPECT_EQ(NumberRaisedBy([&] { data->GetChunk(-1, 10); }), 3001);
  EXPECT_EQ(note->Value(), Variant(u"abcd\u00e9"));
  EXPECT_EQ(note->FieldSize(), 5);
  EXPECT_EQ(note->GetChunk(3, 5), Variant(std::vector<uint8_t>{'d', 0xe9}));

  // The first AppendChunk of an Edit replaces the value; later ones add to it.
  rs->Edit();
  data->AppendChunk(Variant(std::vector<uint8_t>{1, 2}));
  data->AppendChunk(Variant(std::vector<uint8_t>{3}));
  rs->Update();
  EXPECT_EQ(data->Value(), Variant(std::vector<uint8_t>{1, 2, 3}));
  EXPECT_EQ(data->FieldSize(), 3);
}
