// The private state behind the public DAO objects, and the hooks that give each collection its
// behaviour (what Append and Delete do to the database).
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "dao/recordset_core.h"
#include "dao/schema.h"
#include "kivdbxt/dao.h"

namespace kiv::dao::detail {

struct FieldCore {
  ColumnDef def;
  bool appended = false;  // part of a stored table or index: the definition is fixed
  bool of_index = false;  // an index's field: its Attributes are only what was set
  int16_t ordinal = 0;
  std::shared_ptr<RecordsetCore> rs;  // a recordset's field: its value is the current record's
  int col = -1;
};

struct IndexCore {
  IndexDef def;  // the keys are taken from fields when the index is appended
  bool appended = false;
  std::vector<std::shared_ptr<Field>> fields;
};

struct TableDefCore {
  std::shared_ptr<Connection> conn;  // set once the table is stored
  String name;
  std::vector<std::shared_ptr<Field>> fields;  // a new table's definition
  std::vector<std::shared_ptr<Index>> indexes;
  bool Stored() const { return conn != nullptr; }
};

template <class T>
struct ItemsHooks {
  virtual ~ItemsHooks() = default;
  virtual std::vector<std::shared_ptr<T>>& List() = 0;
  virtual void Append(const std::shared_ptr<T>& item) = 0;
  virtual void Delete(StringView name) = 0;
  virtual void Refresh() {}
};

// A collection held in memory: a new table's fields and indexes, an index's fields.
template <class T>
struct ListHooks : ItemsHooks<T> {
  explicit ListHooks(std::vector<std::shared_ptr<T>>& items) : items_(items) {}
  std::vector<std::shared_ptr<T>>& List() override { return items_; }
  void Append(const std::shared_ptr<T>& item) override { items_.push_back(item); }
  void Delete(StringView name) override;

 private:
  std::vector<std::shared_ptr<T>>& items_;
};

// The definition of a table's field as a Field object that cannot change.
std::shared_ptr<Field> StoredField(const ColumnDef& column, int16_t ordinal);
// The key definitions of an index from its fields.
IndexDef IndexFromCore(const IndexCore& core);

}  // namespace kiv::dao::detail
