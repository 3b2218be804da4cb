// The automation faces of KivLogEvent and KivLogFilter.
#include "com/members.h"
#include "com/system.h"
#include "com/typelib.h"
#include "com/wrappers.h"
#include "kivdbxt/collection.h"
#include "kivdbxt/kiv_log_event.h"
#include "kivdbxt/kiv_log_filter.h"

namespace kiv::com {
namespace {

class EventObject : public AutomationObject<_KivLogEvent, KivLogEvent> {
 public:
  using AutomationObject::AutomationObject;

  KIV_COM_LONG_PROPERTY(EvUnk)
  KIV_COM_DATE_PROPERTY(EvDate)
  KIV_COM_LONG_PROPERTY(EvType)
  KIV_COM_STRING_PROPERTY(EvCategory)
  KIV_COM_LONG_PROPERTY(EvId)
  KIV_COM_STRING_PROPERTY(EvUser)
  KIV_COM_STRING_PROPERTY(EvComputer)
  KIV_COM_STRING_PROPERTY(EvSource)
  KIV_COM_STRING_PROPERTY(EvServer)
  KIV_COM_STRING_PROPERTY(EvRawData)
  KIV_COM_LONG_PROPERTY(EvDataType)
  KIV_COM_LONG_PROPERTY(Offset)

  HRESULT STDMETHODCALLTYPE Save(LONG* hndl, VARIANT_BOOL* ret) override {
    int32_t file = In(hndl);
    const bool failed = self().Save(file);
    Back(hndl, file);
    return Out(ret, failed);
  }
  HRESULT STDMETHODCALLTYPE Load(LONG* hndl, VARIANT_BOOL* ret) override {
    int32_t file = In(hndl);
    const bool failed = self().Load(file);
    Back(hndl, file);
    return Out(ret, failed);
  }
  HRESULT STDMETHODCALLTYPE TranslateData(VARIANT_BOOL* ret) override {
    return Out(ret, self().TranslateData());
  }
  HRESULT STDMETHODCALLTYPE RestoreData(VARIANT_BOOL* ret) override {
    return Out(ret, self().RestoreData());
  }
  HRESULT STDMETHODCALLTYPE get_Ordinal(LONG* ret) override { return Out(ret, self().Ordinal()); }
};

// The filter's list operations: an add, a clear and a read of each list.
#define KIV_COM_FILTER_LIST(Name, Plural, ArgType)                     \
  HRESULT STDMETHODCALLTYPE Name##Add(ArgType* nValue) override {      \
    self().Name##Add(In(nValue));                                      \
    return S_OK;                                                       \
  }                                                                    \
  HRESULT STDMETHODCALLTYPE Name##Clear() override {                   \
    self().Name##Clear();                                              \
    return S_OK;                                                       \
  }                                                                    \
  HRESULT STDMETHODCALLTYPE get_##Plural(_Collection** ret) override { \
    return Out(ret, self().Plural());                                  \
  }

class FilterObject : public AutomationObject<_KivLogFilter, KivLogFilter> {
 public:
  using AutomationObject::AutomationObject;

  KIV_COM_LONG_PROPERTY(Checks)
  HRESULT STDMETHODCALLTYPE get_DateStart(DATE* ret) override {
    return Out(ret, self().DateStart());
  }
  HRESULT STDMETHODCALLTYPE put_DateStart(DATE* value) override {
    self().DateStart(In(value));
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE get_DateEnd(DATE* ret) override { return Out(ret, self().DateEnd()); }
  HRESULT STDMETHODCALLTYPE put_DateEnd(DATE* value) override {
    self().DateEnd(In(value));
    return S_OK;
  }
  KIV_COM_FILTER_LIST(Types, Types, LONG)
  KIV_COM_FILTER_LIST(Ids, Ids, LONG)
  KIV_COM_FILTER_LIST(Categories, Categories, BSTR)
  KIV_COM_FILTER_LIST(Users, Users, BSTR)
  KIV_COM_FILTER_LIST(Computers, Computers, BSTR)
  KIV_COM_FILTER_LIST(Sources, Sources, BSTR)
  KIV_COM_FILTER_LIST(Servers, Servers, BSTR)
  KIV_COM_FILTER_LIST(RawDatas, RawDatas, BSTR)

  HRESULT STDMETHODCALLTYPE CopyTo(_KivLogFilter** Filter, VARIANT_BOOL* ret) override {
    return Out(ret, self().CopyTo(In<KivLogFilter>(Filter)));
  }
  HRESULT STDMETHODCALLTYPE IsValid(_KivLogEvent** Eve, VARIANT_BOOL* ret) override {
    return Out(ret, self().IsValid(In<KivLogEvent>(Eve)));
  }
};

#undef KIV_COM_FILTER_LIST

}  // namespace

IDispatch* WrapEvent(std::shared_ptr<KivLogEvent> event) {
  return static_cast<_KivLogEvent*>(new EventObject(std::move(event)));
}

IDispatch* WrapFilter(std::shared_ptr<KivLogFilter> filter) {
  return static_cast<_KivLogFilter*>(new FilterObject(std::move(filter)));
}

}  // namespace kiv::com
