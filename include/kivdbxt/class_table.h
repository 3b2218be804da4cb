// The external identity of the library's classes.
#pragma once

#include <memory>
#include <span>

#include "kivdbxt/export.h"
#include "kivdbxt/types.h"

namespace kiv {

struct KIV_API TypeLibraryInfo {
  const char16_t* Id;  // {61628F5A-...}
  int MajorVersion;
  int MinorVersion;
  int32_t Lcid;
};

struct KIV_API ClassInfo {
  const char16_t* Name;        // "KivLog"
  const char16_t* Interface;   // "_KivLog"
  const char16_t* Clsid;       // "{D3C54845-...}"
  const char16_t* Iid;         // interface identifier
  const char16_t* EventsName;  // "__KivLogFile", or nullptr
  const char16_t* EventsIid;   // events interface identifier, or nullptr
  bool Creatable;
  const char16_t* ProgId;  // "KivDbXtOle.KivLog"
};

KIV_API const TypeLibraryInfo& TypeLibrary();
KIV_API std::span<const ClassInfo> ClassTable();
// Looks a class up by name, CLSID (braces and case free) or ProgID; nullptr when unknown.
KIV_API const ClassInfo* FindClass(StringView name_clsid_or_progid);
// The methods of _QvDbXt in interface order.
KIV_API std::span<const char16_t* const> QvDbXtMethodOrder();

// Creates an object by CLSID or ProgID. An unknown class, or one this build does not provide,
// answers nullptr and records error 429 "ActiveX component can't create object".
KIV_API std::shared_ptr<Object> CreateObject(StringView clsid_or_progid);

}  // namespace kiv
