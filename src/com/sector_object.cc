// The automation face of KivSector, the sector store. Data travels as a Variant: a String, or a
// byte array (a SAFEARRAY of bytes).
#include "com/members.h"
#include "com/system.h"
#include "com/typelib.h"
#include "com/wrappers.h"
#include "kivdbxt/collection.h"
#include "kivdbxt/kiv_sector.h"

namespace kiv::com {
namespace {

class SectorObject : public AutomationObject<_KivSector, KivSector> {
 public:
  using AutomationObject::AutomationObject;

  HRESULT STDMETHODCALLTYPE SectorCreate(BSTR* FileName, LONG* SectorSize,
                                         VARIANT_BOOL* ret) override {
    return Out(ret, self().SectorCreate(In(FileName), In(SectorSize)));
  }
  HRESULT STDMETHODCALLTYPE SectorOpen(BSTR* FileName, VARIANT_BOOL* ReadOnly,
                                       VARIANT_BOOL* ret) override {
    return Out(ret, self().SectorOpen(In(FileName), In(ReadOnly)));
  }
  HRESULT STDMETHODCALLTYPE SectorClose(VARIANT_BOOL* ret) override {
    return Out(ret, self().SectorClose());
  }
  HRESULT STDMETHODCALLTYPE SectorWrite(LONG* RecId, VARIANT* Data, VARIANT_BOOL* ret) override {
    int32_t id = In(RecId);
    const bool failed = self().SectorWrite(id, Data != nullptr ? FromVariant(*Data) : Variant());
    Back(RecId, id);
    return Out(ret, failed);
  }
  HRESULT STDMETHODCALLTYPE SectorRead(LONG* RecId, VARIANT* Data, VARIANT_BOOL* ret) override {
    Variant data;
    const bool failed = self().SectorRead(In(RecId), data);
    if (Data != nullptr && !failed) {
      VariantClear(Data);
      ToVariant(data, Data);
    }
    return Out(ret, failed);
  }
  HRESULT STDMETHODCALLTYPE SectorDelete(LONG* RecId, VARIANT_BOOL* ret) override {
    return Out(ret, self().SectorDelete(In(RecId)));
  }
  HRESULT STDMETHODCALLTYPE SectorInfo(LONG* RecId, double* Length, DATE* Modified,
                                       VARIANT_BOOL* ret) override {
    int64_t length = 0;
    Date modified = 0;
    const bool failed = self().SectorInfo(In(RecId), length, modified);
    if (Length != nullptr) *Length = static_cast<double>(length);
    Back(Modified, modified);
    return Out(ret, failed);
  }
  HRESULT STDMETHODCALLTYPE SectorList(_Collection** RetIds, VARIANT_BOOL* ret) override {
    return Out(ret, self().SectorList(In<Collection>(RetIds)));
  }
  HRESULT STDMETHODCALLTYPE SectorFlush(VARIANT_BOOL* ret) override {
    return Out(ret, self().SectorFlush());
  }
  HRESULT STDMETHODCALLTYPE SectorCompact(VARIANT_BOOL* ret) override {
    return Out(ret, self().SectorCompact());
  }
  HRESULT STDMETHODCALLTYPE SectorVerify(_Collection** Damaged, VARIANT_BOOL* ret) override {
    return Out(ret, self().SectorVerify(In<Collection>(Damaged)));
  }
  HRESULT STDMETHODCALLTYPE get_FileName(BSTR* ret) override { return Out(ret, self().FileName()); }
  HRESULT STDMETHODCALLTYPE get_SectorSize(LONG* ret) override {
    return Out(ret, self().SectorSize());
  }
  HRESULT STDMETHODCALLTYPE get_Records(LONG* ret) override { return Out(ret, self().Records()); }
  HRESULT STDMETHODCALLTYPE get_Debug(VARIANT_BOOL* ret) override {
    return Out(ret, self().Debug());
  }
  HRESULT STDMETHODCALLTYPE put_Debug(VARIANT_BOOL value) override {
    self().Debug(value != VARIANT_FALSE);
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE get_SyncWrites(VARIANT_BOOL* ret) override {
    return Out(ret, self().SyncWrites());
  }
  HRESULT STDMETHODCALLTYPE put_SyncWrites(VARIANT_BOOL value) override {
    self().SyncWrites(value != VARIANT_FALSE);
    return S_OK;
  }
};

}  // namespace

IDispatch* WrapSector(std::shared_ptr<KivSector> sector) {
  return static_cast<_KivSector*>(new SectorObject(std::move(sector)));
}

}  // namespace kiv::com
