// QvDbXt: the database helpers as an object. Each method forwards to the QvDbXtMod function of
// the same name (kivdbxt/qv_db_xt_mod.h) and returns its result; the methods stand in the order
// of the _QvDbXt interface.
#pragma once

#include "kivdbxt/export.h"
#include "kivdbxt/qv_db_xt_mod.h"

namespace kiv {

class KIV_API QvDbXt : public Object {
 public:
  using BlobRef = QvDbXtMod::BlobRef;
  using FieldRef = QvDbXtMod::FieldRef;
  using RecordsetRef = QvDbXtMod::RecordsetRef;
  using DatabaseRef = QvDbXtMod::DatabaseRef;
  using WorkspaceRef = QvDbXtMod::WorkspaceRef;

  // The helpers keep no state of their own: any QvDbXt serves.
  QvDbXt() = default;

  bool Field_ValueSet(const FieldRef& Fld, const Variant& Value);
  bool Blob_Flush(const BlobRef& BT);
  bool Blob_Put(const BlobRef& BT, const Variant& OutVal);
  bool Blob_Get(const BlobRef& BT, Variant& RetVal);
  String Blob_2_Str(const FieldRef& Fld, const Variant& Offset = Variant::Missing(),
                    const Variant& Size = Variant::Missing());
  bool Str_2_Blob(const FieldRef& Fld, const String& Buffer);
  bool Blob_Seek(const BlobRef& BT, int32_t Offset);
  bool Blob_Init(const BlobRef& BT, const FieldRef& Fld);
  bool Tb_Purge(const DatabaseRef& db, const String& TbName);
  bool Type_StrCheck(const String& FieldVal, int16_t FldType);
  bool Tb_Seek(const RecordsetRef& Tb, const String& IdxName, const std::vector<Variant>& KeyVal,
               const String& Op);
  String Tb_GetField(const DatabaseRef& db, const String& TbName, const String& IdxName,
                     const std::vector<Variant>& KeyVal, const String& FldName);
  bool Tb_IsNull(const RecordsetRef& rs);
  bool Tb_Delete(const RecordsetRef& rs);
  String Query_Argument(String fVal, int16_t FType);
  int32_t Get_LongUnk(const RecordsetRef& Tb);
  bool File_2_Blob(const String& FileName, const FieldRef& Fld);
  Variant Field_Value(const FieldRef& Fld);
  int16_t Field_Validate(Variant& FValue, Variant& PValue, int16_t FType, int16_t Mand,
                         int16_t Changed);
  String Field_TruncStr(const FieldRef& Fld, const String& Value);
  bool Field_StrAssign(const FieldRef& Fld, String Value);
  int16_t Field_Size(int16_t FType, int16_t FSize);
  int16_t Field_Lenght(int16_t FType, int16_t FSize);
  String Field_Convert(const String& SrcVal, int16_t SrcType, int16_t DstType);
  int16_t Field_Align(int16_t FType);
  bool Db_Repair(const String& DbName);
  bool Db_CompactEx(const String& DbName, const Variant& TmpFile = Variant::Missing(),
                    int32_t DbType = 0);
  bool Db_Compact(const String& DbName, const Variant& TmpFile = Variant::Missing());
  bool Close_Recordset(RecordsetRef& rs);
  bool Close_Db(DatabaseRef& db);
  bool Close_WorkSpace(WorkspaceRef& Wksp);
  bool Bookmark_Set(const RecordsetRef& rs, const Variant& Bk);
  bool Bookmark_Check(const RecordsetRef& rs, const Variant& Bk);
  bool Blob_2_File(const String& FileName, const FieldRef& Fld);
};

}  // namespace kiv
