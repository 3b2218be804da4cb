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

// Points the cursor BT at the start of the long binary or memo field Fld, with an empty buffer.
KIV_API bool Blob_Init(const BlobRef& BT, const FieldRef& Fld);
// Adds the bytes of OutVal to the cursor's buffer, storing the buffer once it holds 4096 or more.
// Integer, Boolean: 2 bytes; Long: 4; Single (widened), Double, Currency, Date: 8; Byte: 1;
// String: its characters. Anything else: error 13.
KIV_API bool Blob_Put(const BlobRef& BT, const Variant& OutVal);
// Reads the next value at the cursor into RetVal, whose type selects what is read (Single: 4
// bytes).
KIV_API bool Blob_Get(const BlobRef& BT, Variant& RetVal);
// Moves the cursor to the byte Offset of its field and buffers the bytes from there.
KIV_API bool Blob_Seek(const BlobRef& BT, int32_t Offset);
// Appends the cursor's buffer to its field and empties the buffer.
KIV_API bool Blob_Flush(const BlobRef& BT);
// Appends the string to the field in one AppendChunk: one byte per character when every
// character is 0..255, else its UTF-16 little-endian code units. An empty string appends nothing.
KIV_API bool Str_2_Blob(const FieldRef& Fld, const String& Buffer);
// The field's bytes from Offset (default 0), Size of them (default: to the end), one character
// per byte. An empty field gives "" with Last_Error 0; a failure "" with Last_Error not 0.
KIV_API String Blob_2_Str(const FieldRef& Fld, const Variant& Offset = Variant::Missing(),
                          const Variant& Size = Variant::Missing());
// Appends the whole content of the file FileName to the field.
KIV_API bool File_2_Blob(const String& FileName, const FieldRef& Fld);
// Writes the field's bytes to the file FileName.
KIV_API bool Blob_2_File(const String& FileName, const FieldRef& Fld);

// Field typing, validation and conversion.

// The bytes a field of the DAO type FType and size FSize takes.
KIV_API int16_t Field_Size(int16_t FType, int16_t FSize);
// The largest number of characters of the text form of a field of that type (a text field: its
// size).
KIV_API int16_t Field_Lenght(int16_t FType, int16_t FSize);
// How a field of the type is aligned on screen: 3 left, 4 right.
KIV_API int16_t Field_Align(int16_t FType);
// True when the text FieldVal holds a value of the DAO type FldType.
KIV_API bool Type_StrCheck(const String& FieldVal, int16_t FldType);
// The value fVal written as an argument of an SQL search expression on a field of type FType.
KIV_API String Query_Argument(String fVal, int16_t FType);
// Checks the value FValue for a field of type FType: 0 OK, 1 mandatory field (Mand) empty, 2
// changed from PValue, -1 not of the type or error. FValue and PValue receive their trimmed,
// upper-cased forms (a date FValue its date value).
KIV_API int16_t Field_Validate(Variant& FValue, Variant& PValue, int16_t FType, int16_t Mand,
                               int16_t Changed);
// The text SrcVal of a field of type SrcType converted for a field of type DstType; "" when it is
// not valid there.
KIV_API String Field_Convert(const String& SrcVal, int16_t SrcType, int16_t DstType);
// The field's value; an empty field gives 0 or "" converted to the field's type.
KIV_API Variant Field_Value(const FieldRef& Fld);
// Sets the field's value, converted to its type; a long binary or memo field through Str_2_Blob.
KIV_API bool Field_ValueSet(const FieldRef& Fld, const Variant& Value);
// The part of Value that fits in the field.
KIV_API String Field_TruncStr(const FieldRef& Fld, const String& Value);
// Sets the text field to Value, cut to the field's length when it is longer.
KIV_API bool Field_StrAssign(const FieldRef& Fld, String Value);

// Table, recordset and database utilities.

// Runs "DELETE FROM " + TbName on the database; TbName may carry a where clause.
KIV_API bool Tb_Purge(const DatabaseRef& db, const String& TbName);
// Deletes the current record of rs and moves to the one before it (the first, at the start).
KIV_API bool Tb_Delete(const RecordsetRef& rs);
// Moves rs back onto a record after a deletion; True when none is left (the table is empty).
KIV_API bool Tb_IsNull(const RecordsetRef& rs);
// Seeks the table-type recordset Tb on the index IdxName with one to five key values and Op: "=",
// ">=", ">", "<=", "<", or "*" for the nearest key.
KIV_API bool Tb_Seek(const RecordsetRef& Tb, const String& IdxName,
                     const std::vector<Variant>& KeyVal, const String& Op);
// The field FldName, as text, of the record of table TbName whose key on index IdxName is KeyVal.
KIV_API String Tb_GetField(const DatabaseRef& db, const String& TbName, const String& IdxName,
                           const std::vector<Variant>& KeyVal, const String& FldName);
// A Long value not yet used as the key of Tb's current index; 0 on error.
KIV_API int32_t Get_LongUnk(const RecordsetRef& Tb);
// Moves rs to the record of the bookmark Bk.
KIV_API bool Bookmark_Set(const RecordsetRef& rs, const Variant& Bk);
// Checks that the bookmark Bk still names a record of rs (True: it does not).
KIV_API bool Bookmark_Check(const RecordsetRef& rs, const Variant& Bk);
// Closes the recordset its variable holds and sets the variable to nothing.
KIV_API bool Close_Recordset(RecordsetRef& rs);
// Closes the database its variable holds and sets the variable to nothing.
KIV_API bool Close_Db(DatabaseRef& db);
// Closes the workspace its variable holds and sets the variable to nothing.
KIV_API bool Close_WorkSpace(WorkspaceRef& Wksp);
// Compacts the database file DbName in place, through the temporary file TmpFile when given.
KIV_API bool Db_CompactEx(const String& DbName, const Variant& TmpFile = Variant::Missing(),
                          int32_t DbType = 0);
// Db_CompactEx(DbName, TmpFile) with DbType 0.
KIV_API bool Db_Compact(const String& DbName, const Variant& TmpFile = Variant::Missing());
// Repairs the database file DbName by compacting it.
KIV_API bool Db_Repair(const String& DbName);

}  // namespace kiv::QvDbXtMod
