#include "kivdbxt/collection.h"

#include "frame/error.h"
#include "frame/guard.h"
#include "platform/rt_errors.h"
#include "platform/text_compare.h"
#include "platform/vb_convert.h"

namespace kiv {

size_t Collection::Position(const Variant& index) const {
  if (index.Type() == vbString) {
    String key = FoldCase(index.StringValue());
    for (size_t i = 0; i < items_.size(); ++i) {
      if (!items_[i].key.empty() && items_[i].key == key) return i;
    }
    Raise(kErrInvalidCall);
  }
  if (!index.IsNumeric() || index.IsEmpty()) Raise(kErrTypeMismatch);
  int32_t pos = CLng(index);
  if (pos < 1 || pos > Count()) Raise(kErrSubscript);
  return static_cast<size_t>(pos - 1);
}

void Collection::Insert(size_t at, const Variant& item, const String& key) {
  String folded = FoldCase(key);
  if (!folded.empty()) {
    for (const Entry& e : items_) {
      if (e.key == folded) Raise(kErrDuplicateKey);
    }
  }
  items_.insert(items_.begin() + static_cast<std::ptrdiff_t>(at), Entry{item, std::move(folded)});
}

bool Collection::Add(const Variant& item, const String& key) {
  return Guard(u"Collection.Add", true, [&] {
    Insert(items_.size(), item, key);
    return false;
  });
}

bool Collection::AddBefore(const Variant& item, const Variant& before, const String& key) {
  return Guard(u"Collection.Add", true, [&] {
    Insert(Position(before), item, key);
    return false;
  });
}

bool Collection::AddAfter(const Variant& item, const Variant& after, const String& key) {
  return Guard(u"Collection.Add", true, [&] {
    Insert(Position(after) + 1, item, key);
    return false;
  });
}

Variant Collection::Item(const Variant& index) const {
  return Guard(u"Collection.Item", Variant(), [&] { return items_[Position(index)].value; });
}

bool Collection::Exists(const String& key) const {
  String folded = FoldCase(key);
  for (const Entry& e : items_) {
    if (!e.key.empty() && e.key == folded) return true;
  }
  return false;
}

bool Collection::Remove(const Variant& index) {
  return Guard(u"Collection.Remove", true, [&] {
    items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(Position(index)));
    return false;
  });
}

}  // namespace kiv
