// Buffered blob input and output through QvDbXtMod and KivBlobType.
#include <gtest/gtest.h>

#include <cstring>

#include "dao/dao_test_util.h"
#include "kivdbxt/error.h"
#include "kivdbxt/qv_db_xt.h"
#include "platform/text_codec.h"
#include "support/last_error.h"
#include "support/test_database.h"

using namespace kiv;
using namespace kiv::dao;
using kivtest::LastRecorded;
using kivtest::Recorded;
namespace M = kiv::QvDbXtMod;

namespace {

struct BlobTable {
  kivtest::TestDatabases dbs;
  kivtest::TempFolder& dir = dbs.dir;
  std::shared_ptr<Database> db;
  std::shared_ptr<Recordset> rs;
  std::shared_ptr<Field> data;

  explicit BlobTable(kivtest::Db engine) : dbs(engine) {
    db = kivtest::Engine()->CreateDatabase(dbs.Name("b.mdb"), dbLangGeneral);
    auto t = db->CreateTableDef(u"B");
    t->Fields().Append(t->CreateField(u"DATA", dbLongBinary));
    db->TableDefs().Append(t);
    rs = db->OpenRecordset(u"B", dbOpenTable);
    data = rs->Fields()[u"DATA"];
  }
};

using Blob = kivtest::OnBothEngines;
KIV_ON_BOTH_ENGINES(Blob);

template <class T>
String Chars(T value) {
  unsigned char bytes[sizeof(T)];
  std::memcpy(bytes, &value, sizeof(T));
  return String(bytes, bytes + sizeof(T));
}

// A cursor standing at a byte offset of the field with nothing buffered.
std::shared_ptr<KivBlobType> CursorAt(const std::shared_ptr<Field>& fld, int32_t offset) {
  auto bt = std::make_shared<KivBlobType>();
  bt->Fld(fld);
  bt->Offset(offset);
  bt->ptr(1);
  bt->Buffer(u"");
  return bt;
}

Variant Get(const std::shared_ptr<KivBlobType>& bt, Variant like) {
  EXPECT_FALSE(M::Blob_Get(bt, like)) << ToUtf8(LastErrorRecord().Description);
  return like;
}

}  // namespace

