// The enumerators the server hands out (IEnumVARIANT for For Each, IEnumConnectionPoints,
// IEnumConnections): a snapshot of items taken when the enumeration starts, as the run time's
// collections do. An item that holds a COM reference is held while the enumerator lives and
// handed out with a reference of its own.
#pragma once

#include <algorithm>
#include <vector>

#include "com/com_values.h"
#include "com/objects.h"
#include "com/system.h"

namespace kiv::com {

// Holding and handing out each kind of item.
inline void Hold(const Variant&) {}
inline void Drop(const Variant&) {}
inline void HandOut(const Variant& item, VARIANT* out) { ToVariant(item, out); }

inline void Hold(IConnectionPoint* point) { point->AddRef(); }
inline void Drop(IConnectionPoint* point) { point->Release(); }
inline void HandOut(IConnectionPoint* point, IConnectionPoint** out) {
  point->AddRef();
  *out = point;
}

inline void Hold(const CONNECTDATA& connection) { connection.pUnk->AddRef(); }
inline void Drop(const CONNECTDATA& connection) { connection.pUnk->Release(); }
inline void HandOut(const CONNECTDATA& connection, CONNECTDATA* out) {
  connection.pUnk->AddRef();
  *out = connection;
}

// IEnum the enumerator interface, Item what it keeps, Out what Next hands out.
template <class IEnum, class Item, class Out>
class SnapshotEnumerator : public SimpleUnknown<IEnum> {
 public:
  explicit SnapshotEnumerator(std::vector<Item> items) : items_(std::move(items)) {
    for (const Item& item : items_) Hold(item);
  }
  ~SnapshotEnumerator() override {
    for (const Item& item : items_) Drop(item);
  }

  HRESULT STDMETHODCALLTYPE Next(ULONG count, Out* out, ULONG* fetched) override {
    if (out == nullptr) return E_POINTER;
    ULONG done = 0;
    for (; done < count && next_ < items_.size(); ++done) HandOut(items_[next_++], &out[done]);
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
  HRESULT STDMETHODCALLTYPE Clone(IEnum** out) override {
    if (out == nullptr) return E_POINTER;
    auto* copy = new SnapshotEnumerator(items_);
    copy->next_ = next_;
    *out = copy;
    return S_OK;
  }

 private:
  std::vector<Item> items_;
  size_t next_ = 0;
};

}  // namespace kiv::com
