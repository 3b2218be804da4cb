#include "dao/table_navigator.h"

#include "dao/dao_errors.h"
#include "dao/value_codec.h"

namespace kiv::dao::detail {
namespace {

// A condition on the row id is written with "rowid"; the engine's own name replaces it.
void AppendCondition(std::string& sql, const std::string& condition, const std::string& rowid) {
  if (condition.compare(0, 6, "rowid ") != 0) {
    sql += condition;
    return;
  }
  sql += rowid;
  sql.append(condition, 5);
}

// Null sorts before every value: first in ascending order, last in descending order.
// Moving "toward larger" means forward on an ascending key or backward on a descending one.
struct Alternative {
  const char* op;  // "> ?", "< ?", "IS NULL", "IS NOT NULL"
  bool binds;
};

std::vector<Alternative> Beyond(bool toward_larger, bool anchor_null) {
  if (anchor_null) {
    if (toward_larger) return {{"IS NOT NULL", false}};
    return {};
  }
  if (toward_larger) return {{"> ?", true}};
  // The nearest smaller values come before the Nulls, which lie furthest that way.
  return {{"< ?", true}, {"IS NULL", false}};
}

}  // namespace

TableNavigator::TableNavigator(Connection& conn, std::shared_ptr<const TableSchema> schema)
    : conn_(conn), schema_(std::move(schema)), loader_(conn, schema_->name, schema_->columns) {}

const std::string& TableNavigator::Key(size_t i) {
  if (select_.empty()) WriteOrderTexts();
  return keys_[i];
}

// Every move is a lookup in the index's order: the texts that depend on the index alone are
// written once for it, at its first lookup, not at each move.
void TableNavigator::WriteOrderTexts() {
  const engine::Connection* db = conn_.Db();
  rowid_ = db->RowIdName();
  keys_.clear();
  for (int col : key_columns_) keys_.push_back(QuoteName(schema_->columns[col].name));
  select_ = "SELECT " + rowid_;
  for (const std::string& key : keys_) select_ += ", " + key;
  select_ += " FROM " + QuoteName(schema_->name);
  for (bool forward : {false, true}) {
    std::string& order = order_by_[forward];
    order = " ORDER BY ";
    for (size_t i = 0; i < keys_.size(); ++i) {
      const bool down = descending_[i] == forward;
      order += keys_[i] + (down ? " DESC" : "") + db->NullsOrder(down) + ", ";
    }
    order += rowid_ + (forward ? " LIMIT 1" : " DESC LIMIT 1");
  }
}

void TableNavigator::SetIndex(const IndexDef* index) {
  key_columns_.clear();
  descending_.clear();
  if (index) {
    for (const IndexKey& k : index->keys) {
      const int col = schema_->Column(k.field);
      if (col < 0) RaiseDao(kDaoItemNotFound);
      key_columns_.push_back(col);
      descending_.push_back(k.descending);
    }
  }
  statements_.clear();
  anchor_keys_.clear();
  select_.clear();
}

Statement& TableNavigator::Prepared(const std::string& sql) {
  auto it = statements_.find(sql);
  if (it == statements_.end()) it = statements_.emplace(sql, Statement(conn_.Db(), sql)).first;
  return it->second;
}

std::optional<int64_t> TableNavigator::Find(const std::vector<Condition>& conditions,
                                            bool forward) {
  if (select_.empty()) WriteOrderTexts();
  std::string sql = select_;
  for (size_t i = 0; i < conditions.size(); ++i) {
    sql += i ? " AND " : " WHERE ";
    AppendCondition(sql, conditions[i].sql, rowid_);
  }
  sql += order_by_[forward];
  Statement& statement = Prepared(sql);
  int param = 1;
  for (const Condition& c : conditions) {
    for (const Binder& bind : c.params) bind(statement, param++);
  }
  std::optional<int64_t> found;
  if (statement.Step()) {
    found = statement.Int(0);
    anchor_rowid_ = *found;
    anchor_keys_.clear();
    for (size_t i = 0; i < key_columns_.size(); ++i) {
      anchor_keys_.emplace_back(statement.Value(static_cast<int>(i + 1)));
    }
  }
  statement.Reset();
  return found;
}

std::optional<int64_t> TableNavigator::First() { return Find({}, true); }

std::optional<int64_t> TableNavigator::Last() { return Find({}, false); }

// The nearest row beyond the anchor: first among rows sharing the anchor's whole key (by row
// id), then among rows sharing a shorter leading part of it, each an indexed range lookup.
std::optional<int64_t> TableNavigator::Step(bool forward) {
  const size_t k = key_columns_.size();
  if (anchor_keys_.size() != k && !MoveTo(anchor_rowid_)) RaiseDao(kDaoNoCurrentRecord);
  for (size_t level = k + 1; level-- > 0;) {
    std::vector<Condition> conditions;
    for (size_t i = 0; i < level && i < k; ++i) {
      // "= ?" or "IS NULL" by the anchor's value: "IS ?" is no index condition on every engine.
      const engine::ValueView v = anchor_keys_[i].View();
      if (anchor_keys_[i].IsNull()) {
        conditions.push_back({Key(i) + " IS NULL", {}});
      } else {
        conditions.push_back({Key(i) + " = ?", {[v](Statement& s, int p) { s.BindValue(p, v); }}});
      }
    }
    if (level == k) {
      const int64_t rowid = anchor_rowid_;
      conditions.push_back({forward ? "rowid > ?" : "rowid < ?",
                            {[rowid](Statement& s, int p) { s.BindInt(p, rowid); }}});
      if (auto found = Find(conditions, forward)) return found;
      continue;
    }
    const engine::ValueView v = anchor_keys_[level].View();
    for (const Alternative& alt :
         Beyond(forward != descending_[level], anchor_keys_[level].IsNull())) {
      std::vector<Condition> with = conditions;
      Condition c{Key(level) + " " + alt.op, {}};
      if (alt.binds) c.params.push_back([v](Statement& s, int p) { s.BindValue(p, v); });
      with.push_back(std::move(c));
      if (auto found = Find(with, forward)) return found;
    }
  }
  return std::nullopt;
}

std::optional<int64_t> TableNavigator::Seek(const std::string& op,
                                            const std::vector<Variant>& keys) {
  const size_t n = keys.size();
  if (n == 0 || n > key_columns_.size()) RaiseDao(kDaoInvalidArgument);
  const bool equal = op == "=";
  const bool larger = op == ">" || op == ">=";
  const bool inclusive = op == ">=" || op == "<=";
  if (!equal && !larger && op != "<" && op != "<=") RaiseDao(kDaoInvalidArgument);

  std::vector<Binder> values;
  for (size_t i = 0; i < n; ++i) {
    ColumnDef column = schema_->columns[key_columns_[i]];
    column.size = INT32_MAX;  // a key longer than the field simply matches nothing
    const Variant value = CoerceToField(column, keys[i]);
    const int16_t type = column.type;
    values.push_back([value, type](Statement& s, int p) { BindStored(s, p, type, value); });
  }
  // "value beyond the key in the wanted direction", in SQL terms for key field i.
  auto beyond = [&](size_t i, bool or_equal) {
    const bool greater = larger != descending_[i];
    return Key(i) + (greater ? (or_equal ? " >= ?" : " > ?") : (or_equal ? " <= ?" : " < ?"));
  };
  std::vector<Condition> conditions;
  if (equal) {
    for (size_t i = 0; i < n; ++i) conditions.push_back({Key(i) + " = ?", {values[i]}});
    return Find(conditions, true);
  }
  // A range on the first key field lets SQLite use the index; the lexicographic test on all the
  // given fields follows it.
  conditions.push_back({beyond(0, true), {values[0]}});
  Condition full{"(", {}};
  for (size_t j = 0; j < n; ++j) {
    full.sql += j ? " OR (" : "(";
    for (size_t i = 0; i < j; ++i) {
      full.sql += Key(i) + " = ? AND ";
      full.params.push_back(values[i]);
    }
    full.sql += beyond(j, false) + ")";
    full.params.push_back(values[j]);
  }
  if (inclusive) {
    full.sql += " OR (";
    for (size_t i = 0; i < n; ++i) {
      full.sql += (i ? " AND " : "") + Key(i) + " = ?";
      full.params.push_back(values[i]);
    }
    full.sql += ")";
  }
  full.sql += ")";
  conditions.push_back(std::move(full));
  return Find(conditions, larger);
}

bool TableNavigator::MoveTo(int64_t rowid) {
  return Find({{"rowid = ?", {[rowid](Statement& s, int p) { s.BindInt(p, rowid); }}}}, true)
      .has_value();
}

int32_t TableNavigator::Count() { return static_cast<int32_t>(CountRows(conn_, schema_->name)); }

void TableNavigator::Detach() {
  statements_.clear();
  loader_.Detach();
}

}  // namespace kiv::dao::detail