TEST_P(Blob, WrittenInPiecesReadBackAsEveryType) {
  BlobTable t(GetParam());
  // The values and where they land: a Long straddles byte 4096.
  const String head = Chars(int16_t{-2}) + Chars(int16_t{-1}) + Chars(int32_t{123456789}) +
                      Chars(2.5f) + Chars(-0.125) + Chars(int64_t{98765}) + Chars(45000.5) +
                      String(1, char16_t{0xfe}) + u"hello";  // 42 bytes
  const String filler(4094 - head.size(), u'\x07');
  const String tail = Chars(int32_t{-559038737}) + u"end";
  t.rs->AddNew();
  ASSERT_FALSE(M::Str_2_Blob(t.data, head));
  ASSERT_FALSE(M::Str_2_Blob(t.data, filler));
  ASSERT_FALSE(M::Str_2_Blob(t.data, String()));  // appends nothing
  ASSERT_FALSE(M::Str_2_Blob(t.data, tail));
  t.rs->Update();
  t.rs->MoveFirst();

  const String whole = head + filler + tail;
  ClearLastError();
  EXPECT_EQ(M::Blob_2_Str(t.data), whole);
  EXPECT_EQ(M::Blob_2_Str(t.data, Variant(int32_t{4090}), Variant(int32_t{6})),
            whole.substr(4090, 6));
  EXPECT_EQ(M::Blob_2_Str(t.data, Variant(int32_t{4098})), u"end");

  EXPECT_EQ(Get(CursorAt(t.data, 0), Variant(int16_t{0})), Variant(int16_t{-2}));
  EXPECT_EQ(Get(CursorAt(t.data, 2), Variant(false)), Variant(true));
  EXPECT_EQ(Get(CursorAt(t.data, 4), Variant(int32_t{0})), Variant(int32_t{123456789}));
  EXPECT_EQ(Get(CursorAt(t.data, 8), Variant(0.0f)), Variant(2.5f));
  EXPECT_EQ(Get(CursorAt(t.data, 12), Variant(0.0)), Variant(-0.125));
  EXPECT_EQ(Get(CursorAt(t.data, 20), Variant(Currency{})), Variant(Currency{98765}));
  EXPECT_EQ(Get(CursorAt(t.data, 28), Variant::FromDate(0)), Variant::FromDate(45000.5));
  EXPECT_EQ(Get(CursorAt(t.data, 36), Variant(uint8_t{0})), Variant(uint8_t{0xfe}));
  EXPECT_EQ(Get(CursorAt(t.data, 37), Variant(u"xxxxx")), Variant(u"hello"));
  EXPECT_EQ(Get(CursorAt(t.data, 37), Variant(String())), Variant(String()));

  // Across the 4096 boundary: two characters left in the buffer, two more from the next span.
  auto bt = CursorAt(t.data, 0);
  bt->Buffer(M::Blob_2_Str(t.data, Variant(int32_t{0}), Variant(int32_t{4096})));
  bt->ptr(4095);
  EXPECT_EQ(Get(bt, Variant(int32_t{0})), Variant(int32_t{-559038737}));
  // The cursor is read through a copy: a second read gives the same value, the cursor is as set.
  EXPECT_EQ(Get(bt, Variant(int32_t{0})), Variant(int32_t{-559038737}));
  EXPECT_EQ(bt->ptr(), 4095);
  EXPECT_EQ(bt->Offset(), 0);
  EXPECT_EQ(Get(CursorAt(t.data, 4094), Variant(int32_t{0})), Variant(int32_t{-559038737}));

  // Past the end: error 62 under the operation's Source.
  Variant v{int32_t{0}};
  EXPECT_TRUE(M::Blob_Get(CursorAt(t.data, 4099), v));
  kivtest::ExpectLastError(62, u"QvDbXtMod.Blob_Get", u"Input past end of file");
  Variant unsupported;  // Empty
  EXPECT_TRUE(M::Blob_Get(CursorAt(t.data, 0), unsupported));
  EXPECT_EQ(LastRecorded(), Recorded(13, u"QvDbXtMod.Blob_Get"));
  // A cursor position before the first character is an invalid call, not a read from the start.
  for (int16_t bad : {int16_t{0}, int16_t{-3}}) {
    auto at = CursorAt(t.data, 0);
    at->ptr(bad);
    Variant n{int16_t{0}};
    EXPECT_TRUE(M::Blob_Get(at, n));
    EXPECT_EQ(LastRecorded(), Recorded(5, u"QvDbXtMod.Blob_Get"));
    EXPECT_EQ(n, Variant(int16_t{0}));
  }
  EXPECT_TRUE(M::Blob_Put(CursorAt(t.data, 0), Variant(std::vector<uint8_t>{1})));
  EXPECT_EQ(LastRecorded(), Recorded(13, u"QvDbXtMod.Blob_Put"));

  EXPECT_FALSE(M::Blob_Seek(CursorAt(t.data, 0), 10));
  EXPECT_FALSE(M::Blob_Seek(CursorAt(t.data, 0), 5000));  // past the end, but no failure
}

TEST_P(Blob, CursorCopySemanticsOfPutAndFlush) {
  BlobTable t(GetParam());
  t.rs->AddNew();
  auto bt = std::make_shared<KivBlobType>();
  EXPECT_FALSE(M::Blob_Init(bt, t.data));
  EXPECT_EQ(bt->Fld(), nullptr);  // the initialised copy is not written back
  bt->Fld(t.data);

  // Under 4096 characters nothing is stored, neither in the cursor nor in the field.
  EXPECT_FALSE(M::Blob_Put(bt, Variant(int32_t{7})));
  EXPECT_EQ(bt->Buffer(), u"");
  EXPECT_EQ(t.data->FieldSize(), 0);

  // A Single counts 8 characters: 4088 buffered + 8 reach the span and flush the cursor's
  // buffer as the client left it; a Long (4) does not.
  bt->Buffer(String(4088, u'a'));
  EXPECT_FALSE(M::Blob_Put(bt, Variant(int32_t{1})));
  EXPECT_EQ(t.data->FieldSize(), 0);
  EXPECT_FALSE(M::Blob_Put(bt, Variant(1.0f)));
  EXPECT_EQ(t.data->FieldSize(), 4088);
  EXPECT_EQ(bt->Buffer().size(), 4088u);
  EXPECT_FALSE(M::Blob_Flush(bt));
  EXPECT_EQ(t.data->FieldSize(), 8176);
  t.rs->Update();

  // A string with characters above 255 goes in as UTF-16 code units.
  t.rs->AddNew();
  EXPECT_FALSE(M::Str_2_Blob(t.data, u"A\u20ac"));
  EXPECT_EQ(t.data->GetChunk(0, 10), Variant(std::vector<uint8_t>{0x41, 0, 0xac, 0x20}));
  t.rs->CancelUpdate();

  // Outside AddNew/Edit the append fails under Str_2_Blob's Source, and so does a flush.
  bt->Buffer(u"x");
  EXPECT_TRUE(M::Blob_Flush(bt));
  EXPECT_EQ(LastRecorded(), Recorded(3020, u"QvDbXtMod.Str2Blob"));
}

