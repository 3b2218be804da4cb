#include "dbhelpers/blob_codec.h"

#include <cstring>

#include "frame/error.h"
#include "platform/rt_errors.h"
#include "platform/text_codec.h"

namespace kiv::QvDbXtMod {
namespace {

template <class T>
String CharsOf(T value) {
  unsigned char bytes[sizeof(T)];
  std::memcpy(bytes, &value, sizeof(T));  // the platform is little-endian
  String out;
  for (unsigned char b : bytes) out.push_back(b);
  return out;
}

template <class T>
T ValueOf(StringView chars) {
  unsigned char bytes[sizeof(T)];
  for (size_t i = 0; i < sizeof(T); ++i) bytes[i] = static_cast<unsigned char>(chars[i] & 0xff);
  T value;
  std::memcpy(&value, bytes, sizeof(T));
  return value;
}

}  // namespace

String PutChars(const Variant& value) {
  switch (value.Type()) {
    case vbInteger:
      return CharsOf(static_cast<int16_t>(value.IntValue()));
    case vbBoolean:
      return CharsOf(static_cast<int16_t>(value.BoolValue() ? -1 : 0));
    case vbLong:
      return CharsOf(static_cast<int32_t>(value.IntValue()));
    case vbSingle:
    case vbDouble:
    case vbDate:
      return CharsOf(value.ToDouble().value_or(0));
    case vbCurrency:
      return CharsOf(static_cast<int64_t>(value.IntValue()));
    case vbString:
      return value.StringValue();
    case vbByte:
      return String(1, static_cast<char16_t>(value.IntValue() & 0xff));
    default:
      Raise(kErrTypeMismatch);
  }
}

size_t GetWidth(const Variant& like) {
  switch (like.Type()) {
    case vbInteger:
    case vbBoolean:
      return 2;
    case vbLong:
    case vbSingle:
      return 4;
    case vbDouble:
    case vbCurrency:
    case vbDate:
      return 8;
    case vbString:
      return like.StringValue().size();
    case vbByte:
      return 1;
    default:
      Raise(kErrTypeMismatch);
  }
}

Variant FromChars(const Variant& like, StringView chars) {
  switch (like.Type()) {
    case vbInteger:
      return Variant(ValueOf<int16_t>(chars));
    case vbBoolean:
      return Variant(ValueOf<int16_t>(chars) != 0);
    case vbLong:
      return Variant(ValueOf<int32_t>(chars));
    case vbSingle:
      return Variant(ValueOf<float>(chars));
    case vbDouble:
      return Variant(ValueOf<double>(chars));
    case vbCurrency:
      return Variant(Currency{ValueOf<int64_t>(chars)});
    case vbDate:
      return Variant::FromDate(ValueOf<double>(chars));
    case vbByte:
      return Variant(static_cast<uint8_t>(chars[0] & 0xff));
    default:
      return Variant(String(chars));
  }
}

std::vector<uint8_t> StringBytes(StringView text) {
  if (IsByteString(text)) return StringToBytes(text);
  std::vector<uint8_t> out;
  out.reserve(text.size() * 2);
  for (char16_t c : text) {
    out.push_back(static_cast<uint8_t>(c & 0xff));
    out.push_back(static_cast<uint8_t>(c >> 8));
  }
  return out;
}

}  // namespace kiv::QvDbXtMod
