// QvDbXtMod: the database helper functions behind QvDbXt (buffered blob input and output, field
// typing and conversion, table and database utilities), callable as free functions.
//
// Every function follows the library's error convention: it never throws; a failure is recorded
// (kiv::Last_Error, kiv::LastErrorRecord) with a fixed Source such as "QvDbXtMod.Blob_Get", and
// the function returns True, an empty string or 0. A null object argument is error 91.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "kivdbxt/dao.h"
#include "kivdbxt/export.h"
#include "kivdbxt/kiv_blob_type.h"
#include "kivdbxt/types.h"
#include "kivdbxt/variant.h"

namespace kiv::QvDbXtMod {

using BlobRef = std::shared_ptr<KivBlobType>;
using FieldRef = std::shared_ptr<dao::Field>;
using RecordsetRef = std::shared_ptr<dao::Recordset>;
using DatabaseRef = std::shared_ptr<dao::Database>;
using WorkspaceRef = std::shared_ptr<dao::Workspace>;

// Buffered blob input and output. Results: True on error.
KIV_API bool Blob_Init(const BlobRef& BT, const FieldRef& Fld);
// Integer, Boolean: 2 bytes; Long: 4; Single (widened), Double, Currency, Date: 8; Byte: 1;
// String: its characters. Anything else: error 13.
KIV_API bool Blob_Put(const BlobRef& BT, const Variant& OutVal);
// RetVal's type selects what is read (Single: 4 bytes) and receives the value.
KIV_API bool Blob_Get(const BlobRef& BT, Variant& RetVal);
KIV_API bool Blob_Seek(const BlobRef& BT, int32_t Offset);
KIV_API bool Blob_Flush(const BlobRef& BT);
// Appends the string in one AppendChunk: one byte per character when every character is 0..255,
// else its UTF-16 little-endian code units. An empty string appends nothing.
KIV_API bool Str_2_Blob(const FieldRef& Fld, const String& Buffer);
// The field's bytes from Offset (default 0), Size of them (default: to the end), one character
// per byte. An empty field gives "" with Last_Error 0; a failure "" with Last_Error not 0.
KIV_API String Blob_2_Str(const FieldRef& Fld, const Variant& Offset = Variant::Missing(),
                          const Variant& Size = Variant::Missing());
KIV_API bool File_2_Blob(const String& FileName, const FieldRef& Fld);
KIV_API bool Blob_2_File(const String& FileName, const FieldRef& Fld);

// Field typing, validation and conversion.
KIV_API int16_t Field_Size(int16_t FType, int16_t FSize);
KIV_API int16_t Field_Lenght(int16_t FType, int16_t FSize);
KIV_API int16_t Field_Align(int16_t FType);  // 3 left, 4 right
KIV_API bool Type_StrCheck(const String& FieldVal,
                           int16_t FldType);  // True: the text holds the type
KIV_API String Query_Argument(String fVal, int16_t FType);
// 0 OK, 1 mandatory field empty, 2 changed, -1 not of the type or error. FValue and PValue
// receive their trimmed, upper-cased forms (a date FValue its date value).
KIV_API int16_t Field_Validate(Variant& FValue, Variant& PValue, int16_t FType, int16_t Mand,
                               int16_t Changed);
KIV_API String Field_Convert(const String& SrcVal, int16_t SrcType, int16_t DstType);
KIV_API Variant Field_Value(const FieldRef& Fld);
KIV_API bool Field_ValueSet(const FieldRef& Fld, const Variant& Value);
KIV_API String Field_TruncStr(const FieldRef& Fld, const String& Value);
KIV_API bool Field_StrAssign(const FieldRef& Fld, String Value);

// Table, recordset and database utilities.
KIV_API bool Tb_Purge(const DatabaseRef& db, const String& TbName);
KIV_API bool Tb_Delete(const RecordsetRef& rs);
KIV_API bool Tb_IsNull(const RecordsetRef& rs);
// Op: "=", ">=", ">", "<=", "<", or "*" for the nearest key. One to five key values.
KIV_API bool Tb_Seek(const RecordsetRef& Tb, const String& IdxName,
                     const std::vector<Variant>& KeyVal, const String& Op);
KIV_API String Tb_GetField(const DatabaseRef& db, const String& TbName, const String& IdxName,
                           const std::vector<Variant>& KeyVal, const String& FldName);
KIV_API int32_t Get_LongUnk(const RecordsetRef& Tb);
KIV_API bool Bookmark_Set(const RecordsetRef& rs, const Variant& Bk);
KIV_API bool Bookmark_Check(const RecordsetRef& rs, const Variant& Bk);
// Each closes the object its variable holds and sets the variable to nothing.
KIV_API bool Close_Recordset(RecordsetRef& rs);
KIV_API bool Close_Db(DatabaseRef& db);
KIV_API bool Close_WorkSpace(WorkspaceRef& Wksp);
KIV_API bool Db_CompactEx(const String& DbName, const Variant& TmpFile = Variant::Missing(),
                          int32_t DbType = 0);
KIV_API bool Db_Compact(const String& DbName, const Variant& TmpFile = Variant::Missing());
KIV_API bool Db_Repair(const String& DbName);

}  // namespace kiv::QvDbXtMod
