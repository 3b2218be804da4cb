// Values as the characters of a blob: one character per byte, numbers in their little-endian
// in-memory layout.
#pragma once

#include <cstddef>

#include "kivdbxt/variant.h"

namespace kiv::QvDbXtMod {

// The characters Blob_Put writes for a value (a Single widened to a Double); error 13 for a type
// that has none.
String PutChars(const Variant& value);
// How many characters Blob_Get reads for a value of this type; error 13 for a type it cannot read.
size_t GetWidth(const Variant& like);
// The value of RetVal's type read from exactly GetWidth(RetVal) characters.
Variant FromChars(const Variant& like, StringView chars);
// Bytes of a string: one per character when all are 0..255, else UTF-16 little-endian units.
std::vector<uint8_t> StringBytes(StringView text);

}  // namespace kiv::QvDbXtMod
