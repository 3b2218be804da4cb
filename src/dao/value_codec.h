// Field values between the client's Variants and the engine's storage.
//
// Stored forms: Boolean as -1/0, whole numbers as integers, Currency, Single, Double and Date as
// doubles (a date is its OLE date number), text as UTF-8 text, binary as blobs.
#pragma once

#include "dao/connection.h"
#include "dao/schema.h"
#include "kivdbxt/variant.h"

namespace kiv::dao::detail {

// The type of a computed query column, read by its value's storage class.
inline constexpr int16_t kNaturalType = 0;

// Converts a client's value to the field's type: 3421 when it does not convert, 3163 when text or
// binary data is longer than the field's size. Empty and Null give Null.
Variant CoerceToField(const ColumnDef& column, const Variant& value);
// Binds a value of the field's type (as CoerceToField gives it) in its stored form.
void BindStored(Statement& statement, int index, int16_t type, const Variant& value);
// A column of the statement's current row as a Variant of the field's type.
Variant ReadStored(const Statement& statement, int col, int16_t type);
// The bytes of a client's chunk: a byte array's bytes, or one byte per character of a string.
std::vector<uint8_t> ChunkBytes(const Variant& data);

}  // namespace kiv::dao::detail
