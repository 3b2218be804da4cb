// Buffered blob input and output: whole strings and files to and from long binary and memo
// fields, and the KivBlobType cursor.
#include "dbhelpers/blob_codec.h"
#include "dbhelpers/module_support.h"
#include "kivdbxt/qv_db_xt_mod.h"
#include "platform/file_table.h"
#include "platform/fs.h"
#include "platform/text_codec.h"
#include "platform/vb_convert.h"

namespace kiv::QvDbXtMod {
namespace {

// Pieces in which Blob_2_File moves a field to its file.
constexpr int32_t kFilePiece = 1 << 20;

String ChunkText(const Variant& chunk) {
  if (chunk.IsNull()) Raise(kErrInvalidUseOfNull);
  return BytesToString(chunk.Bytes());
}

}  // namespace

bool Blob_Init(const BlobRef& BT, const FieldRef& Fld) {
  return Guard(u"QvDbXtMod.Blob_Init", true, [&] {
    auto copy = BlobRecordAccess::Copy(Need(BT));
    copy.Fld = Fld;
    copy.Offset = 0;
    copy.ptr = 1;
    copy.Buffer.clear();
    return false;
  });
}

bool Str_2_Blob(const FieldRef& Fld, const String& Buffer) {
  return Guard(u"QvDbXtMod.Str2Blob", true, [&] {
    dao::Field& field = Need(Fld);
    if (!Buffer.empty()) field.AppendChunk(Variant(StringBytes(Buffer)));
    return false;
  });
}

String Blob_2_Str(const FieldRef& Fld, const Variant& Offset, const Variant& Size) {
  ClearLastError();
  return Guard(u"QvDbXtMod.Blob2Str", String(), [&] {
    dao::Field& field = Need(Fld);
    const int32_t offset = Offset.IsMissing() ? 0 : CLng(Offset);
    int32_t size = 0;
    if (Size.IsMissing()) {
      const auto field_size = Quietly(std::optional<int32_t>(),
                                      [&] { return std::optional<int32_t>(field.FieldSize()); });
      if (!field_size) return String();  // no size to read: nothing, and nothing recorded
      size = *field_size - offset;
    } else {
      size = CLng(Size);
    }
    if (size == 0) return String();
    return ChunkText(field.GetChunk(offset, size));
  });
}

bool Blob_Seek(const BlobRef& BT, int32_t Offset) {
  return Guard(u"QvDbXtMod.Blob_Seek", true, [&] {
    auto copy = BlobRecordAccess::Copy(Need(BT));
    copy.Offset = Offset;
    copy.ptr = 1;
    copy.Buffer = Blob_2_Str(copy.Fld, Variant(copy.Offset), Variant(int32_t{kBlobSpan}));
    if (!copy.Buffer.empty()) return false;
    return Last_Error() != 0;
  });
}

bool Blob_Put(const BlobRef& BT, const Variant& OutVal) {
  return Guard(u"QvDbXtMod.Blob_Put", true, [&] {
    auto copy = BlobRecordAccess::Copy(Need(BT));
    copy.Buffer += PutChars(OutVal);
    if (copy.Buffer.size() < kBlobSpan) return false;
    // The flush works from the cursor as the client left it, not from this copy.
    const bool failed = Blob_Flush(BT);
    copy.Buffer.clear();
    return failed;
  });
}

bool Blob_Flush(const BlobRef& BT) {
  return Guard(u"QvDbXtMod.Blob_Flush", true, [&] {
    auto copy = BlobRecordAccess::Copy(Need(BT));
    if (Str_2_Blob(copy.Fld, copy.Buffer)) return true;
    copy.Offset += static_cast<int32_t>(copy.Buffer.size());
    copy.ptr = 1;
    copy.Buffer.clear();
    return false;
  });
}

bool Blob_Get(const BlobRef& BT, Variant& RetVal) {
  return Guard(u"QvDbXtMod.Blob_Get", true, [&] {
    auto copy = BlobRecordAccess::Copy(Need(BT));
    const size_t width = GetWidth(RetVal);
    if (width == 0) {  // an empty String asks for nothing
      RetVal = Variant(String());
      return false;
    }
    String part;
    for (;;) {
      if (copy.ptr < 1) Raise(kErrInvalidCall);  // no position before the first character
      const size_t from = static_cast<size_t>(copy.ptr - 1);
      if (from < copy.Buffer.size()) {
        const size_t take = std::min(width - part.size(), copy.Buffer.size() - from);
        part.append(copy.Buffer, from, take);
        copy.ptr = static_cast<int16_t>(copy.ptr + take);
      }
      if (part.size() == width) {
        RetVal = FromChars(RetVal, part);
        return false;
      }
      copy.Offset += static_cast<int32_t>(copy.Buffer.size());
      copy.Buffer = Blob_2_Str(copy.Fld, Variant(copy.Offset), Variant(int32_t{kBlobSpan}));
      copy.ptr = 1;
      if (copy.Buffer.empty()) {
        if (Last_Error() != 0) return true;  // the failed read is already recorded
        Raise(kErrInputPastEnd);
      }
    }
  });
}

bool File_2_Blob(const String& FileName, const FieldRef& Fld) {
  int32_t handle = 0;
  return Guard(
      u"QvDbXtMod.File2Blob", true,
      [&] {
        dao::Field& field = Need(Fld);
        handle = FileOpenNext(FileName, FileMode::Binary, ShareLock::Shared, Access::Read);
        const int64_t length = FileLof(handle);
        if (length > 0) {
          // The file's bytes are its one-character-per-byte string: they go in as they are.
          const std::string bytes = GetBytes(handle, 1, static_cast<size_t>(length));
          field.AppendChunk(Variant(std::vector<uint8_t>(bytes.begin(), bytes.end())));
        }
        FileClose(handle);
        return false;
      },
      [&] { FileClose(handle); });
}

bool Blob_2_File(const String& FileName, const FieldRef& Fld) {
  int32_t handle = 0;
  return Guard(
      u"QvDbXtMod.Blob2File", true,
      [&] {
        dao::Field& field = Need(Fld);
        const int32_t size = field.FieldSize();
        RemoveFile(FileName);  // the file gets exactly the field's bytes
        handle = FileOpenNext(FileName, FileMode::Binary, ShareLock::Exclusive, Access::Write);
        for (int32_t at = 0; at < size; at += kFilePiece) {
          const Variant chunk = field.GetChunk(at, std::min(kFilePiece, size - at));
          if (chunk.IsNull()) break;
          const auto& bytes = chunk.Bytes();
          PutBytes(handle, at + 1,
                   std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
        }
        FileClose(handle);
        return false;
      },
      [&] { FileClose(handle); });
}

}  // namespace kiv::QvDbXtMod
