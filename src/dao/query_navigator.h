// Dynaset and snapshot navigation: the rows of a query in the order of its results, fetched as
// the recordset reaches them, so that RecordCount is the number of rows visited so far.
//
// A query on one table whose result columns are that table's columns is read as a keyset: row
// ids only, each row read from the table when it becomes current, and the rows can be changed.
// Any other query is read as a snapshot of its values.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "dao/navigator.h"

namespace kiv::dao::detail {

class QueryNavigator : public Navigator {
 public:
  // Keyset: the statement's first column is the row id; loader reads the rows.
  QueryNavigator(Statement statement, std::unique_ptr<RowLoader> loader);
  // Snapshot: the statement's columns `cols` are the values, of the given types.
  QueryNavigator(Statement statement, std::vector<int16_t> types, std::vector<int> cols);

  std::optional<int64_t> First() override;
  std::optional<int64_t> Last() override;
  std::optional<int64_t> Next() override;
  std::optional<int64_t> Prev() override;
  bool MoveTo(int64_t id) override;
  int32_t Count() override { return live_; }
  bool Empty() override;
  bool LoadRow(int64_t id, RowData& row) override;
  void Deleted() override;
  void Added(int64_t rowid) override;
  void FinishReads() override;
  void Detach() override;

  RowLoader* Loader() { return loader_.get(); }

 private:
  // Fetches until position i exists; false when the results end before it.
  bool Fetch(size_t i);
  std::optional<int64_t> Land(std::optional<size_t> i);

  Statement statement_;
  bool done_ = false;
  std::unique_ptr<RowLoader> loader_;
  std::vector<int16_t> types_;
  std::vector<int> cols_;
  std::vector<int64_t> ids_;
  std::vector<bool> dead_;
  std::vector<std::vector<Variant>> values_;  // snapshot rows
  int32_t live_ = 0;
  int64_t pos_ = -1;          // the anchor's position; -1 before the first row
  bool anchor_dead_ = false;  // the anchor was deleted: the next row is at pos_ itself
};

}  // namespace kiv::dao::detail
