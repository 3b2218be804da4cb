// Conversions between the library's values and the automation types at the server's boundary.
#pragma once

#include <memory>

#include "com/system.h"
#include "kivdbxt/types.h"
#include "kivdbxt/variant.h"

namespace kiv::com {

// A BSTR holds UTF-16, as kiv::String does; a null BSTR is the empty string.
String FromBstr(BSTR text);
BSTR ToBstr(const String& text);
// Replaces the caller's string with text (frees what it held).
void AssignBstr(BSTR* target, const String& text);

inline VARIANT_BOOL ToVariantBool(bool value) { return value ? VARIANT_TRUE : VARIANT_FALSE; }

// A library Variant as an automation VARIANT (objects are wrapped, byte arrays become SAFEARRAYs
// of bytes), and back. FromVariant follows VT_BYREF.
void ToVariant(const Variant& value, VARIANT* out);
Variant FromVariant(const VARIANT& value);

}  // namespace kiv::com
