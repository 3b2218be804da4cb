#include "com/dispatch.h"

#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "com/module.h"
#include "com/system.h"

namespace kiv::com {

ITypeLib* TypeLibrary() {
  static ITypeLib* const library = [] {
    ITypeLib* loaded = nullptr;
    if (FAILED(LoadTypeLibEx(ModulePath().c_str(), REGKIND_NONE, &loaded)))
      return static_cast<ITypeLib*>(nullptr);
    return loaded;
  }();
  return library;
}

ITypeInfo* TypeInfoOf(REFGUID iid) {
  struct Less {
    bool operator()(const GUID& a, const GUID& b) const {
      return std::memcmp(&a, &b, sizeof a) < 0;
    }
  };
  static std::mutex mutex;
  static std::map<GUID, ITypeInfo*, Less> cache;
  std::lock_guard<std::mutex> lock(mutex);
  auto it = cache.find(iid);
  if (it != cache.end()) return it->second;
  ITypeInfo* info = nullptr;
  ITypeLib* library = TypeLibrary();
  if (library == nullptr || FAILED(library->GetTypeInfoOfGuid(iid, &info))) return nullptr;
  cache.emplace(iid, info);
  return info;
}

namespace {

// The member an invocation means: a put for a property assignment (either kind of put when
// the interface has only one), else a method, else a property read.
FUNCDESC* FindMember(ITypeInfo* type, DISPID id, WORD flags) {
  TYPEATTR* attr = nullptr;
  if (FAILED(type->GetTypeAttr(&attr))) return nullptr;
  const WORD count = attr->cFuncs;
  type->ReleaseTypeAttr(attr);

  const bool put = (flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) != 0;
  const INVOKEKIND wanted[] = {
      put ? ((flags & DISPATCH_PROPERTYPUTREF) ? INVOKE_PROPERTYPUTREF : INVOKE_PROPERTYPUT)
          : ((flags & DISPATCH_METHOD) ? INVOKE_FUNC : INVOKE_PROPERTYGET),
      put ? ((flags & DISPATCH_PROPERTYPUTREF) ? INVOKE_PROPERTYPUT : INVOKE_PROPERTYPUTREF)
          : ((flags & DISPATCH_PROPERTYGET) ? INVOKE_PROPERTYGET : INVOKE_FUNC)};
  for (INVOKEKIND kind : wanted) {
    for (WORD i = 0; i < count; ++i) {
      FUNCDESC* func = nullptr;
      if (FAILED(type->GetFuncDesc(i, &func))) continue;
      if (func->memid == id && func->invkind == kind) return func;
      type->ReleaseFuncDesc(func);
    }
  }
  return nullptr;
}

// The automation type of a user-defined type: an interface is an object, an enumeration a Long.
VARTYPE UserDefined(ITypeInfo* type, HREFTYPE ref) {
  ITypeInfo* target = nullptr;
  if (FAILED(type->GetRefTypeInfo(ref, &target))) return VT_EMPTY;
  VARTYPE vt = VT_EMPTY;
  TYPEATTR* attr = nullptr;
  if (SUCCEEDED(target->GetTypeAttr(&attr))) {
    if (attr->typekind == TKIND_DISPATCH ||
        (attr->typekind == TKIND_INTERFACE && (attr->wTypeFlags & TYPEFLAG_FDISPATCHABLE))) {
      vt = VT_DISPATCH;
    } else if (attr->typekind == TKIND_INTERFACE) {
      vt = VT_UNKNOWN;
    } else if (attr->typekind == TKIND_ENUM) {
      vt = VT_I4;
    } else if (attr->typekind == TKIND_ALIAS) {
      vt = attr->tdescAlias.vt;
    }
    target->ReleaseTypeAttr(attr);
  }
  target->Release();
  return vt;
}

// A declared parameter: its automation type and whether the member receives a pointer to it.
struct Shape {
  VARTYPE vt = VT_EMPTY;
  bool by_ref = false;
};

Shape ShapeOf(ITypeInfo* type, const TYPEDESC& desc) {
  auto base = [&](const TYPEDESC& d) {
    return d.vt == VT_USERDEFINED ? UserDefined(type, d.hreftype) : d.vt;
  };
  if (desc.vt != VT_PTR) return {base(desc), false};
  const TYPEDESC& inner = *desc.lptdesc;
  const VARTYPE inner_vt = inner.vt == VT_PTR ? base(*inner.lptdesc) : base(inner);
  if (inner.vt == VT_PTR) return {inner_vt, true};
  // A pointer to an interface is the object itself, passed by value.
  if (inner.vt == VT_USERDEFINED && (inner_vt == VT_DISPATCH || inner_vt == VT_UNKNOWN))
    return {inner_vt, false};
  return {inner_vt, true};
}

bool IsMissing(const VARIANT* arg) {
  return arg == nullptr || (arg->vt == VT_ERROR && arg->scode == DISP_E_PARAMNOTFOUND);
}

// The zero value of a type: 0, False, an empty string, Nothing.
void ZeroValue(VARTYPE vt, VARIANT* out) {
  VariantInit(out);
  out->vt = vt;
  out->llVal = 0;
  if (vt == VT_BSTR) out->bstrVal = SysAllocString(L"");
}

// One argument as the member sees it.
struct Slot {
  VARIANT value;                  // owned: the converted value, or the default
  VARIANT arg;                    // what goes into the call: value, or a pointer into it
  VARIANT* write_back = nullptr;  // the script's variable that receives value after the call
};

HRESULT Prepare(ITypeInfo* type, const ELEMDESC& elem, const VARIANT* given, Slot& slot) {
  VariantInit(&slot.value);
  VariantInit(&slot.arg);
  const Shape shape = ShapeOf(type, elem.tdesc);
  VARIANT* variable =
      given != nullptr && given->vt == (VT_BYREF | VT_VARIANT) ? given->pvarVal : nullptr;
  const VARIANT* source = variable != nullptr ? variable : given;

  if (shape.vt == VT_VARIANT) {
    if (shape.by_ref && variable != nullptr) {
      slot.arg = *given;
      return S_OK;
    }
    if (IsMissing(source)) {
      slot.value.vt = VT_ERROR;
      slot.value.scode = DISP_E_PARAMNOTFOUND;
    } else if (HRESULT hr = VariantCopyInd(&slot.value, const_cast<VARIANT*>(source)); FAILED(hr)) {
      return hr;
    }
  } else if (shape.by_ref && given != nullptr && given->vt == (VT_BYREF | shape.vt)) {
    slot.arg = *given;  // a compiled client's own typed variable: the member writes it directly
    return S_OK;
  } else if (IsMissing(source)) {
    const PARAMDESC& param = elem.paramdesc;
    if ((param.wParamFlags & PARAMFLAG_FHASDEFAULT) && param.pparamdescex != nullptr) {
      VARIANT fallback = param.pparamdescex->varDefaultValue;
      if (FAILED(VariantChangeType(&slot.value, &fallback, 0, shape.vt))) {
        ZeroValue(shape.vt, &slot.value);
      }
    } else {
      ZeroValue(shape.vt, &slot.value);
    }
  } else {
    VARIANT plain;
    VariantInit(&plain);
    HRESULT hr = VariantCopyInd(&plain, const_cast<VARIANT*>(source));
    if (SUCCEEDED(hr)) {
      if ((shape.vt == VT_DISPATCH || shape.vt == VT_UNKNOWN) &&
          (plain.vt == VT_EMPTY || plain.vt == VT_NULL)) {
        ZeroValue(shape.vt, &slot.value);  // Nothing
      } else {
        hr = VariantChangeType(&slot.value, &plain, 0, shape.vt);
      }
    }
    VariantClear(&plain);
    if (FAILED(hr)) return DISP_E_TYPEMISMATCH;
  }

  if (shape.by_ref) {
    slot.arg.vt = VT_BYREF | shape.vt;
    slot.arg.byref = shape.vt == VT_VARIANT ? static_cast<void*>(&slot.value)
                                            : static_cast<void*>(&slot.value.llVal);
    slot.write_back = variable;
  } else {
    slot.arg = slot.value;  // shallow: value keeps ownership
  }
  return S_OK;
}

// `info.LogData(1)`: a member without parameters called with arguments means its result's
// default member called with them, as the run time's objects behave.
HRESULT InvokeDefaultOfResult(void* object, ITypeInfo* type, DISPID id, WORD kind,
                              DISPPARAMS* params, VARIANT* result, EXCEPINFO* exception,
                              UINT* arg_error) {
  VARIANT value;
  VariantInit(&value);
  DISPPARAMS none = {nullptr, nullptr, 0, 0};
  HRESULT hr = DispInvoke(object, type, id, kind, &none, &value, exception, arg_error);
  if (SUCCEEDED(hr)) {
    if (value.vt == VT_DISPATCH && value.pdispVal != nullptr) {
      hr = value.pdispVal->Invoke(DISPID_VALUE, IID_NULL, LOCALE_USER_DEFAULT,
                                  DISPATCH_METHOD | DISPATCH_PROPERTYGET, params, result, exception,
                                  arg_error);
    } else {
      hr = DISP_E_BADPARAMCOUNT;
    }
  }
  VariantClear(&value);
  return hr;
}

}  // namespace

// `rs("NAME") = "one"`: an assignment to a member that has no put means an assignment to the
// default member of what the member reads, as the run time's objects behave.
static HRESULT PutThroughResult(void* object, ITypeInfo* type, DISPID id, WORD flags,
                                DISPPARAMS* params, EXCEPINFO* exception, UINT* arg_error) {
  VARIANT target;
  VariantInit(&target);
  DISPPARAMS read = {params->rgvarg + 1, nullptr, params->cArgs - 1, 0};
  HRESULT hr = InvokeNormalised(object, type, id, DISPATCH_METHOD | DISPATCH_PROPERTYGET, &read,
                                &target, exception, arg_error);
  if (SUCCEEDED(hr)) {
    if (target.vt == VT_DISPATCH && target.pdispVal != nullptr) {
      DISPID put_name = DISPID_PROPERTYPUT;
      DISPPARAMS write = {params->rgvarg, &put_name, 1, 1};
      hr = target.pdispVal->Invoke(DISPID_VALUE, IID_NULL, LOCALE_USER_DEFAULT, flags, &write,
                                   nullptr, exception, arg_error);
    } else {
      hr = DISP_E_MEMBERNOTFOUND;
    }
  }
  VariantClear(&target);
  return hr;
}

HRESULT InvokeNormalised(void* object, ITypeInfo* type, DISPID id, WORD flags, DISPPARAMS* params,
                         VARIANT* result, EXCEPINFO* exception, UINT* arg_error) {
  if (params == nullptr) return E_INVALIDARG;
  FUNCDESC* func = FindMember(type, id, flags);
  if (func == nullptr && (flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) != 0 &&
      params->cNamedArgs == 1 && params->rgdispidNamedArgs[0] == DISPID_PROPERTYPUT) {
    return PutThroughResult(object, type, id, flags, params, exception, arg_error);
  }
  if (func == nullptr)
    return DispInvoke(object, type, id, flags, params, result, exception, arg_error);
  UINT formal = func->cParams;
  if (formal > 0 && (func->lprgelemdescParam[formal - 1].paramdesc.wParamFlags & PARAMFLAG_FRETVAL))
    --formal;
  const WORD kind = static_cast<WORD>(func->invkind);
  const bool put = (kind & (INVOKE_PROPERTYPUT | INVOKE_PROPERTYPUTREF)) != 0;
  if (formal == 0 && !put && params->cArgs > 0 && params->cNamedArgs == 0) {
    type->ReleaseFuncDesc(func);
    return InvokeDefaultOfResult(object, type, id, kind, params, result, exception, arg_error);
  }

  // The caller's arguments by parameter position: positional ones come last in rgvarg, in
  // reverse order; the value of a property put is named DISPID_PROPERTYPUT.
  HRESULT hr = S_OK;
  std::vector<const VARIANT*> given(formal, nullptr);
  const UINT named = params->cNamedArgs;
  const UINT positional = params->cArgs - named;
  if (positional > formal) hr = DISP_E_BADPARAMCOUNT;
  for (UINT i = 0; SUCCEEDED(hr) && i < positional; ++i) {
    given[i] = &params->rgvarg[params->cArgs - 1 - i];
  }
  for (UINT k = 0; SUCCEEDED(hr) && k < named; ++k) {
    const DISPID name = params->rgdispidNamedArgs[k];
    if (name == DISPID_PROPERTYPUT && put && formal > 0) {
      given[formal - 1] = &params->rgvarg[k];
    } else if (name >= 0 && static_cast<UINT>(name) < formal) {
      given[name] = &params->rgvarg[k];
    } else {
      hr = DISP_E_PARAMNOTFOUND;
    }
  }

  std::vector<Slot> slots(formal);
  UINT prepared = 0;
  for (; SUCCEEDED(hr) && prepared < formal; ++prepared) {
    hr = Prepare(type, func->lprgelemdescParam[prepared], given[prepared], slots[prepared]);
    if (FAILED(hr) && arg_error != nullptr) *arg_error = prepared;
  }
  if (SUCCEEDED(hr)) {
    std::vector<VARIANT> args(formal);
    for (UINT p = 0; p < formal; ++p) args[formal - 1 - p] = slots[p].arg;
    DISPID put_name = DISPID_PROPERTYPUT;
    DISPPARAMS call = {args.data(), put ? &put_name : nullptr, formal, put ? 1u : 0u};
    hr = DispInvoke(object, type, id, kind, &call, result, exception, arg_error);
  }
  for (UINT p = 0; p < prepared && p < formal; ++p) {
    Slot& slot = slots[p];
    if (SUCCEEDED(hr) && slot.write_back != nullptr) {
      VariantClear(slot.write_back);
      *slot.write_back = slot.value;  // the variable takes the value over
      VariantInit(&slot.value);
    }
    VariantClear(&slot.value);
  }
  type->ReleaseFuncDesc(func);
  return hr;
}

}  // namespace kiv::com
