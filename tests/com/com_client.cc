// A compiled client of the automation server: reads the registered type library and checks it
// against the library's class table (identifiers, names, _QvDbXt's order, the events interface),
// then binds early through widl's header and calls KivLog through its vtable.
// The server's view of the system headers, without the macros that carry the library's names.
#include "com/system.h"
// initguid makes this file define the identifiers of widl's header.
#include <initguid.h>
#include <kivdbxt/class_table.h>
#include <kivdbxt/constants.h>
#include <kivdbxt/error.h>

#include <cstdio>
#include <string>
#include <vector>

#include "com/typelib.h"

namespace {

int passed = 0, failed = 0;

void Check(bool ok, const std::string& what) {
  if (ok) {
    ++passed;
  } else {
    ++failed;
    std::printf("FAILED: %s\n", what.c_str());
  }
}

std::string Narrow(const wchar_t* text) {
  std::string out;
  for (; text != nullptr && *text != 0; ++text) out.push_back(static_cast<char>(*text));
  return out;
}
std::string Narrow(const char16_t* text) { return Narrow(reinterpret_cast<const wchar_t*>(text)); }

GUID Guid(const char16_t* text) {
  GUID id = GUID_NULL;
  CLSIDFromString(reinterpret_cast<LPOLESTR>(const_cast<char16_t*>(text)), &id);
  return id;
}

std::string NameOf(ITypeInfo* info, MEMBERID member = MEMBERID_NIL) {
  BSTR name = nullptr;
  if (FAILED(info->GetDocumentation(member, &name, nullptr, nullptr, nullptr))) return "";
  std::string out = Narrow(name);
  SysFreeString(name);
  return out;
}

// The type description an implemented interface of a coclass refers to, with its flags.
ITypeInfo* Implemented(ITypeInfo* coclass, UINT index, INT* flags) {
  HREFTYPE ref = 0;
  ITypeInfo* target = nullptr;
  if (FAILED(coclass->GetRefTypeOfImplType(index, &ref)) ||
      FAILED(coclass->GetImplTypeFlags(index, flags)) ||
      FAILED(coclass->GetRefTypeInfo(ref, &target))) {
    return nullptr;
  }
  return target;
}

GUID GuidOf(ITypeInfo* info) {
  TYPEATTR* attr = nullptr;
  GUID id = GUID_NULL;
  if (SUCCEEDED(info->GetTypeAttr(&attr))) {
    id = attr->guid;
    info->ReleaseTypeAttr(attr);
  }
  return id;
}

void CheckClass(ITypeLib* library, const kiv::ClassInfo& c) {
  const std::string name = Narrow(c.Name);
  ITypeInfo* coclass = nullptr;
  if (FAILED(library->GetTypeInfoOfGuid(Guid(c.Clsid), &coclass))) {
    Check(false, name + ": CLSID not in the type library");
    return;
  }
  Check(NameOf(coclass) == name, name + ": coclass name " + NameOf(coclass));
  TYPEATTR* attr = nullptr;
  coclass->GetTypeAttr(&attr);
  bool has_default = false, has_source = c.EventsIid == nullptr;
  for (UINT i = 0; i < attr->cImplTypes; ++i) {
    INT flags = 0;
    ITypeInfo* target = Implemented(coclass, i, &flags);
    if (target == nullptr) continue;
    if (flags == IMPLTYPEFLAG_FDEFAULT) {
      has_default = GuidOf(target) == Guid(c.Iid) && NameOf(target) == Narrow(c.Interface);
    } else if (flags == (IMPLTYPEFLAG_FDEFAULT | IMPLTYPEFLAG_FSOURCE) && c.EventsIid != nullptr) {
      has_source = GuidOf(target) == Guid(c.EventsIid) && NameOf(target) == Narrow(c.EventsName);
    }
    target->Release();
  }
  coclass->ReleaseTypeAttr(attr);
  coclass->Release();
  Check(has_default, name + ": default interface " + Narrow(c.Interface));
  Check(has_source, name + ": default source interface");
}

// EventLogChanged: dispatch identifier 1, three Long arguments by value.
void CheckEvents(ITypeLib* library) {
  ITypeInfo* events = nullptr;
  if (FAILED(
          library->GetTypeInfoOfGuid(Guid(u"{E7BF8F49-E4E4-4810-ABF7-362074184E07}"), &events))) {
    Check(false, "__KivLogFile not in the type library");
    return;
  }
  FUNCDESC* func = nullptr;
  Check(SUCCEEDED(events->GetFuncDesc(0, &func)) && func->memid == 1 && func->cParams == 3 &&
            func->lprgelemdescParam[0].tdesc.vt == VT_I4 &&
            func->lprgelemdescParam[2].tdesc.vt == VT_I4 && NameOf(events, 1) == "EventLogChanged",
        "__KivLogFile: EventLogChanged(Long, Long, Long) at dispatch identifier 1");
  if (func != nullptr) events->ReleaseFuncDesc(func);
  events->Release();
}

// The methods of _QvDbXt in the order of the class table.
void CheckQvDbXtOrder(ITypeLib* library) {
  ITypeInfo* info = nullptr;
  if (FAILED(library->GetTypeInfoOfGuid(Guid(u"{3D400429-42CA-491E-AFBA-7CB2A617923D}"), &info))) {
    Check(false, "_QvDbXt not in the type library");
    return;
  }
  // The dual interface's vtable side: its own methods, after IDispatch's.
  HREFTYPE vtable = 0;
  ITypeInfo* own = nullptr;
  if (SUCCEEDED(info->GetRefTypeOfImplType(static_cast<UINT>(-1), &vtable)) &&
      SUCCEEDED(info->GetRefTypeInfo(vtable, &own))) {
    info->Release();
    info = own;
  }
  std::string order, expected;
  for (const char16_t* method : kiv::QvDbXtMethodOrder()) expected += Narrow(method) + " ";
  TYPEATTR* attr = nullptr;
  info->GetTypeAttr(&attr);
  for (UINT i = 0; i < attr->cFuncs; ++i) {
    FUNCDESC* func = nullptr;
    if (FAILED(info->GetFuncDesc(i, &func))) continue;
    order += NameOf(info, func->memid) + " ";
    info->ReleaseFuncDesc(func);
  }
  info->ReleaseTypeAttr(attr);
  info->Release();
  Check(order == expected, "_QvDbXt order: " + order);
}

// The library's enumerations in the type library, each member by name and value as the
// library's own constants have them.
void CheckEnums(ITypeLib* library) {
#define KIV_MEMBER(name) (std::string(#name "=") + std::to_string(kiv::name) + " ")
  const std::vector<std::pair<std::string, std::string>> expected = {
      {"KivLogType", KIV_MEMBER(EVENTLOG_SUCCESS) + KIV_MEMBER(EVENTLOG_ERROR_TYPE) +
                         KIV_MEMBER(EVENTLOG_WARNING_TYPE) + KIV_MEMBER(EVENTLOG_INFORMATION_TYPE) +
                         KIV_MEMBER(EVENTLOG_AUDIT_SUCCESS) + KIV_MEMBER(EVENTLOG_AUDIT_FAILURE)},
      {"RawDataTypeConst", KIV_MEMBER(RWDT_ASCII) + KIV_MEMBER(RWDT_BINARY)},
      {"QvDbXtConst", KIV_MEMBER(DEFAULTTEXTLEN)},
      {"KivLogWrapping", KIV_MEMBER(KLFWM_OVERWRITEASNEEDED) + KIV_MEMBER(KLFWM_OVERWRITEOLDER) +
                             KIV_MEMBER(KLFWM_DONTOVERWRITE)},
      {"ReadEventLogFlags", KIV_MEMBER(ELREF_FIRST) + KIV_MEMBER(ELREF_NEXT) +
                                KIV_MEMBER(ELREF_LAST) + KIV_MEMBER(ELREF_COUNT) +
                                KIV_MEMBER(ELREF_ABSOLUTE)},
      {"ReservedConst", KIV_MEMBER(ELRC_BACKUPCURRENTREC) + KIV_MEMBER(ELRC_BACKUPASTEXT)},
      {"EventLogOpen_Mode", KIV_MEMBER(ELOF_OPEN_EXISTING) + KIV_MEMBER(ELOF_CREATE_NEW) +
                                KIV_MEMBER(ELOF_CREATE_ALWAYS) + KIV_MEMBER(ELOF_OPENALWAYS) +
                                KIV_MEMBER(ELOF_BACKUP_IFEXISTS)},
      {"KivLogInfo_Options", KIV_MEMBER(KIVLIOPT_DONTCHANGEFILE) + KIV_MEMBER(KIVLIOPT_UTF8) +
                                 KIV_MEMBER(KIVLIOPT_KEEPOPEN)},
      {"LOGFILTERFLAGS", KIV_MEMBER(LGFF_CHECKDATE) + KIV_MEMBER(LGFF_CHECKTYPE) +
                             KIV_MEMBER(LGFF_CHECKCATEGORY) + KIV_MEMBER(LGFF_CHECKID) +
                             KIV_MEMBER(LGFF_CHECKUSER) + KIV_MEMBER(LGFF_CHECKCOMPUTER) +
                             KIV_MEMBER(LGFF_CHECKSOURCE) + KIV_MEMBER(LGFF_CHECKSERVER) +
                             KIV_MEMBER(LGFF_CHECKRAWDATA)},
      {"SetErrorFlags",
       KIV_MEMBER(SETERR_APPENDSYSMSG) + KIV_MEMBER(SETERR_PASSTHROUGH) + KIV_MEMBER(SETERR_NOERR)},
  };
#undef KIV_MEMBER
  for (const auto& [name, members] : expected) {
    std::wstring wide(name.begin(), name.end());
    ITypeInfo* info = nullptr;
    MEMBERID id = 0;
    USHORT found = 1;
    TYPEATTR* attr = nullptr;
    std::string got;
    if (SUCCEEDED(library->FindName(wide.data(), 0, &info, &id, &found)) && found == 1 &&
        SUCCEEDED(info->GetTypeAttr(&attr))) {
      for (UINT i = 0; attr->typekind == TKIND_ENUM && i < attr->cVars; ++i) {
        VARDESC* var = nullptr;
        if (FAILED(info->GetVarDesc(i, &var))) continue;
        got += NameOf(info, var->memid) + "=" + std::to_string(var->lpvarValue->lVal) + " ";
        info->ReleaseVarDesc(var);
      }
      info->ReleaseTypeAttr(attr);
    }
    if (info != nullptr) info->Release();
    Check(got == members, name + " in the type library: " + got);
  }
}

// An optional Long parameter keeps its default in the type library (EventLogOpenEx's Mode: 3).
void CheckDefaults(ITypeLib* library) {
  ITypeInfo* info = nullptr;
  if (FAILED(library->GetTypeInfoOfGuid(__uuidof(_KivLog), &info))) return;
  MEMBERID id = 0;
  OLECHAR name[] = L"EventLogOpenEx";
  LPOLESTR names[] = {name};
  bool found = false;
  if (SUCCEEDED(info->GetIDsOfNames(names, 1, &id))) {
    TYPEATTR* attr = nullptr;
    info->GetTypeAttr(&attr);
    for (UINT i = 0; i < attr->cFuncs && !found; ++i) {
      FUNCDESC* func = nullptr;
      if (FAILED(info->GetFuncDesc(i, &func))) continue;
      if (func->memid == id) {
        const PARAMDESC& mode = func->lprgelemdescParam[2].paramdesc;
        found = (mode.wParamFlags & PARAMFLAG_FHASDEFAULT) && mode.pparamdescex != nullptr &&
                mode.pparamdescex->varDefaultValue.lVal == 3;
      }
      info->ReleaseFuncDesc(func);
    }
    info->ReleaseTypeAttr(attr);
  }
  info->Release();
  Check(found, "EventLogOpenEx's Mode has the default 3 in the type library");
}

// Early binding: KivLog through its vtable, by-reference arguments as a compiled client passes
// them.
void CheckEarlyBinding() {
  _KivLog* log = nullptr;
  if (FAILED(CoCreateInstance(CLSID_KivLog, nullptr, CLSCTX_INPROC_SERVER, IID__KivLog,
                              reinterpret_cast<void**>(&log)))) {
    Check(false, "CoCreateInstance(KivLog)");
    return;
  }
  wchar_t temp[MAX_PATH] = {};
  GetTempPathW(MAX_PATH, temp);
  BSTR app = SysAllocString(L"EARLY"), path = SysAllocString(temp), empty = SysAllocString(L"");
  LONG mode = 2, id = 0;
  DATE day = 45356;  // 2024-03-05
  Check(SUCCEEDED(log->EventLogOpen(&app, &path, &mode, &day, &empty, &empty, &id)) && id != 0,
        "EventLogOpen through the vtable");
  BSTR name = nullptr;
  log->LogFileName(&app, &path, &day, &name);
  Check(Narrow(name).ends_with("EARLY_20240305"), "LogFileName: " + Narrow(name));
  VARIANT_BOOL failed_close = VARIANT_TRUE;
  log->EventLogClose(&id, &failed_close);
  Check(failed_close == VARIANT_FALSE, "EventLogClose through the vtable");
  LONG unknown = 4711;
  log->EventLogClose(&unknown, &failed_close);
  Check(failed_close == VARIANT_TRUE, "a failure is VARIANT_TRUE (-1)");
  SysFreeString(name);
  SysFreeString(app);
  SysFreeString(path);
  SysFreeString(empty);
  log->Release();
}

// A sink of __KivLogFile that keeps every EventLogChanged it receives as "unk:type:id".
class Sink : public IDispatch {
 public:
  std::vector<std::string> calls;
  std::vector<LONG> unks;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
    *out = nullptr;
    if (iid != IID_IUnknown && iid != IID_IDispatch && iid != DIID___KivLogFile)
      return E_NOINTERFACE;
    *out = this;
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++refs_; }
  ULONG STDMETHODCALLTYPE Release() override { return --refs_; }  // lives on the stack
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
    *count = 0;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* params, VARIANT*,
                                   EXCEPINFO*, UINT*) override {
    std::string call = "dispid " + std::to_string(id) + ":";
    for (UINT i = params->cArgs; i-- > 0;) {
      call += params->rgvarg[i].vt == VT_I4 ? std::to_string(params->rgvarg[i].lVal) : "?";
      call += i > 0 ? "," : "";
    }
    if (params->cArgs == 3) unks.push_back(params->rgvarg[2].lVal);
    calls.push_back(call);
    return S_OK;
  }
  ULONG refs() const { return refs_; }

 private:
  ULONG refs_ = 0;
};

