// The automation face of the library's Collection, with the enumerator For Each uses.
#include <vector>

#include "com/enumerator.h"
#include "com/members.h"
#include "com/system.h"
#include "com/typelib.h"
#include "com/wrappers.h"
#include "kivdbxt/collection.h"

namespace kiv::com {
namespace {

class CollectionObject : public AutomationObject<_Collection, Collection> {
 public:
  using AutomationObject::AutomationObject;

  HRESULT STDMETHODCALLTYPE Item(VARIANT Index, VARIANT* ret) override {
    if (ret == nullptr) return E_POINTER;
    ToVariant(self().Item(FromVariant(Index)), ret);
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Add(VARIANT Item, VARIANT Key, VARIANT Before, VARIANT After) override {
    const Variant key = FromVariant(Key);
    const String key_text = key.IsMissing() ? String() : key.ToString().value_or(String());
    const Variant item = FromVariant(Item), before = FromVariant(Before),
                  after = FromVariant(After);
    if (!before.IsMissing()) {
      self().AddBefore(item, before, key_text);
    } else if (!after.IsMissing()) {
      self().AddAfter(item, after, key_text);
    } else {
      self().Add(item, key_text);
    }
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Count(LONG* ret) override { return Out(ret, self().Count()); }
  HRESULT STDMETHODCALLTYPE Remove(VARIANT Index) override {
    self().Remove(FromVariant(Index));
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE _NewEnum(IUnknown** ret) override {
    if (ret == nullptr) return E_POINTER;
    std::vector<Variant> items;
    for (int32_t i = 1; i <= self().Count(); ++i) items.push_back(self().Item(Variant(i)));
    *ret = EnumerateVariants(std::move(items));
    return S_OK;
  }
};

}  // namespace

IUnknown* EnumerateVariants(std::vector<Variant> items) {
  return new SnapshotEnumerator<IEnumVARIANT, Variant, VARIANT>(std::move(items));
}

IDispatch* WrapCollection(std::shared_ptr<Collection> collection) {
  return static_cast<_Collection*>(new CollectionObject(std::move(collection)));
}

}  // namespace kiv::com
