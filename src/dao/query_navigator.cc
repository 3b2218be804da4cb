#include "dao/query_navigator.h"

#include "dao/value_codec.h"

namespace kiv::dao::detail {

QueryNavigator::QueryNavigator(Statement statement, std::unique_ptr<RowLoader> loader)
    : statement_(std::move(statement)), loader_(std::move(loader)) {}

QueryNavigator::QueryNavigator(Statement statement, std::vector<int16_t> types,
                               std::vector<int> cols)
    : statement_(std::move(statement)), types_(std::move(types)), cols_(std::move(cols)) {}

bool QueryNavigator::Fetch(size_t i) {
  while (ids_.size() <= i && !done_) {
    if (!statement_.Step()) {
      done_ = true;
      statement_.Reset();  // releases the read lock at once
      break;
    }
    if (loader_) {
      ids_.push_back(statement_.Int(0));
    } else {
      std::vector<Variant> row;
      for (size_t c = 0; c < types_.size(); ++c) {
        row.push_back(ReadStored(statement_, cols_[c], types_[c]));
      }
      values_.push_back(std::move(row));
      ids_.push_back(static_cast<int64_t>(values_.size()));
    }
    dead_.push_back(false);
    ++live_;
  }
  return i < ids_.size();
}

std::optional<int64_t> QueryNavigator::Land(std::optional<size_t> i) {
  if (!i) return std::nullopt;
  pos_ = static_cast<int64_t>(*i);
  anchor_dead_ = false;
  return ids_[*i];
}

std::optional<int64_t> QueryNavigator::First() {
  pos_ = -1;
  anchor_dead_ = false;
  return Next();
}

std::optional<int64_t> QueryNavigator::Last() {
  Fetch(SIZE_MAX - 1);
  for (size_t i = ids_.size(); i-- > 0;) {
    if (!dead_[i]) return Land(i);
  }
  return std::nullopt;
}

std::optional<int64_t> QueryNavigator::Next() {
  for (size_t i = static_cast<size_t>(anchor_dead_ ? pos_ : pos_ + 1); Fetch(i); ++i) {
    if (!dead_[i]) return Land(i);
  }
  pos_ = static_cast<int64_t>(ids_.size());
  anchor_dead_ = false;
  return std::nullopt;
}

std::optional<int64_t> QueryNavigator::Prev() {
  for (int64_t i = pos_ - 1; i >= 0; --i) {
    if (i < static_cast<int64_t>(ids_.size()) && !dead_[i]) return Land(static_cast<size_t>(i));
  }
  pos_ = -1;
  anchor_dead_ = false;
  return std::nullopt;
}

bool QueryNavigator::MoveTo(int64_t id) {
  for (size_t i = 0; Fetch(i); ++i) {
    if (ids_[i] == id && !dead_[i]) return Land(i).has_value();
  }
  return false;
}

bool QueryNavigator::Empty() {
  for (size_t i = 0; Fetch(i); ++i) {
    if (!dead_[i]) return false;
  }
  return true;
}

bool QueryNavigator::LoadRow(int64_t id, RowData& row) {
  if (loader_) return loader_->Load(id, row);
  const std::vector<Variant>& values = values_.at(static_cast<size_t>(id - 1));
  row.rowid = id;
  row.values = values;
  row.sizes.assign(values.size(), 0);
  row.loaded.assign(values.size(), true);
  return true;
}

void QueryNavigator::Deleted() {
  if (pos_ < 0 || pos_ >= static_cast<int64_t>(ids_.size()) || dead_[pos_]) return;
  dead_[pos_] = true;
  --live_;
  anchor_dead_ = true;
}

// DAO shows the rows a dynaset adds at its end.
void QueryNavigator::Added(int64_t rowid) {
  Fetch(SIZE_MAX - 1);
  FinishReads();
  ids_.push_back(rowid);
  dead_.push_back(false);
  ++live_;
}

void QueryNavigator::FinishReads() {
  // A read in progress would hold a file's read lock; a server's cursor minds no write.
  if (!statement_.Valid() || !statement_.Raw().OutlivesWrites()) Fetch(SIZE_MAX - 1);
  if (loader_) loader_->CloseBlob();
}

void QueryNavigator::Detach() {
  statement_ = Statement();
  done_ = true;
  if (loader_) loader_->Detach();
}

}  // namespace kiv::dao::detail