IUnknown* IdentityOf(IUnknown* object) {
  IUnknown* identity = nullptr;
  if (object != nullptr) object->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&identity));
  if (identity != nullptr) identity->Release();  // compared only, while the object lives
  return identity;
}

// COM's identity rules on KivLogFile: from each of its interfaces every other is reached and
// the same IUnknown; its connection point is an object of its own, found again through
// EnumConnectionPoints, listing its connections; one library object is one COM object.
void CheckIdentity() {
  _KivLogFile* log = nullptr;
  if (FAILED(CoCreateInstance(CLSID_KivLogFile, nullptr, CLSCTX_INPROC_SERVER, IID__KivLogFile,
                              reinterpret_cast<void**>(&log)))) {
    Check(false, "CoCreateInstance(KivLogFile)");
    return;
  }
  IUnknown* identity = IdentityOf(log);
  const IID* iids[] = {&IID__KivLogFile, &IID_IDispatch, &IID_IConnectionPointContainer,
                       &IID_IProvideClassInfo, &IID_IProvideClassInfo2};
  int answered = 0, expected = 0;
  for (const IID* from : iids) {
    IUnknown* a = nullptr;
    log->QueryInterface(*from, reinterpret_cast<void**>(&a));
    for (const IID* to : iids) {
      IUnknown* b = nullptr;
      ++expected;
      if (a != nullptr && SUCCEEDED(a->QueryInterface(*to, reinterpret_cast<void**>(&b))) &&
          IdentityOf(b) == identity) {
        ++answered;
      }
      if (b != nullptr) b->Release();
    }
    if (a != nullptr) a->Release();
  }
  Check(answered == expected, "KivLogFile's interfaces reach each other with one IUnknown: " +
                                  std::to_string(answered) + " of " + std::to_string(expected));
  void* none = &answered;
  Check(log->QueryInterface(IID_IConnectionPoint, &none) == E_NOINTERFACE && none == nullptr,
        "an interface the object lacks: E_NOINTERFACE, the pointer cleared");

  IConnectionPointContainer* container = nullptr;
  IConnectionPoint *point = nullptr, *listed[2] = {};
  IEnumConnectionPoints* points = nullptr;
  log->QueryInterface(IID_IConnectionPointContainer, reinterpret_cast<void**>(&container));
  ULONG fetched = 0;
  if (container == nullptr || FAILED(container->FindConnectionPoint(DIID___KivLogFile, &point)) ||
      FAILED(container->EnumConnectionPoints(&points))) {
    Check(false, "the connection points of KivLogFile");
  } else {
    IConnectionPointContainer* back = nullptr;
    point->GetConnectionPointContainer(&back);
    IUnknown* own = nullptr;
    point->QueryInterface(IID_IConnectionPoint, reinterpret_cast<void**>(&own));
    Check(own != nullptr && IdentityOf(point) != identity && IdentityOf(back) == identity,
          "the connection point: an object of its own, whose container is the log");
    Check(points->Next(2, listed, &fetched) == S_FALSE && fetched == 1 &&
              IdentityOf(listed[0]) == IdentityOf(point),
          "EnumConnectionPoints lists the one connection point: " + std::to_string(fetched));
    Sink sink;
    DWORD cookie = 0;
    point->Advise(&sink, &cookie);
    IEnumConnections* connections = nullptr;
    CONNECTDATA data[2] = {};
    fetched = 0;
    if (SUCCEEDED(point->EnumConnections(&connections))) connections->Next(2, data, &fetched);
    Check(fetched == 1 && data[0].dwCookie == cookie && IdentityOf(data[0].pUnk) == &sink,
          "EnumConnections lists the advised sink");
    if (fetched == 1) data[0].pUnk->Release();
    if (connections != nullptr) connections->Release();
    point->Unadvise(cookie);
    Check(sink.refs() == 0, "the enumerations and Unadvise release the sink");
    for (IUnknown* held : {static_cast<IUnknown*>(back), own, static_cast<IUnknown*>(listed[0])})
      if (held != nullptr) held->Release();
  }
  for (IUnknown* held : {static_cast<IUnknown*>(points), static_cast<IUnknown*>(point),
                         static_cast<IUnknown*>(container)})
    if (held != nullptr) held->Release();
  log->Release();

  _KivLogInfo* info = nullptr;
  _Collection *first = nullptr, *second = nullptr;
  if (SUCCEEDED(CoCreateInstance(CLSID_KivLogInfo, nullptr, CLSCTX_INPROC_SERVER, IID__KivLogInfo,
                                 reinterpret_cast<void**>(&info)))) {
    info->get_LogData(&first);
    info->get_LogData(&second);
    info->Release();
  }
  Check(first != nullptr && IdentityOf(first) == IdentityOf(second),
        "a property read twice gives the same object");
  if (first != nullptr) first->Release();
  if (second != nullptr) second->Release();
}

