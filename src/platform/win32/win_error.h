// Windows' error codes as the run time's errors, and the wide form of the library's strings.
#pragma once

#include <windows.h>

#include "kivdbxt/types.h"

namespace kiv {

// The run-time error for a Windows error code: a sharing or lock violation is 70, a missing file
// 53, a missing folder 76, a refused access 75, a full disk 61 ...
int32_t RunTimeErrorOf(DWORD code);
// Raises that error, with the code as its LastDllError.
[[noreturn]] void RaiseWinError(DWORD code);

// kiv::String is UTF-16, as the wide calls take it.
inline const wchar_t* Wide(const String& s) { return reinterpret_cast<const wchar_t*>(s.c_str()); }
inline String FromWide(const wchar_t* s) { return String(reinterpret_cast<const char16_t*>(s)); }

}  // namespace kiv
