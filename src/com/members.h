// Small helpers for the members of the automation objects: reading the caller's arguments and
// handing results back. Pointers come from DispInvoke or from a compiled client; a null one is
// read as the zero value and never written.
#pragma once

#include <memory>

#include "com/com_values.h"
#include "com/objects.h"
#include "com/system.h"
#include "kivdbxt/types.h"

namespace kiv::com {

inline String In(const BSTR* text) { return text != nullptr ? FromBstr(*text) : String(); }
inline int32_t In(const LONG* value) { return value != nullptr ? *value : 0; }
inline double In(const DATE* value) { return value != nullptr ? *value : 0; }
inline bool In(const VARIANT_BOOL* value) { return value != nullptr && *value != VARIANT_FALSE; }
template <class T, class Interface>
std::shared_ptr<T> In(Interface* const* object) {
  return object != nullptr ? Unwrap<T>(*object) : nullptr;
}

// Writes an in/out argument back (a no-op for a null pointer).
inline void Back(BSTR* text, const String& value) { AssignBstr(text, value); }
inline void Back(LONG* target, int32_t value) {
  if (target != nullptr) *target = value;
}
inline void Back(DATE* target, double value) {
  if (target != nullptr) *target = value;
}
// Replaces the caller's object when the operation gave it another one.
template <class Interface, class T>
void Back(Interface** target, const std::shared_ptr<T>& value, const std::shared_ptr<T>& before) {
  if (target == nullptr || value == before) return;
  if (*target != nullptr) (*target)->Release();
  *target = static_cast<Interface*>(Wrap(value));
}

inline HRESULT Out(BSTR* ret, const String& value) {
  if (ret == nullptr) return E_POINTER;
  *ret = ToBstr(value);
  return S_OK;
}
inline HRESULT Out(LONG* ret, int32_t value) {
  if (ret == nullptr) return E_POINTER;
  *ret = value;
  return S_OK;
}
inline HRESULT Out(DATE* ret, double value) {
  if (ret == nullptr) return E_POINTER;
  *ret = value;
  return S_OK;
}
inline HRESULT Out(VARIANT_BOOL* ret, bool value) {
  if (ret == nullptr) return E_POINTER;
  *ret = ToVariantBool(value);
  return S_OK;
}
template <class Interface, class T>
HRESULT Out(Interface** ret, const std::shared_ptr<T>& value) {
  if (ret == nullptr) return E_POINTER;
  *ret = static_cast<Interface*>(Wrap(value));
  return S_OK;
}

}  // namespace kiv::com

// A read/write property of the wrapped object, of a Long, DATE or BSTR.
#define KIV_COM_LONG_PROPERTY(Name)                                                            \
  HRESULT STDMETHODCALLTYPE get_##Name(LONG* ret) override { return Out(ret, self().Name()); } \
  HRESULT STDMETHODCALLTYPE put_##Name(LONG value) override {                                  \
    self().Name(value);                                                                        \
    return S_OK;                                                                               \
  }
#define KIV_COM_DATE_PROPERTY(Name)                                                            \
  HRESULT STDMETHODCALLTYPE get_##Name(DATE* ret) override { return Out(ret, self().Name()); } \
  HRESULT STDMETHODCALLTYPE put_##Name(DATE value) override {                                  \
    self().Name(value);                                                                        \
    return S_OK;                                                                               \
  }
#define KIV_COM_STRING_PROPERTY(Name)                                                          \
  HRESULT STDMETHODCALLTYPE get_##Name(BSTR* ret) override { return Out(ret, self().Name()); } \
  HRESULT STDMETHODCALLTYPE put_##Name(BSTR value) override {                                  \
    self().Name(FromBstr(value));                                                              \
    return S_OK;                                                                               \
  }
