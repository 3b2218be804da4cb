// The ordered collection of Variants with optional string keys.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>

#include "kivdbxt/export.h"
#include "kivdbxt/types.h"
#include "kivdbxt/variant.h"

namespace kiv {

// Positions are 1-based. Keys compare without regard to case and are unique. As a public class
// its operations never throw: a failure records the run time's error (5 for a missing key, 9 for a
// position out of range, 457 for a duplicate key) and returns True (or an Empty Variant).
class KIV_API Collection : public Object {
 public:
  // An empty collection.
  Collection() = default;

  // The number of items.
  int32_t Count() const { return static_cast<int32_t>(items_.size()); }

  // Adds at the end, or before/after the item at a position or key (give at most one of them).
  bool Add(const Variant& item, const String& key = String());
  bool AddBefore(const Variant& item, const Variant& before, const String& key = String());
  bool AddAfter(const Variant& item, const Variant& after, const String& key = String());

  // The item at index, a position (number) or a key (string).
  Variant Item(const Variant& index) const;
  // True when an item has this key.
  bool Exists(const String& key) const;
  // Removes the item at index, a position or a key.
  bool Remove(const Variant& index);
  // Removes every item.
  void Clear() { items_.clear(); }

  // The object stored at a position, or null when the position is out of range or holds no
  // object. Convenience for C++ callers; records nothing.
  template <class T>
  std::shared_ptr<T> ObjectAt(int32_t position) const {
    if (position < 1 || position > Count()) return nullptr;
    return std::dynamic_pointer_cast<T>(items_[position - 1].value.ObjectValue());
  }

 private:
  struct Entry {
    Variant value;
    String key;  // folded for comparison; empty when the item has no key
  };
  size_t Position(const Variant& index) const;  // 0-based; throws 5 or 9
  void Insert(size_t at, const Variant& item, const String& key);

  std::deque<Entry> items_;
};

}  // namespace kiv
