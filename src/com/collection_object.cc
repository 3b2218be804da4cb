// The automation face of the library's Collection, with the enumerator For Each uses.
#include <vector>

#include "com/members.h"
#include "com/system.h"
#include "com/typelib.h"
#include "com/wrappers.h"
#include "kivdbxt/collection.h"

namespace kiv::com {
namespace {

// Enumerates a snapshot of the collection's items taken when the enumeration starts, as the
// run time's collections do for For Each.
class Enumerator : public SimpleUnknown<IEnumVARIANT> {
 public:
  explicit Enumerator(std::vector<Variant> items) : items_(std::move(items)) {}

  HRESULT STDMETHODCALLTYPE Next(ULONG count, VARIANT* out, ULONG* fetched) override {
    if (out == nullptr) return E_POINTER;
    ULONG done = 0;
    for (; done < count && next_ < items_.size(); ++done) ToVariant(items_[next_++], &out[done]);
    if (fetched != nullptr) *fetched = done;
    return done == count ? S_OK : S_FALSE;
  }
  HRESULT STDMETHODCALLTYPE Skip(ULONG count) override {
    next_ += count;
    if (next_ <= items_.size()) return S_OK;
    next_ = items_.size();
    return S_FALSE;
  }
  HRESULT STDMETHODCALLTYPE Reset() override {
    next_ = 0;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Clone(IEnumVARIANT** out) override {
    if (out == nullptr) return E_POINTER;
    auto* copy = new Enumerator(items_);
    copy->next_ = next_;
    *out = copy;
    return S_OK;
  }

 private:
  std::vector<Variant> items_;
  size_t next_ = 0;
};

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

IUnknown* EnumerateVariants(std::vector<Variant> items) { return new Enumerator(std::move(items)); }

IDispatch* WrapCollection(std::shared_ptr<Collection> collection) {
  return static_cast<_Collection*>(new CollectionObject(std::move(collection)));
}

}  // namespace kiv::com
