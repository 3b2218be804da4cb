// DllRegisterServer and DllUnregisterServer: the registry keys that let clients create the
// classes by CLSID or ProgID and find the type library.
//
// Written under HKEY_CLASSES_ROOT, for every served class:
//   CLSID\{clsid}                   the class name
//   CLSID\{clsid}\InprocServer32    this module's path; ThreadingModel = Apartment
//   CLSID\{clsid}\ProgID            KivDbXtOle.<Class>
//   CLSID\{clsid}\TypeLib           the type library's identifier
//   CLSID\{clsid}\Version           26.0
//   KivDbXtOle.<Class>\CLSID        {clsid}
// and, through RegisterTypeLib, TypeLib\{libid}\1a.0\409\win64 and Interface\{iid} of every
// interface (ProxyStubClsid32: the type library marshaler), plus TypeLib\{libid}\1a.0\0\win64,
// which Wine's marshaler looks for when a call crosses apartments.

#include <string>

#include "com/dispatch.h"
#include "com/module.h"
#include "com/system.h"
#include "kivdbxt/class_table.h"

namespace kiv::com {
namespace {

std::wstring GuidText(REFGUID id) {
  wchar_t text[40] = {};
  StringFromGUID2(id, text, 40);
  return text;
}

std::wstring LibraryId() {
  return std::wstring(reinterpret_cast<const wchar_t*>(kiv::TypeLibrary().Id));
}

// The type library's version as its registry key names it: hexadecimal.
std::wstring VersionKey() {
  wchar_t text[16] = {};
  wsprintfW(text, L"%x.%x", kiv::TypeLibrary().MajorVersion, kiv::TypeLibrary().MinorVersion);
  return text;
}

bool SetValue(const std::wstring& key, const wchar_t* name, const std::wstring& value) {
  HKEY handle = nullptr;
  if (RegCreateKeyExW(HKEY_CLASSES_ROOT, key.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &handle,
                      nullptr) != ERROR_SUCCESS) {
    return false;
  }
  const LONG status =
      RegSetValueExW(handle, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                     static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
  RegCloseKey(handle);
  return status == ERROR_SUCCESS;
}

bool RegisterClass(const ServedClass& served, const std::wstring& path) {
  const std::wstring clsid = GuidText(served.clsid);
  const std::wstring key = L"CLSID\\" + clsid;
  const std::wstring version = std::to_wstring(kiv::TypeLibrary().MajorVersion) + L"." +
                               std::to_wstring(kiv::TypeLibrary().MinorVersion);
  return SetValue(key, nullptr, served.name) &&
         SetValue(key + L"\\InprocServer32", nullptr, path) &&
         SetValue(key + L"\\InprocServer32", L"ThreadingModel", L"Apartment") &&
         SetValue(key + L"\\ProgID", nullptr, served.prog_id) &&
         SetValue(key + L"\\TypeLib", nullptr, LibraryId()) &&
         SetValue(key + L"\\Version", nullptr, version) &&
         SetValue(served.prog_id, nullptr, served.name) &&
         SetValue(served.prog_id + L"\\CLSID", nullptr, clsid);
}

void DeleteTree(const std::wstring& key) { RegDeleteTreeW(HKEY_CLASSES_ROOT, key.c_str()); }

}  // namespace
}  // namespace kiv::com

extern "C" __declspec(dllexport) HRESULT STDAPICALLTYPE DllRegisterServer() {
  using namespace kiv::com;
  const std::wstring path = ModulePath();
  ITypeLib* library = TypeLibrary();
  if (library == nullptr) return SELFREG_E_TYPELIB;
  if (FAILED(RegisterTypeLib(library, const_cast<OLECHAR*>(path.c_str()), nullptr)))
    return SELFREG_E_TYPELIB;
  const std::wstring version_key = L"TypeLib\\" + LibraryId() + L"\\" + VersionKey();
  if (!SetValue(version_key + L"\\0\\win64", nullptr, path)) return SELFREG_E_TYPELIB;
  for (const ServedClass& served : ServedClasses()) {
    if (!RegisterClass(served, path)) return SELFREG_E_CLASS;
  }
  return S_OK;
}

extern "C" __declspec(dllexport) HRESULT STDAPICALLTYPE DllUnregisterServer() {
  using namespace kiv::com;
  for (const ServedClass& served : ServedClasses()) {
    DeleteTree(L"CLSID\\" + GuidText(served.clsid));
    DeleteTree(served.prog_id);
  }
  // Every interface of the library, whether or not UnRegisterTypeLib removes it.
  if (ITypeLib* library = TypeLibrary()) {
    for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
      TYPEKIND kind;
      ITypeInfo* info = nullptr;
      if (FAILED(library->GetTypeInfoType(i, &kind)) ||
          (kind != TKIND_INTERFACE && kind != TKIND_DISPATCH) ||
          FAILED(library->GetTypeInfo(i, &info))) {
        continue;
      }
      TYPEATTR* attr = nullptr;
      if (SUCCEEDED(info->GetTypeAttr(&attr))) {
        DeleteTree(L"Interface\\" + GuidText(attr->guid));
        info->ReleaseTypeAttr(attr);
      }
      info->Release();
    }
  }
  const kiv::TypeLibraryInfo& identity = kiv::TypeLibrary();
  GUID library_id = GUID_NULL;
  CLSIDFromString(reinterpret_cast<LPOLESTR>(const_cast<char16_t*>(identity.Id)), &library_id);
  UnRegisterTypeLib(library_id, static_cast<WORD>(identity.MajorVersion),
                    static_cast<WORD>(identity.MinorVersion), identity.Lcid, SYS_WIN64);
  DeleteTree(L"TypeLib\\" + LibraryId());
  return S_OK;
}