TEST_P(Blob, EmptyFieldIsNotAFailure) {
  BlobTable t(GetParam());
  t.rs->AddNew();
  t.rs->Update();
  t.rs->MoveFirst();
  Set_Error(Variant(int32_t{5}), Variant(u"earlier"));
  EXPECT_EQ(M::Blob_2_Str(t.data), u"");
  EXPECT_EQ(Last_Error(), 0);  // an empty (Null) field

  t.rs->Close();
  EXPECT_EQ(M::Blob_2_Str(t.data, Variant(int32_t{0}), Variant(int32_t{10})), u"");
  EXPECT_EQ(LastRecorded(), Recorded(3420, u"QvDbXtMod.Blob2Str"));
  // Without a Size, a field whose size cannot be read gives "" and records nothing.
  EXPECT_EQ(M::Blob_2_Str(t.data), u"");
  EXPECT_EQ(Last_Error(), 0);
  EXPECT_TRUE(M::Blob_Seek(CursorAt(t.data, 0), 0));
  EXPECT_EQ(Last_Error(), 3420);
  EXPECT_EQ(M::Blob_2_Str(nullptr, Variant(int32_t{0}), Variant(int32_t{1})), u"");
  EXPECT_EQ(Last_Error(), 91);
}

TEST_P(Blob, FilesGoInAndComeOutByteForByte) {
  BlobTable t(GetParam());
  const std::string path = t.dir.path() + "/in.bin";
  std::string all;
  for (int i = 0; i < 3 * 256; ++i) all.push_back(static_cast<char>(i));
  for (const std::string& content : {std::string(), all}) {
    kivtest::WriteBytes(path, content);
    t.rs->AddNew();
    ASSERT_FALSE(M::File_2_Blob(FromUtf8(path), t.data));
    t.rs->Update();
    t.rs->MoveLast();
    const String out = t.dir.File("out.bin");
    kivtest::WriteBytes(ToUtf8(out), "longer previous content of the output file");
    ASSERT_FALSE(M::Blob_2_File(out, t.data));
    EXPECT_EQ(kivtest::ReadBytes(ToUtf8(out)), content);
  }
  t.rs->AddNew();
  EXPECT_TRUE(M::File_2_Blob(t.dir.File("missing.bin"), t.data));
  kivtest::ExpectLastError(53, u"QvDbXtMod.File2Blob", u"File not found");
}

TEST_P(Blob, SixtyFourMegabyteFileRoundTrip) {
  BlobTable t(GetParam());
  const std::string path = t.dir.path() + "/big.bin";
  std::string content(64u << 20, '\0');
  uint32_t x = 12345;
  for (char& c : content) c = static_cast<char>((x = x * 1103515245 + 12345) >> 24);
  kivtest::WriteBytes(path, content);
  t.rs->AddNew();
  ASSERT_FALSE(M::File_2_Blob(FromUtf8(path), t.data));
  t.rs->Update();
  t.rs->MoveFirst();
  EXPECT_EQ(t.data->FieldSize(), 64 << 20);
  ASSERT_FALSE(M::Blob_2_File(t.dir.File("big.out"), t.data));
  EXPECT_TRUE(kivtest::ReadBytes(t.dir.FileU8("big.out")) == content);
}
