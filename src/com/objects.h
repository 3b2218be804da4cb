// The automation objects of the server: each wraps one library object behind its class's dual
// interface. Wrap and Unwrap cross the boundary in both directions.
#pragma once

#include <atomic>
#include <memory>

#include "com/dispatch.h"
#include "com/system.h"
#include "kivdbxt/types.h"

namespace kiv::com {

// Live objects and LockServer locks: DllCanUnloadNow answers from them.
std::atomic<long>& LiveObjects();
std::atomic<long>& ServerLocks();

// A private interface every object of this server answers: the library object it wraps. It
// lets an operation taking an object (a KivLogInfo, a KivLogFilter) reach the library object
// whatever interface pointer the client hands in.
struct IKivObject : public IUnknown {
  virtual std::shared_ptr<Object> Target() = 0;
  // The object's IDispatch with one more reference, or nullptr when its last reference is
  // already gone (it is being destroyed).
  virtual IDispatch* AddRefIfAlive() = 0;
};
extern const IID IID_IKivObject;

// The live automation object of each library object, so that one library object crosses the
// boundary as one COM object however often it is handed out: scripts compare objects (Is) by
// their IUnknown. Every object is remembered while it lives.
void RememberWrapper(const void* target, IKivObject* wrapper);
void ForgetWrapper(const void* target, IKivObject* wrapper);
// The remembered object of a library object, with one more reference, or nullptr.
IDispatch* FindWrapper(const void* target);

// A new automation object for a library object (nullptr for null), with one reference.
IDispatch* Wrap(const std::shared_ptr<Object>& object);

// The library object behind an interface pointer of this server, or null.
template <class T>
std::shared_ptr<T> Unwrap(IUnknown* unknown) {
  if (unknown == nullptr) return nullptr;
  IKivObject* object = nullptr;
  if (FAILED(unknown->QueryInterface(IID_IKivObject, reinterpret_cast<void**>(&object))))
    return nullptr;
  std::shared_ptr<T> target = std::dynamic_pointer_cast<T>(object->Target());
  object->Release();
  return target;
}

// IUnknown for a helper object of one interface (an enumerator, a class factory): counted
// references, deleted at the last release, and counted among the server's live objects.
template <class Interface>
class SimpleUnknown : public Interface {
 public:
  SimpleUnknown() { ++LiveObjects(); }
  virtual ~SimpleUnknown() { --LiveObjects(); }
  SimpleUnknown(const SimpleUnknown&) = delete;
  SimpleUnknown& operator=(const SimpleUnknown&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    if (iid != IID_IUnknown && iid != __uuidof(Interface)) return E_NOINTERFACE;
    *out = static_cast<Interface*>(this);
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++refs_; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --refs_;
    if (left == 0) delete this;
    return left;
  }

 private:
  std::atomic<ULONG> refs_{1};
};

// The base of every object: reference counting, the interfaces it answers, IDispatch through
// the type library. Interface is the widl-generated dual interface, T the library class.
template <class Interface, class T>
class AutomationObject : public Interface, public IKivObject {
 public:
  // identity: what the object is found again by (FindWrapper), by default its target.
  explicit AutomationObject(std::shared_ptr<T> target, const void* identity = nullptr)
      : target_(std::move(target)), identity_(identity != nullptr ? identity : target_.get()) {
    ++LiveObjects();
    RememberWrapper(identity_, this);
  }
  virtual ~AutomationObject() {
    ForgetWrapper(identity_, this);
    --LiveObjects();
  }
  AutomationObject(const AutomationObject&) = delete;
  AutomationObject& operator=(const AutomationObject&) = delete;

  // IUnknown
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    if (iid == IID_IKivObject) {
      *out = static_cast<IKivObject*>(this);
    } else if (iid == IID_IUnknown || iid == IID_IDispatch || iid == __uuidof(Interface)) {
      *out = static_cast<Interface*>(this);
    } else if (!QueryMore(iid, out)) {
      return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++refs_; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --refs_;
    if (left == 0) delete this;
    return left;
  }

  // IDispatch
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
    if (count == nullptr) return E_POINTER;
    *count = 1;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID, ITypeInfo** info) override {
    if (info == nullptr) return E_POINTER;
    *info = nullptr;
    if (index != 0) return DISP_E_BADINDEX;
    ITypeInfo* type = TypeInfoOf(__uuidof(Interface));
    if (type == nullptr) return TYPE_E_ELEMENTNOTFOUND;
    type->AddRef();
    *info = type;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID,
                                          DISPID* ids) override {
    ITypeInfo* type = TypeInfoOf(__uuidof(Interface));
    if (type == nullptr) return TYPE_E_ELEMENTNOTFOUND;
    return DispGetIDsOfNames(type, names, count, ids);
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* params,
                                   VARIANT* result, EXCEPINFO* exception,
                                   UINT* arg_error) override {
    ITypeInfo* type = TypeInfoOf(__uuidof(Interface));
    if (type == nullptr) return TYPE_E_ELEMENTNOTFOUND;
    return InvokeNormalised(static_cast<Interface*>(this), type, id, flags, params, result,
                            exception, arg_error);
  }

  // IKivObject
  std::shared_ptr<Object> Target() override { return target_; }
  IDispatch* AddRefIfAlive() override {
    for (ULONG refs = refs_.load(); refs != 0;) {
      if (refs_.compare_exchange_weak(refs, refs + 1)) return static_cast<Interface*>(this);
    }
    return nullptr;
  }

 protected:
  // Further interfaces of a class (the connection points of KivLogFile).
  virtual bool QueryMore(REFIID, void**) { return false; }

  T& self() { return *target_; }
  std::shared_ptr<T> target_;

 private:
  const void* identity_;
  std::atomic<ULONG> refs_{1};
};

}  // namespace kiv::com