// EventLogChanged reaches every advised sink once per report, with EvUnk, EvType and EvId, and
// stops reaching a sink that unadvised. The database log is also read back early bound.
void CheckEvents() {
  _KivLogFile* log = nullptr;
  if (FAILED(CoCreateInstance(CLSID_KivLogFile, nullptr, CLSCTX_INPROC_SERVER, IID__KivLogFile,
                              reinterpret_cast<void**>(&log)))) {
    Check(false, "CoCreateInstance(KivLogFile)");
    return;
  }
  IProvideClassInfo2* info = nullptr;
  GUID source = GUID_NULL;
  if (SUCCEEDED(log->QueryInterface(IID_IProvideClassInfo2, reinterpret_cast<void**>(&info)))) {
    info->GetGUID(GUIDKIND_DEFAULT_SOURCE_DISP_IID, &source);
    info->Release();
  }
  Check(source == DIID___KivLogFile, "IProvideClassInfo2 names __KivLogFile");

  IConnectionPointContainer* container = nullptr;
  IConnectionPoint* point = nullptr;
  log->QueryInterface(IID_IConnectionPointContainer, reinterpret_cast<void**>(&container));
  if (container != nullptr) container->FindConnectionPoint(DIID___KivLogFile, &point);
  if (point == nullptr) {
    Check(false, "the connection point of __KivLogFile");
    log->Release();
    return;
  }
  Sink first, second;
  DWORD first_cookie = 0, second_cookie = 0;
  Check(SUCCEEDED(point->Advise(&first, &first_cookie)) &&
            SUCCEEDED(point->Advise(&second, &second_cookie)),
        "Advise two sinks");

  wchar_t temp[MAX_PATH] = {};
  GetTempPathW(MAX_PATH, temp);
  std::wstring file = std::wstring(temp) + L"kiv_com_events.mdb";
  DeleteFileW(file.c_str());
  BSTR name = SysAllocString(file.c_str()), empty = SysAllocString(L""),
       source_text = SysAllocString(L"client"), raw = SysAllocString(L"raw");
  LONG records = 1000, wrapping = -1, days = 7;
  VARIANT_BOOL failed = VARIANT_TRUE, keep = VARIANT_FALSE;
  log->CreateEventLog(&name, &records, &wrapping, &days, &empty, &failed);
  Check(failed == VARIANT_FALSE, "CreateEventLog");
  log->OpenEventLog(&name, &keep, &failed);
  Check(failed == VARIANT_FALSE, "OpenEventLog");
  for (LONG id = 1; id <= 3; ++id) {
    LONG type = id == 2 ? 1 : 4, event_id = 100 + id;
    BSTR user = SysAllocString(L""), computer = SysAllocString(L""), server = SysAllocString(L"");
    log->ReportEvent(&source_text, &raw, &type, &empty, &event_id, &user, &computer, &server,
                     &failed);
    Check(failed == VARIANT_FALSE && SysStringLen(user) > 0, "ReportEvent writes back the user");
    SysFreeString(user);
    SysFreeString(computer);
    SysFreeString(server);
    if (id == 2) point->Unadvise(second_cookie);
  }
  std::string got_first, got_second;
  for (size_t i = 0; i < first.calls.size(); ++i)
    got_first += first.calls[i].substr(0, first.calls[i].find(':') + 1) +
                 first.calls[i].substr(first.calls[i].find(',') + 1) + ";";
  for (size_t i = 0; i < second.calls.size(); ++i)
    got_second += second.calls[i].substr(second.calls[i].find(',') + 1) + ";";
  Check(got_first == "dispid 1:4,101;dispid 1:1,102;dispid 1:4,103;",
        "every report reaches the first sink in order: " + got_first);
  Check(got_second == "4,101;1,102;",
        "the second sink hears nothing after Unadvise: " + got_second);
  Check(first.unks.size() == 3 && first.unks[0] != 0 && second.unks.size() == 2 &&
            second.unks[1] == first.unks[1],
        "EvUnk is the record's and the same for every sink");

  // The last record read back through the vtable: its EvUnk is the one the event carried.
  LONG flags = 2, position = 0, result = -1;  // ELREF_LAST
  BSTR subset = SysAllocString(L""), order = SysAllocString(L"");
  log->ReadEventLog(&flags, &position, &subset, &order, &result);
  LOGRECORDTYPE record = {};
  log->get_LogRecord(&record);
  Check(result == 0 && !first.unks.empty() && record.EvUnk == first.unks.back() &&
            record.EvId == 103 && Narrow(record.EvRawData) == "raw",
        "the last record read back: id " + std::to_string(record.EvId));
  for (BSTR* text : {&record.EvCategory, &record.EvUser, &record.EvComputer, &record.EvSource,
                     &record.EvServer, &record.EvRawData})
    SysFreeString(*text);

  point->Unadvise(first_cookie);
  Check(first.refs() == 0 && second.refs() == 0, "Unadvise releases the sinks");
  log->CloseEventLog(&failed);
  point->Release();
  container->Release();
  log->Release();
  for (BSTR text : {name, empty, source_text, raw, subset, order}) SysFreeString(text);
}

}  // namespace

int main() {
  CoInitialize(nullptr);
  const kiv::TypeLibraryInfo& identity = kiv::TypeLibrary();
  ITypeLib* library = nullptr;
  HRESULT hr = LoadRegTypeLib(Guid(identity.Id), static_cast<WORD>(identity.MajorVersion),
                              static_cast<WORD>(identity.MinorVersion), identity.Lcid, &library);
  Check(SUCCEEDED(hr), "the type library is registered");
  if (library != nullptr) {
    TLIBATTR* attr = nullptr;
    library->GetLibAttr(&attr);
    Check(attr->wMajorVerNum == 26 && attr->wMinorVerNum == 0 && attr->lcid == 0x0409,
          "type library version 26.0, locale 0x0409");
    library->ReleaseTLibAttr(attr);
    for (const kiv::ClassInfo& c : kiv::ClassTable()) CheckClass(library, c);
    CheckEvents(library);
    CheckQvDbXtOrder(library);
    CheckDefaults(library);
    CheckEnums(library);
    library->Release();
  }
  CheckEarlyBinding();
  CheckIdentity();
  CheckEvents();
  CoUninitialize();
  std::printf("%d passed, %d failed\n", passed, failed);
  return failed == 0 ? 0 : 1;
}
