// The external identity of the library's classes.
#pragma once

#include <memory>
#include <span>

#include "kivdbxt/export.h"
#include "kivdbxt/types.h"

namespace kiv {

// The identity of the type library: its LIBID, version and locale.
struct KIV_API TypeLibraryInfo {
  const char16_t* Id;  // {61628F5A-...}
  int MajorVersion;
  int MinorVersion;
  int32_t Lcid;
};

// The identity of one public class.
struct KIV_API ClassInfo {
  const char16_t* Name;        // the class's name, "KivLog"
  const char16_t* Interface;   // its default interface, "_KivLog"
  const char16_t* Clsid;       // its class identifier, "{D3C54845-...}"
  const char16_t* Iid;         // its default interface's identifier
  const char16_t* EventsName;  // its events interface, "__KivLogFile", or none
  const char16_t* EventsIid;   // the events interface's identifier, or none
  bool Creatable;              // whether clients may create it
  const char16_t* ProgId;      // its ProgID, "KivDbXtOle.KivLog"
};

// The type library's identity.
KIV_API const TypeLibraryInfo& TypeLibrary();
// Every public class, in the order of the type library.
KIV_API std::span<const ClassInfo> ClassTable();
// Looks a class up by name, CLSID (braces and case free) or ProgID; none when unknown.
KIV_API const ClassInfo* FindClass(StringView name_clsid_or_progid);
// The methods of _QvDbXt in interface order.
KIV_API std::span<const char16_t* const> QvDbXtMethodOrder();

// Creates an object by CLSID or ProgID; none, with error 429 "ActiveX component can't create
// object" recorded, for an unknown class or one this build does not provide.
KIV_API std::shared_ptr<Object> CreateObject(StringView clsid_or_progid);

}  // namespace kiv
