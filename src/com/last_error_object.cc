// LastError: the calling thread's recorded error as scripts read it, and Set_Error for scripts.
//
// A script's run-time error lives in its own engine (VBScript's Err, a JScript exception), out
// of the library's reach. A script hands it to Set_Error as the Number argument; it then becomes
// this thread's current run-time error, so that Set_Error captures it exactly as it captures
// one of the library's own, and is cleared in the script as a captured error is.
#include <cwctype>
#include <string>

#include "com/members.h"
#include "com/system.h"
#include "com/typelib.h"
#include "com/wrappers.h"
#include "kivdbxt/err.h"
#include "kivdbxt/error.h"

namespace kiv::com {
namespace {

// A run-time error as an HRESULT (0x800A0035, as JScript's number shows it) is the run-time
// error numbered by its low word (53), as VBScript's Err.Number shows it.
int32_t ClientNumber(int32_t number) {
  const uint32_t bits = static_cast<uint32_t>(number);
  return (bits & 0xFFFF0000u) == 0x800A0000u ? static_cast<int32_t>(bits & 0xFFFFu) : number;
}

// A property of a script's object by its name, as VBScript spells it or as JScript does (whose
// names are case-sensitive and start in lower case). Missing when the object has neither.
Variant PropertyOf(IDispatch* object, const wchar_t* name) {
  std::wstring spellings[] = {name, name};
  spellings[1][0] = static_cast<wchar_t>(towlower(spellings[1][0]));
  for (std::wstring& spelling : spellings) {
    LPOLESTR names[] = {spelling.data()};
    DISPID id = 0;
    if (FAILED(object->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &id))) continue;
    VARIANT value;
    VariantInit(&value);
    DISPPARAMS none = {nullptr, nullptr, 0, 0};
    const HRESULT hr = object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET,
                                      &none, &value, nullptr, nullptr);
    Variant out = SUCCEEDED(hr) ? FromVariant(value) : Variant::Missing();
    VariantClear(&value);
    if (SUCCEEDED(hr)) return out;
  }
  return Variant::Missing();
}

// A property's value as a Long or as text; what is missing or does not convert is 0 or empty.
// (A conversion that fails sets the run-time error, so what is missing is not converted.)
int32_t LongOf(const Variant& value) {
  return value.IsMissing() || value.IsNull() ? 0 : value.ToLong().value_or(0);
}
String TextOf(const Variant& value) {
  return value.IsMissing() || value.IsNull() ? String() : value.ToString().value_or(String());
}

// Makes a script's error object this thread's current run-time error and clears it in the
// script (an object without Clear, as a JScript exception, is left as it is).
void TakeScriptError(IDispatch* error) {
  ErrObject& err = Err();
  const int32_t number = ClientNumber(LongOf(PropertyOf(error, L"Number")));
  const String source = TextOf(PropertyOf(error, L"Source"));
  const String description = TextOf(PropertyOf(error, L"Description"));
  const String help_file = TextOf(PropertyOf(error, L"HelpFile"));
  const int32_t help_context = LongOf(PropertyOf(error, L"HelpContext"));
  err.Clear();
  err.Number(number);
  err.Source(source);
  err.Description(description);
  err.HelpFile(help_file);
  err.HelpContext(help_context);
  OLECHAR clear_name[] = L"Clear";
  LPOLESTR names[] = {clear_name};
  DISPID clear = 0;
  if (SUCCEEDED(error->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &clear))) {
    DISPPARAMS none = {nullptr, nullptr, 0, 0};
    error->Invoke(clear, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &none, nullptr, nullptr,
                  nullptr);
  }
}

// A script object that is not one of this server's: the candidate for a script's error.
IDispatch* ForeignObject(const VARIANT& value) {
  const VARIANT& plain = value.vt == (VT_BYREF | VT_VARIANT) ? *value.pvarVal : value;
  if (plain.vt != VT_DISPATCH || plain.pdispVal == nullptr) return nullptr;
  return Unwrap<Object>(plain.pdispVal) == nullptr ? plain.pdispVal : nullptr;
}

class LastErrorObject : public AutomationObject<_LastError, Object> {
 public:
  LastErrorObject() : AutomationObject(std::make_shared<Object>()) {}

  HRESULT STDMETHODCALLTYPE get_Number(LONG* ret) override {
    return Out(ret, LastErrorRecord().Number);
  }
  HRESULT STDMETHODCALLTYPE get_Source(BSTR* ret) override {
    return Out(ret, LastErrorRecord().Source);
  }
  HRESULT STDMETHODCALLTYPE get_Description(BSTR* ret) override {
    return Out(ret, LastErrorRecord().Description);
  }
  HRESULT STDMETHODCALLTYPE get_HelpFile(BSTR* ret) override {
    return Out(ret, LastErrorRecord().HelpFile);
  }
  HRESULT STDMETHODCALLTYPE get_HelpContext(BSTR* ret) override {
    return Out(ret, LastErrorRecord().HelpContext);
  }
  HRESULT STDMETHODCALLTYPE get_LastDllError(LONG* ret) override {
    return Out(ret, LastErrorRecord().LastDllError);
  }
  HRESULT STDMETHODCALLTYPE Clear() override {
    ClearLastError();
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE Set_Error(VARIANT Number, VARIANT Source, VARIANT Description,
                                      VARIANT HelpFile, VARIANT HelpContext, VARIANT LastDllError,
                                      LONG* Flags, VARIANT Extra, LONG* Option) override {
    int32_t flags = In(Flags), option = In(Option);
    Variant number = FromVariant(Number);
    if (IDispatch* error = ForeignObject(Number)) {
      if (flags & (SETERR_NOERR | SETERR_PASSTHROUGH)) {
        number = PropertyOf(error, L"Number");
      } else {
        TakeScriptError(error);
        number = Variant::Missing();
      }
    }
    if (!number.IsMissing() && number.IsNumeric()) number = Variant(ClientNumber(LongOf(number)));
    kiv::Set_Error(number, FromVariant(Source), FromVariant(Description), FromVariant(HelpFile),
                   FromVariant(HelpContext), FromVariant(LastDllError), flags, FromVariant(Extra),
                   option);
    Back(Flags, flags);
    Back(Option, option);
    return S_OK;
  }
};

}  // namespace

IDispatch* MakeLastError() { return static_cast<_LastError*>(new LastErrorObject()); }

}  // namespace kiv::com
