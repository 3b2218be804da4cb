#include "dao/dao_errors.h"
#include "dao/object_cores.h"
#include "platform/text_compare.h"

namespace kiv::dao {

template <class T>
Items<T>::Items(std::shared_ptr<detail::ItemsHooks<T>> hooks) : hooks_(std::move(hooks)) {}

template <class T>
int32_t Items<T>::Count() const {
  return static_cast<int32_t>(hooks_->List().size());
}

template <class T>
std::shared_ptr<T> Items<T>::Item(int32_t index) const {
  const auto& list = hooks_->List();
  if (index < 0 || static_cast<size_t>(index) >= list.size()) RaiseDao(kDaoItemNotFound);
  return list[index];
}

template <class T>
std::shared_ptr<T> Items<T>::Item(StringView name) const {
  for (const auto& item : hooks_->List()) {
    if (TextEquals(item->Name(), name)) return item;
  }
  RaiseDao(kDaoItemNotFound);
}

template <class T>
void Items<T>::Append(const std::shared_ptr<T>& item) {
  if (!item) RaiseDao(kDaoInvalidArgument);
  if (item->Name().empty()) RaiseDao(kDaoInvalidArgument);
  for (const auto& existing : hooks_->List()) {
    if (TextEquals(existing->Name(), item->Name())) RaiseDao(kDaoNameInCollection);
  }
  hooks_->Append(item);
}

template <class T>
void Items<T>::Delete(StringView name) {
  Item(name);  // 3265 for a name that is not there
  hooks_->Delete(name);
}

template <class T>
void Items<T>::Refresh() {
  hooks_->Refresh();
}

template class Items<Field>;
template class Items<Index>;
template class Items<TableDef>;

namespace detail {

template <class T>
void ListHooks<T>::Delete(StringView name) {
  for (auto it = items_.begin(); it != items_.end(); ++it) {
    if (TextEquals((*it)->Name(), name)) {
      items_.erase(it);
      return;
    }
  }
}

template struct ListHooks<Field>;
template struct ListHooks<Index>;

}  // namespace detail
}  // namespace kiv::dao
