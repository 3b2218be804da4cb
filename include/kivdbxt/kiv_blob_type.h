// KivBlobType: the cursor of the buffered blob operations (QvDbXt Blob_Init, Blob_Put, Blob_Get,
// Blob_Seek, Blob_Flush).
//
// The operations read the cursor through a copy of its whole record and never write the copy
// back: its fields change only when the client sets them. Two Blob_Get calls in a row therefore
// read the same value, and a Blob_Put that leaves less than 4096 characters buffered stores
// nothing. Clients depend on this.
#pragma once

#include <cstdint>
#include <memory>

#include "kivdbxt/dao.h"
#include "kivdbxt/export.h"
#include "kivdbxt/types.h"

namespace kiv {

class KIV_API KivBlobType : public Object {
 public:
  // An empty cursor: no field, Offset 0, ptr 1, Buffer empty.
  KivBlobType() = default;

  // The long binary or memo field.
  std::shared_ptr<dao::Field> Fld() const { return record_.Fld; }
  void Fld(const std::shared_ptr<dao::Field>& value) { record_.Fld = value; }
  // Byte position in the field of the first character of Buffer.
  int32_t Offset() const { return record_.Offset; }
  void Offset(int32_t value) { record_.Offset = value; }
  // 1-based position in Buffer of the next character to read.
  int16_t ptr() const { return record_.ptr; }
  void ptr(int16_t value) { record_.ptr = value; }
  // The buffered span: one character per byte of the field.
  const String& Buffer() const { return record_.Buffer; }
  void Buffer(const String& value) { record_.Buffer = value; }

 private:
  friend struct BlobRecordAccess;
  struct Record {
    std::shared_ptr<dao::Field> Fld;
    int32_t Offset = 0;
    int16_t ptr = 1;
    String Buffer;
  };
  Record record_;
};

}  // namespace kiv
