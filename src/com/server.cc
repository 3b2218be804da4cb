// The in-process server's entry points for creating objects: the class factories,
// DllGetClassObject and DllCanUnloadNow.
#include <initguid.h>

#include <mutex>
#include <unordered_map>
#include <vector>

#include "com/module.h"
#include "com/objects.h"
#include "com/system.h"
#include "com/typelib.h"
#include "com/wrappers.h"
#include "kivdbxt/class_table.h"
#include "kivdbxt/collection.h"
#include "kivdbxt/kiv_blob_type.h"
#include "kivdbxt/kiv_log.h"
#include "kivdbxt/kiv_log_event.h"
#include "kivdbxt/kiv_log_file.h"
#include "kivdbxt/kiv_log_filter.h"
#include "kivdbxt/kiv_log_info.h"
#include "kivdbxt/kiv_sector.h"
#include "kivdbxt/qv_db_xt.h"

namespace kiv::com {

// {EEBB3A35-FCB3-4602-9D66-F4ADFFB741B4}
const IID IID_IKivObject = {
    0xeebb3a35, 0xfcb3, 0x4602, {0x9d, 0x66, 0xf4, 0xad, 0xff, 0xb7, 0x41, 0xb4}};

std::atomic<long>& LiveObjects() {
  static std::atomic<long> count{0};
  return count;
}

std::atomic<long>& ServerLocks() {
  static std::atomic<long> count{0};
  return count;
}

std::wstring ModulePath() {
  HMODULE module = nullptr;
  GetModuleHandleExW(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      reinterpret_cast<LPCWSTR>(&ModulePath), &module);
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length = GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()));
    if (length < path.size()) {
      path.resize(length);
      return path;
    }
    path.resize(path.size() * 2);
  }
}

namespace {

std::mutex& WrappersLock() {
  static std::mutex lock;
  return lock;
}
std::unordered_map<const void*, IKivObject*>& Wrappers() {
  static std::unordered_map<const void*, IKivObject*> wrappers;
  return wrappers;
}

}  // namespace

void RememberWrapper(const void* target, IKivObject* wrapper) {
  if (target == nullptr) return;
  std::lock_guard<std::mutex> lock(WrappersLock());
  Wrappers()[target] = wrapper;  // replaces one that is being destroyed
}

void ForgetWrapper(const void* target, IKivObject* wrapper) {
  std::lock_guard<std::mutex> lock(WrappersLock());
  auto it = Wrappers().find(target);
  if (it != Wrappers().end() && it->second == wrapper) Wrappers().erase(it);
}

IDispatch* FindWrapper(const void* target) {
  std::lock_guard<std::mutex> lock(WrappersLock());
  auto it = Wrappers().find(target);
  return it != Wrappers().end() ? it->second->AddRefIfAlive() : nullptr;
}

IDispatch* Wrap(const std::shared_ptr<Object>& object) {
  if (object == nullptr) return nullptr;
  if (IDispatch* known = FindWrapper(object.get())) return known;
  if (auto log = std::dynamic_pointer_cast<KivLog>(object)) return WrapLog(log);
  if (auto file = std::dynamic_pointer_cast<KivLogFile>(object)) return WrapLogFile(file);
  if (auto info = std::dynamic_pointer_cast<KivLogInfo>(object)) return WrapInfo(info);
  if (auto event = std::dynamic_pointer_cast<KivLogEvent>(object)) return WrapEvent(event);
  if (auto filter = std::dynamic_pointer_cast<KivLogFilter>(object)) return WrapFilter(filter);
  if (auto sector = std::dynamic_pointer_cast<KivSector>(object)) return WrapSector(sector);
  if (auto helpers = std::dynamic_pointer_cast<QvDbXt>(object)) return WrapQvDbXt(helpers);
  if (auto blob = std::dynamic_pointer_cast<KivBlobType>(object)) return WrapBlob(blob);
  if (auto items = std::dynamic_pointer_cast<Collection>(object)) return WrapCollection(items);
  return WrapDao(object);
}

namespace {

// The classes of the class table this server exposes, made through the library's factory.
constexpr const char16_t* kServedTableClasses[] = {u"QvDbXt",       u"KivBlobType", u"KivLogFile",
                                                   u"KivLog",       u"KivLogInfo",  u"KivLogEvent",
                                                   u"KivLogFilter", u"KivSector"};

GUID ParseGuid(const char16_t* text) {
  GUID id = GUID_NULL;
  CLSIDFromString(reinterpret_cast<LPOLESTR>(const_cast<char16_t*>(text)), &id);
  return id;
}

std::wstring Wide(const char16_t* text) {
  return std::wstring(reinterpret_cast<const wchar_t*>(text));
}

std::vector<ServedClass> MakeServedClasses() {
  std::vector<ServedClass> classes;
  for (const ClassInfo& info : ClassTable()) {
    for (const char16_t* name : kServedTableClasses) {
      if (StringView(name) != info.Name) continue;
      classes.push_back({Wide(info.Name), Wide(info.ProgId), ParseGuid(info.Clsid),
                         ParseGuid(info.Iid), nullptr});
    }
  }
  classes.push_back({L"Collection", L"KivDbXtOle.Collection", CLSID_Collection,
                     __uuidof(_Collection),
                     [] { return WrapCollection(std::make_shared<Collection>()); }});
  classes.push_back(
      {L"DBEngine", L"KivDbXtOle.DBEngine", CLSID_DBEngine, __uuidof(_DBEngine), &MakeEngine});
  classes.push_back({L"LastError", L"KivDbXtOle.LastError", CLSID_LastError, __uuidof(_LastError),
                     &MakeLastError});
  return classes;
}

IDispatch* MakeObject(const ServedClass& served) {
  if (served.make != nullptr) return served.make();
  const String prog_id(reinterpret_cast<const char16_t*>(served.prog_id.c_str()));
  return Wrap(CreateObject(prog_id));
}

class ClassFactory : public SimpleUnknown<IClassFactory> {
 public:
  explicit ClassFactory(const ServedClass& served) : served_(served) {}

  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** out) override {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    IDispatch* object = MakeObject(served_);
    if (object == nullptr) return E_OUTOFMEMORY;
    const HRESULT hr = object->QueryInterface(iid, out);
    object->Release();
    return hr;
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override {
    if (lock) {
      ++ServerLocks();
    } else {
      --ServerLocks();
    }
    return S_OK;
  }

 private:
  const ServedClass& served_;
};

}  // namespace

const std::vector<ServedClass>& ServedClasses() {
  static const std::vector<ServedClass> classes = MakeServedClasses();
  return classes;
}

}  // namespace kiv::com

extern "C" __declspec(dllexport) HRESULT STDAPICALLTYPE
    DllGetClassObject(REFCLSID clsid, REFIID iid, void** out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  for (const kiv::com::ServedClass& served : kiv::com::ServedClasses()) {
    if (served.clsid != clsid) continue;
    auto* factory = new kiv::com::ClassFactory(served);
    const HRESULT hr = factory->QueryInterface(iid, out);
    factory->Release();
    return hr;
  }
  return CLASS_E_CLASSNOTAVAILABLE;
}

extern "C" __declspec(dllexport) HRESULT STDAPICALLTYPE DllCanUnloadNow() {
  return kiv::com::LiveObjects() == 0 && kiv::com::ServerLocks() == 0 ? S_OK : S_FALSE;
}
