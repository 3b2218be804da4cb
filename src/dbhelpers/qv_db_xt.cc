#include "kivdbxt/qv_db_xt.h"

#include "frame/factory.h"

namespace kiv {
namespace {

const ClassRegistrar kRegistrar(u"QvDbXt", [] {
  return std::static_pointer_cast<Object>(std::make_shared<QvDbXt>());
});

}  // namespace

namespace M = QvDbXtMod;

bool QvDbXt::Field_ValueSet(const FieldRef& Fld, const Variant& Value) {
  return M::Field_ValueSet(Fld, Value);
}
bool QvDbXt::Blob_Flush(const BlobRef& BT) { return M::Blob_Flush(BT); }
bool QvDbXt::Blob_Put(const BlobRef& BT, const Variant& OutVal) { return M::Blob_Put(BT, OutVal); }
bool QvDbXt::Blob_Get(const BlobRef& BT, Variant& RetVal) { return M::Blob_Get(BT, RetVal); }
String QvDbXt::Blob_2_Str(const FieldRef& Fld, const Variant& Offset, const Variant& Size) {
  return M::Blob_2_Str(Fld, Offset, Size);
}
bool QvDbXt::Str_2_Blob(const FieldRef& Fld, const String& Buffer) {
  return M::Str_2_Blob(Fld, Buffer);
}
bool QvDbXt::Blob_Seek(const BlobRef& BT, int32_t Offset) { return M::Blob_Seek(BT, Offset); }
bool QvDbXt::Blob_Init(const BlobRef& BT, const FieldRef& Fld) { return M::Blob_Init(BT, Fld); }
bool QvDbXt::Tb_Purge(const DatabaseRef& db, const String& TbName) {
  return M::Tb_Purge(db, TbName);
}
bool QvDbXt::Type_StrCheck(const String& FieldVal, int16_t FldType) {
  return M::Type_StrCheck(FieldVal, FldType);
}
bool QvDbXt::Tb_Seek(const RecordsetRef& Tb, const String& IdxName,
                     const std::vector<Variant>& KeyVal, const String& Op) {
  return M::Tb_Seek(Tb, IdxName, KeyVal, Op);
}
String QvDbXt::Tb_GetField(const DatabaseRef& db, const String& TbName, const String& IdxName,
                           const std::vector<Variant>& KeyVal, const String& FldName) {
  return M::Tb_GetField(db, TbName, IdxName, KeyVal, FldName);
}
bool QvDbXt::Tb_IsNull(const RecordsetRef& rs) { return M::Tb_IsNull(rs); }
bool QvDbXt::Tb_Delete(const RecordsetRef& rs) { return M::Tb_Delete(rs); }
String QvDbXt::Query_Argument(String fVal, int16_t FType) {
  return M::Query_Argument(std::move(fVal), FType);
}
int32_t QvDbXt::Get_LongUnk(const RecordsetRef& Tb) { return M::Get_LongUnk(Tb); }
bool QvDbXt::File_2_Blob(const String& FileName, const FieldRef& Fld) {
  return M::File_2_Blob(FileName, Fld);
}
Variant QvDbXt::Field_Value(const FieldRef& Fld) { return M::Field_Value(Fld); }
int16_t QvDbXt::Field_Validate(Variant& FValue, Variant& PValue, int16_t FType, int16_t Mand,
                               int16_t Changed) {
  return M::Field_Validate(FValue, PValue, FType, Mand, Changed);
}
String QvDbXt::Field_TruncStr(const FieldRef& Fld, const String& Value) {
  return M::Field_TruncStr(Fld, Value);
}
bool QvDbXt::Field_StrAssign(const FieldRef& Fld, String Value) {
  return M::Field_StrAssign(Fld, std::move(Value));
}
int16_t QvDbXt::Field_Size(int16_t FType, int16_t FSize) { return M::Field_Size(FType, FSize); }
int16_t QvDbXt::Field_Lenght(int16_t FType, int16_t FSize) { return M::Field_Lenght(FType, FSize); }
String QvDbXt::Field_Convert(const String& SrcVal, int16_t SrcType, int16_t DstType) {
  return M::Field_Convert(SrcVal, SrcType, DstType);
}
int16_t QvDbXt::Field_Align(int16_t FType) { return M::Field_Align(FType); }
bool QvDbXt::Db_Repair(const String& DbName) { return M::Db_Repair(DbName); }
bool QvDbXt::Db_CompactEx(const String& DbName, const Variant& TmpFile, int32_t DbType) {
  return M::Db_CompactEx(DbName, TmpFile, DbType);
}
bool QvDbXt::Db_Compact(const String& DbName, const Variant& TmpFile) {
  return M::Db_Compact(DbName, TmpFile);
}
bool QvDbXt::Close_Recordset(RecordsetRef& rs) { return M::Close_Recordset(rs); }
bool QvDbXt::Close_Db(DatabaseRef& db) { return M::Close_Db(db); }
bool QvDbXt::Close_WorkSpace(WorkspaceRef& Wksp) { return M::Close_WorkSpace(Wksp); }
bool QvDbXt::Bookmark_Set(const RecordsetRef& rs, const Variant& Bk) {
  return M::Bookmark_Set(rs, Bk);
}
bool QvDbXt::Bookmark_Check(const RecordsetRef& rs, const Variant& Bk) {
  return M::Bookmark_Check(rs, Bk);
}
bool QvDbXt::Blob_2_File(const String& FileName, const FieldRef& Fld) {
  return M::Blob_2_File(FileName, Fld);
}

}  // namespace kiv
