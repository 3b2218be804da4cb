#include "com/com_values.h"

#include <cstring>

#include "com/objects.h"
#include "com/system.h"

namespace kiv::com {

String FromBstr(BSTR text) {
  if (text == nullptr) return String();
  return String(reinterpret_cast<const char16_t*>(text), SysStringLen(text));
}

BSTR ToBstr(const String& text) {
  return SysAllocStringLen(reinterpret_cast<const OLECHAR*>(text.data()),
                           static_cast<UINT>(text.size()));
}

void AssignBstr(BSTR* target, const String& text) {
  if (target == nullptr) return;
  SysFreeString(*target);
  *target = ToBstr(text);
}

namespace {

SAFEARRAY* ByteArray(const std::vector<uint8_t>& bytes) {
  SAFEARRAY* array = SafeArrayCreateVector(VT_UI1, 0, static_cast<ULONG>(bytes.size()));
  if (array == nullptr || bytes.empty()) return array;
  void* data = nullptr;
  if (SUCCEEDED(SafeArrayAccessData(array, &data))) {
    std::memcpy(data, bytes.data(), bytes.size());
    SafeArrayUnaccessData(array);
  }
  return array;
}

SAFEARRAY* VariantArray(const std::vector<Variant>& items) {
  SAFEARRAY* array = SafeArrayCreateVector(VT_VARIANT, 0, static_cast<ULONG>(items.size()));
  for (LONG i = 0; array != nullptr && i < static_cast<LONG>(items.size()); ++i) {
    VARIANT item;
    ToVariant(items[i], &item);
    SafeArrayPutElement(array, &i, &item);
    VariantClear(&item);
  }
  return array;
}

// The elements of a one-dimensional SAFEARRAY, whatever its element type.
Variant FromArray(SAFEARRAY* array, VARTYPE element) {
  LONG low = 0, high = -1;
  if (array == nullptr || SafeArrayGetDim(array) != 1) return Variant();
  SafeArrayGetLBound(array, 1, &low);
  SafeArrayGetUBound(array, 1, &high);
  if (element == VT_UI1) {
    std::vector<uint8_t> bytes(static_cast<size_t>(high - low + 1));
    for (LONG i = low; i <= high; ++i) SafeArrayGetElement(array, &i, &bytes[i - low]);
    return Variant(std::move(bytes));
  }
  std::vector<Variant> items;
  for (LONG i = low; i <= high; ++i) {
    VARIANT item;
    VariantInit(&item);
    if (element == VT_VARIANT) {
      SafeArrayGetElement(array, &i, &item);
    } else {
      // Only pointer-free element types are copied through a plain buffer.
      item.vt = element;
      if (element == VT_BSTR) {
        SafeArrayGetElement(array, &i, &item.bstrVal);
      } else {
        SafeArrayGetElement(array, &i, &item.llVal);
      }
    }
    items.push_back(FromVariant(item));
    VariantClear(&item);
  }
  return Variant(std::move(items));
}

}  // namespace

void ToVariant(const Variant& value, VARIANT* out) {
  VariantInit(out);
  if (value.IsMissing()) {
    out->vt = VT_ERROR;
    out->scode = DISP_E_PARAMNOTFOUND;
    return;
  }
  switch (value.Type()) {
    case vbEmpty:
      return;
    case vbNull:
      out->vt = VT_NULL;
      return;
    case vbBoolean:
      out->vt = VT_BOOL;
      out->boolVal = ToVariantBool(value.BoolValue());
      return;
    case vbByte:
      out->vt = VT_UI1;
      out->bVal = static_cast<BYTE>(value.IntValue());
      return;
    case vbInteger:
      out->vt = VT_I2;
      out->iVal = static_cast<SHORT>(value.IntValue());
      return;
    case vbLong:
      out->vt = VT_I4;
      out->lVal = static_cast<LONG>(value.IntValue());
      return;
    case vbSingle:
      out->vt = VT_R4;
      out->fltVal = static_cast<float>(value.DoubleValue());
      return;
    case vbDouble:
      out->vt = VT_R8;
      out->dblVal = value.DoubleValue();
      return;
    case vbCurrency:
      out->vt = VT_CY;
      out->cyVal.int64 = value.IntValue();
      return;
    case vbDate:
      out->vt = VT_DATE;
      out->date = value.DoubleValue();
      return;
    case vbString:
      out->vt = VT_BSTR;
      out->bstrVal = ToBstr(value.StringValue());
      return;
    case vbError:
      out->vt = VT_ERROR;
      out->scode = static_cast<SCODE>(value.IntValue());
      return;
    case vbObject:
      out->vt = VT_DISPATCH;
      out->pdispVal = Wrap(value.ObjectValue());
      return;
    case vbArray | vbByte:
      out->vt = VT_ARRAY | VT_UI1;
      out->parray = ByteArray(value.Bytes());
      return;
    case vbArray | vbVariant:
      out->vt = VT_ARRAY | VT_VARIANT;
      out->parray = VariantArray(value.Items());
      return;
    default:
      return;
  }
}

Variant FromVariant(const VARIANT& value) {
  if (value.vt == (VT_BYREF | VT_VARIANT)) return FromVariant(*value.pvarVal);
  VARIANT plain;
  VariantInit(&plain);
  if (FAILED(VariantCopyInd(&plain, const_cast<VARIANT*>(&value)))) return Variant();
  Variant out;
  switch (plain.vt) {
    case VT_NULL:
      out = Variant::Null();
      break;
    case VT_BOOL:
      out = Variant(plain.boolVal != VARIANT_FALSE);
      break;
    case VT_UI1:
      out = Variant(static_cast<uint8_t>(plain.bVal));
      break;
    case VT_I2:
      out = Variant(static_cast<int16_t>(plain.iVal));
      break;
    case VT_I4:
      out = Variant(static_cast<int32_t>(plain.lVal));
      break;
    case VT_R4:
      out = Variant(plain.fltVal);
      break;
    case VT_R8:
      out = Variant(plain.dblVal);
      break;
    case VT_CY:
      out = Variant(Currency{plain.cyVal.int64});
      break;
    case VT_DATE:
      out = Variant::FromDate(plain.date);
      break;
    case VT_BSTR:
      out = Variant(FromBstr(plain.bstrVal));
      break;
    case VT_ERROR:
      out = plain.scode == DISP_E_PARAMNOTFOUND ? Variant::Missing() : Variant::Error(plain.scode);
      break;
    case VT_DISPATCH:
    case VT_UNKNOWN:
      out = Variant(Unwrap<Object>(plain.punkVal));
      break;
    default:
      if ((plain.vt & VT_ARRAY) != 0) out = FromArray(plain.parray, plain.vt & VT_TYPEMASK);
      break;
  }
  VariantClear(&plain);
  return out;
}

}  // namespace kiv::com
